"""A running sandbox and a gateway of its own making, for the tests beside this file."""

import base64
import http.client
import json
import os
import subprocess
import sys
import tempfile
import urllib.parse
import zlib

PATIENCE = 60  # seconds, only ever used up by a failure


def encoded(document):
    text = document if isinstance(document, bytes) else json.dumps(document).encode()
    return base64.urlsafe_b64encode(zlib.compress(text)).decode()


def new_gateway(alias="Home", siblings=()):
    document = {"gw": "gateway_200_?", "alias": alias}
    return {**document, "sib": siblings} if siblings else document


class Sandbox:
    """The program under test on ports of its own; `info` is None when it did not start."""

    def __init__(self, *options, folder=None):
        self.root = tempfile.TemporaryDirectory(prefix="kvg-sandbox-", ignore_cleanup_errors=True)
        self.folder = folder or os.path.join(self.root.name, "state")
        with open(os.path.join(self.root.name, "log"), "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(
                [sys.argv[1], "--authority", sys.argv[2], "--dir", self.folder, "--until-eof",
                 *options], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=log, text=True)
        first = self.process.stdout.readline()
        self.info = json.loads(first) if first else None
        self.address = first and urllib.parse.urlsplit(self.info["portal"]).netloc

    def log(self):
        with open(os.path.join(self.root.name, "log"), encoding="utf-8") as log:
            return log.read()

    def close(self):
        self.process.stdin.close()
        code = self.process.wait(PATIENCE)
        self.process.stdout.close()
        self.root.cleanup()
        return code

    def open(self, method, path, body=None, headers=None):
        connection = http.client.HTTPConnection(self.address, timeout=PATIENCE)
        connection.request(method, path, None if body is None else json.dumps(body),
                           {"Content-Type": "application/json", "Connection": "close",
                            **(headers or {})})
        return connection.getresponse()

    def status(self, *request):
        with self.open(*request) as response:
            response.read()
            return response.status

    def things(self):
        with self.open("GET", "/api/things") as response:
            return json.load(response)["gateways"]

    def enter(self, code):
        return self.status("POST", "/api/code", {"code": code})


class Stream:
    """An event stream, parsed as strictly as the gateway does: CRLF line ends only."""

    def __init__(self, sandbox, path):
        self.response = sandbox.open("GET", path, None, {"Accept-Encoding": "gzip, deflate"})

    def event(self):
        """The next event as name and object, or None at the end of the stream."""
        fields = {}
        while line := self.response.readline():
            assert line.endswith(b"\r\n") and b"\n" not in line[:-1], line
            if line == b"\r\n" and fields:
                return fields["event"], json.loads(fields["data"])
            if not line.startswith((b":", b"\r")):
                name, _, value = line[:-2].decode().partition(": ")
                fields[name] = value
        return None

    def close(self):
        self.response.close()


def registering(sandbox, document):
    text = document if isinstance(document, str) else encoded(document)
    return Stream(sandbox, "/iot/register?" + urllib.parse.urlencode({"doc": text}))


class Gateway:
    """A gateway that registered with the sandbox, talking MQTT by mosquitto's own clients."""

    def __init__(self, sandbox, document, enter=None):
        stream = registering(sandbox, document)
        (enter or sandbox.enter)(stream.event()[1]["code"])
        name, self.result = stream.event()
        assert name == "result" and stream.event() is None, (name, self.result)
        self.folder = tempfile.TemporaryDirectory(prefix="kvg-gateway-")
        self.pem = os.path.join(self.folder.name, "pem")
        self.id = self.result["id"]
        self.things = [thing["id"] for thing in self.result["fleet"]]
        with open(self.pem, "w", encoding="ascii") as pem:
            pem.write(self.result["cred"]["file"] + "\n" + self.result["cred"]["priv"])
        self.link = ["-h", self.result["server"], "-p", str(self.result["port"]), "-u", self.id,
                     "--cafile", sandbox.info["ca"], "--cert", self.pem, "--key", self.pem]
        self.listener = None

    def publish(self, thing, state):
        text = state if isinstance(state, str) else json.dumps(state)
        subprocess.run(["mosquitto_pub", *self.link, "-t", f"things/{thing}/state", "-s"],
                       input=text.encode(), check=True, timeout=PATIENCE)

    def listen(self):
        """Connects under the gateway's id; for next(): the updates that come."""
        self.listener = subprocess.Popen(
            ["stdbuf", "-oL", "mosquitto_sub", *self.link, "-d", "-i", self.id, "-W", "250",
             "-F", "UPDATE %t %p", "-t", "things/+/update"], stdout=subprocess.PIPE, text=True)
        lines = self.listener.stdout
        assert any(line.startswith("Subscribed") for line in lines), "the broker lets it in"
        updates = (line.split(" ", 2) for line in lines if line.startswith("UPDATE "))
        return ((topic, json.loads(payload)) for _, topic, payload in updates)

    def close(self):
        if self.listener:
            self.listener.terminate()
            self.listener.communicate()
        self.folder.cleanup()
