#!/usr/bin/env python3
"""Compares the filter with cat, sed and pstops. script/bench builds what it needs and starts it."""

import argparse
import concurrent.futures
import contextlib
import datetime
import json
import os
import pathlib
import platform
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

import commands
import report
from commands import (BOOKLET_PAGES, BY_HAND, CAT, CAT_AGAIN, CHAIN, CHAIN_DOCUMENTS, PARSE, PLAIN,
                      PLAIN_OF_QUEUE, QUEUE, READING, SED, START, STREAM, TEE, WRITING)
from jobs import KINDS, Document

MEGABYTE = 1_000_000


def stop(message: str):
    sys.exit(f"script/bench: {message}")


def say(message: str):
    print(f"[{time.strftime('%H:%M:%S')}] {message}", file=sys.stderr, flush=True)


def arguments():
    parser = argparse.ArgumentParser(prog="script/bench", description="Measures the filter beside cat, sed and pstops.")
    parser.add_argument("--size", type=int, default=200, metavar="MB", help="of each job (200)")
    parser.add_argument("--booklet-size", type=int, metavar="MB",
                        help="of the jobs for manual booklets (a quarter of --size)")
    parser.add_argument("--rounds", type=int, default=11, help="interleaved runs of each command (11)")
    parser.add_argument("--quick", action="store_true",
                        help="a look in less than a minute: small jobs, few rounds, documents left alone")
    parser.add_argument("--no-instructions", action="store_true", help="leave valgrind out")
    parser.add_argument("--four-gib", action="store_true", help="also 4 GiB through a pipe, for the peak memory")
    parser.add_argument("--inner", action="store_true", help="only the search and the rules, in memory")
    parser.add_argument("--queue", action="store_true",
                        help="only jobshaper-queue: one page, part of a whole job, large jobs")
    parser.add_argument("--no-docs", action="store_true", help="print the tables, leave the documents alone")
    parser.add_argument("--again", action="store_true", help="write the documents from the last results")
    options = parser.parse_args()
    if options.quick:
        options.size, options.rounds, options.no_docs = 20, 3, True
        options.booklet_size = options.booklet_size or 4
    if options.size < 1 or options.rounds < 1:
        stop("--size and --rounds begin at 1")
    options.booklet_size = options.booklet_size or max(1, options.size // 4)
    options.starts = 40 if options.quick else 300
    # Instruction counts do not need large jobs, and take long for slow commands.
    options.count_sizes = (MEGABYTE, 2 * MEGABYTE)
    options.counted = [PLAIN] if options.quick else [*STREAM, *BY_HAND]
    return options


@contextlib.contextmanager
def temporary(parent: pathlib.Path):
    directory = pathlib.Path(tempfile.mkdtemp(prefix="jobs.", dir=parent))
    try:
        yield directory
    finally:
        shutil.rmtree(directory, ignore_errors=True)


@contextlib.contextmanager
def prepared(command, work):
    """Yields the command's temporary directory, its environment and an open file for its messages."""
    with temporary(work) as directory:
        environment = command.prepare(directory)
        with tempfile.TemporaryFile(dir=work) as messages:
            yield directory, environment, messages


def measure(command, job: pathlib.Path, way: str, work: pathlib.Path, at_least: int = 0) -> dict:
    with prepared(command, work) as (directory, environment, messages):
        run = subprocess.run([commands.MEASURE, way, job, str(at_least), *command.argv], env=environment,
                             stdout=subprocess.PIPE, stderr=messages, stdin=subprocess.DEVNULL, check=False)
        fields = run.stdout.split()
        # parse_only does not read its job; all other commands must succeed.
        if run.returncode != 0 or len(fields) != 5 or int(fields[3]) != 0 or not command.left_traces(directory):
            messages.seek(0)
            stop(f"{command.name} failed on {job.name}: {run.stdout!r} {messages.read()[-2000:]!r}")
        wall, cpu, memory, _, out = fields
        return {"wall": float(wall), "cpu": float(cpu), "memory": int(memory), "out": int(out)}


def interleave(candidates, job, ways, rounds, work) -> dict:
    """Runs every command once per round, each round in another order. Returns all runs."""
    runs = {way: {command.name: [] for command in candidates} for way in ways}
    for command in candidates:  # warm up the caches
        measure(command, job, ways[0], work)
    for number in range(rounds):
        for way in ways:
            turn = number % len(candidates)
            for command in candidates[turn:] + candidates[:turn]:
                runs[way][command.name].append(measure(command, job, way, work))
    return runs


def median(runs, key):
    return statistics.median(run[key] for run in runs)


def shares_of_cat(runs, name):
    """Computed per round, so that a machine that slows down between rounds does not matter."""
    return [cat["wall"] / run["wall"] for cat, run in zip(runs[CAT.name], runs[name])]


def summary(runs: dict, size: int) -> dict:
    """The rows for one job, one per command."""
    rows = {}
    for name, piped in runs["pipe"].items():
        plain = runs["pipe"].get(PLAIN.name, [])
        rows[name] = {
            "against_plain": statistics.median([a["wall"] / b["wall"] for a, b in zip(piped, plain)] or [0.0]),
            "pipe": statistics.median(shares_of_cat(runs["pipe"], name)),
            "file": statistics.median(shares_of_cat(runs["file"], name)),
            "cpu": median(piped, "cpu") / size * 100 * MEGABYTE,
            "memory": median(piped, "memory"),
        }
    return rows


def same_bytes_as_sed(job: pathlib.Path, work: pathlib.Path) -> int:
    """Checks that sed prints what the filter prints between header and trailer; otherwise their times
    could not be compared. Returns the length of header and trailer."""
    outputs = []
    for command in (PLAIN, SED):
        with prepared(command, work) as (_, environment, messages), job.open("rb") as stream:
            outputs.append(subprocess.run(command.argv, env=environment, stdin=stream, stdout=subprocess.PIPE,
                                          stderr=messages, check=True).stdout)
    filtered, edited = outputs
    begin = filtered.find(b"@PJL ENTER LANGUAGE = POSTSCRIPT\n")
    begin = filtered.find(b"\n", begin) + 1
    trailer = len(filtered) - begin - len(edited)
    if begin == 0 or not 0 <= trailer < 200 or filtered[begin:len(filtered) - trailer] != edited:
        stop(f"sed and the filter differ on {job.name}")
    return len(filtered) - len(edited)


def check_lengths(runs, size, around, where):
    """Checks that the command does not lose any part of the job."""
    for way in runs:
        out = {name: {run["out"] for run in of_command} for name, of_command in runs[way].items()}
        for name, lengths in out.items():
            if len(lengths) != 1 or not 0.98 * size < min(lengths) < 1.02 * size + 50000:
                stop(f"{name} printed {sorted(lengths)} of {size} bytes of {where}")
        if SED.name in out and PLAIN.name in out and out[PLAIN.name] != {length + around for length in out[SED.name]}:
            stop(f"sed and the filter differ in length on {where}")


def count_instructions(command, job: pathlib.Path, work: pathlib.Path) -> int:
    with prepared(command, work) as (_, environment, messages), job.open("rb") as stream:
        run = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command.argv],
                             env=environment, stdin=stream, stdout=subprocess.DEVNULL, stderr=messages, check=False)
        messages.seek(0)
        found = re.search(rb"Collected : (\d+)", messages.read())
        if run.returncode != 0 or not found:
            stop(f"valgrind failed on {command.name}")
        return int(found[1])


def instructions(results, documents, options, work):
    """Uses two sizes of each job, because their difference excludes the startup."""
    small, large = options.count_sizes
    plans = [(kind, 0, STREAM) for kind in KINDS] + [("text", pages, BY_HAND) for pages in BOOKLET_PAGES]
    tasks = []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for kind, pages, candidates in plans:
            sized = [
                documents[kind].write(work / f"{kind}.{pages}.{size}.ps", size, pages=pages, cut=not pages)
                for size in (small, large)
            ]
            for command in candidates:
                if command not in options.counted or command == TEE:  # the shell starts it
                    continue
                counts = [pool.submit(count_instructions, command, job, work) for job in sized]
                tasks.append((str(pages or kind), command, [job.stat().st_size for job in sized], counts))
        for where, command, sizes, counts in tasks:
            difference = counts[1].result() - counts[0].result()
            table = results["manual" if where.isdigit() else "stream"]
            table[where][command.name]["instructions"] = difference / (sizes[1] - sizes[0])
        starts = {command.name: pool.submit(count_instructions, command, work / "one-page.ps", work)
                  for command in START}
        for name, count in starts.items():
            results["start"][name]["instructions"] = count.result()


def start_up(job, options, work) -> dict:
    runs = interleave(START, job, ["file"], options.starts, work)["file"]
    return {
        name: {
            "against_cat": statistics.median(a["wall"] / b["wall"] for a, b in zip(runs[name], runs[CAT.name])),
            "against_parse": statistics.median(a["wall"] / b["wall"] for a, b in zip(runs[name], runs[PARSE.name])),
            "cpu_against_parse": statistics.median(a["cpu"] / b["cpu"] for a, b in zip(runs[name], runs[PARSE.name])),
            "memory": median(runs[name], "memory"),
        }
        for name in runs
    }


def against_filter(job, rounds, work) -> dict:
    """The time of jobshaper-queue, divided by that of jobshaper."""
    runs = interleave([PLAIN_OF_QUEUE, QUEUE], job, ["file"], rounds, work)["file"]
    pairs = list(zip(runs[QUEUE.name], runs[PLAIN_OF_QUEUE.name]))
    return {key: statistics.median(a[key] / b[key] for a, b in pairs) for key in ("wall", "cpu")}


def of_queue(text, documents, options, work) -> dict:
    """Measures the cost of a queue: compared with the filter alone, and as a share of all filters of a
    job."""
    results = {"load": os.getloadavg()[0], "size": options.size, "shares": {}, "large": {}}
    results |= against_filter(text.write(work / "job.ps", 1), options.starts, work)

    def measure_large(name, document):
        job = document.write(work / "job.ps", options.size * MEGABYTE)
        results["large"][name] = {
            "page": sum(map(len, document.pages)) / len(document.pages),
            "cpu": against_filter(job, 4 * options.rounds, work)["cpu"],
        }

    measure_large("text", text)
    for name in CHAIN_DOCUMENTS:
        inputs = [documents / f"{name}.pdf"]
        for command in CHAIN[:-1]:
            inputs.append(work / f"{len(inputs)}.{name}")
            with prepared(command, work) as (_, environment, messages), inputs[-2].open("rb") as stream, \
                    inputs[-1].open("wb") as output:
                subprocess.run(command.argv, env=environment, stdin=stream, stdout=output, stderr=messages,
                               check=True)
        shares = []
        for _ in range(options.rounds):
            spent = [measure(command, job, "file", work)["cpu"] for command, job in zip(CHAIN, inputs)]
            shares.append(spent[-1] / sum(spent))
        results["shares"][name] = statistics.median(shares)
        measure_large(name, Document(inputs[-1]))
    return results


def machine() -> dict:
    model = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    release = re.search(r'^PRETTY_NAME="(.*)"$', pathlib.Path("/etc/os-release").read_text(), re.MULTILINE)
    drivers = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", "cups-core-drivers"], capture_output=True,
                             text=True, check=False).stdout
    return {
        "cores": os.cpu_count(),
        "cpu": model[1] if model else platform.machine(),
        "kernel": f"{platform.system()} {platform.release()}",
        "system": release[1] if release else "",
        "load": os.getloadavg()[0],
        "cat": commands.first_line("cat", "--version"),
        "sed": commands.first_line("sed", "--version"),
        "pstops": f"pstops of cups-core-drivers {drivers}",
    }


def run_all(options, work) -> dict:
    results = {
        "date": datetime.date.today().isoformat(),
        "machine": machine(),
        "size": options.size,
        "booklet_size": options.booklet_size,
        "rounds": options.rounds,
        "starts": options.starts,
        "stream": {},
        "manual": {},
    }
    if results["machine"]["load"] > 0.5:
        say(f"the machine is busy (load {results['machine']['load']:.1f}): the shares of cat will be inexact")
    say("making the documents")
    documents = make_documents(work)

    again = []  # all figures of the second cat
    for kind, title in KINDS.items():
        say(f"{options.size} MB of {title}")
        small = documents[kind].write(work / "small.ps", 3 * MEGABYTE)
        around = same_bytes_as_sed(small, work)
        job = documents[kind].write(work / "job.ps", options.size * MEGABYTE)
        size = job.stat().st_size
        rows = {}
        for candidates in (WRITING, READING):
            runs = interleave(candidates, job, ["pipe", "file"], options.rounds, work)
            check_lengths(runs, size, around, title)
            rows |= summary(runs, size)
        results["stream"][kind] = {command.name: rows[command.name] for command in STREAM}
        again += shares_of_cat(runs["pipe"], CAT_AGAIN.name)
        if kind == "text" and options.four_gib:
            say("4 GiB of text")
            results["four_gib"] = measure(PLAIN, job, "pipe", work, 4 << 30)["memory"]

    quartiles = statistics.quantiles(again, n=4)
    results["again"] = [quartiles[0], quartiles[2]]

    for pages in BOOKLET_PAGES:
        say(f"a booklet of {pages} pages, {options.booklet_size} MB")
        job = documents["text"].write(work / "job.ps", options.booklet_size * MEGABYTE, pages=pages)
        runs = interleave(BY_HAND, job, ["pipe", "file"], options.rounds, work)
        check_lengths(runs, job.stat().st_size, 0, f"{pages} pages")
        results["manual"][str(pages)] = summary(runs, job.stat().st_size)
    job.unlink()

    say("a job of one page")
    one_page = documents["text"].write(work / "one-page.ps", 1)
    results["one_page"] = one_page.stat().st_size
    results["start"] = start_up(one_page, options, work)
    say("a queue")
    results["queue"] = of_queue(documents["text"], work / "documents" / "chain", options, work)

    if not options.no_instructions:
        say("counting instructions")
        instructions(results, documents, options, work)
    return results


def make_documents(work) -> dict:
    directory = work / "documents"
    subprocess.run([commands.ROOT / "bench" / "make-documents.sh", directory], cwd=commands.ROOT, check=True)
    return {kind: Document(directory / f"{kind}.ps") for kind in KINDS}


def inner(work):
    documents = make_documents(work)
    jobs = [documents[kind].write(work / f"{kind}.ps", 8 * MEGABYTE) for kind in KINDS]
    subprocess.run([commands.INNER, *jobs], check=True)


def queue_only(options, work) -> dict:
    documents = make_documents(work)
    return of_queue(documents["text"], work / "documents" / "chain", options, work)


def main():
    options = arguments()
    signal.signal(signal.SIGTERM, lambda *_: stop("ended by a signal"))  # so that the jobs are removed
    last = commands.BUILD / "results.json"
    if options.again:
        results = json.loads(last.read_text())
    else:
        with temporary(commands.BUILD) as work:
            if options.inner:
                inner(work)
                return
            if options.queue:
                results = queue_only(options, work)
                print(report.queue_section(results))
                if not options.no_docs:
                    report.write_queue_section(results, commands.ROOT)
                return
            results = run_all(options, work)
        last.write_text(json.dumps(results, indent=1))
    if not 0.9 < results["again"][0] <= results["again"][1] < 1.1:
        say("the second cat was often more than 10 % off the first: measure again on a quiet machine")
    if options.no_docs:
        print(report.tables(results))
    else:
        report.write(results, commands.ROOT)
        print(report.tables(results))


if __name__ == "__main__":
    main()
