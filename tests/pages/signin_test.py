"""Signing in and out, and how long that holds."""

import pages


class SignIn(pages.PageTest):

    def test_leads_where_the_person_wanted(self):
        self.open("/projects")
        self.assertEqual(self.heading, "Sign In")
        self.check_page()
        self.shot("sign-in")
        self.fill("E-mail", "ann@example.com")
        self.fill("Password", "wrong")
        self.press("Sign In")
        self.assertEqual(self.texts("[role=alert]"), ["E-mail and password do not fit together."])
        self.check_page()
        self.fill("Password", "secret")
        self.press("Sign In")
        self.assertEqual(self.path, "/projects")
        self.press("Sign Out")
        self.assertEqual(self.heading, "Sign In")
        self.open("/projects")
        self.assertEqual(self.heading, "Sign In")

    def test_holds_twelve_hours_without_use_and_over_a_restart(self):
        self.sign_in()
        self.host.pass_time(hours=11)
        self.host.restart()
        self.open("/daily")
        self.assertNotEqual(self.heading, "Sign In")
        self.host.pass_time(hours=12, seconds=1)
        self.open("/account")
        self.assertEqual(self.heading, "Sign In")


if __name__ == "__main__":
    pages.main()
