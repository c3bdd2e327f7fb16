#!/usr/bin/env python3
"""Prints documents through a real scheduler to a printer on the loopback interface.

usage: scheduler_test.py BUILD-DIRECTORY [UNITTEST-ARGUMENTS]

The queues run jobshaper-queue after a recorder of its arguments, environment and input.
"""

import pathlib
import re
import shutil
import subprocess
import sys

import private_cups
from recorded_cups import APPLICATION, TRAILER, UEL, RecordedTest, write_log_settings

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from ghostscript import Ghostscript

# The page that explains a manual booklet, where the package installs it.
INSTRUCTIONS = pathlib.Path("/Library/Printers/Quorvan/filter/.resource/en.lproj/instruction(null)")
# What the scheduler writes about a program or file that is not installed correctly.
CRASH = re.compile(r"crashed|insecure permissions|Sanitizer|runtime error:|core dumped")
# Log lines that only jobs that end early may have.
TROUBLE = re.compile(r"^E |stopped with status|did not catch|Backend returned status"
                     r"|Job (?:canceled|aborted|stopped)|not used")
LOG_LINE = re.compile(r"^(. )\[[^]]*\] (?:\[Job (\d+)\] )?(.*)$")
NO_CHOICE = "{}={} is not a choice of this printer; {} is used instead. lpoptions -p QUEUE -l lists them."
DOCUMENT = "%!PS-Adobe-3.0\n%%BoundingBox: 0 0 595 842\n%%Pages: 5\n%%EndComments\n" + "".join(
    f"%%Page: {n} {n}\n/Courier findfont 40 scalefont setfont 100 400 moveto (page {n}) show showpage\n"
    for n in range(1, 6)) + "%%Trailer\n%%EOF\n"
FIVE = ["1", "2", "3", "4", "5"]
BOOKLET = ["1", "2", "3", "45"]  # the pages on each side


class SchedulerTest(RecordedTest):
    build = sys.argv[1]

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.ghostscript = Ghostscript("txtwrite", "-r72")
        cls.addClassCleanup(cls.ghostscript.close)
        cls.postscript = cls.work / "The \"first\" draft's 2nd {copy}.ps"
        cls.postscript.write_text(DOCUMENT)
        cls.pdf, cls.image = cls.work / "document.pdf", cls.work / "image.png"
        for device, output in (("pdfwrite", cls.pdf), ("pnggray", cls.image)):
            subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", f"-sDEVICE={device}", "-r20",
                            "-o", output, cls.postscript], timeout=60, check=True)
        cls.text = cls.work / "lines.txt"
        cls.text.write_text("\f".join("A line\n" for n in range(5)))
        # More than pipes and sockets hold, so that the job does not end before the test reads it.
        cls.large = cls.work / "large.ps"
        cls.large.write_text(DOCUMENT.replace("%%Page: 3", ("% " + "x" * 77 + "\n") * 90000 + "%%Page: 3", 1))
        cls.cups.start()
        cls.add_queue("Office", "color-finisher")
        cls.add_queue("Small", "small-mono")

    # ---- steps

    def setUp(self):
        self.log_start = len(self.cups.log.lines())
        self.early_ends = set()

    def tearDown(self):
        wrong = []
        for line in self.cups.log.lines()[self.log_start:]:
            level, job, text = LOG_LINE.match(line).groups()
            early = job is not None and int(job) in self.early_ends
            if CRASH.search(text) or (not early and TROUBLE.search(level + text)):
                wrong.append(line)
        self.assertEqual(wrong, [])
        self.assertRegex(self.cups.command("lpstat", "-p", "Office"), "is idle.*enabled since")

    def send(self, queue, file, options, **arguments):
        count = len(self.printer.jobs) + 1
        return self.cups.finish(self.cups.lp(queue, file, options, **arguments), self.printer, count)

    def print(self, options=None, file=None, queue="Office", **arguments):
        """Prints a file, or else a document that only one filter of CUPS processes before ours, and
        checks what holds for every job."""
        if file is None:
            file, options = self.postscript, {**APPLICATION, **(options or {})}
        job = self.send(queue, file, options, **arguments)
        self.check(job)
        return job

    def check(self, job):
        self.assertEqual(job.state, "completed", "\n".join(job.log))
        self.assertTrue(job.received.startswith(UEL + b"@PJL JOB\n"), job.received[:200])
        self.assertTrue(job.received.endswith(TRAILER), job.received[-200:])
        self.assert_same(job.received, job.filtered_again())
        self.assert_in_directory()

    def assert_in_directory(self, *names):
        # A filter of CUPS that draws text makes the directory of a cache.
        self.assertEqual({path.name for path in self.cups.temp.iterdir()} - {".cache"}, set(names))

    def assert_same(self, received, expected):
        if received != expected:
            at = next((i for i, (a, b) in enumerate(zip(received, expected)) if a != b),
                      min(len(received), len(expected)))
            self.fail(f"{len(received)} bytes received, {len(expected)} expected; from byte {at}: "
                      f"{received[at:at + 80]!r}, {expected[at:at + 80]!r}")

    def assert_warnings(self, job, *expected):
        self.assertEqual([line for line in job.log if re.search("is used instead|is ignored|not used", line)
                          and not line.startswith("Set job-printer-state-message")], list(expected))

    def sides(self, job):
        """The numbers of the pages on each side."""
        _, sides = self.ghostscript.run(job.body)
        return ["".join(sorted(re.findall(r"page (\d)", side.decode()))) for side in sides]

    # ---- documents and their pages

    def test_every_way_through_cups(self):
        uri = self.printer.uri + "&filler="
        self.add_queue("Far", "mono-duplex", uri=uri.ljust(112, "x"))
        for file, options, arguments in (
                (self.pdf, {}, 6), (self.postscript, {}, 6), (self.postscript, APPLICATION, 6),
                # The program opens the file itself.
                (self.postscript, {"document-format": "application/vnd.cups-postscript"}, 7)):
            with self.subTest(file=file.name, options=options):
                job = self.print(options, file, "Far")
                self.assertEqual(job.argv[3].decode(), file.name)
                self.assertEqual(job.environment[b"DEVICE_URI"].decode(), uri.ljust(112, "x"))
                self.assertEqual(len(job.argv), arguments)
                self.assertIn(b"@PJL SET COPIES = 1\n", job.header)
                self.assertEqual(self.sides(job), FIVE)

    def test_copies(self):
        for file, options, collate in ((self.pdf, {"collate": "false"}, b"false"),
                                       (self.postscript, {}, b"true")):
            with self.subTest(file=file.name):
                job = self.print({"copies": "3", **options}, file)
                self.assertIn(b"<</Collate " + collate + b">>setpagedevice", job.body)
                self.assertIn(b"%RBINumCopies: 3\n", job.body)
                self.assertNotIn(b"@PJL SET COPIES", job.received)
                self.assertEqual(self.sides(job), FIVE)
                self.assertEqual(self.cups.pages_of(job.number), 15)

    def test_pages_are_counted_as_by_cups_itself(self):
        printer = self.new_printer()  # a separate one, whose jobs the test does not wait for
        self.cups.command("lpadmin", "-p", "Generic", "-E", "-v", printer.uri, "-m", "drv:///sample.drv/generic.ppd")
        self.add_queue("Counted", "color-finisher", uri=printer.uri)
        rows = ((self.pdf, {"sides": "two-sided-long-edge", "copies": "2", "collate": "true"}, 12),
                (self.pdf, {"job-sheets": "standard,none"}, 6),
                (self.postscript, {**APPLICATION, "number-up": "4", "copies": "2"}, 4))
        # Two queues print at the same time.
        numbers = [[self.cups.lp(queue, file, options) for queue in ("Generic", "Counted")]
                   for file, options, _ in rows]
        for (file, options, pages), pair in zip(rows, numbers):
            with self.subTest(file=file.name, options=options):
                self.assertEqual([self.cups.wait_for(number) for number in pair], ["completed"] * 2)
                self.assertEqual([self.cups.pages_of(number) for number in pair], [pages] * 2)

    # ---- options

    def test_every_model(self):
        color = b"@PJL SET QCOLORMODEL = CMYK\n"
        for model, header in (
                ("color-finisher", color), ("mono-duplex", b"@PJL SET COPIES = 1\n"),
                ("small-mono", b"@PJL SET COPIES = 1\n"),
                ("generic-color", color + b"@PJL SET RENDERMODE  = COLOR\n" + color),
                ("generic-mono", b"@PJL SET QCOLORMODEL = BLACK\n@PJL SET RENDERMODE  = GRAYSCALE\n")):
            with self.subTest(model):
                self.add_queue("Model", model)
                job = self.print(queue="Model")
                self.assertTrue(job.header.endswith(header), job.header)

    def test_defaults_of_the_administrator(self):
        self.add_queue("Booklets", "color-finisher", "QVBookletFold=SaddleStitch", "PrintTo=JRVerify",
                       "QvnBlankPage=false", "ColorModel=Gray", "TonerDarkness=4")
        # A booklet needs its blank sides.
        fold, blank = b"<< /Fold 2 /Staple 4>> setpagedevice\n", b"@PJL SET QBLANKPAGES = PRINT\n"
        for options, sides, pages, wanted, absent in (
                ({"copies": "2"}, BOOKLET, 8,
                 [fold, blank, b"@PJL SET HOLD = PROOF\n", b"<< /CollatedCopies 2 >> setuserparams\n",
                  b"@PJL SET DENSITY = 4\n", b"@PJL SET QCOLORMODEL = BLACK\n"], []),
                ({"QVBookletFold": "bifold", "PrintTo": "JRPrinter", "print-color-mode": "color"}, BOOKLET, 4,
                 [b"<< /Fold 1 >> setpagedevice\n", blank, b"@PJL SET QCOLORMODEL = CMYK\n"],
                 [b"@PJL SET HOLD"]),
                ({"QVBookletFold": "false", "printer-resolution": "1200dpi", "collate": "false",
                  "copies": "2", "PrintTo": "JRPrinter"}, FIVE, 10,
                 [b"@PJL SET QBLANKPAGES = DONOTPRINT\n", b"HWResolution[1200 1200]", b"<</Collate false>>",
                  b"%RBINumCopies: 2\n"], [b"/Fold", b"CollatedCopies", b"HWResolution[600"])):
            with self.subTest(options):
                job = self.print(options, queue="Booklets")
                self.assertEqual(self.sides(job), sides)
                self.assertEqual(self.cups.pages_of(job.number), pages)
                self.assertEqual([text for text in wanted if text not in job.received], [])
                self.assertEqual([text for text in absent if text in job.received], [])
                self.assert_warnings(job)

    def test_booklets_are_arranged_once(self):
        """By CUPS, by jobshaper-queue, or by both if there is a banner page."""
        self.add_queue("Always", "color-finisher", "booklet-default=true")
        jobs = [("Office", self.pdf, {"booklet": "true"}, BOOKLET),
                ("Office", self.pdf, {"QVBookletFold": "SaddleStitch", "collate": "false", "copies": "2"}, BOOKLET),
                ("Office", self.image, {"booklet": "true"}, ["", ""]),
                ("Always", self.pdf, {"job-sheets": "standard,none"}, None)]
        if (private_cups.SYSTEM_BIN / "filter" / "texttopdf").exists():
            jobs.append(("Always", self.text, {}, [""] * 4))  # its fonts have no names for letters
        for queue, file, options, sides in jobs:
            with self.subTest(file=file.name, options=options):
                job = self.send(queue, file, options)
                self.assertEqual(job.state, "completed", "\n".join(job.log))
                if sides is not None:
                    self.assertEqual(self.sides(job), sides)
                    self.assertEqual(self.cups.pages_of(job.number), len(sides) * int(options.get("copies", 1)))
                self.assertEqual(re.findall(rb"\n<< (/Fold .*)", job.body), [b"/Fold 2 /Staple 4>> setpagedevice"])
                self.assertIn(b"*Duplex None\n<</Duplex true/Tumble true>>setpagedevice", job.body)
                self.assertNotIn(b"<</Collate false>>", job.body)
                self.assert_warnings(job)

    def test_manual_booklet(self):
        job = self.print({"QVBookletFold": "Booklet", "copies": "2"}, queue="Small")
        # The second pass begins with a blank page, which is numbered 1 and is the back of 3.
        order = [b"0", b"1", b"3", b"1", b"4", b"2"]
        self.assertEqual(re.findall(rb"^%%Page: \S+ (\d+)", job.body, re.M)[:6], order)
        self.assertEqual(self.cups.pages_of(job.number), 8)
        first = job.body.partition(UEL)[0]
        _, sides = self.ghostscript.run(first)
        self.assertEqual(len(sides), 4 + 1 + INSTRUCTIONS.exists())

    def test_hostile_values(self):
        values = {
            "JRUSERNAME": "Zo\u00eb O'Hara \"x\" \\y {z} <20> =,\n@PJL SET COPIES = 99",
            "JRHOLDKEY": "1234",
            "JAUSERID": "Andr\u00e9 \u20ac",
            "JAACCTNUM": "\u041e\u043b\u044f",
            "JADEPTNUM": "a b\\c",
            "PrintTo": "JRConf",
            "QVBookletFold": "No such {fold}",
            "InputSlot": "Tray99",
            "QvnBlankPage": "maybe",
            "media": "Custom.1x1",
        }
        job = self.print(values, user="Zo\u00eb \"2\"", title="<20> %s {\"")
        self.assert_warnings(job, NO_CHOICE.format("QVBookletFold", "No such {fold}", "false"),
                             NO_CHOICE.format("QvnBlankPage", "maybe", "PrinterS"),
                             NO_CHOICE.format("InputSlot", "Tray99", "Auto"))
        lines = [line.removeprefix("@PJL ") for line in job.header.decode().splitlines()[1:]]
        # The same lines as in the header of a harmless job.
        self.assertEqual([re.sub(" = .*", "", line) for line in lines], [
            "COMMENT Quorvan Macintosh driver", "SET STRINGCODESET", "QJOBINFO USERID", "SET JOBNAME",
            "SET USERNAME", "SET COPIES", "SET HOLD", "SET HOLDTYPE", "SET HOLDKEY",
            "SET QDUPLICATEHELDJOBS", "SET QJOBCREDUSERNAME", "SET QJOBCREDACCOUNTID",
            "SET QJOBCREDDEPTID", "SET QCOLORMODEL"])
        self.assertRegex(lines[2], "USERID = \"Zo\u00eb '2'\" HOSTID")
        for line in ("SET JOBNAME = \"<20> %s {'\"",
                     "SET USERNAME = \"Zo\u00eb O'Hara 'x' \\y {z}   =, @PJL SET COPIES = 99\"",
                     "SET HOLDKEY = \"1234\"", "SET QJOBCREDUSERNAME = \"Andr\u00e9 \u20ac\"",
                     "SET QJOBCREDDEPTID = \"a b\\c\""):
            self.assertIn(line, lines)

    # ---- jobs that end early

    def start_large_job(self):
        """Starts a job, and waits until the filter is in the middle of it because the printer does not read."""
        self.printer.hold()
        number = self.cups.lp("Office", self.large, APPLICATION)
        self.early_ends.add(number)
        # Only a filter that is running can write a trailer.
        private_cups.wait_until(lambda: any(re.match(r"Wrote \d+ bytes of print data", line)
                                            for line in self.cups.log.lines_of(number)),
                                30, "the first bytes of the job")
        return number

    def assert_ended_early(self, job, filter_end, received):
        self.assertIn(filter_end, [line.partition("jobshaper-queue) ")[2] for line in job.log])
        self.assert_same(received, job.filtered_again()[:len(received)])
        self.assert_in_directory()
        self.print()

    def test_cancel_in_mid_job(self):
        count = len(self.printer.jobs) + 1
        number = self.start_large_job()
        record = self.cups.records / f"{number}.jobshaper-queue.input"
        size = -1
        while size != (size := record.stat().st_size):  # until no more bytes are transferred
            private_cups.time.sleep(0.2)
        self.assertLess(size, self.large.stat().st_size)
        self.cups.command("cancel", str(number))
        self.printer.release()
        job = self.cups.finish(number, self.printer, count)
        self.assertLess(len(job.received), self.large.stat().st_size)
        self.assertTrue(job.received.endswith(TRAILER), job.received[-200:])
        self.assertEqual(job.state, "canceled")
        self.assert_ended_early(job, "was terminated normally with signal 15.",
                                job.received.removesuffix(TRAILER))

    def test_printer_hangs_up_in_mid_job(self):
        count = len(self.printer.jobs) + 1
        number = self.start_large_job()
        self.printer.hang_up_after(100000)
        self.printer.release()
        job = self.cups.finish(number, self.printer, count)
        self.assertGreaterEqual(len(job.received), 100000)
        self.assert_ended_early(job, "exited with no errors.", job.received)

    def test_two_jobs_at_once(self):
        second = self.new_printer()
        self.add_queue("Second", "mono-duplex", uri=second.uri)
        printers = {"Office": self.printer, "Second": second}
        counts = {queue: (len(printer.jobs) + 1, printer.connections) for queue, printer in printers.items()}
        for printer in printers.values():
            printer.hold()
        numbers = {queue: self.cups.lp(queue, self.large, APPLICATION, user=queue) for queue in printers}
        private_cups.wait_until(lambda: all(printer.connections > counts[queue][1]
                                            for queue, printer in printers.items()), 30, "both connections")
        for queue, printer in printers.items():
            printer.release()
        for queue, printer in printers.items():
            job = self.cups.finish(numbers[queue], printer, counts[queue][0])
            self.assertIn(f'USERID = "{queue}"'.encode(), job.header)
            self.check(job)

    # ---- for support

    def test_capture_and_trace(self):
        temp = self.cups.temp
        write_log_settings(temp)
        (temp / "qvn_log").write_bytes(b"")
        try:
            job = self.send("Office", self.postscript, APPLICATION)
            self.assert_in_directory("Debug", "qvn_log", "qvn_ps", "qvn_ps2", "debug.log")
            self.assert_same((temp / "qvn_ps2").read_bytes(), job.received)
            # The feature that the filter replaces is skipped unread.
            came_in = re.sub(rb"(JobPatchFile.*\n).*\n.*\n", rb"\1", job.input.read_bytes(), count=1)
            self.assert_same((temp / "qvn_ps").read_bytes(), came_in)
            log = (temp / "debug.log").read_bytes()
            self.assertIn(b"ARGV[0] = Office", log)
            self.assertIn(b"PMCopies..n.\t1", log)
        finally:
            for path in temp.iterdir():
                shutil.rmtree(path) if path.is_dir() else path.unlink()
        self.check(job)


if __name__ == "__main__":
    private_cups.run_tests(sys.argv[2:])
