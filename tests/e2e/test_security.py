"""Nobody gets in: what runs without credentials, and what it costs."""

import re
import socket
import subprocess

import pytest
import requests

from virtual_extender import CLASSIC, HNAP1, REPOSITORY, basic, envelope, network, raw_post, received
from virtual_extender import settings, settings2, wait_until

# Every action that changes something, with arguments that would take effect.
ACTIONS = {
    "SetDeviceSettings2": settings2("de-de"),
    "SetDeviceSettings": settings("Owned", "owned"),
    "Reboot": "",
    "RestoreFactoryDefaults": "",
    "FirmwareUpload": "<Base64Image>QUJD</Base64Image>",
    "SetWirelessClientSettings": network("Owned"),
}


def effects(device):
    """All that an action could have changed: the store, the login file, the programs started, those running."""
    files = "cat /etc/nvram/2860.nvram /etc/lighttpd.user /var/virtual/journal 2>&1; ls /var/upload"
    daemons = "cat /proc/[0-9]*/comm | grep -E '^(kd_|kelda_|wscd|wpsctl|mdnspr|udhcpc)' | sort"
    return device.run("sh", "-c", f"{files}; {daemons}"), device.boots()


def effects_at_rest(device):
    """As soon as the boot itself has started everything."""
    seen = []
    look = lambda: seen.append(effects(device)) or seen[-1][0]
    assert wait_until(lambda: "ifconfig apcli0 up" in look() and device.boots() and seen[-2:-1] == seen[-1:])
    return seen[-1]


@pytest.fixture(scope="module")
def at_rest(device):
    return effects_at_rest(device)


@pytest.fixture
def untouched(device, at_rest):
    """Fails when the device is not as it was before the test."""
    yield
    assert effects(device) == at_rest


RIGHT, WRONG = basic("admin:admin"), basic("admin:wrong")


@pytest.mark.parametrize("action", ACTIONS)
@pytest.mark.parametrize("authorization", [WRONG, None])
def test_no_action_without_credentials(device, untouched, action, authorization):
    headers = {"SOAPAction": HNAP1 + action, "Authorization": authorization}
    body = envelope(action, ACTIONS[action])
    reply = requests.post(device.url + "/HNAP1/", data=body, headers=headers, timeout=30)
    assert (reply.status_code, reply.headers["Connection"]) == (401, "close")
    assert reply.headers["WWW-Authenticate"] == 'Basic realm="NX220"'
    assert "Unauthorized</title>" in reply.text and action not in reply.text


def status_and_body(reply):
    """What does not tell the time."""
    head, body = reply.split(b"\r\n\r\n", 1)
    return re.sub(rb"\r\nDate: [^\r]*", b"", head), body


@pytest.mark.skipif(CLASSIC, reason="this server reads the whole body before it asks the module")
def test_a_large_body_without_credentials_is_not_waited_for(device, untouched):
    expected = status_and_body(device.send(raw_post("IsDeviceReady", authorization=WRONG)))
    # Each has its answer before it has sent more; who goes on sending can read it all the same.
    clients = [(device.connect(), more) for more in (0, 3_000_000, 40_000_000)]
    for client, _ in clients:
        client.sendall(raw_post("FirmwareUpload", authorization=WRONG, length=48_000_000) + b"A" * 100_000)
    for client, more in clients:
        assert client.recv(1, socket.MSG_PEEK) == b"H" and device.run("ls", "/var/upload") == ""
        client.sendall(b"A" * more)
        assert status_and_body(received(client)) == expected
        client.close()


BODY = envelope("SetDeviceSettings", settings("Owned"))
SOAP_ACTION = f'SOAPAction: "{HNAP1}SetDeviceSettings"'


def raw(line, *headers, body=BODY, soap_action=SOAP_ACTION, length=True):
    """A request that changes the settings, if only somebody runs it."""
    lines = [line + " HTTP/1.1", "Host: x", soap_action, *headers, f"Content-Length: {len(body)}" if length else ""]
    return ("\r\n".join([*filter(None, lines), "", ""]) + body).encode()


def posted(*headers, **rest):
    return raw("POST /HNAP1/", *headers, **rest)


def answers_an_action(reply):
    """Whether a reply holds an action's result; that of a plain GET, open to everybody, aside."""
    return any(name != b"GetDeviceSettings" for name in re.findall(rb"<(\w+?)Response[ >]", reply))


GET = raw("GET /HNAP1/")
DETOURS = {
    "GET with a body": GET,
    **{method: raw(method + " /HNAP1/") for method in ("PUT", "CONNECT", "PROPFIND", "POSTS", "post")},
    "wrong before right": posted(f"Authorization: {WRONG}", f"Authorization: {RIGHT}"),
    "credentials without end": posted("Authorization: Basic " + "YQ==" * 8000),
    "absolute URI with credentials": raw("POST http://admin:admin@x/HNAP1/"),
    "encoded URI": raw("POST /%48NAP1/%00"),
    "dots and slashes in the URI": raw("POST //x/../HNAP1//"),
    "no SOAPAction": posted(soap_action=None),
    "SOAPAction twice": posted(f"SOAPAction: {HNAP1}GetDeviceSettings"),
    "length and chunks": posted("Transfer-Encoding: chunked"),
    "chunks": posted("Transfer-Encoding: chunked", body=f"{len(BODY):x}\r\n{BODY}\r\n0\r\n\r\n", length=False),
    "a request in a body": raw("POST /index.html", soap_action=None, body=posted().decode()),
    "a request behind a page": b"GET /index.html HTTP/1.1\r\nHost: x\r\n\r\n" + posted(),
    "a request behind an authorized one": raw_post("GetDeviceSettings") + posted(),
}


@pytest.mark.parametrize("detour", DETOURS)
def test_no_detour_runs_an_action(device, untouched, detour):
    assert not answers_an_action(device.send(DETOURS[detour], close=True))


# Pages that the server fetches for a refused request, in each way that it knows.
PAGES = {
    "a handler that is the module": 'server.error-handler = "/HNAP1/"\n',
    "intercepted": 'server.error-handler = "/HNAP1/"\nserver.error-intercept = "enable"\n',
    "files": 'server.errorfile-prefix = "/tmp/error-"\nserver.error-intercept = "enable"\n',
}


@pytest.mark.parametrize("lines", PAGES.values(), ids=PAGES.keys())
def test_error_pages(start, lines):
    device = start(server=lines)
    device.run("sh", "-c", "echo 'a page' > /tmp/error-401.html")
    before = effects_at_rest(device)
    for refused in (posted(), GET, raw("PUT /HNAP1/"), raw("POST /nowhere")):
        assert not answers_an_action(device.send(refused, close=True))
    for page in ("/nowhere", "/nowhere?HNAP"):
        assert not answers_an_action(device.get(page).content)
    reply = device.send(posted(), close=True)
    assert reply.startswith(b"HTTP/1.1 401 ") and b"GetDeviceSettings" not in reply
    assert effects(device) == before
    # What the module itself says with a status of 500 stays its own.
    assert len(device.post_raw("<a></b>").content) == 511
    # With credentials the same bytes change the device: all the rows show something.
    assert answers_an_action(device.send(posted(f"Authorization: {RIGHT}"))) and device.stored("HostName") == "Owned"


@pytest.mark.parametrize("clients, opens", [("127.0.0.0/8", True), ("192.168.1.0/24", False)])
def test_a_front_server(device, tmp_path, clients, opens):
    """That of docs/security.md: closes what is open, and keeps other networks out."""
    text = re.search(r"```\n(server\.modules.*?)```", (REPOSITORY / "docs" / "security.md").read_text(), re.S).group(1)
    with socket.create_server(("127.0.0.1", 0)) as probe:
        port = probe.getsockname()[1]
    (tmp_path / "users").write_text("admin:admin\n")
    for old, new in {
        '"192.168.1.1"': '"127.0.0.1"',
        "port = 80\n": f"port = {port}\n",
        '"port" => 8080': f'"port" => {device.port}',
        "/etc/lighttpd.user": str(tmp_path / "users"),
        "/web": str(tmp_path),
        "192.168.1.0/24": clients,
    }.items():
        assert old in text
        text = text.replace(old, new)
    (tmp_path / "front.conf").write_text(text)
    server = subprocess.Popen(["/usr/sbin/lighttpd", "-D", "-f", tmp_path / "front.conf"], stderr=subprocess.DEVNULL)
    try:
        assert wait_until(lambda: socket.socket().connect_ex(("127.0.0.1", port)) == 0)
        url, headers = f"http://127.0.0.1:{port}/HNAP1/", {"SOAPAction": HNAP1 + "IsDeviceReady"}
        for auth, status in ((None, 401), (("admin", "wrong"), 401), (device.login, 200)):
            assert requests.get(url, auth=auth, timeout=30).status_code == (status if opens else 403)
            reply = requests.post(url, data=envelope("IsDeviceReady"), headers=headers, auth=auth, timeout=30)
            assert ("IsDeviceReadyResult" in reply.text) == (opens and status == 200)
    finally:
        server.terminate()
        server.wait()
