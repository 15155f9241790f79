"""What the tree command leaves out, and how it says so."""

import string
import struct
import unittest
from itertools import islice, product

from support import SANITIZED, Case, chunk, documents, peak_memory, riff_list, run


def titles(items):
    """Titles of nodes with what is in them, names of leaves, numbers of items left out."""
    return [{item["node"]: titles(item["items"])} if "node" in item
            else item.get("field") or item.get("omitted") or "unparsed" for item in items]


def leaves(items):
    """All leaves, those inside of nodes too."""
    return [leaf for item in items for leaf in (leaves(item["items"]) if "node" in item else [item])]


def misfit(whole, shown, where="top level"):
    """Where `shown` is not the items `whole` with some in the middle left out and counted, or None."""
    position = 0
    for item in shown:
        if "omitted" in item:
            position += item["omitted"]
            continue
        if position >= len(whole) or any(item[key] != whole[position][key] for key in item if key != "items"):
            return f"{where}: item {position}"
        found = misfit(whole[position].get("items", []), item.get("items", []), f"{where}, {position}")
        if found:
            return found
        position += 1
    return None if position == len(whole) and (not whole or "omitted" not in shown[-1]) else f"{where}: the end"


def unlike(count):
    """Chunks that all have different names."""
    letters = string.ascii_letters + string.digits
    return b"".join(chunk(b"Z" + "".join(name).encode(), b"ab") for name in islice(product(letters, repeat=3), count))


class Tree(Case):
    def elements(self, *arguments):
        result = run("tree", "--format", "json", *arguments)
        self.assertEnds(result, 0)
        [document] = documents(result.stdout)
        return titles(document["elements"])

    def movi(self, names):
        """A film whose list "movi" has chunks of these names."""
        chunks = b"".join(chunk(name, b"data") for name in names)
        return self.path("film", riff_list(b"AVI ", riff_list(b"movi", chunks), b"RIFF") + b"\0" * 200)

    def test_depth(self):
        head = ["id", "size", "type"]
        self.assertEqual(self.elements("--depth", "1", self.sample()), [{"RIFF(AVI )": []}])
        self.assertEqual(self.elements("--depth", "2", self.sample()), [{"RIFF(AVI )": head + [
            {"LIST(hdrl)": []}, {"LIST(INFO)": []}, {"JUNK": []}, {"LIST(movi)": []}, {"idx1": []}]}])

    def test_only(self):
        def strl(*inside):
            return {"LIST(strl)": list(inside)}

        for arguments, hdrl in [
            (["--only", "dwScale"], [strl({"strh": ["dwScale"]}), strl({"strh": ["dwScale"]})]),
            (["--only", "DWSCALE"], [strl({"strh": ["dwScale"]}), strl({"strh": ["dwScale"]})]),
            (["--only", "biW?dth", "--only", "nCh*"],
             [strl({"strf": ["biWidth"]}), strl({"strf": ["nChannels"]})]),
            (["--only", "rc[A-Z]rame"], [strl({"strh": [{"rcFrame": ["left", "top", "right", "bottom"]}]})] * 2),
            (["--only", "vprp", "--depth", "4"], [strl({"vprp": []})]),
        ]:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.elements(*arguments, self.sample()), [{"RIFF(AVI )": [{"LIST(hdrl)": hdrl}]}])
        self.assertEqual(self.elements("--only", "nowhere", self.sample()), [])

    def test_where(self):
        for conditions, hdrl in [
            (["dwRate=10"], [{"LIST(strl)": [{"strh": ["dwRate"]}]}]),
            (["dwRate=0xA"], [{"LIST(strl)": [{"strh": ["dwRate"]}]}]),
            (["dwRate>10"], [{"LIST(strl)": [{"strh": ["dwRate"]}]}]),
            (["dwRate>=10"], [{"LIST(strl)": [{"strh": ["dwRate"]}]}] * 2),
            (["dwRate<1225"], [{"LIST(strl)": [{"strh": ["dwRate"]}]}]),
            (["dwRate<=9"], None),
            (["dwRate!=10"], [{"LIST(strl)": [{"strh": ["dwRate"]}]}]),
            (["dwRate>=10", "dwRate<=10"], [{"LIST(strl)": [{"strh": ["dwRate"]}]}]),
            (["fccType=vid*"], [{"LIST(strl)": [{"strh": ["fccType"]}]}]),
            (["fccType=audio"], [{"LIST(strl)": [{"strh": ["fccType"]}]}]),
            (["biWidth=64", "biHeight=48"], None),
        ]:
            with self.subTest(conditions=conditions):
                arguments = [word for condition in conditions for word in ("--where", condition)]
                expected = [{"RIFF(AVI )": [{"LIST(hdrl)": hdrl}]}] if hdrl else []
                self.assertEqual(self.elements(*arguments, self.sample()), expected)

    def test_large_numbers_are_told_apart(self):
        # A double holds 53 bits; the file's numbers have 64.
        offsets = [(1 << 53) - 1, 1 << 53, (1 << 53) + 1, (1 << 64) - 2, (1 << 64) - 1]
        entries = b"".join(struct.pack("<QII", offset, 1, 1) for offset in offsets)
        index = chunk(b"indx", struct.pack("<HBBI4s12x", 4, 0, 0, len(offsets), b"00dc") + entries)
        hdrl = riff_list(b"hdrl", riff_list(b"strl", index))
        path = self.path("film", riff_list(b"AVI ", hdrl, b"RIFF") + b"\0" * 200)
        for condition, expected in [
            ("=9007199254740993", [2]), ("=0x20000000000001", [2]), ("!=9007199254740992", [0, 2, 3, 4]),
            ("<9007199254740993", [0, 1]), ("<=0x20000000000000", [0, 1]), (">9007199254740992", [2, 3, 4]),
            (">18446744073709551614", [4]), (">=0xFFFFFFFFFFFFFFFE", [3, 4]), (">-1", [0, 1, 2, 3, 4]), ("<-1", []),
            (">-9223372036854775808", [0, 1, 2, 3, 4]), ("=+9007199254740991", [0]), ("<9007199254740991.5", [0]),
            (">1.8e19", [3, 4]), ("=9.007199254740991e15", [0]),
        ]:
            with self.subTest(condition=condition):
                result = run("tree", "--format", "json", "--where", "qwOffset" + condition, path)
                self.assertEnds(result, 0)
                found = [item["value"] for item in leaves(documents(result.stdout)[0]["elements"])]
                self.assertEqual(found, [str(offsets[number]) for number in expected])

    def test_only_and_where_hold_together(self):
        self.assertEqual(self.elements("--only", "strf", "--where", "*=64", self.sample()),
                         [{"RIFF(AVI )": [{"LIST(hdrl)": [{"LIST(strl)": [{"strf": ["biWidth"]}]}]}]}])

    def test_conditions_that_are_none(self):
        for condition in ("dwRate", "=5", "dwRate>many", "", "dwRate=>", "dwRate>inf", "dwRate<nan", "dwRate> 12",
                          "dwRate<12 ", "dwRate>0x", "dwRate>0x-1", "dwRate<0x0x1", "dwRate<1e999", "dwRate>-",
                          "dwRate>."):
            with self.subTest(condition=condition):
                result = run("tree", "--where", condition, self.sample())
                if condition == "dwRate=>":
                    self.assertEnds(result, 0)  # a text may begin with any sign
                else:
                    self.assertEnds(result, 2, f'"{condition}" is no condition', "try: quenlofar tree --help")

    def test_collapse(self):
        for names, expected in [
            ([b"00dc"] * 9, ["00dc"] * 9),
            ([b"00dc"] * 10, ["00dc", 8, "00dc"]),
            ([b"00dc"] * 1000, ["00dc", 998, "00dc"]),
            ([b"00dc", b"01wb"] * 500, ["00dc", "01wb", 997, "01wb"]),
            ([b"00dc"] * 20 + [b"01wb"] + [b"00dc"] * 20, ["00dc", 18, "00dc", "01wb", 19, "00dc"]),
        ]:
            with self.subTest(chunks=len(names)):
                items = self.elements("--collapse", self.movi(names))[0]["RIFF(AVI )"][-1]["LIST(movi)"]
                shown = [next(iter(item)) if isinstance(item, dict) else item for item in items]
                self.assertEqual(shown, ["id", "size", "type"] + expected)

    def riff(self, children, name="film"):
        movi = riff_list(b"movi", chunk(b"00dc"))
        return self.path(name, riff_list(b"AVI ", movi + children, b"RIFF") + b"\0" * 200)

    def test_what_is_collapsed_is_counted(self):
        short, long = riff_list(b"zzzz", chunk(b"Zaaa")), riff_list(b"zzzz", unlike(3000))
        index = chunk(b"idx1", (b"00dc" + b"\0" * 12) * 3000)
        for rule, children in [
            ("all short", short * 30), ("all long", long * 12), ("a long one at the end", short * 30 + long),
            ("a long one at the start", long + short * 30),
            ("a long one among short ones", short * 20 + long + short * 20),
            ("long in long", riff_list(b"yyyy", long * 3 + short * 20) * 12),
            ("long behind short", riff_list(b"yyyy", short * 20 + long + short * 20) * 3),
            ("each is collapsed itself", (index + riff_list(b"yyyy", (short * 20 + unlike(30)) * 3)) * 30),
            ("deep", riff_list(b"aaaa", riff_list(b"bbbb", riff_list(b"cccc", unlike(700) + short * 20) * 10) * 3) * 3),
        ]:
            with self.subTest(rule=rule):
                film = self.riff(children)
                whole, shown = (documents(run("tree", "--format", "json", "--paths", *more, film).stdout)[0]["elements"]
                                for more in ([], ["--collapse"]))
                self.assertIsNone(misfit(whole, shown))

    def test_long_siblings_are_shown(self):
        # What is in them is more than is worth keeping until it is known whether another one follows.
        short, long = riff_list(b"zzzz", chunk(b"Zaaa")), riff_list(b"zzzz", unlike(8000))
        items = self.elements("--collapse", self.riff(short * 31 + long + short * 20))[0]["RIFF(AVI )"][4:]
        self.assertEqual([len(item["LIST(zzzz)"]) if isinstance(item, dict) else item for item in items],
                         [4, 30, 8003, 19, 4])

    @unittest.skipIf(SANITIZED, "sanitizers keep freed memory")
    def test_collapsing_takes_little_memory(self):
        films = [self.riff(riff_list(b"yyyy", riff_list(b"zzzz", unlike(count)) * 3) * 3, str(count))
                 for count in (10, 40000)]
        peaks = [peak_memory("tree", "--collapse", film) for film in films]
        self.assertLess(peaks[1] - peaks[0], 12_000_000)

    def test_collapse_says_so_in_text(self):
        lines = run("tree", "--collapse", self.movi([b"00dc"] * 50)).stdout.decode().splitlines()
        self.assertEqual([line.strip() for line in lines if "more" in line], ["... 48 more like these"])

    def test_nothing_is_left_out_by_itself(self):
        film = self.movi([b"00dc"] * 50)
        self.assertEqual(run("tree", film).stdout, run("tree", "--no-collapse", film).stdout)
        self.assertEqual(len(self.elements(film)[0]["RIFF(AVI )"][-1]["LIST(movi)"]), 53)

    def test_no_frames(self):
        [document] = documents(run("tree", "--format", "json", "--no-frames", self.sample()).stdout)
        self.assertNotIn("frames", document)
        text = run("tree", "--no-frames", self.sample()).stdout.decode()
        self.assertNotIn("frame 0 of", text)
        self.assertIn("20 video frames reported", text)


if __name__ == "__main__":
    unittest.main()
