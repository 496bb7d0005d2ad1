"""The portal's page in a real browser, with a gateway at the other end."""

import os
import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from cloud import PATIENCE, Gateway, Sandbox, new_gateway, registering

HOSTILE = "<img src=x onerror=\"document.title='owned'\">"


class PortalTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        profile = tempfile.TemporaryDirectory(prefix="kvg-browser-", ignore_cleanup_errors=True)
        cls.addClassCleanup(profile.cleanup)
        options = webdriver.ChromeOptions()
        for switch in ("headless", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run",
                       "disable-background-networking", "disable-component-update", "disable-sync",
                       "disable-dev-shm-usage", "window-size=1100,900",
                       "user-data-dir=" + profile.name):
            options.add_argument("--" + switch)
        options.binary_location = "/usr/bin/chromium"
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        self.sandbox = Sandbox()
        self.addCleanup(self.sandbox.close)
        self.open_page()

    def open_page(self):
        self.browser.get(self.sandbox.info["portal"].replace("/things", "/"))
        self.addCleanup(self.browser.get, "about:blank")
        self.becomes("#link", lambda e: e.text == "Live")

    def find(self, selector, within=None):
        return (within or self.browser).find_element(By.CSS_SELECTOR, selector)

    def becomes(self, selector, condition, within=None):
        """Waits for an element of which the condition is true; the page may rebuild meanwhile."""
        def check(_):
            for element in (within or self.browser).find_elements(By.CSS_SELECTOR, selector):
                if condition(element):
                    return element
            return None
        return WebDriverWait(self.browser, PATIENCE, 0.05).until(check, f"{selector} never fits")

    def card(self, cloudid):
        return self.becomes(".thing", lambda e: e.get_attribute("data-id") == cloudid)

    def type_code(self, code):
        field = self.find("#code")
        field.clear()
        field.send_keys(code, Keys.ENTER)

    def register(self, alias, things):
        gateway = Gateway(self.sandbox, new_gateway(alias, things), enter=self.type_code)
        self.addCleanup(gateway.close)
        self.becomes("#code-note", lambda e: "Registered" in e.text)
        return gateway

    def picture(self, name):
        folder = os.environ.get("KVG_TEST_PICTURES")
        if folder:
            self.browser.save_screenshot(os.path.join(folder, name + ".png"))

    def test_a_device_is_registered_seen_and_switched(self):
        self.assertTrue(self.find("#empty").is_displayed())
        waiting = registering(self.sandbox, new_gateway("Other"))
        taken = waiting.event()[1]["code"]
        for code, words in (("12", "six digits"), ("12345x", "six digits"),
                            (f"{(int(taken) + 1) % 900000 + 100000}", "No gateway shows")):
            self.type_code(code)
            self.becomes("#code-note", lambda e, words=words: words in e.text)
            self.assertEqual(self.find("#code").get_attribute("aria-invalid"), "true")
        self.picture("error")
        waiting.close()

        gateway = self.register("Home", [("lamp_1_A", "Hall lamp"), ("host_1_pc", "My computer")])
        home = self.becomes(".gateway", lambda e: self.find("h2", e).text == "Home")
        self.assertIn(gateway.id, home.text)
        self.assertIn("Not connected", home.text)
        self.assertFalse(self.find("#empty").is_displayed())
        lamp = self.card(gateway.things[0])
        self.assertEqual(self.find("h3", lamp).text, "Hall lamp")
        self.assertIn("No state yet", lamp.text)
        self.assertFalse(self.find(".switch", lamp).is_displayed())

        updates = gateway.listen()
        self.becomes(".badge", lambda e: e.text == "Connected", home)
        gateway.publish(gateway.things[0], {"on": False, "brightness": 40})
        gateway.publish(gateway.things[1], {"load": 0.42, "memory": {"free": 3}, "name": "box"})
        switch = self.becomes(".switch", lambda e: e.is_displayed(), lamp)
        self.assertEqual(switch.get_attribute("aria-checked"), "false")
        self.assertIn("brightness\n40", self.find("dl", lamp).text)
        self.becomes("dl", lambda e: 'memory\n{"free":3}' in e.text, self.card(gateway.things[1]))
        switch.send_keys(Keys.SPACE)  # by keyboard, as by mouse
        self.assertEqual(updates.get(timeout=PATIENCE),
                         (f"things/{gateway.things[0]}/update", {"on": True}))
        # The page shows what the device says, not what was wished.
        self.assertEqual(switch.get_attribute("aria-checked"), "false")
        gateway.publish(gateway.things[0], {"on": True, "brightness": 80})
        self.becomes(".switch[aria-checked=true]", lambda e: True, lamp)
        self.picture("light")

        self.find("summary", lamp).click()
        text = self.becomes("textarea", lambda e: e.is_displayed(), lamp)
        for content, words in (("{on", "not a JSON object"), ("[1]", "not a JSON object"),
                               ('{"brightness": 5}', "Sent.")):
            text.clear()
            text.send_keys(content)
            self.find(".send", lamp).click()
            self.becomes(".note", lambda e, words=words: words in e.text, lamp)
        self.assertEqual(updates.get(timeout=PATIENCE)[1], {"brightness": 5})
        # News of other things leave what is being typed alone.
        text.send_keys("x")
        more = self.register("Second", [("lamp_1_B", "Cellar")])
        self.card(more.things[0])
        self.assertEqual(text.get_property("value"), '{"brightness": 5}x')

        gateway.hang_up()
        self.becomes(".badge", lambda e: e.text == "Not connected", home)
        switch.click()
        self.becomes(".note", lambda e: "not connected" in e.text, lamp)
        # A page that is opened later knows the same.
        self.open_page()
        self.assertIn("brightness\n80", self.find("dl", self.card(gateway.things[0])).text)
        self.assert_quiet_console()

    def test_text_of_devices_stays_text(self):
        gateway = self.register(HOSTILE, [("lamp_1_" + HOSTILE, HOSTILE)])
        card = self.card(gateway.things[0])
        gateway.publish(gateway.things[0], {HOSTILE: HOSTILE, "on": HOSTILE, "__proto__": {"x": 1},
                                            "deep": {"a": HOSTILE}, "long": "y" * 100000})
        state = self.becomes("dl", lambda e: "deep" in e.text, card)
        self.assertIn(HOSTILE, state.text)
        self.assertLess(len(state.text), 3000)
        self.assertEqual(self.find("h3", card).text, HOSTILE)
        self.assertEqual(self.find(".gateway h2").text, HOSTILE)
        self.assertFalse(self.find(".switch", card).is_displayed())
        self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, "#gateways img"), [])
        self.assertIn("Things", self.browser.title)
        # The second wall: markup that got in all the same would not run.
        self.browser.execute_script("document.body.insertAdjacentHTML('beforeend', arguments[0])",
                                    HOSTILE.replace("img", "img class=planted"))
        self.becomes("img.planted", lambda e: e.get_property("complete"))
        self.assertIn("Things", self.browser.title)

    def test_the_page_finds_the_sandbox_again_and_copes_with_many_things(self):
        gateway = self.register("Big", [(f"lamp_1_{i:04}", f"Lamp {i}") for i in range(3000)])
        self.card(gateway.things[0])
        self.assertLess(len(self.browser.find_elements(By.CSS_SELECTOR, ".thing")), 200)
        self.find("#filter").send_keys("lamp 2999")
        self.card(gateway.things[2999])
        self.becomes("#gateways", lambda e: len(e.find_elements(By.CSS_SELECTOR, ".thing")) == 1)
        old, folder = self.sandbox, self.sandbox.folder
        port = old.address.rpartition(":")[2]
        old.process.kill()
        old.process.wait()
        self.becomes("#link", lambda e: "Not connected" in e.text)
        self.sandbox = Sandbox("--port", port, folder=folder)
        self.addCleanup(self.sandbox.close)
        self.becomes("#link", lambda e: e.text == "Live")
        gateway.publish(gateway.things[2999], {"on": True})
        self.becomes(".switch[aria-checked=true]", lambda e: e.is_displayed())

    def assert_quiet_console(self):
        # A refused code is a failed request, which the browser notes.
        noise = [entry["message"] for entry in self.browser.get_log("browser")
                 if "/api/code" not in entry["message"]]
        self.assertEqual(noise, [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
