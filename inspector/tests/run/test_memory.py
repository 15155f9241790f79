"""Little memory: what is printed is whole, and it is said what is missing."""

import os
import resource
import signal
import unittest

from support import SANITIZED, Case, chunk, documents, riff_list, run

MEGABYTE = 1 << 20
# The program is not loaded at all, a hash table of Qt's finds no memory, which Qt takes for the end of the program, or
# Qt makes the first QObject of a thread without looking whether there is memory for the thread's data.
NOT_OURS = (127, -signal.SIGABRT, -signal.SIGSEGV)


@unittest.skipIf(SANITIZED, "sanitizers take more address space than there is to give")
class Memory(Case):
    def run_within(self, megabytes, *arguments):
        size = int(megabytes * MEGABYTE)
        return run(*arguments, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (size, size)))

    def test_files_side_by_side(self):
        """A file whose output cannot be kept waits for its turn: documents are whole, and in order."""
        sample = self.sample()
        files = [self.path(f"{number:02}.avi") for number in range(40)]
        for file in files:
            os.symlink(sample, file)
        names = [os.fsdecode(file) for file in files]
        whole = 0
        for megabytes in range(44, 100, 4):
            with self.subTest(megabytes=megabytes):
                result = self.run_within(megabytes, "tree", "--format", "json", "-j", "4", *files)
                if result.returncode in NOT_OURS:
                    continue
                self.assertIn(result.returncode, (0, 2), result.stderr)
                found = [document["file"] for document in documents(result.stdout)]
                self.assertEqual(found, [name for name in names if name in found])
                failed = [document["file"] for document in documents(result.stdout) if "error" in document]
                self.assertEqual(result.returncode == 0, found == names and not failed, result.stderr)
                whole += result.returncode == 0
        self.assertGreater(whole, 2)

    def test_differences(self):
        """A comparison for which there is no memory ends its document, and says why."""
        # The chunks of the two films are out of step, so that those that belong together have to be found.
        chunks = chunk(b"00dc") * 200000
        one, other = (self.path(name, riff_list(b"AVI ", riff_list(b"movi", movi), b"RIFF") + b"\0" * 200)
                      for name, movi in (("one.avi", chunks), ("other.avi", chunk(b"01wb") + chunks)))
        told = 0
        for megabytes in range(78, 112):
            with self.subTest(megabytes=megabytes):
                result = self.run_within(megabytes, "diff", "--format", "json", one, other)
                if result.returncode in NOT_OURS:
                    continue
                self.assertIn(result.returncode, (1, 2), result.stderr)
                found = documents(result.stdout)
                self.assertLessEqual(len(found), 1)
                for document in found:
                    errors = [part["error"]["kind"] for part in (document, document["first"], document["second"])
                              if "error" in part]
                    self.assertEqual(result.returncode == 2, bool(errors), document.keys())
                    self.assertLessEqual(set(errors), {"memory"})
                    self.assertEqual("same" in document, not errors)
                    told += "differences" in document and "error" in document
        self.assertGreater(told, 0)


if __name__ == "__main__":
    unittest.main()
