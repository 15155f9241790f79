"""The check command: verdicts, causes, filters, policies, baselines and exit statuses."""

import json
import os
import unittest

import jsonschema

from support import DOCS, GOLDENS, Case, documents, run

JUDGING = os.path.dirname(os.environ["QUENLOFAR_JUDGING_PLUGIN"])
PLAIN_PLUGIN = os.path.dirname(os.environ["QUENLOFAR_PLAIN_PLUGIN"])
SCHEMA = json.loads((DOCS / "json-output.schema.json").read_text())
POLICY_SCHEMA = json.loads((DOCS / "check-policy.schema.json").read_text())

CAUSE, EFFECT, NOTE = "cause -1 2 1", "effect 0 6 2", "remark -1 3 1"


def check(*arguments, **more):
    return run("check", "--plugin-dir", JUDGING, *arguments, **more)


class JudgedCase(Case):
    def judged(self, *lines, name="a.judged"):
        return self.path(name, "\n".join(("JUDGED", *lines, "")).encode())

    def document(self, *arguments, status=None):
        result = check("--format", "json", *arguments)
        if status is not None:
            self.assertEqual(result.returncode, status, result.stderr)
        document, = documents(result.stdout)
        schema = jsonschema.Draft202012Validator({"$ref": "#/$defs/check", "$defs": SCHEMA["$defs"]})
        self.assertIsNone(jsonschema.exceptions.best_match(schema.iter_errors(document)))
        return document

    def found(self, *arguments, **more):
        return [(one["id"], one["rule"], one.get("causedBy")) for one in self.document(*arguments, **more)["findings"]]


class Documents(JudgedCase):
    maxDiff = None

    def test_json(self):
        path = self.judged("effect 0 6 2", "effect 0 1 1", "effect 0 4 1", "effect 0 5 1", "cause -1 2 1",
                           "unchecked payload of XVID not checked at this level")
        document = self.document(path, status=1)
        self.assertEqual(document, {
            "formatVersion": 1, "file": path.decode(), "fileSize": os.path.getsize(path), "container": "Judged",
            "parser": {"name": "quenlofar-container-judging"}, "level": "default", "verdict": "damaged",
            "counts": {"error": 2, "warning": 0, "note": 0, "suppressed": 0},
            "rules": {"run": 2, "passed": 0, "failed": 2, "notApplicable": 1, "switchedOff": 0},
            "findings": [
                {"id": 1, "rule": "cause", "severity": "error", "confidence": "certain", "offset": 2, "size": 1,
                 "path": "judged/c", "expected": "order", "actual": "disorder",
                 "message": "1 things: Something is broken.", "repair": "patch", "count": 1, "places": [[2, 1]]},
                {"id": 2, "rule": "effect", "severity": "error", "confidence": "certain", "offset": 6, "size": 2,
                 "path": "judged/inner", "stream": 0, "expected": "order", "actual": "disorder",
                 "message": "4 things: Something follows.", "repair": "append", "causedBy": 1, "count": 4,
                 "places": [[6, 2], [1, 1], [4, 1]]}],
            "notChecked": ["payload of XVID not checked at this level"], "status": 0})
        self.assertEqual(list(document)[:9], ["formatVersion", "file", "fileSize", "container", "parser", "level",
                                              "verdict", "counts", "rules"])

    def test_paths_are_what_at_says(self):
        for place, path in (("0 1", "judged/a"), ("5 1", "judged/f"), ("5 2", "judged"), ("6 0", "judged/inner"),
                            ("20 1", "judged")):
            with self.subTest(place=place):
                finding, = self.document(self.judged(f"cause -1 {place}", "padding " * 9))["findings"]
                self.assertEqual(finding["path"], path)
        # Of real files: fields have the path that the at command prints.
        for film in GOLDENS:
            for finding in self.document(film)["findings"]:
                at, = documents(run("at", "--format", "json", film, str(finding["offset"])).stdout)
                place, = at["places"]
                told = [leaf["path"] for leaf in place["leaves"]] + [place.get("innermost", {}).get("path", "")]
                self.assertTrue(any(path.startswith(finding.get("path", "")) for path in told), finding)

    def test_levels(self):
        path = self.judged(CAUSE, EFFECT, NOTE)
        for level, rules in (("quick", ["cause"]), ("default", ["cause", "effect"]),
                             ("deep", ["cause", "effect", "remark"])):
            document = self.document("--level", level, path)
            self.assertEqual((document["level"], [one["rule"] for one in document["findings"]]), (level, rules))
            self.assertEqual(document["rules"]["run"] + document["rules"]["notApplicable"], 3)

    def test_filters_come_after_causes(self):
        path = self.judged(CAUSE, EFFECT, NOTE)
        deep = ("--level", "deep")
        self.assertEqual(self.found(*deep, path), [(1, "cause", None), (2, "effect", 1), (3, "remark", None)])
        self.assertEqual(self.found(*deep, "--except", "cause", path), [(1, "effect", None), (2, "remark", None)])
        self.assertEqual(self.found(*deep, "--only", "effect,remark", "--except", "remark", path), [(1, "effect", None)])
        document = self.document("--only", "remark", "--level", "deep", path, status=0)
        self.assertEqual(document["verdict"], "conforms")
        self.assertEqual(document["rules"], {"run": 1, "passed": 0, "failed": 1, "notApplicable": 0, "switchedOff": 2})
        for option in ("--only", "--except"):
            self.assertEnds(check(option, "cause,nonsense", path), 2, f'{option}: there is no rule "nonsense"',
                            "try: quenlofar check --list-rules")

    def test_exit_statuses(self):
        error, note = self.judged(CAUSE, name="error"), self.judged(NOTE, name="note")
        clean = self.judged(name="clean")
        for path, arguments, status in [
                (clean, [], 0), (error, [], 1), (error, ["--fail-on", "never"], 0), (error, ["--fail-on", "note"], 1),
                (note, ["--level", "deep"], 0), (note, ["--level", "deep", "--fail-on", "warning"], 0),
                (note, ["--level", "deep", "--fail-on", "note"], 1)]:
            with self.subTest(path=path, arguments=arguments):
                self.assertEnds(check(*arguments, path), status)
        missing = self.path("missing")
        self.assertEnds(check("--fail-on", "never", missing), 2, "cannot be opened")
        self.assertEnds(check(error, missing, clean), 2, "cannot be opened",
                        "2 of 3 files have trouble: damaged (1), cannot be opened (1)")
        self.assertEnds(check("-q", error, error, clean), 1)

    def test_nobody_can_judge(self):
        plain = self.path("a.plain", b"PLAIN\x01")
        result = run("check", "--format", "json", "--plugin-dir", PLAIN_PLUGIN, plain)
        self.assertEnds(result, 1, "no rules for this container")
        document, = documents(result.stdout)
        self.assertEqual((document["container"], document["verdict"], document["notChecked"], document["status"]),
                         ("Plain", "unknown", ["no rules for this container"], 0))
        text = self.path("text", b"no film")
        result = check("--format", "json", text)
        self.assertEnds(result, 1, "no parser recognises the file")
        document, = documents(result.stdout)
        self.assertEqual((document["container"], document["verdict"], document["status"]), (None, "unknown", 3))
        stopped = self.judged("stop")
        result = check("--format", "json", stopped)
        self.assertEnds(result, 2, "memory ran out")
        self.assertEqual(documents(result.stdout)[0]["verdict"], "unknown")
        # What was found before is still the verdict.
        self.assertEqual(documents(check("--format", "json", self.judged("stop", CAUSE)).stdout)[0]["verdict"], "damaged")

    def test_side_by_side(self):
        paths = [self.judged(*[CAUSE] * (number % 3), name=f"{number}.judged") for number in range(20)]
        for form in ("text", "json", "csv", "sarif", "junit", "lines"):
            one, several = (check("--format", form, "-j", jobs, *paths) for jobs in ("1", "4"))
            self.assertEqual((one.stdout, one.stderr, one.returncode), (several.stdout, several.stderr, several.returncode))


class Decisions(JudgedCase):
    def policy(self, content):
        return self.path("policy.json", content if isinstance(content, bytes) else json.dumps(content).encode())

    def test_severity(self):
        content = {"rules": [{"rule": "cause", "severity": "note", "reason": "our writer does that"}]}
        jsonschema.Draft202012Validator(POLICY_SCHEMA).validate(content)
        document = self.document("--policy", self.policy(content), self.judged(CAUSE), status=0)
        finding, = document["findings"]
        self.assertEqual((finding["severity"], finding["severityReason"], document["verdict"]),
                         ("note", "our writer does that", "conforms"))
        self.assertEqual(document["counts"], {"error": 0, "warning": 0, "note": 1, "suppressed": 0})

    def test_off(self):
        content = {"rules": [{"rule": "cause", "severity": "off", "reason": "known"}],
                   "thresholds": {"durationSeconds": 3}}
        jsonschema.Draft202012Validator(POLICY_SCHEMA).validate(content)
        document = self.document("--policy", self.policy(content), self.judged(CAUSE, EFFECT), status=1)
        cause, effect = document["findings"]
        self.assertEqual((cause["suppressed"], effect["causedBy"], "suppressed" in effect), ("known", 1, False))
        self.assertEqual(document["counts"], {"error": 1, "warning": 0, "note": 0, "suppressed": 1})
        self.assertEqual(document["rules"]["switchedOff"], 1)

    def test_refused(self):
        entry = {"rule": "cause", "severity": "off", "reason": "known"}
        for content, message in [
                (b"{", "no JSON"), (b"[]", "no object"), ({"rule": []}, 'no key "rule"'), ({"rules": {}}, "no array"),
                ({"rules": [dict(entry, reason=" ")]}, 'needs a "reason"'),
                ({"rules": [dict(entry, severity="fatal")]}, "error, warning, note or off"),
                ({"rules": [dict(entry, why="x")]}, 'no key "why"'), ({"rules": [entry, entry]}, "two decisions"),
                ({"thresholds": {"durationShare": 2}}, "from 0 to 1"), ({"thresholds": {"x": 2}}, 'no threshold "x"'),
                ({"formatVersion": 2}, "is not 1")]:
            with self.subTest(content=content):
                self.assertEnds(check("--policy", self.policy(content), self.judged()), 2, message)
                if not isinstance(content, bytes) and message != "two decisions":
                    self.assertFalse(jsonschema.Draft202012Validator(POLICY_SCHEMA).is_valid(content))
        unknown = self.policy({"rules": [dict(entry, rule="nonsense")]})
        self.assertEnds(check("--policy", unknown, self.judged()), 2, 'there is no rule "nonsense"',
                        "try: quenlofar check --list-rules")
        self.assertEnds(check("--policy", self.path("nowhere"), self.judged()), 2, "No such file")

    def test_baseline(self):
        path = self.judged(CAUSE, EFFECT)
        for form in (["--format", "json"], ["--format", "json", "--pretty"]):
            baseline = self.path("old.json", check(*form, path, self.judged(name="b.judged")).stdout)
            self.assertEqual(self.document("--baseline", baseline, path, status=0)["counts"],
                             {"error": 0, "warning": 0, "note": 0, "suppressed": 2})
        # Another offset is the same finding; another actual text, stream, rule or file is not.
        for lines, suppressed in [(["cause -1 5 1"], 1), (["cause -1 2 1 chaos"], 0), (["cause 0 2 1"], 0),
                                  ([EFFECT, "remark -1 0 1"], 1)]:
            with self.subTest(lines=lines):
                document = self.document("--baseline", baseline, self.judged(*lines))
                self.assertEqual(document["counts"]["suppressed"], suppressed)
                self.assertEqual([one.get("suppressed") for one in document["findings"]][:1],
                                 ["baseline"] if suppressed else [None])
        other = self.judged(CAUSE, name="other.judged")
        self.assertEqual(self.document("--baseline", baseline, other, status=1)["counts"]["suppressed"], 0)
        for content in (b"x\n", b'{"file":1,"findings":[]}\n', b'{"file":"a"}\n'):
            self.assertEnds(check("--baseline", self.path("bad", b"\n" + content), path), 2,
                            "line 2 is no document of check --format json")


class Questions(JudgedCase):
    def test_list(self):
        result = check("--list-rules")
        self.assertEnds(result, 0)
        self.assertRegex(result.stdout.decode(),
                         r"(?m)^Judged +effect +error or warning +default +append +Nothing follows from it$")
        result = check("--list-rules", "--format", "json")
        document, = documents(result.stdout)
        jsonschema.Draft202012Validator({"$ref": "#/$defs/rules", "$defs": SCHEMA["$defs"]}).validate(document)
        self.assertIn({"container": "Judged", "rule": "effect", "severity": "error", "severities": ["error", "warning"],
                       "level": "default", "repair": "append", "title": "Nothing follows from it",
                       "source": "practice"}, document["rules"])
        self.assertIn("AVI", {one["container"] for one in document["rules"]})

    def test_explain(self):
        result = check("--explain", "cause")
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout.decode().splitlines(), [
            "cause (Judged): Nothing is broken", "  severity: error", "  level: quick", "  repair: patch",
            "  why: Something is broken.", "  who notices: all readers", "  what to do: Mend it.", "  source: practice"])
        self.assertEnds(check("--explain", "nonsense"), 2, 'there is no rule "nonsense"',
                        "try: quenlofar check --list-rules")

    def test_files_are_needed_otherwise(self):
        self.assertEnds(check(), 2, "FILE is required", "try: quenlofar --help")


if __name__ == "__main__":
    unittest.main()
