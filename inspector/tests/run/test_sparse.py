"""Sparse files: holes are passed over, and no document tells them from zeros that are written."""

import json
import os
import unittest

from support import Case, chunk, documents, riff_list, run

TEBIBYTE = 1 << 40


class Sparse(Case):
    def hollow(self, name, begin, size):
        """A file that begins with these bytes and is one hole behind them."""
        path = self.path(name, begin)
        try:
            os.truncate(path, size)
            with open(path, "rb") as file:
                if os.lseek(file.fileno(), 0 if not begin else 1 << 20, os.SEEK_DATA) >= 0:
                    self.skipTest("the file system makes no holes")
        except OSError as error:
            if os.path.getsize(path) != size:
                self.skipTest(f"the file system has no files of this size: {error}")
        return path

    def test_every_command_ends_at_once(self):
        # Read byte by byte, either file would take hours; the harness ends what takes a minute.
        size = 8 * TEBIBYTE
        film = self.hollow("film", riff_list(b"AVI ", riff_list(b"movi", chunk(b"00dc", b"abcd")), b"RIFF"), size)
        nothing = self.hollow("nothing", b"", size)
        for arguments in (["summary"], ["tree"], ["tree", "--hex"], ["streams"], ["frames"], ["coverage"],
                          ["packets"], ["check"]):
            with self.subTest(arguments=arguments):
                # The film has no headers, which only a verdict minds.
                isJudged = arguments[0] in ("summary", "check")
                messages = ["damaged"] if arguments[0] == "summary" else []
                self.assertEnds(run(*arguments, film, timeout=60), 1 if isJudged else 0, *messages)
                self.assertEnds(run(*arguments, nothing, timeout=60), 1, "no parser recognises the file")
        for path, status, messages in ((film, 0, []), (nothing, 1, ["no parser recognises the file"])):
            self.assertEnds(run("at", path, "5000000000000", timeout=60), status, *messages)
            self.assertIn(run("diff", path, path, timeout=60).returncode, (0, 2))
            self.assertEqual(run("bytes", path, "5000000000000+4", timeout=60).stdout, b"\0\0\0\0")

    def test_like_written_zeros(self):
        begin = riff_list(b"AVI ", riff_list(b"movi", chunk(b"00dc", b"abcd")), b"RIFF")
        size = 5_000_001
        hollow = self.hollow("hollow", begin, size)
        written = self.path("written", begin + bytes(size - len(begin)))
        for limits in ([], ["--max-work", "1.5MB"], ["--max-work", "7654321B"]):
            with self.subTest(limits=limits):
                shown = [documents(run("tree", "--format", "json", *limits, path).stdout)[0]
                         for path in (hollow, written)]
                for document in shown:
                    document.pop("file")
                self.assertEqual(json.dumps(shown[0]), json.dumps(shown[1]))


if __name__ == "__main__":
    unittest.main()
