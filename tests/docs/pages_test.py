#!/usr/bin/env python3
"""Compares the man pages with the sources: options and their values, PPD keywords, environment variables,
files, settings and messages must be the same in both. SECURITY.md must name existing tests.

usage: pages_test.py SOURCE-DIRECTORY FILTER PJLLINES VOCABULARY BUILD-DIRECTORY [UNITTEST-ARGUMENTS]
"""

import fnmatch
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from man_page import Page

SOURCE, FILTER, PJL_LINES, VOCABULARY, BUILD = (pathlib.Path(path).resolve() for path in sys.argv[1:6])
sys.path.append(str(SOURCE / "tests" / "support"))
from vocabulary import Vocabulary

KNOWN = Vocabulary(VOCABULARY)
PAGE_FILES = ("jobshaper.8", "jobshaper-queue.8", "pjlLines.1")
STRING = r'"((?:[^"\\\n]|\\.)*)"'
STRINGS = rf"{STRING}(?:\s*{STRING})*"


def code(*patterns):
    """The sources without comments."""
    files = sorted(path for pattern in patterns for path in SOURCE.glob(pattern))
    assert files, patterns
    return {str(path.relative_to(SOURCE)):
            re.sub(r"(?m)^\s*//.*$|  // .*$", "", path.read_text(encoding="utf-8"))
            for path in files}


# The code of the filter, the code that only pjlLines uses, and the entry program.
FILTER_CODE = code("src/programs/jobshaper.cpp", "src/filter/*.[ch]*", "src/booklet/*.[ch]*", "src/settings/*.[ch]*",
                   "src/diag/*.[ch]*", "src/platform/*.[ch]*", "src/pjl/pjl_creation.cpp")
SETTER_CODE = code("src/pjl/paper_settings.cpp", "src/pjl/quality_settings.cpp")
TOOL_CODE = code("src/programs/pjl_lines.cpp")
QUEUE_CODE = code("src/queue/*.[ch]*", "src/programs/jobshaper_queue.cpp",
                  "src/filter/page_counter.cpp")
# Only queues have it count pages.
del FILTER_CODE["src/filter/page_counter.cpp"]
ALL_CODE = {**FILTER_CODE, **SETTER_CODE, **TOOL_CODE, **QUEUE_CODE}


def joined(files):
    return "\n".join(files.values())


def unescaped(literal):
    return literal.replace(r"\n", "\n").replace(r"\t", "\t").replace(r"\"", '"')


def string_constant(name):
    literal = re.search(rf'\bconstexpr char {name}\[\] =\s*({STRINGS});', joined(ALL_CODE))
    assert literal, f"what is {name}?"
    return "".join(re.findall(STRING, literal.group(1)))


def literals(pattern, text):
    """The joined string literals of each match's first group."""
    return ["".join(re.findall(STRING, match.group(1))) for match in re.finditer(pattern, text)]


def messages(files):
    """The formats of all messages on standard error."""
    found = []
    for name, text in files.items():
        uses = len(re.findall(r"\bstderr\b|\bperror\b", text)) - len(
            re.findall(r"fflush\(stderr\)", text))
        formats = []
        # By jobshaper-queue.
        for function, level in (("warn", "WARNING"), ("reportError", "ERROR")):
            found += [f"{level}: {unescaped(message)}"
                      for message in literals(rf"\b{function}\(\s*({STRINGS})", text)]
        formats += literals(rf"std::fputs\(\s*({STRINGS}),\s*stderr\)", text)
        formats += [string_constant(constant) for constant
                    in re.findall(r"std::fputs\((k\w+),\s*stderr\)", text)]
        formats += literals(rf"std::fprintf\(\s*stderr,\s*({STRINGS})", text)
        # Messages that are collected and written together.
        if re.search(r"std::fwrite\([^;]*, stderr\)", text):
            formats += [text + "%d %d" for text in re.findall(rf"messages_ \+= {STRING}", text)]
        formats += [text + ": %s" for text in re.findall(rf"std::perror\({STRING}\)", text)]
        assert uses == len(formats), f"{name}: {uses} uses of standard error, found {formats}"
        found += [unescaped(message) for message in formats]
    return set(found)


def pattern_of(message):
    """A regular expression for a message on a page: any text for a value, one blank for white space."""
    words = " ".join(message.split())
    return re.sub(r"%[sd]", ".+", re.escape(words).replace(r"\%", "%"))


class PagesTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.pages = {name: Page(SOURCE / "docs" / name) for name in PAGE_FILES}
        cls.filter_page, cls.queue_page, cls.tool_page = cls.pages.values()

    def names_of(self, page, section):
        """Tags such as "NAME=value", without the value."""
        return {tag.split("=")[0] for tag in page.tags(section)}

    def assert_words(self, words, text, what):
        known = set(re.findall(r"[^\s,;:()|]+", text)) | set(
            word.rstrip(".") for word in re.findall(r"[^\s,;:()|]+", text))
        self.assertEqual([word for word in words if word not in known], [], what)

    # ---- options

    def test_options_of_the_filter(self):
        self.assertEqual(self.names_of(self.filter_page, "OPTIONS"), set(KNOWN.names("filter")))

    def test_options_of_the_entry_program(self):
        def words(*sections):
            return " ".join(" ".join([*entry.tags, entry.text]) for section in sections
                            for entry in self.queue_page.sections[section])
        self.assert_words([*KNOWN.names("filter"), "Collate", "finishings"], words("ADDED OPTIONS"), "filter")
        self.assert_words(KNOWN.names("queue"), words("ADDED OPTIONS", "CONFIDENTIAL JOBS", "SETTINGS"), "queue")

    def test_settings_of_the_entry_program(self):
        names = KNOWN.names("queue-setting")
        self.assertGreater(len(names), 20)
        text = " ".join(entry.text for entry in self.queue_page.sections["SETTINGS"])
        known = re.findall(r"\w+", text)
        places = [known.index(name) for name in names]
        self.assertEqual(places, sorted(places))

    def pjl_lines(self, *arguments):
        return subprocess.run([PJL_LINES, *arguments], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              text=True, check=True).stdout

    def test_setters(self):
        listed = [line.partition(" ") for line in self.pjl_lines("--list").splitlines()]
        setters = {name.split("=")[0]: options.strip().split(", ") for name, _, options in listed}
        documented = {}
        for entry in self.tool_page.sections["SETTERS"]:
            for tag in entry.tags:
                for name in tag.split(", "):
                    documented[name.split("=")[0]] = entry.text
        self.assertEqual(set(documented), set(setters))
        for setter, options in setters.items():
            self.assert_words(filter(None, options), documented[setter], setter)
        read = {option for options in setters.values() for option in options}
        self.assertLessEqual(set(KNOWN.names("setting")), read)

    def test_variables(self):
        calls = [line.split()[0].replace("=SIZE", "=612x792")
                 for line in self.pjl_lines("--list").splitlines() if line.startswith("set")]
        calls.remove("setDuplicateHeldJobs")  # a line of the header
        options = {name: [*KNOWN.values(name), "1"] for name in KNOWN.names("filter", "setting")
                   if not name.startswith("AP_")}  # which replace InputSlot
        variables = set()
        for i in range(max(map(len, options.values()))):
            given = " ".join(f"{name}={values[i % len(values)]}" for name, values in options.items())
            lines = self.pjl_lines(given, *calls).split("@PJL ENTER LANGUAGE")[1]
            variables |= set(re.findall(r"@PJL SET (\w+)", lines))
        self.assertGreater(len(variables), 25)
        self.assert_words(sorted(variables), self.tool_page.text, "PJL variables")

    def test_values(self):
        for page, kind, section in ((self.filter_page, "filter", "OPTIONS"), (self.tool_page, "setting", "SETTERS")):
            found = {name: KNOWN.values(name) for name in KNOWN.names(kind) if KNOWN.values(name)}
            self.assertGreater(len(found), 4)
            for name, values in found.items():
                missing = [[value for value in values if not re.search(
                    rf"(?<![\w.]){re.escape(value)}(?!\w)", " ".join([*entry.tags, entry.text]))]
                    for entry in page.sections[section] if entry.tags]
                self.assertEqual(min(missing, key=len), [], name)

    def test_small_text_has_one_wording(self):
        driver = (SOURCE / "ppd" / "quorvan.drv").read_text()
        entry = next(entry for entry in self.filter_page.sections["OPTIONS"]
                     if any(tag.startswith("QvnPixelBoost") for tag in entry.tags))
        text = " ".join(entry.text.split())
        found = 0
        for option in ("QvnDoubleStomp", "QvnPixelBoost"):
            block = re.search(rf'Option "{option}/.*?\n\n', driver, re.S).group()
            for choice, meaning in re.findall(r'Choice "(\w+)/([^"]+)"', block):
                if choice != "PrinterS":
                    found += 1
                    self.assertRegex(text, rf'\b{choice}\b( or \w+| \(any case\))? means "{meaning.lower()}"')
        self.assertEqual(found, 8)

    def test_texts_of_the_dialog(self):
        driver = (SOURCE / "ppd" / "quorvan.drv").read_text()
        rows = re.findall(r"(?m)^\| `(\w+)`[^|]* \| ([^|]+) \|", (SOURCE / "docs" / "booklets.md").read_text())
        self.assertEqual(rows.pop(0), ("QVBookletFold", "In the dialog"))
        self.assertGreater(len(rows), 5)
        self.assertEqual([row for row in rows if "/".join(row) not in driver], [])

    # ---- other input of the programs

    def test_arguments(self):
        usage = subprocess.run([FILTER], stderr=subprocess.PIPE, text=True, check=False).stderr
        usage = re.search(r"\tjobshaper (.+)\n", usage).group(1)
        self.assertEqual(self.filter_page.tags("ARGUMENTS"), usage.replace("[", "").replace(
            "]", "").split())

    def test_ppd_keywords(self):
        self.assertEqual(set(self.filter_page.tags("PPD KEYWORDS")), set(KNOWN.names("keyword")))

    def test_environment(self):
        for page, files in ((self.filter_page, FILTER_CODE), (self.queue_page, QUEUE_CODE),
                            (self.tool_page, {**TOOL_CODE, **code("src/platform/*.cpp")})):
            names = set(re.findall(r'getenv\("(\w+)"\)', joined(files)))
            self.assertEqual(set(page.tags("ENVIRONMENT")), names)

    def test_files(self):
        # The rewriter contains PostScript names, which look like paths.
        text = joined({name: text for name, text in FILTER_CODE.items()
                       if "stream_rewriter" not in name and "trigger_search" not in name})
        paths = {path.rsplit("/", 1)[1] for path in re.findall(r'"(/[A-Za-z][\w./()]*)"', text)
                 if path not in ("/tmp", "/dev/null")}
        self.assertGreater(len(paths), 9)
        tags = " ".join(self.filter_page.tags("FILES"))
        for path in paths:
            self.assertIn(path, tags)

    def test_settings_of_the_log(self):
        text = joined(FILTER_CODE)
        names = set(re.findall(r'entry(?:Integer|String)\("(\w+)"\)', text))
        names |= set(re.findall(r'member\(root_, "(\w+)"', text))
        self.assertEqual({tag for tag in self.filter_page.tags("DIAGNOSTIC LOG")}, names)

    # ---- messages

    def test_messages(self):
        found = 0
        for page, files in (
                (self.filter_page, FILTER_CODE), (self.queue_page, QUEUE_CODE),
                (self.tool_page, {**TOOL_CODE, **SETTER_CODE})):
            tags = page.tags("DIAGNOSTICS")
            known = messages(files)
            if page is self.tool_page:
                known |= messages(code("src/diag/*.cpp"))  # of the log, which it also starts
            for message in known:
                found += 1
                self.assertTrue(any(re.fullmatch(pattern_of(message), tag) for tag in tags),
                                f"no page tells of {message!r}")
            for tag in tags:
                self.assertTrue(any(re.fullmatch(pattern_of(message), tag) for message in known),
                                f"no program says {tag!r}")
            for entry in page.sections["DIAGNOSTICS"]:
                self.assertTrue(not entry.tags or len(entry.text) > 15, entry.tags)
        self.assertGreater(found, 20)

    def test_reasons(self):
        found = literals(rf"(?:refusal|report)\((?:\s*path,)?\s*(?:errno == 0 \? )?({STRINGS})", joined(QUEUE_CODE))
        self.assertGreater(len(found), 11)
        text = " ".join(word for entry in self.queue_page.sections["DIAGNOSTICS"] for word in entry.text.split())
        self.assertEqual([reason for reason in found if reason not in text], [])

    def test_exit_statuses(self):
        tags = set(self.filter_page.tags("EXIT STATUS"))
        self.assertLessEqual({"0", "1", "102", "108", "113"}, tags)
        with open("/dev/full", "wb") as full:
            calls = [subprocess.run([PJL_LINES, *arguments], stdout=output, stderr=subprocess.DEVNULL, check=False)
                     for arguments, output in ((["--list"], subprocess.DEVNULL), (["--list"], full), ([], full))]
        self.assertEqual(self.tool_page.tags("EXIT STATUS"), [str(call.returncode) for call in calls])

    # ---- examples

    def run_filter(self, directory, options):
        environment = {"TMPDIR": directory, "DEVICE_URI": "socket://printer", "PATH": os.environ["PATH"]}
        return subprocess.run([FILTER, "42", "ada", "Title", "1", options], env=environment,
                              input=b"%!PS\nshowpage\n", stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=30, check=True)

    def test_settings_file_to_copy(self):
        settings = [text for text in self.filter_page.examples if text.startswith("<?xml")]
        self.assertEqual(len(settings), 1)
        record = next(text for text in self.filter_page.examples if "[13:05:07.042]" in text)
        with tempfile.TemporaryDirectory() as directory:
            path = pathlib.Path(directory, "Debug", ".DebugPlist", "qvDebug.plist")
            path.parent.mkdir(parents=True)
            path.write_text(settings[0])
            self.run_filter(directory, "PrintTo=JRVerify")
            log = pathlib.Path(directory, "jobshaper.log").read_text()
        self.assertIn("PrintTo\tJRVerify", log)
        self.assertIn("<key>debugLevel</key>", log)
        shape = re.sub(r"\d+", lambda digits: r"\d{%d}" % len(digits.group()),
                       re.escape(record.strip()).replace(r"\ \ ", r"\s+"))
        self.assertRegex(log, "(?m)^" + shape + "$")

    def test_placeholders(self):
        example = next(text for text in self.filter_page.examples if "<20> blank" in text)
        for code_point, character in re.findall(r"(<\w\w>) (\S+)", example):
            character = " " if character == "blank" else character
            with tempfile.TemporaryDirectory() as directory:
                output = self.run_filter(directory, f"JRUSERNAME=a{code_point}b").stdout
            self.assertIn(f'USERNAME = "a{character}b"\n'.encode(), output)

    def test_no_page_removes_files_of_a_running_job(self):
        for path in [SOURCE / "README.md", *(SOURCE / "docs").glob("*.*[18d]")]:
            self.assertNotIn("qvn_*", path.read_text(), path)

    def test_options_of_a_job_without_a_ppd_file(self):
        before, after = next(text for text in self.queue_page.examples if "PMCopies" in text).splitlines()
        program = pathlib.Path(FILTER).with_name("jobshaper-queue")
        runs = [subprocess.run([path, "42", "ada", "", "3", options], input=b"%!PS\n%RBINumCopies: 3\n",
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=30, check=True,
                               env={"PATH": os.environ["PATH"]})
                for path, options in ((program, before), (FILTER, after), (FILTER, before))]
        self.assertEqual(runs[0].stdout, runs[1].stdout)
        self.assertNotEqual(runs[0].stdout, runs[2].stdout)

    def test_marker(self):
        with tempfile.TemporaryDirectory() as directory:
            pathlib.Path(directory, "qvn_log").touch()
            done = self.run_filter(directory, "")
            self.assertEqual(pathlib.Path(directory, "qvn_ps2").read_bytes(), done.stdout)

    def test_tests_that_show_a_defence(self):
        listed = subprocess.run(["ctest", "--show-only"], cwd=BUILD, stdout=subprocess.PIPE, text=True,
                                timeout=60, check=True).stdout
        tests = re.findall(r"(?m)^ *Test +#\d+: (.+)$", listed)
        # Builds with sanitizers do not have all of the tests.
        tests += re.findall(r"add_test\(NAME (\S+)", (SOURCE / "tests" / "CMakeLists.txt").read_text())
        rows = re.findall(r"(?m)^\|.*\|(.*)\|$", (SOURCE / "SECURITY.md").read_text())
        named = re.findall(r"`([\w*/]+[.*][\w.*]*)`", " ".join(rows))
        self.assertGreater(len(named), 25)
        for pattern in named:
            self.assertTrue(fnmatch.filter(tests, pattern), pattern)

    def test_renders_without_a_warning(self):
        for name in PAGE_FILES:
            for command in (["groff", "-man", "-wall", "-Tutf8", "-z"],
                            ["mandoc", "-Tlint", "-Wstyle"]):
                done = subprocess.run([*command, SOURCE / "docs" / name], stdout=subprocess.PIPE,
                                      stderr=subprocess.STDOUT, timeout=30, check=False)
                self.assertEqual((done.returncode, done.stdout.decode()), (0, ""), name)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[6:])
