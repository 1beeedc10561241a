"""Whatever people type is shown as text, and runs nothing, on whatever pages and forms there are."""

import urllib.parse

import crawl
import pages

# Whatever gets through leaves a mark: a name of the window, or an element nobody else uses.
MARK = "window.name='hit'"
HOSTILE = [
    f"<script>{MARK}</script><x-hit>\"'><img src=x onerror=\"{MARK}\"></textarea></title></select></svg><x-hit a='",
    f"javascript:{MARK}",
    "=HYPERLINK(\"http://x\") &lt;x-hit&gt;&amp;&#60; \u202eright to left\u202c שלום \U0001f469\u200d\U0001f4bb e\u0301",
    "a\x01\x08\x0b\x1b[31m\x7f\u2028b\r\nSet-Cookie: hit=1\r\n\r\nlines",
    "W" * 10000,
]


class Texts(pages.PageTest):

    def setUp(self):
        super().setUp()
        crawl.fill(self.host)
        self.sign_in()
        self.carried = self.cookies()

    def send(self, *words):
        return self.request(*words, cookies=self.carried)

    def harmless(self, target):
        """What is there, which has nothing of ours in it."""
        status, headers, text = self.send("GET", target)
        self.assertLess(status, 500, target)
        self.assertNotIn("hit=1", headers.get("set-cookie", ""))
        if headers.get("content-type", "").startswith("text/html"):
            self.assertFalse([mark for mark in crawl.Page(target, text).marks if mark[0] in ("x-hit", "script") or
                              any(name.startswith("on") for name in mark[1])], target)
        return status, headers, text

    def crawl(self):
        return crawl.Site(self.harmless)

    def test_texts_are_shown_as_texts(self):
        site = self.crawl()
        forms = [form for form in site.posts() if form.action != "/sign-out"]
        self.assertTrue(any(field.textual for form in forms for field in form.fields))
        for place, text in enumerate(HOSTILE):
            for form in forms:
                plain = form.values((form.buttons or [None])[0])
                for number, name in enumerate(field.name for field in form.fields if field.textual):
                    # The others are different each time, so that nothing is refused for being there already.
                    sent = [(key, text if key == name else value.replace("lain", f"lain-{place}-{number}"))
                            for key, value in plain]
                    status, headers, _ = self.send("POST", form.action, sent)
                    self.assertLess(status, 500, (form.kind, name, text[:40]))
                    self.assertNotEqual(status, 403, (form.kind, name, text[:40]))
                    self.assertNotIn("hit=1", headers.get("set-cookie", ""))
            self.crawl()
        for form in forms:  # bytes that are no text at all
            for name in [field.name for field in form.fields if field.textual]:
                fields = urllib.parse.urlencode([field for field in form.values() if field[0] != name])
                status, _, _ = self.send("POST", form.action, f"{fields}&{name}=%FF%C3%28%00%ED%A0%80", {
                    "Content-Type": "application/x-www-form-urlencoded", "Origin": self.host.url()})
                self.assertLess(status, 500, (form.kind, name))
        self.assert_harmless(self.crawl())

    def test_addresses_are_shown_as_texts(self):
        site = self.crawl()
        names = {name for page in site.pages for name in urllib.parse.parse_qs(urllib.parse.urlsplit(page).query)}
        names |= {field.name for form in site.forms.values() if form.method == "get" for field in form.fields}
        for target in {crawl.pattern(page): page.partition("?")[0] for page in site.pages}.values():
            for text in [*HOSTILE[:4], "-1", "99999999999999999999", "9999-99-99"]:
                query = urllib.parse.urlencode({name: text for name in sorted(names | {"note", "to"})})
                self.harmless(f"{target}?{query}")

    def assert_harmless(self, site):
        shown = ""
        for target in site.html:
            self.open(target)
            found = self.driver.execute_script("""
                return [window.name, document.querySelectorAll("x-hit, img[src=x], main script").length,
                    [...document.querySelectorAll("*")].flatMap(e => [...e.attributes]).filter(a =>
                        a.name.startsWith("on") || ["href", "action", "formaction", "src"].includes(a.name) &&
                        /^\\s*(javascript|data):/i.test(a.value)).length,
                    document.body.textContent + [...document.querySelectorAll("[value], textarea")].map(e => e.value)]""")
            self.assertEqual(found[:3], ["", 0, 0], target)
            self.assertFalse([line for line in self.console() if "[DOM]" not in line], target)
            shown += found[3]
        kept = "\n".join(self.host.everything()).replace("''", "'")
        for text in HOSTILE[:3]:
            self.assertIn(text, kept)
            self.assertIn(text, shown)


if __name__ == "__main__":
    pages.main()
