"""Boots the virtual extender with the release module and talks to it as a client application would."""

import base64
import contextlib
import os
import pathlib
import re
import signal
import socket
import struct
import subprocess
import time
import unittest

import psutil
import requests

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

HNAP1 = "http://purenetworks.com/HNAP1/"
EXTENDER_A = "http://kelda.example/HNAPExt/Extender/"
EXTENDER_B = "http://corvane.example/HNAPExt/Extender/"


def envelope(action, arguments="", namespace=HNAP1):
    start = '<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body>'
    element = f'<{action} xmlns="{namespace}">{arguments}</{action}>'
    return f'<?xml version="1.0" encoding="utf-8"?>\n{start}{element}</soap:Body></soap:Envelope>'


def basic(text):
    return "Basic " + base64.b64encode(text.encode()).decode()


def network(ssid, key="", kind="WPA2-PSK", encryption="AES"):
    """The arguments of a choice of network; an open one when there is no key."""
    if not key:
        kind = encryption = ""
    return (
        f"<SSID>{ssid}</SSID><NetworkType>INFRASTRUCTURE</NetworkType>"
        f"<SecurityEnabled>{str(bool(key)).lower()}</SecurityEnabled>"
        f"<SecurityType>{kind}</SecurityType><Encryption>{encryption}</Encryption><Key>{key}</Key>"
    )


def settings(name, password="admin"):
    return f"<DeviceName>{name}</DeviceName><AdminPassword>{password}</AdminPassword>"


def settings2(locale):
    kept = "<Username>admin</Username><TimeZone>UTC</TimeZone><AutoAdjustDST>false</AutoAdjustDST>"
    return f"{kept}<Locale>{locale}</Locale><SSL>false</SSL>"


def raw_post(action, arguments="", authorization=basic("admin:admin"), length=None, path="/HNAP1/"):
    """The bytes of a request."""
    body = envelope(action, arguments)
    head = f'POST {path} HTTP/1.1\r\nHost: x\r\nSOAPAction: "{HNAP1}{action}"\r\nAuthorization: {authorization}\r\n'
    return f"{head}Content-Length: {len(body) if length is None else length}\r\n\r\n{body}".encode()


class Device:
    """One running virtual extender. Where there can be none, making one skips the test, with the reason."""

    def __init__(self, state, *options, module=MODULE, port=0):
        self.state = state
        self.login = ("admin", "admin")
        command = [EXTENDER, "run", "--module", module, "--port", port, "--state", state, "--reboot-pause", "200"]
        command += ["--server", SERVER, *options] if SERVER else options
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT, "text": True}
        self.process = subprocess.Popen([*map(str, command)], **streams)
        output = ""
        for line in self.process.stdout:
            output += line
            if found := re.search(r"http://127\.0\.0\.1:(\d+)", line):
                self.url, self.port = found[0], int(found[1])
                return
        no_sandbox = self.process.wait() == 77
        raise unittest.SkipTest(f"no sandbox here: {output}") if no_sandbox else RuntimeError(output)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def request(self, method, path="/HNAP1/", timeout=30, **more):
        reply = requests.request(method, self.url + path, timeout=timeout, **more)
        reply.encoding = "utf-8"  # replies name no charset, and guessing the one of megabytes takes seconds
        return reply

    def get(self, path="/HNAP1/"):
        return self.request("GET", path)

    def post_raw(self, body, soap_action=HNAP1 + "IsDeviceReady", **more):
        more = {"auth": self.login, **more}
        return self.request("POST", data=body, headers={"SOAPAction": f'"{soap_action}"'}, **more)

    def post(self, action, arguments="", namespace=HNAP1):
        return self.post_raw(envelope(action, arguments, namespace), namespace + action)

    def result(self, action, arguments="", namespace=HNAP1):
        return value(self.post(action, arguments, namespace), action + "Result")

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port), timeout=60)

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

    def command(self, subcommand, *words, check=True):
        """Runs a sub-command of the extender for this device."""
        command = [EXTENDER, *subcommand, "--state", self.state, *words]
        return subprocess.run(command, capture_output=True, text=True, timeout=30, check=check).stdout

    def run(self, *command, check=True):
        """Runs a command inside the device."""
        return self.command(["exec"], "--", *command, check=check)

    def stored(self, key):
        return self.run("nvram_get", "2860", key)[:-1]

    def exists(self, path):
        return self.run("sh", "-c", f"test -e {path} && echo yes", check=False) == "yes\n"

    def console(self):
        return (self.state / "console.log").read_text(errors="replace")

    def boots(self):
        return self.console().count("init: device ready")

    def reloads(self):
        return self.console().count("Reload WLAN by HNAP\n")

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
        output = self.process.communicate(timeout=20)[0]
        said = output + self.console()
        assert not re.search("Sanitizer|runtime error:", said), said


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


def wait_until(condition, seconds=30):
    """True as soon as the condition holds."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if condition():
            return True
        time.sleep(0.05)
    return False


def value(reply, element):
    """The text of the first such element; None when there is none."""
    found = re.search(f"<{element}>(.*?)</{element}>", reply.text, re.S)
    return found and found[1]
