"""Sessions that end while somebody works, and two browsers at once."""

import socket

import crawl
import pages

TODAY = "/daily/65/2024"


class Sessions(pages.PageTest):

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
        for page in site.html[::5]:
            self.driver.delete_all_cookies()
            self.open(page)
            self.fill("Email", "ann@example.com")
            self.fill("Password", "secret")
            self.press("Sign In")
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
            self.fill("Email", "ann@example.com")
            self.fill("Password", password)
            self.press("Sign In")
        self.assertIn("Three sketches", self.words)
        self.check_page()
        self.shot("not-saved-yet")
        self.assertEqual(self.host.everything(), before)
        self.press("Send Again")
        self.assertEqual(self.host.data("SELECT notes FROM entries"), [("Three sketches,\nand <a> letter",)])

    def test_what_was_typed_is_not_sent_by_somebody_else(self):
        """A kept form waits for whoever signs in to look at it; it never goes by itself."""
        self.sign_in(to=TODAY)
        self.fill("Project and task", "[WEB] Website · Design")
        self.fill("Notes", "Ann's")
        self.host.pass_time(hours=12, seconds=1)
        self.press("Add Entry")
        self.fill("Email", "ben@example.com")
        self.fill("Password", "secret")
        self.press("Sign In")
        self.assertEqual(self.host.data("SELECT count(*) FROM entries"), [(0,)])

    def test_a_timer_is_started_in_two_browsers_at_once(self):
        crawl.fill(self.host)
        there = self.another_browser()
        for browser in (self, there):
            browser.sign_in(to=TODAY)
        timers = "tr .start"  # the same button in both windows, pressed there when the page is no longer true
        self.going(self.driver.find_elements("css selector", timers)[0].click)
        there.going(there.driver.find_elements("css selector", timers)[0].click)
        running = self.host.data("SELECT id FROM entries WHERE timer_started IS NOT NULL AND person_id = 1")
        self.assertEqual(running, [(11,)])

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
