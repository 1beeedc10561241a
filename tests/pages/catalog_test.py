"""Projects, clients and tasks: made, changed, archived and deleted."""

import pages


class Catalog(pages.PageTest):

    def offers(self, project):
        return dict(self.host.data("SELECT t.name, a.billable FROM task_assignments a JOIN tasks t ON t.id = a.task_id"
                                   " WHERE a.project_id = ?", project))

    def people(self, project):
        return [name for name, in self.host.data("SELECT w.first_name FROM user_assignments u JOIN people w ON"
                                                 " w.id = u.person_id WHERE u.project_id = ? ORDER BY 1", project)]

    def test_two_administrators_keep_what_they_do_not_touch(self):
        self.sign_in(to="/projects/1")
        longest = "ü" * 200
        other = self.another_browser()
        other.sign_in(to="/projects/1")
        other.fill("Name", longest)
        other.fill("Design", False)
        other.fill("Support is billable", True)
        other.press("Save")
        self.fill("Code", "W2")
        self.fill("Ben Okoro", False)
        self.press("Save")
        self.assertEqual(self.heading, f"[W2] {longest}")
        self.check_page()
        self.assertEqual(self.host.data("SELECT name, code FROM projects WHERE id = 1"), [(longest, "W2")])
        self.assertEqual(self.offers(1), {"Support": 1})
        self.assertEqual(self.people(1), ["Ann"])
        # What is gone meanwhile is told.
        other.open("/projects/3")
        self.open("/projects/3/delete")
        self.press("Delete")
        other.press("Save")
        self.assertIn("This project no longer exists.", other.words)


if __name__ == "__main__":
    pages.main()
