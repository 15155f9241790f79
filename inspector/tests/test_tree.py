"""What the tree command leaves out, and how it says so."""

import unittest

from support import Case, chunk, documents, riff_list, run


def titles(items):
    """Titles of nodes with what is in them, names of leaves, numbers of items left out."""
    return [{item["node"]: titles(item["items"])} if "node" in item
            else item.get("field") or item.get("omitted") or "unparsed" for item in items]


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

    def test_only_and_where_hold_together(self):
        self.assertEqual(self.elements("--only", "strf", "--where", "*=64", self.sample()),
                         [{"RIFF(AVI )": [{"LIST(hdrl)": [{"LIST(strl)": [{"strf": ["biWidth"]}]}]}]}])

    def test_conditions_that_are_none(self):
        for condition in ("dwRate", "=5", "dwRate>many", "", "dwRate=>"):
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
