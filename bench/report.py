"""Formats the results as Markdown and as a bar chart."""

import pathlib

import commands
from commands import CAPTURE, CAT, CAT_AGAIN, CHAIN_DOCUMENTS, BOOKLET, MANUAL, PARSE, PLAIN, PSTOPS, SED, TEE, TRACE
from jobs import KINDS

BEGIN = "<!-- bench:begin (script/bench writes the text between these two marks) -->"
END = "<!-- bench:end -->"
QUEUE_BEGIN = "<!-- queue:begin (script/bench --queue writes the text between these two marks) -->"
QUEUE_END = "<!-- queue:end -->"
MOST_OF_FILTER = 1.35  # times the time of the filter alone, for one page
MOST_OF_LARGE = 1.05   # times its CPU time, for a large job
MOST_OF_CHAIN = 0.02   # of the CPU time of all filters, for the long document

KIND_NOTES = {
    "short-lines": "text from `pdftops`: one or two numbers per line, 4 bytes on average",
    "text": "text from groff, lines of 60 bytes",
    "hex": "pictures in hexadecimal, lines of 64 bytes",
    "ascii85": "compressed pictures in ASCII85, lines of 64 bytes",
    "binary": "compressed pictures, unencoded: every fourth line contains a zero byte",
    "long-runs": "uncompressed pictures, unencoded: 37000 bytes from one line end to the next",
}


def table(header, rows, texts=1):
    """A table whose first `texts` columns contain text, and the others numbers."""
    rule = ["---"] * texts + ["---:"] * (len(header) - texts)
    return "\n".join("| " + " | ".join(row) + " |" for row in [header, rule, *rows])


def percent(value):
    return f"{value * 100:.0f} %" if value >= 0.1 else f"{value * 100:.1f} %"


def factor(value):
    return f"{value:.1f}" if value < 10 else f"{value:.0f}"


def per_byte(row):
    count = row.get("instructions")
    if count is None:
        return "–"
    return f"{count:.2f}" if count < 10 else f"{count:.0f}"


def mebibytes(kib):
    return f"{kib / 1024:.1f}"


def above(results, name, row):
    """Peak memory above that of parse_only; empty for commands that do not use libcups."""
    if name in (CAT.name, CAT_AGAIN.name, TEE.name, SED.name):
        return "–"
    return f"{(row['memory'] - results['start'][PARSE.name]['memory']) / 1024:+.1f}"


def conditions(results):
    machine = results["machine"]
    cores = "1 core" if machine["cores"] == 1 else f"{machine['cores']} cores"
    return (f"{results['date']}, {cores} of {machine['cpu']}, {machine['kernel']}, {machine['system']}; "
            f"jobs of {results['size']} MB, medians of {results['rounds']} interleaved runs "
            "(commands that write files run in separate rounds)")


def measured_row(results, where, name, row):
    return [where, name, percent(row["pipe"]), percent(row["file"]), f"{row['cpu']:.3f}", per_byte(row),
            mebibytes(row["memory"]), above(results, name, row)]


COLUMNS = ["Job", "Command", "Share of `cat`, pipe to pipe", "Share of `cat`, file to pipe",
           "CPU seconds per 100 MB", "Instructions per byte", "Peak memory, MiB", "above `parse_only`, MiB"]


def stream_table(results):
    rows = [measured_row(results, title, name, row)
            for kind, title in KINDS.items() for name, row in results["stream"][kind].items()]
    return table(COLUMNS, rows, texts=2)


def manual_table(results):
    rows = [measured_row(results, f"{pages} pages", name, row)
            for pages, by_command in results["manual"].items() for name, row in by_command.items()]
    return table(COLUMNS, rows, texts=2)


def start_table(results):
    rows = []
    for name, row in results["start"].items():
        count = row.get("instructions")
        rows.append([name, f"{row['against_cat']:.2f}", f"{row['against_parse']:.2f}",
                     f"{row['cpu_against_parse']:.2f}", f"{count / 1e6:.2f}" if count else "–",
                     mebibytes(row["memory"]), above(results, name, row)])
    return table(["Command", "Time, `cat` = 1", "Time, `parse_only` = 1", "CPU time, `parse_only` = 1",
                  "Million instructions", "Peak memory, MiB", "above `parse_only`, MiB"], rows)


def times_less(results, name):
    """The range, over all kinds of jobs, of the CPU seconds of a command divided by those of the filter."""
    values = [results["stream"][kind][name]["cpu"] / results["stream"][kind][PLAIN.name]["cpu"] for kind in KINDS]
    return f"{factor(min(values))} to {factor(max(values))} times"


def least_and_most(results, command, other, column):
    """The range, over all kinds of jobs, of a figure of a command divided by that of another command."""
    shares = [results["stream"][kind][command.name][column] / results["stream"][kind][other.name][column]
              for kind in KINDS]
    return f"{percent(min(shares))} to {percent(max(shares))}"


def range_of(values):
    return f"{min(values):.1f} to {max(values):.1f}"


def summary_table(results):
    """Share of cat between two pipes, a column for each kind of job."""
    rows = []
    for command in (CAT_AGAIN, TEE, PLAIN, CAPTURE, TRACE, BOOKLET, SED, PSTOPS):
        rows.append([command.name] + [percent(results["stream"][kind][command.name]["pipe"]) for kind in KINDS])
    return table(["Share of `cat`"] + list(KINDS.values()), rows)


def findings(results, without=()):
    """The results in a sentence or two per topic."""
    start = results["start"]
    peak = max(results["stream"][kind][PLAIN.name]["memory"] for kind in KINDS)
    lines = [
        f"* **Large jobs:** `sed` with the same rules takes {times_less(results, SED.name)} as much CPU time as the "
        f"filter, and `pstops` {times_less(results, PSTOPS.name)} as much.",
        f"* **Capture:** With the capture on, a job takes "
        f"{range_of([results['stream'][kind][CAPTURE.name]['against_plain'] for kind in KINDS])} times as long. It "
        f"uses {least_and_most(results, CAPTURE, TEE, 'cpu')} of the CPU time of `tee` with two files.",
        f"* **Small jobs:** A job of one page takes {start[PLAIN.name]['against_parse']:.2f} times as long as a "
        f"program that only calls `cupsParseOptions`, and {start[PLAIN.name]['against_cat']:.1f} times as long as "
        f"`cat`. `pstops` takes {start[PSTOPS.name]['against_cat']:.1f} times as long as `cat`.",
        f"* **Memory:** The filter needs {(peak - start[PARSE.name]['memory']) / 1024:.1f} MiB more than that program"
        + (f", and {(results['four_gib'] - start[PARSE.name]['memory']) / 1024:.1f} MiB more with 4 GiB through a pipe."
           if "four_gib" in results else "."),
    ]
    return "\n".join(line for line in lines if not any(f"**{topic}:**" in line for topic in without))


def exactness(results):
    low, high = (percent(share) for share in results["again"])
    return (f"Half of all runs of the second `cat` were between {low} and {high} of the first, which shows how "
            "precise the figures are.")


def tables(results):
    return "\n\n".join([conditions(results), summary_table(results), exactness(results), findings(results), stream_table(results),
                        manual_table(results), start_table(results)])


def queue_section(results):
    """The results for a queue, compared with the limits of this project."""
    shares = results["shares"]
    rows = [[CHAIN_DOCUMENTS.get(name, "the text of the tables above"), f"{large['page'] / 1000:.0f} KB",
             percent(shares[name]) if name in shares else "–", f"{large['cpu']:.2f}"]
            for name, large in results["large"].items()]
    kept = sum(large["cpu"] <= MOST_OF_LARGE for large in results["large"].values())
    one_page = "kept" if results["wall"] <= MOST_OF_FILTER else "exceeded"
    long = "kept" if shares["long"] <= MOST_OF_CHAIN else "exceeded"
    return f"""{QUEUE_BEGIN}
## A job of a queue

A job of one page takes `jobshaper-queue` {results['wall']:.2f} times the time and {results['cpu']:.2f} times the CPU
time of `jobshaper` with the same PPD file.

*Share*: for a PDF document, CUPS runs `pdftopdf`, `pdftops`, `pstops` and `jobshaper-queue`. This is the share
that `jobshaper-queue` has of their CPU time. *Large job*: the CPU time of `jobshaper-queue`, which counts the
pages, divided by that of `jobshaper`, for the pages repeated up to {results['size']} MB.

{table(["Document", "Size of a page", "Share", "Large job"], rows)}

The load average was {results["load"]:.1f} before the first run.

The limits are {MOST_OF_FILTER} times the time of `jobshaper` for one page ({one_page}), a share of {percent(MOST_OF_CHAIN)} for the
text of 42 pages ({long}), and {MOST_OF_LARGE} times the CPU time for large jobs ({kept} of {len(rows)} kept).
{QUEUE_END}"""


def write_queue_section(results, root: pathlib.Path):
    page = root / "docs" / "benchmarks.md"
    before, _, rest = page.read_text().partition(QUEUE_BEGIN)
    _, found, after = rest.partition(QUEUE_END)
    if not found:
        raise SystemExit(f"script/bench: {page} lacks the marks {QUEUE_BEGIN} and {QUEUE_END}")
    page.write_text(before + queue_section(results) + after)


def document(results):
    machine = results["machine"]
    kinds = "\n".join(f"| {KINDS[kind]} | {note} |" for kind, note in KIND_NOTES.items())
    return f"""# What the filter costs

`script/bench` made these measurements and wrote this page. Run it to measure your own machine. Only the
ratios can be compared between machines.

{conditions(results)}. Compared with {machine['cat']}, {machine['sed']}, {machine['pstops']}.
The load average was {machine['load']:.2f} before the first run. {exactness(results)}

![Bar chart of the tables below](benchmarks.svg)

## How it was measured

**Jobs.** A document of five pages, made by groff and Ghostscript and filtered by CUPS's `pstops`, which
adds the features for paper size, tray and booklet that the filter's rules match. The pages are repeated up
to {results['size']} MB.

| Job | Content |
| --- | --- |
{kinds}

**Commands.** `cat` copies its input to its output. `cat, again` is a second `cat`,
which shows how precise the figures are. `sed` runs the filter's rules for an ordinary job,
`bench/plain-rules.sed`; its output was compared with what the filter writes between header and trailer.
`pstops` is the filter that CUPS itself runs on every PostScript job. *Capture on* also writes input and
output to two files, and *trace on* writes the diagnostic log. `parse_only` calls `cupsParseOptions` and exits:
no filter that uses libcups can start faster. All commands run in the C locale.

**Columns.** *Share of `cat`* is the time that `cat` takes from its start to the last byte, divided by the time
that the command takes. *Pipe to pipe*: one process writes the job from memory into a pipe of the default
size, and another reads the output from such a pipe and discards it. *File to pipe*: standard input is a file
in the page cache. *CPU seconds* are the user and system time of the command alone, pipe to pipe; 1 MB is
1,000,000 bytes. *Instructions* are those in user mode, counted by `valgrind --tool=callgrind` as the
difference between two sizes of the job, so they exclude the start and do not depend on the load. *Peak
memory* is the resident set, including the mapped parts of shared libraries and files.

## Large jobs

{stream_table(results)}

## Manual booklets

{manual_table(results)}

Text jobs of {results['booklet_size']} MB each, so the pages of the first are 64 times as large as those of the
last. The filter reorders the job through temporary files before it prints anything. `sed` and `pstops` do the
same work as above.

## A job of one page

{start_table(results)}

{results['one_page']} bytes, from a file to a pipe, medians of {results['starts']} interleaved runs. Ratios are
computed for each run. Most of the time is spent loading libcups and the libraries that it needs.

{queue_section(results["queue"])}

## Summary

{findings(results)}
"""


def readme_section(results):
    return f"""{BEGIN}
![Bar chart: share of the speed of cat, and CPU seconds per 100 MB](docs/benchmarks.svg)

{findings(results, without=["Capture"])}

All figures, and how they were measured, are in [docs/benchmarks.md](docs/benchmarks.md). `script/bench` measures
your machine.
{END}"""


# The chart.

COLORS = {
    PLAIN: "#1b5e9b",
    CAPTURE: "#7fb3dd",
    MANUAL: "#3f8f5f",
    SED: "#d98c2b",
    PSTOPS: "#8d8d8d",
    PARSE: "#b9a3cf",
}
LABELS = {SED: "sed, same rules"}
WIDTH, BAR, GAP, LABEL_WIDTH, VALUE_WIDTH = 920, 13, 12, 92, 52


def text(x, y, content, anchor="start", weight="normal", size=12, color="#222"):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" font-weight="{weight}" '
            f'fill="{color}">{content}</text>')


def bars(left, top, title, groups, show, reference=0.0):
    """Draws groups of bars, each a label and its (command, value) pairs, with the values at their ends.
    Returns the drawing and its bottom."""
    longest = max([reference] + [value for _, group in groups for _, value in group])
    scale = (WIDTH / 2 - 32 - LABEL_WIDTH - VALUE_WIDTH) / longest
    origin = left + LABEL_WIDTH
    parts = [text(left, top, title, weight="bold", size=13)]
    y = top + 18
    for label, group in groups:
        parts.append(text(origin - 8, y + len(group) * BAR / 2 + 4, label, anchor="end"))
        for command, value in group:
            parts.append(f'<rect x="{origin}" y="{y + 1}" width="{max(1.0, value * scale):.1f}" '
                         f'height="{BAR - 2}" fill="{COLORS[command]}"/>')
            parts.append(text(origin + value * scale + 4, y + BAR - 3, show(value), size=10))
            y += BAR
        y += GAP
    bottom = y - GAP + 4
    parts.append(f'<line x1="{origin}" y1="{top + 14}" x2="{origin}" y2="{bottom}" stroke="#222"/>')
    if reference:
        x = origin + reference * scale
        parts.append(f'<line x1="{x:.1f}" y1="{top + 14}" x2="{x:.1f}" y2="{bottom}" stroke="#a33" '
                     'stroke-dasharray="4 3"/>')
        parts.append(text(x, bottom + 13, "cat", anchor="middle", size=11, color="#a33"))
    return "\n".join(parts), bottom


def legend(y):
    parts, x = [], 16
    for command, color in COLORS.items():
        label = LABELS.get(command, command.name)
        parts.append(f'<rect x="{x}" y="{y}" width="12" height="12" fill="{color}"/>')
        parts.append(text(x + 17, y + 10, label))
        x += 17 + round(6.1 * len(label)) + 22
    return "\n".join(parts)


def stream_groups(results, key):
    return [(title, [(command, results["stream"][kind][command.name][key])
                     for command in (PLAIN, CAPTURE, SED, PSTOPS)]) for kind, title in KINDS.items()]


def manual_groups(results):
    return [(f"{pages} pages", [(command, by_command[command.name]["cpu"]) for command in (MANUAL, SED, PSTOPS)])
            for pages, by_command in results["manual"].items()]


def start_groups(results):
    return [(command.name, [(command, results["start"][command.name]["against_cat"])]) for command in (PARSE, PLAIN, PSTOPS)]


def chart(results):
    right = WIDTH // 2 + 16
    share, bottom = bars(16, 60, "Share of the speed of cat, pipe to pipe (longer is better)",
                         stream_groups(results, "pipe"), percent, reference=1.0)
    cpu, _ = bars(right, 60, "CPU seconds per 100 MB (shorter is better)", stream_groups(results, "cpu"),
                  "{:.2f}".format)
    manual, end = bars(16, bottom + 52, "Manual booklets: CPU seconds per 100 MB",
                        manual_groups(results), "{:.2f}".format)
    start, _ = bars(right, bottom + 52, "A job of one page: time (cat = 1)", start_groups(results),
                    "{:.1f}".format, reference=1.0)
    height = end + 40
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" width="{WIDTH}" '
        f'height="{height}" font-family="Helvetica, Arial, sans-serif">',
        "<title>The filter beside cat, sed and pstops</title>",
        f'<rect width="{WIDTH}" height="{height}" fill="white"/>',
        legend(16), share, cpu, manual, start,
        text(16, height - 10, conditions(results), size=10, color="#555"),
        "</svg>\n",
    ])


def write(results, root: pathlib.Path):
    (root / "docs" / "benchmarks.md").write_text(document(results))
    (root / "docs" / "benchmarks.svg").write_text(chart(results))
    readme = root / "README.md"
    before, _, rest = readme.read_text().partition(BEGIN)
    old, found, after = rest.partition(END)
    if not found:
        raise SystemExit(f"script/bench: README.md lacks the marks {BEGIN} and {END}")
    readme.write_text(before + readme_section(results) + after)
