"""Builds the tests with a mutant in a copy of the sources, and runs them until one fails."""

import collections
import contextlib
import hashlib
import json
import os
import re
import shlex
import shutil
import subprocess
import time

from process import run
from suite import Suite

LONGEST = 1800  # seconds for one mutant
PROGRAM = re.compile(r"^(\S+): CXX_(?:EXECUTABLE|MODULE_LIBRARY)_LINKER", re.M)


class Invalid(Exception):
    """The mutant does not compile."""


class Kills:
    """Records which tests killed mutants: they are likely to kill mutants near them."""

    def __init__(self, earlier):
        self.by_file = collections.defaultdict(list)
        for file, line, test in earlier:
            self.add(file, line, test)

    def add(self, file, line, test):
        self.by_file[file].append((line, test))

    def favorites(self, mutant):
        weights = collections.Counter()
        for file, kills in list(self.by_file.items()):
            if file.split("/")[1] != mutant.library:
                continue
            for line, test in kills:
                near = 1 / (1 + abs(line - mutant.line) / 10) if file == mutant.file else 0
                weights[test] += 0.01 + near
        return [test for test, _ in weights.most_common()]


class Worker:
    def __init__(self, root, directory, kills):
        self.root, self.directory, self.kills = root, directory, kills
        self.source, self.build = directory / "source", directory / "build"
        # The compiler cache, if there is one, is used for the originals only.
        self.store = os.environ | {"CCACHE_DEPEND": "1", "CCACHE_BASEDIR": str(directory)}
        self.read_only = self.store | {"CCACHE_READONLY": "1"}
        self.originals = {}  # object files of sources without a mutant

    # --- The build of the original -------------------------------------------------------------

    def prepare(self):
        """Copies and builds the sources. Returns a digest of what the tests depend on."""
        files = subprocess.run(["git", "ls-files"], cwd=self.root, check=True,
                               capture_output=True, text=True).stdout.splitlines()
        files = [file for file in files if (self.root / file).exists()]
        stamp = self.copy(files)
        flags = ["-DCMAKE_BUILD_TYPE=Debug",
                 # Compiles as fast as -O0, and the tests run in half the time.
                 "-DCMAKE_CXX_FLAGS_DEBUG=-O1",
                 "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DJOBSHAPER_TEST_BYTE_READS=OFF",
                 # A program that cannot start must fail in the tests, not in the build.
                 "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]
        if shutil.which("ccache"):
            flags.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        if shutil.which("ld.lld"):
            flags += [f"-DCMAKE_{kind}_LINKER_FLAGS=-fuse-ld=lld" for kind in ("EXE", "MODULE")]
        subprocess.run(["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build, *flags],
                       check=True, stdout=subprocess.DEVNULL)
        programs = PROGRAM.findall(self.ninja_tool("targets", "all"))
        self.suites = [self.suite(program, programs) for program in programs
                       if program.endswith("_tests")]
        self.fuzz_targets = [program for program in programs if program.startswith("fuzz/")]
        status, text = self.ninja([suite.program for suite in self.suites] + self.fuzz_targets,
                                  self.store)
        if status != 0:
            raise SystemExit(f"the sources do not build without a mutant:\n{text[-3000:]}")
        self.objects_of = self.objects_by_source()
        for suite in self.suites:
            suite.original = suite.digest()
        self.seeds = self.directory / "seeds"
        subprocess.run([self.source / "fuzz" / "make-seeds", self.seeds], check=True)
        return stamp

    def copy(self, files):
        digest = hashlib.sha1()
        for old in self.source.rglob("*") if self.source.exists() else ():
            if old.is_file() and str(old.relative_to(self.source)) not in files:
                old.unlink()
        for file in files:
            target, content = self.source / file, (self.root / file).read_bytes()
            if file.startswith(("src/", "tests/", "fuzz/", "CMake")):
                digest.update(file.encode() + content)
            if not target.exists() or target.read_bytes() != content:
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(self.root / file, target)
        return digest.hexdigest()

    def ninja_tool(self, *arguments):
        return subprocess.run(["ninja", "-C", self.build, "-t", *arguments], check=True,
                              capture_output=True, text=True).stdout

    def suite(self, program, programs):
        inputs = set(self.ninja_tool("inputs", program.rsplit("/")[-1]).split())
        return Suite(self.build, program, sorted(inputs & set(programs) - {program}), inputs)

    def objects_by_source(self):
        """The object files that are made from each source and header."""
        objects = collections.defaultdict(set)
        for line in self.ninja_tool("deps").splitlines():
            if line.startswith("  "):
                objects[os.path.normpath(self.build / line.strip())].add(made)
            else:
                made = line.split(":")[0]
        return objects

    def ninja(self, targets, cache):
        return run(["ninja", "-C", self.build, *targets], 7200, cwd=self.directory,
                   env=cache)

    def measure(self):
        """How long each test of each suite takes. All must pass."""
        for suite in self.suites:
            if failure := suite.measure():
                raise SystemExit(failure)
        for target in self.fuzz_targets:
            if self.replay(target, 600):
                raise SystemExit(f"{target} does not pass without a mutant")
        return {suite.name: suite.seconds for suite in self.suites}

    def use_durations(self, durations):
        for suite in self.suites:
            suite.seconds = durations[suite.name]

    # --- A mutant ------------------------------------------------------------------------------

    def test(self, mutant):
        """Returns the outcome and what decided it."""
        self.deadline = time.monotonic() + LONGEST
        self.affected = {}
        try:
            with self.applied(mutant) as original:
                return self.outcome(mutant, original)
        except Invalid:
            return "invalid", ""

    @contextlib.contextmanager
    def applied(self, mutant):
        path = self.source / mutant.file
        original = path.read_bytes()
        path.write_bytes(mutant.applied_to(original))
        try:
            yield original
        finally:
            path.write_bytes(original)

    def outcome(self, mutant, original):
        favorites = self.kills.favorites(mutant)
        suites = self.in_order(mutant, favorites)
        for stage in (Suite.first, Suite.quick, Suite.slow):
            if stage == Suite.slow and self.same_code(mutant, original):
                return "equivalent", "same code"
            for suite in suites:
                if not self.is_affected(suite):
                    continue
                for tests in stage(suite, favorites):
                    outcome, test = self.run_tests(suite, tests)
                    if outcome in ("killed", "timeout"):
                        self.kills.add(mutant.file, mutant.line, test)
                    if outcome:
                        return outcome, test
        return self.replay_all()

    def in_order(self, mutant, favorites):
        """Sorts suites: first those with the best favorite, then those that are built soonest."""
        objects = self.objects_of[str(self.source / mutant.file)]

        def rank(suite):
            ranks = [i for i, test in enumerate(favorites) if test in suite.seconds]
            return (min(ranks, default=len(favorites)), len(objects & suite.inputs),
                    sum(suite.seconds.values()))
        return sorted(self.suites, key=rank)

    def is_affected(self, suite):
        """Whether the mutant is in any program that the suite runs."""
        if suite not in self.affected:
            status, _ = self.ninja([suite.program, *suite.used], self.read_only)
            if status != 0:
                raise Invalid
            self.affected[suite] = suite.digest() != suite.original
        return self.affected[suite]

    def left(self):
        return self.deadline - time.monotonic()

    def run_tests(self, suite, tests):
        outcome, test = suite.run(tests, self.left())
        if outcome == "killed" and test in suite.seconds:
            again, _ = suite.run([test], self.left())
            if not again:  # a crash, after which the other tests did not run
                outcome, test = suite.run(tests, self.left())
        if outcome == "timeout" and self.left() <= 0:
            return "unfinished", suite.name
        return outcome, test

    def replay_all(self):
        status, _ = self.ninja(self.fuzz_targets, self.read_only)
        if status != 0:
            raise Invalid
        for target in self.fuzz_targets:
            outcome = self.replay(target, min(60, self.left()))
            if outcome:
                return "unfinished" if self.left() <= 0 else outcome, target
        return "survived", ""

    def replay(self, target, seconds):
        name = target.rsplit("fuzz_")[-1]
        inputs = [self.seeds / name, *(self.source / "fuzz" / "findings" / name).glob("*")]
        status, _ = run([self.build / target, *inputs], seconds, 30, cwd=self.build)
        if status == 0:
            return None
        return "timeout" if status is None else "killed"

    def same_code(self, mutant, original):
        """Whether the object files are identical, or are identical when compiled with optimization."""
        if not any(self.affected.values()):
            return True
        path = self.source / mutant.file
        commands = json.loads((self.build / "compile_commands.json").read_text())
        command = next((c for c in commands if c["file"] == str(path)), None)
        if not command:
            return False  # a header
        mutated = path.read_bytes()
        if mutant.file not in self.originals:
            path.write_bytes(original)
            self.originals[mutant.file] = self.optimized(command)
            path.write_bytes(mutated)
        made = self.optimized(command)
        return made is not None and made == self.originals[mutant.file]

    def optimized(self, command):
        words = shlex.split(command["command"])
        output = self.directory / "optimized.o"
        words[words.index("-o") + 1] = str(output)
        status, _ = run([*words, "-O2"], 600, cwd=command["directory"], env=self.read_only)
        return output.read_bytes() if status == 0 else None
