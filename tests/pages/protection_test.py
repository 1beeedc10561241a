"""What strangers' pages and curious colleagues cannot do, on whatever pages and forms there are."""

import re

import crawl
import pages


class Protection(pages.PageTest):

    def setUp(self):
        super().setUp()
        crawl.fill(self.host)
        self.ann = self.signed_in("ann")
        self.ben = self.signed_in("ben")

    def signed_in(self, person):
        """The cookies of that person."""
        link = self.host.link(person=person).partition(str(self.host.port))[2]
        return self.request("GET", link, cookies="")[1]["set-cookie"].partition(";")[0]

    def get(self, target, cookies=None):
        return self.request("GET", target, cookies=cookies or self.ann)

    def post(self, target, fields, headers=None, cookies=None):
        return self.request("POST", target, fields, headers, cookies=cookies or self.ann)

    def crawl(self, cookies=None):
        return crawl.Site(lambda target: self.get(target, cookies))

    def token_of(self, cookies):
        return re.search(r'name="token" value="([^"]+)"', self.get("/daily", cookies)[2]).group(1)

    # Strangers' pages

    def test_forms_are_taken_from_pages_of_the_session_only(self):
        foreign = self.token_of(self.ben)
        for form in self.crawl().posts():
            sent = form.values((form.buttons or [None])[0])
            self.assertTrue(dict(sent).get("token"), form)
            bare = [field for field in sent if field[0] != "token"]
            attempts = {"another site": (sent, {"Origin": "http://evil.localhost"}), "no origin": (sent, {"Origin": ""})}
            if form.action != "/sign-out":  # the button of a page from an earlier session shall work
                attempts |= {
                    "no token": (bare, {}), "another's token": ([*bare, ("token", foreign)], {}),
                    "two tokens": ([("token", foreign), *sent], {}), "empty token": ([*bare, ("token", "")], {}),
                }
            before = self.host.everything()
            for name, (fields, headers) in attempts.items():
                with self.subTest(form=form.kind, attempt=name):
                    self.assertEqual(self.post(form.action, fields, headers)[0], 403)
            self.get(form.action)  # nor is anything done by looking
            self.assertEqual(self.host.everything(), before, form)
            self.assertNotEqual(self.get("/daily")[0], 303, "signed out")
            if "sign-out" not in form.action:
                self.assertNotEqual(self.post(form.action, sent)[0], 403, "the refusals had another reason")

    # Curious colleagues

    def test_others_reach_nothing_of_administrators(self):
        admin = self.crawl()
        self.assertEqual(set(admin.pages.values()), {200})
        own = self.crawl(self.ben)
        reachable = {crawl.pattern(page) for page in own.pages}
        kinds = {form.kind[:2] for form in own.forms.values()}
        closed = [page for page in admin.pages if crawl.pattern(page) not in reachable]
        for page in closed + [page for page in admin.pages if page.startswith("/entries/")]:
            with self.subTest(page=page):
                self.assertIn(self.get(page, self.ben)[0], (403, 404))
        token = self.token_of(self.ben)
        before = self.host.everything()
        for form in admin.posts():
            if form.kind[:2] in kinds:
                continue
            for sent in form.sendings():
                with self.subTest(form=form.kind):
                    sent = [(name, token if name == "token" else value) for name, value in sent]
                    self.assertIn(self.post(form.action, sent, cookies=self.ben)[0], (403, 404))
        self.assertEqual(self.host.everything(), before)
        self.assertTrue(any(form.kind[:2] not in kinds for form in admin.posts()))

    def test_records_of_another_account_do_not_exist(self):
        site = self.crawl()
        foreign = crawl.records(self.host, "other")
        before = self.rows_of("other")

        def elsewhere(address):
            return re.sub(r"^/(\w+)/\d+", lambda found: f"/{found[1]}/{foreign.get(found[1], 999)}", address)
        for page in {crawl.pattern(page): page for page in site.pages if not page.startswith("/daily/")}.values():
            if elsewhere(page) != page:
                with self.subTest(page=page):
                    self.assertEqual(self.get(elsewhere(page))[0], 404)
        for form in site.posts():
            for sent in form.sendings():
                if elsewhere(form.action) != form.action:
                    with self.subTest(form=form.kind):
                        self.assertEqual(self.post(elsewhere(form.action), sent)[0], 404)
                # Whatever names records, such as 12 or 12-7, is asked for another account's.
                numbered = {name for name, value in sent if re.fullmatch(r"\d+(-\d+)?", value)}
                for name in numbered:
                    for number in ("{projects}", "{clients}", "{tasks}", "{people}", "{entries}", "{projects}-{tasks}"):
                        fields = [(key, number.format(**foreign) if key == name else value) for key, value in sent]
                        self.assertLess(self.post(form.action, fields)[0], 500, (form.kind, name))
        self.assertEqual(self.rows_of("other"), before)
        self.assertEqual(self.host.data("""
            SELECT 'entry', e.id FROM entries e JOIN people p ON p.id = e.person_id JOIN projects j ON j.id = e.project_id
                JOIN tasks t ON t.id = e.task_id WHERE p.account_id != j.account_id OR p.account_id != t.account_id
            UNION SELECT 'project', j.id FROM projects j JOIN clients c ON c.id = j.client_id
                WHERE j.account_id != c.account_id
            UNION SELECT 'task', a.id FROM task_assignments a JOIN projects j ON j.id = a.project_id
                JOIN tasks t ON t.id = a.task_id WHERE j.account_id != t.account_id OR a.account_id != j.account_id
            UNION SELECT 'person', a.id FROM user_assignments a JOIN projects j ON j.id = a.project_id
                JOIN people p ON p.id = a.person_id WHERE j.account_id != p.account_id OR a.account_id != j.account_id
            """), [], "records of two accounts are tied together")

    def rows_of(self, account):
        own = "SELECT id FROM accounts WHERE subdomain = ?"
        entries = f"SELECT * FROM entries WHERE person_id IN (SELECT id FROM people WHERE account_id = ({own}))"
        return [self.host.data(entries, account)] + [
            self.host.data(f"SELECT * FROM {table} WHERE account_id = ({own})", account)
            for table in ("people", "clients", "projects", "tasks", "task_assignments", "user_assignments")]


if __name__ == "__main__":
    pages.main()
