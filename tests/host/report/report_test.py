# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The page of the report: well formed, self-contained, complete, the same every time. Usage: report_test.py PROGRAM"""

import html.parser
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import runs

PROGRAM = "ullage"
VOID = {"meta", "link", "br", "hr", "img", "input"}
SECTIONS = ["What was read", "Patterns of missingness", "What was assumed", "Whether it converged", "What was imputed",
            "Pooled means and correlations", "Warnings", "How to reproduce it"]


class Page(html.parser.HTMLParser):
    """Takes a page apart and notes every fault of its structure."""

    def __init__(self, text):
        super().__init__(convert_charrefs=True)
        self.open, self.faults, self.ids, self.links, self.headings, self.tags = [], [], [], [], [], []
        self.words = ""
        self.feed(text)
        self.close()
        if self.open:
            self.faults.append(f"left open: {self.open}")

    def handle_starttag(self, tag, attrs):
        self.start(tag, attrs)
        if tag not in VOID:
            self.open.append(tag)

    def handle_startendtag(self, tag, attrs):
        if "svg" not in self.open:
            self.faults.append(f"<{tag}/> outside of a picture")
        self.start(tag, attrs)

    def start(self, tag, attrs):
        names = [name for name, _ in attrs]
        values = dict(attrs)
        self.tags.append((tag, values))
        if len(names) != len(values):
            self.faults.append(f"an attribute of {tag} stands twice")
        if "id" in values:
            self.ids.append(values["id"])
        if tag == "a":
            self.links.append(values["href"])
        if tag == "th" and values.get("scope") not in ("col", "row"):
            self.faults.append("a header of a table without scope")
        if tag == "svg" and not (values.get("aria-hidden") == "true" or
                                 (values.get("role") == "img" and values.get("aria-label"))):
            self.faults.append("a picture without words")
        for name, value in attrs:
            if name.startswith("on") or name == "src" or (name == "href" and not re.match("#|data:,$", value)):
                self.faults.append(f"{tag} {name}={value}")
        if re.fullmatch("h[1-6]", tag):
            if int(tag[1]) > (self.headings[-1][0] if self.headings else 0) + 1:
                self.faults.append(f"{tag} skips a level")
            self.headings.append([int(tag[1]), ""])

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            self.faults.append(f"</{tag}> closes nothing")

    def handle_data(self, data):
        if self.open and re.fullmatch("h[1-6]", self.open[-1]):
            self.headings[-1][1] += data
        if "style" not in self.open:
            self.words += data


class Report(unittest.TestCase):
    maxDiff = 2000

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)

    def read(self, name, extra=()):
        return runs.run(PROGRAM, self.path, name, extra).read_text(encoding="utf-8")

    def test_pages_are_well_formed_self_contained_and_small(self):
        for name in runs.RUNS:
            with self.subTest(name):
                text = self.read(name)
                page = Page(text)
                self.assertEqual(page.faults, [])
                self.assertTrue(text.startswith("<!DOCTYPE html>\n<html lang=\"en\">"))
                self.assertLess(len(text.encode()), 2 << 20)
                self.assertEqual([title for level, title in page.headings if level == 2], SECTIONS)
                self.assertEqual(len(page.ids), len(set(page.ids)))
                for link in page.links:
                    self.assertIn(link[1:], page.ids)
                self.assertEqual(page.links[0], "#content")
                self.assertFalse({"script", "iframe", "object", "img"} & {tag for tag, _ in page.tags})
                self.assertNotRegex(text, r"https?://|url\(|@import")
                self.assertNotRegex(page.words, r"\b(nan|inf)\b")
                for tag, values in page.tags:
                    for number in re.findall(r"[-\d.eE+]+|nan|inf", values.get("points", "") + values.get("d", "")):
                        self.assertRegex(number, r"^-?\d+(\.\d)?$", tag)

    def test_names_are_shown_as_they_are(self):
        page = Page(self.read("odd"))
        for name in runs.ODD_NAMES:
            self.assertIn(name, page.words)
        self.assertIn(f"{runs.ODD_NAMES[0]}<{runs.ODD_NAMES[1]}", page.words)
        wide = Page(self.read("wide"))
        for words in ["<West>", "South & 'East'", "A ridge prior worth 5 cases"]:
            self.assertIn(words, wide.words)

    def test_what_was_read_is_counted_from_the_table(self):
        table = [line.split(",") for line in runs.odd_table().splitlines()[1:]]
        page = Page(self.read("odd"))
        interval = sum(".." in row[4] for row in table)
        missing = sum(row[4] == "" for row in table)
        words = re.sub(r"\s+", " ", page.words)
        rows = re.findall(r"<tr>(.*?)</tr>", (self.path / "odd/report.html").read_text(encoding="utf-8"))
        cells = next(re.findall(r"<t[hd][^>]*>([^<]*)<", row) for row in rows if runs.ODD_NAMES[4] in row)
        self.assertEqual(cells[1:7], [str(60 - interval - missing), str(missing), "0", "0", str(interval), "0"])
        complete = sum(all(re.fullmatch(r"-?\d+\.\d+", cell) for cell in row) for row in table)
        self.assertIn(f"{complete} of 60 rows", words)

    def test_a_run_has_one_report(self):
        first = self.read("odd")
        again = self.path / "again.html"
        for output in [["-o", str(again)], []]:
            subprocess.run([PROGRAM, "report", "odd", "--quiet"] + output, cwd=self.path, check=True)
        self.assertEqual(again.read_text(encoding="utf-8"), first)
        self.assertEqual((self.path / "odd/report.html").read_text(encoding="utf-8"), first)
        self.assertFalse(runs.run(PROGRAM, self.path, "once", ["--no-report"]).exists())
        self.assertTrue((self.path / "once/bounds.csv").exists())

    def test_what_keeps_a_report_from_being_made(self):
        self.read("odd")
        for name, text, code, message in [
                ("bounds.csv", None, 66, "bounds.csv"),
                ("bounds.csv", "row,column,knowledge,lower,upper\n61,größe max,below,-Inf,3\n", 65, "line 2: row \"61\""),
                ("bounds.csv", "row,column,knowledge,lower,upper\n1,no,below,-Inf,3\n", 65, "line 2: column \"no\""),
                ("bounds.csv", "row,column,knowledge,lower,upper\n1,größe max,below,x,3\n", 65, "line 2: lower \"x\""),
                ("bounds.csv", "row,column\n1,no\n", 65, "its columns are not"),
                ("parameters.csv", None, 66, "parameters.csv")]:
            with self.subTest(message):
                path = self.path / "odd" / name
                before = path.read_text(encoding="utf-8")
                path.unlink() if text is None else path.write_text(text, encoding="utf-8")
                done = subprocess.run([PROGRAM, "report", "odd", "-o", "new.html"], cwd=self.path, capture_output=True,
                                      text=True, encoding="utf-8", check=False)
                self.assertEqual(done.returncode, code, done.stderr)
                self.assertIn(message, done.stderr)
                self.assertFalse((self.path / "new.html").exists())
                path.write_text(before, encoding="utf-8")


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
