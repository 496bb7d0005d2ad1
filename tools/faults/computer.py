"""A gateway with its cloud and desktop, and what a test does with them."""

import contextlib
import os
import pathlib
import re
import sqlite3
import sys
import time

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "journey"))
# pylint: disable=wrong-import-position
from cloud import Portal, Sandbox
from display import start_display
from journey import FOREIGN, use_profile
from programs import JourneyError, Program
from screen import DIALOG, Screen, wait_for
from systems import Linux

# Leaves one device, this computer, which changes each second.
MORE_SETTINGS = "lamp\\enabled=false\nserial\\enabled=false\n\n[UI]\nLanguage=en\n"


class Computer(Linux):
    """A computer as the gateway sees it: display, cloud, disk and network."""

    def __init__(self, build, work, programs, sockets, tray):
        super().__init__(build / "bin", work / "profile", None)
        self.build, self.work, self.programs = build, work, programs
        self.profile = work / "profile"
        self.output = work / "gateway.log"  # out of the fault's reach, other than the log
        self.gateway = self.cloud = self.portal = self.has_namespaces = None
        environment = {name: value for name, value in os.environ.items()
                       if not name.startswith(FOREIGN)}
        environment.update(XDG_RUNTIME_DIR=str(sockets), LC_ALL="C.UTF-8")
        use_profile(environment, self.profile, sockets)
        start_display(work, sockets, environment, programs, tray)
        os.environ.clear()
        os.environ.update(environment, QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.screen = Screen(self.tree(), work)

    def start_cloud(self):
        """Under the address that the gateway knows, if it knows one."""
        port = (self.stored("Web", "Cloud") or ":0").rsplit(":", 1)[1]
        self.cloud = Sandbox(self.build, self.build / "authority", self.work, self.programs,
                             "--port", port)
        self.portal = Portal(self.cloud.addresses["portal"])

    def start(self, page=None, **variables):
        self.gateway = Program("gateway", self.command, self.output, {**os.environ, **variables})
        self.programs.append(self.gateway)
        self.screen.pid = self.gateway.process.pid
        if page:
            self.screen.press(page)

    def register(self):
        """Makes a registered gateway of an empty profile."""
        self.start_cloud()
        self.set_up(self.cloud.addresses, os.environ, watched=True)
        with open(self.config / "Corvalt" / "KVG-Gate.conf", "a", encoding="ascii") as settings:
            settings.write(MORE_SETTINGS)
        self.start("Cloud")
        self.screen.press("Start")
        for thing in ("gateway / ", "host / "):
            self.close_box(thing, "Thing Name")  # takes the proposed name
        self.portal.post("/api/code", {"code": self.told(r"^\d+$").zfill(6)})
        self.told("^Connected to the cloud")

    def told(self, words, seconds=30):
        """Waits for a text of the window, without the breaks in long words, and returns it."""
        return wait_for(f"“{words}” in the window", lambda: next(
            (text for text in self.screen.texts(("label", "image", "icon", "status bar"))
             if re.search(words, text.replace("\u200b", ""))), None), seconds)

    def logged(self, words, times=1):
        wait_for(f"“{words}” in the log, {times} times", lambda: len(
            re.findall(words, self.output.read_text(errors="replace"))) >= times, 30)

    def close_box(self, words, title="KVG-Gate"):
        self.told(words)
        self.screen.activate(self.screen.find(DIALOG, title))
        self.screen.key("Return")
        wait_for(f"end of “{words}”", lambda: not any(
            re.search(words, text) for text in self.screen.texts(("label",))))

    def fail_to_save(self):
        self.screen.press("Settings")
        self.screen.press("Look for devices regularly")
        self.screen.press("Apply")
        self.close_box("settings could not be saved")
        self.screen.press("Revert")  # else the page asks before it is left

    def check_saved(self):
        self.logged("settings are written again")
        self.logged(r"outbox\.db is written again")
        self.check(self.stored("System", "AutoScan") == "false", "a setting was not saved later")
        self.check(" W kvg.outbox Cannot " in self.log.read_text(), "the log file keeps silent")

    def check_delivered(self):
        """On the page Cloud. A box may be open over it: files could be written for a moment."""
        self.start_cloud()
        self.told("^Connected since", 60)
        self.told(r"^In this run: \d+ delivered, 0 dropped")

    def idle(self, seconds=4):
        def used():
            stat = pathlib.Path(f"/proc/{self.gateway.process.pid}/stat").read_text()
            return sum(map(int, stat.rsplit(")")[1].split()[11:13])) / os.sysconf("SC_CLK_TCK")
        before = used()
        time.sleep(seconds)
        self.check(used() - before < seconds / 2, "the gateway is busy with nothing")

    def check(self, good, fault):
        if not good:
            raise JourneyError(fault)

    def stop(self):
        if self.gateway.running:
            self.gateway.process.terminate()
        self.check(self.gateway.wait(15) == 0, "the gateway did not end as it should")
        self.check(self.stored("Cloud", "Serial"), "the settings are lost")
        for file in self.log.parents[1].glob("*.db"):
            with contextlib.closing(sqlite3.connect(file)) as database:
                self.check(database.execute("PRAGMA integrity_check").fetchone() == ("ok",),
                           f"{file} is damaged")
        self.check(not re.search("crashed|did not finish|is given up|does not return",
                                 self.output.read_text()), "a crash, a hang or a loss")
