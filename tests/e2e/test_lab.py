"""The virtual extender as a lab: wrong input is named, faults and scenes come and go, the journal tells."""

import concurrent.futures
import json
import os
import re
import subprocess
import time

import psutil
import pytest
import requests

from virtual_extender import EXTENDER, HNAP1, MODULE, SERVER, Device, network, raw_post, settings, value, wait_until

NETWORK = "Home Network"
MAC = "02:AA:00:00:00:99"
NO_NETWORK = 'no network is named "Nowhere"'

# Words of a command, and a part of the complaint. What the fields may hold is the unit tests' business.
WRONG_WORDS = [
    ("radio add ssid=Name key=secret", "nobody can join: a WPA key has 8 to 63"),
    ("radio add ssid=Name chanel=9", 'no field is named "chanel"'),
    ("radio add ssid=Name bssid=02:11:22:33:44:01", "is there already"),
    ("radio add Name", '"Name" is no field'),
    ("radio add", "field is missing.\nTry: extender radio add --help"),
    ("radio remove Nowhere", NO_NETWORK),
    (f"radio connect mac={MAC} rate=54", "go with wireless=yes"),
    (f"radio connect mac={MAC} time=2014-02-30T00:00:00", "time must be"),
    (f"radio disconnect {MAC}", "no client has the address"),
    ("radio link sideways", '"sideways" is no field'),
    ("radio link up down", "state stands twice"),
    ("radio", "a command is missing"),
    ("fault add lat ms=5", '"lat" is no fault; there are late, cut'),
    ("fault add late ms=5 action=IsDevicReady", "action must be one of GetDeviceSettings"),
    ("fault add cut at=before bytes=5", "goes with at=in"),
    ("fault add upstream-gone ssid=Nowhere", NO_NETWORK),
    ("fault add new-key ssid=Attic key=short", 'nobody can join "Attic" with that key: a WPA key has'),
    ("fault add twin ssid=Attic bssid=02:11:22:33:44:01", "has the address 02:11:22:33:44:01 already"),
    ("fault clear late", 'no fault "late" is on'),
    ("run --port 65536", '"65536" is not a number from 0 to 65535'),
    ("run --port 1 --port 2", "--port stands twice"),
    ("run --listen localhost", '"localhost" is no address'),
    ("run --listen 0.0.0.0 --listen 127.0.0.1", "--listen 0.0.0.0 has 127.0.0.1 in it"),
    ("run --scenario hom", 'no scenario is named "hom"; there are crowded'),
    ("run --scenario ./nowhere", "no directory"),
    ("run --scenario /usr", "is no scenario"),
    ("run --preload /etc/passwd", "/etc/passwd is no library"),
    ("run", "a device already runs on"),
    ("fleet up", "count is missing"),
    ("fleet up 3 --spread home,nowhere", 'no scenario is named "nowhere"'),
    ("fleet up 3 --spread home,,lonely", "no name in front of a comma"),
    ("fleet up 3 --base-port 65534", "leaves no ports for 3 devices"),
    ("fleet up 3", "holds something else"),
    ("fleet status", "no fleet in"),
]

# A file of the scenario, its text (none: a folder), and where the complaint begins.
WRONG_FILES = [
    ("radio/neighbours", "ssid=A\nssid=B channel=x\n", "radio/neighbours, line 2: channel=x"),
    ("radio/link", "state=0\nrate=fast\n", "radio/link, line 2: rate=fast"),
    ("radio/faults", "fault=radar ssid=No channel=1\n", "radio/faults: fault=radar ssid=No channel=1: no network"),
    ("radio/neighbors", "", "radio/neighbors: no file of the radio"),
    ("radio/raw/scan", "", "radio/raw/scan: replaces no tool's output"),
    ("settings", "# a\nready_dely=5\n", 'settings, line 2: no field is named "ready_dely"'),
    ("settings", None, "settings: a directory; a file belongs here"),
    ("store", "nvram 1\nLogin\nend\n", "store, line 2: a store file begins"),
    ("mtd", "dev:\nmtd0 ALL\n", "mtd, line 2: a partition"),
    ("stroe", "", "stroe: no part of a scenario"),
]


def contents(*directories):
    return {path: path.read_bytes() for each in directories for path in each.rglob("*") if path.is_file()}


def extender(*words):
    # The build with the sanitizers has no module of its own.
    words += ("--module", MODULE) if "run" in words else ()
    return subprocess.run([EXTENDER, *map(str, words)], capture_output=True, text=True, timeout=60)


def link(device):
    text = re.sub("#.*", "", (device.state / "radio" / "link").read_text())
    return dict(line.split("=", 1) for line in text.split("\n") if "=" in line)


def test_wrong_words_are_named_and_change_nothing(device):
    assert wait_until(lambda: "wsc" in link(device)), "the radio's own first writing"
    folders = device.state / "radio", device.state / "flash"
    before = contents(*folders)
    for words, complaint in WRONG_WORDS:
        done = extender("--state", device.state, *words.split(" "))
        assert done.returncode in (1, 2) and complaint in done.stderr, (words, done)
        assert done.stderr.startswith("extender: ") and done.stdout == "", (words, done)
    assert contents(*folders) == before


def test_wrong_files_are_named_and_change_nothing(tmp_path):
    for number, (name, text, complaint) in enumerate(WRONG_FILES):
        file = tmp_path / str(number) / name
        (file.parent if text is not None else file).mkdir(parents=True)
        (tmp_path / str(number) / "boardid").write_text("027215")
        if text is not None:
            file.write_text(text)
        state = tmp_path / "state"
        done = extender("run", "--port", 0, "--state", state, "--scenario", tmp_path / str(number))
        assert done.returncode == 2 and f"{tmp_path}/{number}/{complaint}" in done.stderr, (name, done)
        assert not state.exists()


def test_an_edited_line_is_reported_and_the_rest_counts(own_device):
    device = own_device
    (device.state / "radio" / "raw" / "scan").write_text("")
    with open(device.state / "radio" / "neighbours", "a") as neighbours:
        neighbours.write("ssid=Broken channel=0\nssid=Whole channel=3\n")
    for said in "radio/raw/scan: replaces no tool's output", "channel=0: channel must be", "(the line is ignored)":
        assert wait_until(lambda: said in device.console()), said
    listed = device.post("GetWirelessNetworks").text
    assert "<SSID>Whole</SSID>" in listed and "Broken" not in listed
    device.stop()
    done = extender("run", "--state", device.state, "--port", 0)
    assert done.returncode == 2 and "radio/neighbours, line" in done.stderr, "a start wants it mended"


def test_another_scenario_keeps_the_users_files(tmp_path):
    with Device(tmp_path) as device:
        assert wait_until(lambda: "wsc" in link(device))
    before = contents(tmp_path / "radio")
    with Device(tmp_path, "--scenario", "lonely") as device:
        assert json.loads(device.command("status", "--json"))["scenario"] == "lonely"
    assert contents(tmp_path / "radio") == before
    Device(tmp_path, "--scenario", "lonely", "--fresh").stop()
    assert "ssid" not in re.sub("#.*", "", (tmp_path / "radio" / "neighbours").read_text())


def test_reachable_on_several_addresses(tmp_path):
    with Device(tmp_path, "--listen", "::1", "--listen", "0.0.0.0") as device:
        status = json.loads(device.command("status", "--json"))
        assert status["running"] and device.url == status["url"] and len(status["urls"]) == 2
        for url in status["urls"]:
            assert "<DeviceName>" in requests.get(url + "/HNAP1/", timeout=10).text
        device.command("stop")
        assert device.process.wait(timeout=20) == 0 and "Warning: port" in device.output()
        status = device.command("status", "--json", check=False)
        assert json.loads(status) == {"running": False, "state": str(tmp_path)}


def outcome(device, action="IsDeviceReady"):
    """How a request ends: "OK", "cut at N", "reset", "whole, reset" or "empty"."""
    got = b""
    with device.connect() as connection:
        connection.sendall(raw_post(action))
        try:
            while piece := connection.recv(65536):
                got += piece
        except ConnectionResetError:
            return "reset" if not got else "whole, reset" if b"</soap:Envelope>" in got else f"cut at {len(got)}"
    return "OK" if b"</soap:Envelope>" in got else "empty" if not got else "?"


def test_faults_of_the_connection(device):
    for expected, *words in [
        ("reset", "cut", "at=request"),
        ("reset", "cut", "at=before"),
        ("cut at 40", "cut", "at=in", "bytes=40"),
        ("whole, reset", "cut", "at=after"),
        ("empty", "empty"),
        ("OK", "empty", "action=Reboot"),
    ]:
        with device.fault(*words):
            # The end of a whole reply can overtake the reset behind it.
            assert outcome(device) == expected or wait_until(lambda: outcome(device) == expected, 5), words
        assert outcome(device) == "OK", words
    with device.fault("late", "ms=300", "action=IsDeviceReady"), concurrent.futures.ThreadPoolExecutor(8) as pool:
        started = time.monotonic()
        assert list(pool.map(outcome, [device] * 8)) == ["OK"] * 8
        assert 0.3 <= time.monotonic() - started < 2, "late replies do not wait for each other"
        large = device.post("DownloadSpeedTest", {"Bytes": 2_000_000, "BufferSize": 1024})
        assert len(value(large, "ByteStream")) == 2_000_000
    told = [line["faults"] for line in device.journal() if line.get("action") == "IsDeviceReady" and "faults" in line]
    assert told[-8:] == ["fault=late ms=300 action=IsDeviceReady"] * 8


def test_a_share_of_requests_is_the_same_each_time(device):
    runs = []
    for seed in (5, 5, 6):
        with device.fault("empty", "share=40", f"seed={seed}"):
            runs.append([outcome(device) for _ in range(25)])
    assert runs[0] == runs[1] != runs[2]
    assert 4 <= runs[0].count("empty") <= 16
    device.command("fault", "add", "empty", "for=200")
    assert outcome(device) == "empty" and wait_until(lambda: outcome(device) == "OK"), "it ends by itself"
    assert device.command("fault", "list") == "no fault is on\n"


def test_scenes_of_the_surroundings(tmp_path, start):
    scenario = tmp_path / "quick"
    scenario.mkdir()
    (scenario / "settings").write_text("association_delay=20\n")
    device = start("--scenario", scenario)
    device.post("SetWirelessClientSettings", network(NETWORK, "correct horse"))
    is_up = lambda channel="6": link(device)["state"] == "1" and link(device)["channel"] == channel
    is_down = lambda: link(device)["state"] == "0"
    assert wait_until(is_up)
    for seen, kind, *fields in [
        (is_down, "upstream-gone"),
        (is_down, "new-key", "key=battery staple"),
        (is_down, "wpa3-only"),
        (lambda: is_up("11"), "radar", "channel=11"),
        (is_up, "twin", "channel=11", "signal=99"),  # the device stays with the address that was chosen
        (is_up, "wpa3-mixed"),
    ]:
        with device.fault(kind, f"ssid={NETWORK}", *fields):
            assert wait_until(seen), kind
            listed = device.command("radio", "list")
            wpa3 = "wpa3" in kind
            times = {"upstream-gone": 0, "twin": 2}.get(kind, int(not wpa3))
            assert listed.count(f"  {NETWORK}\n") == times
            assert (f"{NETWORK}  (not listed: the device's radio knows no WPA3)" in listed) == wpa3
            assert device.post("GetWirelessNetworks").text.count(f"<SSID>{NETWORK}</SSID>") == times
        assert wait_until(is_up), ("it comes back", kind)
    with device.fault("weak-signal", "rssi=-88"):
        info = device.post("GetWirelessClientConnectionInfo")
        assert int(value(info, "SignalStrength")) < 10 and value(info, "LinkSpeedIn") == "6000"
    device.command("radio", "remove", NETWORK)
    assert wait_until(is_down)


def test_slow_boot(own_device):
    with own_device.fault("slow-boot", "ms=700"):
        assert own_device.result("Reboot") == "REBOOT"
        down = time.monotonic()
        assert wait_until(lambda: own_device.boots() == 2) and time.monotonic() - down > 0.7


def test_the_journal_tells_requests_and_effects(own_device):
    device = own_device
    follow = subprocess.Popen([EXTENDER, "log", "--state", device.state, "-f"], stdout=subprocess.PIPE, text=True)
    assert device.result("SetDeviceSettings", settings("A & B", "hidden secret")) == "OK"
    device.login = ("admin", "hidden secret")
    said = next(line for line in follow.stdout if "SetDevice" in line)
    assert "(DeviceName=A & B, AdminPassword=***)  200 OK" in said
    follow.terminate()
    follow.communicate()
    device.post_raw(b"x" * 300_000, HNAP1 + "Reboot", timeout=10)
    assert device.result("Reboot") == "REBOOT"
    assert wait_until(lambda: [line.get("event") for line in device.journal()].count("up") == 2)
    lines = device.journal()
    assert "hidden secret" not in json.dumps(lines)
    seen = {line["action"]: line for line in lines if line["type"] == "request"}
    changed, reboot = seen["SetDeviceSettings"], seen["Reboot"]
    assert changed["arguments"] == {"DeviceName": "A & B", "AdminPassword": "***"}
    assert (changed["status"], changed["result"], changed["method"]) == (200, "OK", "POST")
    assert changed["client"].startswith("127.0.0.1:") and 0 < changed["milliseconds"] < 5000
    assert {"stored": {"HostName": "A & B", "Password": "***"}} in changed["effects"]
    assert {"written": "/etc/lighttpd.user"} in changed["effects"]
    assert {"signal": "SIGTERM", "process": 1} in reboot["effects"]
    later = [effect for line in lines if line.get("request") == reboot["id"] for effect in line["effects"]]
    assert later in ([], [{"command": "rm -f /tmp/postponeSiteSurvey"}])  # none where the restart came first
    events = [line["event"] for line in lines if line["type"] == "device"]
    assert events == ["server start", "up", "restart", "server start", "up"]


@pytest.mark.skipif(SERVER is not None, reason="it starts the installed server")
def test_a_fleet_comes_and_goes(tmp_path):
    Device(tmp_path / "probe").stop()  # skips where there is no sandbox
    fleet = tmp_path / "fleet"
    for round in range(2):
        up = extender("fleet", "--state", fleet, "up", 6, "--spread", "home,lonely", "--module", MODULE)
        assert up.returncode == 0, up
        devices = json.loads(extender("fleet", "status", "--json", "--state", fleet).stdout)
        replies = [requests.get(d["url"] + "/HNAP1/", timeout=10) for d in devices]
        assert [value(reply, "DeviceName") for reply in replies] == [f"Extender-{n:03}" for n in range(1, 7)]
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
        assert not [left for left in psutil.process_iter() if str(fleet) in str(left.cmdline())]
        for s in status:
            with pytest.raises(requests.ConnectionError):
                requests.get(s["url"], timeout=5)
