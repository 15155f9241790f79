"""What --help shows as examples works as it stands."""

import re
import shutil
import subprocess
import unittest

from support import PLUGIN, PROGRAM, Case, environment, run

COMMANDS = ["summary", "check", "repair", "catalogue", "tree", "streams", "packets", "frames", "at", "bytes",
            "coverage", "diff", "plugins", "check-plugin"]


def examples(command):
    """The command lines that the help of `command` shows."""
    text = run(command, "--help").stdout.decode()
    return re.findall(r"^  (quenlofar .*)$", text[text.index("Example"):], re.MULTILINE)


class Examples(Case):
    def setUp(self):
        super().setUp()
        # The names that the examples use.
        for name in ("film", "other"):
            shutil.copy(self.sample(), self.path(name))
        (self.directory / PLUGIN.name).symlink_to(PLUGIN)
        (self.directory / "archive").mkdir()
        shutil.copy(self.sample(), self.directory / "archive" / "old.avi")
        (self.directory / "bin").mkdir()
        (self.directory / "bin" / "quenlofar").symlink_to(PROGRAM)

    def test_every_example_runs(self):
        path = f"{self.directory / 'bin'}:{environment()['PATH']}"
        for command in COMMANDS:
            self.assertTrue(examples(command), command)
            for line in examples(command):
                with self.subTest(line=line):
                    result = subprocess.run(["sh", "-c", line], cwd=self.directory, env=environment(PATH=path),
                                            capture_output=True, timeout=120)
                    self.assertEqual((result.returncode, result.stderr), (0, b""))
                    self.assertTrue(result.stdout or " -o " in line or " diff " in line, "nothing is shown")

    def test_every_command_has_them(self):
        listed = re.findall(r"^  ([\w-]+)  ", run("--help").stdout.decode().split("Subcommands:")[1], re.MULTILINE)
        self.assertEqual(listed, COMMANDS)


if __name__ == "__main__":
    unittest.main()
