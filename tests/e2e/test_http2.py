"""Several requests of one connection, which only HTTP/2 allows: credentials, deferred actions, the server's signals."""

import pytest

from virtual_extender import CLASSIC, HNAP1, basic, envelope, network, received, settings, wait_until

SETTINGS = settings("Owned", "owned")


def frame(kind, flags, stream, payload=b""):
    return len(payload).to_bytes(3, "big") + bytes([kind, flags]) + stream.to_bytes(4, "big") + payload


def http2(stream, action=None, arguments="", authorization=None, path="/HNAP1/"):
    """HEADERS without any compression, and DATA; a GET without an action."""
    body = envelope(action, arguments).encode() if action else b""
    headers = [(":method", "POST" if action else "GET"), (":scheme", "http"), (":path", path), (":authority", "x")]
    if action:
        headers += [("soapaction", HNAP1 + action), ("content-length", str(len(body)))]
    if authorization:
        headers.append(("authorization", authorization))
    field = lambda text: bytes([len(text)]) + text.encode()
    block = b"".join(b"\0" + field(name) + field(text) for name, text in headers)
    return frame(1, 4 if action else 5, stream, block) + (frame(0, 1, stream, body) if action else b"")


RIGHT, WRONG = basic("admin:admin"), basic("admin:wrong")
PREFACE = b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + frame(4, 0, 0)
GOODBYE = frame(7, 0, 0, bytes(8))


@pytest.fixture
def http2_device(start):
    if CLASSIC:
        pytest.skip("this server knows no HTTP/2")
    features = '"server.h2proto" => "enable", "server.h2c" => "enable"'
    return start(server=f"server.feature-flags := ( {features} )\nserver.max-keep-alive-idle = 1\n")


def test_is_off(device):
    reply = device.send(PREFACE + http2(1, "SetDeviceSettings", SETTINGS, RIGHT), close=True)
    assert b"SetDeviceSettingsResult" not in reply


def test_each_stream_has_its_own_credentials(http2_device):
    post = lambda stream, authorization=None: http2(stream, "SetDeviceSettings", SETTINGS, authorization)
    reply = http2_device.send(PREFACE + post(1) + post(3, WRONG) + GOODBYE, close=True)
    assert b"SetDeviceSettingsResponse" not in reply
    assert http2_device.stored("HostName") == "Extender"
    reply = http2_device.send(PREFACE + post(1, RIGHT) + post(3) + GOODBYE, close=True)
    assert reply.count(b"<SetDeviceSettingsResult>OK") == 1


def received_until(connection, text):
    reply = b""
    while text not in reply:
        piece = connection.recv(65536)
        assert piece, reply
        reply += piece


@pytest.mark.parametrize("signal", ["", "HUP", "USR1"])
def test_deferred_action_waits_for_the_end(http2_device, signal):
    """Requests behind the choice change nothing, nor does the server when it reopens its logs or restarts."""
    device = http2_device
    with device.connect() as connection:
        connection.sendall(PREFACE + http2(1, "SetWirelessClientSettings", network("Coffee Guest"), RIGHT))
        received_until(connection, b"<SetWirelessClientSettingsResult>REBOOT")
        connection.sendall(http2(3) + http2(5, path="/index.html"))
        received_until(connection, b"</html>")
        assert device.reloads() == 0
        if signal:
            device.run("killall", "-" + signal, "lighttpd")
        if signal == "USR1":
            received(connection)  # the server ends it
        else:
            assert device.result("IsDeviceReady") == "OK"
            assert device.reloads() == 0
    assert wait_until(lambda: device.reloads() == 1)
    assert wait_until(lambda: "<Result>SUCCESS<" in device.post("GetLastSetWirelessClientSettingsResult").text)
    assert device.reloads() == 1
    assert wait_until(lambda: not device.exists("/tmp/postponeSiteSurvey"))
