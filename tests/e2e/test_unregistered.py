"""The actions that are served only when the module is built with KD_HNAP_UNREGISTERED_ACTIONS."""

import os
import pathlib
import re

import pytest

from conftest import boot
from virtual_extender import EXTENDER_A, EXTENDER_B, REPOSITORY, value, wait_until

MODULE = pathlib.Path(os.environ.get("KD_VENDOR_DIR", REPOSITORY / "build" / "vendor")) / "lib" / "mod_kd_hnap.so"
ADDED = {
    "SetWirelessClientSettings2",
    "GetWirelessNetworks2",
    "StartWPS",
    "StopWPS",
    "GetWPSStatus",
    "GetMACFilters2",
    "SetMACFilters2",
    "GetNetworkStats",
}


@pytest.fixture(scope="module")
def vendor_device(tmp_path_factory):
    if not MODULE.exists():
        pytest.skip("no module with all actions: scripts/build vendor makes it")
    running = boot(tmp_path_factory.mktemp("vendor"), "--module", str(MODULE))
    yield running
    running.stop()


def listed(reply):
    return re.findall("<string>(.*/)([A-Za-z0-9]+)</string>", reply.text)


def test_shipped_module_serves_none_of_them(device):
    names = [name for _, name in listed(device.get())]
    assert len(names) == 18 and not ADDED & set(names)
    assert device.post("GetNetworkStats").status_code == 500
    # Its name begins like one that is served: it is that action, with an unknown element.
    refused = device.post("SetWirelessClientSettings2", "<Band>5GHz</Band>")
    assert value(refused, "SetWirelessClientSettingsResult") == "ERROR"


def test_vendor_module_appends_them(device, vendor_device):
    shipped, full = listed(device.get()), listed(vendor_device.get())
    assert [row for row in full if row[1] not in ADDED] == shipped
    assert len(full) == 26 and {name for _, name in full} - {name for _, name in shipped} == ADDED
    extender = {name for namespace, name in full if namespace == EXTENDER_A}
    assert extender == {"StartWPS", "StopWPS", "GetWPSStatus"}
    asked_in_b = listed(vendor_device.post("GetDeviceSettings", namespace=EXTENDER_B))
    assert {name for namespace, name in asked_in_b if namespace == EXTENDER_B} == extender


def test_wps(vendor_device):
    reply = vendor_device.post("GetWPSStatus", namespace=EXTENDER_A)
    assert (value(reply, "GetWPSStatusResult"), value(reply, "Status")) == ("OK", "IDLE")
    assert value(vendor_device.post("StopWPS", namespace=EXTENDER_A), "StopWPSResult") == "OK"
    for pin, result in [("12345670", "OK"), ("12345671", "ERROR")]:
        arguments = f"<Method>PIN</Method><PIN>{pin}</PIN><BSSID></BSSID>"
        reply = vendor_device.post("StartWPS", arguments, namespace=EXTENDER_A)
        assert value(reply, "StartWPSResult") == result


def test_mac_filters(vendor_device):
    mac = "00:23:45:67:89:AB"
    filters = (
        "<Enabled>true</Enabled><IsAllowList>false</IsAllowList><MACList><MACInfo>"
        f"<MacAddress>{mac}</MacAddress><DeviceName>Phone</DeviceName></MACInfo></MACList>"
    )
    daemon = vendor_device.run("cat", "/var/run/wscd.pid.ra0")
    assert value(vendor_device.post("SetMACFilters2", filters), "SetMACFilters2Result") == "OK"
    # The WPS daemon was started anew.
    assert wait_until(lambda: vendor_device.run("cat", "/var/run/wscd.pid.ra0") != daemon)
    reply = vendor_device.post("GetMACFilters2")
    assert (value(reply, "Enabled"), value(reply, "IsAllowList"), value(reply, "MacAddress")) == ("true", "false", mac)
    assert vendor_device.run("nvram_get", "2860", "AccessPolicy0").strip() == "2"


def test_band_aware_variants(vendor_device):
    survey = vendor_device.post("GetWirelessNetworks2")
    assert set(re.findall("<Band>(.*)</Band>", survey.text)) == {"2.4GHz", "5GHz"}
    choice = (
        "<SSID>Home Network</SSID><NetworkType>INFRASTRUCTURE</NetworkType><SecurityEnabled>true</SecurityEnabled>"
        "<SecurityType>WPA2-PSK</SecurityType><Encryption>AES</Encryption><Key>correct horse</Key><Band>2.4GHz</Band>"
    )
    reply = vendor_device.post("SetWirelessClientSettings2", choice)
    assert value(reply, "SetWirelessClientSettings2Result") == "REBOOT"
    # The reload at the connection's end commits it.
    assert wait_until(lambda: vendor_device.run("nvram_get", "2860", "HNAPConfiguredBand").strip() == "2.4")
