"""Builds the tests with a mutant in a copy of the sources, and runs them until one fails."""

import contextlib
import hashlib
import json
import os
import re
import shlex
import shutil
import signal
import subprocess

QUICK = 0.5  # seconds: slower tests come last
FAVORITES = 25

PROGRAM = re.compile(r"^(\S+): CXX_(?:EXECUTABLE|MODULE_LIBRARY)_LINKER", re.M)
FAILED = re.compile(r"^\[  FAILED  \] ([\w/.]+)", re.M)
RUNNING = re.compile(r"^\[ RUN      \] ([\w/.]+)", re.M)


class Invalid(Exception):
    """The mutant does not compile."""


def run(command, seconds, cpu_seconds=None, **options):
    """Returns the exit status, or None after a timeout, and the output, and ends all processes that the
    command has started. A process that uses more than `cpu_seconds` is killed, which limits endless
    loops even on a busy machine."""
    limits = [f"--as={6 << 30}", f"--fsize={12 << 30}", "--core=0"]
    if cpu_seconds:
        limits.append(f"--cpu={int(cpu_seconds) + 1}")
    process = subprocess.Popen(
        ["prlimit", *limits, *command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT, text=True, encoding="latin-1", start_new_session=True, **options)
    try:
        output, _ = process.communicate(timeout=seconds)
        return process.returncode, output
    except subprocess.TimeoutExpired:
        return None, ""
    finally:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.communicate()


def parts(tests, size):
    """Lists of so few tests that one that hangs is found soon."""
    return [tests[i:i + size] for i in range(0, len(tests), size)]


class Suite:
    """A GoogleTest program: its tests, how long they take, and the order in which to run them."""

    def __init__(self, build, program, used):
        """`used` lists the other programs and modules that the tests start or load."""
        self.build, self.program, self.used = build, program, used
        self.name = program.rsplit("/")[-1]

    def digest(self):
        """A digest of everything that can change the results of the tests."""
        return hashlib.sha1(b"".join((self.build / file).read_bytes()
                                     for file in (self.program, *self.used))).hexdigest()

    def measure(self):
        """How long each test takes with the original. All must pass."""
        report = self.build / f"{self.name}.json"
        command = [self.build / self.program, f"--gtest_output=json:{report}"]
        status, text = run(command, 3600, cwd=self.build)
        if status != 0:
            raise SystemExit(f"{self.name} does not pass without a mutant:\n{text[-3000:]}")
        return {f"{suite['name']}.{test['name']}": float(test["time"].rstrip("s"))
                for suite in json.loads(report.read_text())["testsuites"] for test in suite["testsuite"]}

    def stages(self, favorites):
        """Three lists of tests to run together: the favorites, which have killed mutants like this, and
        one quick test of each GoogleTest suite; all other quick tests; the slow ones."""
        tried = [test for test in favorites if test in self.seconds][:FAVORITES]
        others = sorted((test for test in self.seconds if test not in tried), key=self.seconds.get)
        quick = [test for test in others if self.seconds[test] < QUICK]
        samples = {test.split(".")[0]: test for test in reversed(quick)}.values()
        return (parts(tried[:3], 3) + parts([*tried[3:], *samples], 50),
                parts([test for test in quick if test not in samples], 50),
                parts(others[len(quick):], 5))

    def run(self, tests):
        """(None when all pass, else "killed" or "timeout"; the test that failed)"""
        expected = sum(self.seconds[test] for test in tests)
        command = [self.build / self.program, "--gtest_fail_fast", "--gtest_filter=" + ":".join(tests)]
        status, output = run(command, 30 + 8 * expected, 10 + 4 * expected, cwd=self.build)
        if status == 0:
            return None, ""
        named = FAILED.findall(output) or RUNNING.findall(output)[-1:] or [self.name]
        return "timeout" if status is None else "killed", named[0]


class Worker:
    def __init__(self, root, directory):
        self.root, self.directory = root, directory
        self.source, self.build = directory / "source", directory / "build"
        # The compiler cache, if there is one, keeps the originals only.
        self.store = os.environ | {"CCACHE_DEPEND": "1", "CCACHE_BASEDIR": str(directory)}
        self.read_only = self.store | {"CCACHE_READONLY": "1"}

    # ---- the original

    def prepare(self):
        """Copies, builds and tests the sources without a mutant."""
        self.copy()
        self.configure()
        programs = PROGRAM.findall(self.ninja_tool("targets", "all"))
        self.fuzz_targets = [program for program in programs if program.startswith("fuzz/")]
        self.suites = []
        for program in programs:
            if program.endswith("_tests"):
                inputs = set(self.ninja_tool("inputs", program.rsplit("/")[-1]).split())
                used = sorted(inputs & set(programs) - {program})
                self.suites.append(Suite(self.build, program, used))
        status, text = self.ninja([s.program for s in self.suites] + self.fuzz_targets, self.store)
        if status != 0:
            raise SystemExit(f"the sources do not build without a mutant:\n{text[-3000:]}")
        self.measure()

    def copy(self):
        """Leaves unchanged files alone, so that they are not compiled again."""
        listed = subprocess.check_output(["git", "ls-files"], cwd=self.root, text=True).splitlines()
        files = {self.source / file: self.root / file for file in listed if (self.root / file).exists()}
        for old in self.source.rglob("*"):
            if old.is_file() and old not in files:
                old.unlink()
        for target, file in files.items():
            if not target.exists() or target.read_bytes() != file.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(file, target)

    def configure(self):
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

    def ninja_tool(self, *arguments):
        return subprocess.check_output(["ninja", "-C", self.build, "-t", *arguments], text=True)

    def ninja(self, targets, cache):
        return run(["ninja", "-C", self.build, *targets], 7200, env=cache)

    def measure(self):
        """Runs the suites that have changed since the last time."""
        path = self.directory / "durations.json"
        stored = json.loads(path.read_text()) if path.exists() else {}
        for suite in self.suites:
            suite.original = suite.digest()
            suite.seconds = stored.get(suite.original) or suite.measure()
        path.write_text(json.dumps({suite.original: suite.seconds for suite in self.suites}))
        self.seeds = self.directory / "seeds"
        subprocess.run([self.source / "fuzz" / "make-seeds", self.seeds], check=True)
        for target in self.fuzz_targets:
            if self.replay(target, 600):
                raise SystemExit(f"{target} does not pass without a mutant")

    # ---- a mutant

    def test(self, mutant, favorites):
        """Returns the outcome and what decided it. `favorites` are the tests to run first."""
        self.affected = {}
        path = self.source / mutant.file
        original = path.read_bytes()
        path.write_bytes(mutant.applied_to(original))
        try:
            return self.outcome(path, original, favorites)
        except Invalid:
            return "invalid", ""
        finally:
            path.write_bytes(original)

    def outcome(self, path, original, favorites):
        def rank(suite):  # the best favorite, then the shortest suite
            ranks = [i for i, test in enumerate(favorites) if test in suite.seconds]
            return min(ranks, default=len(favorites)), sum(suite.seconds.values())

        stages = [(suite, suite.stages(favorites)) for suite in sorted(self.suites, key=rank)]
        for stage in range(3):
            if stage == 2 and self.same_code(path, original):
                return "equivalent", "same code"
            for suite, tests_of in stages:
                for tests in tests_of[stage] if self.is_affected(suite) else ():
                    outcome, test = self.run_tests(suite, tests)
                    if outcome:
                        return outcome, test
        self.make(self.fuzz_targets)
        for target in self.fuzz_targets:
            if outcome := self.replay(target, 60):
                return outcome, target
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

    def run_tests(self, suite, tests):
        outcome, test = suite.run(tests)
        if outcome == "killed" and test in suite.seconds and not suite.run([test])[0]:
            return suite.run(tests)  # alone, the test passes: is it chance?
        return outcome, test

    def replay(self, target, seconds):
        """Runs a fuzz target with its seeds and findings: None, "killed" or "timeout"."""
        name = target.rsplit("fuzz_")[-1]
        inputs = [self.seeds / name, *(self.source / "fuzz" / "findings" / name).glob("*")]
        status, _ = run([self.build / target, *inputs], seconds, 30, cwd=self.build)
        return None if status == 0 else "timeout" if status is None else "killed"

    def same_code(self, path, original):
        """Whether the programs are identical, or the object files when compiled with optimization."""
        if not any(self.affected.values()):
            return True
        commands = json.loads((self.build / "compile_commands.json").read_text())
        command = next((c for c in commands if c["file"] == str(path)), None)
        if not command:
            return False  # a header
        mutated, made = path.read_bytes(), []
        for content, cache in ((mutated, self.read_only), (original, self.store)):
            path.write_bytes(content)
            made.append(self.optimized(command, cache))
        path.write_bytes(mutated)
        return made[0] == made[1]

    def optimized(self, command, cache):
        words = shlex.split(command["command"])
        output = self.directory / "optimized.o"
        words[words.index("-o") + 1] = str(output)
        if run([*words, "-O2"], 600, cwd=command["directory"], env=cache)[0] != 0:
            raise Invalid
        return output.read_bytes()
