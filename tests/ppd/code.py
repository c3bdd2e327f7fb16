#!/usr/bin/env python3
"""The PostScript of every choice runs without an error, and requests from the printer what the sources
name. In a real job, an error would go unnoticed.

    code.py VOCABULARY PPD...
"""

import re
import sys

from ppd import Checks, Ppd, run
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
BOTH_SIDES = ["Duplex true", "Tumble true"]
SHEETS = {"Jobs": 2, "Copies": 3, "Pages": 4, "None": 0}
MEDIA = known.values("QVBookletCoverType")
# Choices that CUPS converts to IPP names, and media types that are not offered for covers.
MEDIA |= {"StationeryBond": MEDIA["Bond"], "StationeryColored": MEDIA["Colored"],
          "StationeryLightweight": MEDIA["Light"], "StationeryHeavyweight": MEDIA["Heavy"],
          "Transparency": "Transparency", "Envelope": "Envelope", "RoughEnvelope": "Rough Envelope"}
REQUESTS = {
    "InputSlot": {"ManualPaper": ["ManualFeed true"],
                  "ManualEnv": ["ManualFeed true", "MediaType (Envelope)"],
                  "EnvFeeder": ["ManualFeed false", "MediaType (Envelope)"],
                  **{name: ["ManualFeed false", f"MediaPosition {code}"] for name, code
                     in known.values("QVBookletCoverSource").items() if name != "ManualPaper"}},
    "MediaType": {name: [f"MediaType ({text})"] for name, text in MEDIA.items()},
    "Duplex": {"None": ["Duplex false"], "DuplexTumble": BOTH_SIDES,
               "DuplexNoTumble": ["Duplex true", "Tumble false"]},
    "Collate": {"True": ["Collate true"], "False": ["Collate false"]},
    "QVBookletFold": {name: re.findall(r"(?<=/)\w+ \d+", command) for name, command
                      in known.values("QVBookletFold").items()},
    "SepPages": {name: [f"SlipSheet {code}"] for name, code in SHEETS.items()},
    "Offset": {name: [f"Jog {code}"] for name, code in SHEETS.items()},
}
sizes = [len(REQUESTS[name]) for name in ("InputSlot", "MediaType", "QVBookletFold")]
checks.same("tables of the sources", sizes, [12, 27, 4])


def requests(ppd, option, choice):
    if option in ("PageSize", "PageRegion"):
        return ["PageSize [%d %d]" % ppd.size(choice), "ImagingBBox null"]
    if option == "Resolution":
        dots = choice.removesuffix("dpi")
        return [f"HWResolution [{dots} {dots}]"]
    found = REQUESTS.get(option, {}).get(choice, [])
    folds = option == "QVBookletFold" and choice in REQUESTS[option] and choice != "DoNotFoldAndStaple"
    return found + BOTH_SIDES if folds and "Duplex" in ppd.options else found


# The triggers of the filter's rules may occur only in the code for which they are intended.
TRIGGERS = (r"PageSize |PageRegion|CustomPageSize|InputSlot|JobPatchFile|QVBookletFold|cleartomark|"
            r"EndFeature|sfcl\{|\*PageSize|(?m:^(?:%%|@PJL|\x1b)|^.{255})")


work = {}  # title, code and requests, each combination once
for ppd in ppds:
    for name, option in ppd.options.items():
        fold = name == "QVBookletFold"
        # The page setup comes where a manual booklet splits its first page. The code of a PIN must not
        # be in the job at all.
        section = "ExitServer" if name == "JRHOLDKEY" else "AnySetup"
        order = rf"\*OpenUI \*{name}/.*\n\*OrderDependency: \d+ {section} \*{name}\n"
        checks.check(re.search(order, ppd.content), f"{ppd.name}: {name}: the section")
        for choice, (_, code) in option.choices.items():
            title = f"{name} {choice}"
            checks.same(f"{ppd.name}: {title}", re.findall(TRIGGERS, code), [])
            checks.same(f"{ppd.name}: {title}", code.count("statusdict /duplexer get exec"), int(fold))
            wanted = requests(ppd, name, choice) + ["DUPLEXER"] * fold
            work[title, code, tuple(sorted(wanted))] = True
    # Before the code of a custom size: width, height, offsets, orientation.
    custom = "198 360 0 0 0\n" + ppd.value("CustomPageSize")
    work["custom", custom, ("ImagingBBox null", "PageSize [198 360]")] = True
program = PRELUDE + "".join(f"({title}) choice mark {{\n{code}\n}} stopped outcome\n"
                            for title, code, _ in work).encode()
result = run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-dNODISPLAY", "-"], program, {})
outcomes = (result.stdout + result.stderr).decode(errors="replace").split("CHOICE ")[1:]
checks.same("choices that have run", len(outcomes), len(work))
for (title, _, wanted), outcome in zip(work, outcomes):
    first, *found = re.findall(r"^(?:SET /)?(?!COUNT)(.+)$", outcome, re.MULTILINE)
    checks.same(title, (first, *sorted(found)), (title, *wanted))
checks.exit(at_least=3000)
