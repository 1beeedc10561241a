"""What comes in and goes out, copies, and what was deleted."""

import pathlib
import shutil
import tempfile

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
        self.assertEqual(ben.request("POST", "/removed/2", {"token": ben.token()})[0], 404)
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
        for name in ("../service.sqlite", self.host.file, "x", ""):
            self.assertEqual(self.request("POST", "/data/restore", {"token": self.token(), "copy": name})[0], 404)

    def test_with_several_accounts_nobody_restores_those_of_others(self):
        self.sign_in(to="/data")
        self.until("the copy of the day", lambda: self.open("/data") or "Tuesday, 5 March 2024, 9:15am" in self.words)
        self.assertNotIn("Restore…", self.words)
        self.assertEqual(self.request("GET", "/data/restore?copy=service-2024-03-05.sqlite")[0], 404)
        ben = self.another_browser()
        ben.sign_in("ben", to="/data")
        self.assertNotIn("Copies", ben.words)

    def choose(self, name, content):
        """Sends that file from the page that asks for one."""
        file = pathlib.Path(tempfile.mkdtemp(prefix="pages.")) / name
        self.addCleanup(shutil.rmtree, file.parent)
        file.write_bytes(content if isinstance(content, bytes) else content.encode())
        self.open("/data/import")
        self.field("File").send_keys(str(file))
        self.press("Look at It")

    def figures(self):
        return dict(zip(self.texts(".figures dt"), self.texts(".figures dd")))

    def test_a_table_is_imported_and_undone(self):
        self.sign_in(to="/data/import")
        self.check_page()
        self.shot("import")
        before = self.host.everything()
        self.choose("hours.csv", "Wann;Kunde;Was;Lange;Bemerkung\n3/4/2024;Quay <&>;Boote;1,5;Skizze\n"
                                 "3/5/2024;Quay <&>;Boote;0,75;\nirgendwann;;;;\n")
        self.assertEqual(self.heading, "hours.csv")
        self.assertEqual(self.figures()["New entries"], "0")
        self.fill("Wann", "Day")
        self.fill("Was", "Project")
        self.fill("Lange", "Hours")
        self.fill("Dates", "Month, day, year")
        self.fill("Task where none is given", "Bauen")
        self.press("Update the Preview")
        self.assertEqual(self.figures(), {"New entries": "2", "Hours": "2:15", "There already": "0", "Cannot be read": "1"})
        self.assertIn("Line 4: “irgendwann” is no date.", self.words)
        self.check_page()
        self.shot("import-preview")
        self.press("Import 2 Entries")
        self.assertIn("Nothing was imported", self.words)
        self.assertEqual(self.host.everything(), before)
        self.fill("Leave out what cannot be read", True)
        self.press("Import 2 Entries")
        self.assertEqual(self.texts("[role=status]"), ["Imported. You can undo it below as a whole."])
        self.check_page()
        self.shot("imported")
        self.assertEqual(self.host.data("SELECT e.spent_at, e.seconds, e.notes, p.name, c.name, t.name FROM entries e"
                                        " JOIN projects p ON p.id = project_id JOIN clients c ON c.id = client_id"
                                        " JOIN tasks t ON t.id = task_id ORDER BY e.id"),
                         [("2024-03-04", 5400, "Skizze", "Boote", "Quay <&>", "Bauen"),
                          ("2024-03-05", 2700, "", "Boote", "Quay <&>", "Bauen")])
        self.open("/daily/65/2024")
        self.assertIn("Boote", self.words)
        self.open("/data")
        self.press("Undo the import of hours.csv")
        self.assertEqual(self.host.data("SELECT (SELECT COUNT(*) FROM entries), COUNT(*) FROM projects WHERE name = 'Boote'"),
                         [(0, 0)])
        self.press("Bring It Back", self.find(".note"))
        self.assertEqual(self.host.data("SELECT COUNT(*) FROM entries"), [(2,)])

    def test_large_files_come_from_administrators_alone(self):
        self.sign_in(to="/data/import")
        form = {"token": self.token()}
        ben = self.another_browser()
        ben.sign_in("ben", to="/data")
        rows = b"date,hours\n" + b"2024-03-05,1\n" * 100_000
        body = b"".join(b'--x\r\nContent-Disposition: form-data; name="%s"\r\n\r\n%s\r\n' % (k.encode(), v.encode())
                        for k, v in form.items())
        body += b'--x\r\nContent-Disposition: form-data; name="file"; filename="a.csv"\r\n\r\n' + rows + b"\r\n--x--\r\n"
        headers = {"Content-Type": "multipart/form-data; boundary=x", "Origin": self.host.url("")}
        elsewhere = {**headers, "Origin": "http://evil.localhost"}
        cookies = self.cookies()
        self.assertEqual(self.request("POST", "/data/import", body, headers, cookies=cookies)[0], 303)
        for what, target, sent, cookie in (("a colleague", "/data/import", headers, ben.cookies()),
                                           ("nobody", "/data/import", headers, ""),
                                           ("another site", "/data/import", elsewhere, cookies),
                                           ("another page", "/entries", headers, cookies)):
            with self.subTest(sender=what):
                self.assertEqual(self.request("POST", target, body, sent, cookies=cookie)[0], 413)
        # A draft is its owner's.
        self.assertEqual(self.request("GET", "/data/import/1", cookies=cookies)[0], 200)
        self.assertEqual(self.request("GET", "/data/import/1", cookies=ben.cookies())[0], 403)


if __name__ == "__main__":
    pages.main()
