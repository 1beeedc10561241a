"""Answers of the service as short lines of text, which people can read and compare."""

import html.parser
import json
import re
import urllib.parse
import xml.etree.ElementTree

VOID = ("input", "br", "img", "rect", "meta", "link", "hr")
INLINE = ("a", "abbr", "b", "bdi", "br", "button", "code", "em", "img", "input", "label", "select", "small", "span",
          "strong", "svg", "textarea", "time", "legend", "td", "th", "#text")
UNTOLD = ("for", "id", "class", "href", "type", "name", "value", "method", "action", "selected", "scope", "colspan",
          "tabindex", "enctype", "autocomplete", "inputmode", "aria-hidden",
          "focusable", "viewBox", "preserveAspectRatio", "viewbox", "preserveaspectratio", "width", "height", "src")


def shown(text):
    """On one line, between quotation marks where it is not clear otherwise what it is."""
    if not re.fullmatch(r"[\w.,:;+@/!?&'()–-]+", text):
        text = json.dumps(text, ensure_ascii=False)
    return "".join(c if c.isprintable() else f"\\u{ord(c):04x}" for c in text)


def xml_lines(text):
    """Each element that has others within, with those that have none on its line."""
    def leaf(text):
        return shown(text) if text and not text.startswith("\n  ") else ""

    def lines(element, indent):
        leaves = [f"{child.tag}={leaf(child.text or '')}" for child in element if not len(child)]
        yield " ".join([indent + element.tag, *(f"@{key}={value}" for key, value in element.attrib.items()), *leaves])
        for child in element:
            if len(child):
                yield from lines(child, indent + "  ")
    try:
        return list(lines(xml.etree.ElementTree.fromstring(text), "  "))
    except xml.etree.ElementTree.ParseError:
        return ["  " + shown(text)] if text else []


class Node:
    """An element of a page, or the text in one."""

    def __init__(self, tag, attrs=(), text=""):
        self.tag = tag
        self.attrs = {name: value or "" for name, value in attrs}
        self.text = text
        self.children = []

    def all(self, *tags):
        """Those within, in order."""
        for child in self.children:
            if child.tag in tags:
                yield child
            yield from child.all(*tags)

    @property
    def words(self):
        return self.text + "".join(child.words for child in self.children)

    @property
    def name(self):
        """By which a button is pressed."""
        return self.attrs.get("aria-label") or " ".join(self.words.split())

    def told(self):
        """What else it says of itself."""
        return "".join(f" {name}={shown(value)}" if value else f" {name}" for name, value in self.attrs.items()
                       if name not in UNTOLD)

    def classes(self):
        return "".join("." + name for name in self.attrs.get("class", "").split())

    def inline(self):
        inner = "".join(child.inline() for child in self.children)
        value = self.attrs.get("value")
        kind = self.attrs.get("type", "text") if self.tag == "input" else self.tag
        field = f"{{{self.attrs.get('name', '')}: {kind}{self.told()}"
        match self.tag:
            case "#text":
                return self.text
            case "br":
                return " / "
            case "a":
                return f" [{inner.strip()}]({self.attrs.get('href')}{self.told()}{self.classes()}) "
            case "button":
                sends = f"{self.attrs['name']}={shown(value or '')} " if "name" in self.attrs else ""
                return f" <{sends}{inner.strip()}{self.told()}{self.classes()}> "
            case "input" if self.attrs.get("name") == "token":
                return " {token} "
            case "input":
                return f" {field} {shown(value)}}} " if value else f" {field}}} "
            case "textarea":
                return f" {field} {shown(self.words)}}} "
            case "select":
                options = [f"{'*' if 'selected' in option.attrs else ''}{option.attrs.get('value')} {option.name}"
                           for option in self.all("option")]
                groups = [f"{group.attrs['label']} ({len(list(group.all('option')))})" for group in self.all("optgroup")]
                return f" {field} {' | '.join(options)}{' in ' if groups else ''}{', '.join(groups)}}} "
            case "svg":
                sizes = [[rect.attrs["class"], *(rect.attrs[key] for key in ("x", "y", "width", "height")
                                                if rect.attrs.get(key, "100") != "100")]
                         for rect in self.all("rect") if "0.00" not in (rect.attrs.get("width"), rect.attrs.get("height"))]
                return f" ▮{' '.join('-'.join(size) for size in sizes if len(size) > 1)} " if any(
                    len(size) > 1 for size in sizes) else ""
            case "td" | "th":
                return f"{inner.strip()}{self.told()} | "
        if "unseen" in self.attrs.get("class", ""):  # but heard
            inner = f"‹{inner}›"
        told = self.told().strip()
        inner = f"{inner}({told}) " if told else inner
        return inner if self.tag in INLINE else f" {inner} "

    def lines(self):
        """One for each block."""
        if self.tag in ("meta", "html", "head", "title", "link") and not self.children:
            return
        if self.tag in INLINE or all(child.tag in INLINE for child in self.children):
            words = " ".join(self.inline().split())
        elif self.tag == "tr":
            words = " ".join(self.inline().split()).rstrip(" |")
        else:
            words = ""
        if words or self.told() or self.tag == "form":
            form = f" {self.attrs.get('method', 'get')} {self.attrs.get('action', '')}" if self.tag == "form" else ""
            yield f"{self.tag}{self.classes()}{form}{self.told() if not words else ''}: {words}".rstrip(": ")
        if words:
            return
        run = Node("#run")
        for child in self.children:
            if child.tag in INLINE:
                run.children.append(child)
            else:
                yield from run.sentence()
                run = Node("#run")
                yield from child.lines()
        yield from run.sentence()

    def sentence(self):
        words = " ".join(self.inline().split())
        return [words] if words else []


class Page(html.parser.HTMLParser):
    """A page as it would be there for a person."""

    def __init__(self, address, text):
        super().__init__()
        self.address = address
        self.root = Node("page")
        self._open = [self.root]
        self.feed(text)
        body = next(self.root.all("body"))
        around = [part for part in body.children if part.tag == "header" or "skip" in part.attrs.get("class", "")]
        self.frame = [line for part in around for line in part.lines()]
        self.lines = [line for part in (next(self.root.all("title")), *body.children) if part not in around
                      for line in part.lines()]

    def handle_starttag(self, tag, attrs):
        node = Node(tag, attrs)
        self._open[-1].children.append(node)
        if tag not in VOID:
            self._open.append(node)

    def handle_endtag(self, tag):
        if tag in [node.tag for node in self._open]:
            while self._open.pop().tag != tag:
                pass

    def handle_data(self, data):
        self._open[-1].children.append(Node("#text", text=data))

    def there(self, target):
        return urllib.parse.urldefrag(urllib.parse.urljoin(self.address, target))[0]

    def forms(self, button):
        """Those with such a button: where it sends to, how, and the fields as they stand."""
        for form in self.root.all("form"):
            for pressed in form.all("button"):
                if pressed.name == button:
                    own = [(pressed.attrs["name"], pressed.attrs.get("value", ""))] if "name" in pressed.attrs else []
                    yield (self.there(pressed.attrs.get("formaction") or form.attrs.get("action", "")),
                           form.attrs.get("method", "get"), [*fields_of(form), *own])


def fields_of(form):
    """Names and values as a browser sends them."""
    for field in form.all("input", "select", "textarea"):
        kind = field.attrs.get("type", field.tag)
        if kind == "select" or field.tag == "select":
            options = list(field.all("option"))
            chosen = [option for option in options if "selected" in option.attrs] or options[:1]
            value = chosen[0].attrs.get("value", "") if chosen else ""
        else:
            value = field.words.removeprefix("\n") if field.tag == "textarea" else field.attrs.get("value", "")
        if "name" in field.attrs and (kind not in ("checkbox", "radio") or "checked" in field.attrs):
            yield field.attrs["name"], value


def masked(line):
    """Secrets and digests go by other names."""
    return re.sub(r"/assets/\w+-", "/assets/", re.sub(r"\b[0-9a-f]{64}\b", "SECRET", line))
