"""Shared by the tests of the PPD files: reading PPD files, and running programs on jobs."""

import os
import re
import subprocess
import sys
from collections import Counter, namedtuple

sys.path.append(os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "support"))

UEL = b"\x1b%-12345X"

Option = namedtuple("Option", "text default choices")  # choices: name -> Choice
Choice = namedtuple("Choice", "text code")


class Ppd:
    """The keywords of a PPD file in order, and its options."""

    def __init__(self, path):
        self.path = path
        self.name = os.path.basename(path)
        with open(path, encoding="utf-8") as file:
            self.content = file.read()
        # *Keyword Option/Text: "value" or *Keyword: value; a value in quotes may have several lines.
        pattern = r'^\*([^%?:\s][^:\s]*)(?:[ ]+([^:/\n]+)(?:/([^:\n]*))?)?:[ ]*("[^"]*"|[^"\n]*)$'
        self.entries = [
            (key, (option or "").strip(), text, value.strip('"'))
            for key, option, text, value in re.findall(pattern, self.content, re.MULTILINE)
        ]
        self.manual = self.value("QvnManualBooklet") == "True"  # prints manual booklets
        self.options = {}
        self.groups = {}
        for key, option, text, value in self.entries:
            if key == "OpenGroup":
                name, _, label = value.partition("/")
                self.groups[name] = label
            elif key == "OpenUI":
                name = option.lstrip("*")
                default = self.value("Default" + name)
                choices = {
                    c: Choice(t, v) for k, c, t, v in self.entries if k == name
                }
                self.options[name] = Option(text, default, choices)

    def value(self, keyword):
        return next((value for key, _, _, value in self.entries if key == keyword), None)


class Checks:
    """Counts what was checked and reports what failed."""

    def __init__(self):
        self.done = 0
        self.failures = Counter()

    def check(self, condition, message):
        self.done += 1
        if not condition:
            self.failures[message] += 1
        return condition

    def exit(self, at_least):
        for message in list(self.failures)[:40]:
            print("FAILED:", message)
        print(f"{self.done} checks, {sum(self.failures.values())} failed")
        if self.done < at_least:
            print(f"FAILED: fewer than {at_least} checks were made")
        sys.exit(1 if self.failures or self.done < at_least else 0)


def run(command, job=None, env=None, **more):
    """Runs a program on a job. The result includes standard error."""
    return subprocess.run(
        command, input=job, env={**os.environ, **(env or {})}, timeout=60, check=False,
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, **more)


def pstops(job, options, ppd):
    """The job as CUPS passes it to the filter of a queue."""
    result = run(["/usr/lib/cups/filter/pstops", "7", "ada", "title", "1", options], job,
                 {"PPD": ppd, "LC_ALL": "C"})
    if result.returncode != 0 or b"%%EOF" not in result.stdout:
        raise RuntimeError(f"pstops {options}: {result.stderr.decode(errors='replace')}")
    return result.stdout


def without_pjl(job):
    """The part for a PostScript interpreter."""
    lines = job.split(b"\n")
    return b"\n".join(l for l in lines if not l.startswith(UEL) and not l.startswith(b"@PJL"))
