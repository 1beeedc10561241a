"""sway with waybar. Windows are tiled."""

import json
import os
import pathlib
import subprocess

import day
import eye
import hand
import panel
from desktop import Window
from outside import until

CONFIG = """output HEADLESS-1 mode {}x{} bg #335577 solid_color
default_border normal
font pango:DejaVu Sans 10
bindsym Ctrl+Alt+t exec quillon timesheet
exec_always waybar
"""
BAR = """{"layer": "top", "position": "top", "height": 28, "modules-left": ["sway/workspaces"], "modules-right": ["tray", "clock"],
"tray": {"icon-size": 22, "spacing": 8}}"""
LINE = """{"layer": "top", "position": "bottom", "height": 28, "modules-center": ["custom/quillon"], "include": ["CONTRIB"]}"""


class Recipe(panel.Desktop):
    environment = {"XDG_CURRENT_DESKTOP": "sway", "XDG_SESSION_TYPE": "wayland", "WLR_BACKENDS": "headless",
                   "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1"}
    Hand = hand.WlrHand
    picture_of = staticmethod(eye.of_wlr)
    carrier = "status notifier item"
    hint = "Your hours are in the desktop's bar"
    hot_keys = False
    tiles = True
    compositor = "sway"

    def configure(self, folder):
        (folder / "sway").mkdir()
        (folder / "sway/config").write_text(CONFIG.format(*self.size))

    def start(self):
        os.environ.update(self.environment)
        folder = pathlib.Path.home() / ".config"
        (folder / "waybar").mkdir(parents=True)
        (folder / "waybar/config").write_text(BAR)
        (folder / "waybar/style.css").write_text("* { font-family: DejaVu Sans; font-size: 13px; }")
        self.configure(folder)
        self.begin(self.compositor)
        until(self.compositor, lambda: self.sockets("wayland-") and (self.compositor != "sway" or self.sockets("sway-ipc")))
        where = {"WAYLAND_DISPLAY": self.sockets("wayland-")[0]}
        if self.compositor == "sway":
            where["SWAYSOCK"] = f"{self.logs}/{self.sockets('sway-ipc')[0]}"
        self.export(**self.environment, **where)
        if self.compositor != "sway":
            self.begin("waybar")
        until("the bar", self.watcher_is_there)
        self.hand_up()

    def sockets(self, beginning):
        return sorted(name for name in os.listdir(self.logs) if name.startswith(beginning) and not name.endswith(".lock"))

    def windows(self):
        def below(node):
            if node.get("pid") and node.get("visible"):
                # The title that sway draws is not in the rectangle of a tiled window.
                rect, title = node["rect"], node["deco_rect"]["height"]
                if node["type"] == "con":
                    rect = {**rect, "y": rect["y"] - title, "height": rect["height"] + title}
                yield Window(node["name"] or "", rect["x"], rect["y"], rect["width"], rect["height"], node["focused"])
            for part in node["nodes"] + node["floating_nodes"]:
                yield from below(part)

        return list(below(json.loads(subprocess.check_output(["swaymsg", "-t", "get_tree"]))))

    def close_menu(self):
        self.click((self.size[0] // 2, self.size[1] // 2))  # waybar's menu has no keyboard

    def choose(self, text):
        """The first entry, by a click."""
        left, top, width, _ = self.area_of_menu
        self.click((left + width - 60, top + 18))  # the pointer was to the left of it, and is in the area, too

    def tour(self):
        day.day(self)
        self.elsewhere()

    def elsewhere(self):
        """A window on another workspace comes to the one in use."""
        with self.step("a command brings the timesheet from another workspace"):
            self.start_program("--local")
            until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
            subprocess.run(["swaymsg", "workspace", "2"], check=True)
            until("an empty workspace", lambda: not self.window(day.TIMESHEET))
            subprocess.run(["quillon", "timesheet"], check=True)
            until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
        with self.step("the bar's own line starts and stops the timer, and opens both windows"):
            config = pathlib.Path.home() / ".config/waybar/line"
            contrib = pathlib.Path(__file__).resolve().parents[2] / "contrib/waybar/config.jsonc"
            config.write_text(LINE.replace("CONTRIB", str(contrib)))
            line = (self.size[0] // 2, self.size[1] - 14)
            before = self.colour(line[0], self.size[1] - 3)
            self.begin("waybar", "-c", str(config))
            until("the line", lambda: self.colour(line[0], self.size[1] - 3) != before)
            for state in ("running", "stopped"):
                self.click(line)
                until(state, lambda: self.status()["State"] == state)
            self.click(line, "middle")
            until("the window for a new timer", lambda: self.has_keyboard("New Timer"))
            self.keys("esc")
            until("no such window", lambda: not self.window("New Timer"))
            self.click(line, "right")
            until("the timesheet is put away", lambda: not self.window(day.TIMESHEET))
            self.click(line, "right")
            until("the timesheet", lambda: self.has_keyboard(day.TIMESHEET))
        with self.step("idle time is measured"):
            until("its source", lambda: self.idle().startswith("ok"))
            self.end_program()

    def idle(self):
        told = subprocess.run(["quillon", "--check"], stdout=subprocess.PIPE, text=True).stdout
        return next(line for line in told.splitlines() if "Idle time" in line)
