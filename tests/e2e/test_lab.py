"""The virtual extender as a lab: wrong input is named, faults and scenes come and go, the journal tells."""

import json
import os
import pathlib
import re
import socket
import subprocess
import threading
import time

import pytest
import requests

from conftest import boot
from virtual_extender import BUILD, EXTENDER, Device, value, wait_until

NETWORK = "Home Network"
NOBODY_JOINS = "nobody can join: a WPA key has 8 to 63"
NO_NETWORK = 'no network is named "Nowhere"'

# Words of a command, and a part of the complaint.
WRONG_WORDS = [
    ("radio add ssid=Name key=secret", NOBODY_JOINS),
    ("radio add ssid=Name key=" + "k" * 64, NOBODY_JOINS),
    ("radio add ssid=Name security=WEP key=123456", "5 or 13 characters"),
    ("radio add ssid=Name security=NONE key=12345678", "without security has no key"),
    ("radio add ssid=Name security=WPA4", "security must be one of NONE, WEP"),
    ("radio add ssid=Name rssi=abc", "rssi must be a number from -120 to 0"),
    ("radio add ssid=Name rssi=-50dBm", "rssi must be"),
    ("radio add ssid=Name signal=101", "0 to 100"),
    ("radio add ssid=Name channel=999", "channel must be"),
    ("radio add ssid=Name channel=37", "steps of 4"),
    ("radio add ssid=Name channel=", "channel must be"),
    ("radio add ssid=Name channel=44 mode=11b/g", "does not exist on channel 44"),
    ("radio add ssid=Name hidden=maybe", "yes or no"),
    ("radio add ssid=Name type=Infra", "one of In, Ad"),
    ("radio add ssid=Name chanel=9", 'no field is named "chanel"'),
    ("radio add ssid=" + "n" * 33, "1 to 32 bytes (here 33)"),
    ("radio add ssid=", "1 to 32 bytes"),
    ("radio add channel=6", "say ssid="),
    ("radio add ssid=Name bssid=02:00:00:00:00", "six pairs"),
    ("radio add ssid=Name bssid=02:00:00:00:00:0G", "six pairs"),
    ("radio add ssid=Name bssid=01:00:00:00:00:01", "one station"),
    ("radio add ssid=Name bssid=02:11:22:33:44:01", "is there already"),
    ("radio add ssid=Name ssid=Other", "ssid stands twice"),
    ("radio add Name", '"Name" is no field'),
    ("radio add", "field=value is missing"),
    ("radio remove Nowhere", NO_NETWORK),
    ("radio connect mac=02:AA:00:00:00:99 rate=54", "go with wireless=yes"),
    ("radio connect mac=02:AA:00:00:00:99 ip=1.2.3", "ip must be an address"),
    ("radio connect mac=02:AA:00:00:00:99 time=now", "time must be"),
    ("radio connect mac=02:AA:00:00:00:99 wireless=yes phy=11n", "CCK, OFDM, HTMIX"),
    ("radio connect name=x", "say mac="),
    ("radio disconnect 02:AA:00:00:00:99", "no client has the address"),
    ("radio disconnect 02:AA", "no client has the address"),
    ("radio link sideways", '"sideways" is no field'),
    ("radio link rssi=5", "rssi must be"),
    ("radio link state=up", "state must be"),
    ("radio list more", '"more" is no command or option here'),
    ("radio", "a command is missing"),
    ("radio ad", '"ad" is no command'),
    ("fault add lat ms=5", '"lat" is no fault; there are late, cut'),
    ("fault add late", "say ms="),
    ("fault add late ms=0", "1 to 600000"),
    ("fault add late ms=5 share=0", "1 to 100"),
    ("fault add late ms=5 at=in", 'no field is named "at"'),
    ("fault add cut", "say at="),
    ("fault add cut at=end", "one of request, before, in, after"),
    ("fault add cut at=before bytes=5", "goes with at=in"),
    ("fault add upstream-gone ssid=Nowhere", NO_NETWORK),
    ("fault add upstream-gone", "say ssid="),
    ("fault add radar ssid=Attic channel=15", "channel must be"),
    ("fault clear late", 'no fault "late" is on'),
    ("fault clear 1", 'no fault "1" is on'),
    ("run --port 65536", '"65536" is not a number from 0 to 65535'),
    ("run --port x", '"x" is not a number'),
    ("run --listen localhost", '"localhost" is no address'),
    ("run --scenario hom", 'no scenario is named "hom"; there are crowded'),
    ("run --scenario ./nowhere", "no directory"),
    ("run --scenario /usr", "is no scenario"),
    ("run --ready-fd 99", "no descriptor"),
    ("run --ready-delay soon", "is not a number"),
    ("run --number 0", "1 to 9999"),
    ("run --module", "--module needs a value"),
    ("run --fast", '"--fast" is no command or option here'),
    ("rn", '"rn" is no command'),
    ("run", "a device already runs on"),
    ("status --xml", '"--xml" is no command or option here'),
    ("fleet up", "count is missing"),
    ("fleet up many", '"many" is not a number'),
    ("fleet up 3 --spread home,nowhere", 'no scenario is named "nowhere"'),
    ("fleet up 3 --base-port 65534", "leaves no ports for 3 devices"),
    ("fleet up 3", "holds something else"),
    ("fleet status", "no fleet in"),
]

# A file of the scenario, its text, and where the complaint begins.
WRONG_FILES = [
    ("radio/neighbours", "ssid=A\nssid=B channel=x\n", "radio/neighbours, line 2: channel=x"),
    ("radio/neighbours", 'ssid="A\n', "radio/neighbours, line 1: the closing double quote"),
    ("radio/neighbours", "ssid=A\\n\n", "radio/neighbours, line 1: a backslash"),
    ("radio/clients", "mac=1\n", "radio/clients, line 1: mac=1"),
    ("radio/stations", "mac=02:00:00:00:00:01 bandwidth=80M\n", "radio/stations, line 1: bandwidth=80M"),
    ("radio/link", "state=0\nrate=fast\n", "radio/link, line 2: rate=fast"),
    ("radio/eeprom", "01D3 4\n", "radio/eeprom, line 1: offset and word"),
    ("radio/faults", "fault=late\n", "radio/faults, line 1: say ms="),
    ("radio/neighbors", "", "radio/neighbors: no file of the radio"),
    ("radio/raw/scan", "", "radio/raw/scan: replaces no tool's output"),
    ("settings", "# a\nready_dely=5\n", 'settings, line 2: no field is named "ready_dely"'),
    ("settings", "upgrade=maybe\n", "settings, line 1: upgrade=maybe"),
    ("store", "nvram 1\nLogin\nend\n", "store, line 2: a store file begins"),
    ("mtd", "dev:\nmtd0 ALL\n", "mtd, line 2: a partition"),
    ("stroe", "", "stroe: no part of a scenario"),
]


def is_alive(pid):
    """Whether it still does something; whoever should look after the dead may be late."""
    try:
        return pathlib.Path(f"/proc/{pid}/cmdline").read_bytes() != b""
    except OSError:
        return False


def contents(directory):
    return {path: path.read_bytes() for path in directory.rglob("*") if path.is_file()}


def extender(*words):
    return subprocess.run([EXTENDER, *map(str, words)], capture_output=True, text=True, timeout=30)


def test_wrong_words_are_named_and_change_nothing(device):
    assert wait_until(lambda: "wsc=" in (device.state / "radio" / "link").read_text()), "the radio's own first writing"
    before = contents(device.state / "radio") | contents(device.state / "flash")
    for words, complaint in WRONG_WORDS:
        done = extender("--state", device.state, *words.split(" "))
        assert done.returncode in (1, 2) and complaint in done.stderr, (words, done)
        assert done.stderr.startswith("extender: ") and done.stdout == "", (words, done)
    assert contents(device.state / "radio") | contents(device.state / "flash") == before


def test_wrong_files_are_named_and_change_nothing(tmp_path):
    for number, (name, text, complaint) in enumerate(WRONG_FILES):
        scenario = tmp_path / str(number)
        file = scenario / name
        file.parent.mkdir(parents=True)
        file.write_text(text)
        (scenario / "boardid").write_text("027215")
        state = tmp_path / "state"
        done = extender("run", "--port", "0", "--state", state, "--scenario", scenario)
        assert done.returncode == 2 and f"{scenario}/{complaint}" in done.stderr, (name, done)
        assert not state.exists()


def test_an_edited_line_is_reported_and_the_rest_counts(own_device):
    device = own_device
    with open(device.state / "radio" / "neighbours", "a") as neighbours:
        neighbours.write("ssid=Broken channel=0\nssid=Whole channel=3\n")
    assert wait_until(lambda: "radio/neighbours, line" in device.console())
    assert "channel=0: channel must be" in device.console() and "(the line is ignored)" in device.console()
    listed = device.post("GetWirelessNetworks").text
    assert "<SSID>Whole</SSID>" in listed and "Broken" not in listed
    device.stop()
    done = extender("run", "--state", device.state, "--port", "0")
    assert done.returncode == 2 and "radio/neighbours, line" in done.stderr, "a start wants it mended"


def test_another_scenario_keeps_the_users_files(tmp_path):
    device = boot(tmp_path)
    assert wait_until(lambda: "wsc=" in (device.state / "radio" / "link").read_text())
    device.stop()
    before = contents(tmp_path / "radio")
    device = boot(tmp_path, "--scenario", "lonely")
    assert json.loads(device.command("status", "--json"))["scenario"] == "lonely"
    device.stop()
    assert contents(tmp_path / "radio") == before
    boot(tmp_path, "--scenario", "lonely", "--fresh").stop()
    assert "ssid" not in re.sub("#.*", "", (tmp_path / "radio" / "neighbours").read_text())


def test_reachable_on_several_addresses(tmp_path):
    read, write = os.pipe()
    words = ["run", "--module", BUILD / "lib" / "mod_kd_hnap.so", "--port", 0, "--listen", "127.0.0.1", "--listen", "::1",
             "--listen", "0.0.0.0", "--ready-fd", write, "--state", tmp_path]
    words.remove("127.0.0.1"), words.remove("--listen")  # the wildcard holds it
    process = subprocess.Popen([EXTENDER, *map(str, words)], pass_fds=[write], stdout=subprocess.PIPE, text=True)
    os.close(write)
    ready = open(read).read()
    if not ready:
        pytest.skip("no sandbox here")
    status = json.loads(extender("status", "--json", "--state", tmp_path).stdout)
    assert status["running"] and ready == status["url"] + "\n" and len(status["urls"]) == 2
    for url in status["urls"]:
        assert "<DeviceName>" in requests.get(url + "/HNAP1/", timeout=10).text
    assert extender("stop", "--state", tmp_path).returncode == 0
    assert "Warning: port" in process.communicate()[0]
    status = json.loads(extender("status", "--json", "--state", tmp_path).stdout)
    assert status == {"running": False, "state": str(tmp_path)}


class Faults:
    def __init__(self, device):
        self.device = device

    def add(self, *words):
        self.device.command("fault", "add", *words)
        kind = words[0]
        assert wait_until(lambda: f"fault={kind}" in self.journal_end()), "the launcher takes the fault up"

    def clear(self):
        self.device.command("fault", "clear")
        assert wait_until(lambda: '"fault off"' in self.journal_end())

    def journal_end(self):
        lines = [json.loads(line) for line in (self.device.state / "journal").read_text().splitlines()]
        return json.dumps([line for line in lines if line["type"] == "device"][-1:])


def outcome(device, action="IsDeviceReady"):
    """How a request ends: "OK", "cut" with a part of the reply, "reset", or "empty"."""
    body = f'<Envelope><Body><{action} xmlns="http://purenetworks.com/HNAP1/"/></Body></Envelope>'
    head = (f"POST /HNAP1/ HTTP/1.1\r\nHost: x\r\nAuthorization: Basic YWRtaW46YWRtaW4=\r\nContent-Length: {len(body)}\r\n"
            f'SOAPAction: "http://purenetworks.com/HNAP1/{action}"\r\n\r\n')
    got = b""
    with socket.create_connection(("127.0.0.1", device.port), timeout=10) as connection:
        connection.sendall((head + body).encode())
        try:
            while piece := connection.recv(65536):
                got += piece
        except ConnectionResetError:
            return "reset" if not got else "whole, reset" if b"</soap:Envelope>" in got else f"cut at {len(got)}"
    return "OK" if b"</soap:Envelope>" in got else "empty" if not got else "?"


def test_faults_of_the_connection(device):
    faults = Faults(device)
    for words, expected in [
        (["cut", "at=request"], "reset"),
        (["cut", "at=before"], "reset"),
        (["cut", "at=in", "bytes=40"], "cut at 40"),
        (["cut", "at=after"], "whole, reset"),
        (["empty"], "empty"),
        (["empty", "action=Reboot"], "OK"),
    ]:
        faults.add(*words)
        # The end of a whole reply can overtake the reset behind it.
        assert wait_until(lambda: outcome(device) == expected), words
        faults.clear()
        assert outcome(device) == "OK"
    faults.add("late", "ms=300", "action=IsDeviceReady")
    started = time.monotonic()
    replies = []
    threads = [threading.Thread(target=lambda: replies.append(outcome(device))) for _ in range(8)]
    [thread.start() for thread in threads]
    [thread.join() for thread in threads]
    assert replies == ["OK"] * 8 and 0.3 <= time.monotonic() - started < 2, "late replies do not wait for each other"
    upload = device.post("DownloadSpeedTest", "<Bytes>2000000</Bytes><BufferSize>1024</BufferSize>")
    assert len(value(upload, "ByteStream")) == 2_000_000
    faults.clear()


def test_a_share_of_requests_is_the_same_each_time(device):
    faults = Faults(device)
    runs = []
    for seed in (5, 5, 6):
        faults.add("empty", "share=40", f"seed={seed}")
        runs.append([outcome(device) for _ in range(25)])
        faults.clear()
    assert runs[0] == runs[1] != runs[2]
    assert 4 <= runs[0].count("empty") <= 16
    device.command("fault", "add", "empty", "for=200")
    assert wait_until(lambda: '"fault off"' in faults.journal_end()), "it ends by itself"
    assert outcome(device) == "OK" and device.command("fault", "list") == "no fault is on\n"


@pytest.fixture
def quick_radio(tmp_path):
    """A device that has joined its network, and joins others at once."""
    scenario = tmp_path / "quick"
    scenario.mkdir()
    (scenario / "settings").write_text("association_delay=20\n")
    device = boot(tmp_path / "state", "--scenario", str(scenario))
    for key, text in [("ApCliEnable", "1"), ("ApCliSsid", NETWORK), ("ApCliAuthMode", "WPA2PSK"),
                      ("ApCliEncrypType", "AES"), ("ApCliWPAPSK", "correct horse")]:
        device.run("nvram_set", "2860", key, text)
    device.run("sh", "-c", "ifconfig apcli0 down; ralink_init make_wireless_config rt2860; ifconfig apcli0 up")
    assert wait_until(lambda: link(device)["state"] == "1")
    yield device
    device.stop()


def link(device):
    text = re.sub("#.*", "", (device.state / "radio" / "link").read_text())
    return dict(line.split("=", 1) for line in text.split("\n") if "=" in line)


def test_scenes_of_the_surroundings(quick_radio):
    device = quick_radio
    faults = Faults(device)
    listed = lambda: device.post("GetWirelessNetworks").text
    is_up = lambda: link(device)["state"] == "1"
    for words, seen in [
        (["upstream-gone", f"ssid={NETWORK}"], lambda: not is_up()),
        (["new-key", f"ssid={NETWORK}", "key=battery staple"], lambda: not is_up()),
        (["wpa3-only", f"ssid={NETWORK}"], lambda: not is_up()),
        (["radar", f"ssid={NETWORK}", "channel=11"], lambda: is_up() and link(device)["channel"] == "11"),
        (["wpa3-mixed", f"ssid={NETWORK}"], is_up),
    ]:
        faults.add(*words)
        assert wait_until(seen), words
        faults.clear()
        assert wait_until(lambda: is_up() and link(device)["channel"] == "6"), ("it comes back", words)
    faults.add("wpa3-only", f"ssid={NETWORK}")
    assert f"<SSID>{NETWORK}</SSID>" not in listed()
    assert f"{NETWORK}  (not listed: the device's radio knows no WPA3)" in device.command("radio", "list")
    faults.clear()
    faults.add("twin", f"ssid={NETWORK}", "channel=11", "signal=99")
    assert device.command("radio", "list").count(f"  {NETWORK}\n") == 2
    assert wait_until(lambda: link(device)["channel"] == "11"), "the stronger one of two"
    faults.clear()
    assert wait_until(lambda: is_up() and link(device)["channel"] == "6")
    faults.add("weak-signal", "rssi=-88")
    info = device.post("GetWirelessClientConnectionInfo")
    assert int(value(info, "SignalStrength")) < 10 and value(info, "LinkSpeedIn") == "6000"
    faults.clear()
    device.command("radio", "remove", NETWORK)
    assert wait_until(lambda: not is_up())


def test_slow_boot(own_device):
    Faults(own_device).add("slow-boot", "ms=700")
    assert value(own_device.post("Reboot"), "RebootResult") == "REBOOT"
    down = time.monotonic()
    assert wait_until(lambda: own_device.boots() == 2)
    assert time.monotonic() - down > 0.7


def test_the_journal_tells_requests_and_effects(own_device):
    device = own_device
    follow = subprocess.Popen([EXTENDER, "log", "--state", device.state, "-f"], stdout=subprocess.PIPE, text=True)
    arguments = "<DeviceName>A &amp; B</DeviceName><AdminPassword>hidden secret</AdminPassword>"
    assert value(device.post("SetDeviceSettings", arguments), "SetDeviceSettingsResult") == "OK"
    device.login = ("admin", "hidden secret")
    followed = ""
    while "SetDeviceSettings(" not in followed:
        followed = follow.stdout.readline()
    follow.terminate()
    follow.communicate()
    assert "(DeviceName=A & B, AdminPassword=***)  200 OK" in followed
    device.post_raw(b"x" * 300_000, "http://purenetworks.com/HNAP1/Reboot", timeout=10)
    assert value(device.post("Reboot"), "RebootResult") == "REBOOT"
    assert wait_until(lambda: (device.state / "journal").read_text().count('"event":"up"') == 2)
    text = (device.state / "journal").read_text()
    assert "hidden secret" not in text
    lines = [json.loads(line) for line in text.splitlines()]
    requests_seen = {line["action"]: line for line in lines if line["type"] == "request"}
    settings = requests_seen["SetDeviceSettings"]
    assert settings["arguments"] == {"DeviceName": "A & B", "AdminPassword": "***"}
    assert (settings["status"], settings["result"], settings["method"]) == (200, "OK", "POST")
    assert settings["client"].startswith("127.0.0.1:") and 0 < settings["milliseconds"] < 5000
    assert {"stored": {"HostName": "A & B", "Password": "***"}} in settings["effects"]
    assert {"written": "/etc/lighttpd.user"} in settings["effects"]
    reboot = requests_seen["Reboot"]
    assert {"signal": "SIGTERM", "process": 1} in reboot["effects"]
    later = [effect for line in lines if line.get("request") == reboot["id"] for effect in line["effects"]]
    assert later in ([], [{"command": "rm -f /tmp/postponeSiteSurvey"}])  # none where the restart came first
    assert [line["event"] for line in lines if line["type"] == "device"] == ["server start", "up", "restart", "server start", "up"]


def test_a_fleet_comes_and_goes(tmp_path):
    boot(tmp_path / "probe").stop()  # skips where there is no sandbox
    fleet = tmp_path / "fleet"
    for round in range(2):
        up = extender("fleet", "--state", fleet, "up", 6, "--spread", "home,lonely", "--module", BUILD / "lib" / "mod_kd_hnap.so")
        assert up.returncode == 0, up
        devices = json.loads(extender("fleet", "status", "--json", "--state", fleet).stdout)
        replies = [requests.get(d["url"] + "/HNAP1/", timeout=10).text for d in devices]
        assert [re.search("<DeviceName>(.*)</", r).group(1) for r in replies] == [f"Extender-{n:03}" for n in range(1, 7)]
        status = [json.loads(extender("status", "--json", "--state", d["state"]).stdout) for d in devices]
        assert [s["scenario"] for s in status] == ["home", "lonely"] * 3
        inside = extender("exec", "--state", devices[4]["state"], "--", "iwconfig", "ra0").stdout
        assert "Access Point: 02:4B:44:00:00:05" in inside
        if round:
            os.kill(status[1]["launcher"], 9)
            assert wait_until(lambda: "002  crashed" in extender("fleet", "status", "--state", fleet).stdout)
            assert extender("fleet", "status", "--state", fleet).returncode == 1
        assert extender("fleet", "down", "--state", fleet).returncode == 0
        assert not fleet.exists()
        for s in status:
            assert not is_alive(s["launcher"])
            with pytest.raises(requests.ConnectionError):
                requests.get(s["url"], timeout=5)
