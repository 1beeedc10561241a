"""desktop_portal.py portal|backend

A desktop that grants global shortcuts, on the session bus: as the whole portal, or as the back end of the real one
(XDG_DESKTOP_PORTAL_DIR). The test says through com.wrenfold.test.Desktop how it answers and what the person presses.
"""

import sys

import dbus
import dbus.lowlevel
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

ROOT = "/org/freedesktop/portal/desktop"
CONTROL = "com.wrenfold.test.Desktop"
REGISTRY = "org.freedesktop.host.portal.Registry"
SHORTCUTS = "org.freedesktop.portal.GlobalShortcuts"
IMPL_SHORTCUTS = "org.freedesktop.impl.portal.GlobalShortcuts"


class Desktop(dbus.service.Object):
    """What both have in common, and what the test controls."""

    def __init__(self, bus, interface):
        super().__init__(bus, "/")
        self.bus, self.interface = bus, interface
        self.answer, self.held, self.log = "grant", [], []
        self.session, self.client, self.bound, self.listed = None, None, [], []

    def signal(self, path, interface, name, signature, *arguments):
        message = dbus.lowlevel.SignalMessage(path, interface, name)
        message.append(*arguments, signature=signature)
        if self.client:
            message.set_destination(self.client)
        self.bus.send_message(message)

    def create(self, session, options):
        """A session. One kind of desktop takes the keys here."""
        self.session, self.listed = session, []
        if self.answer in ("keeps", "keeps one"):
            _, results = self.grant(options.get("shortcuts", [])[:1 if self.answer == "keeps one" else None])
            self.listed = results["shortcuts"]

    def list(self):
        return dbus.UInt32(0), dbus.Dictionary({"shortcuts": dbus.Array(self.listed, "(sa{sv})")}, "sv")

    def grant(self, shortcuts):
        """The response to a wish, and what is bound."""
        self.log.append("bind " + " ".join(f"{name}={about.get('preferred_trigger', '-')}" for name, about in shortcuts))
        if self.answer == "refuse":
            return dbus.UInt32(1), dbus.Dictionary({}, "sv")
        wished = shortcuts[:1] if self.answer == "partial" else shortcuts
        self.bound += [str(name) for name, _ in wished]
        triggers = {"choose": "Press Super+%s", "unassigned": "", "gnome": "Press <Control><Alt>m"}
        described = dbus.Array([
            (name, dbus.Dictionary({
                "description": about["description"],
                "trigger_description": triggers.get(self.answer, "Press " + about.get("preferred_trigger", "?"))
                                       .replace("%s", str(name)[0].upper()),
            }, "sv")) for name, about in wished], "(sa{sv})")
        # GNOME 48 grants them, and says that it failed.
        return dbus.UInt32(2 if self.answer == "gnome" else 0), dbus.Dictionary({"shortcuts": described}, "sv")

    @dbus.service.method(CONTROL, "s")
    def Answer(self, answer):
        self.answer = answer

    @dbus.service.method(CONTROL)
    def Release(self):
        held, self.held = self.held, []
        for go_on in held:
            go_on()

    @dbus.service.method(CONTROL, out_signature="as")
    def Log(self):
        return dbus.Array(self.log, "s")

    @dbus.service.method(CONTROL, "s")
    def Press(self, name):
        if self.session and name in self.bound:
            self.signal(self.path(), self.interface, "Activated", "osta{sv}", self.session, name, dbus.UInt64(1),
                        dbus.Dictionary({"activation_token": "token"}, "sv"))

    @dbus.service.method(CONTROL, "ss")
    def Change(self, name, trigger):
        self.signal(self.path(), self.interface, "ShortcutsChanged", "oa(sa{sv})", self.session, dbus.Array([
            (name, dbus.Dictionary({"trigger_description": trigger}, "sv"))], "(sa{sv})"))

    @dbus.service.method(CONTROL)
    def Forget(self):
        self.signal(self.session, "org.freedesktop.portal.Session", "Closed", "a{sv}", dbus.Dictionary({}, "sv"))
        self.session = None

    def path(self):
        return ROOT


class Portal(Desktop):
    """The portal as programs see it. Requests are answered after the call has returned."""

    def __init__(self, bus):
        super().__init__(bus, SHORTCUTS)
        self.requests = Requests(self)

    def respond(self, sender, token, make):
        path = f"{ROOT}/request/{sender[1:].replace('.', '_')}/{token}"
        self.client = sender

        def go_on():
            self.signal(path, "org.freedesktop.portal.Request", "Response", "ua{sv}", *make())

        if self.answer == "hold":
            self.held.append(go_on)
        else:
            GLib.idle_add(go_on)
        return dbus.ObjectPath(path)


class Requests(dbus.service.FallbackObject):
    def __init__(self, portal):
        super().__init__(portal.bus, ROOT)
        self.portal = portal

    @dbus.service.method(REGISTRY, "sa{sv}")
    def Register(self, app_id, _options):
        self.portal.log.append(f"register {app_id}")

    @dbus.service.method(SHORTCUTS, "a{sv}", "o", sender_keyword="sender")
    def CreateSession(self, options, sender=None):
        portal = self.portal
        portal.log.append("create " + options["session_handle_token"])
        if portal.answer == "fail":
            raise dbus.DBusException("Not now", name="org.freedesktop.portal.Error.Failed")
        session = f"{ROOT}/session/{sender[1:].replace('.', '_')}/{options['session_handle_token']}"

        def make():
            portal.create(session, options)
            return dbus.UInt32(0), dbus.Dictionary({"session_handle": session}, "sv")

        return portal.respond(sender, options["handle_token"], make)

    @dbus.service.method(SHORTCUTS, "oa{sv}", "o", sender_keyword="sender")
    def ListShortcuts(self, session, options, sender=None):
        assert session == self.portal.session, "a session that is not"
        return self.portal.respond(sender, options["handle_token"], self.portal.list)

    @dbus.service.method(SHORTCUTS, "oa(sa{sv})sa{sv}", "o", sender_keyword="sender")
    def BindShortcuts(self, session, shortcuts, _parent, options, sender=None):
        assert session == self.portal.session, "bound to a session that is not"
        return self.portal.respond(sender, options["handle_token"], lambda: self.portal.grant(shortcuts))

    @dbus.service.method("org.freedesktop.portal.Session", path_keyword="path")
    def Close(self, path=None):
        self.portal.log.append("close")
        if path == self.portal.session:
            self.portal.session, self.portal.bound = None, []


class Backend(Desktop):
    """What the real portal asks, having done everything else."""

    def __init__(self, bus):
        super().__init__(bus, IMPL_SHORTCUTS)
        self.calls = BackendCalls(self)


class BackendCalls(dbus.service.FallbackObject):
    def __init__(self, backend):
        super().__init__(backend.bus, ROOT)
        self.backend = backend

    @dbus.service.method(IMPL_SHORTCUTS, "oosa{sv}", "ua{sv}")
    def CreateSession(self, _handle, session, _app_id, options):
        self.backend.log.append("create " + session.rsplit("/", 1)[1])
        self.backend.create(session, options)
        return dbus.UInt32(0), dbus.Dictionary({}, "sv")

    @dbus.service.method(IMPL_SHORTCUTS, "oo", "ua{sv}")
    def ListShortcuts(self, _handle, _session):
        return self.backend.list()

    @dbus.service.method(IMPL_SHORTCUTS, "ooa(sa{sv})sa{sv}", "ua{sv}")
    def BindShortcuts(self, _handle, _session, shortcuts, _parent, _options):
        return self.backend.grant(shortcuts)

    @dbus.service.method("org.freedesktop.impl.portal.Session")
    def Close(self):
        self.backend.log.append("close")
        self.backend.session, self.backend.bound = None, []


def main(role):
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    desktop = Portal(bus) if role == "portal" else Backend(bus)
    names = [dbus.service.BusName(name, bus) for name in (
        "org.freedesktop.portal.Desktop" if role == "portal" else "org.freedesktop.impl.portal.desktop.test", CONTROL)]
    GLib.MainLoop().run()
    del desktop, names


main(sys.argv[1])
