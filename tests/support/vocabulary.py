"""What the programs know, from their own tables; vocabulary.cpp describes it."""

import subprocess


class Vocabulary:
    def __init__(self, program):
        text = subprocess.run([program], stdout=subprocess.PIPE, check=True, text=True).stdout
        self._lines = [line.split("\t") for line in text.splitlines()]

    def names(self, *kinds):
        return [name for kind, name, *_ in self._lines if kind in kinds]

    def values(self, option):
        """The values of the option; for a booklet's, with what each sends."""
        return {value: "".join(sent) for kind, name, value, *sent in
                (line for line in self._lines if line[0] == "value") if name == option}
