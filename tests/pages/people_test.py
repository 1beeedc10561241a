"""People, what they may do, and what they say of themselves."""

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


class Account(pages.PageTest):

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


if __name__ == "__main__":
    pages.main()
