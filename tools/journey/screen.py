"""The eyes and hands of a user: finds widgets by role and name, clicks, types, takes pictures."""

import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # pylint: disable=wrong-import-position

from programs import JourneyError  # pylint: disable=wrong-import-position

BUTTON = ("push button", "check box", "radio button", "toggle button")
DIALOG = ("dialog", "alert")
FIELD = ("text", "spin button", "combo box")


def plain(text):
    """Without what marks a key, a field or a question that follows."""
    return (text or "").replace("&", "").strip(" :…")


def states(widget):
    return {state.value_nick for state in widget.get_state_set().get_states()}


def names(widget):
    """Its own name and its label's: a combo box, for one, calls itself by its choice."""
    labels = [relation.get_target(index)
              for relation in widget.get_relation_set()
              if relation.get_relation_type() == Atspi.RelationType.LABELLED_BY
              for index in range(relation.get_n_targets())]
    return [each.get_name() for each in [widget, *labels]]


def extents(widget):
    return Atspi.Component.get_extents(widget, Atspi.CoordType.SCREEN)


def shown(widget):
    """The widget and all below it that can be seen."""
    yield widget
    for index in range(widget.get_child_count()):
        child = widget.get_child_at_index(index)
        if child and "showing" in states(child):
            yield from shown(child)


def wait_for(what, look, seconds=15):
    """The first true answer of `look`; what vanishes under its eyes is looked for again."""
    deadline = time.monotonic() + seconds
    while True:
        reason = None
        try:
            answer = look()
            if answer:
                return answer
        except (GLib.Error, AttributeError, TypeError) as error:  # it is None then, or its bus is
            reason = error
        if time.monotonic() > deadline:
            raise JourneyError(f"no {what} within {seconds} s" +
                               (f": {reason}" if reason else "")) from reason
        time.sleep(0.05)


class Screen:
    """The programs of one display; needs its addresses in this process's environment."""

    def __init__(self, pictures):
        Atspi.init()
        self.pictures = pictures
        self.taken = 0
        self.clicked = None  # where the last click was
        self.pid = 0  # of the program that is looked at
        self.words = {}  # English to the sets of words of another language

    # --- eyes

    def application(self):
        desktop = Atspi.get_desktop(0)
        desktop.set_cache_mask(Atspi.Cache.NONE)
        for index in range(desktop.get_child_count()):
            child = desktop.get_child_at_index(index)
            if child and child.get_process_id() == self.pid:
                return child
        return None

    def look(self, roles, name=""):
        """The widget of that name that can be seen now, or None. No name: any."""
        for widget in shown(self.application()):
            if widget.get_role_name() in roles and (not name or self.means(name, names(widget))):
                return widget
        return None

    def find(self, roles, name=""):
        return wait_for(f"{roles[-1]} “{name}”", lambda: self.look(roles, name))

    def tops(self):
        """Its windows that can be seen, without menus."""
        application = self.application()
        return [window for window in map(application.get_child_at_index,
                                         range(application.get_child_count()))
                if window and "showing" in states(window)]

    def top(self, title):
        return next((window for window in self.tops() if self.means(title, [window.get_name()])),
                    None)

    def means(self, name, found):
        """Whether one of the found names is that English one, or a translation of it."""
        return bool(self.words.get(plain(name), {plain(name)}) & set(map(plain, found)))

    def gone(self, roles, name):
        wait_for(f"end of “{name}”", lambda: not self.look(roles, name))

    def value(self, label):
        """What the display beside that label shows."""
        return wait_for(f"value of “{label}”", lambda: next(
            (widget.get_name() for widget in shown(self.application())
             if widget.get_role_name() == "label" and self.means(label, names(widget)[1:])), None))

    def texts(self, roles, within=None):
        return [widget.get_name() for widget in shown(within or self.application())
                if widget.get_role_name() in roles]

    def rows(self, table):
        """The texts of a table that can be seen, cell by cell."""
        grid = self.find(("table",), table)
        return [[grid.get_accessible_at(row, column).get_name()
                 for column in range(grid.get_n_columns())] for row in range(grid.get_n_rows())]

    def cell(self, table, row, column):
        return self.find(("table",), table).get_accessible_at(row, column)

    def windows(self):
        """Its windows that can be seen, with menus and the icon in the tray: number and size."""
        found = subprocess.run(
            ["xdotool", "search", "--all", "--onlyvisible", "--pid", str(self.pid), "--name", "",
             "getwindowgeometry", "--shell", "%@"], check=False, capture_output=True, text=True)
        values = [line.split("=")[1] for line in found.stdout.split()]
        return {values[at]: (int(values[at + 3]), int(values[at + 4]))
                for at in range(0, len(values) - 4, 6)}

    def window(self, widget):
        """The window that the widget is or is in, and its number."""
        while widget.get_parent().get_role_name() != "application":
            widget = widget.get_parent()
        box = extents(widget)
        return widget, wait_for(f"window of “{widget.get_name()}”", lambda: next(
            (number for number, size in self.windows().items() if size == (box.width, box.height)
             and self.xdotool("getwindowname", number).strip() == widget.get_name()), None))

    def clipboard(self):
        return subprocess.run(["xclip", "-selection", "clipboard", "-o"], check=False,
                              capture_output=True, text=True, timeout=10).stdout

    # --- hands

    def xdotool(self, *arguments):
        return subprocess.run(["xdotool", *map(str, arguments)], check=True, capture_output=True,
                              text=True).stdout

    def activate(self, widget):
        """Brings its window to the front, where keys go."""
        top, number = self.window(widget)
        if "active" not in states(top):
            self.xdotool("windowactivate", number)
            wait_for(f"“{top.get_name()}” in front", lambda: "active" in states(top))

    def click(self, widget, times=1):
        def place():
            box = extents(widget)
            return box if "sensitive" in states(widget) and box.width > 0 else None
        self.activate(widget)
        box = wait_for(f"“{widget.get_name()}” that can be clicked", place)
        self.click_at(box.x + box.width // 2, box.y + box.height // 2,
                      "--repeat", times, "--delay", 60, 1)

    def click_at(self, x, y, *how):
        if self.clicked == (x, y):
            time.sleep(0.5)  # two quick clicks would be a double click
        self.clicked = (x, y)
        self.xdotool("mousemove", x, y, "click", *how)

    def press(self, name):
        self.click(self.find(BUTTON, name))

    def key(self, *keys):
        self.xdotool("key", "--delay", 30, *keys)

    def type(self, text):
        self.xdotool("type", "--delay", 15, text)

    def fill(self, name, text):
        """Replaces what stands in the field of that name."""
        self.click(self.find(FIELD, name))
        self.key("ctrl+a")
        self.type(text)
        self.key("Tab")

    def choose_last(self, name):
        """The last choice of that combo box."""
        self.click(self.find(FIELD, name))
        self.key("End", "Return")

    def tray(self, button):
        window = self.xdotool("search", "--class", "trayer").split()[-1]
        place = dict(line.split("=") for line in
                     self.xdotool("getwindowgeometry", "--shell", window).split())
        self.click_at(int(place["X"]) + int(place["WIDTH"]) // 2,
                      int(place["Y"]) + int(place["HEIGHT"]) // 2, button)

    # --- pictures

    def picture(self, name, widget=None):
        """Of the whole screen, or of the widget's window alone."""
        self.taken += 1
        file = self.pictures / f"{self.taken:02}-{name.lower().replace(' ', '-')}.png"
        where = ["-i", self.window(widget)[1]] if widget else []
        subprocess.run(["maim", "-u", *where, file], check=True)
