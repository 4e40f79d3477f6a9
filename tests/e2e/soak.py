#!/usr/bin/env python3
"""Keeps a virtual extender busy, and looks at what its server is left with.

First one client after the other asks for every small thing: with nothing else in the way, the server's memory tells a
leak of few bytes a request. Then rounds of clients at once, good, slow, aborting and pipelining, some with large
bodies and replies: after each round all descriptors are closed and all children gone.
"""

import argparse
import concurrent.futures
import contextlib
import os
import pathlib
import random
import re
import sys
import tempfile
import time

import psutil

from virtual_extender import Device, basic, network, process, raw_post, received, resident_kb, wait_until

CLIENTS = 8
REQUESTS = 6  # of each client in a round
WARM_UP = 200  # requests that may still grow the heap
MOST_GROWTH_KB = 64

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
    ("GetWirelessNetworks", ""),
    ("GetLastSetWirelessClientSettingsResult", ""),
    ("DownloadSpeedTest", "<Bytes>1000</Bytes><BufferSize>1000</BufferSize>"),
    ("IsDeviceReady", "<Unclosed>"),
    ("NoSuchAction", ""),
]
LARGE = [("DownloadSpeedTest", f"<Bytes>{size}</Bytes><BufferSize>1024</BufferSize>") for size in (400_000, 2_000_000)]
# Seconds each, with the whole server waiting: one a round.
LASTING = [
    ("GetConnectedDevices", ""),
    ("SetWirelessClientSettings", network("Home Network", "correct horse")),
    ("FirmwareUpload", "<Base64Image>" + "QUJD" * 100_000 + "</Base64Image>"),
]
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
    """One client's share of a round; everything it does follows from its seed. Counts what was answered."""

    def __init__(self, device, seed):
        self.device = device
        self.random = random.Random(seed)
        self.answered = 0
        self.faults = []

    def exchange(self, data, expected=1, pause=0.0):
        """Sends in pieces, when there is a pause between them; expects so many replies and the end."""
        reply = b""
        try:
            with self.device.connect() as connection:
                step = max(1, len(data) // 12) if pause else len(data)
                for start in range(0, len(data), step):
                    connection.sendall(data[start : start + step])
                    time.sleep(pause)
                reply = received(connection)
        except OSError as error:
            self.faults.append(f"{error!r} after {data[:300]!r}")
            return
        if replies(reply) == expected:
            self.answered += expected
        else:
            self.faults.append(f"{len(reply)} bytes, {reply[:200]!r} for {data[:300]!r}")

    def small_request(self, number):
        """Each in turn: the actions, refused credentials, no action at all, and a client that vanishes."""
        number %= len(QUICK) + 3
        if number < len(QUICK):
            self.exchange(raw_post(*QUICK[number]))
        elif number == len(QUICK):
            self.exchange(raw_post("IsDeviceReady", authorization=basic("admin:wrong")))
        elif number == len(QUICK) + 1:
            self.exchange(STATIC + SETTINGS, 2)
        else:
            self.device.send_and_leave(raw_post("GetDeviceSettings")[:-20])

    def run(self, lasting=None):
        if lasting:
            self.exchange(raw_post(*lasting))
        for _ in range(REQUESTS):
            data = raw_post(*self.random.choice(QUICK + LARGE))
            kind = self.random.choices(["ordinary", "slow", "pipelining", "aborting"], weights=[4, 2, 2, 2])[0]
            if kind == "ordinary":
                self.exchange(data)
            elif kind == "slow":
                self.exchange(data, pause=self.random.uniform(0.001, 0.03))
            elif kind == "pipelining":  # a reply of the module ends the connection, so nothing behind it counts
                before = self.random.randrange(5)
                self.exchange(STATIC * before + data + STATIC, before + 1)
            else:
                self.device.send_and_leave(data[: self.random.randrange(len(data))])
        return self


def descriptors(server):
    """What the server holds open, but for pages: it keeps those for some seconds of its own accord."""
    links = []
    for link in pathlib.Path(f"/proc/{server.pid}/fd").iterdir():
        with contextlib.suppress(FileNotFoundError):
            links.append(os.readlink(link))
    return sorted(link for link in links if not link.startswith("/web/"))


def zombies(device):
    found = []
    for child in psutil.Process(device.process.pid).children(recursive=True):
        with contextlib.suppress(psutil.NoSuchProcess):
            found += [child] if child.status() == psutil.STATUS_ZOMBIE else []
    return found


def leaks(device, server, end, report):
    """One request after the other; gives back the faults found, as texts."""
    client = Client(device, 0)
    number = 0
    while number < 6 * WARM_UP or time.monotonic() < end:
        if number == WARM_UP:
            before = resident_kb(server.pid)
        client.small_request(number)
        number += 1
    growth = resident_kb(server.pid) - before
    report(f"{number} requests one after the other: memory grew by {growth} KB ({MOST_GROWTH_KB} allowed)")
    return client.faults + ([f"memory grew by {growth} KB"] if growth > MOST_GROWTH_KB else [])


def soak(device, seconds, seed=1, report=print):
    """Both parts, half of the time each; gives back the faults found, as texts."""
    server = process(device, "lighttpd")
    at_start = descriptors(server)
    start = time.monotonic()
    faults = leaks(device, server, start + seconds / 2, report)
    number = 0
    while not faults and (time.monotonic() < start + seconds or number < len(LASTING)):
        with concurrent.futures.ThreadPoolExecutor(CLIENTS) as pool:
            clients = [Client(device, f"{seed}-{number}-{index}") for index in range(CLIENTS)]
            played = list(pool.map(Client.run, clients, [LASTING[number % len(LASTING)]] + [None] * (CLIENTS - 1)))
        faults += sum((client.faults for client in played), [])
        if not wait_until(lambda: descriptors(server) == at_start and not zombies(device), seconds=20):
            faults.append(f"left open: {descriptors(server)}, at first {at_start}; zombies {zombies(device)}")
        number += 1
        answered = sum(client.answered for client in played)
        report(f"{time.monotonic() - start:7.1f} s  round {number:4}  answered {answered:4}  memory {resident_kb(server.pid)} KB")
    if process(device, "lighttpd") != server or device.boots() > 1:
        faults.append("the server or the device was started again")
    if left := device.run("ls", "/var/upload").strip():
        faults.append(f"left in the upload directory: {left}")
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
