#!/usr/bin/env python3
"""Booklets, from pstops to Ghostscript: which page is on which half of which side, on which paper, and
which sides of a manual booklet are in which pass.

    booklets.py JOBSHAPER-QUEUE JOBSHAPER-AT INSTRUCTION-PAGE MAKE-JOBS FINISHER-PPD DUPLEX-PPD SMALL-PPD
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

from ppd import Checks, Ppd, printed, pstops, without_pjl
from booklet_pages import SIDES, document, sides_of
from ghostscript import Ghostscript

queue, jobshaper_at, instruction, make_jobs, *paths = [os.path.abspath(path) for path in sys.argv[1:]]
finisher, duplex, small = (Ppd(path) for path in paths)
checks = Checks()
same = checks.same

FOLDS = {"SaddleStitch": b"<< /Fold 2 /Staple 4>> setpagedevice",
         "BiFold": b"<< /Fold 1 >> setpagedevice", "Booklet": b"",
         "DoNotFoldAndStaple": b"<< /Fold 0 /Staple 0>> setpagedevice"}
# Four sides that are arranged already.
SHEETS = re.sub(rb"(?s)initgraphics.*?finish\n", b"showpage\n", document(4))
POSTSCRIPT, PDF = "application/postscript", "application/pdf"


def arrives(ppd, options, job, content=POSTSCRIPT, copies="1", **environment):
    environment["CONTENT_TYPE"] = content
    return printed(checks, [queue], pstops(job, options, ppd), ppd, options, copies, **environment)


def who_arranges():
    five = SIDES[5]
    for ppd, options, content, fold, wanted in (
            (finisher, "booklet=true", POSTSCRIPT, "SaddleStitch", five),
            (finisher, "booklet=true", PDF, "SaddleStitch", None),
            (finisher, "booklet=true QVBookletFold=DoNotFoldAndStaple", POSTSCRIPT, "DoNotFoldAndStaple",
             five),
            (finisher, "QvnBookletPages=Arranged QVBookletFold=SaddleStitch", POSTSCRIPT, "SaddleStitch",
             None),
            (finisher, "finishings=13", POSTSCRIPT, "SaddleStitch", five),
            (finisher, "finishings=8", POSTSCRIPT, "SaddleStitch", None),
            (finisher, "finishings=10", POSTSCRIPT, "BiFold", None),
            (finisher, "OptionFinisher=False booklet=true", POSTSCRIPT, "Booklet", five),
            (duplex, "booklet=true", POSTSCRIPT, "Booklet", five),
            (finisher, "booklet=true outputorder=reverse", POSTSCRIPT, "SaddleStitch", five[::-1]),
            (finisher, "booklet=true Collate=False", POSTSCRIPT, "SaddleStitch", five)):
        done = arrives(ppd, options, document(5), content)
        body = without_pjl(done.stdout)
        same(options, re.findall(rb"\*QVBookletFold \w+\n\n(.*)\n", body), [FOLDS[fold]])
        same(options, re.findall(rb"\*Collate \w+\n(.*)\n", body), [b"<</Collate true>>setpagedevice"])
        same(options, b"WARNING" in done.stderr, False)
        same(f"{options} {content}", b"QvnBooklet/" in body, wanted is not None)
        if wanted:
            same(options, [pages for pages, _ in sides_of(nullpage, body)], wanted)


def as_it_is():
    """Documents without page comments, and the banner of a queue, are not arranged."""
    traces = rb"/Fold|/Staple|QvnBooklet/|Duplex true"
    text = b"%!PS\n(PAGE 1)= showpage\nshowpage\n"
    plain = arrives(finisher, "booklet=true QVBookletFold=SaddleStitch", text)
    warning = b"WARNING: The pages of this document cannot be arranged"
    same("no comments", plain.stderr.count(warning), 1)
    same("no comments", re.findall(traces, plain.stdout), [])
    for options in ("booklet=true", "QVBookletFold=SaddleStitch"):
        banner = arrives(finisher, options, document(2), CUPS_FILETYPE="job-sheet")
        same(f"banner, {options}", re.findall(traces, banner.stdout), [])


def covers():
    card = "QVBookletCoverSource=Tray2 QVBookletCoverType=Card"
    reverse = " outputorder=reverse"
    other = "QVBookletCoverSource=Tray2 MediaType=Plain InputSlot=Tray3"
    fold = "QVBookletFold=SaddleStitch "
    ours, cups = (POSTSCRIPT, fold), (PDF, "booklet=true ")
    for (content, begin), options, job, cover, paper, rest in (
            (ours, card, document(1), [0, 1], "1 (Card Stock)", set()),
            (ours, card, document(5), [0, 1], "1 (Card Stock)", {"null null"}),
            (ours, card + reverse, document(4), [0, 1], "1 (Card Stock)", set()),
            (ours, card + reverse, document(16), [6, 7], "1 (Card Stock)", {"null null"}),
            (ours, "QVBookletCoverType=Card", document(5), [0, 1], "null (Card Stock)", {"null null"}),
            (ours, other, document(5), [0, 1], "1 (Plain)", {"3 (Plain)"}),
            (cups, card, SHEETS, [0, 1], "1 (Card Stock)", {"null null"}),
            (cups, card + reverse, SHEETS, [2, 3], "1 (Card Stock)", {"null null"})):
        found = sides_of(nullpage, without_pjl(arrives(finisher, begin + options, job, content).stdout))
        same(options, [i for i, (_, asked) in enumerate(found) if asked == paper], cover)
        same(options, {asked for i, (_, asked) in enumerate(found) if i not in cover}, rest)
        if content == POSTSCRIPT:
            # This sheet has the first page outside, and the last of four times as many.
            pages = job.count(b"%%Page: ")
            outside = found[cover[reverse in options]][0]
            same(options, outside, (pages if pages % 4 == 0 else 0, 1))
    # Ghostscript does not show manual feed.
    body = arrives(finisher, fold + "QVBookletCoverSource=ManualPaper", document(5)).stdout
    request = body.split(b"%%Page: 1 1\n")[1].split(b"\n")[1]
    checks.check(request.endswith(b"/ManualFeed true  >> setpagedevice"), request)


def manual():
    """Each copy is a job of its own, and a picture may be a document of its own."""
    picture = b"%%BeginDocument: a.eps\n%%Page: 1 1\n%%Trailer\n%%EOF\n%%EndDocument\n"
    pictures = document(5).replace(b"initgraphics(PAGE", picture + b"initgraphics(PAGE")
    for options, text, copies, order in (
            ("booklet=true collate=true", document(5), 3, b"0 1 3 1 4 2"),
            ("booklet=true", pictures, 1, b"0 1 3 1 4 2"),
            ("QVBookletFold=Booklet QvnBookletPages=Arranged", pictures, 1, b"0 1 3 5 1 4 2")):
        done = arrives(small, options, text, copies=str(copies))
        jobs = done.stdout.split(b"\x1b%-12345X@PJL JOB\n")[1:]
        same(options, len(jobs), copies)
        for job in jobs:
            same(options, b" ".join(re.findall(rb"(?m)^%%Page: \S+ (\d+)", job)), order)
            same(options, job.count(b"PAGE "), 5)
            same(options, re.findall(rb"(?m)^%RBINumCopies: .*|^.*COPIES = .*", job),
                 [b"@PJL SET COPIES = 1", b"%RBINumCopies: 1"])
        same(options, done.stderr.count(b"PAGE: "), copies * (4 if "booklet" in options else 5))


def pages(count, prolog=b"", begin=b""):
    return b"%%!PS-Adobe-3.0\n%%%%Pages: %d\n%%%%EndComments\n%%%%BeginProlog\n%s%%%%EndProlog\n" % (
        count, prolog) + b"%%BeginSetup\n%%EndSetup\n" + b"".join(
            b"%%%%Page: %d %d\n%s/Helvetica findfont 150 scalefont setfont 100 %d moveto (%d) show "
            b"showpage\n" % (n, n, begin, 100 + 60 * n, n)
            for n in range(1, count + 1)) + b"%%Trailer\n%%EOF\n"


def made(command, *arguments):
    return subprocess.run(["bash", "-c", f'. "$0"; {command}', make_jobs, *arguments], check=True,
                          timeout=60, stdout=subprocess.PIPE).stdout


def two_passes(instructions):
    """Each side of the job is drawn at its place, after the instruction page: the odd ones, blank sides,
    and the even ones from the last to the first."""
    fold = "QVBookletFold=Booklet"
    # A job from macOS contains its own procedures, which are kept; the blank side is not empty then.
    own = b"/cg_md 9 dict def cg_md begin\n/bp {gsave} def /sdmtx {initmatrix} def\n" \
        b"/ep {100 100 300 300 rectfill grestore showpage} def end\n"
    text = made("make_document")
    path = f"{instructions}/document"
    pathlib.Path(path).write_bytes(text)
    pdf = made('make_pdf "$1" > "$1.pdf"; pdftops -paper A4 "$1.pdf" -', path)
    for job, options, filter_options, blanks in (
            (pages(1), fold, fold, 1),
            (pages(6), fold, fold, 1),
            # What pstops itself adds to pages: saved states, scaled and rotated coordinates, a showpage
            # that does nothing, a border.
            (pages(7), f"{fold} number-up=2", None, 1),
            (pages(12), f"{fold} number-up=4 page-border=double landscape", None, 1),
            (pages(3), f"{fold} fit-to-page page-label=draft", None, 1),
            (pages(3), f"{fold} mirror", None, 1),
            (pages(4), f"{fold} outputorder=reverse", None, 1),
            (pages(3), f"{fold} PageSize=Custom.500x700 InputSlot=ManualPaper MediaType=Card", None, 1),
            (pages(4), f"{fold} QVBookletCoverPage=true QVInsideFrontCover=true", None, 2),
            # A booklet although the job contains another feature.
            (pages(3), "QVBookletFold=TriFold", None, 1),
            (pages(3), "QVBookletFold=PrinterS", fold, 1),
            # Pages that begin with code that could disturb the blank page.
            (pages(3, begin=b"save 3 3 scale 1 0 0 setrgbcolor 90 rotate restore\n"), fold, None, 1),
            (pages(3, prolog=own), fold, None, 1),
            # Real documents.
            (text, fold, None, 1),
            (pdf, fold, None, 1)):
        before = pstops(job, options, small)
        done = printed(checks, [jobshaper_at, "0x1050"], before, small, filter_options or options,
                       JOBSHAPER_INSTRUCTIONS=instructions)
        errors = [line for line in done.stderr.decode().splitlines() if not line.startswith("tmp at")]
        same(options, (done.returncode, errors), (0, []))
        _, drawn = pictures.run(without_pjl(before))
        _, found = pictures.run(without_pjl(done.stdout))
        odd = len(drawn[::2])
        empty = found[1 + odd:1 + odd + blanks]
        same(options, found[1:] == drawn[::2] + empty + drawn[::-1][len(drawn) % 2::2], True)
        # A white picture has only zero bits after its format, the name of Ghostscript and its size.
        white = [not any(picture.split(b"\n", 3)[3]) for picture in [*found[:1], *drawn, *empty]]
        same(options, white, [False] * (1 + len(drawn)) + [own not in job] * blanks)


with Ghostscript("nullpage", "-r72") as nullpage:
    for part in (who_arranges, as_it_is, covers, manual):
        part()
with Ghostscript("pbmraw", "-r20") as pictures, tempfile.TemporaryDirectory() as directory:
    os.mkdir(f"{directory}/en.lproj")
    os.symlink(instruction, f"{directory}/en.lproj/instruction(null)")
    two_passes(directory)
checks.exit(at_least=150)
