"""What a build may add: KD_HNAP_UNREGISTERED_ACTIONS and KD_HNAP_DEBUG_LOG."""

import re

import pytest

from virtual_extender import EXTENDER_A, VENDOR, Device, value, wait_until

LOGGED = "request action from hnap client:IsDeviceReady"
WPS = {"StartWPS", "StopWPS", "GetWPSStatus"}
WITH_2 = {"SetWirelessClientSettings2", "GetWirelessNetworks2", "GetMACFilters2", "SetMACFilters2"}
ADDED = WITH_2 | WPS | {"GetNetworkStats"}


@pytest.fixture(scope="module")
def vendor_device(tmp_path_factory):
    if not VENDOR.exists():
        pytest.skip("no module with all actions: scripts/build vendor makes it")
    with Device(tmp_path_factory.mktemp("vendor"), module=VENDOR) as running:
        yield running


def listed(reply):
    return re.findall("<string>(.*/)([A-Za-z0-9]+)</string>", reply.text)


def test_actions_listed_and_served(device, vendor_device):
    shipped, full = listed(device.get()), listed(vendor_device.get())
    assert len(shipped) == 18 and [row for row in full if row[1] not in ADDED] == shipped
    assert {name for _, name in full} - {name for _, name in shipped} == ADDED
    assert {name for namespace, name in full if namespace == EXTENDER_A} == WPS
    assert device.post("GetNetworkStats").status_code == 500
    # Its name begins like one that is served: it is that action, with an unknown element.
    refused = device.post("SetWirelessClientSettings2", "<Band>5GHz</Band>")
    assert value(refused, "SetWirelessClientSettingsResult") == "ERROR"


def test_debug_log(device, vendor_device):
    """This build writes it to the server's error log; the one that ships is silent."""
    for running in (device, vendor_device):
        running.post("IsDeviceReady")
    assert wait_until(lambda: LOGGED in vendor_device.console())
    assert LOGGED not in device.console()
