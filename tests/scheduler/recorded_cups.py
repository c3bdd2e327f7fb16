"""A private scheduler whose queues run jobshaper-queue of this build, started by a recorder."""

import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from listener import Listener
from private_cups import PrivateCups

UEL = b"\x1b%-12345X"
TRAILER = UEL + UEL + b'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n' + UEL
SWITCH = b"@PJL ENTER LANGUAGE = POSTSCRIPT\n"
# PostScript that goes through pstops alone, as an application made it.
APPLICATION = {"document-format": "application/vnd.adobe-reader-postscript"}
# Makes a program write its diagnostic log.
LOG_SETTINGS = """\
<plist version="1.0"><dict><key>Feiprion</key><dict>
<key>debugFile</key><string>debug.log</string>
<key>debugLevel</key><integer>7</integer>
<key>moduleNumber</key><integer>1</integer>
</dict></dict></plist>
"""


def write_log_settings(directory):
    settings = pathlib.Path(directory, "Debug", ".DebugPlist", "qvDebug.plist")
    settings.parent.mkdir(parents=True)
    settings.write_text(LOG_SETTINGS)


class RecordedCups(PrivateCups):
    """Every queue has a printer of its own."""

    def __init__(self, build):
        super().__init__()
        self._ppds = pathlib.Path(build, "ppd")
        self.program = self.add_filter(pathlib.Path(build, "jobshaper-queue"), "real/jobshaper-queue")
        self.add_filter(pathlib.Path(build, "tests/scheduler/recorder"), "jobshaper-queue")
        self.records = self.bin / "filter" / "records"
        self.records.mkdir()
        self.records.chmod(0o777)
        self.printers = {}
        self._sent = collections.Counter()

    def add_printer(self, queue, model, *options, uri_end=""):
        """Adds a queue with these options of lpadmin -o, and the printer, which it returns."""
        printer = self.printers[queue] = Listener()
        self.add_queue(queue, self._ppds / f"quorvan-{model}.ppd", printer.uri + uri_end, *options)
        return printer

    def send(self, queue, *arguments):
        """Prints a file as lp() does. Returns a function that waits for the job and returns it."""
        number = self.lp(queue, *arguments)
        self._sent[queue] += 1
        place = self._sent[queue]
        return lambda: self.finish(number, queue, place)

    def finish(self, number, queue, place):
        """Waits for a job that is at this place of those that the queue's printer receives, unless
        it is refused and sends nothing."""
        state = self.wait_for(number)
        received = b"" if state == "stopped" else self.printers[queue].job(place)
        return PrintedJob(self, number, state, received)


class PrintedJob:
    """A job that has ended: what was recorded, and what the printer received."""

    def __init__(self, cups, number, state, received):
        def strings(name):
            return (cups.records / f"{number}.jobshaper-queue.{name}").read_bytes().split(b"\0")[:-1]

        self._program = cups.program
        self.number = number
        self.state = state
        self.log = cups.log_of(number)
        self.received = received
        self.argv = strings("argv")
        self.environment = dict(os.fsdecode(entry).split("=", 1) for entry in strings("environment"))
        self.input = cups.records / f"{number}.jobshaper-queue.input"
        self.header, _, body = received.partition(SWITCH)
        # The PostScript.
        self.body = re.sub(rb"\A@PJL SET COPIES = \d+\n", b"", body.removesuffix(TRAILER))

    def filtered_again(self, **environment):
        """The output of jobshaper-queue for the same arguments, environment and input."""
        with open(self.input, "rb") as recorded:
            return subprocess.run(self.argv, executable=self._program, stdin=recorded, timeout=60,
                                  env={**self.environment, **environment}, check=True,
                                  capture_output=True).stdout

    def added(self):
        """The options that jobshaper-queue adds, from its log."""
        with tempfile.TemporaryDirectory() as directory:
            write_log_settings(directory)
            self.filtered_again(TMPDIR=directory)
            log = pathlib.Path(directory, "debug.log").read_bytes()
        completed = re.search(rb"ARGV\[5\] = (.*?)\n\n[^\n]*ARGV\[6\] = ", log, re.S).group(1)
        return completed[len(self.argv[5]):].decode("latin-1").split()


class RecordedTest(unittest.TestCase):
    """Tests with one scheduler, and a document of some pages."""

    pages = 5
    configuration = ""

    @classmethod
    def setUpClass(cls):
        cls.cups = RecordedCups(sys.argv[1])
        cls.addClassCleanup(cls.cups.stop)
        cls.cups.configure(cls.configuration)
        cls.cups.start()
        cls.work = cls.cups.directory / "work"
        cls.work.mkdir()
        cls.postscript = cls.work / "The \"first\" draft's 2nd {copy}.ps"
        pages = "".join(f"%%Page: {n} {n}\n/Courier findfont 40 scalefont setfont 100 400 moveto "
                        f"(page {n}) show showpage\n" for n in range(1, cls.pages + 1))
        cls.postscript.write_text("%!PS-Adobe-3.0\n%%BoundingBox: 0 0 595 842\n"
                                  f"%%Pages: {cls.pages}\n%%EndComments\n{pages}%%Trailer\n%%EOF\n")
        cls.pdf = cls.drawn("pdfwrite", "document-a4.pdf")

    @classmethod
    def drawn(cls, device, name):
        """The document as Ghostscript draws it."""
        path = cls.work / name
        subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", f"-sDEVICE={device}", "-r20",
                        "-sPAPERSIZE=a4", "-o", path, cls.postscript], check=True, timeout=60)
        return path
