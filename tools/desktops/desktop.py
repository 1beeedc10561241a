"""What all recipes share: a desktop as the person in front of it has it."""

import contextlib
import dataclasses
import os
import pathlib
import re
import signal
import subprocess
import time
import traceback

import pyatspi
from gi.repository import Gio, GLib

import outside
from outside import find, states, until

NAME, PATH, INTERFACE = "com.wrenfold.quillon", "/com/wrenfold/quillon", "com.wrenfold.Quillon1"


@dataclasses.dataclass
class Window:
    """As the compositor sees it: in points of the whole desktop, with the frame."""
    title: str
    x: int
    y: int
    width: int
    height: int
    focused: bool = False


class Desktop:
    """A recipe overrides what is empty here. Its tour is made of steps; each leaves a picture and may fail alone."""

    size = (1280, 800)
    environment = {}
    Hand = None  # a class of hand.py
    picture_of = None  # a function of eye.py
    carrier = ""  # what the program says of its item here, in part
    hint = ""  # how the hint about the item begins
    hot_keys = True
    tiles = False  # windows have their places from the desktop

    def __init__(self, release, variant, pictures):
        self.release, self.variant, self.pictures = release, variant, pictures
        self.program = self.root = None
        self.steps = []
        self.logs = os.environ["XDG_RUNTIME_DIR"]

    # For recipes

    def start(self):
        """Starts the desktop and returns when it can be used."""
        raise NotImplementedError

    def tour(self):
        raise NotImplementedError

    def windows(self):
        """All that are visible, the lowest first."""
        raise NotImplementedError

    def permit_hot_keys(self):
        """A step where the desktop asks for them at the first start."""

    def settle_in(self):
        """Steps that this desktop needs once the timesheet is open."""

    def begin(self, *command, **environment):
        """Starts a part of the desktop, whose output goes into a file that `hold` can read."""
        log = open(f"{self.logs}/{os.path.basename(command[0])}.log", "ab")
        return subprocess.Popen(command, env={**os.environ, **environment}, stdout=log, stderr=log)

    def export(self, **environment):
        """For all that is started from now on, also by the bus."""
        os.environ.update(environment)
        subprocess.run(["dbus-update-activation-environment", *environment], check=True)

    # Hands and eyes

    def hand_up(self):
        self.hand = self.Hand(self.size)

    def keys(self, *chords):
        self.hand.keys(*chords)

    def type(self, text):
        self.hand.type(text)

    def window(self, title):
        """The topmost with that title, or None."""
        return next((w for w in reversed(self.windows()) if w.title == title), None)

    def place(self, accessible):
        """The middle of a part of a window, in points of the desktop: programs on Wayland know their windows alone."""
        top = accessible
        while top.parent and top.parent.getRole() != pyatspi.ROLE_APPLICATION:
            top = top.parent
        inner = top.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        part = accessible.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        window = until(f"the window {top.name}", lambda: self.window(top.name))
        # Whoever draws the frame: it is as thick below as at the sides.
        border = (window.width - inner.width) // 2
        left, top = window.x + border, window.y + window.height - border - inner.height
        return left + part.x - inner.x + part.width // 2, top + part.y - inner.y + part.height // 2

    def click(self, where, button="left", times=1):
        """On a part of a window, or on a place of the desktop."""
        self.hand.click(*(where if isinstance(where, tuple) else self.place(where)), button, times)

    def picture(self, name):
        file = str(self.pictures / f"{name}.png")
        type(self).picture_of(file)
        return file

    def colour(self, x, y):
        """Red, green and blue of that point of the screen, 0 to 255."""
        file = self.picture("last")
        told = subprocess.check_output(["convert", file, "-format", f"%[pixel:p{{{int(x)},{int(y)}}}]", "info:"], text=True)
        return tuple(round(float(part)) for part in re.findall(r"[\d.]+", told)[:3])

    # The status item: as the strip, which recipes for bars override

    def strip(self):
        return until("the strip", lambda: next(w for w in self.windows() if w.title == "Quillon" and w.height < 40))

    def toggle_by_item(self):
        strip = self.strip()
        self.click((strip.x + strip.width - 58, strip.y + strip.height // 2))

    def press_item(self):
        strip = self.strip()
        self.click((strip.x + strip.width - 25, strip.y + strip.height // 2))

    def menu(self):
        """The menu while it is open, else None."""
        return self.shown("popup menu")

    def open_menu(self):
        self.press_item()
        until("the menu", self.menu)

    def close_menu(self):
        self.keys("esc")

    def entries(self):
        """The texts of the open menu; None where nobody but the panel knows them."""
        return [entry.name for entry in self.menu() if entry and "showing" in states(entry)]

    def choose(self, text):
        """An entry of the open menu, by a click."""
        menu = self.menu()
        whole = menu.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        part = find(menu, "menu item", text).queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        window = self.windows()[-1]
        self.click((window.x + part.x - whole.x + part.width // 2, window.y + part.y - whole.y + part.height // 2))

    # Programs

    @contextlib.contextmanager
    def another_program(self):
        """A window of somebody else, which takes the keyboard when it comes. Its title."""
        lines = ("import gi; gi.require_version('Gtk', '3.0'); from gi.repository import Gtk; w = Gtk.Window(title='Other');"
                 "w.add(Gtk.TextView()); w.set_default_size(500, 400); w.show_all(); Gtk.main()")
        other = self.begin("python3", "-c", lines)
        try:
            yield "Other"
        finally:
            other.send_signal(signal.SIGTERM)
            other.wait()

    def start_program(self, *options):
        # Without a network of its own it would be offline.
        folder = pathlib.Path.home() / ".config/Quillon"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "Info.json").write_text('{"QuillonReachabilityHost": "localhost"}')
        self.program = outside.Program("Quillon", "quillon", *options)
        self.root = self.program.__enter__()

    def end_program(self):
        subprocess.run(["quillon", "quit"], check=True)
        assert self.program.process.wait(5) == 0
        self.program = self.root = None

    def status(self):
        """The properties of the bus interface."""
        reply = Gio.bus_get_sync(Gio.BusType.SESSION).call_sync(
            NAME, PATH, "org.freedesktop.DBus.Properties", "GetAll", GLib.Variant("(s)", (INTERFACE,)), None,
            Gio.DBusCallFlags.NO_AUTO_START, -1)
        return reply.unpack()[0]

    def check(self):
        """What the program needs from the desktop: {what: (whether it is well, a line about it)}."""
        reply = Gio.bus_get_sync(Gio.BusType.SESSION).call_sync(NAME, PATH, INTERFACE, "Check", None, None,
                                                                Gio.DBusCallFlags.NO_AUTO_START, -1)
        return {what: (well, text) for what, well, text in reply.unpack()[0]}

    def has_keyboard(self, title):
        window = self.window(title)
        return window and window.focused

    def shown(self, role, name=None):
        """A visible part of the program with that role and name, or None."""
        return pyatspi.findDescendant(self.root, lambda a: a.getRoleName() == role and name in (None, a.name)
                                      and "showing" in states(a))

    # Steps

    @contextlib.contextmanager
    def step(self, what):
        """A part of the tour. Whatever fails in it is noted, and the tour goes on."""
        why = ""
        try:
            yield
        except Exception as failure:  # noqa: what fails is the tour's result
            why = str(failure) or traceback.format_exc()
        time.sleep(0.5)  # for the picture: animations end
        picture = f"{len(self.steps) + 1:02}-{re.sub(r'[^a-z0-9]+', '-', what.lower()).strip('-')}"
        try:
            self.picture(picture)
        except Exception as failure:
            why = f"{why} no picture: {failure}".strip()
        self.steps.append((what, why))
        print(f"{'FAILED' if why else 'ok    '} {picture}.png {why}", flush=True)

    def report(self):
        failed = sum(bool(why) for _, why in self.steps)
        print(f"{len(self.steps) - failed} of {len(self.steps)} steps went well")
        return 1 if failed or not self.steps else 0
