"""The tour: does what a new user does with the window, from the first start to the last exit."""

import json
import re
import signal
import time
import xml.etree.ElementTree as xml

from programs import JourneyError, say
from screen import BUTTON, DIALOG, plain, wait_for

TITLE = "KVG-Gate"
PAGES = ("Devices", "Cloud", "Device settings", "Settings", "Known devices")
ALIASES = {"host": "This computer", "lamp": "Lamp", "gateway": "My gateway"}
BOARD = "Weather station"
TYPE, SERIAL, ALIAS, STATE, REGISTERED = range(5)  # columns of the table of devices


def short(state):
    text = json.dumps(state, ensure_ascii=False, separators=(",", ":"))
    return text if len(text) <= 100 else text[:99] + "…"


def in_order(serials):
    """Naturally: the numbers in them count as numbers."""
    return sorted(serials, key=lambda serial: [int(part) if part.isdigit() else part
                                               for part in re.split(r"(\d+)", serial)])


def translations(file):
    """Each source text to the set of its translations."""
    words = {}
    for message in xml.parse(file).iter("message"):
        if text := message.findtext("translation"):
            words.setdefault(plain(message.findtext("source")), set()).add(plain(text))
    return words


class Tour:
    """One run. A step raises JourneyError when the window does not react as it should.

    `start_gateway` starts the program and returns it; `start_board` plugs a board in and returns
    its program; `system` is one of systems.py; `opened` is the file to which the browser's
    stand-in writes the addresses that the gateway opens.
    """

    def __init__(self, start_gateway, start_board, screen, portal, system, opened, sandbox):
        self.start_gateway = start_gateway
        self.start_board = start_board
        self.board = None
        self.screen = screen
        self.portal = portal
        self.opened = opened
        self.system = system
        self.sandbox = sandbox
        self.gateway = None
        self.code = None
        self.look = "light-english"

    def play(self, watch, russian):
        self.start()
        self.first_look()
        self.attach_board()
        self.register()
        self.watch_states(watch)
        self.update_board()
        self.look_at_device()
        self.sort_and_filter()
        self.update_from_portal()
        self.rename_in_place()
        self.add_lamp()
        self.unplug()
        self.show_pages()
        self.save_backup()
        self.reset()
        self.restore()
        self.close_and_wake()
        self.about()
        self.outage()
        for look, theme, language in (("dark-english", True, False), ("dark-russian", False, True),
                                      ("light-russian", True, False)):
            self.change_look(look, theme, language)
            self.restart()
            if language:
                self.screen.words = translations(russian)
            self.show_pages()
        self.switch_autostart()
        self.exit()
        self.check_log()

    # --- starts and ends

    def start(self):
        self.gateway = self.start_gateway()
        self.screen.pid = self.gateway.process.pid
        if self.screen.taken == 0:
            self.picture_splash()
        self.window()
        say("started", self.look)

    def picture_splash(self):
        """Slows the gateway down: a fast computer shows the splash for a tenth of a second."""
        def slice_of_time():
            self.gateway.process.send_signal(signal.SIGCONT)
            time.sleep(self.system.slice)
            self.gateway.process.send_signal(signal.SIGSTOP)
            return {number for number, size in self.screen.windows().items() if size[0] > 100}
        try:
            splash = wait_for("splash", slice_of_time, 60)
            while slice_of_time() == splash:
                self.screen.taken = 0  # overwrites all pictures but the last
                self.screen.picture("splash")
        finally:
            self.gateway.process.send_signal(signal.SIGCONT)

    def exit(self):
        self.choose_in_tray("Up")
        status = self.gateway.wait(15)
        if status != 0:
            raise JourneyError(f"the gateway ended with {status}\n{self.gateway.tail()}")
        say("exit", "by the menu of the tray")

    def restart(self):
        self.exit()
        self.start()

    def choose_in_tray(self, *keys):
        before = self.screen.windows()
        self.screen.tray(3)
        wait_for("menu of the tray", lambda: self.screen.windows().keys() - before)
        self.screen.picture("tray-menu")
        self.screen.key(*keys, "Return")

    # --- reading the window

    def rows(self, count):
        """Waits until the table has that many rows, and returns them."""
        wait_for(f"{count} devices", lambda: len(self.screen.rows("Devices")) == count)
        return self.screen.rows("Devices")

    def row_of(self, alias):
        """The number of the row and its texts, or None."""
        return next(((number, row) for number, row in enumerate(self.screen.rows("Devices"))
                     if row[ALIAS] == alias), None)

    def state_of(self, alias):
        return self.row_of(alias)[1][STATE]

    def labels(self):
        return self.screen.texts(("label", "image", "icon"))

    def window(self, title=TITLE):
        return wait_for(f"window “{title}”", lambda: self.screen.top(title))

    def answer(self, title, picture, key="Return"):
        self.screen.activate(self.screen.find(DIALOG, title))
        self.screen.picture(picture)
        self.screen.key(key)
        self.screen.gone(DIALOG, title)

    # --- the steps

    def first_look(self):
        for row in self.rows(5):  # the gateway, this computer and three lamps
            say("found", f"{row[TYPE]} {row[SERIAL]}  {row[STATE]}")
        self.screen.window(self.window("Lamps"))
        self.screen.picture("first-start")

    def attach_board(self):
        self.board = self.start_board()
        self.screen.press("Device settings")
        self.screen.choose_last("Serial ports to open")
        self.screen.fill("Listed ports, separated by commas", self.system.board_port)
        self.screen.picture("listed-port")
        self.screen.press("Write")
        self.screen.press("Rescan")
        self.screen.press("Devices")
        wait_for("board", lambda: self.row_of(BOARD), 30)
        self.screen.picture("board")
        say("board", f"{BOARD}  {self.state_of(BOARD)}")

    def update_board(self):
        board = self.portal.things()[BOARD]
        self.portal.post("/api/update", {"id": board, "update": {"led": True}})
        wait_for("update", lambda: "led:true" in self.state_of(BOARD))
        self.screen.picture("board-updated")
        say("obeyed", f"{BOARD}  {self.state_of(BOARD)}")
        self.board.stop()
        wait_for("end of the board", lambda: not self.row_of(BOARD))
        say("unplugged", f"the {BOARD}")

    def register(self):
        named = self.begin_registration(5)
        named.append(BOARD)  # by itself
        self.wait_for_registration("Yes", len(named))
        self.screen.picture("registered")
        self.screen.press("Cloud")
        lines = self.screen.texts(("list item",))
        for alias in named:
            if not any(line.startswith(alias) for line in lines):
                raise JourneyError(f"“{alias}” is not among the registered: {lines}")
            say("registered", alias)
        self.wait_for_connection()
        self.screen.picture("wizard-finish")
        self.screen.press("Devices")

    def begin_registration(self, unnamed):
        """Names the things, of which so many have no name, and enters the code into the portal."""
        self.screen.press("Cloud")
        wait_for("first step", lambda: "Step 1. Fill in the thing names" in self.labels())
        self.screen.picture("wizard-start")
        self.screen.press("Start")
        named = self.name_things(unnamed)
        self.screen.find(BUTTON, "Copy to Clipboard")
        wait_for("third step", lambda: "Step 3. Enter the code in the cloud" in self.labels())
        self.screen.picture("wizard-code")
        left = int(self.screen.value("Expires in"))
        wait_for("countdown", lambda: int(self.screen.value("Expires in")) < left)
        self.screen.press("Copy to Clipboard")
        code = wait_for("code", lambda: self.screen.clipboard().isdigit() and
                        self.screen.clipboard())
        self.code = code
        if code not in self.labels():
            raise JourneyError(f"the code {code} is not the one that is shown")
        say("code", f"{code}, valid for {left} s")
        self.screen.press("Open in browser")
        wait_for("browser", lambda: self.opened.exists() and
                 self.portal.address in self.opened.read_text().splitlines())
        self.portal.post("/api/code", {"code": code.zfill(6)})
        say("portal", "code entered")
        return named

    def name_things(self, count):
        asked, named = set(), []
        while len(named) < count:
            dialog, text = wait_for("question for a name", lambda: next(
                ((found, text) for found in [self.screen.look(DIALOG, "Thing Name")] if found
                 for text in self.screen.texts(("label",), found) if text not in asked), None))
            self.screen.activate(dialog)
            asked.add(text)
            kind = text.splitlines()[1].split(" / ")[0]
            number = sum(alias.startswith(ALIASES[kind]) for alias in named) + 1
            named.append(ALIASES[kind] + (f" {number}" if kind == "lamp" else ""))
            self.screen.key("ctrl+a")
            self.screen.type(named[-1])
            if len(named) == 1:
                self.screen.picture("thing-name")
            self.screen.key("Return")
            say("named", f"{text.splitlines()[1]}  {named[-1]}")
        return named

    def wait_for_registration(self, wanted, count):
        self.screen.press("Devices")
        wait_for(f"{count} times “{wanted}”", lambda: sum(
            row[REGISTERED] == wanted for row in self.screen.rows("Devices")) == count, 30)

    def wait_for_connection(self):
        wait_for("connection", lambda: "Connected to the cloud" in self.labels(), 30)
        say("connected", "over TLS")

    def watch_states(self, seconds):
        before = self.state_of("This computer")
        for thing in self.portal.arriving(seconds):
            say("state", f"{thing['id']}  {short(thing['state'])}")
        self.portal.wait_for_states()
        wait_for("live state", lambda: self.state_of("This computer") != before)
        self.screen.picture("live-states")

    def look_at_device(self):
        self.screen.click(self.screen.cell("Devices", self.row_of("This computer")[0], TYPE))
        wait_for("details", lambda: "Processor" in self.screen.texts(("table cell", "tree item")))
        self.screen.picture("details")
        self.screen.press("History…")
        title = "History of This computer"
        self.screen.activate(self.window(title))
        self.screen.picture("history")
        self.screen.key("alt+F4")
        wait_for("end of the history", lambda: not self.screen.top(title))
        say("history", "of this computer")

    def sort_and_filter(self):
        def click_header():  # the tree has no lasting object for it
            grid = self.screen.find(("table",), "Devices")
            self.screen.click_at(grid.cell(0, SERIAL).box.x + 10, grid.box.y + 10, "click", 1)

        def serials():
            return [row[SERIAL] for row in self.rows(5)]
        ascending = in_order(serials())
        click_header()
        wait_for("order", lambda: serials() == ascending)
        self.screen.fill("Filter", "0002")
        self.rows(1)
        self.screen.picture("filtered")
        self.screen.fill("Filter", "\b")
        click_header()
        wait_for("reverse order", lambda: serials() == ascending[::-1])
        self.screen.picture("sorted")
        click_header()
        say("sorted", "by serial number, filtered, and as before")

    def update_from_portal(self):
        lamp = self.portal.things()["Lamp 1"]
        self.portal.post("/api/update", {"id": lamp,
                                         "update": {"color": "#4caf50", "brightness": 42}})
        say("update", f"sent to {lamp} from the portal")
        wait_for("update", lambda: "Brightness: 42\u00a0%" in self.state_of("Lamp 1"))
        say("applied", self.state_of("Lamp 1"))
        self.screen.picture("updated")

    def rename_in_place(self):
        """The lamp changes while the user types, which must not disturb the editor."""
        self.screen.click(self.screen.cell("Devices", self.row_of("Lamp 3")[0], ALIAS), times=2)
        self.screen.key("ctrl+a")
        self.screen.type("Kitchen")
        before = self.state_of("Lamp 3")
        wait_for("change of the lamp", lambda: self.state_of("Lamp 3") != before)
        self.screen.type(" lamp")
        self.screen.picture("rename")
        self.screen.key("Return")
        wait_for("new name", lambda: self.row_of("Kitchen lamp"))
        say("renamed", "Lamp 3 is the Kitchen lamp")

    def add_lamp(self):
        self.set_lamps(4)
        self.rows(6)
        self.screen.picture("fourth-lamp")
        say("setting", "a fourth lamp was found")

    def set_lamps(self, count):
        self.screen.press("Device settings")
        self.screen.fill("Number of lamps", str(count))
        self.screen.picture(f"{count}-lamps")
        self.screen.press("Write")
        self.screen.press("Rescan")
        self.screen.press("Devices")

    def unplug(self):
        def plug():
            self.screen.click(self.screen.find(("table cell",), "Lamp 3 plugged in"))
        plug()
        wait_for("end of the lamp", lambda: not self.row_of("Kitchen lamp"))
        self.screen.picture("unplugged")
        say("unplugged", "the Kitchen lamp has left")
        plug()
        self.screen.press("Rescan")
        wait_for("lamp again", lambda: self.row_of("Kitchen lamp"))
        if self.row_of("Kitchen lamp")[1][REGISTERED] != "Yes":
            raise JourneyError("the lamp has lost its registration")
        self.screen.picture("plugged")
        say("plugged", "the Kitchen lamp is back, under its name")

    def show_pages(self):
        """Takes a picture of every page."""
        for page in PAGES:
            self.screen.press(page)
            wait_for(f"page “{page}”",
                     lambda: "checked" in self.screen.find(BUTTON, page).states)
            self.screen.picture(f"{page}-{self.look}", self.window())
        self.screen.picture(f"Lamps-{self.look}", self.window("Lamps"))
        self.screen.press("Devices")
        say("pages", self.look)

    def choose_file(self, button, title):
        self.screen.press("Settings")
        self.screen.press(button)
        self.screen.activate_titled(title)
        self.screen.key("ctrl+a")  # the proposed name
        self.screen.type(self.system.backup_name)
        self.screen.picture(title)
        self.screen.key("Return")

    def save_backup(self):
        self.choose_file("Backup", "Save As")
        self.answer("Backup", "backup-made")
        if not self.system.backup.exists():
            raise JourneyError("there is no backup")
        say("backup", f"{self.system.backup.stat().st_size} bytes")

    def reset(self):
        self.screen.press("Cloud")
        self.screen.press("Reset Registration")
        self.answer("Gateway Registration", "reset-question", "alt+y")
        wait_for("reset", lambda: self.labels().count("Not registered") == 2)
        self.screen.picture("reset")
        self.wait_for_registration("No", 6)
        say("reset", "nothing is registered any more")

    def load_backup(self):
        self.choose_file("Load Backup", "Load Backup")
        self.answer("Restore Backup", "restore-question", "alt+y")
        self.answer("Import", "backup-loaded")
        self.restart()

    def restore(self):
        self.load_backup()
        self.wait_for_registration("Yes", 5)
        self.screen.press("Cloud")
        self.wait_for_connection()
        self.portal.wait_for_states(absent=BOARD)
        self.screen.picture("restored")
        say("restored", "registered and connected as before")

    def close_and_wake(self):
        self.screen.activate(self.window())
        self.screen.key("alt+F4")
        wait_for("empty screen", lambda: not self.screen.top(TITLE))
        self.screen.picture("closed-to-tray")
        wait_for("notice of the tray",
                 lambda: self.system.stored("UI", "TrayNoticeShown") == "true")
        say("closed", "to the tray")
        second = self.start_gateway()
        status = second.wait(15)
        if status != 0:
            raise JourneyError(f"the second start ended with {status}\n{second.tail()}")
        self.window()
        say("woken", "by a second start")
        self.screen.tray(1)
        wait_for("empty screen", lambda: not self.screen.top(TITLE))
        self.screen.tray(1)
        self.window()
        say("tray", "a click hides the window, another brings it back")

    def about(self):
        self.choose_in_tray("Up", "Up")
        self.answer(TITLE, "about")

    def check_connection(self, picture):
        """Returns the report."""
        self.screen.press("Check Connection...")
        self.screen.find(BUTTON, "Check Again")
        self.screen.activate(self.screen.find(DIALOG, "Check Connection"))
        self.screen.picture(picture)
        self.screen.press("Copy")
        report = wait_for("report", lambda: "Qt 5" in self.screen.clipboard() and
                          self.screen.clipboard())
        self.screen.key("Escape")
        self.screen.gone(DIALOG, "Check Connection")
        marks = re.findall(r"^\[(.*?)\] (.*?):", report, re.MULTILINE)
        say("checked", "; ".join(f"{name} {mark.strip()}" for mark, name in marks))
        if re.search(rf"-----BEGIN|\b{self.code}\b", report):
            raise JourneyError("a secret is in the report")
        return {name: mark.strip() for mark, name in marks}

    def outage(self):
        """The portal is not read any more after this."""
        self.screen.press("Cloud")
        good = self.check_connection("check-connected")
        if "FAIL" in good.values():
            raise JourneyError(f"a check of a good connection failed: {good}")
        with self.sandbox.outage():
            wait_for("next attempt", lambda: self.screen.look(BUTTON, "Try Now"), 30)
            self.screen.picture("offline")
            if self.check_connection("check-offline")["Port"] != "FAIL":
                raise JourneyError("the check does not see that the cloud is away")
        self.screen.press("Try Now")
        self.wait_for_connection()
        self.screen.press("Devices")

    def change_look(self, look, theme, language):
        """On the settings page; takes effect at the next start."""
        self.screen.press("Settings")
        if theme:
            self.screen.press("Dark theme")
        if language:
            self.screen.choose_last("Language")
        self.screen.press("Apply")
        self.screen.find(DIALOG)
        while self.screen.look(DIALOG):  # in a new profile, a second box tells of the language
            front = wait_for("box in front", lambda: next(
                (window for window in self.screen.tops() if window.role in DIALOG
                 and "active" in window.states), None))
            self.answer(front.name, f"apply-{look}")
        self.look = look

    def switch_autostart(self):
        """On, then off; checks the stored setting and the autostart entry."""
        for command, stored in ((self.system.autostart_command, "true"), (None, "false")):
            self.screen.press("Settings")
            self.screen.press("Start when I log on")
            self.screen.press("Apply")
            wait_for(f"autostart entry “{command}”", lambda: self.system.autostart() == command)
            wait_for(f"setting “{stored}”",
                     lambda: self.system.stored("System", "Autostart") == stored)
            say("autostart", command or "off again")

    def check_log(self):
        log = self.system.log.read_text(encoding="utf-8")
        for file in self.system.plugins:
            name = file.removeprefix("thing_").partition(".")[0]
            if f"/{file} as {name}\n" not in log:
                raise JourneyError(f"the log does not say that the plugin {file} was loaded")
        if re.search(rf"-----BEGIN|\b{self.code}\b", log):
            raise JourneyError("a secret is in the log")
        say("log", f"{len(log.splitlines())} lines, and no secret")
