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
    """(command, expected output) of a block of commands."""
    return [tuple(part.partition("\n")[::2]) for part in re.split(r"^\$ ", console, flags=re.MULTILINE)[1:]]


class Guide(Case):
    def test_files_and_commands(self):
        folder = self.directory / "tape"
        folder.mkdir()
        consoles, names = [], []
        for name, language, content in blocks(GUIDE.read_text(encoding="utf-8")):
            if name:
                (folder / name).write_text(content, encoding="utf-8")
                names.append(name)
            elif language == "console":
                consoles.append(content)
        self.assertEqual(len(names), 7, names)
        self.assertEqual(len(consoles), 4)

        package, = self.prefix.rglob("quenlofar-container-abstract.pc")
        flags = " ".join(sdk.FLAGS)
        environment = {"PREFIX": str(self.prefix), "PKG_CONFIG_PATH": str(package.parent),
                       "CXX": os.environ["QUENLOFAR_CXX"], "CXXFLAGS": flags, "LDFLAGS": flags, "TZ": "UTC"}
        for console in consoles:
            for command, expected in commands(console):
                with self.subTest(command):
                    if command.startswith("xxd "): # which not every machine has
                        source, target = command.split()[-2:]
                        (folder / target).write_bytes(bytes.fromhex((folder / source).read_text()))
                        continue
                    output = call("bash", "-o", "pipefail", "-c", command, cwd=folder, env=environment)
                    if expected:
                        self.assertEqual(output, expected)

    def test_every_code_block_is_a_file_or_a_command(self):
        for name, language, content in blocks(GUIDE.read_text(encoding="utf-8")):
            with self.subTest(content[:40]):
                self.assertTrue(name or language == "console")


if __name__ == "__main__":
    unittest.main()
