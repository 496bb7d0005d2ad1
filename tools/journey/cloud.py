"""Starts the sandbox cloud, and plays the user in its portal."""

import contextlib
import json
import queue
import subprocess
import threading
import time
import urllib.request

from programs import JourneyError, Program


class Sandbox:
    """The sandbox cloud, which keeps its data in the working folder; `options`: of its first start."""

    def __init__(self, build, authority, work, programs, *options):
        self.command = [build / "bin" / "kvg-sandbox", "--authority", authority,
                        "--dir", work / "cloud"]
        self.log = work / "sandbox.log"
        self.programs = programs
        self.start(*options)

    def start(self, *options):
        self.program = Program("sandbox", [*self.command, *options], self.log,
                               output=subprocess.PIPE)
        self.programs.append(self.program)
        self.addresses = json.loads(self.program.first_line())
        self.addresses["base"] = self.addresses["portal"].rsplit("/", 1)[0]

    def stop(self):
        if status := self.program.stop():
            raise JourneyError(f"the sandbox ended with {status}")

    @contextlib.contextmanager
    def outage(self):
        """Afterwards it is there again, under its old addresses."""
        self.stop()
        yield
        self.start("--port", self.addresses["base"].rsplit(":", 1)[1])


class Portal:
    """The web portal: posts what the user enters, and collects the states that it shows."""

    def __init__(self, address):
        self.address = address
        self.base = address.rsplit("/", 1)[0]
        self.states = queue.Queue()
        stream = urllib.request.urlopen(f"{self.base}/api/events", timeout=60)
        threading.Thread(target=self._read, args=(stream,), daemon=True).start()

    def _read(self, stream):
        kind = ""
        try:
            for line in stream:
                name, _, value = line.decode().strip().partition(":")
                if name == "event":
                    kind = value.strip()
                elif name == "data" and kind == "thing":
                    self.states.put(json.loads(value))
        except OSError:
            pass  # the sandbox ended: wait_for_states() fails

    def post(self, path, body):
        request = urllib.request.Request(
            f"{self.base}{path}", json.dumps(body).encode(),
            {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=10) as answer:
            return json.load(answer)

    def things(self):
        """The ids of the registered things by their names, without the gateways."""
        with urllib.request.urlopen(f"{self.base}/api/things", timeout=10) as answer:
            return {thing["alias"]: thing["id"] for gateway in json.load(answer)["gateways"]
                    for thing in gateway["things"]}

    def arriving(self, seconds):
        """Yields the things whose states arrive within that time."""
        deadline = time.monotonic() + seconds
        while (left := deadline - time.monotonic()) > 0:
            try:
                thing = self.states.get(timeout=left)
            except queue.Empty:
                return
            if thing.get("state"):
                yield thing

    def wait_for_states(self, absent=None, seconds=20):
        """Waits until a new state of every thing has arrived, but for the one of that name."""
        while not self.states.empty():
            self.states.get()
        missing = {thing for name, thing in self.things().items() if name != absent}
        for thing in self.arriving(seconds):
            missing.discard(thing["id"])
            if not missing:
                return
        raise JourneyError("the broker saw no state of " + ", ".join(sorted(missing)))
