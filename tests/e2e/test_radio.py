"""The upstream network: seen, chosen, joined, watched; and the clients behind the extender."""

from virtual_extender import network, raw_post, value, wait_until


def outcome(device):
    return value(device.post("GetLastSetWirelessClientSettingsResult"), "Result")


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
        assert device.result("SetWirelessClientSettings", network(ssid, key)) == "REBOOT"
        assert outcome(device) != previous  # whoever asks at once is told nothing about the choice before
        assert wait_until(lambda: outcome(device) == result), (ssid, key, outcome(device))
        assert connected(device) == link
        previous = result
    assert device.reloads() == 4

    info = device.post("GetWirelessClientConnectionInfo")
    shown = [value(info, name) for name in ("SSID", "Frequency", "Channel", "Mode")]
    assert shown == ["Home Network 5G", "5", "44", "802.11n"]
    assert int(value(info, "LinkSpeedIn")) > 0 and 0 < int(value(info, "SignalStrength")) <= 100
    assert value(device.post("GetWirelessClientConnectionInfo2"), "Band") == "5GHz"
    link = (device.state / "radio" / "link").read_text()
    assert "\nextension=ABOVE\n" in link, "the half that the module told the radio"
    assert (device.stored("Channel"), device.stored("LastSSID1")) == ("44", "Nowhere")
    assert device.run("cat", "/tmp/SetWirelessClientSettings") == "2\n"


def test_reload_survives_a_client_that_vanishes(own_device):
    own_device.send_and_leave(raw_post("SetWirelessClientSettings", network("Coffee Guest")))
    assert wait_until(lambda: outcome(own_device) == "SUCCESS")
    assert own_device.reloads() == 1


def test_link_and_clients_follow_the_radio_files(device):
    radio = lambda verb, *words: device.command("radio", verb, *words)
    tablet = "<MacAddress>02:AA:00:00:00:77</MacAddress>\n<DeviceName>tablet</DeviceName>\n<PortName>WLAN 802.11g"
    for mac, words, shown in [
        ("02:AA:00:00:00:77", "ip=192.168.1.77 name=tablet wireless=yes phy=OFDM rate=54", tablet),
        ("02:AA:00:00:00:78", "ip=192.168.1.78 name=a-longer-name mdns=printer", "<DeviceName>printer\n</DeviceName>"),
        # The address has another owner now.
        ("02:AA:00:00:00:79", "ip=192.168.1.78 name=laptop", "<DeviceName>laptop</DeviceName>"),
    ]:
        radio("connect", "mac=" + mac, *words.split())
        assert shown in device.post("GetConnectedDevices").text
        radio("disconnect", mac)
    assert "02:AA:00:00:00:7" not in device.post("GetConnectedDevices").text
    link = device.state / "radio" / "link"
    radio("link", "up")
    device.run("ifconfig", "apcli0", "down")
    assert wait_until(lambda: "state=0" in link.read_text())
    radio("add", "ssid=Boat House", "channel=13", "signal=7")
    assert "<SSID>Boat House</SSID>" in device.post("GetWirelessNetworks").text
