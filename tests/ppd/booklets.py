#!/usr/bin/env python3
"""Booklets, from pstops through the entry program of a queue to Ghostscript: which page is on which
half of which side, and the paper that each side is printed on.

    booklets.py JOBSHAPER-QUEUE FINISHER-PPD DUPLEX-PPD SMALL-PPD
"""

import os
import re
import sys
import tempfile

from ppd import Checks, Ppd, pstops, run, without_pjl
from booklet_pages import SIDES, document, sides_of
from ghostscript import Ghostscript

program, *paths = [os.path.abspath(path) for path in sys.argv[1:]]
finisher, duplex, small = (Ppd(path) for path in paths)
checks = Checks()

FOLDS = {"SaddleStitch": "<< /Fold 2 /Staple 4>> setpagedevice", "BiFold": "<< /Fold 1 >> setpagedevice",
         "Booklet": "", "DoNotFoldAndStaple": "<< /Fold 0 /Staple 0>> setpagedevice"}
# Four sides that are arranged already.
SHEETS = re.sub(rb"(?s)initgraphics.*?finish\n", b"showpage\n", document(4))


def arrives(ppd, pages, options, content=None, document_text=None, copies="1"):
    job = pstops(document_text or document(pages), options, ppd.path)
    with tempfile.TemporaryDirectory() as directory:
        done = run([program, "7", "ada", "", copies, options], job, {
            "PPD": ppd.path, "DEVICE_URI": "socket://printer", "TMPDIR": directory, "LANG": "en",
            "CONTENT_TYPE": content or "application/postscript"})
        checks.check(os.listdir(directory) == [], f"{options}: files are left")
    return done


def check(title, got, wanted):
    checks.check(got == wanted, f"{title}: {got} and not {wanted}")


def pages_of(sides):
    return [pages for pages, _ in sides]


def fold_of(body):
    found = re.search(rb"\*QVBookletFold \w+\n\n(.*)\n", body)
    return found.group(1).decode() if found else None


def who_arranges():
    five = SIDES[5]
    pdf = "application/pdf"
    for ppd, options, content, fold, sides in (
            (finisher, "booklet=true", None, "SaddleStitch", five),
            (finisher, "booklet=true", "image/png", "SaddleStitch", five),
            (finisher, "booklet=true", pdf, "SaddleStitch", None),
            (finisher, "booklet=true", "image/urf", "SaddleStitch", None),
            (finisher, "booklet=true QVBookletFold=BiFold", pdf, "BiFold", None),
            (finisher, "booklet=true QVBookletFold=DoNotFoldAndStaple", None, "DoNotFoldAndStaple", five),
            (finisher, "QVBookletFold=SaddleStitch", pdf, "SaddleStitch", five),
            (finisher, "booklet=false QVBookletFold=SaddleStitch", None, "SaddleStitch", None),
            (finisher, "QvnBookletPages=Arranged QVBookletFold=SaddleStitch", None, "SaddleStitch", None),
            (finisher, "finishings=13", None, "SaddleStitch", five),
            (finisher, "finishings=8", None, "SaddleStitch", None),
            (finisher, "finishings=10", None, "BiFold", None),
            (finisher, "OptionFinisher=False booklet=true", None, "Booklet", five),
            (duplex, "booklet=true", None, "Booklet", five),
            (finisher, "booklet=true outputorder=reverse", None, "SaddleStitch", five[::-1]),
            (finisher, "booklet=true Collate=False", None, "SaddleStitch", five)):
        done = arrives(ppd, 5, options, content)
        body = without_pjl(done.stdout)
        check(options, fold_of(body), FOLDS[fold])
        check(options, re.findall(rb"\*Collate \w+\n(.*)\n", body), [b"<</Collate true>>setpagedevice"])
        check(options, b"WARNING" in done.stderr, False)
        arranged = b"QvnBooklet/" in body
        check(f"{options} {content}", arranged, sides is not None)
        if sides:
            check(options, pages_of(sides_of(ghostscript, body)), sides)


def as_it_is():
    """Documents without page comments, and the banner of a queue, are not arranged."""
    plain = b"%!PS\n(PAGE 1)= showpage\n(PAGE 2)= showpage\n"
    done = arrives(finisher, 0, "booklet=true QVBookletFold=SaddleStitch", document_text=plain)
    check("no comments", re.findall(rb"WARNING.*arranged", done.stderr), [b"WARNING: The pages of this document cannot be arranged"])
    check("no comments", re.findall(rb"/Fold|/Staple|QvnBooklet/", done.stdout), [])
    text = b"%!\n/Helvetica findfont 20 scalefont setfont 50 50 moveto(page)show showpage\n"
    done = run([program, "7", "ada", "", "1", "booklet=true"], text, {
        "PPD": finisher.path, "DEVICE_URI": "socket://printer", "CONTENT_TYPE": "application/postscript"})
    check("no pages", re.findall(rb"WARNING.*", done.stderr), [
        b"WARNING: The pages of this document cannot be arranged as a booklet, because it is PostScript without "
        b"usable page comments; it is printed as it is. Convert it to PDF and print that."])
    check("no pages", without_pjl(done.stdout).strip(), text.strip())
    for options in ("booklet=true", "QVBookletFold=SaddleStitch"):
        job = pstops(document(2), options, finisher.path)
        done = run([program, "7", "ada", "", "1", options], job, {
            "PPD": finisher.path, "DEVICE_URI": "socket://printer", "CUPS_FILETYPE": "job-sheet"})
        check(f"banner, {options}", re.findall(rb"/Fold|/Staple|QvnBooklet/|Duplex true", done.stdout), [])


def covers():
    card = "QVBookletCoverSource=Tray2 QVBookletCoverType=Card"
    reverse = " outputorder=reverse"
    work = [(card + order, "1 (Card Stock)", pages) for pages in (1, 4, 5, 16, 64) for order in ("", reverse)]
    work += [("QVBookletCoverType=Card", "null (Card Stock)", 5), ("QVBookletCoverSource=ManualPaper", "", 5),
             ("QVBookletCoverSource=Tray2 MediaType=Plain InputSlot=Tray3", "1 (Plain)", 5)]
    for options, paper, pages in work:
        text = f"QVBookletFold=SaddleStitch {options}"
        body = without_pjl(arrives(finisher, pages, text).stdout)
        count = (pages + 3) // 4 * 2
        if not paper:  # Ghostscript does not show it
            request = b"/ManualFeed true  >> setpagedevice"
            check(text, body.split(b"%%Page: 1 1\n")[1].split(b"\n")[1].endswith(request), True)
            continue
        sides = sides_of(ghostscript, body)
        cover = [0, 1] if reverse not in options else [count - 2, count - 1]
        check(f"{text}, {pages} pages", [i for i, (_, asked) in enumerate(sides) if asked == paper], cover)
        others = {asked for i, (_, asked) in enumerate(sides) if i not in cover}
        rest = "3 (Plain)" if "InputSlot" in options else "null null"
        check(f"{text}, {pages} pages", others, {rest} if pages > 4 else set())
        # This sheet has the first page outside, and the last of four times as many.
        outer = sides[0 if reverse not in options else count - 1][0]
        check(f"{text}, {pages} pages", outer, (pages if pages % 4 == 0 else 0, 1))
    # Arranged by CUPS, which has four sides.
    for order, cover in (("", [0, 1]), (" outputorder=reverse", [2, 3])):
        options = f"booklet=true QVBookletCoverSource=Tray2{order}"
        done = arrives(finisher, 4, options, "application/pdf", SHEETS)
        sides = sides_of(ghostscript, without_pjl(done.stdout))
        check(options, [i for i, (_, asked) in enumerate(sides) if asked.startswith("1 ")], cover)


def faces():
    all_faces = ("QVOutsideFrontCover", "QVInsideFrontCover", "QVInsideBackCover", "QVOutsideBackCover")
    outside, inside = (all_faces[0], all_faces[3]), all_faces[1:3]
    for printed, pages, sides in (
            (inside, 6, [(0, 0), (1, 6), (5, 2), (3, 4)]),
            (outside, 6, [(6, 1), (0, 0), (5, 2), (3, 4)]),
            (outside, 3, [(3, 1), (0, 0), (0, 2), (0, 0)]),
            (all_faces, 6, [(0, 1), (2, 0), (6, 3), (4, 5)]),
            (all_faces[:1], 3, [(0, 1), (0, 0), (0, 2), (3, 0)]),
            ((), 6, [(0, 1), (2, 0), (6, 3), (4, 5)])):
        options = " ".join(f"{face}=true" for face in printed)
        text = f"QVBookletFold=SaddleStitch QVBookletCoverPage=true QVBookletCoverSource=Tray2 {options}"
        found = sides_of(ghostscript, without_pjl(arrives(finisher, pages, text).stdout))
        check(options, pages_of(found), sides)
        check(options, [asked for _, asked in found], ["1 null"] * 2 + ["null null"] * 2)
    for options in ("QVInsideFrontCover=true", "QVBookletCoverPage=false QVInsideFrontCover=true"):
        found = sides_of(ghostscript, without_pjl(arrives(finisher, 4, f"QVBookletFold=Booklet {options}").stdout))
        check(options, pages_of(found), SIDES[4])


def manual_copies():
    for copies in ("1", "3"):
        done = arrives(small, 5, "booklet=true collate=true", copies=copies,
                       document_text=document(5))
        jobs = done.stdout.split(b"\x1b%-12345X@PJL JOB\n")[1:]
        check(f"{copies} copies", len(jobs), int(copies))
        for job in jobs:
            check("sides", re.findall(rb"(?m)^%%Page: \S+ (\d+)", job), [b"0", b"1", b"3", b"1", b"4", b"2"])
            check("copies", re.findall(rb"(?m)^%RBINumCopies: .*|^.*COPIES = .*", job),
                  [b"@PJL SET COPIES = 1", b"%RBINumCopies: 1"])
        check("pages", done.stderr.count(b"PAGE: "), 4 * int(copies))


def embedded_by_hand():
    """Pages with a picture that is a document of its own, arranged by us or by the application."""
    picture = b"%%BeginDocument: a.eps\n%!PS-Adobe-3.0 EPSF-3.0\n%%Page: 1 1\n%%Trailer\n%%EOF\n%%EndDocument\n"
    text = document(5).replace(b"initgraphics(PAGE", picture + b"initgraphics(PAGE")
    for options, pages in (("booklet=true", [b"0", b"1", b"3", b"1", b"4", b"2"]),
                           ("QVBookletFold=Booklet QvnBookletPages=Arranged",
                            [b"0", b"1", b"3", b"5", b"1", b"4", b"2"])):
        output = arrives(small, 5, options, document_text=text).stdout
        check(options, re.findall(rb"(?m)^%%Page: \S+ (\d+)", output), pages)
        check(options, output.count(b"PAGE "), 5)


with Ghostscript("nullpage", "-r72") as ghostscript:
    for part in (who_arranges, as_it_is, covers, faces, manual_copies, embedded_by_hand):
        part()
checks.exit(at_least=180)
