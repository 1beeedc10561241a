"""People, what they may do, and what they say of themselves."""

import re

import pages

HOSTILE = "<script>alert(1)</script> \"'&amp;"


class People(pages.PageTest):

    def add(self, first, last, email, password=None):
        self.open("/people/new")
        self.fill("First name", first)
        self.fill("Last name", last)
        self.fill("Email", email)
        if password:
            self.fill("Password", password)
        self.press("Add")

    def test_added_with_a_password_that_is_shown_once(self):
        self.sign_in(to="/people")
        self.press("New Person")
        self.check_page()
        self.add("Cleo", HOSTILE, "ann@example.com")
        self.assertEqual(self.texts(".error"), ["This address already belongs to Ann Lee."])
        self.assertEqual(self.value("Last name"), HOSTILE)
        self.check_page()
        self.fill("Email", "cleo@example.com")
        self.press("Add")
        self.assertEqual(self.heading, f"Cleo {HOSTILE} Has Been Added")
        self.check_page()
        self.shot("person-added")
        password = self.find("code.password").text
        self.assertRegex(password, "^[a-z0-9]{20}$")
        self.assertIn(f"http://acme.localhost:{self.host.port}", self.words)
        self.assertIn(f'".localhost:{self.host.port}"', self.words)
        self.press("Choose Projects")
        self.assertNotIn(password, self.driver.page_source)

        other = self.another_browser()
        other.sign_in("cleo", password=password)
        other.open("/people")
        self.assertEqual(other.texts("main p"), ["Only an administrator of this account can do that."])
        self.assertEqual(other.request("POST", "/people/1/archive", {})[0], 403)

    def test_told_a_new_password_and_signed_out(self):
        other = self.another_browser()
        other.sign_in("ben")
        self.sign_in(to="/people")
        self.press("Ben Okoro")
        self.fill("Password", "short")
        self.press("Set New Password")
        self.assertIn("Use at least 10 characters.", self.texts(".error")[0])
        self.check_page()
        self.fill("Password", "a longer word")
        self.press("Set New Password")
        self.assertEqual(self.texts("[role=status]"), ["Saved."])
        other.open("/account")
        self.assertEqual(other.heading, "Sign In")
        other.sign_in("ben", password="a longer word", to="/account")
        self.assertEqual(other.heading, "Your Account")

    def test_edited_assigned_archived_and_restored(self):
        other = self.another_browser()
        other.sign_in("ben")
        self.sign_in(to="/people")
        self.check_page()
        self.press("Ben Okoro")
        self.check_page()
        self.shot("person")
        self.fill("First name", HOSTILE)
        self.field("Administrator").click()
        self.press("Save")
        self.assertEqual(self.heading, f"{HOSTILE} Okoro")
        self.assertTrue(self.value("Administrator"))
        self.field("[BOAT] Boats").click()
        self.field("[WEB] Website").click()
        self.press("Save Projects")
        self.assertEqual([self.value(name) for name in
                          ("[BOAT] Boats", "[WEB] Website", "Internal")], [True, False, False])

        self.press("Archive")
        self.assertEqual(self.texts("[role=status]"), ["Archived. They can no longer sign in; their hours are kept."])
        self.check_page()
        other.open("/account")
        self.assertEqual(other.heading, "Sign In")
        other.sign_in("ben", password="secret")
        self.assertEqual(other.texts("[role=alert]"), ["Email and password do not match."])
        self.open("/people")
        self.assertEqual(self.texts("section.members tbody th a"), ["Ann Lee"])
        self.toggle("Archived (1)")
        self.check_page()
        self.shot("people")
        self.press(f"{HOSTILE} Okoro")
        self.press("Restore")
        other.open("/account")
        self.assertEqual(other.heading, "Sign In")  # what was open before stays ended
        other.sign_in("ben", to="/people")
        self.assertEqual(other.heading, "People")
        # The same page refuses what would leave nobody in charge.
        self.host.data("UPDATE people SET admin = 0 WHERE id = 2")
        self.open("/people/1")
        self.assertNotIn("Archive", self.texts("button"))
        self.fill("Administrator", False)
        self.press("Save")
        self.assertIn("Make someone else an administrator first.", self.texts(".error")[0])
        self.check_page()
        # Who gives up the right to see this page goes on where it is not needed.
        self.host.data("UPDATE people SET admin = 1 WHERE id = 2")
        self.press("Save")
        self.assertEqual(self.heading, "Your Account")


class Account(pages.PageTest):

    def test_own_name_and_address(self):
        self.sign_in("ben", to="/account")
        self.check_page()
        self.assertNotIn("Save Account", self.texts("button"))
        self.fill("First name", HOSTILE)
        self.fill("Email", "ann@example.com")
        self.press("Save", within="form[action='/account']")
        self.assertEqual(self.texts(".error"), ["This address already belongs to Ann Lee."])
        self.fill("Email", "benjamin@example.com")
        self.press("Save", within="form[action='/account']")
        self.assertEqual(self.find(".who > a").text, f"{HOSTILE} Okoro")
        self.press("Sign Out")
        self.sign_in("benjamin")
        # One cannot make oneself an administrator.
        form = {"token": self.token(), "first-name": "Ben", "email": "ben@example.com", "admin": "1"}
        self.assertEqual(self.request("POST", "/account", form)[0], 303)
        self.assertEqual(self.request("GET", "/people")[0], 403)
        self.assertEqual(self.request("POST", "/account/settings", form)[0], 403)

    def test_own_password(self):
        other = self.another_browser()
        other.sign_in("ben")
        self.sign_in("ben", to="/account")

        def change(present, new, again):
            self.fill("Current password", present)
            self.fill("New password", new)
            self.fill("Repeat new password", again)
            self.press("Change Password")
            return self.texts(".error, [role=status]")

        self.assertEqual(change("wrong", "correct horse", "correct horse"), ["This is not your current password."])
        self.check_page()
        self.assertEqual(change("secret", "correct horse", "correct  horse"), ["The two new passwords do not match."])
        self.assertEqual(change("secret", "correctho", "correctho"),
                         ["Use at least 10 characters. Several words in a row are easy to remember."])
        other.open("/account")
        self.assertEqual(other.heading, "Your Account")
        self.assertEqual(change("secret", "ürgé correct horse", "ürgé correct horse"), ["Your password has been changed."])
        self.open("/account")
        self.assertEqual(self.heading, "Your Account")
        other.open("/account")
        self.assertEqual(other.heading, "Sign In")
        other.sign_in("ben", password="ürgé correct horse", to="/account")
        other.press("Sign Out Everywhere")
        self.open("/account")
        self.assertEqual(self.heading, "Sign In")

    def test_first_password_of_who_was_signed_in_by_the_program(self):
        self.sign_in(to="/account")
        self.host.data("UPDATE people SET password_hash = '' WHERE email = 'ann@example.com'")
        self.open("/account")
        self.check_page()
        self.shot("account-without-password")
        self.fill("New password", "correct horse")
        self.fill("Repeat new password", "correct horse")
        self.press("Set Password")
        self.assertIn("Current password", self.texts("label"))
        self.press("Sign Out")
        self.sign_in(password="correct horse", to="/account")
        self.assertEqual(self.heading, "Your Account")

    def test_of_everybody(self):
        self.sign_in(to="/account")
        self.check_page()
        self.shot("account")
        self.fill("Name", HOSTILE)
        self.field("Start and end times").click()
        versions = "SELECT cache_version FROM accounts WHERE id = 1"
        before = self.host.data(versions)
        self.press("Save Account")
        self.assertGreater(self.host.data(versions), before)  # or programs would not ask for it
        self.assertEqual(self.value("Name"), HOSTILE)
        self.assertTrue(self.value("Start and end times"))
        self.assertEqual(self.host.data("SELECT timestamp_timers FROM accounts"), [(1,), (1,), (0,)])


if __name__ == "__main__":
    pages.main()
