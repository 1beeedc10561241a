"""Signing in and out, and sessions that end while somebody works."""

import socket

import crawl
import pages

TODAY = "/daily/65/2024"


class Sessions(pages.PageTest):

    def test_leads_where_the_person_wanted(self):
        self.open("/projects")
        self.assertEqual(self.heading, "Sign In")
        self.check_page()
        self.shot("sign-in")
        self.sign_in_here(password="wrong")
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

    def test_an_ended_session_leads_to_sign_in_and_back(self):
        crawl.fill(self.host)
        self.sign_in()
        site = crawl.of(self)
        self.host.pass_time(hours=12, seconds=1)
        before = self.host.everything()
        for page in site.pages:
            with self.subTest(page=page):
                status, headers, _ = self.request("GET", page)
                self.assertEqual((status, headers["location"].partition("?")[0]), (303, "/sign-in"))
        for form in site.posts():
            for sent in form.sendings():
                with self.subTest(form=form.kind):
                    status, headers, text = self.request("POST", form.action, sent)
                    self.assertIn("Sign In", text or headers["location"].replace("/sign-in", "Sign In"))
                    self.assertNotIn("set-cookie", headers)
        self.assertEqual(self.host.everything(), before)
        for page in site.html[::9]:
            self.driver.delete_all_cookies()
            self.open(page)
            self.sign_in_here()
            self.assertEqual(self.path, page)

    def test_what_was_typed_outlives_the_session(self):
        self.sign_in(to=TODAY)
        self.fill("Project and task", "[WEB] Website · Design")
        self.fill("Notes", "Three sketches,\nand <a> letter")
        self.host.pass_time(hours=12, seconds=1)
        before = self.host.everything()
        self.press("Add Entry")
        self.assertEqual(self.heading, "Sign In")
        self.check_page()
        self.shot("sign-in-kept")
        # A slip of the finger loses nothing either.
        for password in ("wrong", "secret"):
            self.sign_in_here(password=password)
        self.assertIn("Three sketches", self.words)
        self.check_page()
        self.shot("not-saved-yet")
        self.assertEqual(self.host.everything(), before)
        self.press("Send Again")
        self.assertEqual(self.host.data("SELECT notes FROM entries"), [("Three sketches,\nand <a> letter",)])

    def test_only_who_can_be_told_is_signed_in(self):
        self.sign_in(to=TODAY)
        stolen = self.cookies()

        def ask(ending, text):
            # A socket for both versions of IP, as browsers may have it.
            with socket.create_connection(("::ffff:127.0.0.1", int(self.host.port)), pages.LONGEST) as client:
                # Held back until there is more to go with it: the end.
                client.setsockopt(socket.IPPROTO_TCP, socket.TCP_CORK, int(ending))
                client.sendall(text.replace("\n", "\r\n").encode())
                if ending:
                    client.shutdown(socket.SHUT_WR)
                return client.recv(12).decode()

        host = f"Host: acme.localhost:{self.host.port}\n"
        page = f"GET {TODAY} HTTP/1.1\n{host}Accept: text/html\nCookie: {stolen}\n\n"
        form = "email=ann@example.com&password=secret"
        sign_in = (f"POST /sign-in HTTP/1.1\n{host}Origin: {self.host.url()}\nContent-Length: {len(form)}\n"
                   f"Content-Type: application/x-www-form-urlencoded\n\n{form}")
        self.assertEqual([ask(False, page), ask(False, sign_in)], ["HTTP/1.1 200", "HTTP/1.1 303"])
        self.assertEqual([ask(True, page), ask(True, sign_in)], ["HTTP/1.1 303", "HTTP/1.1 403"])


if __name__ == "__main__":
    pages.main()
