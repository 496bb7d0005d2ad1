"""The portal's page in a real browser, with a gateway at the other end."""

import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

from cloud import TIMEOUT, Gateway, Sandbox, new_gateway

HOSTILE = "<img src=x onerror=\"alert(1)\">"


class PortalTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        data = cls.enterClassContext(tempfile.TemporaryDirectory(ignore_cleanup_errors=True))
        options = webdriver.ChromeOptions()
        for switch in ("headless", "no-sandbox", "disable-dev-shm-usage", "user-data-dir=" + data):
            options.add_argument("--" + switch)
        options.binary_location = "/usr/bin/chromium"
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.implicitly_wait(TIMEOUT)

    def setUp(self):
        self.sandbox = Sandbox(self)
        self.browser.get(self.sandbox.info["portal"].replace("/things", "/"))
        self.find("//*[@id='link'][.='Live']")

    def find(self, path, within=None):
        """Waits for the element."""
        return (within or self.browser).find_element(By.XPATH, path)

    def type_code(self, code):
        field = self.find("//*[@id='code']")
        field.clear()
        field.send_keys(code, "\n")

    def register(self, alias, things):
        gateway = Gateway(self.sandbox, new_gateway(alias, things), enter=self.type_code)
        self.find("//*[@id='code-note'][contains(., 'Registered')]")
        return gateway

    def test_a_device_is_registered_seen_and_switched(self):
        self.type_code("000000")
        self.find("//*[@id='code-note'][contains(., 'No gateway shows')]")
        gateway = self.register("Home", [("lamp_1_A", "Hall lamp")])
        lamp = self.find(f"//*[@data-id='{gateway.things[0]}']")
        updates = gateway.listen(self)
        self.find("//span[.='Connected']")
        gateway.publish(gateway.things[0], {"on": False, "brightness": 40})
        switch = self.find(".//button[@aria-checked='false'][not(@hidden)]", lamp)
        switch.send_keys(" ")  # by keyboard, as by mouse
        self.assertEqual(next(updates), (f"things/{gateway.things[0]}/update", {"on": True}))
        # The page shows the state of the device, not what the user asked for.
        self.assertEqual(switch.get_attribute("aria-checked"), "false")
        gateway.publish(gateway.things[0], {"on": True, "brightness": 80})
        self.find(".//button[@aria-checked='true']", lamp)

        self.find(".//summary", lamp).click()
        text = self.find(".//textarea", lamp)
        text.clear()
        text.send_keys('{"brightness": 5}')
        # Changes of other things keep the text that is being typed.
        more = self.register("Second", [("lamp_1_B", "Cellar")])
        self.find(f"//*[@data-id='{more.things[0]}']")
        self.assertEqual(text.get_property("value"), '{"brightness": 5}')
        self.find(".//button[.='Send']", lamp).click()
        self.assertEqual(next(updates)[1], {"brightness": 5})

    def test_markup_of_devices_is_shown_as_text(self):
        gateway = self.register(HOSTILE, [("lamp_1_" + HOSTILE, HOSTILE)])
        card = self.find("//*[starts-with(@data-id, 'lamp_1_')]")
        gateway.publish(gateway.things[0], {HOSTILE: HOSTILE, "on": HOSTILE, "__proto__": {"x": 1},
                                            "deep": {"a": HOSTILE}, "long": "y" * 100000})
        state = self.find(".//dl[contains(., 'deep')]", card)
        self.assertIn(HOSTILE, state.text)
        self.assertLess(len(state.text), 3000)
        self.assertEqual(self.find(".//h3", card).text, HOSTILE)
        self.assertEqual(self.browser.execute_script("return document.images.length"), 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
