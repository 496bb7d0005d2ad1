"""What lies between the gateway and its cloud, and a subscriber that does not pass it."""

import contextlib
import socket
import subprocess
import threading
import time

SLOW = 60_000  # bytes a second
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
    """Forwards ports of 127.0.0.1 to those of broker and web server, and can be disturbed.

    The broker is reached only while `may_connect` is set: nobody would see what came while the
    subscriber is away. `losses` has a span (begin, end) for each connection to the broker that
    ended otherwise than by the gateway and on a sound network: states that were sent in it without
    waiting may be lost.
    """

    def __init__(self, broker_port, web_port, may_connect):
        self.may_connect = may_connect
        self.is_open = threading.Event()
        self.slow = self.hung = False
        self.disturbed_since = None
        self.links = []  # to the broker
        self.web_links = []
        self.losses = []
        self.is_open.set()
        self.broker_port = self._serve(broker_port, self.links)
        self.web_port = self._serve(web_port, self.web_links)

    def _serve(self, target, links):
        with socket.create_server(("127.0.0.1", 0)) as server:
            port = server.getsockname()[1]
        threading.Thread(target=self._accept, args=(port, target, links), daemon=True).start()
        return port

    def _accept(self, port, target, links):
        while self.is_open.wait():
            with socket.create_server(("127.0.0.1", port)) as server:
                server.settimeout(0.05)
                while self.is_open.is_set():
                    with contextlib.suppress(TimeoutError):
                        threading.Thread(target=self._begin, daemon=True,
                                         args=(server.accept()[0], target, links)).start()

    def _begin(self, near, target, links):
        try:
            if links is self.links and not self.may_connect.wait(20):
                raise OSError
            link = Link(near, target)
        except OSError:
            near.close()
            return
        if not self.hung:
            link.flows.set()
        links.append(link)
        # The sandbox's web server insists on its own address.
        address = (f"Host: 127.0.0.1:{near.getsockname()[1]}".encode(),
                   f"Host: 127.0.0.1:{target}".encode()) if links is self.web_links else (b"", b"")
        threading.Thread(target=self._pump, args=(link, near, link.far, address),
                         daemon=True).start()
        self._pump(link, link.far, near, (b"", b""))

    def _pump(self, link, source, sink, replacement):
        try:
            while (data := source.recv(16384)) and link.flows.wait():
                if self.slow:
                    time.sleep(len(data) / SLOW)
                sink.sendall(data.replace(*replacement) if replacement[0] else data)
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
            if link in self.links:
                self.losses.append((max(since, link.began), link.ended + NOTICED))
        link.cut()
        link.flows.set()

    def disturb(self, *, slow=False, hung=False, is_open=True):
        """Without arguments, it forwards again."""
        self.disturbed_since = self.disturbed_since or time.monotonic()
        self.slow, self.hung = slow, hung
        for link in self.links + self.web_links:
            if link.ended is None:
                (link.flows.clear if hung else link.flows.set)()
        (self.is_open.set if is_open else self.is_open.clear)()
        if not is_open:
            self.cut()

    def cut(self):
        for link in self.links + self.web_links:
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
        self.command = ["stdbuf", "-oL", "mosquitto_sub", "-d", "-h", "localhost", "-p", str(port),
                        "--cafile", authority, "--cert", folder / "watch.pem",
                        "--key", folder / "watch.key", "-t", "things/+/state", "-F", "%t %p"]
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
