"""Status: what it shows, what it costs, and what it says when the device is busy or gone."""

import time

from virtual_extender import Device, value

STATUS = "/status/device_status.shtml"
REFRESH = 5  # s
REQUESTS = 2  # in that time

COUNT_CHANGES = """window.changes = 0;
new MutationObserver((list) => (window.changes += list.length))
  .observe(document.body, { subtree: true, childList: true, attributes: true, characterData: true });"""


def test_shows_what_the_device_says(browser, home):
    link = lambda *words: home.command("radio", "link", *words)
    link("up", "ssid=By <b>Hand</b>", "channel=44", "bssid=02:00:00:00:00:09", "rate=65", "rssi=-60")
    tab = browser.open(home.url + STATUS).sign_in()
    info = home.post("GetWirelessClientConnectionInfo")
    strength = value(info, "SignalStrength") + "\n%"
    tab.see("By <b>Hand</b>", strength, "5 GHz", "44 (20 MHz)", "802.11n", "65, 65 Mbit/s", "0 h 0 min")
    tab.see("living room TV", "Wireless 802.11a · 02:AA:00:00:00:03", "phone not active")
    tab.see(value(home.post("GetDeviceSettings2"), "SerialNumber"))
    tab.see(value(home.post("GetDeviceSettings"), "FirmwareVersion"))
    link("rssi=-80")
    tab.see("24\n%", "The last 5 minutes: 24 to 76 %")
    assert tab.js("return document.querySelector('figure path:last-child').getAttribute('d')").count("L") == 1
    link("down")
    tab.see("Not connected.")


def test_costs_little_and_stops_when_hidden(browser, boot):
    device = boot()
    tab = browser.open(device.url + STATUS).sign_in().see("Connected clients", "desktop")
    asked = lambda: sum(url.startswith(device.url) for url in browser.requests())
    asked()
    tab.js(COUNT_CHANGES)
    time.sleep(2 * REFRESH)  # a span without an event is what is measured
    rounds = asked()
    print(f"status: {rounds} requests in {2 * REFRESH} s")
    assert 1 <= rounds <= 2 * REQUESTS
    assert tab.js("return window.changes") <= 2, "nothing has changed, and the page was touched"
    tab.driver.minimize_window()
    assert tab.js("return document.hidden")
    asked()
    time.sleep(REFRESH + 1)
    assert asked() == 0
    tab.driver.set_window_rect(0, 0, 1100, 760)
    tab.wait(asked)


def test_busy_gone_and_back(browser, boot):
    device = boot()
    tab = browser.open(device.url + STATUS).sign_in().see("desktop")
    device.run("touch", "/tmp/scanning")
    tab.see("The extender is busy, perhaps scanning for networks. Waiting…")
    device.run("rm", "/tmp/scanning")
    tab.wait(lambda: "Waiting" not in tab.text())
    device.stop()
    tab.see("The extender does not answer.", "These are the last values", "desktop").shoot("status-gone")
    tab.press("Setup").see("The extender does not answer.")
    with Device(device.state, port=device.port):
        tab.press("Try again").see("Networks found")
