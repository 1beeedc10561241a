"""Uses the built-in service's pages as a person does, in a real browser.

For the distribution's python3 with python3-selenium and chromium-driver. A file of tests ends with `pages.main()` and
is given the path of pages_host. With PAGES_SHOTS set to a folder, `shot` leaves pictures there.
"""

import base64
import contextlib
import http.client
import json
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

from selenium import webdriver
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import Select, WebDriverWait

LONGEST = 30  # seconds; nothing waits longer than it must
OPTIONS = """--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking
    --disable-component-update --disable-sync --disable-dev-shm-usage --no-proxy-server --hide-scrollbars
    --window-size=1000,800""".split()
AUDIT = (pathlib.Path(__file__).parent / "audit.js").read_text()
WIDE, NARROW = 1000, 360  # in points
HELP = """
    const tidy = text => text.replace(/\\s+/g, " ").trim();
    const nameOf = e => tidy(e.innerText || e.getAttribute("aria-label") || e.value || "");
    const shown = e => e.checkVisibility({visibilityProperty: true});
    const within = (root, css) => {
        const from = typeof root === "string" ? document.querySelector(root) : root || document;
        return [...from.querySelectorAll(css)].filter(shown);
    };
"""


class Host:
    """pages_host, with its data file. The accounts "acme" (durations), "clock" (start and end times) and "other" have
    the same content each: Ann Lee, who administers, and Ben Okoro, both with the password "secret"; the clients
    "Bread <& Sons>" with the projects Website (Design billable, Support) and Internal (Support), and Harbour with
    Boats (Design, billable); Ann works on all, Ben on Website only. It is Tuesday, 5 March 2024, 9:15:40."""

    def __init__(self, program, folder):
        self.process = subprocess.Popen([program, folder], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.port = 0

    def tell(self, *words):
        self.process.stdin.write(" ".join(map(str, words)) + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline().strip()
        assert answer and answer != "unknown", f"{words}: {answer!r}"
        return answer

    def fresh(self):
        self.port = int(self.tell("fresh"))
        self.file = self.tell("file")

    def pass_time(self, seconds=0, minutes=0, hours=0):
        self.tell("pass", seconds + 60 * minutes + 3600 * hours)

    def link(self, target="/daily", person="ann", account="acme"):
        return self.tell("link", target, person, account)

    def url(self, target="", account="acme"):
        return f"http://{account}.localhost:{self.port}{target}"

    def data(self, statement, *values):
        """Asks or changes the data file beside the service."""
        with contextlib.closing(sqlite3.connect(self.file, timeout=LONGEST)) as database, database:
            return database.execute(statement, values).fetchall()

    def book(self, seconds, day="2024-03-05", project="Website", task="Design", person="ann", account="acme", **columns):
        """An entry, past all forms; answers its number."""
        values = {"seconds": seconds, "spent_at": day, "notes": "", "created_at": 1, "updated_at": 1, **columns}
        self.data(f"""
            INSERT INTO entries (person_id, project_id, task_id, {", ".join(values)})
            SELECT u.id, p.id, t.id, {", ".join("?" * len(values))} FROM people u JOIN accounts a ON a.id = u.account_id
            JOIN projects p ON p.account_id = a.id JOIN tasks t ON t.account_id = a.id
            WHERE a.subdomain = ? AND p.name = ? AND t.name = ? AND u.email LIKE ?""",
                  *values.values(), account, project, task, person + "%")
        return self.data("SELECT MAX(id) FROM entries")[0][0]

    def everything(self):
        """All that the data file says, without when sessions were used: for "nothing was changed"."""
        with contextlib.closing(sqlite3.connect(self.file, timeout=LONGEST)) as database:
            return [line for line in database.iterdump() if '"sessions"' not in line]

    def end(self):
        self.process.stdin.close()
        status = self.process.wait(LONGEST)
        assert status == 0, f"pages_host ended with {status}"


def start_browser(folder):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for option in [*OPTIONS, f"--user-data-dir={folder}/profile"]:
        options.add_argument(option)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    environment = {**os.environ, "HOME": folder, "XDG_CONFIG_HOME": folder, "XDG_CACHE_HOME": folder}
    service = Service("/usr/bin/chromedriver", env=environment)
    return webdriver.Chrome(service=service, options=options)


class Pages:
    """One browser at the service: a window, and a domain for cookies of its own."""

    domain = "localhost"

    def __init__(self, chromium, host, window, domain):
        self.chromium = chromium
        self.host = host
        self.window = window
        self.domain = domain

    @property
    def driver(self):
        if self.chromium.window != self.window:
            self.chromium.window = self.window
            self.chromium.switch_to.window(self.window)
        return self.chromium

    def forget(self):
        """A browser as on its first day."""
        self.driver.execute_cdp_cmd("Network.clearBrowserCookies", {})
        self.driver.get_log("browser")

    def until(self, what, condition):
        return WebDriverWait(self.driver, LONGEST, 0.03, [WebDriverException]).until(lambda _: condition(), what)

    # Where

    def open(self, target, account="acme"):
        """Opens a path, or a whole address."""
        address = target if "://" in target else self.host.url(target, account)
        self.driver.get(address.replace(".localhost", "." + self.domain, 1))

    @property
    def path(self):
        """Path and query of the page."""
        address = urllib.parse.urlsplit(self.driver.current_url)
        return address.path + (f"?{address.query}" if address.query else "")

    def sign_in(self, person="ann", account="acme", to="/daily", password=None):
        """With a password on the page that asks for it; without one by a link as from the program's menu, which costs
        neither the page nor a hash."""
        if password is None:
            self.open(self.host.link(to, person, account))
            return
        self.open(f"/sign-in?to={urllib.parse.quote(to, safe='')}", account)
        self.sign_in_here(person, password)

    def sign_in_here(self, person="ann", password="secret"):
        self.fill("Email", f"{person}@example.com")
        self.fill("Password", password)
        self.press("Sign In")

    # What is there. Each question is one script: the driver's own for text and visibility take a hundred times as long.

    def ask(self, script, *values):
        return self.driver.execute_script(HELP + script, *values)

    def find(self, css, text=None, within=None):
        """The one visible element that fits. `text` is its whole text."""
        found = self.ask("return within(arguments[2], arguments[0]).filter(e => arguments[1] === null ||"
                         " nameOf(e) === arguments[1]);", css, text, within)
        assert len(found) == 1, f"{len(found)} of {css} {text or ''}"
        return found[0]

    def texts(self, css):
        """The visible texts of all that fit, top to bottom."""
        return self.ask("return within(null, arguments[0]).map(e => tidy(e.innerText));", css)

    @property
    def heading(self):
        heading, = self.texts("h1")
        return heading

    @property
    def words(self):
        """The whole visible text."""
        return self.ask("return document.body.innerText;")

    def field(self, label, within=None):
        """The field with that label."""
        found = self.ask("""
            return within(arguments[1], "input:not([type=hidden]), select, textarea").filter(e =>
                [e.getAttribute("aria-label"), ...[...e.labels].map(l => {
                    const copy = l.cloneNode(true);
                    copy.querySelectorAll("input, select, textarea, .faint").forEach(inner => inner.remove());
                    return copy.textContent;
                })].some(text => text && tidy(text) === arguments[0]));""", label, within)
        assert len(found) == 1, f"{len(found)} fields labelled {label}"
        return found[0]

    def value(self, label):
        """What stands in the field with that label, or whether it is ticked."""
        return self.ask("const e = arguments[0]; return /checkbox|radio/.test(e.type) ? e.checked : e.value;",
                        self.field(label))

    # What people do

    def fill(self, label, value, within=None):
        """Puts the value into the field: a text, an option's text, or whether it is ticked."""
        element = self.field(label, within)
        kind, before = self.ask("const e = arguments[0]; return [e.type, e.checked ?? e.value];", element)
        if kind == "select-one":
            Select(element).select_by_visible_text(value)
        elif kind in ("checkbox", "radio"):
            if before != value:
                element.click()
        elif kind in ("date", "time") or len(value) > 200 or any(not " " <= char <= "\uffff" for char in value):
            # What the driver cannot type, or types by the browser's locale.
            self.ask("arguments[0].value = arguments[1];", element, value)
        else:
            self.ask("arguments[0].value = '';", element)
            element.send_keys(value)

    def press(self, name, within=None):
        """Presses the button, or follows the link, of that name, and waits for the page that comes."""
        self.going(self.control(name, within).click)

    def toggle(self, name, within=None):
        """Presses what opens and closes something on the same page."""
        self.control(name, within).click()

    def control(self, name, within=None):
        found = self.ask("""
            for (const css of ["button", "summary", "a[href]"]) {
                const found = within(arguments[1], css).filter(e =>
                    nameOf(e) === arguments[0] || e.getAttribute("aria-label") === arguments[0]);
                if (found.length) return found;
            }
            return [];""", name, within)
        assert len(found) == 1, f"{len(found)} to press named {name}"
        return found[0]

    def going(self, act):
        """Does what leads to another page, and waits until that is there."""
        origin = self.ask("return performance.timeOrigin;")
        act()
        self.until("another page", lambda: self.ask(
            "return document.readyState === 'complete' && performance.timeOrigin !== arguments[0];", origin))

    # Without the browser, with its cookies

    def cookies(self, account="acme"):
        """The header with which the browser would ask."""
        found = self.driver.execute_cdp_cmd("Network.getCookies", {
            "urls": [self.host.url("/", account).replace(".localhost", "." + self.domain, 1)]})
        return "; ".join(f"{cookie['name']}={cookie['value']}" for cookie in found["cookies"])

    def token(self):
        """That of the forms on the page."""
        return self.driver.find_element("name", "token").get_attribute("value")

    def request(self, method, target, body=None, headers=None, account="acme", cookies=None):
        """Status, headers (names in lower case) and body. A dict as body is sent as a form. `cookies` are the browser's
        unless given; asking it takes a while."""
        values = {"Host": f"{account}.localhost:{self.host.port}", "Accept": "text/html",
                  "Cookie": self.cookies(account) if cookies is None else cookies}
        if isinstance(body, (dict, list)):
            body = urllib.parse.urlencode(body, doseq=True)
            values |= {"Content-Type": "application/x-www-form-urlencoded", "Origin": self.host.url("", account)}
        connection = http.client.HTTPConnection("127.0.0.1", self.host.port, timeout=LONGEST)
        with contextlib.closing(connection):
            connection.request(method, target, body, values | (headers or {}))
            reply = connection.getresponse()
            # One header of each name; a second one would show as a list.
            return reply.status, {name.lower(): ", ".join(reply.headers.get_all(name)) for name in reply.headers}, \
                reply.read().decode()

    # Looking

    def width(self):
        return self.driver.execute_script("return innerWidth")

    @contextlib.contextmanager
    def seen(self, width=None, scale=1, dark=False):
        """The page as it is on such a screen."""
        command = self.driver.execute_cdp_cmd
        # Otherwise what comes next would see the page as it was.
        now_wide = lambda points: self.until(f"{points} points", lambda: self.width() == points)
        before = self.width()
        if width or scale != 1:
            command("Emulation.setDeviceMetricsOverride",
                    {"width": width or WIDE, "height": 800, "deviceScaleFactor": scale, "mobile": False})
            now_wide(width or WIDE)
        if dark:
            command("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": "dark"}]})
        yield
        if width or scale != 1:
            command("Emulation.clearDeviceMetricsOverride", {})
            now_wide(before)
        if dark:
            command("Emulation.setEmulatedMedia", {"features": []})

    def shot(self, name):
        """Pictures of the whole page, light and dark, wide and narrow, for people to look at; only when asked for."""
        folder = os.environ.get("PAGES_SHOTS")
        if not folder:
            return
        pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
        for kind, screen in {"light": {}, "dark": {"dark": True}, "light-2x": {"scale": 2},
                             "dark-2x": {"scale": 2, "dark": True}, "narrow": {"width": NARROW, "scale": 2}}.items():
            with self.seen(**screen):
                picture = self.driver.execute_cdp_cmd("Page.captureScreenshot", {"captureBeyondViewport": True})
            (pathlib.Path(folder) / f"{name}-{kind}.png").write_bytes(base64.b64decode(picture["data"]))

    def console(self):
        """What the browser complained about since it was asked last, but for plain failures to load."""
        return [entry["message"] for entry in self.driver.get_log("browser")
                if "Failed to load resource: the server responded" not in entry["message"]]

    def check_page(self):
        """That people who do not see well, use no mouse, or have a small screen can use this page; and that the browser
        had nothing to object to."""
        wrong = {}
        # Structure, names and the keyboard are the same on every screen.
        for name, part, screen in (("light", "all", None), ("dark", "colours", {"dark": True}),
                                   ("narrow", "space", {"width": NARROW})):
            with self.seen(**screen) if screen else contextlib.nullcontext():
                for fault in self.driver.execute_script(AUDIT, part):
                    wrong.setdefault(fault, []).append(name)
        lines = [f"{fault} ({', '.join(screens)})" for fault, screens in wrong.items()] + self.console()
        assert not lines, "\n  ".join([f"{self.path} is not well made:", *lines])

    def excerpt(self):
        """What a failure leaves for whoever mends it."""
        with contextlib.suppress(WebDriverException):
            html = re.sub(r"\s*\n\s*", "\n", self.driver.page_source)
            main = html.find("<main")
            return "\n".join([f"At {self.driver.current_url}", *self.console(), html[max(0, main):][:3000]])
        return "The browser does not answer."


class PageTest(Pages, unittest.TestCase):
    """Tests with one host and one browser for the file, and fresh data and cookies for each."""

    maxDiff = None
    program = None
    chromium = None
    second = None

    def __init__(self, method):
        unittest.TestCase.__init__(self, method)

    @classmethod
    def setUpClass(cls):
        if PageTest.chromium:
            return
        folder = tempfile.mkdtemp(prefix="pages.")
        unittest.addModuleCleanup(shutil.rmtree, folder, ignore_errors=True)
        PageTest.host = Host(cls.program, folder)
        unittest.addModuleCleanup(cls.host.end)
        PageTest.chromium = start_browser(folder)
        unittest.addModuleCleanup(cls.chromium.quit)
        PageTest.window = cls.chromium.window = cls.chromium.current_window_handle

    def setUp(self):
        self.forget()
        self.host.fresh()

    def run(self, result=None):
        before = len(result.failures + result.errors)
        super().run(result)
        if len(result.failures + result.errors) > before:
            print(self.excerpt(), file=sys.stderr)

    def another_browser(self):
        """A second browser, which shares nothing with the first."""
        if not self.second:
            self.chromium.switch_to.new_window("window")
            self.chromium.window = self.chromium.current_window_handle
            # The account is the first label alone.
            PageTest.second = Pages(self.chromium, self.host, self.chromium.window, "second.localhost")
        return self.second


def main():
    PageTest.program = sys.argv.pop(1)
    for name in list(os.environ):
        if name.lower().endswith("_proxy"):
            del os.environ[name]
    unittest.main(verbosity=2)
