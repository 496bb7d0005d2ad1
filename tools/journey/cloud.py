"""Starts the sandbox cloud, and plays the user in its portal."""

import json
import queue
import subprocess
import threading
import time
import urllib.request

from programs import JourneyError, Program


def start_sandbox(build, authority, work, programs):
    """Returns the addresses of the cloud, which keeps its data in the working folder."""
    programs.append(Program(
        "sandbox", [build / "bin" / "kvg-sandbox", "--authority", authority,
                    "--dir", work / "cloud"], work / "sandbox.log", output=subprocess.PIPE))
    cloud = json.loads(programs[-1].first_line())
    return {**cloud, "base": cloud["portal"].rsplit("/", 1)[0]}


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

    def wait_for_states(self, seconds=20):
        """Waits until a new state of every thing has arrived."""
        while not self.states.empty():
            self.states.get()
        missing = set(self.things().values())
        for thing in self.arriving(seconds):
            missing.discard(thing["id"])
            if not missing:
                return
        raise JourneyError("the broker saw no state of " + ", ".join(sorted(missing)))
