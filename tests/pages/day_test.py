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

    def test_keeps_what_was_typed_wrong(self):
        before = self.host.everything()
        typed = {"Hours": "two", "Notes": "kept </textarea>", "Day": "2024-03-07"}
        self.fill("Project and task", "Internal · Support")
        for name, value in typed.items():
            self.fill(name, value)
        self.press("Add Entry")
        self.assertEqual(self.texts(".field.wrong"), ["Hours The hours cannot be read. Leave empty to start a timer."])
        self.assertEqual({name: self.value(name) for name in typed}, typed)
        self.check_page()
        self.shot("day-wrong")
        self.assertEqual(self.host.everything(), before)

    def test_edits(self):
        entry = self.host.book(5025, notes="\nbegins with a break")
        self.open("/daily")
        self.press("Edit Design on [WEB] Website")
        self.check_page()
        self.shot("edit")
        self.assertEqual(self.value("Hours"), "1:24")
        self.press("Save")
        self.assertEqual(self.entries(), [("2024-03-05", 5025, "\nbegins with a break")])
        self.open(f"/entries/{entry}")
        self.fill("Project and task", "[BOAT] Boats · Design")
        self.fill("Hours", "1,5")
        self.fill("Day", "2024-02-29")
        self.press("Save")
        self.assertEqual(self.heading, "Thursday, 29 February 2024")
        self.assertEqual(self.rows(), ["[BOAT] Boats Harbour Design begins with a break 1:30 Start Edit Delete"])

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

    def test_deletes_what_the_question_told(self):
        self.host.book(3600, notes="first")
        self.open("/daily")
        self.press("Delete Design on [WEB] Website")
        self.assertIn("Its 1:00 hours will be deleted from Tuesday, 5 March 2024.", self.words)
        self.check_page()
        self.shot("delete")
        self.host.data("UPDATE entries SET notes = 'second', updated_at = 2")
        self.press("Delete")
        self.assertIn("second", self.words)
        self.press("Keep")
        self.assertEqual(len(self.rows()), 1)
        self.press("Delete Design on [WEB] Website")
        self.press("Delete")
        self.assertEqual(self.path, "/daily/65/2024?removed=1&note=deleted")
        self.assertEqual(self.entries(), [])

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

    def test_goes_from_day_to_day(self):
        self.host.book(7200, "2024-03-04")
        self.host.book(3600, "2024-03-04", "Internal", "Support")
        self.host.book(3600, "2024-03-03")
        self.open("/daily")
        bars = self.driver.execute_script("return [...document.querySelectorAll('.bars a')].map(a => a.textContent)")
        self.assertEqual(bars[:2], ["Mon, 4 Mar 2024: 3:00 hours, 2:00 billable", "Tue, 5 Mar 2024: 0:00, today"])
        self.assertEqual(len(bars), 7)
        self.assertEqual(self.texts(".week-total .sum, .week-total .key"),
                         ["3:00 hours this week", "2:00 billable, 67% 1:00 not billable"])
        self.press("Previous Day")
        self.assertEqual((self.heading, self.path), ("Monday, 4 March 2024", "/daily/64/2024"))
        self.assertEqual(self.texts(".bars a[aria-current] .number"), ["3:00"])
        self.press("Previous Day")
        self.assertEqual(self.texts(".week-total h2, .week-total .sum"), ["26 February – 3 March 2024", "1:00 hours in this week"])
        self.press("Next Week")
        self.press("Today")
        self.assertEqual((self.heading, self.path), (TODAY, "/daily"))
        self.fill("Go to day", "2023-12-31")
        self.press("Go")
        self.assertEqual(self.path, "/daily/365/2023")
        self.press("Next Day")
        self.assertEqual((self.path, self.texts(".week-total h2")), ("/daily/1/2024", ["1 – 7 January 2024"]))
        self.assertEqual(self.request("GET", "/daily/366/2023")[0], 404)
        # Clocks go forward within this week, and midnight ends a day but no timer.
        self.open("/daily/90/2024")
        self.assertEqual(self.texts(".week-total h2"), ["25 – 31 March 2024"])
        self.open("/daily")
        self.fill("Project and task", "[WEB] Website · Design")
        self.press("Add Entry")
        self.host.pass_time(hours=14, minutes=50)
        self.sign_in()
        self.assertEqual(self.heading, "Wednesday, 6 March 2024")
        self.assertEqual(self.texts(".hint"), ["A timer is running on another day: [WEB] Website · Design, 14:50 hours on"
                                               " Tuesday, 5 March 2024."])
        self.check_page()

    def test_start_and_end_times(self):
        self.sign_in(account="clock")
        self.fill("Project and task", "[WEB] Website · Design")
        self.fill("Start", "08:00")
        self.fill("End", "07:00")
        self.press("Add Entry")
        self.assertIn("The end time is before the start time.", self.texts(".field.wrong")[0])
        self.fill("End", "09:10")
        self.press("Add Entry")
        self.press("Add Entry")
        self.host.pass_time(minutes=30)
        self.open("/daily", "clock")
        self.assertEqual(self.texts(".times"), ["8:00am – 9:10am", "running since 9:15am"])
        self.check_page()
        self.shot("day-times")
        self.press("Stop")
        self.press("Edit", within=self.driver.find_elements("css selector", "tbody tr")[1])
        self.check_page()
        self.press("Save")
        self.assertEqual(self.entries("seconds, started_at, ended_at"), [(4200, 480, 550), (1800, 555, 585)])

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

    def test_tells_who_cannot_book_what_to_do(self):
        self.host.data("DELETE FROM user_assignments")
        self.open("/daily")
        self.press("Go to Projects")
        self.assertEqual(self.path, "/projects")
        self.press("Sign Out")
        self.sign_in("ben")
        self.assertIn("Ask an administrator of Acme & Co", self.words)
        self.check_page()
        self.assertEqual(self.send("/entries", booking="1-1", hours="1")[0], 422)
        self.assertEqual(self.entries(), [])

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