#!/usr/bin/env python3
"""Prints one file through a queue of a private scheduler, for script/demo.

usage: print_one.py [--shared] BUILD-DIRECTORY WORK-DIRECTORY FILE [OPTION=VALUE ...]

--shared: prints to a driverless queue of a second scheduler, which passes the job on.

Leaves in the work directory: job.ps, what the filter read; output.prn, what the printer got;
options, what CUPS passed as the job's options; added, what the entry program put after them.
"""

import pathlib
import sys

from private_cups import Failure, PrivateCups, end_by_sigterm, free_port
from recorded_cups import RecordedCups


def main(*arguments):
    shared = arguments[0] == "--shared"
    build, work, file, *options = arguments[shared:]
    client = cups = RecordedCups(build)
    port, queue = free_port(), "Office"
    if shared:
        cups.configure(f"Listen 127.0.0.1:{port}\nDefaultShared Yes\n")
    cups.start()
    cups.add_printer("Office", "color-finisher")
    if shared:
        client, queue = PrivateCups(), "Remote"
        client.start()
        client.add_driverless_queue(queue, port, "Office")
    number = client.lp(queue, file, dict(option.split("=", 1) for option in options))
    job = cups.finish(1, "Office", 1)
    if job.state != "completed":
        raise Failure("\n".join(job.log))
    client.wait_for(number)
    if shared:
        print(client.command("lpstat", "-l", "-W", "all", "-o"), end="")
    for name, content in (("job.ps", job.input.read_bytes()), ("output.prn", job.received),
                          ("options", job.argv[5] + b"\n"),
                          ("added", "\n".join(job.added()).encode("latin-1") + b"\n")):
        pathlib.Path(work, name).write_bytes(content)


if __name__ == "__main__":
    end_by_sigterm()
    try:
        main(*sys.argv[1:])
    except Failure as failure:
        sys.exit(f"print_one.py: {failure}")
