"""The tools behind ./dev faults: calls fail as told, and what a program must not do is noticed."""

import errno
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import faults  # noqa: E402
import interrupts  # noqa: E402
import repairs  # noqa: E402

INJECTOR = os.environ["QUENLOFAR_FAULT_INJECTOR"]


class Repairs(unittest.TestCase):
    """A program that mends nothing, or something else, is noticed."""

    def findings(self, script):
        with tempfile.TemporaryDirectory() as name:
            directory = pathlib.Path(name)
            data = repairs.make_film(directory / "made.avi", 2)
            if data is None:
                self.skipTest("no ffmpeg")
            program = directory / "program"
            program.write_text(f"#!/bin/sh\n{script}\n", encoding="ascii")
            program.chmod(0o700)
            recording = repairs.Recording(program, directory, data)
            return list(recording.findings((recording.movi + recording.index) // 2))

    def test_findings(self):
        self.assertEqual(self.findings("exit 1"), ["exit status 1: "])
        self.assertEqual(self.findings('cp "$4" "$6"'), ["no index"])
        wrong = self.findings('cp "$4" "$6"; printf "idx1\\0\\0\\0\\0" >>"$6"')
        self.assertEqual(wrong[0].split(" ", 1)[0], "0")
        self.assertEqual(self.findings('cp "${4%/*}/made.avi" "$6"')[0].split(" ", 2)[1], "entries")


class Injector(unittest.TestCase):
    """Held against what cat says of its errors."""

    def cat(self, rule, text="some text\n", **environment):
        with tempfile.NamedTemporaryFile("w", encoding="ascii") as file:
            file.write(text)
            file.flush()
            result = subprocess.run(["cat", file.name], capture_output=True, text=True, timeout=60, check=False,
                                    env={**os.environ, "LC_ALL": "C", "LD_PRELOAD": INJECTOR, "QUENLOFAR_FAULT": rule,
                                         **{key: value.replace("{file}", file.name)
                                            for key, value in environment.items()}})
        return result.returncode, result.stdout, result.stderr

    def test_errors(self):
        for rule, words in [("read:1:5", "Input/output error"), ("open:1+:13", "Permission denied"),
                            ("write:1:28", "No space left on device"), ("write:1+:27", "File too large")]:
            with self.subTest(rule=rule):
                status, output, errors = self.cat(rule)
                self.assertEqual((status, output), (1, ""))
                self.assertIn(words, errors)

    def test_less_is_done_until_all_is_done(self):
        for rule in ("read:1:short", "read:1+:short", "write:1:short", "write:1+:short", "read:99:5", "write:99:5"):
            with self.subTest(rule=rule):
                self.assertEqual(self.cat(rule), (0, "some text\n", ""))

    def test_only_the_path_counts(self):
        self.assertEqual(self.cat("open:1+:13", QUENLOFAR_FAULT_PATH="/nowhere")[0], 0)
        self.assertEqual(self.cat("open:1:13", QUENLOFAR_FAULT_PATH="{file}")[0], 1)

    def test_report(self):
        with tempfile.NamedTemporaryFile("r", encoding="ascii") as report:
            self.cat("write:1+:short", "12345", QUENLOFAR_FAULT_REPORT=report.name)
            lines = report.read().splitlines()
        self.assertIn("write 5", lines)
        self.assertIn("rename 0", lines)

    def test_rules_that_are_none(self):
        for rule in ("", "rea:1:5", "read:0:5", "read:1", "read:1:", "read:1:some", "read"):
            with self.subTest(rule=rule):
                self.assertEqual(self.cat(rule)[0], 125)


class Faults(unittest.TestCase):
    JSON = faults.Command("json", ["tree", "--format", "json"])
    CLEAN = faults.Outcome(0, b'{"a":1}\n', b"", faults.OLD, [])

    def findings(self, call, how, command=JSON, **changes):
        return list(faults.findings(command, call, how, False, self.CLEAN, self.CLEAN._replace(**changes)))

    def test_what_is_right(self):
        self.assertEqual(self.findings("read", errno.EIO), [])
        self.assertEqual(self.findings("read", errno.EIO, status=2, errors=b"why", output=b'{"error":1}\n'), [])
        self.assertEqual(self.findings("write", errno.EIO, status=2, errors=b"why", output=b'{"a'), [])
        self.assertEqual(self.findings("unlink", errno.EACCES, left=[".quenlofar.x"]), [])

    def test_what_is_wrong(self):
        for call, how, changes in [("read", errno.EIO, {"status": None}), ("read", errno.EIO, {"status": -11}),
                                   ("read", errno.EIO, {"status": 3}), ("read", errno.EIO, {"output": b""}),
                                   ("read", "short", {"status": 2, "errors": b"why"}),
                                   ("read", errno.EIO, {"status": 2, "output": b""}),
                                   ("read", errno.EIO, {"status": 2, "errors": b"why", "output": b'{"a":'}),
                                   ("read", errno.EIO, {"status": 2, "errors": b"why", "output": b'{"a":1}'}),
                                   ("write", errno.EIO, {"status": 2, "output": b'{"b'}),
                                   ("write", errno.EIO, {"status": 2, "written": b'{"a'}),
                                   ("close", errno.EIO, {"status": 2, "errors": b"why", "written": b'{"a":2}\n'}),
                                   ("read", errno.EIO, {"left": [".quenlofar.x"]})]:
            with self.subTest(call=call, how=how, changes=changes):
                self.assertNotEqual(self.findings(call, how, **changes), [])


class Interrupts(unittest.TestCase):
    CLEAN = b'{"a":1}\n{"b":2}\n'

    def findings(self, status, output=b"", signals=(signal.SIGTERM,), written=interrupts.OLD, left=(), has_file=False):
        with tempfile.TemporaryDirectory() as place:
            target = pathlib.Path(place, "out")
            target.write_bytes(written)
            for name in left:
                pathlib.Path(place, name).touch()
            run = interrupts.Run(0, ["tree"], list(signals), 0.0, has_file, False)
            return list(interrupts.Bench.judge(run, self.CLEAN, status, output, b"", target))

    def test_what_is_right(self):
        for arguments in ({"status": 0, "output": self.CLEAN}, {"status": 143, "output": b'{"a":1}\n'},
                          {"status": -15}, {"status": 143, "has_file": True},
                          {"status": 0, "has_file": True, "written": self.CLEAN},
                          {"status": -3, "output": b'{"a', "signals": (signal.SIGQUIT,)}):
            with self.subTest(arguments=arguments):
                self.assertEqual(self.findings(**arguments), [])

    def test_what_is_wrong(self):
        for arguments in ({"status": 143, "output": b'{"a'}, {"status": -15, "output": b'{"a":1}\n'},
                          {"status": 130, "output": b'{"a":1}\n'}, {"status": 0, "output": b'{"a":1}\n'},
                          {"status": 143, "has_file": True, "written": b'{"a":1}\n'},
                          {"status": 143, "left": [".quenlofar.x"]},
                          {"status": -3, "left": [".quenlofar.x"], "signals": (signal.SIGQUIT,)}):
            with self.subTest(arguments=arguments):
                self.assertNotEqual(self.findings(**arguments), [])


if __name__ == "__main__":
    unittest.main()
