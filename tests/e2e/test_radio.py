"""The upstream network: seen, chosen, joined, watched; and the clients behind the extender."""

import pytest

from conftest import boot
from virtual_extender import network, raw_post, value, wait_until

LAST_RESULT = "GetLastSetWirelessClientSettingsResult"


def choose(device, ssid, key):
    return value(device.post("SetWirelessClientSettings", network(ssid, key)), "SetWirelessClientSettingsResult")


def outcome(device):
    return value(device.post(LAST_RESULT), "Result")


def connected(device):
    return value(device.post("GetWirelessClientSettings"), "Connected")


def test_choose_and_join_a_network(own_device):
    device = own_device
    survey = device.post("GetWirelessNetworks")
    assert value(survey, "GetWirelessNetworksResult") == "OK"
    assert "<SSID>Neighbours &amp; Sons</SSID>" in survey.text
    assert "Basement" not in survey.text and "Console" not in survey.text  # hidden, ad-hoc
    assert (outcome(device), connected(device)) == ("UNKNOWN", "false")

    previous = None
    for ssid, key, result, link in [
        ("Home Network", "correct horse", "SUCCESS", "true"),
        ("Home Network", "wrong horse", "AUTHENTICATION_FAILURE", "false"),
        ("Nowhere", "correct horse", "CONNECTION_FAILURE", "false"),
        ("Home Network 5G", "correct horse", "SUCCESS", "true"),
    ]:
        assert choose(device, ssid, key) == "REBOOT"
        assert outcome(device) != previous  # whoever asks at once is told nothing about the choice before
        assert wait_until(lambda: outcome(device) == result), (ssid, key, outcome(device))
        assert connected(device) == link
        previous = result
    assert device.reloads() == 4

    info = device.post("GetWirelessClientConnectionInfo")
    assert (value(info, "SSID"), value(info, "Frequency"), value(info, "Channel")) == ("Home Network 5G", "5", "44")
    assert value(info, "Mode") == "802.11n" and int(value(info, "LinkSpeedIn")) > 0
    assert 0 < int(value(info, "SignalStrength")) <= 100
    assert value(device.post("GetWirelessClientConnectionInfo2"), "Band") == "5GHz"
    assert "\nextension=ABOVE\n" in (device.state / "radio" / "link").read_text(), "the half that the module told the radio"
    assert device.stored("Channel") == "44"
    assert device.stored("LastSSID1") == "Nowhere"
    assert device.run("cat", "/tmp/SetWirelessClientSettings") == "2\n"


def test_reload_survives_a_client_that_vanishes(own_device):
    own_device.send_and_leave(raw_post("SetWirelessClientSettings", network("Coffee Guest")))
    assert wait_until(lambda: outcome(own_device) == "SUCCESS")
    assert own_device.reloads() == 1


def test_link_and_clients_follow_the_radio_files(device):
    radio = lambda verb, *words: device.command(["radio", verb], *words)
    clients = lambda: device.post("GetConnectedDevices").text
    radio("connect", "mac=02:AA:00:00:00:77", "ip=192.168.1.77", "name=tablet", "wireless=yes", "phy=OFDM", "rate=54")
    assert "<MacAddress>02:AA:00:00:00:77</MacAddress>\n<DeviceName>tablet</DeviceName>\n<PortName>WLAN 802.11g" in clients()
    radio("disconnect", "02:AA:00:00:00:77")
    assert "02:AA:00:00:00:77" not in clients()
    radio("connect", "mac=02:AA:00:00:00:78", "ip=192.168.1.78", "name=a-longer-name", "mdns=the printer")
    assert "<DeviceName>the printer\n</DeviceName>" in clients()
    radio("disconnect", "02:AA:00:00:00:78")
    radio("connect", "mac=02:AA:00:00:00:79", "ip=192.168.1.78", "name=laptop")
    assert "<DeviceName>laptop</DeviceName>" in clients(), "the address has another owner now"
    radio("disconnect", "02:AA:00:00:00:79")
    link = device.state / "radio" / "link"
    radio("link", "up")
    device.run("ifconfig", "apcli0", "down")
    assert wait_until(lambda: "state=0" in link.read_text())
    radio("link", "up", "ssid=By Hand", "channel=3", "bssid=02:00:00:00:00:09", "rate=65")
    info = device.post("GetWirelessClientConnectionInfo").text
    assert "<Mode>802.11n</Mode>\n<ChannelWidth>20</ChannelWidth>" in info
    link.write_text('ssid="state=0" state = "1" channel=3 # state=0\n')
    assert connected(device) == "true"
    raw = device.state / "radio" / "raw" / "iwconfig.apcli0"
    raw.write_bytes(b"ab\0cd")
    assert device.run("iwconfig", "apcli0") == "ab\0cd"
    raw.unlink()
    radio("add", "ssid=Boat House", "channel=13", "signal=7")
    assert "<SSID>Boat House</SSID>" in device.post("GetWirelessNetworks").text


@pytest.mark.parametrize("scenario, networks", [("crowded", 120), ("lonely", 0)])
def test_other_scenarios(tmp_path, scenario, networks):
    device = boot(tmp_path, "--scenario", scenario)
    try:
        survey = device.post("GetWirelessNetworks")
        assert value(survey, "GetWirelessNetworksResult") == "OK"
        assert survey.text.count("<SSID>") == networks
        assert survey.text.endswith("</soap:Envelope>\n")
    finally:
        device.stop()


def test_a_very_long_list_arrives_whole(own_device):
    """Twice as long as any fixed buffer of the device once was."""
    with open(own_device.state / "radio" / "neighbours", "a") as neighbours:
        for number in range(400):
            neighbours.write(f'ssid="{number:03} {"&" * 28}" channel=6\n')
    survey = own_device.post("GetWirelessNetworks")
    assert len(survey.content) > 2 * 76800
    assert [f"<SSID>{number:03} {'&amp;' * 28}</SSID>" in survey.text for number in range(400)] == [True] * 400
