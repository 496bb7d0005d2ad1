"""The portal's page in a real browser, with a gateway at the other end."""

import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from cloud import PATIENCE, Gateway, Sandbox, new_gateway

HOSTILE = "<img src=x onerror=\"document.title='owned'\">"


class PortalTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        profile = tempfile.TemporaryDirectory(prefix="kvg-browser-", ignore_cleanup_errors=True)
        cls.addClassCleanup(profile.cleanup)
        options = webdriver.ChromeOptions()
        for switch in ("headless", "no-sandbox", "disable-gpu", "no-first-run",
                       "disable-background-networking", "disable-component-update",
                       "disable-dev-shm-usage", "user-data-dir=" + profile.name):
            options.add_argument("--" + switch)
        options.binary_location = "/usr/bin/chromium"
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        self.sandbox = Sandbox()
        self.addCleanup(lambda: self.assertEqual(self.sandbox.close(), 0))
        self.browser.get(self.sandbox.info["portal"].replace("/things", "/"))
        self.addCleanup(self.browser.get, "about:blank")
        self.becomes("#link", lambda e: e.text == "Live")

    def find(self, selector, within=None):
        return (within or self.browser).find_element(By.CSS_SELECTOR, selector)

    def becomes(self, selector, condition, within=None):
        """Waits for an element of which the condition is true; the page may rebuild meanwhile."""
        def check(_):
            found = (within or self.browser).find_elements(By.CSS_SELECTOR, selector)
            return next(filter(condition, found), None)
        wait = WebDriverWait(self.browser, PATIENCE, 0.05, [StaleElementReferenceException])
        return wait.until(check, f"{selector} never fits")

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

    def test_a_device_is_registered_seen_and_switched(self):
        for code, words in (("12345x", "six digits"), ("000000", "No gateway shows")):
            self.type_code(code)
            self.becomes("#code-note", lambda e, words=words: words in e.text)
        gateway = self.register("Home", [("lamp_1_A", "Hall lamp")])
        lamp = self.card(gateway.things[0])
        updates = gateway.listen()
        self.becomes(".badge", lambda e: e.text == "Connected")
        gateway.publish(gateway.things[0], {"on": False, "brightness": 40})
        switch = self.becomes(".switch[aria-checked=false]", lambda e: e.is_displayed(), lamp)
        switch.send_keys(Keys.SPACE)  # by keyboard, as by mouse
        self.assertEqual(next(updates), (f"things/{gateway.things[0]}/update", {"on": True}))
        # The page shows what the device says, not what was wished.
        self.assertEqual(switch.get_attribute("aria-checked"), "false")
        gateway.publish(gateway.things[0], {"on": True, "brightness": 80})
        self.becomes(".switch[aria-checked=true]", lambda e: True, lamp)

        self.find("summary", lamp).click()
        text = self.becomes("textarea", lambda e: e.is_displayed(), lamp)
        text.clear()
        text.send_keys('{"brightness": 5}')
        # News of other things leave what is being typed alone.
        more = self.register("Second", [("lamp_1_B", "Cellar")])
        self.card(more.things[0])
        self.assertEqual(text.get_property("value"), '{"brightness": 5}')
        self.find(".send", lamp).click()
        self.assertEqual(next(updates)[1], {"brightness": 5})

    def test_text_of_devices_stays_text(self):
        gateway = self.register(HOSTILE, [("lamp_1_" + HOSTILE, HOSTILE)])
        card = self.card(gateway.things[0])
        gateway.publish(gateway.things[0], {HOSTILE: HOSTILE, "on": HOSTILE, "__proto__": {"x": 1},
                                            "deep": {"a": HOSTILE}, "long": "y" * 100000})
        state = self.becomes("dl", lambda e: "deep" in e.text, card)
        self.assertIn(HOSTILE, state.text)
        self.assertLess(len(state.text), 3000)
        self.assertEqual(self.find("h3", card).text, HOSTILE)
        self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, "#gateways img"), [])
        self.assertIn("Things", self.browser.title)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
