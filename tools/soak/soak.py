"""Runs the gateway with a thousand lamps through a plan of faults, and says whether it kept its
promises: the network is cut, hangs or slows down, broker and sandbox are killed or stopped, the
computer sleeps, and meanwhile the user renames, unplugs, restores, or the gateway is killed.

Exit status: 0 when it kept them, 1 with the reasons when it did not.
"""

import argparse
import collections
import contextlib
import json
import math
import os
import pathlib
import random
import re
import shutil
import signal
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "journey"))
import atspi
import journey
from cloud import Portal, Sandbox
from gi.repository import Gio, GLib
from network import Network, Subscriber
from programs import JourneyError, Program, memory, say
from screen import DIALOG, Screen, wait_for
from systems import Linux
from tour import ALIAS, Tour

LAMPS = 1000
COUNTERS = 16  # of thing_counter
# The broker is stopped or killed; "away": the sandbox has ended. "drain": the network is cut, then
# slow and cut again while what waited goes out. A second word is what ends the fault.
FAULTS = ("none", "cut", "drain", "hang", "hang-cut", "slow", "slow-cut", "stop", "stop-kill",
          "kill", "away", "sleep")
ACTIONS = ("nothing", "kill", "restart", "unplug", "rename", "backup", "load_backup", "check")
UNDER_WAY = 256 * 1024 + 4096  # bytes, and what the last message may be above them
LATE = 3  # seconds from the end of a connection until its last state arrives, at most
UNWRITTEN = 1.5  # seconds: a state waits for one in memory, and a timer may be half a second late
FILES = {"outbox MB": "outbox.db*", "log MB": "logs/*", "data MB": "**/*"}
MAX_LEAK = {"own MB": 4, "handles": 3, "threads": 3}  # over a dozen reconnections or more
MAX_GROWTH = {"own MB": 24, "handles": 12, "threads": 8}  # from the beginning to the end
MAX_SIZE = {"outbox MB": 2, "log MB": 12}  # after the gateway's end
BAD_LINE = re.compile("QObject::|damaged|given up|are lost|dropp|Left out|cannot be", re.IGNORECASE)


def make_plan(seed, minutes):
    """Steps: fault, its seconds, action in its midst, whether the computer wakes up then (so that
    the gateway does not wait for its next attempt), seconds of rest."""
    dice, plan, seconds = random.Random(seed), [], 0
    faults, actions = [], []
    while seconds < minutes * 60:
        faults = faults or dice.sample(FAULTS, len(FAULTS))
        actions = actions or dice.sample(ACTIONS, len(ACTIONS))
        plan.append((faults.pop(), round(dice.uniform(4, 9), 1), actions.pop(),
                     dice.random() < 0.6, round(dice.uniform(1, 4), 1)))
        seconds += plan[-1][1] + plan[-1][4] + 4  # for action and connection, as measured
    return plan


class QuietPortal(Portal):
    def _read(self, stream):
        stream.close()


class Arrivals:
    """What arrived of each counter, compared with what it has recorded."""

    def __init__(self, records):
        self.records = records
        self.network = None
        self.numbers = collections.defaultdict(dict)  # of each counter, with their first arrival
        self.last = collections.defaultdict(int)
        self.highest = collections.defaultdict(int)
        self.size = 1  # bytes of the largest state
        self.at = 0.0
        self.disorder = []
        self.repeats = []  # first and second arrival
        self.resumed = []  # when a broker that was stopped went on
        self.states = 0
        self.colors = {}  # of the lamps

    def on_state(self, topic, payload):
        thing, state = topic.split("/")[1], json.loads(payload)
        self.states += 1
        if thing.startswith("lamp_"):
            self.colors[thing] = state["color"]
        if not thing.startswith("counter_"):
            return
        serial, number, self.at = thing.split("_")[2], state["number"], time.monotonic()
        numbers, highest = self.numbers[serial], self.highest[serial]
        if number not in numbers and number < highest:
            self.disorder.append(f"counter {serial}: {number} came after {highest}")
        elif number in numbers and number != self.last[serial]:  # no full report
            self.repeats.append((numbers[number], self.at))
        numbers.setdefault(number, self.at)
        self.last[serial], self.highest[serial] = number, max(number, highest)
        self.size = max(len(topic) + len(payload), self.size)

    def published(self):
        """Yields (serial, number, seconds)."""
        for record in self.records.glob("[0-9]*"):
            for line in record.read_text().splitlines():
                number, nanoseconds = line.split()
                yield record.name, int(number), int(nanoseconds) / 1e9

    def judge(self, kills):
        """The figures as a text, and what must not have happened."""
        published, lost, unwritten, under_way = 0, [], 0, collections.Counter()
        for serial, number, at in self.published():
            published += 1
            if number in self.numbers[serial]:
                continue
            if any(kill - UNWRITTEN <= at <= kill for kill in kills):
                unwritten += 1
            elif span := next((span for span in self.network.losses if span[0] <= at <= span[1]),
                              None):
                under_way[span] += self.size
            else:
                lost.append(f"counter {serial} lost {number}, which waited")
        ends = [link.ended for link in self.network.links if link.ended] + self.resumed
        twice = [second for first, second in self.repeats
                 if not any(first - LATE < end < second for end in ends)]
        repeated = collections.Counter(sum(link.began < second for link in self.network.links)
                                       for _, second in self.repeats)
        faults = self.disorder[:10] + lost[:10]
        faults += [f"{len(twice)} states came twice over one connection"] if twice else []
        faults += [f"{size // 1024} KB were lost of what was under way"
                   for size in under_way.values() if size > UNDER_WAY]
        faults += [f"{count} states were repeated on connection {connection}"
                   for connection, count in repeated.items() if count * self.size > UNDER_WAY]
        return (f"{published} numbered states published; lost: "
                f"{len(lost)} that waited, {sum(under_way.values()) // self.size} under way, "
                f"{unwritten} unwritten at {len(kills)} kills; repeated: "
                f"{len(self.repeats)}; {self.states} states of all things "
                f"arrived, over {len(self.network.links)} connections", faults)


class Soak(Tour):
    """Its actions are methods of the tour, or those below that have no parameter."""

    def set_up(self, work, network, subscriber, arrivals):
        self.log = work / "gateway.log"
        self.network, self.subscriber, self.arrivals = network, subscriber, arrivals
        self.faults, self.kills, self.most = [], [], collections.Counter()
        self.updates = 0
        self.lamps = []
        self.bus = Gio.bus_get_sync(Gio.BusType.SYSTEM)
        self.bus.call_sync("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName",
                           GLib.Variant("(su)", ("org.freedesktop.login1", 0)), None, 0, -1, None)

    def output(self):
        return self.log.read_text(errors="replace") if self.log.exists() else ""

    def start(self):
        self.screen.taken += 1  # so that the splash screen is not waited for
        starts = self.output().count("Ready")
        super().start()
        wait_for("“Ready”", lambda: self.output().count("Ready") > starts, 60)

    def sizes(self):
        return {name: sum(file.stat().st_size for file in
                          self.system.log.parents[1].glob(pattern)) / 2**20
                for name, pattern in FILES.items()}

    def sample(self):
        process = f"/proc/{self.gateway.process.pid}"
        return {"own MB": memory(self.gateway.process.pid)[0],
                "handles": len(os.listdir(process + "/fd")),
                "threads": len(os.listdir(process + "/task")), **self.sizes()}

    def watch(self):
        while True:
            with contextlib.suppress(OSError):  # the gateway has ended
                self.most |= collections.Counter(self.sample())
            time.sleep(1)

    def settled(self):
        samples = []
        while len(samples) < 2 or len(samples) < 10 and \
                abs(samples[-1]["own MB"] - samples[-2]["own MB"]) > 0.3:
            time.sleep(2)
            with contextlib.suppress(OSError):  # a file was replaced
                samples.append(self.sample())
        return samples[-1]

    def compare(self, before, after, limits, when):
        self.faults += [f"{name} grew from {before[name]:.1f} to {after[name]:.1f} {when}"
                        for name, limit in limits.items() if after[name] - before[name] > limit]

    def promise(self, what, look, seconds):
        try:
            wait_for(what, look, seconds)
        except JourneyError as error:
            self.faults.append(str(error))

    # --- faults

    def play_plan(self, plan):
        for number, (fault, seconds, action, wakes, rest) in enumerate(plan, 1):
            say(f"{number}/{len(plan)}", f"{fault} for {seconds} s, {action}"
                f"{', wakes up' if wakes else ''}, rests {rest} s")
            self.fail_for(fault, seconds, getattr(self, action))
            self.network.disturb()
            wait_for("subscriber", self.subscriber.subscribed.is_set, 90)
            if wakes:
                self.sleep(0)
            self.wait_for_arrival(fault)
            with contextlib.suppress(OSError):  # the sandbox's own client may not be back
                self.update_lamps(50)
            time.sleep(rest)

    def wait_for_arrival(self, fault):
        since = time.monotonic() + 0.3
        wait_for(f"states after the fault “{fault}”", lambda: self.arrivals.at > since, 45)
        self.network.disturbed_since = None

    def fail_for(self, fault, seconds, action):
        kind, _, end = fault.partition("-")
        if kind == "sleep":
            action()
            self.sleep(seconds)
            return
        self.network.disturb(slow=kind == "slow", hung=kind == "hang",
                             is_open=kind not in ("cut", "drain"))
        if kind in ("kill", "away") or fault == "stop-kill":
            self.subscriber.subscribed.clear()
        broker = kind in ("stop", "kill") and self.broker()
        if broker:
            os.kill(broker, signal.SIGSTOP if kind == "stop" else signal.SIGKILL)
        with self.sandbox.outage() if kind == "away" else contextlib.nullcontext():
            begin = time.monotonic()
            time.sleep(seconds / 2)
            action()
            time.sleep(max(0, begin + seconds - time.monotonic()))
        if kind == "stop":
            os.kill(broker, signal.SIGKILL if end else signal.SIGCONT)
            self.arrivals.resumed.append(time.monotonic())
        elif end:
            self.network.cut()
        if kind == "drain":
            for pause in (1.0, 2.5):
                self.network.disturb(slow=True)
                self.sleep(0)
                time.sleep(pause)
                self.network.cut()

    def broker(self):
        process = self.sandbox.program.process.pid
        children = pathlib.Path(f"/proc/{process}/task/{process}/children")
        return int(wait_for("broker", lambda: children.read_text().split(), 60)[0])

    def sleep(self, seconds):
        """The network forgets the connections meanwhile, but not in no seconds. The gateway has to
        connect anew long before it would miss the answer to a ping."""
        if seconds:
            wait_for("connection", lambda: any(link.ended is None for link in self.network.links),
                     45)
        begin, connections = time.monotonic(), len(self.network.links)
        self.signal_sleep(True)
        if seconds:
            self.network.forget()
            time.sleep(0.5)
            self.gateway.process.send_signal(signal.SIGSTOP)
            time.sleep(seconds)
            self.gateway.process.send_signal(signal.SIGCONT)
        self.signal_sleep(False)
        wait_for("connection after sleep", lambda: len(self.network.links) > connections, 20)
        if seconds:
            self.network.losses.append((begin - 1, time.monotonic()))

    def signal_sleep(self, begins):
        self.bus.emit_signal(None, "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                             "PrepareForSleep", GLib.Variant("(b)", (begins,)))
        self.bus.flush_sync()

    # --- actions

    def nothing(self):
        pass

    def kill(self):
        self.gateway.process.kill()
        self.gateway.wait(15)
        self.kills.append(time.monotonic())
        self.start()

    def unplug(self):
        self.set_lamps(LAMPS - 100)
        self.set_lamps(LAMPS)

    def rename(self):
        self.screen.press("Devices")
        self.screen.click(self.screen.cell("Devices", 3, ALIAS), times=2)
        name = f"Renamed {time.monotonic_ns()}"
        self.screen.key("ctrl+a")
        self.screen.type(name)
        self.screen.key("Return")
        wait_for("new name", lambda: self.screen.cell("Devices", 3, ALIAS).name == name)

    def backup(self):
        self.system.backup.unlink(missing_ok=True)
        self.save_backup()

    def check(self):
        self.screen.press("Cloud")
        self.screen.press("Check Connection...")
        time.sleep(2)
        self.screen.activate(self.screen.find(DIALOG, "Check Connection"))
        self.screen.key("Escape")  # it may not have ended
        self.screen.gone(DIALOG, "Check Connection")

    def update_lamps(self, count):
        """Returns the new colours; the cloud has the next `count` lamps change."""
        colors = {}
        for _ in range(count):
            self.updates += 1
            lamp = self.lamps[self.updates % LAMPS]
            colors[lamp] = f"#{self.updates:06x}"
            self.portal.post("/api/update", {"id": lamp, "update": {"color": colors[lamp]}})
        return colors

    # --- the end

    def finish(self, reconnections):
        (self.arrivals.records / "stop").touch()
        time.sleep(1)
        newest = {serial: number for serial, number, _ in self.arrivals.published()}
        self.promise("end of the queue", lambda: newest.items() <= self.arrivals.last.items(), 60)
        colors = self.update_lamps(LAMPS)
        self.promise("states of all lamps after an update",
                     lambda: colors.items() <= self.arrivals.colors.items(), 30)
        last = None
        for _ in range(2):  # in the first round, memory may grow to what reconnections need
            for _ in range(reconnections):
                self.sleep(0)
                time.sleep(0.2)
            before, last = last, self.settled()
        self.compare(before, last, MAX_LEAK, f"over {reconnections} reconnections")
        self.exit()
        self.compare(dict.fromkeys(FILES, 0), self.sizes(), MAX_SIZE, "when nothing waited")
        return last

    def conclude(self, first, last):
        text, faults = self.arrivals.judge(self.kills)
        self.faults += faults
        self.compare(first, last, MAX_GROWTH, "from the beginning to the end")
        self.faults += [f"log: {line}" for line in filter(BAD_LINE.search,
                                                         self.output().splitlines())][:10]
        print(f"\n{'':<12}{'first':>10}{'last':>10}{'most':>10}")
        for name in first:
            print(f"{name:<12}{first[name]:>10.1f}{last[name]:>10.1f}{self.most[name]:>10.1f}")
        print(f"\n{text}\n\nVerdict: the gateway " +
              ("did NOT keep its promises" if self.faults else "kept its promises"))
        for fault in self.faults:
            print(f"- {fault}")


def settings(cloud):
    things = [("lamp", f"{number:04}") for number in range(1, LAMPS + 1)]
    things += [("counter", str(number)) for number in range(COUNTERS)]
    pool = json.dumps({"devices": [
        {"type": kind, "version": "1", "serial": serial, "regid": "", "alias": f"{kind} {serial}"}
        for kind, serial in things]}).replace('"', '\\"')
    return (f"[Web]\nRegEndpoint={cloud['register']}\nCloud={cloud['base']}\n[Cloud]\n"
            "Interval=60\n[Plugins]\nhost\\enabled=false\n"
            f"lamp\\count={LAMPS}\n[UI]\nTrayNoticeShown=true\n[Devices]\nPool=\"{pool}\"\n")


def play(options, work, sockets, programs):
    records, pictures, program = work / "records", work / "pictures", work / "program"
    sandbox = Sandbox(options.build, options.build / "authority", work, programs)
    cloud = sandbox.addresses
    environment = dict(os.environ)
    opened = journey.start_desktop(work, environment, work / "profile", sockets, programs)
    environment.update(DBUS_SYSTEM_BUS_ADDRESS=environment["DBUS_SESSION_BUS_ADDRESS"],
                       KVG_SOAK_FOLDER=str(records))
    os.environ.update(environment)
    records.mkdir()
    pictures.mkdir()
    shutil.copytree(options.build / "bin", program)
    shutil.copy(options.build / "soak" / "thing_counter.so", program / "plugins")
    arrivals = Arrivals(records)
    subscriber = Subscriber(cloud["broker"]["port"], work / "cloud", cloud["ca"],
                            arrivals.on_state)
    arrivals.network = network = Network(cloud["broker"]["port"], subscriber.subscribed)
    system = Linux(program, work / "profile", "")
    system.set_up(cloud, environment, watched=True)
    atspi.Widget.unsearched = ("table", "list")
    stored = system.config / "Corvalt" / "KVG-Gate.conf"
    stored.write_text(settings(cloud))

    def start_gateway():
        programs.append(Program("gateway", system.command, work / "gateway.log", environment))
        return programs[-1]
    soak = Soak(start_gateway, None, Screen(system.tree(), pictures), QuietPortal(cloud["portal"]),
                system, opened, sandbox)
    soak.set_up(work, network, subscriber, arrivals)
    soak.start()
    soak.begin_registration(1)  # only the gateway has no name
    wait_for("registration", lambda: len(soak.portal.things()) == LAMPS + COUNTERS, 60)
    soak.wait_for_connection()
    soak.lamps = [name for name in soak.portal.things().values() if name.startswith("lamp_")]
    soak.exit()
    stored.write_text(re.sub(r"(?m)^Port=\d+", f"Port={network.port}", stored.read_text()))
    soak.start()
    soak.wait_for_arrival("none")
    soak.backup()
    first = soak.settled()
    threading.Thread(target=soak.watch, daemon=True).start()
    soak.play_plan(make_plan(options.seed, options.minutes))
    soak.conclude(first, soak.finish(12 + int(options.minutes * 4)))
    return bool(soak.faults)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split(":")[0])
    parser.add_argument("minutes", type=float, nargs="?", default=10)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build folder")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(10**6))
    options = parser.parse_args()
    if not 0 < options.minutes < math.inf:
        parser.error("MINUTES must be above 0")
    options.build = options.build.resolve()
    work = options.build / "soak-run"
    say("seed", f"{options.seed}, {options.minutes:g} minutes")
    verdict = []
    return journey.run(work, lambda sockets, programs, _: verdict.append(
        play(options, work, sockets, programs))) or int(verdict[0])


sys.exit(main())
