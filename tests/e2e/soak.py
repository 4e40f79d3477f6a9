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

STATIC = b"GET /index.html HTTP/1.1\r\nHost: x\r\n\r\n"
SETTINGS = b"GET /HNAP1/ HTTP/1.1\r\nHost: x\r\n\r\n"
download = lambda size: raw_post("DownloadSpeedTest", f"<Bytes>{size}</Bytes><BufferSize>1024</BufferSize>")
ACTIONS = "IsDeviceReady GetDeviceSettings GetDeviceSettings2 GetFirmwareSettings GetWirelessClientCapabilities "
ACTIONS += "GetWirelessClientConnectionInfo GetWirelessClientSettings GetWirelessNetworks NoSuchAction"
SMALL = [raw_post(action) for action in ACTIONS.split()] + [
    raw_post("SetDeviceSettings", "<DeviceName>Soaked</DeviceName><AdminPassword>admin</AdminPassword>"),
    raw_post("SetDeviceSettings", "<DeviceName></DeviceName><AdminPassword>admin</AdminPassword>"),
    raw_post("IsDeviceReady", "<Unclosed>"),
    raw_post("IsDeviceReady", authorization=basic("admin:wrong")),
    download(1000),
    SETTINGS.replace(b"x\r", b"x\r\nConnection: close\r"),
]
# Seconds each, with the whole server waiting: one a round.
LASTING = [
    raw_post("GetConnectedDevices"),
    raw_post("SetWirelessClientSettings", network("Home Network", "correct horse")),
    raw_post("FirmwareUpload", "<Base64Image>" + "QUJD" * 100_000 + "</Base64Image>"),
]


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


def exchange(device, data, expected=1, pause=0.0):
    """Sends in pieces, when there is a pause between them; the fault when that brings not so many replies."""
    try:
        with device.connect() as connection:
            step = len(data) // 12 if pause else len(data)
            for start in range(0, len(data), step):
                connection.sendall(data[start : start + step])
                time.sleep(pause)
            reply = received(connection)
    except OSError as error:
        return [f"{error!r} after {data[:300]!r}"]
    return [] if replies(reply) == expected else [f"{len(reply)} bytes, {reply[:200]!r} for {data[:300]!r}"]


def play(device, seed, lasting):
    """One client's share of a round; everything it does follows from its seed."""
    choose = random.Random(seed)
    faults = exchange(device, lasting) if lasting else []
    for _ in range(REQUESTS):
        data = choose.choice([*SMALL, download(400_000), download(2_000_000)])
        kind = choose.choices(["ordinary", "slow", "pipelining", "aborting"], weights=[4, 2, 2, 2])[0]
        if kind == "aborting":
            device.send_and_leave(data[: choose.randrange(len(data))])
        elif kind == "pipelining":  # a reply of the module ends the connection, so nothing behind it counts
            before = choose.randrange(5)
            faults += exchange(device, STATIC * before + data + STATIC, before + 1)
        else:
            faults += exchange(device, data, pause=choose.uniform(0.001, 0.03) if kind == "slow" else 0)
    return faults


def left_open(device, server):
    """What the server holds open, but for pages, which it keeps for some seconds of its own accord; and zombies."""
    found = []
    for link in pathlib.Path(f"/proc/{server.pid}/fd").iterdir():
        with contextlib.suppress(FileNotFoundError):
            found.append(os.readlink(link))
    for child in psutil.Process(device.process.pid).children(recursive=True):
        with contextlib.suppress(psutil.NoSuchProcess):
            found += ["a zombie"] if child.status() == psutil.STATUS_ZOMBIE else []
    return sorted(what for what in found if not what.startswith("/web/"))


def leaks(device, server, end, report):
    """One request after the other; each fifteenth client vanishes."""
    faults, number = [], 0
    while number < 6 * WARM_UP or time.monotonic() < end:
        if number == WARM_UP:
            before = resident_kb(server.pid)
        if number % 15 == 14:
            device.send_and_leave(SMALL[0][:-20])
        faults += exchange(device, SMALL[number % len(SMALL)])
        number += 1
    growth = resident_kb(server.pid) - before
    report(f"{number} requests one after the other: memory grew by {growth} KB ({MOST_GROWTH_KB} allowed)")
    return faults + ([f"memory grew by {growth} KB"] if growth > MOST_GROWTH_KB else [])


def soak(device, seconds, seed="1", report=print):
    """Both parts, half of the time each; gives back the faults found, as texts."""
    server = process(device, "lighttpd")
    at_start = left_open(device, server)
    start = time.monotonic()
    faults = leaks(device, server, start + seconds / 2, report)
    number = 0
    while not faults and (time.monotonic() < start + seconds or number < len(LASTING)):
        lasting = [LASTING[number % len(LASTING)]] + [None] * (CLIENTS - 1)
        with concurrent.futures.ThreadPoolExecutor(CLIENTS) as pool:
            seeds = [f"{seed}-{number}-{index}" for index in range(CLIENTS)]
            faults += sum(pool.map(play, [device] * CLIENTS, seeds, lasting), [])
        if not wait_until(lambda: len(left_open(device, server)) <= len(at_start)):
            faults.append(f"left open: {left_open(device, server)}, at first {at_start}")
        number += 1
        report(f"{time.monotonic() - start:7.1f} s  round {number:4}  memory {resident_kb(server.pid)} KB")
    if process(device, "lighttpd") != server or device.boots() > 1:
        faults.append("the server or the device was started again")
    if left := device.run("ls", "/var/upload").strip():
        faults.append(f"left in the upload directory: {left}")
    return faults


if __name__ == "__main__":
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
    sys.exit("\n".join("FAULT: " + fault for fault in faults))
