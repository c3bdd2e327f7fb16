#!/usr/bin/env python3
"""Jobs with every choice of every option of the PPD files, through pstops and the filter: no line is
lost on the way, and Ghostscript finds all pages, their texts and the size of the paper.

    jobs.py JOBSHAPER PPD...
"""

import concurrent.futures
import os
import sys

from ppd import UEL, Checks, Ppd, pstops, run, without_pjl
from ghostscript import Ghostscript

program = os.path.abspath(sys.argv[1])
ppds = [Ppd(os.path.abspath(path)) for path in sys.argv[2:]]
checks = Checks()
PAGES = 3

JOB = b"%!PS-Adobe-3.0\n%%Pages: 3\n%%EndComments\n%%BeginProlog\n%%EndProlog\n" + \
    b"%%BeginSetup\n%%EndSetup\n" + b"".join(
        b"%%%%Page: %d %d\n/Helvetica findfont 14 scalefont setfont\n"
        b"40 100 moveto (mark-%d) show\n"
        b"(SIZE ) print currentpagedevice /PageSize get ==\nshowpage\n" % (n, n, n)
        for n in range(1, PAGES + 1)) + b"%%Trailer\n%%EOF\n"


def jobshaper(job, options, ppd):
    result = run([program, "7", "ada", "title", "1", options], job,
                 {"PPD": ppd.path, "DEVICE_URI": "socket://printer"})
    return result.stdout if result.returncode == 0 else b""


def lines_to_keep(job, options, ppd):
    """The lines that the filter must not remove."""
    lines = without_pjl(job).split(b"\n")
    patch = next(i for i, line in enumerate(lines) if b"JobPatchFile" in line)
    del lines[patch:patch + 3]
    fold = dict(o.split("=") for o in options.split() if "=" in o).get("QVBookletFold")
    if fold not in (None, "false", "PrinterS"):
        # The filter may remove only the choice's own code before the duplexer line.
        for feature in [i for i, line in enumerate(lines) if b"*QVBookletFold" in line][::-1]:
            choice = lines[feature].split()[-1].decode()
            code = ppd.options["QVBookletFold"].choices[choice].code.split("\n")
            ahead = [i for i, line in enumerate(code) if "statusdict /duplexer get exec" in line]
            if ahead:
                del lines[feature + 1:feature + 1 + ahead[0]]
    return lines


def first_missing(lines, text):
    rest = iter(text.split(b"\n"))
    return next((line for line in lines if line not in rest), None)


def combined(ppd, tried):
    """Every choice whose code no earlier PPD file has, in as few jobs as possible: each job has a
    different choice of every option."""
    left = {}
    for name, option in ppd.options.items():
        if name in ("PageRegion", "QVBookletFold"):
            continue  # pstops chooses between PageSize and this; folds follow one by one
        for choice, (_, code) in option.choices.items():
            if (name, choice, code) not in tried:
                tried.add((name, choice, code))
                left.setdefault(name, []).append(choice)
    while left:
        taken = {name: choices.pop() for name, choices in left.items()}
        left = {name: choices for name, choices in left.items() if choices}
        text = " ".join(f"{name}={choice}" for name, choice in taken.items())
        yield text, text, taken.get("PageSize", "A4")


def cases(ppd, tried):
    """Options of the job, options as the filter gets them, and the choice that determines the paper."""
    yield from combined(ppd, tried)
    for choice in ppd.options["QVBookletFold"].choices:
        yield f"QVBookletFold={choice}", f"QVBookletFold={choice}", "A4"
    yield "PageSize=Custom.300x400", "PageSize=Custom.300x400", (300, 400)
    yield "media=Letter", "media=Letter", "Letter"
    # A booklet although the job contains another feature: the PPD file does not have the value, or the
    # filter gets a different option.
    for choice in [*ppd.options["QVBookletFold"].choices, "TriFold"]:
        for fold in ("Booklet", "SaddleStitch", "TriFold"):
            if ppd.manual:
                continue  # manual booklets have their own test
            yield f"QVBookletFold={choice} InputSlot=Tray1", f"QVBookletFold={fold}", "A4"
            # All features again in the setup of the first two pages.
            yield (f"QVBookletFold={choice} AP_FIRSTPAGE_InputSlot=Tray1",
                   f"QVBookletFold={fold}", "A4")
    for value in ("3", "4", "8", "10", "13"):
        yield f"finishings={value}", f"finishings={value}", "A4"
    for mode in ppd.options["PrintTo"].choices:
        yield (f"PrintTo={mode} InputSlot=Tray1 PageSize=Letter",
               f"PrintTo={mode} QVBookletFold=false", "Letter")


def distinct(work):
    """The jobs of all PPD files, without those that have the same options and code as an earlier one."""
    seen = set()
    for ppd, case in work:
        pairs = [pair.partition("=")[::2] for pair in case[0].split()]
        code = tuple(ppd.options[name].choices[choice].code for name, choice in pairs
                     if name in ppd.options and choice in ppd.options[name].choices)
        if (case, code) not in seen:
            seen.add((case, code))
            yield ppd, case


def filtered(case):
    ppd, (job_options, filter_options, paper) = case
    job = pstops(JOB, job_options, ppd.path)
    output = jobshaper(job, filter_options, ppd)
    return ppd, job_options, filter_options, paper, job, output


def main():
    bodies = {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        tried = set()
        work = list(distinct((ppd, case) for ppd in ppds for case in cases(ppd, tried)
                             if not (ppd.manual and "QVBookletFold=Booklet" in case[1])))
        for ppd, job_options, filter_options, paper, job, output in pool.map(filtered, work):
            title = f"{ppd.name}: {job_options} | {filter_options}"
            ends = output.startswith(UEL + b"@PJL JOB\n") and output.endswith(
                UEL + UEL + b'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n' + UEL)
            checks.check(ends, f"{title}: header and trailer")
            body = without_pjl(output)
            missing = first_missing(lines_to_keep(job, filter_options, ppd), body)
            checks.check(missing is None, f"{title}: lost: {missing}")
            # The feature in the job itself, to make sure that pstops used the choice.
            for pair in job_options.split():
                name, _, choice = pair.partition("=")
                if name == "JRHOLDKEY":
                    checks.check(b"*JRHOLDKEY" not in job, f"{title}: a PIN in the PostScript")
                elif name in ppd.options and choice in ppd.options[name].choices:
                    feature = f"%%BeginFeature: *{name} {choice}\n".encode()
                    checks.check(feature in job and feature in body, f"{title}: the feature")
            # Comments and empty features draw nothing, so jobs that differ only in them are rendered
            # once.
            drawn = b"\n".join(l for l in body.split(b"\n") if not l.startswith(b"%"))
            drawn = drawn.replace(b"[{\n} stopped cleartomark\n", b"")
            bodies.setdefault(drawn, (title, ppd, paper))
    with Ghostscript("txtwrite") as ghostscript:
        for drawn, (title, ppd, paper) in bodies.items():
            log, pages = ghostscript.run(drawn)
            size = paper
            if isinstance(paper, str):
                dimension = next(v for k, c, _, v in ppd.entries
                                 if k == "PaperDimension" and c == paper)
                size = tuple(round(float(n)) for n in dimension.split())
            wanted = [f"mark-{n}".encode() for n in range(1, PAGES + 1)]
            checks.check([page.strip() for page in pages] == wanted, f"{title}: pages {pages}")
            sizes = {tuple(round(float(n)) for n in line[6:].strip("[] ").split())
                     for line in log.splitlines() if line.startswith("SIZE ")}
            checks.check(sizes == {size}, f"{title}: paper {sizes} and not {size}")
    print(f"{len(work)} jobs, {len(bodies)} of them rendered")
    checks.check(len(bodies) > 40, "hardly a job was rendered")
    checks.exit(at_least=600)


main()
