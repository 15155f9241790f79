"""The command diff: what two files have in common is not mentioned, everything else is."""

import os
import struct
import unittest

from support import GOLDENS, PARSER, Case, chunk, documents, riff_list, run, with_paths


def avi(*chunks, tail=b"\1" * 200):
    return riff_list(b"AVI ", riff_list(b"movi", b"".join(chunks)), b"RIFF") + tail


def kept(item):
    """What of an item is compared."""
    return {key: value for key, value in item.items() if key not in ("offset", "items")}


def differences(first, second):
    """The kinds and paths of differing items, worked out from two trees without regard to their order."""
    ours, theirs = ({path: item for item, path in with_paths(tree["elements"])} for tree in (first, second))
    found, silent = set(), []
    for path in sorted(ours.keys() | theirs.keys()):
        if any(path.startswith(prefix) for prefix in silent):
            continue
        a, b = ours.get(path), theirs.get(path)
        if a is None or b is None or ("items" in a) != ("items" in b):
            silent.append(path + "/")
        if a is None or b is None:
            found.add(("onlyInSecond" if a is None else "onlyInFirst", path))
        elif kept(a) != kept(b):
            found.add(("changed", path))
    return found


class Diff(Case):
    def setUp(self):
        super().setUp()
        self.first = self.path("first", avi(chunk(b"00dc", b"abcd"), chunk(b"01wb", b"ef")))

    def second(self, *chunks, **more):
        return self.path("second", avi(*chunks, **more))

    def lines(self, *arguments, status=1):
        result = run("diff", *arguments)
        self.assertEnds(result, status)
        return result.stdout.decode().splitlines()

    def test_same(self):
        for path in (self.first, self.sample(), self.sample("spliced-garbage")):
            with self.subTest(path=path):
                self.assertEqual(self.lines(path, path, status=0), [])
                document = documents(run("diff", "--format", "json", path, path).stdout)[0]
                self.assertEqual((document["same"], document["differences"]), (True, []))

    def test_typed_by_hand(self):
        second = self.second(chunk(b"00dc", b"abcdef"), chunk(b"00dc", b"xy"))
        movi = "RIFF(AVI )/LIST(movi)"
        self.assertEqual(self.lines(self.first, second), [
            "~ RIFF(AVI ): size: 46 -> 48",
            "~ RIFF(AVI )/size: value: 38 -> 40",
            f"~ {movi}: size: 34 -> 36",
            f"~ {movi}/size: value: 26 -> 28",
            f"~ {movi}/00dc: size: 12 -> 14",
            f"~ {movi}/00dc/size: value: 4 -> 6",
            f"~ {movi}/00dc/value: size: 4 -> 6",
            f"- {movi}/01wb  (10 bytes)",
            f"+ {movi}/00dc[1]  (10 bytes)",
        ])

    def test_json_typed_by_hand(self):
        second = self.second(chunk(b"00dc", b"abcd"), chunk(b"01wb", b"ef"), tail=b"\1" * 201)
        result = run("diff", "--format", "json", self.first, second)
        self.assertEnds(result, 1)
        first_name, second_name = os.fsdecode(self.first), os.fsdecode(second)
        document = documents(result.stdout)[0]
        self.assertEqual(list(document), ["formatVersion", "first", "second", "differences", "same"])
        self.assertEqual(document, {
            "formatVersion": 1,
            "first": {"file": first_name, "fileSize": 246, "container": "AVI", "parser": PARSER, "status": 0},
            "second": {"file": second_name, "fileSize": 247, "container": "AVI", "parser": PARSER, "status": 0},
            "differences": [{
                "kind": "changed", "path": "unparsed", "differs": ["size"],
                "first": {"unparsed": True, "offset": 46, "size": 200},
                "second": {"unparsed": True, "offset": 46, "size": 201},
            }],
            "same": False,
        })

    def test_offsets_count_when_asked_for(self):
        second = self.second(chunk(b"01wb", b"ef"), chunk(b"00dc", b"abcd"))
        self.assertEqual(self.lines(self.first, second, status=0), [])
        self.assertEqual(self.lines("--ignore-offsets", self.first, second, status=0), [])
        lines = self.lines("--offsets", self.first, second)
        self.assertEqual(lines[0], "~ RIFF(AVI )/LIST(movi)/00dc: offset: 24 -> 34")
        self.assertTrue(all(": offset: " in line for line in lines), lines)

    def test_agrees_with_the_trees(self):
        for first, second in zip(GOLDENS, GOLDENS[1:]):
            with self.subTest(first=first.name, second=second.name):
                trees = documents(run("tree", "--format", "json", first, second).stdout)
                result = run("diff", "--format", "json", first, second)
                self.assertEqual(result.returncode, 1)
                found = [difference for difference in documents(result.stdout)[0]["differences"]
                         if "path" in difference]
                self.assertEqual(sorted((difference["kind"], difference["path"]) for difference in found),
                                 sorted(differences(*trees)))
                for difference in found:
                    for side, tree in zip(("first", "second"), trees):
                        item = difference.get(side)
                        if item:
                            self.assertIn(item["offset"], range(tree["fileSize"]))

    def test_meanings_and_key_frames(self):
        with open(self.sample(), "rb") as file:
            data = bytearray(file.read())
        data[32:36] = struct.pack("<I", 40000)  # the period of a frame
        data[data.index(b"00dc", data.rindex(b"idx1")) + 4] ^= 0x10  # the flags of the first one
        lines = self.lines(self.sample(), self.path("changed", data))
        self.assertIn("~ RIFF(AVI )/LIST(hdrl)/avih/dwMicroSecPerFrame: value: 100000 -> 40000", lines)
        self.assertIn("~ RIFF(AVI )/LIST(hdrl)/avih/dwMicroSecPerFrame: meaning: 10 frames/second -> 25 frames/second",
                      lines)
        self.assertIn("~ frame 0: key: yes -> no", lines)

    def test_long_lists_of_frames_are_cut_in_text_alone(self):
        sample = self.sample("yuv2lav-mjpeg")
        with open(sample, "rb") as file:
            data = bytearray(file.read())
        begin = data.rindex(b"idx1") + 8
        frames = 0
        for entry in range(begin, begin + struct.unpack_from("<I", data, begin - 4)[0], 16):
            if data[entry:entry + 4] == b"00db":
                data[entry + 12] ^= 1  # the frame's size
                frames += 1
        self.assertEqual(frames, 25)
        path = self.path("changed", data)
        lines = [line for line in self.lines(sample, path) if "frame" in line[:8]]
        self.assertEqual(len(lines), 21)
        self.assertRegex(lines[0], r"^~ frame 0: size: \d+ -> \d+$")
        self.assertEqual(lines[20], "~ frames: 5 more differ; --format json lists all")
        document = documents(run("diff", "--format", "json", sample, path).stdout)[0]
        changed = [entry for entry in document["differences"] if entry["kind"] == "changedFrame"]
        self.assertEqual([entry["position"] for entry in changed], list(range(25)))
        self.assertEqual(changed[0]["differs"], ["size"])
        self.assertEqual(changed[0]["first"]["size"] ^ 1, changed[0]["second"]["size"])

    def test_number_of_frames_and_status(self):
        with open(self.sample(), "rb") as file:
            data = file.read()
        cut = self.path("cut", data[:data.rindex(b"idx1") - 100])
        result = run("diff", self.sample(), cut)
        self.assertEnds(result, 1, "the file ends inside an element (status 5)")
        lines = result.stdout.decode().splitlines()
        frames = len(documents(run("tree", "--format", "json", self.sample()).stdout)[0]["frames"])
        self.assertIn(f"~ frames: number: {frames} -> 0", lines)
        self.assertEqual(lines[-1], "~ status: 0 -> 5")
        self.assertEnds(run("diff", "--quiet", cut, cut), 0)

    def test_trouble(self):
        missing, garbage = self.path("missing"), self.path("garbage", b"nothing")
        for arguments, message in [
            ((missing, self.first), "missing: cannot be opened"),
            ((self.first, missing), "missing: cannot be opened"),
            ((self.first, garbage), "garbage: no parser recognises the file"),
        ]:
            with self.subTest(arguments=arguments):
                result = run("diff", "--quiet", *arguments)
                self.assertEnds(result, 2, message)
                self.assertEqual(result.stdout, b"")
        result = run("diff", "--max-items", "3", self.first, self.first)
        self.assertEnds(result, 2, "--max-items", "--max-items")
        document = documents(run("diff", "--format", "json", self.first, missing).stdout)[0]
        self.assertEqual((document["first"]["status"], document["second"]["error"]["kind"]), (0, "open"))
        self.assertNotIn("same", document)

    def test_colour(self):
        second = self.second(chunk(b"00dc", b"abcd"))
        lines = self.lines("--color", "always", self.first, second)
        self.assertIn("\x1b[31m- RIFF(AVI )/LIST(movi)/01wb  (10 bytes)\x1b[0m", lines)
        lines = self.lines("--color", "always", second, self.first)
        self.assertIn("\x1b[32m+ RIFF(AVI )/LIST(movi)/01wb  (10 bytes)\x1b[0m", lines)
        self.assertFalse([line for line in self.lines(self.first, second) if "\x1b" in line])

    def test_output_file(self):
        output = self.path("out")
        self.assertEnds(run("diff", self.first, self.second(), "-o", output), 1)
        with open(output, "rb") as file:
            self.assertEqual(file.read(), run("diff", self.first, self.path("second")).stdout)


if __name__ == "__main__":
    unittest.main()
