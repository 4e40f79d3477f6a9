"""hnap, the client: against the virtual extender, and against servers that answer badly."""

import fcntl
import json
import os
import pty
import re
import socket
import stat
import struct
import subprocess
import termios
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import pytest

from conftest import boot
from virtual_extender import BUILD

HNAP = BUILD / "bin" / "hnap"
ENVELOPE = b'<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>%s</s:Body></s:Envelope>'


def environment(**more):
    kept = {name: os.environ[name] for name in ["PATH", "ASAN_OPTIONS"] if name in os.environ}
    return {**kept, "HOME": "/nonexistent", "LANG": "C.UTF-8", **more}


def hnap(*words, **more):
    """Status, output and errors of the client, without a terminal to ask on."""
    done = subprocess.run(
        [HNAP, *words],
        stdin=subprocess.DEVNULL,
        capture_output=True,
        env=environment(**more),
        start_new_session=True,
        timeout=60,
    )
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def to(device, password="admin"):
    return {"HNAP_HOST": f"127.0.0.1:{device.port}", "HNAP_PASSWORD": password}


class Server:
    """Answers every request with the same bytes; with `endless` again and again until the client leaves."""

    def __init__(self, reply, endless=False, pause=0.0):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.reply, self.endless, self.pause = reply, endless, pause
        self.requests = []
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self.answer, args=[connection], daemon=True).start()

    def answer(self, connection):
        with connection:
            try:
                self.requests.append(connection.recv(65536))
                connection.sendall(self.reply)
                while self.endless:
                    connection.sendall(self.endless)
                    time.sleep(self.pause)
                connection.shutdown(socket.SHUT_WR)
                while connection.recv(65536):
                    pass
            except OSError:
                pass

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.listener.close()


def http(body, status="200 OK"):
    return b"HTTP/1.1 %s\r\nConnection: close\r\n\r\n" % status.encode() + body


def response(action, inner):
    text = f'<{action}Response xmlns="x"><{action}Result>OK</{action}Result>{inner}</{action}Response>'
    return http(ENVELOPE % text.encode(errors="surrogateescape"))


class Slow:
    """What keeps a device busy for seconds: each piece has its own device, and all run beside the other tests."""

    def __init__(self, tmp_path_factory):
        self.folder = tmp_path_factory.mktemp("slow")
        self.image = self.folder / "image"
        maker = [BUILD / "bin" / "mkfirmware", "--name", "demo", "--output", self.image, BUILD / "bin" / "mkfirmware"]
        subprocess.run(maker, check=True)
        self.scenario = tmp_path_factory.mktemp("quick")
        (self.scenario / "settings").write_text("upgrade_time=100\nfactory_pause=5500\n")
        self.devices = []
        self.pool = ThreadPoolExecutor(8)
        self.done = {
            name: self.pool.submit(self.play, name, rows)
            for name, rows in {
                "upload": [["firmware", "upload", self.image, "--json"]],
                "refused": [["firmware", "upload", HNAP]],
                "reset": [["set", "name", "Attic"], ["factory-reset", "--yes"], ["info"]],
                "reboot": [["reboot", "-y"]],
                "join": [
                    ["join", "Home Network", "--key", "wrong horse"],
                    ["join", "OldPrinter", "--key", "1234567890"],
                    ["status", "--json"],
                ],
                "clients": [["clients"], ["clients", "--json"]],
                "check": [["check"]],
            }.items()
        }

    def play(self, name, rows):
        (self.folder / name).mkdir()
        device = boot(self.folder / name, "--scenario", str(self.scenario))
        self.devices.append(device)
        return device, [hnap(*words, **to(device)) for words in rows]

    def stop(self):
        self.pool.shutdown()
        for device in self.devices:
            device.stop()


@pytest.fixture(scope="module", autouse=True)
def slow(tmp_path_factory):
    running = Slow(tmp_path_factory)
    yield running.done
    running.stop()


@pytest.mark.parametrize(
    "words, out",
    [
        (["info"], r"Name +Extender\n(.*\n)*Serial number +KD140419000001\n"),
        (["actions"], r"(.*\n)*DownloadSpeedTest +sends as many bytes"),
        (["networks"], r"NAME +SIGNAL +BAND +SECURITY .*\nHome Network +▂▄▆█  82 % +2.4GHz  WPA2-PSK +AES"),
        (["firmware", "show"], r"(.*\n)*Version +1.4.02, build 2\n"),
        (["speed", "--rounds", "2"], r"[0-9.]+ Mbit/s \(4.0 MB in [0-9.]+ s\)\n"),
        (["call", "DownloadSpeedTest", "Bytes=2", "BufferSize=1"], "DownloadSpeedTestResult: OK\nByteStream: yy\n"),
        (["call", "IsDeviceReady", "--json"], '{\n  "IsDeviceReadyResult": "OK"\n}\n'),
        (["call", "IsDeviceReady", "--raw"], r"<\?xml version"),
        (["call", "IsDeviceReady", "-v"], "IsDeviceReadyResult: OK\n"),
    ],
    ids=lambda value: " ".join(value) if isinstance(value, list) else "",
)
def test_questions(device, words, out):
    status, text, err = hnap(*words, **to(device))
    assert status == 0 and re.match(out, text), (status, text, err)
    assert "YWRtaW46YWRtaW4" not in err


def test_json_of_all(device):
    texts = {}
    for words in ["info", "actions", "networks", "speed --rounds 1", "firmware show"]:
        status, text, err = hnap(*words.split(), "--json", **to(device))
        assert status == 0, (words, err)
        texts[words] = json.loads(text)
    assert [network["signal"] for network in texts["networks"]] == [82, 64, 55, 47, 35, 28]
    assert texts["networks"][0]["channel"] is None  # the protocol does not tell it
    assert len(texts["actions"]) == texts["info"]["actions"] == 18


REFUSED = [
    (["call", "GetNothing"], 1, "does not serve it"),
    (["call", "DownloadSpeedTest", "Bytes=2099572", "BufferSize=1"], 1, r"ERROR_BUFFER_TOO_LARGE \(more"),
    (["join", "Nowhere", "--key", "12345678"], 1, "does not see"),
    (["join", "Coffee Guest", "--key", "12345678"], 2, "takes no key"),
    (["join", "Attic"], 2, "needs a key"),
    (["set", "language", "xx"], 2, "none of the device's locales: en-us da-dk"),
    (["info", "--user", "admin:wrong"], 4, "user or password refused"),
    (["networks", "--user", "admin:wrong"], 4, "user or password refused"),
]


@pytest.mark.parametrize("words, status, err", REFUSED, ids=lambda value: " ".join(value) if isinstance(value, list) else "")
def test_refusals(device, words, status, err):
    password = {} if "--user" in words else {"HNAP_PASSWORD": "admin"}
    code, out, text = hnap(*words, HNAP_HOST=f"127.0.0.1:{device.port}", **password)
    assert (code, out) == (status, "") and re.search(err, text), (code, out, text)


@pytest.mark.parametrize(
    "words",
    [
        [],
        ["nonsense"],
        ["networks", "--timeout", "0"],
        ["networks", "--host", "a b"],
        ["networks", "--host", "http://u:p@127.0.0.1/"],
        ["networks", "--host", "ftp://127.0.0.1/"],
        ["networks", "--password-file", "/nonexistent"],
        ["join", ""],
        ["join", "x" * 33],
        ["join", "a\x1bb"],
        ["join", "Home Network", "--key", "tiny"],
        ["set", "name", "x" * 16],
        ["set", "password"],
        ["reboot"],
        ["factory-reset"],
        ["firmware", "upload", "/nonexistent"],
        ["firmware", "upload", "/dev/null"],
        ["call", "No Name"],
        ["call", "SetDeviceSettings", "DeviceName"],
        ["call", "SetDeviceSettings", "DeviceName=\x01"],
        ["call", "IsDeviceReady", "--namespace", 'x"\r\nY: z'],
        ["speed", "--bytes", "-1"],
        ["discover", "10.0.0.0/8"],
        ["discover", "127.0.0.1/x"],
    ],
    ids=" ".join,
)
def test_bad_input_sends_nothing(words):
    with Server(http(b"")) as server:
        host = [] if "--host" in words else ["--host", f"127.0.0.1:{server.port}"]
        status, out, err = hnap(*words, *host, HNAP_PASSWORD="admin")
        assert (status, out, server.requests) == (2, "", [])
        assert err and "\x1b" not in err


NETWORK = "<WirelessNetwork><SSID>%s</SSID><Mode>802.11bgn</Mode><SignalStrength>%s</SignalStrength></WirelessNetwork>"
EVIL = NETWORK % ("a\x1b]0;title\x07b\x9b31m\u202etxt\udcff&#27;c", "9999999999999999999999")


@pytest.mark.parametrize(
    "reply, options, status, out, err",
    [
        (b"", {}, 3, "", "without an answer"),
        (b"\x1b[31mrubbish\r\n\r\n", {}, 3, "", r"(?i)http"),
        (http(b"<a>"), {}, 3, "", "unreadable answer, not well-formed"),
        (http(b"\0\xff" * 1000), {}, 3, "", "unreadable answer"),
        (http(b"<html><title>\x1b[2J</title></html>", "500 X"), {}, 1, "", r"the device said: \\x1B\[2J"),
        (http(b"", "302 Found\r\nLocation: file:///etc/passwd"), {}, 3, "", "HTTP status 302"),
        (http(b"<a>" * 1000000), {}, 3, "", "unreadable answer"),
        (http(b""), {"endless": b"x" * 65536}, 3, "", "longer than any"),
        (b"HTTP/1.1 200 OK\r\n", {"endless": b"X-Header: value\r\n" * 1000}, 3, "", "longer than any|header"),
        (http(b""), {"endless": b"x", "pause": 0.05}, 3, "", "no complete answer within 1 s"),
        (
            response("GetWirelessNetworks", f"<WirelessNetworkList>{EVIL}</WirelessNetworkList>"),
            {},
            0,
            r"(.*\n)a\\x1B\]0;title\\x07b\\u\{009B\}31m\\u\{202E\}txt\\xFF\\x1Bc +9{22}",
            "",
        ),
    ],
    ids=["nothing", "rubbish", "cut", "binary", "page", "redirect", "deep", "endless", "headers", "drip", "escapes"],
)
def test_hostile_answers(reply, options, status, out, err):
    with Server(reply, **options) as server:
        patience = "1" if "pause" in options else "20"
        code, text, errors = hnap(
            "networks", "--timeout", patience, HNAP_HOST=f"127.0.0.1:{server.port}", HNAP_PASSWORD="x"
        )
        assert code == status and re.match(out, text) and re.search(err, errors), (code, text, errors)
        assert not re.search(r"[\x00-\x09\x0b-\x1f\x7f-\x9f]", text + errors)
        assert len(server.requests) == 1


def test_check_finds_what_is_wrong():
    listed = "<SOAPActions><string>http://x/IsDeviceReady</string><string>http://x/GetFirmwareSettings</string></SOAPActions>"
    with Server(response("GetDeviceSettings", listed)) as server:
        # Every action is answered with the same: the wrong one for all but the first.
        status, out, err = hnap("check", HNAP_HOST=f"127.0.0.1:{server.port}", HNAP_PASSWORD="x")
        assert status == 3 and "no result" in err, (out, err)
    broken = "<VendorName>v</VendorName><ModelName></ModelName><ModelRevision/><FirmwareVersion>1</FirmwareVersion>"
    reply = (
        f'<R xmlns="x"><GetDeviceSettingsResult>OK</GetDeviceSettingsResult><IsDeviceReadyResult>OK</IsDeviceReadyResult>'
        f"<GetFirmwareSettingsResult>OK</GetFirmwareSettingsResult>{listed}{broken}</R>"
    )
    with Server(http(ENVELOPE % reply.encode())) as server:
        status, out, err = hnap("check", "--json", HNAP_HOST=f"127.0.0.1:{server.port}", HNAP_PASSWORD="x")
        found = {row["action"]: row["problems"] for row in json.loads(out)}
        assert status == 1 and set(found) == {"IsDeviceReady", "GetFirmwareSettings"}
        assert found["IsDeviceReady"] == ["the answer is R"]


def test_secrets_stay_secret(device, tmp_path):
    config = tmp_path / "config"
    config.write_text(f"host = 127.0.0.1:{device.port}\nuser = admin\npassword = admin\n")
    config.chmod(0o644)
    status, _, err = hnap("networks", "--config", str(config))
    assert status == 2 and f"chmod 600 {config}" in err
    config.chmod(0o600)
    assert hnap("networks", "--config", str(config))[0] == 0
    assert "no password" in hnap("networks", "--config", str(config), "--user", "bob")[2]
    with Server(http(b"", "401 No")) as server:
        # The file's password is for its host only.
        assert hnap("networks", "--config", str(config), "--host", f"127.0.0.1:{server.port}")[0] == 2
        assert b"Authorization" not in server.requests[0]
        netrc = tmp_path / "netrc"
        netrc.write_text('default login "b c" password "d\\"e"\n')
        netrc.chmod(stat.S_IRUSR)
        assert hnap("networks", HNAP_HOST=f"127.0.0.1:{server.port}", NETRC=str(netrc))[0] == 4
        assert b"Authorization: Basic YiBjOmQiZQ==" in server.requests[1]
        assert hnap("discover", f"127.0.0.1:{server.port}", HNAP_PASSWORD="x")[0] == 3
        assert b"Authorization" not in server.requests[2]
    key = tmp_path / "key"
    key.write_text("my secret key\n")
    _, _, err = hnap("join", "Attic", "--security", "wpa2", "--key-file", str(key), "--no-wait", "-v", **to(device, "other"))
    assert "<Key>***</Key>" in err and "secret" not in err and "Basic ***" in err


def test_discover(device):
    status, out, _ = hnap("discover", "127.0.0.0/29", "127.0.0.9", "--port", str(device.port), "--json")
    assert status == 0
    assert [(row["host"], row["name"]) for row in json.loads(out)] == [(f"127.0.0.1:{device.port}", "Extender")]


def on_terminal(words, answers, **more):
    """Runs the client on a terminal of its own, 40 columns wide; gives its status and everything that was shown.

    An answer is what to wait for, what to type then, and whether that is echoed."""
    child, terminal = pty.fork()
    if child == 0:
        os.execve(HNAP, ["hnap", *words], environment(TERM="xterm", **more))
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 40, 0, 0))
    shown = b""
    while True:
        try:
            piece = os.read(terminal, 65536)
        except OSError:
            break
        if not piece:
            break
        shown += piece
        if answers and answers[0][0] in shown.decode(errors="replace"):
            echoes = bool(termios.tcgetattr(terminal)[3] & termios.ECHO)
            assert echoes == answers[0][2]
            os.write(terminal, answers.pop(0)[1].encode())
    _, status = os.waitpid(child, 0)
    os.close(terminal)
    assert not answers
    return status, shown.decode()


def test_terminal(device):
    question = "Password for admin at"
    host = {"HNAP_HOST": f"127.0.0.1:{device.port}"}
    status, shown = on_terminal(["networks"], [(question, "admin\n", False)], **host)
    assert status == 0 and "\x1b[32m" in shown
    lines = [re.sub(r"\x1b\[\d*m", "", line) for line in shown.split("\r\n")[2:]]
    assert max(map(len, lines)) <= 40 and "SECURITY" in shown and "BAND" not in shown
    listed = response("GetWirelessNetworks", "<WirelessNetworkList>" + NETWORK % ("Caf\u0100", 3) + "</WirelessNetworkList>")
    with Server(listed) as server:
        shown = on_terminal(["networks"], [], LANG="C", HNAP_HOST=f"127.0.0.1:{server.port}", HNAP_PASSWORD="x")[1]
        assert r"Caf\u{0100}" in shown and shown.isascii()
    assert "\x1b" not in on_terminal(["networks"], [], NO_COLOR="1", **to(device))[1]
    status, shown = on_terminal(["networks"], [(question, "\x03", False)], **host)
    assert os.WIFSIGNALED(status) and os.WTERMSIG(status) == 2
    status, shown = on_terminal(["reboot"], [("[y/N]", "n\n", True)], **to(device))
    assert os.WEXITSTATUS(status) == 2 and device.boots() == 1


def test_new_password(own_device, tmp_path):
    file = tmp_path / "new"
    file.write_text("p:w&d <ü>\n")
    assert hnap("set", "password", "--new-password-file", str(file), **to(own_device))[0] == 0
    assert hnap("networks", **to(own_device))[0] == 4
    assert hnap("set", "language", "de-de", **to(own_device, "p:w&d <ü>"))[0] == 0
    read = hnap("info", "--password-file", str(file), HNAP_HOST=f"127.0.0.1:{own_device.port}")
    assert re.search("Language +de-de\n", read[1]), read


def test_help_manual_and_completions_agree():
    manual = hnap("manual")[1]
    bash = hnap("completion", "bash")[1]
    zsh = hnap("completion", "zsh")[1]
    assert subprocess.run(["bash", "-n"], input=bash, text=True).returncode == 0
    for command in ["info", "actions", "networks", "join", "status", "clients", "speed", "firmware upload", "set language",
                    "reboot", "factory-reset", "call", "check", "discover"]:
        text = hnap(*command.split(), "--help")[1]
        assert text.strip() and command in manual.replace("\\-", "-")
        for option in re.findall(r"--[a-z-]+", text):
            assert option in manual.replace("\\-", "-") and option in bash and option in zsh, option
    complete = 'COMP_WORDS=(hnap firmware up) COMP_CWORD=2; _hnap; echo "${COMPREPLY[@]}"'
    assert subprocess.run(["bash", "-c", bash + complete], capture_output=True, text=True).stdout == "upload\n"


def test_join(slow):
    _, [(status, _, err), (joined, out, _), (_, after, _)] = slow["join"].result()
    assert status == 1 and "AUTHENTICATION_FAILURE (a wrong key?)" in err
    assert joined == 0 and 'Joined "OldPrinter"' in out
    after = json.loads(after)
    assert (after["connected"], after["ssid"], after["clients_active"]) == (True, "OldPrinter", 2)


def test_clients(slow):
    _, [(_, table, _), (_, text, _)] = slow["clients"].result()
    assert re.search(r"^living room TV  02:AA:00:00:00:02  WLAN 802.11n  yes ", table, re.M)
    assert [client["wireless"] for client in json.loads(text)] == [False, True, True]


def test_check_finds_nothing_in_the_extender(slow):
    _, [(status, table, err)] = slow["check"].result()
    assert status == 0 and re.fullmatch(r"ACTION +TIME  VERDICT\n(\w+ +\d+ ms  ok\n){12}", table), (table, err)


def test_restarts(slow):
    device, [(status, out, err)] = slow["upload"].result()
    assert status == 0 and json.loads(out)["after"] == "1.4.02, build 2", err
    assert device.boots() == 2 and "demo" in device.console()
    device, [(status, _, err)] = slow["refused"].result()
    assert status == 1 and "no image for this device" in err and device.boots() == 1
    device, [(named, _, _), (status, out, err), (_, info, _)] = slow["reset"].result()
    assert (named, status) == (0, 0) and "is back after" in out, err
    assert device.boots() == 2 and re.match("Name +Extender\n", info)
    device, [(status, out, err)] = slow["reboot"].result()
    assert status == 0 and device.boots() == 2, err
