"""Desktops whose panel shows the item: a tile that the panel draws, or the view itself."""

import os
import pathlib
import re
import subprocess
import time

import pyatspi
from gi.repository import Gio, GLib

import day
import desktop
import eye
import hand
from outside import find, until


class Desktop(desktop.Desktop):
    panel_height = 60  # room in which to look for it, above and below
    place_of_item = None
    icon = True  # a tile, on which a middle click toggles; else the view, with its button

    def start_x_server(self):
        self.begin("Xvfb", ":7", "-noreset", "-nolisten", "tcp", "-screen", "0", "{}x{}x24".format(*self.size))
        until("the X server", lambda: os.path.exists("/tmp/.X11-unix/X7"))
        self.export(DISPLAY=":7")

    def watcher_is_there(self):
        reply = Gio.bus_get_sync(Gio.BusType.SESSION).call_sync(
            "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties", "Get",
            GLib.Variant("(ss)", ("org.kde.StatusNotifierWatcher", "IsStatusNotifierHostRegistered")), None,
            Gio.DBusCallFlags.NO_AUTO_START, -1)
        return reply.unpack()[0]

    def item(self):
        """Left, top, width and height of the item. It is looked for once, before tool tips are about."""
        if not self.place_of_item:
            self.place_of_item = until("the item in the panel", self.look_for_item)
        return self.place_of_item

    def look_for_item(self):
        """What changes in the panel, and nothing else does, when the timer is started by command."""
        self.hand.move(self.size[0] // 2, self.size[1] // 2)
        pictures = []
        for verb in ("status", "toggle", "toggle"):
            subprocess.run(["quillon", verb], check=True, stdout=subprocess.DEVNULL)
            time.sleep(1)
            pictures.append(self.picture("last"))
            os.replace(pictures[-1], f"{pictures[-1]}.{len(pictures)}.png")
            pictures[-1] += f".{len(pictures)}.png"
        width, height = self.size
        for top in (0, height - self.panel_height):
            area = self.changed(*pictures[:2], f"{width}x{self.panel_height}+0+{top}")
            if area and area[2] < 80:
                return area[0], top + area[1], area[2], area[3]
        return None

    def changed(self, before, after, area=None):
        """What differs between two pictures: left, top, width and height, or None."""
        told = subprocess.check_output(["convert", before, after, *(["-crop", area, "+repage"] if area else []), "-compose",
                                        "difference", "-composite", "-colorspace", "gray", "-threshold", "10%", "-format",
                                        "%@ %[fx:maxima]", "info:"], stderr=subprocess.DEVNULL, text=True)
        found = re.match(r"(\d+)x(\d+)\+(\d+)\+(\d+) 1", told)
        if not found:
            return None
        width, height, left, top = map(int, found.groups())
        return left, top, width, height

    def middle(self):
        x, y, width, height = self.item()
        return x + width // 2, y + height // 2

    def toggle_by_item(self):
        if self.icon:
            self.click(self.middle(), "middle")
        else:
            self.click_on_view(8)

    def press_item(self):
        if self.icon:
            self.click(self.middle())
        else:
            self.click_on_view(45)

    def click_on_view(self, beside):
        """So far right of its button, which is the first that changes in the view."""
        left, top, _, height = self.item()
        self.click((left + beside, top + height // 2))

    # The menu: ours where the item is the view. Otherwise the panel's, seen by what it covers and used by its keys.

    def open_menu(self):
        if not self.icon:
            super().open_menu()
            return
        middle = self.middle()
        self.hand.move(self.size[0] // 2, self.size[1] // 2)
        time.sleep(1)
        self.bare = self.picture("last")
        os.replace(self.bare, self.bare + ".bare.png")
        self.click(middle)
        until("the menu", self.opened)

    def opened(self):
        area = self.changed(self.bare + ".bare.png", self.picture("last"))
        if not area or area[2] < 100 or area[3] < 200:  # a tool tip
            return False
        self.area_of_menu, self.with_menu = area, self.bare + ".menu.png"
        os.replace(self.picture("last"), self.with_menu)
        return True

    def menu(self):
        if not self.icon:
            return super().menu()
        left, top, width, height = self.area_of_menu
        gone = self.changed(self.with_menu, self.picture("last"), f"{width}x{height}+{left}+{top}")
        return not gone or gone[2] < width // 2 or gone[3] < height // 2  # what is chosen moves in it

    def entries(self):
        return None if self.icon else super().entries()

    def choose(self, text):
        if not self.icon:
            part = find(self.menu(), "menu item", text).queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
            self.click((part.x + part.width // 2, part.y + part.height // 2))
            return
        assert text == "Start Current Timer", "only the first can be chosen by key"
        self.keys("down", "return")


def x11_windows():
    """All managed windows of an X server, the lowest first."""
    def property_of(window, name):
        where = ("-root",) if window is None else ("-id", window)
        told = subprocess.run(["xprop", *where, "-notype", name], stdout=subprocess.PIPE, text=True, check=True).stdout
        return re.split(r" = |# ", told.strip(), 1)[-1]

    active = int(property_of(None, "_NET_ACTIVE_WINDOW").split(",")[0], 0)
    found = []
    for number in re.findall(r"0x[0-9a-f]+", property_of(None, "_NET_CLIENT_LIST_STACKING")):
        told = subprocess.run(["xwininfo", "-id", number], stdout=subprocess.PIPE, text=True, check=True).stdout
        if "IsViewable" not in told:
            continue
        x, y, width, height = (int(re.search(what + r": +(-?\d+)", told)[1]) for what in
                               ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height"))
        frame = [int(side) for side in re.findall(r"\d+", property_of(number, "_NET_FRAME_EXTENTS"))] or [0] * 4
        title = property_of(number, "_NET_WM_NAME").strip('"')
        found.append(desktop.Window(title, x - frame[0], y - frame[2], width + frame[0] + frame[1],
                                    height + frame[2] + frame[3], int(number, 0) == active))
    return found


class OnX11(Desktop):
    """Window manager and panel on an X server, without a session manager."""

    Hand = hand.X11Hand
    picture_of = staticmethod(eye.of_x11)
    manager, parts = (), ()  # commands

    def configure(self, folder):
        """Writes settings into the person's folder for them."""

    def start(self):
        os.environ.update(self.environment)
        folder = pathlib.Path.home() / ".config"
        folder.mkdir(exist_ok=True)
        self.configure(folder)
        self.start_x_server()
        self.export(**self.environment)
        self.begin(*self.manager)
        until("the window manager", lambda: "window id" in subprocess.check_output(
            ["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], text=True))
        for part in self.parts:
            self.begin(*part)
        until("the panel", self.tray_is_there)
        self.hand_up()

    def tray_is_there(self):
        """A panel of some height; its tray comes with it."""
        return any("_NET_WM_WINDOW_TYPE_DOCK" in subprocess.run(["xprop", "-id", number], stdout=subprocess.PIPE, text=True).stdout
                   for number in re.findall(r"0x[0-9a-f]+", subprocess.check_output(
                       ["xprop", "-root", "_NET_CLIENT_LIST"], text=True)))

    def windows(self):
        return x11_windows()

    def tour(self):
        day.day(self)
