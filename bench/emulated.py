#!/usr/bin/env -S python3 -B
"""Counts the instructions that a filter built for another processor takes per byte of its job, in an
emulator (Debian's package qemu-user) that reports each one. Takes about a minute per kind of job.

usage: bench/emulated.py [--at-most N] EMULATOR FILTER [KIND ...]

For a build in build/arm64, with the libraries of that architecture below DIRECTORY, and for an amd64
processor without AVX2:

    QEMU_LD_PREFIX=DIRECTORY bench/emulated.py qemu-aarch64 build/arm64/jobshaper
    QEMU_CPU=Nehalem bench/emulated.py qemu-x86_64 build/release/jobshaper

Subtracts the instructions for a job of 1 MB from those for 2 MB, so that the start does not count. With
--at-most, fails if a kind takes more.
"""

import argparse
import concurrent.futures
import os
import pathlib
import subprocess
import sys
import tempfile

import commands
from jobs import KINDS, Document

USUAL = ["text", "hex", "ascii85", "binary"]


def one_by_one(emulator: str) -> str:
    """The option to translate single instructions, whose name depends on the version."""
    usage = subprocess.run([emulator, "--help"], capture_output=True, text=True, check=False).stdout
    return "-one-insn-per-tb" if "-one-insn-per-tb" in usage else "-singlestep"


def instructions(emulator: str, program: pathlib.Path, job: pathlib.Path, directory: pathlib.Path) -> int:
    """The lines of the emulator's log, which goes to standard error."""
    command = commands.Command("", tuple(commands.cups_arguments(program)))
    environment = command.prepare(directory) | {name: value for name, value in os.environ.items()
                                             if name.startswith("QEMU_")}
    filtering = [emulator, one_by_one(emulator), "-d", "exec,nochain", *command.argv]
    with job.open("rb") as stream, subprocess.Popen(
            filtering, env=environment, stdin=stream, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as run:
        lines = subprocess.run(["grep", "-c", "^Trace "], env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"},
                               stdin=run.stderr, stdout=subprocess.PIPE, check=True).stdout
    if run.returncode != 0:
        sys.exit(f"bench/emulated.py: {program} failed on {job.name}: {run.returncode}")
    return int(lines)


def main() -> int:
    parser = argparse.ArgumentParser(prog="bench/emulated.py", usage=__doc__.split("usage: ")[1].split("\n")[0])
    parser.add_argument("emulator")
    parser.add_argument("filter", type=pathlib.Path)
    parser.add_argument("kinds", nargs="*", metavar="KIND")
    parser.add_argument("--at-most", type=float)
    options = parser.parse_args()
    for kind in options.kinds:
        if kind not in KINDS:
            parser.error(f"{kind}: none of {', '.join(KINDS)}")
    failed = False
    with tempfile.TemporaryDirectory() as name, \
            concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        work = pathlib.Path(name)
        subprocess.run([commands.ROOT / "bench" / "make-documents.sh", work], check=True)
        for kind in options.kinds or USUAL:
            document = Document(work / f"{kind}.ps")
            jobs = [document.write(work / f"{kind}-{size}", size * 1_000_000) for size in (1, 2)]
            less, more = workers.map(
                lambda job: instructions(options.emulator, options.filter.resolve(), job, work), jobs)
            result = (more - less) / (jobs[1].stat().st_size - jobs[0].stat().st_size)
            too_many = options.at_most is not None and result > options.at_most
            print(f"{KINDS[kind]}: {result:.2f}{' (too many)' if too_many else ''}", flush=True)
            failed |= too_many
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
