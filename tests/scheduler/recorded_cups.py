"""A private scheduler whose queues run jobshaper-queue of this build, started by a recorder."""

import functools
import pathlib
import re
import subprocess
import tempfile

import private_cups

UEL = b"\x1b%-12345X"
TRAILER = UEL + UEL + b'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n' + UEL
SWITCH = b"@PJL ENTER LANGUAGE = POSTSCRIPT\n"
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
    for part in (settings.parent, settings.parent.parent):
        part.chmod(0o755)
    settings.write_text(LOG_SETTINGS)


def header_text(text):
    """The text as it is in a line of the header."""
    return re.sub(rb"[\0-\x1f\x7f]", b" ", text.replace(b'"', b"'"))


class RecordedCups(private_cups.PrivateCups):
    def __init__(self, filter_program, entry_program, recorder):
        super().__init__()
        self.real_filter = self.add_filter("jobshaper", filter_program, directory="real")
        self.real_entry = self.add_filter("jobshaper-queue", entry_program, directory="real")
        self.add_filter("jobshaper-queue", recorder)
        self.records = self.bin / "filter" / "records"
        self.records.mkdir()
        self.records.chmod(0o777)

    def print(self, queue, printer, file, options=None, **arguments):
        """Prints a file and waits until the printer has received it."""
        count = len(printer.jobs) + 1
        return self.finish(self.lp(queue, file, options, **arguments), printer, count)

    def finish(self, number, printer, count):
        """Waits for the job that is number `count` at the printer."""
        self.wait_for(number)
        private_cups.wait_until(lambda: len(printer.jobs) >= count, 10, "the printer's last byte")
        return PrintedJob(self, number, printer.jobs[count - 1])


class PrintedJob:
    """A job that has been printed: what was recorded, and what the printer received."""

    def __init__(self, cups, number, received):
        def strings(name):
            return (cups.records / f"{number}.jobshaper-queue.{name}").read_bytes().split(b"\0")[:-1]

        self._cups = cups
        self.number = number
        self.received = received
        self.argv = strings("argv")
        self.environment = dict(entry.split(b"=", 1) for entry in strings("environment"))
        self.input = cups.records / f"{number}.jobshaper-queue.input"

    def run_again(self, program, argv=None, **environment):
        """The output of a program for the same arguments, environment and input."""
        environment = {name.encode(): value for name, value in environment.items()}
        with open(self.input, "rb") as recorded:
            done = subprocess.run(argv or self.argv, executable=program,
                                  env={**self.environment, **environment}, stdin=recorded,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60,
                                  check=False)
        if done.returncode != 0:
            raise private_cups.Failure(f"{program} ended with {done.returncode}: {done.stderr!r}")
        return done.stdout

    @functools.cached_property
    def completed(self):
        """The option string that the entry program made, from the log of another run."""
        with tempfile.TemporaryDirectory() as directory:
            write_log_settings(directory)
            self.run_again(self._cups.real_entry, TMPDIR=directory)
            log = pathlib.Path(directory, "debug.log").read_bytes()
        return re.search(rb"ARGV\[5\] = (.*?)\n\n[^\n]*ARGV\[6\] = ", log, re.S).group(1)

    @functools.cached_property
    def expected(self):
        """The output of the filter itself for the completed job, with the additions of a queue."""
        argv = [*self.argv[:2], header_text(self.argv[2]), *self.argv[3:5], self.completed,
                *self.argv[6:]]
        # The filter does not accept a longer one.
        output = self.run_again(self._cups.real_filter, argv,
                                DEVICE_URI=self.environment[b"DEVICE_URI"][:99])
        if b"PMCopyCollate..b.=false" in self.completed:
            output = output.replace(b"*Collate True\n<</Collate true>>",
                                    b"*Collate True\n<</Collate false>>")
        if b"@PJL SET HOLD = " in output[:output.index(SWITCH)]:
            output = output.replace(b'JOBNAME = ""', b'JOBNAME = "%s"' % header_text(self.argv[3]),
                                    1)
        # Another test checks these lines.
        header = output[:output.index(SWITCH)].splitlines(True)
        settings = self.header.splitlines(True)[len(header):]
        return output.replace(SWITCH, b"".join(settings) + SWITCH, 1)

    @property
    def header(self):
        return self.received[:self.received.index(SWITCH)]

    @property
    def body(self):
        """The PostScript."""
        body = self.received[self.received.index(SWITCH) + len(SWITCH):-len(TRAILER)]
        return re.sub(rb"\A@PJL SET COPIES = \d+\n", b"", body)

    @property
    def added(self):
        """The options that jobshaper-queue added."""
        return self.completed[len(self.argv[5]):].decode("latin-1").split()
