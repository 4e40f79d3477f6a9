"""Boots the virtual extender with the release module and talks to it as a client application would."""

import os
import pathlib
import re
import signal
import socket
import struct
import subprocess
import time

import requests

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("KD_BUILD_DIR", REPOSITORY / "build" / "release"))
# Another build of the extender may boot the same module: the one with the sanitizers.
EXTENDER = pathlib.Path(os.environ.get("KD_EXTENDER", BUILD / "bin" / "extender"))
NO_SANDBOX_STATUS = 77

HNAP1 = "http://purenetworks.com/HNAP1/"
EXTENDER_A = "http://kelda.example/HNAPExt/Extender/"
EXTENDER_B = "http://corvane.example/HNAPExt/Extender/"


def envelope(action, arguments="", namespace=HNAP1):
    return (
        '<?xml version="1.0" encoding="utf-8"?>\n'
        '<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body>'
        f'<{action} xmlns="{namespace}">{arguments}</{action}>'
        "</soap:Body></soap:Envelope>"
    )


class NoSandbox(Exception):
    """The virtual extender cannot run here; the text says why."""


def as_utf8(reply):
    """Replies name no charset, and guessing the one of megabytes takes seconds."""
    reply.encoding = "utf-8"
    return reply


class Device:
    """One running virtual extender."""

    def __init__(self, state, *options):
        self.state = state
        self.login = ("admin", "admin")
        module = [] if "--module" in options else ["--module", BUILD / "lib" / "mod_kd_hnap.so"]
        command = [EXTENDER, "run", *module, "--port", "0", "--state", state, "--reboot-pause", "200"]
        self.process = subprocess.Popen(
            [*map(str, command), *options], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
        )
        output = ""
        for line in self.process.stdout:
            output += line
            if found := re.search(r"http://127\.0\.0\.1:(\d+)", line):
                self.url, self.port = found.group(0), int(found.group(1))
                return
        raise NoSandbox(output) if self.process.wait() == NO_SANDBOX_STATUS else RuntimeError(output)

    def post_raw(self, body, soap_action=HNAP1 + "IsDeviceReady", auth=None, path="/HNAP1/", timeout=30):
        headers = {"SOAPAction": f'"{soap_action}"'}
        return as_utf8(
            requests.post(self.url + path, data=body, headers=headers, auth=auth or self.login, timeout=timeout)
        )

    def post(self, action, arguments="", namespace=HNAP1):
        return self.post_raw(envelope(action, arguments, namespace), namespace + action)

    def get(self, path="/HNAP1/"):
        return as_utf8(requests.get(self.url + path, timeout=30))

    def send(self, data, close=False):
        """Sends raw bytes and gives back everything until the server ends the connection."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=30) as connection:
            connection.sendall(data)
            if close:
                connection.shutdown(socket.SHUT_WR)
            reply = b""
            while piece := connection.recv(65536):
                reply += piece
            return reply

    def send_and_leave(self, data):
        """Sends raw bytes and resets the connection without reading anything."""
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=30)
        connection.sendall(data)
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        connection.close()

    def command(self, subcommand, *words, check=True):
        """Runs a sub-command of the extender for this device."""
        done = subprocess.run(
            [EXTENDER, *subcommand, "--state", self.state, *words],
            capture_output=True,
            text=True,
            timeout=30,
            check=check,
        )
        return done.stdout

    def run(self, *command, check=True):
        """Runs a command inside the device."""
        return self.command(["exec"], "--", *command, check=check)

    def exists(self, path):
        return self.run("sh", "-c", f"test -e {path} && echo yes", check=False) == "yes\n"

    def console(self):
        return (self.state / "console.log").read_text(errors="replace")

    def boots(self):
        return self.console().count("init: device ready")

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
        self.process.wait(timeout=10)
        self.process.stdout.close()


def parents():
    """Parent and state of every process, by id."""
    found = {}
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            state, parent = (entry / "stat").read_text().rsplit(")", 1)[1].split()[:2]
        except (OSError, ValueError):
            continue
        found[int(entry.name)] = int(parent), state
    return found


def descendants(pid):
    """Ids and states of a process's children, their children and so on."""
    table = parents()
    found = []
    family = {pid}
    while grown := {child for child, (parent, _) in table.items() if parent in family} - family:
        family |= grown
        found += [(child, table[child][1]) for child in grown]
    return found


def pid_of(device, name):
    """The host's process id of a program of the device."""
    for pid, _ in descendants(device.process.pid):
        try:
            command = pathlib.Path(f"/proc/{pid}/cmdline").read_bytes().split(b"\0")
        except OSError:
            continue
        if command[0].endswith(name.encode()):
            return pid
    raise RuntimeError(f"no {name} in the device")


def resident_kb(pid):
    return int(re.search(r"^Rss:\s+(\d+)", pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text(), re.M).group(1))


def wait_until(condition, seconds=15):
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
    return found.group(1) if found else None
