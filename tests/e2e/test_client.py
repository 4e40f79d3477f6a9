"""hnap, the client: against the virtual extender, and against servers that answer badly."""

import contextlib
import fcntl
import json
import os
import pty
import re
import shlex
import socket
import socketserver
import struct
import subprocess
import termios
import threading
import time
import types
from concurrent.futures import ThreadPoolExecutor

import pytest

from virtual_extender import BUILD, Device

HNAP = BUILD / "bin" / "hnap"
SOAP = '<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>%s</s:Body></s:Envelope>'


def environment(to=None, password="admin", **more):
    kept = {name: os.environ[name] for name in ["PATH", "ASAN_OPTIONS"] if name in os.environ}
    host = {"HNAP_HOST": f"127.0.0.1:{to.port}"} if to else {}
    secret = {"HNAP_PASSWORD": password} if password else {}
    return {**kept, "HOME": "/nonexistent", "LANG": "C.UTF-8", **host, **secret, **more}


def hnap(command, **more):
    """Status, output and errors of the client, without a terminal to ask on."""
    words = [HNAP, *shlex.split(command)]
    options = {"stdin": subprocess.DEVNULL, "env": environment(**more), "start_new_session": True, "timeout": 60}
    done = subprocess.run(words, capture_output=True, **options)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


@contextlib.contextmanager
def server(reply, endless=b"", pause=0.0):
    """Answers every request with the same bytes; with `endless` again and again until the client leaves."""
    seen = []

    class Handler(socketserver.BaseRequestHandler):
        def handle(self):
            seen.append(self.request.recv(65536))
            with contextlib.suppress(OSError):
                self.request.sendall(reply)
                while endless:
                    self.request.sendall(endless)
                    time.sleep(pause)
                self.request.shutdown(socket.SHUT_WR)
                while self.request.recv(65536):
                    pass

    with socketserver.ThreadingTCPServer(("127.0.0.1", 0), Handler) as running:
        running.daemon_threads = True
        threading.Thread(target=running.serve_forever, args=[0.01], daemon=True).start()
        yield types.SimpleNamespace(port=running.server_address[1], requests=seen)
        running.shutdown()


def http(body, status="200 OK"):
    return b"HTTP/1.1 %s\r\nConnection: close\r\n\r\n" % status.encode() + body


def response(action, inner, name=None):
    results = "".join(f"<{each}Result>OK</{each}Result>" for each in action.split())
    name = name or action + "Response"
    return http((SOAP % f'<{name} xmlns="x">{results}{inner}</{name}>').encode(errors="surrogateescape"))


# What keeps a device busy for seconds: each has its own device, and all run beside the other tests.
SLOW = {
    "upload": ["firmware upload {image} --json"],
    "refused": [f"firmware upload {HNAP}"],
    "reset": ["set name Attic", "factory-reset --yes", "info"],
    "join": ["join 'Home Network' --key 'wrong horse'", "join OldPrinter --key 1234567890", "status --json"],
    "clients": ["clients", "clients --json"],
    "check": ["check"],
}


@pytest.fixture(scope="module", autouse=True)
def slow(tmp_path_factory):
    """By name: what each command gave, and then the device's boots and console, when they are done."""
    folder = tmp_path_factory.mktemp("slow")
    image = folder / "image"
    maker = [BUILD / "bin" / "mkfirmware", "--name", "demo", "--output", image, BUILD / "bin" / "mkfirmware"]
    subprocess.run(maker, check=True)
    scenario = tmp_path_factory.mktemp("quick")
    (scenario / "settings").write_text("upgrade_time=100\nfactory_pause=5500\n")

    def play(name):
        with Device(folder / name, "--scenario", scenario) as device:
            given = [hnap(command.format(image=image), to=device) for command in SLOW[name]]
            return *given, device.boots(), device.console()

    with ThreadPoolExecutor(len(SLOW)) as pool:
        yield {name: pool.submit(play, name) for name in SLOW}


@pytest.mark.parametrize(
    "command, status, out, err",
    [
        ("info", 0, r"Name +Extender\n(.*\n)*Serial number +KD140419000001\n", ""),
        ("actions", 0, r"(.*\n)*DownloadSpeedTest +sends as many bytes", ""),
        ("networks", 0, r"NAME +SIGNAL +BAND +SECURITY .*\nHome Network +▂▄▆█  82 % +2.4GHz  WPA2-PSK +AES", ""),
        ("firmware show", 0, r"(.*\n)*Version +1.4.02, build 2\n", ""),
        ("call DownloadSpeedTest Bytes=2 BufferSize=1", 0, "DownloadSpeedTestResult: OK\nByteStream: yy\n", ""),
        ("call IsDeviceReady --json", 0, '{\n  "IsDeviceReadyResult": "OK"\n}\n', ""),
        ("call IsDeviceReady -v", 0, "IsDeviceReadyResult: OK\n", "POST"),
        ("call GetNothing", 1, "", "does not serve it"),
        ("call DownloadSpeedTest Bytes=2099572 BufferSize=1", 1, "", r"ERROR_BUFFER_TOO_LARGE \(more"),
        ("join Nowhere --key 12345678", 1, "", "does not see"),
        ("join 'Coffee Guest' --key 12345678", 2, "", "takes no key"),
        ("join Attic", 2, "", "needs a key"),
        ("set language xx", 2, "", "none of the device's locales: en-us da-dk"),
        ("info --user admin:wrong", 4, "", "user or password refused"),
    ],
)
def test_questions_and_refusals(device, command, status, out, err):
    code, text, errors = hnap(command, to=device, password="" if "--user" in command else "admin")
    assert code == status and re.match(out, text) and re.search(err, errors), (code, text, errors)
    assert (text == "") == (status != 0) and "YWRtaW46YWRtaW4" not in errors


def test_json_of_all(device):
    texts = {}
    for command in ["info", "actions", "networks", "speed --rounds 1", "firmware show"]:
        status, text, err = hnap(command + " --json", to=device)
        assert status == 0, (command, err)
        texts[command] = json.loads(text)
    assert [network["signal"] for network in texts["networks"]] == [82, 64, 55, 47, 35, 28]
    assert texts["networks"][0]["channel"] is None  # the protocol does not tell it
    assert len(texts["actions"]) == texts["info"]["actions"] == 18
    found = json.loads(hnap(f"discover 127.0.0.0/29 127.0.0.9 --port {device.port} --json")[1])
    assert [(row["host"], row["name"]) for row in found] == [(f"127.0.0.1:{device.port}", "Extender")]


BAD_INPUT = r"""
nonsense
networks --timeout 0
networks --host 'a b'
join xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx
join ESC
join 'Home Network' --key tiny
set name xxxxxxxxxxxxxxxx
reboot
firmware upload /dev/null
call SetDeviceSettings DeviceName
call SetDeviceSettings DeviceName=ESC
call IsDeviceReady --namespace 'x"CRLFY: z'
speed --bytes -1
discover 10.0.0.0/8
"""


@pytest.mark.parametrize("command", BAD_INPUT.split("\n")[:-1])
def test_bad_input_sends_nothing(command):
    with server(http(b"")) as other:
        command = command.replace("ESC", "\x1b").replace("CRLF", "\r\n")
        status, out, err = hnap(command, to=None if "--host" in command else other)
        assert (status, out, other.requests) == (2, "", [])
        assert err and "\x1b" not in err


NETWORK = "<WirelessNetwork><SSID>%s</SSID><Mode>802.11bgn</Mode><SignalStrength>%s</SignalStrength></WirelessNetwork>"
LIST = f"<WirelessNetworkList>{NETWORK}</WirelessNetworkList>"
EVIL = response("GetWirelessNetworks", LIST % ("a\x1b]0;title\x07b\x9b31m\u202etxt\udcff&#27;c", "9" * 22))
HOSTILE = {
    "nothing": (b"", {}, "without an answer"),
    "cut": (http(b"<a>"), {}, "unreadable answer, not well-formed"),
    "a page": (http(b"<html><title>\x1b[2J</title></html>", "500 X"), {}, r"the device said: \\x1B\[2J"),
    "a redirection": (http(b"", "302 Found\r\nLocation: file:///etc/passwd"), {}, "HTTP status 302"),
    "deep": (http(b"<a>" * 1000000), {}, "unreadable answer"),
    "endless": (http(b""), {"endless": b"x" * 65536}, "longer than any"),
    "drip": (http(b""), {"endless": b"x", "pause": 0.05}, "no complete answer within 1 s"),
    "escapes": (EVIL, {}, r"(.*\n)a\\x1B\]0;title\\x07b\\u\{009B\}31m\\u\{202E\}txt\\xFF\\x1Bc +9{22}"),
}


@pytest.mark.parametrize("name", HOSTILE)
def test_hostile_answers(name):
    reply, options, said = HOSTILE[name]
    with server(reply, **options) as other:
        status, text, errors = hnap(f"networks --timeout {1 if name == 'drip' else 20}", to=other)
        assert status == {"a page": 1, "escapes": 0}.get(name, 3) and (text == "") == (status != 0)
        assert re.search(said, text + errors), (text, errors)
        assert not re.search(r"[\x00-\x09\x0b-\x1f\x7f-\x9f]", text + errors)
        assert len(other.requests) == 1


def test_check_finds_what_is_wrong():
    urls = "<string>http://x/IsDeviceReady</string><string>http://x/GetFirmwareSettings</string>"
    listed = f"<SOAPActions>{urls}</SOAPActions>"
    # Every action is answered with the same: the wrong one for all but the first.
    with server(response("GetDeviceSettings", listed)) as other:
        status, out, err = hnap("check", to=other)
        assert status == 3 and "no result" in err, (out, err)
    broken = "<VendorName>v</VendorName><ModelName></ModelName><ModelRevision/><FirmwareVersion>1</FirmwareVersion>"
    with server(response("GetDeviceSettings IsDeviceReady GetFirmwareSettings", listed + broken, name="R")) as other:
        status, out, err = hnap("check --json", to=other)
        found = {row["action"]: row["problems"] for row in json.loads(out)}
        assert status == 1 and set(found) == {"IsDeviceReady", "GetFirmwareSettings"}
        assert found["IsDeviceReady"] == ["the answer is R"]


def test_secrets_stay_secret(device, tmp_path):
    config, netrc, key = tmp_path / "config", tmp_path / "netrc", tmp_path / "key"
    networks = lambda more="", **rest: hnap(f"networks --config {config} {more}", password="", **rest)
    config.write_text(f"host = 127.0.0.1:{device.port}\nuser = admin\npassword = admin\n")
    config.chmod(0o644)
    status, _, err = networks()
    assert status == 2 and f"chmod 600 {config}" in err
    config.chmod(0o600)
    assert networks()[0] == 0 and "no password" in networks("--user bob")[2]
    with server(http(b"", "401 No")) as other:
        # The file's password is for its host only.
        assert networks(f"--host 127.0.0.1:{other.port}")[0] == 2
        netrc.write_text('default login "b c" password "d\\"e"\n')
        netrc.chmod(0o400)
        assert hnap("networks", to=other, password="", NETRC=str(netrc))[0] == 4
        assert hnap(f"discover 127.0.0.1:{other.port}")[0] == 3
        assert [b"Authorization" in request for request in other.requests] == [False, True, False]
        assert b"Authorization: Basic YiBjOmQiZQ==" in other.requests[1]
    key.write_text("my secret key\n")
    _, _, err = hnap(f"join Attic --security wpa2 --key-file {key} --no-wait -v", to=device, password="other")
    assert "<Key>***</Key>" in err and "secret" not in err and "Basic ***" in err


def on_terminal(command, answers, **more):
    """Runs the client on a terminal of its own, 40 columns wide; gives its status and everything that was shown.

    An answer is what to wait for, what to type then, and whether that is echoed."""
    child, terminal = pty.fork()
    if child == 0:
        os.execve(HNAP, ["hnap", command], environment(TERM="xterm", **more))
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 40, 0, 0))
    shown = b""
    with contextlib.suppress(OSError):  # at the end
        while piece := os.read(terminal, 65536):
            shown += piece
            if answers and answers[0][0] in shown.decode(errors="replace"):
                _, typed, echoes = answers.pop(0)
                assert bool(termios.tcgetattr(terminal)[3] & termios.ECHO) == echoes
                os.write(terminal, typed.encode())
    os.close(terminal)
    assert not answers
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), shown.decode()


def test_terminal(device):
    question = "Password for admin at"
    status, shown = on_terminal("networks", [(question, "admin\n", False)], to=device, password="")
    assert status == 0 and "\x1b[32m" in shown
    lines = [re.sub(r"\x1b\[\d*m", "", line) for line in shown.split("\r\n")[2:]]
    assert max(map(len, lines)) <= 40 and "SECURITY" in shown and "BAND" not in shown
    with server(response("GetWirelessNetworks", LIST % ("Caf\u0100", 3))) as other:
        shown = on_terminal("networks", [], to=other, LANG="C")[1]
        assert r"Caf\u{0100}" in shown and shown.isascii()
    assert "\x1b" not in on_terminal("networks", [], to=device, NO_COLOR="1")[1]
    assert on_terminal("networks", [(question, "\x03", False)], to=device, password="")[0] == -2
    assert on_terminal("reboot", [("[y/N]", "n\n", True)], to=device)[0] == 2 and device.boots() == 1


def test_new_password(own_device, tmp_path):
    file = tmp_path / "new"
    file.write_text("p:w&d <ü>\n")
    assert hnap(f"set password --new-password-file {file}", to=own_device)[0] == 0
    assert hnap("networks", to=own_device)[0] == 4
    assert hnap("set language de-de", to=own_device, password="p:w&d <ü>")[0] == 0
    assert re.search("Language +de-de\n", hnap(f"info --password-file {file}", to=own_device, password="")[1])


def test_help_manual_and_completions_agree():
    manual, bash, zsh = [hnap(command)[1] for command in ("manual", "completion bash", "completion zsh")]
    manual = manual.replace("\\-", "-")
    for command in [
        *"info actions networks join status clients speed reboot factory-reset call check discover".split(),
        *("firmware upload", "set language"),
    ]:
        text = hnap(command + " --help")[1]
        assert text.strip() and command in manual
        for option in re.findall(r"--[a-z-]+", text):
            assert option in manual and option in bash and option in zsh, option
    complete = 'COMP_WORDS=(hnap firmware up) COMP_CWORD=2; _hnap; echo "${COMPREPLY[@]}"'
    assert subprocess.run(["bash", "-c", bash + complete], capture_output=True, text=True).stdout == "upload\n"


def test_slow_commands(slow):
    (status, _, err), (joined, out, _), (_, after, _), *_ = slow["join"].result()
    assert status == 1 and "AUTHENTICATION_FAILURE (a wrong key?)" in err
    assert joined == 0 and 'Joined "OldPrinter"' in out
    after = json.loads(after)
    assert (after["connected"], after["ssid"], after["clients_active"]) == (True, "OldPrinter", 2)

    (_, table, _), (_, text, _), *_ = slow["clients"].result()
    assert re.search(r"^living room TV  02:AA:00:00:00:02  WLAN 802.11n  yes ", table, re.M)
    assert [client["wireless"] for client in json.loads(text)] == [False, True, True]

    (status, table, err), *_ = slow["check"].result()
    assert status == 0 and re.fullmatch(r"ACTION +TIME  VERDICT\n(\w+ +\d+ ms  ok\n){12}", table), (table, err)


def test_restarts(slow):
    (status, out, err), boots, console = slow["upload"].result()
    assert (status, boots) == (0, 2) and json.loads(out)["after"] == "1.4.02, build 2" and "demo" in console, err
    (status, _, err), boots, _ = slow["refused"].result()
    assert (status, boots) == (1, 1) and "no image for this device" in err
    (named, _, _), (status, out, err), (_, info, _), boots, _ = slow["reset"].result()
    assert (named, status, boots) == (0, 0, 2) and "is back after" in out, err
    assert re.match("Name +Extender\n", info)
