#!/usr/bin/env python3
"""What every choice of every option sends to the printer: each sends something else than the
default, and the table in docs/ppd.md tells it.

    sent.py JOBSHAPER-QUEUE DOCUMENT PPD...            compares
    sent.py --write JOBSHAPER-QUEUE DOCUMENT PPD...    writes the table
"""

import concurrent.futures
import functools
import os
import re
import sys
import tempfile

from ppd import UEL, Checks, Ppd, pstops, run

writes = sys.argv[1] == "--write"
program, document, *paths = [os.path.abspath(path) for path in sys.argv[1 + writes:]]
ppds = [Ppd(path) for path in paths]
checks = Checks()
BEGIN = "<!-- sent:begin (tests/ppd/sent.py --write writes the text between these two marks) -->\n"
END = "<!-- sent:end -->\n"
# CUPS prints a job of one page on one side, whatever the job requests.
JOB = (b"%!PS-Adobe-3.0\n%%Pages: 2\n%%EndComments\n%%Page: 1 1\nshowpage\n%%Page: 2 2\nshowpage\n"
       b"%%Trailer\n%%EOF\n")

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


@functools.cache
def from_pstops(path, text):
    return pstops(JOB, text, path)


def arrives(case):
    """The lines that the printer gets, without comments."""
    ppd, option, choice = case
    needed = WITH.get(option, "")
    text = f"{needed}{option}={choice}" + (" JRHOLDKEY=1234" if choice == "JRConf" else "")
    # For an option without code, pstops adds nothing but comments.
    has_code = any(code for _, code in ppd.options[option].choices.values())
    job = from_pstops(ppd.path, text if has_code else needed)
    with tempfile.TemporaryDirectory() as directory:
        done = run([program, "7", "ada", "", "1", text], job,
                   {"PPD": ppd.path, "DEVICE_URI": "socket://printer", "TMPDIR": directory})
    checks.check(done.returncode == 0 and b"WARNING" not in done.stderr,
                 f"{ppd.name}: {text}: {done.stderr}")
    lines = done.stdout.decode("latin-1").replace(UEL.decode(), "").split("\n")
    return [line for line in lines if line and not line.startswith("%")]


def missing_in(lines, others):
    """The lines that are missing from `others`, each as often as it is missing."""
    rest = list(others)
    found = []
    for line in lines:
        if line in rest:
            rest.remove(line)
        else:
            found.append(line)
    return found


def cases(ppd):
    installable = ppd.content.split("*OpenGroup: InstallableOptions")
    installable = installable[1].split("*CloseGroup")[0] if len(installable) > 1 else ""
    for name, option in ppd.options.items():
        # The PIN is not a choice.
        if name not in ("PageRegion", "JRHOLDKEY") and f"*OpenUI *{name}/" not in installable:
            for choice in option.choices:
                yield ppd, name, choice


# Everything is installed, because choices without their equipment are not sent.
def with_equipment(ppd, directory):
    text = ppd.content
    for name in ("OptionFinisher", "OptionMailbox", "OptionEnvFeeder", "OptionTray5"):
        text = text.replace(f"*Default{name}: False", f"*Default{name}: True")
    variants = []
    for slot in ("Tray", "EnvelopeDrawer"):
        for name in ("OptionDrawer2", "OptionDrawer3", "OptionDrawer4"):
            text = re.sub(rf"(\*Default{name}: )\w+", rf"\g<1>{slot}", text)
        path = f"{directory}/{slot}-{ppd.name}"
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        variants.append(Ppd(path))
    return variants


def fits(ppd, choice):
    """Whether a slot contains what the choice names: an envelope drawer or a tray."""
    drawers = os.path.basename(ppd.path).startswith("EnvelopeDrawer")
    if re.fullmatch("EnvDrawr[234]", choice):
        return drawers
    return not drawers or not re.fullmatch("Tray[234]", choice)


def distinct():
    """The options of all PPD files, without those that an earlier file has with the same constraints."""
    seen = set()
    for ppd in ppds:
        for name, option in ppd.options.items():
            ruled_out = [value for key, _, _, value in ppd.entries
                         if key == "UIConstraints" and f"*{name} " in f"{value} "]
            same = repr((name, option, ruled_out))
            if same not in seen:
                seen.add(same)
                yield ppd.name, name


def read_all(directory):
    work = []
    tried = set(distinct())
    for ppd in ppds:
        trays, drawers = with_equipment(ppd, directory)
        work += [case for variant in (trays, drawers) for case in cases(variant)
                 if (ppd.name, case[1]) in tried and fits(variant, case[2])
                 and (variant is trays or case[2].startswith("EnvDrawr"))]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        outputs = list(pool.map(arrives, work))
    table = {}
    for ppd in ppds:
        sent = {}
        for (variant, name, choice), lines in zip(work, outputs):
            if os.path.basename(variant.path).partition("-")[2] == ppd.name:
                sent.setdefault(name, {})[choice] = lines
        for name, choices in sent.items():
            default = ppd.options[name].default
            for choice, lines in choices.items():
                differs = sorted(lines) != sorted(choices[default])
                checks.check(differs or choice == default,
                             f"{ppd.name}: {name}={choice} sends what {default} sends")
                if ppd.manual and name == "QVBookletFold":
                    lines = None  # the order of the pages changes, too
                known = table.setdefault(name, {})
                if lines is not None and choice not in known:
                    others = choices[default] if choice != default else \
                        next(l for c, l in choices.items() if c != default)
                    known[choice] = None if name in ARRANGE else missing_in(lines, others)
    return table


def cell(lines):
    """PJL lines and the PostScript lines that set up the printer, in one table cell."""
    if lines is None:
        return "the order of the pages"
    lines = [line for line in lines if line.startswith("@PJL") or line.endswith("setpagedevice")]
    return "<br>".join(f"`{line}`" for line in dict.fromkeys(lines)).replace("|", "\\|") or "nothing"


def table_text(table):
    rows = ["| Option | Choice | Sends |", "|---|---|---|"]
    for name, choices in table.items():
        for choice, lines in choices.items():
            rows.append(f"| `{name}` | `{choice}` | {cell(lines)} |")
    return "\n".join(rows) + "\n"


def main():
    with tempfile.TemporaryDirectory() as directory:
        text = table_text(read_all(directory))
    with open(document, encoding="utf-8") as file:
        page = file.read()
    before, _, rest = page.partition(BEGIN)
    old, _, after = rest.partition(END)
    if writes:
        with open(document, "w", encoding="utf-8") as file:
            file.write(before + BEGIN + text + END + after)
    else:
        checks.check(old == text, "docs/ppd.md does not tell what is sent: sent.py --write does")
    checks.exit(at_least=500)


main()
