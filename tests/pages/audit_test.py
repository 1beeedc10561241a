"""Every page, and what each form says to wrong input, is well made: for people who do not see well, use no mouse, or have a
small screen."""

import crawl
import pages


class Audit(pages.PageTest):

    def look(self, name):
        with self.subTest(page=name):
            self.check_page()
            self.shot(name)

    def look_at_all(self, person):
        crawl.fill(self.host)
        self.sign_in(person)
        for kind, page in {crawl.pattern(page): page for page in reversed(crawl.of(self).html)}.items():
            name = "-".join([person, *kind.strip("/").replace("#", "one").split("/")])
            self.open(page)
            self.look(name)
            # What is typed wrong is said beside its field.
            for number in range(len(self.driver.find_elements("css selector", "main form[method=post]"))):
                self.open(page)
                if not self.ask("""
                        const form = document.querySelectorAll("main form[method=post]")[arguments[0]];
                        const fields = [...form.querySelectorAll("input:not([type=hidden]), textarea, select")];
                        fields.forEach(field => { field.value = ""; if (field.type === "file") field.remove(); });
                        return form.noValidate = fields.length > 0;""", number):
                    continue
                self.going(lambda: self.ask(
                    "document.querySelectorAll('main form[method=post]')[arguments[0]].requestSubmit();", number))
                self.look(f"{name}-wrong-{number}")

    def test_for_administrators(self):
        self.look_at_all("ann")

    def test_for_others(self):
        self.look_at_all("ben")

    def test_before_anything_is_there(self):
        for table in ("entries", "user_assignments", "task_assignments", "projects", "tasks", "clients"):
            self.host.data(f"DELETE FROM {table}")
        self.sign_in()
        for page in ("daily", "projects", "tasks", "people", "reports", "data", "projects/new"):
            self.open("/" + page)
            self.look("empty-" + page.replace("/", "-"))


if __name__ == "__main__":
    pages.main()
