"""LXQt's panel with openbox."""

import panel


PANEL = """[General]
panels=panel1
[panel1]
alignment=-1
panelSize=32
plugins=taskbar, statusnotifier, tray, worldclock
position=Bottom
width=100
width-percent=true
[statusnotifier]
type=statusnotifier
[taskbar]
type=taskbar
[tray]
type=tray
[worldclock]
type=worldclock
"""


class Recipe(panel.OnX11):
    environment = {"XDG_CURRENT_DESKTOP": "LXQt", "XDG_SESSION_TYPE": "x11", "DESKTOP_SESSION": "lxqt"}
    carrier = "status notifier item"
    hint = "Your hours are in the desktop's bar"
    manager = ("openbox",)
    parts = (("lxqt-panel",),)

    def configure(self, folder):
        (folder / "lxqt").mkdir()
        (folder / "lxqt/panel.conf").write_text(PANEL)
