"""The Python module against plain Python and against the C++ calls.

1. A late-bound property get (`doc.PathSeparator`) beside reading a plain attribute of a
   Python object (goal: under 5x).
2. ReadXML of a 10 MB document text from Python beside the same call from C++
   (python_compare_bench; goal: under 1.1x).

Run by ./scripts/bench (python_bench), from the release build.
"""
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import timeit

import borvane

BUILD = pathlib.Path(os.environ.get("BORVANE_BUILD", "build/release"))


def median(statement, number, repeat=5, **names):
    return statistics.median(
        timeit.repeat(statement, number=number, repeat=repeat, globals=names)) / number


def property_get():
    class Plain:
        def __init__(self):
            self.PathSeparator = "\\"

    doc = borvane.CreateObject("Borvane.Doc")
    plain = Plain()
    late = median("doc.PathSeparator", 200000, doc=doc)
    attribute = median("plain.PathSeparator", 200000, plain=plain)
    print(f"property get: late-bound {late * 1e9:.0f} ns, plain attribute {attribute * 1e9:.0f} ns,"
          f" ratio {late / attribute:.1f}x (goal under 5x)")


def document_text(size):
    """A settings-like document: nodes with attributes, numbers and quoted texts."""
    parts, n = ["<settings>\n"], 0
    while sum(map(len, parts)) < size:
        parts.append(f'<item n="{n}" name="leaf {n}">\n"value {n} with some text"\n</item>\n')
        n += 1
    parts.append("</settings>\n")
    return "".join(parts)


def read_xml():
    text = document_text(10 * 1024 * 1024)
    seconds = median("borvane.CreateObject('Borvane.Doc').ReadXML(text)", 1, repeat=5,
                   borvane=borvane, text=text)
    with tempfile.NamedTemporaryFile("w", suffix=".xml", encoding="utf-8", delete=False) as f:
        f.write(text)
    try:
        out = subprocess.run(
            [str(BUILD / "bench" / "python_compare_bench"), "--benchmark_repetitions=5",
             "--benchmark_report_aggregates_only=true"],
            env={**os.environ, "BORVANE_BENCH_XML": f.name}, capture_output=True, text=True,
            check=True).stdout
    finally:
        os.unlink(f.name)
    # The median of the repetitions, in milliseconds.
    cpp = float(re.search(r"BM_ReadXmlFromFile_median\s+([\d.]+) ms", out).group(1)) / 1000
    print(f"ReadXML of {len(text) / 2**20:.1f} MB: Python {seconds * 1000:.0f} ms, "
          f"C++ {cpp * 1000:.0f} ms, ratio {seconds / cpp:.2f}x (goal under 1.1x)")


if __name__ == "__main__":
    property_get()
    read_xml()
    sys.exit(0)
