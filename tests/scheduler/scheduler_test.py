#!/usr/bin/env python3
"""Prints documents through a real scheduler to printers on the loopback interface.

usage: scheduler_test.py BUILD-DIRECTORY [UNITTEST-ARGUMENTS]

The queues run jobshaper-queue after a recorder of its arguments, environment and input.
"""

import pathlib
import re
import shutil
import sys
import time
from typing import NamedTuple

from private_cups import SYSTEM_BIN, run_tests, wait_until
from recorded_cups import APPLICATION, SWITCH, TRAILER, UEL, RecordedTest, write_log_settings

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from ghostscript import Ghostscript

# What the scheduler writes about a program or file that is not installed correctly.
CRASH = r"crashed|insecure permissions|Sanitizer|runtime error:|core dumped"
# What only jobs that end early may cause.
TROUBLE = (r"^E |stopped with status|did not catch|Backend returned status"
           r"|\] Job (?:canceled|aborted|stopped)|not used")
MODELS = ("color-finisher", "mono-duplex", "small-mono", "generic-color", "generic-mono")
# Queues with other defaults.
DEFAULTS = {"Booklets": ("QVBookletFold=SaddleStitch", "PrintTo=JRVerify", "QvnBlankPage=false",
                         "ColorModel=Gray", "TonerDarkness=4"),
            "Always": ("booklet-default=true",)}
END = SWITCH.decode()  # of a header
FIVE = ["1", "2", "3", "4", "5"]  # the pages on each side
BOOKLET = ["1", "2", "3", "45"]
STAPLED = ["/Fold 2 /Staple 4>> setpagedevice"]
ONE_COPY = "@PJL SET COPIES = 1\n"
COLOR, BLACK = "@PJL SET QCOLORMODEL = CMYK\n", "@PJL SET QCOLORMODEL = BLACK\n"
COLLATE = "<</Collate {}>>setpagedevice"
# A booklet needs its blank sides.
BLANK, NO_BLANK = "@PJL SET QBLANKPAGES = PRINT\n", "@PJL SET QBLANKPAGES = DONOTPRINT\n"
CYRILLIC = "\u041e\u043b\u044f"
TUMBLE = "*Duplex None\n<</Duplex true/Tumble true>>setpagedevice"


class Row(NamedTuple):
    queue: str
    file: str  # a member of the test
    options: dict
    sides: list = FIVE
    pages: int | None = 5
    sent: tuple = ()  # each once
    absent: tuple = ()
    fold: list = []


JOBS = [
    # What ends the header of each model.
    Row("color-finisher", "postscript", APPLICATION, sent=(COLOR + END,)),
    Row("mono-duplex", "postscript", APPLICATION, sent=(ONE_COPY + END,)),
    Row("small-mono", "postscript", APPLICATION, sent=(ONE_COPY + END,)),
    Row("generic-color", "postscript", APPLICATION,
        sent=(f"{COLOR}@PJL SET RENDERMODE  = COLOR\n{COLOR}{END}",)),
    Row("generic-mono", "postscript", APPLICATION,
        sent=(f"{BLACK}@PJL SET RENDERMODE  = GRAYSCALE\n{END}",)),
    # Copies, and what is counted as pages.
    Row("color-finisher", "pdf", {"copies": "3", "collate": "false"}, pages=15,
        sent=(COLLATE.format("false"), "%RBINumCopies: 3\n"), absent=("@PJL SET COPIES",)),
    Row("mono-duplex", "postscript", {"copies": "3"}, pages=15,
        sent=(COLLATE.format("true"), "%RBINumCopies: 3\n"), absent=("@PJL SET COPIES",)),
    Row("color-finisher", "pdf", {"sides": "two-sided-long-edge", "copies": "2", "collate": "true"},
        pages=12),
    Row("mono-duplex", "pdf", {"job-sheets": "standard,none"}, None, 6),
    Row("generic-mono", "postscript", {**APPLICATION, "number-up": "4", "copies": "2"},
        ["1234", "5"], 4),
    # The defaults of the administrator.
    Row("Booklets", "postscript", {**APPLICATION, "copies": "2"}, BOOKLET, 8,
        (BLANK, BLACK, "@PJL SET HOLD = PROOF\n", "<< /CollatedCopies 2 >> setuserparams\n",
         "@PJL SET DENSITY = 4\n"), fold=STAPLED),
    Row("Booklets", "postscript",
        {**APPLICATION, "QVBookletFold": "bifold", "PrintTo": "JRPrinter", "print-color-mode": "color"},
        BOOKLET, 4, (BLANK, COLOR), ("@PJL SET HOLD",), ["/Fold 1 >> setpagedevice"]),
    Row("Booklets", "postscript",
        {**APPLICATION, "QVBookletFold": "false", "printer-resolution": "1200dpi", "collate": "false",
         "copies": "2", "PrintTo": "JRPrinter"},
        FIVE, 10, (NO_BLANK, "HWResolution[1200 1200]", COLLATE.format("false"), "%RBINumCopies: 2\n"),
        ("CollatedCopies", "HWResolution[600")),
    # Booklets are arranged once: by CUPS, by jobshaper-queue, or by both if there is a banner page.
    Row("color-finisher", "pdf", {"booklet": "true"}, BOOKLET, 4, (TUMBLE,), fold=STAPLED),
    Row("color-finisher", "pdf", {"QVBookletFold": "SaddleStitch", "collate": "false", "copies": "2"},
        BOOKLET, 8, (TUMBLE,), (COLLATE.format("false"),), STAPLED),
    Row("color-finisher", "image", {"booklet": "true"}, ["", ""], 2, (TUMBLE,), fold=STAPLED),
    Row("Always", "pdf", {"job-sheets": "standard,none"}, None, None, (TUMBLE,), fold=STAPLED),
    # The second pass begins with a blank page, which is numbered 1 and is the back of 3.
    Row("small-mono", "postscript", {**APPLICATION, "QVBookletFold": "Booklet", "copies": "2"}, None, 8),
]
if (SYSTEM_BIN / "filter" / "texttopdf").exists():
    # Its fonts have no names for letters.
    JOBS.append(Row("Always", "text", {}, [""] * 4, 4, (TUMBLE,), fold=STAPLED))


class SchedulerTest(RecordedTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.ghostscript = cls.enterClassContext(Ghostscript("txtwrite", "-r72"))
        cls.image = cls.drawn("pnggray", "image.png")
        cls.text = cls.work / "lines.txt"
        cls.text.write_text("\f".join("A line\n" for n in range(5)))
        for name in MODELS:
            cls.cups.add_printer(name, name)
        for name, options in DEFAULTS.items():
            cls.cups.add_printer(name, "color-finisher", *options)

    def setUp(self):
        self.log_start = len(self.cups.log())
        self.early_ends = []

    def tearDown(self):
        wrong = []
        for line in self.cups.log()[self.log_start:]:
            early = any(f"[Job {number}]" in line for number in self.early_ends)
            if re.search(CRASH, line) or (not early and re.search(TROUBLE, line)):
                wrong.append(line)
        self.assertEqual(wrong, [])

    def check(self, job, has_banner=False):
        """What holds for every job. With a banner, only the last run of the filter is recorded."""
        self.assertEqual(job.state, "completed", "\n".join(job.log))
        self.assertTrue(job.received.startswith(UEL + b"@PJL JOB\n"), job.received[:200])
        self.assertTrue(job.received.endswith(TRAILER), job.received[-200:])
        if not has_banner:
            self.assertEqual(job.received, job.filtered_again())

    def assert_in_directory(self, *names):
        # A filter of CUPS that draws text makes the directory of a cache.
        self.assertEqual({path.name for path in self.cups.temp.iterdir()} - {".cache"}, set(names))

    def assert_warnings(self, job, *expected):
        self.assertEqual([line for line in job.log
                          if re.search("is used instead|is ignored|not used", line)
                          and not line.startswith("Set job-printer-state-message")], list(expected))

    def sides(self, job):
        """The numbers of the pages on each side."""
        _, sides = self.ghostscript.run(job.body)
        return ["".join(sorted(re.findall(r"page (\d)", side.decode()))) for side in sides]

    def test_jobs(self):
        # Together: the queues print at the same time.
        sent = [(row, self.cups.send(row.queue, getattr(self, row.file), row.options)) for row in JOBS]
        for row, finish in sent:
            with self.subTest(row):
                job = finish()
                self.check(job, "job-sheets" in row.options)
                self.assert_warnings(job)
                text = job.received.decode("latin-1")
                self.assertEqual([part for part in row.sent if text.count(part) != 1], [])
                self.assertEqual([part for part in row.absent if part in text], [])
                self.assertEqual(re.findall(r"\n<< (/Fold .*)", text), row.fold)
                if row.sides is not None:
                    self.assertEqual(self.sides(job), row.sides)
                if row.pages is not None:
                    self.assertEqual(self.cups.pages_of(job.number), row.pages)
        self.assert_in_directory()

    def test_every_way_through_cups(self):
        printer = self.cups.add_printer("Far", "mono-duplex", uri_end="&filler=" + "x" * 70)
        sent = [(arguments, file, self.cups.send("Far", file, options)) for file, options, arguments in (
            (self.pdf, {}, 6), (self.postscript, {}, 6), (self.postscript, APPLICATION, 6),
            # The program opens the file itself.
            (self.postscript, {"document-format": "application/vnd.cups-postscript"}, 7))]
        for arguments, file, finish in sent:
            job = finish()
            self.check(job)
            self.assertEqual(len(job.argv), arguments)
            self.assertEqual(job.argv[3].decode(), file.name)
            self.assertEqual(job.environment["DEVICE_URI"], printer.uri + "&filler=" + "x" * 70)
            self.assertIn(ONE_COPY.encode(), job.header)
            self.assertEqual(self.sides(job), FIVE)

    def test_hostile_values(self):
        job = self.cups.send("color-finisher", self.postscript, {
            **APPLICATION,
            "JRUSERNAME": "Zo\u00eb O'Hara \"x\" \\y {z} <20> =,\n@PJL SET COPIES = 99",
            "JRHOLDKEY": "1234",
            "JAUSERID": "Andr\u00e9 \u20ac",
            "JAACCTNUM": CYRILLIC,
            "JADEPTNUM": "a b\\c",
            "PrintTo": "JRConf",
            "QVBookletFold": "No such {fold}",
            "InputSlot": "Tray99",
            "QvnBlankPage": "maybe",
            "media": "Custom.1x1",
        }, "-U", "Zo\u00eb \"2\"", "-t", "<20> %s {\"")()
        self.check(job)
        self.assert_warnings(job, *(
            f"{value} is not a choice of this printer; {used} is used instead. "
            "lpoptions -p QUEUE -l lists them."
            for value, used in (("QVBookletFold=No such {fold}", "false"),
                                ("QvnBlankPage=maybe", "PrinterS"), ("InputSlot=Tray99", "Auto"))))
        # The same lines as in the header of a harmless job.
        self.assertEqual(re.sub(" HOSTID = .*", "", job.header.decode()).split("\n@PJL "), [
            "\x1b%-12345X@PJL JOB", "COMMENT Quorvan Macintosh driver", "SET STRINGCODESET = UTF8",
            "QJOBINFO USERID = \"Zo\u00eb '2'\"", "SET JOBNAME = \"<20> %s {'\"",
            "SET USERNAME = \"Zo\u00eb O'Hara 'x' \\y {z}   =, @PJL SET COPIES = 99\"",
            "SET COPIES = 1", "SET HOLD = ON", "SET HOLDTYPE = PRIVATE", "SET HOLDKEY = \"1234\"",
            "SET QDUPLICATEHELDJOBS = SAVE", "SET QJOBCREDUSERNAME = \"Andr\u00e9 \u20ac\"",
            f"SET QJOBCREDACCOUNTID = \"{CYRILLIC.encode().decode('mac-roman')}\"",
            "SET QJOBCREDDEPTID = \"a b\\c\"", "SET QCOLORMODEL = CMYK\n"])

    def test_two_jobs_end_early_at_once(self):
        # More than pipes and sockets hold, so that the jobs do not end before the printers read them.
        large = self.work / "large.ps"
        large.write_text(self.postscript.read_text().replace(
            "%%Page: 3", ("% " + "x" * 77 + "\n") * 90000 + "%%Page: 3", 1))
        queues = "Canceled", "HangsUp"
        printers = [self.cups.add_printer(name, "color-finisher") for name in queues]
        for printer in printers:
            printer.hold()
        printers[1].hang_up_at = 100000
        self.early_ends = numbers = [self.cups.lp(queue, large, APPLICATION) for queue in queues]
        # Only a filter that is running can write a trailer.
        wait_until(lambda: all(any(re.match(r"Wrote \d+ bytes of print data", line)
                                   for line in self.cups.log_of(number)) for number in numbers),
                   30, "the first bytes of the jobs")
        records = [self.cups.records / f"{number}.jobshaper-queue.input" for number in numbers]
        sizes = None
        while sizes != (sizes := [record.stat().st_size for record in records]):
            time.sleep(0.2)  # until no more bytes are transferred
        self.assertLess(max(sizes), large.stat().st_size)

        self.cups.command("cancel", str(numbers[0]))
        for printer in printers:
            printer.release()
        job, cut = (self.cups.finish(number, queue, 1) for number, queue in zip(numbers, queues))
        self.assertEqual(job.state, "canceled")
        self.assertTrue(job.received.endswith(TRAILER), job.received[-200:])
        self.assertGreaterEqual(len(cut.received), 100000)
        for ended, end, received in (
                (job, "was terminated normally with signal 15.", job.received.removesuffix(TRAILER)),
                (cut, "exited with no errors.", cut.received)):
            self.assertIn(end, [line.partition("jobshaper-queue) ")[2] for line in ended.log])
            self.assertLess(len(received), large.stat().st_size)
            self.assertEqual(received, ended.filtered_again()[:len(received)])
        self.assert_in_directory()
        # The queues go on.
        for queue in queues:
            number = self.cups.lp(queue, self.postscript, APPLICATION)
            self.check(self.cups.finish(number, queue, 2))

    def test_capture_and_trace(self):
        temp = self.cups.temp
        write_log_settings(temp)
        (temp / "qvn_log").write_bytes(b"")
        try:
            job = self.cups.send("color-finisher", self.postscript, APPLICATION)()
            self.assert_in_directory("Debug", "qvn_log", "qvn_ps", "qvn_ps2", "debug.log")
            self.assertEqual((temp / "qvn_ps2").read_bytes(), job.received)
            # The feature that the filter replaces is skipped unread.
            came_in = re.sub(rb"(JobPatchFile.*\n).*\n.*\n", rb"\1", job.input.read_bytes(), count=1)
            self.assertEqual((temp / "qvn_ps").read_bytes(), came_in)
            log = (temp / "debug.log").read_bytes()
            self.assertIn(b"ARGV[0] = color-finisher", log)
            self.assertIn(b"PMCopies..n.\t1", log)
        finally:
            for path in temp.iterdir():
                shutil.rmtree(path) if path.is_dir() else path.unlink()
        self.check(job)


if __name__ == "__main__":
    run_tests(sys.argv[2:])
