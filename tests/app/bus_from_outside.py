"""The real program on a session bus, as a client that is not Qt and as the command line see it."""

import itertools
import json
import os
import pathlib
import signal
import subprocess
import sys

from gi.repository import Gio, GLib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import LONGEST, until

NAME, PATH, OURS = "com.wrenfold.quillon", "/com/wrenfold/quillon", "com.wrenfold.Quillon1"
PROPERTIES, APPLICATION = "org.freedesktop.DBus.Properties", "org.freedesktop.Application"


class Client:
    """The program as the bus shows it, and every change of a property that it told."""

    def __init__(self):
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.changes = []
        self.bus.signal_subscribe(NAME, PROPERTIES, "PropertiesChanged", PATH, OURS, Gio.DBusSignalFlags.NONE,
                                  lambda *signal: self.changes.append(signal[5].unpack()[1]))

    def call(self, interface, method, *arguments, signature="()"):
        """The reply, or the name of the error."""
        try:
            return self.bus.call_sync(NAME, PATH, interface, method, GLib.Variant(signature, arguments), None,
                                      Gio.DBusCallFlags.NO_AUTO_START, 5000).unpack()
        except GLib.Error as error:
            return Gio.DBusError.get_remote_error(error)

    def do(self, method):
        return self.call(OURS, method)

    def activate(self, action):
        return self.call(APPLICATION, "ActivateAction", action, [], {}, signature="(sava{sv})")

    def properties(self):
        reply = self.call(PROPERTIES, "GetAll", OURS, signature="(s)")
        return reply[0] if isinstance(reply, tuple) else {}

    def state(self):
        return self.properties().get("State")


def windows():
    """The titles of the windows that can be seen."""
    found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "^(Timesheet|Quillon Preferences|New Timer|About Quillon)$"],
                           capture_output=True, text=True, check=False).stdout.split()
    return [subprocess.run(["xdotool", "getwindowname", window], capture_output=True, text=True, check=False).stdout.strip()
            for window in found]


def active():
    """The title of the window that has the keyboard."""
    return subprocess.run(["xdotool", "getactivewindow", "getwindowname"], capture_output=True, text=True,
                          check=False).stdout.strip()


class Follower:
    def __init__(self, program, *options):
        self.process = subprocess.Popen([program, "status", "--follow", *options], stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE)
        os.set_blocking(self.process.stdout.fileno(), False)
        self.text = b""

    def lines(self):
        self.text += self.process.stdout.read() or b""
        return self.text.decode().split("\n")[:-1]


def run(program, *words):
    """Exit status, standard output, standard error."""
    ended = subprocess.run([program, *words], capture_output=True, text=True, timeout=LONGEST, check=False)
    return ended.returncode, ended.stdout, ended.stderr


def while_it_does_not_run(program):
    # A command that looks must not start what it looks for.
    for command in ("status", "toggle", "timesheet", "new", "preferences", "quit"):
        assert run(program, command) == (1, "", "quillon: the program is not running\n"), command


def introspection(client):
    node = Gio.DBusNodeInfo.new_for_xml(client.call("org.freedesktop.DBus.Introspectable", "Introspect")[0])
    ours = node.lookup_interface(OURS)
    assert {p.name: p.signature for p in ours.properties} == {
        "Hours": "s", "State": "s", "Running": "b", "Offline": "b", "SignedOut": "b", "Project": "s", "Task": "s",
        "Client": "s", "Notes": "s", "RunningOn": "s"}
    assert all(p.flags == Gio.DBusPropertyInfoFlags.READABLE for p in ours.properties)
    assert {m.name for m in ours.methods} == {
        "Toggle", "NewTimer", "ToggleTimesheet", "OpenInBrowser", "ManageProjects", "ManageTasks", "ShowPreferences",
        "CheckForUpdates", "ShowHelp", "ShowAbout", "Check", "Quit"}
    assert not any(m.in_args for m in ours.methods)
    assert {m.name: [a.signature for a in m.out_args] for m in ours.methods if m.out_args} == {"Check": ["a(sbs)"]}
    application = node.lookup_interface(APPLICATION)
    assert [a.signature for a in application.lookup_method("ActivateAction").in_args] == ["s", "av", "a{sv}"]


def signed_in(program):
    """From the start to the end of a program with the built-in service."""
    client = Client()
    plain, shaped = Follower(program), Follower(program, "--json", "--format", "{symbol}{{{hours}}}")
    until("nothing", lambda: plain.lines() == [" "])
    nothing = json.loads(until("nothing", shaped.lines)[0])
    assert (nothing["text"], nothing["state"], nothing["running"]) == ("", "not-running", False), nothing

    process = subprocess.Popen([program, "--local"])
    until("the first entry", lambda: client.properties().get("Project"))
    before = client.properties()
    assert before == {"Hours": "0:00", "State": "stopped", "Running": False, "Offline": False, "SignedOut": False,
                      "Project": "[JB-01] Online Shop", "Task": "Design", "Client": "Juniper Bakery", "Notes": "",
                      "RunningOn": ""}
    introspection(client)
    until("the timesheet", lambda: "Timesheet" in windows())

    # The timer started and stopped, by either way, and every change of it told once.
    del client.changes[:]
    assert client.do("Toggle") == ()
    until("it runs", lambda: client.changes == [{"Running": True, "State": "running"}])
    status, output, error = run(program, "status")
    assert (status, output, error) == (0, "0:00 running, [JB-01] Online Shop, Design\n", "")
    assert run(program, "status", "--format={client}: {task} {{{state}}}") == (0, "Juniper Bakery: Design {running}\n", "")
    assert run(program, "toggle") == (0, "", "")
    until("it stands", lambda: client.changes == [{"Running": True, "State": "running"},
                                                  {"Running": False, "State": "stopped"}])

    # Windows, by both interfaces.
    assert client.do("ToggleTimesheet") == ()
    until("no timesheet", lambda: "Timesheet" not in windows())
    assert run(program, "timesheet") == (0, "", "")
    until("the timesheet", lambda: "Timesheet" in windows())
    assert run(program, "new") == (0, "", "")
    until("the new timer", lambda: any(title.startswith("New Timer") for title in windows()))
    assert client.activate("preferences") == ()
    # The window that was asked for has the keyboard, whatever else is open: so that the next press puts it away.
    for _ in range(4):
        until("the preferences in front", lambda: active() == "Quillon Preferences")
        assert run(program, "timesheet") == (0, "", "")
        until("the timesheet in front", lambda: active() == "Timesheet")
        assert run(program, "preferences") == (0, "", "")
    assert client.activate("no-such-action") == OURS + ".Error.NoSuchAction"

    # Every line once, each a change.
    steps = ["0:00 stopped, [JB-01] Online Shop, Design", "0:00 running, [JB-01] Online Shop, Design"]
    until("the lines", lambda: plain.lines()[-3:] == [steps[0], steps[1], steps[0]])
    assert all(one != next for one, next in zip(plain.lines(), plain.lines()[1:])), plain.lines()
    until("the texts", lambda: [json.loads(line)["text"] for line in shaped.lines()][-3:] == [
        "○{0:00}", "●{0:00}", "○{0:00}"])

    # A bar that ends takes its follower along, though nothing changes.
    shaped.process.stdout.close()
    assert shaped.process.wait(LONGEST) == 0

    # A program that hangs may still do what it was asked for, and then does.
    process.send_signal(signal.SIGSTOP)
    assert run(program, "timesheet") == (1, "", "quillon: the running program does not answer, and may still do it\n")
    process.send_signal(signal.SIGCONT)
    until("the timesheet in front", lambda: active() == "Timesheet")

    # A second start passes on what the desktop gave it to come to the front with.
    with subprocess.Popen(["dbus-monitor", "member=Activate", "member=GetAll"], stdout=subprocess.PIPE) as monitor:
        next(line for line in monitor.stdout if b"NameLost" in line)  # from now on it listens
        assert subprocess.run([program], env={**os.environ, "DESKTOP_STARTUP_ID": "id_TIME1"}, check=False).returncode == 0
        client.properties()
        asked = list(itertools.takewhile(lambda line: b"GetAll" not in line, monitor.stdout))
        monitor.terminate()
    assert any(b'"id_TIME1"' in line for line in asked), asked

    assert run(program, "quit") == (0, "", "")
    assert process.wait(LONGEST) == 0
    until("nothing", lambda: plain.lines()[-1] == " ")
    plain.process.send_signal(signal.SIGTERM)
    plain.process.wait(LONGEST)
    assert plain.process.stderr.read() == b""


def signed_out(program):
    """Nobody has signed in yet: the menu would not open, and the preferences do."""
    client = Client()
    with subprocess.Popen([program]) as process:
        until("signed out", lambda: client.state() == "signed-out")
        assert client.properties()["SignedOut"] and client.properties()["Project"] == ""
        until("the preferences", windows)
        status, output, error = run(program, "toggle")
        assert (status, output) == (1, "") and "sign in in the preferences" in error, error
        assert run(program, "status") == (0, "signed out\n", "")
        assert not [title for title in windows() if "Preferences" not in title]
        # One that ends while it is asked for something.
        process.send_signal(signal.SIGSTOP)
        with subprocess.Popen(["dbus-monitor", "--profile", "member=ActivateAction"], stdout=subprocess.PIPE) as monitor:
            next(line for line in monitor.stdout if b"NameLost" in line)  # from now on it listens
            asking = subprocess.Popen([program, "toggle"], stderr=subprocess.PIPE, text=True)
            next(line for line in monitor.stdout if b"ActivateAction" in line)
            monitor.terminate()
        with asking:
            process.kill()
            assert asking.stderr.read() == "quillon: the program quit before it answered\n"
            assert asking.wait(LONGEST) == 1


def started_by_the_bus(program):
    """A call to the name starts the program; a command does not."""
    services = pathlib.Path(os.environ["XDG_DATA_HOME"]) / "dbus-1" / "services"
    services.mkdir(parents=True)
    (services / f"{NAME}.service").write_text(f"[D-BUS Service]\nName={NAME}\nExec={program} --local\n")
    client = Client()
    client.bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "ReloadConfig", None,
                         None, Gio.DBusCallFlags.NONE, -1)
    follower = Follower(program)
    until("nothing", lambda: follower.lines() == [" "])
    while_it_does_not_run(program)
    assert follower.lines() == [" "]
    # What it is started for is done as soon as it can be.
    client.bus.call_sync(NAME, PATH, APPLICATION, "ActivateAction", GLib.Variant("(sava{sv})", ("about", [], {})), None,
                         Gio.DBusCallFlags.NONE, LONGEST * 1000)
    until("the timesheet and the about window", lambda: {"Timesheet", "About Quillon"} <= set(windows()))
    until("an entry", lambda: "Design" in follower.lines()[-1])
    assert run(program, "quit") == (0, "", "")
    until("the end", lambda: follower.lines()[-1] == " ")
    follower.process.terminate()
    follower.process.wait(LONGEST)
    # Nor does one that books: it asks for no window.
    assert "Online Shop" in run(program, "projects")[1]
    assert run(program, "toggle") == (0, "", "") and not windows()
    assert run(program, "quit") == (0, "", "")


def main(program):
    while_it_does_not_run(program)
    signed_in(program)
    signed_out(program)
    started_by_the_bus(program)


if __name__ == "__main__":
    main(sys.argv[1])
