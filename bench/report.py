"""What was measured, as Markdown for people, and as a bar chart."""

import pathlib

import commands
from commands import CAPTURE, CAT, CAT_AGAIN, BOOKLET, MANUAL, PARSE, PLAIN, PSTOPS, SED, TRACE
from jobs import KINDS

BEGIN = "<!-- bench:begin (script/bench writes what stands between the two marks) -->"
END = "<!-- bench:end -->"

KIND_NOTES = {
    "short-lines": "text set by `pdftops`: a number or two on each line, 4 bytes on average",
    "text": "text set by groff, lines of 60 bytes",
    "hex": "pictures as hexadecimal digits, lines of 64 bytes",
    "ascii85": "compressed pictures as ASCII85, lines of 64 bytes",
    "binary": "compressed pictures as they are: every fourth line has a zero byte in it",
    "long-runs": "uncompressed pictures as they are: 37000 bytes from one line end to the next",
}


def table(header, rows, texts=1):
    """The first `texts` columns hold text, the others numbers."""
    rule = ["---"] * texts + ["---:"] * (len(header) - texts)
    return "\n".join("| " + " | ".join(row) + " |" for row in [header, rule, *rows])


def percent(value):
    return f"{value * 100:.0f} %"


def factor(value):
    return f"{value:.1f}" if value < 10 else f"{value:.0f}"


def per_byte(row):
    count = row.get("instructions")
    if count is None:
        return "–"
    return f"{count:.2f}" if count < 10 else f"{count:.0f}"


def mebibytes(kib):
    return f"{kib / 1024:.1f}"


def above(results, row):
    """Peak memory above the program that only parses the options."""
    return f"{(row['memory'] - results['start'][PARSE.name]['memory']) / 1024:+.1f}"


def conditions(results):
    machine = results["machine"]
    cores = "1 core" if machine["cores"] == 1 else f"{machine['cores']} cores"
    return (f"{results['date']}, {cores} of {machine['cpu']}, {machine['kernel']}, {machine['system']}; "
            f"jobs of {results['size']} MB, medians of {results['rounds']} interleaved runs")


def measured_row(results, where, name, row):
    return [where, name, percent(row["pipe"]), percent(row["file"]), f"{row['cpu']:.3f}", per_byte(row),
            mebibytes(row["memory"]), above(results, row)]


COLUMNS = ["Job", "Command", "Share of `cat`, pipe to pipe", "Share of `cat`, file to pipe",
           "CPU seconds per 100 MB", "Instructions per byte", "Peak memory, MiB", "above `parse_only`, MiB"]


def stream_table(results):
    rows = [measured_row(results, title, name, row)
            for kind, title in KINDS.items() for name, row in results["stream"][kind].items()]
    return table(COLUMNS, rows, texts=2)


def by_hand_table(results):
    rows = [measured_row(results, f"{pages} pages", name, row)
            for pages, by_command in results["by_hand"].items() for name, row in by_command.items()]
    return table(COLUMNS, rows, texts=2)


def start_table(results):
    rows = []
    for name, row in results["start"].items():
        count = row.get("instructions")
        rows.append([name, f"{row['against_cat']:.2f}", f"{row['against_parse']:.2f}",
                     f"{row['cpu_against_parse']:.2f}", f"{count / 1e6:.2f}" if count else "–",
                     mebibytes(row["memory"]), above(results, row)])
    return table(["Command", "Time, `cat` = 1", "Time, `parse_only` = 1", "CPU time, `parse_only` = 1",
                  "Million instructions", "Peak memory, MiB", "above `parse_only`, MiB"], rows)


def extremes(results, name, key):
    values = [results["stream"][kind][name][key] for kind in KINDS]
    return min(values), max(values)


def times_less(results, name):
    """How many times the filter's CPU seconds another command takes: over the kinds, least first."""
    values = [results["stream"][kind][name]["cpu"] / results["stream"][kind][PLAIN.name]["cpu"] for kind in KINDS]
    return f"{factor(min(values))} to {factor(max(values))} times"


def summary_table(results):
    """Share of cat between two pipes, a column for each kind of job."""
    rows = []
    for command in (CAT_AGAIN, PLAIN, CAPTURE, TRACE, BOOKLET, SED, PSTOPS):
        rows.append([command.name] + [percent(results["stream"][kind][command.name]["pipe"]) for kind in KINDS])
    return table(["Share of `cat`"] + list(KINDS.values()), rows)


def findings(results):
    start = results["start"]
    peak = max(results["stream"][kind][PLAIN.name]["memory"] for kind in KINDS)
    lines = [
        f"* In CPU seconds, `sed` with the same rules takes {times_less(results, SED.name)} and `pstops` "
        f"{times_less(results, PSTOPS.name)} as much as the filter.",
        f"* A job of one page takes {start[PLAIN.name]['against_parse']:.2f} times as long as a program that only "
        f"calls `cupsParseOptions`, {start[PLAIN.name]['against_cat']:.1f} times as long as `cat`; `pstops` "
        f"{start[PSTOPS.name]['against_cat']:.1f} times as long as `cat`.",
        f"* Peak memory is {(peak - start[PARSE.name]['memory']) / 1024:.1f} MiB above that program"
        + (f", {(results['four_gib'] - start[PARSE.name]['memory']) / 1024:.1f} MiB for 4 GiB through a pipe."
           if "four_gib" in results else "."),
    ]
    return "\n".join(lines)


def tables(results):
    return "\n\n".join([conditions(results), summary_table(results), findings(results), stream_table(results),
                        by_hand_table(results), start_table(results)])


def document(results):
    machine = results["machine"]
    kinds = "\n".join(f"| {KINDS[kind]} | {note} |" for kind, note in KIND_NOTES.items())
    return f"""# What the filter costs

`script/bench` measured this and wrote this page; the same command measures your machine. Ratios are
what carries over from one machine to another.

{conditions(results)}. Beside the filter: {machine['cat']}, {machine['sed']}, {machine['pstops']}.
The load of the machine was {machine['load']:.2f} before the first run.

![Bar chart of the two tables' main columns](benchmarks.svg)

## Large jobs

{stream_table(results)}

**Jobs.** A document of five pages, made by groff and Ghostscript and printed through CUPS's `pstops`, which
puts in the features of paper size, tray and booklet that the rules look for. Its pages are repeated up to
{results['size']} MB.

| Job | What stands in it |
|---|---|
{kinds}

**Commands.** `cat, again` is a second `cat`: how far it is from 100 % is how far off the other shares can
be. *Capture on* writes what comes in and what goes out to two files beside the output, *trace on* the
diagnostic log. `sed` has the filter's rules for an ordinary job, `bench/plain-rules.sed`, and its output was
compared with the filter's. `pstops` is the filter that CUPS itself runs on every PostScript job. All run in
the C locale.

**Columns.** *Share of `cat`*: the time that `cat` takes, from start to the last byte, as a share of the time
that the command takes. *Pipe to pipe*: between two pipes of the default size, one process that writes the job
from memory and one that reads and throws away. *File to pipe*: the job is a file in the page cache, as
standard input. *CPU seconds*: of the command alone, user and system, pipe to pipe; MB and 100 MB are powers of
ten. *Instructions*: the command's own, without the kernel's, as `valgrind --tool=callgrind` counts them, as
difference of two sizes, so without the start; millions a megabyte. They do not depend on the machine's load.
*Peak memory* is the resident set, shared libraries and the kernel's file pages in it included; `parse_only`
only calls `cupsParseOptions` and ends.

## Booklets made by hand

{by_hand_table(results)}

Jobs of {results['booklet_size']} MB, of the text kind, so the pages of the first are 64 times as large as
those of the last. The job is reordered through temporary files before anything is printed.
The instruction page is not installed where this runs; it would add one page.

## A job of one page

{start_table(results)}

{results['one_page']} bytes, from a file to a pipe, medians of {results['starts']} interleaved runs, every
ratio taken run by run. Most of this time goes into loading libcups and the libraries behind it.

{findings(results)}
"""


def readme_section(results):
    return f"""{BEGIN}
![Bar chart: share of the speed of cat, and CPU seconds per 100 MB](docs/benchmarks.svg)

{summary_table(results)}

{findings(results)}

Between two pipes; 100 % is as fast as `cat`, and `cat, again` shows how exact that is. {conditions(results)}.
Everything else that was measured, and how: [docs/benchmarks.md](docs/benchmarks.md). `script/bench` measures
your machine.
{END}"""


# The chart.

SERIES = [
    (PLAIN, "#1b5e9b"),
    (CAPTURE, "#7fb3dd"),
    (SED, "#d98c2b"),
    (PSTOPS, "#8d8d8d"),
]
BAR, GAP, LEFT, RIGHT, ROW = 13, 12, 100, 60, 4 * 13 + 12


def text(x, y, content, anchor="start", weight="normal", size=12, colour="#222"):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" font-weight="{weight}" '
            f'fill="{colour}">{content}</text>')


def panel(results, left, top, width, title, key, show, reference):
    """One group of bars for each kind of job, the values at their ends."""
    values = {(kind, command.name): results["stream"][kind][command.name][key]
              for kind in KINDS for command, _ in SERIES}
    longest = max([reference] + list(values.values()))
    scale = (width - LEFT - RIGHT) / longest
    x0 = left + LEFT
    parts = [text(left, top, title, weight="bold", size=13)]
    y = top + 18
    bottom = y + len(KINDS) * ROW - GAP
    if reference:
        x = x0 + reference * scale
        parts.append(f'<line x1="{x:.1f}" y1="{y - 4}" x2="{x:.1f}" y2="{bottom + 4}" stroke="#a33" '
                     'stroke-dasharray="4 3"/>')
        parts.append(text(x, bottom + 18, "cat", anchor="middle", size=11, colour="#a33"))
    for kind, name in KINDS.items():
        parts.append(text(x0 - 8, y + 2 * BAR + 4, name, anchor="end"))
        for command, colour in SERIES:
            value = values[kind, command.name]
            parts.append(f'<rect x="{x0}" y="{y + 1}" width="{max(1.0, value * scale):.1f}" height="{BAR - 2}" '
                         f'fill="{colour}"/>')
            parts.append(text(x0 + value * scale + 4, y + BAR - 3, show(value), size=10))
            y += BAR
        y += GAP
    parts.append(f'<line x1="{x0}" y1="{top + 14}" x2="{x0}" y2="{bottom + 4}" stroke="#222"/>')
    return "\n".join(parts)


def chart(results):
    width, half = 920, 460
    top = 78
    height = top + 18 + len(KINDS) * ROW + 34
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" '
        'font-family="Helvetica, Arial, sans-serif">',
        "<title>The filter beside cat, sed and pstops</title>",
        f'<rect width="{width}" height="{height}" fill="white"/>',
    ]
    x = 16
    for command, colour in SERIES:
        label = "sed, same rules" if command is SED else command.name
        parts.append(f'<rect x="{x}" y="16" width="12" height="12" fill="{colour}"/>')
        parts.append(text(x + 18, 26, label))
        x += 18 + 7 * len(label) + 28
    parts.append(panel(results, 16, top - 20, half - 16, "Share of the speed of cat, pipe to pipe (longer is better)",
                       "pipe", percent, 1.0))
    parts.append(panel(results, half + 16, top - 20, half - 32, "CPU seconds per 100 MB (shorter is better)", "cpu",
                       lambda value: f"{value:.2f}", 0))
    parts.append(text(16, height - 10, conditions(results), size=10, colour="#555"))
    parts.append("</svg>\n")
    return "\n".join(parts)


def write(results, root: pathlib.Path):
    (root / "docs" / "benchmarks.md").write_text(document(results))
    (root / "docs" / "benchmarks.svg").write_text(chart(results))
    readme = root / "README.md"
    before, _, rest = readme.read_text().partition(BEGIN)
    old, found, after = rest.partition(END)
    if not found:
        raise SystemExit(f"script/bench: README.md lacks the marks {BEGIN} and {END}")
    readme.write_text(before + readme_section(results) + after)
