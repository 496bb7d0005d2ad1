"""The way of a new user, from an empty profile to a device switched from the cloud.

Starts the sandbox cloud and the gateway on a profile of their own under the build folder, does
what a user would do, prints each step as it happens, and stops everything. Exit status: 0 when
every step worked, 1 with the reason when one did not, 128 + signal when it was told to stop.
"""

import argparse
import contextlib
import fcntl
import json
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import sys
import threading
import time
import urllib.request

ALIASES = {"host": "This computer", "lamp": "Lamp", "gateway": "My gateway"}


class JourneyError(Exception):
    """A step that did not work; the text is the reason."""


class Stopped(Exception):
    """A signal asked for the end."""


def say(step, text):
    print(f"{step:<12} {text}", flush=True)


class Program:
    """A child process whose lines of JSON arrive in a queue, and whose log goes to a file.

    It ends when its standard input closes, so it does not outlive this process however that ends.
    """

    def __init__(self, name, command, log, environment=None):
        self.name = name
        self.lines = queue.Queue()
        self.log = log
        with open(log, "wb") as log_file:
            self.process = subprocess.Popen(
                command, env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                stderr=log_file)
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            try:
                self.lines.put(json.loads(line))
            except ValueError:
                self.lines.put({"unreadable": line.decode(errors="replace")})
        self.lines.put(None)

    def send(self, command):
        try:
            self.process.stdin.write(command.encode() + b"\n")
            self.process.stdin.flush()
        except OSError as error:
            raise JourneyError(f"{self.name} is gone: {error}") from error

    def wait_for(self, what, wanted, seconds=30):
        """The first line that `wanted` accepts; lines before it are dropped."""
        deadline = time.monotonic() + seconds
        while True:
            try:
                line = self.lines.get(timeout=max(0.0, deadline - time.monotonic()))
            except queue.Empty:
                raise JourneyError(f"{self.name}: no {what} within {seconds} s") from None
            if line is None:
                raise JourneyError(
                    f"{self.name} ended with {self.process.wait()} before: {what}"
                    f"\n{tail(self.log)}")
            if line.get("op") == "Error":
                raise JourneyError(f"{self.name} says: {line['result']}")
            if wanted(line):
                return line

    def result(self, operation, seconds=30):
        return self.wait_for(operation, lambda line: line.get("op") == operation,
                             seconds)["result"]

    def stop(self):
        """Orderly if possible; the exit status."""
        try:
            self.process.stdin.close()
        except OSError:
            pass
        try:
            return self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait()


class Portal:
    """What the user does in the web portal, and what the broker delivered to it."""

    def __init__(self, address):
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
            pass  # the sandbox ended; whoever waits will say so

    def post(self, path, body):
        request = urllib.request.Request(
            f"{self.base}{path}", json.dumps(body).encode(),
            {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=10) as answer:
            return json.load(answer)

    def next_state(self, seconds):
        try:
            return self.states.get(timeout=max(0.0, seconds))
        except queue.Empty:
            return None


def tail(path, count=15):
    return "\n".join(pathlib.Path(path).read_text(errors="replace").splitlines()[-count:])


def short(state):
    text = json.dumps(state, ensure_ascii=False, separators=(",", ":"))
    return text if len(text) <= 100 else text[:99] + "…"


def environment_for(profile):
    environment = dict(os.environ)
    for variable, folder in (("HOME", "home"), ("XDG_CONFIG_HOME", "config"),
                             ("XDG_CONFIG_DIRS", "system"), ("XDG_DATA_HOME", "data"),
                             ("XDG_CACHE_HOME", "cache")):
        environment[variable] = str(profile / folder)
        (profile / folder).mkdir(parents=True)
    return environment


def write_settings(profile, cloud):
    """Points the gateway at the sandbox, as an administrator would, and lets it speak often."""
    folder = profile / "config" / "Corvalt"
    folder.mkdir()
    (folder / "KVG-Gate.conf").write_text(
        f"[Web]\nRegEndpoint={cloud['register']}\n"
        f"Cloud={cloud['portal'].rsplit('/', 1)[0]}\n\n"
        "[Plugins]\nhost\\interval=1\nlamp\\blink=2\n")


@contextlib.contextmanager
def own_folder(work):
    """Empties the working folder and holds it against a second journey."""
    mark = work / ".journey"
    if work.exists() and any(work.iterdir()) and not mark.exists():
        raise JourneyError(f"{work} is not empty and not the folder of an earlier journey")
    work.mkdir(parents=True, exist_ok=True)
    with open(mark, "a", encoding="ascii") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise JourneyError(f"another journey is under way in {work}") from None
        for entry in work.iterdir():
            if entry != mark:
                shutil.rmtree(entry) if entry.is_dir() else entry.unlink()
        yield


def journey(build, work, watch, programs):
    binaries = build / "bin"
    profile = work / "profile"
    environment = environment_for(profile)

    sandbox = Program("sandbox", [str(binaries / "kvg-sandbox"), "--until-eof",
                                  "--authority", str(build / "authority"),
                                  "--dir", str(work / "cloud")], work / "sandbox.log")
    programs.append(sandbox)
    cloud = sandbox.wait_for("address", lambda line: "portal" in line)
    say("sandbox", f"portal {cloud['portal']}, broker port {cloud['broker']['port']}")
    write_settings(profile, cloud)
    portal = Portal(cloud["portal"])

    gateway = Program("gateway", [str(binaries / "KVG-Gate")], work / "gateway.log", environment)
    programs.append(gateway)
    plugins = gateway.result("Lsmod")
    if not plugins:
        raise JourneyError("no plugin was loaded")
    say("plugins", ", ".join(f"{name} {data.get('version')}" for name, data in
                             sorted(plugins.items())))
    things = gateway.result("Lsthings")
    for thing in things:
        say("found", f"{thing['id']}  {short(thing['state'])}")
    if len(things) < 3:
        raise JourneyError("the computer and its lamps were not all found")
    gateway.wait_for("end of the start-up", lambda line: line.get("ready"))

    counts = {}
    for thing in things:
        kind = thing["id"].split("_")[0]
        counts[kind] = counts.get(kind, 0) + 1
        alias = ALIASES.get(kind, kind) + (f" {counts[kind]}" if kind == "lamp" else "")
        gateway.send(f"rename {thing['id']} {alias}")
        if not gateway.result("TRename"):
            raise JourneyError(f"{thing['id']} could not be named")
        say("named", f"{thing['id']}  {alias}")

    gateway.send("register")
    answer = gateway.wait_for("code", lambda line: line.get("op") in ("RegCode", "ProcReg"))
    if answer["op"] != "RegCode":
        raise JourneyError(f"no code: {short(answer['result'])}")
    code = answer["result"].get("value", answer["result"].get("code"))
    say("code", f"{code}, valid for {answer['result']['timeout']} s")
    portal.post("/api/code", {"code": str(code)})
    say("portal", "code entered")
    result = gateway.result("ProcReg")
    if "error" in result:
        raise JourneyError(f"registration failed: {short(result)}")
    if "cred" in result:
        raise JourneyError("the credentials reached the interface")
    say("registered", f"{result['alias']}: {result['id']}")
    for element in result["fleet"]:
        say("registered", f"{element['alias']}: {element['id']}")
    gateway.wait_for("connection", lambda line: line.get("connected") is True)
    say("connected", f"to {result['server']} port {result['port']} over TLS")

    wanted = {element["id"] for element in result["fleet"]}
    seen = {}
    deadline = time.monotonic() + watch
    while time.monotonic() < deadline or (wanted - set(seen) and
                                          time.monotonic() < deadline + 20):
        state = portal.next_state(0.5)
        if state and state.get("state"):
            seen[state["id"]] = seen.get(state["id"], 0) + 1
            say("state", f"{state['id']}  {short(state['state'])}")
    if wanted - set(seen):
        raise JourneyError("the broker saw no state of " + ", ".join(sorted(wanted - set(seen))))
    say("states", f"{sum(seen.values())} of {len(seen)} things in {watch} s")

    lamp = next((e["id"] for e in result["fleet"] if e["id"].startswith("lamp")), None)
    if lamp is None:
        raise JourneyError("no lamp was registered")
    portal.post("/api/update", {"id": lamp, "update": {"color": "#4caf50", "brightness": 42}})
    say("update", f"sent to {lamp} from the portal")
    deadline = time.monotonic() + 15
    while True:
        state = portal.next_state(deadline - time.monotonic())
        if state is None:
            raise JourneyError("the lamp did not take the update")
        if state["id"] == lamp and (state.get("state") or {}).get("brightness") == 42:
            say("applied", f"{lamp}  {short(state['state'])}")
            break

    gateway.send("quit")
    status = gateway.stop()
    if status != 0:
        raise JourneyError(f"the gateway ended with {status}\n{tail(gateway.log)}")
    status = sandbox.stop()
    if status != 0:
        raise JourneyError(f"the sandbox ended with {status}\n{tail(sandbox.log)}")
    say("stopped", "gateway and sandbox")


def stop_on_signal(number, _frame):
    raise Stopped(number)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build folder")
    parser.add_argument("--work", type=pathlib.Path, help="folder for profile and logs: new, or of an earlier journey")
    parser.add_argument("--watch", type=float, default=10, help="seconds to watch the states")
    options = parser.parse_args()
    build = options.build.resolve()
    work = (options.work or build / "run").resolve()
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, stop_on_signal)
    programs = []
    try:
        with own_folder(work):
            journey(build, work, options.watch, programs)
        status = 0
    except Stopped as stopped:
        print(f"\nstopped by signal {stopped.args[0]}", file=sys.stderr)
        status = 128 + stopped.args[0]
    except Exception as error:  # pylint: disable=broad-except  # whatever it is, it has a reason
        reason = str(error) if isinstance(error, JourneyError) else repr(error)
        print(f"\nThe journey failed: {reason}\nLogs: {work}", file=sys.stderr)
        status = 1
    finally:
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)
        for program in reversed(programs):
            program.stop()
    return status


sys.exit(main())
