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
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import urllib.parse
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "scheduler"))
import listener  # noqa: E402
import private_cups  # noqa: E402
from private_cups import end_with_parent, free_port  # noqa: E402

QUEUES = {"Color": "color-finisher", "Small": "small-mono"}
BOOKLET = "QVBookletFold=SaddleStitch"
BOOKLET_TAB = 6
LANGUAGES = {"en": "en_US", "de": "de_DE"}
# The tabs of the web interface are switched by a script; the picture shows all of them.
ALL_TABS = ("<style>.tabs { height: auto !important; overflow: visible !important } "
            ".tab { height: auto !important; overflow: visible !important }</style></head>")


class WebCups(private_cups.PrivateCups):
    """A private scheduler with the web interface of the installed one."""

    def __init__(self):
        super().__init__()
        self.port = free_port()
        (self.bin / "cgi-bin").symlink_to(private_cups.SYSTEM_BIN / "cgi-bin")
        self.change("cups-files.conf", f"DocumentRoot {self.directory}/home",
                    "DocumentRoot /usr/share/cups/doc-root")
        self.change("cupsd.conf", "WebInterface No",
                    f"Listen 127.0.0.1:{self.port}\nWebInterface Yes")

    def change(self, name, old, new):
        path = self.directory / "etc" / name
        text = path.read_text()
        assert old in text, old
        path.write_text(text.replace(old, new))


class Screen:
    """An X server without a screen."""

    def __init__(self):
        reader, writer = os.pipe()
        self._server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writer), "-screen", "0", "1280x1400x24", "-nolisten", "tcp"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            pass_fds=[writer], preexec_fn=end_with_parent)
        os.close(writer)
        with os.fdopen(reader) as number:
            self.name = ":" + number.readline().strip()
        if self.name == ":":
            raise private_cups.Failure("Xvfb does not start")

    def close(self):
        self._server.terminate()
        self._server.wait()


def make_locales(directory):
    """The languages of the pictures, whatever this system has."""
    for name in LANGUAGES.values():
        subprocess.run(["localedef", "-i", name, "-f", "UTF-8", directory / f"{name}.UTF-8"], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def draw_dialog(cups, screen, work, queue, language, output, *options):
    environment = {
        "PATH": private_cups.SYSTEM_PATH, "HOME": str(work), "XDG_RUNTIME_DIR": str(work),
        "DISPLAY": screen.name, "CUPS_SERVER": str(cups.socket), "LOCPATH": str(work),
        "LANG": f"{LANGUAGES[language]}.UTF-8", "GTK_THEME": "Adwaita", "NO_AT_BRIDGE": "1",
        "GSETTINGS_BACKEND": "memory", "GDK_BACKEND": "x11"}
    done = subprocess.run(
        ["/usr/bin/python3", "-B", HERE / "gtk_dialog.py", queue, output / f"gtk-{language}-{queue}",
         *options],
        env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
        timeout=60, check=False)
    if done.returncode != 0:
        raise private_cups.Failure(done.stderr.decode(errors="replace") or "the dialog shows no printer")
    print(f"gtk-{language}-{queue}:", ", ".join(done.stdout.decode().split("\n")[:-1]))


def screenshot(page, work, picture, size):
    done = subprocess.run(
        ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
         f"--user-data-dir={work}/chromium", f"--screenshot={picture}", f"--window-size={size}",
         page.as_uri()],
        env={"PATH": private_cups.SYSTEM_PATH, "HOME": str(work), "LANG": "C.UTF-8"},
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120,
        check=False)
    if done.returncode != 0 or not picture.exists():
        raise private_cups.Failure(done.stdout.decode(errors="replace"))
    print(picture.stem)


def web_page(url, queue, language):
    """The page for the defaults of a queue."""
    browser = urllib.request.build_opener(urllib.request.HTTPCookieProcessor())
    browser.addheaders = [("Accept-Language", language)]
    with browser.open(f"{url}/printers/{queue}", timeout=60) as answer:
        session = re.search(r"org\.cups\.sid=(\w+)", answer.headers["Set-Cookie"]).group(1)
    form = {"org.cups.sid": session, "OP": "set-printer-options", "PRINTER_NAME": queue}
    with browser.open(f"{url}/admin/", urllib.parse.urlencode(form).encode(), timeout=60) as answer:
        return answer.read().decode()


def draw_web_page(cups, work, queue, language, output):
    url = f"http://127.0.0.1:{cups.port}"
    text = web_page(url, queue, language)
    text = re.sub("</head>", ALL_TABS, text, count=1, flags=re.IGNORECASE)
    text = re.sub(r'((?:href|src)=")/', rf"\g<1>{url}/", text, flags=re.IGNORECASE)
    page = work / "page.html"
    page.write_text(text)
    screenshot(page, work, output / f"web-{language}-{queue}.png", "1000,2600")


def make_document(work):
    """A PDF file of several pages."""
    make_jobs = HERE.parent / "real_jobs" / "make-jobs.sh"
    document, pdf = work / "document.ps", work / "document.pdf"
    subprocess.run(["bash", "-ec", '. "$0"; make_document > "$1"; make_pdf "$1" > "$2"', make_jobs,
                    document, pdf], check=True, timeout=60)
    return pdf


def draw_booklet(cups, printer, work):
    """Prints a booklet; gives pictures of its sides, as the printer would print them."""
    number = cups.lp("Color", make_document(work), dict([BOOKLET.split("=")]))
    cups.wait_for(number)
    private_cups.wait_until(lambda: printer.jobs, 10, "the printer's last byte")
    body = re.sub(rb"(?m)^(?:\x1b%-12345X|@PJL).*\n?", b"", printer.jobs[0])
    (work / "booklet.ps").write_bytes(body)
    # By way of PDF, which turns each side so that its text can be read.
    for device, target, source, *options in (
            ("pdfwrite", "booklet.pdf", "booklet.ps", "-dAutoRotatePages=/PageByPage"),
            ("png16m", "side-%d.png", "booklet.pdf", "-r72", "-dTextAlphaBits=4",
             "-dGraphicsAlphaBits=4")):
        subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", f"-sDEVICE={device}", *options,
                        "-o", work / target, work / source], stdin=subprocess.DEVNULL, check=True,
                       stdout=subprocess.DEVNULL, timeout=60)
    return sorted(work.glob("side-*.png"))


SIDE_BY_SIDE = """<!doctype html><meta charset="utf-8"><style>
body { margin: 0; width: 1560px; height: 680px; background: white; display: flex; gap: 40px;
       align-items: center; font: 16px "DejaVu Sans" }
main { display: grid; grid-template-columns: 370px 370px; gap: 8px 20px }
main img { width: 368px; border: 1px solid #888 }
</style><img src="%s">
<main>%s</main>"""


def draw_side_by_side(dialog, sides, work, picture):
    names = [f"Sheet {number // 2 + 1}, {('outside', 'inside')[number % 2]}"
             for number in range(len(sides))]
    figures = "".join(f"<div>{name}<br><img src='{side.as_uri()}'></div>"
                      for name, side in zip(names, sides))
    page = work / "both.html"
    page.write_text(SIDE_BY_SIDE % (dialog.as_uri(), figures))
    screenshot(page, work, picture, "1600,700")


def main(build, output):
    build, output = pathlib.Path(build), pathlib.Path(output).resolve()
    output.mkdir(parents=True, exist_ok=True)
    work = pathlib.Path(tempfile.mkdtemp(prefix="dialog-"))
    cups, screen, printer = WebCups(), None, listener.Listener()
    try:
        cups.add_filter("jobshaper-queue", build / "jobshaper-queue")
        cups.start()
        for queue, model in QUEUES.items():
            cups.add_queue(queue, build / "ppd" / f"quorvan-{model}.ppd", printer.uri)
        make_locales(work)
        screen = Screen()
        for language in LANGUAGES:
            for queue in QUEUES:
                draw_dialog(cups, screen, work, queue, language, output)
                draw_web_page(cups, work, queue, language, output)
        draw_dialog(cups, screen, work, "Color", "en", work, BOOKLET)
        draw_side_by_side(work / f"gtk-en-Color-{BOOKLET_TAB}.png",
                          draw_booklet(cups, printer, work), work, output / "dialog-and-booklet.png")
    finally:
        if screen:
            screen.close()
        cups.stop()
        printer.close()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, signal.default_int_handler)  # ends what was started
    try:
        main(*sys.argv[1:])
    except private_cups.Failure as failure:
        sys.exit(f"pictures.py: {failure}")
