"""Finds mutants: small changes to the sources in src/ that a test should detect."""

import collections
import hashlib
import random
import re
import subprocess

TOKEN = re.compile(r"""
    (?P<skipped>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*|\[\[.*?\]\])
  | (?P<string>"(?:\\.|[^"\\\n])*")
  | (?P<char>'(?:\\.|[^'\\\n])*')
  | (?P<number>\b(?:0[xX][0-9a-fA-F']+|\d[\d']*(?:\.\d+)?)[uUlLfF]*\b)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><=>|<<=|>>=|->|\+\+|--|==|!=|<=|>=|&&|\|\||\+=|-=|\*=|/=|%=|&=|\|=|\^=|<<|>>|::|[^\s\w])
""", re.X | re.S | re.M)
COMPARISONS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">"}
OPERATORS = COMPARISONS | {
    "&&": "||", "||": "&&", "+": "-", "-": "+", "/": "*", "%": "/", "&": "|", "|": "&",
    "<<": ">>", ">>": "<<", "+=": "-=", "-=": "+=", "&=": "|=", "|=": "&=",
}
WORDS = {"true": "false", "false": "true", "++": "--", "--": "++", "!": ""}
NO_STATEMENT = re.compile(
    r"(return|const|constexpr|consteval|constinit|static|using|struct|class|enum|namespace|"
    r"template|typedef|if|for|while|switch|case|else|do|default|public|private|inline|extern|auto|"
    r"static_assert|friend|explicit|volatile|unsigned|goto)\b")
STATEMENT = re.compile(r"(\+\+|--|\*)?[\w:.>\-\[\]()<*]+?(\[[^\]]*\])?\s*(=|\+=|-=|\|=|&=|\(|\+\+|--)")
DECLARATION = re.compile(r"[\w>&*]\s+[\w*&]")
TABLE_ROW = re.compile(r'(\s*\{\s*(?:"(?:\\.|[^"\\])*"))(,.*\S)(\s*\},)')


def without_comment(line):
    """A key made of the code alone, so that explanations stay valid if comments or columns change."""
    return " ".join(re.sub(r"//.*", "", line).split())


class Mutant:
    """A mutant in which `text` replaces the bytes from `begin` to `end` of a source."""

    def __init__(self, file, source, kind, begin, end, text):
        self.file, self.kind, self.begin, self.end, self.text = file, kind, begin, end, text
        self.line = source.count("\n", 0, begin) + 1
        first = source.rfind("\n", 0, begin) + 1
        last = source.find("\n", end)
        self.before = source[first:last].strip()
        self.after = (source[first:begin] + text + source[end:last]).strip()
        self.change = (file, without_comment(self.before), without_comment(self.after))
        self.library = file.split("/")[1]  # src/LIBRARY/...
        digest = hashlib.sha1(source.encode("latin-1")).hexdigest()
        self.key = f"{file} {digest[:12]} {begin} {end} {kind} {text}"

    def applied_to(self, source):
        return source[:self.begin] + self.text.encode("latin-1") + source[self.end:]

    def __str__(self):
        return f"{self.file}:{self.line}: {self.kind}\n    - {self.before}\n    + {self.after}"


def closing(tokens, opening):
    """The index of the parenthesis that closes the one at `opening`, or None."""
    depth = 0
    for i in range(opening, len(tokens)):
        depth += (tokens[i][0] == "(") - (tokens[i][0] == ")")
        if depth == 0:
            return i
    return None


def tokens_of(source):
    """Matches of TOKEN, without comments, preprocessor directives, attributes and static_asserts:
    none of these is behavior."""
    tokens = [token for token in TOKEN.finditer(source) if token.lastgroup != "skipped"]
    for i in reversed(range(len(tokens))):
        if tokens[i][0] == "static_assert":
            del tokens[i:closing(tokens, i + 1) + 1]
    return tokens


def next_number(text):
    parts = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[\d']+)(\.\d+)?([uUlLfF]*)", text)
    digits, fraction, suffix = parts.groups("")
    base = 16 if digits.lower().startswith("0x") else 10
    value = int(digits.replace("'", ""), base) + 1
    return (f"0x{value:x}" if base == 16 else f"{value}{fraction}") + suffix


def changed_literals(text):
    """The string literal with another first character, and without its last one."""
    characters = re.findall(r"(?s)\\(?:x[0-9a-fA-F]+|[0-7]{1,3}|.)|.", text[1:-1])
    first = "y" if characters[:1] == ["x"] else "x"
    yield "string", f'"{first}{"".join(characters[1:])}"'
    if len(characters) > 1:
        yield "string end", f'"{"".join(characters[:-1])}"'


def of_tokens(source, tokens):
    """Changed operators, constants, literals and conditions."""
    for i, token in enumerate(tokens):
        text, begin, end = token[0], token.start(), token.end()
        spaced = source[begin - 1] in " \n" and source[end:end + 1] in (" ", "\n")
        before = tokens[i - 1][0] if i else ""
        if text in OPERATORS and spaced and before not in ("operator", ",", "(", "=", "return"):
            near_string = "string" in (tokens[i - 1].lastgroup, tokens[i + 1].lastgroup)
            if not (text in "+-" and near_string):  # strings cannot be subtracted
                yield "comparison" if text in COMPARISONS else "operator", begin, end, OPERATORS[text]
        elif text in WORDS:
            yield "constant" if token.lastgroup == "word" else "operator", begin, end, WORDS[text]
        elif token.lastgroup == "number":
            yield "constant", begin, end, next_number(text)
        elif token.lastgroup == "char":
            yield "constant", begin, end, "'y'" if text == "'x'" else "'x'"
        elif token.lastgroup == "string":
            for name, changed in changed_literals(text):
                yield name, begin, end, changed
        elif text == "if" and tokens[i + 1][0] == "(":
            first, last = tokens[i + 1].end(), tokens[closing(tokens, i + 1)].start()
            if ";" not in source[first:last]:
                yield "condition", first, last, f"!({source[first:last]})"


def of_statements(source, tokens):
    """Removed statements."""
    ends_of_heads = {closing(tokens, i + 1) for i, token in enumerate(tokens[:-1])
                     if token[0] in ("if", "for", "while", "switch") and tokens[i + 1][0] == "("}
    first, depth = 0, 0
    for i, token in enumerate(tokens):
        depth += (token[0] == "(") - (token[0] == ")")
        if depth != 0 or not (token[0] in ("{", "}", ";", ":") or i in ends_of_heads):
            continue
        if token[0] == ";" and first < i:
            begin, end = tokens[first].start(), token.start()
            statement = source[begin:end]
            head = statement.split("=")[0].split("(")[0]
            if statement == "break" or (STATEMENT.match(statement) and not
                                        (NO_STATEMENT.match(statement) or DECLARATION.search(head))):
                yield "statement", begin, end, "\n" * statement.count("\n")
        first = i + 1


def of_tables(source):
    """Neighboring rows of a table with their values exchanged."""
    start, above = 0, None
    for line in source.splitlines(keepends=True):
        row = TABLE_ROW.match(line)
        values = (start + row.start(2), start + row.end(2)) if row else None
        if above and values:
            upper, lower = source[slice(*above)], source[slice(*values)]
            if upper.split() != lower.split():
                yield "table rows", above[0], values[1], lower + source[above[1]:values[0]] + upper
        above = values
        start += len(line)


def all_mutants(root):
    files = subprocess.check_output(["git", "ls-files", "src/*.cpp", "src/*.h"], cwd=root, text=True)
    for file in sorted(files.split()):
        source = (root / file).read_bytes().decode("latin-1")
        tokens = tokens_of(source)
        for found in (of_tokens(source, tokens), of_statements(source, tokens), of_tables(source)):
            for change in found:
                yield Mutant(file, source, *change)


def spread(mutants, seed):
    """Shuffled, and taken in turn from each library and kind."""
    cells = collections.defaultdict(list)
    for mutant in mutants:
        cells[mutant.library, mutant.kind].append(mutant)
    order = random.Random(seed)
    for cell in sorted(cells):
        order.shuffle(cells[cell])
    result = []
    while cells:
        for cell in sorted(cells):
            result.append(cells[cell].pop())
            if not cells[cell]:
                del cells[cell]
    return result
