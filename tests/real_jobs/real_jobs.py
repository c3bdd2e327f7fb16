#!/usr/bin/env python3
"""Filters jobs made by real programs, and compares the output byte for byte. A job without any feature
that the filter rewrites may gain only the PJL and the marker feature in the prolog.

usage: real_jobs.py JOBSHAPER
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
UEL = b"\x1b%-12345X"
TRAILER = UEL + UEL + b'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n' + UEL
MARKER = (b"%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
          b"%%EndFeature\n")
GS = "gs -q -dSAFER -dBATCH -dNOPAUSE -sOutputFile=-"
# How jobs are made, and what they must contain to be worth a test.
MADE = {
    "groff": ("cat groff.ps", [rb"^%%BeginProlog", rb"^%%BeginFeature: \*PageSize"]),
    # Applications on other systems use other line ends.
    "groff, lines end in CR": (r"tr '\n' '\r' < groff.ps", [rb"\r%%BeginProlog\r"]),
    "groff, lines end in CR LF": (r"sed 's/$/\r/' groff.ps", [rb"^%%BeginProlog\r$"]),
    "pdftops": ("pdftops groff.pdf -", []),
    "pdftops, binary pictures": ("pdftops -level1 -binary scan.pdf -", [rb"\0", rb"^.{1025}"]),
    "cairo": ("pdftocairo -ps groff.pdf -", []),
    "ps2write": (f"{GS} -sDEVICE=ps2write groff.pdf", []),
    "ps2write, binary pictures": (f"{GS} -sDEVICE=ps2write -dASCII85EncodePages=false scan.pdf",
                                  [rb"\0", rb"^.{1025}"]),
    # PostScript programs that people wrote.
    "Ghostscript's programs": ("cat $(find /usr/share/ghostscript -path '*/lib/*.ps' | sort)",
                               [rb"(?s).{100000}"]),
}
OF_CUPS = [rb"^\x1b%-12345X@PJL", rb"^@PJL JOB", rb"^%%BeginFeature: \*JobPatchFile 1",
           rb"^%RBINumCopies: ", rb"^%%BeginFeature: \*PageSize A4",
           rb"^%%BeginFeature: \*InputSlot Tray2"]
failures = []


def made(command, directory):
    return subprocess.run(["bash", "-ec", f'. "$0"; {command}', HERE / "make-jobs.sh"], cwd=directory,
                          stdout=subprocess.PIPE, check=True, timeout=60).stdout


def filtered(job, options):
    return subprocess.run([sys.argv[1], "42", "guest", "How a booklet is folded", "1", options],
                          input=job, env={"DEVICE_URI": "socket://printer.local"}, capture_output=True,
                          check=True, timeout=60).stdout


def with_marker(job):
    return re.sub(rb"(?:\A|(?<=[\r\n]))%%BeginProlog[^\r\n]*[\r\n]", MARKER, job, count=1)


def rewritten(job):
    """A job of CUPS with features that the filter rewrites: its own PJL and its JobPatchFile feature are
    removed, and the page-size feature is repeated after the paper source."""
    size = b"".join(re.findall(rb"(?ms)^%%BeginFeature: \*PageSize.*?^%%EndFeature\n", job))
    repeated = b"[{\n" + size + b"} stopped cleartomark\n"
    text = re.sub(rb"(?m)^(?:\x1b%-12345X|@PJL ).*\n?|.*JobPatchFile.*\n.*\n.*\n", b"", job)
    return with_marker(re.sub(rb"(?s)InputSlot.*?cleartomark\n", lambda slot: slot[0] + repeated, text))


def folded(job):
    """The fold feature keeps its first line, and everything from the duplexer line on."""
    return re.sub(rb"(?s)(QVBookletFold[^\n]*\n).*?([^\n]*statusdict /duplexer get exec)",
                  rb"\1\n<< /Fold 2 /Staple 4>> setpagedevice\n\2", rewritten(job))


def check(name, job, expected, contains, options=""):
    failures.extend(f"{name}: the job has no {text}"
                    for text in contains if not re.search(text, job, re.M))
    # The header is that of an empty job.
    wanted = filtered(b"", options).removesuffix(TRAILER) + expected + TRAILER
    output = filtered(job, options)
    if output != wanted:
        at = len(os.path.commonprefix([output, wanted]))
        failures.append(f"{name}: from byte {at}: {output[at:at + 300]!r}, not {wanted[at:at + 300]!r}")
    print(f"{name}: {len(job)} bytes")


with tempfile.TemporaryDirectory() as work:
    os.environ["TMPDIR"] = work
    made("make_document > groff.ps; make_pdf groff.ps > groff.pdf; "
         f"{GS} -sDEVICE=pdfimage24 -r60 groff.pdf > scan.pdf", work)
    for name, (command, contains) in MADE.items():
        job = made(command, work)
        check(name, job, with_marker(job), contains)
    for fold, expected in (("false", rewritten), ("SaddleStitch", folded)):
        job = made(f"make_cups_job groff.pdf 'PageSize=A4 InputSlot=Tray2 QVBookletFold={fold}'", work)
        feature = rb"^%%%%BeginFeature: \*QVBookletFold %s" % fold.encode()
        check(f"CUPS, fold: {fold}", job, expected(job), [*OF_CUPS, feature], f"QVBookletFold={fold}")
sys.exit("\n".join(failures) or 0)
