"""Nobody gets in: what runs without credentials."""

import base64
import re
import socket
import subprocess
import time

import pytest
import requests

from conftest import boot
from virtual_extender import EXTENDER_A, HNAP1, REPOSITORY, envelope, value, wait_until

SETTINGS = "<DeviceName>Owned</DeviceName><AdminPassword>owned</AdminPassword>"
NETWORK = (
    "<SSID>Owned</SSID><NetworkType>INFRASTRUCTURE</NetworkType><SecurityEnabled>false</SecurityEnabled>"
    "<SecurityType></SecurityType><Encryption></Encryption><Key></Key>"
)
# Every action with arguments that would take effect.
ACTIONS = {
    "GetDeviceSettings2": "",
    "SetDeviceSettings2": "<Username>admin</Username><TimeZone>UTC</TimeZone><AutoAdjustDST>false</AutoAdjustDST>"
    "<Locale>de-de</Locale><SSL>false</SSL>",
    "GetDeviceSettings": "",
    "SetDeviceSettings": SETTINGS,
    "IsDeviceReady": "",
    "Reboot": "",
    "RestoreFactoryDefaults": "",
    "FirmwareUpload": "<Base64Image>QUJD</Base64Image>",
    "GetFirmwareSettings": "",
    "GetWirelessClientCapabilities": "",
    "GetWirelessClientConnectionInfo2": "",
    "GetWirelessClientConnectionInfo": "",
    "GetLastSetWirelessClientSettingsResult": "",
    "GetWirelessClientSettings": "",
    "SetWirelessClientSettings": NETWORK,
    "GetWirelessNetworks": "",
    "GetConnectedDevices": "",
    "DownloadSpeedTest": "<Bytes>1000</Bytes><BufferSize>1000</BufferSize>",
}


def basic(text):
    return "Basic " + base64.b64encode(text.encode()).decode()


def effects(device):
    """All that an action could have changed: the store, the login file, the programs started, those running."""
    files = "cat /etc/nvram/2860.nvram /etc/lighttpd.user /var/virtual/journal 2>&1"
    daemons = "cat /proc/[0-9]*/comm | grep -E '^(kd_|kelda_|wscd|wpsctl|mdnspr|udhcpc)' | sort"
    return device.run("sh", "-c", f"{files}; {daemons}"), device.boots()


def effects_at_rest(device):
    """As soon as the boot itself has started everything."""
    seen = [effects(device)]

    def unchanged():
        time.sleep(0.2)
        seen.append(effects(device))
        return "ifconfig apcli0 up" in seen[-1][0] and seen[-1] == seen[-2]

    assert wait_until(unchanged)
    return seen[-1]


@pytest.fixture(scope="module")
def rested(device):
    effects_at_rest(device)


@pytest.fixture
def untouched(device, rested):
    """Fails when the device is not as it was before the test."""
    before = effects(device)
    yield
    assert effects(device) == before


def answers_an_action(reply):
    """Whether a reply holds an action's result; that of a plain GET, open to everybody, aside."""
    text = reply.decode(errors="replace") if isinstance(reply, bytes) else reply
    return any(name != "GetDeviceSettings" for name in re.findall(r"<(\w+?)Response[ >]", text))


@pytest.mark.parametrize("action", ACTIONS)
def test_no_action_without_credentials(device, untouched, action):
    for authorization in (None, basic("admin:wrong"), basic("root:admin"), basic(":"), basic("admin:"), "Basic"):
        for namespace in (HNAP1, EXTENDER_A):
            headers = {"SOAPAction": f'"{namespace}{action}"'}
            if authorization:
                headers["Authorization"] = authorization
            body = envelope(action, ACTIONS[action], namespace)
            reply = requests.post(device.url + "/HNAP1/", data=body, headers=headers, timeout=30)
            assert reply.status_code == 401
            assert f"{action}Response" not in reply.text


BODY = envelope("SetDeviceSettings", SETTINGS)
SOAP_ACTION = f'SOAPAction: "{HNAP1}SetDeviceSettings"'


def raw(line="POST /HNAP1/ HTTP/1.1", *headers, body=BODY, soap_action=SOAP_ACTION, length=True):
    """A request that changes the settings, if only somebody runs it."""
    lines = [line, "Host: x", *([soap_action] if soap_action else []), *headers]
    if length:
        lines.append(f"Content-Length: {len(body)}")
    return ("\r\n".join([*lines, "", ""]) + body).encode()


RIGHT, WRONG = basic("admin:admin"), basic("admin:wrong")
GET = "GET /HNAP1/ HTTP/1.1"
METHODS = ["PUT", "PATCH", "DELETE", "OPTIONS", "TRACE", "PROPFIND", "CONNECT", "M-POST"]
DETOURS = {
    "GET with a body": raw(GET),
    "GET, method override": raw(GET, "X-HTTP-Method-Override: POST", "X-HTTP-Method: POST", "X-Method-Override: POST"),
    "POST, method override": raw("POST /HNAP1/ HTTP/1.1", "X-HTTP-Method-Override: GET"),
    "method override in the query": raw("GET /HNAP1/?_method=POST HTTP/1.1"),
    "HEAD": raw("HEAD /HNAP1/ HTTP/1.1"),
    **{method: raw(f"{method} /HNAP1/ HTTP/1.1") for method in METHODS},
    "unknown method": raw("POSTS /HNAP1/ HTTP/1.1"),
    "method in lower case": raw("post /HNAP1/ HTTP/1.1"),
    "wrong credentials twice": raw("POST /HNAP1/ HTTP/1.1", f"Authorization: {WRONG}", f"Authorization: {WRONG}"),
    "wrong before right": raw("POST /HNAP1/ HTTP/1.1", f"Authorization: {WRONG}", f"Authorization: {RIGHT}"),
    "an empty scheme before right": raw("POST /HNAP1/ HTTP/1.1", "Authorization: Basic", f"Authorization: {RIGHT}"),
    "credentials for a proxy": raw("POST /HNAP1/ HTTP/1.1", f"Proxy-Authorization: {RIGHT}"),
    "credentials under other names": raw(
        "POST /HNAP1/ HTTP/1.1", f"X-Authorization: {RIGHT}", "X-Forwarded-User: admin", "X-Remote-User: admin"
    ),
    "credentials with a NUL": raw("POST /HNAP1/ HTTP/1.1", f"Authorization: {basic('admin:admin' + chr(0))}"),
    "credentials without end": raw("POST /HNAP1/ HTTP/1.1", "Authorization: Basic " + "YQ==" * 8000),
    "from the device itself": raw("POST /HNAP1/ HTTP/1.1", "X-Forwarded-For: 127.0.0.1", "X-Real-IP: 127.0.0.1"),
    "another URI in a header": raw("POST / HTTP/1.1", "X-Original-URL: /HNAP1/", "X-Rewrite-URL: /HNAP1/"),
    "absolute URI": raw("POST http://x/HNAP1/ HTTP/1.1"),
    "absolute URI with credentials": raw("POST http://admin:admin@x/HNAP1/ HTTP/1.1"),
    "another URI": raw("POST / HTTP/1.1"),
    "a page": raw("POST /index.html HTTP/1.1"),
    "two slashes": raw("POST //HNAP1// HTTP/1.1"),
    "encoded URI": raw("POST /%48NAP1/ HTTP/1.1"),
    "dots in the URI": raw("POST /x/../HNAP1/ HTTP/1.1"),
    "NUL in the URI": raw("POST /HNAP1/%00 HTTP/1.1"),
    "no URI": raw("POST * HTTP/1.1"),
    "no SOAPAction": raw(soap_action=None),
    "SOAPAction in lower case": raw(soap_action=SOAP_ACTION.lower()),
    "SOAPAction twice": raw("POST /HNAP1/ HTTP/1.1", f"SOAPAction: {HNAP1}GetDeviceSettings"),
    "HTTP/1.0": raw("POST /HNAP1/ HTTP/1.0"),
    "HTTP/0.9": b"POST /HNAP1/\r\n\r\n" + BODY.encode(),
    "expect": raw("POST /HNAP1/ HTTP/1.1", "Expect: 100-continue"),
    "two lengths": raw("POST /HNAP1/ HTTP/1.1", "Content-Length: 0"),
    "length and chunks": raw("POST /HNAP1/ HTTP/1.1", "Transfer-Encoding: chunked"),
    "chunks": raw(
        "POST /HNAP1/ HTTP/1.1",
        "Transfer-Encoding: chunked",
        body=f"{len(BODY):x}\r\n{BODY}\r\n0\r\n\r\n",
        length=False,
    ),
    "a request in a body": raw("POST /index.html HTTP/1.1", soap_action=None, body=raw().decode()),
    "a request behind a page": b"GET /index.html HTTP/1.1\r\nHost: x\r\n\r\n" + raw(),
    "a request behind a GET": b"GET /HNAP1/ HTTP/1.1\r\nHost: x\r\n\r\n" + raw(),
    "a request behind an authorized one": raw(
        "POST /HNAP1/ HTTP/1.1",
        f"Authorization: {RIGHT}",
        soap_action=f"SOAPAction: {HNAP1}GetDeviceSettings",
        body=envelope("GetDeviceSettings"),
    )
    + raw(),
    "a protocol upgrade": raw("POST /HNAP1/ HTTP/1.1", "Connection: Upgrade", "Upgrade: websocket"),
    "an upgrade to HTTP/2": raw(
        "POST /HNAP1/ HTTP/1.1", "Connection: Upgrade, HTTP2-Settings", "Upgrade: h2c", "HTTP2-Settings: AAMAAABk"
    ),
}


@pytest.mark.parametrize("detour", DETOURS)
def test_no_detour_runs_an_action(device, untouched, detour):
    assert not answers_an_action(device.send(DETOURS[detour], close=True))


def test_the_detours_would_take_effect(own_device):
    """With credentials the same bytes change the device: the rows above show something."""
    reply = own_device.send(raw("POST /HNAP1/ HTTP/1.1", f"Authorization: {RIGHT}"))
    assert answers_an_action(reply)
    assert own_device.run("nvram_get", "2860", "HostName") == "Owned\n"


def frame(kind, flags, stream, payload=b""):
    return len(payload).to_bytes(3, "big") + bytes([kind, flags]) + stream.to_bytes(4, "big") + payload


def http2_post(stream, authorization=None):
    """HEADERS without any compression, and DATA."""
    headers = [(":method", "POST"), (":scheme", "http"), (":path", "/HNAP1/"), (":authority", "x")]
    headers += [("soapaction", HNAP1 + "SetDeviceSettings"), ("content-length", str(len(BODY)))]
    if authorization:
        headers.append(("authorization", authorization))
    block = b"".join(
        b"\0" + bytes([len(name)]) + name.encode() + bytes([len(text)]) + text.encode() for name, text in headers
    )
    return frame(1, 4, stream, block) + frame(0, 1, stream, BODY.encode())


PREFACE = b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + frame(4, 0, 0)
GOODBYE = frame(7, 0, 0, bytes(8))
UPGRADE = (
    b"GET /HNAP1/ HTTP/1.1\r\nHost: x\r\nConnection: Upgrade, HTTP2-Settings\r\nUpgrade: h2c\r\n"
    b"HTTP2-Settings: AAMAAABk\r\n\r\n"
)
HTTP2_ON = 'server.feature-flags := ( "server.h2proto" => "enable", "server.h2c" => "enable" )\n'


def boot_with(tmp_path, lines):
    extra = tmp_path / "more.conf"
    extra.write_text(lines)
    return boot(tmp_path / "state", "--server-config", str(extra))


@pytest.mark.parametrize("enabled", [False, True], ids=["off", "on"])
def test_http2(tmp_path, enabled):
    device = boot_with(tmp_path, HTTP2_ON if enabled else "")
    try:
        before = effects_at_rest(device)
        for hello, stream in ((PREFACE, 1), (UPGRADE + PREFACE, 3)):
            reply = device.send(hello + http2_post(stream) + http2_post(stream + 2, WRONG) + GOODBYE, close=True)
            assert not answers_an_action(reply)
        assert effects(device) == before
        # Another stream's credentials are its own.
        reply = device.send(PREFACE + http2_post(1, RIGHT) + http2_post(3) + GOODBYE, close=True)
        assert reply.count(b"<SetDeviceSettingsResult>OK") == (1 if enabled else 0)
    finally:
        device.stop()


# Pages that the server fetches for a refused request, in each way that it knows.
PAGES = {
    "a handler that is the module": 'server.error-handler = "/HNAP1/"\n',
    "a handler for what is not found": 'server.error-handler-404 = "/HNAP1/"\n',
    "intercepted": 'server.error-handler = "/HNAP1/"\nserver.error-intercept = "enable"\n',
    "intercepted, a page": 'server.error-handler = "/index.html"\nserver.error-intercept = "enable"\n',
    "files": 'server.errorfile-prefix = "/tmp/error-"\nserver.error-intercept = "enable"\n',
}


@pytest.mark.parametrize("lines", PAGES.values(), ids=PAGES.keys())
def test_error_pages(tmp_path, lines):
    device = boot_with(tmp_path, lines)
    try:
        device.run("sh", "-c", "echo 'a page' > /tmp/error-401.html")
        before = effects_at_rest(device)
        for refused in (raw(), raw(GET), raw("PUT /HNAP1/ HTTP/1.1"), raw("POST /nowhere HTTP/1.1")):
            assert not answers_an_action(device.send(refused, close=True))
        for page in ("/nowhere", "/nowhere?HNAP"):
            assert not answers_an_action(device.get(page).text)
        reply = device.send(raw(), close=True)
        assert reply.startswith(b"HTTP/1.1 401 ") and b"GetDeviceSettings" not in reply
        assert effects(device) == before
        # What the module itself says with a status of 500 stays its own.
        assert len(device.post_raw("<a></b>").content) == 511
    finally:
        device.stop()


ACCESS_RULES = """
server.modules += ( "mod_access", "mod_auth", "mod_authn_file" )
url.access-deny = ( "" )
auth.backend = "plain"
auth.backend.plain.userfile = "/etc/lighttpd.user"
auth.require = ( "" => ( "method" => "basic", "realm" => "x", "require" => "valid-user" ) )
"""


def test_the_servers_own_rules_do_not_hold(tmp_path):
    """As docs/security.md says: who relies on them must know."""
    device = boot_with(tmp_path, ACCESS_RULES)
    try:
        assert device.get("/index.html").status_code in (401, 403)
        assert device.get().status_code == 200
    finally:
        device.stop()


@pytest.fixture
def front(device, tmp_path):
    """Starts the front server of docs/security.md before the device; gives its address."""
    servers = []

    def start(**changes):
        lines = re.search(r"```\n(server\.modules.*?)```", (REPOSITORY / "docs" / "security.md").read_text(), re.S)
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        users = tmp_path / "users"
        users.write_text("admin:admin\n")
        replaced = {
            '"192.168.1.1"': '"127.0.0.1"',
            "port = 80\n": f"port = {port}\n",
            '"port" => 8080': f'"port" => {device.port}',
            "/etc/lighttpd.user": str(users),
            "/web": str(tmp_path),
            **changes,
        }
        text = lines.group(1)
        for old, new in replaced.items():
            assert old in text
            text = text.replace(old, new)
        (tmp_path / "front.conf").write_text(text)
        command = ["/usr/sbin/lighttpd", "-D", "-f", str(tmp_path / "front.conf")]
        servers.append(subprocess.Popen(command, stderr=subprocess.DEVNULL))
        assert wait_until(lambda: socket.socket().connect_ex(("127.0.0.1", port)) == 0)
        return f"http://127.0.0.1:{port}"

    yield start
    for server in servers:
        server.terminate()
        server.wait()


def test_a_front_server_closes_what_is_open(device, front):
    url = front(**{"192.168.1.0/24": "127.0.0.0/8"})
    assert requests.get(url + "/HNAP1/", timeout=30).status_code == 401
    assert requests.get(url + "/HNAP1/", auth=("admin", "wrong"), timeout=30).status_code == 401
    assert value(requests.get(url + "/HNAP1/", auth=device.login, timeout=30), "VendorName") == "Corvane LLC"
    headers = {"SOAPAction": HNAP1 + "IsDeviceReady"}
    body = envelope("IsDeviceReady")
    assert requests.post(url + "/HNAP1/", data=body, headers=headers, timeout=30).status_code == 401
    reply = requests.post(url + "/HNAP1/", data=body, headers=headers, auth=device.login, timeout=30)
    assert value(reply, "IsDeviceReadyResult") == "OK"


def test_a_front_server_keeps_other_networks_out(device, front):
    url = front()
    assert requests.get(url + "/HNAP1/", auth=device.login, timeout=30).status_code == 403
