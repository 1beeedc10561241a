"""Signing in and out, and how long that holds."""

import pages


class SignIn(pages.PageTest):

    def test_leads_where_the_person_wanted(self):
        self.open("/projects")
        self.assertEqual(self.heading, "Sign In")
        self.check_page()
        self.shot("sign-in")
        self.fill("Email", "ann@example.com")
        self.fill("Password", "wrong")
        self.press("Sign In")
        self.assertEqual(self.texts("[role=alert]"), ["Email and password do not match."])
        self.check_page()
        self.fill("Password", "secret")
        self.press("Sign In")
        self.assertEqual(self.path, "/projects")
        self.press("Sign Out")
        self.assertEqual(self.heading, "Sign In")
        self.open("/projects")
        self.assertEqual(self.heading, "Sign In")

    def test_leads_to_this_site_only(self):
        for target in ("javascript:alert(1)", "https:evil.example", "//evil.example/", "/%5Cevil.example",
                       "/%09/evil.example", "/%0A/evil.example", "/%0D%0ASet-Cookie:hit=1", "/daily%00"):
            form = f"email=ann@example.com&password=secret&to={target}"
            status, headers, _ = self.request("POST", "/sign-in", form, {
                "Content-Type": "application/x-www-form-urlencoded", "Origin": self.host.url()})
            self.assertEqual((status, headers["location"]), (303, "/daily"), target)
            self.assertIn("; HttpOnly; SameSite=", headers["set-cookie"])
            self.assertNotIn("hit=1", headers["set-cookie"])


if __name__ == "__main__":
    pages.main()
