import pytest

from virtual_extender import Device, NoSandbox


def boot(state):
    try:
        return Device(state)
    except NoSandbox as reason:
        pytest.skip(f"no sandbox here: {reason}")


@pytest.fixture(scope="module")
def device(tmp_path_factory):
    """One device for all tests of a file: they leave it as they found it."""
    running = boot(tmp_path_factory.mktemp("device"))
    yield running
    running.stop()


@pytest.fixture
def own_device(tmp_path):
    """A device of the test's own, to be restarted or spoiled."""
    running = boot(tmp_path)
    yield running
    running.stop()
