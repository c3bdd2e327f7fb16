#!/usr/bin/env python3
"""Prints one file through a queue of a private scheduler, for script/demo.

usage: print_one.py [--shared] BUILD-DIRECTORY WORK-DIRECTORY FILE [OPTION=VALUE ...]

--shared: prints to a driverless queue of a second scheduler, which passes the job on.

Leaves in the work directory: job.ps, what the filter read; output.prn, what the printer got;
options, what CUPS passed as the job's options; added, what the entry program put after them.
"""

import pathlib
import signal
import sys

import listener
import private_cups
from recorded_cups import PrintedJob, RecordedCups


def print_shared(cups, port, printer, file, options):
    """Prints through a scheduler that knows the queue by IPP alone. Returns the job of the other one."""
    client = private_cups.PrivateCups()
    try:
        client.start()
        client.command("lpadmin", "-p", "Remote", "-E", "-v",
                       f"ipp://localhost:{port}/printers/Office", "-m", "everywhere")
        private_cups.wait_until((client.directory / "etc/ppd/Remote.ppd").exists, 20,
                                "the client's PPD file")
        number = client.lp("Remote", file, options)
        cups.wait_for(1)
        if cups.state_of(1) == "completed":
            client.wait_for(number)
            private_cups.wait_until(lambda: printer.jobs, 10, "the printer's last byte")
        print(client.command("lpstat", "-l", "-W", "all", "-o"), end="")
    finally:
        client.stop()
    return PrintedJob(cups, 1, b"".join(printer.jobs))


def main(*arguments):
    shared = arguments[0] == "--shared"
    build, work, file, *options = arguments[shared:]
    build, work = pathlib.Path(build), pathlib.Path(work)
    options = dict(option.split("=", 1) for option in options)
    printer = listener.Listener()
    cups = RecordedCups(build / "jobshaper", build / "jobshaper-queue",
                        build / "tests" / "scheduler" / "recorder")
    port = private_cups.free_port()
    try:
        if shared:
            cups.configure(f"Listen 127.0.0.1:{port}\nDefaultShared Yes\n")
        cups.start()
        cups.add_queue("Office", build / "ppd" / "quorvan-color-finisher.ppd", printer.uri)
        job = (print_shared(cups, port, printer, file, options) if shared
               else cups.print("Office", printer, file, options))
        if cups.state_of(job.number) != "completed":
            raise private_cups.Failure("\n".join(cups.log.lines_of(job.number)))
        (work / "job.ps").write_bytes(job.input.read_bytes())
        (work / "output.prn").write_bytes(job.received)
        (work / "options").write_bytes(job.argv[5] + b"\n")
        (work / "added").write_text("\n".join(job.added) + "\n", encoding="latin-1")
    finally:
        cups.stop()
        printer.close()


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, signal.default_int_handler)  # ends all processes that were started
    try:
        main(*sys.argv[1:])
    except private_cups.Failure as failure:
        sys.exit(f"print_one.py: {failure}")
