#!/usr/bin/python3
"""Draws every tab of the GTK print dialog for one queue, for script/demo --dialog.

usage: gtk_dialog.py QUEUE OUTPUT-PREFIX [OPTION=CHOICE ...]

Needs an X server and, in CUPS_SERVER, a scheduler. Writes OUTPUT-PREFIX-NUMBER.png and prints the title of
each tab.
"""

import sys

import gi

gi.require_version("Gdk", "3.0")
gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402

DRAWING_MS = 400  # time for the dialog to draw a tab
OPTIONS_MS = 1500  # time for the options of the selected printer to appear
PATIENCE_MS = 20000


def notebook_in(widget):
    if isinstance(widget, Gtk.Notebook):
        return widget
    children = widget.get_children() if isinstance(widget, Gtk.Container) else []
    return next(filter(None, map(notebook_in, children)), None)


class Pictures:
    """Works while the print operation waits for the user."""

    def __init__(self, queue, prefix, *options):
        self.prefix = prefix
        self.complete = False
        self.dialog = self.notebook = None
        self.tabs = []
        settings = Gtk.PrintSettings()
        settings.set_printer(queue)
        for option in options:
            name, _, choice = option.partition("=")
            settings.set(f"cups-{name}", choice)
        operation = Gtk.PrintOperation()
        operation.set_print_settings(settings)
        operation.set_n_pages(1)
        GLib.timeout_add(200, self.wait_for_printer)
        GLib.timeout_add(PATIENCE_MS, sys.exit, "the dialog shows no options of the printer")
        operation.run(Gtk.PrintOperationAction.PRINT_DIALOG, None)

    def visible_tabs(self):
        return [number for number in range(self.notebook.get_n_pages())
                if self.notebook.get_nth_page(number).get_visible()]

    def wait_for_printer(self):
        for self.dialog in Gtk.Window.list_toplevels():
            self.notebook = notebook_in(self.dialog)
            # Before, there are those for the range of pages and for the layout.
            if self.notebook and len(self.visible_tabs()) > 2:
                self.dialog.resize(760, 640)
                GLib.timeout_add(OPTIONS_MS, self.begin)
                return False
        return True

    def begin(self):
        self.tabs = self.visible_tabs()
        self.show_next()
        return False

    def show_next(self):
        if not self.tabs:
            self.complete = True
            self.dialog.response(Gtk.ResponseType.CANCEL)
            return
        self.notebook.set_current_page(self.tabs[0])
        GLib.timeout_add(DRAWING_MS, self.draw)

    def draw(self):
        number = self.tabs.pop(0)
        window = self.dialog.get_window()
        picture = Gdk.pixbuf_get_from_window(window, 0, 0, window.get_width(), window.get_height())
        picture.savev(f"{self.prefix}-{number + 1}.png", "png", [], [])
        print(self.notebook.get_tab_label_text(self.notebook.get_nth_page(number)) or number)
        self.show_next()
        return False


sys.exit(0 if Pictures(*sys.argv[1:]).complete else 1)
