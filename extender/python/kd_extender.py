"""Virtual extenders for test suites in Python: a device of its own for a test, as it is to an app.

    from kd_extender import VirtualExtender, value

    with VirtualExtender("--scenario", "crowded") as device, device.fault("late", "ms=2000", "share=30", "seed=7"):
        assert value(device.post("IsDeviceReady"), "IsDeviceReadyResult") == "OK"

Needs Python 3.9, requests, and the program `extender` on the path.
"""

import base64
import collections.abc
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import urllib.parse
import xml.sax.saxutils

import requests

HNAP1 = "http://purenetworks.com/HNAP1/"
EXTENDER_A = "http://kelda.example/HNAPExt/Extender/"
EXTENDER_B = "http://corvane.example/HNAPExt/Extender/"


class ExtenderError(RuntimeError):
    """The device did not start; the text is what `extender` said."""


class NoSandbox(ExtenderError):
    """This system refuses the namespaces that a device runs in: skip the test, or allow them."""


def elements(arguments):
    """XML of a mapping: a list repeats its element, a mapping nests. A text is XML already."""
    if isinstance(arguments, str):
        return arguments
    all_of_them = ""
    for name, value in arguments.items():
        for each in value if isinstance(value, list) else [value]:
            inside = elements(each) if isinstance(each, collections.abc.Mapping) else _text(each)
            all_of_them += f"<{name}>{inside}</{name}>"
    return all_of_them


def _text(value):
    return str(value).lower() if isinstance(value, bool) else xml.sax.saxutils.escape(str(value))


def envelope(action, arguments="", namespace=HNAP1):
    """The body of a request."""
    start = '<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body>'
    element = f'<{action} xmlns="{namespace}">{elements(arguments)}</{action}>'
    return f'<?xml version="1.0" encoding="utf-8"?>\n{start}{element}</soap:Body></soap:Envelope>'


def network(ssid, key="", security="WPA2-PSK", encryption="AES"):
    """The arguments of SetWirelessClientSettings; an open network when there is no key."""
    secured = bool(key)
    return {
        "SSID": ssid,
        "NetworkType": "INFRASTRUCTURE",
        "SecurityEnabled": secured,
        "SecurityType": security if secured else "",
        "Encryption": encryption if secured else "",
        "Key": key,
    }


def basic(credentials):
    """The value of an Authorization header for "user:password"."""
    return "Basic " + base64.b64encode(credentials.encode()).decode()


def value(reply, element):
    """The text of a reply's first such element; None when there is none."""
    found = re.search(f"<{element}>(.*?)</{element}>", reply.text, re.S)
    return found and xml.sax.saxutils.unescape(found[1], {"&quot;": '"', "&apos;": "'"})


def wait_until(condition, seconds=30):
    """True as soon as the condition holds, False when it does not in that time."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if condition():
            return True
        time.sleep(0.05)
    return False


class VirtualExtender:
    """One running device, on a free port. It ends with its `with`, or by `stop`.

    `options` are those of `extender run`. `state` is its directory; without one it lives in a temporary folder. Raises
    NoSandbox or ExtenderError when it does not start.
    """

    def __init__(self, *options, state=None, extender="extender", login=("admin", "admin")):
        self._temporary = None if state else tempfile.mkdtemp(prefix="kd-extender-")
        self.state = pathlib.Path(state or self._temporary)
        self.login = login
        self._extender = extender
        self._output = tempfile.TemporaryFile("w+")
        words = [] if "--port" in options else ["--port", 0]
        read, write = os.pipe()
        with open(read) as ready:
            words = [extender, "run", "--state", self.state, "--ready-fd", write, *words, *options]
            self.process = subprocess.Popen(
                [*map(str, words)], stdout=self._output, stderr=subprocess.STDOUT, pass_fds=[write]
            )
            os.close(write)
            self.url = ready.readline().strip()
        if not self.url:
            status = self.process.wait()
            said = self.output()
            self._forget()
            raise NoSandbox(said) if status == 77 else ExtenderError(said)
        self.port = urllib.parse.urlsplit(self.url).port

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        """Ends the device; nothing of it is left but a state directory that was given."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
        self.process.wait(timeout=20)
        self._forget()

    def _forget(self):
        self._output.close()
        if self._temporary:
            shutil.rmtree(self._temporary, ignore_errors=True)

    def request(self, method, path="/HNAP1/", timeout=30, **more):
        """Any HTTP request, with the parameters of `requests.request`."""
        reply = requests.request(method, self.url + path, timeout=timeout, **more)
        reply.encoding = "utf-8"  # replies name no charset, and guessing the one of megabytes takes seconds
        return reply

    def get(self, path="/HNAP1/"):
        return self.request("GET", path)

    def post(self, action, arguments="", namespace=HNAP1):
        """An action with its arguments, a mapping or XML."""
        return self.post_raw(envelope(action, arguments, namespace), namespace + action)

    def post_raw(self, body, soap_action=HNAP1 + "IsDeviceReady", **more):
        """Any body, with the login unless `auth` is given."""
        return self.request("POST", data=body, headers={"SOAPAction": f'"{soap_action}"'}, **{"auth": self.login, **more})

    def connect(self):
        """A connection for raw bytes."""
        return socket.create_connection(("127.0.0.1", self.port), timeout=60)

    def command(self, *words, check=True):
        """What a sub-command of `extender` for this device prints: command("radio", "link", "down")."""
        words = [self._extender, "--state", self.state, *words]
        return subprocess.run([*map(str, words)], capture_output=True, text=True, timeout=30, check=check).stdout

    def run(self, *command, check=True):
        """What a command inside the device prints."""
        return self.command("exec", "--", *command, check=check)

    @contextlib.contextmanager
    def fault(self, kind, *fields):
        """A fault or scene that lasts as long as its `with`: fault("cut", "at=in", "action=GetWirelessNetworks")."""
        self.command("fault", "add", kind, *fields)
        try:
            yield
        finally:
            self.command("fault", "clear", kind, check=False)  # it may have ended by itself

    def journal(self):
        """What happened so far, a dictionary for each line: see `extender log --json`."""
        return [json.loads(line) for line in self.command("log", "--json").splitlines()]

    def console(self):
        """The device's console and the server's error log."""
        return (self.state / "console.log").read_text(errors="replace")

    def output(self):
        """What `extender run` said."""
        self._output.seek(0)
        return self._output.read()

    def stored(self, key):
        """A value of the configuration store; an absent one is empty."""
        return self.run("nvram_get", "2860", key)[:-1]

    def exists(self, path):
        """Whether a file is there, inside the device."""
        return self.run("sh", "-c", f"test -e {path} && echo yes", check=False) == "yes\n"
