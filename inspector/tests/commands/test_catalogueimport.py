"""What other machines check, taken into one catalogue: equal to what one run finds."""

import json
import os
import sqlite3
import subprocess
import unittest

import jsonschema
import test_catalogue
from support import DOCS, PROGRAM, environment, film, run


class Import(test_catalogue.Catalogue):
    def setUp(self):
        super().setUp()
        for number in range(12):
            self.film(f"{number % 3}/{number}.avi", film(number) if number % 2 else None)
        self.film("no film.avi", b"nothing")
        self.film(b"caf\xe9.avi")
        self.paths = sorted(os.fsencode(path) for path in self.archive.rglob("*.avi"))

    def part(self, name, paths, status=1):
        """A file with what a check of `paths` prints, as a machine of a cluster would make it."""
        target = self.directory / name
        result = run("check", "--format", "json", "--file-facts", "--digest", "sha256", "-o", target, "--files-from",
                     "-", stdin=None, input=b"\0".join(paths) + b"\0")
        self.assertEqual(result.returncode, status, result.stderr)
        return target

    def take(self, *parts, status=0):
        result = self.catalogue(*(word for part in parts for word in ("--import", part)), archive=False)
        self.assertEqual((result.returncode, result.stderr), (status, b""))
        return result

    def contents(self):
        return (self.rows("SELECT path, size, mtime, inode, device, digest_kind, digest, status, trouble, verdict, "
                          "container, writer, errors, warnings, notes, program, rules, level FROM file ORDER BY path"),
                self.rows("SELECT path, number, kind, name, codec, codec_name, width, height, frame_rate, sample_rate, "
                          "channels, seconds FROM stream JOIN file ON file.id = file ORDER BY path, number"),
                self.rows("SELECT path, number, caused_by, rule, severity, confidence, repair, stream, count, offset, "
                          "message FROM finding JOIN file ON file.id = file ORDER BY path, number"))

    def dump(self):
        connection = sqlite3.connect(self.database)
        try:
            return list(connection.iterdump())
        finally:
            connection.close()

    def test_equal_to_one_run(self):
        parts = [self.part(f"part-{number}.jsonl", self.paths[number::3]) for number in range(3)]
        first = self.take(*parts, status=1)
        self.assertIn(b"damaged: ", first.stdout)
        imported = self.contents()
        self.assertEqual(len(imported[0]), len(self.paths))
        self.database.unlink()
        whole = self.catalogue("--digest", "sha256")
        self.assertEqual((whole.returncode, whole.stdout), (1, first.stdout))
        self.assertEqual(self.contents(), imported)

    def test_documents_follow_their_schema(self):
        schema = json.loads((DOCS / "json-output.schema.json").read_text())
        validator = jsonschema.Draft202012Validator({"$ref": "#/$defs/check", "$defs": schema["$defs"]})
        for line in self.part("part.jsonl", [*self.paths, b"/nowhere"], status=2).read_text().splitlines():
            document = json.loads(line)
            self.assertIsNone(jsonschema.exceptions.best_match(validator.iter_errors(document)))
            self.assertIn("fileFacts", document)

    def test_twice_changes_nothing(self):
        part = self.part("part.jsonl", self.paths)
        self.take(part, status=1)
        before = self.dump()
        self.take(part)
        self.take(part, part)
        self.assertEqual(self.dump(), before)

    def test_an_older_check_does_not_replace_a_newer_one(self):
        old = self.part("old.jsonl", self.paths)
        self.film("0/0.avi", film(5))
        self.take(self.part("new.jsonl", self.paths), status=1)
        before = self.dump()
        self.take(old)
        self.assertEqual(self.dump(), before)

    def test_a_run_goes_on_from_what_was_imported(self):
        self.take(self.part("part.jsonl", self.paths[:-1]), status=1)
        gone, path = os.fsencode(self.archive / "1" / "1.avi"), self.film("another.avi") # whose bytes are others
        os.unlink(gone)
        result = self.catalogue("--digest", "sha256")
        self.assertEqual((result.returncode, result.stdout), (1, b"missing: " + gone + b"\n"))
        self.assertEqual(self.rows("SELECT checked FROM run ORDER BY id DESC LIMIT 1"), [(2,)])
        self.assertTrue(path.exists())

    def test_other_files(self):
        part = self.part("part.jsonl", self.paths)
        lines = part.read_bytes().splitlines(keepends=True)
        plain = run("check", "--format", "json", self.paths[0]).stdout
        hostile = json.loads(lines[0])
        for finding in hostile["findings"]:
            finding.update(id=-1e300, stream=1e300, count="x", places=7)
        hostile["counts"] = {"error": 1e30, "warning": -4}
        hostile["fileFacts"].update(streams=[{"number": 1e99, "width": -1, "length": "x"}])
        rows = [(b"no JSON\n", b"line 1: "), (lines[0] + b"{}\n", b"line 2: no document"),
                (plain, b"line 1: no document"), (lines[0][:-20], b"line 1: ")]
        for content, message in rows:
            part.write_bytes(content)
            result = self.catalogue("--import", part, archive=False)
            self.assertEqual(result.returncode, 2)
            self.assertIn(message, result.stderr)
        part.write_text(json.dumps(hostile) + "\n")
        self.database.unlink()
        self.assertLess(self.catalogue("--import", part, archive=False).returncode, 2)
        self.assertWhole()
        self.assertEqual(self.catalogue("--import", self.directory / "none", archive=False).returncode, 2)

    def test_from_a_pipe(self):
        part = self.part("part.jsonl", self.paths)
        self.take(part, status=1)
        expected = self.contents()
        self.database.unlink()
        script = 'cat "$1" | { sleep 0.2; cat; sleep 0.2; } | "$2" catalogue --database "$3" --import /dev/stdin'
        result = subprocess.run(["sh", "-c", script, "sh", part, PROGRAM, self.database], env=environment(),
                                capture_output=True, timeout=120)
        self.assertEqual((result.returncode, result.stderr), (1, b""))
        self.assertEqual(self.contents(), expected)

    def test_parts_that_cannot_be_read(self):
        self.assertEnds(self.catalogue("--import", self.archive, archive=False), 2, "Is a directory")
        self.assertEnds(self.catalogue("--import", self.directory / "none", archive=False), 2, "No such file")

    def test_a_digest_stays_where_a_part_has_none(self):
        self.take(self.part("part.jsonl", self.paths), status=1)
        before = self.rows("SELECT path, digest_kind, digest FROM file ORDER BY path")
        self.film("0/0.avi", film(5))
        part = self.directory / "without.jsonl"
        run("check", "--format", "json", "--file-facts", "-o", part, *(os.fsdecode(path) for path in self.paths))
        self.assertEqual(self.catalogue("--import", part, archive=False).returncode, 1)
        after = self.rows("SELECT path, digest_kind, digest FROM file ORDER BY path")
        changed = os.fsencode(self.archive / "0" / "0.avi")
        self.assertEqual(after, [(changed, None, None) if row[0] == changed else row for row in before])

    def test_facts_are_of_whole_judgements(self):
        path = self.paths[0]
        for options in (["--file-facts"], ["--file-facts", "--format", "lines"],
                        ["--format", "json", "--digest", "fast"],
                        ["--file-facts", "--format", "json", "--only", "index-missing"]):
            self.assertEqual(run("check", *options, path).returncode, 2, options)


if __name__ == "__main__":
    unittest.main()
