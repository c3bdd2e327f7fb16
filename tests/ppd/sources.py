#!/usr/bin/env python3
"""Every option and every choice that the sources know is in a PPD file, or docs/ppd.md says why
it is not; and the PPD files have no option or choice that nobody knows.

    sources.py VOCABULARY DOCUMENT PPD...
"""

import pathlib
import re
import sys

from ppd import Checks, Ppd, run
from vocabulary import Vocabulary

known = Vocabulary(sys.argv[1])
document = pathlib.Path(sys.argv[2]).read_text(encoding="utf-8")
ppds = [Ppd(path) for path in sys.argv[3:]]
checks = Checks()

# Choices with other names in the sources, because CUPS converts those in the PPD files to IPP names.
RENAMED = {("MediaType", "Bond"): "StationeryBond", ("MediaType", "Colored"): "StationeryColored",
           ("MediaType", "Light"): "StationeryLightweight",
           ("MediaType", "Heavy"): "StationeryHeavyweight",
           **{(name, "PrinterS"): "Auto" for name in ("InputSlot", "MediaType", "OutputBin")}}
# The properties of each printer, and what can be installed in it.
MODELS = {
    "quorvan-color-finisher.ppd": {"color", "duplexer", "finisher"},
    "quorvan-generic-color.ppd": {"generic", "color", "duplexer", "finisher"},
    "quorvan-generic-mono.ppd": {"generic", "duplexer", "finisher"},
    "quorvan-mono-duplex.ppd": {"duplexer"},
    "quorvan-small-mono.ppd": set(),
}
# Choices that are not in any table.
FACES = [f"QV{face}" for face in ("BookletCoverPage", "OutsideFrontCover", "OutsideBackCover",
                                  "InsideFrontCover", "InsideBackCover")]
SCALES = [*(f"{color}Balance" for color in ("Cyan", "Magenta", "Yellow", "Black")),
          "QvnBrightness", "QvnContrast", "QvnSaturation"]
MORE_CHOICES = {"QVBookletFold": {"false"}, "PrintTo": {"JRPrinter"}, "JRHOLDKEY": {"None"},
                "TonerDarkness": set("12345"), **{name: {"true", "false"} for name in FACES},
                **{name: {str(n) for n in range(-5, 6)} for name in SCALES}}
# CUPS does not allow the choice of the printer's own setting here, or there is no such setting.
NO_PRINTERS_CHOICE = {"PageSize", "PrintTo", "JRHOLDKEY", "Resolution", *FACES}
# Options that are not in these sources, because only CUPS, the entry program and the printer use them.
OF_THE_PPD = {"PageRegion", "Duplex", "Collate", "ColorModel", "OptionDuplexer", "OptionFinisher",
              "OptionMailbox", "OptionEnvFeeder", "OptionDrawer2", "OptionDrawer3", "OptionDrawer4",
              "OptionTray5", "QvnBookletPages"}
# Two options for one setting; the first hides the other, so a PPD file has only one of them.
SMALL_TEXT = ("QvnDoubleStomp", "QvnPixelBoost")


def wanted_choices():
    """Option -> the choices that the sources know. "media" names a choice of PageSize."""
    wanted = {}
    for source in known.names("filter", "setting"):
        name = "PageSize" if source == "media" else source
        wanted[name] = set(known.values(source)) | MORE_CHOICES.get(name, set())
        if name not in NO_PRINTERS_CHOICE:
            wanted[name].add("Printers" if name == "QVBookletCoverType" else "PrinterS")
    # A separate option for some values of another.
    wanted["QvnImageQuality"] = {"PrinterS", "1200IQ", "2400IQ"}
    checks.same("image enhancement", wanted["QvnImageQuality"] - wanted["Resolution"], {"PrinterS"})
    return wanted


def left_out():
    """The options and the choices in the table of docs/ppd.md."""
    section = document.split("## What is left out")[1]
    rows = re.findall(r"(?m)^\| `([^`]+)` \| (?:`([^`]+)` )?\| .+ \|$", section)
    checks.check(len(rows) > 15, "docs/ppd.md: the table of what is left out")
    return {option for option, choice in rows if not choice}, {row for row in rows if row[1]}


def all_ppds_together():
    in_ppds = {}
    for ppd in ppds:
        for name, option in ppd.options.items():
            in_ppds.setdefault(name, set()).update(option.choices)
    wanted = wanted_choices()
    options, choices = left_out()
    for (name, choice), other in RENAMED.items():
        renamed = other in in_ppds[name] and (name, choice) in choices
        checks.check(renamed, f"{name} {choice} is called {other}")
        in_ppds[name].remove(other)
    for name in SMALL_TEXT:
        checks.check(len(in_ppds[name]) > 3, f"{name} has hardly a choice")
    in_ppds |= dict.fromkeys(SMALL_TEXT, set.union(*(in_ppds[name] for name in SMALL_TEXT)))
    checks.same("options that are left out", options, set(wanted) - set(in_ppds))
    checks.same("options that nobody reads", set(in_ppds) - set(wanted), OF_THE_PPD)
    for name in set(wanted) & set(in_ppds):
        checks.check(len(wanted[name]) > (name != "JRHOLDKEY"), f"{name}: what are its choices?")
        checks.same(f"{name}: choices that are left out", wanted[name] - in_ppds[name],
                    {choice for option, choice in choices if option == name})
        checks.same(f"{name}: choices that nobody reads", in_ppds[name] - wanted[name], set())


def has(ppd, name, *choices):
    return name in ppd.options and set(choices) <= set(ppd.options[name].choices)


def each_ppd(ppd, traits):
    duplexer, generic, color, finisher = (
        trait in traits for trait in ("duplexer", "generic", "color", "finisher"))

    def same(what, found, wanted):
        checks.same(f"{ppd.name}: {what}", found, wanted)

    same("keywords", [ppd.value(keyword) for keyword in (
        "QVGeneric", "ColorDevice", "ParamCustomJRHOLDKEY", "cupsJobPassword", "cupsJobAccountId",
        "cupsJobAccountingUserId", "cupsFilter")],
        [("Color" if color else "Mono") if generic else None, str(color), "1 passcode 4 8", "1111",
         "True", "True", "application/vnd.cups-postscript 0 jobshaper-queue"])
    same("manual booklets", ppd.manual, not duplexer)
    same("small text", sum(has(ppd, name) for name in SMALL_TEXT) < 2, True)
    # Print dialogs know these names of color models.
    for condition, option in ((color, ("MediaColor",)), (not color, ("GrayCorrection",)),
                              (color, ("ColorModel", "CMYK", "Gray")), (duplexer, ("Duplex",)),
                              (finisher, ("InputSlot", "EnvDrawr2")),
                              (finisher, ("QVBookletFold", "SaddleStitch", "BiFold")),
                              (True, ("QVBookletFold", "Booklet", "false"))):
        same(option, has(ppd, *option), condition)
    defaults = {"QVBookletFold": "false", "PrintTo": "JRPrinter", "Resolution": "600dpi",
                "JRHOLDKEY": "None", "Collate": "True", "ColorModel": "CMYK"}
    for name, option in ppd.options.items():
        own = {"QVBookletCoverType": "Printers"}.get(name, RENAMED.get((name, "PrinterS"), "PrinterS"))
        if name in defaults or own in option.choices:
            same(f"default of {name}", option.default, defaults.get(name, own))
    for line in (r'\*JobPatchFile 1: "[^"\n]+"\n', r"\*CustomPageSize True:", r"\*CustomJRHOLDKEY True"):
        checks.check(re.search("(?m)^" + line, ppd.content), f"{ppd.name}: no line {line}")

    constraints = {"*QVBookletFold *MediaType Transparency", "*QVBookletFold *PageSize DL"}
    if finisher:
        constraints |= {"*OptionFinisher False *QVBookletFold SaddleStitch",
                        "*OptionFinisher False *QVBookletFold BiFold",
                        "*OptionFinisher False *OutputBin FinisherBin1",
                        "*OptionDrawer3 Tray *InputSlot EnvDrawr3",
                        "*OptionDrawer3 EnvelopeDrawer *SepSource Tray3",
                        "*OptionDrawer3 EnvelopeDrawer *QVBookletCoverSource Tray3"}
    if generic:
        constraints |= {"*OptionDuplexer False *Duplex", "*OptionDuplexer False *QVBookletFold"}
    if duplexer:
        constraints |= {"*Duplex *MediaType Labels", "*Duplex *PageSize Comm10"}
    same("missing constraints", constraints - set(ppd.all("UIConstraints")), set())

    finishings = {option: value for key, option, _, value in ppd.entries if key == "cupsIPPFinishings"}
    # Not 3, none: CUPS puts it into every job, and it would undo the job's own choice of a fold. Nor 4,
    # a staple in a corner. Only booklet-maker, 13, arranges the pages.
    arranged = {number: "*QvnBookletPages Arranged" in value for number, value in finishings.items()}
    same("finishings", arranged, {"8": True, "10": True, "13": False} if finisher else {"13": False})
    for option, choice in re.findall(r"\*(\w+) (\w+)", " ".join(finishings.values())):
        same(f"finishing {option} {choice}", has(ppd, option, choice), True)


def conformance(ppd):
    """CUPS's own test, which may only warn of the names of paper sizes that the printers prescribe."""
    # Whether the filter is installed does not depend on the file.
    report = run(["cupstestppd", "-I", "filters", "-v", ppd.path], b"", {"LC_ALL": "C"}).stdout.decode()
    checks.check("NO ERRORS FOUND" in report, f"{ppd.name}: {report}")
    allowed = r'Size "(Comm10|Monarch|DL|C4|C5|OthEnv|Universal)" should be the Adobe standard name'
    for line in re.findall(r".*(?:WARN|FAIL).*", report):
        checks.check(re.search(allowed, line), f"{ppd.name}: {line}")


all_ppds_together()
checks.same("printers", {ppd.name for ppd in ppds}, set(MODELS))
for each in ppds:
    each_ppd(each, MODELS[each.name])
    conformance(each)
checks.exit(at_least=300)
