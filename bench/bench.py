"""Runs the benchmarks and prints their table.

usage: bench.py --build DIR [NAME...]    NAME: publish, latency, backlog, hang, scan, stream,
                                        table, plot, start, idle; and only when it is named:
                                        fleet, which takes three minutes, and the first time some
                                        more for the certificates that it keeps in DIR/fleet

Programs that are compared run in turn, against the same broker. Wall time of a publication: from
the start of the publisher to the last message at the subscriber. Processor time and peak memory are
those that the system reports for the publisher's process. Programs with a window run on a virtual
display with a window manager and a tray.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import resource
import select
import shutil
import signal
import socket
import ssl
import statistics
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tools" / "journey"))
from display import start_display
from programs import memory

MESSAGES = 200_000
BACKLOG = 1_000_000
BYTES_EACH = 200 + len("things/bench/state")
LAMPS = 100
SETTLED = 40  # seconds; a QThreadPool ends its idle threads after 30
IDLE = 120  # seconds; two scans at the default interval
MAX_WAIT = 120  # seconds, for the last message of a load
GATEWAYS = 1000  # of the fleet
DOWN = 5  # seconds that a killed broker stays away
CONNECT = b"\x10\x0c\0\4MQTT\4\2\0\x3c\0\0"  # MQTT 3.1.1, a clean session, an id from the broker
SMALL_STACK = 512 * 1024  # bytes; recursion over a backlog would not fit


def row(name, *figures):
    print(f"{name:<34}" + "".join(f"{figure:>16}" for figure in figures), flush=True)


def heading(text, *columns):
    print()
    row(text, *columns)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def await_port(port):
    deadline = time.monotonic() + 10
    while True:
        try:
            socket.create_connection(("127.0.0.1", port)).close()
            return
        except OSError:
            if time.monotonic() > deadline:
                raise
            time.sleep(0.02)


RSA = ["rsa:2048"]
ECDSA = ["ec", "-pkeyopt", "ec_paramgen_curve:P-256"]


def issue(authority, folder, name, key=RSA):
    """A certificate and its key; those from before, if the authority is the same."""
    own, private, request = (folder / f"{name}.{end}" for end in ("pem", "key", "csr"))
    ca = authority / "authority.pem"
    if not own.exists() or own.stat().st_mtime < ca.stat().st_mtime:
        subprocess.run(["openssl", "req", "-newkey", *key, "-nodes", "-subj", f"/CN={name}",
                        "-addext", "subjectAltName=DNS:localhost", "-keyout", private, "-out",
                        request], check=True, stderr=subprocess.DEVNULL)
        subprocess.run(["openssl", "x509", "-req", "-in", request, "-CA", ca, "-CAkey",
                        authority / "authority.key", "-copy_extensions", "copy", "-days", "3650",
                        "-out", own], check=True, stderr=subprocess.DEVNULL)
    return own, private


class Broker:
    """A mosquitto on a free loopback port, with TLS and client certificates required."""

    def __init__(self, authority, folder, key=RSA):
        self.ca = authority / "authority.pem"
        self.cert, self.key = issue(authority, folder, "client")
        cert, key = issue(authority, folder, "broker", key)
        self.port = free_port()
        self.configuration = folder / "mosquitto.conf"
        self.configuration.write_text(
            f"listener {self.port} 127.0.0.1\nuser root\nallow_anonymous true\n"
            f"cafile {self.ca}\ncertfile {cert}\nkeyfile {key}\nrequire_certificate true\n"
            "max_queued_messages 0\nset_tcp_nodelay true\nlog_type none\n")
        self.start()

    def start(self):
        program = shutil.which("mosquitto", path=os.environ["PATH"] + ":/usr/sbin")
        self.process = subprocess.Popen([program, "-c", str(self.configuration)])
        await_port(self.port)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def restart(self):
        self.kill()
        time.sleep(DOWN)
        self.start()

    def stop(self):
        self.process.terminate()
        self.process.wait()


class Bench:
    def __init__(self, build, folder):
        self.program = str(build / "bin" / "kvg-bench")
        self.folder = folder
        self.authority = build / "authority"
        self.environment = dict(os.environ)
        for variable in ("HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CONFIG_DIRS"):
            self.environment[variable] = str(folder / variable.lower())
        self._broker = None
        self._desktop = []
        self._sink = None

    @property
    def broker(self):
        if self._broker is None:
            self._broker = Broker(self.authority, self.folder)
        return self._broker

    def stop(self):
        if self._broker is not None:
            self._broker.stop()
        if self._sink is not None:
            self._sink.kill()
            self._sink.wait()
        for program in reversed(self._desktop):
            program.stop()

    def display(self):
        """Starts the virtual display; the environment for a program with a window."""
        if not self._desktop:
            logs, sockets, temporary = (self.folder / name for name in ("logs", "s", "tmp"))
            for folder in (logs, sockets, temporary):
                folder.mkdir(mode=0o700)
            # The guard finds a running instance in this folder: not the user's own gateway.
            self.environment.update(TMPDIR=str(temporary), XDG_RUNTIME_DIR=str(temporary))
            start_display(logs, sockets, self.environment, self._desktop)
        return self.environment

    def command(self, load, count=0, broker=True):
        words = [self.program, load, "--count", str(count)]
        if broker:
            words += ["--port", str(self.broker.port), "--ca", str(self.broker.ca),
                      "--cert", str(self.broker.cert), "--key", str(self.broker.key)]
        return words

    def run(self, load, count, broker=False):
        output = subprocess.run(self.command(load, count, broker), env=self.environment,
                                check=True, stdout=subprocess.PIPE).stdout
        return json.loads(output.splitlines()[-1])

    def alone(self, command, _, stdin):
        """Runs a publisher to its end; the result as that of watched()."""
        start = time.monotonic()
        publisher = subprocess.Popen(command, env=self.environment, stdin=stdin)
        _, status, usage = os.wait4(publisher.pid, 0)
        if status != 0:
            sys.exit(f"{command[0]} failed: status {status}")
        return time.monotonic() - start, usage, None, None

    def watched(self, command, count, stdin=None, limits=None):
        """Runs a publisher and the subscriber; wall time, usage and the output of both."""
        subscriber = subprocess.Popen(self.command("subscribe", count), stdout=subprocess.PIPE,
                                      env=self.environment)
        subscriber.stdout.readline()  # "subscribed"
        start = time.monotonic()
        publisher = subprocess.Popen(command, env=self.environment, stdin=stdin,
                                     stdout=subprocess.PIPE, preexec_fn=limits)
        if not select.select([subscriber.stdout], [], [], MAX_WAIT)[0]:
            subscriber.kill()
            sys.exit(f"{' '.join(command[:2])}: not all of its {count} messages arrived")
        received = json.loads(subscriber.stdout.readline())
        wall = time.monotonic() - start
        output = publisher.stdout.read()
        _, status, usage = os.wait4(publisher.pid, 0)
        if status != 0 or subscriber.wait() != 0 or received["count"] != count:
            sys.exit(f"{command[0]} failed: status {status}, received {received}")
        if received["outOfOrder"]:
            sys.exit(f"{command[0]}: {received['outOfOrder']} messages out of order")
        return wall, usage, received, output

    def mosquitto_pub(self, topic, payload="-l"):
        return ["mosquitto_pub", payload, "-h", "localhost", "-p", str(self.broker.port),
                "--cafile", str(self.broker.ca), "--cert", str(self.broker.cert), "--key",
                str(self.broker.key), "-t", topic]

    def publish(self, rounds=3):
        lines = self.folder / "lines"
        with open(lines, "w", encoding="ascii") as out:
            out.writelines(f"{i}".ljust(200, ".") + "\n" for i in range(MESSAGES))
        peer = self.mosquitto_pub("things/bench/state")
        sink_port = free_port()
        sink = ["openssl", "s_server", "-quiet", "-accept", str(sink_port), "-cert",
                self.broker.cert, "-key", self.broker.key]
        self._sink = subprocess.Popen(sink, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL)
        await_port(sink_port)
        bare = self.command("tls") + ["--port", str(sink_port)]
        figures = {"TLS alone, 16 KB a record": [], "mosquitto_pub -l": [], "gateway's client": []}
        for _ in range(rounds):
            for name, command in zip(figures, (bare, peer, self.command("publish"))):
                with open(lines, "rb") as stdin:
                    run = self.alone if command is bare else self.watched
                    wall, usage, _, _ = run(command, MESSAGES, stdin)
                figures[name].append((wall, usage.ru_utime + usage.ru_stime,
                                      usage.ru_maxrss / 1024))
        heading(f"{MESSAGES} states of 200 bytes, TLS", "wall s", "processor s", "peak MB")
        medians = []
        for name, rows in figures.items():
            medians.append([statistics.median(column) for column in zip(*rows)])
            row(name, *(f"{value:.2f}" for value in medians[-1]))
        row("ratio to mosquitto_pub", *(f"{own / other:.2f}" for other, own in zip(*medians[1:])))
        row("ratio to TLS alone (aim: 3)", "", f"{medians[2][1] / medians[0][1]:.2f}")
        print(f"median of {rounds} rounds in turn; every message arrived, in order")

    def latency(self, changes=20_000):
        _, _, received, _ = self.watched(self.command("states", changes), changes)
        heading("stateChanged to subscriber", "median ms", "99 % ms", "longest ms")
        row(f"1000 things, {changes} changes",
            *(f"{received[name] * 1000:.2f}" for name in ("median", "p99", "longest")))

    def empty_outbox(self):
        shutil.rmtree(self.environment["XDG_DATA_HOME"], ignore_errors=True)

    def send_updates(self, ended):
        """Publishes the time every 50 ms until the event is set."""
        peer = subprocess.Popen(self.mosquitto_pub("things/bench/update"), stdin=subprocess.PIPE,
                                text=True)
        while not ended.wait(0.05):
            print(time.monotonic_ns(), file=peer.stdin, flush=True)
        peer.communicate()

    def backlog(self):
        def small_stack():
            resource.setrlimit(resource.RLIMIT_STACK, (SMALL_STACK, SMALL_STACK))
        self.empty_outbox()
        share = self.run("steady", 10)["share"]
        self.empty_outbox()
        empty = self.run("drain", 0, broker=True)
        filled = self.run("fill", BACKLOG)
        if filled["waiting"] != BACKLOG:
            sys.exit(f"{filled['waiting']} of {BACKLOG} states wait")
        drained = threading.Event()
        sender = threading.Thread(target=self.send_updates, args=[drained], daemon=True)
        sender.start()
        wall, _, _, output = self.watched(self.command("drain"), BACKLOG, None, small_stack)
        drained.set()
        sender.join()
        full = json.loads(output)
        heading("states of 200 bytes while offline", "measured", "aim")
        row(f"{BACKLOG} at once, states/s", f"{BACKLOG / filled['seconds']:.0f}", "200000")
        row("10000 states/s, share of a core", f"{share * 100:.1f} %")
        heading(f"{BACKLOG} states wait", "none wait", "they wait", "difference", "aim")
        for name, before, after in (("added, peak MB", filled["idle"], filled["peak"]),
                                    ("sent, peak MB", empty["idle"], full["peak"])):
            row(name, f"{before:.1f}", f"{after:.1f}", f"{after - before:.1f}", 32)
        for name, aim in (("constructed", ""), ("connected", "1.00")):
            row(f"start until {name}, s", f"{empty[name]:.2f}", f"{full[name]:.2f}",
                f"{full[name] - empty[name]:.2f}", aim)
        heading(f"{BACKLOG} states are sent", "all received s", "update ms", "longest ms", "aim")
        row(f"{full['updates']} updates meanwhile", f"{wall:.2f}", f"{full['median'] * 1000:.1f}",
            f"{full['worst'] * 1000:.1f}", 100)
        print(f"all arrived, in order, on a stack of {SMALL_STACK // 1024} KB")

    def hang(self, rounds=3):
        """A broker stops reading while 10000 states/s are published, and is killed."""
        heading("the broker hangs 3 s, is killed", "states", "lost", "lost KB", "aim")
        for _ in range(rounds):
            self.empty_outbox()
            subscriber = subprocess.Popen(self.command("subscribe"), stdout=subprocess.PIPE,
                                          env=self.environment)
            subscriber.stdout.readline()  # "subscribed"
            publisher = subprocess.Popen(self.command("steady", 6), stdout=subprocess.PIPE,
                                         env=self.environment)
            time.sleep(2)
            self.broker.process.send_signal(signal.SIGSTOP)
            time.sleep(3)
            self.broker.kill()
            self._broker = None
            received = json.loads(subscriber.stdout.readline())
            subscriber.wait()
            published = json.loads(publisher.communicate()[0])
            # What waits goes out through another process, to another broker.
            _, _, late, _ = self.watched(self.command("drain"), published["waiting"])
            if received["outOfOrder"] or late["next"] != published["published"]:
                sys.exit(f"published {published}, received {received}, then {late}")
            lost = max(0, late["first"] - received["next"])
            row("10000 states/s", published["published"], lost,
                f"{lost * BYTES_EACH / 1024:.0f}", 256)

    def fleet(self):
        """The cloud clients of many gateways in one process; their broker is killed."""
        limit = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
        resource.setrlimit(resource.RLIMIT_NOFILE, (limit, limit))
        certificates = self.authority.parent / "fleet"
        certificates.mkdir(exist_ok=True)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(lambda i: issue(self.authority, certificates, i), range(GATEWAYS)))
        for key in (RSA, ECDSA):
            self._broker = Broker(self.authority, self.folder, key)
            heading(f"broker with a key of {key[0]}, TLS 1.3", "client ms", "broker ms")
            for name in ("full handshake", "resumed handshake"):
                client, broker = self.handshakes(name == "resumed handshake")
                row(name, f"{client * 1000:.2f}", f"{broker * 1000:.2f}")
            with tempfile.TemporaryDirectory(dir="/dev/shm") as disk:  # for as many computers
                self.environment["XDG_DATA_HOME"] = disk
                self.connect_fleet(certificates)
            self._broker.stop()
            self._broker = None
            (self.folder / "broker.pem").unlink()  # the next one has another kind of key

    def handshakes(self, resumed, count=1000):
        """Connections, one after the other; processor seconds of a client in Python and of the
        broker for each."""
        tls = ssl.create_default_context(cafile=self.broker.ca)
        tls.load_cert_chain(self.broker.cert, self.broker.key)
        pids = os.getpid(), self.broker.process.pid
        before = [processor(pid) for pid in pids]
        session = None
        for _ in range(count):
            plain = socket.create_connection(("127.0.0.1", self.broker.port))
            with tls.wrap_socket(plain, server_hostname="localhost", session=session) as link:
                link.sendall(CONNECT)
                link.recv(4)  # CONNACK; the ticket comes before it
                if link.session_reused != (session is not None):
                    sys.exit("the broker did not resume a session")
                session = link.session if resumed else None
        return [(processor(pid) - start) / count for pid, start in zip(pids, before)]

    def connect_fleet(self, certificates):
        """From no gateway to all of them; the broker is killed, then killed while they publish."""
        sizes = []
        heading(f"{GATEWAYS} gateways connect", "first s", "median s", "99 % s", "last s",
                "fleet ms each", "broker ms each")
        for count in (0, 100, GATEWAYS):
            fleet = Fleet(self.command("fleet", count) + [
                "--cert", certificates / "%1.pem", "--key", certificates / "%1.key"], self)
            if count == GATEWAYS:
                fleet.storm("at first", time.monotonic())
            elif count > 0:
                fleet.answer("connectedAt")
            sizes.append([memory(pid)[0] for pid in fleet.pids()])
            if count < GATEWAYS:
                fleet.end()
        self.broker.restart()
        fleet.storm("after the broker's return", time.monotonic())
        follower = subprocess.Popen(self.command("follow"), stdout=subprocess.PIPE,
                                    env=self.environment)
        follower.stdout.readline()  # "subscribed"
        fleet.publish(GATEWAYS, 20 * GATEWAYS)
        time.sleep(3)
        self.broker.restart()
        fleet.storm("the same while they publish", time.monotonic())
        fleet.answer("published")
        time.sleep(3)  # the last ones arrive
        subprocess.run(self.mosquitto_pub("things/bench/state", "-n"), check=True)
        received = json.loads(follower.communicate()[0].splitlines()[-1])
        delivered = received["count"] - received["repeated"]
        print(f"of {20 * GATEWAYS} states, one a second from each, {20 * GATEWAYS - delivered} "
              f"were lost, {received['repeated']} came twice")
        heading("states of 200 bytes, one subscriber", "states/s", "fleet ms/1000",
                "broker ms/1000")
        for name, rate, count in (("one a second from each", GATEWAYS, 10 * GATEWAYS),
                                  ("as fast as they go out", 0, 200 * GATEWAYS)):
            fleet.load(name, rate, count)
        heading("own memory", "fleet MB", "KB each", "broker MB", "KB each")
        for count, size in zip((0, 100, GATEWAYS), sizes):
            row(f"{count} gateways", *(figure for now, none in zip(size, sizes[0]) for figure in (
                f"{now:.1f}", f"{(now - none) / max(count, 1) * 1024:.0f}")))
        fleet.end()

    def scan(self):
        heading("lamps, all known and registered", "adoption s", "rescan s", "µs each")
        for count in (1_000, 3_000, 10_000):
            result = self.run("scan", count)
            if result["things"] != count:
                sys.exit(f"{result['things']} of {count} lamps were found")
            row(f"{count}", f"{result['adoption']:.3f}", f"{result['rescan']:.3f}",
                f"{result['adoption'] / count * 1e6:.1f}")

    def stream(self):
        heading("event stream in 1 KB pieces", "seconds", "MB/s", "events")
        for size in (25, 50, 100):
            result = self.run("stream", size)
            row(f"{size} MB of short events", f"{result['seconds']:.2f}",
                f"{size / result['seconds']:.0f}", result["events"])
        for size in (2_500, 5_000, 10_000):
            result = self.run("line", size)
            row(f"one line of {size / 1000:g} MB", f"{result['seconds']:.3f}",
                f"{size / 1000 / result['seconds']:.0f}", result["events"])

    def table(self, rounds=3):
        """With the history and the pane of details; one to sort, or one key in the filter."""
        heading("table of 10000 states", "updates/s", "share of a core", "longest gap ms",
                "slowest one ms")
        for order in ("as listed", "sorted", "filtered") * rounds:
            command = [self.program + "-window", "table", order]
            result = json.loads(subprocess.run(command, env=self.display(), check=True,
                                               stdout=subprocess.PIPE).stdout)
            row(order, result["updates"], f"{result['share'] * 100:.1f} %",
                f"{result['longest'] * 1000:.1f}", f"{result['slowest'] * 1000:.1f}")

    def plot(self, rounds=3):
        command = [self.program + "-window", "plot"]
        heading("plot of 43200 points", "first ms", "of it drawing", "second ms", "of it drawing")
        for _ in range(rounds):
            result = json.loads(subprocess.run(command, env=self.display(), check=True,
                                               stdout=subprocess.PIPE).stdout)
            row("from open to painted", *(f"{result[name] * 1000:.0f}" for name in
                ("first", "firstDrawing", "second", "secondDrawing")))

    def hidden(self, program):
        """Starts a program in the tray; returns it and the seconds until it prints "Ready"."""
        start = time.monotonic()
        process = subprocess.Popen(program, env=self.display(), stderr=subprocess.PIPE, text=True)
        for line in process.stderr:
            if "Ready" in line:
                return process, time.monotonic() - start
        sys.exit(f"{program[0]} ended with {process.wait()}")

    def gateway(self):
        settings = pathlib.Path(self.environment["XDG_CONFIG_HOME"]) / "Corvalt" / "KVG-Gate.conf"
        settings.parent.mkdir(parents=True, exist_ok=True)
        settings.write_text("[System]\nStartHidden=true\n[UI]\nLanguage=en\n[Plugins]\n"
                            f"lamp\\count={LAMPS}\nhost\\enabled=false\n", encoding="ascii")
        return self.hidden([str(pathlib.Path(self.program).parent / "KVG-Gate")])

    def start(self, rounds=7):
        seconds = []
        self.gateway()[0].kill()  # fills the system's file cache
        for _ in range(rounds):
            process, ready = self.gateway()
            seconds.append(ready)
            process.terminate()
            process.wait()
        heading(f"start with {LAMPS} lamps, hidden", "median ms", "shortest ms", "longest ms")
        row(f"process start to Ready, {rounds} times",
            *(f"{1000 * pick(seconds):.0f}" for pick in (statistics.median, min, max)))

    def idle(self):
        processes = {"minimal Qt Widgets program": self.hidden([self.program + "-window", "idle"])[0],
                     f"gateway, {LAMPS} lamps": self.gateway()[0]}
        time.sleep(SETTLED)
        before = {name: switches(process.pid) for name, process in processes.items()}
        time.sleep(IDLE)
        heading("idle in the tray", "own MB", "resident MB", "wake-ups/min")
        for name, process in processes.items():
            own, resident = memory(process.pid)
            # Without threads that have ended since; usually there are none.
            woken = sum(count - before[name].get(thread, 0)
                        for thread, count in switches(process.pid).items()) * 60 / IDLE
            row(name, f"{own:.1f}", f"{resident:.1f}", f"{woken:.1f}")
        for process in processes.values():  # only now: they share pages
            process.terminate()
            process.wait()
        print("own: not shared with another process; wake-ups: voluntary switches of all threads")


class Fleet:
    """Many gateways in one process, which takes commands and prints lines of JSON."""

    def __init__(self, command, bench):
        self.bench = bench
        self.process = subprocess.Popen(command, env=bench.environment, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.answers = {}
        self.answer("made")

    def answer(self, name):
        while name not in self.answers:
            if not select.select([self.process.stdout], [], [], MAX_WAIT)[0]:
                sys.exit(f"the fleet has not answered for {MAX_WAIT} s")
            self.answers.update(json.loads(self.process.stdout.readline()))
        return self.answers.pop(name)

    def publish(self, rate, count):
        print(rate, count, file=self.process.stdin, flush=True)

    def end(self):
        self.process.communicate()

    def pids(self):
        return self.process.pid, self.bench.broker.process.pid

    def measured(self, action, count):
        """The result of the action, and the milliseconds of fleet and broker for each of it."""
        before = [processor(pid) for pid in self.pids()]
        result = action()
        return result, [f"{(processor(pid) - start) / count * 1000:.2f}"
                        for pid, start in zip(self.pids(), before)]

    def storm(self, name, begin):
        result, costs = self.measured(lambda: self.answer("connectedAt"), GATEWAYS)
        times = sorted(at - begin for at in result)
        row(name, *(f"{times[int(share * (GATEWAYS - 1))]:.2f}" for share in (0, 0.5, 0.99, 1)),
            *costs)

    def load(self, name, rate, count):
        subscriber = subprocess.Popen(self.bench.command("subscribe", count), env=(
            self.bench.environment), stdout=subprocess.PIPE)
        subscriber.stdout.readline()  # "subscribed"
        start = time.monotonic()
        self.publish(rate, count)
        _, costs = self.measured(subscriber.wait, count / 1000)
        row(name, f"{count / (time.monotonic() - start):.0f}", *costs)
        self.answer("published")


def processor(pid):
    """The seconds of processor time that the process has used."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def switches(pid):
    """The number of voluntary context switches of each thread of the process."""
    counts = {}
    for status in pathlib.Path(f"/proc/{pid}/task").glob("*/status"):
        for line in status.read_text().splitlines():
            if line.startswith("voluntary_ctxt_switches"):
                counts[status.parent.name] = int(line.split()[1])
    return counts


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("names", nargs="*", metavar="NAME")
    options = parser.parse_args()
    names = options.names or ["publish", "latency", "backlog", "hang", "scan", "stream",
                              "table", "plot", "start", "idle"]
    with tempfile.TemporaryDirectory() as folder:
        bench = Bench(options.build.resolve(), pathlib.Path(folder))
        try:
            for name in names:
                getattr(bench, name)()
        finally:
            bench.stop()


main()
