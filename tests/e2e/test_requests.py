"""Requests and replies over real HTTP: which are taken, what comes back, byte for byte."""

import base64

import pytest
import requests

from virtual_extender import HNAP1, envelope, value, wait_until

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
        ("POST", "/HNAP1/", {}, False),
    ],
)
def test_which_requests_are_taken(device, method, path, headers, taken):
    request = requests.Request(method, device.url, headers=headers).prepare()
    request.url = device.url + path
    with requests.Session() as session:
        reply = session.send(request, timeout=30)
    assert ("GetDeviceSettingsResponse" in reply.text) == taken


def basic(text):
    return "Basic " + base64.b64encode(text).decode()


@pytest.mark.parametrize(
    "authorization, status",
    [
        (basic(b"admin:admin"), 200),
        ("x" + basic(b"admin:admin"), 200),  # the scheme is searched, not compared
        (basic(b"admin:admin\0"), 401),
        ("Digest YWRtaW46YWRtaW4=", 401),
        (None, 401),
    ],
)
def test_credentials(device, authorization, status):
    headers = {"SOAPAction": HNAP1 + "IsDeviceReady"}
    if authorization:
        headers["Authorization"] = authorization
    reply = requests.post(device.url + "/HNAP1/", data=envelope("IsDeviceReady"), headers=headers, timeout=30)
    assert reply.status_code == status
    if status == 401:
        assert reply.headers["WWW-Authenticate"] == 'Basic realm="NX220"'
        assert "IsDeviceReady" not in reply.text


PADDING = "<!--" + "x" * 25000 + "-->"


@pytest.mark.parametrize(
    "body, expected",
    [
        ("", EMPTY_BODY),
        ("x" * 5_000_000, BAD_STRUCTURE),
        ("<a></b>", BAD_XML),
        (envelope("IsDeviceReady") + PADDING, BAD_XML),
        ("<a>" * 6826, BAD_STRUCTURE),  # as deep as one pass goes
        (envelope("IsDeviceReady") + "\0" * 2_000_000, BAD_XML),  # the second pass begins at the start again
    ],
    ids=lambda value: repr(value[:20]) + str(len(value)),
)
def test_unreadable_bodies(device, body, expected):
    reply = device.post_raw(body)
    assert (reply.status_code, reply.content) == (500, expected)
    assert value(device.post("IsDeviceReady"), "IsDeviceReadyResult") == "OK"


@pytest.mark.parametrize("method", ["PUT", "DELETE", "OPTIONS", "HEAD", "PATCH", "TRACE"])
def test_other_methods_run_nothing(device, method):
    reply = requests.request(
        method, device.url + "/HNAP1/", headers={"SOAPAction": HNAP1 + "Reboot"}, auth=device.login, timeout=30
    )
    assert reply.content == b""
    assert device.boots() == 1


def test_length_larger_than_the_body(device):
    document = envelope("IsDeviceReady").encode()
    head = (
        f"POST /HNAP1/ HTTP/1.1\r\nHost: x\r\nSOAPAction: {HNAP1}IsDeviceReady\r\n"
        f"Content-Length: {len(document) + 10}\r\n\r\n"
    ).encode()
    assert b"IsDeviceReadyResult" not in device.send(head + document, close=True)
    assert value(device.post("IsDeviceReady"), "IsDeviceReadyResult") == "OK"


def test_chunked_body(device):
    pieces = (envelope("IsDeviceReady").encode()[i : i + 7] for i in range(0, 400, 7))
    assert value(device.post_raw(pieces), "IsDeviceReadyResult") == "OK"


def test_request_waits_for_the_site_survey(device):
    device.run("sh", "-c", "echo 1 > /tmp/scanning; (sleep 1.5; rm /tmp/scanning) > /dev/null 2>&1 &")
    assert device.get().status_code == 200
    assert not device.exists("/tmp/scanning")
    assert device.console().count("Postpone HNAP request since device under scanning\n") == 2


def test_survey_marker_goes_with_the_connection(device):
    gone = lambda: not device.exists("/tmp/postponeSiteSurvey")
    device.get()
    assert wait_until(gone)
    device.post_raw(envelope("IsDeviceReady"), path="/")  # a URI without the name leaves it
    assert not wait_until(gone, seconds=0.5)
    device.get()
    assert wait_until(gone)
