"""GNOME Shell on Wayland, as it comes, or with the extension that shows status items."""

import json
import os
import pathlib
import re
import subprocess
import time

import pyatspi
from gi.repository import Gio, GLib

import day
import eye
import hand
from desktop import Desktop, Window
from outside import find, states, until


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
        # Before anything is activated: a portal that the shell starts chooses its back ends by this, once.
        self.export(**self.environment)
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
        self.export(WAYLAND_DISPLAY="wayland-0", DISPLAY=":0",
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

    def drawn_entries(self):
        """Those of the shell's menu, with their places."""
        return {item.pop("text"): item for item in self.drawn(
            "i.menu._getMenuItems().filter(m => m.label && m.visible).map(m => ({text: m.label.text, ...at(m)}))")}

    def entries(self):
        return list(self.drawn_entries()) if self.extension else super().entries()

    def choose(self, text):
        if not self.extension:
            return super().choose(text)
        found = self.drawn_entries()[text]
        self.click((found["x"] + found["width"] / 2, found["y"] + found["height"] / 2))

    def tour(self):
        day.day(self)
        self.search()
        self.leave()
        if not self.extension:
            self.strip_tour()
        self.listen()

    def search(self):
        """The timer from the shell's search and from the right click on its icon."""
        middles = "(() => { const middle = (a) => { const [x, y] = a.get_transformed_position(); return [x + a.width / 2, y + a.height / 2]; };"

        def result():
            """What return would carry out."""
            return self.evaluate("Main.overview._overview._controls._searchController._searchResults._defaultResult?.metaInfo?.name")

        def look_for(words, expected):
            self.keys("super")
            until("the overview", lambda: self.evaluate("Main.overview.visible"))
            self.type(words)
            until(expected, lambda: result() == expected)

        def icon(what):
            return self.evaluate(middles + " const all = (m) => m._getMenuItems().flatMap(i => i._getMenuItems ? all(i) : [i]);"
                                 " const i = Main.overview.dash._box.get_children().map(c => c.child).find("
                                 f"c => c?.app?.get_id() === 'com.wrenfold.quillon.desktop'); return {what}; }})()")

        self.start_program()
        until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
        with self.step("the shell's search finds a project"):
            look_for("bookk", "Start Bookkeeping · Administration")
        with self.step("return starts its timer"):
            self.keys("return")
            until("it runs", lambda: self.status()["Running"] and self.status()["Project"] == "Bookkeeping")
            until("no overview", lambda: not self.evaluate("Main.overview.visible"))
        with self.step("while it runs the search offers to stop it"):
            look_for("stop", "Stop the Timer")
        with self.step("return stops it"):
            self.keys("return")
            until("it rests", lambda: not self.status()["Running"])
        with self.step("the icon in the dash offers what the program does"):
            self.keys("super")
            until("the overview", lambda: self.evaluate("Main.overview.visible"))
            self.click(tuple(until("the icon", lambda: icon("middle(i)"))), "right")
            entries = until("its menu", lambda: icon("i._menu.isOpen && Object.fromEntries(all(i._menu).filter("
                                                     "m => m.label && m.visible).map(m => [m.label.text, middle(m)]))"))
            assert {"New Timer", "Continue Last", "Stop the Timer", "Timesheet", "Preferences"} <= set(entries), entries
        with self.step("a click there continues the last"):
            self.click(tuple(entries["Continue Last"]))
            until("it runs", lambda: self.status()["Running"])
        self.end_program()

    def permit_hot_keys(self):
        if not self.hot_keys:
            return
        with self.step("the desktop asks for the keys, and a click adds them"):
            title = "Add Keyboard Shortcuts"
            dialog = until("the question", lambda: self.window(title))
            self.click((dialog.x + 4, dialog.y + dialog.height // 2))  # whatever is over its middle
            until("the question in front", lambda: self.has_keyboard(title))
            self.click((dialog.x + dialog.width - 40, dialog.y + 23))
            granted = "Ctrl+Alt+N for the new timer, from"
            until("the keys", lambda: not self.window(title) and granted in self.check()["Hot keys"][1])

    def settle_in(self):
        if self.release > 12 and not self.extension:
            with self.step("the timesheet is moved off the strip"):
                before = self.window(day.TIMESHEET)
                middle = before.x + before.width // 2
                self.hand.drag(middle, before.y + 12, middle - 400, before.y + 12)
                strip = self.strip()
                until("the strip beside it", lambda: (now := self.window(day.TIMESHEET)) and now.x + now.width < strip.x)

    def strip_tour(self):
        """What is particular about a strip that is an ordinary window."""
        with self.step("the check says what covers the strip"):
            self.start_program()
            until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
            well, text = self.check()["Status item"]
            assert not well and "AppIndicator" in text, text
        self.settle_in()
        with self.step("the menu opens at the strip after a key press elsewhere"):
            self.keys("down")
            self.open_menu()
            menu, strip = self.windows()[-1], self.strip()
            assert menu.y == strip.y + strip.height and strip.x <= menu.x < strip.x + strip.width, menu
            self.keys("esc")
        self.end_program()

    def notification(self):
        """What the shell shows in its banner: the title, and the places of its parts. None without one."""
        return self.evaluate(
            "(() => { const tray = Main.messageTray, b = tray._banner; if (!b) return null;"
            " const at = (actor) => { const [x, y] = actor.get_transformed_position();"
            "  return [x + actor.width / 2, y + actor.height / 2]; };"
            " return {title: tray._notification.title,"
            "  close: at(b._closeButton ?? b._header.closeButton), buttons: Object.fromEntries("
            "   (b._buttonBox?.get_children() ?? []).filter(c => c.mapped).map(c => [c.label, at(c)]))}; })()")

    def leave(self):
        """The person leaves for some minutes while the timer runs."""
        settings_file = pathlib.Path.home() / ".config/Quillon/Quillon.conf"
        settings_file.write_text(re.sub("(?m)^(IdleMinutesThreshold)=.*", r"\1=1", settings_file.read_text()))
        self.start_program()
        until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))

        def question(found, minutes=3):
            end = time.monotonic() + 60 * minutes
            while not (result := found()) and time.monotonic() < end:
                time.sleep(1)
            assert result, "not asked"
            return result

        def band():
            shown = self.shown("notification")
            return shown and shown.name

        def start():
            self.keys("shift")
            if not self.status()["Running"]:
                subprocess.run(["quillon", "toggle"], check=True)

        with self.another_program() as title:
            until("the other window", lambda: self.has_keyboard(title))
            text = until("its text", lambda: pyatspi.findDescendant(
                pyatspi.Registry.getDesktop(0), lambda a: a.getRole() == pyatspi.ROLE_TEXT and "focused" in states(a)))
            with self.step("the question about idle time leaves the keyboard where it is"):
                start()
                question(self.notification)
                self.type(" x")
                until("what is typed", lambda: day.text_of(text) == " x")
                assert self.has_keyboard(title) and self.notification()
            with self.step("it grows and keeps its answers"):
                answer = question(lambda: (shown := self.notification()) and shown["buttons"].get("Remove 2 Idle Minutes"))
            with self.step("a click on an answer removes the idle time"):
                self.click(tuple(answer))
                until("the answer", lambda: not self.status()["Running"] and not self.notification())
                assert self.has_keyboard(title) and not band()
            with self.step("put away, the question stands in the timesheet"):
                start()
                self.click(tuple(question(self.notification)["close"]))
                until("the band", lambda: "idle for 1 min" in band())
                assert self.has_keyboard(title) and not self.notification()
            with self.step("there it grows"):
                question(lambda: "idle for 2 min" in band())
                assert not self.notification()
            with self.step("a click answers it there"):
                subprocess.run(["quillon"], check=True)  # GNOME 48 puts all windows into the middle
                until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
                self.click(find(self.root, "push button", "Continue Timing"))
                until("no band", lambda: not band())
                assert self.status()["Running"]
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
            log.unlink(missing_ok=True)  # of an earlier tour
            orca = self.begin("orca", "--replace", f"--debug-file={log}")

            def spoken():
                return re.findall(r"SPEECH OUTPUT: '(.*?)'", log.read_text(errors="replace"))

            heard = 0

            def hears(expected, *chords):
                """What it says from the last time to the answer to these keys has `expected` in it."""
                nonlocal heard
                self.keys(*chords)
                try:
                    until(f"{expected!r}, spoken after {chords}", lambda: expected in " ".join(spoken()[heard:]))
                finally:
                    time.sleep(1)
                    print("       heard:", *chords, spoken()[heard:], flush=True)
                    heard = len(spoken())

            until("the screen reader", lambda: log.exists() and "SPEECH OUTPUT" in log.read_text(errors="replace"))
            self.start_program()
            until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
            subprocess.run(["quillon", "new"], check=True)
            until("the window", lambda: self.has_keyboard(day.NEW_TIMER))
            hears("New Timer")
            hears("o", "o")
            hears("[JB-01] Online Shop", "down")
            hears("[JB-02] Seasonal Menu Cards", "down")
            hears("Task text", "return")  # chosen, and on to the next field
            self.keys("esc", "esc")
            self.end_program()
            orca.terminate()
            orca.wait()
