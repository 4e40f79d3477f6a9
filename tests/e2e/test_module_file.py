"""What the module file needs and shows: the device has little more than a C library."""

import os
import shutil
import subprocess

from virtual_extender import MODULE

TOOLS = os.environ.get("KD_TOOL_PREFIX", "")  # of the binutils that know the module's processor
MOST_BYTES = 96 * 1024
LIBRARIES = {"libexpat.so.1", "libnvram.so", "libc.so.6"}
# Of the server: it cannot be linked against, so a name that it lacks would show only when it loads the module.
CLASSIC = """array_get_element buffer_copy_string_len buffer_free buffer_init buffer_init_string
    chunkqueue_get_append_buffer log_error_write response_header_insert"""
MODERN = """chunkqueue_append_buffer chunkqueue_append_mem chunkqueue_chunk_pool_clear chunkqueue_read_data
    http_header_hkey_get http_header_request_get http_header_response_set log_error"""


def output_of(tool, *options):
    return subprocess.run([TOOLS + tool, *options, MODULE], check=True, capture_output=True, text=True).stdout


def symbols(*options):
    """Name and type of each dynamic symbol."""
    lines = output_of("nm", "--dynamic", "--format=posix", *options).splitlines()
    return {tuple(line.split()[:2]) for line in lines}


def test_needs_and_shows_little():
    dynamic = output_of("readelf", "--dynamic", "--wide").splitlines()
    needed = {line.split("[")[1].rstrip("]") for line in dynamic if "(NEEDED)" in line}
    assert {name for name in needed if not name.startswith("ld-linux")} <= LIBRARIES
    assert symbols("--defined-only") == {("mod_kd_hnap_plugin_init", "T")}
    wanted = {symbol for symbol, kind in symbols("--undefined-only") if kind == "U" and "@" not in symbol}
    rest = {symbol for symbol in wanted if not symbol.startswith(("XML_", "nvram_"))}
    assert any(rest <= set(offered.split()) for offered in (CLASSIC, MODERN)), rest


def test_is_hardened_and_small(tmp_path):
    assert "NOW" in output_of("readelf", "--dynamic", "--wide")
    segments = output_of("readelf", "--segments", "--wide").splitlines()
    assert any("GNU_RELRO" in line for line in segments)
    assert [line for line in segments if "GNU_STACK" in line and " RW " in line]
    stripped = shutil.copy(MODULE, tmp_path)
    subprocess.run([TOOLS + "strip", "--strip-all", stripped], check=True)
    assert os.path.getsize(stripped) <= MOST_BYTES
