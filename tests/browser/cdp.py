"""A small client of Chromium's DevTools protocol over --remote-debugging-pipe: no network port,
no package beyond Python's own."""
import json
import os
import shutil
import subprocess
import tempfile
import threading
import time


def find_chromium():
    for name in ("chromium", "chromium-browser", "google-chrome"):
        path = shutil.which(name)
        if path:
            return path
    return None


class Browser:
    """A headless Chromium, closed when the object is."""

    def __init__(self, executable):
        self.profile = tempfile.mkdtemp(prefix="borvane-chromium-")
        commands_r, self._commands = os.pipe()
        self._answers, answers_w = os.pipe()
        flags = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic",
                 "--no-first-run", "--disable-background-networking",
                 "--disable-component-update", "--disable-sync", "--disable-extensions",
                 # One process for the page and its topic frame, so that the test reaches both.
                 "--disable-site-isolation-trials",
                 "--disable-features=IsolateOrigins,site-per-process",
                 "--user-data-dir=" + self.profile, "--remote-debugging-pipe", "about:blank"]
        # The protocol runs on descriptors 3 (commands in) and 4 (answers out); bash, as dash
        # takes no descriptor above 9 in a redirection.
        script = 'exec "$0" "$@" 3<&%d 4>&%d' % (commands_r, answers_w)
        self.process = subprocess.Popen(["bash", "-c", script, executable] + flags,
                                        pass_fds=(commands_r, answers_w),
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=open(os.environ.get("BORVANE_CHROMIUM_LOG", os.devnull), "w"))
        os.close(commands_r)
        os.close(answers_w)
        self._next = 0
        self._lock = threading.Lock()
        self._answered = {}
        self.events = []  # what the browser told without being asked
        self._ready = threading.Condition(self._lock)
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        pending = b""
        while True:
            chunk = os.read(self._answers, 1 << 16)
            if not chunk:
                break
            pending += chunk
            while b"\0" in pending:
                message, pending = pending.split(b"\0", 1)
                data = json.loads(message)
                with self._lock:
                    if "id" in data:
                        self._answered[data["id"]] = data
                    else:
                        self.events.append(data)
                    self._ready.notify_all()

    def call(self, method, session=None, timeout=30, **params):
        with self._lock:
            self._next += 1
            number = self._next
        message = {"id": number, "method": method, "params": params}
        if session:
            message["sessionId"] = session
        os.write(self._commands, json.dumps(message).encode() + b"\0")
        deadline = time.time() + timeout
        with self._lock:
            while number not in self._answered:
                left = deadline - time.time()
                if left <= 0:
                    raise TimeoutError(method)
                self._ready.wait(left)
            answer = self._answered.pop(number)
        if "error" in answer:
            raise RuntimeError("%s: %s" % (method, answer["error"]))
        return answer["result"]

    def open(self, url):
        """A new page at `url`, its network requests recorded from the start; gives the page."""
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Runtime", "Network", "Page"):
            self.call(domain + ".enable", session)
        self.call("Page.navigate", session, url=url)
        return Page(self, session)

    def requested(self):
        """Every address the pages asked for."""
        with self._lock:
            return [e["params"]["request"]["url"] for e in self.events
                    if e.get("method") == "Network.requestWillBeSent"]

    def close(self):
        try:
            self.call("Browser.close", timeout=5)
        except Exception:
            pass
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
        os.close(self._commands)
        shutil.rmtree(self.profile, ignore_errors=True)


class Page:
    def __init__(self, browser, session):
        self.browser = browser
        self.session = session

    def evaluate(self, expression, context=None):
        params = {"expression": expression, "awaitPromise": True, "returnByValue": True}
        if context is not None:
            params["contextId"] = context
        answer = self.browser.call("Runtime.evaluate", self.session, **params)
        if "exceptionDetails" in answer:
            raise RuntimeError(answer["exceptionDetails"])
        return answer["result"].get("value")

    def child_frame(self):
        """The url and an execution context of the page's first frame, or (None, None)."""
        tree = self.browser.call("Page.getFrameTree", self.session)["frameTree"]
        children = tree.get("childFrames") or []
        if not children:
            return None, None
        frame = children[0]["frame"]
        world = self.browser.call("Page.createIsolatedWorld", self.session,
                                  frameId=frame["id"], worldName="test")
        return frame["url"], world["executionContextId"]

    def wait(self, check, timeout=10, what="condition", pause=0.05):
        deadline = time.time() + timeout
        last = None
        while time.time() < deadline:
            try:
                last = check()
                if last:
                    return last
            except RuntimeError as e:
                last = e
            time.sleep(pause)
        raise AssertionError("timed out waiting for %s (last: %r)" % (what, last))

    def screenshot(self, path):
        import base64
        data = self.browser.call("Page.captureScreenshot", self.session)["data"]
        with open(path, "wb") as f:
            f.write(base64.b64decode(data))
