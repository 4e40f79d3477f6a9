import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "e2e"))

from browser import SCREENSHOTS, Browser
from virtual_extender import Device, NoSandbox


@pytest.fixture(scope="session")
def browser():
    running = Browser()
    yield running
    running.quit()


@pytest.fixture(autouse=True)
def quiet_console(browser):
    yield
    complaints = browser.console()
    browser.close_tabs()
    assert complaints == []


@pytest.fixture
def boot(tmp_path):
    """Boots devices of the test's own."""
    devices = []

    def start(*options):
        try:
            devices.append(Device(tmp_path / str(len(devices)), *options))
        except NoSandbox as reason:
            pytest.skip(f"no sandbox here: {reason}")
        return devices[-1]

    yield start
    for device in devices:
        device.stop()


@pytest.fixture(scope="session")
def home(tmp_path_factory):
    """One device for all who leave it as they found it."""
    try:
        running = Device(tmp_path_factory.mktemp("home"))
    except NoSandbox as reason:
        pytest.skip(f"no sandbox here: {reason}")
    yield running
    running.stop()


def pytest_terminal_summary(terminalreporter):
    terminalreporter.write_line(f"screenshots: {SCREENSHOTS}")
