"""Results that are kept between runs, the mutants known to be equivalent, and the mutation score."""

import collections
import json

from mutants import without_comment

COLUMNS = ("killed", "timeout", "survived", "equivalent", "unfinished")


class Results:
    """The outcome of each mutant, which is kept until its file changes."""

    def __init__(self, path):
        self.by_key = {}
        if path.exists():
            for line in path.read_text().splitlines():
                result = json.loads(line)
                self.by_key[result["key"]] = result
        self.log = path.open("a")

    def add(self, mutant, outcome, by, seconds):
        result = {"key": mutant.key, "line": mutant.line, "outcome": outcome, "by": by,
                  "seconds": round(seconds, 1)}
        self.by_key[mutant.key] = result
        self.log.write(json.dumps(result) + "\n")
        self.log.flush()

    def outcome(self, mutant):
        return self.by_key.get(mutant.key, {}).get("outcome")

    def kills(self):
        for result in self.by_key.values():
            if result["outcome"] in ("killed", "timeout"):
                yield result["key"].split()[0], result["line"], result["by"]


def equivalent_mutants(path):
    """(file, line before, line after) of each mutant that the file explains."""
    known = []
    file = before = after = None
    for line in path.read_text(encoding="latin-1").splitlines():
        if line.startswith("- "):
            before = line[2:].strip()
        elif line.startswith("+"):
            after = line[1:].strip()
        elif line.startswith("= "):
            known.append((file, without_comment(before), without_comment(after)))
        elif line and not line.startswith(("#", " ")):
            file = line.strip()
    return known


def show(outcomes):
    """Prints a summary of (mutant, outcome) pairs, and returns the mutation score: the share of killed
    mutants among those that are not equivalent."""
    rows = collections.defaultdict(collections.Counter)
    for mutant, outcome in outcomes:
        rows[mutant.library][outcome] += 1
    total = sum(rows.values(), collections.Counter())
    print(f"\n{'':10}" + "".join(f"{column:>12}" for column in COLUMNS))
    for name, row in [*sorted(rows.items()), ("all", total)]:
        print(f"{name:10}" + "".join(f"{row[column]:12}" for column in COLUMNS))
    killed = total["killed"] + total["timeout"]
    tested = killed + total["survived"]
    score = 100 * killed / max(tested, 1)
    print(f"\nmutation score: {score:.1f} % ({killed} of {tested} mutants)")
    survivors = (mutant for mutant, outcome in outcomes if outcome == "survived")
    for mutant in sorted(survivors, key=lambda m: (m.file, m.line)):
        print(mutant)
    return score
