"""A server on loopback and a browser that looks at its page, for tests and screenshots."""

import subprocess
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys  # noqa: F401

PATIENCE = 60  # seconds; nothing takes so long


class Server:
    """`localstorage serve` at a free port."""

    def __init__(self, tool, *arguments):
        self.process = subprocess.Popen(
            [tool, "serve", "--listen", "127.0.0.1:0", *arguments], stdout=subprocess.PIPE, text=True)
        self.url = self.process.stdout.readline().split()[-1] + "/"

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.communicate()


class Page:
    """The page in a browser of its own."""

    def __init__(self, url, width=1280, height=900, dark=False, downloads=None):
        options = webdriver.ChromeOptions()
        # No sandbox: root has none. The rest keeps small machines and containers going.
        for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
                         "--hide-scrollbars", "--autoplay-policy=no-user-gesture-required"):
            options.add_argument(argument)
        if downloads:
            options.add_experimental_option("prefs", {"download.default_directory": str(downloads)})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})
        self.driver.get(url)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.driver.quit()

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def text(self, selector):
        return self.find(selector).text

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def wait(self, condition, what):
        """Until the condition holds; what it gives."""
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            found = condition()
            if found:
                return found
            time.sleep(0.05)
        raise AssertionError(f"{what}: in vain; the browser says {self.driver.get_log('browser')}")

    def bar(self, camera):
        return self.wait(lambda: self.all(f'.track[data-camera="{camera}"]'), f"bar of {camera}")[0]

    def click_bar(self, camera, place):
        """Clicks a bar at a place, 0 to 1."""
        bar = self.bar(camera)
        width = bar.rect["width"]
        webdriver.ActionChains(self.driver).move_to_element_with_offset(
            bar, round((place - 0.5) * width), 0).click().perform()
