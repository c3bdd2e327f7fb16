"""A private scheduler whose queues run the built programs, each behind a recorder."""

import re

import private_cups

UEL = b"\x1b%-12345X"
TRAILER = UEL + UEL + b'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n' + UEL
SWITCH = b"@PJL ENTER LANGUAGE = POSTSCRIPT\n"


class RecordedCups(private_cups.PrivateCups):
    def __init__(self, filter_program, entry_program, recorder):
        super().__init__()
        self.real_filter = self.add_filter("jobshaper", filter_program, folder="real")
        self.add_filter("jobshaper-queue", entry_program, folder="real")
        self.add_filter("jobshaper", recorder)
        self.add_filter("jobshaper-queue", recorder)
        self.records = self.bin / "filter" / "records"
        self.records.mkdir()
        self.records.chmod(0o777)

    def print(self, queue, printer, file, options=None, **arguments):
        """Prints a file and waits for what the printer gets of it."""
        count = len(printer.jobs) + 1
        return self.finish(self.lp(queue, file, options, **arguments), printer, count)

    def finish(self, number, printer, count):
        """Waits for a job that will be the printer's `count`th."""
        self.wait_for(number)
        private_cups.wait_until(lambda: len(printer.jobs) >= count, 10, "the printer's last byte")
        return PrintedJob(number, printer.jobs[count - 1], self.records)


class PrintedJob:
    """A job that has been printed: what was recorded on the way, and what the printer got."""

    def __init__(self, number, received, records):
        def strings(name):
            return (records / f"{number}.{name}").read_bytes().split(b"\0")[:-1]

        self.number = number
        self.received = received
        self.queue_argv = strings("jobshaper-queue.argv")
        self.argv = strings("jobshaper.argv")
        self.environment = dict(entry.split(b"=", 1) for entry in strings("jobshaper.environment"))
        self.input = records / f"{number}.jobshaper.input"

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
        """What the entry program put behind the options."""
        return self.argv[5][len(self.queue_argv[5]):].decode("latin-1").split()
