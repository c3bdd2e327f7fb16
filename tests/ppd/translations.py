#!/usr/bin/env python3
"""Every text of every option is translated, and the PPD files hold the translations.

    translations.py CATALOG-DIRECTORY INSTRUCTION-TEXTS PPD...
"""

import glob
import os
import re
import sys

from ppd import Checks, Ppd

catalogs, instructions = sys.argv[1:3]
ppds = [Ppd(path) for path in sys.argv[3:]]
checks = Checks()

languages = {os.path.basename(p)[:-4] for p in glob.glob(f"{instructions}/*.txt")} - {"en"}
checks.check(len(languages) == 7, f"languages of the instruction pages: {languages}")


def in_words(text):
    """Whether there is anything to translate: a number is the same everywhere."""
    return re.search(r"[A-Za-z]{2}", text)


def read_catalog(language):
    with open(f"{catalogs}/quorvan-{language}.po", encoding="utf-8") as file:
        content = file.read()
    entries = re.findall(r'^msgid "(.+)"\nmsgstr "(.*)"$', content, re.MULTILINE)
    checks.check(len(dict(entries)) == len(entries) == content.count("msgid"),
                 f"{language}: every entry once")
    return dict(entries)


def custom_texts(ppd):
    """The texts of the PIN that a user types: (keyword, name) -> text."""
    # libcups itself has the English text of the choice, so ppdc leaves it out.
    return {(key, option): text or "A PIN of your own" for key, option, text, _ in ppd.entries
            if key in ("CustomJRHOLDKEY", "ParamCustomJRHOLDKEY")}


texts = set()
for ppd in ppds:
    texts |= set(ppd.groups.values())
    texts |= set(custom_texts(ppd).values())
    for option in ppd.options.values():
        texts |= {option.text} | {choice.text for choice in option.choices.values()}
texts = {text for text in texts if in_words(text)}
checks.check(len(texts) > 150, f"only {len(texts)} texts")

# A translation may be the same as the English text, but only a few may.
for language in sorted(languages):
    catalog = read_catalog(language)
    for text in texts:
        translation = catalog.get(text, "")
        checks.check(translation, f'{language}: no translation of "{text}"')
        checks.check(len(translation.encode()) <= 80 and not set(translation) & set(':"/<>'),
                     f'{language}: a PPD file cannot hold "{translation}"')
        if language == "ja" and len(text) > 3 and "(JIS)" not in text and "dpi" not in text:
            checks.check(re.search("[\u3040-\u30ff\u4e00-\u9fff]", translation) or text == "US CMYK",
                         f'ja: "{translation}" is not Japanese')
    same = [text for text in texts if len(text) > 7 and catalog.get(text) == text]
    checks.check(len(same) < 12, f"{language}: not translated: {same}")
    for text in set(catalog) - texts:
        checks.check(not in_words(text) and text in {"A3", "A4", "A5", "A6", "1 (light)", "5 (dark)"}
                     or re.fullmatch("A[3-6]", text), f'{language}: nobody needs "{text}"')

    for ppd in ppds:
        held = {(key, option): text for key, option, text, _ in ppd.entries
                if key.startswith(language + ".")}

        def expect(key, option, text):
            wanted = catalog.get(text, text)
            checks.check(held.get((f"{language}.{key}", option)) == wanted,
                         f"{ppd.name}: *{language}.{key} {option} is not \"{wanted}\"")

        general = held.get((f"{language}.Translation", "General"))
        checks.check(general and (language == "es" or general != "General"),
                     f"{ppd.name}: {language}: the group of the paper size")
        for name, text in ppd.groups.items():
            expect("Translation", name, text)
        for name, option in ppd.options.items():
            if name == "PageRegion":
                continue  # users do not see it
            expect("Translation", name, option.text)
            for choice, (text, _) in option.choices.items():
                expect(name, choice, text)
        for (key, name), text in custom_texts(ppd).items():
            expect(key, name, text)
        checks.check(language in (ppd.value("cupsLanguages") or "").split(),
                     f"{ppd.name}: *cupsLanguages without {language}")

checks.exit(at_least=10000)
