"""What `summary` says of a file. The values of the samples are what ffprobe finds in them."""

import os
import struct
import unittest

from support import PARSER, SANITIZED, Case, chunk, documents, film, film_of_streams, peak_memory, riff_list, run

PLAIN_PLUGIN = os.path.dirname(os.environ["QUENLOFAR_PLAIN_PLUGIN"])


def rows(output):
    """The rows of the first summary in `output`: a list of label and text."""
    lines = output.decode().split("\n\n")[0].splitlines()[1:]
    width = max(line.index("  ", len(line) - len(line.lstrip())) for line in lines if "  " in line.strip())
    return [(line[:width].strip(), line[width:].strip()) for line in lines]


class Text(Case):
    maxDiff = None

    def test_sample(self):
        path = self.sample()
        result = run("summary", path)
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout.decode(), f"""{path.decode()}
  container         AVI
  size              22956 bytes
  segments          1 (RIFF AVI )
  title             Zwölf Boxkämpfer 映像
  artist            Example
  comment           made for tests
  writing software  Lavf59.27.100
  stream 0          video, FMP4 (MPEG-4 Visual), 64 x 48, 10 frames/second, 2.1 s
    frames          21, 1 empty, 2 key frames (every 13 frames)
    sizes           202 to 1848 bytes, median 243, 29.9 kbit/s
  stream 1          audio, 0x0055 (MP3), 22050 Hz, 1 channel, 2.064 s
    packets         79, 26 to 365 bytes, median 26, 10.2 kbit/s
  items             1061
  unparsed          none
  gaps              none
  status            walked to the end
  verdict           conforms: no problem found, 1 note
""")

    def test_a_file_alone_is_enough(self):
        self.assertEqual(run(self.sample()).stdout, run("summary", self.sample()).stdout)

    def test_sizes(self):
        for option, size, frames in [("--si", "23.0 kB", "202 bytes to 1.85 kB, median 243 bytes, 29.9 kbit/s"),
                                     ("--iec", "22.4 KiB", "202 bytes to 1.80 KiB, median 243 bytes, 29.9 kbit/s")]:
            with self.subTest(option=option):
                found = dict(rows(run("summary", option, self.sample()).stdout))
                self.assertEqual((found["size"], found["sizes"]), (size, frames))

    def test_gaps_and_unparsed_bytes(self):
        # Of the 24 bytes of "strf" at 172 the last one is in no leaf: 18 and 5 bytes are what its fields ask for.
        path = self.sample("ffmpeg-h264-aac-ac3-audio-first")
        for offsets, gaps, unparsed in (("dec", "1 byte at 195", "1840 bytes at 33018"),
                                        ("hex", "1 byte at 0xc3", "1840 bytes at 0x80fa")):
            with self.subTest(offsets=offsets):
                found = dict(rows(run("summary", "--offsets", offsets, path).stdout))
                self.assertEqual((found["gaps"], found["unparsed"]), (gaps, unparsed))
        document, = documents(run("summary", "--format", "json", path).stdout)
        self.assertEqual((document["gaps"], document["unparsed"]),
                         ({"bytes": 1, "ranges": 1}, {"bytes": 1840, "ranges": 1}))
        path = self.path("two", film(0) * 2)
        self.assertEqual(dict(rows(run("summary", path).stdout))["unparsed"],
                         "400 bytes in 2 places, the first at 24")

    def test_colour(self):
        shown = run("summary", "--color", "always", self.sample()).stdout
        self.assertIn(b"\x1b[2mcontainer\x1b[0m", shown)
        self.assertIn(b"\x1b[1m" + self.sample() + b"\x1b[0m\n", shown)
        self.assertNotIn(b"\x1b[31m", shown)
        broken = run("summary", "--color", "always", self.sample("spliced-truncated")).stdout
        self.assertIn(b"\x1b[31mthe file ends inside an element (status 5)\x1b[0m", broken)
        self.assertNotIn(b"\x1b", run("summary", self.sample()).stdout)

    def test_damaged(self):
        result = run("summary", self.sample("spliced-truncated"))
        self.assertEnds(result, 1, "the file ends inside an element")
        found = dict(rows(result.stdout))
        self.assertEqual(found["status"], "the file ends inside an element (status 5)")
        self.assertEqual(found["frames"], "6, 1 empty, key frames unknown: no index")

    def test_stopped_by_a_limit(self):
        result = run("summary", "--max-items", "100", self.sample())
        self.assertEnds(result, 1, "stopped at byte")
        found = dict(rows(result.stdout))
        self.assertEqual(found["items"], "100")
        self.assertIn("it holds more than 100 elements and fields", found["status"])

    def test_no_container(self):
        path = self.path("text", b"This is no film.\n" * 9)
        result = run("summary", path)
        self.assertEnds(result, 1, "no parser recognises the file")
        self.assertEqual(result.stdout.decode(), f"{path.decode()}\n  container  unknown\n  size       153 bytes\n"
                                                 "  status     no parser recognises the file (status 3)\n")

    def test_cannot_be_opened(self):
        path = self.path("missing")
        result = run("summary", path)
        self.assertEnds(result, 2, "cannot be opened")
        self.assertEqual(result.stdout.decode(),
                         f"{path.decode()}\n  status  cannot be opened: No such file or directory\n")

    def test_several_files(self):
        one, other = self.sample(), self.sample("yuv2lav-mjpeg")
        alone = [run("summary", path).stdout for path in (one, other)]
        self.assertEqual(run("summary", one, other).stdout, b"\n".join(alone))

    def test_names_do_not_steer_the_terminal(self):
        path = self.path(b"a\x1b[31m\nb\xff", film(1))
        result = run("summary", path)
        self.assertTrue(result.stdout.startswith(os.fsencode(self.directory) + b"/a\\x1B[31m\\nb\xef\xbf\xbd\n"))

    def test_many_streams_fit_on_a_screen(self):
        for count, text in [(9, None), (10, "2 more"), (40, "32 more"), (20000, "19992 more"),
                            (70000, "70000, of which the first 65536 are described, 8 of them here")]:
            with self.subTest(count=count):
                lines = run("summary", self.path("streams", film_of_streams(count))).stdout.decode().splitlines()
                self.assertEqual([line.split(None, 1)[1] for line in lines if line.startswith("  streams")],
                                 [text] if text else [])
                self.assertEqual(sum(line.startswith("  stream ") for line in lines), 8 if text else 9)


class Json(Case):
    maxDiff = None

    def test_sample(self):
        result = run("summary", "--format", "json", self.sample())
        self.assertEnds(result, 0)
        document, = documents(result.stdout)
        self.assertEqual(list(document)[:4], ["formatVersion", "file", "fileSize", "container"])
        self.assertEqual(document, {
            "formatVersion": 1, "file": self.sample().decode(), "fileSize": 22956, "container": "AVI", "parser": PARSER,
            "rows": [{"label": "segments", "text": "1 (RIFF AVI )"},
                     {"label": "title", "text": "Zwölf Boxkämpfer 映像"}, {"label": "artist", "text": "Example"},
                     {"label": "comment", "text": "made for tests"},
                     {"label": "writing software", "text": "Lavf59.27.100"}],
            "streams": [{"ordinal": 0, "videoOrdinal": 0, "kind": "video", "codecCode": "FMP4",
                         "codecName": "MPEG-4 Visual", "width": 64, "height": 48, "frameRate": 10, "seconds": 2.1},
                        {"ordinal": 1, "kind": "audio", "codecCode": "0x0055", "codecName": "MP3",
                         "sampleRate": 22050, "channels": 1, "seconds": 2.063673469387755}],
            "frames": [{"stream": 0, "count": 20, "keyFrames": 2,
                        "keySpacing": {"least": 12, "median": 12, "greatest": 12}, "bytes": 7840,
                        "sizes": {"least": 202, "median": 243, "greatest": 1848}, "bitRate": 31360}],
            "packets": [{"stream": 0, "kind": "video", "count": 21, "empty": 1, "keyFrames": 2, "bytes": 7840,
                         "sizes": {"least": 202, "median": 243, "greatest": 1848},
                         "keySpacing": {"least": 13, "median": 13, "greatest": 13}, "bitRate": 29867, "seconds": 2.1},
                        {"stream": 1, "kind": "audio", "count": 79, "empty": 0, "keyFrames": 79, "bytes": 2627,
                         "sizes": {"least": 26, "median": 26, "greatest": 365},
                         "keySpacing": {"least": 1, "median": 1, "greatest": 1}, "bitRate": 10184,
                         "seconds": 2.063673469387755}],
            "items": 1061, "unparsed": {"bytes": 0, "ranges": 0}, "gaps": {"bytes": 0, "ranges": 0},
            "verdict": "conforms", "counts": {"error": 0, "warning": 0, "note": 1, "suppressed": 0}, "causes": [],
            "status": 0})

    def test_frames(self):
        # Sizes and key frames as ffprobe counts them in packets.
        for name, stream, count, keys, size, sizes, rate in [
                ("dvgrab-dv-type2", 0, 1, 1, 120000, (120000, 120000, 120000), 28771229),
                ("gstreamer-mjpeg-mp3", 0, 20, 20, 43990, (2194, 2200, 2204), 175960),
                ("mencoder-xvid-mp3cbr", 0, 20, 1, 3267, (10, 35, 843), 13068),
                ("ffmpeg-cram-cinepak-mp2", 0, 10, 1, 1632, (44, 90, 738), 13056),
                ("ffmpeg-cram-cinepak-mp2", 1, 10, 1, 7100, (591, 618, 1159), 56800),
                ("ffmpeg-raw-bgr24-i420", 1, 6, 6, 27648, (4608, 4608, 4608), 368640)]:
            with self.subTest(name=name, stream=stream):
                frames = documents(run("summary", "--format", "json", self.sample(name)).stdout)[0]["frames"][stream]
                found = [frames[key] for key in ("stream", "count", "keyFrames", "bytes", "bitRate")]
                self.assertEqual(found, [stream, count, keys, size, rate])
                self.assertEqual(tuple(frames["sizes"].values()), sizes)

    def test_no_container(self):
        path = self.path("text", b"x" * 99)
        result = run("summary", "--format", "json", path)
        self.assertEqual(documents(result.stdout),
                         [{"formatVersion": 1, "file": path.decode(), "fileSize": 99, "container": None, "rows": [],
                           "streams": [], "frames": [], "items": 0, "verdict": "unknown",
                           "counts": {"error": 0, "warning": 0, "note": 0, "suppressed": 0}, "causes": [],
                           "status": 3}])

    def test_one_document_per_file(self):
        paths = [self.sample(), self.path("missing"), self.sample("spliced-truncated")]
        found = documents(run("summary", "--format", "json", *paths).stdout)
        self.assertEqual([(document["file"], document["status"]) for document in found],
                         [(paths[0].decode(), 0), (paths[1].decode(), 1), (paths[2].decode(), 5)])

    def test_pretty(self):
        plain = documents(run("summary", "--format", "json", self.sample()).stdout)
        pretty = run("summary", "--format", "json", "--pretty", self.sample()).stdout
        self.assertTrue(pretty.startswith(b'{\n  "formatVersion": 1,\n'))
        self.assertEqual(documents(pretty.replace(b"\n", b"")), plain)


def blank_ids():
    """A film with a video codec and a chunk whose ids are four blanks, and sound whose length was never filled in."""
    video = chunk(b"strh", b"vids" + b"    " + struct.pack("<IHH8I", 0, 0, 0, 0, 1, 25, 0, 3, 0, 0, 0) + bytes(8))
    video += chunk(b"strf", struct.pack("<IiiHH", 40, 16, 8, 1, 24) + b"    " + bytes(20))
    sound = chunk(b"strh", b"auds" + bytes(4) + struct.pack("<IHH8I", 0, 0, 0, 0, 1, 8000, 0, 0, 0, 0, 0) + bytes(8))
    sound += chunk(b"strf", struct.pack("<HHIIHH", 1, 1, 8000, 8000, 1, 8))
    lists = riff_list(b"hdrl", riff_list(b"strl", video) + riff_list(b"strl", sound))
    return riff_list(b"AVI ", lists + chunk(b"    ", b"abcd") + riff_list(b"movi", b""), b"RIFF")


class WhatIsNotKnown(Case):
    def test_ids_of_blanks_are_seen(self):
        path = self.path("blank.avi", blank_ids())
        self.assertEqual(dict(rows(run("summary", path).stdout))["stream 0"],
                         'video, "    ", 16 x 8, 25 frames/second, 0.12 s')
        self.assertIn('  video  "    "', run("streams", path).stdout.decode())
        tree = run("tree", path).stdout.decode().splitlines()
        self.assertIn('    48       4          fccHandler = "    "', tree)
        self.assertIn('   248      12    "    "', tree)
        self.assertIn('   248       4      id = "    "', tree)
        # Documents have the text itself.
        document, = documents(run("summary", "--format", "json", path).stdout)
        self.assertEqual(document["streams"][0]["codecCode"], "    ")

    def test_length_of_sound_that_was_never_filled_in(self):
        path = self.path("blank.avi", blank_ids())
        self.assertEqual(dict(rows(run("summary", path).stdout))["stream 1"],
                         "audio, 0x0001 (PCM), 8000 Hz, 1 channel, 8 bits, 64.0 kbit/s, length unknown")
        self.assertRegex(run("streams", path).stdout.decode(), r"64\.0 kbit/s +unknown +0 +PCM\n")
        document, = documents(run("streams", "--format", "json", path).stdout)
        self.assertEqual(document["streams"][0]["seconds"], 0.12)
        self.assertNotIn("seconds", document["streams"][1])

    def test_bit_rate_of_some_of_the_frames(self):
        # Its index is that of the first RIFF list alone: 5 of 20 frames.
        path = self.sample("spliced-opendml-avix")
        frames, = documents(run("summary", "--format", "json", path).stdout)[0]["frames"]
        self.assertEqual((frames["count"], "bitRate" in frames), (5, False))
        # Packets are those of both RIFF lists: 20 frames of 3267 bytes in 2 seconds.
        self.assertIn("13.1 kbit/s", dict(rows(run("summary", path).stdout))["sizes"])


class PluginWithoutDescriber(Case):
    def summary(self, frames, *arguments):
        path = self.path("film.plain", b"PLAIN" + bytes(frames))
        result = run("summary", "--plugin-dir", PLAIN_PLUGIN, *arguments, path)
        self.assertEnds(result, 0)
        return result.stdout

    def frames(self, frames):
        document, = documents(self.summary(frames, "--format", "json"))
        return document["frames"]

    def test_text(self):
        self.assertEqual(rows(self.summary([0x80 | 10, 20, 40])), [
            ("container", "Plain"), ("size", "8 bytes"),
            ("stream 0", "video, codec 13, 16 x 8, 25 frames/second"),
            ("frames", "3, 1 key frame"), ("sizes", "10 to 40 bytes, median 20, 4.7 kbit/s"),
            ("stream 1", "video, 16 x 8"), ("frames", "none in an index"),
            ("items", "4"), ("unparsed", "none"), ("gaps", "3 bytes at 5"), ("status", "walked to the end"),
            ("verdict", "unknown: no rules for this container")])

    def test_streams(self):
        document, = documents(self.summary([], "--format", "json"))
        self.assertEqual((document["rows"], document["frames"]), ([], []))
        self.assertEqual(document["streams"], [
            {"ordinal": 0, "videoOrdinal": 0, "kind": "video", "codecName": "codec 13", "width": 16, "height": 8,
             "frameRate": 25},
            {"ordinal": 1, "videoOrdinal": 1, "kind": "video", "width": 16, "height": 8}])

    def test_spreads(self):
        large, key = 5 << 30, 0x80
        for rule, frames, sizes in [("one frame", [7], (7, 7, 7)), ("the lower of two", [9, 2], (2, 2, 9)),
                                    ("an odd count", [9, 2, 5], (2, 5, 9)), ("the lower of the middle two",
                                                                             [9, 1, 2, 8], (1, 2, 9)),
                                    ("of no bytes", [0, 0, 3], (0, 0, 3)),
                                    ("more than 32 bits", [127, 3], (3, 3, large)),
                                    ("mostly more than 32 bits", [127, 3, 127], (3, large, large)),
                                    ("all more than 32 bits", [127, 127], (large, large, large))]:
            with self.subTest(rule=rule):
                found, = self.frames(frames)
                self.assertEqual(tuple(found["sizes"].values()), sizes)
                self.assertEqual((found["count"], found["keyFrames"]), (len(frames), 0))
        for rule, frames, spacing in [("one key frame", [1, key, 1], None), ("two", [key, 1, 1, key], (3, 3, 3)),
                                      ("some", [1, key, 1, key, key, 1, 1, key], (1, 2, 3))]:
            with self.subTest(rule=rule):
                found, = self.frames(frames)
                self.assertEqual(tuple(found["keySpacing"].values()) if "keySpacing" in found else None, spacing)

    def test_key_spacing_in_words(self):
        key = 0x80
        for frames, text in [([1, 1], "2, no key frame"), ([key, key], "2, 2 key frames (every frame)"),
                             ([key, 1, key, 1, key], "5, 3 key frames (every 2 frames)"),
                             ([key, key, 1, key, 1, 1, 1, key],
                              "8, 4 key frames (every 1 to 4 frames, median 2)")]:
            with self.subTest(frames=frames):
                self.assertEqual(dict(rows(self.summary(frames)[:-1].rsplit(b"  stream 1")[0]))["frames"], text)


class Memory(Case):
    def test_a_million_frames_stay_small(self):
        # 8 bytes per frame at most: where nothing is kept but that, a million more frames take 8 MB more.
        peaks = []
        for count in (1000, 1001000):
            path = self.path("film.plain", b"PLAIN" + b"\x81" * count)
            peaks.append(peak_memory("summary", "--plugin-dir", PLAIN_PLUGIN, path))
        self.assertLess(peaks[1] - peaks[0], 24_000_000 if SANITIZED else 12_000_000)


if __name__ == "__main__":
    unittest.main()
