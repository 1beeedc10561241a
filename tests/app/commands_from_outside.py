"""What the command asks the program over the bus, prints and returns, as `commands.txt` says it.

In the file a line that begins with ">" is what the program does when it is asked, and the words of a command; the lines
behind it are what comes of it, and are written anew with WRITE_DESCRIBED=1. The program is played by this test.
"""

import contextlib
import difflib
import os
import pathlib
import pty
import shlex
import subprocess
import sys
import time

import dbus
import dbus.lowlevel
import dbus.mainloop.glib
from gi.repository import GLib

FILE = pathlib.Path(__file__).parent / "commands.txt"
NAME, OURS = "com.wrenfold.quillon", "com.wrenfold.Quillon1"
HOSTILE = "a\tb\x1b[31m\u202e \u2028c\x85\x7f"


def entry(**more):
    return dbus.Dictionary({
        "day": "2026-11-23", "time": "1:30", "project": "Online Shop", "code": "JB-01", "task": "Design", "client": "日本, Ltd", "notes":
        "Front\n\"page\" " + HOSTILE, "started": "9:00", "ended": "10:30", "hours": 1.5, "running": False} | more, signature="sv")


ENTRIES = [entry(running=True), entry(day="2026-11-22", time="12:05", code="", started="", ended="", notes="=1+1"), entry(day="soon", task="-x", notes="one\ntwo")]
ANSWERS = {
    "Log": ("aa{sv}", ENTRIES), "Recent": ("aa{sv}", ENTRIES), "Names": ("as", ["One", "Two " + HOSTILE]), "Wait": ("u", 3500),
    "Projects": ("aa{sv}", [entry(tasks=dbus.Array(["Design", "Meet\x1b"], "s")), entry(client="", tasks=dbus.Array([], "s"))]),
    "GetAll": ("a{sv}", dbus.Dictionary({
        "State": "running", "Hours": "0:05", "Project": "Shop\n" + HOSTILE, "Task": "Design", "Client": "C", "Notes": "n\n" + HOSTILE,
        "RunningOn": "2026-11-21", "Running": True, "Offline": False, "SignedOut": False}, signature="sv")),
    "ActivateAction": ("", None)}
ERRORS = {
    "ambiguous": (OURS + ".Error.Ambiguous", "which task of “X”.\n  " + HOSTILE + "\n  Two\r\n"), "unknown": (OURS + ".Error.NotFound", "no"),
    "invalid": (OURS + ".Error.Invalid", "no\ttime"), "fails": (OURS + ".Error.Failed", "No\x07\nhost"),
    "signed out": (OURS + ".Error.SignedOut", "sign in"), "older": ("org.freedesktop.DBus.Error.UnknownMethod", "No such\nmethod"),
    "nameless": ("org.freedesktop.DBus.Error.NoReply", "")}


class Played:
    """The program, which does as `mode` says, and notes what it is asked."""

    def __init__(self):
        self.asked = []
        self.mode = None
        self.bus = dbus.SessionBus(mainloop=dbus.mainloop.glib.DBusGMainLoop())
        self.bus.add_message_filter(self.take)

    def take(self, bus, message):
        if not isinstance(message, dbus.lowlevel.MethodCallMessage) or message.get_path() != "/com/wrenfold/quillon":
            return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
        method, words = message.get_member(), ", ".join(repr(plain(word)) for word in message.get_args_list())
        self.asked.append(f"{message.get_interface()}.{method}({words}) {'starts it' if message.get_auto_start() else ''}".strip())
        if self.mode in ERRORS:
            bus.send_message(dbus.lowlevel.ErrorMessage(message, *ERRORS[self.mode]))
        elif self.mode != "silent" or method == "Wait":
            reply = dbus.lowlevel.MethodReturnMessage(message)
            signature, value = ANSWERS.get(method, ("a{sv}", entry()))
            reply.append(*[value] if signature else [], signature=signature)
            bus.send_message(reply)
        return dbus.lowlevel.HANDLER_RESULT_HANDLED

    def play(self, mode, program, words):
        """A line for each that was asked, each of what was printed, and how the command ended."""
        self.asked, self.mode = [], mode
        (self.bus.release_name if mode == "nobody" else self.bus.request_name)(NAME)
        environment = dict(os.environ, TERM="xterm")
        while words and words[0].partition("=")[0].isupper():
            name, _, environment[name] = words.pop(0).partition("=")
        ours, theirs = pty.openpty() if mode == "on a terminal" else os.pipe()
        with subprocess.Popen([program, *words], stdout=theirs, stderr=subprocess.PIPE, env=environment) as command:
            os.close(theirs)
            while command.poll() is None:
                if not GLib.MainContext.default().iteration(False):
                    time.sleep(0.002)
            self.bus.name_has_owner(NAME)  # behind whatever is on its way
            while GLib.MainContext.default().iteration(False):
                pass
            lines = [*self.asked]
            for sign, text in (("", rest(ours)), ("! ", command.stderr.read())):
                lines += [sign + repr(line)[1:-1] for line in text.decode().split("\n")[:-1]]
            return [*lines, f"= {command.returncode}"]


def rest(end):
    text = b""
    with open(end, "rb", buffering=0) as output, contextlib.suppress(OSError):  # a terminal's end
        while piece := output.read(65536):
            text += piece
    return text.replace(b"\r\n", b"\n")


def plain(value):
    """Without the types of the bus."""
    if isinstance(value, dict):
        return {str(key): plain(each) for key, each in value.items()}
    return [plain(each) for each in value] if isinstance(value, list) else int(value) if isinstance(value, int) else str(value)


def main(program):
    played = Played()
    before = FILE.read_text(encoding="utf-8").splitlines(keepends=True)
    now = []
    for line in before:
        if line.startswith("#"):
            now.append(line)
        elif line.startswith("> "):
            mode, _, words = line[2:].rstrip("\n").partition(": ")
            for _ in range(5):  # completions wait a tenth of a second, which is little on a busy machine
                seen = [line, *(each + "\n" for each in played.play(mode, program, shlex.split(words)))]
                if seen == before[len(now):len(now) + len(seen)]:
                    break
            now += seen
    if "WRITE_DESCRIBED" in os.environ:
        FILE.write_text("".join(now), encoding="utf-8")
    else:
        assert now == before, "not as in commands.txt:\n" + "".join(difflib.unified_diff(before, now, "commands.txt", "seen"))


if __name__ == "__main__":
    main(sys.argv[1])
