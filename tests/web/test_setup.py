"""Setup: the list of networks, the rules of keys, joining."""

import pytest

SETUP = "/wireless/wireless_basic.shtml"

JOINED = "The extender has joined the network."
JOINS = {
    "wrong key": ("Home Network", "wrong horse", "The network did not accept the key."),
    "upper band": ("Home Network 5G", "correct horse", JOINED),
    "both ciphers": ("Neighbours & Sons", "letmein123", JOINED),
    "WPA": ("Attic", "attic-key-1", JOINED),
    "WEP": ("OldPrinter", "1234567890", JOINED),
    "open": ("Coffee Guest", "", JOINED),
}


def test_join(browser, boot):
    tabs = {name: browser.open(boot().url + SETUP).sign_in() for name in JOINS}
    for name, tab in tabs.items():
        network, key, _ = JOINS[name]
        tab.join(network, key).see("The extender restarts its radio")
    for name, tab in tabs.items():
        tab.see(JOINS[name][2])
        if JOINS[name][2] == JOINED:
            tab.press("See the status").see(JOINS[name][0], "Connected clients")
    tabs["wrong key"].press("Try again").type("Key", "correct horse").press("Join").see(JOINED)
