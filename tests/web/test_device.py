"""Sign-in; name, password and language; restart and reset; firmware; speed test."""

import subprocess

from selenium.webdriver.common.keys import Keys
from virtual_extender import BUILD

WATCH_PROGRESS = """window.seen = [];
const progress = document.querySelector("progress"), nav = document.querySelector("nav");
new MutationObserver(() => seen.push([progress.value, nav.inert])).observe(progress, { attributes: true });"""


def test_sign_in(browser, boot):
    device = boot()
    tab = browser.open(device.url).see("Sign in")
    assert tab.js("return document.querySelector('nav').checkVisibility()") is False
    tab.sign_in("wrong").see("User name or password is wrong.")
    tab.keys("admin", Keys.ENTER).see("still has its first password", "Networks found")
    for page, text in {"Speed": "Start", "Firmware": "1.4.02", "Device": "Factory reset"}.items():
        tab.press(page).see(text)
    kept = "return [localStorage.length, sessionStorage.length, document.cookie, location.href.includes('admin')]"
    assert tab.js(kept) == [0, 0, "", False]
    # The password is changed behind the page's back.
    device.post("SetDeviceSettings", "<DeviceName>x</DeviceName><AdminPassword>other</AdminPassword>")
    tab.press("Status").see("The extender no longer takes this password.").sign_in("other").see("Upstream link")
    assert "first password" not in tab.text()
    tab.press("Sign out").see("User name")
    tab.driver.refresh()
    tab.see("Sign in")


def test_name_password_and_language(browser, boot):
    device = boot()
    tab = browser.open(device.url + "#device").sign_in().see("Name and password")
    tab.type("Name", "Täst & <b>").type("New password", "ö:<&>").type("New password again", "other").press("Save")
    tab.see("The two passwords differ.")
    assert device.stored("HostName") == "Extender"
    tab.type("New password again", "ö:<&>").press("Save").see("Saved.", "Täst & <b>")
    assert (device.stored("HostName"), device.stored("Password")) == ("Täst & <b>", "ö:<&>")
    tab.type("Name", "ääääääääää").press("Save").see("it does not take these values, ERROR")
    tab.find("Language", "label").send_keys("Deutsch")
    tab.js("document.querySelectorAll('form')[1].requestSubmit()")
    tab.see("Saved.")
    assert device.stored("Language") == "DE"


def test_restart_and_reset(browser, boot):
    devices = [boot(), boot()]
    devices[1].post("SetDeviceSettings", "<DeviceName>x</DeviceName><AdminPassword>admin</AdminPassword>")
    restarted, reset = [browser.open(device.url + "#device").sign_in() for device in devices]
    reset.press("Factory reset").see("Reset to the factory settings?").press("Cancel")
    reset.confirm("Factory reset")
    restarted.confirm("Restart").see("The extender starts.").see("The extender is back.")
    assert devices[0].boots() == 2
    reset.see("The extender is reset. Sign in with the first password.").sign_in().see("Name and password")
    assert devices[1].stored("HostName") == "Extender"


def test_firmware(browser, boot, tmp_path):
    device = boot()
    tab = browser.open(device.url + "#firmware").sign_in().see("1.4.02, build 2", "2014-04-19")
    for image, options in {"other": ["--board", "999999"], "good": []}.items():
        maker = [BUILD / "bin" / "mkfirmware", *options, "-s", "3000000", "-o", tmp_path / image, __file__]
        subprocess.run(maker, check=True)
    choose = lambda image: tab.find("Firmware file").send_keys(str(tmp_path / image))
    choose("other")
    tab.confirm("Install").see("The extender refused the image: damaged, too large or for another model.")
    slow = {"offline": False, "latency": 0, "downloadThroughput": -1, "uploadThroughput": 4_000_000}
    tab.cdp("Network.emulateNetworkConditions", **slow)
    tab.js(WATCH_PROGRESS)
    choose("good")
    tab.confirm("Install").see("The extender checks and writes the firmware.")
    tab.see("The extender is back with version 1.4.02, build 2.")
    assert any(0 < share < 1 and held for share, held in tab.js("return window.seen")), "on a page that is held"
    assert "booting image" in device.console() and device.boots() == 2


def test_speed(browser, home):
    tab = browser.open(home.url + "#speed").sign_in().press("Start").see("Mbit/s on average")
    assert 10 < float(tab.js("return document.querySelector('[role=meter]').ariaValueNow")) <= 1000
    tab.shoot("speed-measured")
