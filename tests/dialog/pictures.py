#!/usr/bin/env python3
"""Draws the GTK print dialog and the option pages of the web interface, for script/demo --dialog.

usage: pictures.py BUILD-DIRECTORY OUTPUT-DIRECTORY

Starts a private scheduler with two queues and an X server without a screen. Writes
gtk-LANGUAGE-QUEUE-TAB.png and web-LANGUAGE-QUEUE.png in English and German, and
dialog-and-booklet.png, the picture of the README: a tab of the dialog, and the sides of the booklet
that it prints.
"""

import os
import pathlib
import re
import subprocess
import sys
import urllib.parse
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "scheduler"))
from listener import Listener  # noqa: E402
from private_cups import (SYSTEM_BIN, SYSTEM_PATH, Failure, PrivateCups, end_by_sigterm,  # noqa: E402
                          end_with_parent, free_port)

QUEUES = {"Color": "color-finisher", "Small": "small-mono"}
BOOKLET = {"QVBookletFold": "SaddleStitch"}
BOOKLET_TAB = 6
LANGUAGES = {"en": "en_US", "de": "de_DE"}
# The tabs of the web interface are switched by a script; the picture shows all of them.
ALL_TABS = ("<style>.tabs { height: auto !important; overflow: visible !important } "
            ".tab { height: auto !important; overflow: visible !important }</style></head>")
SIDE_BY_SIDE = """<!doctype html><meta charset="utf-8"><style>
body { margin: 0; width: 1560px; height: 680px; background: white; display: flex; gap: 40px;
       align-items: center; font: 16px "DejaVu Sans" }
main { display: grid; grid-template-columns: 370px 370px; gap: 8px 20px }
main img { width: 368px; border: 1px solid #888 }
</style><img src="%s">
<main>%s</main>"""


def output_of(command, **options):
    """Runs a program; if it fails, so do the pictures, with what it wrote."""
    done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120,
                          check=False, **options)
    if done.returncode != 0:
        raise Failure(f"{command[0]}: {done.stderr}")
    return done.stdout


def start_screen():
    """Starts an X server without a screen, which ends with this program, and returns its name."""
    reader, writer = os.pipe()
    command = ["Xvfb", "-displayfd", str(writer), "-screen", "0", "1280x1400x24", "-nolisten", "tcp"]
    subprocess.Popen(command, stderr=subprocess.DEVNULL, pass_fds=[writer], preexec_fn=end_with_parent)
    os.close(writer)
    with os.fdopen(reader) as name:
        return ":" + name.readline().strip()


class Pictures:
    def __init__(self, cups, port, output):
        self.cups, self.url, self.display = cups, f"http://127.0.0.1:{port}", start_screen()
        self.work, self.output = cups.directory / "home", output

    def dialog(self, queue, language, output, *options):
        environment = {
            "PATH": SYSTEM_PATH, "HOME": str(self.work), "XDG_RUNTIME_DIR": str(self.work),
            "DISPLAY": self.display, "CUPS_SERVER": str(self.cups.socket), "LOCPATH": str(self.work),
            "LANG": f"{LANGUAGES[language]}.UTF-8", "GTK_THEME": "Adwaita", "NO_AT_BRIDGE": "1",
            "GSETTINGS_BACKEND": "memory", "GDK_BACKEND": "x11"}
        name = f"gtk-{language}-{queue}"
        command = ["/usr/bin/python3", "-B", HERE / "gtk_dialog.py", queue, output / name, *options]
        tabs = output_of(command, env=environment)
        print(f"{name}:", ", ".join(tabs.splitlines()))

    def screenshot(self, html, name, size):
        page, picture = self.work / "page.html", self.output / f"{name}.png"
        page.write_text(html)
        output_of(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                   f"--user-data-dir={self.work}/chromium", f"--screenshot={picture}",
                   f"--window-size={size}", page.as_uri()],
                  env={"PATH": SYSTEM_PATH, "HOME": str(self.work), "LANG": "C.UTF-8"})
        if not picture.exists():
            raise Failure(f"chromium does not draw {name}")
        print(name)

    def web_page(self, queue, language):
        """Draws the page for the defaults of a queue."""
        browser = urllib.request.build_opener(urllib.request.HTTPCookieProcessor())
        browser.addheaders = [("Accept-Language", language)]
        with browser.open(f"{self.url}/printers/{queue}", timeout=60) as answer:
            session = re.search(r"org\.cups\.sid=(\w+)", answer.headers["Set-Cookie"]).group(1)
        form = {"org.cups.sid": session, "OP": "set-printer-options", "PRINTER_NAME": queue}
        form = urllib.parse.urlencode(form).encode()
        with browser.open(f"{self.url}/admin/", form, timeout=60) as answer:
            text = re.sub("</head>", ALL_TABS, answer.read().decode(), count=1, flags=re.I)
        self.screenshot(re.sub(r'((?:href|src)=")/', rf"\g<1>{self.url}/", text, flags=re.I),
                        f"web-{language}-{queue}", "1000,2600")

    def booklet(self, printer):
        """Prints a booklet and draws its sides, as the printer would print them, next to the dialog."""
        document, pdf, job = (self.work / name for name in ("document.ps", "document.pdf", "booklet.ps"))
        output_of(["bash", "-ec", '. "$0"; make_document > "$1"; make_pdf "$1" > "$2"',
                   HERE.parent / "real_jobs" / "make-jobs.sh", document, pdf])
        self.cups.wait_for(self.cups.lp("Color", pdf, BOOKLET))
        job.write_bytes(re.sub(rb"(?m)^(?:\x1b%-12345X|@PJL).*\n?", b"", printer.job(1)))
        # Goes through PDF, which turns each side so that its text can be read.
        for device, target, source, *options in (
                ("pdfwrite", "booklet.pdf", job, "-dAutoRotatePages=/PageByPage"),
                ("png16m", "side-%d.png", self.work / "booklet.pdf", "-r72", "-dTextAlphaBits=4",
                 "-dGraphicsAlphaBits=4")):
            output_of(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", f"-sDEVICE={device}", *options,
                       "-o", self.work / target, source])
        sides = "".join(
            f"<div>Sheet {n // 2 + 1}, {('outside', 'inside')[n % 2]}<br>"
            f"<img src='{side.as_uri()}'></div>"
            for n, side in enumerate(sorted(self.work.glob("side-*.png"))))
        dialog = self.work / f"gtk-en-Color-{BOOKLET_TAB}.png"
        self.screenshot(SIDE_BY_SIDE % (dialog.as_uri(), sides), "dialog-and-booklet", "1600,700")


def main(build, output):
    build, output = pathlib.Path(build), pathlib.Path(output).resolve()
    output.mkdir(parents=True, exist_ok=True)
    printer, cups, port = Listener(), PrivateCups(), free_port()
    cups.add_filter(build / "jobshaper-queue", "jobshaper-queue")
    (cups.bin / "cgi-bin").symlink_to(SYSTEM_BIN / "cgi-bin")
    cups.configure("DocumentRoot /usr/share/cups/doc-root\n", "cups-files.conf")
    cups.configure(f"Listen 127.0.0.1:{port}\nWebInterface Yes\n")
    cups.start()
    pictures = Pictures(cups, port, output)
    for name in LANGUAGES.values():  # whatever this system has
        output_of(["localedef", "-i", name, "-f", "UTF-8", pictures.work / f"{name}.UTF-8"])
    for queue, model in QUEUES.items():
        cups.add_queue(queue, build / "ppd" / f"quorvan-{model}.ppd", printer.uri)
        for language in LANGUAGES:
            pictures.dialog(queue, language, output)
            pictures.web_page(queue, language)
    pictures.dialog("Color", "en", pictures.work, *map("=".join, BOOKLET.items()))
    pictures.booklet(printer)


if __name__ == "__main__":
    end_by_sigterm()
    try:
        main(*sys.argv[1:])
    except Failure as failure:
        sys.exit(f"pictures.py: {failure}")
