#!/usr/bin/env python3
"""Prints real documents through a real scheduler to a printer on the loopback interface.

usage: scheduler_test.py FILTER ENTRY-PROGRAM RECORDER PPD-DIRECTORY [UNITTEST-ARGUMENTS]

The queues run our entry program after a recorder of its arguments, environment and input. What
the printer gets must be what the filter makes of the record with the completed options.
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import listener
import private_cups
from recorded_cups import RecordedCups, TRAILER, UEL, write_log_settings

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(SOURCE / "tests" / "support"))
from booklet_pages import SIDES, document, sides_of
from ghostscript import Ghostscript

# PostScript that goes through pstops alone, as an application made it.
APPLICATION_POSTSCRIPT = "application/vnd.adobe-reader-postscript"
# The page that explains a manual booklet, where the package installs it.
INSTRUCTIONS = pathlib.Path(
    "/Library/Printers/Quorvan/filter/.resource/en.lproj/instruction(null)")
# What the scheduler writes about a program or file that is not installed correctly.
CRASH = re.compile(r"crashed|insecure permissions|Sanitizer|runtime error:|core dumped")
# Log lines that only jobs that end early may have.
TROUBLE = re.compile(r"^E |stopped with status|did not catch|Backend returned status"
                     r"|Job (?:canceled|aborted|stopped)|not used")
LOG_LINE = re.compile(r"^(. )\[[^]]*\] (?:\[Job (\d+)\] )?(.*)$")

FILTER, ENTRY_PROGRAM, RECORDER, PPDS = (pathlib.Path(path).resolve() for path in sys.argv[1:5])


def draw(device, document, output):
    """Converts a PostScript document with a device of Ghostscript."""
    subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", f"-sDEVICE={device}", "-r20",
                    "-o", output, document], timeout=60, check=True)


class Documents:
    """The documents to print, made with the tools that applications use."""

    pages = 5

    def __init__(self, directory):
        self.directory = directory
        self.postscript = directory / "document.ps"
        self.pdf = directory / "document.pdf"
        script = SOURCE / "tests" / "real_jobs" / "make-jobs.sh"
        subprocess.run(["bash", "-ec", '. "$0"; make_document > "$1"; make_pdf "$1" > "$2"',
                        script, self.postscript, self.pdf], check=True, timeout=60)
        # Pages with their numbers, which are quick to convert.
        self.numbered, self.numbered_pdf = (directory / name for name in ("numbered.ps", "numbered.pdf"))
        self.numbered.write_text("%!PS\n/Courier findfont 40 scalefont setfont\n" + "".join(
            f"100 400 moveto (page {n}) show showpage\n" for n in range(1, self.pages + 1)))
        draw("pdfwrite", self.numbered, self.numbered_pdf)
        # More than pipes and sockets hold, so that the job does not end before the test reads it.
        self.large = directory / "large.ps"
        text = self.postscript.read_bytes()
        padding = b"% " + b"x" * 77 + b"\n"
        self.large.write_bytes(text.replace(b"\n%%Page: 3", b"\n" + padding * 150000
                                            + b"%%Page: 3", 1))

    def quick(self, options=None):
        """A document that only one filter of CUPS processes, and the options for that."""
        return self.postscript, {"document-format": APPLICATION_POSTSCRIPT, **(options or {})}


class SchedulerTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.cups = RecordedCups(FILTER, ENTRY_PROGRAM, RECORDER)
        cls.addClassCleanup(cls.cups.stop)
        cls.work = cls.cups.directory / "work"
        cls.work.mkdir()
        cls.documents = Documents(cls.work)
        cls.printer = listener.Listener()
        cls.addClassCleanup(cls.printer.close)
        cls.second_printer = listener.Listener()
        cls.addClassCleanup(cls.second_printer.close)

        cls.cups.start()
        cls.add_queue("Office", "color-finisher")
        cls.add_queue("Small", "small-mono")

    @classmethod
    def add_queue(cls, name, model, *options, uri=None):
        cls.cups.add_queue(name, PPDS / f"quorvan-{model}.ppd", uri or cls.printer.uri, *options)

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
        self.assertTrue(self.cups.running())
        self.assertRegex(self.cups.command("lpstat", "-p", "Office"), "is idle.*enabled since")

    def print(self, file, options=None, queue="Office", **arguments):
        """Prints a file and checks what holds for every job."""
        job = self.cups.print(queue, self.printer, file, options, **arguments)
        self.check(job)
        return job

    def print_quickly(self, options=None, **arguments):
        """Prints a document that only one filter of CUPS processes before ours."""
        return self.print(*self.documents.quick(options), **arguments)

    def print_booklet(self, file, options, sides, **arguments):
        """Prints a file that becomes a booklet of so many sides. What jobshaper-queue makes of its
        pages has a test of its own, which compares page by page."""
        job = self.cups.print(arguments.pop("queue", "Office"), self.printer, file, options,
                              **arguments)
        self.assertEqual(self.cups.state_of(job.number), "completed",
                         "\n".join(self.cups.log.lines_of(job.number)))
        self.check_start(job)
        self.check_directories()
        self.assert_pages(job, sides)
        return job

    def check(self, job):
        self.assertEqual(self.cups.state_of(job.number), "completed",
                         "\n".join(self.cups.log.lines_of(job.number)))
        self.check_start(job)
        self.assert_same(job.received, job.expected)
        self.check_directories()

    def check_start(self, job):
        self.assertTrue(job.received.startswith(UEL + b"@PJL JOB\n"), job.received[:200])
        self.assertTrue(job.received.endswith(TRAILER), job.received[-200:])

    def check_directories(self, expected=()):
        # A filter of CUPS that draws text makes the directory of a cache.
        found = {path.name for path in self.cups.temp.iterdir()} - {".cache"}
        self.assertEqual(found, set(expected))

    def assert_same(self, received, expected):
        if received != expected:
            at = next((i for i, (a, b) in enumerate(zip(received, expected)) if a != b),
                      min(len(received), len(expected)))
            self.fail(f"{len(received)} bytes received, {len(expected)} expected; from byte {at}: "
                      f"{received[at:at + 80]!r}, {expected[at:at + 80]!r}")

    def assert_pages(self, job, pages):
        page_file = self.work / "body.ps"
        page_file.write_bytes(job.body)
        done = subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=bbox",
                               page_file], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=60, check=False)
        output = done.stdout.decode(errors="replace")
        self.assertEqual(done.returncode, 0, output)
        self.assertEqual(output.count("%%BoundingBox:"), pages, output)

    # ---- ordinary jobs

    def test_pdf(self):
        job = self.print(self.documents.pdf)
        self.assert_pages(job, self.documents.pages)
        self.assertIn("com.apple.print.PrintSettings.PMCopies..n.=1", job.added)
        self.assertIn(b"@PJL SET COPIES = 1\n", job.header)

    def test_postscript(self):
        self.assert_pages(self.print(self.documents.postscript), self.documents.pages)

    def test_postscript_of_an_application(self):
        job = self.print(self.documents.postscript, {"document-format": APPLICATION_POSTSCRIPT})
        self.assert_pages(job, self.documents.pages)

    def test_file_without_another_filter(self):
        job = self.print(self.documents.postscript,
                         {"document-format": "application/vnd.cups-postscript"})
        self.assertEqual(len(job.argv), 7)
        self.assert_pages(job, self.documents.pages)

    def test_three_copies(self):
        for file, options in ((self.documents.pdf, {"collate": "false"}),
                              (self.documents.pdf, {"collate": "true"}),
                              (self.documents.postscript, {})):
            with self.subTest(file=file.name, options=options):
                job = self.print(file, {"copies": "3", **options})
                collate = options.get("collate", "true")
                self.assertIn("com.apple.print.PrintSettings.PMCopies..n.=3", job.added)
                self.assertIn("com.apple.print.PrintSettings.PMCopyCollate..b.=" + collate,
                              job.added)
                self.assertIn(b"<</Collate " + collate.encode() + b">>setpagedevice", job.body)
                self.assertNotIn(b"@PJL SET COPIES", job.received)
                self.assertIn(b"%RBINumCopies: 3\n", job.body)
                self.assert_pages(job, self.documents.pages)

    # ---- pages

    def counts(self, file, options, *queues):
        """The lines of the page log for a job on each of these queues."""
        numbers = [self.cups.lp(queue, file, options) for queue in queues]
        for number in numbers:
            self.cups.wait_for(number)
        return [self.cups.pages_of(number) for number in numbers]

    def test_pages_are_counted_as_by_cups_itself(self):
        printer = listener.Listener()  # a separate one, whose jobs the test does not wait for
        self.addCleanup(printer.close)
        self.cups.command("lpadmin", "-p", "Generic-PostScript", "-E", "-v",
                          printer.uri, "-m", "drv:///sample.drv/generic.ppd")
        self.add_queue("Counted", "color-finisher", uri=printer.uri)
        application = {"document-format": APPLICATION_POSTSCRIPT}
        for file, options, pages in (
                (self.documents.numbered_pdf, {}, 5),
                (self.documents.numbered_pdf, {"copies": "3", "collate": "false"}, 15),
                (self.documents.numbered_pdf, {"copies": "3", "collate": "true"}, 15),
                (self.documents.numbered_pdf, {"number-up": "2", "copies": "2", "collate": "true"}, 6),
                (self.documents.numbered_pdf, {"booklet": "true"}, 4),
                (self.documents.numbered_pdf, {"sides": "two-sided-long-edge", "copies": "2",
                                      "collate": "true"}, 12),
                (self.documents.numbered_pdf, {"page-ranges": "1-2", "copies": "2"}, 4),
                (self.documents.numbered_pdf, {"job-sheets": "standard,none"}, 6),
                (self.documents.postscript, {**application, "copies": "2"}, 10),
                (self.documents.postscript, {**application, "number-up": "4"}, 2),
                (self.documents.postscript, {**application, "page-set": "odd"}, 3)):
            with self.subTest(file=file.name, options=options):
                counts = self.counts(file, options, "Generic-PostScript", "Counted")
                self.assertEqual(counts, [pages, pages])

    def test_pages_of_booklets(self):
        for queue, fold in (("Office", "SaddleStitch"), ("Small", "Booklet")):
            options = {"QVBookletFold": fold, "copies": "2"}
            job = self.cups.print(queue, self.printer, *self.documents.quick(options))
            self.assertEqual(self.cups.pages_of(job.number), 8)

    def test_limit_of_pages(self):
        self.add_queue("Limited", "mono-duplex", "-o", "job-quota-period=86400",
                       "-o", "job-page-limit=6")
        for _ in range(2):
            job = self.print_quickly(queue="Limited")
            self.assertEqual(self.cups.pages_of(job.number), 5)
        with self.assertRaisesRegex(private_cups.Failure, "(?i)quota"):
            self.cups.lp("Limited", *self.documents.quick())
        # The refusal is the last error in the log, and the only one.
        log = self.cups.log.lines()
        self.assertEqual(re.findall("^E .* Returning (IPP [a-z-]+)", "\n".join(log[self.log_start:]), re.M),
                         ["IPP client-error-not-possible"])
        self.log_start = len(log)

    def test_file_name_with_blanks(self):
        path = self.work / "The \"first\" draft's 2nd {copy}.ps"
        shutil.copyfile(self.documents.postscript, path)
        job = self.print(path)
        self.assertEqual(job.argv[3].decode(), path.name)

    def test_long_device_uri(self):
        uri = self.printer.uri + "&filler="
        uri += "x" * (112 - len(uri))
        self.add_queue("Far", "mono-duplex", uri=uri)
        job = self.print_quickly(queue="Far")
        self.assertEqual(job.environment[b"DEVICE_URI"].decode(), uri)

    # ---- the options of our printers

    def test_retained_job_with_a_pin(self):
        for collate in ("false", "true"):
            with self.subTest(collate=collate):
                job = self.print_quickly({
                    "copies": "2", "collate": collate, "PrintTo": "JRConf", "JRHOLDKEY": "1234"})
                self.assertIn(b'@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PRIVATE\n'
                              b'@PJL SET HOLDKEY = "1234"\n', job.header)
                self.assertIn(b"<< /CollatedCopies 2 >> setuserparams\n%EndUserSetup\n"
                              b"%RBINumCopies: 2\n", job.body)

    def test_every_fold(self):
        """Every choice of a dialog, for 1 to 16 pages: which page is on which half of which side."""
        commands = {
            "false": None,
            "Booklet": b"",
            "SaddleStitch": b"<< /Fold 2 /Staple 4>> setpagedevice",
            "BiFold": b"<< /Fold 1 >> setpagedevice",
            "DoNotFoldAndStaple": b"<< /Fold 0 /Staple 0>> setpagedevice",
        }
        ppd = (PPDS / "quorvan-color-finisher.ppd").read_text()
        self.assertEqual(set(re.findall(r"^\*QVBookletFold ([^/:]*)", ppd, re.M)), set(commands))
        rows = [(choice, pages) for pages in SIDES for choice in commands]
        first = len(self.printer.jobs) + 1
        numbers = []
        for choice, pages in rows:
            file = self.work / f"{pages}-pages.ps"
            file.write_bytes(document(pages))
            _, options = self.documents.quick({"QVBookletFold": choice})
            numbers.append(self.cups.lp("Office", file, options))
        with Ghostscript("nullpage", "-r72") as ghostscript:
            for count, ((choice, pages), number) in enumerate(zip(rows, numbers), first):
                with self.subTest(choice=choice, pages=pages):
                    job = self.cups.finish(number, self.printer, count)
                    self.assert_fold(job, choice, commands[choice])
                    sides = [halves for halves, _ in sides_of(ghostscript, job.body)]
                    two_sided = re.findall(rb"\*Duplex \w+\n(.*)\n", job.body)
                    if choice in ("false", "DoNotFoldAndStaple"):
                        self.assertEqual([max(halves) for halves in sides], list(range(1, pages + 1)))
                        self.assertEqual(two_sided, [b"<</Duplex false>>setpagedevice"])
                    else:
                        self.assertEqual(sides, SIDES[pages])
                        self.assertEqual(two_sided, [b"<</Duplex true/Tumble true>>setpagedevice"])

    def test_cover(self):
        """The paper of the cover is requested on the sides of the sheet with the first page."""
        inside = {"QVBookletCoverPage": "true", "QVInsideFrontCover": "true", "QVInsideBackCover": "true"}
        with Ghostscript("nullpage", "-r72") as ghostscript:
            for pages, more, sides in (
                    (1, {}, SIDES[1]), (5, {}, SIDES[5]), (8, {}, SIDES[8]),
                    (5, {"outputorder": "reverse"}, SIDES[5][::-1]),
                    (6, inside, [(0, 0), (1, 6), (5, 2), (3, 4)])):
                with self.subTest(pages=pages, more=more):
                    file = self.work / f"{pages}-pages.ps"
                    file.write_bytes(document(pages))
                    _, options = self.documents.quick(
                        {"QVBookletFold": "SaddleStitch", "QVBookletCoverSource": "Tray2",
                         "QVBookletCoverType": "Card", **more})
                    job = self.cups.print("Office", self.printer, file, options)
                    found = sides_of(ghostscript, job.body)
                    self.assertEqual([halves for halves, _ in found], sides)
                    cover = [len(sides) - 2, len(sides) - 1] if "outputorder" in more else [0, 1]
                    self.assertEqual([paper for _, paper in found],
                                     ["1 (Card Stock)" if at in cover else "null null"
                                      for at in range(len(sides))])

    def test_every_finishing_of_ipp(self):
        ppd = (PPDS / "quorvan-color-finisher.ppd").read_text()
        rows = re.findall(r'^\*cupsIPPFinishings (\d+)/.*"\*QVBookletFold (\w+).*"$', ppd, re.M)
        commands = {"8": b"<< /Fold 2 /Staple 4>> setpagedevice",
                    "10": b"<< /Fold 1 >> setpagedevice",
                    "13": b"<< /Fold 2 /Staple 4>> setpagedevice"}
        self.assertEqual({number for number, _ in rows}, set(commands))
        for number, choice in rows:
            with self.subTest(number):
                # The others only fold and staple.
                job = self.print_booklet(*self.documents.quick({"finishings": number}),
                                         4 if number == "13" else 5)
                self.assert_fold(job, choice, commands[number])

    def assert_fold(self, job, choice, command):
        line = b"%%BeginFeature: *QVBookletFold " + choice.encode() + b"\n"
        after = job.body[job.body.index(line) + len(line):].split(b"\n", 3)
        if command is None:
            self.assertIn(b"statusdict /duplexer get exec", after[0])
        else:
            self.assertEqual(after[:2], [b"", command])
            self.assertIn(b"statusdict /duplexer get exec", after[2])

    def test_settings_without_code(self):
        self.add_queue("Toner", "color-finisher", "-o", "TonerDarkness=4", "-o", "ColorModel=Gray")
        job = self.print_quickly({
            "OutputBin": "finisherbin2", "MediaColor": "Manual", "ManualCMYK": "USCMYK",
            "CyanBalance": "-3", "QvnImageQuality": "2400IQ", "SepPages": "Jobs",
            "SepSource": "Tray5", "QvnSaturation": "7"}, queue="Toner")
        lines = [
            b"COPIES = 1", b"OUTBIN = OPTIONALOUTBIN2", b"DENSITY = 4",
            b"QSEPARATORSOURCE = TRAY5", b"QCOLORBALANCECYAN = -3", b"QCOLORCORRECTION = MANUAL",
            b"QMANUALCOLORCMYKIMAGE = SWOP", b"QMANUALCOLORCMYKTEXT = SWOP",
            b"QMANUALCOLORCMYKGRAPHICS = SWOP", b"QCOLORMODEL = BLACK", b"RESOLUTION = 600", b"QIMAGEENHANCE = ON",
            b"QIMAGEENHANCETYPE = 4", b"QSCREENING = IET"]
        self.assertTrue(job.header.endswith(b"".join(b"@PJL SET " + line + b"\n" for line in lines)),
                        job.header)
        # Choices with code are sent as PostScript only.
        self.assertIn(b"<</SlipSheet 2>>setpagedevice", job.body)
        self.assert_warnings(job, "QvnSaturation=7 is not a choice of this printer; PrinterS is "
                             "used instead. lpoptions -p QUEUE -l lists them.")

    def test_options_of_clients_that_cups_does_not_understand(self):
        self.add_queue("Gray", "color-finisher", "-o", "ColorModel=Gray")
        # The output differs from that of the filter alone.
        job = self.cups.print("Gray", self.printer, *self.documents.quick({
            "print-color-mode": "color", "printer-resolution": "1200dpi",
            "PrintTo": "JRPrinter", "collate": "false", "copies": "2"}))
        self.check_start(job)
        self.assertIn(b"QCOLORMODEL = CMYK\n", job.header)
        self.assertEqual(re.findall(rb"HWResolution\[(.*?)\]", job.body), [b"1200 1200"])
        self.assertIn(b"%RBINumCopies: 2\n", job.body)
        self.assertIn(b"<</Collate false>>", job.body)
        self.assertNotIn(b"CollatedCopies", job.body)

    def test_color(self):
        for options, model in (({}, b"CMYK"), ({"ColorModel": "Gray"}, b"BLACK"),
                               ({"print-color-mode": "monochrome"}, b"BLACK"),
                               ({"print-color-mode": "color"}, b"CMYK"), ({"BLW": "TrueM"}, b"BLACK")):
            with self.subTest(options):
                job = self.print_quickly(options)
                self.assertEqual(re.findall(rb"@PJL SET QCOLORMODEL = (.*)\n", job.received), [model])
        self.assertNotIn(b"QCOLORMODEL", self.print_quickly(queue="Small").received)

    def test_names_for_ipp_clients(self):
        names = set(re.findall(rb"\0[\1-\xff]([a-z0-9][a-z0-9._-]+)", self.cups.ipp_answer("Office")))
        for name in (b"auto", b"tray-1", b"by-pass-tray", b"stationery", b"stationery-bond",
                     b"stationery-colored", b"stationery-lightweight", b"stationery-heavyweight",
                     b"monochrome", b"color"):
            self.assertIn(name, names)
        # As ipp-2.0.test has it: no fraction of a millimeter.
        sizes = {name for name in names if re.search(rb"\dmm$", name)}
        self.assertIn(b"custom_218x360mm_218x360mm", sizes)
        self.assertEqual([name for name in sizes if b"." in name], [])

    def test_defaults_of_the_administrator(self):
        self.add_queue("Booklets", "color-finisher", "-o", "QVBookletFold=SaddleStitch",
                       "-o", "PrintTo=JRVerify", "-o", "QvnBlankPage=false")
        job = self.print_booklet(*self.documents.quick(), 4, queue="Booklets")
        for option in ("QVBookletFold=SaddleStitch", "PrintTo=JRVerify", "QvnBlankPage=true"):
            self.assertIn(option, job.added)
        self.assertIn(b"@PJL SET HOLD = PROOF\n", job.header)
        # A booklet needs its blank sides.
        self.assertIn(b"@PJL SET QBLANKPAGES = PRINT\n", job.header)
        self.assertIn(b"\n<< /CollatedCopies 1 >> setuserparams\n", job.body)
        self.assert_fold(job, "SaddleStitch", b"<< /Fold 2 /Staple 4>> setpagedevice")
        job = self.print_booklet(
            *self.documents.quick({"QVBookletFold": "BiFold", "PrintTo": "JRPrinter"}), 4,
            queue="Booklets")
        self.assertNotIn(b"@PJL SET HOLD", job.header)
        self.assert_fold(job, "BiFold", b"<< /Fold 1 >> setpagedevice")
        job = self.print_quickly({"QVBookletFold": "false"}, queue="Booklets")
        self.assertIn(b"@PJL SET QBLANKPAGES = DONOTPRINT\n", job.header)

    def test_booklet_of_a_driver_that_counts_pages(self):
        count = self.work / "page count"
        count.write_text("8\n")
        job = self.print_booklet(self.documents.pdf, {
            "QVBookletFold": "SaddleStitch", "QVBookletCoverPage": "true",
            "QVInsideFrontCover": "true", "QVBookletCoverSource": "Tray2",
            "QVBookletCoverType": "Card", "QVBookletPageCountFilename": str(count)},
            self.documents.pages)
        self.assertIn(b"\n1 dict dup /Duplex false put setpagedevice\n%%Page: 4 4\n[{\n"
                      b"<< /DeferredMediaSelection true /ManualFeed false /MediaPosition 1 "
                      b"/MediaType (Card Stock) >> setpagedevice\n} stopped cleartomark\n",
                      job.body)
        self.assert_fold(job, "SaddleStitch", b"<< /Fold 2 /Staple 4>> setpagedevice")

    def texts_of(self, job):
        """The words "page N" of each side."""
        directory = pathlib.Path(tempfile.mkdtemp(dir=self.work))
        (directory / "body.ps").write_bytes(job.body)
        subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=txtwrite",
                        f"-sOutputFile={directory}/%d.txt", directory / "body.ps"],
                       stdin=subprocess.DEVNULL, timeout=60, check=True)
        count = len(list(directory.glob("*.txt")))
        return [set(re.findall(r"page (\d+)", (directory / f"{n}.txt").read_text()))
                for n in range(1, count + 1)]

    def test_booklets(self):
        pdf = self.documents.numbered_pdf
        text, image = (self.work / name for name in ("lines.txt", "one.png"))
        draw("pnggray", self.documents.numbered, image)
        text.write_text("\f".join(f"page {n}\n" for n in range(1, 6)))
        five = [{"1"}, {"2"}, {"3"}, {"4", "5"}]
        self.add_queue("Always", "color-finisher", "-o", "booklet-default=true")
        jobs = [("Office", pdf, {"booklet": "true"}, five),
                ("Office", pdf, {"QVBookletFold": "SaddleStitch"}, five),
                ("Office", image, {"booklet": "true"}, [set(), set()]),
                ("Always", pdf, {"job-sheets": "standard,none"}, None)]
        if (private_cups.SYSTEM_BIN / "filter" / "texttopdf").exists():
            jobs.append(("Always", text, {}, [set()] * 4))  # its fonts have no names for letters
        for queue, file, options, sides in jobs:
            with self.subTest(file=file.name, options=options):
                job = self.cups.print(queue, self.printer, file, options)
                if sides is not None:
                    self.assertEqual(self.texts_of(job), sides)
                    self.assertIn(b"*QVBookletFold", job.body)
                self.assertEqual(len(re.findall(rb"\n<< /Fold 2 /Staple 4>> setpagedevice", job.body)), 1)
                self.assertIn(b"*Duplex None\n<</Duplex true/Tumble true>>setpagedevice", job.body)
                self.assert_warnings(job)

    def test_manual_booklet(self):
        for file in (self.documents.pdf, self.documents.postscript):
            with self.subTest(file=file.name):
                installed = INSTRUCTIONS.exists()
                # The second pass begins with a blank page, which is numbered 1 and is the back of 3.
                job = self.print_booklet(file, {"QVBookletFold": "Booklet"}, 4 + 1 + installed,
                                         queue="Small")
                pages = re.findall(rb"^%%Page: \S+ (\d+)", job.body, re.M)
                self.assertEqual(pages, [b"0", b"1", b"3", b"1", b"4", b"2"])

    def test_generic_driver(self):
        for model, header in (
                ("generic-color", b"@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n"
                 b"@PJL SET QCOLORMODEL = CMYK\n"),
                ("generic-mono",
                 b"@PJL SET QCOLORMODEL = BLACK\n@PJL SET RENDERMODE  = GRAYSCALE\n")):
            self.add_queue("Generic", model)
            job = self.print_quickly(queue="Generic")
            self.assertTrue(job.header.endswith(header), job.header)

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
        job = self.print_quickly(values, user="Zo\u00eb \"2\"", title="<20> %s {\"")
        self.assertEqual(job.argv[2].decode(), "Zo\u00eb \"2\"")
        self.assert_warnings(
            job, "QVBookletFold=No such {fold} is not a choice of this printer; false is used "
            "instead. lpoptions -p QUEUE -l lists them.", "QvnBlankPage=maybe is not a choice of this printer; PrinterS is used "
            "instead. lpoptions -p QUEUE -l lists them.", "InputSlot=Tray99 is not a choice of this printer; Auto is used "
            "instead. lpoptions -p QUEUE -l lists them.")
        # The header has the same lines as that of a harmless job.
        self.assertEqual([line.split(b" = ")[0] for line in job.header.splitlines()], [
            UEL + b"@PJL JOB", b"@PJL COMMENT Quorvan Macintosh driver", b"@PJL SET STRINGCODESET",
            b"@PJL QJOBINFO USERID", b"@PJL SET JOBNAME", b"@PJL SET USERNAME", b"@PJL SET COPIES",
            b"@PJL SET HOLD", b"@PJL SET HOLDTYPE", b"@PJL SET HOLDKEY",
            b"@PJL SET QDUPLICATEHELDJOBS", b"@PJL SET QJOBCREDUSERNAME",
            b"@PJL SET QJOBCREDACCOUNTID", b"@PJL SET QJOBCREDDEPTID", b"@PJL SET QCOLORMODEL"])
        for line in (
                "JOBNAME = \"<20> %s {'\"",
                "USERNAME = \"Zo\u00eb O'Hara 'x' \\y {z}   =, @PJL SET COPIES = 99\"",
                "HOLDKEY = \"1234\"",
                "QJOBCREDUSERNAME = \"Andr\u00e9 \u20ac\"",
                "QJOBCREDDEPTID = \"a b\\c\""):
            self.assertIn(f"@PJL SET {line}\n".encode(), job.header)
        self.assertIn(b'QJOBINFO USERID = "Zo\xc3\xab \'2\'" HOSTID', job.header)

    # ---- choices that the printer has

    def assert_warnings(self, job, *expected):
        lines = [line for line in self.cups.log.lines_of(job.number)
                 if re.search("is used instead|is ignored|not used", line)
                 and not line.startswith("Set job-printer-state-message")]
        self.assertEqual(lines, list(expected))

    def test_choice_in_other_letters(self):
        job = self.print_booklet(*self.documents.quick({"QVBookletFold": "saddlestitch"}), 4)
        self.assert_fold(job, "SaddleStitch", b"<< /Fold 2 /Staple 4>> setpagedevice")
        self.assert_warnings(job)

    def test_choice_that_the_model_lacks(self):
        self.add_queue("Mono", "mono-duplex")
        job = self.print_quickly({"QVBookletFold": "SaddleStitch"}, queue="Mono")
        self.assertNotIn(b"/Fold", job.body)
        self.assertNotIn(b"/Staple", job.body)
        self.assert_warnings(job, "QVBookletFold=SaddleStitch is not a choice of this printer; "
                             "false is used instead. lpoptions -p QUEUE -l lists them.")

    def test_choice_without_its_equipment(self):
        self.add_queue("Bare", "color-finisher", "-o", "OptionFinisher=False")
        for options in ({"QVBookletFold": "SaddleStitch"}, {"finishings": "10"}):
            fold = options.get("QVBookletFold", "BiFold")
            job = self.print_booklet(*self.documents.quick(options),
                                     4 if fold == "SaddleStitch" else 5, queue="Bare")
            self.assertNotRegex(job.body, rb"/Fold|/Staple")
            self.assert_warnings(job, f"QVBookletFold={fold} needs equipment that is not installed "
                                 "(OptionFinisher=False); Booklet is used instead. If it is installed, "
                                 "tell the queue with lpadmin -p QUEUE -o.")

    def test_paper_tray_that_is_not_installed(self):
        self.add_queue("Trays", "color-finisher", "-o", "OptionTray5=False")
        # The output differs from that of the filter alone.
        job = self.cups.print("Trays", self.printer, *self.documents.quick({"InputSlot": "Tray5"}))
        self.check_start(job)
        self.assertIn(b"%%BeginFeature: *InputSlot Tray5\n%%EndFeature\n", job.body)
        self.assert_warnings(job, "InputSlot=Tray5 needs equipment that is not installed "
                             "(OptionTray5=False); it is ignored. If it is installed, tell the queue with lpadmin -p QUEUE -o.")

    def test_name_of_a_kept_job(self):
        for mode in ("JRVerify", "JRRepeat", "JRReserve", "JRPrinter", None):
            job = self.print_quickly({"PrintTo": mode} if mode else {},
                                     title="The \"first\" draft")
            name = b"The 'first' draft" if mode not in ("JRPrinter", None) else b""
            self.assertEqual(re.findall(rb'@PJL SET JOBNAME = "(.*)"\n', job.received), [name])

    # ---- jobs that end early

    def start_large_job(self):
        """Starts a job, and waits until the filter is in the middle of it because the printer does not read."""
        self.printer.hold()
        number = self.cups.lp("Office", self.documents.large,
                              {"document-format": APPLICATION_POSTSCRIPT})
        self.early_ends.add(number)
        # Only a filter that is running can write a trailer.
        private_cups.wait_until(lambda: any(re.match(r"Wrote \d+ bytes of print data", line)
                                            for line in self.cups.log.lines_of(number)),
                                30, "the first bytes of the job")
        return number

    def wait_until_stuck(self, number):
        """Waits until no more bytes are transferred."""
        def size():
            path = self.cups.records / f"{number}.jobshaper-queue.input"
            return path.stat().st_size if path.exists() else 0
        last = -1
        while size() != last or last == 0:
            last = size()
            private_cups.time.sleep(0.3)
        self.assertLess(last, self.documents.large.stat().st_size)

    def end_of_filter(self, number):
        return next(line.partition("jobshaper-queue) ")[2] for line in self.cups.log.lines_of(number)
                    if re.match(r"PID \d+ \(\S*/jobshaper-queue\)", line))

    def test_cancel_in_mid_job(self):
        count = len(self.printer.jobs) + 1
        number = self.start_large_job()
        self.wait_until_stuck(number)
        self.cups.cancel(number)
        self.printer.release()
        job = self.cups.finish(number, self.printer, count)
        self.assertEqual(self.cups.state_of(number), "canceled")
        self.assertEqual(self.end_of_filter(number), "was terminated normally with signal 15.")
        self.check_start(job)
        self.assertLess(len(job.body), self.documents.large.stat().st_size)
        self.assert_same(job.received[:-len(TRAILER)],
                         job.expected[:len(job.received) - len(TRAILER)])
        self.check_directories()
        self.print_quickly()

    def test_printer_hangs_up_in_mid_job(self):
        count = len(self.printer.jobs) + 1
        number = self.start_large_job()
        self.printer.hang_up_after(100000)
        self.printer.release()
        job = self.cups.finish(number, self.printer, count)
        self.assert_same(job.received, job.expected[:len(job.received)])
        self.assertGreaterEqual(len(job.received), 100000)
        self.assertEqual(self.end_of_filter(number), "exited with no errors.")
        self.check_directories()
        self.print_quickly()

    def test_two_jobs_at_once(self):
        self.add_queue("Second", "mono-duplex", uri=self.second_printer.uri)
        printers = (self.printer, self.second_printer)
        counts = [len(printer.jobs) + 1 for printer in printers]
        for printer in printers:
            printer.hold()
        connections = [printer.connections for printer in printers]
        numbers = [self.cups.lp(queue, self.documents.large,
                                {"document-format": APPLICATION_POSTSCRIPT},
                                user=queue.lower())
                   for queue in ("Office", "Second")]
        private_cups.wait_until(lambda: all(printer.connections > before for printer, before
                                            in zip(printers, connections)), 30, "both connections")
        for printer in printers:
            printer.release()
        jobs = [self.cups.finish(*job) for job in zip(numbers, printers, counts)]
        for job, user in zip(jobs, (b"office", b"second")):
            self.assertIn(b'USERID = "' + user + b'"', job.header)
            self.check(job)

    # ---- for support

    def test_capture_and_trace(self):
        temp = self.cups.temp
        write_log_settings(temp)
        (temp / "qvn_log").write_bytes(b"")
        try:
            job = self.cups.print("Office", self.printer, *self.documents.quick())
            self.check_directories(["Debug", "qvn_log", "qvn_ps", "qvn_ps2", "debug.log"])
            self.assert_same((temp / "qvn_ps2").read_bytes(), job.received)
            # The feature that the filter replaces is skipped unread.
            came_in = re.sub(rb"(JobPatchFile.*\n).*\n.*\n", rb"\1", job.input.read_bytes(),
                             count=1)
            self.assert_same((temp / "qvn_ps").read_bytes(), came_in)
            log = (temp / "debug.log").read_bytes()
            self.assertIn(b"ARGV[0] = Office", log)
            self.assertIn(b"PMCopies..n.\t1", log)
        finally:
            for path in temp.iterdir():
                shutil.rmtree(path) if path.is_dir() else path.unlink()
        self.check(job)


if __name__ == "__main__":
    private_cups.run_tests(sys.argv[5:])
