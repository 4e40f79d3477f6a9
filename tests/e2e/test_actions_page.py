"""docs/actions.md: every example on the page is exchanged again, and the answer must be the one that stands there."""

import re
from concurrent.futures import ThreadPoolExecutor

import pytest

from virtual_extender import HNAP1, MODULE, REPOSITORY, SERVER, VENDOR, Device, wait_until

PAGE = (REPOSITORY / "docs" / "actions.md").read_text()
# They restart the device, or keep it waiting: each has one of its own.
ALONE = {"Reboot", "RestoreFactoryDefaults", "FirmwareUpload", "StartWPS"}
# Made up, or counted.
VOLATILE = re.compile(r"(<(Noise|Packets\w+|Bytes\w+)>)\d+(</)")


def examples():
    """(action, request, reply, whether it waits for registration), in the page's order."""
    pattern = r"^### (\w+)\n(?:(?!^### ).)*?^```xml\n(.*?)^```\n\n```xml\n(.*?)^```$"
    waiting = PAGE.index("\n## Waiting for registration")
    for found in re.finditer(pattern, PAGE, re.M | re.S):
        yield found[1], found[2].strip(), found[3], found.start() > waiting


def answer(device, action, request):
    """The response element, as it came."""
    reply = device.post_raw(f"<Envelope><Body>{request}</Body></Envelope>", HNAP1 + action, timeout=60)
    found = re.search(r"<soap:Body>\n(.*)</soap:Body>", reply.text, re.S)
    return found.group(1) if found else reply.text


def fits(reply, expected):
    """Whether a reply is what the page shows, where a line "..." stands for any lines."""
    plain = [re.escape(VOLATILE.sub(r"\1#\3", part)) for part in re.split(r"^\.\.\.\n", expected, flags=re.M)]
    return re.fullmatch("(?:.*\n)*".join(plain), VOLATILE.sub(r"\1#\3", reply)) is not None


def play(state, scenario, rows):
    """Plays examples in their order on a device; gives those that were answered differently."""
    wrong = []
    with Device(state, "--scenario", scenario, module=VENDOR if rows[0][3] else MODULE) as device:
        for action, request, expected, _ in rows:
            replies = []
            # What is read after a change comes true in a moment.
            matches = lambda: replies.append(answer(device, action, request)) or fits(replies[-1], expected)
            if not wait_until(matches, seconds=10 if action.startswith("Get") else 0.01):
                wrong.append((action, replies[-1]))
    return wrong


def test_examples_of_the_page(tmp_path, device):
    (tmp_path / "quick").mkdir()
    (tmp_path / "quick" / "settings").write_text("upgrade_time=100\n")
    if not SERVER and not VENDOR.exists():
        pytest.skip("no module with all actions: scripts/build vendor makes it")
    rows = list(examples())
    assert len({row[0] for row in rows}) == 26
    listed = set(re.findall(r"/(\w+)</string>", device.get().text))
    assert listed == {row[0] for row in rows if not row[3]}
    # What can share a device does. Another server has the shipped module only.
    alone = [[row] for row in rows if row[0] in ALONE and not (SERVER and row[3])]
    kinds = [False] if SERVER else [False, True]
    shared = [[row for row in rows if row[3] == waits and row[0] not in ALONE] for waits in kinds]
    with ThreadPoolExecutor(8) as pool:
        wrong = pool.map(lambda n, some: play(tmp_path / str(n), tmp_path / "quick", some), range(99), shared + alone)
        assert sum(wrong, []) == []
