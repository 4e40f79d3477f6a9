"""A real Chromium with the pages of a virtual extender in its tabs."""

import base64
import json
import os
import pathlib
import shutil

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.keys import Keys
from virtual_extender import wait_until

SCREENSHOTS = pathlib.Path(os.environ.get("KD_SCREENSHOTS", "build/screenshots"))
SWITCHES = """--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking
--disable-component-update --disable-sync --force-device-scale-factor=1"""
# The first element with that text as its own, or with a label or an accessible name of it.
FIND = """const [root, name] = arguments;
const own = (it) => [...it.childNodes].filter((n) => n.nodeType === 3).map((n) => n.data).join("").trim();
const seen = [...document.querySelectorAll(root)].filter((it) => it.checkVisibility());
const is = [(it) => own(it) === name, (it) => own(it).startsWith(name), (it) => it.innerText.startsWith(name)];
const found = is.map((test) => seen.find(test)).find((it) => it);
return found?.tagName === "LABEL" ? found.querySelector("input, select") : found;"""


class Browser:
    def __init__(self):
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for switch in SWITCHES.split():
            options.add_argument(switch)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)

    def open(self, url, width=1100):
        self.driver.switch_to.new_window("window")
        return Tab(self.driver, url, width)

    def console(self):
        """What pages wrote to the console; the browser's own notes on refused requests are no fault of theirs."""
        return [e for e in self.driver.get_log("browser") if e["source"] not in ("network", "recommendation")]

    def requests(self):
        """The URLs asked for since the last call."""
        events = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        return [e["params"]["request"]["url"] for e in events if e["method"] == "Network.requestWillBeSent"]

    def close_tabs(self):
        first, *others = self.driver.window_handles
        for handle in others:
            self.driver.switch_to.window(handle)
            self.driver.close()
        self.driver.switch_to.window(first)


class Tab:
    def __init__(self, driver, url, width):
        self.driver = driver
        self.handle = driver.current_window_handle
        self.resize(width)
        driver.get(url)

    def resize(self, width, dark=False):
        size = {"width": width, "height": 760, "deviceScaleFactor": 1, "mobile": width < 500}
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        self.cdp("Emulation.setDeviceMetricsOverride", **size)
        self.cdp("Emulation.setEmulatedMedia", features=[scheme])

    def cdp(self, command, **arguments):
        self.driver.switch_to.window(self.handle)
        return self.driver.execute_cdp_cmd(command, arguments)

    def js(self, code, *arguments):
        self.driver.switch_to.window(self.handle)
        return self.driver.execute_script(code, *arguments)

    def wait(self, condition, *what):
        """What the condition gives as soon as that is true."""
        found = []
        seen = wait_until(lambda: found.append(condition()) or found[-1], seconds=60)
        assert seen, f"not seen: {what} in:\n{self.text()}\n{self.driver.get_log('browser')}"
        return found[-1]

    def text(self):
        return self.js("return (document.querySelector('dialog') ?? document.body).innerText")

    def see(self, *texts):
        self.wait(lambda: all(text in self.text() for text in texts), *texts)
        return self

    def find(self, name, root="a, button, label, h2"):
        return self.wait(lambda: self.js(FIND, root, name), name)

    def press(self, *names):
        for name in names:
            self.find(name).click()
        return self

    def confirm(self, name):
        """Presses that, and the same in the dialog that asks."""
        self.press(name).find(name, "dialog button").click()
        return self

    def type(self, field, text):
        element = self.find(field, "label")
        element.clear()
        element.send_keys(text)
        return self

    def keys(self, *keys):
        self.driver.switch_to.window(self.handle)
        self.driver.switch_to.active_element.send_keys(*keys)
        return self

    def sign_in(self, password="admin"):
        return self.type("Password", password + Keys.ENTER)

    def shoot(self, name):
        SCREENSHOTS.mkdir(parents=True, exist_ok=True)
        shot = self.cdp("Page.captureScreenshot", format="png", captureBeyondViewport=True)
        (SCREENSHOTS / f"{name}.png").write_bytes(base64.b64decode(shot["data"]))
