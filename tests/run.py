#!/usr/bin/env python3
"""Runs the tests of a build. At the end, shows the output of failed tests and why tests were skipped.

usage: tests/run.py PRESET [CTEST-OPTION...]
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

SOURCE = pathlib.Path(__file__).resolve().parents[1]


def report(results):
    for test in xml.etree.ElementTree.parse(results).iter("testcase"):
        name, output = test.get("name"), test.findtext("system-out") or ""
        if test.get("status") == "fail":
            print(f"\n== Failed: {name}\n{output}")
        elif test.find("skipped") is not None:
            # The reason is the last line; GoogleTest writes the place before it.
            reason = [line for line in output.splitlines() if line and not line.startswith("[")]
            print(f"Skipped: {name}: {reason[-1].removeprefix('Skipped: ') if reason else 'without a reason'}")


def main():
    with tempfile.TemporaryDirectory() as directory:
        results = os.path.join(directory, "results.xml")
        status = subprocess.run(
            ["ctest", "--preset", sys.argv[1], "--parallel", str(len(os.sched_getaffinity(0))),
             "--no-tests=error", "--output-junit", results, *sys.argv[2:]],
            cwd=SOURCE, check=False).returncode
        if os.path.exists(results):
            report(results)
    return status


sys.exit(main())
