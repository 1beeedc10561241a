"""Entries of two days corrected in the sheet of the real program, with the keyboard and by assistive technology."""

import os
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import Program, find, press, states, until


def keys(*names):
    subprocess.run(["xdotool", "key", *names], check=True)


def typed(text):
    subprocess.run(["xdotool", "type", text], check=True)


def text_of(accessible):
    return accessible.queryText().getText(0, -1)


def main(program, seed):
    folder = pathlib.Path(os.environ["XDG_DATA_HOME"]) / "Quillon"
    folder.mkdir(parents=True)
    subprocess.run([seed, folder / "LocalService.sqlite", "times"], check=True)
    with Program("Quillon", program, "--local") as root:
        window = find(root, "frame", "Timesheet")
        rows = find(window, "list")
        until("the rows", lambda: len(rows) == 5)

        # By keyboard: the second row, its task, notes and end.
        subprocess.run(["xdotool", "search", "--sync", "--name", "^Timesheet$", "windowactivate", "--sync"], check=True)
        until("the first row selected", lambda: keys("Home") or "selected" in states(rows[0]))
        keys("Down", "e")
        sheet = find(window, "dialog", "Edit Timer")
        assert "modal" in states(sheet)
        project = find(sheet, "text", "Project")
        until("the project focused", lambda: "focused" in states(project))
        assert text_of(project) == "[HL-2] Website relaunch"
        start, end = find(sheet, "text", "Start Time"), find(sheet, "text", "End Time")
        assert (text_of(start), text_of(end)) == ("9:00AM", "11:40AM")
        for role, name in (("text", "Task"), ("text", "Notes"), ("spin button", "Date"), ("push button", "Cancel")):
            assert {"enabled", "showing"} <= states(find(sheet, role, name)), name
        keys("Tab")
        typed("des")
        keys("Tab", "ctrl+a")
        typed("Corrected")
        keys("Tab", "Tab")
        typed("9")
        keys("Tab")
        until("the end explained", lambda: "not a time" in end.description)
        keys("Return")
        message = find(window, "dialog", "Please enter a valid end time and try again.")
        keys("Return")
        until("the message gone", lambda: "showing" not in states(message) and "focused" in states(end))
        keys("ctrl+a")
        typed("1130")
        keys("Return")
        until("the sheet gone", lambda: "showing" not in states(sheet))
        until("the entry saved", lambda: rows[1].name ==
              "Harbour Lights, [HL-2] Website relaunch, Design, 2 hours 30 minutes, Corrected")
        until("the row selected", lambda: {"selected", "focused"} <= states(rows[1]))

        # By assistive technology: the entry of the day before.
        press(find(window, "push button", "Previous Day"))
        until("yesterday", lambda: [row.name for row in rows] == [
            "Northfield Dairy, Annual report, Meetings, 30 minutes, Kick-off"])
        until("a row selected", lambda: keys("Home") or "selected" in states(rows[0]))
        keys("e")
        until("the sheet", lambda: "showing" in states(sheet))
        find(sheet, "text", "Notes").queryEditableText().setTextContents("Read aloud")
        press(find(sheet, "push button", "Save"))
        until("the entry saved", lambda: [row.name for row in rows] == [
            "Northfield Dairy, Annual report, Meetings, 30 minutes, Read aloud"])


if __name__ == "__main__":
    main(*sys.argv[1:])
