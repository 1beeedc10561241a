"""labwc with waybar: windows overlap. It tells nobody where they are, so rules place them."""

import pyatspi

import day
import sway
from desktop import Window
from outside import states

PLACES = {day.TIMESHEET: (60, 80), day.NEW_TIMER: (700, 120), day.PREFERENCES: (600, 100), "Other": (300, 200)}
TITLE = 26
KEYS = '<keyboard><default/><keybind key="A-Down"/></keyboard>'  # which moves windows otherwise
RULE = '<windowRule title="{}"><action name="MoveTo" x="{}" y="{}"/></windowRule>'


class Recipe(sway.Recipe):
    environment = {**sway.Recipe.environment, "XDG_CURRENT_DESKTOP": "labwc:wlroots"}
    tiles = True  # nobody says where windows are
    compositor = "labwc"
    size = (1280, 720)  # of wlroots' screen, when nobody says otherwise

    def configure(self, folder):
        (folder / "labwc").mkdir()
        rules = "".join(RULE.format(title, *place) for title, place in PLACES.items())
        (folder / "labwc/rc.xml").write_text(f"<labwc_config>{KEYS}<windowRules>{rules}</windowRules></labwc_config>")

    def windows(self):
        """Those of the programs on the accessibility bus."""
        found = []
        for program in pyatspi.Registry.getDesktop(0):
            for top in program or ():
                if top and top.name in PLACES and "showing" in states(top):
                    size = top.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
                    title = TITLE if top.name == day.PREFERENCES else 0  # the others have no frame of labwc's
                    found.append(Window(top.name, *PLACES[top.name], size.width, size.height + title, "active" in states(top)))
        return found

    def tour(self):
        day.day(self)
