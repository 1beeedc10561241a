"""A day of work done by shell and bus alone, against the real program with its built-in service."""

import datetime
import json
import os
import pathlib
import re
import sqlite3
import subprocess
import sys

from gi.repository import Gio, GLib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from bus_from_outside import run, windows
from outside import LONGEST, until

NAME, PATH, BOOKINGS = "com.wrenfold.quillon", "/com/wrenfold/quillon", "com.wrenfold.Quillon1.Bookings"
DATA = pathlib.Path(os.environ["XDG_DATA_HOME"]) / "Quillon" / "LocalService.sqlite"
TODAY = datetime.date.today()


def entries():
    """What the service has: day, project, task, seconds, notes and whether a timer runs, the oldest first."""
    with sqlite3.connect(f"file:{DATA}?mode=ro", uri=True) as data:
        return data.execute("SELECT spent_at, p.name, t.name, seconds, notes, timer_started IS NOT NULL FROM entries e"
                            " JOIN projects p ON p.id = e.project_id JOIN tasks t ON t.id = e.task_id ORDER BY e.id").fetchall()


def says(program, *words, status=0, output="", error=""):
    """The command ends so, and says what the patterns match."""
    ended = run(program, *words)
    for got, pattern in zip(ended[1:], (output, error)):
        assert ended[0] == status and re.fullmatch(pattern, got, re.DOTALL), f"{words}: {ended}"


def day(offset):
    return (TODAY + datetime.timedelta(days=offset)).isoformat()


def nobody_signed_in(program):
    """A command starts the program, which opens no window for it."""
    says(program, "start", "shop", status=1, error="quillon: nobody is signed in: .*\n")
    assert not windows(), windows()
    says(program, "quit")


def a_day(program):
    before = len(entries())
    monday = TODAY - datetime.timedelta(days=(TODAY.weekday() or 7))
    for words, status, said in (
            (["start", "online shop", "design", "-n", "Front page"], 0, "Started 0:00 .JB-01. Online Shop, Design: Front page\n"),
            (["note", "Front", "page <2>"], 0, "Noted 0:00 .JB-01. Online Shop, Design: Front page <2>\n"),
            (["start", "HARB", "dev"], 0, "Started 0:00 .HARB. Boat Rental Booking, Development\n"),
            (["continue"], 0, "Started 0:00 .JB-01. Online Shop, Design: Front page <2>\n"),
            (["stop"], 0, "Stopped 0:00 .JB-01. Online Shop, Design: Front page <2>\n"),
            (["stop"], 1, "quillon: no timer is running\n"),
            (["note", "x"], 1, "quillon: no timer is running\n"),
            (["add", "1:30", "juniper bakery/online shop", "meet", "--day", "yesterday", "-nWeekly \"4\""], 0, "Added 1:30 .*Weekly \"4\"\n"),
            (["add", "45m", "bookkeeping", "-d", "monday"], 0, "Added 0:45 Bookkeeping, Administration\n"),
            (["add", "1,5", "shop"], 0, "Added 1:30 .JB-01. Online Shop, Design\n"),
            (["add", "1", "training"], 2, "quillon: which task of “Training”.\n  Learning\n  Meetings\n"),
            (["continue", "99"], 2, "quillon: .*\n")):
        says(program, *words, status=status, **{"output" if status == 0 else "error": said})
    now = datetime.datetime.now()
    assert entries()[before:] == [
        (day(0), "Online Shop", "Design", entries()[before][3], "Front page <2>", 0),
        (day(0), "Boat Rental Booking", "Development", entries()[before + 1][3], "", 0),
        (day(-1), "Online Shop", "Meetings", 5400, "Weekly \"4\"", 0),
        (monday.isoformat(), "Bookkeeping", "Administration", 2700, "", 0),
        (day(0), "Online Shop", "Design", 5400, "", 0)], entries()[before:]

    # Begun earlier: the hours up to now are booked, and the timer runs on.
    if now.hour > 0:
        says(program, "start", "shop", "design", "--ago", "20m", output="Started 0:2[01] .*\n")
        assert entries()[-1][3:] == (20 * 60 + entries()[-1][3] % 60, "", 1) and entries()[-1][3] < 1260, entries()[-1]
        assert [entry[5] for entry in entries()].count(1) == 1
        says(program, "stop", output="Stopped .*\n")
    assert run(program, "status")[1].endswith(" stopped, [JB-01] Online Shop, Design\n")


def lists(program):
    listed = json.loads(run(program, "log", "yesterday..", "--json")[1])
    assert {"day": day(-1), "hours": 1.5, "time": "1:30", "project": "Online Shop", "code": "JB-01", "task": "Meetings",
            "client": "Juniper Bakery", "notes": "Weekly \"4\"", "running": False, "started": "", "ended": ""}.items() <= listed[0].items()
    assert f"{day(-1)},1:30,Juniper Bakery,JB-01,Online Shop,Meetings,\"Weekly \"\"4\"\"\",,,false\r\n" in subprocess.run(
        [program, "log", "yesterday", "--csv"], capture_output=True, check=True).stdout.decode()
    assert f"{day(-1)}\t1:30\t\t[JB-01] Online Shop\tMeetings\tWeekly \"4\"\n" == run(program, "log", "yesterday")[1]
    days = subprocess.run(["script", "-qec", f"{program} log yesterday..", "/dev/null"], capture_output=True, text=True,
                          check=True, stdin=subprocess.DEVNULL).stdout
    minutes = round(sum(each["hours"] for each in listed) * 60)
    assert f"Total {minutes // 60}:{minutes % 60:02}" in days, (minutes, days)
    projects = {each["project"]: each["tasks"] for each in json.loads(run(program, "projects", "--json")[1])}
    assert projects["Training"] == ["Learning", "Meetings"], projects
    recent = [(each["project"], each["task"]) for each in json.loads(run(program, "recent", "--json")[1])]
    assert recent[0] == ("Online Shop", "Design") and len(set(recent)) == len(recent), recent
    says(program, "complete", "start", output=".*Online Shop\n.*")
    says(program, "complete", "add", "1:30", "training", output="Learning\nMeetings\n")
    says(program, "complete", "start", "no such", output="")


def hostile(client):
    """Whatever comes over the bus gets an error, and the program goes on."""
    def call(method, signature, *arguments):
        try:
            return client.call_sync(NAME, PATH, BOOKINGS, method, GLib.Variant(signature, arguments), None,
                                    Gio.DBusCallFlags.NONE, LONGEST * 1000).unpack()
        except GLib.Error as error:
            return Gio.DBusError.get_remote_error(error).rpartition(".")[2]

    text = GLib.Variant("s", "x")
    for wanted, method, signature, *arguments in (
            ("Invalid", "Start", "(sssa{sv})", "x" * 100_000, "", "", {}),
            ("NotFound", "Start", "(sssa{sv})", "\u202e\x01'\"<&", "", "", {}),
            ("Invalid", "Start", "(sssa{sv})", "Online Shop", "Design", "", {"ago": GLib.Variant("s", "-1")}),
            ("NotFound", "Continue", "(u)", 2**32 - 1),
            ("Invalid", "Add", "(sssss)", "1", "Online Shop", "Design", "", "9999999999-01-01"),
            ("UnknownMethod", "Continue", "(s)", "1"),
            ("UnknownMethod", "Nonsense", "()")):
        assert call(method, signature, *arguments) == wanted, (method, call(method, signature, *arguments))
    assert call("Wait", "()")[0] <= 16_000
    xml = client.call_sync(NAME, PATH, "org.freedesktop.DBus.Introspectable", "Introspect", None, None,
                           Gio.DBusCallFlags.NONE, -1).unpack()[0]
    methods = Gio.DBusNodeInfo.new_for_xml(xml).lookup_interface(BOOKINGS).methods
    assert {m.name: "".join(a.signature for a in m.in_args) + ">" + "".join(a.signature for a in m.out_args) for m in methods} == {
        "Start": "sssa{sv}>a{sv}", "Stop": ">a{sv}", "Continue": "u>a{sv}", "Add": "sssss>a{sv}", "SetNotes": "s>a{sv}",
        "Log": "s>aa{sv}", "Projects": ">aa{sv}", "Recent": ">aa{sv}", "Names": "s>as", "Wait": ">u"}


def desktop_search(client, program):
    """As GNOME Shell and KRunner ask: a timer is started by a word of its project or task, and stopped."""
    def call(interface, method, signature="()", *arguments):
        return client.call_sync(NAME, PATH, interface, method, GLib.Variant(signature, arguments), None,
                                Gio.DBusCallFlags.NONE, LONGEST * 1000).unpack()

    gnome, plasma = "org.gnome.Shell.SearchProvider2", "org.kde.krunner1"
    found = call(gnome, "GetInitialResultSet", "(as)", ["boat", "DEV"])[0]
    assert found == call(gnome, "GetSubsearchResultSet", "(asas)", [], ["boat", "dev"])[0] and len(found) == 1, found
    meta = call(gnome, "GetResultMetas", "(as)", found + ["stop", "no/such", ""])[0]
    assert [(each["name"], each["description"]) for each in meta] == [
        ("Start [HARB] Boat Rental Booking · Development", "Harbour & Sons")], meta
    assert call(gnome, "GetInitialResultSet", "(as)", ["s"])[0] == [] == call(gnome, "GetInitialResultSet", "(as)", [])[0]
    call(gnome, "ActivateResult", "(sasu)", found[0], ["boat"], 0)
    until("it runs", lambda: "running, [HARB]" in run(program, "status")[1])
    # What was booked last comes first; while a timer runs it can be stopped.
    matches = call(plasma, "Match", "(s)", "  des ")[0]
    assert matches[0][1] == "Start [JB-01] Online Shop · Design" and matches[0][4] > matches[1][4], matches
    stop = call(plasma, "Match", "(s)", "sto")[0]
    assert (stop[0][:2], stop[0][3]) == (("stop", "Stop the Timer"), 100), stop
    call(plasma, "Run", "(ss)", "stop", "")
    call(plasma, "Teardown")
    until("it stands", lambda: " stopped, " in run(program, "status")[1])
    assert entries()[-1][1:3] == ("Boat Rental Booking", "Development") and not any(entry[5] for entry in entries())
    assert call(plasma, "Match", "(s)", "stop")[0] == [] == call(plasma, "Actions")[0]


def main(program):
    nobody_signed_in(program)
    settings = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "Quillon" / "Quillon.conf"
    settings.parent.mkdir(parents=True, exist_ok=True)
    settings.write_text(settings.read_text() + "\n[General]\nKeepTimeHere=true\n" if settings.exists() and "[General]" not in
                        settings.read_text() else "[General]\nKeepTimeHere=true\n")
    # The first command starts the program with the built-in service, and waits until there is something to list.
    says(program, "projects", output=".*Online Shop.*")
    client = Gio.bus_get_sync(Gio.BusType.SESSION)
    a_day(program)
    says(program, "quit")
    lists(program)
    hostile(client)
    # A run of its own: the requests of one are counted, and would have to wait by now.
    says(program, "quit")
    says(program, "recent", output=".*Online Shop.*")
    desktop_search(client, program)
    assert not windows(), windows()
    says(program, "quit")
    until("the end", lambda: run(program, "status")[0] == 1)


if __name__ == "__main__":
    main(sys.argv[1])
