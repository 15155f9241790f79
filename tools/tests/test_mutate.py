"""Which changes tools/mutate tries and in which order it asks the tests; the trials themselves take an hour."""
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import mutate


def killed_by(test):
    return {"by": test}


class Changes(unittest.TestCase):
    def changed(self, text):
        """(kind, the line as it becomes) of each change of one line."""
        return {(kind, (text[:at] + new + text[at + length:]).strip())
                for at, length, new, kind in mutate.changes_of(text)}

    def test_small_changes(self):
        self.assertEqual(self.changed("if (at < 4)\n"),
                         {("operator", "if (at <= 4)"), ("constant + 1", "if (at < 5)")})
        self.assertEqual(self.changed("return !m_found;\n"), {("negation", "return m_found;")})
        self.assertEqual(self.changed('print("abc"); // 1 < 2\n'), {("letter", 'print("acc"); // 1 < 2')})
        self.assertEqual(self.changed("static_assert(size == 4);\n"), set())

    def test_deleted_statement(self):
        self.assertIn(("statement deleted", "{ ; }"), self.changed("{ count(); }\n"))

    def test_swapped_rows(self):
        self.assertIn(("rows swapped", "{b},\n{a},"), self.changed("{a},\n{b},\n"))


class Order(unittest.TestCase):
    folders = {"tst_indexes": "parser", "tst_walker": "parser", "tst_plain": "tree", "tst_chunkids": "parser"}

    def order(self, file, tests, results=None):
        return mutate.telling_tests(file, tests, self.folders, results or {})

    def test_namesakes_before_the_room_before_others(self):
        self.assertEqual(self.order("avi/parser/chunks_indexes.cpp", ["tst_plain", "tst_walker", "tst_indexes"]),
                         ["tst_indexes", "tst_walker", "tst_plain"])

    def test_what_noticed_before_comes_first(self):
        file = "avi/parser/chunks_indexes.cpp"
        results = {f"{file} | a | b | 1": killed_by("tst_plain"), f"{file} | c | d | 1": killed_by("tst_plain (timeout)"),
                   f"{file} | e | f | 1": killed_by("tst_walker"), f"{file} | g | h | 1": killed_by(""),
                   "avi/parser/chunks_indexes.h | a | b | 1": killed_by("tst_indexes")}
        self.assertEqual(self.order(file, ["tst_indexes", "tst_walker", "tst_plain"], results),
                         ["tst_plain", "tst_walker", "tst_indexes"])

    def test_slow_ones_are_asked_of_their_namesakes_alone(self):
        self.assertEqual(self.order("avi/parser/chunkids.cpp", ["tst_walker", "tst_chunkids"]),
                         ["tst_chunkids", "tst_walker"])
        self.assertEqual(self.order("avi/parser/walker.cpp", ["tst_walker", "tst_chunkids"]), ["tst_walker"])


class Shares(unittest.TestCase):
    def test_square_roots(self):
        self.assertEqual(mutate.shares(40, {"table.cpp": 900, "loop.cpp": 100}), {"table.cpp": 30, "loop.cpp": 10})

    def test_headers_get_a_quarter(self):
        self.assertEqual(mutate.shares(50, {"a.cpp": 400, "a.h": 400}), {"a.cpp": 40, "a.h": 10})

    def test_at_most_what_there_is_and_at_least_one(self):
        self.assertEqual(mutate.shares(10, {"a.cpp": 10000, "b.cpp": 1, "c.cpp": 0}), {"a.cpp": 10, "b.cpp": 1})


class Gone(unittest.TestCase):
    def test_changes_that_are_no_longer_possible(self):
        with tempfile.TemporaryDirectory() as directory, mock.patch.object(mutate, "TREE", pathlib.Path(directory)):
            (pathlib.Path(directory) / "a.cpp").write_text("    int found = 0;\n")
            there = "a.cpp | int found = 0; | constant + 1: 0 -> 1 | 1"
            keys = [there, "a.cpp | int lost = 0; | constant + 1: 0 -> 1 | 1", "b.cpp | break; | statement deleted: break; -> ; | 1"]
            self.assertEqual(mutate.gone(keys), keys[1:])


if __name__ == "__main__":
    unittest.main()
