"""Standard output that is closed, full, or that nobody reads any more; and signals that end the program."""

import fcntl
import json
import os
import signal
import struct
import subprocess
import termios
import threading
import time
import unittest

from support import PROGRAM, Case, default_interrupt, documents, environment, film, has_opened, run, wait_until

# Far more output than a pipe and the program's buffers hold.
MANY = 20000


class Output(Case):
    def test_closed(self):
        for command in (f"{PROGRAM} --help", f"{PROGRAM} --version", f"{PROGRAM} plugins",
                        f"{PROGRAM} tree '{self.sample().decode()}'",
                        f"{PROGRAM} tree --format json '{self.sample().decode()}'"):
            with self.subTest(command=command):
                result = run("-c", f"{command} >&-", program="sh")
                self.assertEnds(result, 2, "standard output cannot be written: it is closed")

    def test_full(self):
        for arguments in (["--help"], ["--version"], ["plugins"], ["tree", self.sample()],
                          ["tree", "--format", "json", self.sample()], ["tree", self.path("film", film(MANY))]):
            with self.subTest(arguments=arguments), open("/dev/full", "wb") as full:
                self.assertEnds(run(*arguments, stdout=full), 2,
                                "standard output cannot be written: No space left on device")

    def test_not_writable(self):
        with open("/dev/null", "rb") as nothing:
            self.assertEnds(run("plugins", stdout=nothing), 2, "standard output cannot be written: Bad file descriptor")

    def test_failure_keeps_the_messages_of_files(self):
        missing = self.path("missing")
        with open("/dev/full", "wb") as full:
            self.assertEnds(run("tree", missing, stdout=full), 2, "cannot be opened", "standard output cannot")

    def test_closed_input_and_errors(self):
        # Whatever is closed, no file gets its number: with standard error closed the messages must not go into a file.
        for closing in ("<&-", "2>&-", "<&- 2>&-"):
            with self.subTest(closing=closing):
                result = run("-c", f"{PROGRAM} tree --format json '{self.sample().decode()}' {closing}", program="sh")
                self.assertEqual(result.returncode, 0)
                self.assertEqual(documents(result.stdout)[0]["status"], 0)
        self.assertEqual(run("-c", f"{PROGRAM} tree /nowhere 2>&-", program="sh").returncode, 2)

    def test_reader_gone(self):
        path = self.path("film", film(MANY))
        for more in ([], ["--format", "json"]):
            with self.subTest(more=more):
                process = subprocess.Popen([PROGRAM, "tree", *more, path], env=environment(),
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                self.assertNotEqual(process.stdout.read(10), b"")
                process.stdout.close()
                self.assertEqual(process.stderr.read(), b"")
                process.stderr.close()
                self.assertEqual(process.wait(60), 141)

    def test_reader_gone_before_the_start(self):
        reader, writer = os.pipe()
        os.close(reader)
        for arguments in (["--help"], ["plugins"], ["tree", self.sample()], ["tree", self.path("missing")]):
            with self.subTest(arguments=arguments):
                self.assertEqual(run(*arguments, stdout=writer).returncode, 141)
        os.close(writer)

    def test_slow_reader_of_a_non_blocking_pipe(self):
        path = self.path("film", film(MANY))
        expected = run("tree", "--format", "json", path).stdout
        reader, writer = os.pipe()
        fcntl.fcntl(writer, fcntl.F_SETFL, fcntl.fcntl(writer, fcntl.F_GETFL) | os.O_NONBLOCK)
        process = subprocess.Popen([PROGRAM, "tree", "--format", "json", path], env=environment(), stdout=writer)
        os.close(writer)
        time.sleep(0.2)  # the pipe is full now
        with os.fdopen(reader, "rb") as output:
            self.assertTrue(output.read() == expected)
        self.assertEqual(process.wait(60), 0)


class Interrupt(Case):
    def start(self, *arguments, prepare=default_interrupt):
        process = subprocess.Popen([PROGRAM, *arguments], env=environment(), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, preexec_fn=prepare)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.kill)
        return process

    def finish(self, process, begun):
        """The rest of the output behind `begun`, the messages and the exit status."""
        errors = []
        reading = threading.Thread(target=lambda: errors.append(process.stderr.read()))
        reading.start()
        output = begun + process.stdout.read()
        reading.join()
        return output, errors[0].decode(), process.wait(60)

    def wait_until_full(self, pipe):
        """Waits until the program has filled the pipe, so that it hangs in a write."""
        before, now = -1, 0
        while now == 0 or now != before:
            time.sleep(0.2)
            before, now = now, struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, b"\0" * 4))[0]

    def test_output_is_complete(self):
        path = self.path("film", film(MANY))
        for number, expected, layout in [(signal.SIGINT, 130, []), (signal.SIGINT, 130, ["--pretty"]),
                                         (signal.SIGTERM, 143, []), (signal.SIGHUP, 129, [])]:
            with self.subTest(number=number, layout=layout):
                # The program waits for its reader in the middle of the first file.
                process = self.start("tree", "--format", "json", *layout, path, path)
                begun = process.stdout.read(1)
                process.send_signal(number)
                output, errors, status = self.finish(process, begun)
                self.assertEqual(status, expected, errors)
                self.assertRegex(errors, r"^quenlofar: .*/film: interrupted at byte \d+\n$")
                document = json.loads(output)  # one document: the second file was not started
                self.assertEqual((document["cancelled"], document["status"]), (True, 0))
                movi = document["elements"][0]["items"][3]
                self.assertEqual(movi["node"], "LIST(movi)")
                self.assertLess(len(movi["items"]), MANY)
                self.assertGreater(len(movi["items"]), 10)

    def test_text(self):
        path = self.path("film", film(MANY))
        process = self.start("tree", path)
        begun = process.stdout.read(1)
        process.send_signal(signal.SIGINT)
        output, errors, status = self.finish(process, begun)
        self.assertEqual(status, 130, errors)
        self.assertEqual(output[-1:], b"\n")

    def test_while_nothing_is_printed(self):
        # Nothing is printed for hours: the signal is noticed all the same.
        path = self.endless()
        process = self.start("tree", "--format", "json", "--only", "none", path)
        wait_until(lambda: has_opened(process, path), process)
        time.sleep(0.5)
        begin = time.monotonic()
        process.send_signal(signal.SIGINT)
        output, errors, status = self.finish(process, b"")
        self.assertLess(time.monotonic() - begin, 10)
        self.assertEqual(status, 130, errors)
        self.assertIs(json.loads(output)["cancelled"], True)

    def test_second_one_ends_at_once(self):
        for first, second in [(signal.SIGINT, signal.SIGINT), (signal.SIGTERM, signal.SIGTERM),
                              (signal.SIGINT, signal.SIGTERM), (signal.SIGHUP, signal.SIGINT)]:
            with self.subTest(first=first, second=second):
                process = self.start("tree", self.path("film", film(MANY)))
                self.wait_until_full(process.stdout)
                process.send_signal(first)
                time.sleep(0.2)
                self.assertIsNone(process.poll())
                deadline = time.monotonic() + 60
                while process.poll() is None and time.monotonic() < deadline:
                    process.send_signal(second)
                    time.sleep(0.05)
                self.assertEqual(process.returncode, -second)

    def test_stays_ignored_where_it_was(self):
        for number, others in [(signal.SIGINT, []), (signal.SIGHUP, []), (signal.SIGTERM, []),
                               (signal.SIGHUP, [signal.SIGTERM])]:
            with self.subTest(number=number, others=others):
                process = self.start("tree", "--format", "json", self.path("film", film(MANY)),
                                     prepare=lambda: signal.signal(number, signal.SIG_IGN))
                begun = process.stdout.read(1)
                for other in others:
                    process.send_signal(other)  # what it resets is not what was ignored
                    time.sleep(0.2)
                process.send_signal(number)
                output, errors, status = self.finish(process, begun)
                self.assertEqual(status, 143 if others else 0, errors)
                self.assertEqual("cancelled" in json.loads(output), bool(others))


if __name__ == "__main__":
    unittest.main()
