"""Plays the transcripts beside this file: what is asked of the service, and all that it answers.

In a transcript the lines that begin with ">" are commands, "#" begins a comment, and all others are answers. Where an answer
differs the difference is shown; with WRITE_DESCRIBED=1 they are written anew.

  > ann POST /daily/add hours=1.5 notes="two\\nlines"    a program's request; its body is made of fields or given in ">> |"
  > ann opens /daily                                    a page as text; only what differs from when its path was seen last
  > ann sends "Add Entry" @/entries hours=2 -notes      a form of the page that ann is on, by button and, if need be, address
  > ann uploads "Look at It" hours.csv                  the same with a file: that of ">> |", or the one that came last
  > ann comes                                           afresh: the next page is one for which the program signs in
  > ann crawls                                          every kind of page that links lead to
  > pass 90m                                            the clock goes on
  > await copy                                          of the day, which is made beside all else
  > load FILE / sql STATEMENT / rows TABLE…             the data file

">> Name: value" sets a header, "none" leaves it out. "ann" is in the account acme, "clock/ann" in another; "nobody" does not
sign in. Of an answer's headers those are shown that the answer before did not have.
"""

import base64
import contextlib
import difflib
import http.client
import json
import os
import pathlib
import re
import shutil
import sqlite3
import sys
import tempfile
import time
import unittest
import urllib.parse
import xml.etree.ElementTree

import crawl
import described
import pages

FOLDER = pathlib.Path(__file__).parent / "transcripts"
OF_THE_CONNECTION = ("date", "content-length", "connection", "keep-alive")
INSTANCES = 2  # of pages of one kind that a crawl looks at


def arguments(text):
    """Name and value of each; "" for what has no name."""
    for name, value in re.findall(r'''([-+@]?[^\s="]+=|)("(?:[^"\\]|\\.)*"|[^\s"]+|)''', text):
        if name or value:
            yield name.rstrip("="), json.loads(value) if value.startswith('"') else value


def difference(before, after):
    return [line for line in difflib.unified_diff(before, after, n=0, lineterm="") if line[:2] not in ("--", "++", "@@")]


class Player:
    """Obeys the commands, and says what came of them."""

    def __init__(self, host):
        self.host = host
        self.cookies = {}
        self.on = {}  # the page that somebody is on
        self.seen = {}  # lines of pages by their path
        self.before = []  # those of the page that a form was on
        self.frames = {}
        self.headers = {}
        self.body = b""
        self.file = b""  # what was downloaded last

    def play(self, script):
        lines = [line for line in script.split("\n") if line.startswith((">", "#")) or not line]
        said = []
        while lines:
            said.append(lines.pop(0))
            if said[-1].startswith("> "):
                command, more = said[-1][2:], []
                while lines and lines[0].startswith(">> "):
                    more.append(lines.pop(0)[3:])
                    said.append(">> " + more[-1])
                said += [self.masked(line) for line in self.obey(command, more)]
        return "\n".join(said)

    def masked(self, line):
        """Without what is another each time."""
        line = described.masked(line).replace(f":{self.host.port}", ":PORT").replace(str(pathlib.Path(self.host.file).parent), "FOLDER")
        return re.sub(r"copy, [\d.]+ [kM]B", "copy, SIZE", line)

    def obey(self, command, more):
        first, _, rest = command.partition(" ")
        verb, _, its = rest.partition(" ")
        headers = dict(line.split(": ", 1) for line in more if not line.startswith("|"))
        body = "".join(line[2:] for line in more if line.startswith("|")).replace("\\n", "\n").encode()
        if first == "pass":
            self.host.tell("pass", sum(int(number) * {"s": 1, "m": 60, "h": 3600, "d": 86400}[unit]
                                       for number, unit in re.findall(r"(-?\d+)(\w)", rest)))
            return []
        if first == "await":
            folder = pathlib.Path(self.host.file).with_name("service-backups")
            while not list(folder.glob("service-*.sqlite")):
                time.sleep(0.01)
            return []
        if first in ("load", "sql", "rows"):
            return self.data(first, rest)
        if verb.isupper():
            return self.asks(first, verb, its, headers, body)
        return getattr(self, verb)(first, its, headers, body)

    def data(self, what, rest):
        with contextlib.closing(sqlite3.connect(self.host.file, timeout=pages.LONGEST)) as database, database:
            if what == "load":
                database.executescript((FOLDER / rest).read_text("utf-8"))
            for words in {"sql": [("row", rest)], "rows": [(table, f"SELECT * FROM {table}") for table in rest.split()]}.get(what, []):
                found = database.execute(words[1])
                for row in found:
                    cells = [(column[0], str(value)) for column, value in zip(found.description, row) if value is not None]
                    yield " ".join(["  " + words[0], *(f"{name}={'HASH' if name == 'password_hash' else described.shown(value)}"
                                                       if value else f"{name}=" for name, value in cells)])

    def exchange(self, who, method, target, headers, body):
        values = {"Host": f"{who.rpartition('/')[0] or 'acme'}.localhost:{self.host.port}", **headers}
        connection = http.client.HTTPConnection("127.0.0.1", self.host.port, timeout=pages.LONGEST)
        with contextlib.closing(connection):
            connection.request(method, target, body or None, {name: value for name, value in values.items() if value != "none"})
            reply = connection.getresponse()
            self.body = reply.read()
            return reply.status, {name.lower(): ", ".join(reply.headers.get_all(name)) for name in reply.headers}

    def answer(self, kind, status, headers):
        """Its first line, and the headers that are others than before."""
        headers = {name: value for name, value in headers.items() if name not in OF_THE_CONNECTION}
        version = headers.pop("x-company-cache-version", None)
        there = headers.pop("location", None)
        yield f"  {status}" + (f" version {version}" if version else "") + (f", goes to {there}" if there else "")
        before = self.headers.get((kind, there is None), {})
        self.headers[kind, there is None] = headers
        yield from (f"  {name}: {headers.get(name, 'not now')}".replace(f"-{self.host.port}=", "-PORT=")
                    for name in sorted({*before, *headers}) if before.get(name) != headers.get(name))

    # A program

    def asks(self, who, method, rest, headers, body):
        target, _, fields = rest.partition(" ")
        if fields:
            made = xml.etree.ElementTree.Element("day_entry" if target.startswith("/hc/") else "request")
            for name, value in arguments(fields):
                xml.etree.ElementTree.SubElement(made, name).text = value
            # A reader of XML makes a line feed of a carriage return that is not written as a number.
            body = xml.etree.ElementTree.tostring(made, "utf-8").replace(b"\r", b"&#13;")
        name = who.rpartition("/")[2]
        credentials = "Basic " + base64.b64encode(f"{name}@example.com:secret".encode()).decode()
        usual = {"Authorization": "none" if name == "nobody" else credentials, "Accept": "application/xml",
                 "Content-Type": "application/xml"}
        plainly = headers.pop("as it is", None)
        yield from self.answer("program", *self.exchange(who, method, target, {**usual, **headers}, body))
        text = self.body.decode()
        if text.startswith("<!DOCTYPE html"):
            yield from ("    " + line for line in described.Page(target, text).lines)
        else:
            yield from ("  " + line for line in text.split("\n")) if plainly else described.xml_lines(text)

    # A browser

    def goes(self, who, method, target, headers, body=b""):
        """To a page, and on to where that leads."""
        account, _, name = who.rpartition("/")
        if who not in self.cookies and name != "nobody":
            link = self.host.link("/daily", name, account or "acme").partition(str(self.host.port))[2]
            _, found = self.exchange(who, "GET", link, {"Accept": "text/html"}, b"")
            self.cookies[who] = found["set-cookie"].partition(";")[0]
        usual = {"Accept": "text/html", "Cookie": self.cookies.get(who, "none"), "Origin": self.host.url("", account or "acme")}
        status, found = self.exchange(who, method, target, {**usual, **headers}, body)
        if "set-cookie" in found:
            self.cookies[who] = found["set-cookie"].partition(";")[0]
        yield from self.answer("browser", status, found)
        if status == 303:
            yield from self.goes(who, "GET", found["location"], {})
        elif self.body:
            yield from self.look(who, target, found["content-type"])

    def look(self, who, target, kind):
        text = self.body.decode()
        if kind.startswith("text/html"):
            page = self.on[who] = described.Page(target, text)
            yield from ("    " + line for line in difference(self.frames.get(who, []), page.frame))
            self.frames[who] = page.frame
            lines = page.lines
        else:
            self.file = self.body
            lines = [line if line.isprintable() else described.shown(line) for line in text.split("\n")]
        path = target.partition("?")[0]
        before = self.before or self.seen.get(path, [])
        change = difference(before, lines)
        yield from ("    " + line for line in (change if len(change) < len(lines) else lines))
        self.seen[path] = lines
        self.before = []

    def comes(self, who, rest, headers, body):
        self.cookies.pop(who, None)
        return []

    def opens(self, who, rest, headers, body):
        yield from self.goes(who, "GET", rest, headers)

    def pressed(self, who, given):
        """Where a button sends to, how, and what."""
        _, button = given.pop(0)
        action = given.pop(0)[1][1:] if given and given[0][1].startswith("@") else None
        found = [form for form in self.on[who].forms(button) if action in (None, form[0])]
        if not found or any(form != found[0] for form in found):
            return None, "", [f"  {len(found)} such buttons: {[form[0] for form in found]}"]
        self.before = self.on[who].lines
        return found[0]

    def sends(self, who, rest, headers, body):
        given = list(arguments(rest))
        action, method, fields = self.pressed(who, given)
        if not action:
            yield from fields
            return
        for name, value in given:
            if not name.startswith("+"):
                fields = [field for field in fields if field[0] != (name or value).lstrip("-")]
            if name:
                fields.append((name.lstrip("+"), value))
        sent = urllib.parse.urlencode(fields)
        if method == "get":
            yield from self.goes(who, "GET", f"{action.partition('?')[0]}?{sent}", headers)
        else:
            kind = {"Content-Type": "application/x-www-form-urlencoded"}
            yield from self.goes(who, "POST", action, {**kind, **headers}, sent.encode())

    def uploads(self, who, rest, headers, body):
        given = list(arguments(rest))
        action, _, fields = self.pressed(who, given)
        file = body or self.file
        parts = [(f'name="{name}"', value.encode()) for name, value in fields if name != "file"]
        parts.append((f'name="file"; filename="{given[0][1]}"', file))
        sent = b"".join(b"--x\r\nContent-Disposition: form-data; " + head.encode() + b"\r\n\r\n" + value + b"\r\n"
                        for head, value in parts)
        yield from self.goes(who, "POST", action, {"Content-Type": "multipart/form-data; boundary=x"}, sent + b"--x--\r\n")

    def crawls(self, who, rest, headers, body):
        waiting, known, kinds = ["/daily"], set(), {}
        while waiting:
            target = waiting.pop(0)
            names = tuple(sorted(urllib.parse.parse_qs(urllib.parse.urlsplit(target).query)))
            kind = crawl.pattern(target), names
            if target in known or kinds.get(kind, 0) == INSTANCES or not target.startswith("/"):
                continue
            known.add(target)
            kinds[kind] = kinds.get(kind, 0) + 1
            yield f"  {target}"
            yield from self.goes(who, "GET", target, {})
            if self.on.get(who) and len(names) < 3:  # a report can be narrowed without end
                waiting += [self.on[who].there(link.attrs["href"]) for link in self.on[who].root.all("a")]


class Transcripts(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        folder = tempfile.mkdtemp(prefix="pages.")
        cls.addClassCleanup(shutil.rmtree, folder, ignore_errors=True)
        cls.host = pages.Host(sys.argv[1], folder)
        cls.addClassCleanup(cls.host.end)

    def test_each(self):
        for file in sorted(FOLDER.glob("*.txt")):
            with self.subTest(file=file.name):
                self.host.fresh()
                expected = file.read_text("utf-8")
                actual = Player(self.host).play(expected)
                if "WRITE_DESCRIBED" in os.environ:
                    file.write_text(actual, "utf-8")
                elif actual != expected:
                    self.fail(f"{file.name} is not what happens. Where it should be, WRITE_DESCRIBED=1 writes it anew.\n" +
                              "\n".join(difflib.unified_diff(expected.split("\n"), actual.split("\n"), "described", "now", n=2, lineterm="")))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
