"""The registrar, the broker and the JSON interface, over real sockets and with real clients."""

import base64
import contextlib
import errno
import json
import os
import random
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import zlib

from cloud import (PATIENCE, Gateway, Sandbox, Stream, encoded, new_gateway, registering)


def eventually(test, condition):
    deadline = time.monotonic() + PATIENCE
    while not (value := condition()):
        test.assertLess(time.monotonic(), deadline, "it never became true")
        time.sleep(0.02)
    return value


def is_running(pid):
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
            return stat.read().rpartition(")")[2].split()[0] != "Z"
    except FileNotFoundError:
        return False


class RegistrarTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sandbox = Sandbox()
        cls.addClassCleanup(cls.sandbox.close)

    def register(self, document, sandbox=None):
        gateway = Gateway(sandbox or self.sandbox, document)
        self.addCleanup(gateway.close)
        return gateway

    def test_a_document_not_as_agreed_is_refused(self):
        lamp = ["lamp_1_A", "Lamp"]
        whole = zlib.compress(json.dumps(new_gateway("x")).encode())
        documents = {
            "nothing": "",
            "no base64": "****",
            "no zlib": "AAAA",
            "cut short": encoded(new_gateway())[:24],
            "something after it": base64.urlsafe_b64encode(whole + b"more").decode(),
            "a zip bomb": json.dumps(new_gateway("x")).encode() + b" " * (64 << 20),
            "no JSON": b"{",
            "too deep": b"[" * 100000,
            "an array": [],
            "nobody": {},
            "both kinds": {**new_gateway(), "app": "gateway_200_1_1", "sib": [lamp]},
            "gw of three parts without ?": {"gw": "gateway_200_1", "alias": "x"},
            "gw too long for a certificate": {"gw": "g" * 60 + "_200_?", "alias": "x"},
            "gw with a slash": {"gw": "gate/way_200_?", "alias": "x"},
            "gw is a number": {"gw": 5, "alias": "x"},
            "no alias": {"gw": "gateway_200_?"},
            "blank alias": new_gateway("  "),
            "long alias": new_gateway("x" * 257),
            "alias with a control character": new_gateway("a\u0000b"),
            "app is empty": {"app": "", "sib": [lamp]},
            "no sib for app": {"app": "gateway_200_1_1"},
            "sib is an object": {**new_gateway(), "sib": {}},
            "empty sib": {**new_gateway(), "sib": []},
            "too many": new_gateway("x", [[f"lamp_1_{i}", "x"] for i in range(20001)]),
            "not pairs": new_gateway("x", [lamp + ["more"]]),
            "id of two parts": new_gateway("x", [["lamp_1", "x"]]),
            "id with a wildcard": new_gateway("x", [["lamp_1_#", "x"]]),
            "id with a plus": new_gateway("x", [["lamp_+_1", "x"]]),
            "id with NUL": new_gateway("x", [["lamp_1_\u0000", "x"]]),
            "id too long": new_gateway("x", [["lamp_1_" + "9" * 200, "x"]]),
            "twice the same": new_gateway("x", [lamp, lamp]),
        }
        for name, document in documents.items():
            with self.subTest(name):
                stream = registering(self.sandbox, document)
                self.addCleanup(stream.close)
                self.assertEqual(stream.kind, "text/event-stream")
                event, status = stream.event()
                self.assertEqual((event, status["code"]), ("error", 400))
                self.assertTrue(status["error"])
                self.assertIsNone(stream.event())
        self.assertEqual([], [g for g in self.sandbox.things() if g["alias"] == "x"])

    def test_a_gateway_that_is_not_known_gets_404(self):
        lamps = self.register(new_gateway("Own", [("lamp_1_own", "Lamp")])).things
        for app in ["gateway_200_00000000_0", lamps[0]]:  # a thing is no gateway
            stream = registering(self.sandbox, {"app": app, "sib": [["lamp_1_A", "Lamp"]]})
            self.addCleanup(stream.close)
            self.assertEqual(stream.event()[1]["code"], 404)

    def test_registration_gives_working_credentials_and_later_more_things(self):
        hall, slash = ("lamp_1_A", "Hall"), ("lamp_1_a/b c", "Küche <b>")
        gateway = self.register(new_gateway("Home", [hall, slash]))
        self.assertEqual(gateway.code["value"], int(gateway.code["code"]))
        self.assertTrue(100000 <= gateway.code["value"] <= 999999)
        self.assertEqual(gateway.code["timeout"], 300)
        self.assertRegex(gateway.id, r"^gateway_200_[0-9a-f]{8}_[^_]+$")
        self.assertEqual(gateway.result["alias"], "Home")
        self.assertEqual({"host": gateway.result["server"], "port": gateway.result["port"]},
                         self.sandbox.info["broker"])
        self.assertEqual([t["alias"] for t in gateway.result["fleet"]], ["Hall", "Küche <b>"])
        for cloudid, (shortid, _) in zip(gateway.things, (hall, slash)):
            self.assertRegex(cloudid, "^" + re.escape(shortid) + "_[^_]+$")
        text = subprocess.run(
            ["openssl", "x509", "-noout", "-subject", "-text", "-in", gateway.folder + "/pem"],
            check=True, capture_output=True, text=True).stdout
        self.assertIn("CN = " + gateway.id, text)
        self.assertIn("CA:FALSE", text)
        self.assertIn("RSA PRIVATE KEY", gateway.result["cred"]["priv"])

        events = Stream(self.sandbox, "/api/events")
        self.addCleanup(events.close)
        self.assertEqual(events.event()[0], "fleet")
        gateway.publish(gateway.things[1], {"on": True, "level": 7})
        name, thing = events.event()
        self.assertEqual((name, thing["id"], thing["gateway"], thing["count"]),
                         ("thing", gateway.things[1], gateway.id, 1))
        self.assertEqual(thing["state"], {"on": True, "level": 7})
        self.assertRegex(thing["at"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")

        # Hall has forgotten its registration: it comes again, in the place of the old one.
        stream = registering(self.sandbox, {"app": gateway.id,
                                            "sib": [["lamp_1_A", "Hall 2"], ["host_1_x", "PC"]]})
        self.addCleanup(stream.close)
        self.sandbox.enter(stream.event()[1]["code"])
        name, result = stream.event()
        self.assertEqual((name, result["id"], result["alias"]), ("result", gateway.id, "Home"))
        self.assertNotIn("cred", result)
        self.assertEqual([t["alias"] for t in result["fleet"]], ["Hall 2", "PC"])
        name, fleet = events.event()
        self.assertEqual(name, "fleet")
        known = next(g for g in fleet["gateways"] if g["id"] == gateway.id)
        self.assertEqual([t["alias"] for t in known["things"]], ["Küche <b>", "Hall 2", "PC"])
        self.assertEqual(known["things"][0]["state"]["level"], 7)

    def test_states_that_are_not_objects_of_known_things_are_dropped(self):
        gateway = self.register(new_gateway("Strange", [("lamp_1_S", "S")]))
        lamp = gateway.things[0]
        for state in ["no json", "[1]", "[" * 5000, json.dumps({"x": "y" * 300000})]:
            gateway.publish(lamp, state)
        gateway.publish("lamp_1_unknown_1", {"on": True})
        gateway.publish(lamp, {"good": 1})

        def seen():
            thing = next(g for g in self.sandbox.things() if g["id"] == gateway.id)["things"][0]
            return thing["count"] and thing
        thing = eventually(self, seen)
        self.assertEqual((thing["state"], thing["count"]), ({"good": 1}, 1))
        self.assertNotIn("unknown", json.dumps(self.sandbox.things()))

    def test_a_gateway_shows_as_connected_and_gets_updates(self):
        gateway = self.register(new_gateway("Link", [("lamp_1_L", "L")]))

        def connected():
            return next(g for g in self.sandbox.things() if g["id"] == gateway.id)["connected"]
        self.assertFalse(connected())
        updates = gateway.listen()
        eventually(self, connected)
        for update in ({"on": True}, {"text": "ü", "deep": [{}]}, {}):
            reply = self.sandbox.post("/api/update", {"id": gateway.things[0], "update": update})
            self.assertEqual(reply, (200, {"ok": True, "connected": True}))
            self.assertEqual(updates.get(timeout=PATIENCE),
                             (f"things/{gateway.things[0]}/update", update))
        gateway.hang_up()
        eventually(self, lambda: not connected())
        bad = [({"id": "lamp_1_L_0", "update": {}}, 404), ({"id": "#", "update": {}}, 404),
               ({"id": gateway.things[0] + "\u0000", "update": {}}, 404),
               ({"id": gateway.id, "update": {}}, 400), ({"id": 3, "update": {}}, 400),
               ({"id": gateway.things[0], "update": [1]}, 400), ({}, 400),
               ({"id": gateway.things[0], "update": {"x": "y" * 70000}}, 413)]
        for body, status in bad:
            self.assertEqual(self.sandbox.post("/api/update", body)[0], status, str(body)[:60])

    def test_codes_are_good_once_and_only_while_the_gateway_waits(self):
        streams = [registering(self.sandbox, new_gateway(f"Many {i}")) for i in range(30)]
        codes = [stream.event()[1]["code"] for stream in streams]
        self.assertEqual(len(set(codes)), len(codes))
        self.assertEqual(self.sandbox.enter(codes[7])[0], 200)
        self.assertEqual(streams[7].event()[1]["alias"], "Many 7")
        self.assertEqual(self.sandbox.enter(codes[7])[0], 410)
        for stream in streams:
            stream.close()
        eventually(self, lambda: sum("no longer waits" in line for line in self.sandbox.log) >= 29)
        self.assertEqual(self.sandbox.enter(codes[3])[0], 410)
        unknown = next(str(c) for c in range(100000, 999999) if str(c) not in codes)
        self.assertEqual(self.sandbox.enter(unknown)[0], 404)
        for code in ("12345", "1234567", "12345a", "１２３４５６", 123456, None):
            self.assertEqual(self.sandbox.enter(code)[0], 400, code)

    def test_too_many_waiting_gateways_leave_the_portal_usable(self):
        streams = [registering(self.sandbox, new_gateway()) for _ in range(45)]
        events = [stream.event() for stream in streams]
        self.assertEqual({e[1]["code"] for e in events if e[0] == "error"}, {503})
        self.assertGreater(sum(e[0] == "code" for e in events), 30)
        self.assertEqual(self.sandbox.request("GET", "/things")[0], 200)
        for stream in streams:
            stream.close()

        def free():
            stream = registering(self.sandbox, new_gateway())
            name = stream.event()[0]
            stream.close()
            return name == "code"
        eventually(self, free)

    def test_ten_thousand_devices_register_at_once(self):
        siblings = [(f"lamp_1_{random.getrandbits(48):012x}", f"Lamp {i}") for i in range(10000)]
        self.assertGreater(len(encoded(new_gateway("Big", siblings))), 100000)
        gateway = self.register(new_gateway("Big", siblings))
        self.assertEqual(len(set(gateway.things)), 10000)

    def test_requests_of_other_sites_are_refused(self):
        own = self.sandbox.address
        port = own.rpartition(":")[2]
        good = {"code": "000000"}
        rows = [("GET", "/api/things", {"Host": "evil.example:" + port}, 403),
                ("GET", "/iot/register?doc=x", {"Host": "evil.example"}, 403),
                ("GET", "/things", {"Host": "127.0.0.1"}, 403),
                ("GET", "/things", {"Host": "LOCALHOST:" + port}, 200),
                ("GET", "/api/events", {"Origin": "http://evil.example"}, 403),
                ("POST", "/api/code", {"Origin": "http://evil.example"}, 403),
                ("POST", "/api/code", {"Origin": "null"}, 403),
                ("POST", "/api/code", {"Origin": "https://" + own}, 403),
                ("POST", "/api/code", {"Origin": "http://" + own}, 404),
                ("POST", "/api/code", {"Content-Type": "text/plain"}, 415),
                ("POST", "/api/code", {"Content-Type": "application/jsonx"}, 415),
                ("POST", "/api/code", {"Content-Encoding": "gzip"}, 411),
                ("PUT", "/api/code", {}, 405),
                ("GET", "/nothing", {}, 404)]
        for method, path, headers, status in rows:
            with self.subTest(path=path, headers=headers):
                got, _ = self.sandbox.request(method, path, good if method == "POST" else None,
                                              headers)
                self.assertEqual(got, status)

    def test_raw_rubbish_does_no_harm(self):
        host, _, port = self.sandbox.address.partition(":")
        head = f"Host: {self.sandbox.address}\r\n".encode()
        for data in (b"\r\n\r\n", b"\0" * 5000, b"GET\r\n\r\n", b"GET /" + b"a" * (2 << 20),
                     b"GET /things?" + b"a" * 20000 + b" HTTP/9.9\r\n" + head + b"\r\n",
                     b"GET / HTTP/1.1\r\n" + b"X: y\r\n" * 400000,
                     b"POST /api/code HTTP/1.1\r\n" + head + b"Content-Type: application/json\r\n"
                     b"Transfer-Encoding: chunked\r\n\r\nfffffff\r\n" + b" " * 100000,
                     b"POST /api/code HTTP/1.1\r\n" + head + b"Content-Type: application/json\r\n"
                     b"Content-Length: 99999999999\r\n\r\n{"):
            with socket.create_connection((host, int(port)), PATIENCE) as client:
                try:
                    client.sendall(data)
                    client.shutdown(socket.SHUT_WR)
                    while client.recv(65536):
                        pass
                except OSError as error:
                    # It may hang up on us, also before we do.
                    if not isinstance(error, ConnectionError) and error.errno != errno.ENOTCONN:
                        raise
        self.assertEqual(self.sandbox.request("GET", "/things")[0], 200)

    def test_the_broker_wants_a_certificate_of_the_authority(self):
        broker = self.sandbox.info["broker"]
        without = subprocess.run(
            ["mosquitto_pub", "-h", "localhost", "-p", str(broker["port"]), "--cafile",
             self.sandbox.info["ca"], "-t", "things/x/state", "-m", "{}"],
            capture_output=True, timeout=PATIENCE, check=False)
        self.assertNotEqual(without.returncode, 0)
        for path in ("broker.key", "watch.key", "state.json", "."):
            mode = os.stat(os.path.join(self.sandbox.folder, path)).st_mode & 0o077
            self.assertEqual(mode, 0, path)


class LifeTest(unittest.TestCase):
    def test_a_code_expires(self):
        with Sandbox("--code-timeout", "1") as sandbox:
            stream = registering(sandbox, new_gateway())
            _, code = stream.event()
            self.assertEqual(code["timeout"], 1)
            self.assertEqual(stream.event(),
                             ("error", {"code": 408, "error": "The code has expired"}))
            self.assertIsNone(stream.event())
            stream.close()
            self.assertEqual(sandbox.enter(code["code"])[0], 410)

    def test_a_new_sandbox_in_the_same_folder_knows_its_gateways(self):
        with tempfile.TemporaryDirectory() as root:
            folder = os.path.join(root, "new", "state")
            with Sandbox(folder=folder) as first:
                gateway = Gateway(first, new_gateway("Home", [("lamp_1_A", "Hall")]))
                self.addCleanup(gateway.close)
                rival = Sandbox(folder=folder)
                self.assertIsNone(rival.info)
                self.assertIn("Another sandbox", rival.log[-1])
                self.assertNotEqual(rival.close(), 0)
                broker = first.info["broker"]
                first.process.kill()
                first.process.wait()
            with Sandbox(folder=folder) as second:
                self.assertEqual(second.info["broker"], broker)
                known = second.things()
                self.assertEqual([(g["id"], g["alias"]) for g in known], [(gateway.id, "Home")])
                self.assertEqual(known[0]["things"][0]["id"], gateway.things[0])
                gateway.publish(gateway.things[0], {"on": False})  # by its old certificate
                eventually(self, lambda: second.things()[0]["things"][0]["state"])
            # The port that the gateways know is taken: better no sandbox than one they miss.
            with socket.create_server(("127.0.0.1", broker["port"])):
                third = Sandbox(folder=folder)
                self.assertIsNone(third.info)
                self.assertNotEqual(third.close(), 0)
                self.assertIn(str(broker["port"]), third.log[-1])
            with open(os.path.join(folder, "state.json"), "r+", encoding="utf-8") as state:
                state.truncate(20)
            damaged = Sandbox(folder=folder)
            self.assertIsNone(damaged.info)
            self.assertNotEqual(damaged.close(), 0)

    def test_no_broker_outlives_the_sandbox_however_it_ends(self):
        for end in (signal.SIGKILL, signal.SIGTERM, signal.SIGINT, None):
            with self.subTest(end=end):
                sandbox = Sandbox()
                stream = Stream(sandbox, "/api/events")
                waiting = registering(sandbox, new_gateway())
                broker = sandbox.broker_pid()
                self.assertTrue(is_running(broker))
                if end:
                    sandbox.process.send_signal(end)
                code = sandbox.close()
                self.assertEqual(code, -signal.SIGKILL if end == signal.SIGKILL else 0)
                eventually(self, lambda pid=broker: not is_running(pid))
                stream.close()
                waiting.close()

    def test_a_broker_that_dies_is_started_again_on_its_port(self):
        with Sandbox() as sandbox:
            gateway = Gateway(sandbox, new_gateway("Home", [("lamp_1_A", "Hall")]))
            self.addCleanup(gateway.close)
            gateway.listen()
            eventually(self, lambda: sandbox.things()[0]["connected"])
            old = sandbox.broker_pid()
            client = gateway.listeners[0][0]
            client.send_signal(signal.SIGSTOP)  # so that it does not connect again
            os.kill(old, signal.SIGKILL)
            eventually(self, lambda: any("ended by itself" in line for line in sandbox.log))

            def heard():
                with contextlib.suppress(subprocess.CalledProcessError):
                    gateway.publish(gateway.things[0], {"on": True})
                return sandbox.things()[0]["things"][0]["count"]
            eventually(self, heard)
            self.assertNotEqual(sandbox.broker_pid(), old)
            self.assertFalse(sandbox.things()[0]["connected"])
            client.send_signal(signal.SIGCONT)
            gateway.hang_up()
            updates = gateway.listen()
            sandbox.post("/api/update", {"id": gateway.things[0], "update": {"on": False}})
            self.assertEqual(updates.get(timeout=PATIENCE)[1], {"on": False})
            log = "\n".join(sandbox.log)
            self.assertNotIn("PRIVATE", log)
            self.assertNotIn('"on"', log)

    def test_what_cannot_start_says_why(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = str(taken.getsockname()[1])
            for options, word in ((["--port", port], port), (["--broker-port", port], port),
                                  (["--port", "70000"], "65535"), (["--code-timeout", "0"], "86400"),
                                  (["--authority", "/nowhere"], "/nowhere")):
                with self.subTest(options=options):
                    sandbox = Sandbox(*options)
                    self.assertIsNone(sandbox.info)
                    self.assertEqual(sandbox.close(), 1)
                    self.assertIn(word, sandbox.log[-1])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
