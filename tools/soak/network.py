"""What lies between the gateway and its cloud, and a subscriber that does not pass it."""

import contextlib
import socket
import subprocess
import threading
import time

# Bytes a second: less than the counters publish, but enough for several confirmations before a
# drain is cut.
SLOW = 150_000
NOTICED = 1.0  # seconds until both ends have noticed the end of a link, on a busy computer


class Link:
    """A connection of the gateway (`near`), and the one to the sandbox (`far`)."""

    def __init__(self, near, target):
        self.near = near
        self.far = socket.create_connection(("127.0.0.1", target))
        self.flows = threading.Event()
        self.began = time.monotonic()
        self.ended = None

    def cut(self):
        for end in (self.near, self.far):
            with contextlib.suppress(OSError):  # it has ended already
                end.shutdown(socket.SHUT_RDWR)


class Network:
    """Forwards `port` of 127.0.0.1 to that of the broker, and can be disturbed.

    It is reached only while `may_connect` is set: what came while the subscriber is away would not
    be seen. `losses` has a span (begin, end) for each connection, except those that the gateway
    ended while nothing was disturbed: states that were sent in it without waiting may be lost.
    """

    def __init__(self, broker_port, may_connect):
        self.broker_port = broker_port
        self.may_connect = may_connect
        self.is_open = threading.Event()
        self.slow = self.hung = False
        self.disturbed_since = None
        self.links = []
        self.losses = []
        self.is_open.set()
        with socket.create_server(("127.0.0.1", 0)) as server:
            self.port = server.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while self.is_open.wait():
            with socket.create_server(("127.0.0.1", self.port)) as server:
                server.settimeout(0.05)
                while self.is_open.is_set():
                    with contextlib.suppress(TimeoutError):
                        threading.Thread(target=self._begin, args=server.accept()[:1],
                                         daemon=True).start()

    def _begin(self, near):
        try:
            if not self.may_connect.wait(20):
                raise OSError
            link = Link(near, self.broker_port)
        except OSError:
            near.close()
            return
        if not self.hung:
            link.flows.set()
        self.links.append(link)
        threading.Thread(target=self._pump, args=(link, near, link.far), daemon=True).start()
        self._pump(link, link.far, near)

    def _pump(self, link, source, sink):
        try:
            while (data := source.recv(16384)) and link.flows.wait():
                if self.slow:
                    time.sleep(len(data) / SLOW)
                sink.sendall(data)
                link.flows.wait()
            link.flows.wait()
            if source is link.near and self.disturbed_since is None and link.ended is None:
                link.ended = time.monotonic()  # the gateway has ended it
            sink.shutdown(socket.SHUT_WR)
            if source is link.near and link.ended:
                return  # the broker reads the rest
        except OSError:
            pass
        self._end(link)

    def _end(self, link):
        if link.ended is None:
            link.ended = time.monotonic()
            since = (self.disturbed_since or link.ended) - NOTICED
            self.losses.append((max(since, link.began), link.ended + NOTICED))
        link.cut()
        link.flows.set()

    def disturb(self, *, slow=False, hung=False, is_open=True):
        """Without arguments, it forwards again."""
        self.disturbed_since = self.disturbed_since or time.monotonic()
        self.slow, self.hung = slow, hung
        for link in self.links:
            if link.ended is None:
                (link.flows.clear if hung else link.flows.set)()
        (self.is_open.set if is_open else self.is_open.clear)()
        if not is_open:
            self.cut()

    def cut(self):
        for link in self.links:
            self._end(link)

    def forget(self):
        """No byte of the present links gets through any more, and neither end is told."""
        for link in self.links:
            link.flows.clear()
            link.ended = link.ended or time.monotonic()


class Subscriber:
    """Receives all states from the broker, by mosquitto_sub, which begins anew when it ends.

    Calls on_state(topic, payload) on a thread of its own. Clear `subscribed` before a broker ends.
    """

    def __init__(self, port, folder, authority, on_state):
        # The kernel ends it when this process ends.
        self.command = ["setpriv", "--pdeathsig", "TERM", "--", "stdbuf", "-oL", "mosquitto_sub",
                        "-d", "-h", "localhost", "-p", str(port), "--cafile", authority, "--cert",
                        folder / "watch.pem", "--key", folder / "watch.key", "-t",
                        "things/+/state", "-F", "%t %p"]
        self.on_state = on_state
        self.subscribed = threading.Event()
        threading.Thread(target=self._run, daemon=True).start()

    def _run(self):
        while True:
            with subprocess.Popen(self.command, stdout=subprocess.PIPE, text=True,
                                  stderr=subprocess.DEVNULL) as process:
                for line in process.stdout:
                    if line.startswith("Subscribed"):
                        self.subscribed.set()
                    elif line.startswith("things/"):
                        self.on_state(*line.split(" ", 1))
            time.sleep(0.3)
