"""Reports on catalogues: numbers typed by hand for archives made for one test, in all formats."""

import csv
import html.parser
import io
import json
import os
import unittest

import jsonschema
import test_catalogue
from support import DOCS, film, run

WRITER = "Lavf59.27.100"


class Page(html.parser.HTMLParser):
    """Reads a page: its open elements, its text, what it would load."""

    EMPTY = {"meta", "rect", "br"}

    def __init__(self, text):
        super().__init__()
        self.open, self.text, self.tags, self.attributes = [], "", [], []
        self.feed(text)
        self.close()

    def handle_starttag(self, tag, attributes):
        self.tags.append(tag)
        self.attributes += attributes
        if tag not in self.EMPTY:
            self.open.append(tag)

    def handle_startendtag(self, tag, attributes):
        self.tags.append(tag)
        self.attributes += attributes

    def handle_endtag(self, tag):
        if self.open.pop() != tag:
            raise ValueError(f"</{tag}> closes something else")

    def handle_data(self, data):
        if "style" not in self.open:
            self.text += data


class Reports(test_catalogue.Catalogue):
    def setUp(self):
        super().setUp()
        for name in ("a.avi", "b.avi", "c.avi"):
            self.film(name)
        self.film("<i>&bad.avi", film(3))
        self.film("=1+1.avi", b"nothing")
        self.catalogue()
        (self.archive / "a.avi").rename(self.archive / "moved.avi")
        (self.archive / "b.avi").unlink()
        self.film("new\x1b<i>&amp;.avi", film(3))

    def report(self, form, *options, archive=True, status=1):
        result = self.catalogue("--report", form, *options, archive=archive)
        self.assertEqual((result.returncode, result.stderr), (status, b""))
        return result.stdout.decode()

    def test_json(self):
        schema = json.loads((DOCS / "catalogue-report.schema.json").read_text())
        document = json.loads(self.report("json"))
        errors = jsonschema.Draft202012Validator(schema).iter_errors(document)
        self.assertIsNone(jsonschema.exceptions.best_match(errors))
        self.assertEqual((document["schemaVersion"], document["files"]), (1, 5))
        self.assertEqual(document["bytes"], sum(path.stat().st_size for path in self.archive.iterdir()))
        self.assertEqual((document["run"]["number"], document["run"]["isFinished"], document["run"]["level"]),
                         (2, True, "default"))
        self.assertEqual([(row["name"], row["files"], row["damaged"]) for row in document["verdicts"]],
                         [("conforms", 2, 0), ("damaged", 2, 2), ("unknown", 1, 0)])
        self.assertEqual([(row["name"], row["files"], row["damaged"]) for row in document["writers"]],
                         [("", 3, 2), (WRITER, 2, 0)])
        self.assertEqual({(row["name"], row["detail"], row["files"]) for row in document["codecs"]},
                         {("MPEG-4 Visual", "video", 2), ("MP3", "audio", 2)})
        errors = [row for row in document["rules"] if row["detail"] == "error"]
        self.assertTrue(errors)
        for row in errors: # both damaged files are alike
            self.assertEqual((row["files"], row["damaged"]), (2, 2))
            self.assertEqual(row["findings"] % 2, 0)
        self.assertEqual({os.path.basename(row["file"]) for row in document["newFindings"]}, {"new\x1b<i>&amp;.avi"})
        self.assertEqual(document["missing"], [{"file": str(self.archive / "b.avi"), "what": "new"}])
        self.assertEqual(document["moved"], [{"file": str(self.archive / "moved.avi"),
                                              "before": str(self.archive / "a.avi")}])
        self.assertEqual((document["changed"], document["notChecked"]), ([], []))

    def test_a_report_alone_says_the_same(self):
        for form in ("text", "html", "csv", "json"):
            with self.subTest(form):
                first = self.report(form, status=1 if form == "text" else 0)
                again = self.report(form, archive=False, status=0)
                self.assertEqual(first, again)

    def test_csv(self):
        rows = list(csv.reader(io.StringIO(self.report("csv"))))
        self.assertEqual(rows[0], ["section", "name", "detail", "files", "damaged", "findings"])
        self.assertTrue(all(len(row) == 6 for row in rows))
        self.assertIn(["verdicts", "damaged", "", "2", "2", "0"], rows)
        self.assertIn(["codecs", "MP3", "audio", "2", "0", "0"], rows)
        self.assertIn(["missing", str(self.archive / "b.avi"), "new", "", "", ""], rows)
        self.assertIn(["moved", str(self.archive / "moved.avi"), str(self.archive / "a.avi"), "", "", ""], rows)
        self.assertNotIn("\x1b", str(rows))

    def test_text(self):
        text = self.report("text")
        self.assertTrue(text.startswith("5 files, "), text)
        self.assertIn("       2  damaged\n", text)
        self.assertIn("       2  MP3 (audio)\n", text)
        self.assertIn(f"Missing: 1\n  {self.archive}/b.avi: new\n", text)
        self.assertIn(f"Moved: 1\n  {self.archive}/moved.avi, before {self.archive}/a.avi\n", text)
        self.assertNotIn("\x1b", text)

    def test_html(self):
        text = self.report("html")
        page = Page(text)
        self.assertEqual(page.open, [])
        self.assertEqual(page.tags.count("html"), 1)
        self.assertLess(set(page.tags), {"html", "head", "meta", "title", "style", "body", "h1", "h2", "p", "br",
                                         "table", "tr", "th", "td", "svg", "rect", "script"})
        self.assertNotIn("script", page.tags)
        self.assertEqual({name for name, _ in page.attributes} & {"src", "href", "onload", "onclick", "style"}, set())
        self.assertNotRegex(text, "url\\(|@import")
        self.assertIn("new\\x1B<i>&amp;.avi", page.text)
        self.assertIn(f"before {self.archive}/a.avi", page.text)
        self.assertIn("Missing: 1", page.text)
        self.assertNotIn("\x1b", text)
        # The longest bar is the whole width; the damaged part of that of the damaged is as long as the bar itself.
        labels = [value for name, value in page.attributes if name == "aria-label"]
        self.assertIn("2 files, 2 damaged", labels)
        self.assertIn("100.00", [value for name, value in page.attributes if name == "width"])

    def test_a_report_in_a_file(self):
        target = self.directory / "report.html"
        self.assertEqual(self.report("html", "-o", target), "")
        self.assertEqual(Page(target.read_text()).tags.count("h1"), 1)

    def test_long_lists_are_cut_short_for_people(self):
        archive = self.directory / "many"
        archive.mkdir()
        for number in range(1003):
            (archive / f"{number:04}.avi").write_bytes(b"nothing")
        database = self.directory / "many.sqlite"
        self.assertEqual(run("catalogue", "--database", database, "-r", archive).returncode, 0)
        for path in archive.iterdir():
            path.unlink()
        texts = {form: run("catalogue", "--database", database, "-r", archive, "--report", form).stdout.decode()
                 for form in ("text", "html", "csv", "json")}
        self.assertIn("Missing: 1003\n", texts["text"])
        self.assertIn("  and 3 more\n", texts["text"])
        self.assertIn("<p>and 3 more</p>", texts["html"])
        self.assertEqual(texts["html"].count(".avi"), 1000)
        self.assertEqual(texts["csv"].count("missing,"), 1003)
        self.assertEqual(len(json.loads(texts["json"])["missing"]), 1003)


if __name__ == "__main__":
    unittest.main()
