"""Totals over many entries."""

import time

import pages


class Reports(pages.PageTest):

    def table(self, caption):
        return self.ask("return [...document.querySelectorAll(arguments[0])].slice(1).map(row =>"
                        " [...row.children].map(cell => tidy(cell.innerText)));", f"[aria-label='{caption}'] tr")

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
