"""The command bytes: an element or a range comes out byte by byte as it stands in the file."""

import os
import pty
import signal
import subprocess
import unittest

from support import (GOLDENS, PROGRAM, SANITIZED, Case, default_interrupt, documents, environment, film, riff_list, run,
                     with_paths)


def on_terminal(*arguments):
    """What a terminal shows."""
    leader, follower = pty.openpty()
    process = subprocess.Popen([PROGRAM, *arguments], env=environment(), stdin=subprocess.DEVNULL, stdout=follower)
    os.close(follower)
    shown = b""
    try:
        while piece := os.read(leader, 65536):
            shown += piece
    except OSError:
        pass  # nobody has the other end open any more
    os.close(leader)
    return shown.decode().replace("\r\n", "\n"), process.wait(60)


class Bytes(Case):
    def setUp(self):
        super().setUp()
        self.data = bytes(range(256)) * 2
        self.file = self.path("file", self.data)

    def test_ranges(self):
        for place, expected in [("0+12", self.data[:12]), ("0x10+0x20", self.data[16:48]), ("0X1f+1", b"\x1f"),
                                ("end-3+3", b"\xfd\xfe\xff"), ("end-0x200+2", b"\0\1"), ("512+0", b""),
                                ("0+512", self.data), ("000000000000000000000000000007+1", b"\7")]:
            with self.subTest(place=place):
                result = run("bytes", self.file, place)
                self.assertEnds(result, 0)
                self.assertEqual(result.stdout, expected)

    def test_behind_the_end(self):
        name = os.fsdecode(self.file)
        for place, expected, message in [
            ("510+5", b"\xfe\xff", f"{name}: the file ends at byte 512: 3 of 5 bytes missing"),
            ("end-1+18446744073709551615", b"\xff", "18446744073709551614 of 18446744073709551615 bytes missing"),
            ("512+1", b"", "the file ends at byte 512: 1 of 1 byte missing"),
            ("18446744073709551615+18446744073709551615", b"",
             "the file ends at byte 512: 18446744073709551615 of 18446744073709551615 bytes missing"),
        ]:
            with self.subTest(place=place):
                result = run("bytes", self.file, place)
                self.assertEnds(result, 1, message)
                self.assertEqual(result.stdout, expected)
                self.assertEnds(run("bytes", "--quiet", self.file, place), 1)

    def test_name_that_looks_like_a_place_in_a_message(self):
        name = self.path("50%2%3%4.avi", self.data)
        self.assertEnds(run("bytes", name, "510+5"), 1,
                        f"{os.fsdecode(name)}: the file ends at byte 512: 3 of 5 bytes missing")

    def test_before_the_start(self):
        self.assertEnds(run("bytes", self.file, "end-513+1"), 2,
                        "end-513+1 begins before the file, which has 512 bytes")

    def test_what_is_no_range_is_a_path(self):
        for place in ("12", "+12", "12+", "0x+1", "1+0x", "-1+1", "1+-1", "end+1", "end-+1", " 1+1", "1+1 ",
                      "18446744073709551616+1", "1+1+1", "END-1+1"):
            with self.subTest(place=place):
                self.assertEnds(run("bytes", self.sample(), place), 2,
                                f"no element {place} in {self.sample().decode()}")

    def test_every_path_of_a_tree(self):
        for path in (GOLDENS[0], self.sample("spliced-garbage"), self.sample("spliced-opendml-std-index")):
            with open(path, "rb") as file:
                data = file.read()
            tree = documents(run("tree", "--paths", "--format", "json", path).stdout)[0]
            some = [item for item, _ in with_paths(tree["elements"])]
            for item in some[::max(1, len(some) // 60)] + some[-3:]:
                with self.subTest(path=item.get("path")):
                    result = run("bytes", path, item["path"])
                    self.assertEnds(result, 0)
                    self.assertEqual(result.stdout, data[item["offset"]:item["offset"] + item["size"]])

    def test_typed_path(self):
        with open(self.sample(), "rb") as file:
            data = file.read()
        for path, expected in [("RIFF(AVI )/id", b"RIFF"), ("RIFF(AVI )/LIST(hdrl)/avih/id", b"avih"),
                               ("RIFF(AVI )[0]", data[:8 + int.from_bytes(data[4:8], "little")])]:
            with self.subTest(path=path):
                result = run("bytes", self.sample(), path)
                self.assertEnds(result, 0)
                self.assertEqual(result.stdout, expected)

    def test_element_behind_the_end(self):
        whole = film(3)
        cut = self.path("cut", riff_list(b"AVI ", b"", b"RIFF", size=1000) + whole[12:])
        result = run("bytes", cut, "RIFF(AVI )")
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"the file ends at byte {len(whole)}: {1008 - len(whole)} of 1008 bytes missing".encode(),
                      result.stderr)
        with open(cut, "rb") as file:
            self.assertEqual(result.stdout, file.read())

    def test_no_such_element(self):
        for place in ("RIFF(AVI )/nothing", "RIFF(AVI )[1]", "RIFF(AVI )/id/id"):
            with self.subTest(place=place):
                result = run("bytes", self.sample(), place)
                self.assertEnds(result, 2, f"no element {place} in ")
                self.assertIn(b"quenlofar tree --paths lists them", result.stderr)
                self.assertEqual(result.stdout, b"")

    def test_malformed_path(self):
        self.assertEnds(run("bytes", self.sample(), "RIFF[x]"), 2, '"RIFF[x]" is neither OFFSET+LENGTH nor a path: ')

    def test_files_with_trouble(self):
        missing = self.path("missing")
        self.assertEnds(run("bytes", missing, "0+1"), 2, "missing: cannot be opened: ")
        self.assertEnds(run("bytes", missing, "RIFF"), 2, "missing: cannot be opened: ")
        for quiet in ([], ["-q"]):
            with self.subTest(quiet=quiet):
                self.assertEnds(run("bytes", *quiet, self.file, "RIFF"), 2, "file: no parser recognises the file")
                self.assertEnds(run("bytes", *quiet, self.file, "0+1"), 0)
                self.assertEnds(run("bytes", *quiet, self.sample(), "--max-items", "3", "RIFF(AVI )/LIST(movi)"), 2,
                                "--max-items raises this limit",
                                "RIFF(AVI )/LIST(movi) was not found in what was walked of ")

    def test_search_ends_with_the_element(self):
        # The limit stands behind it.
        self.assertEnds(run("bytes", self.sample(), "--max-items", "2", "RIFF(AVI )/id"), 0)

    @unittest.skipIf(SANITIZED, "the sanitizer's runtime has to come first")
    def test_read_error(self):
        output = self.path("out")
        name = self.path("50%2%3.avi", self.data)
        result = run("bytes", name, "0+512", "-o", output,
                     env={"LD_PRELOAD": os.environ["QUENLOFAR_FAULT_INJECTOR"], "QUENLOFAR_FAIL_READ_AT": "100"})
        self.assertEnds(result, 2, f"{os.fsdecode(name)}: reading failed at byte 100: Input/output error")
        self.assertFalse(os.path.exists(output))

    def test_output_file(self):
        output = self.path("out")
        self.assertEnds(run("bytes", self.file, "1+3", "-o", output), 0)
        with open(output, "rb") as file:
            self.assertEqual(file.read(), b"\1\2\3")
        self.assertEnds(run("bytes", self.file, "511+3", "-o", output), 1, "2 of 3 bytes missing")
        with open(output, "rb") as file:
            self.assertEqual(file.read(), b"\xff")
        self.assertEnds(run("bytes", self.sample(), "nothing", "-o", output), 2, "no element")
        with open(output, "rb") as file:
            self.assertEqual(file.read(), b"\xff")

    def test_more_than_one_piece(self):
        big = os.urandom(300_001)
        self.assertTrue(run("bytes", self.path("big", big), "1+300000").stdout == big[1:])

    def test_terminal(self):
        shown, status = on_terminal("bytes", self.file, "0x2e+18")
        self.assertEqual(status, 0)
        self.assertEqual(shown, "0000002e   2e 2f 30 31 32 33 34 35 36 37 38 39 3a 3b 3c 3d  |./0123456789:;<=|\n"
                                "0000003e   3e 3f                                            |>?|\n")

    def test_interrupt(self):
        path = self.endless()
        process = subprocess.Popen([PROGRAM, "bytes", path, "nothing"], env=environment(), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, preexec_fn=default_interrupt)
        try:
            process.wait(0.5)
        except subprocess.TimeoutExpired:
            pass
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=60)
        self.assertEqual((process.returncode, output), (130, b""))
        self.assertIn(b"interrupted at byte", errors)


if __name__ == "__main__":
    unittest.main()
