"""Documents whose pages print their position, and where they must be in a booklet."""

# Pages from left to right on each side, 0 for a blank half: the order of CUPS, outermost sheet first.
SIDES = {
    1: [(0, 1), (0, 0)],
    2: [(0, 1), (2, 0)],
    3: [(0, 1), (2, 3)],
    4: [(4, 1), (2, 3)],
    5: [(0, 1), (2, 0), (0, 3), (4, 5)],
    7: [(0, 1), (2, 7), (6, 3), (4, 5)],
    8: [(8, 1), (2, 7), (6, 3), (4, 5)],
    16: [(16, 1), (2, 15), (14, 3), (4, 13), (12, 5), (6, 11), (10, 7), (8, 9)],
}
# Prints for each side the paper that was requested, even after grestoreall.
PRELUDE = b"""/paper{currentpagedevice exch 2 copy known{get}{pop pop null}ifelse ==only( )print}def
<</EndPage{exch pop 2 ne dup{(SIDE )print/MediaPosition paper/MediaType paper()=}if}>>setpagedevice
save pop
"""


def document(pages):
    """Each page prints its position, and executes code that could spoil the other half."""
    return (b"%%!PS-Adobe-3.0\n%%%%Pages: %d\n%%%%EndComments\n%%%%BeginProlog\n"
            b"/finish{grestoreall showpage}bind def\n%%%%EndProlog\n" % pages + b"".join(
                b"%%%%Page: %d %d\ninitgraphics(PAGE %d )print matrix defaultmatrix setmatrix\n"
                b"300 400 transform exch ==only( )print ==\n"
                b"initmatrix initclip 0 0 595 842 rectfill <</PageSize[300 300]>>setpagedevice\n"
                b"5 dict begin(left over)finish\n" % (n, n, n)
                for n in range(1, pages + 1)) + b"%%Trailer\n%%EOF\n")


def sides_of(ghostscript, body):
    """Returns for each side of such a document on A4 the left and right page, and the paper. Needs a
    Ghostscript with the device "nullpage" and 72 dots per inch."""
    log, _ = ghostscript.run(PRELUDE + body)
    sides, halves = [], [0, 0]
    for line in log.splitlines():
        if line.startswith("PAGE "):
            number, _, y = line[5:].split()
            halves[float(y) < 421] = int(number)
        elif line.startswith("SIDE "):
            sides.append((tuple(halves), line[5:].strip()))
            halves = [0, 0]
    return sides
