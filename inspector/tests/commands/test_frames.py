"""The frames command: which frames, in which form."""

import re
import struct
import unittest

from support import Case, documents, film, run

# Size, offset and key flag of each video packet, as another reader of the index (ffprobe 5.1) prints them.
PACKETS = [
    (1559, 10590, 1), (336, 12302, 0), (257, 12782, 0), (243, 13184, 0), (234, 13572, 0), (239, 13950, 0),
    (224, 14300, 0), (238, 14668, 0), (224, 15050, 0), (233, 15418, 0), (247, 15796, 0), (232, 16188, 0),
    (1848, 16530, 1), (202, 18522, 0), (271, 18868, 0), (269, 19284, 0), (246, 19698, 0), (238, 20088, 0),
    (257, 20436, 0), (243, 20838, 0),
]
ROWS = [f"0,{number},{offset},{size},{key}" for number, (size, offset, key) in enumerate(PACKETS)]
HEADER = "stream,number,offset,size,key"


class Frames(Case):
    def lines(self, *arguments):
        result = run("frames", *arguments)
        self.assertEnds(result, 0)
        self.assertFalse(b"\r" in result.stdout)
        return result.stdout.decode().splitlines()

    def test_csv(self):
        self.assertEqual(self.lines("--format", "csv", self.sample()), [HEADER] + ROWS)

    def test_which_frames(self):
        for arguments, rows in [
            (["--stream", "0"], ROWS),
            (["--stream", "1"], []),
            (["--key-only"], [ROWS[0], ROWS[12]]),
            (["--range", "3..5"], ROWS[3:6]),
            (["--range", "18.."], ROWS[18:]),
            (["--range", "..1"], ROWS[:2]),
            (["--range", "7..7"], ROWS[7:8]),
            (["--range", "1..12", "--key-only"], [ROWS[12]]),
            (["--range", "20.."], []),
        ]:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.lines("--format", "csv", *arguments, self.sample()), [HEADER] + rows)

    def test_many_files_have_a_column(self):
        name = self.path("a,b", film(0))
        lines = self.lines("--format", "csv", "--range", "0..0", self.sample(), name, self.sample())
        row = f"{self.sample().decode()},{ROWS[0]}"
        self.assertEqual(lines, [f"file,{HEADER}", row, row])

    def test_names_with_commas_are_quoted(self):
        with open(self.sample(), "rb") as sample:
            name = self.path('a,"b"', sample.read())
        lines = self.lines("--format", "csv", "--range", "0..0", name, name)
        quoted = '"' + name.decode().replace('"', '""') + '"'
        self.assertEqual(lines[1:], [f"{quoted},{ROWS[0]}"] * 2)

    def test_json(self):
        result = run("frames", "--format", "json", "--key-only", self.sample())
        self.assertEnds(result, 0)
        [document] = documents(result.stdout)
        self.assertEqual(list(document)[:4], ["formatVersion", "file", "fileSize", "container"])
        self.assertEqual((document["container"], document["status"]), ("AVI", 0))
        self.assertEqual(document["frames"], [
            {"stream": 0, "number": 0, "offset": 10590, "size": 1559, "key": True},
            {"stream": 0, "number": 12, "offset": 16530, "size": 1848, "key": True}])

    def test_text(self):
        lines = self.lines("--range", "11..12", "--offsets", "hex", "--iec", self.sample())
        self.assertEqual(lines, [
            f"{self.sample().decode()}: AVI, 22956 bytes",
            "stream    number  offset        size  key",
            "     0        11  0x3f3c   232 bytes",
            "     0        12  0x4092    1.80 KiB  key"])

    def test_numbers_wider_than_their_columns_stay_apart(self):
        with open(self.sample(), "rb") as sample:
            data = bytearray(sample.read())
        [first] = struct.unpack_from("<I", data, data.index(b"00dc", data.rindex(b"idx1")) + 8)
        struct.pack_into("<II", data, data.rindex(b"00dc") + 8, 0xFFFF0000, 0xFFFFFFFF)
        offset = PACKETS[0][1] - first + 0xFFFF0000
        for arguments, size in [([], "4294967295"), (["--iec"], "4.00 GiB")]:
            with self.subTest(arguments=arguments):
                lines = self.lines("--range", "19..19", *arguments, self.path("film", data))
                self.assertEqual(re.split(" {2,}", lines[-1].strip()), ["0", "19", str(offset), size])

    def test_files_without_frames(self):
        empty, text = self.path("empty", film(0)), self.path("text", b"x" * 100)
        self.assertEqual(self.lines(empty)[1:], ["no frames"])
        result = run("frames", "--format", "json", text)
        self.assertEnds(result, 1, "no parser recognises the file")
        self.assertEqual([(found["frames"], found["status"]) for found in documents(result.stdout)], [([], 3)])

    def test_refused(self):
        for arguments in (["--range", "5"], ["--range", "5..4"], ["--range", ".."], ["--range", "a..b"],
                          ["--stream", "-1"], ["--format", "xml"]):
            with self.subTest(arguments=arguments):
                self.assertEnds(run("frames", *arguments, self.sample()), 2, arguments[0], "try: quenlofar --help")


if __name__ == "__main__":
    unittest.main()
