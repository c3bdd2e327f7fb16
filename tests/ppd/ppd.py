"""Shared by the tests of the PPD files: reading PPD files, and running programs on jobs."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
from collections import Counter, namedtuple

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))

UEL = b"\x1b%-12345X"

Option = namedtuple("Option", "text default choices")  # choices: name -> Choice
Choice = namedtuple("Choice", "text code")


class Ppd:
    """The keywords of a PPD file in order, and its options."""

    def __init__(self, path):
        self.path = os.path.abspath(path)
        self.name = os.path.basename(path)
        self.content = pathlib.Path(path).read_text(encoding="utf-8")
        # *Keyword Option/Text: "value" or *Keyword: value; a value in quotes may have several lines.
        pattern = r'^\*([^%?:\s][^:\s]*)(?:[ ]+([^:/\n]+)(?:/([^:\n]*))?)?:[ ]*("[^"]*"|[^"\n]*)$'
        self.entries = [(key, (option or "").strip(), text, value.strip('"'))
                        for key, option, text, value in re.findall(pattern, self.content, re.MULTILINE)]
        self.manual = self.value("QvnManualBooklet") == "True"  # prints manual booklets
        self.groups = dict(value.split("/") for value in self.all("OpenGroup"))  # name -> text
        self.options = {}
        for key, option, text, _ in self.entries:
            if key == "OpenUI":
                name = option.lstrip("*")
                choices = {entry[1]: Choice(*entry[2:]) for entry in self.entries if entry[0] == name}
                self.options[name] = Option(text, self.value("Default" + name), choices)
        group = re.search(r"(?s)\*OpenGroup: InstallableOptions(.*?)\*CloseGroup", self.content)
        self.installable = set(re.findall(r"\*OpenUI \*(\w+)", group.group(1) if group else ""))

    def all(self, keyword):
        return [value for key, _, _, value in self.entries if key == keyword]

    def value(self, keyword):
        return next(iter(self.all(keyword)), None)

    def size(self, choice):
        """The width and height of a paper, in whole points."""
        sizes = {option: value for key, option, _, value in self.entries if key == "PaperDimension"}
        return tuple(round(float(points)) for points in sizes[choice].split())


class Checks:
    """Counts what was checked and reports what failed."""

    def __init__(self):
        self.done = 0
        self.failures = Counter()

    def check(self, condition, message):
        self.done += 1
        if not condition:
            self.failures[message] += 1

    def same(self, title, found, wanted):
        self.check(found == wanted, f"{title}: {found} and not {wanted}")

    def exit(self, at_least):
        for message in list(self.failures)[:40]:
            print("FAILED:", message)
        print(f"{self.done} checks, {sum(self.failures.values())} failed")
        if self.done < at_least:
            print(f"FAILED: fewer than {at_least} checks were made")
        sys.exit(1 if self.failures or self.done < at_least else 0)


def run(command, job, env):
    """Runs a program on a job. The result includes standard error."""
    return subprocess.run(command, input=job, env={**os.environ, **env}, timeout=60, check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def pstops(job, options, ppd):
    """The job as CUPS passes it to the filter of a queue."""
    result = run(["/usr/lib/cups/filter/pstops", "7", "ada", "title", "1", options], job,
                 {"PPD": ppd.path, "LC_ALL": "C"})
    assert result.returncode == 0 and b"%%EOF" in result.stdout, result
    return result.stdout


def printed(checks, command, job, ppd, options, copies="1", **environment):
    """Runs the filter of a queue, which must not leave files."""
    with tempfile.TemporaryDirectory() as directory:
        done = run([*command, "7", "ada", "", copies, options], job,
                   {"PPD": ppd.path, "DEVICE_URI": "socket://printer", "TMPDIR": directory,
                    "LANG": "en_US.UTF-8", **environment})
        checks.same(f"{options}: files", os.listdir(directory), [])
    return done


def without_pjl(job):
    """The part for a PostScript interpreter."""
    return b"\n".join(line for line in job.split(b"\n") if not line.startswith((UEL, b"@PJL")))
