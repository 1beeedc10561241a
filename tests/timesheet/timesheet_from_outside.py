"""What assistive technology sees of the timesheet of the real program, and can do with it."""

import os
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import Program, find, press, states, until


def names(accessible):
    return [child.name for child in accessible]


def pointer(*what):
    subprocess.run(["xdotool", *map(str, what)], check=True)
    return True


def frame(window):
    place = window.queryComponent().getExtents(0)
    return place.x, place.y, place.width, place.height


def frame_on_screen():
    """What the X server knows: window managers tell the program itself only when a drag has ended."""
    told = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "^Timesheet$", "getwindowgeometry", "--shell"],
                          check=True, capture_output=True, text=True).stdout
    values = dict(line.split("=") for line in told.split())
    return tuple(int(values[name]) for name in ("X", "Y", "WIDTH", "HEIGHT"))


def drag(window, x, y, what, seen):
    """Presses there, pulls to the upper left until `seen` of the frames before and now, and lets go."""
    before = frame_on_screen()
    pointer("mousemove", before[0] + x, before[1] + y, "mousedown", 1)
    until(what, lambda: pointer("mousemove_relative", "--", -3, -2) and seen(before, frame_on_screen()))
    pointer("mouseup", 1)
    until(f"told that it is {what}", lambda: frame(window) == frame_on_screen())


def works_like_any_window(window):
    drag(window, 100, 10, "moved", lambda a, b: b[0] < a[0] and b[1] < a[1] and b[2:] == a[2:])
    drag(window, 2, 2, "larger by a corner", lambda a, b: b[0] < a[0] and b[1] < a[1] and b[2] > a[2] and b[3] > a[3])
    drag(window, 2, 200, "wider by a side", lambda a, b: b[0] < a[0] and b[2] > a[2] and b[1::2] == a[1::2])
    before = frame(window)
    pointer("mousemove", before[0] + 100, before[1] + 10, "click", "--repeat", 2, "--delay", 20, 1)
    until("maximized", lambda: frame(window)[:2] == (0, 0) and frame(window)[2] > before[2])
    press(find(window, "push button", "Restore"))
    until("restored", lambda: frame(window) == before)


def brightness(window):
    """Of the title strip, 0 to 1."""
    x, y, _, _ = frame(window)
    pixel = f"1x1+{x + 60}+{y + 12}"
    return float(subprocess.run(["import", "-window", "root", "-crop", pixel, "-format", "%[fx:intensity]", "info:-"],
                                check=True, capture_output=True).stdout)


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

        works_like_any_window(window)
        # The strip is dark exactly while the program has the keyboard.
        until("dark", lambda: brightness(window) < 0.3)
        other = subprocess.Popen(["xev"], stdout=subprocess.DEVNULL)
        until("light", lambda: brightness(window) > 0.8)
        other.terminate()
        other.wait()
        until("dark again", lambda: brightness(window) < 0.3)

        press(find(window, "push button", "Close"))
        until("closed", lambda: "showing" not in states(window))


if __name__ == "__main__":
    main(*sys.argv[1:])
