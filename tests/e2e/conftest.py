import pytest

from virtual_extender import Device, NoSandbox


def boot(state, *options, **more):
    """A running device; where there can be none the test is skipped with the reason."""
    try:
        return Device(state, *options, **more)
    except NoSandbox as reason:
        pytest.skip(f"no sandbox here: {reason}")


def boot_with(tmp_path, lines):
    """One whose server has more lines in its configuration."""
    extra = tmp_path / "more.conf"
    extra.write_text(lines)
    return boot(tmp_path / "state", "--server-config", str(extra))


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
