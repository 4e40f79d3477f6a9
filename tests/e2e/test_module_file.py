"""What the module file needs and shows: the device has little more than a C library."""

import os
import shutil
import subprocess

from virtual_extender import MODULE

TOOLS = os.environ.get("KD_TOOL_PREFIX", "")  # of the binutils that know the module's processor
MOST_BYTES = 96 * 1024
LIBRARIES = {"libexpat.so.1", "libnvram.so", "libc.so.6"}


def output_of(tool, *options):
    return subprocess.check_output([TOOLS + tool, *options, MODULE], text=True)


def test_needs_and_shows_little():
    dynamic = output_of("readelf", "--dynamic", "--wide").splitlines()
    needed = {line.split("[")[1].rstrip("]") for line in dynamic if "(NEEDED)" in line}
    assert {name for name in needed if not name.startswith("ld-linux")} <= LIBRARIES
    shown = output_of("nm", "--dynamic", "--format=posix", "--defined-only").splitlines()
    assert [line.split()[:2] for line in shown] == [["mod_kd_hnap_plugin_init", "T"]]


def test_is_hardened_and_small(tmp_path):
    assert "NOW" in output_of("readelf", "--dynamic", "--wide")
    segments = output_of("readelf", "--segments", "--wide").splitlines()
    assert any("GNU_RELRO" in line for line in segments)
    assert [line for line in segments if "GNU_STACK" in line and " RW " in line]
    stripped = shutil.copy(MODULE, tmp_path)
    subprocess.run([TOOLS + "strip", "--strip-all", stripped], check=True)
    assert os.path.getsize(stripped) <= MOST_BYTES
