#!/usr/bin/env python3
"""Filters jobs made by real programs, and compares the output byte for byte. A job without any feature
that the filter rewrites may gain only the PJL and the marker feature in the prolog. Some jobs are also
rendered: the pages must be the same.

usage: real_jobs.py JOBSHAPER
"""

import functools
import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "support"))
from ghostscript import Ghostscript  # noqa: E402

UEL = b"\x1b%-12345X"
TRAILER = UEL + UEL + b'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n' + UEL
SWITCH = b"@PJL ENTER LANGUAGE = POSTSCRIPT\n"
MARKER = (b"%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
          b"%%EndFeature\n")
GS = "gs -q -dSAFER -dBATCH -dNOPAUSE -sOutputFile=-"
CUPS = "make_cups_job groff.pdf 'PageSize=A4 InputSlot=Tray2{}'"
# What a job must contain to be worth a test.
PROLOG, PAGE_SIZE, OVERLONG_LINE = rb"^%%BeginProlog", rb"^%%BeginFeature: \*PageSize", rb"^.{1025}"
OF_CUPS = [rb"^\x1b%-12345X@PJL", rb"^@PJL JOB", rb"^%%BeginFeature: \*JobPatchFile 1", rb"^%RBINumCopies: ",
           rb"^%%BeginFeature: \*PageSize A4", rb"^%%BeginFeature: \*InputSlot Tray2"]
MADE = {
    "groff": ("make_document", [PROLOG, PAGE_SIZE]),
    # Applications on other systems use other line ends.
    "groff, lines end in CR": (r"tr '\n' '\r' < groff.ps", [rb"\r%%BeginProlog\r"]),
    "groff, lines end in CR LF": (r"sed 's/$/\r/' groff.ps", [rb"^%%BeginProlog\r$"]),
    "groff, last line without its end": ("head -c -1 groff.ps", [rb"[^\n]\Z"]),
    "pdftops": ("pdftops groff.pdf -", []),
    "pdftops, scanned pages": ("pdftops -level3 scan.pdf -", []),
    "pdftops, binary pictures": ("pdftops -level1 -binary scan.pdf -", [rb"\0", OVERLONG_LINE]),
    "pdftops, EPS": ("pdftops -f 1 -l 1 -eps groff.pdf -", []),
    "cairo": ("pdftocairo -ps groff.pdf -", []),
    "ps2write": (f"{GS} -sDEVICE=ps2write groff.pdf", []),
    "ps2write, binary pictures": (f"{GS} -sDEVICE=ps2write -dASCII85EncodePages=false scan.pdf",
                                  [rb"\0", OVERLONG_LINE]),
}
failures = []


def made(command, directory):
    return subprocess.run(["bash", "-ec", f'. "$0"; {command}', HERE / "make-jobs.sh"], cwd=directory,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True, timeout=60).stdout


def filtered(job, options):
    environment = {name: value for name, value in os.environ.items() if name != "PPD"}
    return subprocess.run([sys.argv[1], "42", "guest", "How a booklet is folded", "1", options], input=job,
                          env={**environment, "DEVICE_URI": "socket://printer.local", "LC_ALL": "C"},
                          capture_output=True, check=True, timeout=60).stdout


@functools.cache
def header(options):
    """The header of an empty job."""
    return filtered(b"", options).removesuffix(TRAILER)


def with_marker(job):
    return re.sub(rb"(?:\A|(?<=[\r\n]))%%BeginProlog[^\r\n]*[\r\n]", MARKER, job, count=1)


def without_pjl(job):
    return re.sub(rb"(?m)^(?:\x1b%-12345X|@PJL ).*\n?", b"", job)


def check(name, job, expected, options="", contains=(), ghostscript=None):
    """With a Ghostscript, also compares the pages."""
    for text in contains:
        if not re.search(text, job, re.M):
            failures.append(f"{name}: the job has no {text}")
    wanted = header(options) + expected + TRAILER
    output = filtered(job, options)
    if output != wanted:
        at = len(os.path.commonprefix([output, wanted]))
        failures.append(f"{name}: from byte {at}: {output[at:at + 300]!r}\n instead of {wanted[at:at + 300]!r}")
    pages = ghostscript.run(without_pjl(job))[1] if ghostscript else []
    if ghostscript and (len(pages) < 5 or ghostscript.run(without_pjl(output))[1] != pages):
        failures.append(f"{name}: the pages are not those of the job, which has {len(pages)}")
    print(f"{name}: {len(job)} bytes, pages compared: {len(pages)}")


def check_jobs_of_cups(ghostscript, work):
    """The exception: pstops inserts features that the filter rewrites."""
    job = made(CUPS.format(""), work)
    # The job's own PJL and its JobPatchFile feature are removed, and the page-size feature is repeated
    # after the paper source.
    def rewritten(job):
        size = b"".join(re.findall(rb"(?ms)^%%BeginFeature: \*PageSize.*?^%%EndFeature\n", job))
        repeated = b"[{\n" + size + b"} stopped cleartomark\n"
        text = re.sub(rb".*JobPatchFile.*\n.*\n.*\n", b"", without_pjl(job))
        return with_marker(re.sub(rb"(?s)InputSlot.*?cleartomark\n", lambda slot: slot[0] + repeated, text))
    expected = rewritten(job)
    off = rb"^%%BeginFeature: \*QVBookletFold false"
    check("CUPS", job, expected, "", [*OF_CUPS, off], ghostscript)

    # The printer collates the copies of a job that it holds.
    held = (b"%!\n%Set collate copies = copy:\n<< /CollatedCopies 2 >> setuserparams\n%EndUserSetup\n"
            b"%RBINumCopies: ")
    check("CUPS, held job of two copies", job, expected.replace(b"%RBINumCopies: ", held),
          "PrintTo=JRVerify com.apple.print.PrintSettings.PMCopies..n.=2", [], ghostscript)

    # The fold feature keeps its first line, and everything from the duplexer line on.
    job = made(CUPS.format(" QVBookletFold=SaddleStitch"), work)
    expected = re.sub(rb"(?s)(QVBookletFold[^\n]*\n).*?([^\n]*statusdict /duplexer get exec)",
                      rb"\1\n<< /Fold 2 /Staple 4>> setpagedevice\n\2", rewritten(job))
    check("CUPS, booklet", job, expected, "QVBookletFold=SaddleStitch",
          [*OF_CUPS, rb"^%%BeginFeature: \*QVBookletFold SaddleStitch"], ghostscript)


def main():
    with tempfile.TemporaryDirectory() as work, Ghostscript("pbmraw", "-r24") as ghostscript:
        os.environ["TMPDIR"] = work
        made("make_document > groff.ps; make_pdf groff.ps > groff.pdf; "
             f"{GS} -sDEVICE=pdfimage24 -r60 groff.pdf > scan.pdf", work)
        for name, (command, contains) in MADE.items():
            job = made(command, work)
            check(name, job, with_marker(job), contains=contains,
                  ghostscript=ghostscript if name in ("groff", "cairo") else None)
        check_jobs_of_cups(ghostscript, work)
    # Ghostscript comes with PostScript programs that people wrote.
    programs = sorted(pathlib.Path("/usr/share/ghostscript").glob("**/lib/*.ps"))
    job = b"".join(path.read_bytes() for path in programs)
    check(f"{len(programs)} programs of Ghostscript", job, with_marker(job), contains=[rb"(?s).{100000}"])
    sys.exit("\n".join(failures) or 0)


main()
