"""What `streams` lists. The values of the samples are what ffprobe says of them."""

import csv
import io
import os
import unittest

from support import GOLDENS, PARSER, SAMPLES, Case, documents, film, film_of_streams, run

PLAIN_PLUGIN = os.path.dirname(os.environ["QUENLOFAR_PLAIN_PLUGIN"])

HEADER = ["ordinal", "kind", "codecCode", "codecName", "width", "height", "frameRate", "sampleRate", "channels",
          "bitsPerSample", "bitRate", "seconds", "name"]


def table(output):
    return list(csv.reader(io.StringIO(output.decode(), newline=""), strict=True))


class Streams(Case):
    maxDiff = None

    def test_table(self):
        path = self.sample("dvgrab-dv-type2")
        result = run("streams", path)
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout.decode(), f"""{path.decode()}: AVI, 126992 bytes
stream  kind   code      picture  frames/s  samples/s  channels  bits     bit rate   length  packets  keys  codec  name
     0  video  dvsd    720 x 480     29.97                             28.8 Mbit/s  0.033 s        1     1  DV
     1  audio  0x0001                           48000         2    16  1536 kbit/s  0.033 s        1     0  PCM
""")

    def test_csv(self):
        for name, streams in [
                ("dvgrab-dv-type2", [["0", "video", "dvsd", "DV", "720", "480", 30000 / 1001, "", "", "", "", 0.0333667],
                                     ["1", "audio", "0x0001", "PCM", "", "", "", "48000", "2", "16", "1536000", 0.033375]]),
                ("ffmpeg-mpeg4-mp3vbr-info-utf8",
                 [["0", "video", "FMP4", "MPEG-4 Visual", "64", "48", 10, "", "", "", "", 2.1],
                  ["1", "audio", "0x0055", "MP3", "", "", "", "22050", "1", "", "", 2.063673]]),
                ("yuv2lav-mjpeg", [["0", "video", "MJPG", "Motion JPEG", "64", "48", 25, "", "", "", "", 1.0]]),
                ("ffmpeg-cram-cinepak-mp2",
                 [["0", "video", "MSVC", "Microsoft Video 1", "64", "48", 10, "", "", "", "", 1.0],
                  ["1", "video", "cvid", "Cinepak", "64", "48", 10, "", "", "", "", 1.0],
                  ["2", "audio", "0x0050", "MPEG audio, layer 1 or 2", "", "", "", "22050", "1", "", "32000",
                   1.044898]])]:
            with self.subTest(name=name):
                result = run("streams", "--format", "csv", self.sample(name))
                self.assertEnds(result, 0)
                self.assertNotIn(b"\r", result.stdout)
                self.assertEqual(result.stdout[-1:], b"\n")
                header, *found = table(result.stdout)
                self.assertEqual(header, HEADER)
                self.assertEqual(len(found), len(streams))
                for row, expected in zip(found, streams):
                    self.assertEqual(row[:6] + row[7:11], expected[:6] + expected[7:11])
                    self.assertEqual(row[12], "")
                    for column in (6, 11):
                        if expected[column] == "":
                            self.assertEqual(row[column], "")
                        else:
                            self.assertAlmostEqual(float(row[column]), expected[column], places=6)

    def test_csv_of_several_files(self):
        odd = self.path('a,"b".avi', (SAMPLES / "golden" / "yuv2lav-mjpeg.avi").read_bytes())
        paths = [self.sample(), self.path("missing"), odd]
        result = run("streams", "--format", "csv", *paths)
        self.assertEqual(result.returncode, 2)
        header, *found = table(result.stdout)
        self.assertEqual(header, ["file", *HEADER])
        self.assertEqual([(row[0], row[1], row[2]) for row in found],
                         [(paths[0].decode(), "0", "video"), (paths[0].decode(), "1", "audio"),
                          (odd.decode(), "0", "video")])

    def test_csv_header_stands_above_nothing(self):
        result = run("streams", "--format", "csv", self.path("missing"))
        self.assertEqual(table(result.stdout), [HEADER])

    def test_json(self):
        path = self.sample("yuv2lav-mjpeg")
        result = run("streams", "--format", "json", path)
        self.assertEnds(result, 0)
        document, = documents(result.stdout)
        self.assertEqual(list(document), ["formatVersion", "file", "fileSize", "container", "parser", "streams", "packets", "status"])
        self.assertEqual(document, {
            "formatVersion": 1, "file": path.decode(), "fileSize": 49142, "container": "AVI", "status": 0,
            "parser": PARSER,
            "streams": [{"ordinal": 0, "videoOrdinal": 0, "kind": "video", "codecCode": "MJPG",
                         "codecName": "Motion JPEG", "width": 64, "height": 48, "frameRate": 25, "seconds": 1}],
            # As ffprobe has the packets; its index marks none of them as a key frame.
            "packets": [{"stream": 0, "kind": "video", "count": 25, "empty": 0, "keyFrames": 0, "bytes": 46472,
                         "sizes": {"least": 1847, "median": 1859, "greatest": 1873}, "bitRate": 371776,
                         "seconds": 1}]})

    def test_all_formats_agree(self):
        for path in map(os.fsencode, GOLDENS):
            with self.subTest(path=path):
                rows = table(run("streams", "--format", "csv", path).stdout)[1:]
                document, = documents(run("streams", "--format", "json", path).stdout)
                whole, = documents(run("summary", "--format", "json", path).stdout)
                self.assertEqual(document["streams"], whole["streams"])
                values = [[str(stream.get(key, "")) for key in HEADER] for stream in document["streams"]]
                numeric = (6, 11)
                self.assertEqual([[text for column, text in enumerate(row) if column not in numeric] for row in rows],
                                 [[text for column, text in enumerate(row) if column not in numeric] for row in values])
                self.assertEqual([[float(row[column] or -1) for column in numeric] for row in rows],
                                 [[float(row[column] or -1) for column in numeric] for row in values])

    def test_damaged(self):
        path = self.sample("spliced-truncated")
        result = run("streams", path)
        self.assertEnds(result, 1, "the file ends inside an element")
        lines = result.stdout.decode().splitlines()
        self.assertEqual(len(lines), 6)
        self.assertEqual(lines[-2], "stream 0: key frames unknown: no index")
        self.assertEqual(lines[-1], "the file ends inside an element (status 5)")
        document, = documents(run("streams", "--format", "json", path).stdout)
        self.assertEqual((document["status"], [stream["kind"] for stream in document["streams"]]),
                         (5, ["video", "audio"]))

    def test_no_streams(self):
        path, text = self.path("film", film(2)), self.path("text", b"x" * 300)
        self.assertEqual(run("streams", path).stdout.decode().splitlines(), [f"{path.decode()}: AVI, 240 bytes",
                                                                              "no streams"])
        result = run("streams", text)
        self.assertEnds(result, 1, "no parser recognises the file")
        self.assertEqual(result.stdout.decode().splitlines(),
                         [f"{text.decode()}: unknown container format, 300 bytes", "no streams",
                          "no parser recognises the file (status 3)"])
        document, = documents(run("streams", "--format", "json", text).stdout)
        self.assertEqual((document["container"], document["streams"]), (None, []))

    def test_very_many_streams(self):
        for count, listed, messages in [(20000, 20000, []),
                                        (70000, 65536, ["streams: 70000, of which the first 65536 are described"])]:
            path = self.path("streams", film_of_streams(count))
            for form, found in [("text", lambda output: len(output.splitlines()) - 2),
                                ("csv", lambda output: len(table(output)) - 1),
                                ("json", lambda output: len(documents(output)[0]["streams"]))]:
                with self.subTest(count=count, form=form):
                    result = run("streams", "--format", form, path)
                    self.assertEnds(result, 0, *[f"{path.decode()}: {message}" for message in messages])
                    self.assertEqual(found(result.stdout), listed)
            self.assertEnds(run("streams", "--quiet", path), 0)

    def test_several_tables_are_apart(self):
        one, other = self.sample(), self.sample("yuv2lav-mjpeg")
        alone = [run("streams", path).stdout for path in (one, other)]
        self.assertEqual(run("streams", one, other).stdout, b"\n".join(alone))

    def test_plugin_without_describer(self):
        path = self.path("film.plain", b"PLAIN")
        result = run("streams", "--format", "csv", "--plugin-dir", PLAIN_PLUGIN, path)
        self.assertEnds(result, 0)
        self.assertEqual(table(result.stdout)[1:],
                         [["0", "video", "", "codec 13", "16", "8", "25"] + [""] * 6,
                          ["1", "video", "", "", "16", "8"] + [""] * 7])


if __name__ == "__main__":
    unittest.main()
