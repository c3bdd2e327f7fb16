#!/usr/bin/env python3
"""The PostScript of every choice runs without an error, and requests from the printer what the sources
name. In a real job, an error would go unnoticed.

    code.py VOCABULARY PPD...
"""

import re
import subprocess
import sys

from ppd import Checks, Ppd
from vocabulary import Vocabulary

known = Vocabulary(sys.argv[1])
ppds = [Ppd(path) for path in sys.argv[2:]]
checks = Checks()

# A page device that prints each request, and a printer that reports whether it has a duplexer. Keys come
# in any order, so each is printed on a separate line.
PRELUDE = b"""%!
/setpagedevice {{exch (SET /) print 128 string cvs print ( ) print ==} forall} def
statusdict /duplexer {(DUPLEXER) = true} put
/choice {(CHOICE ) print =} def
/outcome {{(ERROR ) print $error /errorname get =} if (COUNT ) print counttomark = cleartomark} def
"""


def device_entries(command):
    return {f"/{key} {value}" for key, value in re.findall(r"/(\w+) (\d+)", command)}


positions = {name: f"/MediaPosition {code}" for name, code in known.values("QVBookletCoverSource").items()
             if name != "ManualPaper"}
media = {name: f"/MediaType ({text})" for name, text in known.values("QVBookletCoverType").items()}
folds = {name: device_entries(command) for name, command in known.values("QVBookletFold").items()}
# Choices that CUPS converts to IPP names.
media |= {"StationeryBond": media["Bond"], "StationeryColored": media["Colored"],
          "StationeryLightweight": media["Light"], "StationeryHeavyweight": media["Heavy"]}
checks.check(len(positions) == 9 and len(media) == 24 and len(folds) == 4, "tables of the sources")
# Media types that are not offered for covers.
media |= {"Transparency": "/MediaType (Transparency)", "Envelope": "/MediaType (Envelope)",
          "RoughEnvelope": "/MediaType (Rough Envelope)"}
sheets = {"None": 0, "Jobs": 2, "Copies": 3, "Pages": 4}


def expected(ppd, option, choice):
    if option in ("PageSize", "PageRegion"):
        size = next(v for k, c, _, v in ppd.entries if k == "PaperDimension" and c == choice)
        size = " ".join(str(round(float(points))) for points in size.split())
        return {f"/PageSize [{size}]", "/ImagingBBox null"}
    if option == "InputSlot":
        if choice in positions:
            return {"/ManualFeed false", positions[choice]}
        return {"ManualPaper": {"/ManualFeed true"},
                "ManualEnv": {"/ManualFeed true", "/MediaType (Envelope)"},
                "EnvFeeder": {"/ManualFeed false", "/MediaType (Envelope)"},
                "Auto": set()}[choice]
    if option == "MediaType":
        return {media[choice]} if choice != "Auto" else set()
    if option == "Duplex":
        return {"None": {"/Duplex false"}, "DuplexTumble": {"/Duplex true", "/Tumble true"},
                "DuplexNoTumble": {"/Duplex true", "/Tumble false"}}[choice]
    if option == "Collate":
        return {f"/Collate {choice.lower()}"}
    if option == "Resolution":
        dots = choice.removesuffix("dpi")
        return {f"/HWResolution [{dots} {dots}]"}
    if option == "QVBookletFold":
        folds_something = "Duplex" in ppd.options and choice != "DoNotFoldAndStaple"
        both_sides = {"/Duplex true", "/Tumble true"} if folds_something else set()
        return folds[choice] | both_sides if choice in folds else set()
    if option == "SepPages":
        return {f"/SlipSheet {sheets[choice]}"} if choice in sheets else set()
    if option == "Offset":
        return {f"/Jog {sheets[choice]}"} if choice in sheets else set()
    return set()


def run(program):
    result = subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-dNODISPLAY", "-"],
                            input=program, capture_output=True, timeout=60, check=False)
    return (result.stdout + result.stderr).decode(errors="replace")


CUSTOM = ["198", "360", "0", "0", "0"]  # before the code: width, height, offsets, orientation
for ppd in ppds:
    program = PRELUDE
    choices = [(name, choice, code) for name, option in ppd.options.items()
               for choice, (_, code) in option.choices.items()]
    for name, choice, code in choices:
        program += f"({name} {choice}) choice mark {{\n{code}\n}} stopped outcome\n".encode()
    custom = ppd.value("CustomPageSize")
    program += f"(custom) choice mark {{\n{' '.join(CUSTOM)}\n{custom}\n}} stopped outcome\n".encode()
    log = run(program + b"(END) =\n")
    checks.check("\nEND" in log, f"{ppd.name}: {log[-300:]}")
    found = {}
    for part in log.split("CHOICE ")[1:]:
        title, *lines = part.splitlines()
        found[title] = lines

    for name, choice, code in choices:
        title = f"{ppd.name}: {name} {choice}"
        lines = found.get(f"{name} {choice}", ["ERROR not run"])
        checks.check(not any("ERROR" in line for line in lines), f"{title}: {lines}")
        asked = {line[4:] for line in lines if line.startswith("SET ")}
        wanted = expected(ppd, name, choice)
        checks.check(asked == wanted, f"{title} asks for {sorted(asked)} and not {sorted(wanted)}")
        # The triggers of the filter's rules may occur only in the code for which they are intended.
        for text in ("PageSize ", "PageRegion", "CustomPageSize", "InputSlot", "JobPatchFile",
                     "QVBookletFold", "cleartomark", "EndFeature", "sfcl{", "*PageSize"):
            checks.check(text not in code, f"{title}: the filter takes {text} for its own")
        for line in code.split("\n"):
            checks.check(len(line) < 255 and not re.match("%%|@PJL|\x1b", line), f"{title}: {line}")
        duplexer = [line for line in code.split("\n") if "statusdict /duplexer get exec" in line]
        checks.check(len(duplexer) == (name == "QVBookletFold"), f"{title}: the duplexer line")
        checks.check(("DUPLEXER" in lines) == (name == "QVBookletFold"), f"{title}: the duplexer")
        # The page setup comes where a manual booklet splits its first page.
        section = ppd.content.split(f"*OpenUI *{name}/")[1].split("\n")[1]
        # The code of a PIN must not be in the job at all.
        wanted = "ExitServer" if name == "JRHOLDKEY" else "AnySetup"
        checks.check(re.fullmatch(rf"\*OrderDependency: \d+ {wanted} \*{name}", section), section)
    lines = found.get("custom", [])
    checks.check("SET /PageSize [198 360]" in lines and not any("ERROR" in l for l in lines),
                 f"{ppd.name}: custom size: {lines}")

checks.exit(at_least=10000)
