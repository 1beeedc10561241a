"""A timer started in the window of the real program, with the keyboard and by assistive technology."""

import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import Heard, Program, actions, find, press, states, until


def keys(*names):
    subprocess.run(["xdotool", "key", *names], check=True)


def typed(text):
    subprocess.run(["xdotool", "type", text], check=True)


def text_of(accessible):
    return accessible.queryText().getText(0, -1)


def title_of_active():
    return subprocess.check_output(["xdotool", "getactivewindow", "getwindowname"], text=True).strip()


def is_active_above(title):
    """Whether the active window lies over the one with this title."""
    windows = subprocess.check_output(["xprop", "-root", "_NET_CLIENT_LIST_STACKING"], text=True).partition("#")[2]
    stacked = [int(window, 16) for window in windows.split(",")]  # from the lowest up
    other = subprocess.check_output(["xdotool", "search", "--onlyvisible", "--name", f"^{title}$"], text=True)
    active = subprocess.check_output(["xdotool", "getactivewindow"], text=True)
    return stacked.index(int(active)) > stacked.index(int(other))


def main(program):
    with Program("Quillon", program, "--local") as root:
        rows = find(find(root, "frame", "Timesheet"), "list")
        until("the entry of the first day", lambda: len(rows) == 1)

        # By keyboard, from anywhere.
        keys("ctrl+alt+n")
        window = find(root, "dialog", "New Timer")
        project, task = find(window, "text", "Project"), find(window, "text", "Task")
        until("the project focused", lambda: title_of_active() == "New Timer" and "focused" in states(project))
        typed("train")
        until("the suggestion said", lambda: project.description == "Training")
        assert text_of(project) == "training"
        suggestions = find(root, "list", "Suggestions")
        assert [row.name.strip() for row in suggestions] == ["My Own Work", "Training"]
        keys("Tab")
        until("the task focused", lambda: "focused" in states(task))
        assert text_of(project) == "Training" and text_of(task) == "Learning"
        typed("nothing")
        keys("Tab")
        until("the error said", lambda: task.description == "No task chosen")
        assert "enabled" not in states(find(window, "push button", "Start"))
        keys("shift+Tab")
        typed("me")
        keys("Tab")
        typed("Reading")
        keys("Return")
        until("the entry", lambda: len(rows) == 2)
        until("its row", lambda: "My Own Work, Training, Meetings" in " ".join(row.name for row in rows))
        until("the window gone", lambda: "showing" not in states(window))

        # By assistive technology: what was worked on last, as time to book.
        keys("ctrl+alt+n")
        until("the window", lambda: "showing" in states(window))
        until("what was last", lambda: text_of(task) == "Meetings")
        box = find(window, "check box", "Enter duration")
        heard = Heard()
        box.queryAction().doAction(actions(box).index("Toggle"))
        duration = find(window, "text", "Duration")
        until("the box open", lambda: {"showing", "focused"} <= states(duration))
        duration.queryEditableText().setTextContents("90m")
        refused = "digits and colons only, like 1:30"
        until("the refusal said", lambda: heard.hears("notification", refused))
        until("the refusal described", lambda: duration.description == refused)
        assert text_of(duration) == ""
        duration.queryEditableText().setTextContents("1:30")
        until("the refusal past", lambda: duration.description == "hours, like 1:30")
        find(window, "text", "Notes").queryEditableText().setTextContents("Read aloud")
        press(find(window, "push button", "Save"))
        until("the entry", lambda: len(rows) == 3)
        until("its time", lambda: "1 hour 30 minutes" in " ".join(row.name for row in rows))
        until("the window gone", lambda: "showing" not in states(window))

        # What the service refuses comes back below the alert, and has the keyboard afterwards.
        keys("ctrl+alt+n")
        until("the window", lambda: title_of_active() == "New Timer" and "focused" in states(project))
        keys("alt+d")
        typed("99:00")
        keys("Return")
        alert = find(root, "alert")
        until("the alert on top", lambda: title_of_active() == "Quillon" and is_active_above("New Timer"))
        press(find(alert, "push button", "OK"))
        until("the duration focused", lambda: title_of_active() == "New Timer" and "focused" in states(duration))
        assert text_of(duration) == "99:00"
        keys("ctrl+a")
        typed("0:45")
        keys("Return")
        until("the entry", lambda: len(rows) == 4)


if __name__ == "__main__":
    main(*sys.argv[1:])
