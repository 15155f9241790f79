"""The example plug-in, built against an installation: what it shows of real, cut and hostile files."""

import json
import os
import pathlib
import shutil
import struct
import unittest

import sdk
from sdk import Case, call, configure_and_build, items, uncovered

EXAMPLE = sdk.SOURCE / "examples" / "container-wave"
SAMPLES = sorted((EXAMPLE / "samples").glob("*.wav"))

# Of fmt: the format tag and its meaning, channels, samples per second, bytes per second, bytes per block, bits.
FORMATS = {
    "ffmpeg-bext": (1, "PCM", 1, 8000, 16000, 2, 16),
    "ffmpeg-ima-adpcm": (17, "IMA ADPCM", 1, 8000, 16000, 1024, 4),
    "ffmpeg-info": (1, "PCM", 1, 8000, 16000, 2, 16),
    "ffmpeg-pcm16-mono": (1, "PCM", 1, 8000, 16000, 2, 16),
    "ffmpeg-pcm24-6ch": (65534, "extensible wave format", 6, 48000, 864000, 18, 24),
    "ffmpeg-rf64": (1, "PCM", 1, 8000, 16000, 2, 16),
    "sox-alaw": (6, "A-law", 1, 8000, 8000, 1, 8),
    "sox-float": (3, "PCM, floating point", 1, 8000, 32000, 4, 32),
    "sox-pcm16-stereo": (1, "PCM", 2, 44100, 176400, 4, 16),
    "sox-pcm8-odd": (1, "PCM", 1, 11025, 11025, 1, 8),
}
# As ffprobe tells them: code, samples per second, channels, bits per sample, bits per second, samples per channel.
STREAMS = {
    "ffmpeg-bext": ("0x0001", 8000, 1, 16, 128000, 160),
    "ffmpeg-ima-adpcm": ("0x0011", 8000, 1, 4, 128000, 2041),
    "ffmpeg-info": ("0x0001", 8000, 1, 16, 128000, 160),
    "ffmpeg-pcm16-mono": ("0x0001", 8000, 1, 16, 128000, 400),
    "ffmpeg-pcm24-6ch": ("0xFFFE", 48000, 6, 24, 6912000, 48),
    "ffmpeg-rf64": ("0x0001", 8000, 1, 16, 128000, 400),
    "sox-alaw": ("0x0006", 8000, 1, 8, 64000, 80),
    "sox-float": ("0x0003", 8000, 1, 32, 256000, 160),
    "sox-pcm16-stereo": ("0x0001", 44100, 2, 16, 1411200, 92),
    "sox-pcm8-odd": ("0x0001", 11025, 1, 8, 88200, 23),
}
FORMAT_NAMES = ["nChannels", "nSamplesPerSec", "nAvgBytesPerSec", "nBlockAlign", "wBitsPerSample"]

# Leaves by path: offset, size, value, and the meaning where there is one.
LEAVES = {
    "ffmpeg-pcm16-mono": [
        ("RIFF(WAVE)/id", 0, 4, "RIFF"), ("RIFF(WAVE)/size", 4, 4, "836"), ("RIFF(WAVE)/type", 8, 4, "WAVE"),
        ("RIFF(WAVE)/fmt /nChannels", 22, 2, "1"), ("RIFF(WAVE)/data/size", 40, 4, "800"),
        ("RIFF(WAVE)/data/value", 44, 800, "")],
    "ffmpeg-pcm24-6ch": [
        ("RIFF(WAVE)/fmt /cbSize", 36, 2, "22"), ("RIFF(WAVE)/fmt /wValidBitsPerSample", 38, 2, "24"),
        ("RIFF(WAVE)/fmt /dwChannelMask", 40, 4, "63",
         "FRONT_LEFT | FRONT_RIGHT | FRONT_CENTER | LOW_FREQUENCY | BACK_LEFT | BACK_RIGHT"),
        ("RIFF(WAVE)/fmt /SubFormat", 44, 16, "{00000001-0000-0010-8000-00aa00389b71}", "PCM"),
        ("RIFF(WAVE)/data/value", 102, 864, "")],
    "ffmpeg-rf64": [
        ("RF64(WAVE)/size", 4, 4, "4294967295", "906, given by ds64"), ("RF64(WAVE)/ds64/riffSize", 20, 8, "906"),
        ("RF64(WAVE)/ds64/dataSize", 28, 8, "800"), ("RF64(WAVE)/ds64/sampleCount", 36, 8, "400"),
        ("RF64(WAVE)/ds64/tableLength", 44, 4, "0"),
        ("RF64(WAVE)/data/size", 110, 4, "4294967295", "800, given by ds64"),
        ("RF64(WAVE)/data/value", 114, 800, "")],
    "ffmpeg-info": [
        ("RIFF(WAVE)/LIST(INFO)/type", 44, 4, "INFO"), ("RIFF(WAVE)/LIST(INFO)/IART/size", 52, 4, "9"),
        ("RIFF(WAVE)/LIST(INFO)/IART/value", 56, 9, "Somebody"), ("RIFF(WAVE)/LIST(INFO)/IART/padding", 65, 1, "0"),
        ("RIFF(WAVE)/LIST(INFO)/ICMT/value", 74, 4, "odd"), ("RIFF(WAVE)/LIST(INFO)/INAM/value", 86, 8, "Grüße"),
        ("RIFF(WAVE)/LIST(INFO)/ISFT/value", 102, 14, "Lavf59.27.100")],
    "ffmpeg-bext": [
        ("RIFF(WAVE)/bext/Description", 44, 256, "A test tone"), ("RIFF(WAVE)/bext/Originator", 300, 32, "quenlofar"),
        ("RIFF(WAVE)/bext/OriginatorReference", 332, 32, "QR0001"),
        ("RIFF(WAVE)/bext/OriginationDate", 364, 10, "2024-05-17"),
        ("RIFF(WAVE)/bext/OriginationTime", 374, 8, "12:34:56"),
        ("RIFF(WAVE)/bext/TimeReference", 382, 8, "4800000000"), ("RIFF(WAVE)/bext/Version", 390, 2, "1"),
        ("RIFF(WAVE)/bext/UMID", 392, 64,
         "06 0a 2b 34 01 01 01 01 01 01 02 10 13 00 00 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10" + 32 * " 00"),
        ("RIFF(WAVE)/bext/LoudnessValue", 456, 2, "0"), ("RIFF(WAVE)/bext/Reserved", 466, 180, "00" + 179 * " 00"),
        ("RIFF(WAVE)/bext/CodingHistory", 646, 25, "A=PCM,F=8000,W=16,M=mono"),
        ("RIFF(WAVE)/bext/padding", 671, 1, "0")],
    "ffmpeg-ima-adpcm": [("RIFF(WAVE)/fmt /cbSize", 36, 2, "2"), ("RIFF(WAVE)/fact/dwSampleLength", 48, 4, "2041")],
    "sox-alaw": [("RIFF(WAVE)/fact/dwSampleLength", 46, 4, "80")],
    "sox-float": [("RIFF(WAVE)/fact/dwSampleLength", 46, 4, "160"), ("RIFF(WAVE)/data/value", 58, 640, "")],
    "sox-pcm8-odd": [("RIFF(WAVE)/data/size", 40, 4, "23"), ("RIFF(WAVE)/data/value", 44, 23, ""),
                     ("RIFF(WAVE)/data/padding", 67, 1, "0")],
}


def chunk(name, data, size=None):
    return name + struct.pack("<I", len(data) if size is None else size) + data + b"\0" * (len(data) % 2)


class Wave(Case):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.build = cls.directory / "build"
        configure_and_build(EXAMPLE, cls.build, cls.prefix, "-DBUILD_TESTING=ON")
        call(sdk.CMAKE, "--install", cls.build)

    def files(self, contents):
        """Paths of new files."""
        paths = []
        for number, content in enumerate(contents):
            paths.append(self.directory / f"{number}.wav")
            paths[-1].write_bytes(content)
        return paths

    def test_unit_tests(self):
        for name in ("tst_containerwave", "tst_waveanalyzer", "tst_wavereading"):
            call(self.build / "tests" / name)

    def test_program_lists_it(self):
        result = self.run_program("plugins")
        self.assertEqual(result.stderr, b"")
        lines = [line.split("\t")[:2] for line in result.stdout.decode().splitlines()]
        self.assertEqual(lines, [["AVI", "avi"], ["WAVE", "wav,wave,rf64"]])

    def test_pkg_config_builds_the_same(self):
        source = self.directory / "make"
        shutil.copytree(EXAMPLE, source)
        package, = self.prefix.rglob("quenlofar-container-abstract.pc")
        call("make", "--jobs=2", f"CXX={os.environ['QUENLOFAR_CXX']}", f"CXXFLAGS=-O0 {' '.join(sdk.FLAGS)}",
             f"LDFLAGS={' '.join(sdk.FLAGS)}", cwd=source, env={"PKG_CONFIG_PATH": str(package.parent)})
        symbols = call("nm", "--dynamic", "--defined-only", source / "libquenlofar-container-wave.so").split()
        self.assertTrue({"createParser", "createDescriber", "createAnalyzer"} <= set(symbols))
        result = self.run_program("--plugin-dir", source, "plugins")
        self.assertEqual(result.stderr, b"")
        self.assertIn(os.fsencode(source / "libquenlofar-container-wave.so"), result.stdout)
        trees = [self.run_program("tree", SAMPLES[0], *place) for place in ([], ["--plugin-dir", source])]
        self.assertEqual(trees[0].stdout, trees[1].stdout)

    def test_both_ways_compile_alike(self):
        # A function that is seen from outside keeps something for the whole process; another one is not marked.
        source = self.directory / "seen"
        source.mkdir()
        (source / "seen.cpp").write_text(
            '__attribute__((visibility("default"))) inline int &kept() { static int value; return value; }\n'
            'int notMarked() { return kept(); }\n'
            'extern "C" __attribute__((visibility("default"))) int marked() { return notMarked(); }\n')
        (source / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.16)\nproject(seen LANGUAGES CXX)\nfind_package(quenlofar REQUIRED)\n"
            "quenlofar_add_plugin(seen seen.cpp)\n")
        configure_and_build(source, source / "build", self.prefix)
        package, = self.prefix.rglob("quenlofar-container-abstract.pc")
        flags = call("pkg-config", "--cflags", package.stem, env={"PKG_CONFIG_PATH": str(package.parent)}).split()
        call(os.environ["QUENLOFAR_CXX"], "-std=c++17", "-shared", "-fPIC", *flags, *sdk.FLAGS, "-o", source / "seen.so",
             source / "seen.cpp")
        for library in (source / "build" / "libquenlofar-container-seen.so", source / "seen.so"):
            symbols = [line.split()[-2:] for line in call("nm", "--dynamic", "--defined-only", library).splitlines()]
            with self.subTest(library=library.name):
                self.assertIn(["T", "marked"], symbols)
                self.assertFalse([name for kind, name in symbols if "notMarked" in name])
                self.assertTrue([name for kind, name in symbols if "kept" in name])
                self.assertFalse([name for kind, name in symbols if kind == "u"]) # keeps a library from being unloaded

    def test_samples(self):
        self.assertEqual(sorted(FORMATS), [path.stem for path in SAMPLES])
        for path, document in zip(SAMPLES, self.documents(*SAMPLES)):
            with self.subTest(path.stem):
                self.assertEqual((document["container"], document["status"]), ("WAVE", 0))
                self.assertEqual(uncovered(document), ([], []))
                found = dict(items(document))
                root = document["elements"][0]["node"]
                tag, meaning, *numbers = FORMATS[path.stem]
                self.assertEqual([found[f"{root}/fmt /wFormatTag"][key] for key in ("value", "meaning")],
                                 [str(tag), meaning])
                self.assertEqual([found[f"{root}/fmt /{name}"]["value"] for name in FORMAT_NAMES],
                                 [str(number) for number in numbers])
                for name, *expected in LEAVES.get(path.stem, []):
                    leaf = found[name]
                    self.assertEqual([leaf["offset"], leaf["size"], leaf["value"], leaf.get("meaning", "")],
                                     (expected + [""])[:4], name)

    def test_only_extra_format_data_is_unparsed(self):
        unparsed = [(path.stem, item["offset"], item["size"])
                    for path, document in zip(SAMPLES, self.documents(*SAMPLES))
                    for _, item in items(document) if "unparsed" in item]
        self.assertEqual(unparsed, [("ffmpeg-ima-adpcm", 38, 2)])

    def output(self, *arguments, status=0):
        """What the installed program prints, without a word of complaint; names of SAMPLES stand for their paths."""
        paths = {path.stem: path for path in SAMPLES}
        result = self.run_program(*(paths.get(argument, argument) for argument in arguments))
        self.assertEqual((result.returncode, result.stderr), (status, b""))
        return result.stdout.decode()

    def test_streams(self):
        for name, expected in STREAMS.items():
            with self.subTest(name):
                stream, = json.loads(self.output("streams", "--format", "json", name))["streams"]
                self.assertEqual(stream["kind"], "audio")
                self.assertEqual(
                    tuple(stream[key] for key in ("codecCode", "sampleRate", "channels", "bitsPerSample", "bitRate")),
                    expected[:-1])
                self.assertAlmostEqual(stream["seconds"] * stream["sampleRate"], expected[-1], places=6)

    def test_packets(self):
        # 23 samples of a byte behind RIFF, fmt and the header of data: 12 + 24 + 8 bytes.
        document = json.loads(self.output("packets", "--format", "json", "sox-pcm8-odd"))
        self.assertEqual(document["packets"], [{"stream": 0, "number": 0, "offset": 44, "size": 23, "key": True,
                                                "seconds": 0, "knownBy": ["data"]}])

    def test_summary(self):
        lines = [line.split(maxsplit=1) for line in self.output("summary", "ffmpeg-info").splitlines()[1:]]
        self.assertEqual([line for line in lines if line[0] in ("container", "size", "title", "artist", "comment")],
                         [["container", "WAVE"], ["size", "444 bytes"], ["title", "Grüße"], ["artist", "Somebody"],
                          ["comment", "odd"]])
        stream, = (rest.split(maxsplit=1) for label, rest in lines if label == "stream")
        self.assertEqual(stream, ["0", "audio, 0x0001 (PCM), 8000 Hz, 1 channel, 16 bits, 128 kbit/s, 0.02 s"])

    def test_coverage(self):
        document = json.loads(self.output("coverage", "--format", "json", "ffmpeg-ima-adpcm"))
        # cbSize announces two bytes that belong to the codec; then come fact, a list of texts, and the sound.
        self.assertEqual([document[kind]["ranges"] for kind in ("interpreted", "data", "unparsed", "gaps", "overlaps")],
                         [[[0, 38], [40, 54]], [[94, 1024]], [[38, 2]], [], []])

    def test_at(self):
        output = self.output("at", "ffmpeg-bext", "300")
        self.assertIn("offset 300 (0x12c): byte 0 of 32 in RIFF(WAVE)/bext/Originator\n", output)
        self.assertIn("[71 75 65 6e  |............quen|\n", output)

    def test_bytes(self):
        result = self.run_program("bytes", EXAMPLE / "samples" / "sox-pcm8-odd.wav", "RIFF(WAVE)/data/value")
        self.assertEqual(result.stderr, b"")
        self.assertEqual(result.stdout, (EXAMPLE / "samples" / "sox-pcm8-odd.wav").read_bytes()[44:67])

    def test_diff(self):
        self.assertEqual(self.output("diff", "sox-alaw", "sox-alaw"), "")
        differences = self.output("diff", "sox-alaw", "sox-float", status=1).splitlines()
        self.assertIn("~ RIFF(WAVE)/fmt /wFormatTag: value: 6 -> 3", differences)
        self.assertIn("~ RIFF(WAVE)/fact/dwSampleLength: value: 80 -> 160", differences)
        self.assertFalse([line for line in differences if "nSamplesPerSec" in line])

    def test_frames_and_text(self):
        self.assertEqual(self.output("frames", "ffmpeg-bext").splitlines()[1:], ["no frames"])
        self.assertIn("wFormatTag = 6  (A-law)", self.output("tree", "sox-alaw"))

    def test_avi_stays_avi(self):
        film = self.directory / "film.wav"
        shutil.copy(sdk.SOURCE / "samples" / "sample.avi", film)
        self.assertEqual(self.documents(film)[0]["container"], "AVI")

    def test_plugin_survives_everything(self):
        plugin, = self.prefix.rglob("libquenlofar-container-wave.so")
        lines = self.output("check-plugin", plugin, "ffmpeg-bext", "ffmpeg-rf64", "sox-pcm8-odd").splitlines()
        self.assertEqual(lines[0], f"{plugin}: WAVE")
        self.assertEqual(lines[2::2], ["  nothing found"] * 3)

    def test_problems(self):
        path, = self.files([chunk(b"RIFF", b"WAVE" + chunk(b"LIST", b"INFO" + chunk(b"INAM", b"title"), 12))])
        place = {"severity": "warning", "offset": 28, "size": 4, "text": "the chunk is longer than the list it is in"}
        document, = self.documents(path)
        found = dict(items(document))
        self.assertEqual(found["RIFF(WAVE)/LIST(INFO)/INAM"]["problems"], [place])
        self.assertEqual(document["problemCounts"], {"errors": 0, "warnings": 1, "notes": 0})
        self.assertIn("    28       4        warning: the chunk is longer than the list it is in\n",
                      self.output("tree", path))
        # The strict reading goes by the list's size and calls the file damaged.
        text, document = (self.run_program("summary", "--format", each, path) for each in ("text", "json"))
        self.assertEqual((text.returncode, document.returncode), (1, 1))
        self.assertIn(b"damaged: ", text.stderr)
        self.assertIn(b"  problems   1 warning\n    warning  28: the chunk is longer than the list it is in\n", text.stdout)
        self.assertEqual(json.loads(document.stdout)["problems"], [place])

    def test_cut_files(self):
        for path in SAMPLES:
            whole = path.read_bytes()
            sizes = range(12, len(whole), 1 if len(whole) < 500 else 5)
            for size, document in zip(sizes, self.documents(*self.files(whole[:size] for size in sizes))):
                with self.subTest(path.stem, size=size):
                    self.assertEqual((document["container"], document["status"]), ("WAVE", 5))
                    self.assertNotIn("error", document)
                    self.assertEqual(uncovered(document), ([], []))

    def test_hostile_numbers(self):
        for path in SAMPLES:
            whole = path.read_bytes()
            places = [at for at in range(12, min(len(whole) - 4, 130))]
            contents = [whole[:at] + number + whole[at + 4:] for at in places
                        for number in (b"\xff\xff\xff\xff", b"\0\0\0\0", b"\xfe\xff\xff\x7f")]
            for number, document in enumerate(self.documents(*self.files(contents))):
                with self.subTest(path.stem, number=number):
                    self.assertEqual(document["container"], "WAVE")
                    self.assertEqual(uncovered(document), ([], []))
                    self.assertFalse({"limit", "error"} & set(document))

    def test_hostile_shapes(self):
        wave = b"WAVE"
        shapes = {
            # What stands behind is found all the same.
            "a RIFF size that was never filled in": (chunk(b"RIFF", wave, 0) + chunk(b"JUNK", b"ab"), 0, "JUNK/value"),
            "a size beyond the file": (chunk(b"RIFF", wave + chunk(b"data", b"abcd", 0xFFFFFFFF)), 5,
                                       "RIFF(WAVE)/data/value"),
            "a chunk that is longer than its list": (chunk(b"RIFF", wave + chunk(b"LIST", b"INFO" + chunk(
                b"INAM", b"title"), 12)), 0, "RIFF(WAVE)/LIST(INFO)/INAM/value"),
            "an odd chunk that nobody padded": (chunk(b"RIFF", wave + b"JUNK\3\0\0\0abcfact\4\0\0\0\1\0\0\0"), 0,
                                                "RIFF(WAVE)/fact/dwSampleLength"),
            "4 billion cue points": (chunk(b"RIFF", wave + chunk(b"cue ", b"\xff\xff\xff\xff" + bytes(30))), 0,
                                     "RIFF(WAVE)/cue /CuePoint/dwSampleOffset"),
            "4 billion sizes of 64 bits": (chunk(b"RF64", wave + chunk(b"ds64", bytes(24) + b"\xff\xff\xff\xff")), 0,
                                           "RF64(WAVE)/ds64/tableLength"),
            "a size of 64 bits": (chunk(b"RF64", wave + chunk(b"ds64", b"\xff" * 24 + bytes(4)), 0xFFFFFFFF), 5,
                                  "RF64(WAVE)/ds64/dataSize"),
            "bytes that are no chunk": (chunk(b"RIFF", wave + bytes(100)), 0, "RIFF(WAVE)/?"),
            "garbage behind the end": (chunk(b"RIFF", wave) + b"\1\2\3", 0, "?"),
        }
        for (name, (_, status, path)), document in zip(
                shapes.items(), self.documents(*self.files(content for content, _, _ in shapes.values()))):
            with self.subTest(name):
                self.assertEqual((document["container"], document["status"]), ("WAVE", status))
                self.assertIn(path, dict(items(document)))
                self.assertEqual(uncovered(document), ([], []))

    def test_lists_without_end(self):
        count = 100000
        lists = b"".join(b"LIST" + struct.pack("<I", 12 * (count - number) - 8) + b"list" for number in range(count))
        result = self.run_program("tree", "--format", "json", *self.files([chunk(b"RIFF", b"WAVE" + lists)]))
        self.assertEqual(result.returncode, 1)
        self.assertIn(b'"limit":"depth"', result.stdout)

    def test_data_is_not_read(self):
        header = b"RF64\xff\xff\xff\xffWAVE" + chunk(b"ds64", struct.pack("<QQQI", 2**42 + 48, 2**42, 0, 0))
        path, = self.files([header + b"data\xff\xff\xff\xff"])
        os.truncate(path, len(header) + 8 + 2**42) # four terabytes, of which the disk holds nothing
        document, = self.documents(path)
        self.assertEqual(document["status"], 0)
        self.assertEqual(dict(items(document))["RF64(WAVE)/data/value"]["size"], 2**42)


if __name__ == "__main__":
    unittest.main()
