"""Makes jobs of any size from the small documents of make-documents.sh, by repeating their pages.

The pages get new numbers. Prolog, setup and trailer occur once, as in any job.
"""

import itertools
import pathlib
import re

# Names of the documents, and their names in the tables.
KINDS = {
    "short-lines": "short lines",
    "text": "text",
    "hex": "hex",
    "ascii85": "ASCII85",
    "binary": "binary",
    "long-runs": "long runs",
}


class Document:
    """A document, split into the part before its pages, the pages, and the part after them."""

    def __init__(self, path: pathlib.Path):
        job = path.read_bytes()
        begin = job.index(b"\n%%Page:") + 1
        end = job.rindex(b"\n%%Trailer") + 1
        self.head, self.tail = job[:begin], job[end:]
        # The pages, without their "%%Page:" lines.
        parts = re.split(rb"^%%Page:[^\n]*\n", job[begin:end], flags=re.MULTILINE)[1:]
        self.pages = parts

    def repeated(self, size: int):
        """Yields whole pages until the job has at least `size` bytes."""
        left = size - len(self.head) - len(self.tail)
        for number, page in enumerate(itertools.cycle(self.pages), start=1):
            if left <= 0:
                return
            text = b"%%%%Page: %d %d\n" % (number, number) + page
            left -= len(text)
            yield text

    def fixed(self, size: int, count: int):
        """Yields `count` pages of the same size, which together have `size` bytes. The marks on each page
        are repeated until it is large enough."""
        lines = self.pages[1].splitlines(keepends=True)
        begin = len(lines) - lines[::-1].index(b"%%EndPageSetup\n")
        end = max(i for i, line in enumerate(lines) if line.endswith(b"EP\n"))  # groff's end of a page
        set_up, marks, close = b"".join(lines[:begin]), lines[begin:end], b"".join(lines[end:])
        space = (size - len(self.head) - len(self.tail)) // count - len(set_up) - len(close)
        filling = bytearray()
        for line in itertools.cycle(marks):
            if len(filling) + len(line) > space:
                break
            filling += line
        for number in range(1, count + 1):
            yield b"%%%%Page: %d %d\n" % (number, number) + set_up + filling + close

    def write(self, target: pathlib.Path, size: int, pages: int = 0, cut: bool = False) -> pathlib.Path:
        """With `pages`, the job has this many pages of equal size; with `cut`, its last page is truncated at
        the size."""
        with target.open("wb") as job:
            job.write(self.head)
            for text in self.fixed(size, pages) if pages else self.repeated(size):
                if cut:
                    text = text[: max(0, size - len(self.tail) - job.tell())]
                job.write(text)
            job.write(self.tail)
        return target
