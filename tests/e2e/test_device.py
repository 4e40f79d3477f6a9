"""Settings, restart, factory reset and firmware, with the device's own programs behind them."""

import subprocess
import time

import pytest
import requests

from virtual_extender import BUILD, HNAP1, SERVER, settings, value, wait_until

MAKER = BUILD / "bin" / "mkfirmware"


def answers(device):
    try:
        return device.get().status_code == 200
    except requests.ConnectionError:
        return False


def test_reboot_and_factory_reset(own_device):
    assert own_device.result("SetDeviceSettings", settings("Attic")) == "OK"
    assert own_device.result("Reboot") == "REBOOT"
    assert wait_until(lambda: not answers(own_device))
    assert wait_until(lambda: own_device.boots() == 2 and answers(own_device))
    assert value(own_device.get(), "DeviceName") == "Attic"

    started = time.monotonic()
    assert own_device.result("RestoreFactoryDefaults") == "REBOOT" and time.monotonic() - started >= 5
    assert wait_until(lambda: own_device.boots() == 3 and answers(own_device))
    assert value(own_device.get(), "DeviceName") == "Extender"


@pytest.mark.skipif(SERVER is not None, reason="it starts the installed server")
def test_a_configuration_test_leaves_the_device_alone(device):
    device.run("nvram_set", "2860", "LastSetWirelessClientResult", "5")
    folder = lambda name: device.run("sh", "-c", f"dirname $(find / -xdev -name {name} 2> /dev/null | head -n 1)")[:-1]
    test = f"LD_LIBRARY_PATH={folder('libnvram.so')} lighttpd -tt -f /etc/lighttpd.conf -m {folder('mod_kd_hnap.so')}"
    device.run("sh", "-c", test)
    assert device.stored("LastSetWirelessClientResult") == "5"


def upload(device, tmp_path, *options):
    data = tmp_path / "data"
    data.write_bytes(bytes(range(256)) * 512)  # larger than what the server keeps in memory
    body = subprocess.check_output([MAKER, "--name", 'demo\n"image', "--soap", *options, data])
    return value(device.post_raw(body, HNAP1 + "FirmwareUpload"), "FirmwareUploadResult")


def test_device_restarts_into_the_uploaded_image(own_device, tmp_path):
    assert wait_until(lambda: "kd_wps_led" in own_device.run("ps"))
    assert upload(own_device, tmp_path, "--board", "0x027215") == "REBOOT"
    assert wait_until(lambda: own_device.boots() == 2)
    assert r'name="demo\x0A\"image" board=0x00027215' in own_device.console().split("init: restarting")[-1]


@pytest.mark.parametrize("options", ["--flaw no-tags", "--flaw x", "--board zz", "--board 123456789", "--size -1"])
def test_image_maker_refuses(options):
    done = subprocess.run([MAKER, *options.split(), "/dev/null"], capture_output=True)
    assert done.returncode != 0 and done.stdout == b"" and done.stderr


@pytest.mark.parametrize("scenario, progress", [("flash-fails", ""), ("flash-stalls", "42\n")])
def test_flash_writer_that_does_not_finish(start, scenario, progress):
    device = start("--scenario", scenario)
    write = "head -c 100 /dev/zero > /tmp/image; mtd_write -o 0 -l 100 write /tmp/image Kernel"
    device.run("sh", "-c", f"({write}; echo ended > /tmp/ended) > /dev/null 2>&1 &")
    read = lambda: device.run("sh", "-c", "cat /var/upgrade_progress 2> /dev/null; true")
    assert wait_until(lambda: read() == progress and device.exists("/tmp/ended") == (not progress))
