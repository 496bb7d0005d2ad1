"""A running sandbox and a gateway of its own making, for the tests beside this file."""

import base64
import http.client
import json
import os
import queue
import shutil
import subprocess
import sys
import tempfile
import threading
import urllib.parse
import zlib

PATIENCE = 30  # seconds, only ever used up by a failure


def encoded(document):
    text = document if isinstance(document, bytes) else json.dumps(document).encode()
    return base64.urlsafe_b64encode(zlib.compress(text)).decode()


def new_gateway(alias="Home", siblings=()):
    document = {"gw": "gateway_200_?", "alias": alias}
    if siblings:
        document["sib"] = [list(pair) for pair in siblings]
    return document


class Sandbox:
    """The program under test on ports of its own. Use as a context."""

    def __init__(self, *options, folder=None):
        self.root = tempfile.mkdtemp(prefix="kvg-sandbox-test-") if folder is None else None
        self.folder = folder or os.path.join(self.root, "state")
        self.log = []
        self.process = subprocess.Popen(
            [sys.argv[1], "--authority", sys.argv[2], "--dir", self.folder, "--until-eof", *options],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self._logger = threading.Thread(target=self._read_log, daemon=True)
        self._logger.start()
        first = self.process.stdout.readline()
        if not first:
            self.process.wait(PATIENCE)
            self._logger.join(PATIENCE)
            self.info = None
            return
        self.info = json.loads(first)
        self.address = urllib.parse.urlsplit(self.info["portal"]).netloc

    def _read_log(self):
        for line in self.process.stderr:
            self.log.append(line.rstrip())

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.process.stdin.close()
        code = self.process.wait(PATIENCE)
        self._logger.join(PATIENCE)
        self.process.stdout.close()
        self.process.stderr.close()
        if self.root:
            shutil.rmtree(self.root)
        return code

    def connect(self):
        return http.client.HTTPConnection(self.address, timeout=PATIENCE)

    def request(self, method, path, body=None, headers=None):
        connection = self.connect()
        data = json.dumps(body) if isinstance(body, dict) else body
        connection.request(method, path, data, {"Content-Type": "application/json", **(headers or {})})
        response = connection.getresponse()
        text = response.read().decode()
        connection.close()
        return response.status, text

    def post(self, path, body, headers=None):
        status, text = self.request("POST", path, body, headers)
        return status, json.loads(text)

    def things(self):
        return json.loads(self.request("GET", "/api/things")[1])["gateways"]

    def enter(self, code):
        return self.post("/api/code", {"code": code})

    def broker_pid(self):
        """The child of the sandbox that runs mosquitto."""
        path = f"/proc/{self.process.pid}/task/{self.process.pid}/children"
        with open(path, encoding="ascii") as children:
            return int(children.read().split()[0])


class Stream:
    """An event stream, parsed as strictly as the gateway does: CRLF line ends only."""

    def __init__(self, sandbox, path):
        self.connection = sandbox.connect()
        self.connection.request("GET", path, headers={"Accept-Encoding": "gzip, deflate"})
        self.response = self.connection.getresponse()
        self.kind = self.response.getheader("Content-Type")

    def line(self):
        line = self.response.readline()
        assert not line or line.endswith(b"\r\n") and b"\n" not in line[:-1], line
        return line[:-2].decode() if line else None

    def event(self):
        """The next event as name and object, or None at the end of the stream."""
        fields = {}
        while True:
            line = self.line()
            if line is None:
                return None
            if not line and fields:
                return fields["event"], json.loads(fields["data"])
            name, _, value = line.partition(": ")
            if name and not line.startswith(":"):
                fields[name] = value

    def close(self):
        self.response.close()
        self.connection.close()


def registering(sandbox, document):
    text = document if isinstance(document, str) else encoded(document)
    return Stream(sandbox, "/iot/register?" + urllib.parse.urlencode({"doc": text}))


class Gateway:
    """A gateway that registered with the sandbox, talking MQTT by mosquitto's own clients."""

    def __init__(self, sandbox, document, enter=None):
        stream = registering(sandbox, document)
        name, self.code = stream.event()
        assert name == "code", (name, self.code)
        (enter or sandbox.enter)(self.code["code"])
        name, self.result = stream.event()
        assert name == "result", (name, self.result)
        assert stream.event() is None
        stream.close()
        self.folder = tempfile.mkdtemp(prefix="kvg-gateway-test-")
        self.listeners = []
        for file, member in (("key", "priv"), ("pem", "file")):
            with open(os.path.join(self.folder, file), "w", encoding="ascii") as out:
                out.write(self.result["cred"][member])
        self.id = self.result["id"]
        self.things = [thing["id"] for thing in self.result["fleet"]]
        self.link = ["-h", self.result["server"], "-p", str(self.result["port"]), "-u", self.id,
                     "--cafile", sandbox.info["ca"],
                     "--cert", os.path.join(self.folder, "pem"),
                     "--key", os.path.join(self.folder, "key")]

    def publish(self, thing, state):
        text = state if isinstance(state, str) else json.dumps(state)
        subprocess.run(["mosquitto_pub", *self.link, "-t", f"things/{thing}/state", "-s"],
                       input=text.encode(), check=True, timeout=PATIENCE)

    def listen(self):
        """Connects under the gateway's id; the updates that come end in the queue."""
        process = subprocess.Popen(
            ["stdbuf", "-oL", "mosquitto_sub", *self.link, "-d", "-i", self.id,
             "-F", "UPDATE %t %p", "-t", "things/+/update"], stdout=subprocess.PIPE, text=True)
        updates = queue.Queue()
        ready = threading.Event()

        def read():
            for line in process.stdout:
                if line.startswith("Subscribed"):
                    ready.set()
                elif line.startswith("UPDATE "):
                    _, topic, payload = line.rstrip("\n").split(" ", 2)
                    updates.put((topic, json.loads(payload)))

        reader = threading.Thread(target=read, daemon=True)
        reader.start()
        self.listeners.append((process, reader))
        assert ready.wait(PATIENCE), "the broker lets the gateway in"
        return updates

    def hang_up(self):
        for process, reader in self.listeners:
            process.terminate()
            process.wait(PATIENCE)
            reader.join(PATIENCE)
            process.stdout.close()
        self.listeners.clear()

    def close(self):
        self.hang_up()
        shutil.rmtree(self.folder)
