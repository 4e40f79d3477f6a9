"""What the module file needs and shows: the device has little more than a C library."""

import os
import shutil
import subprocess

from virtual_extender import MODULE

TOOLS = os.environ.get("KD_TOOL_PREFIX", "")  # of the binutils that know the module's processor
MOST_BYTES = 96 * 1024

LIBRARIES = {"libexpat.so.1", "libnvram.so", "libc.so.6"}
EXPAT = set(
    "XML_ParserCreate XML_SetUserData XML_SetElementHandler XML_SetCharacterDataHandler XML_Parse XML_ParserFree "
    "XML_GetCurrentByteIndex".split()
)
STORE = {"nvram_init", "nvram_bufget", "nvram_bufset", "nvram_commit", "nvram_close"}
# The server cannot be linked against, so a name that it lacks would show only when it loads the module.
SERVERS = {
    "classic": "array_get_element buffer_copy_string_len buffer_free buffer_init buffer_init_string "
    "chunkqueue_get_append_buffer log_error_write response_header_insert",
    "modern": "chunkqueue_append_buffer chunkqueue_append_mem chunkqueue_chunk_pool_clear chunkqueue_read_data "
    "http_header_hkey_get http_header_request_get http_header_response_set log_error",
}


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def symbols(*options):
    """Name and type of each dynamic symbol."""
    lines = output_of(TOOLS + "nm", "--dynamic", "--format=posix", *options, MODULE).splitlines()
    return {tuple(line.split()[:2]) for line in lines}


def test_needs_only_libraries_of_the_device():
    dynamic = output_of(TOOLS + "readelf", "--dynamic", "--wide", MODULE).splitlines()
    needed = {line.split("[")[1].rstrip("]") for line in dynamic if "(NEEDED)" in line}
    assert {name for name in needed if not name.startswith("ld-linux")} <= LIBRARIES


def test_shows_its_entry_point_and_asks_the_server_for_little():
    assert symbols("--defined-only") == {("mod_kd_hnap_plugin_init", "T")}
    wanted = {symbol for symbol, kind in symbols("--undefined-only") if kind == "U" and "@" not in symbol}
    rest = wanted - EXPAT - STORE
    assert any(rest <= set(offered.split()) for offered in SERVERS.values()), rest


def test_is_hardened_and_small(tmp_path):
    assert "NOW" in output_of(TOOLS + "readelf", "--dynamic", "--wide", MODULE)
    segments = output_of(TOOLS + "readelf", "--segments", "--wide", MODULE).splitlines()
    assert any("GNU_RELRO" in line for line in segments)
    assert [line for line in segments if "GNU_STACK" in line and " RW " in line]
    stripped = shutil.copy(MODULE, tmp_path)
    output_of(TOOLS + "strip", "--strip-all", stripped)
    assert (tmp_path / MODULE.name).stat().st_size <= MOST_BYTES
