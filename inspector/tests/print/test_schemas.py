"""Documents of all commands but tree follow their JSON Schema: of real files, of cut ones, and of what is no film."""

import copy
import json
import unittest

import jsonschema

from support import DOCS, GOLDENS, Case, documents, run

SCHEMA = json.loads((DOCS / "json-output.schema.json").read_text())


def validator(command):
    return jsonschema.Draft202012Validator({"$ref": f"#/$defs/{command}", "$defs": SCHEMA["$defs"]})


class Schemas(Case):
    def files(self):
        """Paths of files of all kinds."""
        film = self.sample()
        with open(film, "rb") as sample:
            data = sample.read()
        return [*GOLDENS, *(self.path(f"{size}.avi", data[:size]) for size in range(0, len(data), 1201)),
                self.path("text.avi", b"no film at all"), self.directory / "nowhere.avi"]

    def assertFollows(self, command, *arguments):
        result = run(command, "--format", "json", *arguments)
        found = documents(result.stdout)
        for document in found:
            with self.subTest(command=command, file=document.get("file")):
                self.assertIsNone(jsonschema.exceptions.best_match(validator(command).iter_errors(document)))
        return found

    def test_commands_of_many_files(self):
        files = self.files()
        for command in ("summary", "streams", "frames", "coverage"):
            self.assertEqual(len(self.assertFollows(command, *files)), len(files))

    def test_limits(self):
        for command in ("summary", "streams", "frames", "coverage"):
            document, = self.assertFollows(command, "--max-items", "100", self.sample())
            self.assertEqual(document["limit"], "items")

    def test_at(self):
        for file in self.files():
            self.assertFollows("at", file, "0", "30", "300", "2000")

    def test_diff(self):
        files = self.files()
        for first, second in zip(files, files[1:]):
            self.assertFollows("diff", first, second)
        same, = self.assertFollows("diff", files[0], files[0])
        self.assertTrue(same["same"])

    def test_the_schema_says_no(self):
        film = self.sample()
        for command, arguments in {"summary": [film], "streams": [film], "frames": [film], "coverage": [film],
                                   "at": [film, "30"], "diff": [film, film]}.items():
            document, = self.assertFollows(command, *arguments)
            optional = {"limit", "cancelled", "error"}
            for key in sorted(set(document) - optional):
                with self.subTest(command=command, key=key):
                    lacking = copy.deepcopy(document)
                    del lacking[key]
                    self.assertFalse(validator(command).is_valid(lacking))
                    wrong = dict(document, **{key: [1]})
                    self.assertFalse(validator(command).is_valid(wrong))


if __name__ == "__main__":
    unittest.main()
