"""Nothing out of a file or its name reaches a terminal or a spreadsheet in a way that does something there."""

import csv
import io
import os
import re
import struct
import unittest

from support import Case, chunk, documents, riff_list, run

FORBIDDEN = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]")
HANDLER = "\x1b[2J"
NAME = "=1+1\u202e\u2028,\"\\"
FILE = "=\x1b]0;x\x07\x9b31m\u202e\u2028\x7f\t.avi"


def hostile_film():
    header = struct.pack("<4s4s", b"vids", HANDLER.encode("latin-1")) + b"\0" * 12 + struct.pack("<II", 1, 25)
    streams = riff_list(b"strl", chunk(b"strh", header + b"\0" * 28) + chunk(b"strf", b"\0" * 40)
                        + chunk(b"strn", NAME.encode()) + chunk(b"\x1b]0;", b"\x9b\xe2\x80\xae"))
    info = riff_list(b"INFO", chunk(b"INAM", "\u2067title\u202e".encode()))
    index = chunk(b"idx1", struct.pack("<4sIII", b"00dc", 16, 4, 4))
    return riff_list(b"AVI ", riff_list(b"hdrl", streams) + info + riff_list(b"movi", chunk(b"00dc", b"data")) + index,
                     b"RIFF") + b"\0" * 200


class Escapes(Case):
    def setUp(self):
        super().setUp()
        self.film = self.path(FILE, hostile_film())
        self.sound = self.path("b", hostile_film())

    def test_nothing_raw(self):
        missing = self.path("gone" + FILE)
        for arguments in (
                *([command, *options, self.film, self.sound, missing]
                  for command, formats in [("tree", ["text", "json"]), ("summary", ["text", "json"]),
                                           ("streams", ["text", "json", "csv"]), ("frames", ["text", "json", "csv"]),
                                           ("coverage", ["text", "json"])]
                  for options in (["--format", form] for form in formats)),
                ["tree", "--paths", "--hex", self.film], ["tree", "--format", "json", "--paths", "--pretty", self.film],
                ["at", self.film, "112", "9999"], ["at", "--format", "json", self.film, "112"],
                ["diff", self.film, self.sample()], ["diff", "--format", "json", self.film, self.sample()],
                ["bytes", self.film, "a\x1b]"], ["bytes", missing, "0+1"], ["tree", "--where", "\x1b\u2028", self.film],
                ["tree", "--\x1b\u2028", self.film], ["tree", "--files-from", missing],
                ["tree", "-r", missing], ["tree", self.film, "-o", missing + b"/a"],
                ["--plugin-dir", FILE, "plugins"]):
            with self.subTest(arguments=arguments):
                result = run(*arguments)
                for output in (result.stdout.decode(), result.stderr.decode()):
                    if arguments[-1] == "plugins":
                        output = output.replace("\t", " ")  # between the columns
                    self.assertIsNone(FORBIDDEN.search(output), ascii(output))
                self.assertNotEqual(result.stdout + result.stderr, b"")

    def test_documents_have_the_values_themselves(self):
        for options in ([], ["--pretty"]):
            output = run("tree", "--format", "json", *options, self.film).stdout.decode()
            document, = documents(output.replace("\n", "").encode())
            self.assertEqual(document["file"], os.fsdecode(self.film))
            header = document["elements"][0]["items"][3]["items"][3]["items"][3]["items"]
            self.assertEqual([item["value"] for item in header if item.get("field") == "fccHandler"], [HANDLER])
        stream, = documents(run("streams", "--format", "json", self.film).stdout)[0]["streams"]
        self.assertEqual(stream["name"], NAME)

    def cells(self, *arguments):
        output = run(*arguments).stdout.decode()
        return list(csv.reader(io.StringIO(output, newline=""), strict=True))

    def test_csv(self):
        path = os.path.join(os.fsdecode(self.directory), FILE)
        shown = os.fsdecode(self.directory) + "/=\\x1B]0;x\\x07\\x9B31m\\u202E\\u2028\\x7F\\t.avi"
        for options, name, files in [([], "'=1+1\\u202E\\u2028,\"\\\\", [shown, os.fsdecode(self.sound)]),
                                     (["--csv-raw"], NAME, [path, os.fsdecode(self.sound)])]:
            with self.subTest(options=options):
                rows = self.cells("streams", "--format", "csv", *options, self.film, self.sound)
                self.assertEqual([(row[0], row[-1]) for row in rows[1:]], [(file, name) for file in files])
                rows = self.cells("frames", "--format", "csv", *options, self.film, self.sound)
                self.assertEqual([row[0] for row in rows[1:]], files)

    def test_what_looks_like_a_formula(self):
        for text in ("=1", "+1", "-1", "@a", "\ta"):
            for name, shown in [(text, "'" + text.replace("\t", "\\t")), ("a" + text, "a" + text.replace("\t", "\\t"))]:
                with self.subTest(name=name):
                    os.makedirs(self.path("there"), exist_ok=True)
                    self.path(f"there/{name}", hostile_film())
                    output = run("frames", "--format", "csv", "--", name, name, cwd=self.path("there")).stdout.decode()
                    # The numbers stay what they are.
                    self.assertEqual(output.splitlines()[1:], [f"{shown},0,0,{self.frame_offset()},4,1"] * 2)

    def frame_offset(self):
        return hostile_film().index(b"data")


if __name__ == "__main__":
    unittest.main()
