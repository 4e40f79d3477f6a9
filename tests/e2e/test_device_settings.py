"""Settings, readiness, restart and factory reset, with the device's own programs behind them."""

import time

import requests

from virtual_extender import value, wait_until


def set_settings(device, name="Kitchen", password="admin"):
    arguments = f"<DeviceName>{name}</DeviceName><AdminPassword>{password}</AdminPassword>"
    return value(device.post("SetDeviceSettings", arguments), "SetDeviceSettingsResult")


def test_new_password_counts_at_once(own_device):
    assert set_settings(own_device, password="p:w&amp;d") == "OK"
    assert own_device.post("IsDeviceReady").status_code == 401
    own_device.login = ("admin", "p:w&d")
    assert own_device.post("IsDeviceReady").status_code == 200
    assert own_device.run("cat", "/etc/lighttpd.user") == "admin:p:w&d"
    assert own_device.run("nvram_get", "2860", "Password").rstrip("\n") == "p:w&d"


def answers(device):
    try:
        return device.get().status_code == 200
    except requests.ConnectionError:
        return False


def test_reboot_and_factory_reset(own_device):
    assert set_settings(own_device, "Attic") == "OK"
    assert value(own_device.post("Reboot"), "RebootResult") == "REBOOT"
    assert wait_until(lambda: not answers(own_device))
    assert wait_until(lambda: own_device.boots() == 2 and answers(own_device))
    assert value(own_device.get(), "DeviceName") == "Attic"

    started = time.monotonic()
    reply = own_device.post("RestoreFactoryDefaults")
    assert value(reply, "RestoreFactoryDefaultsResult") == "REBOOT"
    assert time.monotonic() - started >= 5
    assert wait_until(lambda: own_device.boots() == 3 and answers(own_device))
    assert value(own_device.get(), "DeviceName") == "Extender"
