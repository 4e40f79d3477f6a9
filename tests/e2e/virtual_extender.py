"""The virtual extender with the release module, for these tests; and its processes, as the host sees them."""

import contextlib
import os
import pathlib
import re
import signal
import socket
import struct
import sys
import unittest

import psutil

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("KD_BUILD_DIR", REPOSITORY / "build" / "release"))
# Another build of the extender may boot the same module: the one with the sanitizers.
EXTENDER = pathlib.Path(os.environ.get("KD_EXTENDER", BUILD / "bin" / "extender"))
# Another web server, by the prefix that it was built with; it brings its own module.
SERVER = os.environ.get("KD_SERVER")
MODULE = pathlib.Path(SERVER, "lib", "lighttpd") / "mod_kd_hnap.so" if SERVER else BUILD / "lib" / "mod_kd_hnap.so"
# The module with every action, for the installed server.
VENDOR = pathlib.Path(os.environ.get("KD_VENDOR_DIR", REPOSITORY / "build" / "vendor")) / "lib" / "mod_kd_hnap.so"
CLASSIC = SERVER is not None and "[1.4.29]" in pathlib.Path(SERVER, "source", "configure.ac").read_text()

sys.path.insert(0, str(REPOSITORY / "extender" / "python"))
from kd_extender import EXTENDER_A, EXTENDER_B, HNAP1, NoSandbox, VirtualExtender  # noqa: E402, F401
from kd_extender import basic, envelope, network, value, wait_until  # noqa: E402, F401


def settings(name, password="admin"):
    return {"DeviceName": name, "AdminPassword": password}


def settings2(locale):
    return {"Username": "admin", "TimeZone": "UTC", "AutoAdjustDST": False, "Locale": locale, "SSL": False}


def raw_post(action, arguments="", authorization=basic("admin:admin"), length=None, path="/HNAP1/"):
    """The bytes of a request."""
    body = envelope(action, arguments)
    head = f'POST {path} HTTP/1.1\r\nHost: x\r\nSOAPAction: "{HNAP1}{action}"\r\nAuthorization: {authorization}\r\n'
    return f"{head}Content-Length: {len(body) if length is None else length}\r\n\r\n{body}".encode()


class Device(VirtualExtender):
    """One running virtual extender. Where there can be none, making one skips the test, with the reason."""

    def __init__(self, state, *options, module=MODULE, port=0):
        options = ["--module", module, "--port", port, "--reboot-pause", 200, *options]
        options += ["--server", SERVER] if SERVER else []
        try:
            super().__init__(*options, state=state, extender=EXTENDER)
        except NoSandbox as reason:
            raise unittest.SkipTest(f"no sandbox here: {reason}") from None

    def stop(self):
        if self._output.closed:
            return
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
            self.process.wait(timeout=20)
        said = self.output() + self.console()
        super().stop()
        assert not re.search("Sanitizer|runtime error:", said), said

    def result(self, action, arguments="", namespace=HNAP1):
        return value(self.post(action, arguments, namespace), action + "Result")

    def send(self, data, close=False):
        """Sends raw bytes and gives back everything until the server ends the connection."""
        with self.connect() as connection:
            connection.sendall(data)
            if close:
                connection.shutdown(socket.SHUT_WR)
            return received(connection)

    def send_and_leave(self, data):
        """Sends raw bytes and resets the connection without reading anything."""
        with self.connect() as connection:
            connection.sendall(data)
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))

    def boots(self):
        return self.console().count("init: device ready")

    def reloads(self):
        return self.console().count("Reload WLAN by HNAP\n")


def received(connection):
    """Everything until the connection's end."""
    reply = b""
    while piece := connection.recv(1 << 20):
        reply += piece
    return reply


def process(device, name):
    """A program of the device, as the host sees it."""
    for found in psutil.Process(device.process.pid).children(recursive=True):
        with contextlib.suppress(psutil.Error):
            if found.cmdline()[:1] and found.cmdline()[0].endswith(name):
                return found
    raise RuntimeError(f"no {name} in the device")


def pid_of(device, name):
    return process(device, name).pid


def resident_kb(pid):
    return psutil.Process(pid).memory_info().rss // 1024
