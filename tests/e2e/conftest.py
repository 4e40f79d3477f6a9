import pytest

from virtual_extender import Device, NoSandbox


def boot(state, *options, **more):
    """A running device; where there can be none the test is skipped with the reason."""
    try:
        return Device(state, *options, **more)
    except NoSandbox as reason:
        pytest.skip(f"no sandbox here: {reason}")


@pytest.fixture(scope="module")
def device(tmp_path_factory):
    """One device for all tests of a file: they leave it as they found it."""
    running = boot(tmp_path_factory.mktemp("device"))
    yield running
    running.stop()


@pytest.fixture
def start(tmp_path):
    """Boots a device of the test's own, with options, and with more lines in its server's configuration."""
    running = []

    def boot_one(*options, server=""):
        extra = tmp_path / "more.conf"
        extra.write_text(server)
        running.append(boot(tmp_path / "state", "--server-config", extra, *options))
        return running[-1]

    yield boot_one
    for device in running:
        device.stop()


@pytest.fixture
def own_device(start):
    """A device of the test's own, to be restarted or spoiled."""
    return start()
