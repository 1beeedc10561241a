"""What comes in and goes out, copies, and what was deleted."""

import pages


class Data(pages.PageTest):

    def alone(self):
        """No other account in the data file: copies are restored for all of it."""
        for table in ("clients", "projects", "tasks", "task_assignments", "user_assignments", "people"):
            self.host.data(f"DELETE FROM {table} WHERE account_id > 1")
        self.host.data("DELETE FROM accounts WHERE id > 1")

    def test_what_was_deleted_is_brought_back_where_that_is_said(self):
        number = self.host.book(2700, notes="Sketches")
        self.sign_in(to=f"/entries/{number}")
        self.press("Delete…")
        self.assertIn("You can bring it back for 30 days.", self.words)
        self.press("Delete")
        self.assertEqual(self.texts("[role=status]"), ["Deleted."])
        self.check_page()
        self.shot("deleted")
        self.press("Bring It Back")
        self.assertEqual((self.path, self.texts("[role=status]")), ("/daily/65/2024?note=back", ["It is back."]))
        self.assertIn("Sketches", self.words)
        self.open("/daily/65/2024?removed=1&note=deleted")
        self.assertEqual(self.texts("main button.small"), self.texts("main .entries button.small"))
        # At its own address as well, for its owner alone.
        self.open("/projects/2/delete")
        self.press("Delete")
        self.assertEqual(self.texts("[role=status]"), ["Deleted."])
        ben = self.another_browser()
        ben.sign_in("ben", to="/projects/2")
        self.assertEqual(ben.heading, "Not Found")
        self.assertEqual(ben.request("POST", "/removed/2", {"token": ben.driver.find_element("name", "token").get_attribute("value")})[0], 404)
        self.open("/projects/2")
        self.assertEqual(self.heading, "This Project Was Deleted")
        self.check_page()
        self.shot("gone")
        self.press("Bring It Back")
        self.assertEqual(self.path, "/projects/2?note=back")
        self.assertEqual(self.host.data("SELECT task_id FROM task_assignments WHERE project_id = 2"), [(2,)])

    def test_copies_are_restored(self):
        self.alone()
        self.host.book(3600, notes="Then")
        self.host.pass_time(hours=24)
        self.sign_in(to="/account")
        self.press("Open Your Data")
        self.until("the copy of the day", lambda: self.open("/data") or "Wednesday, 6 March 2024, 9:15am" in self.words)
        self.assertIn("service-backups", self.words)
        self.host.data("DELETE FROM entries")
        self.host.book(3600, notes="Later")
        self.check_page()
        self.press("Restore the copy of Wednesday, 6 March 2024, 9:15am")
        self.check_page()
        self.shot("restore")
        self.press("Restore")
        self.assertEqual(self.texts("[role=status]"), ["Restored. What was there before is kept as a copy."])
        self.check_page()
        self.shot("data")
        self.assertEqual(self.host.data("SELECT notes FROM entries"), [("Then",)])
        self.open("/daily/65/2024")
        self.assertIn("Then", self.words)
        # What is not in the folder is not there.
        token = self.driver.find_element("name", "token").get_attribute("value")
        for name in ("../service.sqlite", self.host.file, "x", ""):
            self.assertEqual(self.request("POST", "/data/restore", {"token": token, "copy": name})[0], 404)

    def test_with_several_accounts_nobody_restores_those_of_others(self):
        self.sign_in(to="/data")
        self.until("the copy of the day", lambda: self.open("/data") or "Tuesday, 5 March 2024, 9:15am" in self.words)
        self.assertNotIn("Restore…", self.words)
        self.assertEqual(self.request("GET", "/data/restore?copy=service-2024-03-05.sqlite")[0], 404)
        ben = self.another_browser()
        ben.sign_in("ben", to="/data")
        self.assertNotIn("Copies", ben.words)


if __name__ == "__main__":
    pages.main()
