"""Files of every kind: what is printed, what is said, and how the program ends."""

import json
import os
import unittest

import jsonschema

from support import DOCS, PROGRAM, SANITIZED, Case, chunk, documents, film, riff_list, run

SCHEMA = json.loads((DOCS / "json-output.schema.json").read_text())


def unopened(file, message):
    return {"formatVersion": 1, "file": file, "fileSize": None, "container": None, "elements": [], "status": 1,
            "videoStreams": [], "frames": [], "error": {"kind": "open", "offset": None, "message": message}}


def unrecognised(file, size):
    return {"formatVersion": 1, "file": file, "fileSize": size, "container": None, "elements": [], "status": 3,
            "videoStreams": [], "frames": []}


class Files(Case):
    maxDiff = None

    def assertDocument(self, result, expected):
        found = documents(result.stdout)
        self.assertEqual(found, [expected])
        jsonschema.Draft202012Validator(SCHEMA).validate(found[0])

    def bad_files(self):
        """Pairs of a path that cannot be opened and the reason."""
        os.mkfifo(self.path("pipe"))
        os.mkdir(self.path("directory"))
        os.symlink("loop", self.path("loop"))
        yield self.path("missing.avi"), "No such file or directory"
        yield self.path("directory"), "is a directory"
        yield self.path("pipe"), "is not a regular file (a pipe)"
        yield b"/dev/null", "is not a regular file (a character device)"
        yield self.path("loop"), "Too many levels of symbolic links"
        yield b"", "No such file or directory"
        yield self.path("x" * 300), "File name too long"
        if os.geteuid() != 0:
            os.chmod(self.path("secret", b"x"), 0)
            yield self.path("secret"), "Permission denied"

    def test_cannot_be_opened(self):
        for path, reason in self.bad_files():
            with self.subTest(path=path):
                name = path.decode()
                message = f"quenlofar: {name}: cannot be opened: {reason}"
                as_json = run("tree", "--format", "json", path, timeout=20)
                self.assertEnds(as_json, 2, message)
                self.assertDocument(as_json, unopened(name, reason))
                self.assertEnds(run("tree", path, timeout=20), 2, message)

    def test_not_recognised(self):
        for name, data in [("empty", b""), ("11 bytes", b"RIFF____AVI"), ("text", b"This is no film.\n" * 99),
                           ("sound", riff_list(b"WAVE", chunk(b"data", b"x" * 400), b"RIFF"))]:
            with self.subTest(name=name):
                path = self.path(name, data)
                message = "no parser recognises the file (status 3)"
                as_json = run("tree", "--format", "json", path)
                self.assertEnds(as_json, 1, f"{path.decode()}: {message}")
                self.assertDocument(as_json, unrecognised(path.decode(), len(data)))
                self.assertEnds(run("tree", path), 1, f"{path.decode()}: {message}")

    def test_problem_in_a_file(self):
        truncated = self.sample("spliced-truncated")
        self.assertEnds(run("tree", truncated), 1, f"{truncated.decode()}: the file ends inside an element (status 5)")

    def test_bad_files_stop_nothing(self):
        good, missing, text = self.sample(), self.path("missing"), self.path("text", b"x" * 999)
        messages = [f"{missing.decode()}: cannot be opened", f"{text.decode()}: no parser recognises the file"]
        summary = "2 of {} files have trouble: cannot be opened (1), no parser recognises the file (1)"
        for order in ([missing, good, text, good], [missing, text, good], [good, missing, good, text]):
            with self.subTest(order=order):
                result = run("tree", "--format", "json", *order)
                self.assertEnds(result, 2, *messages, summary.format(len(order)))
                found = documents(result.stdout)
                self.assertEqual([os.fsencode(document["file"]) for document in found], order)
                self.assertEqual([document["status"] for document in found],
                                 [{missing: 1, text: 3, good: 0}[path] for path in order])
        self.assertEnds(run("tree", text, good), 1, messages[1],
                        "1 of 2 files has trouble: no parser recognises the file (1)")

    def test_documents_do_not_depend_on_their_neighbours(self):
        good, broken = self.sample(), self.sample("spliced-truncated")
        alone = [run("tree", "--format", "json", path).stdout for path in (good, broken, good)]
        self.assertEqual(run("tree", "--format", "json", good, broken, good).stdout, b"".join(alone))

    def test_name_that_is_not_utf8(self):
        for name, shown in [(b"caf\xe9.avi", "caf\ufffd.avi"), (b"\xff", "\ufffd"), (b"\xed\xb2\x80", "\ufffd" * 3),
                            ("日本.avi".encode(), "日本.avi")]:
            with self.subTest(name=name):
                path = self.path(name, film(1))
                directory = os.fsdecode(self.directory)
                result = run("tree", "--format", "json", path)
                self.assertEnds(result, 0)
                self.assertEqual(documents(result.stdout)[0]["file"], f"{directory}/{shown}")
                self.assertIn(shown, run("tree", path).stdout.decode("utf-8"))
                os.unlink(path)
                self.assertEnds(run("tree", path, env={"LC_ALL": "C"}), 2, f"{directory}/{shown}: cannot be opened")

    def test_name_does_not_steer_the_terminal(self):
        path = self.path("a\nb\x1b[31m\x9b.avi".encode(), film(1))
        text = run("tree", path)
        self.assertNotIn(b"\x1b", text.stdout)
        self.assertNotIn("\x9b", text.stdout.decode())
        os.unlink(path)
        self.assertEnds(run("tree", path), 2, "/a\\nb\\x1B[31m\\x9B.avi: cannot be opened")

    @unittest.skipIf(SANITIZED, "the sanitizer's runtime has to come first")
    def test_read_error(self):
        preload = {"LD_PRELOAD": os.environ["QUENLOFAR_FAULT_INJECTOR"]}
        path = self.sample()
        clean = run("tree", "--format", "json", path, env=preload)
        self.assertEnds(clean, 0)
        for where in (9000, 20000):
            with self.subTest(where=where):
                result = run("tree", "--format", "json", path, path,
                             env={**preload, "QUENLOFAR_FAIL_READ_AT": str(where)})
                found = documents(result.stdout)
                for document in found:
                    error = document["error"]
                    self.assertEqual((error["kind"], error["message"]), ("read", "Input/output error"))
                    # The first byte that was asked for in vain: at or soon after the damage.
                    self.assertIn(error["offset"], range(where, where + 1024))
                    self.assertEqual((document["container"], document["status"]), ("AVI", 2))
                    jsonschema.Draft202012Validator(SCHEMA).validate(document)
                message = f"{path.decode()}: reading failed at byte {found[0]['error']['offset']}: Input/output error"
                self.assertEnds(result, 2, message, message, "2 of 2 files have trouble: reading failed (2)")

    @unittest.skipIf(SANITIZED, "the sanitizer's runtime has to come first")
    def test_read_error_at_once(self):
        result = run("tree", "--format", "json", self.sample(),
                     env={"LD_PRELOAD": os.environ["QUENLOFAR_FAULT_INJECTOR"], "QUENLOFAR_FAIL_READ_AT": "0"})
        self.assertEnds(result, 2, "reading failed at byte 0: Input/output error")
        document = documents(result.stdout)[0]
        self.assertEqual((document["container"], document["status"], document["error"]["kind"]), (None, 2, "read"))

    def test_the_program_is_no_film(self):
        self.assertEnds(run("tree", PROGRAM), 1, "no parser recognises the file")


if __name__ == "__main__":
    unittest.main()
