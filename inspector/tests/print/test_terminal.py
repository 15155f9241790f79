"""What is different at a terminal: colour, width, collapsed runs, progress, and a pager."""

import fcntl
import os
import pty
import re
import signal
import struct
import subprocess
import termios
import time
import unicodedata
import unittest

from support import PROGRAM, SANITIZED, Case, chunk, default_interrupt, documents, environment, film, riff_list, run

COLOUR = b"\x1b["
PROGRESS = re.compile(rb"\r\x1b\[K *\d+ %  [^\r]* of ")


class Terminal:
    """A terminal with a program that was started in it."""

    def __init__(self, *arguments, columns=80, env=None, **streams):
        self.master, slave = pty.openpty()
        settings = termios.tcgetattr(slave)
        settings[1] &= ~termios.OPOST  # line feeds stay as they are
        termios.tcsetattr(slave, termios.TCSANOW, settings)
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        variables = {"TERM": "xterm", **(env or {})}
        inherited = {key: value for key, value in environment(**variables).items()
                     if key not in ("COLUMNS", "NO_COLOR", "PAGER", "LESS") or key in variables}
        streams = {name: slave if stream == "terminal" else stream for name, stream in streams.items()}
        for name in ("stdout", "stderr"):
            streams.setdefault(name, slave)
        self.process = subprocess.Popen([PROGRAM, *arguments], env=inherited, stdin=subprocess.DEVNULL,
                                        preexec_fn=default_interrupt, **streams)
        os.close(slave)

    def read(self, until=None):
        """What the terminal gets until the program has ended, or until `until` is found in it."""
        seen = b""
        while until is None or not until.search(seen):
            try:
                more = os.read(self.master, 65536)
            except OSError:  # nobody has the terminal open any more
                more = b""
            if not more:
                break
            seen += more
        return seen

    def finish(self):
        """What the terminal gets to the end, and the exit status."""
        seen = self.read()
        os.close(self.master)
        return seen, self.process.wait(60)


def shown(output):
    """The lines that stand on the screen after `output`: carriage returns and erased lines are taken account of."""
    lines, column = [""], 0
    for part in re.findall(r"\r|\n|\x1b\[[0-9;]*[A-Za-z]|[^\r\n\x1b]+", output.decode()):
        if part == "\n":
            lines.append("")
            column = 0
        elif part == "\r":
            column = 0
        elif part == "\x1b[K":
            lines[-1] = lines[-1][:column]
        elif part[0] != "\x1b":
            lines[-1] = lines[-1][:column] + part + lines[-1][column + len(part):]
            column += len(part)
    return lines


class Colour(Case):
    def test_who_gets_it(self):
        for rule, options, variables, expected in [
                ("a terminal", [], {}, True), ("--color auto", ["--color", "auto"], {}, True),
                ("NO_COLOR", [], {"NO_COLOR": "1"}, False), ("NO_COLOR is empty", [], {"NO_COLOR": ""}, True),
                ("a dumb terminal", [], {"TERM": "dumb"}, False), ("--color never", ["--color", "never"], {}, False),
                ("--color always is stronger than NO_COLOR", ["--color", "always"], {"NO_COLOR": "1"}, True)]:
            for command in ("tree", "summary"):
                with self.subTest(rule=rule, command=command):
                    output, status = Terminal(command, *options, self.sample(), env=variables).finish()
                    self.assertEqual((status, COLOUR in output), (0, expected))

    def test_not_on_a_terminal(self):
        for options, expected in [([], False), (["--color", "always"], True), (["--color", "auto"], False)]:
            with self.subTest(options=options):
                self.assertEqual(COLOUR in run("tree", *options, self.sample()).stdout, expected)
                terminal = Terminal("tree", *options, self.sample(), stdout=subprocess.PIPE)
                self.assertEqual(COLOUR in terminal.process.stdout.read(), expected)
                terminal.process.stdout.close()
                self.assertEqual(terminal.finish(), (b"", 0))

    def test_json_has_none(self):
        output, _ = Terminal("tree", "--format", "json", self.sample()).finish()
        self.assertEqual(output, run("tree", "--format", "json", self.sample()).stdout)

    def test_not_in_a_file(self):
        Terminal("tree", self.sample(), "-o", self.path("out")).finish()
        with open(self.path("out"), "rb") as file:
            self.assertEqual(file.read(), run("tree", self.sample()).stdout)


class Width(Case):
    def setUp(self):
        super().setUp()
        info = riff_list(b"INFO", chunk(b"ICMT", b"w" * 300))
        self.film = self.path("f", riff_list(b"AVI ", info + riff_list(b"movi", b""), b"RIFF") + b"\0" * 99)

    def widest(self, *arguments, **more):
        output, status = Terminal("tree", *arguments, self.film, **more).finish()
        self.assertEqual(status, 0)
        return max(len(line) for line in shown(output) if " value = w" in line)

    def test_long_values_are_cut_off(self):
        for columns in (50, 60, 100):
            with self.subTest(columns=columns):
                self.assertIn(self.widest(columns=columns), (columns - 1, columns))
        self.assertGreater(self.widest(columns=400), 127)

    def test_characters_of_all_widths(self):
        def width(text):
            # What the Unicode data of another program says.
            return sum(0 if unicodedata.category(character) in ("Mn", "Me", "Cf")
                       else 2 if unicodedata.east_asian_width(character) in "WF" else 1 for character in text)

        for name, text in [("CJK", "映像" * 20), ("Hangul", "한글" * 20), ("fullwidth", "ＡＢ" * 20),
                           ("marks", "e\u0301" * 40), ("emoji", "\U0001F600\U0001F680" * 15),
                           ("escapes", "\x1b\\" * 60), ("mixed", "a映\x01é" * 17)]:
            info = riff_list(b"INFO", chunk(b"ICMT", text.encode()))
            film = self.path(name, riff_list(b"AVI ", info + riff_list(b"movi", b""), b"RIFF") + b"\0" * 99)
            for options, columns, locale in [([], 50, "C"), ([], 51, "C.UTF-8"), (["--paths"], 72, "C"),
                                             (["--hex"], 110, "C.UTF-8"), (["--hex"], 111, "C.UTF-8")]:
                with self.subTest(text=name, options=options, columns=columns):
                    output, status = Terminal("tree", *options, film, columns=columns, env={"LC_ALL": locale}).finish()
                    self.assertEqual(status, 0)
                    line, = [line for line in shown(output) if "value = " in line]
                    self.assertLessEqual(width(line), columns)
                    if "…" in line.split("  [")[0]:
                        self.assertGreaterEqual(width(line), columns - 5)

    def test_columns_in_the_environment(self):
        self.assertEqual(self.widest(columns=100, env={"COLUMNS": "60"}), 59)
        self.assertEqual(self.widest(columns=100, env={"COLUMNS": "many"}), 99)

    def test_nothing_is_cut_off_elsewhere(self):
        lines = run("tree", self.film, env={"COLUMNS": "40"}).stdout.decode().splitlines()
        self.assertIn("w" * 125, max(lines, key=len))


class Collapse(Case):
    def test_who_gets_it(self):
        path = self.path("film", film(40))
        for rule, options, expected in [("a terminal", [], True), ("--no-collapse", ["--no-collapse"], False),
                                        ("JSON", ["--format", "json"], False)]:
            with self.subTest(rule=rule):
                output, _ = Terminal("tree", *options, path).finish()
                self.assertEqual(b"more like these" in output, expected)
        self.assertNotIn(b"more like these", run("tree", path).stdout)
        self.assertIn(b"more like these", run("tree", "--collapse", path).stdout)


class Progress(Case):
    def watch(self, *arguments, patience=1.2, **streams):
        """What a terminal gets of long work until it shows progress, at most for a number of seconds, and behind that."""
        terminal = Terminal("streams", *arguments, self.endless(), **streams)
        begun = b""
        deadline = time.monotonic() + patience
        while not PROGRESS.search(begun) and time.monotonic() < deadline:
            os.set_blocking(terminal.master, False)
            try:
                begun += os.read(terminal.master, 65536)
            except BlockingIOError:
                time.sleep(0.02)
        os.set_blocking(terminal.master, True)
        terminal.process.send_signal(signal.SIGINT)
        if terminal.process.stdout:
            terminal.process.stdout.read()
            terminal.process.stdout.close()
        rest, status = terminal.finish()
        self.assertEqual(status, 130)
        return begun, rest

    def test_comes_and_goes(self):
        for streams in ({}, {"stdout": subprocess.PIPE}):
            with self.subTest(streams=streams):
                begun, rest = self.watch(patience=60, **streams)
                self.assertRegex(begun, PROGRESS)
                found = shown(begun + rest)
                self.assertEqual([line for line in found if " %  " in line], [])
                self.assertEqual([line for line in found if "interrupted" in line and line.startswith("quenlofar: ")],
                                 found[-2:-1])

    def test_fits_into_the_line(self):
        begun, rest = self.watch(patience=60, columns=30)
        lines = [part for part in re.split(rb"[\r\n]", begun + rest) if b" %  " in part]
        self.assertTrue(lines)
        self.assertTrue(all(len(line) - len(b"\x1b[K") < 30 for line in lines), lines)

    def test_who_gets_none(self):
        for rule, arguments in [("--no-progress", ["--no-progress"]), ("--quiet", ["--quiet"]),
                                ("the last switch wins", ["--progress", "--no-progress"])]:
            with self.subTest(rule=rule):
                begun, rest = self.watch(*arguments)
                self.assertNotIn(b" %  ", begun + rest)
        with open(self.path("errors"), "wb") as errors:
            begun, rest = self.watch(stderr=errors)
        self.assertNotIn(b" %  ", begun + rest)
        with open(self.path("errors"), "rb") as errors:
            self.assertNotIn(b" %  ", errors.read())

    def test_last_switch_wins(self):
        begun, _ = self.watch("--no-progress", "--progress", patience=60)
        self.assertRegex(begun, PROGRESS)

    def test_short_work_shows_none(self):
        output, status = Terminal("streams", self.sample()).finish()
        self.assertEqual((output, status), (run("streams", self.sample()).stdout, 0))

    def test_wanted_without_a_terminal(self):
        process = subprocess.Popen([PROGRAM, "streams", "--progress", self.endless(), self.sample()], env=environment(),
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, preexec_fn=default_interrupt)
        errors = b""
        while not PROGRESS.search(errors):
            errors += os.read(process.stderr.fileno(), 65536)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=60)
        self.assertIn(b"file 1 of 2", errors)

    def test_stands_between_no_lines(self):
        # Output, messages and progress meet on one terminal: all lines of the first two are whole.
        missing = self.path("missing")
        shallow = ["tree", "--no-collapse", "--depth", "3"]
        terminal = Terminal(*shallow, "--color", "never", self.path("a", film(3)), missing, self.endless(), columns=500)
        begun = terminal.read(until=PROGRESS)
        terminal.process.send_signal(signal.SIGINT)
        rest, _ = terminal.finish()
        printed = run(*shallow, self.path("a")).stdout.decode().splitlines()
        found = shown(begun + rest)
        self.assertEqual(found[:len(printed)], printed)
        self.assertIn(f"quenlofar: {missing.decode()}: cannot be opened: No such file or directory", found)
        self.assertEqual([line for line in found if " %  " in line], [])

    @unittest.skipIf(SANITIZED, "the sanitizer's runtime has to come first")
    def test_ends_by_itself(self):
        path = self.path("film", film(20000))
        slow = {"LD_PRELOAD": os.environ["QUENLOFAR_FAULT_INJECTOR"], "QUENLOFAR_SLOW_READ": "200"}
        output, status = Terminal("tree", "--color", "never", "--depth", "1", path, columns=500, env=slow).finish()
        self.assertEqual(status, 0)
        self.assertRegex(output, PROGRESS)
        self.assertEqual(shown(output), run("tree", "--depth", "1", path).stdout.decode().split("\n"))


class Pager(Case):
    def setUp(self):
        super().setUp()
        self.page = self.path("page")
        self.script = self.path("pager", b"#!/bin/sh\ncat >'" + self.page + b"'\nexit 3\n")
        os.chmod(self.script, 0o755)

    def paged(self):
        with open(self.page, "rb") as page:
            return page.read()

    def test_everything_goes_through_it(self):
        path = self.sample("spliced-truncated")
        terminal = Terminal("tree", "--pager", "--no-collapse", path, columns=400, env={"PAGER": self.script.decode()})
        output, status = terminal.finish()
        self.assertEqual(status, 1)  # that of the file, not of the pager
        self.assertIn(b"the file ends inside an element", output)
        self.assertEqual(len(output.splitlines()), 1)
        self.assertIn(COLOUR, self.paged())
        self.assertEqual(shown(self.paged()), run("tree", path).stdout.decode().split("\n"))

    def test_command_with_arguments(self):
        terminal = Terminal("summary", "--pager", "--color", "never", self.sample(), env={"PAGER": "sed -n 2p"})
        self.assertEqual(terminal.finish(), (b"  container         AVI\n", 0))

    def test_left_early(self):
        terminal = Terminal("tree", "--pager", "--no-collapse", self.path("film", film(20000)), columns=400,
                            env={"PAGER": "head -n 1"})
        output, status = terminal.finish()
        self.assertEqual((len(output.splitlines()), status), (1, 0))

    def test_pipes_in_a_pager_end_quietly(self):
        terminal = Terminal("tree", "--pager", "--no-collapse", self.path("film", film(20000)), columns=400,
                            env={"PAGER": "cat | head -n 1"})
        output, status = terminal.finish()
        self.assertEqual((len(output.splitlines()), status), (1, 0))

    def test_not_there(self):
        output, status = Terminal("tree", "--pager", self.sample(), env={"PAGER": "/nowhere/pager"}).finish()
        self.assertEqual(status, 2)
        self.assertIn(b"quenlofar: the pager cannot be run", output)

    def test_has_the_terminal_for_itself(self):
        terminal = Terminal("tree", "--only", "none", "--pager", self.endless(), env={"PAGER": self.script.decode()})
        time.sleep(1.2)
        terminal.process.send_signal(signal.SIGINT)
        output, status = terminal.finish()
        self.assertEqual(status, 130)
        self.assertNotIn(b" %  ", output)

    def test_only_on_a_terminal(self):
        result = run("summary", "--pager", self.sample(), env={"PAGER": self.script.decode()})
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout, run("summary", self.sample()).stdout)
        self.assertFalse(os.path.exists(self.page))
        Terminal("summary", self.sample(), env={"PAGER": self.script.decode()}).finish()
        Terminal("summary", "--pager", self.sample(), "-o", self.path("out"),
                 env={"PAGER": self.script.decode()}).finish()
        self.assertFalse(os.path.exists(self.page))


if __name__ == "__main__":
    unittest.main()
