"""A GoogleTest program: its tests, how long they take, and the order in which to run them."""

import hashlib
import json
import re

from process import run

QUICK = 0.5  # seconds: slower tests come last
TOGETHER = 5  # seconds of tests in one call, so that a test that hangs is found soon
FAVORITES = 25

FAILED = re.compile(r"^\[  FAILED  \] ([\w/.]+)", re.M)
RUNNING = re.compile(r"^\[ RUN      \] ([\w/.]+)", re.M)


class Suite:
    def __init__(self, build, program, used, inputs):
        """`used` lists the other programs and modules that the tests start or load, `inputs` all files
        that they and the program are built from."""
        self.build, self.program, self.used, self.inputs = build, program, used, inputs
        self.name = program.rsplit("/")[-1]
        self.seconds = {}
        self.original = None

    def digest(self):
        """A digest of everything that can change the results of the tests."""
        digest = hashlib.sha1()
        for file in (self.program, *self.used):
            digest.update((self.build / file).read_bytes())
        return digest.digest()

    def measure(self):
        """Runs all tests of the original. Returns what failed, or ""."""
        report = self.build / f"{self.name}.json"
        status, text = run([self.build / self.program, f"--gtest_output=json:{report}"], 3600,
                           cwd=self.build)
        if status != 0:
            return f"{self.name} does not pass without a mutant:\n{text[-3000:]}"
        for suite in json.loads(report.read_text())["testsuites"]:
            for test in suite["testsuite"]:
                self.seconds[f"{suite['name']}.{test['name']}"] = float(test["time"].rstrip("s"))
        return ""

    # The three stages of testing a mutant, each as lists of tests to run together. `favorites` are
    # tests that have killed others like it.

    def first(self, favorites):
        """The favorites and one quick test of each GoogleTest suite."""
        here = self.favorites_here(favorites)
        yield from self.together(here[:3])
        yield from self.together(here[3:])
        yield from self.together(self.samples(favorites))

    def quick(self, favorites):
        samples = self.samples(favorites)
        yield from self.together([t for t in self.others(favorites)
                                  if self.seconds[t] < QUICK and t not in samples])

    def slow(self, favorites):
        yield from self.together([t for t in self.others(favorites) if self.seconds[t] >= QUICK])

    def favorites_here(self, favorites):
        return [test for test in favorites if test in self.seconds][:FAVORITES]

    def others(self, favorites):
        tried = self.favorites_here(favorites)
        return sorted((test for test in self.seconds if test not in tried), key=self.seconds.get)

    def samples(self, favorites):
        quickest = {}
        for test in self.others(favorites):
            if self.seconds[test] < QUICK:
                quickest.setdefault(test.split(".")[0], test)
        return list(quickest.values())

    def together(self, tests):
        part, sum_of_part = [], 0
        for test in tests:
            if part and sum_of_part + self.seconds[test] > TOGETHER:
                yield part
                part, sum_of_part = [], 0
            part.append(test)
            sum_of_part += self.seconds[test]
        if part:
            yield part

    def run(self, tests, at_most):
        """(None when all pass, else "killed" or "timeout"; the test that failed)"""
        expected = sum(self.seconds[test] for test in tests)
        status, output = run([self.build / self.program, "--gtest_fail_fast",
                              "--gtest_filter=" + ":".join(tests)],
                             min(30 + 8 * expected, at_most), 10 + 4 * expected, cwd=self.build)
        if status == 0:
            return None, ""
        named = FAILED.findall(output) or RUNNING.findall(output)[-1:]
        return "timeout" if status is None else "killed", named[0] if named else self.name
