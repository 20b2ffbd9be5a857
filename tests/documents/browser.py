"""Drives Debian's headless Chromium through its driver; what the page tests share."""

import base64
import json
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

CHROMIUM = shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome")
DRIVER = shutil.which("chromedriver") or shutil.which("chromium.chromedriver")


def is_there():
    return bool(CHROMIUM and DRIVER)


class Browser:
    """One browser, over the WebDriver protocol."""

    def __init__(self, width=1360, height=1000):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        self.profile = tempfile.mkdtemp(prefix="lumvex-browser-")
        self.driver = subprocess.Popen([DRIVER, f"--port={port}"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.base = f"http://127.0.0.1:{port}"
        arguments = ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", f"--user-data-dir={self.profile}",
                     f"--window-size={width},{height}", "--force-device-scale-factor=1"]
        if os.geteuid() == 0:
            arguments.append("--no-sandbox")
        options = {"binary": CHROMIUM, "args": arguments,
                   "prefs": {"download.default_directory": self.profile, "download.prompt_for_download": False}}
        wanted = {"capabilities": {"alwaysMatch": {
            "browserName": "chrome", "goog:chromeOptions": options,
            "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"}}}}
        try:
            for attempt in range(100):
                try:
                    self.session = self.call("POST", "/session", wanted)["sessionId"]
                    break
                except (urllib.error.URLError, ConnectionError):
                    if attempt == 99:
                        raise
                    time.sleep(0.1)
        except BaseException:
            self.close()
            raise

    def close(self):
        if getattr(self, "session", None):
            self.call("DELETE", f"/session/{self.session}")
        self.driver.terminate()
        self.driver.wait(30)
        shutil.rmtree(self.profile, ignore_errors=True)

    def call(self, method, path, body=None):
        data = json.dumps(body).encode() if body is not None else None
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def run(self, script, *arguments):
        """What the script returns, a promise's value if that is one."""
        return self.call("POST", f"/session/{self.session}/execute/sync", {"script": script, "args": list(arguments)})

    def open(self, address):
        self.call("POST", f"/session/{self.session}/url", {"url": "about:blank"})
        self.call("POST", f"/session/{self.session}/url", {"url": address})

    def wait_for(self, script, *arguments, seconds=60):
        """Asks until the script answers something true; returns that."""
        end = time.monotonic() + seconds
        while True:
            answer = self.run(script, *arguments)
            if answer:
                return answer
            if time.monotonic() > end:
                raise TimeoutError(script)
            time.sleep(0.05)

    def find(self, selector):
        found = self.call("POST", f"/session/{self.session}/element", {"using": "css selector", "value": selector})
        return next(iter(found.values()))

    def click(self, selector):
        self.call("POST", f"/session/{self.session}/element/{self.find(selector)}/click", {})

    def type(self, selector, text):
        self.call("POST", f"/session/{self.session}/element/{self.find(selector)}/value", {"text": text})

    def press(self, *keys, shift=False):
        actions = [action for key in keys for action in ({"type": "keyDown", "value": key}, {"type": "keyUp", "value": key})]
        if shift:
            actions = [{"type": "keyDown", "value": "\ue008"}, *actions, {"type": "keyUp", "value": "\ue008"}]
        self.call("POST", f"/session/{self.session}/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def drag(self, start, end, shift=False):
        """From one point of the window to the other."""
        keys = [{"type": "keyDown", "value": "\ue008"}] if shift else []
        pointer = [{"type": "pointerMove", "x": round(start[0]), "y": round(start[1]), "duration": 0},
                   {"type": "pointerDown", "button": 0},
                   {"type": "pointerMove", "x": round((start[0] + end[0]) / 2), "y": round((start[1] + end[1]) / 2), "duration": 50},
                   {"type": "pointerMove", "x": round(end[0]), "y": round(end[1]), "duration": 50},
                   {"type": "pointerUp", "button": 0}]
        actions = [{"type": "pointer", "id": "mouse", "actions": [{"type": "pause"}] * len(keys) + pointer}]
        if keys:
            actions.append({"type": "key", "id": "keys", "actions": keys})
        self.call("POST", f"/session/{self.session}/actions", {"actions": actions})
        if keys:
            self.call("DELETE", f"/session/{self.session}/actions")

    def move(self, x, y):
        self.call("POST", f"/session/{self.session}/actions", {"actions": [{
            "type": "pointer", "id": "mouse", "actions": [{"type": "pointerMove", "x": round(x), "y": round(y), "duration": 0}]}]})

    def become_a_phone(self, width, height):
        """Until the next call without a width. A window of its own has no less than 500 pixels."""
        self.call("POST", f"/session/{self.session}/goog/cdp/execute", {
            "cmd": "Emulation.setDeviceMetricsOverride" if width else "Emulation.clearDeviceMetricsOverride",
            "params": {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": True} if width else {}})

    def picture(self):
        return base64.b64decode(self.call("GET", f"/session/{self.session}/screenshot"))

    def problems(self):
        """Warnings and errors since the last call, but those that tests cause by looking at canvases; and every address
        that was asked for, but those within the browser."""
        console = [entry["message"] for entry in self.call("POST", f"/session/{self.session}/se/log", {"type": "browser"})
                   if entry["level"] in ("SEVERE", "WARNING") and "willReadFrequently" not in entry["message"]]
        asked = []
        for entry in self.call("POST", f"/session/{self.session}/se/log", {"type": "performance"}):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                asked.append(message["params"]["request"]["url"])
        return console, [url for url in asked if not url.startswith(("blob:", "data:", "about:", "chrome:"))]
