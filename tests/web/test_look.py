"""Every page on a phone and a desktop, light and dark: its picture, axe-core's verdict, its width; the budgets."""

import os
import pathlib

import pytest
from virtual_extender import REPOSITORY

AXE = pathlib.Path(os.environ["KD_AXE"]).read_text()
SIZE = 40 * 1024  # bytes of all files
FIRST_PAINT = 300  # ms

PAGES = {"Setup": "Connected to Home Network", "Status": "living room TV", "Speed": "Start", "Device": "Factory reset"}


def check(tab, name):
    for width, device in ((1100, "desktop"), (360, "phone")):
        for dark in (False, True):
            tab.resize(width, dark)
            picture = f"{name}-{device}-{'dark' if dark else 'light'}"
            assert tab.js("return document.documentElement.scrollWidth") <= width, picture
            assert "undefined" not in tab.text(), picture
            tab.shoot(picture)
            if device == "desktop":  # the same elements
                continue
            found = tab.driver.execute_async_script("axe.run().then((it) => arguments[0](it.violations))")
            assert [(it["id"], it["nodes"][0]["html"]) for it in found] == [], picture


def test_every_page(browser, boot):
    home = boot()
    browser.requests()
    tab = browser.open(home.url).see("Password")
    tab.js(AXE)
    check(tab, "sign-in")
    tab.sign_in().press("Home Network").type("Key", "correct horse").press("Join")
    tab.see("The extender has joined the network.")
    check(tab, "joined")
    for page, text in {**PAGES, "Firmware": "2014-04-19"}.items():
        tab.press(page).see(text)
        check(tab, page.lower())
    tab.press("Setup", "Home Network").see("Key")
    check(tab, "key")
    assert {url.split("/")[2] for url in browser.requests() if url.startswith("http")} == {f"127.0.0.1:{home.port}"}


def test_budgets(browser, home):
    files = [it for it in (REPOSITORY / "web").rglob("*") if it.is_file() and not it.is_symlink()]
    size = sum(it.stat().st_size for it in files)
    paint = "return performance.getEntriesByName('first-contentful-paint')[0]?.startTime"
    paints = []
    for _ in range(5):
        tab = browser.open(home.url)
        paints.append(tab.wait(lambda: tab.js(paint)))
    print(f"{size} bytes; first paint after {min(paints):.0f} ms")
    assert size <= SIZE
    assert min(paints) < FIRST_PAINT


@pytest.mark.parametrize("url", ["/", "/wireless/wireless_basic.shtml", "/status/device_status.shtml", "/pages/app.js"])
def test_headers(home, url):
    headers = home.get(url).headers
    policy = headers["Content-Security-Policy"]
    assert "default-src 'none'" in policy and "unsafe" not in policy
    assert headers["X-Content-Type-Options"] == "nosniff"
