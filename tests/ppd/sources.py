#!/usr/bin/env python3
"""Every option and every choice that the sources know is in a PPD file, or docs/ppd.md says why
it is not; and the PPD files have no option or choice that nobody knows.

    sources.py VOCABULARY DOCUMENT PPD...
"""

import re
import sys

from ppd import Checks, Ppd
from vocabulary import Vocabulary

known = Vocabulary(sys.argv[1])
with open(sys.argv[2], encoding="utf-8") as file:
    document = file.read()
ppds = [Ppd(path) for path in sys.argv[3:]]
checks = Checks()

# Two options for one setting; a PPD file has only one of them.
SMALL_TEXT = ["QvnDoubleStomp", "QvnPixelBoost"]

# Choices with other names in the sources, because CUPS converts those in the PPD files to IPP names.
RENAMED = {("MediaType", "Bond"): "StationeryBond", ("MediaType", "Colored"): "StationeryColored",
           ("MediaType", "Light"): "StationeryLightweight",
           ("MediaType", "Heavy"): "StationeryHeavyweight",
           ("InputSlot", "PrinterS"): "Auto", ("MediaType", "PrinterS"): "Auto",
           ("OutputBin", "PrinterS"): "Auto"}
# The properties of each printer, and what can be installed in it.
MODELS = {
    "quorvan-color-finisher.ppd": {"color", "duplexer", "finisher"},
    "quorvan-generic-color.ppd": {"generic", "color", "duplexer", "finisher"},
    "quorvan-generic-mono.ppd": {"generic", "duplexer", "finisher"},
    "quorvan-mono-duplex.ppd": {"duplexer"},
    "quorvan-small-mono.ppd": set(),
}

SCALE = {str(n) for n in range(-5, 6)}
SWITCH = {"true", "false"}
# Choices that are not in any table.
MORE_CHOICES = {
    "QVBookletFold": {"false"},
    "PrintTo": {"JRPrinter"},
    "JRHOLDKEY": {"None"},
    "QVBookletCoverPage": SWITCH,
    "QVOutsideFrontCover": SWITCH,
    "QVOutsideBackCover": SWITCH,
    "QVInsideFrontCover": SWITCH,
    "QVInsideBackCover": SWITCH,
    "TonerDarkness": {"1", "2", "3", "4", "5"},
    "CyanBalance": SCALE,
    "MagentaBalance": SCALE,
    "YellowBalance": SCALE,
    "BlackBalance": SCALE,
    "QvnBrightness": SCALE,
    "QvnContrast": SCALE,
    "QvnSaturation": SCALE,
}
# Options without the choice of the printer's own setting: CUPS does not allow it, or there is no such
# setting.
NO_PRINTERS_CHOICE = {"PageSize", "PrintTo", "JRHOLDKEY", "Resolution", "QVBookletCoverPage",
                      "QVOutsideFrontCover", "QVOutsideBackCover", "QVInsideFrontCover",
                      "QVInsideBackCover"}
# Options that are not in these sources, because only CUPS, the entry program and the printer use them.
OF_THE_PPD = {"PageRegion", "Duplex", "Collate", "ColorModel", "OptionDuplexer", "OptionFinisher",
              "OptionMailbox", "OptionEnvFeeder", "OptionDrawer2", "OptionDrawer3",
              "OptionDrawer4", "OptionTray5", "QvnBookletPages"}


# ---- What is in the sources. "media" names a choice of PageSize.
option_names = {"PageSize" if name == "media" else name for name in known.names("filter", "setting")}
known_choices = {name: set(known.values("media" if name == "PageSize" else name)) for name in option_names}
checks.check(len(option_names) > 45, f"only {len(option_names)} options are known")

# ---- What is left out, and why.
left_out = re.findall(r"^\| `([^`]+)` \| (?:`([^`]+)` )?\| (.+) \|$",
                      document.split("## What is left out")[1], re.MULTILINE)
left_out_options = {option for option, choice, _ in left_out if not choice}
left_out_choices = {(option, choice) for option, choice, _ in left_out if choice}
checks.check(len(left_out) > 15, "docs/ppd.md: the table of what is left out")

# ---- The PPD files together have the rest.
in_ppds = {}
for ppd in ppds:
    for name, option in ppd.options.items():
        in_ppds.setdefault(name, set()).update(option.choices)
for (name, choice), other in RENAMED.items():
    checks.check((other in in_ppds[name]) and ((name, choice) in left_out_choices)
                 and choice not in in_ppds[name], f"{name} {choice} is called {other}")
    in_ppds[name].discard(other)

wanted = {}
for name in option_names - left_out_options:
    wanted[name] = known_choices[name] | MORE_CHOICES.get(name, set())
    if name not in NO_PRINTERS_CHOICE:
        wanted[name].add("Printers" if name == "QVBookletCoverType" else "PrinterS")
# A separate option for some values of another.
wanted["QvnImageQuality"] = in_ppds.get("QvnImageQuality", set())
checks.check({"PrinterS", "1200IQ", "2400IQ"} == wanted["QvnImageQuality"]
             <= known_choices["Resolution"] | {"PrinterS"},
             "choices of the image enhancement")
small_text = known_choices[SMALL_TEXT[0]] | {"PrinterS"}
for name in SMALL_TEXT:
    wanted[name] = in_ppds.get(name, set()) & small_text
    checks.check(len(wanted[name]) > 3, f"{name} has hardly a choice")
checks.check(wanted["QvnDoubleStomp"] | wanted["QvnPixelBoost"] == small_text,
             "choices of small text")

for name, choices in sorted(wanted.items()):
    checks.check(len(choices) > (name != "JRHOLDKEY"), f"{name}: what are its choices?")
    for choice in choices:
        checks.check((choice in in_ppds.get(name, ())) != ((name, choice) in left_out_choices),
                     f"{name} {choice}: either in a PPD file or left out, one of both")
for name in left_out_options:
    checks.check(name in option_names, f"docs/ppd.md: nobody knows {name}")
    checks.check(name not in in_ppds, f"docs/ppd.md: {name} is not left out")
for name, choice in left_out_choices:
    checks.check(choice in wanted.get(name, ()), f"docs/ppd.md: nobody knows {name} {choice}")

# ---- There is nothing else.
for name, choices in in_ppds.items():
    if name in OF_THE_PPD:
        continue
    for choice in choices:
        checks.check(choice in wanted.get(name, ()), f"{name} {choice} is in a PPD file, but nobody reads it")

# ---- Each file separately.
checks.check({ppd.name for ppd in ppds} == set(MODELS), "PPD files of other printers than in MODELS")
for ppd in ppds:
    traits = MODELS[ppd.name]
    small = "duplexer" not in traits
    generic = "generic" in traits
    color = "color" in traits
    finisher = "finisher" in traits
    has = lambda name, *choices: set(choices) <= set(
        ppd.options[name].choices if name in ppd.options else ()) and name in ppd.options
    say = lambda condition, what: checks.check(condition, f"{ppd.name}: {what}")
    say(not (has("QvnDoubleStomp") and has("QvnPixelBoost")),
        "the first of QvnDoubleStomp and QvnPixelBoost hides the other")
    say((ppd.value("QvnManualBooklet") == "True") == small, "*QvnManualBooklet")
    say(ppd.value("QVGeneric") == (("Color" if color else "Mono") if generic else None), "*QVGeneric")
    say(ppd.value("ColorDevice") == ("True" if color else "False"), "*ColorDevice")
    say(has("MediaColor") == color and has("GrayCorrection") != color, "color options")
    say(has("ColorModel", "CMYK", "Gray") == color, "print dialogs know these names")
    say(not color or ppd.options["ColorModel"].default == "CMYK", "color by default")
    say(has("Duplex") != small, "Duplex where there is a duplexer")
    say(has("QVBookletFold", "SaddleStitch", "BiFold") == finisher, "folds where there is a finisher")
    say(has("QVBookletFold", "Booklet", "false"), "booklets everywhere")
    say(has("InputSlot", "EnvDrawr2") == finisher, "envelope drawers")
    say(ppd.options["QVBookletFold"].default == "false", "no booklet by default")
    say(ppd.options["PrintTo"].default == "JRPrinter", "jobs are not retained by default")
    say(ppd.options["Resolution"].default == "600dpi", "default resolution")
    for name, option in ppd.options.items():
        printers = {"PrinterS", "Printers"} & set(option.choices) or (
            {"Auto"} if (name, "PrinterS") in RENAMED else set())
        say(not printers or option.default in printers or name == "QVBookletFold",
            f"{name}: the default is the printer's own setting")
    say(ppd.options["JRHOLDKEY"].default == "None", "no PIN by default")
    say(("CustomJRHOLDKEY", "True") in {(key, option) for key, option, _, _ in ppd.entries}
        and ppd.value("ParamCustomJRHOLDKEY") == "1 passcode 4 8", "a PIN of 4 to 8 digits")
    say([ppd.value(f"cupsJob{name}") for name in ("Password", "AccountId", "AccountingUserId")]
        == ["1111", "True", "True"], "a PIN and accounts of IPP clients")
    say(ppd.options["Collate"].default == "True", "copies are collated by default")
    say(ppd.value("cupsFilter") == "application/vnd.cups-postscript 0 jobshaper-queue", "*cupsFilter")
    say(re.search(r'^\*JobPatchFile 1: "[^"\n]+"$', ppd.content, re.MULTILINE),
        "*JobPatchFile is one line")
    say("\n*CustomPageSize True:" in ppd.content, "custom page sizes")
    constraints = {value for key, _, _, value in ppd.entries if key == "UIConstraints"}
    expected = {"*QVBookletFold *MediaType Transparency", "*QVBookletFold *PageSize DL"}
    if finisher:
        expected |= {"*OptionFinisher False *QVBookletFold SaddleStitch",
                     "*OptionFinisher False *QVBookletFold BiFold",
                     "*OptionFinisher False *OutputBin FinisherBin1",
                     "*OptionDrawer3 Tray *InputSlot EnvDrawr3",
                     "*OptionDrawer3 EnvelopeDrawer *SepSource Tray3",
                     "*OptionDrawer3 EnvelopeDrawer *QVBookletCoverSource Tray3"}
    if generic:
        expected |= {"*OptionDuplexer False *Duplex", "*OptionDuplexer False *QVBookletFold"}
    if not small:
        expected |= {"*Duplex *MediaType Labels", "*Duplex *PageSize Comm10"}
    for constraint in expected:
        say(constraint in constraints, f"no constraint {constraint}")
    finishings = {option: value for key, option, _, value in ppd.entries
                  if key == "cupsIPPFinishings"}
    say("13" in finishings, "finishing booklet-maker")
    # CUPS puts it into every job, and it would undo the job's own choice of a fold.
    say("3" not in finishings, "no finishing none")
    say(({"8", "10"} <= set(finishings)) == finisher, "finishings saddle-stitch and fold")
    say("4" not in finishings, "no finishing staple, which is one in a corner")
    for value in finishings.values():
        for option, choice in re.findall(r"\*(\w+) (\w+)", value):
            say(has(option, choice), f"finishings: {value}")
    arranged = {number for number, value in finishings.items() if "*QvnBookletPages Arranged" in value}
    say(arranged == set(finishings) - {"13"}, "only booklet-maker arranges the pages")

checks.exit(at_least=600)
