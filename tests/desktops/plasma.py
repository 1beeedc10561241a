"""Plasma, on Wayland or (variant x11) on an X server."""

import json
import os
import pathlib
import subprocess
import tempfile
import time

import dbus.mainloop.glib
import dbus.service
from gi.repository import Gio, GLib

import day
import eye
import hand
import panel
from desktop import Window
from outside import until

# What KWin knows of its windows, the lowest first, told to us over the bus.
SCRIPT = """const all = workspace.windowList ? workspace.windowList() : workspace.clientList();
const stack = all.slice().sort((a, b) => a.stackingOrder - b.stackingOrder);
callDBus("%s", "/windows", "com.wrenfold.test.Windows", "Tell", JSON.stringify(stack.filter(w => !w.minimized && !w.deleted &&
  !w.desktopWindow && !w.dock).map(w => ({title: String(w.caption), x: Math.round(w.frameGeometry.x),
  y: Math.round(w.frameGeometry.y), width: Math.round(w.frameGeometry.width), height: Math.round(w.frameGeometry.height),
  focused: w.active}))));"""


class Listener(dbus.service.Object):
    """Hears what KWin tells."""

    def __init__(self):
        dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
        self.bus = dbus.SessionBus()
        super().__init__(self.bus, "/windows")
        self.told = None

    @dbus.service.method("com.wrenfold.test.Windows", "s")
    def Tell(self, text):
        self.told = [Window(**window) for window in json.loads(text)]


class Recipe(panel.Desktop):
    carrier = "status notifier item"
    hint = "Your hours are in the desktop's bar"

    def __init__(self, release, variant, pictures):
        super().__init__(release, variant, pictures)
        self.x11 = variant == "x11"
        self.environment = {"XDG_CURRENT_DESKTOP": "KDE", "XDG_SESSION_DESKTOP": "KDE", "DESKTOP_SESSION": "plasma",
                            "XDG_SESSION_TYPE": "x11" if self.x11 else "wayland", "KDE_FULL_SESSION": "true",
                            "KDE_SESSION_VERSION": "5" if release == 12 else "6", "XDG_MENU_PREFIX": "plasma-",
                            "XDG_CONFIG_DIRS": "/etc/xdg", "QT_QUICK_BACKEND": "software",
                            "KWIN_WAYLAND_NO_PERMISSION_CHECKS": "1", "KWIN_SCREENSHOT_NO_PERMISSION_CHECKS": "1"}
        # KWin 6 gives pictures away only when it has a graphics processor: it shows its screen in a window, then.
        self.on_x_server = self.x11 or release == 13
        self.Hand = hand.X11Hand if self.x11 else hand.KWinHand

    def picture(self, name):
        file = str(self.pictures / f"{name}.png")
        if self.on_x_server:
            subprocess.run(["import", "-display", ":7", "-window", "root", file], check=True)
        else:
            eye.of_kwin(file)
        return file

    def start(self):
        os.environ.update(self.environment)
        settings = pathlib.Path.home() / ".config"
        settings.mkdir(exist_ok=True)
        for file, lines in {"ksmserverrc": "[General]\nloginMode=emptySession\n", "ksplashrc": "[KSplash]\nEngine=none\n",
                            "baloofilerc": "[Basic Settings]\nIndexing-Enabled=false\n",
                            "kscreenlockerrc": "[Daemon]\nAutolock=false\nLockOnResume=false\n",
                            "kdeglobals": "[KDE]\nAnimationDurationFactor=0\n"}.items():
            (settings / file).write_text(lines)
        kwin = "kwin_x11" if self.x11 else "kwin_wayland"
        if self.on_x_server:
            self.start_x_server()
        if self.x11:
            self.begin(kwin)
        else:
            self.begin(kwin, *(["--x11-display", ":7"] if self.on_x_server else ["--virtual"]), "--width", str(self.size[0]),
                       "--height", str(self.size[1]), "--xwayland", "--no-lockscreen")
            until("KWin", lambda: os.path.exists(f"{self.logs}/wayland-0"))
            self.export(WAYLAND_DISPLAY="wayland-0", DISPLAY=":0")
        self.export(**self.environment)
        # KWin may have had it started before there was a display for its back end.
        subprocess.run(["pkill", "-f", "xdg-desktop-portal"])
        # On Plasma 6 KWin has the keys itself on Wayland.
        keys = {12: "kglobalaccel5", 13: "kglobalacceld"}[self.release]
        for part in (keys, *(["kded5"] if self.release == 12 else ["kded6"]), "plasmashell"):
            if self.release == 13 and part == "kglobalacceld":
                if not self.x11:
                    continue
                part = "/usr/lib/x86_64-linux-gnu/libexec/kglobalacceld"
            self.begin(part)
        self.listener = Listener()
        until("the panel", self.watcher_is_there)
        self.hand_up()

    def windows(self):
        bus = Gio.bus_get_sync(Gio.BusType.SESSION)

        def call(path, interface, method, arguments=None):
            return bus.call_sync("org.kde.KWin", path, interface, method, arguments, None, Gio.DBusCallFlags.NONE, 5000, None)

        with tempfile.NamedTemporaryFile("w", suffix=".js") as file:
            file.write(SCRIPT % self.listener.bus.get_unique_name())
            file.flush()
            name = f"windows{os.path.basename(file.name)}"
            number = call("/Scripting", "org.kde.kwin.Scripting", "loadScript", GLib.Variant("(ss)", (file.name, name))).unpack()[0]
            self.listener.told = None
            path = f"/{number}" if self.release == 12 else f"/Scripting/Script{number}"
            call(path, "org.kde.kwin.Script", "run")
            until("what KWin tells", lambda: self.listener.told is not None)
            call("/Scripting", "org.kde.kwin.Scripting", "unloadScript", GLib.Variant("(s)", (name,)))
        return self.listener.told

    def tour(self):
        day.day(self)
        self.search()
        self.again()

    def search(self):
        """The timer from KRunner."""
        def look_for(words):
            until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
            self.keys("alt+space")
            until("KRunner", lambda: not self.has_keyboard(day.TIMESHEET))  # it has no title
            self.type(words)
            time.sleep(3)  # it shows what it finds as that comes

        self.start_program()
        until("somebody signed in", lambda: self.status()["State"] in ("stopped", "running"))
        with self.step("KRunner finds a project"):
            look_for("bookk")
        with self.step("return starts its timer"):
            self.keys("return")
            until("it runs", lambda: self.status()["Running"] and self.status()["Project"] == "Bookkeeping")
        with self.step("while it runs KRunner offers to stop it"):
            look_for("stop")
        with self.step("return stops it"):
            self.keys("return")
            until("it rests", lambda: not self.status()["Running"])
        self.end_program()

    def again(self):
        """What went wrong here once: each start opened the settings, and no key worked."""
        with self.step("a second start opens nothing but the program"):
            before = {window.title for window in self.windows()}
            self.start_program()
            until("the item", lambda: self.check()["Hot keys"])
            until("its keys", lambda: self.check()["Hot keys"][0])
            assert {window.title for window in self.windows()} - before <= {"", day.TIMESHEET}, self.windows()
        with self.step("its keys work again"):
            self.keys("ctrl+alt+n")
            until("the window", lambda: self.has_keyboard(day.NEW_TIMER))
            self.type("design")
        with self.step("a key brings the window to the front with what was typed"):
            with self.another_program() as title:
                until("the other window", lambda: self.has_keyboard(title))
                self.keys("ctrl+alt+n")
                until("the window", lambda: self.has_keyboard(day.NEW_TIMER))
                assert day.text_of(self.shown("text", "Project")).startswith("design")
            self.keys("esc")
            self.end_program()
