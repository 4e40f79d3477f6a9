"""Values from clients, scan results and host-name files never reach a shell or a path unguarded."""

import html

from virtual_extender import EXTENDER_A, network, settings, settings2, value, wait_until

# Each would leave a file "owned" behind if a shell, or a path, took it for its own.
HOSTILE = [
    "$(>/tmp/owned)",
    "`>/tmp/owned`",
    ";>/tmp/owned;",
    "|tee /tmp/owned",
    "'>/tmp/owned'",
    '">/tmp/owned"',
    "\n>/tmp/owned\n",
    "%s%n%999999d",
    "../../tmp/owned",
]


def nothing_was_run(device):
    return not device.run("sh", "-c", "find / -xdev -name 'owned*' 2> /dev/null")


def test_hostile_settings(own_device):
    device = own_device
    for text in HOSTILE:
        assert device.result("SetDeviceSettings", settings(text, text)) == "OK"
        device.login = ("admin", text)
        assert device.stored("HostName") == text == value(device.get(), "DeviceName")
        assert device.run("cat", "/etc/lighttpd.user") == "admin:" + text
        assert device.result("SetDeviceSettings2", settings2(text)) == "ERROR"
        assert nothing_was_run(device), text


def test_hostile_networks(own_device):
    """Names, keys and scan results go through the whole reload of the wireless side."""
    quoted = lambda text: "".join(c if c.isalnum() else f"\\x{ord(c):02x}" for c in text)
    networks = [f'ssid="{quoted(text)}" key="{quoted(text)}12345678" channel=6 signal=80\n' for text in HOSTILE]
    (own_device.state / "radio" / "neighbours").write_text("".join(networks))
    listed = own_device.post("GetWirelessNetworks", namespace=EXTENDER_A).text
    for text in HOSTILE:
        assert html.escape(text, quote=False).replace('"', "&quot;").split("\n")[0] in listed.replace("&apos;", "'")
    for number, text in enumerate(HOSTILE[::2], 1):  # seconds each
        arguments = network(text, text + "12345678")
        assert own_device.result("SetWirelessClientSettings", arguments, EXTENDER_A) == "REBOOT"
        assert wait_until(lambda: own_device.reloads() == number)
        own_device.post("GetWirelessClientConnectionInfo", namespace=EXTENDER_A)
        assert own_device.stored("ApCliSsid") == text
        assert nothing_was_run(own_device), text


def test_hostile_clients(own_device):
    """A client's name and address: neither leaves the two prefixes, and no name reaches a shell."""
    own_device.run("sh", "-c", "echo secret > /tmp/secret; mkdir /tmp/hostname_netbios_x /tmp/hostname_mdns_x")
    addresses = ["x/../secret", "/tmp/secret", "../secret", "..", ".", "", "$(>/tmp/owned)", "`>/tmp/owned`"]
    lines = [f"1\t02:00:00:00:00:0{i}\t{a}\tClient\t1\tLAN\ttrue\n" for i, a in enumerate(addresses)]
    for i, text in enumerate(HOSTILE):
        lines.append(f"1\t02:00:00:00:01:0{i}\t10.0.0.{i}\tClient\t1\tWireless\ttrue\n")
        own_device.run("sh", "-c", 'printf "%s" "$1" > "$2"', "sh", text * 20, f"/tmp/hostname_netbios_10.0.0.{i}")
    (own_device.state / "radio" / "raw" / "client_list").write_text("".join(lines))
    reply = own_device.post("GetConnectedDevices", namespace=EXTENDER_A).text
    assert reply.count("<ConnectedClient>") == len(lines) and "secret" not in reply
    assert reply.count("<DeviceName>Client</DeviceName>") == len(addresses)
    assert nothing_was_run(own_device)
    own_device.run("sh", "-c", ">/tmp/owned")
    assert not nothing_was_run(own_device)
