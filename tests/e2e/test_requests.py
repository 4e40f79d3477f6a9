"""Requests and replies over real HTTP: which are taken, what comes back, and what is left behind."""

import pytest

from virtual_extender import CLASSIC, HNAP1, envelope, process, raw_post, received, value

TAKEN = ["GET /HNAP1/", "GET /x?y=HNAP", "GET /a/../HNAP1", "GET / SOAPAction: x", "GET / soapaction: x"]
LEFT_ALONE = ["GET /hnap1/", "GET /HN%41P1/", "POST /HNAP1/ Content-Length: 0"]


@pytest.mark.parametrize("request_line", TAKEN + LEFT_ALONE)
def test_which_requests_are_taken(device, request_line):
    method, path, header = (request_line + " X: x").split(" ", 2)
    reply = device.send(f"{method} {path} HTTP/1.1\r\nHost: x\r\n{header}\r\n\r\n".encode(), close=True)
    assert (b"GetDeviceSettingsResponse" in reply) == (request_line in TAKEN)


@pytest.mark.parametrize(
    "body, message",
    [
        (b"", "CONTENT LEN == 0 XML PARSE ERROR"),
        (b"<?x " + b"y" * 48_000_000, "HANDLE REQUEST INITIAL ERROR"),  # begins like XML and never goes on like it
        (b"<a></b>", "XML PARSE STATUS NOT OK ERROR"),
        # Its second pass begins at the start again.
        (envelope("IsDeviceReady") + "<!--" + "x" * 25000 + "-->", "XML PARSE STATUS NOT OK ERROR"),
    ],
    ids=lambda value: repr(value[:20]) + str(len(value)),
)
def test_unreadable_bodies_cost_little(device, body, message):
    seconds = lambda: sum(process(device, "lighttpd").cpu_times()[:2])
    before = seconds()
    reply = device.post_raw(body)
    assert (reply.status_code, len(reply.content), reply.headers["Connection"]) == (500, 511, "close")
    assert f"<h2>Access Error: {message}</h2>" in reply.text
    assert seconds() - before < 0.5 and device.run("ls", "/var/upload") == ""
    assert device.result("IsDeviceReady") == "OK"


@pytest.mark.parametrize("method", ["PUT", "DELETE", "OPTIONS", "HEAD", "PATCH", "TRACE"])
def test_other_methods_run_nothing(device, method):
    request = f'{method} /HNAP1/ HTTP/1.1\r\nHost: x\r\nSOAPAction: "{HNAP1}Reboot"\r\nContent-Length: 0\r\n\r\n'
    head, body = device.send(request.encode()).split(b"\r\n\r\n", 1)
    assert device.boots() == 1
    if CLASSIC and method in ("PATCH", "TRACE"):  # this server answers what it does not know itself
        assert b" 501 " in head.splitlines()[0]
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
    if not CLASSIC:  # that server refuses bodies of an unknown length
        pieces = (envelope("IsDeviceReady").encode()[i : i + 7] for i in range(0, 400, 7))
        assert value(device.post_raw(pieces), "IsDeviceReadyResult") == "OK"


GET = b"GET /HNAP1/ HTTP/1.1\r\nHost: x\r\n\r\n"
PAGE = b"GET /index.html HTTP/1.1\r\nHost: x\r\n\r\n"


def test_survey_marker_goes_with_the_connection(device):
    """It has gone when the client sees the connection's end."""
    for data, gone in [
        (GET, True),
        (raw_post("IsDeviceReady", path="/"), False),  # a URI without the name leaves it
        (PAGE + GET, True),
        (raw_post("IsDeviceReady", path="/") + GET, False),  # what follows a reply is not read any more
        (raw_post("IsDeviceReady"), True),
    ]:
        reply = device.send(data)
        assert reply.startswith(b"HTTP/1.1 200 ")
        assert device.exists("/tmp/postponeSiteSurvey") != gone, data
