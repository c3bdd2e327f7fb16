#!/usr/bin/env python3
"""Compares the man pages with the programs: options and their values, PPD keywords, environment
variables, files, settings and messages must be the same in both, and the examples work. SECURITY.md
must name existing tests.

usage: pages_test.py SOURCE-DIRECTORY BUILD-DIRECTORY VOCABULARY VERSION [UNITTEST-ARGUMENTS]
"""

import fnmatch
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import types
import unittest
import xml.etree.ElementTree

SOURCE, BUILD, VOCABULARY = (pathlib.Path(path).resolve() for path in sys.argv[1:4])
VERSION = sys.argv[4]
sys.path.append(str(SOURCE / "tests" / "support"))
from vocabulary import Vocabulary

KNOWN = Vocabulary(VOCABULARY)
QUEUE, FILTER, PJL_LINES = (BUILD / name for name in ("jobshaper-queue", "jobshaper", "pjlLines"))


def run(program, *arguments, job=b"%!PS\nshowpage\n", status=0, **environment):
    environment |= {"PATH": os.environ["PATH"], "DEVICE_URI": "socket://printer"}
    done = subprocess.run([program, *arguments], input=job, capture_output=True, timeout=60, check=False,
                          env=environment)
    assert done.returncode == status, done
    return done


def read(path):
    return (SOURCE / path).read_text(encoding="utf-8")


def text_of(*elements):
    """The text in these parts of a page, with one blank for white space."""
    return " ".join("".join(text for element in elements for text in element.itertext()).split())


class Page:
    """A man page, as mandoc converts it to HTML."""

    def __init__(self, name):
        self.path = SOURCE / "docs" / name
        html = run("mandoc", "-T", "html", "-O", "fragment", self.path).stdout.decode()
        self.root = xml.etree.ElementTree.fromstring(f"<page>{html}</page>")
        self.sections = {text_of(section[0]): section for section in self.root.iterfind("div/section")}

    def entries(self, section):
        """The tags of each entry, and its text, which may go on after nested lists."""
        entries = []
        for block in [*self.sections[section], *self.sections[section].iterfind("section/*")]:
            if block.tag == "section":
                continue
            for element in block if block.tag == "dl" else [block]:
                text = text_of(element)
                if element.tag == "dt" and text:
                    if not entries or entries[-1].text:
                        entries.append(types.SimpleNamespace(tags=[], text=""))
                    entries[-1].tags.append(text)
                elif entries:
                    entries[-1].text += text and f" {text}"
        return entries

    def tags(self, section):
        return [tag for entry in self.entries(section) for tag in entry.tags]

    def text(self, *sections):
        return text_of(*(self.sections[section] for section in sections or self.sections))

    def example(self, text):
        examples = ("".join(element.itertext()) for element in self.root.iter("pre"))
        return next(example for example in examples if text in example)


PAGES = [Page(name) for name in ("jobshaper.8", "jobshaper-queue.8", "pjlLines.1")]
FILTER_PAGE, QUEUE_PAGE, TOOL_PAGE = PAGES
# The sources of each program. Only queues have the filter count pages.
FILTER_SOURCES = ["programs/jobshaper.cpp", "filter/*", "booklet/*", "settings/*", "diag/*",
                  "platform/*", "!page_counter"]
QUEUE_SOURCES = ["programs/jobshaper_queue.cpp", "queue/*", "filter/page_counter.cpp"]
TOOL_SOURCES = ["programs/pjl_lines.cpp", "pjl/*_settings.cpp", "diag/*"]


def code(patterns):
    """The sources without comments, each with the parts of its string literals joined."""
    files = [path for pattern in patterns for path in sorted((SOURCE / "src").glob(pattern))
             if not any(other[1:] in path.name for other in patterns if other[0] == "!")]
    text = "\n".join(map(read, files))
    return re.sub(r'"\s*\n\s*"', "", re.sub(r"(?m)^\s*//.*$|  // .*$|^#include.*$", "", text))


def messages(patterns):
    """The literals that begin like a message; all sentences of the entry program."""
    found = set()
    for call, literal in re.findall(r'(\w*)\(?\s*"((?:[^"\\\n]|\\.)*)"', code(patterns)):
        text = " ".join(literal.replace(r"\n", " ").replace(r"\t", " ").replace(r"\"", '"').split())
        level = {"warn": "WARNING: ", "reportError": "ERROR: "}.get(call, "")
        begins = r"(ERROR|INFO|PAGE): ?|pjlLines: |usage: |tmp at |\[tarvel\] |instructionAsData"
        if patterns is QUEUE_SOURCES:
            begins += r"|(the|it|its|a|jobs|this|Not|contains) \w"
        if (level or re.match(begins, text)) and text != "%s":
            found.add(level + text)
    return found


def filtered(directory, options):
    return run(FILTER, "42", "ada", "Title", "1", options, TMPDIR=directory).stdout


class PagesTest(unittest.TestCase):
    maxDiff = None

    def assert_words(self, words, text, what):
        known = re.findall(r"[^\s,;:()|]+", text)
        self.assertLessEqual(set(words), {*known, *(word.rstrip(".") for word in known)}, what)

    # ---- options

    def test_options(self):
        documented = {tag.split("=")[0] for tag in FILTER_PAGE.tags("OPTIONS")}
        self.assertEqual(documented, set(KNOWN.names("filter")))
        added = [*KNOWN.names("filter"), "Collate", "finishings"]
        self.assert_words(added, QUEUE_PAGE.text("ADDED OPTIONS"), "filter")
        text = QUEUE_PAGE.text("ADDED OPTIONS", "CONFIDENTIAL JOBS", "SETTINGS")
        self.assert_words(KNOWN.names("queue"), text, "queue")
        known = re.findall(r"\w+", QUEUE_PAGE.text("SETTINGS"))
        places = [known.index(name) for name in KNOWN.names("queue-setting")]
        self.assertGreater(len(places), 20)
        self.assertEqual(places, sorted(places))

    def test_setters_and_their_variables(self):
        listed = [line.partition(" ") for line in run(PJL_LINES, "--list").stdout.decode().splitlines()]
        setters = {name.split("=")[0]: options.strip().split(", ") for name, _, options in listed}
        documented = {name.split("=")[0]: entry.text for entry in TOOL_PAGE.entries("SETTERS")
                      for tag in entry.tags for name in tag.split(", ")}
        self.assertEqual(set(documented), set(setters))
        for setter, options in setters.items():
            self.assert_words(filter(None, options), documented[setter], setter)
        self.assertLessEqual(set(KNOWN.names("setting")), set(sum(setters.values(), [])))
        # setDuplicateHeldJobs appends a line of the header.
        calls = [name.replace("=SIZE", "=612x792") for name, _, _ in listed
                 if name.startswith("set") and name != "setDuplicateHeldJobs"]
        values = {name: [*KNOWN.values(name), "1"] for name in KNOWN.names("filter", "setting")
                  if not name.startswith("AP_")}  # which replace InputSlot
        variables = set()
        for i in range(max(map(len, values.values()))):
            given = " ".join(f"{name}={known[i % len(known)]}" for name, known in values.items())
            lines = run(PJL_LINES, given, *calls).stdout.decode().split("@PJL ENTER LANGUAGE")[1]
            variables |= set(re.findall(r"@PJL SET (\w+)", lines))
        self.assertGreater(len(variables), 25)
        self.assert_words(variables, TOOL_PAGE.text(), "PJL variables")

    def test_values(self):
        """One entry has all values of an option."""
        for kind, page, section in (("filter", FILTER_PAGE, "OPTIONS"),
                                    ("setting", TOOL_PAGE, "SETTERS")):
            texts = [" ".join([*entry.tags, entry.text]) for entry in page.entries(section)]
            found = {name: KNOWN.values(name) for name in KNOWN.names(kind) if KNOWN.values(name)}
            self.assertGreater(len(found), 4)
            for name, values in found.items():
                patterns = [rf"(?<![\w.]){re.escape(value)}(?!\w)" for value in values]
                missing = [[pattern for pattern in patterns if not re.search(pattern, text)]
                           for text in texts]
                self.assertEqual(min(missing, key=len), [], name)

    def test_texts_of_the_dialog(self):
        driver = read("ppd/quorvan.drv")
        rows = re.findall(r"(?m)^\| `(\w+)`[^|]* \| ([^|]+) \|", read("docs/booklets.md"))
        self.assertEqual(rows.pop(0), ("QVBookletFold", "In the dialog"))
        self.assertGreater(len(rows), 5)
        self.assertEqual([row for row in rows if "/".join(row) not in driver], [])
        # The values for small text mean what the dialog shows.
        blocks = re.findall(r'(?s)Option "(?:QvnDoubleStomp|QvnPixelBoost)/.*?\n\n', driver)
        choices = re.findall(r'Choice "(\w+)/([^"]+)"', "".join(dict.fromkeys(blocks)))
        self.assertGreaterEqual(len(choices), 10)
        for choice, meaning in choices:
            if choice != "PrinterS":
                self.assertRegex(FILTER_PAGE.text("OPTIONS"),
                                 rf'\b{choice}\b( or \w+| \(any case\))? means "{meaning.lower()}"')

    # ---- other input of the programs

    def test_arguments_keywords_and_settings(self):
        usage = re.search(r"\tjobshaper (.+)\n", run(FILTER, status=1).stderr.decode()).group(1)
        self.assertEqual(FILTER_PAGE.tags("ARGUMENTS"), re.sub(r"[][]", "", usage).split())
        self.assertEqual(set(FILTER_PAGE.tags("PPD KEYWORDS")), set(KNOWN.names("keyword")))
        names = re.findall(r'(?:entry(?:Integer|String)\(|member\(root_, )"(\w+)"', code(["diag/*"]))
        self.assertEqual(set(FILTER_PAGE.tags("DIAGNOSTIC LOG")), set(names))

    def test_environment(self):
        for page, sources in ((FILTER_PAGE, FILTER_SOURCES), (QUEUE_PAGE, QUEUE_SOURCES),
                              (TOOL_PAGE, [*TOOL_SOURCES, "platform/*"])):
            read_names = re.findall(r'getenv\(\s*"(\w+)"', code(sources))
            self.assertEqual(set(page.tags("ENVIRONMENT")), set(read_names))

    def test_files(self):
        # PostScript names look like paths.
        sources = code([*FILTER_SOURCES, "!stream_rewriter", "!trigger_search"])
        paths = re.findall(r'"(/[A-Za-z][\w./()]*)"', sources)
        names = {path.rsplit("/", 1)[1] for path in set(paths) - {"/tmp", "/dev/null"}}
        self.assertGreater(len(names), 9)
        self.assertEqual([name for name in names if name not in " ".join(FILTER_PAGE.tags("FILES"))], [])

    # ---- messages and exit statuses

    def test_messages(self):
        found = 0
        for page, sources in zip(PAGES, (FILTER_SOURCES, QUEUE_SOURCES, TOOL_SOURCES)):
            said = messages(sources)
            found += len(said)
            patterns = [re.sub("%[sd]", ".+", re.escape(message)) for message in said]
            text = page.text("DIAGNOSTICS")
            missing = [pattern for pattern in patterns if not re.search(pattern, text)]
            self.assertEqual(missing, [], page.path)
            for entry in page.entries("DIAGNOSTICS"):
                self.assertGreater(len(entry.text), 15, entry.tags)
                for tag in entry.tags:
                    self.assertRegex(tag, "^(ERROR: )?(" + "|".join(patterns) + ")")
        self.assertGreater(found, 50)

    def test_exit_statuses(self):
        self.assertLessEqual({"0", "1", "102", "108", "113"}, set(FILTER_PAGE.tags("EXIT STATUS")))
        statuses = [subprocess.call(f"{PJL_LINES} {arguments}", shell=True, stderr=subprocess.DEVNULL)
                    for arguments in ("--list > /dev/null", "--list > /dev/full", "")]
        self.assertEqual(TOOL_PAGE.tags("EXIT STATUS"), [str(status) for status in statuses])

    # ---- examples

    def test_settings_file_to_copy(self):
        with tempfile.TemporaryDirectory() as directory:
            path = pathlib.Path(directory, "Debug/.DebugPlist/qvDebug.plist")
            path.parent.mkdir(parents=True)
            path.write_text(FILTER_PAGE.example("<?xml"))
            filtered(directory, "PrintTo=JRVerify")
            log = pathlib.Path(directory, "jobshaper.log").read_text()
        self.assertIn("PrintTo\tJRVerify", log)
        self.assertIn("<key>debugLevel</key>", log)
        shape = re.sub(r"\d+", lambda digits: r"\d{%d}" % len(digits.group()),
                       re.escape(FILTER_PAGE.example("[13:05:07.042]").strip()).replace(r"\ \ ", r"\s+"))
        self.assertRegex(log, "(?m)^" + shape + "$")

    def test_placeholders_and_capture(self):
        rows = re.findall(r"(<\w\w>) (\S+)", FILTER_PAGE.example("<20> blank"))
        self.assertEqual(len(rows), 6)
        with tempfile.TemporaryDirectory() as directory:
            pathlib.Path(directory, "qvn_log").touch()
            output = filtered(directory, "JRUSERNAME=" + "".join(placeholder for placeholder, _ in rows))
            self.assertEqual(pathlib.Path(directory, "qvn_ps2").read_bytes(), output)
        name = "".join(character.replace("blank", " ") for _, character in rows)
        self.assertIn(f'USERNAME = "{name}"\n', output.decode())

    def test_no_page_removes_files_of_a_running_job(self):
        for path in [SOURCE / "README.md", *(SOURCE / "docs").glob("*.*[18d]")]:
            self.assertNotIn("qvn_*", read(path), path)

    def test_options_of_a_job_without_a_ppd_file(self):
        before, after = QUEUE_PAGE.example("PMCopies").splitlines()
        runs = [run(program, "42", "ada", "", "3", options, job=b"%!PS\n%RBINumCopies: 3\n").stdout
                for program, options in ((QUEUE, before), (FILTER, after), (FILTER, before))]
        self.assertEqual(runs[0], runs[1])
        self.assertNotEqual(runs[0], runs[2])

    # ---- other pages

    def test_tests_that_show_a_defence(self):
        listed = subprocess.run(["ctest", "--show-only"], cwd=BUILD, stdout=subprocess.PIPE, text=True,
                                timeout=60, check=True).stdout
        tests = re.findall(r"(?m)^ *Test +#\d+: (.+)$", listed)
        # Builds with sanitizers do not have all of the tests.
        tests += re.findall(r"add_test\(NAME (\S+)", read("tests/CMakeLists.txt"))
        rows = re.findall(r"(?m)^\|.*\|(.*)\|$", read("SECURITY.md"))
        named = re.findall(r"`([\w*/]+[.*][\w.*]*)`", " ".join(rows))
        self.assertGreater(len(named), 25)
        self.assertEqual([pattern for pattern in named if not fnmatch.filter(tests, pattern)], [])

    def test_version_is_the_same_everywhere(self):
        # The message has only the first two numbers, which must not change.
        message = run(FILTER, status=1).stderr.decode()
        self.assertTrue(message.startswith(f"ERROR: Version = {VERSION[:-2]} \n"), message)
        for page in PAGES:
            self.assertRegex(page.path.read_text(), rf'^\.TH \S+ \d \S+ "jobshaper {VERSION}"')
        self.assertEqual(re.search(r"\d+\.\d+\.\d+", read("CHANGELOG.md")).group(), VERSION)
        ppds = "".join(path.read_text() for path in BUILD.glob("ppd/*.ppd"))
        self.assertEqual(re.findall(r'(?m)^\*FileVersion: "(.+)"', ppds), [VERSION] * 5)

    def test_renders_without_a_warning(self):
        for page in PAGES:
            for command in (["groff", "-man", "-wall", "-Tutf8", "-z"], ["mandoc", "-Tlint", "-Wstyle"]):
                done = run(*command, page.path)
                self.assertEqual(done.stdout + done.stderr, b"", page.path)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[5:])
