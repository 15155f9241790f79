"""What a desktop is told of the viewer: its entry, its description, its icon and its manual page."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

DESKTOP = pathlib.Path(__file__).resolve().parents[1] / "desktop"
VIEWER = os.environ["QUENLOFAR_VIEWER"]


def needs(program):
    return unittest.skipUnless(shutil.which(program), f"{program} is not installed")


def run(*command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env={name: value for name, value in os.environ.items() if name != "QT_QPA_PLATFORM"})


class Desktop(unittest.TestCase):
    def test_help_needs_no_screen(self):
        for option in ("--help", "--version"):
            result = run(VIEWER, option)
            self.assertEqual(result.returncode, 0, result.stdout)

    def test_scripts_have_no_session(self):
        with tempfile.TemporaryDirectory() as home:
            settings = pathlib.Path(home) / "quenlofar" / "quenlofar-viewer.ini"
            settings.parent.mkdir()
            kept = b"[session]\ntabs\\size=1\ntabs\\1\\path=/etc/passwd\n"
            settings.write_bytes(kept)
            result = subprocess.run([VIEWER, "--dump-state"], stdout=subprocess.PIPE, check=True,
                                    env={**os.environ, "XDG_CONFIG_HOME": home, "XDG_DATA_HOME": home,
                                         "QT_QPA_PLATFORM": "offscreen"})
            self.assertEqual(json.loads(result.stdout)["tabs"], 0)
            subprocess.run([VIEWER, "--do", "open=/etc/passwd", "--dump-state"], stdout=subprocess.DEVNULL, check=True,
                           env={**os.environ, "XDG_CONFIG_HOME": home, "XDG_DATA_HOME": home,
                                "QT_QPA_PLATFORM": "offscreen"})
            self.assertEqual(settings.read_bytes(), kept)

    def test_manual_page_has_every_option(self):
        options = set(re.findall(rb"--([a-z][a-z-]+)", run(VIEWER, "--help").stdout)) - {b"help-all"}
        self.assertGreater(len(options), 8)
        page = (DESKTOP / "quenlofar-viewer.1").read_bytes().replace(b"\\-", b"-")
        told = set(re.findall(rb"^\.It Fl (?:\w , )?-([a-z-]+)", page, re.MULTILINE))
        self.assertEqual(options, told)

    @needs("mandoc")
    def test_mandoc_has_no_complaint(self):
        self.assertEqual(run("mandoc", "-Tlint", "-W", "warning", str(DESKTOP / "quenlofar-viewer.1")).stdout, b"")

    def test_screenshots_are_there(self):
        page = xml.etree.ElementTree.parse(DESKTOP / "quenlofar-viewer.metainfo.xml")
        images = [pathlib.PurePosixPath(image.text) for image in page.iterfind("screenshots/screenshot/image")]
        self.assertGreater(len(images), 0)
        pictures = DESKTOP.parents[1] / "docs" / "images"
        self.assertEqual([image.name for image in images if not (pictures / image.name).is_file()], [])

    @needs("desktop-file-validate")
    def test_entry_is_valid(self):
        result = run("desktop-file-validate", str(DESKTOP / "quenlofar-viewer.desktop"))
        self.assertEqual((result.returncode, result.stdout), (0, b""))

    @needs("appstreamcli")
    def test_description_is_valid(self):
        result = run("appstreamcli", "validate", "--no-net", str(DESKTOP / "quenlofar-viewer.metainfo.xml"))
        self.assertEqual(result.returncode, 0, result.stdout.decode())

    def test_icon_is_square(self):
        icon = xml.etree.ElementTree.parse(DESKTOP / "quenlofar-viewer.svg").getroot()
        self.assertTrue(icon.tag.endswith("svg"))
        self.assertEqual(icon.get("width"), icon.get("height"))


if __name__ == "__main__":
    unittest.main()
