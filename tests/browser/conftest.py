"""A browser without a network, and the command that makes what it opens."""

import json
import os
import subprocess
from pathlib import Path

import pytest
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

PROGRAM = os.environ["TIOMIPRA_PROGRAM"]
PHOTOGRAPHS = Path(os.environ["TIOMIPRA_PHOTOGRAPHS"])

ARGUMENTS = [
    "--headless=new",
    "--no-sandbox",  # which root can't have
    "--disable-dev-shm-usage",
    "--use-angle=swiftshader",
    "--enable-unsafe-swiftshader",
    "--force-device-scale-factor=1",
    "--host-resolver-rules=MAP * ~NOTFOUND",
    "--proxy-server=127.0.0.1:1",
    "--disable-background-networking",
    "--disable-component-update",
]


def run(*arguments, status=0):
    """Runs the command, which must end with this status."""
    ended = subprocess.run([PROGRAM, *map(str, arguments)], stdout=subprocess.DEVNULL)
    assert ended.returncode == status


def start_browser():
    options = webdriver.ChromeOptions()
    options.binary_location = os.environ["TIOMIPRA_CHROMIUM"]
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    for argument in ARGUMENTS:
        options.add_argument(argument)
    return webdriver.Chrome(
        service=Service(os.environ["TIOMIPRA_CHROMEDRIVER"]), options=options)


class Browser:
    """One that shows a page at a time."""

    def __init__(self, driver):
        self.driver = driver

    def open(self, page, width=1280, height=900, scheme="light"):
        """Opens the file `page` and waits until its scripts have filled it."""
        self.driver.set_window_size(width, height)
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height,
                     deviceScaleFactor=1, mobile=False)
        self.command("Emulation.setEmulatedMedia",
                     features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.driver.get(Path(page).resolve().as_uri())
        WebDriverWait(self.driver, 60).until(
            lambda driver: driver.execute_script("return document.documentElement.dataset.ready"))
        self.settle()

    def command(self, name, **parameters):
        self.driver.execute_cdp_cmd(name, parameters)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def settle(self):
        """Waits until what has been asked for is drawn."""
        self.driver.execute_async_script(
            "const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(done));")

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        return self.run("return document.querySelector(arguments[0]).textContent", selector)

    def cells(self, selector):
        """The texts of the table within an element, row by row, without its head."""
        return self.run(
            "return [...document.querySelectorAll(arguments[0] + ' tbody tr')]"
            ".map(row => [...row.cells].map(cell => cell.textContent))", selector)

    def point_at(self, selector, x, y, click=False, drag_by=None):
        """Moves the mouse to a place in an element, pixels of the style, and may click, or drag from
        there to the right by some pixels."""
        self.run("document.querySelector(arguments[0]).scrollIntoView({block: 'center'})", selector)
        left, top = self.run("const box = document.querySelector(arguments[0])"
                             ".getBoundingClientRect(); return [box.left, box.top]", selector)
        self.send_mouse("mouseMoved", left + x, top + y)
        if click or drag_by:
            self.send_mouse("mousePressed", left + x, top + y, button="left", clickCount=1)
            if drag_by:
                x += drag_by
                self.send_mouse("mouseMoved", left + x, top + y, button="left", buttons=1)
            self.send_mouse("mouseReleased", left + x, top + y, button="left", clickCount=1)
        self.settle()

    def send_mouse(self, kind, x, y, **more):
        self.command("Input.dispatchMouseEvent", type=kind, x=x, y=y, **more)

    def colours(self, selector):
        """How many different colours a canvas shows, what is transparent left out."""
        return self.run("""
            const canvas = document.querySelector(arguments[0]);
            const copy = Object.assign(document.createElement("canvas"),
                                       {width: canvas.width, height: canvas.height});
            const context = copy.getContext("2d");
            context.drawImage(canvas, 0, 0);
            const data = new Uint32Array(
                context.getImageData(0, 0, copy.width, copy.height).data.buffer);
            return new Set(data.filter(pixel => pixel >>> 24 !== 0)).size;""", selector)

    def overflow(self):
        """By how many pixels the page is wider than what the window shows of it."""
        return self.run("const page = document.documentElement;"
                        "return page.scrollWidth - page.clientWidth")

    def requests(self):
        """The addresses that were asked for since the last call, but for data within the page and
        what its policy refused."""
        events = [json.loads(entry["message"])["message"]
                  for entry in self.driver.get_log("performance")]
        refused = {event["params"]["requestId"] for event in events
                   if event["method"] == "Network.loadingFailed"
                   and event["params"].get("blockedReason") == "csp"}
        addresses = [event["params"]["request"]["url"] for event in events
                     if event["method"] == "Network.requestWillBeSent"
                     and event["params"]["requestId"] not in refused]
        return [address for address in addresses if not address.startswith("data:")]

    def complaints(self):
        """What the console said since the last call, however unimportant."""
        return [entry["message"] for entry in self.driver.get_log("browser")]


@pytest.fixture(scope="session")
def _driver():
    driver = start_browser()
    yield driver
    driver.quit()


@pytest.fixture
def browser(_driver):
    """After each test: nothing was requested but pages from the disk, and nothing went wrong."""
    opened = Browser(_driver)
    opened.requests()
    opened.complaints()
    yield opened
    assert all(address.startswith("file:") for address in opened.requests())
    assert opened.complaints() == []
