"""Trying plug-ins: what careless ones do is found, and good ones have nothing to fear."""

import os
import re
import shutil
import unittest

from support import PLUGIN, SAMPLES, Case, run

CARELESS = os.environ["QUENLOFAR_CARELESS_PLUGIN"]
PLAIN = os.environ["QUENLOFAR_PLAIN_PLUGIN"]


class CheckPlugin(Case):
    def findings(self, letter, expected_status):
        """The findings about a file of the careless format; how many files were tried."""
        file = self.path("file.care", b"CARE" + letter + b"1234")
        result = run("check-plugin", CARELESS, file)
        self.assertEnds(result, expected_status)
        lines = result.stdout.decode().splitlines()
        self.assertEqual(lines[0], f"{CARELESS}: CARE")
        match = re.fullmatch(rf"{re.escape(os.fsdecode(file))}: (\d+) items, [\d.]+ s, read [\d.]+ times; (\d+) files tried",
                             lines[1])
        self.assertTrue(match, lines[1])
        return [line.strip() for line in lines[2:]], int(match[2])

    def test_nothing_is_found_where_nothing_is_wrong(self):
        # 9 places to cut the file, 3 values for each of its bytes, and the file as it is.
        self.assertEqual(self.findings(b"-", 0), (["nothing found"], 1 + 9 + 27))

    def test_what_is_wrong_with_the_file_as_it_is_is_an_error(self):
        for letter, text in [
                (b"O", "error: as it is: 2 bytes are in several leaves, the first at 2"),
                (b"B", "error: as it is: a leaf reaches beyond the end of the file: beyond at 9 with 4 bytes"),
                (b"L", "error: as it is: the parser fails: it left a node open"),
                (b"X", "error: as it is: the parser fails: it ended a node that it had not begun"),
                (b"R", "error: as it is: two walks show different things")]:
            with self.subTest(letter):
                self.assertIn(text, self.findings(letter, 1)[0])

    def test_damage_that_a_parser_does_not_survive_is_an_error(self):
        found, tried = self.findings(b"C", 1)
        self.assertEqual(tried, 1 + 9 + 27) # those behind the crash, too
        self.assertEqual(len(found), 1)
        self.assertRegex(found[0], r"^error: cut to 5 bytes: the plug-in crashes: .+ \(and in 3 more\)$")
        found, _ = self.findings(b"T", 1)
        self.assertEqual(found, ["error: cut to 5 bytes: the parser fails: a cut file (and in 3 more)"])

    def test_a_walk_without_end_is_ended(self):
        self.assertEqual(self.findings(b"E", 1),
                         (["error: as it is: it has not come to an end after 10 seconds"], 1))

    def test_bytes_in_no_leaf(self):
        result = run("check-plugin", PLAIN, self.path("a.plain", b"PLAIN\x81\x02"))
        self.assertEnds(result, 1)
        self.assertIn("error: as it is: 2 bytes are in no leaf, the first at 5", result.stdout.decode())

    def test_a_file_of_another_format(self):
        result = run("check-plugin", CARELESS, self.path("other.care", b"something else"))
        self.assertEnds(result, 1)
        self.assertIn("  error: as it is: the plug-in does not recognise it\n", result.stdout.decode())

    def test_the_avi_plugin(self):
        # In damaged files it covers bytes twice, or claims some beyond the end: as documented in avi-quirks.md.
        result = run("check-plugin", PLUGIN, SAMPLES / "sample.avi", timeout=280)
        self.assertEnds(result, 0)
        self.assertNotIn("error:", result.stdout.decode())

    def test_a_file_by_any_name(self):
        file = self.path("file.care", b"CARE-1234")
        for name in ("x", "so", "lib", ".so", "my plug-in.so.1"):
            with self.subTest(name):
                plugin = self.path(name)
                shutil.copy(CARELESS, plugin)
                self.assertEnds(run("check-plugin", plugin, file), 0)

    def test_trouble(self):
        file = self.path("file.care", b"CARE-1234")
        self.assertEnds(run("check-plugin", "/nowhere/plugin.so", file), 2, "cannot be used")
        self.assertEnds(run("check-plugin", self.path("no.so", b"no library"), file), 2, "cannot be used")
        self.assertEnds(run("check-plugin", CARELESS), 2, "FILE", "--help")
        self.assertEnds(run("check-plugin"), 2, "PLUGIN", "--help")
        result = run("check-plugin", CARELESS, "/nowhere/file.care")
        self.assertEnds(result, 1)
        self.assertIn("No such file", result.stdout.decode())


if __name__ == "__main__":
    unittest.main()
