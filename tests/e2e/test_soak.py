#!/usr/bin/env python3
"""Keeps a virtual extender busy, and looks at what its server is left with. As a program (scripts/soak) for longer.

First one client after the other asks for every small thing: with nothing else in the way, the server's memory tells a
leak of few bytes a request. Then rounds of clients at once, good, slow and aborting, some with large bodies and
replies: after each round all descriptors are closed and all children gone.
"""

import argparse
import concurrent.futures
import contextlib
import os
import pathlib
import random
import re
import tempfile
import time

import psutil

from virtual_extender import Device, basic, network, process, raw_post, received, resident_kb, settings, wait_until

CLIENTS = 8
REQUESTS = 6  # of each client in a round
WARM_UP = 200  # requests that may still grow the heap
MOST_GROWTH_KB = 64

download = lambda size: raw_post("DownloadSpeedTest", f"<Bytes>{size}</Bytes><BufferSize>1024</BufferSize>")
ACTIONS = "IsDeviceReady GetDeviceSettings GetDeviceSettings2 GetFirmwareSettings GetWirelessClientCapabilities "
ACTIONS += "GetWirelessClientConnectionInfo GetWirelessClientSettings GetWirelessNetworks NoSuchAction"
SMALL = [raw_post(action) for action in ACTIONS.split()] + [
    raw_post("SetDeviceSettings", settings("Soaked")),
    raw_post("SetDeviceSettings", settings("")),
    raw_post("IsDeviceReady", "<Unclosed>"),
    raw_post("IsDeviceReady", authorization=basic("admin:wrong")),
    download(1000),
    b"GET /HNAP1/ HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n",
]
# Seconds each, with the whole server waiting: one a round.
LASTING = [
    raw_post("GetConnectedDevices"),
    raw_post("SetWirelessClientSettings", network("Home Network", "correct horse")),
    raw_post("FirmwareUpload", "<Base64Image>" + "QUJD" * 100_000 + "</Base64Image>"),
]


def exchange(device, data, pause=0.0):
    """Sends, in pieces when there is a pause between them, which must bring one whole reply."""
    step = len(data) // 12 if pause else len(data)
    with device.connect() as connection:
        for start in range(0, len(data), step):
            connection.sendall(data[start : start + step])
            time.sleep(pause)
        reply = received(connection)
    head = re.match(rb"HTTP/1\.1 (?:[^\r]+\r\n)+?Content-Length: (\d+)\r\n(?:[^\r]+\r\n)*\r\n", reply)
    assert head and len(reply) == head.end() + int(head[1]), f"{reply[:200]!r} for {data[:300]!r}"


def play(device, seed, lasting):
    """One client's share of a round; everything it does follows from its seed."""
    choose = random.Random(seed)
    if lasting:
        exchange(device, lasting)
    for _ in range(REQUESTS):
        data = choose.choice([*SMALL, download(400_000), download(2_000_000)])
        kind = choose.choices(["ordinary", "slow", "aborting"], weights=[2, 1, 1])[0]
        if kind == "aborting":
            device.send_and_leave(data[: choose.randrange(len(data))])
        else:
            exchange(device, data, pause=choose.uniform(0.001, 0.03) if kind == "slow" else 0)


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


def one_after_the_other(device, server, end):
    """Each fifteenth client vanishes."""
    number = 0
    while number < 6 * WARM_UP or time.monotonic() < end:
        if number == WARM_UP:
            before = resident_kb(server.pid)
        if number % 15 == 14:
            device.send_and_leave(SMALL[0][:-20])
        exchange(device, SMALL[number % len(SMALL)])
        number += 1
    growth = resident_kb(server.pid) - before
    print(f"{number} requests one after the other: memory grew by {growth} KB")
    assert growth <= MOST_GROWTH_KB


def soak(device, seconds, seed="1"):
    """Both parts, half of the time each."""
    server = process(device, "lighttpd")
    at_start = left_open(device, server)
    start = time.monotonic()
    one_after_the_other(device, server, start + seconds / 2)
    number = 0
    while time.monotonic() < start + seconds or number < len(LASTING):
        lasting = [LASTING[number % len(LASTING)]] + [None] * (CLIENTS - 1)
        with concurrent.futures.ThreadPoolExecutor(CLIENTS) as pool:
            list(pool.map(play, [device] * CLIENTS, [f"{seed}-{number}-{i}" for i in range(CLIENTS)], lasting))
        closed = wait_until(lambda: len(left_open(device, server)) <= len(at_start))
        assert closed, f"left open: {left_open(device, server)}, at first {at_start}"
        number += 1
        print(f"{time.monotonic() - start:7.1f} s  round {number:4}  memory {resident_kb(server.pid)} KB")
    assert process(device, "lighttpd") == server and device.boots() == 1, "the server or the device was started again"
    assert device.run("ls", "/var/upload") == ""


def test_a_short_soak(own_device):
    soak(own_device, seconds=5)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(prog="scripts/soak", description=__doc__)
    parser.add_argument("minutes", type=float, metavar="MINUTES")
    parser.add_argument("--seed", default="1", help="another seed makes other clients (default 1)")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as state, Device(pathlib.Path(state)) as device:
        soak(device, options.minutes * 60, options.seed)
