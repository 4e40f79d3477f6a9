import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "e2e"))

from browser import SCREENSHOTS, Browser
from fixtures import device as home  # noqa: F401 one for all who leave it as they found it
from fixtures import start as boot  # noqa: F401


@pytest.fixture(scope="session")
def browser():
    running = Browser()
    yield running
    running.driver.quit()


@pytest.fixture(autouse=True)
def quiet_console(browser):
    yield
    complaints = browser.console()
    browser.close_tabs()
    assert complaints == []


def pytest_terminal_summary(terminalreporter):
    terminalreporter.write_line(f"screenshots: {SCREENSHOTS}")
