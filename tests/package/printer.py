#!/usr/bin/env python3
"""A printer on the loopback interface, for script/chroot-trial --package.

usage: printer.py FOLDER

Writes its device URI into FOLDER/uri and each job that it receives into FOLDER/NUMBER.prn, until it
is ended.
"""

import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "scheduler"))
from listener import Listener  # noqa: E402

folder = pathlib.Path(sys.argv[1])
folder.mkdir(parents=True)
printer = Listener()
(folder / "uri.new").write_text(printer.uri + "\n")
(folder / "uri.new").rename(folder / "uri")
written = 0
while True:
    for job in printer.jobs[written:]:
        written += 1
        (folder / "job.new").write_bytes(job)
        (folder / "job.new").rename(folder / f"{written}.prn")
    time.sleep(0.1)
