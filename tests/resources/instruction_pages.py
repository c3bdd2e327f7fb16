#!/usr/bin/env python3
"""The instruction pages of manual booklets: how they are made, where they are installed, and how they
are drawn, alone and inside any job.

    instruction_pages.py CMAKE BUILD MAKER
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.append(str(HERE.parent / "support"))
from ghostscript import Ghostscript  # noqa: E402

cmake, build, maker = sys.argv[1:]
RESOURCES = HERE.parents[1] / "resources"
PAGES = {path.suffixes[0][1:]: path.read_bytes()
         for path in pathlib.Path(build, "resources").glob("instruction.??.ps")}
A4, LETTER = (595, 842), (612, 792)


def text_of(language):
    return (RESOURCES / "texts" / f"{language}.txt").read_text(encoding="utf-8")


def code(name):
    return (HERE / name).read_bytes()


class Maker(unittest.TestCase):
    """What make_instruction_page does with a title."""

    def made(self, title):
        """The page, or why there is none."""
        with tempfile.TemporaryDirectory() as work:
            texts, page = pathlib.Path(work, "texts"), pathlib.Path(work, "page")
            english = text_of("en").encode()
            texts.write_bytes(re.sub(b"(?m)^title .*", lambda _: b"title " + title, english))
            done = subprocess.run([maker, RESOURCES / "instruction.ps.in", texts, texts, page],
                                  stderr=subprocess.PIPE)
            self.assertEqual(page.exists(), done.returncode == 0)
            return page.read_bytes() if page.exists() else done.stderr

    def test_escapes_what_a_string_cannot_hold(self):
        page = self.made(r"a (b) \c; é ü ÿ".encode())
        self.assertIn(rb"/title (a \(b\) \\c; \351 \374 \377) def", page)
        self.assertNotIn(b"%#", page, "the template's own comments are in the page")

    def test_refuses_other_texts_with_a_reason(self):
        for reason, titles in {
                b"Not ISO Latin 1": ["œuvre".encode(), "日".encode(), b"tab\t", "\x85".encode()],
                b"Not UTF-8": [b"caf\351", b"\303\303\251", b"\251", "\U00010348".encode()],
                b"No text: title": [b""]}.items():
            for title in titles:
                self.assertIn(reason, self.made(title), title)


class Drawn(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.pictures = cls.enterClassContext(Ghostscript("pgmraw", "-r72"))
        cls.words = cls.enterClassContext(Ghostscript("txtwrite"))

    def draw(self, job, size=LETTER):
        """The log, and the gray values of the job's only page."""
        log, pages = self.pictures.run(
            b"%%!PS-Adobe-3.0\n<< /PageSize [%d %d] >> setpagedevice\n" % size + job)
        self.assertEqual(len(pages), 1, log)
        return log, pages[0].split(b"\n", 4)[4]  # after the header

    def draw_inside(self, page, before=b"", save=b"", restore=b""):
        """Draws the page inside a job, which must find everything as it left it."""
        def report(when):
            return b"systemdict begin (=== %s) = end report\n" % when
        log, picture = self.draw(
            code("report.ps") + before + report(b"before") + save + page + restore +
            report(b"after") + b"systemdict begin (=== end) =\n")
        sections = dict(part.split("\n", 1) for part in log.split("=== ")[1:])
        self.assertIn("end", sections, log)
        self.assertGreater(sections["after"].count("\n"), 30, log)
        self.assertEqual(re.sub("(?m)^glyph .*\n", "", sections["before"]), sections["after"])
        return log, picture

    def test_every_page_is_plain_text_without_a_meaning_for_the_filter(self):
        self.assertEqual(sorted(PAGES), ["de", "en", "es", "fr", "it", "ja", "nl", "pt"])
        for language, page in PAGES.items():
            lines = page.decode("ascii").split("\n")
            self.assertEqual(lines[-1], "", "the last line has no end")
            for line in lines:
                self.assertRegex(line, r"^[ -~]{0,255}$", language)
                self.assertNotRegex(
                    line, r"sfcl\{|JobPatchFile|PageRegion|PageSize *:|\*PageSize|CustomPageSize|"
                    r"InputSlot|QVBookletFold|Collate|^@PJL|%%|%!|RBINumCopies|\}efcl|cleartomark|"
                    "duplexer", language)

    def test_every_page_is_well_inside_the_paper_and_well_filled(self):
        for language, page in PAGES.items():
            for width, height in (A4, LETTER):
                _, picture = self.draw(page, (width, height))
                self.assertEqual(len(picture), width * height)
                rows = [picture[at:at + width] for at in range(0, len(picture), width)]
                marked = [y for y, row in enumerate(rows) if row.strip(b"\xff")]
                columns = [x for x in range(width) if picture[x::width].strip(b"\xff")]
                for used, size in ((marked, height), (columns, width)):
                    first, last = used[0], used[-1]
                    where = f"{language}: {first} to {last} of {size}"
                    self.assertTrue(36 <= first and last < size - 36, where)
                    self.assertGreater(last + 1 - first, size * 0.75, where)
                ink = 1 - picture.count(b"\xff") / len(picture)
                self.assertTrue(0.02 < ink < 0.4, f"{language}: {ink}")

    def test_every_page_has_all_its_words_and_no_others(self):
        for language, page in PAGES.items():
            texts = text_of(language)
            if "twoByteFonts" in texts:  # Ghostscript lacks the font
                texts = text_of("en")
            this_sheet = re.search("(?m)^thisSheet (.*)", texts)[1]
            texts = re.sub(r"(?m)^\S+ ", "", texts).replace("'", "’")
            _, (text,) = self.words.run(page)
            self.assertEqual(
                sorted(text.decode().split()),
                sorted(texts.split() + 2 * this_sheet.replace("'", "’").split() + "1 2 3 i".split()),
                language)

    # The pages differ only in their texts, and in the use of a two-byte font.
    def test_page_looks_the_same_and_changes_nothing_in_any_job(self):
        odd = code("odd_state.ps")
        for page in PAGES["en"], PAGES["ja"]:
            # The page's own names, in a job that uses them for operators.
            names = b"".join(name + b" dup where { pop pop } { /stroke load def } ifelse\n"
                             for name in set(re.findall(b"/[A-Za-z][A-Za-z0-9]*", page)))
            _, plain = self.draw(page)
            for around in (
                    (odd,),
                    (odd, b"userdict/ESPsave save put\n", b"\nuserdict /ESPsave get restore\n"),
                    # The job has redefined every operator.
                    (code("redefined.ps") + names + odd + b"redefined begin\n",)):
                self.assertEqual(self.draw_inside(page, *around)[1], plain)

    def test_page_takes_the_two_byte_font_that_the_printer_has(self):
        page, font = PAGES["ja"], code("fake_font.ps")
        log, japanese = self.draw_inside(page, font)
        drawn = {int(glyph) for glyph in re.findall("(?m)^glyph (.*)", log)}
        texts = re.search(rb"(?ms)^/title <.*?^\} \{", page)[0].replace(b"\n", b"")
        expected = {int(character, 16) for text in re.findall(b"<([0-9a-f]*)>", texts)
                    for character in re.findall(b"....", text)}
        self.assertEqual(drawn, expected)
        self.assertGreater(len(drawn), 80)

        _, english = self.draw_inside(page)
        self.assertNotEqual(japanese, english)
        _, without_map = self.draw_inside(page.replace(b"UniJIS-UCS2-H", b"NoSuchMap"), font)
        self.assertEqual(without_map, english)
        log, broken = self.draw_inside(page, font + code("broken_map.ps"))
        self.assertIn("composing fails: true", log)
        self.assertEqual(broken, english)


# Packages have no other files, and those have the modes that CUPS requires: tests/package/.
class Installed(unittest.TestCase):
    def test_every_locale_finds_its_page(self):
        # The values of LANG that CUPS sets for the language of a job, and others.
        locales = {
            "de": "de de_DE de_AT de_CH", "fr": "fr fr_FR fr_CA fr_CH", "it": "it it_IT it_CH",
            "es": "es es_ES es_MX es_US", "pt": "pt pt_BR pt_PT", "nl": "nl nl_NL nl_BE",
            "ja": "ja ja_JP",
            "en": "C POSIX en en_US en_GB en_AU en_DE zh zh_CN zh_TW ko_KR ru_RU sv sv_SE pl_PL da_DK "
                  "nb nb_NO no cs_CZ tr_TR ar_EG he_IL uk_UA"}
        with tempfile.TemporaryDirectory() as root:
            subprocess.run([cmake, "--install", build, "--component", "resources"], check=True,
                           env={**os.environ, "DESTDIR": root}, stdout=subprocess.DEVNULL)
            resource = pathlib.Path(root, "Library/Printers/Quorvan/filter/.resource")
            for language, names in locales.items():
                for locale in names.split():
                    page = resource / f"{locale}.lproj" / "instruction(null)"
                    self.assertTrue(page.exists(), locale)
                    self.assertEqual(page.read_bytes(), PAGES[language], locale)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
