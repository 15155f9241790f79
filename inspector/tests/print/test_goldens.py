"""Real files through the program: every document is the one that was worked out independently."""

import json
import os
import unittest

import jsonschema

from support import DOCS, GOLDENS, PARSER, difference, documents, run

SCHEMA = json.loads((DOCS / "json-output.schema.json").read_text())
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)


def expected_document(film):
    document = json.loads(film.with_suffix(".json").read_text(encoding="utf-8"))
    del document["file"]
    return document


class Goldens(unittest.TestCase):
    maxDiff = None

    def assertIsExpected(self, film, document):
        self.assertIsNone(difference(expected_document(film), document), film.name)
        self.assertEqual(document["file"], str(film))
        # The expected documents do not name it: they hold for every version.
        self.assertEqual(document["parser"], PARSER)
        self.assertIsNone(jsonschema.exceptions.best_match(VALIDATOR.iter_errors(document)), film.name)

    def test_there_are_goldens(self):
        self.assertGreaterEqual(len(GOLDENS), 20)

    def test_schema_is_valid_itself(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_expected_documents_follow_the_schema(self):
        for film in GOLDENS:
            with self.subTest(film=film.name):
                VALIDATOR.validate(json.loads(film.with_suffix(".json").read_text(encoding="utf-8")))

    def test_one_by_one(self):
        for film in GOLDENS:
            with self.subTest(film=film.name):
                result = run("tree", "--format", "json", film)
                status = expected_document(film)["status"]
                self.assertEqual(result.returncode, 0 if status == 0 else 1, result.stderr)
                self.assertEqual(result.stderr != b"", status != 0, result.stderr)
                found = documents(result.stdout)
                self.assertEqual(len(found), 1)
                self.assertIsExpected(film, found[0])

    def test_all_in_one_call(self):
        result = run("tree", "--format", "json", *GOLDENS)
        self.assertEqual(result.returncode, 1)
        found = documents(result.stdout)
        self.assertEqual(len(found), len(GOLDENS))
        for film, document in zip(GOLDENS, found):
            with self.subTest(film=film.name):
                self.assertIsExpected(film, document)

    def test_pretty_is_the_same_document(self):
        for film in GOLDENS:
            with self.subTest(film=film.name):
                compact = run("tree", "--format", "json", film).stdout
                pretty = run("tree", "--format", "json", "--pretty", film).stdout
                self.assertEqual(compact.count(b"\n"), 1)
                self.assertGreater(pretty.count(b"\n"), 10)
                # As pairs: the order of the keys is the same too.
                self.assertEqual(json.loads(compact, object_pairs_hook=list),
                                 json.loads(pretty, object_pairs_hook=list))

    def test_text_shows_every_field(self):
        def fields(items):
            for item in items:
                if "field" in item:
                    yield item
                yield from fields(item.get("items", []))

        for film in GOLDENS:
            with self.subTest(film=film.name):
                text = run("tree", film).stdout.decode("utf-8")
                document = expected_document(film)
                for field in fields(document["elements"]):
                    self.assertIn(field["field"], text)
                    self.assertIn(field.get("meaning", ""), text)
                self.assertNotIn("d771bd4e-a2e6-46e3-ad1c-1aafa1b60c87", text)

    def test_locale_does_not_matter(self):
        film = next(film for film in GOLDENS if "utf8" in film.name)
        reference = run("tree", film).stdout
        for locale in ("C", "C.UTF-8", "de_DE.ISO-8859-1"):
            with self.subTest(locale=locale):
                result = run("tree", film, env={"LC_ALL": locale, "LANG": locale})
                self.assertEqual((result.stdout, result.stderr), (reference, b""))


if __name__ == "__main__":
    unittest.main()
