"""A private scheduler whose queues run jobshaper-queue of this build, started by a recorder."""

import pathlib
import re
import subprocess
import tempfile
import unittest

from listener import Listener
from private_cups import Failure, PrivateCups, wait_until

UEL = b"\x1b%-12345X"
TRAILER = UEL + UEL + b'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n' + UEL
SWITCH = b"@PJL ENTER LANGUAGE = POSTSCRIPT\n"
# PostScript that goes through pstops alone, as an application made it.
APPLICATION = {"document-format": "application/vnd.adobe-reader-postscript"}
# Makes a program write its diagnostic log.
LOG_SETTINGS = """\
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
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
    def __init__(self, build):
        super().__init__()
        self.ppds = pathlib.Path(build, "ppd")
        self.program = self.add_filter("jobshaper-queue", pathlib.Path(build, "jobshaper-queue"), "real")
        self.add_filter("jobshaper-queue", pathlib.Path(build, "tests", "scheduler", "recorder"))
        self.records = self.bin / "filter" / "records"
        self.records.mkdir()
        self.records.chmod(0o777)

    def finish(self, number, printer, count):
        """Waits for a job, which is number `count` of those that the printer has received."""
        state = self.wait_for(number)
        wait_until(lambda: len(printer.jobs) >= count, 20, "the printer's last byte")
        return PrintedJob(self, number, state, printer.jobs[count - 1])


class PrintedJob:
    """A job that has ended: what was recorded, and what the printer received."""

    def __init__(self, cups, number, state, received):
        def strings(name):
            return (cups.records / f"{number}.jobshaper-queue.{name}").read_bytes().split(b"\0")[:-1]

        self._program = cups.program
        self.number = number
        self.state = state
        self.log = cups.log.lines_of(number)
        self.received = received
        self.argv = strings("argv")
        self.environment = dict(entry.split(b"=", 1) for entry in strings("environment"))
        self.input = cups.records / f"{number}.jobshaper-queue.input"

    def filtered_again(self, environment=()):
        """The output of jobshaper-queue for the same arguments, environment and input."""
        with open(self.input, "rb") as recorded:
            return subprocess.run(self.argv, executable=self._program, stdin=recorded, timeout=60,
                                  env={**self.environment, **dict(environment)}, check=True,
                                  capture_output=True).stdout

    def added(self):
        """The options that jobshaper-queue adds, from its log."""
        with tempfile.TemporaryDirectory() as directory:
            write_log_settings(directory)
            self.filtered_again({b"TMPDIR": directory})
            log = pathlib.Path(directory, "debug.log").read_bytes()
        completed = re.search(rb"ARGV\[5\] = (.*?)\n\n[^\n]*ARGV\[6\] = ", log, re.S).group(1)
        return completed[len(self.argv[5]):].decode("latin-1").split()

    @property
    def header(self):
        return self.received.partition(SWITCH)[0]

    @property
    def body(self):
        """The PostScript."""
        body = self.received.partition(SWITCH)[2].removesuffix(TRAILER)
        return re.sub(rb"\A@PJL SET COPIES = \d+\n", b"", body)


class RecordedTest(unittest.TestCase):
    """Tests with one scheduler and one printer, which is that of all queues unless another is given."""

    build = None

    @classmethod
    def setUpClass(cls):
        cls.cups = RecordedCups(cls.build)
        cls.addClassCleanup(cls.cups.stop)
        cls.work = cls.cups.directory / "work"
        cls.work.mkdir()
        cls.printer = cls.new_printer()

    @classmethod
    def new_printer(cls):
        printer = Listener()
        cls.addClassCleanup(printer.close)
        return printer

    @classmethod
    def add_queue(cls, name, model, *options, uri=None):
        cls.cups.add_queue(name, cls.cups.ppds / f"quorvan-{model}.ppd", uri or cls.printer.uri, *options)
