#!/usr/bin/env python3
"""Measures the module inside the stock server, in the virtual extender.

Prints each figure beside its budget and ends non-zero when one is missed.
"""

import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time

from report import exit_status, report, report_list

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "e2e"))
from virtual_extender import BUILD, HNAP1, Device, pid_of, resident_kb  # noqa: E402

# The commands of one GET, run with the same calls of the C library in a loop of their own.
BARE = """
import ctypes, sys, time
libc = ctypes.CDLL(None)
libc.popen.restype = ctypes.c_void_p
libc.fgets.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.c_void_p]
libc.pclose.argtypes = [ctypes.c_void_p]
line = ctypes.create_string_buffer(256)
def cat():
    pipe = libc.popen(b"cat /var/boardid", b"r")
    libc.fgets(line, 99, pipe)
    libc.pclose(pipe)
rounds = int(sys.argv[1])
start = time.perf_counter()
for _ in range(rounds):
    libc.system(b"echo 1 > /tmp/postponeSiteSurvey")
    cat()
    cat()
    libc.system(b"rm -f /tmp/postponeSiteSurvey")
print((time.perf_counter() - start) / rounds * 1000)
"""

# A client that speaks just enough HTTP, so that its own cost does not hide the module's.
CLIENT = """
import socket, sys, time
rounds = int(sys.argv[2])
start = time.perf_counter()
for _ in range(rounds):
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as connection:
        connection.connect(("127.0.0.1", int(sys.argv[1])))
        connection.send(b"GET /HNAP1/ HTTP/1.0\\r\\n\\r\\n")
        while connection.recv(65536):
            pass
print((time.perf_counter() - start) / rounds * 1000)
"""


def device_settings_cost(device):
    rounds = 100
    ratios = []
    for _ in range(9):
        bare = float(device.run("/usr/bin/python3", "-c", BARE, str(rounds)))
        client = [sys.executable, "-c", CLIENT, str(device.port), str(rounds)]
        served = float(subprocess.run(client, capture_output=True, text=True, check=True).stdout)
        ratios.append(served / bare)
    print(f"GetDeviceSettings {served:.3f} ms, its commands alone {bare:.3f} ms (last round)")
    report("GetDeviceSettings: time over that of its commands (median)", statistics.median(ratios), 1.05)


def processes_started(device):
    log = tempfile.NamedTemporaryFile()
    pid = pid_of(device, "lighttpd")
    tracer = subprocess.Popen(
        ["strace", "-f", "-q", "-e", "trace=execve", "-s", "200", "-o", log.name, "-p", str(pid)],
        stderr=subprocess.DEVNULL,
    )
    time.sleep(1)
    device.get()
    time.sleep(1)
    tracer.terminate()
    tracer.wait()
    calls = re.findall(r'execve\("[^"]*", (\[.*?\])', pathlib.Path(log.name).read_text())
    started = [" ".join(json.loads(call)) for call in calls]
    read_board = ["sh -c cat /var/boardid", "cat /var/boardid"]
    wanted = ["sh -c echo 1 > /tmp/postponeSiteSurvey", *read_board, *read_board,
              "sh -c rm -f /tmp/postponeSiteSurvey", "rm -f /tmp/postponeSiteSurvey"]
    report_list("GetDeviceSettings: processes started", started, wanted)


def speed_test(device):
    """DownloadSpeedTest beside a bare server that sends the same bytes from memory."""
    done = subprocess.run(
        [BUILD.parent / "bench" / "bin" / "speedtest", str(device.port), ":".join(device.login),
         str(pid_of(device, "lighttpd"))],
        capture_output=True, text=True, check=True,
    )
    print(done.stdout, end="")
    rate = float(re.search(r"bare server = 1: ([\d.]+)", done.stdout).group(1))
    report("DownloadSpeedTest: rate over the bare server's", rate, 0.7, at_least=True)
    growth = float(re.search(r"= ([\d.]+) replies", done.stdout).group(1))
    report("DownloadSpeedTest: growth of the server's peak memory", growth, 2.2, "replies")


def firmware_upload(device):
    """Peak memory of the server over an upload of 4 MB, whose last check fails, above what it has idle."""
    make = [BUILD / "bin" / "mkfirmware", "--size", str(4 << 20), "--flaw", "data-crc", "--soap", "/dev/zero"]
    body = subprocess.run(make, capture_output=True, check=True).stdout
    pid = pid_of(device, "lighttpd")
    pathlib.Path(f"/proc/{pid}/clear_refs").write_text("5")  # forgets the peak so far
    idle = resident_kb(pid)
    started = time.perf_counter()
    device.post_raw(body, HNAP1 + "FirmwareUpload")
    print(f"FirmwareUpload of {len(body)} bytes: {time.perf_counter() - started:.2f} s, most of them the daemons' shutdown")
    peak = int(re.search(r"VmHWM:\s+(\d+)", pathlib.Path(f"/proc/{pid}/status").read_text()).group(1))
    report("FirmwareUpload: the server's peak memory above idle", (peak - idle) * 1024 / len(body), 1.25, "bodies")


def idle_resident_kb(**options):
    """Of a server that has answered one request for a static page."""
    with tempfile.TemporaryDirectory() as state:
        device = Device(pathlib.Path(state), **options)
        try:
            device.get("/")
            time.sleep(1)
            return resident_kb(pid_of(device, "lighttpd"))
        finally:
            device.stop()


def main():
    report("Idle server: resident size over that without the module",
           idle_resident_kb() / idle_resident_kb(module="none"), 1.15)
    time.sleep(1)  # the kernel is still taking the last sandbox apart, and a new one would wait for that
    with tempfile.TemporaryDirectory() as state:
        started = time.perf_counter()
        device = Device(pathlib.Path(state))
        while True:
            try:
                device.get()
                break
            except OSError:
                time.sleep(0.001)
        report("First answer after start", (time.perf_counter() - started) * 1000, 100, "ms")
        try:
            device_settings_cost(device)
            processes_started(device)
            speed_test(device)
            firmware_upload(device)
            with_module = resident_kb(pid_of(device, "lighttpd"))
        finally:
            device.stop()
    stripped = tempfile.NamedTemporaryFile()
    subprocess.run(["strip", "-o", stripped.name, BUILD / "lib" / "mod_kd_hnap.so"], check=True)
    report("Module, stripped", os.path.getsize(stripped.name) / 1024, 64, "KB")
    print(f"Resident size of the server after these requests: {with_module} KB")
    return exit_status()


if __name__ == "__main__":
    sys.exit(main())
