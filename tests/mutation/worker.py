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

LONGEST = 1800  # seconds for one mutant
QUICK = 0.5  # seconds: slower tests come last
TOGETHER = 5  # seconds of tests in one call, so that a test that hangs is found soon
FAVORITES = 25

PROGRAM = re.compile(r"^(\S+): CXX_(?:EXECUTABLE|MODULE_LIBRARY)_LINKER", re.M)
FAILED = re.compile(r"^\[  FAILED  \] ([\w/.]+)", re.M)
RUNNING = re.compile(r"^\[ RUN      \] ([\w/.]+)", re.M)


class Invalid(Exception):
    """The mutant does not compile."""


class Suite:
    """A GoogleTest program: its tests, how long they take, and the order in which to run them."""

    def __init__(self, build, program, used, inputs):
        """`used` lists the other programs and modules that the tests start or load, `inputs` all files
        that they and the program are built from."""
        self.build, self.program, self.used, self.inputs = build, program, used, inputs
        self.name = program.rsplit("/")[-1]
        self.seconds = {}
        self.original = None

    def digest(self):
        """A digest of everything that can change the results of the tests."""
        return hashlib.sha1(b"".join((self.build / file).read_bytes()
                                     for file in (self.program, *self.used))).digest()

    def measure(self):
        """Runs all tests of the original, which must pass."""
        report = self.build / f"{self.name}.json"
        status, text = run([self.build / self.program, f"--gtest_output=json:{report}"], 3600, cwd=self.build)
        if status != 0:
            raise SystemExit(f"{self.name} does not pass without a mutant:\n{text[-3000:]}")
        self.seconds = {f"{suite['name']}.{test['name']}": float(test["time"].rstrip("s"))
                        for suite in json.loads(report.read_text())["testsuites"]
                        for test in suite["testsuite"]}

    def stages(self, favorites):
        """Three lists of tests to run together: the favorites, which have killed mutants like this, and one
        quick test of each GoogleTest suite; all other quick tests; the slow ones."""
        tried = [test for test in favorites if test in self.seconds][:FAVORITES]
        others = sorted((test for test in self.seconds if test not in tried), key=self.seconds.get)
        quick = [test for test in others if self.seconds[test] < QUICK]
        samples = {}
        for test in quick:
            samples.setdefault(test.split(".")[0], test)
        return ([*self.together(tried[:3]), *self.together(tried[3:]), *self.together(samples.values())],
                self.together(test for test in quick if test not in samples.values()),
                self.together(test for test in others if self.seconds[test] >= QUICK))

    def together(self, tests):
        parts, sum_of_part = [], float("inf")
        for test in tests:
            sum_of_part += self.seconds[test]
            if sum_of_part > TOGETHER:
                parts.append([])
                sum_of_part = self.seconds[test]
            parts[-1].append(test)
        return parts

    def run(self, tests, at_most):
        """(None when all pass, else "killed" or "timeout"; the test that failed)"""
        expected = sum(self.seconds[test] for test in tests)
        status, output = run([self.build / self.program, "--gtest_fail_fast", "--gtest_filter=" + ":".join(tests)],
                             min(30 + 8 * expected, at_most), 10 + 4 * expected, cwd=self.build)
        if status == 0:
            return None, ""
        named = FAILED.findall(output) or RUNNING.findall(output)[-1:]
        return "timeout" if status is None else "killed", named[0] if named else self.name


class Worker:
    def __init__(self, root, directory, results):
        self.root, self.directory, self.results = root, directory, results
        self.source, self.build = directory / "source", directory / "build"
        # The compiler cache, if there is one, is used for the originals only.
        self.store = os.environ | {"CCACHE_DEPEND": "1", "CCACHE_BASEDIR": str(directory)}
        self.read_only = self.store | {"CCACHE_READONLY": "1"}
        self.originals = {}  # object files of sources without a mutant

    # --- The build of the original -------------------------------------------------------------

    def prepare(self):
        """Copies and builds the sources. Returns a digest of what the tests depend on."""
        stamp = self.copy()
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
        self.suites = []
        for program in programs:
            if program.endswith("_tests"):
                inputs = set(self.ninja_tool("inputs", program.rsplit("/")[-1]).split())
                self.suites.append(Suite(self.build, program, sorted(inputs & set(programs) - {program}), inputs))
        self.fuzz_targets = [program for program in programs if program.startswith("fuzz/")]
        status, text = self.ninja([suite.program for suite in self.suites] + self.fuzz_targets, self.store)
        if status != 0:
            raise SystemExit(f"the sources do not build without a mutant:\n{text[-3000:]}")
        self.objects_of = collections.defaultdict(set)  # the object files that are made from each source and header
        for line in self.ninja_tool("deps").splitlines():
            if line.startswith("  "):
                self.objects_of[os.path.normpath(self.build / line.strip())].add(made)
            else:
                made = line.split(":")[0]
        for suite in self.suites:
            suite.original = suite.digest()
        self.seeds = self.directory / "seeds"
        subprocess.run([self.source / "fuzz" / "make-seeds", self.seeds], check=True)
        return stamp

    def copy(self):
        files = subprocess.run(["git", "ls-files"], cwd=self.root, check=True,
                               capture_output=True, text=True).stdout.splitlines()
        files = [file for file in files if (self.root / file).exists()]
        for old in self.source.rglob("*"):
            if old.is_file() and str(old.relative_to(self.source)) not in files:
                old.unlink()
        digest = hashlib.sha1()
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

    def ninja(self, targets, cache):
        return run(["ninja", "-C", self.build, *targets], 7200, cwd=self.directory, env=cache)

    def measure(self):
        """How long each test of each suite takes. All must pass."""
        for suite in self.suites:
            suite.measure()
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
        favorites = self.results.favorites(mutant)
        objects = self.objects_of[str(self.source / mutant.file)]

        def rank(suite):  # the best favorite, then what is built soonest
            ranks = [i for i, test in enumerate(favorites) if test in suite.seconds]
            return (min(ranks, default=len(favorites)), len(objects & suite.inputs), sum(suite.seconds.values()))

        stages = [(suite, suite.stages(favorites)) for suite in sorted(self.suites, key=rank)]
        for stage in range(3):
            if stage == 2 and self.same_code(mutant, original):
                return "equivalent", "same code"
            for suite, tests_of in stages:
                for tests in tests_of[stage] if self.is_affected(suite) else ():
                    outcome, test = self.run_tests(suite, tests)
                    if outcome:
                        return outcome, test
        self.make(self.fuzz_targets)
        for target in self.fuzz_targets:
            if outcome := self.replay(target, min(60, self.left())):
                return "unfinished" if self.left() <= 0 else outcome, target
        return "survived", ""

    def make(self, programs):
        if self.ninja(programs, self.read_only)[0] != 0:
            raise Invalid

    def is_affected(self, suite):
        """Whether the mutant is in any program that the suite runs."""
        if suite not in self.affected:
            self.make([suite.program, *suite.used])
            self.affected[suite] = suite.digest() != suite.original
        return self.affected[suite]

    def left(self):
        return self.deadline - time.monotonic()

    def run_tests(self, suite, tests):
        outcome, test = suite.run(tests, self.left())
        if outcome == "killed" and test in suite.seconds and not suite.run([test], self.left())[0]:
            outcome, test = suite.run(tests, self.left())  # after a crash, the other tests did not run
        return ("unfinished", suite.name) if outcome == "timeout" and self.left() <= 0 else (outcome, test)

    def replay(self, target, seconds):
        """Runs a fuzz target with its seeds and findings: None, "killed" or "timeout"."""
        name = target.rsplit("fuzz_")[-1]
        inputs = [self.seeds / name, *(self.source / "fuzz" / "findings" / name).glob("*")]
        status, _ = run([self.build / target, *inputs], seconds, 30, cwd=self.build)
        return None if status == 0 else "timeout" if status is None else "killed"

    def same_code(self, mutant, original):
        """Whether the programs are identical, or the object files when compiled with optimization."""
        if not any(self.affected.values()):
            return True
        path = self.source / mutant.file
        commands = json.loads((self.build / "compile_commands.json").read_text())
        command = next((c for c in commands if c["file"] == str(path)), None)
        if not command:
            return False  # a header
        if mutant.file not in self.originals:
            mutated = path.read_bytes()
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
