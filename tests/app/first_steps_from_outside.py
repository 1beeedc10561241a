"""The first start of a person without an account, from the desktop's menu, and the start after it."""

import os
import pathlib
import subprocess
import sys

import pyatspi
from gi.repository import Gio, GLib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import Program, find, press, states, until

NAME, PATH, INTERFACE = "com.wrenfold.quillon", "/com/wrenfold/quillon", "com.wrenfold.Quillon1"
CONFIG = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "Quillon"

bus = Gio.bus_get_sync(Gio.BusType.SESSION)


def call(method):
    bus.call_sync(NAME, PATH, INTERFACE, method, None, None, Gio.DBusCallFlags.NO_AUTO_START, -1)


def status():
    reply = bus.call_sync(NAME, PATH, "org.freedesktop.DBus.Properties", "GetAll", GLib.Variant("(s)", (INTERFACE,)),
                          None, Gio.DBusCallFlags.NO_AUTO_START, -1)
    return reply.unpack()[0]


def shown(root, role, name):
    """Whether there is one on the screen."""
    found = pyatspi.findDescendant(root, lambda a: a.getRoleName() == role and a.name == name)
    return found and "showing" in states(found)


def opened():
    """The addresses that the desktop was asked to open."""
    return (pathlib.Path(os.environ["HOME"]) / "opened").read_text().split()


def main(quillon):
    CONFIG.mkdir(parents=True)
    (CONFIG / "Info.json").write_text('{"QuillonReachabilityHost": "localhost"}')
    # A desktop whose browser only notes where it was sent.
    home = pathlib.Path(os.environ["HOME"])
    (home / "xdg-open").write_text(f'#!/bin/sh\necho "$1" >>{home}/opened\n')
    (home / "xdg-open").chmod(0o755)
    os.environ["PATH"] = f"{home}:{os.environ['PATH']}"

    first_start(quillon)
    second_start(quillon)
    lost_file(quillon)
    elsewhere(quillon)


def first_start(quillon):
    with Program("Quillon", quillon) as root:
        window = find(root, "dialog", "Quillon Preferences")
        until("nobody is signed in", lambda: status()["State"] == "signed-out")
        press(find(window, "push button", "Keep My Time on This Computer"))
        until("the window is gone", lambda: "showing" not in states(window))
        until("the timesheet", lambda: shown(root, "frame", "Timesheet"))
        until("the sample entry", lambda: status()["Project"] and status()["State"] == "stopped")

        # Where the hours are is said without taking the keyboard from the timesheet.
        hint = find(root, "notification")
        assert hint.name.startswith("Your hours are here. "), hint.name
        assert "active" in states(find(root, "frame", "Timesheet"))
        press(find(hint, "push button", "Got It"))
        until("the hint is gone", lambda: "showing" not in states(hint))

        call("Toggle")
        until("the timer runs", lambda: status()["Running"])

        call("OpenInBrowser")
        call("ManageProjects")
        pages = until("two pages", lambda: len(opened()) == 2 and opened())
        assert all(page.startswith("http://local.localhost:") for page in pages), pages
        for page in pages:
            assert page not in (CONFIG / "Quillon.conf").read_text()
    assert "KeepTimeHere=true" in (CONFIG / "Quillon.conf").read_text()
    assert "localhost" not in (CONFIG / "Quillon.conf").read_text()


def second_start(quillon):
    port = (CONFIG / "State.conf").read_text()
    with Program("Quillon", quillon) as root:
        until("the timer of the first start", lambda: status()["Running"] and status()["Project"])
        until("the timesheet", lambda: shown(root, "frame", "Timesheet"))
        assert not shown(root, "dialog", "Quillon Preferences")
        assert not pyatspi.findDescendant(root, lambda a: a.getRoleName() == "notification")
    assert (CONFIG / "State.conf").read_text() == port, "pages that were open are dead"


def lost_file(quillon):
    """The file that the time is in is moved away while the program runs, and comes back."""
    data = pathlib.Path(os.environ["XDG_DATA_HOME"]) / "Quillon" / "LocalService.sqlite"
    program = Program("Quillon", quillon, stderr=subprocess.PIPE)
    with program as root:
        until("the timer", lambda: status()["Running"])
        data.rename(data.with_suffix(".away"))
        try:
            call("Toggle")
            assert False, "toggled without its file"
        except GLib.Error as error:
            assert Gio.DBusError.get_remote_error(error) == INTERFACE + ".Error.Failed", error
        # Why, and then what came of the toggle.
        alert = find(root, "alert")
        find(alert, "label", "Your Time Cannot Be Saved")
        find(alert, "label", "Nothing can be saved: the data file was moved, removed or replaced while it was in use. Put it"
             f" back to go on, or quit Quillon and start it again with another one. The file is {data}.")
        press(find(alert, "push button", "OK"))
        alert = until("the other alert", lambda: shown(root, "label", "Toggle Timer Failed") and find(root, "alert"))
        press(find(alert, "push button", "OK"))
        assert status()["Running"]
        data.with_suffix(".away").rename(data)
        for running in (False, True):
            call("Toggle")
            until(f"running: {running}", lambda: status()["Running"] == running)
    complaints = [line for line in program.process.stderr.read().decode().splitlines() if "saved" in line]
    assert len(complaints) == 1 and complaints[0].startswith("quillon: Nothing can be saved:"), complaints


def elsewhere(quillon):
    """To the fields of an account elsewhere and back, by keys alone; then without a folder for the time."""
    with Program("Quillon", quillon) as root:
        until("the timer", lambda: status()["Running"])
        until("the timesheet", lambda: shown(root, "frame", "Timesheet"))
        call("ShowPreferences")
        window = find(root, "dialog", "Quillon Preferences")
        until("the keyboard", lambda: "active" in states(window))
        subprocess.run(["xdotool", "key", "alt+i"], check=True)
        until("the fields", lambda: shown(window, "text", "Secure Site:"))
        subprocess.run(["xdotool", "key", "Escape"], check=True)
        until("back", lambda: shown(window, "push button", "Sign In to an Account…"))
        subprocess.run(["xdotool", "key", "Return"], check=True)
        until("the window is gone", lambda: "showing" not in states(window))
        until("the timer again", lambda: status()["Running"])

    data = pathlib.Path(os.environ["XDG_DATA_HOME"]) / "Quillon" / "LocalService.sqlite"
    data.rename(data.with_suffix(".away"))
    data.mkdir()
    with Program("Quillon", quillon, stderr=subprocess.DEVNULL) as root:
        alert = find(root, "alert")
        press(find(alert, "push button", "OK"))
        window = find(root, "dialog", "Quillon Preferences")
        until("the way out", lambda: shown(window, "push button", "Keep My Time on This Computer"))
        assert shown(window, "text", "Secure Site:") and status()["SignedOut"]


if __name__ == "__main__":
    main(*sys.argv[1:])
