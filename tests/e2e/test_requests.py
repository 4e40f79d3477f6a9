"""Requests and replies over real HTTP: which are taken, what comes back, byte for byte, and what is left behind."""

import concurrent.futures

import pytest
import requests

from virtual_extender import CLASSIC, HNAP1, envelope, pid_of, process, raw_post, received, resident_kb, value, wait_until

ENVELOPE = (
    '<?xml version="1.0" encoding="utf-8"?>\r\n'
    '<soap:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"'
    ' xmlns:xsd="http://www.w3.org/2001/XMLSchema"'
    ' xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/">'
)


def error_page(message):
    page = (
        f"<html><head><title>Document Error: {message}</title></head>\r\n"
        f"\t\t<body><h2>Access Error: {message}</h2>\r\n\t\t<p>{message}</p></body></html>\r\n"
    )
    return page.encode().ljust(511, b"\0")


BAD_XML = error_page("XML PARSE STATUS NOT OK ERROR")
BAD_STRUCTURE = error_page("HANDLE REQUEST INITIAL ERROR")
EMPTY_BODY = error_page("CONTENT LEN == 0 XML PARSE ERROR")


def test_reply_bytes(device):
    reply = device.post("IsDeviceReady")
    assert reply.status_code == 200
    assert reply.headers["Connection"] == "close"
    assert "Content-Type" not in reply.headers
    assert reply.text == ENVELOPE + (
        "\n<soap:Body>\n"
        '<IsDeviceReadyResponse xmlns="http://purenetworks.com/HNAP1/">\n'
        "<IsDeviceReadyResult>OK</IsDeviceReadyResult>\n"
        "</IsDeviceReadyResponse>\n</soap:Body>\n</soap:Envelope>\n"
    )


@pytest.mark.parametrize(
    "method, path, headers, taken",
    [
        ("GET", "/HNAP1/", {}, True),
        ("GET", "/x?y=HNAP", {}, True),
        ("GET", "/hnap1/", {}, False),
        ("GET", "/a/../HNAP1", {}, True),
        ("GET", "/HN%41P1/", {}, False),
        ("GET", "/", {"SOAPAction": "x"}, True),
        ("GET", "/", {"soapaction": "x"}, True),
        ("POST", "/HNAP1/", {}, False),
    ],
)
def test_which_requests_are_taken(device, method, path, headers, taken):
    request = requests.Request(method, device.url, headers=headers).prepare()
    request.url = device.url + path
    with requests.Session() as session:
        reply = session.send(request, timeout=30)
    assert ("GetDeviceSettingsResponse" in reply.text) == taken


PADDING = "<!--" + "x" * 25000 + "-->"


@pytest.mark.parametrize(
    "body, expected",
    [
        ("", EMPTY_BODY),
        ("x" * 5_000_000, BAD_STRUCTURE),
        ("<a></b>", BAD_XML),
        (envelope("IsDeviceReady") + PADDING, BAD_XML),  # the second pass begins at the start again
    ],
    ids=lambda value: repr(value[:20]) + str(len(value)),
)
def test_unreadable_bodies(device, body, expected):
    reply = device.post_raw(body)
    assert (reply.status_code, reply.content, reply.headers["Connection"]) == (500, expected, "close")
    assert value(device.post("IsDeviceReady"), "IsDeviceReadyResult") == "OK"


def test_the_largest_body_costs_little(device):
    """48 MB that begin like XML and never go on like it."""
    seconds = lambda: sum(process(device, "lighttpd").cpu_times()[:2])
    before = seconds()
    reply = device.post_raw(b"<?x " + b"y" * 48_000_000)
    assert (reply.status_code, len(reply.content)) == (500, 511)
    assert seconds() - before < 0.5
    assert device.run("ls", "/var/upload") == ""


@pytest.mark.parametrize("method", ["PUT", "DELETE", "OPTIONS", "HEAD", "PATCH", "TRACE"])
def test_other_methods_run_nothing(device, method):
    request = f'{method} /HNAP1/ HTTP/1.1\r\nHost: x\r\nSOAPAction: "{HNAP1}Reboot"\r\nContent-Length: 0\r\n\r\n'
    head, body = device.send(request.encode()).split(b"\r\n\r\n", 1)
    assert device.boots() == 1
    if CLASSIC and method in ("PATCH", "TRACE"):  # this server answers what it does not know itself
        assert head.startswith(b"HTTP/1.1 501 ")
        return
    assert head.startswith(b"HTTP/1.1 200 ") and body == b""
    assert b"Content-Length: 0" in head or (method == "HEAD" and b"Content-Length" not in head)


def test_body_in_pieces(device):
    data = raw_post("IsDeviceReady")
    for close in (False, True):  # the second client vanishes in the middle
        with device.connect() as connection:
            connection.sendall(data[:-200])
            device.get()  # answered in between
            if not close:
                connection.sendall(data[-200:])
                assert b"IsDeviceReadyResult" in received(connection)
    assert b"IsDeviceReadyResult" not in device.send(raw_post("IsDeviceReady", length=5000), close=True)
    if CLASSIC:  # this server refuses bodies of an unknown length
        return
    pieces = (envelope("IsDeviceReady").encode()[i : i + 7] for i in range(0, 400, 7))
    assert value(device.post_raw(pieces), "IsDeviceReadyResult") == "OK"


def test_request_waits_for_the_site_survey(device):
    waited = lambda: device.console().count("Postpone HNAP request since device under scanning\n")
    device.run("sh", "-c", "echo 1 > /tmp/scanning")
    with concurrent.futures.ThreadPoolExecutor() as pool:
        answer = pool.submit(device.get)
        assert wait_until(lambda: waited() == 2) and not answer.done()
        device.run("rm", "/tmp/scanning")
        assert answer.result().status_code == 200


GET = b"GET /HNAP1/ HTTP/1.1\r\nHost: x\r\n\r\n"
PAGE = b"GET /index.html HTTP/1.1\r\nHost: x\r\n\r\n"


def test_survey_marker_goes_with_the_connection(device):
    """It has gone when the client sees the connection's end."""
    for data, gone in [
        (GET, True),
        (raw_post("IsDeviceReady", path="/"), False),  # a URI without the name leaves it
        (PAGE + PAGE.replace(b"x\r", b"x\r\nConnection: close\r"), False),
        (PAGE + GET, True),
        (raw_post("IsDeviceReady", path="/") + GET, False),  # what follows a reply is not read any more
        (raw_post("IsDeviceReady"), True),
    ]:
        reply = device.send(data)
        assert reply.startswith(b"HTTP/1.1 200 ")
        assert device.exists("/tmp/postponeSiteSurvey") != gone, data


def test_replies_leave_no_memory_behind(device):
    """A survey's entry that stayed each time would be ten times as much."""
    server = pid_of(device, "lighttpd")
    survey = lambda count: [device.send(raw_post("GetWirelessNetworks")) for _ in range(count)]
    survey(100)
    before = resident_kb(server)
    survey(500)
    assert resident_kb(server) <= before + 8

    large = lambda: device.post("DownloadSpeedTest", "<Bytes>2099571</Bytes><BufferSize>1024</BufferSize>")
    assert value(large(), "ByteStream") == "y" * 2_099_571
    before = resident_kb(server)
    for _ in range(8):
        large()
    assert resident_kb(server) < before + 5000
