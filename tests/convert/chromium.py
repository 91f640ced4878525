"""Drives a headless Chromium through its debugging pipe: messages are JSON with a zero byte after them."""

import base64
import json
import os
import shutil
import subprocess
import tempfile


def find_chromium():
    """The path of a Chromium, or None."""
    return shutil.which("chromium") or shutil.which("chromium-browser")


class Chromium:
    """A browser with one page; use it in a with statement."""

    def __enter__(self):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        to_browser, self.to = os.pipe()
        self.source, from_browser = os.pipe()
        # The browser reads descriptor 3 and writes descriptor 4.
        script = f'exec 3<&{to_browser} 4>&{from_browser}; exec "$@"'
        self.process = subprocess.Popen(
            ["bash", "-c", script, "bash", find_chromium(), "--headless", "--no-sandbox",
             "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
             "--remote-debugging-pipe", "--user-data-dir=" + self.profile.name, "about:blank"],
            pass_fds=(to_browser, from_browser), stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self.buffer = b""
        self.number = 0
        self.events = []
        self.target = None
        created = self.call("Target.createTarget", url="about:blank")
        attached = self.call("Target.attachToTarget", targetId=created["targetId"], flatten=True)
        self.target = attached["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")
        return self

    def __exit__(self, *_):
        try:
            self.target = None
            self.call("Browser.close")
        except (EOFError, OSError):
            pass
        os.close(self.to)
        os.close(self.source)
        self.process.wait(timeout=60)
        self.profile.cleanup()

    def read(self):
        """Returns the next message."""
        while b"\0" not in self.buffer:
            part = os.read(self.source, 1 << 20)
            if not part:
                raise EOFError("the browser has ended")
            self.buffer += part
        message, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, **parameters):
        """Calls a method of the protocol and returns its result. Events are kept."""
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.target:
            message["sessionId"] = self.target
        os.write(self.to, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.read()
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]
            self.events.append(answer)

    def show(self, path, width, dark):
        """Loads a file in a window of this width and waits until it is loaded."""
        self.events.clear()
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=900,
                  deviceScaleFactor=1, mobile=width < 600)
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        self.call("Emulation.setEmulatedMedia", features=[scheme])
        self.call("Page.navigate", url="file://" + path)
        while not any(event["method"] == "Page.loadEventFired" for event in self.events):
            self.events.append(self.read())

    def value(self, expression):
        """The value of an expression of JavaScript."""
        return self.call("Runtime.evaluate", expression=expression,
                         returnByValue=True)["result"].get("value")

    def screenshot(self, path, height=None):
        """Writes a picture of the page, or of its first `height` pixels."""
        size = self.call("Page.getLayoutMetrics")["cssContentSize"]
        clip = {"x": 0, "y": 0, "width": size["width"], "height": min(height or 1e9, size["height"]),
                "scale": 1}
        shot = self.call("Page.captureScreenshot", captureBeyondViewport=True, clip=clip)
        with open(path, "wb") as file:
            file.write(base64.b64decode(shot["data"]))

    def pdf(self, path):
        """Prints the page."""
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("Page.printToPDF", printBackground=False,
                                                  preferCSSPageSize=True)["data"]))
