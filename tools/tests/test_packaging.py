"""What the folder debian/ says that ./dev package makes, before anything is built."""
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["QUENLOFAR_BUILD"])


def make_folder(target, sources=SOURCE, epoch=1700000000):
    subprocess.run(["python3", SOURCE / "packaging" / "debianfolder.py", sources, str(epoch), target], check=True)


def stanzas(control):
    """The fields of each stanza of a control file, in one line each."""
    return [dict(re.findall(r"^([\w-]+):\s*(.*)$", re.sub(r"\n[ \t]+", " ", stanza), re.MULTILINE))
            for stanza in control.read_text().strip().split("\n\n")]


class Packaging(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory(prefix="quenlofar-packaging-")
        cls.addClassCleanup(directory.cleanup)
        cls.directory = pathlib.Path(directory.name)
        cls.folder = cls.directory / "debian"
        make_folder(cls.folder)
        source, *cls.packages = stanzas(cls.folder / "control")
        cls.package = {fields["Package"]: fields for fields in cls.packages}

    def test_abi_in_names_is_that_of_the_library(self):
        library, = BUILD.rglob("libquenlofar-container-abstract.so")
        dynamic = subprocess.run(["readelf", "--dynamic", "--wide", library], check=True, stdout=subprocess.PIPE).stdout
        abi, = re.findall(rb"soname: \[libquenlofar-container-abstract\.so\.(\d+)(?:-qt5)?\]", dynamic)
        name = f"libquenlofar-container-abstract{abi.decode()}"
        self.assertIn(name, self.package)
        self.assertTrue((self.folder / f"{name}.install").exists())
        self.assertIn(f"/{abi.decode()}/plugins/", (self.folder / "quenlofar-container-avi.install").read_text())

    def test_nothing_is_left_to_fill_in(self):
        for path in self.folder.rglob("*"):
            self.assertNotIn("@", path.name)
            if path.is_file():
                self.assertNotRegex(path.read_text(), "@[A-Z]+@")

    def test_ours_fit_one_another(self):
        # The version of one of ours is that of all: a program never meets a plug-in that is older or newer.
        for name, fields in self.package.items():
            for dependency in re.split(r",\s*", fields["Depends"].strip(", ")):
                if "quenlofar" in dependency:
                    with self.subTest(package=name):
                        self.assertRegex(dependency, r"^\S+ \(= \$\{binary:Version\}\)$")
        self.assertIn("quenlofar-container-avi (=", self.package["quenlofar"]["Depends"])

    def test_architectures_beside_one_another(self):
        self.assertEqual({re.sub(r"\d+$", "", name): fields["Multi-Arch"] for name, fields in self.package.items()},
                         {"libquenlofar-container-abstract": "same", "quenlofar-container-avi": "same",
                          "quenlofar": "foreign", "quenlofar-viewer": "foreign", "libquenlofar-container-abstract-dev": "same"})

    def version_of(self, heading):
        sources = pathlib.Path(tempfile.mkdtemp(dir=self.directory))
        (sources / "CMakeLists.txt").write_text(
            "project(quenlofar VERSION 3.4.5 LANGUAGES CXX)\nset(QUENLOFAR_ABI 7)\n")
        (sources / "CHANGELOG.md").write_text(f"# Changes\n\n## {heading}\n\n- One.\n\n## 3.4.4 (2020-01-01)\n")
        make_folder(sources / "debian", sources)
        self.assertTrue((sources / "debian" / "libquenlofar-container-abstract7.install").exists())
        return subprocess.run(["dpkg-parsechangelog", "-l", sources / "debian" / "changelog", "-S", "Version"],
                              check=True, stdout=subprocess.PIPE).stdout.decode().strip()

    def test_version(self):
        self.assertEqual(self.version_of("3.4.5 (2020-02-02)"), "3.4.5-1")
        self.assertEqual(self.version_of("Unreleased"), "3.4.5~dev-1")

    def test_time_is_that_of_the_sources(self):
        said = subprocess.run(["dpkg-parsechangelog", "-l", self.folder / "changelog", "-S", "Timestamp"], check=True,
                              stdout=subprocess.PIPE).stdout
        self.assertEqual(said.strip(), b"1700000000")


if __name__ == "__main__":
    unittest.main()
