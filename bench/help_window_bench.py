"""The help window in headless Chromium on real help files: how long until the window is usable
(the topic and the contents tree are there), how long the index pane takes to fill when first
opened, and how long the index filter takes per keystroke (medians of five runs each); then how
long the first search of the file takes (its index is made or read then) and a later one, and
the peak resident memory of the help server and its readers together.

Usage: help_window_bench.py TOOL FILE.chm...  (scripts/bench runs it on the files it fetched)."""
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "browser"))
import cdp  # noqa: E402


def Search(chromium, address, query):
    """Milliseconds from a search's submission to its results (or to its "nothing found")."""
    browser = cdp.Browser(chromium)
    try:
        page = browser.open(address)
        page.wait(lambda: page.evaluate("document.getElementById('topic').src !== ''"),
                  timeout=30, what="the window")
        start = time.monotonic()
        page.evaluate("""(() => { document.getElementById('tab-search').click();
                         document.getElementById('query').value = %r;
                         document.getElementById('find').requestSubmit(); })()""" % query)
        page.wait(lambda: page.evaluate(
            "document.getElementById('results').children.length > 0 || "
            "/found|no topic|cannot/i.test(document.getElementById('status').textContent)"),
            timeout=600, what="the search results", pause=0.005)
        return (time.monotonic() - start) * 1000
    finally:
        browser.close()


def ServerPeakKb(cache):
    """The peak resident memory of the help server of this cache and of its readers, in kB."""
    with open(os.path.join(cache, "borvane", "run", "help-server")) as f:
        server = int(f.read().split()[2])

    def peak(pid):
        try:
            with open("/proc/%d/status" % pid) as f:
                return next(int(line.split()[1]) for line in f if line.startswith("VmHWM:"))
        except (OSError, StopIteration):
            return 0
    total = peak(server)
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                with open("/proc/%s/stat" % entry) as f:
                    parent = int(f.read().rsplit(")", 1)[1].split()[1])
            except (OSError, ValueError, IndexError):
                continue
            if parent == server:
                total += peak(int(entry))
    return total


def main():
    tool, files = sys.argv[1], sys.argv[2:]
    chromium = cdp.find_chromium()
    if not chromium:
        print("help_window_bench: skipped, chromium is missing")
        return 0
    work = tempfile.mkdtemp(prefix="borvane-help-window-bench-")
    env = dict(os.environ, XDG_CACHE_HOME=os.path.join(work, "cache"), XDG_RUNTIME_DIR="",
               BORVANE_HELP_BROWSER="true", BORVANE_HELP_IDLE_SECONDS="30")
    print("%-14s %10s %10s %10s %14s %12s %12s %10s" % (
        "file", "usable ms", "index ms", "filter ms", "index entries", "1st search ms",
        "search ms", "peak kB"))
    try:
        for chm in files:
            address = subprocess.run([tool, "help", "show", chm], env=env, capture_output=True,
                                     text=True, check=True).stdout.strip()
            usable, index_ms, filtering = [], [], []
            entries = 0
            for _ in range(5):
                browser = cdp.Browser(chromium)
                page = browser.open("about:blank")
                start = time.monotonic()
                browser.call("Page.navigate", page.session, url=address)
                page.wait(lambda: page.evaluate(
                    "document.querySelectorAll('#toc li').length > 0 && "
                    "document.getElementById('topic').src !== ''"), timeout=30, what="usable",
                    pause=0.005)
                usable.append((time.monotonic() - start) * 1000)
                start = time.monotonic()
                page.evaluate("document.getElementById('tab-index').click()")
                page.wait(lambda: page.evaluate("index && index.length > 0"), timeout=30,
                          what="the index", pause=0.005)
                index_ms.append((time.monotonic() - start) * 1000)
                entries = page.evaluate("index.length")
                for text in ("t", "tf", "tfo", "tfor", "tform", "c", "ca", "can", "x"):
                    filtering.append(page.evaluate("""(() => {
                        const f = document.getElementById('filter');
                        const t0 = performance.now();
                        f.value = %r; f.dispatchEvent(new Event('input'));
                        document.getElementById('keywords').offsetHeight;
                        return performance.now() - t0; })()""" % text))
                browser.close()
            first_search, later_search = Search(chromium, address, "tform"), 0.0
            later_search = statistics.median(
                [Search(chromium, address, q) for q in ("canvas", "button click", "x")])
            print("%-14s %10.0f %10.0f %10.1f %14d %12.0f %12.0f %10d" % (
                os.path.basename(chm), statistics.median(usable), statistics.median(index_ms),
                statistics.median(filtering), entries, first_search, later_search,
                ServerPeakKb(env["XDG_CACHE_HOME"])))
    finally:
        shutil.rmtree(work, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
