"""Running devices."""

import contextlib

import pytest

from virtual_extender import Device


@pytest.fixture(scope="module")
def device(tmp_path_factory):
    """One device for all tests of a file: they leave it as they found it."""
    with Device(tmp_path_factory.mktemp("device")) as running:
        yield running


@pytest.fixture
def start(tmp_path):
    """Boots devices of the test's own, with options, and with more lines in their server's configuration."""
    with contextlib.ExitStack() as running:

        def boot(*options, server=""):
            extra = tmp_path / "more.conf"
            extra.write_text(server)
            state = tmp_path / f"state-{len(list(tmp_path.iterdir()))}"
            return running.enter_context(Device(state, "--server-config", extra, *options))

        yield boot


@pytest.fixture
def own_device(start):
    """A device of the test's own, to be restarted or spoiled."""
    return start()
