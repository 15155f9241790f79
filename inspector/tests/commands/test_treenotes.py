"""tree --paths and --hex: what is noted with each item agrees with the tree and with the file's bytes."""

import json
import os
import unittest

import jsonschema

from support import DOCS, GOLDENS, Case, chunk, documents, film, riff_list, run, with_paths

VALIDATOR = jsonschema.Draft202012Validator(json.loads((DOCS / "json-output.schema.json").read_text()))


def hexadecimal(data, size):
    return " ".join(f"{byte:02x}" for byte in data[:16]) + (" \u2026" if size > 16 and len(data) >= 16 else "")


class Notes(Case):
    def document(self, *arguments):
        document = documents(run("tree", "--format", "json", *arguments).stdout)[0]
        VALIDATOR.validate(document)
        return document

    def test_json(self):
        for path in [*GOLDENS, self.path("cut", GOLDENS[0].read_bytes()[:3333])]:
            with self.subTest(path=path), open(path, "rb") as file:
                data = file.read()
                plain = self.document(path)
                noted = self.document("--paths", "--hex", path)
                for (item, expected), (other, _) in zip(with_paths(plain["elements"]), with_paths(noted["elements"])):
                    self.assertEqual(other.pop("path"), expected)
                    at, size = item["offset"], item["size"]
                    bytes_there = "" if "node" in item else hexadecimal(data[at:at + size], size)
                    self.assertEqual(other.pop("bytes", ""), bytes_there, expected)
                self.assertEqual(plain, noted)

    def test_each_alone(self):
        for option, keys in [("--paths", {"path"}), ("--hex", {"bytes"})]:
            with self.subTest(option=option):
                leaf = self.document(option, self.sample())["elements"][0]["items"][0]
                self.assertEqual(set(leaf) & {"path", "bytes"}, keys)

    def test_text(self):
        data = riff_list(b"AVI ", riff_list(b"movi", chunk(b"00dc", b"abcd") * 2), b"RIFF") + b"\1" * 200
        lines = run("tree", "--paths", "--hex", self.path("film", data)).stdout.decode().splitlines()
        self.assertIn("    28       4  RIFF(AVI )/LIST(movi)/00dc/size = 4  [04 00 00 00]", lines)
        self.assertIn("    36      12  RIFF(AVI )/LIST(movi)/00dc[1]", lines)
        self.assertIn("    44       4  RIFF(AVI )/LIST(movi)/00dc[1]/value  (4 bytes of data)  [61 62 63 64]", lines)
        self.assertIn("    48     200  unparsed  200 bytes that no parser interprets  "
                      "[01 01 01 01 01 01 01 01 01 01 01 01 01 01 01 01 \u2026]", lines)

    def test_what_is_left_out_counts(self):
        path = self.path("film", film(30))
        whole = dict((expected, item) for item, expected in with_paths(self.document(path)["elements"]))
        for arguments in (["--only", "id"], ["--where", "size=0"], ["--depth", "3"], ["--collapse"], ["--no-frames"]):
            with self.subTest(arguments=arguments):
                document = self.document("--paths", *arguments, path)
                shown = [item for item, _ in with_paths(document["elements"]) if "omitted" not in item]
                self.assertGreater(len(shown), 3)
                for item in shown:
                    self.assertEqual(whole[item["path"]]["offset"], item["offset"])

    def test_bytes_are_those_of_what_is_shown(self):
        data = film(30)
        path = self.path("film", data)
        for arguments in (["--only", "id"], ["--where", "size=0"], ["--depth", "3"], ["--collapse"], []):
            for more in ([], ["--paths"]):
                with self.subTest(arguments=arguments + more):
                    shown = [item for item, _ in with_paths(self.document("--hex", *more, *arguments, path)["elements"])]
                    self.assertGreater(len(shown), 3)
                    for item in shown:
                        is_leaf = "node" not in item and "omitted" not in item
                        at, size = (item["offset"], item["size"]) if is_leaf else (0, 0)
                        self.assertEqual(item.get("bytes", ""), hexadecimal(data[at:at + size], size), item)

    def test_collapsed(self):
        data = riff_list(b"AVI ", riff_list(b"movi", chunk(b"00dc", b"abcd") * 30), b"RIFF")
        movi = self.document("--collapse", self.path("film", data))["elements"][0]["items"][3]
        self.assertEqual([item for item in movi["items"] if "omitted" in item], [{"omitted": 28}])

    def test_frames_left_out(self):
        self.assertNotIn("frames", self.document("--no-frames", self.sample()))

    def test_file_that_cannot_be_opened(self):
        result = run("tree", "--paths", "--hex", self.path("missing"))
        self.assertEnds(result, 2, "cannot be opened")

    def test_many_files(self):
        paths = [os.fsencode(path) for path in GOLDENS[:5]]
        result = run("tree", "--hex", "--paths", "--format", "json", "-j", "3", *paths)
        self.assertEqual(documents(result.stdout), [self.document("--hex", "--paths", path) for path in paths])


if __name__ == "__main__":
    unittest.main()
