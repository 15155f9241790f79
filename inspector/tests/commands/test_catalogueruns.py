"""Runs of `catalogue` that are interrupted, meet one another or a full disk, or are started by a timer."""

import errno
import os
import pathlib
import re
import shutil
import signal
import sqlite3
import struct
import subprocess
import time
import unittest

import test_catalogue
from support import DOCS, PROGRAM, SANITIZED, default_interrupt, environment, film, run

INJECTED = {"LD_PRELOAD": os.environ.get("QUENLOFAR_FAULT_INJECTOR", "")}


class Interruptions(test_catalogue.Catalogue):
    FILES = 60 if SANITIZED else 300

    def contents(self):
        """What the database says of files, without numbers of runs and times of looking."""
        return (self.rows("SELECT path, size, mtime, inode, digest, status, verdict, container, writer, errors, "
                          "warnings, notes, change, missing_run FROM file ORDER BY path"),
                self.rows("SELECT path, stream.* FROM stream JOIN file ON file.id = file ORDER BY path, number"),
                self.rows("SELECT path, number, rule, severity, stream, count, offset, message FROM finding "
                          "JOIN file ON file.id = file ORDER BY path, number"),
                self.rows("SELECT path, rule FROM new_findings"))

    def without_ids(self):
        files, streams, findings, new = self.contents()
        return files, [(row[0], *row[2:]) for row in streams], findings, new

    def make_films(self):
        for number in range(self.FILES):
            self.film(f"{number % 7}/{number}.avi", film(number % 5) if number % 3 else None)

    def start(self, *options):
        return subprocess.Popen([PROGRAM, "catalogue", "--database", self.database, "-r", self.archive, *options],
                                env=environment(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, preexec_fn=default_interrupt)

    def assertCopyIsWhole(self):
        """Opened for writing, which tidies up what a killed run has left: in a copy."""
        copy = self.directory / "copy"
        copy.mkdir()
        for file in self.directory.glob("archive.sqlite*"):
            shutil.copy(file, copy)
        result = subprocess.run(["sqlite3", copy / "archive.sqlite", "PRAGMA integrity_check"], capture_output=True,
                                timeout=60)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, b"ok\n", b""))
        shutil.rmtree(copy)

    def test_killed_as_the_database_is_made(self):
        self.film("a.avi")
        connection = sqlite3.connect(self.database)
        connection.execute("PRAGMA journal_mode = WAL")
        connection.close()
        # The journal of a first transaction that was not finished: there were no pages before it. "Database File
        # Format" of SQLite, 3: magic, pages in the journal, nonce, pages before, sizes of sectors and pages.
        journal = self.directory / "archive.sqlite-journal"
        journal.write_bytes(struct.pack(">8s5I", bytes.fromhex("d9d505f920a163d7"), 0, 4711, 0, 512, 4096)
                            + bytes(512 - 28))
        connection = sqlite3.connect(f"file:{self.database}?mode=ro", uri=True)
        with self.assertRaisesRegex(sqlite3.OperationalError, "readonly"):
            connection.execute("PRAGMA user_version").fetchone()
        connection.close()
        self.assertEnds(self.catalogue("--report", "text", archive=False), 2, "there is no catalogue")
        self.assertEnds(self.catalogue(), 0)
        self.assertFalse(journal.exists())
        self.assertEqual(self.names("file"), ["a.avi"])
        self.assertWhole()

    def test_killed_again_and_again(self):
        self.make_films()
        options = ["--digest", "sha256", "-j", "2"]
        expected_run = self.catalogue(*options)
        expected = self.without_ids()
        self.start_anew()
        for milliseconds in range(2, 80, 6):
            child = self.start(*options)
            time.sleep(milliseconds / 1000)
            child.kill()
            child.communicate()
            self.assertCopyIsWhole()
            if self.has_finished():
                self.start_anew()
        result = self.catalogue(*options)
        self.assertEqual((result.returncode, result.stdout), (expected_run.returncode, expected_run.stdout))
        self.assertEqual(self.without_ids(), expected)
        self.assertWhole()

    def counts_of_calls(self):
        """How often a run makes calls of the system, by their kinds."""
        report = self.directory / "report"
        self.catalogue("--digest", "sha256", env={**INJECTED, "QUENLOFAR_FAULT": "open:1000000000:1",
                                                  "QUENLOFAR_FAULT_REPORT": str(report)})
        return {call: int(count) for call, count in (line.split() for line in report.read_text().splitlines())}

    def has_finished(self):
        """A run came to its end before it was killed."""
        if not self.database.exists():
            return False
        connection = sqlite3.connect(self.database)
        try:
            return connection.execute("SELECT count(finished) FROM run").fetchone()[0] > 0
        except sqlite3.OperationalError:
            return False  # it was killed before there were tables
        finally:
            connection.close()

    def start_anew(self):
        for file in self.directory.glob("archive.sqlite*"):
            file.unlink()

    @unittest.skipIf(SANITIZED, "the runtime of sanitizers does not go with a library in front of it")
    def test_killed_at_each_call(self):
        self.film("a.avi", film(3))
        self.assertEqual(self.catalogue("--digest", "sha256").returncode, 1)
        expected = self.without_ids()[:3]
        self.start_anew()
        counts = self.counts_of_calls()
        for call in "open", "write", "unlink", "fsync":
            self.assertGreater(counts[call], 0)
            for place in range(1, counts[call] + 1, 2 if call == "write" else 1):
                with self.subTest(call=call, place=place):
                    self.start_anew()
                    result = self.catalogue("--digest", "sha256",
                                            env={**INJECTED, "QUENLOFAR_FAULT": f"{call}:{place}:killed"})
                    self.assertEqual(result.returncode, -signal.SIGKILL)
                    self.assertCopyIsWhole()
                    # Whether its findings were told already depends on whether the run was at its end.
                    self.assertIn(self.catalogue("--digest", "sha256").returncode, (0, 1))
                    self.assertEqual(self.without_ids()[:3], expected)

    @unittest.skipIf(SANITIZED, "the runtime of sanitizers does not go with a library in front of it")
    def test_a_file_that_cannot_be_read_at_some_moment(self):
        path = self.film("a.avi")
        self.assertEnds(self.catalogue("--digest", "sha256"), 0)
        expected = self.without_ids()[:3]
        self.start_anew()
        counts = self.counts_of_calls()
        for call, error in ("open", errno.EACCES), ("read", errno.EIO):
            troubled = 0
            for place in range(1, counts[call] + 1, 1 if call == "open" else 3): # SQLite's own are among the reads
                with self.subTest(call=call, place=place):
                    self.start_anew()
                    fault = {"QUENLOFAR_FAULT": f"{call}:{place}:{error}"}
                    if call == "open":
                        fault["QUENLOFAR_FAULT_PATH"] = str(path)
                    result = self.catalogue("--digest", "sha256", env={**INJECTED, **fault})
                    if result.returncode == 0:
                        self.assertEqual(self.without_ids()[:3], expected)
                    else:
                        self.assertEqual(result.returncode, 2)
                        self.assertTrue(result.stderr)
                        troubled += 1
                    self.assertEnds(self.catalogue("--digest", "sha256"), 0)
                    self.assertEqual(self.without_ids()[:3], expected)
            self.assertGreaterEqual(troubled, 3) # judged, described, added up

    def test_a_signal_keeps_what_was_found(self):
        self.film("a.avi")
        path = self.endless("archive/z.avi")
        child = self.start()
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            time.sleep(0.2)
            if self.database.exists() and self.database.stat().st_size > 0:
                try:
                    if self.rows("SELECT count(*) FROM file WHERE checked_run IS NOT NULL") == [(1,)]:
                        break
                except sqlite3.OperationalError:
                    pass # the tables are not there yet
        child.send_signal(signal.SIGTERM)
        child.communicate(timeout=60)
        self.assertEqual(child.returncode, 143)
        self.assertEqual(self.rows("SELECT finished FROM run"), [(None,)])
        self.assertEqual(self.names("not_checked"), ["z.avi"])
        os.unlink(path)
        self.assertEqual(self.catalogue().returncode, 1)
        self.assertEqual(self.rows("SELECT since, found, checked FROM run WHERE id = 2"), [(0, 1, 0)])

    def test_what_a_killed_run_found_is_new_for_the_next(self):
        self.film("damaged.avi", film(3))
        self.catalogue()
        connection = sqlite3.connect(self.database)
        connection.execute("UPDATE run SET finished = NULL")
        connection.commit()
        connection.close()
        self.assertEqual(self.catalogue().returncode, 1)
        self.assertEqual(self.catalogue().returncode, 0)

    def test_two_at_once(self):
        self.make_films()
        first, second = self.start("-j", "2"), self.start("-j", "2")
        outputs = [child.communicate(timeout=120) for child in (first, second)]
        messages = b"".join(errors for _, errors in outputs)
        self.assertIn(messages.count(b"another run is at work"), (0, 1)) # 0: one was ready before the other began
        self.assertEqual(sorted(child.returncode for child in (first, second)), [0, 1])
        self.assertEqual(self.rows("SELECT found, checked FROM run ORDER BY checked"),
                         [(self.FILES, 0), (self.FILES, self.FILES)])
        self.assertWhole()

    def test_waiting_ends_with_a_signal(self):
        import fcntl
        self.film("a.avi")
        self.catalogue()
        with open(self.directory / "archive.sqlite.lock", "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            child = self.start()
            self.assertIn(b"another run is at work", child.stderr.readline())
            child.send_signal(signal.SIGTERM)
            child.communicate(timeout=60)
            self.assertEqual(child.returncode, 143)
        self.assertEqual(self.rows("SELECT count(*) FROM run"), [(1,)])

    @unittest.skipUnless(os.geteuid() == 0 and shutil.which("unshare"), "a small file system needs rights")
    def test_full_disk(self):
        self.make_films()
        small = self.directory / "small"
        small.mkdir()
        script = ('mount -t tmpfs -o size=128k tmpfs "$1" && "$2" catalogue --database "$1/db" -r "$3"; '
                  'status=$?; sqlite3 "$1/db" "PRAGMA integrity_check" && exit $status')
        result = subprocess.run(["unshare", "-m", "sh", "-c", script, "sh", small, PROGRAM, self.archive],
                                env=environment(), capture_output=True, timeout=120)
        if b"mount:" in result.stderr or b"unshare:" in result.stderr:
            self.skipTest("no small file system can be made here")
        self.assertEqual((result.returncode, result.stdout), (2, b"ok\n"), result.stderr)
        self.assertRegex(result.stderr, b"full|disk I/O")


class Timer(test_catalogue.Catalogue):
    UNITS = DOCS.parent / "packaging" / "systemd"

    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd-analyze is not installed")
    def test_units(self):
        for name in ("quenlofar-catalogue.service", "quenlofar-catalogue.timer"):
            text = (self.UNITS / name).read_text().replace("/usr/bin/quenlofar ", f"{PROGRAM} ")
            (self.directory / name).write_text(text)
        (self.directory / "quenlofar-catalogue.service").chmod(0o644)
        result = subprocess.run(["systemd-analyze", "verify", "--man=no", "--recursive-errors=no",
                                 self.directory / "quenlofar-catalogue.service",
                                 self.directory / "quenlofar-catalogue.timer"], capture_output=True, timeout=120)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, b"", b""))

    def test_the_command_of_the_unit(self):
        self.film("a.avi")
        text = (self.UNITS / "quenlofar-catalogue.service").read_text().replace("\\\n", " ")
        words = re.search("^ExecStart=/usr/bin/quenlofar (.*)$", text, re.MULTILINE).group(1).split()
        names = {"/srv/archive": self.archive, "/var/lib/quenlofar/archive.sqlite": self.database}
        words = [names.get(word, word) for word in words]
        self.assertEqual(sum(isinstance(word, pathlib.Path) for word in words), 2)
        result = run(*words)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, b"", b"")) # nothing new, nothing said
        self.film("b.avi", film(3))
        result = run(*words)
        self.assertEqual((result.returncode, result.stderr), (1, b""))
        self.assertIn(b"damaged: ", result.stdout)
        (self.archive / "b.avi").unlink()
        self.assertEqual(run(*words).returncode, 1)
        self.assertEqual(run(*words).returncode, 0)
        self.database.write_bytes(b"something else")
        self.assertEqual(run(*words).returncode, 2)


if __name__ == "__main__":
    unittest.main()
