"""The bounds of a run: each ends it cleanly, says so, and can be moved by its option."""

import json
import os
import subprocess
import unittest

import jsonschema

from support import DOCS, Case, documents, film, riff_list, run

SCHEMA = json.loads((DOCS / "json-output.schema.json").read_text())


def nested(levels):
    """An AVI file of `levels` lists inside each other, the outermost being RIFF."""
    total = 12 * levels
    data = bytearray()
    for level in range(levels):
        name, form = (b"RIFF", b"AVI ") if level == 0 else (b"LIST", b"strl")
        data += riff_list(form, b"", name, size=total - 12 * level - 8)
    return bytes(data)


def count(items):
    """Nodes and leaves, without recursion: some of these trees are deeper than Python likes."""
    total, pending = 0, [items]
    while pending:
        for item in pending.pop():
            total += 1
            pending.append(item.get("items", []))
    return total


class Limits(Case):
    def document(self, result):
        found = documents(result.stdout)
        self.assertEqual(len(found), 1)
        return found[0]

    def test_items(self):
        result = run("tree", "--format", "json", "--max-items", "100", self.sample())
        self.assertEnds(result, 1, f"{self.sample().decode()}: stopped at byte ")
        self.assertIn(b"more than 100 elements and fields; --max-items raises this limit", result.stderr)
        document = self.document(result)
        self.assertEqual((document["limit"], document["status"]), ("items", 0))
        self.assertEqual(count(document["elements"]), 100)
        jsonschema.Draft202012Validator(SCHEMA).validate(document)

    def test_items_that_are_enough(self):
        whole = self.document(run("tree", "--format", "json", self.sample()))
        items = count(whole["elements"])
        self.assertEnds(run("tree", "--max-items", str(items), self.sample()), 0)
        self.assertEnds(run("tree", "--max-items", str(items - 1), self.sample()), 1, "--max-items")

    def test_text_is_limited_too(self):
        result = run("tree", "--max-items", "5", self.sample())
        self.assertEnds(result, 1, "--max-items raises this limit")
        self.assertNotEqual(result.stdout, b"")

    def test_a_limit_concerns_one_file_alone(self):
        small = self.path("small", film(1))
        result = run("tree", "--format", "json", "--max-items", "50", small, self.sample(), small)
        self.assertEnds(result, 1, "--max-items", "1 of 3 files has trouble: a limit was reached (1)")
        self.assertEqual([document.get("limit") for document in documents(result.stdout)], [None, "items", None])

    def test_depth(self):
        path = self.path("deep", nested(1200))
        result = run("tree", "--format", "json", path)
        self.assertEnds(result, 1, "stopped at byte 960: more than 80 elements are nested; "
                                   "--max-depth raises this limit")
        self.assertEqual(result.stdout.count(b'"node":'), 80)
        self.assertIn(b'"limit":"depth"', result.stdout)
        self.assertEnds(run("tree", "--max-depth", "7", path), 1, "stopped at byte 84: more than 7 elements")
        self.assertEnds(run("tree", "--max-depth", "1000", path), 1, "stopped at byte 12000: more than 1000 elements")

    def test_deeper_on_request(self):
        for levels in (81, 1000):
            with self.subTest(levels=levels):
                result = run("tree", "--format", "json", "--max-depth", str(levels), self.path("deep", nested(levels)))
                self.assertEnds(result, 0)
                self.assertEqual(result.stdout.count(b'"node":'), levels)
                self.assertNotIn(b'"limit"', result.stdout)

    def test_the_deepest_level_on_every_thread(self):
        """Ordinary stacks hold what may be asked for: that of the main thread, and those of others."""
        path = self.path("deep", nested(1000))
        many = [path] * 4
        for arguments in (["tree", "--paths", "--collapse", "--only", "id", "-j", "4", *many],
                          ["tree", "--format", "json", "-j", "4", *many], ["summary", "-j", "4", *many],
                          ["streams", "-j", "4", *many], ["coverage", path], ["at", path, "11999"],
                          ["diff", path, path]):
            with self.subTest(arguments=arguments[:-1]):
                result = run(*arguments, "--max-depth", "1000")
                self.assertIn(result.returncode, (0, 1), result.stderr)
                self.assertNotIn(b"nested", result.stderr)

    def test_jq_reads_what_is_printed_without_options(self):
        path = self.path("deep", nested(200))
        for arguments in (["tree", path], ["tree", "--pretty", path]):
            with self.subTest(arguments=arguments):
                output = run(*arguments, "--format", "json").stdout
                found = subprocess.run(["jq", "-c", '([.. | objects | select(has("node"))] | length), .limit'],
                                       input=output, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
                self.assertEqual((found.returncode, found.stderr, found.stdout), (0, b"", b'80\n"depth"\n'))

    def test_work(self):
        # Garbage is searched byte by byte, four bytes at a time.
        path = self.path("garbage", film(1))
        os.truncate(path, 40 * 1024 * 1024)
        result = run("tree", "--format", "json", "--max-work", "1", path)
        self.assertEnds(result, 1, f"more than {(40 + 64) * 1024 * 1024} bytes had to be read; "
                                   "--max-work raises this limit")
        document = self.document(result)
        self.assertEqual((document["limit"], document["container"]), ("work", "AVI"))
        jsonschema.Draft202012Validator(SCHEMA).validate(document)
        self.assertEnds(run("tree", "--max-work", "8", path), 0)

    def test_work_as_a_fraction_and_in_bytes(self):
        path = self.path("garbage", film(1))
        os.truncate(path, 40 * 1024 * 1024)
        for work, most in [
            ("0.5", (20 + 64) * 1024 * 1024),
            (".25", (10 + 64) * 1024 * 1024),
            ("10000B", 10000),
            ("64kB", 64000),
            ("1.5MB", 1500000),
            ("64KiB", 65536),
            ("1.25MiB", 1310720),
        ]:
            with self.subTest(work=work):
                result = run("tree", "--format", "json", "--max-work", work, path)
                self.assertEnds(result, 1, f"more than {most} bytes had to be read; --max-work raises this limit")
                self.assertEqual(self.document(result)["limit"], "work")
        for work in ("1GB", "1TiB", "15EiB", "3.9"):
            self.assertEnds(run("tree", "--max-work", work, path), 0)


if __name__ == "__main__":
    unittest.main()
