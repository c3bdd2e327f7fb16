#!/usr/bin/env python3
"""Manual booklets, filtered by pstops with the PPD file of the printer without a duplexer and by
jobshaper: Ghostscript must draw every page at its place.

    manual_booklets.py JOBSHAPER_AT INSTRUCTION-PAGE MAKE-JOBS PPD
"""

import os
import shutil
import subprocess
import sys
import tempfile

from ppd import Checks, pstops, run, without_pjl
from ghostscript import Ghostscript

jobshaper_at, instruction, make_jobs, ppd = (os.path.abspath(path) for path in sys.argv[1:])
checks = Checks()
work = tempfile.mkdtemp()
ghostscript = Ghostscript("pbmraw", "-r20")


def is_white(picture):
    """Whether there are only zero bits after the format, the name of Ghostscript and the size."""
    return not any(picture.split(b"\n", 3)[3])


def pages(count, prolog=b"", begin=b"", setup=b""):
    return b"%%!PS-Adobe-3.0\n%%%%Pages: %d\n%%%%EndComments\n%%%%BeginProlog\n%s%%%%EndProlog\n" % (
        count, prolog) + b"%%BeginSetup\n" + setup + b"%%EndSetup\n" + b"".join(
            b"%%%%Page: %d %d\n%s/Helvetica findfont 150 scalefont setfont 100 %d moveto (%d) show "
            b"showpage\n" % (n, n, begin, 100 + 60 * n, n)
            for n in range(1, count + 1)) + b"%%Trailer\n%%EOF\n"


def made(command, *arguments):
    return subprocess.run(["bash", "-c", f'. "$0"; {command}', make_jobs, *arguments], check=True,
                          timeout=60, stdout=subprocess.PIPE).stdout


def booklet(name, job, options, filter_options=None, blanks=1, empty=True):
    """Tests one job. `blanks` is the number of blank sides, which may not be `empty`, in the second pass."""
    from_pstops = pstops(job, options, ppd)
    with tempfile.TemporaryDirectory(dir=work) as tmp:
        result = run([jobshaper_at, "0x1050", "7", "ada", "title", "1", filter_options or options],
                     from_pstops, {"PPD": ppd, "DEVICE_URI": "socket://printer", "TMPDIR": tmp,
                                   "LANG": "en_US.UTF-8", "JOBSHAPER_INSTRUCTIONS": work})
        checks.check(not os.listdir(tmp), f"{name}: files are left")
    errors = [l for l in result.stderr.decode().splitlines() if not l.startswith("tmp at")]
    checks.check(result.returncode == 0 and not errors, f"{name}: {errors}")

    _, sides = ghostscript.run(without_pjl(from_pstops))
    _, found = ghostscript.run(without_pjl(result.stdout))
    white = [is_white(picture) for picture in found]
    checks.check(len(sides) > 0 and not any(is_white(s) for s in sides),
                 f"{name}: the job itself")
    if not checks.check(len(found) == 1 + len(sides) + blanks,
                        f"{name}: {len(sides)} sides became {len(found)} pages"):
        return
    odd = len(sides[::2])
    checks.check(found[1:1 + odd] == sides[::2], f"{name}: the first pass")
    checks.check(white == [empty and odd < i <= odd + blanks for i in range(len(found))],
                 f"{name}: the instruction page and {blanks} empty sides: {white}")
    checks.check(found[1 + odd + blanks:] == sides[1::2][::-1], f"{name}: the second pass")
    print(f"{name}: {len(sides)} sides, {len(found)} pages")


os.makedirs(f"{work}/en.lproj")
shutil.copy(instruction, f"{work}/en.lproj/instruction(null)")
try:
    fold = "QVBookletFold=Booklet"
    for count in (1, 2, 5, 6):
        booklet(f"{count}-pages", pages(count), fold)
    # What pstops itself adds to pages: saved states, scaled and rotated coordinates, a showpage that
    # does nothing, a border.
    for count in (6, 7):
        booklet(f"number-up-{count}", pages(count), f"{fold} number-up=2")
    booklet("number-up-border", pages(12), f"{fold} number-up=4 page-border=double landscape")
    booklet("fit", pages(3), f"{fold} fit-to-page page-label=draft")
    booklet("border", pages(3), f"{fold} page-border=single")
    booklet("mirror", pages(3), f"{fold} mirror")
    booklet("reverse", pages(4), f"{fold} outputorder=reverse")
    booklet("letter", pages(3), f"{fold} PageSize=Letter InputSlot=ManualPaper MediaType=Card")
    booklet("custom", pages(3), f"{fold} PageSize=Custom.500x700")
    booklet("cover", pages(4), f"{fold} QVBookletCoverPage=true QVInsideFrontCover=true", blanks=2)
    # A booklet although the job contains another feature, because the PPD file does not have the choice.
    booklet("unknown", pages(3), "QVBookletFold=TriFold")
    booklet("stapled", pages(3), "QVBookletFold=SaddleStitch")
    booklet("not-marked", pages(3), "QVBookletFold=PrinterS", fold)
    booklet("off", pages(3), "QVBookletFold=false", fold)
    # Pages that begin with code that could disturb the blank page.
    booklet("page-state", pages(3, begin=b"save 3 3 scale 1 0 0 setrgbcolor 90 rotate restore\n"), fold)
    # A job from macOS contains its own procedures, which are kept.
    own = b"/cg_md 9 dict def cg_md begin\n/bp {gsave} def /sdmtx {initmatrix} def\n" \
        b"/ep {100 100 300 300 rectfill grestore showpage} def end\n"
    booklet("own-procedures", pages(3, prolog=own), fold, empty=False)
    # Real documents: groff, and a PDF file.
    document = made("make_document")
    booklet("groff", document, fold)
    booklet("groff-number-up", document, f"{fold} number-up=2")
    with open(f"{work}/document.ps", "wb") as file:
        file.write(document)
    pdf = made('make_pdf "$1.ps" > "$1.pdf"; pdftops -paper A4 "$1.pdf" -', f"{work}/document")
    booklet("pdf", pdf, fold)
finally:
    ghostscript.close()
    shutil.rmtree(work)

checks.exit(at_least=110)
