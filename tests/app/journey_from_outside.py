"""The real program as people use it, with keyboard, pointer and assistive technology: a first start without an account,
time corrected in the timesheet, and an account elsewhere."""

import os
import pathlib
import subprocess
import sys
import urllib.parse

import pyatspi
from gi.repository import Gio, GLib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import Heard, Program, account_of, actions, description_of, find, handle_events, press, role_of, states, until

NAME, PATH, INTERFACE = "com.wrenfold.quillon", "/com/wrenfold/quillon", "com.wrenfold.Quillon1"
HOME = pathlib.Path(os.environ["HOME"])
WRONG = "Wr0ng-Pa55word"
UNVERIFIED = "Your credentials could not be verified. Please check to make sure they are correct and try again."

bus = Gio.bus_get_sync(Gio.BusType.SESSION)


def call(method, interface=INTERFACE, arguments=None):
    return bus.call_sync(NAME, PATH, interface, method, arguments, None, Gio.DBusCallFlags.NO_AUTO_START, -1)


def status():
    return call("GetAll", "org.freedesktop.DBus.Properties", GLib.Variant("(s)", (INTERFACE,))).unpack()[0]


def tool(*words):
    return subprocess.run(["xdotool", *map(str, words)], check=True, capture_output=True, text=True).stdout.strip()


def keys(*names):
    tool("key", *names)


def typed(text):
    tool("type", "--delay", "2", text)


def has_keyboard(title, focused):
    return tool("getactivewindow", "getwindowname") == title and "focused" in states(focused)


def text_of(accessible):
    return accessible.queryText().getText(0, -1)


def shown(root, role, name):
    """Whether there is one on the screen."""
    found = pyatspi.findDescendant(root, lambda a: role_of(a) == role and a.name == name)
    return found and "showing" in states(found)


def person(name):
    """From now on the settings and data of somebody else: their folders."""
    folders = []
    for variable in ("XDG_CONFIG_HOME", "XDG_DATA_HOME"):
        os.environ[variable] = str(HOME / name / variable)
        folders.append(HOME / name / variable / "Quillon")
        folders[-1].mkdir(parents=True)
    return folders


def first_start(quillon):
    config, _ = person("new")
    (config / "Info.json").write_text('{"QuillonReachabilityHost": "localhost"}')
    # A desktop whose browser only notes where it was sent.
    (HOME / "xdg-open").write_text(f'#!/bin/sh\necho "$1" >>{HOME}/opened\n')
    (HOME / "xdg-open").chmod(0o755)
    os.environ["PATH"] = f"{HOME}:{os.environ['PATH']}"
    with Program("Quillon", quillon) as root:
        window = find(root, "dialog", "Quillon Preferences")
        until("nobody is signed in", lambda: status()["State"] == "signed-out")
        press(find(window, "push button", "Keep My Time on This Computer"))
        until("the window is gone", lambda: "showing" not in states(window))
        until("the sample entry", lambda: status()["Project"] and status()["State"] == "stopped")
        # Where the hours are is said without taking the keyboard from the timesheet.
        hint = find(root, "notification")
        assert hint.name.startswith("Your hours are here. "), hint.name
        until("the timesheet", lambda: "active" in states(find(root, "frame", "Timesheet")))
        press(find(hint, "push button", "Got It"))
        until("the hint is gone", lambda: "showing" not in states(hint))
        call("OpenInBrowser")
        call("ManageProjects")
        call("ManageTasks")
        call("ShowHelp")
        pages = until("all pages", lambda: (lines := (HOME / "opened").read_text().split()) and len(lines) == 4 and lines)
        pages.sort(key=lambda page: (page.startswith("file"), page.rpartition("%2F")[2]))  # each by a program of its own
        assert [page.startswith("http://local.localhost:") and page.rpartition("%2F")[2] for page in pages[:3]] == [
            "daily", "projects", "tasks"], pages
        assert pathlib.Path(urllib.parse.urlparse(pages[3]).path).samefile(pathlib.Path(quillon).parent / "manual/using.html"), pages
        starts_timers(root)
    settings = (config / "Quillon.conf").read_text()
    assert "KeepTimeHere=true" in settings and "localhost" not in settings, settings


def starts_timers(root):
    rows = find(find(root, "frame", "Timesheet"), "list")
    until("the entry of the first day", lambda: len(rows) == 1)
    # By keyboard, from anywhere.
    keys("ctrl+alt+n")
    window = find(root, "dialog", "New Timer")
    project, task = find(window, "text", "Project"), find(window, "text", "Task")
    until("the project focused", lambda: has_keyboard("New Timer", project))
    # Screen readers read what they take for the focus: the list while it is open, the field afterwards.
    read = []
    pyatspi.Registry.registerEventListener(lambda event: event.detail1 and read.append(event.source.name.strip()),
                                           "object:state-changed:focused")
    typed("train")
    until("the suggestion said", lambda: description_of(project) == "Training" and text_of(project) == "training")
    keys("Down")
    until("the suggestion read", lambda: read[-1:] == ["Training"])
    keys("Escape")
    until("the field read", lambda: read[-1:] == ["Project"])
    keys("ctrl+a")
    typed("train")
    assert [row.name.strip() for row in find(root, "list", "Suggestions")] == ["My Own Work", "Training"]
    keys("Tab")
    until("the task focused", lambda: "focused" in states(task) and text_of(task) == "Learning")
    typed("nothing")
    keys("Tab")
    until("the error said", lambda: description_of(task) == "No task chosen")
    keys("shift+Tab")
    typed("me")
    keys("Tab")
    typed("Reading")
    keys("Return")
    until("its row", lambda: "My Own Work, Training, Meetings" in " ".join(row.name for row in rows))
    until("the window gone", lambda: "showing" not in states(window))

    # By assistive technology: what was worked on last, as time to book.
    keys("ctrl+alt+n")
    until("what was last", lambda: has_keyboard("New Timer", project) and text_of(task) == "Meetings")
    box = find(window, "check box", "Enter duration")
    heard = Heard()
    box.queryAction().doAction(actions(box).index("Toggle"))
    duration = find(window, "text", "Duration")
    until("the box open", lambda: {"showing", "focused"} <= states(duration))
    duration.queryEditableText().setTextContents("90m")
    refused = "digits and colons only, like 1:30"
    until("the refusal said", lambda: heard.hears("notification", refused) and description_of(duration) == refused)
    # What the service refuses comes back below the alert, and has the keyboard afterwards.
    duration.queryEditableText().setTextContents("99:00")
    press(find(window, "push button", "Save"))
    alert = find(root, "alert")
    until("the alert", lambda: tool("getactivewindow", "getwindowname") == "Quillon")
    stacked = subprocess.check_output(["xprop", "-root", "_NET_CLIENT_LIST_STACKING"], text=True).partition("#")[2]
    stacked = [int(number, 16) for number in stacked.split(",")]  # from the lowest up
    below = until("the window below", lambda: int(tool("search", "--onlyvisible", "--name", "^New Timer$")))
    assert stacked.index(int(tool("getactivewindow"))) > stacked.index(below)
    press(find(alert, "push button", "OK"))
    until("the duration focused", lambda: has_keyboard("New Timer", duration) and text_of(duration) == "99:00")
    keys("ctrl+a")
    typed("0:45")
    keys("Return")
    until("its time", lambda: len(rows) == 3 and "45 minutes" in " ".join(row.name for row in rows))


def dismissed_alert(root, title):
    """Presses OK in the alert with that title, as soon as it is there. What it said."""
    alert = until(title, lambda: next(
        a for a in pyatspi.findAllDescendants(root, lambda a: a.getRoleName() == "alert") if shown(a, "label", title)))
    said = {a.name for a in pyatspi.findAllDescendants(alert, lambda a: a.getRoleName() == "label")}
    press(find(alert, "push button", "OK"))
    return said


def second_start(quillon):
    config, data = (pathlib.Path(os.environ[name]) / "Quillon" for name in ("XDG_CONFIG_HOME", "XDG_DATA_HOME"))
    data /= "LocalService.sqlite"
    port = (config / "State.conf").read_text()
    program = Program("Quillon", quillon, stderr=subprocess.PIPE)
    with program as root:
        until("the timer of the first start", lambda: status()["Running"] and status()["Project"])
        until("the timesheet", lambda: shown(root, "frame", "Timesheet"))
        assert not shown(root, "dialog", "Quillon Preferences")
        assert not pyatspi.findDescendant(root, lambda a: a.getRoleName() == "notification")
        assert (config / "State.conf").read_text() == port, "pages that were open are dead"

        # The file that the time is in is moved away while the program runs, and comes back.
        data.rename(data.with_suffix(".away"))
        try:
            call("Toggle")
            assert False, "toggled without its file"
        except GLib.Error as error:
            assert Gio.DBusError.get_remote_error(error) == INTERFACE + ".Error.Failed", error
        said = dismissed_alert(root, "Your Time Cannot Be Saved")
        assert ("Nothing can be saved: the data file was moved, removed or replaced while it was in use. Put it back to go"
                f" on, or quit Quillon and start it again with another one. The file is {data}.") in said, said
        dismissed_alert(root, "Toggle Timer Failed")
        assert status()["Running"]
        data.with_suffix(".away").rename(data)
        for running in (False, True):
            call("Toggle")
            until(f"running: {running}", lambda: status()["Running"] == running)

        # To the fields of an account elsewhere and back, by keys alone.
        call("ShowPreferences")
        window = find(root, "dialog", "Quillon Preferences")
        until("the keyboard", lambda: "active" in states(window))
        keys("alt+i")
        until("the fields", lambda: shown(window, "text", "Secure Site:"))
        keys("Escape")
        until("back", lambda: shown(window, "push button", "Sign In to an Account…"))
        keys("Return")
        until("the window is gone", lambda: "showing" not in states(window))
        until("the timer again", lambda: status()["Running"])
    complaints = [line for line in program.process.stderr.read().decode().splitlines() if "saved" in line]
    assert len(complaints) == 1 and complaints[0].startswith("quillon: Nothing can be saved:"), complaints

    # Without a place for the time.
    data.rename(data.with_suffix(".away"))
    data.mkdir()
    with Program("Quillon", quillon, stderr=subprocess.DEVNULL) as root:
        press(find(find(root, "alert"), "push button", "OK"))
        window = find(root, "dialog", "Quillon Preferences")
        until("the way out", lambda: shown(window, "push button", "Keep My Time on This Computer"))
        assert shown(window, "text", "Secure Site:") and status()["SignedOut"]


def frame():
    """What the X server knows: window managers tell the program itself only when a drag has ended."""
    told = tool("search", "--onlyvisible", "--name", "^Timesheet$", "getwindowgeometry", "--shell")
    values = dict(line.split("=") for line in told.split())
    return tuple(int(values[name]) for name in ("X", "Y", "WIDTH", "HEIGHT"))


def drag(x, y, what, seen):
    """Presses there, pulls to the upper left until `seen` of the frames before and now, and lets go."""
    before = frame()
    tool("mousemove", before[0] + x, before[1] + y, "mousedown", 1)
    until(what, lambda: tool("mousemove_relative", "--", -3, -2) == "" and seen(before, frame()))
    tool("mouseup", 1)


def brightness():
    """Of the title strip, 0 to 1."""
    pixel = f"1x1+{frame()[0] + 60}+{frame()[1] + 12}"
    return float(subprocess.check_output(["import", "-window", "root", "-crop", pixel, "-format", "%[fx:intensity]",
                                          "info:-"]))


def timesheet(quillon, seed):
    _, data = person("busy")
    subprocess.run([seed, data / "LocalService.sqlite", "mixed"], check=True)
    with Program("Quillon", quillon, "--local") as root:
        window = find(root, "frame", "Timesheet")
        rows = find(window, "list", "Timers")
        first = "Harbour Lights, [HL-2] Website relaunch, Design, 1 hour 5 minutes, running"
        third = "Northfield Dairy, Annual report, Proof reading, 45 minutes%s, Second pass"
        until("the rows", lambda: len(rows) == 5 and rows[0].name == first and rows[2].name == third % "")
        assert rows[3].name == "Northfield Dairy, Annual report, Meetings, 1 hour 30 minutes, locked", rows[3].name
        assert find(rows[3], "push button", "Locked").description == "Approved by Robin Lee on Monday"
        # Starting one stops the other.
        press(find(rows[2], "push button", "Start Timer"))
        until("one runs", lambda: rows[2].name == third % ", running" and "running" not in rows[0].name)
        press(find(rows[2], "push button", "Stop Timer"))
        until("none runs", lambda: rows[2].name == third % "")

        # The window is moved and sized like any other.
        drag(100, 10, "moved", lambda a, b: b[0] < a[0] and b[1] < a[1] and b[2:] == a[2:])
        drag(2, 2, "larger by a corner", lambda a, b: b[0] < a[0] and b[1] < a[1] and b[2] > a[2] and b[3] > a[3])
        drag(2, 200, "wider by a side", lambda a, b: b[0] < a[0] and b[2] > a[2] and b[1::2] == a[1::2])
        before = frame()
        tool("mousemove", before[0] + 100, before[1] + 10, "click", "--repeat", 2, "--delay", 20, 1)
        until("maximized", lambda: frame()[:2] == (0, 0) and frame()[2] > before[2])
        press(find(window, "push button", "Restore"))
        until("restored", lambda: frame() == before)
        # The strip is dark exactly while the program has the keyboard.
        until("dark", lambda: brightness() < 0.3)
        with subprocess.Popen(["xev"], stdout=subprocess.DEVNULL) as other:
            until("light", lambda: brightness() > 0.8)
            other.terminate()
        until("dark again", lambda: brightness() < 0.3)
        press(find(window, "push button", "Close"))
        until("closed", lambda: "showing" not in states(window))


def edit(quillon, seed):
    _, data = person("exact")
    subprocess.run([seed, data / "LocalService.sqlite", "times"], check=True)
    with Program("Quillon", quillon, "--local") as root:
        window = find(root, "frame", "Timesheet")
        rows = find(window, "list")
        until("the rows", lambda: len(rows) == 5)
        # By keyboard: the second row, its task, notes and end.
        tool("search", "--sync", "--name", "^Timesheet$", "windowactivate", "--sync")
        until("the first row selected", lambda: keys("Home") or "selected" in states(rows[0]))
        selected = []

        def note(event):
            selected.append(event.source.name)

        pyatspi.Registry.registerEventListener(note, "object:state-changed:selected")
        keys("Down")
        until("the second row announced", lambda: rows[1].name in selected)
        pyatspi.Registry.deregisterEventListener(note, "object:state-changed:selected")
        keys("e")
        sheet = find(window, "dialog", "Edit Timer")
        until("the project focused", lambda: "focused" in states(find(sheet, "text", "Project")))
        assert "modal" in states(sheet)
        start, end = find(sheet, "text", "Start Time"), find(sheet, "text", "End Time")
        assert (text_of(start), text_of(end)) == ("9:00AM", "11:40AM")
        keys("Tab")
        typed("des")
        keys("Tab", "ctrl+a")
        typed("Corrected")
        keys("Tab", "Tab")
        typed("9")
        keys("Tab")
        until("the end explained", lambda: "not a time" in description_of(end))
        keys("shift+Tab", "ctrl+a")
        typed("1130")
        keys("Return")
        until("the entry saved", lambda: rows[1].name ==
              "Harbour Lights, [HL-2] Website relaunch, Design, 2 hours 30 minutes, Corrected")
        until("the row selected", lambda: {"selected", "focused"} <= states(rows[1]))


def everything_told(root):
    """Every string in the tree below `root`."""
    told = [root.name, root.description]
    try:
        told.append(text_of(root))
    except NotImplementedError:
        pass
    return told + [text for child in root if child for text in everything_told(child)]


def account_elsewhere(quillon, service):
    """Signs in, and looks for the password wherever another program could find it."""
    config, data = person("elsewhere")
    with subprocess.Popen([service, "--port", "0", "--data", data / "service.sqlite"], stdout=subprocess.PIPE,
                          text=True) as server, open(HOME / "log", "w+", encoding="utf-8") as log:
        try:
            port, email, password = account_of(server)
            (config / "Info.json").write_text(
                f'{{"QuillonLocalDebug": true, "QuillonDevelopmentDomain": ".localhost:{port}"}}')
            sign_in(Program("Quillon", quillon, stdout=log, stderr=log), email, password)
        finally:
            server.terminate()
    for path in HOME.rglob("*"):
        content = path.read_bytes() if path.is_file() else b""
        assert WRONG.encode() not in content and password.encode() not in content, path
    assert subprocess.check_output(["secret-tool", "lookup", "service", NAME, "account", email], text=True) == password
    settings = (config / "Quillon.conf").read_text()
    assert f"Email={email}" in settings and "QuillonUrl=local" in settings, settings


def sign_in(program, email, password):
    heard = []
    for kind in ("object:text-changed", "object:property-change"):
        pyatspi.Registry.registerEventListener(lambda event: heard.append(str(event.any_data)), kind)

    def secret(root):
        handle_events()
        # Character by character is heard, too.
        for told in [*everything_told(root), "".join(heard), "".join(reversed(heard))]:
            assert WRONG not in told and password not in told, told

    with program as root:
        window = find(root, "dialog", "Quillon Preferences")
        field = find(window, "password text", "Password:")
        until("the keyboard", lambda: "active" in states(window))
        # At the first start it is on the button beside, for those without an account.
        address = find(window, "text", "Secure Site:")
        address.queryComponent().grabFocus()
        until("the address", lambda: "focused" in states(address))
        for text in ("local", email):
            typed(text)
            keys("Tab")
        typed(WRONG)
        until("all dots", lambda: field.queryText().characterCount == len(WRONG))
        secret(root)
        find(window, "check box", "Show Password").queryAction().doAction(0)
        keys("BackSpace")
        until("one dot less", lambda: field.queryText().characterCount == len(WRONG) - 1)
        typed(WRONG[-1])
        until("the last character again", lambda: field.queryText().characterCount == len(WRONG))
        assert text_of(field) == "•" * len(WRONG), text_of(field)
        secret(root)
        keys("Return")
        sheet = find(window, "dialog", UNVERIFIED)
        assert "sensitive" not in states(field)
        secret(root)
        press(find(sheet, "push button", "OK"))
        until("the window again", lambda: "sensitive" in states(field))
        keys("ctrl+a")
        typed(password)
        until("all dots", lambda: field.queryText().characterCount == len(password))
        secret(root)
        for file in ("cmdline", "environ"):
            assert password.encode() not in pathlib.Path(f"/proc/{program.process.pid}/{file}").read_bytes(), file
        keys("Return")
        until("no window", lambda: "showing" not in states(window))
        secret(root)


def main(quillon, seed, service):
    first_start(quillon)
    second_start(quillon)
    timesheet(quillon, seed)
    edit(quillon, seed)
    account_elsewhere(quillon, service)


if __name__ == "__main__":
    main(*sys.argv[1:])
