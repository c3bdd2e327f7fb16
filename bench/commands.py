"""The commands that are measured, and what each needs in its temporary directory."""

import dataclasses
import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "bench"
FILTER = BUILD / "jobshaper"
MEASURE = BUILD / "bench" / "measure"
PARSE_ONLY = BUILD / "bench" / "parse_only"
INNER = BUILD / "bench" / "inner_bench"
PPD = ROOT / "tests" / "real_jobs" / "printer.ppd"
QUEUE_PROGRAM = BUILD / "jobshaper-queue"
QUEUE_PPD = BUILD / "ppd" / "quorvan-color-finisher.ppd"
CUPS_FILTERS = pathlib.Path("/usr/lib/cups/filter")

TRACE_SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict><key>Feiprion</key><dict>
<key>debugLevel</key><integer>7</integer>
<key>moduleNumber</key><integer>1</integer>
<key>debugFile</key><string>trace</string>
</dict></dict></plist>
"""


def cups_arguments(program, options=""):
    """The arguments that CUPS passes to a filter that reads standard input."""
    return [str(program), "42", "guest", "Title", "1", options]


@dataclasses.dataclass(frozen=True)
class Command:
    name: str
    argv: tuple
    capture: bool = False
    trace: bool = False
    manual: bool = False
    ppd: pathlib.Path = PPD

    def prepare(self, directory: pathlib.Path) -> dict:
        """Fills the empty directory that becomes TMPDIR. Returns the environment."""
        ppd = self.ppd
        if self.capture:
            (directory / "qvn_log").touch()
        if self.trace:
            settings = directory / "Debug" / ".DebugPlist"
            settings.mkdir(parents=True)
            (settings / "qvDebug.plist").write_text(TRACE_SETTINGS)
        if self.manual:
            ppd = directory / "manual.ppd"
            ppd.write_text('*PPD-Adobe: "4.3"\n*QvnManualBooklet: True\n')
        return {
            "PATH": "/usr/bin:/bin",
            "LC_ALL": "C",
            "LANG": "en_US.UTF-8",
            "TMPDIR": str(directory),
            "DEVICE_URI": "socket://printer.local",
            "PPD": str(ppd),
            "CONTENT_TYPE": "application/pdf",
            "FINAL_CONTENT_TYPE": "application/vnd.cups-postscript",
        }

    def left_traces(self, directory: pathlib.Path) -> bool:
        """Whether capture and trace, if they are on, have written their files."""
        wanted = ["qvn_ps", "qvn_ps2"] if self.capture else ["trace"] if self.trace else []
        return all((directory / name).is_file() and (directory / name).stat().st_size for name in wanted)


def _command(name, argv, **switches):
    return Command(name, tuple(argv), **switches)


# A second `cat` shows how much the figures of two equal programs differ.
CAT = _command("cat", ["cat"])
CAT_AGAIN = _command("cat, again", ["cat"])
PLAIN = _command("jobshaper", cups_arguments(FILTER))
CAPTURE = _command("jobshaper, capture on", cups_arguments(FILTER), capture=True)
TRACE = _command("jobshaper, trace on", cups_arguments(FILTER), trace=True)
BOOKLET = _command("jobshaper, booklet", cups_arguments(FILTER, "QVBookletFold=SaddleStitch"))
MANUAL = _command("jobshaper, manual booklet", cups_arguments(FILTER, "QVBookletFold=Booklet"), manual=True)
SED = _command("sed", ["sed", "-f", str(ROOT / "bench" / "plain-rules.sed")])
PSTOPS = _command("pstops", cups_arguments("/usr/lib/cups/filter/pstops"))
# The cost of copying to two additional files, as the capture does.
TEE = _command("tee, two files", ["sh", "-c", 'exec tee "$TMPDIR/1" "$TMPDIR/2"'])
PARSE = _command("parse_only", cups_arguments(PARSE_ONLY))

# The filter of a queue, and jobshaper alone with the same PPD file.
QUEUE = _command("jobshaper-queue", cups_arguments(QUEUE_PROGRAM), ppd=QUEUE_PPD)
PLAIN_OF_QUEUE = _command("jobshaper", cups_arguments(FILTER), ppd=QUEUE_PPD)
# The filters that CUPS starts for a PDF document. pdftops itself runs pstops.
CHAIN = [_command("pdftopdf", cups_arguments(CUPS_FILTERS / "pdftopdf"), ppd=QUEUE_PPD),
         _command("pdftops and pstops", cups_arguments(CUPS_FILTERS / "pdftops"), ppd=QUEUE_PPD), QUEUE]
CHAIN_DOCUMENTS = {"report": "report of 5 pages", "long": "text of 42 pages", "pictures": "5 pages scanned in color"}

STREAM = [CAT, CAT_AGAIN, TEE, PLAIN, CAPTURE, TRACE, BOOKLET, SED, PSTOPS]
# Commands that write files, and those they are compared with, run in separate rounds. A virtual machine
# returns memory to its host soon after it is freed. Between slow commands, the first access to new memory
# would cost more than everything that is to be measured.
WRITING = [CAT, PLAIN, TEE, CAPTURE]
READING = [command for command in STREAM if command not in (TEE, CAPTURE)]
BY_HAND = [CAT, MANUAL, SED, PSTOPS]
START = [CAT, PARSE, PLAIN, PSTOPS]
BOOKLET_PAGES = [16, 64, 256, 1024]


def first_line(*argv) -> str:
    return subprocess.run(argv, capture_output=True, text=True, check=True).stdout.splitlines()[0]
