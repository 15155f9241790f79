"""The packets command. Offsets, sizes and key frames are what ffprobe 5.1 prints of the samples' packets."""

import csv
import io
import json
import os
import struct
import unittest

from support import Case, chunk, documents, film, riff_list, run

PLAIN_PLUGIN = os.path.dirname(os.environ["QUENLOFAR_PLAIN_PLUGIN"])
HEADER = ["stream", "number", "offset", "size", "key", "empty", "cut", "kind", "seconds", "knownBy"]
# The first packets of the sample: stream, number, offset, size, key, seconds.
FIRST = [(1, 0, 10078, 365, 1, 0), (1, 1, 10452, 130, 1, 32 / 1225), (0, 0, 10590, 1559, 1, 0),
         (1, 2, 12158, 26, 1, 64 / 1225), (1, 3, 12192, 26, 1, 96 / 1225), (1, 4, 12226, 26, 1, 128 / 1225)]


def table(output):
    return list(csv.reader(io.StringIO(output.decode(), newline=""), strict=True))


def stream_header(kind, scale, rate, sample_size=0):
    return chunk(b"strh", kind + bytes(4) + struct.pack("<IHH8I", 0, 0, 0, 0, scale, rate, 0, 9, 0, 0, sample_size)
                 + bytes(8))


def small_film(movi, index=b""):
    """A film of a video stream at 10 frames a second, with these chunks of data."""
    main = chunk(b"avih", struct.pack("<14I", 100000, 0, 0, 0x10, 9, 0, 1, 0, 16, 8, 0, 0, 0, 0))
    format = chunk(b"strf", struct.pack("<IiiHH", 40, 16, 8, 1, 8) + b"XVID" + bytes(20))
    headers = riff_list(b"hdrl", main + riff_list(b"strl", stream_header(b"vids", 1, 10) + format))
    return riff_list(b"AVI ", headers + riff_list(b"movi", movi) + index, b"RIFF")


class Packets(Case):
    maxDiff = None

    def rows(self, *arguments, status=0):
        result = run("packets", "--format", "csv", *arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        header, *rows = table(result.stdout)
        self.assertEqual(header, HEADER)
        return rows

    def test_csv(self):
        rows = self.rows(self.sample())
        self.assertEqual(len(rows), 100)
        for row, (stream, number, offset, size, key, seconds) in zip(rows, FIRST):
            self.assertEqual(row[:5], [str(stream), str(number), str(offset), str(size), str(key)])
            self.assertEqual(row[5:8] + row[9:], ["0", "0", "data", "movi idx1"])
            self.assertAlmostEqual(float(row[8]), seconds, places=12)

    def test_what_an_index_does_not_cover(self):
        # Its legacy index covers 5 of 20 frames, its OpenDML indexes all; of the other film the index is cut off.
        rows = self.rows("--type", "video", self.sample("spliced-opendml-avix"))
        self.assertEqual(len(rows), 20)
        self.assertEqual([row[9] for row in rows], ["movi idx1 odml"] * 5 + ["movi odml"] * 15)
        self.assertEqual([row[4] for row in rows], ["1"] + ["0"] * 19)
        rows = self.rows("--stream", "0", self.sample("spliced-truncated"), status=1)
        self.assertEqual([(row[4], row[9]) for row in rows], [("", "movi")] * 6)

    def test_which_packets(self):
        rows = self.rows(self.sample())
        video = [row for row in rows if row[0] == "0"]
        for arguments, expected in [
            (["--stream", "0"], video), (["--type", "video"], video), (["--stream", "2"], []),
            (["--stream", str(1 << 60)], []), (["--type", "subtitles"], []),
            (["--type", "audio", "--type", "video"], rows),
            (["--keys", "--type", "video"], [video[0], video[13]]),
            (["--range", "3..4", "--stream", "0"], video[3:5]), (["--range", "99.."], []),
            (["--offset-range", "10452..10590"], rows[1:3]), (["--offset-range", "..0x275E"], rows[:1]),
            (["--time-range", "0.3..0.4", "--stream", "0"], video[3:5]),
            (["--time-range", "..0", "--type", "video"], video[:1]),
        ]:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.rows(*arguments, self.sample()), expected)

    def test_refused(self):
        for arguments in (["--range", "5"], ["--time-range", "b..c"], ["--time-range", "2..1"], ["--type", "film"],
                          ["--offset-range", "0xG.."], ["--stream", "-1"]):
            with self.subTest(arguments=arguments):
                self.assertEnds(run("packets", *arguments, self.sample()), 2, arguments[0], "try: quenlofar --help")

    def test_json(self):
        movi = chunk(b"00dc", b"abc") + chunk(b"00pc", b"pa") + chunk(b"00dc") + chunk(b"07wb", b"far")
        begin = small_film(movi).index(b"00dc")
        path = self.path("film.avi", small_film(movi))
        result = run("packets", "--format", "json", path)
        document, = documents(result.stdout)
        self.assertEqual(list(document), ["formatVersion", "file", "fileSize", "container", "parser", "packets", "status"])
        self.assertEqual(document["packets"], [
            {"stream": 0, "number": 0, "offset": begin + 8, "size": 3, "seconds": 0, "knownBy": ["movi"]},
            {"stream": 0, "offset": begin + 20, "size": 2, "kind": "palette", "knownBy": ["movi"]},
            {"stream": 0, "number": 1, "offset": begin + 30, "size": 0, "empty": True, "seconds": 0.1,
             "knownBy": ["movi"]},
            {"stream": 7, "number": 0, "offset": begin + 38, "size": 3, "knownBy": ["movi"]}])
        pretty = run("packets", "--format", "json", "--pretty", path).stdout
        self.assertEqual(json.loads(pretty), document)

    def test_cut(self):
        whole = small_film(chunk(b"00dc", b"a" * 100))
        path = self.path("cut.avi", whole[:-60])
        result = run("packets", "--format", "json", path)
        document, = documents(result.stdout)
        packet, = document["packets"]
        self.assertEqual((packet["size"], packet["cut"], document["status"]), (40, True, 5))
        self.assertEnds(result, 1, "the file ends inside an element")

    def test_index_flags(self):
        movi = chunk(b"00dc", b"ab") + chunk(b"00dc", b"cd")
        index = chunk(b"idx1", struct.pack("<4s3I", b"00dc", 0x10, 4, 2) + struct.pack("<4s3I", b"00dc", 0, 14, 2))
        path = self.path("film.avi", small_film(movi, index))
        self.assertEqual([(row[4], row[9]) for row in self.rows(path)], [("1", "movi idx1"), ("0", "movi idx1")])

    def test_text(self):
        result = run("packets", "--offsets", "hex", "--range", "0..1", self.sample())
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout.decode().splitlines(), [
            f"{self.sample().decode()}: AVI, 22956 bytes",
            "stream    number  offset    size       seconds  key  known by",
            "     1         0  0x275e     365      0.000000  key  movi idx1",
            "     1         1  0x28d4     130      0.026122  key  movi idx1",
            "     0         0  0x295e    1559      0.000000  key  movi idx1",
            "     0         1  0x3006       0      0.100000       movi idx1, empty"])
        none = run("packets", "--stream", "9", self.sample())
        self.assertEqual(none.stdout.decode().splitlines()[1:], ["no packets"])

    def test_side_by_side(self):
        paths = [self.sample(name) for name in ("yuv2lav-mjpeg", "dvgrab-dv-type2", "spliced-opendml-avix")] * 3
        for form in ("text", "csv", "json"):
            one, several = (run("packets", "--format", form, "-j", jobs, *paths) for jobs in ("1", "3"))
            self.assertEqual(one.stdout, several.stdout)
            self.assertEnds(several, 0)

    def test_files_without_packets(self):
        text, plain = self.path("text", b"x" * 300), self.path("a.plain", b"PLAIN\x01")
        self.assertEnds(run("packets", text), 1, "no parser recognises the file")
        result = run("packets", "--format", "json", "--plugin-dir", PLAIN_PLUGIN, plain)
        self.assertEnds(result, 1, "the plug-in for Plain lists no packets")
        document, = documents(result.stdout)
        self.assertEqual((document["container"], document["packets"], document["status"]), ("Plain", [], 0))
        self.assertEnds(run("packets", self.path("missing")), 2, "cannot be opened")

    def test_limits(self):
        path = self.path("film.avi", film(200000))
        result = run("packets", "--format", "json", "--max-work", "100000B", path)
        self.assertEnds(result, 1, "more than 100000 bytes had to be read")
        document, = documents(result.stdout)
        self.assertEqual(document["limit"], "work")
        self.assertLess(len(document["packets"]), 200000)


if __name__ == "__main__":
    unittest.main()
