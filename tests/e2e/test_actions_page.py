"""docs/actions.md: every example on the page is exchanged again, and the answer must be the one that stands there."""

import os
import pathlib
import re
from concurrent.futures import ThreadPoolExecutor

import pytest

from conftest import boot
from virtual_extender import HNAP1, MODULE, REPOSITORY, SERVER, wait_until

PAGE = REPOSITORY / "docs" / "actions.md"
VENDOR = pathlib.Path(os.environ.get("KD_VENDOR_DIR", REPOSITORY / "build" / "vendor")) / "lib" / "mod_kd_hnap.so"
# They restart the device, or keep it waiting: each has one of its own.
ALONE = {"Reboot", "RestoreFactoryDefaults", "FirmwareUpload", "StartWPS"}
# Made up, or counted.
VOLATILE = re.compile(r"(<(Noise|Packets\w+|Bytes\w+)>)\d+(</)")


def examples():
    """(action, request, reply, whether it waits for registration), in the page's order."""
    text = PAGE.read_text()
    pattern = r"^### (\w+)\n(?:(?!^### ).)*?^```xml\n(.*?)^```\n\n```xml\n(.*?)^```$"
    waiting = text.index("\n## Waiting for registration")
    return [
        (found[1], found[2].strip(), found[3], found.start() > waiting)
        for found in re.finditer(pattern, text, re.M | re.S)
    ]


def answer(device, action, request):
    """The response element, as it came."""
    reply = device.post_raw(f"<Envelope><Body>{request}</Body></Envelope>", HNAP1 + action, timeout=60)
    found = re.search(r"<soap:Body>\n(.*)</soap:Body>", reply.text, re.S)
    return found.group(1) if found else reply.text


def fits(reply, expected):
    """Whether a reply is what the page shows, where a line "..." stands for any lines."""
    plain = [re.escape(VOLATILE.sub(r"\1#\3", part)) for part in re.split(r"^\.\.\.\n", expected, flags=re.M)]
    return re.fullmatch("(?:.*\n)*".join(plain), VOLATILE.sub(r"\1#\3", reply)) is not None


def play(state, options, module, rows):
    """Plays examples in their order on a device; gives those that were answered differently."""
    device = boot(state, *options, module=module)
    wrong = []
    try:
        for action, request, expected, _ in rows:
            replies = []
            # What is read after a change comes true in a moment.
            matches = lambda: replies.append(answer(device, action, request)) or fits(replies[-1], expected)
            if not wait_until(matches, seconds=10 if action.startswith("Get") else 0.01):
                wrong.append((action, replies[-1] if replies else ""))
    finally:
        device.stop()
    return wrong


def groups(quick):
    """(options of a device, its module, its examples): what can share a device does."""
    rows = examples()
    for waits in [False] if SERVER else [False, True]:  # another server has the shipped module only
        options = ["--scenario", str(quick)]
        module = VENDOR if waits else MODULE
        yield options, module, [row for row in rows if row[3] == waits and row[0] not in ALONE]
        for row in rows:
            if row[3] == waits and row[0] in ALONE:
                yield options, module, [row]


def test_examples_of_the_page(tmp_path, device):
    quick = tmp_path / "quick"
    quick.mkdir()
    (quick / "settings").write_text("upgrade_time=100\n")
    if not SERVER and not VENDOR.exists():
        pytest.skip("no module with all actions: scripts/build vendor makes it")
    assert len({row[0] for row in examples()}) == 26
    listed = set(re.findall(r"/(\w+)</string>", device.get().text))
    assert listed == {row[0] for row in examples() if not row[3]}
    with ThreadPoolExecutor(8) as pool:
        wrong = pool.map(
            lambda numbered: play(tmp_path / str(numbered[0]), *numbered[1]), enumerate(groups(quick))
        )
        assert [row for rows in wrong for row in rows] == []
