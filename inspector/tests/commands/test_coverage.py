"""The command coverage: every byte counts once, and what is said agrees with the tree."""

import os
import unittest

from support import GOLDENS, Case, chunk, documents, film, riff_list, run, with_paths

KINDS = ("interpreted", "data", "unparsed", "gaps")
CLASSES = ("gaps", "unparsed", "data", "interpreted")  # each takes bytes from those before it


def rank(leaf):
    if "unparsed" in leaf:
        return 1
    return 2 if leaf["field"] == "value" and not leaf["value"] else 3


def accounted(tree):
    """What coverage should say of the file, byte by byte from its tree."""
    best, cover = bytearray(tree["fileSize"]), bytearray(tree["fileSize"])
    for leaf, _ in with_paths(tree["elements"]):
        if "items" in leaf:
            continue
        for at in range(leaf["offset"], min(leaf["offset"] + leaf["size"], len(best))):
            best[at] = max(best[at], rank(leaf))
            cover[at] = min(cover[at] + 1, 2)
    result = {name: ranges(value == number for value in best) for number, name in enumerate(CLASSES)}
    result["overlaps"] = ranges(value > 1 for value in cover)
    return result


def ranges(flags):
    found, begin, at = [], None, -1
    for at, flag in enumerate([*flags, False]):
        if flag and begin is None:
            begin = at
        elif not flag and begin is not None:
            found.append([begin, at - begin])
            begin = None
    return {"bytes": sum(size for _, size in found), "ranges": found}


class Coverage(Case):
    def json(self, path, status=0):
        result = run("coverage", "--format", "json", path)
        self.assertEqual(result.returncode, status, result.stderr)
        return documents(result.stdout)[0]

    def check(self, path):
        tree = documents(run("tree", "--format", "json", path).stdout)[0]
        report = documents(run("coverage", "--format", "json", path).stdout)[0]
        self.assertEqual({key: report[key] for key in (*KINDS, "overlaps")}, accounted(tree))
        self.assertEqual(sum(report[key]["bytes"] for key in KINDS), tree["fileSize"])
        for key in ("file", "fileSize", "container", "status"):
            self.assertEqual(report[key], tree[key])

    def test_agrees_with_the_tree(self):
        for path in GOLDENS:
            with self.subTest(path=path.name):
                self.check(path)

    def test_agrees_with_the_tree_of_damaged_files(self):
        whole = GOLDENS[0].read_bytes()
        for name, data in [("cut", whole[:len(whole) // 3]), ("holes", whole[:100] + b"\0" * 300 + whole[400:]),
                           ("zeros", film(2) + b"\0" * 5000), ("none", b"")]:
            with self.subTest(name=name):
                self.check(self.path(name, data))

    def small(self):
        """RIFF at 0, LIST at 12, a chunk at 24 with 4 bytes of data at 32, and 200 bytes of garbage."""
        movi = riff_list(b"movi", chunk(b"00dc", b"abcd"))
        return self.path("film", riff_list(b"AVI ", movi, b"RIFF") + b"\1" * 200)

    def test_typed_by_hand(self):
        report = self.json(self.small())
        self.assertEqual(list(report)[:4], ["formatVersion", "file", "fileSize", "container"])
        self.assertEqual((report["formatVersion"], report["fileSize"]), (1, 236))
        self.assertEqual(report["interpreted"], {"bytes": 32, "ranges": [[0, 32]]})
        self.assertEqual(report["data"], {"bytes": 4, "ranges": [[32, 4]]})
        self.assertEqual(report["unparsed"], {"bytes": 200, "ranges": [[36, 200]]})
        for kind in ("gaps", "overlaps"):
            self.assertEqual(report[kind], {"bytes": 0, "ranges": []})

    def test_table(self):
        result = run("coverage", "--offsets", "hex", self.small())
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout.decode().splitlines(), [
            f"{os.fsdecode(self.path('film'))}: AVI, 236 bytes",
            "",
            "             bytes    share  ranges",
            "interpreted     32  13.56 %       1",
            "data             4   1.69 %       1",
            "unparsed       200  84.75 %       1",
            "gaps             0      0 %       0",
            "overlaps         0      0 %       0",
            "",
            "unparsed:",
            "  offset  size",
            "    0x24   200",
        ])

    def test_long_lists_are_cut_in_text_alone(self):
        # Garbage behind each chunk.
        movi = riff_list(b"movi", (chunk(b"00dc", b"abcd") + b"\xff" * 8) * 50)
        path = self.path("film", riff_list(b"AVI ", movi, b"RIFF"))
        self.assertEqual(self.json(path)["unparsed"]["ranges"], [[36 + 20 * i, 8] for i in range(50)])
        lines = run("coverage", path).stdout.decode().splitlines()
        first = lines.index("unparsed:") + 2
        self.assertEqual(lines[first].split(), ["36", "8"])
        self.assertEqual(lines[first + 20:], ["  ... 30 more; --format json lists all"])

    def test_files_with_trouble(self):
        garbage = self.path("garbage", b"no film at all")
        result = run("coverage", "--format", "json", garbage)
        self.assertEnds(result, 1, "(status 3)")
        report = documents(result.stdout)[0]
        self.assertEqual((report["status"], report["container"]), (3, None))
        self.assertEqual(report["gaps"], {"bytes": 14, "ranges": [[0, 14]]})
        result = run("coverage", "--format", "json", self.path("missing"))
        self.assertEnds(result, 2, "cannot be opened")
        report = documents(result.stdout)[0]
        self.assertEqual((report["fileSize"], report["error"]["kind"]), (None, "open"))

    def test_many_files_side_by_side(self):
        paths = GOLDENS[:4]
        result = run("coverage", "--format", "json", "-j", "3", *paths)
        self.assertEqual([report["file"] for report in documents(result.stdout)], [str(path) for path in paths])


if __name__ == "__main__":
    unittest.main()
