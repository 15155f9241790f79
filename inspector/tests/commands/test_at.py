"""The command at: every leaf that covers a byte is shown, with what it stands in and what stands beside it."""

import os
import resource
import signal
import struct
import subprocess
import time
import unittest
from random import Random

from support import (GOLDENS, PROGRAM, SANITIZED, UNOPTIMIZED, Case, chunk, default_interrupt, documents, environment,
                     film, peak_memory, riff_list, run, with_paths)


def leaves(items, components=()):
    """Pairs of leaves and the items from the top level down to them."""
    for item in items:
        inner = (*components, item)
        if "items" in item:
            yield from leaves(item["items"], inner)
        else:
            yield item, inner


def covers(item, offset):
    return item["offset"] <= offset < item["offset"] + item["size"]


def innermost_node(items, offset):
    """The deepest node that covers the byte, of several the first, behind those around it."""
    deepest = []
    for item in items:
        if "items" not in item:
            continue
        inner = innermost_node(item["items"], offset)
        if inner or covers(item, offset):
            chain = [item, *inner]
            if len(chain) > len(deepest):
                deepest = chain
    return deepest


def closest_before(items, offset):
    before = [item for item in items if item["offset"] <= offset and not covers(item, offset)]
    latest = max((item["offset"] + item["size"] for item in before), default=None)
    return next((item for item in reversed(before) if item["offset"] + item["size"] == latest), None)


def closest_behind(items, offset):
    return min((item for item in items if item["offset"] > offset), key=lambda item: item["offset"], default=None)


def without_items(item):
    return {key: value for key, value in item.items() if key != "items"}


class At(Case):
    def setUp(self):
        super().setUp()
        movi = riff_list(b"movi", chunk(b"00dc", b"abcd") + chunk(b"01wb", b"efgh"))
        self.data = riff_list(b"AVI ", movi, b"RIFF") + b"\1" * 200
        self.film = self.path("film", self.data)

    def document(self, *arguments):
        result = run("at", "--format", "json", *arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        return documents(result.stdout)[0]

    def test_text_typed_by_hand(self):
        result = run("at", self.film, "0x1e")
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout.decode().splitlines(), [
            f"{os.fsdecode(self.film)}: AVI, 248 bytes",
            "",
            "offset 30 (0x1e): byte 2 of 4 in RIFF(AVI )/LIST(movi)/00dc/size",
            "",
            "  offset  size",
            "       0    48    RIFF(AVI )",
            "      12    36      LIST(movi)",
            "      24    12        00dc",
            "      24     4          id = 00dc",
            "      28     4  >       size = 4",
            "      32     4          value",
            "",
            "  00000010   1c 00 00 00 6d 6f 76 69 30 30 64 63[04 00 00 00]|....movi00dc....|".replace("]|", "] |"),
            " " * 55 + "^^",
            "  00000020   61 62 63 64 30 31 77 62 04 00 00 00 65 66 67 68  |abcd01wb....efgh|",
        ])

    def test_colour(self):
        shown = run("at", "--color", "always", self.film, "30").stdout.decode()
        self.assertIn("\x1b[1m>       size = 4\x1b[0m", shown)
        self.assertIn("\x1b[2m        value\x1b[0m", shown)
        self.assertIn("[04 00 00 00]", shown)
        self.assertIn("\x1b[2m61\x1b[0m", shown)

    def test_json_typed_by_hand(self):
        document = self.document(self.film, "30")
        self.assertEqual(list(document), ["formatVersion", "file", "fileSize", "container", "parser", "places", "status"])
        self.assertEqual(document["places"], [{"offset": 30, "leaves": [{
            "path": "RIFF(AVI )/LIST(movi)/00dc/size",
            "components": [
                {"node": "RIFF(AVI )", "offset": 0, "size": 48},
                {"node": "LIST(movi)", "offset": 12, "size": 36},
                {"node": "00dc", "offset": 24, "size": 12},
                {"field": "size", "offset": 28, "size": 4, "value": "4"},
            ],
            "previous": {"field": "id", "offset": 24, "size": 4, "value": "00dc"},
            "next": {"field": "value", "offset": 32, "size": 4, "value": ""},
            "bytes": "04 00 00 00",
        }]}])

    def test_long_value_is_cut_between_characters(self):
        for value, shown in [
            ("a" * 91 + "\U0001F600" * 9, "a" * 91 + "…"),
            ("a" * 90 + "\U0001F600" * 9, "a" * 90 + "…"),
            ("a" * 89 + "\U0001F600" * 9, "a" * 89 + "\U0001F600…"),
            ("a" * 90 + "\u202e" * 9, "a" * 90 + "\\u202E…"),
            ("\u202e" * 40, "\\u202E" * 40),
        ]:
            with self.subTest(value=value):
                info = riff_list(b"INFO", chunk(b"ICMT", value.encode()))
                path = self.path("film", riff_list(b"AVI ", info, b"RIFF") + b"\0" * 200)
                lines = run("at", path, "32").stdout.decode().splitlines()
                self.assertIn(f">       value = {shown}", [line[line.find(">"):] for line in lines])

    def test_long_leaf(self):
        leaf = self.document(self.film, "end-1")["places"][0]["leaves"][0]
        self.assertEqual(leaf["bytes"], " ".join(["01"] * 64))
        self.assertIs(leaf["truncated"], True)
        self.assertEqual(leaf["components"], [{"unparsed": True, "offset": 48, "size": 200}])
        self.assertNotIn("next", leaf)
        lines = run("at", self.film, "end-100").stdout.decode().splitlines()
        self.assertEqual([line[2:10] for line in lines if "01 01 01" in line],
                         ["00000070", "00000080", "00000090", "000000a0", "000000b0"])

    def test_ways_to_say_an_offset(self):
        document = self.document(self.film, "0", "0xF7", "end-248", "0X10", "end-0x1")
        self.assertEqual([place["offset"] for place in document["places"]], [0, 247, 0, 16, 247])

    def assertAgreesWithTheTree(self, path, offsets):
        tree = documents(run("tree", "--format", "json", path).stdout)[0]
        with open(path, "rb") as file:
            data = file.read()
        every = list(leaves(tree["elements"]))
        paths = {id(item): path for item, path in with_paths(tree["elements"])}
        result = run("at", "--format", "json", path, *map(str, offsets))
        self.assertEqual(result.returncode, 1 if tree["status"] else 0)
        document = documents(result.stdout)[0]
        self.assertEqual(len(document["places"]), len(offsets))
        for offset, place in zip(offsets, document["places"]):
            with self.subTest(path=path, offset=offset):
                covering = [(leaf, chain) for leaf, chain in every if covers(leaf, offset)]
                self.assertEqual([leaf["components"] for leaf in place["leaves"]],
                                 [[without_items(item) for item in chain] for _, chain in covering])
                self.assertEqual([leaf["path"] for leaf in place["leaves"]],
                                 [paths[id(leaf)] for leaf, _ in covering])
                for shown, (leaf, chain) in zip(place["leaves"], covering):
                    at, size = leaf["offset"], min(leaf["size"], 64)
                    self.assertEqual(bytes.fromhex(shown["bytes"]), data[at:at + size])
                    self.assertEqual("truncated" in shown, leaf["size"] > 64)
                    siblings = chain[-2]["items"] if len(chain) > 1 else tree["elements"]
                    row = [id(item) for item in siblings].index(id(leaf))
                    beside = {"previous": siblings[row - 1:row], "next": siblings[row + 1:row + 2]}
                    self.assertEqual({key: [shown[key]] if key in shown else [] for key in beside},
                                     {key: [*map(without_items, items)] for key, items in beside.items()})
                if covering:
                    continue
                chain = innermost_node(tree["elements"], offset)
                innermost = place["innermost"]
                self.assertEqual(innermost["components"], [without_items(item) for item in chain])
                self.assertEqual(innermost.get("path"), paths[id(chain[-1])] if chain else None)
                around = [*(node["items"] for node in reversed(chain)), tree["elements"]]
                for key, choose in (("previous", closest_before), ("next", closest_behind)):
                    found = next((item for item in (choose(items, offset) for items in around) if item), None)
                    self.assertEqual(innermost.get(key), found and without_items(found))

    def test_agrees_with_the_tree(self):
        for path in GOLDENS:
            size = path.stat().st_size
            self.assertAgreesWithTheTree(path, range(0, size, max(1, size // 25)))

    def test_agrees_with_the_tree_of_damaged_files(self):
        # Sizes that are wrong make leaves reach out of the nodes that they stand in, and leave gaps.
        random = Random(17)
        for path in GOLDENS:
            data = bytearray(path.read_bytes()[:20000])
            for _ in range(8):
                data[random.randrange(min(len(data), 1000))] = random.choice([0, 1, 200, 255])
            self.assertAgreesWithTheTree(self.path("damaged", bytes(data)), random.sample(range(len(data)), 12))

    def test_leaf_outside_of_the_nodes_around_it(self):
        movi = riff_list(b"movi", chunk(b"01wb") + b"00dc" + struct.pack("<I", 200) + b"\1" * 8)
        path = self.path("film", riff_list(b"AVI ", movi, b"RIFF") + b"\1" * 300)
        leaf = self.document(path, "100")["places"][0]["leaves"][0]
        self.assertEqual(leaf["path"], "RIFF(AVI )/LIST(movi)/00dc/value")
        self.assertEqual([item["offset"] + item["size"] for item in leaf["components"]], [48, 48, 240, 240])
        self.assertEqual((leaf["previous"]["field"], leaf["previous"]["value"]), ("size", "200"))
        self.assertAgreesWithTheTree(path, range(len(movi) + 300))

    @unittest.skipIf(SANITIZED, "a sanitizer keeps memory of its own")
    def test_memory_does_not_grow_with_the_file(self):
        films = [self.path(f"film{chunks}", film(chunks)) for chunks in (10, 200_000)]
        peaks = [peak_memory("at", path, "300", "end-100") for path in films]
        self.assertLess(peaks[1] - peaks[0], 2_000_000)

    def test_overlap_shows_every_leaf(self):
        path = self.sample("ffmpeg-pipe-open-sizes")
        coverage = documents(run("coverage", "--format", "json", path).stdout)[0]
        offset = coverage["overlaps"]["ranges"][0][0]
        found = self.document(path, str(offset))["places"][0]["leaves"]
        self.assertGreater(len(found), 1)
        text = run("at", path, str(offset)).stdout.decode()
        self.assertEqual(text.count(f"offset {offset} ("), len(found))

    def test_byte_that_no_leaf_covers(self):
        # An entry of a standard index: bytes 328 to 331 are the one thing that it does not show.
        path = self.sample("spliced-opendml-std-index")
        place = self.document(path, "329")["places"][0]
        self.assertEqual(place["leaves"], [])
        innermost = place["innermost"]
        last = innermost["components"][-1]
        self.assertTrue(last["offset"] <= 329 < last["offset"] + last["size"])
        self.assertEqual(innermost["previous"]["offset"] + innermost["previous"]["size"], 328)
        self.assertEqual((innermost["next"]["node"], innermost["next"]["offset"]), ("index_entry", 332))
        lines = run("at", path, "329").stdout.decode().splitlines()
        self.assertEqual(lines[2], f"offset 329 (0x149): no field; the innermost element is {innermost['path']}")

    def test_file_that_nothing_is_known_of(self):
        path = self.path("text", b"no film at all")
        result = run("at", "--format", "json", path, "3")
        self.assertEnds(result, 1, "no parser recognises the file")
        self.assertEqual(documents(result.stdout)[0]["places"],
                         [{"offset": 3, "leaves": [], "innermost": {"components": []}}])
        text = run("at", path, "3").stdout.decode()
        self.assertIn("offset 3 (0x3): no element at all", text)
        self.assertIn("6e 6f 20 66 69 6c 6d", text)

    def test_outside_of_the_file(self):
        for offset in ("248", "end-0", "end-249", "18446744073709551615"):
            with self.subTest(offset=offset):
                result = run("at", "--format", "json", self.film, offset, "0")
                self.assertEnds(result, 2, f"film: offset {offset} lies outside of the file, which has 248 bytes")
                self.assertEqual([place["offset"] for place in documents(result.stdout)[0]["places"]], [0])

    def test_no_offset(self):
        for offset in ("x", "", "1x", "0x", "end", "end-", "+1", "1.5", "18446744073709551616", "0x10000000000000000"):
            with self.subTest(offset=offset):
                result = run("at", self.film, "0", offset)
                self.assertEnds(result, 2, f'"{offset}" is no offset such as 1000, 0x3E8 or end-100', "at --help")
                self.assertEqual(result.stdout, b"")

    def test_missing_file(self):
        result = run("at", "--format", "json", self.path("missing"), "0")
        self.assertEnds(result, 2, "cannot be opened")
        self.assertEqual(documents(result.stdout)[0]["places"], [])

    @unittest.skipIf(SANITIZED, "the sanitizer's runtime has to come first")
    def test_read_error(self):
        result = run("at", self.film, "0", env={"LD_PRELOAD": os.environ["QUENLOFAR_FAULT_INJECTOR"],
                                                "QUENLOFAR_FAIL_READ_AT": "100"})
        self.assertEqual(result.returncode, 2)
        self.assertIn(b"reading failed at byte ", result.stderr)

    def test_output_file(self):
        output = self.path("out")
        self.assertEnds(run("at", self.film, "0", "-o", output), 0)
        with open(output, "rb") as file:
            self.assertEqual(file.read(), run("at", self.film, "0").stdout)


class Crowd(Case):
    """A standard index whose entries, as many as the default limit allows, all lie on the same bytes."""

    def setUp(self):
        super().setUp()
        index = struct.pack("<HBBI4sQI", 0, 0, 1, 0xFFFFFFFF, b"00dc", 0, 0) + b"\0" * 16
        self.film = self.path("film", riff_list(b"AVI ", chunk(b"indx", index) + riff_list(b"movi", chunk(b"00dc")),
                                                b"RIFF") + b"\0" * 200)
        self.offset = "44"  # the first byte of every entry

    def start(self, *arguments):
        process = subprocess.Popen([PROGRAM, "at", *arguments, self.film, self.offset, self.offset],
                                   env=environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   preexec_fn=default_interrupt)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.kill)
        return process

    def test_takes_time_for_each_leaf_once(self):
        for layout in ("text", "json"):
            with self.subTest(layout=layout), open(os.devnull, "wb") as nowhere:
                begin = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
                result = run("at", "--format", layout, "--max-items", "100000" if SANITIZED else "300000",
                             self.film, self.offset, stdout=nowhere)
                self.assertEnds(result, 1, "--max-items raises this limit")
                # Of the processor, because other programs may run beside it.
                used = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - begin
                self.assertLess(used, 60 if SANITIZED or UNOPTIMIZED else 10)

    def test_every_path(self):
        result = run("at", "--format", "json", "--max-items", "3000", self.film, self.offset)
        shown = [leaf["path"] for leaf in documents(result.stdout)[0]["places"][0]["leaves"]]
        parent = "RIFF(AVI )/indx/"
        numbered = [f"index_entry[{number}]" if number else "index_entry" for number in range(len(shown))]
        self.assertGreater(len(shown), 900)
        self.assertEqual(shown, [f"{parent}{entry}/dwOffset" for entry in numbered])

    def test_ends_with_its_reader(self):
        process = self.start()
        self.assertNotEqual(process.stdout.read(10), b"")
        begin = time.monotonic()
        process.stdout.close()
        self.assertEqual(process.wait(60), 141)
        self.assertLess(time.monotonic() - begin, 10)

    def test_interrupt(self):
        process = self.start("--format", "json")
        begun = process.stdout.read(10)
        process.send_signal(signal.SIGINT)
        document = documents(begun + process.stdout.read())[0]
        self.assertIn(b"interrupted at byte", process.stderr.read())
        self.assertEqual(process.wait(60), 130)
        self.assertIs(document["cancelled"], True)
        self.assertEqual(len(document["places"]), 1)


if __name__ == "__main__":
    unittest.main()
