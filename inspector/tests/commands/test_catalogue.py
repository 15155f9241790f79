"""What `catalogue` keeps of an archive from run to run. Databases are read by Python's own module and by sqlite3."""

import hashlib
import os
import re
import shutil
import sqlite3
import subprocess
import time
import unittest

from support import DOCS, Case, film, run

NOBODY = 65534


class Catalogue(Case):
    def setUp(self):
        super().setUp()
        self.archive = self.directory / "archive"
        self.archive.mkdir()
        self.database = self.directory / "archive.sqlite"

    def film(self, name, data=None):
        """A new file of the archive; without `data`, a copy of a sound film."""
        path = self.archive / os.fsdecode(name)
        path.parent.mkdir(parents=True, exist_ok=True)
        if data is None:
            shutil.copy(self.sample(), path)
        else:
            path.write_bytes(data)
        return path

    def catalogue(self, *options, archive=True, **more):
        where = ["-r", self.archive] if archive else []
        return run("catalogue", "--database", self.database, *where, *options, **more)

    def rows(self, query):
        """What the database answers; it is closed again, as after any reader."""
        connection = sqlite3.connect(self.database)
        connection.text_factory = bytes
        try:
            return [tuple(cell.decode() if isinstance(cell, bytes) and column != "path" else cell
                          for cell, column in zip(row, columns))
                    for cursor in [connection.execute(query)]
                    for columns in [[described[0] for described in cursor.description]]
                    for row in cursor]
        finally:
            connection.close()

    def names(self, view):
        """The files of a view, without their directory."""
        return [os.path.relpath(os.fsdecode(path), self.archive)
                for path, in self.rows(f"SELECT path FROM {view}")]

    def shell(self, *statements):
        result = subprocess.run(["sqlite3", "-readonly", self.database, *statements], capture_output=True, check=True,
                                timeout=60)
        return result.stdout.decode()

    def assertWhole(self):
        self.assertEqual(self.shell("PRAGMA integrity_check"), "ok\n")


class FirstRun(Catalogue):
    def test_sound_and_damaged(self):
        sound = self.film("sound.avi")
        damaged = self.film("deep/er/damaged.avi", film(3))
        result = self.catalogue("--digest", "sha256")
        self.assertEqual((result.returncode, result.stderr), (1, b""))
        lines = result.stdout.decode().splitlines()
        self.assertTrue(lines)
        self.assertTrue(all(line.startswith(f"damaged: {damaged}: ") for line in lines), lines)
        rows = self.rows("SELECT path, size, mtime, device, inode, digest_kind, digest, status, verdict, container, "
                         "writer, missing_run FROM file ORDER BY size DESC")
        for row, path, verdict, writer in zip(rows, (sound, damaged), ("conforms", "damaged"), ("Lavf59.27.100", None)):
            found = path.stat()
            self.assertEqual(row, (os.fsencode(path), found.st_size, found.st_mtime_ns, found.st_dev, found.st_ino,
                                   "sha256", hashlib.sha256(path.read_bytes()).hexdigest(), "read", verdict, "AVI",
                                   writer, None))
        # What ffprobe says of the sound one.
        self.assertEqual(
            self.rows("SELECT number, kind, codec, width, height, frame_rate, sample_rate, channels FROM stream "
                      "JOIN file ON file.id = file WHERE verdict = 'conforms' ORDER BY number"),
            [(0, "video", "FMP4", 64, 48, 10.0, None, None), (1, "audio", "0x0055", None, None, None, 22050, 1)])
        self.assertEqual(self.names("damaged"), ["deep/er/damaged.avi"])
        self.assertEqual(self.rows("SELECT since, found, checked, level, digest FROM run"),
                         [(0, 2, 2, "default", "sha256")])
        errors, = self.rows("SELECT errors FROM file WHERE verdict = 'damaged'")[0]
        self.assertEqual(self.rows("SELECT count(*) FROM finding WHERE severity = 'error'"), [(errors,)])
        self.assertGreater(errors, 0)
        self.assertWhole()

    def test_findings_are_those_of_check(self):
        path = self.film("damaged.avi", film(3))
        self.catalogue("--level", "deep")
        shown = run("check", "--level", "deep", "--format", "csv", path).stdout.decode().splitlines()[1:]
        counts = self.rows("SELECT errors + warnings + notes, level FROM file")
        self.assertEqual(counts, [(len(shown), "deep")])
        for rule, message in self.rows("SELECT rule, message FROM finding"):
            self.assertTrue(any(rule in line and message.split(",")[0] in line for line in shown), (rule, shown))

    def test_paths_are_bytes(self):
        names = [b"caf\xe9.avi", "Zwölf.avi".encode(), b"line\nbreak.avi", b"\xff\xfe/\x80.avi"]
        for name in names:
            self.film(name)
        self.assertEnds(self.catalogue("-j", "2"), 0)
        paths = {path for path, in self.rows("SELECT path FROM file")}
        self.assertEqual(paths, {os.path.join(os.fsencode(self.archive), name) for name in names})
        self.assertEqual(self.rows("SELECT DISTINCT typeof(path) AS kind FROM file"), [("blob",)])

    def test_one_file_whatever_it_is_called(self):
        self.film("sub/a.avi")
        (self.directory / "link").symlink_to(self.archive)
        result = run("catalogue", "--database", self.database, "archive/sub/../sub//a.avi", "-r", "./archive", "-r",
                     "link", cwd=self.directory)
        self.assertEnds(result, 0)
        self.assertEqual(self.names("file"), ["sub/a.avi"])

    def test_links(self):
        first = self.film("a.avi")
        os.link(first, self.archive / "b.avi")
        (self.archive / "c.avi").symlink_to("a.avi")
        (self.archive / "loop").symlink_to(".")
        self.assertEnds(self.catalogue(), 0)
        self.assertEnds(self.catalogue(), 0)
        self.assertEqual(self.rows("SELECT count(*), count(DISTINCT inode) FROM file"), [(3, 1)])
        self.assertEqual(self.names("moved"), [])
        os.unlink(first)
        # The symbolic link leads nowhere now, and the hard link was there before.
        self.assertEqual(self.catalogue().returncode, 2)
        self.assertEqual((self.names("missing"), self.names("moved")), (["a.avi", "c.avi"], []))

    def test_nothing_is_there(self):
        self.assertEnds(self.catalogue(), 0)
        self.assertEqual(self.rows("SELECT found, checked FROM run"), [(0, 0)])
        self.assertEnds(self.catalogue("-r", self.archive / "none"), 2, "none cannot be searched")

    def test_other_files(self):
        self.film("notes.avi", b"no film, but its name says so")
        self.assertEnds(self.catalogue(), 0)
        self.assertEqual(self.rows("SELECT status, verdict, container, trouble FROM file"),
                         [("not recognised", "unknown", None, "no parser recognises the file")])

    @unittest.skipUnless(os.geteuid() == 0, "files that root made and nobody may read")
    def test_unreadable_files_are_tried_again(self):
        path = self.film("secret.avi")
        path.chmod(0)
        self.directory.chmod(0o777)
        drop = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        self.assertEnds(self.catalogue(**drop), 2, "Permission denied")
        self.assertEqual(self.names("not_checked"), ["secret.avi"])
        path.chmod(0o644)
        self.assertEnds(self.catalogue(**drop), 0)
        self.assertEqual((self.names("not_checked"), self.names("changed")), ([], []))


class Schema(Catalogue):
    def test_documented_tables(self):
        self.catalogue()
        text = (DOCS / "catalogue.md").read_text(encoding="utf-8")
        documented = {}
        for section in text.split("\n### ")[1:]:
            columns = re.findall(r"^\| `(\w+)` \| (\w+) \|", section, re.MULTILINE)
            if columns:
                documented[section.split("\n")[0]] = columns
        self.assertEqual(sorted(documented), ["file", "finding", "run", "stream"])
        tables = self.shell("SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name").split()
        self.assertEqual(tables, sorted(documented))
        for table, columns in documented.items():
            shown = self.shell(f"SELECT name, type FROM pragma_table_info('{table}')").splitlines()
            self.assertEqual(shown, ["|".join(column) for column in columns], table)
        views = self.shell("SELECT name FROM sqlite_schema WHERE type = 'view'").split()
        for view in views:
            self.assertIn(f"`{view}`", text.split("### Views")[1])
            self.shell(f"SELECT * FROM {view}")
        self.assertEqual(sorted(views), ["changed", "damaged", "missing", "moved", "new_findings", "not_checked"])
        version, = re.findall(r"This is schema (\d+)", text)
        self.assertEqual(self.shell("PRAGMA user_version", "PRAGMA application_id", "PRAGMA journal_mode").split(),
                         [version, str(0x516C6672), "wal"])

    def test_others_are_left_alone(self):
        self.film("a.avi")
        rows = [("no database", "not a database", lambda: self.database.write_bytes(b"not a database" * 100)),
                ("short", "not a database", lambda: self.database.write_bytes(b"x")),
                ("a film", "not a database", lambda: shutil.copy(self.sample(), self.database)),
                ("foreign", "another program", lambda: self.make("CREATE TABLE file (path)")),
                ("foreign mark", "another program", lambda: self.make("PRAGMA application_id = 7")),
                ("newer", "newer version", lambda: self.make("PRAGMA application_id = 1366058610; "
                                                             "PRAGMA user_version = 2; CREATE TABLE run (id)")),
                *((f"version {version}", "there never was",
                   lambda version=version: self.make("PRAGMA application_id = 1366058610; CREATE TABLE run (id); "
                                                     f"PRAGMA user_version = {version}")) for version in (0, -1))]
        for name, message, make in rows:
            with self.subTest(name):
                if self.database.exists():
                    self.database.unlink()
                make()
                before = self.database.read_bytes()
                for options in [], ["--report", "text"]:
                    self.assertEnds(self.catalogue(*options), 2, message)
                self.assertEnds(self.catalogue("--report", "text", archive=False), 2, message)
                self.assertEqual(self.database.read_bytes(), before)
                self.assertEqual({path.name for path in self.directory.iterdir()}, {"archive", "archive.sqlite"})

    def make(self, script):
        connection = sqlite3.connect(self.database)
        connection.executescript(script)
        connection.close()

    def test_an_empty_file_becomes_a_catalogue(self):
        self.database.touch()
        self.assertEnds(self.catalogue(), 0)
        self.assertWhole()

    def test_a_report_of_nothing(self):
        self.assertEnds(self.catalogue("--report", "text", archive=False), 2, "there is no catalogue")
        self.assertFalse(self.database.exists())

    @unittest.skipUnless(os.geteuid() == 0, "files that root made and others may not write")
    def test_read_only(self):
        self.film("a.avi")
        self.catalogue()
        before = self.shell("SELECT * FROM run")
        drop = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        self.directory.chmod(0o755)
        result = self.catalogue(**drop)
        self.assertEqual(result.returncode, 2)
        self.assertIn(b"Permission denied", result.stderr)
        self.directory.chmod(0o777)
        (self.directory / "archive.sqlite.lock").chmod(0o666)
        self.assertEnds(self.catalogue(**drop), 2, "cannot be written")
        self.assertEqual(self.shell("SELECT * FROM run"), before)

    @unittest.skipUnless(os.geteuid() == 0, "files that root made and others may not write")
    def test_reports_where_nothing_can_be_written(self):
        path = self.film("a.avi", film(3))
        self.directory.chmod(0o755)
        self.archive.chmod(0o755)
        drop = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        self.database = self.directory / "50% of #1?.sqlite"
        self.catalogue()
        expected = self.catalogue("--report", "text", archive=False).stdout
        self.assertIn(os.fsencode(path), expected)
        names = {entry.name for entry in self.directory.iterdir()}
        result = self.catalogue("--report", "text", archive=False, **drop)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, expected, b""))
        self.assertEqual({entry.name for entry in self.directory.iterdir()}, names)
        # As it is while another program has it open: what was written last is in the log.
        connection = sqlite3.connect(self.database)
        connection.execute("UPDATE finding SET message = 'in the log'")
        connection.commit()
        for end in "-wal", "-shm":
            (self.directory / (self.database.name + end)).chmod(0o644)
        try:
            result = self.catalogue("--report", "text", archive=False, **drop)
            self.assertEqual((result.returncode, result.stderr), (0, b""))
            self.assertIn(b"in the log", result.stdout)
            copy = self.directory / "copy.sqlite"
            for end in "", "-wal":
                shutil.copy(f"{self.database}{end}", f"{copy}{end}")
        finally:
            connection.close()
        self.database = copy
        self.assertEnds(self.catalogue("--report", "text", archive=False, **drop), 2, "a run on it was killed")
        self.assertIn(b"in the log", self.catalogue("--report", "text", archive=False).stdout)

    def test_the_report_does_not_replace_the_catalogue(self):
        self.film("a.avi")
        self.catalogue()
        result = self.catalogue("--report", "html", "-o", self.database)
        self.assertEqual(result.returncode, 2)
        self.assertWhole()

    def test_a_report_does_not_replace_a_film_that_is_passed_over(self):
        path = self.film("a.avi")
        self.catalogue()
        before = path.read_bytes()
        self.assertEqual(self.catalogue("--report", "html", "-o", path).returncode, 2)
        self.assertEqual(path.read_bytes(), before)


class SecondRun(Catalogue):
    def checked(self):
        """How many files the latest run has checked."""
        return self.rows("SELECT checked FROM run ORDER BY id DESC LIMIT 1")[0][0]

    def test_what_is_unchanged_is_passed_over(self):
        for name in ("a.avi", "b.avi", "notes.avi"):
            self.film(name, b"nothing" if name == "notes.avi" else None)
        self.catalogue()
        self.assertEnds(self.catalogue(), 0)
        self.assertEqual(self.checked(), 0)
        self.film("c.avi")
        self.assertEnds(self.catalogue(), 0)
        self.assertEqual(self.checked(), 1)
        for options, count in [(["--level", "quick"], 0), (["--level", "deep"], 4), (["--level", "deep"], 0), ([], 0),
                               (["--digest", "fast"], 4), (["--digest", "fast"], 0), ([], 0),
                               (["--digest", "sha256"], 4), (["--recheck", "1d"], 0), (["--recheck", "0s"], 4)]:
            with self.subTest(options=options):
                self.assertEnds(self.catalogue(*options), 0)
                self.assertEqual(self.checked(), count)

    def test_what_is_known_is_not_lost(self):
        path = self.film("a.avi")
        self.catalogue("--level", "deep", "--digest", "sha256")
        known = self.rows("SELECT level, digest_kind, digest FROM file")
        self.assertEqual(known, [("deep", "sha256", hashlib.sha256(path.read_bytes()).hexdigest())])
        self.film("b.avi")
        self.assertEnds(self.catalogue("--level", "quick", "--recheck", "0d"), 0)
        self.assertEqual(self.rows("SELECT level, digest_kind, digest FROM file ORDER BY path"),
                         [*known, ("quick", None, None)])
        path.write_bytes(film(2)) # other bytes are looked at as deeply
        self.assertEqual(self.catalogue("--level", "quick").returncode, 1)
        self.assertEqual(self.rows("SELECT level, digest FROM file ORDER BY path LIMIT 1"),
                         [("deep", hashlib.sha256(path.read_bytes()).hexdigest())])

    def test_the_clock_is_set_back(self):
        kept, damaged = self.film("kept.avi"), self.film("damaged.avi")
        gone, moved = self.film("gone.avi"), self.film("moved.avi", film(0))
        self.catalogue("--digest", "sha256")
        year = 365 * 86400 * 10**9
        connection = sqlite3.connect(self.database) # as if the first run had been next year
        connection.execute(f"UPDATE run SET started = started + {year}, finished = finished + {year}")
        connection.execute(f"UPDATE file SET first_seen = first_seen + {year}, last_seen = last_seen + {year}, "
                           f"last_checked = last_checked + {year}")
        connection.commit()
        connection.close()
        damaged.write_bytes(film(3))
        gone.unlink()
        moved.rename(self.archive / "there.avi")
        before = time.time_ns()
        result = self.catalogue("--digest", "sha256")
        self.assertEqual((result.returncode, result.stderr), (1, b""))
        lines = result.stdout.decode().splitlines()
        self.assertEqual({line for line in lines if str(damaged) not in line}, {f"missing: {gone}"})
        self.assertEqual((self.checked(), self.names("new_findings")[:1], self.names("missing"), self.names("moved"),
                          self.names("changed")),
                         (1, ["damaged.avi"], ["gone.avi"], ["there.avi"], ["damaged.avi"]))
        (started, finished, since), = self.rows("SELECT started, finished, since FROM run WHERE id = 2")
        self.assertTrue(before <= started <= finished <= time.time_ns())
        self.assertEqual(since, 1)
        self.assertEnds(self.catalogue("--digest", "sha256"), 0)
        self.assertEqual(self.checked(), 0)
        self.assertTrue(kept.exists())

    def test_recheck_by_age(self):
        self.film("old.avi")
        self.film("young.avi")
        self.film("future.avi")
        self.catalogue()
        connection = sqlite3.connect(self.database)
        for name, days in (("old", -91), ("young", -89), ("future", 400)):
            connection.execute("UPDATE file SET last_checked = ? WHERE CAST(path AS TEXT) LIKE ?",
                               (time.time_ns() + days * 86400 * 10**9, f"%{name}.avi"))
        connection.commit()
        connection.close()
        self.assertEnds(self.catalogue("--recheck", "90d"), 0)
        self.assertEqual({os.path.basename(path) for path, in self.rows("SELECT path FROM file WHERE checked_run = 2")},
                         {b"old.avi", b"future.avi"})
        for age in ("90", "d", "-1d", "1y", "", "99999999999999d"):
            self.assertEqual(self.catalogue("--recheck", age).returncode, 2, age)

    def test_other_rules(self):
        self.film("a.avi")
        self.catalogue()
        connection = sqlite3.connect(self.database)
        connection.execute("UPDATE file SET rules = 'others'")
        connection.commit()
        connection.close()
        self.assertEnds(self.catalogue(), 0)
        self.assertEqual(self.checked(), 1)

    def test_changed(self):
        size, touched, kept = self.film("size.avi"), self.film("touched.avi"), self.film("kept.avi")
        self.catalogue("--digest", "sha256")
        size.write_bytes(film(3))
        os.utime(touched)
        result = self.catalogue("--digest", "sha256")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(self.rows("SELECT change FROM changed"), [("size",)])
        self.assertEqual(self.names("changed"), ["size.avi"]) # the bytes of the other one are what they were
        self.assertEqual(set(self.names("new_findings")), {"size.avi"})
        # What is known is not new any more.
        self.assertEnds(self.catalogue("--digest", "sha256"), 0)
        self.assertEqual(self.rows("SELECT is_new FROM changed"), [(0,)])
        self.assertEqual(self.names("new_findings"), [])
        self.assertEqual(self.names("damaged"), ["size.avi"])
        self.assertTrue(kept.exists())

    def test_bytes_that_rot(self):
        for kind in "sha256", "fast":
            with self.subTest(kind):
                path = self.film(f"{kind}.avi")
                self.catalogue("--digest", kind)
                before = path.stat()
                with open(path, "r+b") as file:
                    file.seek(15000) # in the payload of a frame
                    byte = file.read(1)
                    file.seek(15000)
                    file.write(bytes([byte[0] ^ 1]))
                os.utime(path, ns=(before.st_atime_ns, before.st_mtime_ns))
                self.assertEnds(self.catalogue("--digest", kind), 0) # nobody has looked
                result = self.catalogue("--digest", kind, "--recheck", "0d")
                self.assertEqual((result.returncode, result.stderr), (1, b""))
                self.assertIn(f"changed: {path}: ", result.stdout.decode())
                self.assertEqual(self.rows("SELECT change FROM changed WHERE is_new"), [("content",)])
                self.assertEnds(self.catalogue("--digest", kind, "--recheck", "0d"), 0)

    def test_missing_and_back(self):
        kept, gone = self.film("kept.avi"), self.film("sub/gone.avi")
        self.catalogue()
        away = self.directory / "away"
        gone.rename(away)
        result = self.catalogue()
        self.assertEqual((result.returncode, result.stdout.decode()), (1, f"missing: {gone}\n"))
        self.assertEnds(self.catalogue(), 0) # known
        self.assertEqual(self.rows("SELECT is_new FROM missing"), [(0,)])
        away.rename(gone)
        self.assertEnds(self.catalogue(), 0)
        self.assertEqual((self.names("missing"), self.names("changed"), self.checked()), ([], [], 0))
        # A file that is named, not found in a directory.
        gone.unlink()
        result = self.catalogue(gone, kept, archive=False)
        self.assertEqual((result.returncode, result.stdout.decode()), (1, f"missing: {gone}\n"))

    def test_what_was_not_searched_is_not_missing(self):
        first, second = self.film("one/a.avi"), self.film("one2/b.avi")
        self.catalogue()
        first.unlink()
        second.unlink()
        result = self.catalogue("-r", self.archive / "one", archive=False)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(self.names("missing"), ["one/a.avi"])

    def test_moved(self):
        path = self.film("a.avi")
        self.film("b.avi", film(2))
        self.catalogue()
        (self.archive / "sub").mkdir()
        path.rename(self.archive / "sub" / "c.avi")
        self.assertEnds(self.catalogue(), 0)
        self.assertEqual(self.rows("SELECT moved_from, is_new FROM moved"), [(str(path), 1)])
        self.assertEqual((self.names("moved"), self.names("missing"), self.checked()), (["sub/c.avi"], [], 0))
        (self.archive / "sub" / "c.avi").rename(path) # and back
        self.assertEnds(self.catalogue(), 0)
        self.assertEqual((self.names("moved"), self.names("file")), (["a.avi"], ["a.avi", "b.avi"]))

    def test_moved_to_another_file_system(self):
        path = self.film("a.avi")
        self.film("same.avi") # the bytes are equal, and it stays where it is
        self.film("b.avi", film(2))
        self.catalogue("--digest", "fast")
        first_seen = self.rows("SELECT first_seen FROM file WHERE CAST(path AS TEXT) LIKE '%/a.avi'")
        data = path.read_bytes()
        other = self.film("c.avi", data) # another inode, another time
        path.unlink()
        self.assertEnds(self.catalogue("--digest", "fast"), 0)
        self.assertEqual(self.rows("SELECT moved_from FROM moved"), [(str(path),)])
        self.assertEqual((self.names("moved"), self.names("missing"), self.names("changed")), (["c.avi"], [], []))
        self.assertEqual(self.rows("SELECT first_seen FROM file WHERE CAST(path AS TEXT) LIKE '%/c.avi'"), first_seen)
        self.assertTrue(other.exists())

    def test_a_copy_is_no_move(self):
        path = self.film("a.avi")
        self.catalogue("--digest", "sha256")
        shutil.copy2(path, self.archive / "copy.avi")
        self.assertEnds(self.catalogue("--digest", "sha256"), 0)
        self.assertEqual((self.names("moved"), self.names("file")), ([], ["a.avi", "copy.avi"]))


if __name__ == "__main__":
    unittest.main()
