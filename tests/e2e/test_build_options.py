"""What a build may add: KD_HNAP_UNREGISTERED_ACTIONS and KD_HNAP_DEBUG_LOG."""

import os
import pathlib
import re

import pytest

from conftest import boot
from virtual_extender import EXTENDER_A, EXTENDER_B, REPOSITORY, network, value, wait_until

MODULE = pathlib.Path(os.environ.get("KD_VENDOR_DIR", REPOSITORY / "build" / "vendor")) / "lib" / "mod_kd_hnap.so"
LOGGED = "request action from hnap client:IsDeviceReady"
WPS = {"StartWPS", "StopWPS", "GetWPSStatus"}
ADDED = WPS | {"SetWirelessClientSettings2", "GetWirelessNetworks2", "GetMACFilters2", "SetMACFilters2", "GetNetworkStats"}


@pytest.fixture(scope="module")
def vendor_device(tmp_path_factory):
    if not MODULE.exists():
        pytest.skip("no module with all actions: scripts/build vendor makes it")
    running = boot(tmp_path_factory.mktemp("vendor"), module=MODULE)
    yield running
    running.stop()


def listed(reply):
    return re.findall("<string>(.*/)([A-Za-z0-9]+)</string>", reply.text)


def test_actions_listed_and_served(device, vendor_device):
    shipped, full = listed(device.get()), listed(vendor_device.get())
    assert len(shipped) == 18 and [row for row in full if row[1] not in ADDED] == shipped
    assert {name for _, name in full} - {name for _, name in shipped} == ADDED
    assert {name for namespace, name in full if namespace == EXTENDER_A} == WPS
    asked_in_b = listed(vendor_device.post("GetDeviceSettings", namespace=EXTENDER_B))
    assert {name for namespace, name in asked_in_b if namespace == EXTENDER_B} == WPS
    assert device.post("GetNetworkStats").status_code == 500
    # Its name begins like one that is served: it is that action, with an unknown element.
    refused = device.post("SetWirelessClientSettings2", "<Band>5GHz</Band>")
    assert value(refused, "SetWirelessClientSettingsResult") == "ERROR"


def test_each_reaches_the_device(vendor_device):
    """One action of each kind with the device's own programs behind it."""
    arguments = "<Method>PIN</Method><PIN>12345670</PIN><BSSID></BSSID>"
    assert value(vendor_device.post("StartWPS", arguments, namespace=EXTENDER_A), "StartWPSResult") == "OK"

    mac = "00:23:45:67:89:AB"
    filters = (
        "<Enabled>true</Enabled><IsAllowList>false</IsAllowList><MACList><MACInfo>"
        f"<MacAddress>{mac}</MacAddress><DeviceName>Phone</DeviceName></MACInfo></MACList>"
    )
    daemon = vendor_device.run("cat", "/var/run/wscd.pid.ra0")
    assert value(vendor_device.post("SetMACFilters2", filters), "SetMACFilters2Result") == "OK"
    assert wait_until(lambda: vendor_device.run("cat", "/var/run/wscd.pid.ra0") != daemon), "the WPS daemon starts anew"
    assert value(vendor_device.post("GetMACFilters2"), "MacAddress") == mac

    survey = vendor_device.post("GetWirelessNetworks2")
    assert set(re.findall("<Band>(.*)</Band>", survey.text)) == {"2.4GHz", "5GHz"}
    choice = network("Home Network", "correct horse") + "<Band>2.4GHz</Band>"
    reply = vendor_device.post("SetWirelessClientSettings2", choice)
    assert value(reply, "SetWirelessClientSettings2Result") == "REBOOT"
    # The reload at the connection's end commits it.
    assert wait_until(lambda: vendor_device.stored("HNAPConfiguredBand") == "2.4")


def test_debug_log(device, vendor_device):
    """This build writes it to the server's error log; the one that ships is silent."""
    for running, logged in ((device, False), (vendor_device, True)):
        running.post("IsDeviceReady")
        assert wait_until(lambda: LOGGED in running.console(), seconds=10 if logged else 0.5) == logged
