"""Uses a program as assistive technology does, from outside its process.

For the distribution's python3 (pyatspi), in a desktop of its own (tests/support/session).
"""

import ast
import contextlib
import linecache
import os
import re
import subprocess
import sys
import time
import traceback

import pyatspi
from gi.repository import GLib

LONGEST = 60  # seconds; nothing waits longer than it must


def tell(kind, error, trace):
    """How a test ends that has failed: with what it saw."""
    traceback.print_exception(kind, error, trace)
    seen = None
    line = ""
    for frame, number in traceback.walk_tb(trace):
        if frame.f_code.co_filename != __file__:
            seen = frame
            line = linecache.getline(frame.f_code.co_filename, number).strip()
    if kind is not AssertionError:
        return
    for name, value in seen.f_locals.items():
        if not name.startswith("_") and not callable(value) and not isinstance(value, type(sys)):
            print(f"  {name} = {repr(value)[:1000]}", file=sys.stderr)
    # What was compared may be in no variable: it is asked once more.
    with contextlib.suppress(Exception):
        for part in [node for node in ast.walk(ast.parse(line)) if isinstance(node, ast.Compare)]:
            value = eval(ast.unparse(part.left), seen.f_globals, seen.f_locals)
            print(f"  {ast.unparse(part.left)} is now {repr(value)[:1000]}", file=sys.stderr)


sys.excepthook = tell


def handle_events():
    while GLib.MainContext.default().iteration(False):
        pass


def until(what, condition):
    """Handles what comes from the bus until `condition` returns something true, and returns that."""
    end = time.monotonic() + LONGEST
    while True:
        handle_events()
        try:
            result = condition()
        except Exception:  # what is asked for may just be gone: asked again, until the time is up
            result = None
        if result:
            return result
        if time.monotonic() > end:
            raise AssertionError(f"not seen: {what}")
        time.sleep(0.02)


def states(accessible):
    return {pyatspi.stateToString(state) for state in accessible.getState().getStates()}


def role_of(accessible):
    """Its name, as Debian 12 has it: AT-SPI calls a push button "button" since 2.56."""
    name = accessible.getRoleName()
    return "push button" if name == "button" else name


def description_of(accessible):
    """Asked of the program: what the library keeps goes out of date where a change was told before it listened."""
    accessible.clear_cache()
    return accessible.description


def find(root, role, name=None):
    """The first below `root` with that role, such as "push button", and name, as soon as it is there."""
    return until(f"{role} {name or ''}", lambda: pyatspi.findDescendant(
        root, lambda a: role_of(a) == role and (name is None or a.name == name)))


def actions(accessible):
    action = accessible.queryAction()
    return [action.getName(i) for i in range(action.nActions)]


class Heard:
    """What screen readers are told as it comes up, whatever has the focus: role and name."""

    def __init__(self):
        self.told = []
        pyatspi.Registry.registerEventListener(self._note, "object:state-changed:showing")

    def _note(self, event):
        if event.detail1:
            self.told.append((role_of(event.source), event.source.name))

    def hears(self, role, name):
        return (role, name) in self.told


def account_of(server):
    """Port, e-mail address and password that a built-in service says when it starts for the first time."""
    said = ""
    while not (re.search(r"password +\S+", said) and re.search("http", said)):
        said += server.stdout.readline()
    return [re.search(what, said)[1] for what in (r"http\S*:(\d+)", r"email +(\S+)", r"password +(\S+)")]


def press(accessible):
    accessible.queryAction().doAction(actions(accessible).index("Press"))


class Program:
    """A running program and its place in the tree. Ends with the block. `streams` as for Popen."""

    def __init__(self, name, *command, **streams):
        environment = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.process = subprocess.Popen(command, env=environment, **streams)
        self.name = name

    def __enter__(self):
        desktop = pyatspi.Registry.getDesktop(0)
        self.root = until(self.name, lambda: next(a for a in desktop if a and a.name == self.name))
        return self.root

    def __exit__(self, *failure):
        ended = self.process.poll()
        self.process.terminate()
        self.process.wait(LONGEST)
        assert any(failure) or ended is None, f"{self.name} ended by itself with {ended}"
