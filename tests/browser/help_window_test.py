"""The help window in a real browser: Debian's Chromium, headless, driven over its DevTools
protocol. The help file is compiled from tests/data/help for the test; the calls go through the
borvane tool, that is through the library, as a program's would.

Usage: help_window_test.py TOOL SOURCE_DIR. Exit status 77 (skipped) when Chromium or the help
compiler is missing."""
import os
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import cdp  # noqa: E402

SKIPPED = 77


def main():
    tool, source = sys.argv[1], sys.argv[2]
    chromium = cdp.find_chromium()
    if not chromium or not shutil.which("chmcmd"):
        print("skipped: chromium or chmcmd (Debian fp-utils) is missing")
        return SKIPPED
    work = tempfile.mkdtemp(prefix="borvane-help-window-")
    env = dict(os.environ, XDG_CACHE_HOME=os.path.join(work, "cache"),
               XDG_RUNTIME_DIR="", BORVANE_HELP_BROWSER="true",
               BORVANE_HELP_IDLE_SECONDS="30")
    browser = None
    try:
        shutil.copytree(os.path.join(source, "tests/data/help"), os.path.join(work, "help"))
        subprocess.run(["chmcmd", "--verbosity", "0", "manual.hhp"], cwd=os.path.join(work, "help"),
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        chm = os.path.join(work, "help", "manual.chm")

        def show(*how):
            done = subprocess.run([tool, "help", "show", chm, *how], env=env,
                                  capture_output=True, text=True, timeout=60)
            assert done.returncode == 0, done.stderr
            return done.stdout.strip()

        address = show()
        browser = cdp.Browser(chromium)
        page = browser.open(address)

        def topic():
            url, context = page.child_frame()
            if not url or "/t/" not in url:
                return None
            return url.split("/t/", 1)[1].split("/", 1)[1], page.evaluate(
                "document.body ? document.body.innerText : ''", context)

        def shows(path, words):
            got = topic()
            return got and got[0] == path and words in got[1]

        # The default topic shows, beside the contents.
        page.wait(lambda: shows("topics/welcome.htm", "Start with"), what="the default topic")
        page.wait(lambda: "Installing" in page.evaluate("document.getElementById('toc').textContent"),
                  what="the contents")
        # A click in the contents shows that topic, and the address names it.
        page.evaluate("""[...document.querySelectorAll('#toc a')]
                         .find((a) => a.textContent === 'Options').click()""")
        page.wait(lambda: shows("topics/options.htm", "Pick a font"), what="the clicked topic")
        assert page.evaluate("location.pathname").endswith("/topics/options.htm")
        # A keyword lookup of the library goes to the same window: the same address, and the
        # open page follows it. "fonts" names the top-level keyword, not the sub-entry under
        # "install" that comes first in the index.
        again = show("--keyword", "fonts")
        assert again.split("/w/")[1].split("/")[0] == address.split("/w/")[1].split("/")[0], again
        assert again.endswith("/topics/options.htm#fonts"), again
        page.evaluate("""[...document.querySelectorAll('#toc a')]
                         .find((a) => a.textContent === 'Welcome').click()""")
        page.wait(lambda: shows("topics/welcome.htm", "Start with"), what="the page back at welcome")
        show("--keyword", "install, fonts")
        page.wait(lambda: shows("topics/install.htm", "Copy the files"),
                  what="the keyword's topic in the open page")
        # The index: its filter narrows the list.
        page.evaluate("document.getElementById('tab-index').click()")
        count = "document.querySelectorAll('#keywords li').length"
        page.wait(lambda: page.evaluate(count) == 4, what="the whole index")
        page.evaluate("""(() => { const f = document.getElementById('filter');
                         f.value = 'wel'; f.dispatchEvent(new Event('input')); })()""")
        page.wait(lambda: page.evaluate(count) == 1, what="the filtered index")
        assert page.evaluate("document.querySelector('#keywords li').innerText") == "welcome"
        # The search finds a word of a topic's text.
        page.evaluate("""(() => { document.getElementById('tab-search').click();
                         document.getElementById('query').value = 'pick';
                         document.getElementById('find').requestSubmit(); })()""")
        page.wait(lambda: page.evaluate("document.getElementById('results').innerText") == "Options",
                  timeout=30, what="the search results")
        # Nothing of the window asked for anything but this server.
        origin = address.split("/")[2]
        elsewhere = [u for u in browser.requested() if u.split("/")[2] != origin
                     and not u.startswith("data:")]
        assert not elsewhere, elsewhere
        print("help window: topic, contents, keyword in the same page, index filter, search: ok")
        return 0
    finally:
        if browser:
            browser.close()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
