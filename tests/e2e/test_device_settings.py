"""Settings, readiness, restart and factory reset, with the device's own programs behind them."""

import time

import pytest
import requests

from virtual_extender import value, wait_until


def set_settings(device, name="Kitchen", password="admin"):
    arguments = f"<DeviceName>{name}</DeviceName><AdminPassword>{password}</AdminPassword>"
    return value(device.post("SetDeviceSettings", arguments), "SetDeviceSettingsResult")


@pytest.mark.parametrize(
    "name, password, result",
    [
        ("n" * 15, "admin", "OK"),
        ("n" * 16, "admin", "ERROR"),
        ("", "admin", "ERROR"),
        ("Kitchen", "p" * 65, "ERROR"),
        ("Kitchen", "", "ERROR"),
        ("Tom &amp; &lt;Co", "admin", "OK"),
    ],
)
def test_set_device_settings(device, name, password, result):
    before = value(device.get(), "DeviceName")
    assert set_settings(device, name, password) == result
    assert value(device.get(), "DeviceName") == (name if result == "OK" else before)


def test_new_password_counts_at_once(own_device):
    assert set_settings(own_device, password="p:w&amp;d") == "OK"
    assert own_device.post("IsDeviceReady").status_code == 401
    own_device.login = ("admin", "p:w&d")
    assert own_device.post("IsDeviceReady").status_code == 200
    assert own_device.run("cat", "/etc/lighttpd.user") == "admin:p:w&d"
    assert own_device.run("nvram_get", "2860", "Password").rstrip("\n") == "p:w&d"


def test_model_follows_the_board_id(own_device):
    """A file that ends in a line end names the first model, whatever it says."""
    for board, model, version in [
        ("027215", "NX410W", "1.4.02, build 2"),
        ("027215\\n", "NX220", "1.4.02, build 2"),
        ("111111", "NX220", "3.1.07, build 2"),
        ("", "NX220", "3.1.07, build 2"),
    ]:
        own_device.run("sh", "-c", f"printf '{board}' > /var/boardid")
        reply = own_device.get()
        assert (value(reply, "ModelName"), value(reply, "FirmwareVersion")) == (model, version)
    own_device.run("rm", "/var/boardid")
    assert value(own_device.get(), "ModelName") == "NX220"


def test_readiness_marker(own_device):
    own_device.run("rm", "/var/is_dev_ready")
    assert value(own_device.post("IsDeviceReady"), "IsDeviceReadyResult") == "ERROR"
    own_device.run("touch", "/var/is_dev_ready")
    assert value(own_device.post("IsDeviceReady"), "IsDeviceReadyResult") == "OK"


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

