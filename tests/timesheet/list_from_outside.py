"""What assistive technology sees of a list and can do with it."""

import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import Program, actions, find, press, states, until


def names(accessible):
    return [child.name for child in accessible]


def main(program):
    with Program("list-program", program) as root:
        rows = find(root, "list", "Entries")
        told = find(root, "filler", "List")[2].queryText()

        # Rows in sight only, each with its button.
        assert names(rows) == [f"Row {row}" for row in range(6)], names(rows)
        assert {row.getRoleName() for row in rows} == {"list item"}
        assert [row.getIndexInParent() for row in rows] == list(range(6))
        assert actions(rows[1]) == ["Press", "ShowMenu"]
        around = rows.queryComponent().getExtents(0)
        second = rows[1].queryComponent().getExtents(0)
        assert (second.x, second.y, second.width, second.height) == (around.x, around.y + 65, 300, 79), second
        assert {"enabled", "selectable", "focusable"} <= states(rows[1])

        # A press selects a row; a second one takes that back.
        assert "selected" not in states(rows[1])
        press(rows[1])
        until("row 1 selected", lambda: {"selected", "focused"} <= states(rows[1]))
        press(rows[2])
        until("row 2 selected", lambda: "selected" in states(rows[2]) and "selected" not in states(rows[1]))
        press(rows[2])
        until("nothing selected", lambda: "selected" not in states(rows[2]))

        press(find(rows[3], "push button", "Start"))
        until("the button of row 3", lambda: told.getText(0, -1) == "button 3")
        rows[4].queryAction().doAction(1)
        until("the menu of row 4", lambda: told.getText(0, -1) == "menu 4")

        # The same objects stand for other rows when those come into sight.
        subprocess.run(["xdotool", "search", "--sync", "--name", "^List$", "windowfocus", "--sync", "key", "End"],
                       check=True)
        until("the last rows", lambda: names(rows) == [f"Row {row}" for row in range(34, 40)])
        assert {"selected", "focused"} <= states(rows[5])
        press(find(rows[4], "push button", "Start"))
        until("the button of row 38", lambda: told.getText(0, -1) == "button 38")


if __name__ == "__main__":
    main(*sys.argv[1:])
