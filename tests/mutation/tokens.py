"""Splits a C++ source into tokens, as far as finding mutants needs it."""

import re

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<string>"(?:\\.|[^"\\\n])*")
  | (?P<char>'(?:\\.|[^'\\\n])*')
  | (?P<number>\b(?:0[xX][0-9a-fA-F']+|\d[\d']*(?:\.\d+)?)[uUlLfF]*\b)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><=>|<<=|>>=|->|\+\+|--|==|!=|<=|>=|&&|\|\||\+=|-=|\*=|/=|%=|&=|\|=|\^=|<<|>>|::|[^\s\w])
""", re.X | re.S)
DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.M)


def tokens_of(source):
    """Matches of TOKEN, without comments, preprocessor directives, static_asserts and attributes:
    none of these is behavior."""
    directives = [match.span() for match in DIRECTIVE.finditer(source)]
    all_tokens = []
    for token in TOKEN.finditer(source):
        while directives and directives[0][1] <= token.start():
            directives.pop(0)
        in_directive = directives and directives[0][0] <= token.start()
        if not in_directive and token.lastgroup != "comment":
            all_tokens.append(token)
    tokens, i = [], 0
    while i < len(all_tokens):
        if all_tokens[i][0] == "static_assert":
            i = closing(all_tokens, i + 1)
        elif source.startswith("[[", all_tokens[i].start()):
            end = source.index("]]", all_tokens[i].start()) + 1
            i = next(j for j in range(i, len(all_tokens)) if all_tokens[j].start() == end)
        else:
            tokens.append(all_tokens[i])
        i += 1
    return tokens


def closing(tokens, opening):
    """The index of the parenthesis that closes the one at `opening`, or None."""
    depth = 0
    for i in range(opening, len(tokens)):
        depth += (tokens[i][0] == "(") - (tokens[i][0] == ")")
        if depth == 0:
            return i
    return None
