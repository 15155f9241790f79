"""The picture in README.md is what the program prints."""

import re
import shlex
import unittest

from support import DOCS, run

ROOT = DOCS.parent


class Readme(unittest.TestCase):
    maxDiff = None

    def test_picture(self):
        picture = (ROOT / "README.md").read_text(encoding="utf-8").split("```")[1]
        calls = re.findall(r"^\$ \./dev run(.*)\n((?:(?!\$ ).*\n)*)", picture, re.MULTILINE)
        self.assertEqual(len(calls), 3)
        for arguments, output in calls:
            with self.subTest(arguments=arguments):
                result = run(*(shlex.split(arguments) or ["samples/sample.avi"]), cwd=ROOT)
                self.assertEqual(result.stderr, b"")
                self.assertEqual(result.stdout.decode(), output.rstrip("\n") + "\n")


if __name__ == "__main__":
    unittest.main()
