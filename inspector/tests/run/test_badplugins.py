"""Plug-ins that loop or crash: the program ends when it is asked to, and says which one it was, in which file."""

import os
import pathlib
import pty
import resource
import signal
import subprocess
import tempfile
import time
import unittest

import support
from support import PATIENCE, PROGRAM, SANITIZED, Case, default_interrupt, documents, environment, run, wait_until

PLUGIN = pathlib.Path(os.environ["QUENLOFAR_BAD_PLUGIN"])
PLACE = ["--plugin-dir", str(PLUGIN.parent)]


class BadCase(Case):
    def setUp(self):
        super().setUp()
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.begun = os.path.join(directory.name, "begun")

    def bad(self, kind, size=0, name=None):
        """A file that makes the plug-in do `kind`."""
        path = self.path(name or f"{kind}.bad", b"BAD" + kind.encode() + b"\0" * 100)
        if size:
            os.truncate(path, size)
        return path

    def start(self, *arguments, **streams):
        streams.setdefault("stdout", subprocess.PIPE)
        streams.setdefault("stderr", subprocess.PIPE)
        return subprocess.Popen([PROGRAM, *arguments], env=environment(QUENLOFAR_BEGUN=self.begun),
                                stdin=subprocess.DEVNULL, preexec_fn=default_interrupt, **streams)

    def begin(self, *arguments, **streams):
        """The program, from the moment on in which the plug-in does what it should not."""
        if os.path.exists(self.begun):
            os.remove(self.begun)
        process = self.start(*arguments, **streams)
        wait_until(lambda: os.path.exists(self.begun), process)
        return process


class Loops(BadCase):
    COMMANDS = [["tree"], ["tree", "--format", "json"], ["summary"], ["coverage", "-j", "2"]]

    def interrupted(self, *arguments, number=signal.SIGINT):
        """Exit status, standard error, and the seconds from the signal to the end."""
        process = self.begin(*arguments)
        self.assertIsNone(process.poll())
        begin = time.monotonic()
        process.send_signal(number)
        output, errors = process.communicate(timeout=PATIENCE)
        return process.returncode, errors.decode(), time.monotonic() - begin

    def assertEnded(self, outcome, number, *words):
        status, errors, seconds = outcome
        self.assertEqual(status, -number, errors)
        self.assertLess(seconds, 5)  # a loop that does not end
        self.assertEqual(len(errors.splitlines()), 1, errors)
        for word in (PLUGIN.name, *words):
            self.assertIn(word, errors)

    def test_first_signal_ends(self):
        for kind, command in [*(("l", command) for command in self.COMMANDS), *((kind, ["tree"]) for kind in "vwc")]:
            with self.subTest(kind=kind, command=command):
                path = self.bad(kind)
                self.assertEnded(self.interrupted(*PLACE, *command, path), signal.SIGINT, path.decode(), "byte ")

    def test_every_command_and_signal(self):
        path = self.bad("l")
        for command in [["at", path, "0"], ["bytes", path, "signature"], ["diff", path, path], ["frames", path]]:
            with self.subTest(command=command[0]):
                outcome = self.interrupted(*PLACE, *command, number=signal.SIGTERM)
                self.assertEnded(outcome, signal.SIGTERM, path.decode())

    def test_output_is_not_saved_and_that_is_said(self):
        path, target = self.bad("l"), self.path("out.json", b"before")
        outcome = self.interrupted(*PLACE, "tree", "--format", "json", "-o", target, path)
        self.assertEnded(outcome, signal.SIGINT, f"{target.decode()} is not written")
        self.assertEqual(sorted(os.listdir(self.directory)), ["l.bad", "out.json"])
        with open(target, "rb") as file:
            self.assertEqual(file.read(), b"before")

    def test_whoever_can_be_stopped_is(self):
        # Slow ones, and those that read, end in good order.
        for kind, size in [("s", 0), ("r", 100_000_000)]:
            with self.subTest(kind=kind):
                process = self.begin(*PLACE, "tree", "--format", "json", self.bad(kind, size))
                process.send_signal(signal.SIGINT)
                output, errors = process.communicate(timeout=PATIENCE)
                self.assertEqual(process.returncode, 130, errors)
                self.assertIn(b"interrupted at byte", errors)
                self.assertTrue(documents(output)[0]["cancelled"])

    def test_other_files_are_complete(self):
        stuck, good = self.bad("l"), self.sample()
        process = self.begin(*PLACE, "tree", "--format", "json", "-j", "2", good, stuck, good)
        time.sleep(1)  # in which the first file is printed
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, -signal.SIGINT)
        self.assertEqual(documents(output.splitlines()[0] + b"\n")[0]["file"], good.decode())
        self.assertIn(stuck, errors)

    def test_terminal_shows_who_does_not_come_forward(self):
        path = self.bad("l")
        begin, running = time.monotonic(), {}
        for arguments in (["summary", path], ["at", path, "0"]):
            master, slave = pty.openpty()
            os.set_blocking(master, False)
            running[arguments[0]] = (self.start(*PLACE, *arguments, stderr=slave), master)
            os.close(slave)
        for command, (process, master) in running.items():
            with self.subTest(command=command):
                seen = b""
                while b"no progress" not in seen and time.monotonic() < begin + PATIENCE:
                    time.sleep(0.05)
                    try:
                        seen += os.read(master, 65536)
                    except BlockingIOError:
                        pass
                seconds = time.monotonic() - begin
                process.send_signal(signal.SIGINT)
                process.communicate(timeout=PATIENCE)
                os.close(master)
                text = seen.decode()
                self.assertIn(f"{path.decode()}: no progress for 10 s", text)
                self.assertIn(PLUGIN.name, text)
                self.assertRegex(text, r"at byte \d+")
                self.assertGreater(seconds, 9.5)
                self.assertLess(seconds, 30)

    def test_waiting_for_a_reader_is_no_fault(self):
        # A slow reader of the output: nothing is said, and all of it comes.
        film = self.path("film", support.film(30000))
        process = self.start("tree", "--format", "json", "--progress", film)
        time.sleep(12)
        output, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0)
        self.assertNotIn(b"no progress", errors)
        self.assertEqual(len(documents(output)), 1)


class TimeLimit(BadCase):
    def test_ends_a_file_as_a_limit_does(self):
        for kind, size in [("s", 0), ("r", 100_000_000)]:
            with self.subTest(kind=kind):
                path = self.bad(kind, size)
                begin = time.monotonic()
                result = run(*PLACE, "tree", "--format", "json", "--max-seconds", "1", "--max-work", "1000000000",
                             path, self.sample())
                seconds = time.monotonic() - begin
                self.assertEnds(result, 1, f"{path.decode()}: stopped at byte ",
                                "1 of 2 files has trouble: a limit was reached (1)")
                self.assertIn(b"it took more than 1 second; --max-seconds raises this limit", result.stderr)
                self.assertGreaterEqual(seconds, 1)
                self.assertLess(seconds, 10)
                found = documents(result.stdout)
                self.assertEqual([document.get("limit") for document in found], ["time", None])
                self.assertEqual([document["status"] for document in found], [0, 0])

    def test_text_says_it_too(self):
        result = run(*PLACE, "tree", "--max-seconds", "1", self.bad("s"))
        self.assertEnds(result, 1, "--max-seconds raises this limit")
        self.assertIn(b"by the limit of 1 second\n", result.stdout)

    def test_time_that_is_enough(self):
        self.assertEnds(run("tree", "--max-seconds", "600", self.sample()), 0)

    def test_where_it_cannot_end_a_file_that_is_said(self):
        path = self.bad("l")
        process = self.start(*PLACE, "tree", "--max-seconds", "1", path)
        os.set_blocking(process.stderr.fileno(), False)
        errors, begin = b"", time.monotonic()
        while b"--max-seconds" not in errors and time.monotonic() < begin + PATIENCE:
            time.sleep(0.05)
            errors += process.stderr.read() or b""
        self.assertIsNone(process.poll())
        process.kill()
        process.communicate()
        self.assertIn(f"{path.decode()}: --max-seconds cannot end it: ", errors.decode())
        self.assertIn(PLUGIN.name, errors.decode())


@unittest.skipIf(SANITIZED, "the sanitizers report crashes themselves")
class Crashes(BadCase):
    KINDS = [("n", signal.SIGSEGV), ("o", signal.SIGSEGV), ("a", signal.SIGABRT), ("f", signal.SIGFPE)]

    def assertCrashed(self, result, path, number):
        self.assertEqual(result.returncode, -number)
        lines = result.stderr.decode().splitlines()
        self.assertEqual(len(lines), 1, lines)
        self.assertTrue(lines[0].startswith(f"quenlofar: {path.decode()}: "), lines)
        self.assertIn(number.name, lines[0])
        self.assertIn(PLUGIN.name, lines[0])
        self.assertIn("at byte ", lines[0])

    def test_file_and_plugin_are_named(self):
        for kind, number in self.KINDS:
            path = self.bad(kind)
            for command in [["tree"], ["summary", "-j", "2", self.sample()], ["coverage", "-j", "3", path, path],
                            ["tree", "-o", self.path("out")]]:
                with self.subTest(kind=kind, command=command):
                    result = run(*PLACE, *command, path)
                    self.assertCrashed(result, path, number)
                    self.assertEqual([name for name in os.listdir(self.directory) if not name.endswith(".bad")], [])
            for command in [["at", path, "0"], ["bytes", path, "0+1"], ["diff", path, path]]:
                with self.subTest(kind=kind, command=command[0]):
                    if command[0] != "bytes":  # which needs no walk for a range
                        self.assertCrashed(run(*PLACE, *command), path, number)

    def test_the_name_of_a_file_does_not_steer_the_terminal(self):
        path = self.bad("n", name="a\x1b[31m\nb.bad")
        result = run(*PLACE, "tree", path)
        self.assertEqual(len(result.stderr.splitlines()), 1)
        self.assertNotIn(b"\x1b", result.stderr)

    def test_a_core_is_dumped(self):
        pattern = pathlib.Path("/proc/sys/kernel/core_pattern").read_text().strip()
        limit = resource.getrlimit(resource.RLIMIT_CORE)[1]
        if limit == 0:
            self.skipTest("core dumps are forbidden here")
        process = subprocess.Popen(
            [PROGRAM, *PLACE, "tree", self.bad("n")], env=environment(), cwd=self.directory, stderr=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CORE, (limit, limit)))
        _, status = os.waitpid(process.pid, 0)
        process.returncode = 0
        self.assertEqual(os.WTERMSIG(status), signal.SIGSEGV)
        if pattern.startswith("|"):
            self.skipTest("core dumps go to a program here")
        self.assertTrue(os.WCOREDUMP(status))


if __name__ == "__main__":
    unittest.main()
