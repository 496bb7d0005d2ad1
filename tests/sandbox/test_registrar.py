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

from cloud import TIMEOUT, Gateway, Sandbox, Stream, encoded, new_gateway, registering


def eventually(test, condition):
    deadline = time.monotonic() + TIMEOUT
    while not condition():
        test.assertLess(time.monotonic(), deadline, "it never became true")
        time.sleep(0.02)


class SandboxTest(unittest.TestCase):
    def setUp(self):
        self.sandbox = Sandbox(self)

    def test_invalid_documents_are_rejected(self):
        lamp = ["lamp_1_A", "Lamp"]
        siblings = ([lamp, lamp], [["lamp_1_#", "x"]], [["lamp_1_" + "9" * 200, "x"]],
                    [[f"lamp_1_{i}", "x"] for i in range(20001)])
        documents = (
            encoded(new_gateway())[:24], json.dumps(new_gateway()).encode() + b" " * (64 << 20),
            b"[" * 100000, {**new_gateway("x", [lamp]), "app": "gateway_200_1_1"},
            new_gateway("a\u0000b"), {"gw": "g" * 60 + "_200_?", "alias": "no certificate's name"},
            *(new_gateway("x", things) for things in siblings))
        for document in documents:
            with self.subTest(str(document)[:80]):
                stream = registering(self.sandbox, document)
                event, status = stream.event()
                self.assertEqual((event, status["code"], stream.event()), ("error", 400, None))

    def test_registration_gives_working_credentials_and_later_more_things(self):
        gateway = Gateway(self.sandbox, new_gateway(
            "Home", [("lamp_1_A", "Hall"), ("lamp_1_a/b c", "Küche <b>")]))
        events = Stream(self.sandbox, "/api/events")
        self.assertEqual(events.event()[0], "fleet")
        gateway.publish(gateway.things[1], {"on": True, "level": 7})
        self.assertEqual(events.event()[1]["state"], {"on": True, "level": 7})
        # Hall registers again and replaces its old registration.
        more = [["lamp_1_A", "Hall 2"], ["host_1_x", "PC"]]
        stream = registering(self.sandbox, {"app": gateway.id, "sib": more})
        code = stream.event()[1]["code"]
        self.assertEqual([self.sandbox.enter(code) for _ in range(2)], [200, 410])
        result = stream.event()[1]
        self.assertEqual((result["id"], "cred" in result), (gateway.id, False))
        known = events.event()[1]["gateways"][0]
        self.assertEqual([t["alias"] for t in known["things"]], ["Küche <b>", "Hall 2", "PC"])
        self.assertEqual(known["things"][0]["state"]["level"], 7)

    def test_invalid_states_and_updates_are_dropped(self):
        gateway = Gateway(self.sandbox, new_gateway("Strange", [("lamp_1_S", "S")]))
        lamp = gateway.things[0]
        for state in ("no json", "[1]", "[" * 5000, json.dumps({"x": "y" * 300000})):
            gateway.publish(lamp, state)
        gateway.publish("lamp_1_unknown_1", {"on": True})
        gateway.publish(lamp, {"good": 1})
        eventually(self, lambda: self.sandbox.things()[0]["things"][0]["state"])
        thing, = self.sandbox.things()[0]["things"]
        self.assertEqual((thing["state"], thing["count"]), ({"good": 1}, 1))
        for thing, update, status in (("#", {}, 404), (gateway.id, {}, 400), (3, {}, 400),
                                      (lamp, [1], 400), (lamp, {"x": "y" * 70000}, 413)):
            body = {"id": thing, "update": update}
            self.assertEqual(self.sandbox.status("POST", "/api/update", body), status, str(thing))

    def test_codes_are_valid_only_while_the_gateway_waits(self):
        left = registering(self.sandbox, new_gateway())
        code = left.event()[1]["code"]
        left.response.close()
        eventually(self, lambda: "no longer waits" in self.sandbox.log.read_text())
        self.assertEqual(self.sandbox.enter(code), 410)
        for code in ("12345", "12345a", "１２３４５６", 123456, None):
            self.assertEqual(self.sandbox.enter(code), 400, code)

    def test_requests_of_other_sites_or_of_unknown_length_are_rejected(self):
        own = self.sandbox.address
        for method, path, headers, status in (
                ("GET", "/api/things", {"Host": own.replace("127.0.0.1", "evil.example")}, 403),
                ("GET", "/things", {"Host": own.replace("127.0.0.1", "LOCALHOST")}, 200),
                ("POST", "/api/code", {"Origin": "null"}, 403),
                ("POST", "/api/code", {"Origin": "http://" + own}, 404),
                ("POST", "/api/code", {"Content-Type": "text/plain"}, 415),
                ("POST", "/api/code", {"Transfer-Encoding": "chunked"}, 411),
                ("POST", "/api/code", {"Content-Length": "99999999999"}, 413)):
            body = {"code": "000000"} if method == "POST" else None
            self.assertEqual(self.sandbox.status(method, path, body, headers), status, headers)

    def test_overlong_requests_do_not_stop_the_server(self):
        for data in (b"GET /" + b"a" * (2 << 20), b"GET / HTTP/1.1\r\n" + b"X: y\r\n" * 400000):
            with socket.create_connection(self.sandbox.address.split(":"), TIMEOUT) as client:
                with contextlib.suppress(ConnectionError):  # it may close the connection
                    client.sendall(data)
        self.assertEqual(self.sandbox.status("GET", "/things"), 200)

    def test_the_broker_requires_a_certificate_of_the_authority(self):
        without = subprocess.run(
            ["mosquitto_pub", "-h", "localhost", "-p", str(self.sandbox.info["broker"]["port"]),
             "--cafile", self.sandbox.info["ca"], "-t", "things/x/state", "-m", "{}"],
            capture_output=True, timeout=TIMEOUT, check=False)
        self.assertNotEqual(without.returncode, 0)
        for path in ("broker.key", "watch.key", "state.json", "."):
            mode = os.stat(os.path.join(self.sandbox.folder, path)).st_mode & 0o077
            self.assertEqual(mode, 0, path)

    def test_gateways_stay_registered_when_sandbox_or_broker_restarts(self):
        first = self.sandbox
        gateway = Gateway(first, new_gateway("Home", [("lamp_1_A", "Hall")]))
        self.assertIn("Another sandbox", Sandbox(self, first.folder).log.read_text())
        for end, code in ((signal.SIGKILL, -signal.SIGKILL), (signal.SIGTERM, 0)):
            self.sandbox.process.send_signal(end)
            self.sandbox.ends_well = code == 0
            self.assertEqual(self.sandbox.process.wait(TIMEOUT), code)
            self.sandbox = Sandbox(self, first.folder)
            # The same port: the old broker ended with the sandbox.
            self.assertEqual(self.sandbox.info["broker"], first.info["broker"])
            self.assertEqual([g["id"] for g in self.sandbox.things()], [gateway.id])
        pid = self.sandbox.process.pid
        with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as children:
            os.kill(int(children.read().split()[0]), signal.SIGKILL)

        eventually(self, lambda: self.sandbox.log.read_text().count("The broker listens") == 2)
        # With its old certificate, once the sandbox's own client has reconnected.
        eventually(self, lambda: gateway.publish(gateway.things[0], {"on": True})
                   and self.sandbox.things()[0]["things"][0]["state"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
