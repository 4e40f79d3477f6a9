#!/usr/bin/env python3
"""Keeps a virtual extender busy with good, slow, aborting and pipelining clients, in rounds.

After each round, with all clients gone, the server's memory, descriptors and children are looked at.
"""

import argparse
import base64
import concurrent.futures
import contextlib
import os
import pathlib
import random
import re
import socket
import struct
import sys
import tempfile
import time
from dataclasses import dataclass, field

from virtual_extender import HNAP1, Device, descendants, envelope, pid_of, resident_kb, wait_until

CLIENTS = 8
REQUESTS = 6  # of each client in a round
WARM_UP = 0.3  # part of the time whose rounds do not count for the memory
MOST_GROWTH_KB = 256
LARGE_REPLY_KB = 2100  # the heap keeps the block of the last one or gives it back, by chance

NETWORK = (
    "<SSID>Home Network</SSID><NetworkType>INFRASTRUCTURE</NetworkType><SecurityEnabled>true</SecurityEnabled>"
    "<SecurityType>WPA2-PSK</SecurityType><Encryption>AES</Encryption><Key>correct horse</Key>"
)
QUICK = [
    ("IsDeviceReady", ""),
    ("GetDeviceSettings", ""),
    ("GetDeviceSettings2", ""),
    ("SetDeviceSettings", "<DeviceName>Soaked</DeviceName><AdminPassword>admin</AdminPassword>"),
    ("SetDeviceSettings", "<DeviceName></DeviceName><AdminPassword>admin</AdminPassword>"),
    ("GetFirmwareSettings", ""),
    ("GetWirelessClientCapabilities", ""),
    ("GetWirelessClientConnectionInfo", ""),
    ("GetWirelessClientSettings", ""),
    ("GetLastSetWirelessClientSettingsResult", ""),
    ("DownloadSpeedTest", "<Bytes>400000</Bytes><BufferSize>1024</BufferSize>"),
    ("DownloadSpeedTest", "<Bytes>2000000</Bytes><BufferSize>1024</BufferSize>"),
    ("IsDeviceReady", "<Unclosed>"),
    ("NoSuchAction", ""),
]
# Seconds each, with the whole server waiting: one a round.
LASTING = [
    ("GetWirelessNetworks", ""),
    ("GetConnectedDevices", ""),
    ("SetWirelessClientSettings", NETWORK),
    ("FirmwareUpload", "<Base64Image>" + "QUJD" * 100_000 + "</Base64Image>"),
]


@dataclass
class Round:
    answered: int = 0
    aborted: int = 0
    unanswered: list = field(default_factory=list)
    memory_kb: int = 0

    def add(self, other):
        self.answered += other.answered
        self.aborted += other.aborted
        self.unanswered += other.unanswered


def request(action, arguments, authorized=True, keep=False):
    body = envelope(action, arguments).encode()
    credentials = base64.b64encode(b"admin:admin" if authorized else b"admin:wrong").decode()
    head = (
        f"POST /HNAP1/ HTTP/1.1\r\nHost: x\r\nAuthorization: Basic {credentials}\r\n"
        f'SOAPAction: "{HNAP1}{action}"\r\nContent-Length: {len(body)}\r\n\r\n'
    )
    return head.encode() + body


STATIC = b"GET /index.html HTTP/1.1\r\nHost: x\r\n\r\n"
SETTINGS = b"GET /HNAP1/ HTTP/1.1\r\nHost: x\r\n\r\n"


def replies(data):
    """The number of whole replies; -1 when something else stands among them."""
    count = 0
    while data:
        head, found, rest = data.partition(b"\r\n\r\n")
        length = re.search(rb"\r\nContent-Length: (\d+)", head)
        if not found or not head.startswith(b"HTTP/1.1 ") or not length or len(rest) < int(length.group(1)):
            return -1
        data = rest[int(length.group(1)) :]
        count += 1
    return count


class Client:
    """One client's share of a round; everything it does follows from its seed."""

    def __init__(self, port, seed):
        self.port = port
        self.random = random.Random(seed)
        self.result = Round()

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port), timeout=120)

    def exchange(self, data, expected, pause=0.0, read=65536):
        """Sends in pieces, when there is a pause between them; expects so many replies and the end."""
        received = b""
        try:
            with self.connect() as connection:
                step = max(1, len(data) // 12) if pause else len(data)
                for start in range(0, len(data), step):
                    connection.sendall(data[start : start + step])
                    time.sleep(pause)
                while piece := connection.recv(read):
                    received += piece
        except OSError as error:
            self.result.unanswered.append(f"{error!r} after {data[:300]!r}")
            return
        if replies(received) == expected:
            self.result.answered += expected
        else:
            self.result.unanswered.append(f"{len(received)} bytes, {received[:200]!r} for {data[:300]!r}")

    def any_request(self):
        return request(*self.random.choice(QUICK), authorized=self.random.random() < 0.9)

    def ordinary(self):
        self.exchange(self.any_request() if self.random.random() < 0.7 else SETTINGS, 1)

    def slow(self):
        self.exchange(self.any_request(), 1, pause=self.random.uniform(0.001, 0.03), read=4096)

    def pipelining(self):
        before = self.random.randrange(5)
        # A reply of the module ends the connection, so nothing behind it counts.
        behind = self.random.choice([b"", STATIC, SETTINGS])
        self.exchange(STATIC * before + self.any_request() + behind, before + 1)

    def aborting(self):
        data = self.any_request()
        end = self.random.choice([self.random.randrange(len(data)), len(data)])
        connection = self.connect()
        connection.sendall(data[:end])
        time.sleep(self.random.choice([0, 0.002, 0.02]))
        if self.random.random() < 0.5:
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        connection.close()
        self.result.aborted += 1

    def run(self, lasting=None):
        if lasting:
            self.exchange(request(*lasting), 1)
        for _ in range(REQUESTS):
            kind = self.random.choices(
                [self.ordinary, self.slow, self.pipelining, self.aborting], weights=[4, 2, 2, 2]
            )[0]
            kind()
        return self.result


def play_round(device, seed, number):
    total = Round()
    with concurrent.futures.ThreadPoolExecutor(CLIENTS) as pool:
        clients = [Client(device.port, f"{seed}-{number}-{index}") for index in range(CLIENTS)]
        lasting = [LASTING[number % len(LASTING)]] + [None] * (CLIENTS - 1)
        for result in pool.map(Client.run, clients, lasting):
            total.add(result)
    return total


def descriptors(pid):
    """What the server holds open, but for pages: it keeps those for some seconds of its own accord."""
    links = []
    for link in pathlib.Path(f"/proc/{pid}/fd").iterdir():
        with contextlib.suppress(FileNotFoundError):
            links.append(os.readlink(link))
    return sorted(link for link in links if not link.startswith("/web/"))


def zombies(device):
    return [pid for pid, state in descendants(device.process.pid) if state == "Z"]


def at_rest(device, server, at_start):
    return descriptors(server) == at_start and not zombies(device)


def settled_memory(device, server):
    """Behind the same requests each time, so that rounds can be compared."""
    for _ in range(3):
        device.post("DownloadSpeedTest", "<Bytes>2000000</Bytes><BufferSize>1024</BufferSize>")
    time.sleep(0.2)
    return resident_kb(server)


def soak(device, seconds, seed=1, report=print):
    """Plays rounds for so long; gives back the faults found, as texts."""
    faults = []
    rounds = []
    device.get()
    server = pid_of(device, "lighttpd")
    time.sleep(1)  # until that connection is gone too
    at_start = descriptors(server)
    start = time.monotonic()
    while time.monotonic() - start < seconds or len(rounds) < 4:
        played = play_round(device, seed, len(rounds))
        faults += played.unanswered
        if not wait_until(lambda: at_rest(device, server, at_start), seconds=20):
            faults.append(f"left open: {descriptors(server)}, at first {at_start}; zombies {zombies(device)}")
        played.memory_kb = settled_memory(device, server)
        rounds.append(played)
        report(
            f"{time.monotonic() - start:7.1f} s  round {len(rounds):4}  answered {played.answered:4}"
            f"  aborted {played.aborted:3}  unanswered {len(played.unanswered)}  memory {played.memory_kb} KB"
        )
        if faults:
            return faults
    if pid_of(device, "lighttpd") != server or device.boots() > 1:
        faults.append("the server or the device was started again")
    if left := device.run("ls", "/var/upload").strip():
        faults.append(f"left in the upload directory: {left}")
    settled = [played.memory_kb for played in rounds[int(len(rounds) * WARM_UP) :]]
    half = len(settled) // 2
    # What leaks raises the floor; a few rounds may all lie on one side of the large block.
    growth = min(settled[half:]) - min(settled[:half])
    allowed = MOST_GROWTH_KB if half >= 10 else MOST_GROWTH_KB + LARGE_REPLY_KB
    report(
        f"answered {sum(r.answered for r in rounds)}, aborted {sum(r.aborted for r in rounds)},"
        f" memory grew by {growth} KB after the warm-up ({allowed} allowed)"
    )
    if growth > allowed:
        faults.append(f"memory grew by {growth} KB after the warm-up")
    return faults


def main():
    parser = argparse.ArgumentParser(prog="scripts/soak", description=__doc__)
    parser.add_argument("minutes", type=float, metavar="MINUTES")
    parser.add_argument("--seed", default="1", help="another seed makes other clients (default 1)")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as state:
        device = Device(pathlib.Path(state))
        try:
            faults = soak(device, options.minutes * 60, options.seed)
        finally:
            device.stop()
    for fault in faults:
        print("FAULT:", fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
