"""A headless Chromium that connects to nothing but this machine, and what a test does with the page."""

import os
import time
from collections.abc import Callable
from pathlib import Path
from typing import Any

from selenium import webdriver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.chrome.service import Service

LONGEST_WAIT = 30  # seconds, for machines that are busy


def start_chromium(width: int = 1280, height: int = 800, *more: str) -> Any:
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--disable-background-networking", "--disable-component-update",
                     "--disable-sync", "--no-first-run", "--proxy-server=direct://", "--disable-dev-shm-usage",
                     "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1, EXCLUDE localhost",
                     f"--window-size={width},{height}", "--hide-scrollbars", *more):
        options.add_argument(argument)
    if os.geteuid() == 0:
        options.add_argument("--no-sandbox")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    driver.set_page_load_timeout(LONGEST_WAIT)
    set_size(driver, width, height)
    return driver


def set_size(driver: Any, width: int, height: int, scheme: str = "dark") -> None:
    """The size of the page itself, which windows bound from below, and the colours of the system."""
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                           {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                           {"features": [{"name": "prefers-color-scheme", "value": scheme}]})


class Looker:
    """Somebody who looks at the page: finds, clicks, types and waits."""

    def __init__(self, driver: Any, address: str) -> None:
        self.driver = driver
        self.address = address

    def open(self, place: str) -> None:
        """Opens an address anew, as one who was sent it."""
        self.driver.get("about:blank")
        self.driver.get(f"{self.address}#{place}")

    def all(self, selector: str) -> list[Any]:
        return list(self.driver.find_elements(By.CSS_SELECTOR, selector))

    def one(self, selector: str) -> Any:
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def click(self, selector: str) -> None:
        self.until(lambda: self.one(selector).is_displayed(), f"{selector} to be seen")
        self.one(selector).click()

    def press(self, *keys: str) -> None:
        """Types at whatever has the focus."""
        ActionChains(self.driver).send_keys(*keys).perform()

    def press_with(self, modifiers: str, key: str) -> None:
        chain = ActionChains(self.driver)
        for modifier in modifiers:
            chain = chain.key_down(modifier)
        chain = chain.send_keys(key)
        for modifier in modifiers:
            chain = chain.key_up(modifier)
        chain.perform()

    def type_into(self, selector: str, text: str) -> None:
        self.one(selector).clear()
        self.one(selector).send_keys(text)

    def point_at(self, selector: str, right: int, down: int) -> None:
        """Moves the pointer to a place, from the middle of an element on."""
        ActionChains(self.driver).move_to_element_with_offset(self.one(selector), right, down).perform()

    def text(self, selector: str) -> str:
        return str(self.one(selector).text)

    def script(self, text: str, *arguments: Any) -> Any:
        return self.driver.execute_script(text, *arguments)

    @property
    def place(self) -> str:
        """The part of the address behind '#'."""
        return str(self.script("return location.hash")).removeprefix("#")

    @property
    def frame(self) -> int | None:
        """The number of the frame on the canvas."""
        number = self.one("#picture").get_attribute("data-frame")
        return None if number is None else int(number)

    def until(self, condition: Callable[[], Any], what: str) -> Any:
        deadline = time.monotonic() + LONGEST_WAIT
        while True:
            try:
                found = condition()
                if found or time.monotonic() > deadline:
                    assert found, f"waited for {what}; address {self.place}"
                    return found
            except AssertionError:
                raise
            except Exception:  # noqa: BLE001 - an element that is being replaced
                if time.monotonic() > deadline:
                    raise
            time.sleep(0.02)

    def until_frame(self, number: int) -> None:
        self.until(lambda: self.frame == number, f"frame {number}, is {self.frame}")

    def until_text(self, selector: str, part: str) -> None:
        self.until(lambda: part in self.text(selector), f"'{part}' in {selector}: '{self.text(selector)}'")

    def save_screenshot(self, path: Path) -> None:
        path.parent.mkdir(parents=True, exist_ok=True)
        self.driver.save_screenshot(str(path))

    def complaints(self) -> list[str]:
        """What the browser has logged since the last time: scripts that failed, content that is refused."""
        return [entry["message"] for entry in self.driver.get_log("browser")
                if entry["level"] == "SEVERE" and entry["source"] != "network"]


__all__ = ["Keys", "Looker", "set_size", "start_chromium"]
