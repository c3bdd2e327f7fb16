#!/usr/bin/env python3
"""Prints one file through a queue of a private scheduler, for script/demo.

usage: print_one.py BUILD-DIRECTORY WORK-DIRECTORY FILE [OPTION=VALUE ...]

Leaves in the work directory: job.ps, what the filter read; output.prn, what the printer got;
options, what CUPS passed as the job's options; added, what the entry program put after them.
"""

import pathlib
import signal
import sys

import listener
import private_cups
from recorded_cups import RecordedCups


def main(build, work, file, *options):
    build, work = pathlib.Path(build), pathlib.Path(work)
    printer = listener.Listener()
    cups = RecordedCups(build / "jobshaper", build / "jobshaper-queue",
                        build / "tests" / "scheduler" / "recorder")
    try:
        cups.start()
        cups.add_queue("Office", build / "ppd" / "quorvan-color-finisher.ppd", printer.uri)
        job = cups.print("Office", printer, file, dict(option.split("=", 1) for option in options))
        if cups.state_of(job.number) != "completed":
            raise private_cups.Failure("\n".join(cups.log_of(job.number)))
        (work / "job.ps").write_bytes(job.input.read_bytes())
        (work / "output.prn").write_bytes(job.received)
        (work / "options").write_bytes(job.argv[5] + b"\n")
        (work / "added").write_text("\n".join(job.added) + "\n", encoding="latin-1")
    finally:
        cups.stop()
        printer.close()


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, signal.default_int_handler)  # ends what was started
    try:
        main(*sys.argv[1:])
    except private_cups.Failure as failure:
        sys.exit(f"print_one.py: {failure}")
