"""Where our programs and libraries look for the libraries that they need: nowhere that another user may fill.

An empty or relative entry of RUNPATH means the directory that the user happens to be in. tools/package runs this on
its own build, whose prefix is /usr.
"""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

BUILD = pathlib.Path(os.environ["QUENLOFAR_BUILD"])
SOURCE = pathlib.Path(__file__).resolve().parents[2]
CXX = os.environ["QUENLOFAR_CXX"]
SANITIZE = os.environ.get("QUENLOFAR_SANITIZE")
FRAMEWORK = "libquenlofar-container-abstract.so"


def call(*command, **more):
    """The output of a command that has to succeed."""
    more.setdefault("stderr", subprocess.STDOUT)
    result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=300, **more)
    if result.returncode != 0:
        raise AssertionError(f"{command}: exit status {result.returncode}\n{result.stdout.decode(errors='replace')}")
    return result.stdout.decode()


def linked_files(directory):
    """Programs and shared libraries below a directory; of the build tree, those that are still made."""
    made = sorted(directory.rglob("*"))
    if directory == BUILD:
        targets = call("ninja", "-C", BUILD, "-t", "targets", "all").splitlines()
        known = {(BUILD / line.rpartition(": ")[0]) for line in targets}
        made = [path for path in made if path in known]
    for path in made:
        if path.suffix == ".o" or path.is_symlink() or not path.is_file():
            continue
        with open(path, "rb") as file:
            header = file.read(18)
        if header[:4] == b"\x7fELF" and header[16] in (2, 3): # ET_EXEC, ET_DYN; not the objects that they are made of
            yield path


def search_paths(path):
    """The entries of RUNPATH and RPATH of a program or library; each may be there several times."""
    found = re.findall(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]", call("readelf", "--dynamic", "--wide", path))
    return [entry for value in found for entry in value.split(":")]


def may_be_searched(entry):
    """Whether a place is a fixed one, or the program's own."""
    return entry.startswith("/") or entry == "$ORIGIN" or entry.startswith("$ORIGIN/")


class SearchPaths(unittest.TestCase):
    def setUp(self):
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="quenlofar-paths-"))
        self.addCleanup(shutil.rmtree, self.directory, ignore_errors=True)
        self.program = BUILD / "bin" / "quenlofar"

    def install(self):
        prefix = self.directory / "prefix"
        call(os.environ["QUENLOFAR_CMAKE"], "--install", BUILD, "--prefix", prefix)
        return prefix

    def assert_search_paths(self, directory, *expected_names):
        names = set()
        for path in linked_files(directory):
            names.add(path.name.split(".so")[0])
            for entry in search_paths(path):
                with self.subTest(file=path.relative_to(directory), entry=entry):
                    self.assertTrue(may_be_searched(entry))
        self.assertLessEqual(set(expected_names), names)

    def test_which_entries_are_refused(self):
        for entry in ("", ".", "lib", "../lib", "$ORIGINAL/lib", "ORIGIN"):
            self.assertFalse(may_be_searched(entry), entry)
        for entry in ("/usr/lib", "$ORIGIN", "$ORIGIN/../lib"):
            self.assertTrue(may_be_searched(entry), entry)

    def test_build_tree(self):
        self.assert_search_paths(BUILD, "quenlofar", "generate-documentation", "libquenlofar-container-abstract",
                                 "libquenlofar-container-avi")

    def test_installation(self):
        self.assert_search_paths(self.install(), "quenlofar", "libquenlofar-container-abstract",
                                 "libquenlofar-container-avi")

    def test_installation_names_no_place_of_the_build(self):
        for path in linked_files(self.install()):
            for entry in search_paths(path):
                self.assertFalse(entry.startswith((str(BUILD), str(SOURCE))), f"{path.name}: {entry}")

    def test_library_in_the_current_directory_is_not_loaded(self):
        code = self.directory / "trap.cpp"
        code.write_text('#include <unistd.h>\n'
                        '__attribute__((constructor)) static void trap() { _exit(99); }\n')
        for program in (self.program, self.install() / "bin" / "quenlofar"):
            # Whatever the program and what it is linked with need: libm.so.6, Qt, the framework itself.
            for name in sorted(set(re.findall(r"^\s*(lib\S+) =>", call("ldd", program), re.MULTILINE))):
                here = self.directory / "here"
                here.mkdir()
                call(CXX, "-shared", "-fPIC", "-o", here / name, code)
                with self.subTest(program=program, library=name):
                    self.assertIn("quenlofar", call(program, "--version", cwd=here))
                    self.assertIn("RIFF", call(program, "tree", SOURCE / "samples" / "sample.avi", cwd=here))
                shutil.rmtree(here)

    def test_moved_build_tree_uses_its_own_libraries(self):
        moved = self.directory / "moved"
        programs = [path.relative_to(BUILD) for path in linked_files(BUILD)
                    if path.stat().st_mode & 0o111 and ".so" not in path.name and "CMakeFiles" not in path.parts]
        # The first program of each folder stands for it: those of sanitizers take gigabytes.
        chosen = list({path.parent: path for path in reversed(programs)}.values())
        self.assertIn(pathlib.Path("bin/quenlofar"), chosen)
        self.assertIn("generate-documentation", [path.name for path in chosen])
        libraries = [path.relative_to(BUILD) for path in BUILD.rglob(FRAMEWORK + "*")]
        libraries += [path.relative_to(BUILD) for path in BUILD.rglob("libquenlofar-container-avi.so")]
        for path in chosen + libraries:
            (moved / path).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(BUILD / path, moved / path, follow_symlinks=False)
        for path in chosen:
            used = re.findall(rf"{re.escape(FRAMEWORK)}\S* => (.*?)(?: \(0x|$)", call("ldd", moved / path), re.MULTILINE)
            for library in used:
                with self.subTest(program=path):
                    self.assertNotEqual(library, "not found")
                    self.assertTrue(os.path.realpath(library).startswith(os.path.realpath(moved)), library)
        test = pathlib.Path("tests/tst_plugin") # has to find the plug-in too
        if (BUILD / test).exists():
            shutil.copy2(BUILD / test, moved / test)
            call(moved / test)
        listed = call(moved / "bin" / "quenlofar", "plugins").split("\t")
        self.assertTrue(listed[2].startswith(os.path.realpath(moved)), listed)
        self.assertEqual(call(moved / "bin" / "quenlofar", "tree", SOURCE / "samples" / "sample.avi"),
                         call(self.program, "tree", SOURCE / "samples" / "sample.avi"))


if __name__ == "__main__":
    unittest.main()
