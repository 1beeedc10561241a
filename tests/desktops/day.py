"""A day with the program, in steps that every desktop must allow."""

import subprocess

from outside import find, states, until

PREFERENCES, TIMESHEET, NEW_TIMER = "Quillon Preferences", "Timesheet", "New Timer"


def text_of(accessible):
    return accessible.queryText().getText(0, -1)


def day(desktop):
    """`desktop` is fresh and has no settings of the program yet."""
    morning(desktop)
    desktop.settle_in()
    item(desktop)
    new_timer(desktop)
    timesheet(desktop)
    again(desktop)
    windows(desktop)
    with desktop.step("it quits"):
        desktop.end_program()


def morning(desktop):
    with desktop.step("the first start asks where to keep the time"):
        desktop.start_program()
        until("the preferences", lambda: desktop.shown("dialog", PREFERENCES) and desktop.has_keyboard(PREFERENCES))
    with desktop.step("a click keeps it here"):
        desktop.click(find(desktop.root, "push button", "Keep My Time on This Computer"))
        until("the sample entry", lambda: desktop.status()["State"] == "stopped" and desktop.status()["Project"])
        until("the timesheet", lambda: desktop.has_keyboard(TIMESHEET))
    with desktop.step("a hint says where the hours are"):
        hint = until("the hint", lambda: desktop.shown("notification"))
        assert hint.name.startswith(desktop.hint), hint.name
    with desktop.step("a click dismisses the hint"):
        desktop.click(find(desktop.root, "push button", "Got It"))
        until("no hint", lambda: not desktop.shown("notification"))
    desktop.permit_hot_keys()
    with desktop.step("the hours are where this desktop has room for them"):
        carrier = desktop.check()["Status item"]
        assert desktop.carrier in carrier[1], carrier


def item(desktop):
    with desktop.step("a click on the item starts the timer"):
        desktop.toggle_by_item()
        until("it runs", lambda: desktop.status()["Running"])
    with desktop.step("a click on the item stops the timer"):
        desktop.toggle_by_item()
        until("it rests", lambda: not desktop.status()["Running"])
    with desktop.step("the menu opens at the item"):
        desktop.open_menu()
    with desktop.step("its first entry starts the timer"):
        desktop.choose("Start Current Timer")
        until("it runs", lambda: desktop.status()["Running"])
    with desktop.step("the menu closes again"):
        desktop.open_menu()
        desktop.close_menu()
        until("no menu", lambda: not desktop.menu())


def new_timer(desktop):
    with desktop.step("a key opens the window for a new timer" if desktop.hot_keys else "a command opens the window for a new timer"):
        if desktop.hot_keys:
            desktop.keys("ctrl+alt+n")
        else:
            subprocess.run(["quillon", "new"], check=True)
        until("the window", lambda: desktop.has_keyboard(NEW_TIMER))
    with desktop.step("letters complete to a project"):
        desktop.type("train")
        project = find(desktop.root, "text", "Project")
        until("the completion", lambda: text_of(project) == "training")
        find(desktop.root, "list", "Suggestions")
    with desktop.step("tab goes to the task, whose list opens"):
        desktop.keys("tab")
        task = find(desktop.root, "text", "Task")
        until("the task", lambda: "focused" in states(task) and text_of(task) == "Learning")
        desktop.keys("alt+down")
    with desktop.step("a note and return start it"):
        desktop.keys("esc")
        until("the keyboard", lambda: desktop.has_keyboard(NEW_TIMER))  # between the list and the window it is nobody's
        desktop.keys("tab")
        desktop.type("Reading the news")
        desktop.keys("return")
        until("it runs", lambda: desktop.status()["Running"] and desktop.status()["Notes"] == "Reading the news")
        until("no window", lambda: not desktop.window(NEW_TIMER))


def timesheet(desktop):
    with desktop.step("a double click edits an entry"):
        # A second start shows the timesheet of the first.
        subprocess.run(["quillon"], check=True)
        rows = find(find(desktop.root, "frame", TIMESHEET), "list")
        row = until("the row", lambda: next(row for row in rows if "Reading the news" in row.name))
        desktop.click(row, times=2)
        until("the sheet", lambda: desktop.shown("dialog", "Edit Timer"))
    with desktop.step("what is typed there is saved"):
        desktop.keys("tab", "tab")
        desktop.type(" and the mail")
        desktop.keys("return")
        until("saved", lambda: desktop.status()["Notes"].endswith("and the mail"))
        until("no sheet", lambda: not desktop.shown("dialog", "Edit Timer"))
    if desktop.tiles:
        return
    with desktop.step("the timesheet moves by its title"):
        before = desktop.window(TIMESHEET)
        middle = before.x + before.width // 2
        desktop.hand.drag(middle, before.y + 12, middle + 120, before.y + 72)
        until("its new place", lambda: (now := desktop.window(TIMESHEET)) and (now.x, now.y) != (before.x, before.y))


def again(desktop):
    entries = None
    with desktop.step("the menu offers what was done before"):
        desktop.open_menu()
        if desktop.entries() is not None:
            until("what was done before", lambda: any(entry.startswith("Continue ") for entry in desktop.entries()))
        entries = desktop.entries()
    if entries is None:
        desktop.close_menu()
        return
    with desktop.step("a click continues it"):
        other = next(entry for entry in entries if entry.startswith("Continue ") and "training" not in entry)
        desktop.choose(other)
        until("it runs", lambda: desktop.status()["Running"] and desktop.status()["Project"].split("] ")[-1] in other)


def windows(desktop):
    with desktop.step("a second start brings the timesheet to the front"):
        with desktop.another_program() as title:
            until("the other window", lambda: desktop.has_keyboard(title))
            subprocess.run(["quillon"], check=True)
            until("the timesheet", lambda: desktop.has_keyboard(TIMESHEET))
    with desktop.step("the preferences open and stay on escape"):
        subprocess.run(["quillon", "preferences"], check=True)
        until("the preferences", lambda: desktop.has_keyboard(PREFERENCES))
        desktop.keys("esc")
        assert desktop.window(PREFERENCES)
    with desktop.step("done closes the preferences"):
        desktop.click(find(find(desktop.root, "dialog", PREFERENCES), "push button", "Done"))
        until("no preferences", lambda: not desktop.window(PREFERENCES))
