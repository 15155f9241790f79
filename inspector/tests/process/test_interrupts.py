"""Signals: no file is left behind, no sleeping reader is waited for, and one request may be several signals."""

import fcntl
import json
import os
import resource
import signal
import struct
import subprocess
import termios
import time
import unittest

from support import PROGRAM, SANITIZED, Case, catches, documents, environment, film, run, wait_until

SOON = 5.0  # seconds, however busy the machine is; what these tests wait for never comes
MANY = 20000  # chunks: far more output than a pipe and the program's buffers hold
IN_GOOD_ORDER = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGXCPU, signal.SIGALRM, signal.SIGUSR1,
                 signal.SIGUSR2]


def default_signals():
    """For a child: nothing is ignored, and no core is dumped."""
    for number in [*IN_GOOD_ORDER, signal.SIGQUIT]:
        signal.signal(number, signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Interrupts(Case):
    def start(self, *arguments, env=None, **more):
        """The program, from the moment on in which it catches signals."""
        more.setdefault("stdin", subprocess.DEVNULL)
        process = subprocess.Popen([PROGRAM, *arguments], env=environment(**(env or {})), preexec_fn=default_signals,
                                   stderr=subprocess.PIPE, **more)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.addCleanup(process.stderr.close)
        wait_until(lambda: all(catches(process, number) for number in IN_GOOD_ORDER), process)
        return process

    def seconds_to_end(self, process, number):
        begin = time.monotonic()
        process.send_signal(number)
        process.wait(60)
        return time.monotonic() - begin

    def full_pipe(self, *arguments, **more):
        """The program in the middle of a write to a pipe that nobody reads, and the end to read from."""
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        process = self.start(*arguments, stdout=writer, **more)
        os.close(writer)
        before, now = -1, 0
        while now == 0 or now != before:
            time.sleep(0.2)
            before, now = now, struct.unpack("i", fcntl.ioctl(reader, termios.FIONREAD, b"\0" * 4))[0]
        return process, reader

    def test_output_file_goes(self):
        target = self.path("out", b"old")
        film_path = self.endless()
        for number in [*IN_GOOD_ORDER, signal.SIGQUIT]:
            with self.subTest(number=number):
                process = self.start("tree", "--only", "none", film_path, "-o", target, stdout=subprocess.DEVNULL)
                wait_until(lambda: len(os.listdir(self.directory)) >= 3, process)
                process.send_signal(number)
                process.wait(60)
                self.assertEqual(process.returncode,
                                 -signal.SIGQUIT if number == signal.SIGQUIT else 128 + number)
                with open(target, "rb") as file:
                    self.assertEqual(file.read(), b"old")
                self.assertEqual(sorted(os.listdir(self.directory)), ["endless", "out"])

    def test_handlers_come_before_the_file(self):
        # From the first moment on in which there is a file a signal removes it.
        film_path = self.endless()
        for _ in range(10):
            process = subprocess.Popen([PROGRAM, "tree", "--only", "none", film_path, "-o", self.path("out")], env=environment(),
                                       preexec_fn=default_signals, stderr=subprocess.DEVNULL)
            while process.poll() is None and len(os.listdir(self.directory)) < 2:
                pass
            process.send_signal(signal.SIGTERM)
            self.assertEqual(process.wait(60), 143)
            self.assertEqual(os.listdir(self.directory), ["endless"])

    def test_quit_in_front_of_a_list(self):
        target = self.path("out", b"old")
        os.mkfifo(self.path("list"))
        process = self.start("tree", "--files-from", self.path("list"), "-o", target, stdout=subprocess.DEVNULL)
        process.send_signal(signal.SIGQUIT)
        self.assertEqual(process.wait(60), -signal.SIGQUIT)
        self.assertEqual(sorted(os.listdir(self.directory)), ["list", "out"])

    @unittest.skipIf(SANITIZED, "the sanitizer's runtime has to come first")
    def test_second_signal(self):
        # The first one finds the program in a read that takes a minute.
        target = self.path("out", b"old")
        process = self.start("tree", self.sample(), "-o", target, stdout=subprocess.DEVNULL,
                             env={"LD_PRELOAD": os.environ["QUENLOFAR_FAULT_INJECTOR"],
                                  "QUENLOFAR_SLOW_READ": "60000"})
        process.send_signal(signal.SIGTERM)
        time.sleep(1.2)
        self.assertLess(self.seconds_to_end(process, signal.SIGTERM), SOON)
        self.assertEqual(process.returncode, -signal.SIGTERM)
        self.assertEqual(os.listdir(self.directory), ["out"])

    def test_one_request_of_several_signals(self):
        path = self.path("film", film(MANY))
        for several in ([signal.SIGTERM] * 2, [signal.SIGTERM] * 5, [signal.SIGTERM, signal.SIGHUP],
                        [signal.SIGHUP] * 2, [signal.SIGUSR1] * 2, [signal.SIGINT] * 2):
            with self.subTest(several=several):
                process = self.start("tree", "--format", "json", path, path, stdout=subprocess.PIPE)
                begun = process.stdout.read(1)  # and now the program waits for its reader
                for number in several:
                    process.send_signal(number)
                    time.sleep(0.01 if several[0] == signal.SIGINT else 0.05)
                output = begun + process.stdout.read()
                process.stdout.close()
                self.assertEqual(process.wait(60), 128 + several[0])
                self.assertIs(json.loads(output)["cancelled"], True)

    def test_under_timeout(self):
        # It sends the signal to the program, and then to the group, of which the program is a member.
        film_path = self.endless()
        result = subprocess.run(["timeout", "--preserve-status", "1", PROGRAM, "tree", "--format", "json", "--only", "none", film_path],
                                env=environment(), capture_output=True, timeout=60, preexec_fn=default_signals,
                                check=False)
        self.assertEqual(result.returncode, 143)
        self.assertIs(documents(result.stdout)[0]["cancelled"], True)

    def test_reader_that_sleeps(self):
        path = self.path("film", film(MANY))
        for number, arguments in [(signal.SIGINT, ["tree"]), (signal.SIGTERM, ["tree", "--format", "json"]),
                                  (signal.SIGUSR1, ["tree", "-j", "2", path, path]),
                                  (signal.SIGTERM, ["tree", "-j", "3", "--format", "json", path, path])]:
            with self.subTest(arguments=arguments, number=number):
                process, _ = self.full_pipe(*arguments, path)
                self.assertLess(self.seconds_to_end(process, number), SOON)
                self.assertEqual(process.returncode, -number)
                self.assertRegex(process.stderr.read(), rb"standard output cannot be written: nobody takes it")

    def test_reader_that_sleeps_of_other_commands(self):
        path, other = self.path("film", film(MANY)), self.path("other", film(MANY // 2))
        for arguments in (["bytes", path, "0+999999"], ["diff", "--format", "json", path, other]):
            with self.subTest(arguments=arguments):
                process, _ = self.full_pipe(*arguments)
                self.assertLess(self.seconds_to_end(process, signal.SIGTERM), SOON)
                self.assertEqual(process.returncode, -signal.SIGTERM)

    def test_everything_sleeps(self):
        # Standard error is the same pipe: the message that it is full has no room there.
        path = self.path("film", film(MANY))
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        process = subprocess.Popen([PROGRAM, "tree", "-j", "3", path, path, path], env=environment(), stdout=writer,
                                   stderr=writer, preexec_fn=default_signals)
        os.close(writer)
        time.sleep(1)
        self.assertLess(self.seconds_to_end(process, signal.SIGINT), SOON)

    def test_reader_that_sleeps_of_a_non_blocking_pipe(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        os.set_blocking(writer, False)
        process = self.start("tree", self.path("film", film(MANY)), stdout=writer)
        os.close(writer)
        time.sleep(0.5)
        self.assertLess(self.seconds_to_end(process, signal.SIGTERM), SOON)

    def test_slow_reader_gets_everything(self):
        # One that reads, if little at a time, does not sleep.
        process, reader = self.full_pipe("tree", "--format", "json", self.path("film", film(MANY)))
        process.send_signal(signal.SIGTERM)
        output = b""
        while process.poll() is None or not output.endswith(b"\n"):
            output += os.read(reader, 8192)
            time.sleep(0.2)
        self.assertEqual(process.wait(60), 143)
        self.assertIs(json.loads(output)["cancelled"], True)

    def test_pipe_without_a_reader(self):
        os.mkfifo(self.path("pipe"))
        process = self.start("tree", self.sample(), "-o", self.path("pipe"))
        self.assertLess(self.seconds_to_end(process, signal.SIGTERM), SOON)
        self.assertEqual((process.returncode, process.stderr.read()), (143, b""))

    def test_list_that_does_not_come(self):
        os.mkfifo(self.path("pipe"))
        reader, writer = os.pipe()
        self.addCleanup(os.close, writer)
        os.write(writer, self.sample() + b"\n")
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGALRM):
            for name, stdin in [("-", reader), (self.path("pipe"), subprocess.DEVNULL)]:
                with self.subTest(number=number, name=name):
                    process = self.start("tree", "--files-from", name, "-o", self.path("out"), stdin=stdin)
                    time.sleep(0.05)
                    self.assertLess(self.seconds_to_end(process, number), SOON)
                    self.assertEqual((process.returncode, process.stderr.read()), (128 + number, b""))
                    self.assertEqual(sorted(os.listdir(self.directory)), ["pipe"])
        os.close(reader)

    def test_quit_is_for_those_who_are_in_a_hurry(self):
        process = self.start("tree", "--only", "none", self.endless(), stdout=subprocess.DEVNULL)
        self.assertLess(self.seconds_to_end(process, signal.SIGQUIT), SOON)
        self.assertEqual(process.returncode, -signal.SIGQUIT)

    def test_handlers_of_others_stay(self):
        # What was ignored at the start stays ignored, for each signal.
        for number in [*IN_GOOD_ORDER[3:], signal.SIGQUIT]:
            with self.subTest(number=number):
                process = subprocess.Popen([PROGRAM, "tree", "--only", "none", self.endless()], env=environment(),
                                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                           preexec_fn=lambda: signal.signal(number, signal.SIG_IGN))
                self.addCleanup(process.wait)
                self.addCleanup(process.kill)
                time.sleep(0.3)
                process.send_signal(number)
                time.sleep(0.3)
                self.assertIsNone(process.poll())

    def test_file_that_may_not_grow(self):
        def small_files():
            default_signals()
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))

        path = self.path("film", film(MANY))
        target = self.path("out", b"old")
        result = run("tree", path, "-o", target, preexec_fn=small_files)
        self.assertEnds(result, 2, f"{target.decode()} cannot be written: File too large")
        with open(target, "rb") as file:
            self.assertEqual(file.read(), b"old")
        self.assertEqual(sorted(os.listdir(self.directory)), ["film", "out"])
        with open(self.path("standard"), "wb") as standard:
            result = run("tree", path, stdout=standard, preexec_fn=small_files)
        self.assertEnds(result, 2, "standard output cannot be written: File too large")


if __name__ == "__main__":
    unittest.main()
