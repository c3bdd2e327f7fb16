"""Parses a man page into sections of entries, each with its tags and its text."""

import re

# Macros that alternate fonts and join their arguments without blanks.
ALTERNATING = {"BI", "BR", "IB", "IR", "RB", "RI"}
ESCAPES = [(r"\\f[BIRP]", ""), (r"\\\(aq", "'"), (r"\\\(dq", '"'), (r"\\[&:]", ""),
           (r"\\-", "-"), (r"\\e", "\\\\")]


def plain(text):
    for pattern, replacement in ESCAPES:
        text = re.sub(pattern, replacement, text)
    return text


def arguments(text):
    """The arguments of a macro: words, or text in quotes that begin a word."""
    found = re.findall(r'"((?:[^"]|"")*)"(?= |$)|(\S+)', text)
    return [quoted or word for quoted, word in found]


class Entry:
    def __init__(self, tags):
        self.tags = tags
        self.text = ""


class Page:
    def __init__(self, path):
        self.sections = {}
        self.examples = []  # the text between .EX and .EE
        self.text = ""
        with open(path, encoding="utf-8") as file:
            self._read(file.read().splitlines())

    def tags(self, section):
        return [tag for entry in self.sections[section] for tag in entry.tags]

    def _read(self, lines):
        entries, depth, tag_follows, example = [Entry([])], 0, None, None
        for line in lines:
            macro, _, rest = line[1:].partition(" ") if line.startswith(".") else ("", "", line)
            if macro == "EE":
                self.examples.append("\n".join(example) + "\n")
                example = None
                continue
            if example is not None:
                example.append(plain(line))
                text = plain(line)
            elif macro in ("SH", "SS"):
                if macro == "SH":
                    entries = self.sections.setdefault(rest.strip('"'), [])
                entries.append(Entry([]))
                depth = 0
                continue
            elif macro == "EX":
                example = []
                continue
            elif macro in ("TP", "TQ") and depth == 0:
                tag_follows = macro
                continue
            elif macro in ("RS", "RE"):
                depth += 1 if macro == "RS" else -1
                continue
            elif macro in ALTERNATING:
                text = plain("".join(arguments(rest)))
            elif macro in ("B", "I"):
                text = plain(" ".join(arguments(rest)))
            elif macro == "PP":
                entries.append(Entry([]))
                continue
            elif macro:
                continue
            else:
                text = plain(line)
            self.text += text + "\n"
            if tag_follows == "TP":
                entries.append(Entry([text]))
            elif tag_follows:
                entries[-1].tags.append(text)
            else:
                entries[-1].text += text + "\n"
            tag_follows = None
