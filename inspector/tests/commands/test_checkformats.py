"""What check prints for people and for other programs: text, lines, CSV, SARIF, JUnit."""

import csv
import io
import json
import os
import signal
import subprocess
import time
import unittest
import urllib.parse
import xml.etree.ElementTree as xml

from support import PROGRAM, default_interrupt, documents, environment, run
from test_check import CAUSE, EFFECT, JUDGING, NOTE, JudgedCase, check


class Text(JudgedCase):
    def test_causes_are_on_top(self):
        path = self.judged(NOTE, "effect 0 1 1", "effect 0 4 1", CAUSE, "unchecked the payload")
        result = check("--level", "deep", path)
        self.assertEqual(result.stdout.decode().splitlines(), [
            f"{path.decode()}: damaged, 2 errors, 1 note",
            "  error: 1 things: Something is broken. (cause)",
            "    at 2, judged/c: expected order, found disorder",
            "    error: 2 things: Something follows. (effect)",
            "      at 1, judged/b, stream 0: expected order, found disorder; 2 times, also at 4",
            "  note: 1 things: Something is unusual. (remark)",
            "    at 3, judged/d: expected order, found disorder",
            "  not checked: the payload"])

    def test_a_clean_file_is_one_line(self):
        path = self.judged("unchecked the payload")
        self.assertEqual(check(path, self.judged(name="b")).stdout.decode(),
                         f"{path.decode()}: conforms (not checked: the payload)\n{self.path('b').decode()}: conforms\n")

    def test_nobody_can_judge(self):
        text = self.path("text", b"no film")
        self.assertEqual(check(text).stdout.decode(),
                         f"{text.decode()}: unknown, no parser recognises the file (status 3)\n")

    def test_colour(self):
        path = self.judged(NOTE, CAUSE)
        shown = check("--color", "always", "--level", "deep", path).stdout
        self.assertIn(b"\x1b[31mdamaged, 1 error, 1 note\x1b[0m", shown)
        self.assertIn(b"\x1b[31merror\x1b[0m: ", shown)
        self.assertNotIn(b"\x1b", check("--level", "deep", path).stdout)

    def test_names_do_not_steer_the_terminal(self):
        path = self.judged("cause -1 2 1 a\x1b[31mb", name=b"a\x1b[31m\nb\xff")
        for form in ("text", "lines", "csv", "json", "sarif", "junit"):
            with self.subTest(form=form):
                shown = check("--format", form, path).stdout
                self.assertNotIn(b"\x1b", shown)
                shown.decode() # is UTF-8

    def test_lines(self):
        paths = [self.judged(CAUSE, EFFECT, name="a"), self.judged(name="b"), self.path("text", b"x")]
        names = [path.decode() for path in paths]
        self.assertEqual(check("--format", "lines", *paths).stdout.decode().splitlines(), [
            f"{names[0]}: damaged, 2 errors", f"{names[1]}: conforms",
            f"{names[2]}: unknown, no parser recognises the file (status 3)"])

    def test_csv(self):
        path = self.judged(CAUSE, EFFECT)
        header, *rows = csv.reader(io.StringIO(check("--format", "csv", path).stdout.decode(), newline=""), strict=True)
        self.assertEqual(header, ["id", "rule", "severity", "confidence", "offset", "size", "path", "stream", "expected",
                                  "actual", "message", "repair", "causedBy", "count", "suppressed"])
        self.assertEqual(rows, [
            ["1", "cause", "error", "certain", "2", "1", "judged/c", "", "order", "disorder",
             "1 things: Something is broken.", "patch", "", "1", ""],
            ["2", "effect", "error", "certain", "6", "2", "judged/inner", "0", "order", "disorder",
             "1 things: Something follows.", "append", "1", "1", ""]])
        header, *rows = csv.reader(io.StringIO(check("--format", "csv", path, path).stdout.decode()), strict=True)
        self.assertEqual((header[0], rows[0][0], len(rows)), ("file", path.decode(), 4))


class Sarif(JudgedCase):
    def test_document(self):
        baseline = self.path("old", check("--format", "json", self.judged(EFFECT)).stdout)
        path, clean = self.judged(CAUSE, EFFECT), self.judged(name="clean")
        odd = self.judged("cause -1 3 1", name=b"a b%:\xff")
        result = check("--format", "sarif", "--baseline", baseline, clean, path, odd, self.path("missing"))
        self.assertEqual(result.returncode, 2)
        document = json.loads(result.stdout)
        self.assertEqual(document["version"], "2.1.0")
        sarif, = document["runs"]
        rules = sarif["tool"]["driver"]["rules"]
        self.assertEqual(sarif["tool"]["driver"]["name"], "quenlofar")
        cause, effect, other = sarif["results"]
        for found in (cause, effect, other):
            self.assertEqual(rules[found["ruleIndex"]]["id"], found["ruleId"])
            self.assertIn(found["level"], ("error", "warning", "note"))
        location = cause["locations"][0]
        self.assertEqual(location["physicalLocation"]["region"], {"byteOffset": 2, "byteLength": 1})
        self.assertEqual(location["logicalLocations"][0]["fullyQualifiedName"], "judged/c")
        self.assertEqual(effect["suppressions"], [{"kind": "external", "justification": "baseline"}])
        self.assertNotIn("suppressions", cause)
        uri = other["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
        self.assertEqual(urllib.parse.unquote_to_bytes(urllib.parse.urlsplit(uri).path), odd)
        invocation, = sarif["invocations"]
        self.assertFalse(invocation["executionSuccessful"])
        self.assertIn("cannot be opened", invocation["toolExecutionNotifications"][0]["message"]["text"])

    def test_offsets_beyond_32_bits_are_whole(self):
        # A hollow film whose second RIFF is none: its trailing bytes begin where 32 bits end.
        path = self.path("film.avi", b"RIFF\4\0\0\0AVI ")
        os.truncate(path, 6 << 30)
        with open(path, "r+b") as file:
            file.seek(5 << 30)
            file.write(b"RIFF\x1c\0\0\0AVIXLIST\x10\0\0\0movi07wb\4\0\0\0data")
        sarif, = json.loads(run("check", "--format", "sarif", "--only", "undeclared-stream", path).stdout)["runs"]
        found, = sarif["results"]
        self.assertEqual(found["locations"][0]["physicalLocation"]["region"]["byteOffset"], (5 << 30) + 24)

    def test_without_findings(self):
        sarif, = json.loads(check("--format", "sarif", self.judged()).stdout)["runs"]
        self.assertEqual((sarif["results"], sarif["invocations"][0]["executionSuccessful"]), ([], True))


class Junit(JudgedCase):
    def test_document(self):
        path, clean = self.judged(CAUSE, CAUSE, "effect 0 6 2 <&\x01>"), self.judged(name="clean")
        result = check("--format", "junit", path, clean, self.path("missing"))
        suites = xml.fromstring(result.stdout)
        self.assertEqual(suites.tag, "testsuites")
        damaged, conforming, missing = suites
        self.assertEqual({key: damaged.get(key) for key in ("name", "tests", "failures", "errors", "skipped")},
                         {"name": path.decode(), "tests": "3", "failures": "2", "errors": "0", "skipped": "1"})
        cause, effect, note = damaged
        self.assertEqual((cause.get("classname"), cause.get("name")), ("Judged", "cause"))
        self.assertIn("at 2, judged/c", cause.find("failure").text)
        self.assertIn("<&\\x01>", effect.find("failure").text)
        self.assertEqual(note.find("skipped").get("message"), "not applicable")
        self.assertEqual([len(case) for case in conforming], [0, 0, 1])
        self.assertIn("cannot be opened", missing[0].find("error").get("message"))

    def test_what_does_not_fail_is_told(self):
        suite, = xml.fromstring(check("--format", "junit", "--fail-on", "never", self.judged(CAUSE)).stdout)
        self.assertEqual(suite.get("failures"), "0")
        self.assertIn("Something is broken", suite[0].find("system-out").text)


class Interrupted(JudgedCase):
    def test_documents_of_all_files_are_complete(self):
        # Many files, so that the signal comes between them.
        paths = [self.judged(CAUSE, name=f"{number}.judged") for number in range(3000)]
        listed = self.path("list", b"\n".join(paths))
        for form, read in (("sarif", json.loads), ("junit", xml.fromstring)):
            with self.subTest(form=form):
                process = subprocess.Popen([PROGRAM, "check", "--plugin-dir", JUDGING, "--format", form, "--files-from",
                                            listed], env=environment(), bufsize=0, stdout=subprocess.PIPE,
                                           stderr=subprocess.PIPE,
                                           preexec_fn=default_interrupt)
                first = process.stdout.read(1)
                time.sleep(0.05)
                process.send_signal(signal.SIGINT)
                rest, _ = process.communicate(timeout=60)
                read(first + rest)
                self.assertIn(process.returncode, (1, 130))


class Summary(JudgedCase):
    def test_the_first_causes(self):
        lines = [CAUSE, EFFECT, "effect 1 0 1", NOTE]
        result = run("summary", "--plugin-dir", JUDGING, self.judged(*lines))
        self.assertEnds(result, 1, "damaged: 1 things: Something is broken. (cause)")
        self.assertEqual(result.stdout.decode().splitlines()[-1].split(None, 1),
                         ["verdict", "damaged: 1 things: Something is broken (cause)"])
        document, = documents(run("summary", "--plugin-dir", JUDGING, "--format", "json", self.judged(*lines)).stdout)
        self.assertEqual((document["verdict"], document["counts"]["error"]), ("damaged", 3))
        self.assertEqual(document["causes"], [{"rule": "cause", "severity": "error", "offset": 2,
                                               "message": "1 things: Something is broken."}])

    def test_more_causes_than_are_shown(self):
        lines = [f"effect {stream} {stream} 1" for stream in range(5)]
        shown = run("summary", "--plugin-dir", JUDGING, self.judged(*lines)).stdout.decode().splitlines()
        self.assertEqual([line.split(": ")[-1].strip() for line in shown[-4:]],
                         ["Something follows (effect)"] * 3 + ["2 more; quenlofar check lists all"])


if __name__ == "__main__":
    unittest.main()
