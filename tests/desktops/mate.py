"""MATE's panel and window manager. The view itself is docked in the notification area."""

import panel


class Recipe(panel.OnX11):
    environment = {"XDG_CURRENT_DESKTOP": "MATE", "XDG_SESSION_TYPE": "x11", "DESKTOP_SESSION": "mate",
                   "GSETTINGS_BACKEND": "keyfile"}
    carrier = "docked in the panel"
    hint = "Your hours are here"
    icon = False
    manager = ("marco",)
    parts = (("mate-panel",),)
