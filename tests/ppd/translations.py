#!/usr/bin/env python3
"""Every text of every option is translated, and the PPD files hold the translations.

    translations.py CATALOG-DIRECTORY INSTRUCTION-TEXTS PPD...
"""

import pathlib
import re
import sys

from ppd import Checks, Ppd

catalogs, instructions = (pathlib.Path(path) for path in sys.argv[1:3])
ppds = [Ppd(path) for path in sys.argv[3:]]
checks = Checks()


def texts_of(ppd):
    """The English texts: (keyword, name) -> text, under the keywords of their translations."""
    # libcups itself has the English text of the user's own PIN, so ppdc leaves it out.
    texts = {(key, name): text or "A PIN of your own" for key, name, text, _ in ppd.entries
             if key in ("CustomJRHOLDKEY", "ParamCustomJRHOLDKEY")}
    texts |= {("Translation", name): text for name, text in ppd.groups.items()}
    for name, option in ppd.options.items():
        if name != "PageRegion":  # users do not see it
            texts["Translation", name] = option.text
            texts |= {(name, choice): text for choice, (text, _) in option.choices.items()}
    return texts


def check_catalog(language, texts):
    """Returns the translations: English text -> text."""
    content = (catalogs / f"quorvan-{language}.po").read_text(encoding="utf-8")
    entries = re.findall(r'^msgid "(.+)"\nmsgstr "(.*)"$', content, re.MULTILINE)
    catalog = dict(entries)
    checks.check(len(catalog) == len(entries) == content.count("msgid"), f"{language}: every entry once")
    for text in texts:
        translation = catalog.get(text, "")
        checks.check(translation, f'{language}: no translation of "{text}"')
        checks.check(len(translation.encode()) <= 80 and not set(translation) & set(':"/<>'),
                     f'{language}: a PPD file cannot hold "{translation}"')
        if language == "ja" and len(text) > 3 and not re.search(r"\(JIS\)|dpi|US CMYK", text):
            checks.check(re.search("[\u3040-\u30ff\u4e00-\u9fff]", translation),
                         f'ja: "{translation}" is not Japanese')
    # A translation may be the same as the English text, but only a few may.
    same = [text for text in texts if len(text) > 7 and catalog.get(text) == text]
    checks.check(len(same) < 12, f"{language}: not translated: {same}")
    # Sizes and numbers need no translation, but may have one.
    unused = {text for text in catalog.keys() - texts if not re.fullmatch(r"A[3-6]|\d \(\w+\)", text)}
    checks.same(f"{language}: texts that nobody needs", unused, set())
    return catalog


english = {ppd: texts_of(ppd) for ppd in ppds}
# A number is the same everywhere.
everything = {text for texts in english.values() for text in texts.values()
              if re.search("[A-Za-z]{2}", text)}
checks.check(len(everything) > 150, f"only {len(everything)} texts")
languages = {path.stem for path in instructions.glob("*.txt")} - {"en"}
checks.same("languages of the instruction pages", len(languages), 7)
for language in sorted(languages):
    translations = check_catalog(language, everything)
    for ppd, texts in english.items():
        title = f"{ppd.name}: {language}"
        held = {(key.removeprefix(f"{language}."), name): text for key, name, text, _ in ppd.entries
                if key.startswith(f"{language}.")}
        wrong = {place: held.get(place) for place, text in texts.items()
                 if held.get(place) != translations.get(text, text)}
        checks.same(f"{title}: texts that are not translated", wrong, {})
        general = held.get(("Translation", "General"))  # the group of the paper size
        checks.check(general and (language == "es" or general != "General"), f"{title}: {general}")
        checks.check(language in (ppd.value("cupsLanguages") or "").split(), f"{title}: *cupsLanguages")
checks.exit(at_least=1000)
