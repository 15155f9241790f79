"""Many files at once: how they are found, side by side in order, what is said of them, and output that goes to a file."""

import errno
import json
import os
import pathlib
import resource
import shutil
import signal
import stat
import subprocess
import time
import unittest

from support import (GOLDENS, PROGRAM, SANITIZED, Case, catches, default_interrupt, documents, environment, film, run,
                     wait_until)

MANY = 20000  # chunks: far more output than a pipe and the program's buffers hold
NOBODY = 65534


def files_of(result):
    return [os.fsencode(document["file"]) for document in documents(result.stdout)]


def without_privileges():
    """For a child of root: permissions count for it, too."""
    if os.geteuid() == 0:
        os.setgroups([])
        os.setgid(NOBODY)
        os.setuid(NOBODY)


class Batch(Case):
    def streams(self, *arguments, **more):
        return run("streams", "--format", "json", *arguments, **more)


class Finding(Batch):
    def make(self, *names):
        for name in names:
            path = pathlib.Path(os.fsdecode(self.path(name)))
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(film(2))
        return [self.path(name) for name in names]

    def test_directories(self):
        expected = self.make("a.avi", "b/c.AVI", "b/d/e.avi", "f.Avi")
        self.make("notes.txt", "avi", ".avi", "b/x.mkv", "avi.txt", "b/avi/none")
        result = self.streams("-r", self.directory)
        self.assertEnds(result, 0)
        self.assertEqual(files_of(result), expected)

    def test_extensions(self):
        self.make("a.avi", "b.mkv", "sub/c.MKV", "d.vob", "e")
        for options, names in [(["--ext", "mkv"], ["b.mkv", "sub/c.MKV"]), (["--ext", ".mkv"], ["b.mkv", "sub/c.MKV"]),
                               (["--ext", "vob,avi"], ["a.avi", "d.vob"]),
                               (["--ext", "vob", "--ext", "AVI"], ["a.avi", "d.vob"])]:
            with self.subTest(options=options):
                result = self.streams("-r", self.directory, *options)
                self.assertEnds(result, 0)
                self.assertEqual(files_of(result), [self.path(name) for name in names])

    def test_order_of_what_was_asked_for(self):
        last, = self.make("z.avi")
        one, two = self.make("one/b.avi", "one/a.avi")[::-1]
        other, = self.make("other/c.avi")
        result = self.streams("-r", self.path("other"), last, "-r", self.path("one"))
        self.assertEqual(files_of(result), [last, other, one, two])

    def test_nothing_to_look_at(self):
        os.mkdir(self.path("empty"))
        result = self.streams("-r", self.path("empty"))
        self.assertEnds(result, 2, "no file was found")
        self.assertEqual(result.stdout, b"")
        self.assertEnds(self.streams("--files-from", "-", input=b"", stdin=None), 2, "no file was found")

    def test_directories_that_cannot_be_searched(self):
        good, = self.make("good/a.avi")
        self.assertEnds(self.streams("-r", self.path("missing")), 2,
                        f"{self.path('missing').decode()} cannot be searched: No such file or directory")
        result = self.streams("-r", good, "-r", self.path("good"))
        self.assertEnds(result, 2, "cannot be searched: Not a directory")
        self.assertEqual(files_of(result), [good])

        self.make("good/secret/b.avi")
        os.chmod(self.directory, 0o755)
        os.chmod(self.path("good/secret"), 0)
        self.addCleanup(os.chmod, self.path("good/secret"), 0o700)
        result = self.streams("-r", self.path("good"), preexec_fn=without_privileges)
        self.assertEnds(result, 2, f"{self.path('good/secret').decode()} cannot be searched: Permission denied")
        self.assertEqual(files_of(result), [good])

    def test_links(self):
        good, = self.make("good/a.avi")
        os.symlink("a.avi", self.path("good/link.avi"))
        os.symlink(".", self.path("good/round"))
        os.symlink("nowhere", self.path("good/other.txt")) # not asked for
        os.mkfifo(self.path("good/pipe.avi"))
        result = self.streams("-r", self.path("good"), timeout=20)
        self.assertEnds(result, 0)
        self.assertEqual(files_of(result), [good, self.path("good/link.avi")])

    def test_links_that_lead_nowhere(self):
        good, = self.make("good/a.avi")
        os.symlink("nowhere", self.path("good/broken.avi"))
        os.symlink("round.avi", self.path("good/round.avi"))
        result = self.streams("-r", self.path("good"))
        self.assertEnds(result, 2,
                        f"{self.path('good/broken.avi').decode()} leads nowhere: No such file or directory",
                        f"{self.path('good/round.avi').decode()} leads nowhere: Too many levels of symbolic links")
        self.assertEqual(files_of(result), [good])

    def test_names_that_are_not_utf8(self):
        odd = [os.path.join(os.fsencode(self.directory), name) for name in (b"a\xff.avi", b"b\n.avi", b"c\xc3\xa4.avi")]
        for path in odd:
            with open(path, "wb") as file:
                file.write(film(1))
        shown = [path.decode("utf-8", "replace") for path in odd]
        found = self.streams("-r", self.directory)
        listed = self.streams("--files-from", "-", input=b"\0".join(odd), stdin=None)
        for result in (found, listed):
            self.assertEnds(result, 0)
            self.assertEqual([document["file"] for document in documents(result.stdout)], shown)
            self.assertTrue(all(document["fileSize"] == 232 for document in documents(result.stdout)))

    def test_lists(self):
        one, other = self.make("a b.avi", "-c.avi")
        for name, data in [("lines", one + b"\n" + other + b"\n"), ("no line feed at the end", one + b"\n" + other),
                           ("empty lines", b"\n" + one + b"\n\n" + other + b"\n\n"),
                           ("zero bytes", one + b"\0" + other + b"\0"), ("no zero byte at the end", one + b"\0" + other)]:
            with self.subTest(name=name):
                self.assertEqual(files_of(self.streams("--files-from", self.path("list", data))), [one, other])
                result = self.streams("--files-from", "-", input=data, stdin=None)
                self.assertEnds(result, 0)
                self.assertEqual(files_of(result), [one, other])

    def test_list_that_cannot_be_read(self):
        good, = self.make("a.avi")
        for name, reason in ((self.path("missing"), "No such file or directory"),
                             (os.fsencode(self.directory), "Is a directory")):
            with self.subTest(name=name):
                result = self.streams("--files-from", name, good)
                self.assertEnds(result, 2, f"the list {name.decode()} cannot be read: {reason}")
                self.assertEqual(files_of(result), [good])
        directory = os.open(self.directory, os.O_RDONLY)
        self.addCleanup(os.close, directory)
        result = self.streams("--files-from", "-", good, stdin=directory)
        self.assertEnds(result, 2, "the list - cannot be read: Is a directory")
        self.assertEqual(files_of(result), [good])

    @unittest.skipIf(SANITIZED, "the sanitizer's runtime starts a thread of its own")
    def test_no_thread(self):
        def without_threads():
            without_privileges()
            resource.setrlimit(resource.RLIMIT_NPROC, (1, 1))

        os.chmod(self.directory, 0o755)
        result = self.streams("-j", "2", *self.make("a.avi", "b.avi"), preexec_fn=without_threads)
        self.assertEnds(result, 0)

    def test_same_file_twice(self):
        path, = self.make("a.avi")
        result = self.streams("-j", "2", path, path, "-r", self.directory)
        self.assertEnds(result, 0)
        self.assertEqual(files_of(result), [path] * 3)


class SideBySide(Batch):
    def setUp(self):
        super().setUp()
        broken = [self.path("missing"), self.path("text", b"x" * 5000), os.fsencode(self.directory)]
        large = self.path("large", film(MANY))
        self.paths = [large, *map(os.fsencode, GOLDENS), *broken, large, *map(os.fsencode, GOLDENS)]

    def test_output_is_that_of_one_after_the_other(self):
        for command in (["tree", "--format", "json"], ["tree"], ["tree", "--only", "avih", "--paths"], ["summary"],
                        ["summary", "--format", "json"], ["streams"], ["streams", "--format", "csv"],
                        ["frames", "--format", "csv"], ["frames"]):
            with self.subTest(command=command):
                expected = run(*command, *self.paths)
                for jobs in ("2", "7"):
                    result = run(*command, "-j", jobs, *self.paths)
                    self.assertTrue(result.stdout == expected.stdout)
                    self.assertEqual((result.returncode, result.stderr), (expected.returncode, expected.stderr))

    def test_what_is_said(self):
        result = run("coverage", "-j", "2", *self.paths)
        lines = result.stderr.decode().splitlines()
        self.assertEqual(result.returncode, 2)
        total, indexes, truncated = len(self.paths), 2, 2
        self.assertEqual(
            lines[-1],
            f"quenlofar: {indexes + truncated + 3} of {total} files have trouble: an index names a video stream that no "
            "header announces (2), the file ends inside an element (2), cannot be opened (2), no parser recognises the "
            "file (1)")
        self.assertEqual(len(lines), indexes + truncated + 3 + 1)

    def test_quiet(self):
        result = run("streams", "--quiet", "-j", "2", *self.paths)
        self.assertEnds(result, 2, f"{self.path('missing').decode()}: cannot be opened",
                        f"{self.directory}: cannot be opened")
        self.assertEnds(run("streams", "-q", self.sample("spliced-truncated"), self.path("text")), 1)

    def test_output_that_fails(self):
        with open("/dev/full", "wb") as full:
            for jobs in ("1", "2"):
                with self.subTest(jobs=jobs):
                    self.assertEnds(run("tree", "-j", jobs, *self.paths[:8] * 3, stdout=full), 2,
                                    "standard output cannot be written: No space left on device")

    def test_reader_that_leaves(self):
        process = subprocess.Popen([PROGRAM, "tree", "-j", "2", *self.paths], env=environment(), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        self.assertNotEqual(process.stdout.read(10), b"")
        process.stdout.close()
        self.assertEqual(process.stderr.read(), b"")
        process.stderr.close()
        self.assertEqual(process.wait(60), 141)

    def test_interrupted(self):
        large = self.path("large")
        process = subprocess.Popen([PROGRAM, "tree", "--format", "json", "-j", "2", *[large] * 30], env=environment(),
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0,
                                   preexec_fn=default_interrupt)
        begun = process.stdout.read(1)  # and then it waits for its reader
        process.send_signal(signal.SIGINT)
        rest, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 130, errors)
        found = documents(begun + rest)
        self.assertLess(len(found), 30)
        self.assertTrue(any("cancelled" in document for document in found))
        for line in errors.decode().splitlines():
            self.assertRegex(line, r"^quenlofar: .*/large: interrupted at byte \d+$")

    def test_many_small_files(self):
        os.mkdir(self.path("many"))
        names = [self.path(f"many/{number:05}.avi", film(1)) for number in range(10000)]
        begin = time.monotonic()
        result = self.streams("-j", "2", "-r", self.path("many"))
        seconds = time.monotonic() - begin
        self.assertEnds(result, 0)
        self.assertEqual(files_of(result), names)
        self.assertLess(seconds, 60 if SANITIZED else 30)


class OutputFile(Batch):
    def write(self, target, *arguments, **more):
        return run("tree", "--format", "json", *arguments, self.sample(), "-o", target, **more)

    def contents(self, path):
        with open(path, "rb") as file:
            return file.read()

    def test_complete_file(self):
        target = self.path("out.json")
        result = self.write(target)
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout, b"")
        self.assertEqual(self.contents(target), run("tree", "--format", "json", self.sample()).stdout)
        mask = os.umask(0)
        os.umask(mask)
        self.assertEqual(stat.S_IMODE(os.stat(target).st_mode), 0o666 & ~mask)
        self.assertEqual(os.listdir(self.directory), ["out.json"])

    def test_longest_names(self):
        for length in (248, 249, 255):
            with self.subTest(length=length):
                target = self.path("n" * length)
                self.assertEnds(self.write(target), 0)
                self.assertTrue(json.loads(self.contents(target)))
        # Said before the file is walked, which would take hours.
        film_path = self.endless()
        target = self.path("n" * 256)
        self.assertEnds(run("tree", film_path, "-o", target), 2, "cannot be written: File name too long")
        self.assertEqual(len(os.listdir(self.directory)), 4)

    def test_name_appears_at_the_end(self):
        target = self.path("out.json", b"old")
        film_path = self.endless()
        for number, status in [(signal.SIGINT, 130), (signal.SIGTERM, 143), (signal.SIGHUP, 129)]:
            with self.subTest(number=number):
                process = subprocess.Popen([PROGRAM, "tree", "--only", "none", film_path, "-o", target], env=environment(),
                                           stderr=subprocess.PIPE, preexec_fn=default_interrupt)
                wait_until(lambda process=process, number=number: catches(process, number), process)
                self.assertEqual(self.contents(target), b"old")
                process.send_signal(number)
                _, errors = process.communicate(timeout=60)
                self.assertEqual(process.returncode, status, errors)
                self.assertEqual(self.contents(target), b"old")
                self.assertEqual(sorted(os.listdir(self.directory)), ["endless", "out.json"])

    def test_permissions_are_kept(self):
        for mode in (0o600, 0o640, 0o755):
            with self.subTest(mode=oct(mode)):
                target = self.path("out", b"old")
                os.chmod(target, mode)
                self.assertEnds(self.write(target), 0)
                self.assertEqual(stat.S_IMODE(os.stat(target).st_mode), mode)
                self.assertTrue(json.loads(self.contents(target)))
        if os.geteuid() == 0:
            os.chown(target, NOBODY, NOBODY)
            self.assertEnds(self.write(target), 0)
            self.assertEqual((os.stat(target).st_uid, os.stat(target).st_gid), (NOBODY, NOBODY))

    def test_links_are_followed(self):
        os.mkdir(self.path("there"))
        os.symlink("there/out", self.path("link"))
        for rule in ("a new file", "a file that is there"):
            with self.subTest(rule=rule):
                self.assertEnds(self.write(self.path("link")), 0)
                self.assertTrue(os.path.islink(self.path("link")))
                self.assertTrue(json.loads(self.contents(self.path("there/out"))))
                self.assertEqual(os.listdir(self.path("there")), [b"out"])

    def test_where_nothing_can_be_written(self):
        for target, message in [(self.path("missing/out"), "No such file or directory"),
                                (os.fsencode(self.directory), "Is a directory")]:
            with self.subTest(target=target):
                self.assertEnds(self.write(target), 2, f"{target.decode()} cannot be written: {message}")
        os.mkdir(self.path("closed"))
        kept = self.path("closed/out", b"old")
        os.chmod(self.directory, 0o755)
        os.chmod(self.path("closed"), 0o555)
        self.addCleanup(os.chmod, self.path("closed"), 0o755)
        for mode in (0o666, 0o444):
            os.chmod(kept, mode)
            result = self.write(kept, preexec_fn=without_privileges)
            self.assertEnds(result, 2, f"{kept.decode()} cannot be written: Permission denied")
            self.assertEqual(self.contents(kept), b"old")
        os.chmod(self.path("closed"), 0o777)
        result = self.write(kept, preexec_fn=without_privileges)
        self.assertEnds(result, 2, f"{kept.decode()} cannot be written: Permission denied")
        self.assertEqual(os.listdir(self.path("closed")), [b"out"])

    def test_device_and_pipe(self):
        self.assertEnds(self.write("/dev/full"), 2, "/dev/full cannot be written: No space left on device")
        self.assertEnds(self.write("/dev/null"), 0)
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))
        self.assertEqual(self.write("/dev/stdout").stdout, run("tree", "--format", "json", self.sample()).stdout)

    def test_inputs_are_spared(self):
        contents = film(3)
        first, other = self.path("a.avi", contents), self.path("b.avi", contents)
        os.link(first, self.path("same.avi"))
        os.symlink("a.avi", self.path("link.avi"))
        os.mkdir(self.path("r"))
        note = self.path("r/x.avi", b"a note that no parser recognises")
        names = self.path("list", other + b"\n" + note + b"\n")
        message = "is an input: output would destroy it"
        for rule, arguments in [("the only input", ["tree", first, "-o", first]),
                                ("the second of several", ["tree", other, first, "-o", first]),
                                ("several, side by side", ["tree", "-j", "2", other, first, "-o", first]),
                                ("another name of it", ["tree", self.path("same.avi"), "-o", first]),
                                ("a link to it", ["tree", self.path("link.avi"), "-o", first]),
                                ("a link as the target", ["tree", first, "-o", self.path("link.avi")]),
                                ("one of a list", ["streams", "--files-from", names, "-o", note]),
                                ("the list", ["streams", "--files-from", names, "-o", names]),
                                ("one in a directory", ["streams", "-r", self.path("r"), "-o", note]),
                                ("at", ["at", first, "3", "-o", first]), ("bytes", ["bytes", first, "0+9", "-o", first]),
                                ("frames", ["frames", first, "-o", first]),
                                ("coverage", ["coverage", first, "-o", first]),
                                ("diff, first", ["diff", first, other, "-o", first]),
                                ("diff, second", ["diff", other, first, "-o", first])]:
            with self.subTest(rule=rule):
                before = sorted(os.listdir(self.directory))
                self.assertEnds(run(*arguments), 2, message)
                self.assertEqual(self.contents(first), contents)
                self.assertEqual(self.contents(note), b"a note that no parser recognises")
                self.assertEqual(self.contents(names), other + b"\n" + note + b"\n")
                self.assertEqual(sorted(os.listdir(self.directory)), before)
        with open(first, "ab") as standard:
            result = run("tree", first, "-o", "/dev/stdout", stdout=standard)
        self.assertEnds(result, 2, message)
        with open(names, "rb") as listed:
            self.assertEnds(run("tree", "--files-from", "-", "-o", names, stdin=listed), 2, message)

    def test_films_are_spared(self):
        # summary -o *.avi: to the program the first film is no input.
        contents = film(30)
        first, other = self.path("a.avi", contents), self.path("b.avi", contents)
        before = sorted(os.listdir(self.directory))
        for command in (["summary"], ["tree", "--format", "json"], ["at", "--format", "json"]):
            with self.subTest(command=command):
                places = ["3"] if command[0] == "at" else []
                self.assertEnds(run(*command, "-o", first, other, *places), 2,
                                f"{first.decode()} is a media file (AVI): output would destroy it")
                self.assertEqual(self.contents(first), contents)
                self.assertEqual(sorted(os.listdir(self.directory)), before)
        # Bytes of a film may be one; an earlier output, however long, and with a film far inside it, is none.
        self.assertEnds(run("bytes", other, "0+100", "-o", first), 0)
        self.assertEqual(self.contents(first), contents[:100])
        earlier = self.path("earlier", b"x" * 70000 + contents)
        os.truncate(earlier, 1 << 40)
        self.assertEnds(run("coverage", other, "-o", earlier, timeout=20), 0)
        self.assertLess(os.stat(earlier).st_size, 10000)

    def test_open_descriptors(self):
        expected = run("tree", self.sample()).stdout
        target = self.path("log", b"before\n")
        for name, options in [("/dev/stdout", {"stdout": 1}), ("/dev/fd/1", {"stdout": 1}),
                              ("/proc/self/fd/1", {"stdout": 1}), ("/proc/thread-self/fd/1", {"stdout": 1}),
                              ("/dev/stderr", {"stderr": 1}), ("/dev/fd/", {"pass_fds": 1})]:
            with self.subTest(name=name):
                self.path("log", b"before\n")
                with open(target, "ab") as log:
                    given = {key: log if key != "pass_fds" else [log.fileno()] for key in options}
                    whole = name + (str(log.fileno()) if name == "/dev/fd/" else "")
                    self.assertEqual(run("tree", self.sample(), "-o", whole, **given).returncode, 0)
                    log.write(b"behind\n")
                self.assertEqual(self.contents(target), b"before\n" + expected + b"behind\n")
                self.assertEqual(os.listdir(self.directory), ["log"])

    def test_link_to_standard_output(self):
        # As containers have them for logs.
        os.symlink("/dev/stdout", self.path("log"))
        os.symlink("log", self.path("other"))
        for name in ("log", "other"):
            result = run("tree", self.sample(), "-o", self.path(name))
            self.assertEnds(result, 0)
            self.assertEqual(result.stdout, run("tree", self.sample()).stdout)
            self.assertTrue(os.path.islink(self.path(name)))

    def test_open_descriptor_of_a_deleted_file(self):
        target = self.path("gone", b"before\n")
        with open(target, "r+b") as file:
            file.seek(0, os.SEEK_END)
            os.unlink(target)
            self.assertEnds(run("tree", self.sample(), "-o", "/dev/stdout", stdout=file), 0)
            file.seek(0)
            self.assertEqual(file.read(), b"before\n" + run("tree", self.sample()).stdout)
            self.assertEqual(os.listdir(self.directory), [])
            # Of another process: there is no name to put something in its place.
            other = f"/proc/{os.getpid()}/fd/{file.fileno()}".encode()
            self.assertEnds(self.write(other), 2, f"{other.decode()} cannot be written: No such file or directory")
        self.assertEqual(os.listdir(self.directory), [])

    def test_descriptors_that_cannot_be_written(self):
        self.assertEnds(self.write("/dev/fd/77"), 2, "/dev/fd/77 cannot be written: Bad file descriptor")
        with open(self.sample(), "rb") as file:
            self.assertEnds(self.write("/dev/stdin", stdin=file), 2, "/dev/stdin cannot be written: Bad file descrip")
        command = f"{PROGRAM} tree '{self.sample().decode()}' -o /dev/stdout >&-"
        self.assertEnds(run("-c", command, program="sh"), 2, "/dev/stdout cannot be written: Bad file descriptor")

    def test_loops_of_links(self):
        os.symlink("b", self.path("a"))
        os.symlink("a", self.path("b"))
        os.symlink("self", self.path("self"))
        for name in ("a", "self"):
            self.assertEnds(self.write(self.path(name)), 2,
                            f"{self.path(name).decode()} cannot be written: Too many levels of symbolic links")
        self.assertEqual(sorted(os.listdir(self.directory)), ["a", "b", "self"])

    @unittest.skipIf(SANITIZED, "the sanitizer's runtime has to come first")
    def test_where_the_system_does_not_tell(self):
        # Only what is surely not there is a new file.
        for number, text in [(errno.EACCES, "Permission denied"), (errno.EIO, "Input/output error"),
                             (errno.ELOOP, "Too many levels of symbolic links"), (errno.ENOTDIR, "Not a directory")]:
            for name, old in [("new", None), ("old", b"old")]:
                with self.subTest(text=text, name=name):
                    target = self.path(name, old)
                    result = self.write(target, env={"LD_PRELOAD": os.environ["QUENLOFAR_FAULT_INJECTOR"],
                                                     "QUENLOFAR_FAULT": f"stat:1:{number}",
                                                     "QUENLOFAR_FAULT_PATH": os.fsdecode(target)})
                    self.assertEnds(result, 2, f"{target.decode()} cannot be written: {text}")
                    self.assertEqual(os.listdir(self.directory), [name] if old else [])
                    if old:
                        self.assertEqual(self.contents(target), old)
                        os.unlink(target)

    @unittest.skipIf(os.geteuid() != 0, "only root has files of others to lay as traps")
    def test_links_of_others(self):
        os.chmod(self.directory, 0o755)
        for rule, mode, owner, follows in [("as in /tmp", 0o1777, NOBODY, False), ("ours, as in /tmp", 0o1777, 0, True),
                                           ("nobody else may write", 0o1755, NOBODY, True),
                                           ("not sticky", 0o777, NOBODY, True)]:
            for kept in (None, b"kept"):
                with self.subTest(rule=rule, kept=kept):
                    place = self.path(f"place{mode}{owner}{kept}")
                    os.mkdir(place)
                    os.chmod(place, mode)
                    victim = self.path("victim", kept)
                    link = os.path.join(place, b"link")
                    os.symlink(victim, link)
                    os.chown(link, owner, owner, follow_symlinks=False)
                    if follows:
                        self.assertEnds(self.write(link), 0)
                    else:
                        self.assertEnds(self.write(link), 2, f"{link.decode()} cannot be written: Permission denied")
                    self.assertEqual(os.path.exists(victim) and self.contents(victim) != kept, follows)
                    self.assertEqual(os.listdir(place), [b"link"])
                    if os.path.exists(victim):
                        os.unlink(victim)

    def kernel_protects(self, what):
        with open(f"/proc/sys/fs/protected_{what}", encoding="ascii") as file:
            return os.geteuid() == 0 and file.read().strip() != "0"

    def test_what_the_kernel_refuses(self):
        # Held against what a shell gets, where the kernel is set to refuse anything.
        skipped = [what for what in ("symlinks", "regular") if not self.kernel_protects(what)]
        os.chmod(self.directory, 0o1777)
        victim = self.path("victim", b"kept")
        if "symlinks" not in skipped:
            os.symlink(victim, self.path("trap"))
            os.chown(self.path("trap"), NOBODY, NOBODY, follow_symlinks=False)
        if "regular" not in skipped:
            os.chown(self.directory, NOBODY, NOBODY)
            self.path("trap2", b"kept")
            os.chown(self.path("trap2"), NOBODY + 1, NOBODY + 1)
        for name in ("trap", "trap2"):
            if os.path.lexists(self.path(name)):
                shell = subprocess.run(["sh", "-c", 'echo x > "$1"', "sh", self.path(name)], stderr=subprocess.PIPE,
                                       check=False)
                self.assertIn(b"Permission denied", shell.stderr)
                self.assertEnds(self.write(self.path(name)), 2, "cannot be written: Permission denied")
        self.assertEqual(self.contents(victim), b"kept")
        if skipped:
            self.skipTest(f"fs.protected_{' and fs.protected_'.join(skipped)} refuse nothing here")

    def test_running_program(self):
        copy = self.path("program")
        shutil.copy(PROGRAM, copy)
        with open("/bin/sleep", "rb") as file:
            self.path("program", file.read())
        os.chmod(copy, 0o755)
        process = subprocess.Popen([copy, "60"])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.assertEnds(self.write(copy), 2, "cannot be written: Text file busy")

    def test_files_with_problems_are_complete(self):
        target = self.path("out")
        result = run("streams", "--format", "json", self.sample(), self.path("missing"), "-o", target)
        self.assertEqual(result.returncode, 2)
        self.assertEqual([document["status"] for document in documents(self.contents(target))], [0, 1])


if __name__ == "__main__":
    unittest.main()
