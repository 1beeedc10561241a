"""Projects, clients and tasks: made, changed, archived and deleted."""

import pages


class Catalog(pages.PageTest):

    def offers(self, project):
        return dict(self.host.data("SELECT t.name, a.billable FROM task_assignments a JOIN tasks t ON t.id = a.task_id"
                                   " WHERE a.project_id = ?", project))

    def people(self, project):
        return [name for name, in self.host.data("SELECT w.first_name FROM user_assignments u JOIN people w ON"
                                                 " w.id = u.person_id WHERE u.project_id = ? ORDER BY 1", project)]

    def test_a_new_project_has_a_new_client_and_new_tasks(self):
        self.sign_in(to="/projects")
        self.press("New Project", ".heading")
        self.check_page()
        self.fill("Name", "Signs")
        self.press("Add Project")
        self.assertEqual(self.texts(".error"), ["Choose a client."])
        self.check_page()
        self.fill("Or a new client", " Café  Zoë ")
        self.fill("Code", "CZ")
        self.fill("New tasks", "Painting\n\n design \n")
        self.fill("Design", False)
        self.fill("Ben Okoro", True)
        self.press("Add Project")
        self.assertEqual((self.heading, self.texts("[role=status]")), ("[CZ] Signs", ["Added."]))
        self.check_page()
        (project, client), = self.host.data("SELECT p.id, c.name FROM projects p JOIN clients c ON c.id = p.client_id"
                                            " WHERE p.name = 'Signs' AND p.code = 'CZ' AND p.billable")
        # The blanks are tidied, and the task that is there already is not made again.
        self.assertEqual(client, "Café Zoë")
        self.assertEqual(self.offers(project), {"Design": 1, "Painting": 1})
        self.assertEqual(self.people(project), ["Ann", "Ben"])

    def test_the_first_own_project_is_billable_and_the_samples_go(self):
        for client, code, name, task, billable in (("Juniper Bakery", "JB-01", "Online Shop", "Design", 1),
                                                   ("My Own Work", "", "Bookkeeping", "Support", 0),
                                                   ("My Own Work", "", "Training", "Support", 0)):
            self.host.data("INSERT INTO clients (account_id, name, active) SELECT 1, ?1, 1 WHERE NOT EXISTS"
                           " (SELECT 1 FROM clients WHERE name = ?1 AND account_id = 1)", client)
            self.host.data("INSERT INTO projects (account_id, client_id, name, code, billable, bill_by, rate, active)"
                           " SELECT 1, max(id), ?, ?, ?, 'Tasks', 0, 1 FROM clients WHERE account_id = 1", name, code, billable)
            self.host.data("INSERT INTO task_assignments (account_id, project_id, task_id, billable, rate) SELECT 1,"
                           " max(p.id), t.id, ?, 0 FROM projects p JOIN tasks t ON t.account_id = 1 AND t.name = ?",
                           billable, task)
        self.host.book(0, project="Online Shop")
        self.sign_in()
        self.press("Start Empty")
        self.assertEqual(self.heading, "New Project")
        self.press("Bring It Back")
        self.host.book(3600, project="Training", task="Support")
        self.open("/daily")
        self.assertEqual(self.texts(".samples"), [])
        records = ("SELECT (SELECT group_concat(name) FROM projects), (SELECT group_concat(seconds) FROM entries),"
                   " (SELECT count(*) FROM task_assignments)")
        before = self.host.data(records)
        self.sign_in(to="/projects/new?name=Quay+%26+Co")
        self.assertEqual([self.value(name) for name in ("Billable", "Design", "Design is billable")], [True] * 3)
        self.assertEqual(self.value("Name"), "Quay & Co")
        self.press("Cancel")
        self.assertIn("Online Shop and Bookkeeping are samples", self.texts(".samples")[0])
        self.check_page()
        self.shot("projects-samples")
        self.press("Remove the Samples")
        self.assertEqual(self.texts(".samples"), [])
        self.assertEqual(self.texts("tbody .named"),
                         ["Internal Not billable", "[WEB] Website", "[BOAT] Boats", "Training Not billable"])
        self.assertEqual(self.host.data("SELECT name FROM clients WHERE account_id = 1 AND id > 3"), [("My Own Work",)])
        self.assertEqual([seconds for seconds, in self.host.data("SELECT seconds FROM entries")], [3600])
        self.press("Bring It Back")
        self.assertIn("Online Shop and Bookkeeping", self.texts(".samples")[0])
        self.assertEqual(self.host.data(records), before)

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

    def test_what_was_booked_stays(self):
        self.host.book(5400, "2024-03-04")
        self.sign_in(to="/projects/1")
        self.assertIn("cannot be deleted", self.words)
        self.shot("project")
        self.press("See where")
        self.assertEqual((self.heading, self.texts(".narrowings li")), ("4 March 2024", ["Project [WEB] Website ×"]))
        self.press("[WEB] Website")
        self.assertEqual(self.request("POST", "/projects/1/delete", {"token": self.token()})[0], 422)
        self.press("Archive")
        self.assertEqual(self.texts("[role=status]"), ["Archived. Its hours are kept, and no new ones can be added."])
        self.open("/projects")
        self.assertEqual(self.texts("tbody .named"), ["Internal Not billable", "[BOAT] Boats"])
        self.press("Archived (1)")
        self.check_page()
        self.assertEqual(self.texts("tbody .named"), ["[WEB] Website Archived"])
        self.press("[WEB] Website")
        self.press("Restore")
        self.open("/tasks/1")
        self.press("Archive")
        self.assertEqual(self.host.data("SELECT p.active, t.active FROM projects p, tasks t WHERE p.id = t.id"
                                        " AND p.id = 1"), [(1, 0)])

    def test_a_client_takes_its_projects_along(self):
        self.sign_in(to="/clients/1")
        self.check_page()
        self.press("Archive…")
        self.assertIn("Its 2 projects are archived with it", self.words)
        self.press("Archive All")
        self.assertEqual(self.host.data("SELECT active FROM projects WHERE account_id = 1"), [(0,), (0,), (1,)])
        self.open("/projects/2")
        self.press("Restore")
        self.assertEqual(self.host.data("SELECT active FROM clients WHERE id = 1"), [(1,)])
        self.open("/clients/new")
        self.fill("Name", "harbour")
        self.press("Add Client")
        self.assertEqual(self.texts(".error"), ["There is a client of this name already."])
        self.fill("Name", "Quay")
        self.press("Add Client")
        self.fill("Name", "Old Quay")
        self.press("Rename")
        self.assertEqual(self.heading, "Old Quay")
        self.press("Delete…")
        self.press("Delete")
        self.assertEqual((self.path, "Quay" in self.words), ("/projects?removed=1&note=deleted", False))

    def test_tasks(self):
        self.host.book(5400, "2024-03-04")
        self.sign_in(to="/tasks")
        self.fill("New task", "Painting")
        self.fill("Billable there", False)
        self.press("Add Task")
        self.check_page()
        self.shot("tasks")
        self.assertEqual(self.texts("tbody tr"), ["Design [BOAT] Boats, [WEB] Website 1:30 1:30",
                                                  "Painting [BOAT] Boats, Internal, [WEB] Website 0:00 0:00",
                                                  "Support Internal, [WEB] Website 0:00 0:00"])
        self.assertEqual(self.offers(2), {"Support": 0, "Painting": 0})
        self.press("Painting")
        self.check_page()
        self.fill("Name", "Lettering")
        self.press("Rename")
        self.press("Delete…")
        self.check_page()
        self.press("Delete")
        self.assertEqual(self.texts("tbody .named"), ["Design", "Support"])

    def test_others_see_what_they_can_book_and_change_nothing(self):
        self.host.book(5400)
        self.host.book(900, person="ben")
        self.sign_in("ben", to="/projects")
        self.check_page()
        self.assertEqual(self.texts("tbody tr"), ["Bread <& Sons>", "[WEB] Website 2 2 0:15 0:15"])
        self.press("[WEB] Website")
        self.check_page()
        self.assertEqual(self.texts("tbody tr"), ["Design Yes 0:15", "Support No 0:00"])
        self.assertEqual(self.texts("main button"), [])
        self.assertEqual(self.request("GET", "/projects/2")[0], 404)
        self.assertEqual([self.request("HEAD", f"/projects/{number}")[0] for number in (1, 2)], [200, 404])

    def test_many_projects_come_in_pages(self):
        for number in range(500):
            self.host.data("INSERT INTO projects (account_id, client_id, name, code, billable, bill_by, rate, active)"
                           " VALUES (1, 2, ?, '', 1, 'Tasks', 0, 1)", f"Ship {number:03}")
        self.sign_in(to="/projects")
        self.assertEqual(len(self.texts("tbody .named")), 100)
        self.press("Next ›")
        self.assertEqual(self.path, "/projects?page=2")
        self.check_page()
        self.shot("projects-many")
        self.assertLess(len(self.request("GET", "/projects")[2]), 200_000)
        self.fill("Search projects and clients", "ship 49")
        self.press("Search")
        self.assertEqual(self.texts("tbody .named"), [f"Ship {number}" for number in range(490, 500)])


if __name__ == "__main__":
    pages.main()
