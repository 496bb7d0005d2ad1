"""The sandbox program and a simulated gateway, for the tests beside this file."""

import base64
import http.client
import json
import pathlib
import subprocess
import sys
import tempfile
import urllib.parse
import zlib

TIMEOUT = 60  # seconds; only a failure takes so long


def encoded(document):
    text = document if isinstance(document, bytes) else json.dumps(document).encode()
    return base64.urlsafe_b64encode(zlib.compress(text)).decode()


def new_gateway(alias="Home", siblings=()):
    return {"gw": "gateway_200_?", "alias": alias, **({"sib": siblings} if siblings else {})}


class Sandbox:
    """The program on free ports, until the test ends; `info` is None if it did not start."""

    def __init__(self, test, folder=None):
        self.root = tempfile.TemporaryDirectory(prefix="kvg-sandbox-", ignore_cleanup_errors=True)
        self.folder = folder or pathlib.Path(self.root.name, "state")
        self.log = pathlib.Path(self.root.name, "log")
        with self.log.open("w", encoding="utf-8") as log:
            self.process = subprocess.Popen(
                [sys.argv[1], "--authority", sys.argv[2], "--dir", self.folder, "--until-eof"],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=log, text=True)
        test.addCleanup(self.close)
        self.info = json.loads(self.process.stdout.readline() or "null")
        self.ends_well = self.info is not None
        self.address = self.info and urllib.parse.urlsplit(self.info["portal"]).netloc

    def close(self):
        self.process.communicate(timeout=TIMEOUT)
        self.root.cleanup()
        assert (self.process.returncode == 0) == self.ends_well, self.process.returncode

    def open(self, method, path, body=None, headers=None):
        connection = http.client.HTTPConnection(self.address, timeout=TIMEOUT)
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
    """An event stream; accepts CRLF line ends only, as the gateway does."""

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


def registering(sandbox, document):
    text = document if isinstance(document, str) else encoded(document)
    return Stream(sandbox, "/iot/register?" + urllib.parse.urlencode({"doc": text}))


class Gateway:
    """A registered gateway that uses mosquitto's command line clients."""

    def __init__(self, sandbox, document, enter=None):
        stream = registering(sandbox, document)
        (enter or sandbox.enter)(stream.event()[1]["code"])
        name, result = stream.event()
        assert name == "result" and stream.event() is None, (name, result)
        self.id = result["id"]
        self.things = [thing["id"] for thing in result["fleet"]]
        pem = pathlib.Path(sandbox.root.name, self.id)
        pem.write_text(result["cred"]["file"] + "\n" + result["cred"]["priv"], encoding="ascii")
        self.link = ["-h", result["server"], "-p", str(result["port"]), "-u", self.id,
                     "--cafile", sandbox.info["ca"], "--cert", pem, "--key", pem]

    def publish(self, thing, state):
        """True if the broker accepted it."""
        text = state if isinstance(state, str) else json.dumps(state)
        command = ["mosquitto_pub", *self.link, "-t", f"things/{thing}/state", "-s"]
        return subprocess.run(command, input=text.encode(), check=False,
                              timeout=TIMEOUT).returncode == 0

    def listen(self, test):
        """Connects with the gateway's id until the test ends; returns an iterator of updates."""
        listener = subprocess.Popen(
            ["stdbuf", "-oL", "mosquitto_sub", *self.link, "-d", "-i", self.id, "-W", "250",
             "-F", "UPDATE %t %p", "-t", "things/+/update"], stdout=subprocess.PIPE, text=True)
        test.addCleanup(listener.communicate)
        test.addCleanup(listener.terminate)
        lines = listener.stdout
        assert any(line.startswith("Subscribed") for line in lines), "the subscription failed"
        updates = (line.split(" ", 2) for line in lines if line.startswith("UPDATE "))
        return ((topic, json.loads(payload)) for _, topic, payload in updates)
