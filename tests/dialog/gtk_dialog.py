#!/usr/bin/python3
"""Draws every tab of the GTK print dialog for one queue, for script/demo --dialog.

usage: gtk_dialog.py QUEUE OUTPUT-PREFIX [OPTION=CHOICE ...]

Needs an X server and, in CUPS_SERVER, a scheduler. Writes OUTPUT-PREFIX-NUMBER.png and prints the title
of each tab.
"""

import sys
import time

import gi

gi.require_version("Gdk", "3.0")
gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402


def pause(seconds):
    """Lets the dialog work meanwhile."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        while Gtk.events_pending():
            Gtk.main_iteration()
        time.sleep(0.01)


def notebook_in(widget):
    if isinstance(widget, Gtk.Notebook):
        return widget
    children = widget.get_children() if isinstance(widget, Gtk.Container) else []
    return next(filter(None, map(notebook_in, children)), None)


def visible_tabs(notebook):
    return [n for n in range(notebook.get_n_pages()) if notebook.get_nth_page(n).get_visible()]


def draw(prefix):
    """Works while the print operation waits for the user."""
    end = time.monotonic() + 20
    found = []
    while not found and time.monotonic() < end:
        pause(0.2)
        # Before it knows the printer, the dialog has only tabs for the range of pages and the layout.
        found = [(dialog, notebook) for dialog in Gtk.Window.list_toplevels()
                 if (notebook := notebook_in(dialog)) and len(visible_tabs(notebook)) > 2]
    if not found:
        sys.exit("the dialog shows no options of the printer")
    dialog, notebook = found[0]
    dialog.resize(760, 640)
    pause(1.5)
    for tab in visible_tabs(notebook):
        notebook.set_current_page(tab)
        pause(0.4)
        window = dialog.get_window()
        picture = Gdk.pixbuf_get_from_window(window, 0, 0, window.get_width(), window.get_height())
        picture.savev(f"{prefix}-{tab + 1}.png", "png", [], [])
        print(notebook.get_tab_label_text(notebook.get_nth_page(tab)) or tab)
    dialog.response(Gtk.ResponseType.CANCEL)


def main(queue, prefix, *options):
    settings = Gtk.PrintSettings()
    settings.set_printer(queue)
    for name, _, choice in (option.partition("=") for option in options):
        settings.set(f"cups-{name}", choice)
    operation = Gtk.PrintOperation()
    operation.set_print_settings(settings)
    operation.set_n_pages(1)
    GLib.idle_add(draw, prefix)
    operation.run(Gtk.PrintOperationAction.PRINT_DIALOG, None)


main(*sys.argv[1:])
