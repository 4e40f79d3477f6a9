"""Firmware upload: the image travels through the server's temporary files into the flash and boots."""

import subprocess
import time

import pytest

from conftest import boot
from virtual_extender import BUILD, HNAP1, value, wait_until


MAKER = BUILD / "bin" / "mkfirmware"


def upload(device, tmp_path, *options):
    data = tmp_path / "data"
    data.write_bytes(bytes(range(256)) * 512)  # larger than what the server keeps in memory
    body = subprocess.run(
        [MAKER, "--name", 'demo\n"image', "--soap", *options, data],
        capture_output=True,
        check=True,
    ).stdout
    return value(device.post_raw(body, HNAP1 + "FirmwareUpload"), "FirmwareUploadResult")


def processes(device):
    return device.run("ps")


def test_device_restarts_into_the_uploaded_image(own_device, tmp_path):
    assert wait_until(lambda: "kd_wps_led" in processes(own_device))
    assert upload(own_device, tmp_path, "--board", "0x027215") == "REBOOT"
    assert wait_until(lambda: own_device.boots() == 2)
    assert r'name="demo\x0A\"image" board=0x00027215' in own_device.console().split("init: restarting")[-1]


@pytest.mark.parametrize(
    "flaw", ["short", "magic", "header-crc", "maker-magic", "board", "data-crc", "huge-data-size", "no-tags", "empty"]
)
def test_bad_image_is_refused(device, tmp_path, flaw):
    assert upload(device, tmp_path, "--board", "027215", "--flaw", flaw) == "ERROR"
    assert not device.exists("/var/hnapUploadedFirmware")
    assert not device.exists("/var/upgrade_progress")
    assert device.boots() == 1


@pytest.mark.parametrize("options", [["--flaw", "no-tags"], ["--flaw", "x"], ["--board", "zz"], ["--board", "123456789"], ["--size", "-1"]])
def test_image_maker_refuses(options):
    done = subprocess.run([MAKER, *options, "/dev/null"], capture_output=True)
    assert done.returncode != 0 and done.stdout == b"" and done.stderr


@pytest.mark.parametrize("scenario, progress", [("flash-fails", ""), ("flash-stalls", "42\n")])
def test_flash_writer_that_does_not_finish(tmp_path, scenario, progress):
    device = boot(tmp_path, "--scenario", scenario)
    try:
        device.run("sh", "-c", "head -c 100 /dev/zero > /tmp/image; mtd_write -o 0 -l 100 write /tmp/image Kernel >/dev/null 2>&1 &")
        read = lambda: device.run("sh", "-c", "cat /var/upgrade_progress 2>/dev/null; true")
        assert wait_until(lambda: read() == progress)
        time.sleep(0.3)
        assert read() == progress
        assert ("mtd_write" in processes(device)) == bool(progress)
    finally:
        device.stop()


def test_locale_is_kept(own_device):
    arguments = (
        "<Username>admin</Username><TimeZone>UTC</TimeZone><AutoAdjustDST>false</AutoAdjustDST>"
        "<Locale>fr-ca</Locale><SSL>false</SSL>"
    )
    assert value(own_device.post("SetDeviceSettings2", arguments), "SetDeviceSettings2Result") == "OK"
    assert value(own_device.post("GetDeviceSettings2"), "Locale") == "fr-ca"
    assert "Initial multi-language success! Current language is CA.\n" in own_device.console()
