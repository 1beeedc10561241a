"""Totals over ranges of days, and their entries as a file."""

import csv
import io
import time

import pages

HOSTILE = "<b>\"bold\"</b>, 'so'"


class Reports(pages.PageTest):

    def fill_days(self):
        self.host.book(90 * 60, "2024-03-04")
        self.host.book(30 * 60, "2024-03-04", task="Support")
        self.host.book(60 * 60, project="Boats", timer_started=1709626540 - 15 * 60)
        self.host.book(120 * 60, "2024-03-06", person="ben")
        self.host.book(60 * 60, "2024-02-27", "Boats")

    def table(self, caption):
        return self.ask("return [...document.querySelectorAll(arguments[0])].slice(1).map(row =>"
                        " [...row.children].map(cell => tidy(cell.innerText)));", f"[aria-label='{caption}'] tr")

    def figures(self):
        return dict(zip(self.texts(".figures dt"), self.texts(".figures dd")))

    def test_show_everybody_to_administrators(self):
        self.fill_days()
        self.sign_in(to="/reports")
        self.assertEqual(self.heading, "4 – 10 March 2024")
        self.check_page()
        self.assertEqual(self.figures(), {"Hours": "5:15", "Billable": "4:45 90%", "Not billable": "0:30 10%",
                                          "Days with hours": "3 1:45 a day"})
        self.assertIn("One timer is running: its 0:15 so far is included.", self.words)
        self.toggle("As numbers")
        self.assertEqual(self.table("Hours by day"), [["Mon, 4 Mar 2024", "1:30", "2:00"],
                                                      ["Tue, 5 Mar 2024", "1:15", "1:15"],
                                                      ["Wed, 6 Mar 2024", "2:00", "2:00"], ["Total", "4:45", "5:15"]])
        self.assertEqual(self.table("By project"), [["[WEB] Website Bread <& Sons>", "3:30", "4:00", "76%"],
                                                    ["[BOAT] Boats Harbour", "1:15", "1:15", "24%"]])
        self.assertEqual(self.table("By task"), [["Design", "4:45", "4:45", "90%"], ["Support", "0:00", "0:30", "10%"]])
        self.assertEqual(self.table("By client"), [["Bread <& Sons>", "3:30", "4:00", "76%"],
                                                   ["Harbour", "1:15", "1:15", "24%"]])
        self.check_page()
        self.shot("report")
        self.press("Ben Okoro")
        self.assertEqual(self.figures()["Hours"], "2:00")
        self.press("Last week")
        self.assertEqual(self.texts(".empty"), ["No such time booked on these days."])
        self.check_page()
        self.fill("Person", "Everyone")
        self.press("Show")
        self.assertEqual(self.figures()["Hours"], "1:00")
        self.press("This month")
        self.assertEqual(self.table("Hours by week"), [["4 – 10 March 2024", "4:45", "5:15"],
                                                       ["Total", "4:45", "5:15"]])
        self.press("‹ Earlier")
        self.assertEqual(self.heading, "February 2024")
        self.press("This year")
        self.assertEqual(self.texts(".times h2"), ["By week"])
        self.check_page()

    def test_show_others_only_themselves(self):
        self.fill_days()
        self.sign_in("ben", to="/reports?person=1&from=2024-03-01&to=2024-03-31")
        self.assertEqual(self.figures()["Hours"], "2:00")
        self.assertNotIn("Person", self.texts("label"))
        self.check_page()
        # A project that is not theirs has hours here, yet no page for them.
        self.host.book(30 * 60, "2024-03-06", "Boats", person="ben")
        self.driver.refresh()
        self.press("[BOAT] Boats")
        self.assertEqual(self.figures()["Hours"], "0:30")
        self.press("[BOAT] Boats")
        self.assertEqual(self.heading, "March 2024")
        self.press("Remove Project")
        self.press("[WEB] Website")
        self.press("[WEB] Website")
        self.assertEqual((self.heading, self.path), ("[WEB] Website", "/projects/1"))
        _, _, body = self.request("GET", "/reports.csv?person=1&from=2024-01-01&to=2024-12-31")
        self.assertEqual({row["Person"] for row in csv.DictReader(io.StringIO(body))}, {"Ben Okoro"})

    def test_narrow_by_what_the_address_says(self):
        self.fill_days()
        self.host.book(45 * 60, "2024-03-07", notes="Sketches of 100% <b>", person="ben")
        self.sign_in(to="/reports")
        self.toggle("Narrow by client, project, task, person or notes")
        for name, value in {"Client": "Bread <& Sons>", "Project": "[WEB] Website", "Task": "Design", "Person": "Ben Okoro",
                            "Billable": "Billable", "Notes contain": "100% <B"}.items():
            self.fill(name, value)
        self.press("Show")
        narrowed = ["Client Bread <& Sons> ×", "Project [WEB] Website ×", "Task Design ×", "Person Ben Okoro ×",
                    "Hours billable ×", "Notes “100% <B” ×"]
        self.assertEqual((self.texts(".narrowings li"), self.figures()["Hours"]), (narrowed, "0:45"))
        self.check_page()
        self.shot("report-narrowed")
        # The whole choice is in the address: for a bookmark, the other ranges and the file.
        bookmark = self.path
        self.press("This month")
        self.assertEqual((self.texts(".narrowings li"), self.figures()["Hours"]), (narrowed, "0:45"))
        self.sign_in(to="/daily")
        self.open(bookmark)
        self.assertEqual([self.value(name) for name in ("Billable", "Notes contain")], ["yes", "100% <B"])
        _, _, body = self.request("GET", bookmark.replace("/reports", "/reports.csv"))
        self.assertEqual([row["Hours"] for row in csv.DictReader(io.StringIO(body))], ["0.75"])
        self.press("Remove Notes")
        self.assertEqual(self.figures()["Hours"], "2:45")
        self.press("Remove Person")
        self.press("Remove Client")
        self.assertEqual((self.texts(".narrowings li"), self.figures()["Hours"]), ([narrowed[1], narrowed[2], narrowed[4]], "4:15"))
        # Records of others and those that have gone are the same: there is nothing of them.
        theirs = self.host.data("SELECT max(id) FROM projects")[0][0]
        for record in (theirs, 99999):
            self.open(f"/reports?project={record}")
            self.assertEqual((self.texts(".narrowings li"), self.texts(".empty")),
                             (["Project not there any more ×"], ["No such time booked on these days."]))

    def test_fold_what_is_much(self):
        self.host.data("""
            WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300)
            INSERT INTO projects (account_id, client_id, name, code, billable, bill_by, rate, active)
            SELECT account_id, client_id, 'Ship ' || i, '', 1, 'Tasks', 0, 1 FROM n JOIN projects p ON p.id = 1""")
        self.host.data("""
            INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, created_at, updated_at)
            SELECT 1, id, 1, '2024-03-05', '', 3600, 0, 0 FROM projects WHERE name LIKE 'Ship%'""")
        self.sign_in(to="/reports")
        self.assertEqual(len(self.table("By project")), 12)
        self.assertLess(self.ask("return document.documentElement.scrollHeight;"), 2500)
        self.check_page()
        self.shot("report-many")
        self.toggle("288 more projects, 288:00 hours")
        self.assertEqual(len(self.table("By project, the others")), 288)

    def test_ranges_that_are_none(self):
        self.sign_in(to="/reports?from=2024-03-10&to=2024-03-01")
        self.assertEqual(self.texts(".error"), ["The first day is after the last. Swap them."])
        self.check_page()
        for range_ in ("from=2024-03-10&to=2024-03-01", "from=2024-02-30&to=x", "from=%3Cb%3E&to=2024-03-01"):
            self.assertEqual([self.request("GET", f"/{page}?{range_}")[0] for page in ("reports", "reports.csv")],
                             [422, 422], range_)
        for range_ in ("from=1900-01-01&to=9999-12-31", "from=2024-03-01", "to=2024-03-01", "person=99999"):
            self.assertEqual(self.request("GET", f"/reports?{range_}")[0], 200, range_)

    def test_files_keep_every_text_and_run_none(self):
        self.host.data("UPDATE projects SET name = '=HYPERLINK(\"http://x\")', code = '-1' WHERE name = 'Boats'")
        self.host.data("UPDATE clients SET name = ? WHERE name = 'Harbour'", HOSTILE)
        notes = {"=1+1": "'=1+1", "@x\n\"two\", lines": "'@x\n\"two\", lines", "": "", "ü – 日本 🧁": "ü – 日本 🧁"}
        self.host.data("UPDATE people SET last_name = ? WHERE first_name = 'Ben'", HOSTILE)
        for i, text in enumerate(notes):
            self.host.book(60 * (50 + i), f"2024-03-0{i + 1}", "=HYPERLINK(\"http://x\")", person="ben", notes=text)
        self.host.data("UPDATE entries SET started_at = 545, ended_at = 595 WHERE seconds = 3000")
        self.sign_in(to="/reports?from=2024-03-01&to=2024-03-31")
        self.check_page()
        target = self.find("a[href^='/reports.csv']").get_attribute("href").split(str(self.host.port))[1]
        status, headers, body = self.request("GET", target)
        self.assertEqual(status, 200)
        self.assertEqual(headers["content-type"], "text/csv; charset=utf-8")
        self.assertEqual(headers["content-disposition"], 'attachment; filename="quillon-2024-03-01-2024-03-31.csv"')
        self.assertTrue(body.startswith("\ufeff"))
        self.assertEqual(body.count("\r\n"), 1 + len(notes))
        rows = list(csv.DictReader(io.StringIO(body[1:], newline="")))
        self.assertEqual([row["Notes"] for row in rows], list(notes.values()))
        self.assertEqual(rows[0], {
            "Date": "2024-03-01", "Client": HOSTILE, "Project": "'=HYPERLINK(\"http://x\")", "Code": "'-1",
            "Task": "Design", "Person": f"Ben {HOSTILE}", "Notes": "'=1+1", "Hours": "0.8333",
            "Hours and Minutes": "0:50", "Billable": "yes", "Start": "09:05", "End": "09:55"})

    def test_ten_years_of_ten_people_take_no_time(self):
        self.host.data(
            "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 199999)"
            " INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, created_at, updated_at)"
            " SELECT 1 + i % 2, 1 + i % 3, 1 + i % 2, date('2014-03-06', '+' || (i / 55) || ' days'), '', 900, 0, 0"
            " FROM n")
        self.sign_in()
        began = time.monotonic()
        status, _, body = self.request("GET", "/reports?from=2014-01-01&to=2024-12-31")
        self.assertEqual(status, 200)
        self.assertIn("50000:00", body)
        # Some 0.3 s; this is a slow machine's debug build.
        self.assertLess(time.monotonic() - began, 5)


if __name__ == "__main__":
    pages.main()
