#!/usr/bin/env python3
"""checkReport.py PAGE: checks a report: balanced elements, nothing from elsewhere, tables and pictures that a screen
reader can use, colours with contrast, bars within the chart. Prints each fault in a line that begins with "fault: ",
then the content: "row TEXT|TEXT...", "bar CLASS HEIGHT" and "text TEXT" of pictures."""
import html.parser
import re
import sys

VOID = {"meta", "line", "rect"}
REFERENCES = {"src", "href", "xlink:href", "srcset", "action", "data", "poster", "background", "formaction"}
ALLOWED = {"html", "head", "meta", "title", "style", "body", "header", "main", "footer", "h1", "h2", "p", "bdi", "time",
           "dl", "div", "dt", "dd", "figure", "figcaption", "ul", "li", "svg", "desc", "rect", "line", "text", "details",
           "summary", "table", "caption", "thead", "tbody", "tr", "th", "td", "span", "code"}


def fault(text):
    print("fault: " + text)


class Reader(html.parser.HTMLParser):
    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.open, self.ids, self.references = [], set(), []
        self.policy, self.style, self.text = "", "", []
        self.columns, self.row, self.cell = 0, [], None
        self.chart = 0

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        if tag not in ALLOWED:
            fault(f"the element {tag}")
        if len(values) != len(attributes):
            fault(f"an attribute of {tag} occurs twice")
        for name, value in attributes:
            if name in REFERENCES or name.startswith("on") or name == "style":
                fault(f"{tag} has {name}={value}")
        if values.get("http-equiv") == "Content-Security-Policy":
            self.policy = values["content"]
        if "id" in values:
            if values["id"] in self.ids:
                fault(f"the id {values['id']} occurs twice")
            self.ids.add(values["id"])
        self.references += values.get("aria-labelledby", "").split()
        if tag == "svg" and values.get("role") != "img" and values.get("aria-hidden") != "true":
            fault("a picture without a role")
        if tag == "table":
            self.columns, self.hasCaption = 0, False
        if tag == "caption":
            self.hasCaption = True
        if tag == "tr":
            self.row = []
        if tag == "th" and values.get("scope") not in ("row", "col"):
            fault("a header without a scope")
        if tag in ("th", "td", "text", "title", "desc"):
            self.cell = ""
        if tag == "rect" and "chart" in self.open_classes():
            y, height = float(values["y"]), float(values["height"])
            x, width = float(values["x"].rstrip("%")), float(values["width"].rstrip("%"))
            if y < 0 or y + height > 188.011 or x < 0 or x + width > 100.01 or width <= 0:
                fault(f"a bar leaves the chart: {values}")
            print(f"bar {values['class']} {height:g}")
        if tag not in VOID:
            self.open.append((tag, values.get("class", "")))

    def handle_startendtag(self, tag, attributes):
        self.handle_starttag(tag, attributes)
        if tag not in VOID:
            fault(f"{tag} closes itself")

    def open_classes(self):
        return {name for _, classes in self.open for name in classes.split()}

    def handle_endtag(self, tag):
        if not self.open or self.open[-1][0] != tag:
            fault(f"</{tag}> in {[name for name, _ in self.open]}")
            return
        self.open.pop()
        if tag in ("th", "td"):
            self.row.append(self.cell)
        if tag in ("text", "title", "desc"):
            print(f"{tag} {self.cell}")
        if tag == "tr":
            if self.columns == 0:
                self.columns = len(self.row)
            elif len(self.row) != self.columns:
                fault(f"a row has {len(self.row)} cells of {self.columns}")
            print("row " + "|".join(self.row))
        if tag == "table" and not self.hasCaption:
            fault("a table without a caption")

    def handle_data(self, data):
        if self.open and self.open[-1][0] == "style":
            self.style += data
        elif self.cell is not None:
            self.cell += data

    def handle_comment(self, data):
        fault("a comment: " + data)


def luminance(color):
    parts = [int(color[i:i + 2], 16) / 255 for i in (1, 3, 5)]
    linear = [part / 12.92 if part <= 0.03928 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def check_colours(style):
    looks = re.findall(r":root \{(.*?)\}", style, re.S)
    if len(looks) != 2:
        fault(f"{len(looks)} looks")
    for look in looks:
        colors = dict(re.findall(r"--(\w+): (#[0-9a-f]{6})", look))
        for text in ("text", "quiet", "proven", "failed", "other"):
            for ground in ("ground", "panel"):
                a, b = sorted((luminance(colors[text]), luminance(colors[ground])))
                if (b + 0.05) / (a + 0.05) < 4.5:
                    fault(f"{text} {colors[text]} on {ground} {colors[ground]}")
    if re.search(r"#[0-9a-f]{3,8}", re.sub(r":root \{.*?\}", "", style, flags=re.S)):
        fault("a colour that isn't a variable")
    if re.search(r"url|@import|@font-face|expression", style):
        fault("the style loads something")


def main():
    with open(sys.argv[1], "rb") as file:
        text = file.read().decode("utf-8")
    if not text.startswith("<!DOCTYPE html>\n<html lang=\"en\">"):
        fault("the beginning")
    reader = Reader()
    reader.feed(text)
    reader.close()
    if reader.open:
        fault(f"not closed: {reader.open}")
    for name in set(reader.references) - reader.ids:
        fault(f"no id {name}")
    if reader.policy != "default-src 'none'; style-src 'unsafe-inline'":
        fault("the policy is " + reader.policy)
    check_colours(reader.style)


main()
