"""Finds every page and every form of the site by following its links, so that new ones are tested from their first day.
"""

import dataclasses
import html.parser
import re
import urllib.parse

PLAIN = {"email": "plain@example.com", "number": "1", "date": "2024-03-05", "time": "09:00", "password": "plain secret",
         "week": "2024-W10", "month": "2024-03", "checkbox": "1", "radio": "1"}
TEXTUAL = ("text", "search", "textarea", "email", "tel", "url", "password")


@dataclasses.dataclass
class Field:
    name: str
    kind: str
    value: str = ""
    choices: list = dataclasses.field(default_factory=list)
    required: bool = False

    @property
    def textual(self):
        return self.kind in TEXTUAL


@dataclasses.dataclass
class Form:
    page: str
    action: str
    method: str
    fields: list
    buttons: list

    @property
    def kind(self):
        """The same for all forms that differ in their records only."""
        names = tuple(sorted({field.name for field in self.fields} | {name for name, _ in self.buttons}))
        return self.method, pattern(self.action), names

    def values(self, button=None):
        """What a browser would send, with something plausible in what must not be empty."""
        sent = []
        for field in self.fields:
            if field.value or field.kind == "hidden":
                sent.append((field.name, field.value))
            elif field.kind == "select":
                sent.append((field.name, next((choice for choice in field.choices if choice), "")))
            elif field.kind not in ("checkbox", "radio"):
                sent.append((field.name, PLAIN.get(field.kind, "Plain") if field.required else ""))
        return sent + ([button] if button and button[0] else [])

    def sendings(self):
        """What each of its buttons would send."""
        return [self.values(button) for button in self.buttons or [None]]


def pattern(target):
    """The address with its numbers and queries left out: "/projects/#/edit"."""
    return re.sub(r"(?<=/)\d+(?=/|$)", "#", target.partition("?")[0])


class Page(html.parser.HTMLParser):
    """Links and forms of a page."""

    def __init__(self, address, text):
        super().__init__()
        self.address = address
        self.links = []
        self.forms = []
        self.marks = []
        self._form = self._select = self._area = None
        self.feed(text)

    def there(self, link):
        return urllib.parse.urldefrag(urllib.parse.urljoin(self.address, link or self.address))[0]

    def handle_starttag(self, tag, attrs):
        values = {name: value or "" for name, value in attrs}
        self.marks.append((tag, values))
        if "href" in values and tag == "a":
            self.links.append(self.there(values["href"]))
        elif tag == "form":
            method = values.get("method", "get").lower()
            self._form = Form(self.address, self.there(values.get("action")), method, [], [])
            self.forms.append(self._form)
        elif self._form is None:
            pass
        elif tag == "button" or (tag == "input" and values.get("type") == "submit"):
            self._form.buttons.append((values.get("name", ""), values.get("value", "")))
            if "formaction" in values:
                self.forms.append(dataclasses.replace(self._form, action=self.there(values["formaction"])))
        elif tag == "input":
            kind = values.get("type", "text")
            value = values.get("value", "on" if kind in ("checkbox", "radio") else "")
            off = kind in ("checkbox", "radio") and "checked" not in values
            self.add(Field(values.get("name", ""), kind, "" if off else value, [value], "required" in values))
        elif tag == "textarea":
            self._area = self.add(Field(values.get("name", ""), "textarea", required="required" in values))
        elif tag == "select":
            self._select = self.add(Field(values.get("name", ""), "select"))
        elif tag == "option" and self._select:
            self._select.choices.append(values.get("value", ""))
            if "selected" in values:
                self._select.value = values.get("value", "")

    def add(self, field):
        if field.name:
            self._form.fields.append(field)
        return field

    def handle_data(self, data):
        if self._area:
            self._area.value += data

    def handle_endtag(self, tag):
        if tag == "form":
            self._form = None
        elif tag == "select":
            self._select = None
        elif tag == "textarea":
            self._area = None


class Site:
    """All that somebody who is signed in comes to. `get` takes an address and answers status, headers and text."""

    def __init__(self, get, instances=3):
        self.pages = {}  # address and status
        self.html = []  # of them, those for people's eyes
        self.forms = {}
        seen = {}
        waiting = ["/daily"]
        while waiting:
            address = waiting.pop(0)
            kind = (pattern(address), tuple(sorted(urllib.parse.parse_qs(urllib.parse.urlsplit(address).query))))
            if address in self.pages or seen.get(kind, 0) >= instances or not address.startswith("/"):
                continue
            seen[kind] = seen.get(kind, 0) + 1
            status, headers, text = get(address)
            self.pages[address] = status
            if status in (302, 303):
                waiting.append(headers["location"])
            if not headers.get("content-type", "").startswith("text/html"):
                continue
            self.html += [address] if status == 200 else []
            page = Page(address, text)
            for form in page.forms:
                self.forms.setdefault((form.kind, form.action), form)
            waiting += page.links

    def posts(self):
        """One form of each kind that changes something."""
        kinds = {}
        for form in self.forms.values():
            if form.method == "post":
                kinds.setdefault(form.kind, form)
        # Signing out ends what the others need.
        return sorted(kinds.values(), key=lambda form: "sign-out" in form.action)


def of(browser):
    """The site as it is for whoever is signed in there."""
    cookies = browser.cookies()
    return Site(lambda target: browser.request("GET", target, cookies=cookies))


def records(host, account):
    """The number of the first record of each kind in the account, by its part of the site."""
    number = host.data("SELECT id FROM accounts WHERE subdomain = ?", account)[0][0]
    found = {table: host.data(f"SELECT min(id) FROM {table} WHERE account_id = ?", number)[0][0]
             for table in ("people", "clients", "projects", "tasks")}
    found["entries"] = host.data("SELECT min(id) FROM entries WHERE person_id = ?", found["people"])[0][0]
    return found


def fill(host):
    """Records of every kind and state, so that every form is there; in another account as well."""
    for account in ("acme", "other"):
        host.book(3600, notes="Sketches", account=account)
        host.book(3600, notes="Running", timer_started=1709620000, account=account)
        host.book(3600, "2024-03-04", notes="Done", locked_reason="It was billed.", account=account)
        host.book(3600, notes="Ben's", person="ben", account=account)
        for columns in ("clients (account_id, name, active) SELECT id, 'Old Client', 0",
                        "tasks (account_id, name, rate, active) SELECT id, 'Old Task', 0, 0",
                        "people (account_id, email, first_name, last_name, admin, rate, password_hash, active)"
                        " SELECT id, 'old@example.com', 'Old', 'Person', 0, 0, '', 0",
                        "projects (account_id, client_id, name, code, billable, bill_by, rate, active) SELECT id,"
                        " (SELECT min(id) FROM clients WHERE account_id = accounts.id), 'Old Project', '', 1, 'Tasks', 0, 0"):
            host.data(f"INSERT INTO {columns} FROM accounts WHERE subdomain = ?", account)
        # A sample, which can be removed with all the others.
        host.data("INSERT INTO clients (account_id, name, active) SELECT id, 'My Own Work', 1 FROM accounts"
                  " WHERE subdomain = ?", account)
        host.data("INSERT INTO projects (account_id, client_id, name, code, billable, bill_by, rate, active)"
                  " SELECT account_id, max(id), 'Bookkeeping', '', 0, 'Tasks', 0, 1 FROM clients WHERE account_id ="
                  " (SELECT id FROM accounts WHERE subdomain = ?)", account)
