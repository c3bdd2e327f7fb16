#!/usr/bin/env python3
"""One job for each choice of each option, through pstops and the entry program of a queue: each choice
sends something else than the default, the table in docs/ppd.md tells it, no line is lost on the way,
and Ghostscript finds all pages, their texts and the size of the paper.

    jobs.py JOBSHAPER-QUEUE DOCUMENT PPD...            compares the table
    jobs.py --write JOBSHAPER-QUEUE DOCUMENT PPD...    writes it
"""

import concurrent.futures
import functools
import os
import pathlib
import re
import sys
from collections import Counter

from ppd import UEL, Checks, Ppd, printed, pstops, without_pjl
from ghostscript import Ghostscript

writes = sys.argv[1] == "--write"
queue, document, *paths = sys.argv[1 + writes:]
document = pathlib.Path(document)
ppds = [Ppd(path) for path in paths]
checks = Checks()
BEGIN = "<!-- sent:begin (tests/ppd/jobs.py --write writes the text between these two marks) -->\n"
END = "<!-- sent:end -->\n"
JOB = b"%!PS-Adobe-3.0\n%%Pages: 2\n%%EndComments\n%%BeginProlog\n%%EndProlog\n" + \
    b"%%BeginSetup\n%%EndSetup\n" + b"".join(
        b"%%%%Page: %d %d\n/Helvetica findfont 14 scalefont setfont\n"
        b"40 100 moveto (mark-%d) show\n"
        b"(SIZE ) print currentpagedevice /PageSize get ==\nshowpage\n" % (n, n, n)
        for n in (1, 2)) + b"%%Trailer\n%%EOF\n"
TRAILER = UEL + UEL + b'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n' + UEL

# Options without which a choice has no effect.
COVER = "QVBookletFold=Booklet QvnBookletPages=Arranged "
FACES = "QVBookletFold=Booklet QVBookletCoverPage=true QVInsideFrontCover=true "
WITH = {"QVBookletFold": "QvnBookletPages=Arranged ", "QvnBookletPages": "QVBookletFold=Booklet ",
        "QVBookletCoverSource": COVER, "QVBookletCoverType": COVER,
        "QVBookletCoverPage": "QVBookletFold=Booklet QVInsideFrontCover=true ",
        "QVInsideFrontCover": "QVBookletFold=Booklet QVBookletCoverPage=true QVOutsideFrontCover=true ",
        "QVOutsideFrontCover": FACES, "QVInsideBackCover": FACES, "QVOutsideBackCover": FACES}
# The effect of these is not in single lines: they change the order of the pages.
ARRANGE = {"QvnBookletPages", "QVBookletCoverPage", "QVInsideFrontCover", "QVOutsideFrontCover",
           "QVInsideBackCover", "QVOutsideBackCover"}


def equipment(choice):
    """Choices without their equipment are not sent."""
    slot = "EnvelopeDrawer" if choice.startswith("EnvDrawr") else "Tray"
    return "OptionFinisher=True OptionMailbox=True OptionEnvFeeder=True OptionTray5=True " + " ".join(
        f"OptionDrawer{n}={slot}" for n in (2, 3, 4))


def cases():
    """PPD file, option and choice, without those that an earlier file has with the same code and
    equipment; and the defaults of the others."""
    seen = set()
    for ppd in ppds:
        for name, option in ppd.options.items():
            # The PIN is not a choice.
            if name in {"PageRegion", "JRHOLDKEY"} | ppd.installable:
                continue
            kinds = {}
            for choice, (_, code) in option.choices.items():
                rules = [rule for rule in ppd.all("UIConstraints")
                         if "*Option" in rule and rule.endswith((f"*{name} {choice}", f"*{name}"))]
                kinds[choice] = repr((name, choice, code, rules, ppd.manual and name in WITH))
            new = [choice for choice, kind in kinds.items() if kind not in seen]
            seen.update(kinds.values())
            if new:
                shown = [c for c in option.choices if c in new or c == option.default]
                yield from ((ppd, name, choice) for choice in shown)


from_pstops = functools.cache(lambda ppd, options: pstops(JOB, options, ppd))


def arrives(ppd, options, job, keeps_lines=True):
    """What the printer gets, of which nothing may be missing but the lines that the filter removes."""
    title = f"{ppd.name}: {options}"
    done = printed(checks, [queue], job, ppd, options)
    checks.check(done.returncode == 0 and b"WARNING" not in done.stderr, f"{title}: {done.stderr}")
    checks.check(done.stdout.startswith(UEL + b"@PJL JOB\n") and done.stdout.endswith(TRAILER),
                 f"{title}: header and trailer")
    if keeps_lines:
        lines = without_pjl(job).split(b"\n")
        patch = next(i for i, line in enumerate(lines) if b"JobPatchFile" in line)
        rest = iter(without_pjl(done.stdout).split(b"\n"))
        missing = [line for line in lines[:patch] + lines[patch + 3:] if line not in rest]
        checks.same(f"{title}: missing lines", missing[:1], [])
    return done.stdout


def arrives_with(case):
    ppd, name, choice = case
    needed = WITH.get(name, "")
    options = f"{needed}{name}={choice}" + (" JRHOLDKEY=1234" if choice == "JRConf" else "")
    # For an option without code, pstops adds nothing but comments.
    has_code = any(code for _, code in ppd.options[name].choices.values())
    job = from_pstops(ppd, options if has_code or name == "PrintTo" else needed)
    # The entry program itself changes booklets.
    output = arrives(ppd, f"{equipment(choice)} {options}", job, not needed)
    checks.check(b"*JRHOLDKEY" not in job, f"{options}: a PIN in the PostScript")
    feature = f"%%BeginFeature: *{name} {choice}\n".encode()
    checks.check(not has_code or feature in job and feature in output, f"{options}: the feature")
    return output


def table_of(work, outputs):
    """Option -> choice -> the lines that it sends, without comments."""
    sent = {}
    for (ppd, name, choice), output in zip(work, outputs):
        lines = [line for line in output.decode("latin-1").replace(UEL.decode(), "").split("\n")
                 if line and not line.startswith("%")]
        sent.setdefault((ppd, name), {})[choice] = Counter(lines)
    table = {}
    for (ppd, name), choices in sent.items():
        default = ppd.options[name].default
        for choice, lines in choices.items():
            other = default if choice != default else next(c for c in choices if c != default)
            same = f"{ppd.name}: {name}={choice} sends what {other} sends"
            checks.check(lines != choices[other], same)
            if not (ppd.manual and name == "QVBookletFold"):  # the order of the pages changes, too
                table.setdefault(name, {}).setdefault(choice, list(lines - choices[other]))
    return table


def cell(name, lines):
    """PJL lines and the PostScript lines that set up the printer, in one table cell."""
    if name in ARRANGE:
        return "the order of the pages"
    shown = [f"`{line}`" for line in lines if line.startswith("@PJL") or line.endswith("setpagedevice")]
    return "<br>".join(shown).replace("|", "\\|") or "nothing"


def compare(table):
    rows = "".join(f"| `{name}` | `{choice}` | {cell(name, lines)} |\n"
                   for name, choices in table.items() for choice, lines in choices.items())
    before, _, rest = document.read_text(encoding="utf-8").partition(BEGIN)
    old, _, after = rest.partition(END)
    new = "| Option | Choice | Sends |\n|---|---|---|\n" + rows
    if writes:
        document.write_text(before + BEGIN + new + END + after, encoding="utf-8")
    else:
        checks.check(old == new, "docs/ppd.md does not tell what is sent: jobs.py --write does")


def main():
    work = list(cases())
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        outputs = list(pool.map(arrives_with, work))
    compare(table_of(work, outputs))
    shown = [(f"{ppd.name}: {name}={choice}", ppd.size(choice if name == "PageSize" else "A4"), output)
             for (ppd, name, choice), output in zip(work, outputs) if name not in WITH]
    custom = "PageSize=Custom.300x400"
    shown.append((custom, (300, 400), arrives(ppds[0], custom, from_pstops(ppds[0], custom))))
    # Comments and empty features draw nothing, so jobs that differ only in them are rendered once.
    bodies = {}
    for title, size, output in shown:
        lines = without_pjl(output).split(b"\n")
        drawn = b"\n".join(line for line in lines if not line.startswith(b"%"))
        bodies.setdefault(drawn.replace(b"[{\n} stopped cleartomark\n", b""), (title, size))
    with Ghostscript("txtwrite") as ghostscript:
        for drawn, (title, size) in bodies.items():
            log, pages = ghostscript.run(drawn)
            checks.same(title, [page.strip() for page in pages], [b"mark-1", b"mark-2"])
            sizes = re.findall(r"SIZE \[(\S+) (\S+)\]", log)
            found = {(round(float(width)), round(float(height))) for width, height in sizes}
            checks.same(f"{title}: paper", found, {size})
    print(f"{len(outputs)} jobs, {len(bodies)} of them rendered")
    checks.check(len(bodies) > 40, "hardly a job was rendered")
    checks.exit(at_least=1500)


main()
