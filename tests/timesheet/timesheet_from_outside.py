"""What assistive technology sees of the timesheet of the real program, and can do with it."""

import os
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import Program, find, press, states, until


def names(accessible):
    return [child.name for child in accessible]


def main(program, seed):
    folder = pathlib.Path(os.environ["XDG_DATA_HOME"]) / "Quillon"
    folder.mkdir(parents=True)
    subprocess.run([seed, folder / "LocalService.sqlite", "mixed"], check=True)
    with Program("Quillon", program, "--local") as root:
        window = find(root, "frame", "Timesheet")
        rows = find(window, "list", "Timers")
        first = "Harbour Lights, [HL-2] Website relaunch, Design, 1 hour 5 minutes, running"
        third = "Northfield Dairy, Annual report, Proof reading, 45 minutes%s, Second pass"
        until("the rows", lambda: len(rows) == 5 and rows[0].name == first)
        assert rows[2].name == third % "", rows[2].name
        assert rows[3].name == "Northfield Dairy, Annual report, Meetings, 1 hour 30 minutes, locked", rows[3].name
        lock = find(rows[3], "push button", "Locked")
        assert lock.description == "Approved by Robin Lee on Monday", lock.description

        for name in ("Previous Day", "Next Day", "New Timer", "Minimize", "Maximize", "Close"):
            assert "enabled" in states(find(window, "push button", name)), name

        # Starting one stops the other.
        press(find(rows[2], "push button", "Start Timer"))
        until("row 2 running", lambda: rows[2].name == third % ", running")
        until("row 0 stopped", lambda: "running" not in rows[0].name)
        press(find(rows[2], "push button", "Stop Timer"))
        until("row 2 stopped", lambda: rows[2].name == third % "")

        press(find(window, "push button", "Previous Day"))
        until("yesterday", lambda: names(rows) == [
            "Northfield Dairy, Annual report, Meetings, 30 minutes, Kick-off"])
        press(find(window, "push button", "Today"))
        until("today", lambda: len(rows) == 5)

        press(find(window, "push button", "Close"))
        until("closed", lambda: "showing" not in states(window))


if __name__ == "__main__":
    main(*sys.argv[1:])
