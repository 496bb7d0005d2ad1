"""Plays a user: finds widgets by role and name, clicks, types, takes pictures."""

import subprocess
import time

from programs import JourneyError

BUTTON = ("push button", "check box", "radio button", "toggle button")
DIALOG = ("dialog", "alert")
FIELD = ("text", "spin button", "combo box")


def plain(text):
    """Without the marks of mnemonics, fields and dialogs: &, colon, ellipsis."""
    return (text or "").replace("&", "").strip(" :…")


class Vanished(Exception):
    """The widget no longer exists."""


def shown(widget):
    """The widget and all visible widgets below it."""
    yield widget
    for child in widget.children:
        yield from shown(child)


def wait_for(what, look, seconds=15):
    """The first true result of `look`, which is called again when a widget has vanished."""
    deadline = time.monotonic() + seconds
    while True:
        reason = None
        try:
            answer = look()
            if answer:
                return answer
        except (Vanished, AttributeError, TypeError) as error:  # a widget or its bus is None
            reason = error
        if time.monotonic() > deadline:
            raise JourneyError(f"no {what} within {seconds} s" +
                               (f": {reason}" if reason else "")) from reason
        time.sleep(0.05)


class Screen:
    """The programs of one display; needs its addresses in this process's environment.

    `tree` reads their widgets (atspi.py, pilot.py). A widget has a role, a name, the names of its
    labels, states, a box on the screen, its window (`top`), its visible children and, if it is a
    table, a size and cells; `again()` reads it anew. The tree may change up to `ahead` seconds
    before the pixels do.
    """

    def __init__(self, tree, pictures):
        self.tree = tree
        self.pictures = pictures
        self.taken = 0
        self.clicked = None  # where the last click was
        self.pid = 0  # of the gateway
        self.words = {}  # English text to the set of its translations

    # --- reading

    def application(self):
        return self.tree.application(self.pid)

    def look(self, roles, name=""):
        """The visible widget of that name, or None; without a name, the first of those roles."""
        for widget in shown(self.application()):
            # Or the name of its label: a combo box, for instance, has its choice as its name.
            if widget.role in roles and (
                    not name or self.means(name, [widget.name, *widget.labels])):
                return widget
        return None

    def find(self, roles, name=""):
        return wait_for(f"{roles[-1]} “{name}”", lambda: self.look(roles, name))

    def tops(self):
        """The visible windows, without menus."""
        return list(self.application().children)

    def top(self, title):
        return next((window for window in self.tops() if self.means(title, [window.name])),
                    None)

    def means(self, name, found):
        """True if one of the found names is the English name or a translation of it."""
        return bool(self.words.get(plain(name), {plain(name)}) & set(map(plain, found)))

    def gone(self, roles, name):
        wait_for(f"end of “{name}”", lambda: not self.look(roles, name))

    def value(self, label):
        """The text of the widget beside that label."""
        return wait_for(f"value of “{label}”", lambda: next(
            (widget.name for widget in shown(self.application())
             if widget.role == "label" and self.means(label, widget.labels)), None))

    def texts(self, roles, within=None):
        return [widget.name for widget in shown(within or self.application())
                if widget.role in roles]

    def rows(self, table):
        """The texts of a visible table, row by row."""
        grid = self.find(("table",), table)
        size = grid.size
        return [[grid.cell(row, column).name for column in range(size.columns)]
                for row in range(size.rows)]

    def cell(self, table, row, column):
        return self.find(("table",), table).cell(row, column)

    def windows(self):
        """The visible windows, menus and the tray icon included: X11 id to size."""
        found = subprocess.run(
            ["xdotool", "search", "--all", "--onlyvisible", "--pid", str(self.pid), "--name", "",
             "getwindowgeometry", "--shell", "%@"], check=False, capture_output=True, text=True)
        values = [line.split("=")[1] for line in found.stdout.split()]
        return {values[at]: (int(values[at + 3]), int(values[at + 4]))
                for at in range(0, len(values) - 4, 6)}

    def named(self, number):
        """The window's title; empty if it no longer exists."""
        return subprocess.run(["xdotool", "getwindowname", number], check=False,
                              capture_output=True, text=True).stdout.strip()

    def window(self, widget):
        """The widget's window and its X11 id."""
        top = widget.top
        box = top.box
        return top, wait_for(f"window of “{top.name}”", lambda: next(
            (number for number, size in self.windows().items()
             if size == (box.width, box.height) and self.named(number) == top.name), None))

    def clipboard(self):
        return subprocess.run(["xclip", "-selection", "clipboard", "-o"], check=False,
                              capture_output=True, text=True, timeout=10).stdout

    # --- acting

    def xdotool(self, *arguments):
        return subprocess.run(["xdotool", *map(str, arguments)], check=True, capture_output=True,
                              text=True).stdout

    def bring_forward(self, number, title):
        def in_front():
            return subprocess.run(["xdotool", "getactivewindow"], check=False,
                                  capture_output=True, text=True).stdout.strip() == number
        if not in_front():
            self.xdotool("windowactivate", number)
            wait_for(f"“{title}” in front", in_front)

    def activate(self, widget):
        """Brings its window to the front, to receive keys."""
        top, number = self.window(widget)
        self.bring_forward(number, top.name)
        wait_for(f"“{top.name}” active", lambda: "active" in top.again().states)

    def activate_titled(self, title):
        """The same for a window that may be the system's and so missing in the tree."""
        self.bring_forward(wait_for(f"window “{title}”", lambda: next(
            (number for number in self.windows() if self.named(number) == title), None)), title)

    def click(self, widget, times=1):
        def place():
            now = widget.again()
            return now.box if "sensitive" in now.states and now.box.width > 0 else None
        self.activate(widget)
        box = wait_for(f"“{widget.name}” that can be clicked", place)
        self.click_at(box.x + box.width // 2, box.y + box.height // 2,
                      "click", "--repeat", times, "--delay", 60, 1)

    def click_at(self, x, y, *how):
        if self.clicked == (x, y):
            time.sleep(0.5)  # two quick clicks would be a double click
        self.clicked = (x, y)
        self.xdotool("mousemove", x, y, *how)

    def press(self, name):
        self.click(self.find(BUTTON, name))

    def key(self, *keys):
        self.xdotool("key", "--delay", 30, *keys)

    def type(self, text):
        self.xdotool("type", "--delay", 15, text)

    def fill(self, name, text):
        """Replaces the text of the field of that name."""
        self.click(self.find(FIELD, name))
        self.key("ctrl+a")
        self.type(text)
        self.key("Tab")

    def choose_last(self, name):
        """Selects the last choice of that combo box."""
        self.click(self.find(FIELD, name))
        self.key("End", "Return")

    def tray(self, button):
        window = self.xdotool("search", "--class", "trayer").split()[-1]
        place = dict(line.split("=") for line in
                     self.xdotool("getwindowgeometry", "--shell", window).split())
        # Slowly: Wine closes a menu again that opens between two quick events.
        self.click_at(int(place["X"]) + int(place["WIDTH"]) // 2,
                      int(place["Y"]) + int(place["HEIGHT"]) // 2,
                      "sleep", 0.15, "mousedown", button, "sleep", 0.15, "mouseup", button)

    # --- pictures

    def picture(self, name, widget=None):
        """Saves a picture of the screen, or of the widget's window."""
        time.sleep(self.tree.ahead)
        self.taken += 1
        file = self.pictures / f"{self.taken:02}-{name.lower().replace(' ', '-')}.png"
        where = ["-i", self.window(widget)[1]] if widget else []
        subprocess.run(["maim", "-u", *where, file], check=True)
