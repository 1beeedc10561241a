"""GNOME Shell on Wayland, as it comes, or with the extension that shows status items."""

import json
import os
import subprocess

from gi.repository import Gio, GLib

import day
import eye
import hand
from desktop import Desktop, Window
from outside import until


def settings(*words):
    subprocess.run(["gsettings", "set", *words], check=True)


class Recipe(Desktop):
    environment = {"XDG_CURRENT_DESKTOP": "GNOME", "XDG_SESSION_DESKTOP": "gnome", "DESKTOP_SESSION": "gnome",
                   "XDG_SESSION_TYPE": "wayland", "XDG_MENU_PREFIX": "gnome-"}
    Hand = hand.MutterHand
    picture_of = staticmethod(eye.of_gnome)

    def __init__(self, release, variant, pictures):
        super().__init__(release, variant, pictures)
        self.extension = variant == "extension"
        self.carrier = "status notifier item" if self.extension else "floating strip"
        self.hint = "Your hours are in the " + ("desktop's bar" if self.extension else "small window")
        self.hot_keys = release > 12  # GNOME 43 has no portal for them

    def start(self):
        os.environ.update(self.environment)
        settings("org.gnome.shell", "welcome-dialog-last-shown-version", "99")
        settings("org.gnome.desktop.interface", "enable-hot-corners", "false")
        settings("org.gnome.desktop.interface", "enable-animations", "false")
        settings("org.gnome.desktop.lockdown", "disable-lock-screen", "true")
        settings("org.gnome.desktop.session", "idle-delay", "0")
        settings("org.gnome.desktop.interface", "toolkit-accessibility", "true")
        if self.extension:
            settings("org.gnome.shell", "enabled-extensions", "['ubuntu-appindicators@ubuntu.com']")
        # Unsafe: it takes pictures and evaluates lines for everybody.
        self.begin("gnome-shell", "--headless", "--virtual-monitor", "{}x{}".format(*self.size), "--wayland", "--unsafe-mode")
        until("GNOME Shell", lambda: self.evaluate("Main.layoutManager._startingUp") is False)
        authority = [name for name in os.listdir(self.logs) if name.startswith(".mutter-Xwaylandauth")]
        self.export(**self.environment, WAYLAND_DISPLAY="wayland-0", DISPLAY=":0",
                    **({"XAUTHORITY": f"{self.logs}/{authority[0]}"} if authority else {}))
        self.evaluate("Main.overview.hide()")
        self.hand_up()

    def evaluate(self, line):
        """A line of JavaScript in the shell, which returns something that JSON has."""
        done, value = Gio.bus_get_sync(Gio.BusType.SESSION).call_sync(
            "org.gnome.Shell", "/org/gnome/Shell", "org.gnome.Shell", "Eval", GLib.Variant("(s)", (line,)), None,
            Gio.DBusCallFlags.NO_AUTO_START, -1).unpack()
        assert done, value
        return json.loads(value) if value else None

    def windows(self):
        return [Window(**window) for window in self.evaluate(
            "global.get_window_actors().filter(a => a.visible && a.x >= 0).map(a => a.meta_window).map(w => { const r = w.get_frame_rect();"
            " return {title: w.title ?? '', x: r.x, y: r.y, width: r.width, height: r.height, focused: w.has_focus()}; })")]

    # The item and its menu, which the shell draws where it has the extension

    def drawn(self, what):
        """Places on the screen that `what`, a line of JavaScript, finds in the item's indicator `i`."""
        return self.evaluate(
            "(() => { const key = Object.keys(Main.panel.statusArea).find(k => k.startsWith('appindicator'));"
            " const i = Main.panel.statusArea[key]; const at = (actor) => { const [x, y] = actor.get_transformed_position();"
            f" return {{x, y, width: actor.width, height: actor.height}}; }}; return {what}; }})()")

    def press_item(self, button="left"):
        if not self.extension:
            return super().press_item()
        item = until("the item", lambda: self.drawn("at(i)"))
        self.click((item["x"] + item["width"] / 2, item["y"] + item["height"] / 2), button)

    def toggle_by_item(self):
        if not self.extension:
            return super().toggle_by_item()
        self.press_item("middle")

    def menu(self):
        return self.drawn("i.menu.isOpen") if self.extension else super().menu()

    def choose(self, text):
        if not self.extension:
            return super().choose(text)
        items = {item.pop("text"): item for item in self.drawn(
            "i.menu._getMenuItems().filter(m => m.label).map(m => ({text: m.label.text, ...at(m)}))")}
        found = items[text]
        self.click((found["x"] + found["width"] / 2, found["y"] + found["height"] / 2))

    def tour(self):
        day.day(self)
