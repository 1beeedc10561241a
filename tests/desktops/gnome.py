"""GNOME Shell on Wayland, as it comes, or with the extension that shows status items."""

import json
import os
import pathlib
import re
import subprocess
import time

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
        if not self.extension:
            self.strip_tour()
        self.listen()

    def strip_tour(self):
        """What is particular about a strip that is an ordinary window."""
        with self.step("the check says what covers the strip"):
            self.start_program()
            until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
            well, text = self.check()["Status item"]
            assert not well and "AppIndicator" in text, text
        with self.step("the menu opens at the strip after a key press elsewhere"):
            self.keys("down")
            self.open_menu()
            menu, strip = self.windows()[-1], self.strip()
            assert menu.y == strip.y + strip.height and strip.x <= menu.x < strip.x + strip.width, menu
            self.keys("esc")
        self.end_program()

    def listen(self):
        """With the screen reader."""
        with self.step("the screen reader reads the list of a picker"):
            speech = pathlib.Path.home() / ".config/speech-dispatcher"
            speech.mkdir(parents=True)
            (speech / "speechd.conf").write_text('AddModule "dummy" "sd_dummy" ""\nDefaultModule dummy\n')
            Gio.bus_get_sync(Gio.BusType.SESSION).call_sync(
                "org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Set",
                GLib.Variant("(ssv)", ("org.a11y.Status", "ScreenReaderEnabled", GLib.Variant("b", True))), None,
                Gio.DBusCallFlags.NONE, -1)
            log = self.pictures / "orca.log"
            orca = self.begin("orca", "--replace", f"--debug-file={log}")

            def heard(*chords):
                """What it says by the keys, until it says no more."""
                before = log.stat().st_size
                self.keys(*chords)
                size = -1
                while size != log.stat().st_size:
                    size = log.stat().st_size
                    time.sleep(2)
                said = re.findall(r"SPEECH OUTPUT: '(.*?)'", log.read_text(errors="replace")[before:])
                print("       heard:", *chords, said, flush=True)
                return " ".join(said)

            until("the screen reader", lambda: log.exists() and "SPEECH OUTPUT" in log.read_text(errors="replace"))
            self.start_program()
            until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
            subprocess.run(["quillon", "new"], check=True)
            until("the window", lambda: self.has_keyboard(day.NEW_TIMER))
            heard()
            heard("o")
            assert "Suggestions" in heard("down"), "entering the list"
            assert heard("down"), "moving in it"
            assert "Project" in heard("esc"), "leaving it"
            self.keys("esc")
            self.end_program()
            orca.terminate()
            orca.wait()
