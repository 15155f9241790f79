"""Includes follow the arrows between the rooms: whatever a folder includes stands in a folder that its row names."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
WALK, TEXT, INPUT, PARSER, TREE, COMPARE, OUTPUT, PACKETS, CHECK, REPAIR, PLUGINS, TESTING = HOST = [
    f"container-abstract/{room}"
    for room in "walk text input parser tree compare output packets check repair plugins testing".split()]
FACTS, FILTERS, PLACES, JUDGING, MENDING = COMMON = [
    f"common/{room}" for room in "facts filters places check repair".split()]
COMMANDLINE, PROCESS, PRINT, RUN, COMMANDS = INSPECTOR = [
    f"inspector/{room}" for room in "commandline process print run commands".split()]
DOCUMENT, MODELS, VIEWS, WINDOW = VIEWER = [f"viewer/{room}" for room in "document models views window".split()]
ARROWS = {
    WALK: [],
    TEXT: [],
    INPUT: [WALK, TEXT],
    PARSER: [INPUT, WALK, TEXT],
    TREE: [WALK, TEXT],
    COMPARE: [TREE, WALK, TEXT],
    OUTPUT: [WALK, TEXT],
    PACKETS: [WALK, TEXT],
    CHECK: [PACKETS, INPUT, WALK, TEXT],
    REPAIR: [CHECK, INPUT, WALK, TEXT],
    PLUGINS: [PARSER, CHECK, INPUT, TEXT],
    TESTING: [PARSER, INPUT, WALK, TEXT],
    "container-avi/parser": HOST,
    "container-avi/describe": ["container-avi/parser", *HOST],
    "container-avi/analyze": HOST,
    "container-avi": ["container-avi/parser", "container-avi/describe", "container-avi/analyze", *HOST],
    FACTS: HOST,
    FILTERS: HOST,
    PLACES: HOST,
    JUDGING: [FACTS, *HOST],
    MENDING: [JUDGING, *HOST],
    COMMANDLINE: [FACTS, *HOST],
    PROCESS: [COMMANDLINE, *HOST],
    PRINT: [PROCESS, COMMANDLINE, *COMMON, *HOST],
    RUN: [PRINT, PROCESS, COMMANDLINE, *COMMON, *HOST],
    "catalogue": [FACTS, JUDGING, *HOST],
    COMMANDS: ["catalogue", RUN, PRINT, PROCESS, COMMANDLINE, *COMMON, *HOST],
    "inspector/documentation": [COMMANDLINE, *HOST],
    "inspector": [*INSPECTOR, *COMMON, *HOST],
    DOCUMENT: [*COMMON, *HOST],
    MODELS: [DOCUMENT, *COMMON, *HOST],
    VIEWS: [MODELS, DOCUMENT, *COMMON, *HOST],
    WINDOW: [VIEWS, MODELS, DOCUMENT, *COMMON, *HOST],
    "viewer": [*VIEWER, *COMMON, *HOST],
}


def sources(room):
    return [path for path in (ROOT / room).iterdir() if path.suffix in (".h", ".cpp")]


class Rooms(unittest.TestCase):
    def test_every_folder_with_sources_is_a_room(self):
        folders = {path.parent.relative_to(ROOT).as_posix()
                   for top in ("container-abstract", "container-avi", "common", "catalogue", "inspector", "viewer")
                   for path in (ROOT / top).rglob("*.cpp")}
        self.assertEqual({folder for folder in folders if not re.search("/(tests|fuzz|benchmarks)", folder)},
                         {room for room in ARROWS if room != TESTING})

    def test_includes_follow_the_arrows(self):
        room_of = {path.name: room for room in ARROWS for path in sources(room)}
        for room, allowed in ARROWS.items():
            for path in sources(room):
                for name in re.findall(r'^#include "(?:\w+/)*(\w+\.h)"', path.read_text(), re.MULTILINE):
                    target = room_of.get(name, room) # headers made by the build belong to nobody
                    self.assertIn(target, [room, *allowed], f"{path.relative_to(ROOT)} includes {name}")

    def test_the_viewer_knows_no_container(self):
        written = b"".join(path.read_bytes() for path in (ROOT / "container-avi/parser").glob("*.cpp"))
        ids = {found.decode() for found in re.findall(rb'"([A-Za-z0-9 ]{4})"', written)}
        self.assertLess({"RIFF", "avih", "idx1"}, ids)
        # Of those in small letters some are words.
        told = {"movi", "hdrl", "strl", "avih", "strh", "strf", "idx1", "indx"}
        told |= {i for i in ids if re.search("[A-Z0-9].*[A-Z0-9]", i)}
        for path in (ROOT / "viewer").rglob("*"):
            if path.suffix not in (".h", ".cpp") or "tests" in path.relative_to(ROOT).parts:
                continue
            found = told & set(re.findall(r"\w+", path.read_text()))
            self.assertEqual(found, set(), path.relative_to(ROOT))


if __name__ == "__main__":
    unittest.main()
