"""The registrar, the broker and the JSON interface, over real sockets and with real clients."""

import contextlib
import json
import os
import signal
import socket
import subprocess
import sys
import time
import unittest

from cloud import PATIENCE, Gateway, Sandbox, Stream, encoded, new_gateway, registering


def eventually(test, condition):
    deadline = time.monotonic() + PATIENCE
    while not (value := condition()):
        test.assertLess(time.monotonic(), deadline, "it never became true")
        time.sleep(0.02)
    return value


def is_running(pid):
    with contextlib.suppress(OSError):
        with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
            return stat.read().rpartition(")")[2].split()[0] != "Z"
    return False


def broker_of(sandbox):
    """The process of its mosquitto; None between two of them."""
    path = f"/proc/{sandbox.process.pid}/task/{sandbox.process.pid}/children"
    with open(path, encoding="ascii") as children:
        return next(iter(children.read().split()), None)


class SandboxTest(unittest.TestCase):
    def setUp(self):
        self.sandbox = self.start()

    def start(self, *options, folder=None):
        sandbox = Sandbox(*options, folder=folder)
        self.addCleanup(lambda: self.assertIn(sandbox.close(), (0, -signal.SIGKILL)))
        return sandbox

    def register(self, sandbox, document):
        gateway = Gateway(sandbox, document)
        self.addCleanup(gateway.close)
        return gateway

    def test_a_document_not_as_agreed_is_refused(self):
        lamp = ["lamp_1_A", "Lamp"]
        documents = {
            "cut short": encoded(new_gateway())[:24],
            "a zip bomb": json.dumps(new_gateway("x")).encode() + b" " * (64 << 20),
            "too deep": b"[" * 100000,
            "both kinds": {**new_gateway(), "app": "gateway_200_1_1", "sib": [lamp]},
            "gw too long for a certificate": {"gw": "g" * 60 + "_200_?", "alias": "x"},
            "alias with a control character": new_gateway("a\u0000b"),
            "too many": new_gateway("x", [[f"lamp_1_{i}", "x"] for i in range(20001)]),
            "id with a wildcard": new_gateway("x", [["lamp_1_#", "x"]]),
            "id too long": new_gateway("x", [["lamp_1_" + "9" * 200, "x"]]),
            "twice the same": new_gateway("x", [lamp, lamp]),
        }
        for name, document in documents.items():
            with self.subTest(name):
                stream = registering(self.sandbox, document)
                event, status = stream.event()
                self.assertEqual((event, status["code"]), ("error", 400))
                self.assertIsNone(stream.event())
        self.assertEqual([], self.sandbox.things())

    def test_registration_gives_working_credentials_and_later_more_things(self):
        gateway = self.register(self.sandbox, new_gateway(
            "Home", [("lamp_1_A", "Hall"), ("lamp_1_a/b c", "Küche <b>")]))
        events = Stream(self.sandbox, "/api/events")
        self.assertEqual(events.event()[0], "fleet")
        gateway.publish(gateway.things[1], {"on": True, "level": 7})
        self.assertEqual(events.event()[1]["state"], {"on": True, "level": 7})
        # Hall has forgotten its registration: it comes again, in the place of the old one.
        more = [["lamp_1_A", "Hall 2"], ["host_1_x", "PC"]]
        stream = registering(self.sandbox, {"app": gateway.id, "sib": more})
        self.sandbox.enter(stream.event()[1]["code"])
        name, result = stream.event()
        self.assertEqual((name, result["id"]), ("result", gateway.id))
        self.assertNotIn("cred", result)
        known = events.event()[1]["gateways"][0]
        self.assertEqual([t["alias"] for t in known["things"]], ["Küche <b>", "Hall 2", "PC"])
        self.assertEqual(known["things"][0]["state"]["level"], 7)

    def test_states_and_updates_that_are_not_objects_of_known_things_are_dropped(self):
        gateway = self.register(self.sandbox, new_gateway("Strange", [("lamp_1_S", "S")]))
        lamp = gateway.things[0]
        for state in ["no json", "[1]", "[" * 5000, json.dumps({"x": "y" * 300000})]:
            gateway.publish(lamp, state)
        gateway.publish("lamp_1_unknown_1", {"on": True})
        gateway.publish(lamp, {"good": 1})
        thing = eventually(self, lambda: self.sandbox.things()[0]["things"][0]["state"]
                           and self.sandbox.things()[0]["things"][0])
        self.assertEqual((thing["state"], thing["count"]), ({"good": 1}, 1))
        self.assertNotIn("unknown", json.dumps(self.sandbox.things()))
        for thing, update, status in (
                ("lamp_1_S_0", {}, 404), ("#", {}, 404), (gateway.id, {}, 400), (3, {}, 400),
                (lamp, [1], 400), (lamp, {"x": "y" * 70000}, 413)):
            body = {"id": thing, "update": update}
            self.assertEqual(self.sandbox.status("POST", "/api/update", body), status, str(thing))

    def test_codes_are_good_once_and_only_while_the_gateway_waits(self):
        streams = [registering(self.sandbox, new_gateway(f"Many {i}")) for i in range(30)]
        codes = [stream.event()[1]["code"] for stream in streams]
        self.assertEqual(len(set(codes)), len(codes))
        self.assertEqual(self.sandbox.enter(codes[7]), 200)
        self.assertEqual(streams[7].event()[1]["alias"], "Many 7")
        self.assertEqual(self.sandbox.enter(codes[7]), 410)
        for stream in streams:
            stream.close()
        eventually(self, lambda: self.sandbox.log().count("no longer waits") >= 29)
        self.assertEqual(self.sandbox.enter(codes[3]), 410)
        for code in ("12345", "12345a", "１２３４５６", 123456, None):
            self.assertEqual(self.sandbox.enter(code), 400, code)

    def test_requests_of_other_sites_are_refused(self):
        own = self.sandbox.address
        port = own.rpartition(":")[2]
        for method, path, headers, status in (
                ("GET", "/api/things", {"Host": "evil.example:" + port}, 403),
                ("GET", "/things", {"Host": "LOCALHOST:" + port}, 200),
                ("GET", "/api/events", {"Origin": "http://evil.example"}, 403),
                ("POST", "/api/code", {"Origin": "null"}, 403),
                ("POST", "/api/code", {"Origin": "http://" + own}, 404),
                ("POST", "/api/code", {"Content-Type": "text/plain"}, 415)):
            with self.subTest(path=path, headers=headers):
                body = {"code": "000000"} if method == "POST" else None
                self.assertEqual(self.sandbox.status(method, path, body, headers), status)

    def test_raw_rubbish_does_no_harm(self):
        host, _, port = self.sandbox.address.partition(":")
        post = (f"POST /api/code HTTP/1.1\r\nHost: {host}:{port}\r\n"
                "Content-Type: application/json\r\n").encode()
        for data in (b"\0" * 5000, b"GET /" + b"a" * (2 << 20),
                     b"GET / HTTP/1.1\r\n" + b"X: y\r\n" * 400000,
                     post + b"Transfer-Encoding: chunked\r\n\r\nfffffff\r\n" + b" " * 100000,
                     post + b"Content-Length: 99999999999\r\n\r\n{"):
            with socket.create_connection((host, int(port)), PATIENCE) as client:
                with contextlib.suppress(ConnectionError):  # it may hang up on us
                    client.sendall(data)
        self.assertEqual(self.sandbox.status("GET", "/things"), 200)

    def test_the_broker_wants_a_certificate_of_the_authority(self):
        without = subprocess.run(
            ["mosquitto_pub", "-h", "localhost", "-p", str(self.sandbox.info["broker"]["port"]),
             "--cafile", self.sandbox.info["ca"], "-t", "things/x/state", "-m", "{}"],
            capture_output=True, timeout=PATIENCE, check=False)
        self.assertNotEqual(without.returncode, 0)
        for path in ("broker.key", "watch.key", "state.json", "."):
            mode = os.stat(os.path.join(self.sandbox.folder, path)).st_mode & 0o077
            self.assertEqual(mode, 0, path)

    def test_gateways_outlive_sandbox_and_broker(self):
        first = self.sandbox
        gateway = self.register(first, new_gateway("Home", [("lamp_1_A", "Hall")]))
        other = Sandbox(folder=first.folder)
        self.assertIn("Another sandbox", other.log())
        self.assertNotEqual(other.close(), 0)
        first.process.kill()
        first.process.wait()
        second = self.start(folder=first.folder)
        self.assertEqual(second.info["broker"], first.info["broker"])
        self.assertEqual([(g["id"], g["alias"]) for g in second.things()], [(gateway.id, "Home")])
        gateway.publish(gateway.things[0], {"on": False})  # by its old certificate
        eventually(self, lambda: second.things()[0]["things"][0]["state"])

        old = broker_of(second)
        os.kill(int(old), signal.SIGKILL)
        eventually(self, lambda: broker_of(second) not in (None, old))

        def heard():
            with contextlib.suppress(subprocess.CalledProcessError):
                gateway.publish(gateway.things[0], {"on": True})
            return second.things()[0]["things"][0]["state"]["on"]
        eventually(self, heard)

    def test_no_broker_outlives_the_sandbox_however_it_ends(self):
        for end in (signal.SIGKILL, signal.SIGTERM):
            sandbox = Sandbox()
            registering(sandbox, new_gateway())
            broker = broker_of(sandbox)
            self.assertTrue(is_running(broker))
            sandbox.process.send_signal(end)
            self.assertEqual(sandbox.close(), -end if end == signal.SIGKILL else 0)
            eventually(self, lambda pid=broker: not is_running(pid))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
