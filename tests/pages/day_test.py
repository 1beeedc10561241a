"""The timesheet: days, weeks, entries and their timers."""

import pathlib

import pages

TODAY = "Tuesday, 5 March 2024"


class Day(pages.PageTest):

    def setUp(self):
        super().setUp()
        self.sign_in()

    def entries(self, columns="spent_at, seconds, notes"):
        return self.host.data(f"SELECT {columns} FROM entries ORDER BY id")

    def rows(self):
        return self.texts("tbody tr")

    def send(self, target, **fields):
        """A form that the page shown does not have."""
        return self.request("POST", target, {"token": self.token(), **fields})

    def test_new_entries(self):
        self.assertEqual(self.heading, TODAY)
        self.assertIn("No entries for today yet.", self.words)
        self.check_page()
        self.shot("day-empty")
        self.fill("Project and task", "[WEB] Website · Design")
        self.fill("Hours", "1:30")
        self.fill("Notes", "<b>bold</b>\n\"two\" & three")
        self.press("Add Entry")
        self.assertEqual(self.path, "/daily/65/2024?note=added")
        self.assertEqual(self.rows(), ["[WEB] Website Bread <& Sons> Design <b>bold</b> \"two\" & three 1:30"
                                       " Start Edit Delete"])
        self.assertEqual(self.entries(), [("2024-03-05", 5400, "<b>bold</b>\n\"two\" & three")])
        # The last project and task are chosen; no hours start a timer, and the key does what the button does.
        self.going(lambda: self.field("Hours").send_keys("\n"))
        self.host.pass_time(minutes=45)
        self.open("/daily")
        self.assertEqual(self.texts("tr.running"), ["[WEB] Website Bread <& Sons> Design 0:45 running since 9:15am"
                                                    " Stop Edit Delete"])
        self.assertEqual(self.texts("tfoot tr"), ["Total of this day 2:15"])
        self.assertEqual(self.texts(".week-total .sum, .week-total .key"),
                         ["2:15 hours this week", "2:15 billable, 100% 0:00 not billable"])
        self.check_page()
        self.shot("day")
        self.press("Start", within=self.find("tr.finished"))
        self.host.pass_time(minutes=5)
        self.press("Stop")
        self.assertEqual(self.entries("seconds, timer_started"), [(5700, None), (2700, None)])
        # Since when, and what there was before, make the hours.
        self.press("Start", within=self.find("tr:nth-child(2)"))
        self.host.pass_time(minutes=10)
        self.open("/daily")
        self.assertIn("0:55 running since 10:05am, 0:45 before", self.texts("tr.running")[0])

    def test_leaves_alone_what_is_fixed(self):
        locked = self.host.book(3600, notes="a", locked_reason="Approved <b>")
        billed = self.host.book(1800, notes="b", billed=1)
        theirs = self.host.book(900, person="ben")
        gone = self.host.book(600, project="Internal", task="Support")
        self.host.data("UPDATE projects SET active = 0 WHERE name = 'Internal'")
        before = self.host.everything()
        self.open("/daily")
        self.assertEqual(self.rows(), ["[WEB] Website Bread <& Sons> Design a Locked: Approved <b> 1:00",
                                       "[WEB] Website Bread <& Sons> Design b Billed 0:30",
                                       "Internal Bread <& Sons> Support 0:10 Start Edit Delete"])
        self.check_page()
        for entry, status in {locked: 422, billed: 422, theirs: 404, 99: 404}.items():
            for target in (f"/entries/{entry}", f"/entries/{entry}/delete"):
                self.assertEqual(self.request("GET", target)[0], status)
                self.assertEqual(self.send(target, booking="1-1", updated="1", notes="x", hours="5")[0], status)
        for entry, status in {locked: 422, billed: 422, theirs: 404, gone: 422}.items():
            self.assertEqual(self.send(f"/entries/{entry}/timer", state="running")[0], status)
        self.press("Start")
        self.assertEqual(self.texts("[role=alert]"), ["This project has been archived."])
        self.assertEqual(self.host.everything(), before)
        # What is booked there may still be mended.
        self.press("Edit")
        self.fill("Notes", "mended")
        self.press("Save")
        self.assertEqual(self.entries("seconds, notes")[3], (600, "mended"))

    def test_asks_when_the_entry_has_changed(self):
        entry = self.host.book(5025, notes="old")
        self.open(f"/entries/{entry}")
        self.fill("Notes", "mine")
        self.host.data("UPDATE entries SET notes = 'theirs', seconds = 6111, updated_at = 2")
        self.press("Save")
        self.assertEqual(self.texts("h2"), ["This entry has changed in the meantime"])
        self.assertEqual(self.texts(".facts dd.differs"), ["theirs differs from yours"])
        self.assertEqual([self.value(name) for name in ("Hours", "Notes")], ["1:42", "mine"])
        self.check_page()
        self.shot("edit-changed")
        self.assertEqual(self.entries(), [("2024-03-05", 6111, "theirs")])
        self.press("Save Mine")
        self.assertEqual(self.entries(), [("2024-03-05", 6111, "mine")])
        # Deleted elsewhere: the text is not lost.
        self.open(f"/entries/{entry}")
        self.fill("Notes", "long text")
        self.host.data("DELETE FROM entries")
        self.press("Save")
        self.assertIn("This entry no longer exists.", self.texts("[role=alert]")[0])
        self.press("Add Entry")
        self.assertEqual(self.entries(), [("2024-03-05", 6120, "long text")])

    def test_finds_one_of_many_projects(self):
        self.host.data("""
            WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)
            INSERT INTO projects (account_id, client_id, name, code, billable, bill_by, rate, active)
            SELECT account_id, client_id, 'Job ' || i || '%', 'J' || i, 1, 'Tasks', 0, 1 FROM n
            JOIN projects p ON p.name = 'Boats' AND p.account_id = (SELECT id FROM accounts WHERE subdomain = 'acme')""")
        self.host.data("""
            INSERT INTO user_assignments (account_id, project_id, person_id, rate)
            SELECT p.account_id, p.id, u.id, 0 FROM projects p JOIN people u ON u.account_id = p.account_id
            WHERE p.code LIKE 'J%' AND u.first_name = 'Ann'""")
        self.host.data("""
            INSERT INTO task_assignments (account_id, project_id, task_id, billable, rate)
            SELECT p.account_id, p.id, t.id, 1, 0 FROM projects p JOIN tasks t ON t.account_id = p.account_id
            WHERE p.code LIKE 'J%' AND t.name = 'Support'""")
        self.host.book(60)
        self.open("/daily")
        self.assertLess(len(self.driver.page_source), 20_000)
        self.fill("Hours", "2")
        self.fill("Notes", "kept")
        self.press("Other Project…")
        self.check_page()
        self.fill("Project, code or client", "J47_1")
        self.press("Search")
        self.assertEqual(self.texts("legend"), [])
        self.fill("Project, code or client", "4711% HARB")
        self.press("Search")
        self.check_page()
        self.shot("projects")
        self.assertEqual(self.texts("legend"), ["[J4711] Job 4711% Harbour"])
        self.press("Support on [J4711] Job 4711%")
        self.press("Add Entry")
        self.assertEqual(self.rows()[1], "[J4711] Job 4711% Harbour Support kept 2:00 Start Edit Delete")

    def test_lost_file(self):
        self.host.book(3600, notes="before")
        away = pathlib.Path(self.host.file).rename(self.host.file + ".away")
        self.open("/daily")
        self.assertIn("before", self.rows()[0])
        self.fill("Project and task", "[WEB] Website · Design")
        self.fill("Hours", "1:30")
        self.fill("Notes", "typed")
        self.press("Add Entry")
        self.assertIn("Nothing can be saved: the data file was moved, removed or replaced while it was in use.", self.words)
        self.check_page()
        self.shot("day-lost-file")
        away.rename(self.host.file)
        self.driver.refresh()
        self.assertEqual([row[2] for row in self.entries()], ["before", "typed"])


if __name__ == "__main__":
    pages.main()