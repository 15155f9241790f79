"""The command line: what is accepted where, what is refused, what is printed about the program itself."""

import os
import unittest

from support import Case, chunk, documents, film, riff_list, run


class Information(Case):
    def test_help(self):
        for arguments, words in [
            (["--help"], ["tree", "plugins", "--plugin-dir DIR", "--version", "QUENLOFAR_PLUGIN_PATH"]),
            (["-h"], ["tree", "plugins"]),
            (["tree", "--help"], ["FILE...", "--format text|json", "--pretty", "--max-items N", "--max-depth N",
                                  "--max-work FACTOR|SIZE", "--collapse", "--files-from FILE", "--jobs N"]),
            (["plugins", "--help"], ["quenlofar plugins"]),
            (["--plugin-dir", "/nowhere", "tree", "--help"], ["FILE..."]),
        ]:
            with self.subTest(arguments=arguments):
                result = run(*arguments)
                self.assertEnds(result, 0)
                for word in words:
                    self.assertIn(word, result.stdout.decode())

    def test_version(self):
        expected = f"quenlofar {os.environ['QUENLOFAR_VERSION']}\n".encode()
        for arguments in [["--version"], ["tree", "--version"], ["plugins", "--version"], ["--version", "tree"]]:
            with self.subTest(arguments=arguments):
                result = run(*arguments)
                self.assertEnds(result, 0)
                self.assertEqual(result.stdout, expected)


class Usage(Case):
    def test_refused(self):
        sample = self.sample()
        for arguments, message in [
            ([], "subcommand is required"),
            (["tree"], "FILE is required"),
            (["tree", "--"], "FILE is required"),
            (["plugins", "extra"], "extra"),
            (["tree", "--nothing", sample], "--nothing"),
            (["--nothing", "tree", sample], "--nothing"),
            (["tree", "-x.avi"], "-x.avi"),
            (["tree", "--format", "xml", sample], "--format"),
            (["tree", "--format", "JSON", sample], "--format"),
            (["tree", sample, "--format"], "--format"),
            (["plugins", "--format", "json"], "--format"),
            (["tree", "--plugin-dir"], "--plugin-dir"),
            (["tree", "--max-items", "0", sample], "--max-items: has to be a number from 1 to 18446744073709551615"),
            (["tree", "--max-items", "-1", sample], "--max-items"),
            (["tree", "--max-items", "12x", sample], "--max-items"),
            (["tree", "--max-items", "", sample], "--max-items"),
            (["tree", "--max-items", "0x10", sample], "--max-items"),
            (["tree", "--max-items", "18446744073709551616", sample], "--max-items"),
            (["tree", "--max-depth", "1001", sample], "--max-depth: has to be a number from 1 to 1000"),
            *((["tree", "--max-work", work, sample], "--max-work: has to be a multiple of the file's size, such as 64 or "
                                                    "0.5, or a number of bytes with its unit")
              for work in ("many", "", "0", "-1", "0B", "0.5B", "-1MB", "1 MB", "1mb", "MB", "1MBx", "1e3", "inf", "nan",
                           "0x10", "17EiB", "16EiB", "18446744073709551616", "1,5")),
            (["tree", "-o", "", sample], "--output: has to name a file"),
            (["bytes", sample, "0+1", "--output", ""], "--output: has to name a file"),
        ]:
            with self.subTest(arguments=arguments):
                result = run(*arguments)
                self.assertEnds(result, 2, message, "try: quenlofar --help")
                self.assertEqual(result.stdout, b"")

    def test_options_stand_anywhere(self):
        sample = self.sample()
        expected = run("tree", "--format", "json", "--pretty", sample).stdout
        self.assertIn(b'"container": "AVI"', expected)
        for arguments in [
            ["tree", sample, "--format", "json", "--pretty"],
            ["tree", "--format=json", sample, "--pretty"],
            ["--plugin-dir", self.directory, "tree", "--format", "json", "--pretty", sample],
            ["tree", "--plugin-dir", self.directory, "--format", "json", "--pretty", sample],
            ["tree", "--format", "json", sample, "--pretty", "--plugin-dir", self.directory],
            ["tree", "--format", "json", "--pretty", "--", sample],
        ]:
            with self.subTest(arguments=arguments):
                result = run(*arguments)
                self.assertEnds(result, 0)
                self.assertEqual(result.stdout, expected)

    def test_last_one_of_opposite_switches_wins(self):
        path = self.path("film", film(200))
        moved = self.path("moved", riff_list(b"AVI ", chunk(b"JUNK") + film(200)[12:-200], b"RIFF") + b"\0" * 200)
        for command, one, other, *files in [("tree", "--collapse", "--no-collapse", path),
                                            ("tree", "--iec", "--si", path),
                                            ("diff", "--offsets", "--ignore-offsets", path, moved)]:
            shown = {switch: run(command, switch, *files).stdout for switch in (one, other)}
            self.assertNotEqual(shown[one], shown[other])
            for switches in ([one, other], [other, one], [one, other, one], [other, one, other]):
                with self.subTest(command=command, switches=switches):
                    result = run(command, *switches[:-1], *files, switches[-1])
                    self.assertEqual(result.stdout, shown[switches[-1]])

    def test_text_is_the_default(self):
        self.assertEqual(run("tree", self.sample()).stdout, run("tree", "--format", "text", self.sample()).stdout)
        self.assertNotEqual(run("tree", self.sample()).stdout[:1], b"{")


class OddFileNames(Case):
    def test_any_name_is_a_file(self):
        names = ["tree", "plugins", "[a,b]", "[]", "[", "++", "a b", "x=y", "-", "1", "-9"]
        for name in names:
            self.path(name, film(1))
        for name in names:
            with self.subTest(name=name):
                before = [] if name != "-9" else ["--"]
                result = run("tree", "--format", "json", *before, name, cwd=self.directory)
                self.assertEnds(result, 0)
                self.assertEqual([document["file"] for document in documents(result.stdout)], [name])

    def test_behind_two_dashes_all_are_files(self):
        names = ["-x.avi", "--format", "--", "--help", "plugins", "[a,b]"]
        for name in ["first"] + names:
            self.path(name, film(1))
        result = run("tree", "--format", "json", "first", "--", *names, cwd=self.directory)
        self.assertEnds(result, 0)
        self.assertEqual([document["file"] for document in documents(result.stdout)], ["first"] + names)

    def test_plugin_directory_in_brackets(self):
        os.mkdir(self.path("[x]"))
        self.assertEnds(run("plugins", "--plugin-dir", "[x]", cwd=self.directory), 0)


if __name__ == "__main__":
    unittest.main()
