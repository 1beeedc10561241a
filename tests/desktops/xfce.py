"""Xfce's panel and window manager. The view itself is docked in the panel."""

import panel

PANEL = """<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="28"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/><value type="int" value="2"/><value type="int" value="3"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="tasklist"/>
    <property name="plugin-2" type="string" value="systray"/>
    <property name="plugin-3" type="string" value="clock"/>
  </property>
</channel>
"""


class Recipe(panel.OnX11):
    environment = {"XDG_CURRENT_DESKTOP": "XFCE", "XDG_SESSION_TYPE": "x11", "DESKTOP_SESSION": "xfce"}
    carrier = "docked in the panel"
    hint = "Your hours are here"
    icon = False
    manager = ("xfwm4", "--compositor=on")
    parts = (("xfsettingsd", "--no-daemon"), ("xfce4-panel",))

    def configure(self, folder):
        settings = folder / "xfce4/xfconf/xfce-perchannel-xml"
        settings.mkdir(parents=True)
        (settings / "xfce4-panel.xml").write_text(PANEL)
