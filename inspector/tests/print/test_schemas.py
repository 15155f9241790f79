"""Documents of all commands but tree follow their JSON Schema: of real files, of cut ones, and of files that are not films."""

import copy
import json
import os
import unittest

import jsonschema

from support import DOCS, GOLDENS, PARSER, UNRULY, Case, documents, run

PLAIN_PLUGIN = os.path.dirname(os.environ["QUENLOFAR_PLAIN_PLUGIN"])
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
        for command in ("summary", "check", "repair", "streams", "packets", "frames", "coverage"):
            self.assertEqual(len(self.assertFollows(command, *files)), len(files))

    def test_repairs(self):
        with open(self.sample(), "rb") as file:
            whole = file.read()
        # A byte in front of the list of data: bytes have to move.
        movi = whole.index(b"LIST", whole.index(b"movi") - 8)
        data = whole[:movi] + b"?" + whole[movi:]
        document, = self.assertFollows("repair", self.path("moved.avi", data))
        changes = [change for step in document["steps"] for change in step["changes"]]
        self.assertTrue(any("copy" in change for change in changes) and any("insert" in change for change in changes))
        self.assertFollows("repair", "--cut-trailing", self.path("longer.avi", whole + b"more"))

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

    def walks(self, *files):
        """What documents of all commands say of the walks of `files`, with the schema of each."""
        for command, more in [("tree", []), ("summary", []), ("streams", []), ("frames", []), ("coverage", []),
                              ("at", ["0"])]:
            for file in files:
                document, = documents(run(command, "--format", "json", "--plugin-dir", PLAIN_PLUGIN, file, *more).stdout)
                yield (jsonschema.Draft202012Validator(SCHEMA) if command == "tree" else validator(command)), document
        document, = documents(run("diff", "--format", "json", "--plugin-dir", PLAIN_PLUGIN, *files[:2]).stdout)
        yield validator("walk"), document["first"]
        yield validator("walk"), document["second"]

    def test_the_parser_is_named(self):
        plain = self.path("a.plain", b"PLAIN\x01")
        text = self.path("text.avi", b"no film at all")
        names = {"AVI": PARSER,
                 "Plain": {"name": "quenlofar-container-plain"}}
        seen = set()
        for schema, document in self.walks(self.sample(), plain, text, self.path("missing")):
            schema.validate(document)
            container = document["container"]
            seen.add(container)
            self.assertEqual(document.get("parser"), names.get(container))
            for wrong in (1, {}, {"name": ""}, {"name": 1}, {"name": "a", "version": None}):
                self.assertFalse(schema.is_valid(dict(document, parser=wrong)))
            self.assertEqual(schema.is_valid(dict(document, parser={"name": "a"})), container is not None)
        self.assertEqual(seen, {"AVI", "Plain", None})

    def test_plugins_that_break_rules(self):
        """Every document follows the schema, whatever a plug-in does; and it says what the plug-in did."""
        plugins = ("--plugin-dir", UNRULY.parent)
        everything = "BDbdefilmnostz-"
        for deeds in [*everything, everything, everything.replace("t", ""), "Dt", ""]:
            file = self.path("file.unruly", b"UNRULY" + deeds.encode())
            tree, = documents(run("tree", "--format", "json", "--paths", *plugins, file).stdout)
            with self.subTest(deeds=deeds):
                self.assertIsNone(jsonschema.exceptions.best_match(
                    jsonschema.Draft202012Validator(SCHEMA).iter_errors(tree)))
                harmless = {"", "d", "m", "s", "z", "-"}
                self.assertEqual("error" not in tree, deeds in harmless, tree)
                if "error" in tree:
                    self.assertEqual(tree["error"]["kind"], "parser")
                    text = run("tree", *plugins, file)
                    self.assertIn(b"the parser failed", text.stdout)
                    self.assertEqual(text.returncode, 2)
            for command in ("summary", "check", "streams", "packets", "frames", "coverage"):
                document, = self.assertFollows(command, *plugins, file)
                # What a parser that throws would have shown is not known.
                if command == "coverage" and "t" not in deeds and document["container"]:
                    self.assertEqual(document["gaps"]["bytes"], 0, deeds)
            self.assertFollows("at", *plugins, file, "0", "6")
            self.assertFollows("diff", *plugins, file, file)

    def test_the_schema_says_no(self):
        film = self.sample()
        for command, arguments in {"summary": [film], "check": [film], "repair": [film], "streams": [film], "packets": [film],
                                   "frames": [film], "coverage": [film],
                                   "at": [film, "30"], "diff": [film, film]}.items():
            document, = self.assertFollows(command, *arguments)
            optional = {"limit", "cancelled", "error", "parser"}
            if command in ("summary", "streams"):
                optional.add("packets") # some plug-ins list none
            for key in sorted(set(document) - optional):
                with self.subTest(command=command, key=key):
                    lacking = copy.deepcopy(document)
                    del lacking[key]
                    self.assertFalse(validator(command).is_valid(lacking))
                    wrong = dict(document, **{key: [1]})
                    self.assertFalse(validator(command).is_valid(wrong))


if __name__ == "__main__":
    unittest.main()
