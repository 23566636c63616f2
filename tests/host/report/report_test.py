# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The page of the report: well formed, self-contained, complete, the same every time. Usage: report_test.py PROGRAM"""

import csv
import html
import html.parser
import json
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[1]))
import runs
from seal import seal

PROGRAM = "ullage"
VOID = {"meta", "link", "br", "hr", "img", "input", "wbr"}
SECTIONS = ["What was read", "Patterns of missingness", "What was assumed", "Whether it converged", "What was imputed",
            "Pairs of columns", "Whether the model fits", "Pooled means and correlations", "Warnings", "How to reproduce it"]


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


def plain(markup):
    return html.unescape(re.sub("<[^>]*>", "", markup))


def rows_of(path, caption):
    """The table of the page whose caption begins so: by the header of each row, or where it spans several by that and
    the next cell, the cells by the header of their column."""
    text = path.read_text(encoding="utf-8").replace("<wbr>", "")
    table = re.search(f"<caption>{caption}.*?</table>", text, re.S)[0]
    head = [plain(cell) for cell in re.findall('<th scope="col".*?</th>', table)]
    rows, above = {}, None
    for row in re.findall("<tr>(.*?)</tr>", table)[1:]:
        cells = [plain(cell) for cell in re.findall("<t[hd].*?</t[hd]>", row)]
        if "scope" not in row:
            cells.insert(0, above)
        above = cells[0]
        rows[(above, cells[1]) if "rowspan" in table else above] = dict(zip(head, cells))
    return rows


def bars_of(svg, style):
    """How high the bars of a histogram are, in the units of its axis."""
    ticks = [(float(label), float(y)) for y, label in
             re.findall(r'y="([\d.]+)" text-anchor="end" dy=".35em">([\d.]+)<', svg)]
    unit = (ticks[-1][0] - ticks[0][0]) / (ticks[0][1] - ticks[-1][1])
    return [unit * float(height) for height in re.findall(rf'<rect class="{style}"[^>]* height="([\d.]+)"', svg)]


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
                self.assertIn("default-src &#39;none&#39;", text)
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
        for words in ["<West>", "South & 'East'", "A ridge prior worth 5 cases", "nor changed: site (--by), note (it has a single word; 60 blanks)."]:
            self.assertIn(words, wide.words)

    def test_what_was_read_is_counted_from_the_table(self):
        table = [line.split(",") for line in runs.odd_table().splitlines()[1:]]
        page = Page(self.read("odd"))
        interval = sum(".." in row[4] for row in table)
        missing = sum(row[4] == "" for row in table)
        words = re.sub(r"\s+", " ", page.words)
        read = rows_of(self.path / "odd/report.html", "Cells of each column")[runs.ODD_NAMES[4]]
        self.assertEqual((read["Observed"], read["Missing"], read["In an interval"]),
                         (str(60 - interval - missing), str(missing), str(interval)))
        complete = sum(all(re.fullmatch(r"-?\d+\.\d+", cell) for cell in row) for row in table)
        self.assertIn(f"{complete} of 60 rows", words)

    def test_what_was_imputed_is_told_from_the_completed_tables(self):
        text = self.read("odd")
        with open(self.path / "odd/imputations.csv", encoding="utf-8", newline="") as file:
            lines = list(csv.DictReader(file))
        with open(self.path / "odd/bounds.csv", encoding="utf-8", newline="") as file:
            bounds = {(line["row"], line["column"]): line for line in csv.DictReader(file)}
        bounded = bounds.keys()
        rows = rows_of(self.path / "odd/report.html", "Observed and imputed")
        for name in runs.ODD_NAMES:
            original = {line[".id"]: line[name] for line in lines if line[".imp"] == "0"}
            observed = sorted(float(value) for value in original.values() if value != "NA")
            draws = {kind: [float(line[name]) for line in lines if line[".imp"] != "0" and original[line[".id"]] == "NA"
                            and ((line[".id"], name) in bounded) == (kind == "bounded")] for kind in ("missing", "bounded")}
            for kind, values in [("observed", observed), ("imputed, missing", draws["missing"]),
                                 ("imputed, bounded", draws["bounded"])]:
                if not values:
                    self.assertNotIn((name, kind), rows)
                    continue
                values.sort()
                row = rows[name, kind]
                self.assertEqual(row["Number"], str(len(values)))
                expected = [statistics.mean(values), statistics.stdev(values), values[int(0.05 * len(values))],
                            values[len(values) // 2], values[int(0.95 * len(values))]]
                shown = [float(row[head].replace("\u2212", "-"))
                         for head in ("Mean", "Standard deviation", "5%", "Median", "95%")]
                for number, right in zip(shown, expected):
                    self.assertAlmostEqual(number / right, 1, delta=6e-4)
                if kind != "observed":
                    outside = sum(not observed[0] <= value <= observed[-1] for value in values)
                    self.assertTrue(row["Outside the observed range"].startswith(f"{outside} ("))
            if name == runs.ODD_NAMES[4]:
                self.check_histograms(text, name, observed, draws)
                limits = {row: (float(line["lower"]), float(line["upper"])) for (row, of), line in bounds.items()
                          if of == name and line["lower"] and line["upper"]}
                self.assertEqual(set(limits.values()), {(30, 60), (45, 52)})
                places = sorted((float(line[name]) - limits[line[".id"]][0]) / (limits[line[".id"]][1] - limits[line[".id"]][0])
                                for line in lines if line[".imp"] != "0" and line[".id"] in limits)
                said = re.search(rf"of {name} between two bounds, of {len(limits)} cells: median and central 90% "
                                 r"([\d.e-]+) \(([\d.e-]+) to ([\d.e-]+)\)", text)
                for shown, share in zip(said.groups(), (0.5, 0.05, 0.95)):
                    self.assertAlmostEqual(float(shown), places[int(share * len(places))], delta=1e-3)

    def check_histograms(self, text, name, observed, draws):
        # One completed table has all rows, whatever the number of imputations; shares are of all cells of their kind.
        svg = {kind: re.search(f'aria-label="{kind} of {name}.*?</svg>', text)[0]
               for kind in ("Stacked histogram", "Histograms")}
        bars = {style: sum(bars_of(svg["Stacked histogram"], style)) for style in ("observed", "bounded", "missing")}
        for style, cells in [("observed", len(observed)), ("bounded", len(draws["bounded"]) / 5),
                             ("missing", len(draws["missing"]) / 5)]:
            self.assertAlmostEqual(bars[style], cells, delta=1.0)
        self.assertAlmostEqual(sum(bars_of(svg["Histograms"], "observed")), 100, delta=2)

    def test_pairs_and_quantiles_are_those_of_the_completed_tables(self):
        text = self.read("odd")
        with open(self.path / "odd/imputations.csv", encoding="utf-8", newline="") as file:
            lines = list(csv.DictReader(file))
        with open(self.path / "odd/bounds.csv", encoding="utf-8", newline="") as file:
            bounded = {(line["row"], line["column"]) for line in csv.DictReader(file)}
        original = [line for line in lines if line[".imp"] == "0"]
        normal = statistics.NormalDist()
        for column, low, high, off in re.findall(
                r'Normal quantile plot of ([^"]*): observed values from (\S+) to (\S+) standard deviations off the mean; '
                r'in the middle the largest distance from the line is ([\d.]+)\.', text):
            name = html.unescape(column).strip("`")
            observed = sorted(float(line[name]) for line in original if line[name] != "NA")
            completed = [float(line[name]) for line in lines if line[".imp"] != "0"]
            mean, deviation = statistics.mean(completed), statistics.pstdev(completed)
            places = [(normal.inv_cdf((i + (sum(x <= value for x in completed) - 5 * (i + 1)) / 5 + 0.5) / 60),
                       (value - mean) / deviation) for i, value in enumerate(observed)]
            self.assertAlmostEqual(float(low.replace("\u2212", "-")), places[0][1], delta=0.006)
            self.assertAlmostEqual(float(high), places[-1][1], delta=0.006)
            right = max(abs(x - y) for x, y in places if abs(x) <= 2)
            # A dot stands for two or three values where there are many.
            self.assertLessEqual(float(off), right + 0.006)
            self.assertGreater(float(off), 0.8 * right - 0.01)
        pairs = re.findall(r'Scatter plot of ([^"]*) against ([^"]*), whose correlation is \S+: (\d+) rows with both cells '
                           r'observed, (\d+) with a missing cell, (\d+) with a bounded cell', text)
        self.assertGreaterEqual(len(pairs), 3)
        for second, first, *counts in pairs:
            found = [0, 0, 0]
            for line in original:
                hidden = [(line[".id"], name) for name in map(html.unescape, (first, second)) if line[name] == "NA"]
                found[0 if not hidden else 2 if all(cell in bounded for cell in hidden) else 1] += 1
            self.assertEqual([int(count) for count in counts], found)
        # The number in a square of the matrix is that of the table.
        matrix = re.search(r'aria-label="Correlations of 6 columns.*?</svg>', text)[0]
        squares = re.findall(r'<text class="square [a-z]+" x="([\d.]+)" y="([\d.]+)"[^>]*>([^<]*)<', matrix)
        x = sorted({float(square[0]) for square in squares})
        y = sorted({float(square[1]) for square in squares})
        shown = {(x.index(float(square[0])), y.index(float(square[1])) + 1): square[2] for square in squares}
        for name, row in rows_of(self.path / "odd/report.html", "Correlations, the strongest first").items():
            pair = next((i, j) for i in range(6) for j in range(6)
                        if name.replace("`", "") == f"cor({runs.ODD_NAMES[i]},{runs.ODD_NAMES[j]})")
            self.assertAlmostEqual(float(shown[pair].replace("\u2212", "-")),
                                   float(row["Estimate"].replace("\u2212", "-")), delta=0.0051)

    def test_over_imputation_is_judged(self):
        self.read("once", ["--overimpute"])
        report = self.path / "once/report.html"
        first = report.read_text(encoding="utf-8")
        over = self.path / "once/overimputation.csv"
        cells = {line["column"]: line for line in csv.DictReader(over.read_text(encoding="utf-8").splitlines())}
        for name, row in rows_of(report, "Observed cells that were hidden").items():
            self.assertEqual(row["In the 90% interval"],
                             f"{100 * int(cells[name]['in_90']) / int(cells[name]['cells']):.1f}%")
        subprocess.run([PROGRAM, "report", "once", "--quiet"], cwd=self.path, check=True)
        self.assertEqual(report.read_text(encoding="utf-8"), first)
        for line, words in [("a,100,50,90,,,", "about as many"), ("a,100,50,96,,,", "about as many"),
                            ("a,100,50,99,,,", "The imputations of a hold"), ("a,100,20,90,,,", "The imputations of a hold"),
                            ("a,100,,,50,55,2", "about as many"), ("a,100,,,50,58,2", "The imputations of a hold")]:
            over.write_text(f"column,cells,in_50,in_90,hits,expected_hits,hit_error\n{line}\n", encoding="utf-8")
            seal(self.path / "once")
            subprocess.run([PROGRAM, "report", "once", "--quiet"], cwd=self.path, check=True)
            self.assertIn(words, report.read_text(encoding="utf-8"), line)
        over.write_text("column,cells,in_50,in_90,hits,expected_hits,hit_error\na,10,11,9,,,\n", encoding="utf-8")
        seal(self.path / "once")
        done = subprocess.run([PROGRAM, "report", "once"], cwd=self.path, capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, "line 2" in done.stderr), (65, True), done.stderr)

    def test_warnings_are_those_of_the_run(self):
        for name in ("odd", "wide"):
            self.read(name)
            record = json.loads((self.path / name / "run.json").read_text(encoding="utf-8"))
            page = (self.path / name / "report.html").read_text(encoding="utf-8")
            shown = re.findall("<li>(.*?)</li>", page[page.index('<section id="warnings"'):page.index('<section id="reproduce"')])
            self.assertEqual([plain(item) for item in shown], record["input"]["warnings"] + record["warnings"])
            self.assertTrue(shown)

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
                seal(path.parent)
                done = subprocess.run([PROGRAM, "report", "odd", "-o", "new.html"], cwd=self.path, capture_output=True,
                                      text=True, encoding="utf-8", check=False)
                self.assertEqual(done.returncode, code, done.stderr)
                self.assertIn(message, done.stderr)
                self.assertFalse((self.path / "new.html").exists())
                path.write_text(before, encoding="utf-8")
                seal(path.parent)


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
