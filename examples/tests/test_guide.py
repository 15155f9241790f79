"""The guide for authors of plug-ins: its files are built, and its commands print what it says."""

import os
import re
import unittest

import sdk
from sdk import Case, call

GUIDE = sdk.SOURCE / "docs" / "writing-a-parser.md"


def blocks(text):
    """(file name or None, language, content) of each block of code."""
    return re.findall(r"(?:^\*\*`([^`\n]+)`\*\*\n)?^```(\w*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)


def commands(console):
    """(command, expected output) of a block of commands; a command goes on behind a backslash at the end of a line."""
    parts = re.split(r"^\$ ", console.replace("\\\n", ""), flags=re.MULTILINE)[1:]
    return [tuple(part.partition("\n")[::2]) for part in parts]


class Guide(Case):
    def test_files_and_commands(self):
        folder = self.directory / "tape"
        folder.mkdir()
        flags = " ".join(sdk.FLAGS)
        environment = {"PREFIX": str(self.prefix), "CXX": os.environ["QUENLOFAR_CXX"], "CXXFLAGS": flags,
                       "LDFLAGS": flags, "TZ": "UTC"}
        names, consoles = [], 0
        # In the order of the page, as its readers do it.
        for name, language, content in blocks(GUIDE.read_text(encoding="utf-8")):
            if name:
                # A file that is there already is added to.
                with open(folder / name, "a", encoding="utf-8") as file:
                    file.write(content)
                names.append(name)
            elif language == "console":
                consoles += 1
                for command, expected in commands(content):
                    with self.subTest(command):
                        output = call("bash", "-o", "pipefail", "-c", command, cwd=folder, env=environment)
                        if expected:
                            self.assertEqual(output, expected)
        self.assertEqual(names, ["containertape.h", "containertape.cpp", "tapedescriber.h", "tapeanalyzer.h",
                                 "tapeanalyzer.cpp", "plugin.cpp", "CMakeLists.txt", "tst_containertape.cpp",
                                 "CMakeLists.txt"])
        self.assertEqual(consoles, 6)

    def test_every_code_block_is_a_file_or_a_command(self):
        for name, language, content in blocks(GUIDE.read_text(encoding="utf-8")):
            with self.subTest(content[:40]):
                self.assertTrue(name or language == "console")


if __name__ == "__main__":
    unittest.main()
