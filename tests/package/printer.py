#!/usr/bin/env python3
"""A printer on the loopback interface, for script/chroot-trial --package.

usage: printer.py DIRECTORY

Writes its device URI into DIRECTORY/uri and each job that it receives into DIRECTORY/NUMBER.prn, until it
is ended.
"""

import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "scheduler"))
from listener import Listener  # noqa: E402

directory = pathlib.Path(sys.argv[1])
directory.mkdir(parents=True)
printer = Listener()
(directory / "uri.new").write_text(printer.uri + "\n")
(directory / "uri.new").rename(directory / "uri")
written = 0
while True:
    for job in printer.jobs[written:]:
        written += 1
        (directory / "job.new").write_bytes(job)
        (directory / "job.new").rename(directory / f"{written}.prn")
    time.sleep(0.1)
