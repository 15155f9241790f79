"""Where plug-ins are looked for, which one counts, and what is said of those that cannot be used."""

import os
import pathlib
import shutil
import subprocess
import unittest

from support import ABI, PLUGIN, PROGRAM, Case, run

PREFIX = pathlib.Path(PROGRAM).parent.parent
OWN_PLACE = PLUGIN.parent.relative_to(PREFIX) # where a program finds plug-ins by itself
FRAMEWORK = "libquenlofar-container-abstract.so*"


class Plugins(Case):
    def setUp(self):
        super().setUp()
        # Moved away from its build tree, the program has no place of its own with a plug-in in it.
        self.program = self.directory / "moved" / "bin" / "quenlofar"
        self.program.parent.mkdir(parents=True)
        shutil.copy(PROGRAM, self.program)
        for library in PREFIX.rglob(FRAMEWORK):
            moved = self.directory / "moved" / library.relative_to(PREFIX)
            moved.parent.mkdir(parents=True, exist_ok=True)
            moved.symlink_to(library)

    def place(self, name, plugin=PLUGIN, file_name=PLUGIN.name):
        """A directory `name` with a plug-in: a copy of `plugin`, or a text file."""
        directory = self.directory / name
        directory.mkdir(parents=True, exist_ok=True)
        if plugin:
            shutil.copy(plugin, directory / file_name)
        else:
            (directory / file_name).write_text("no library\n")
        return directory

    def assertUses(self, result, *directories):
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual([pathlib.Path(line.split("\t")[2]).parent for line in result.stdout.decode().splitlines()],
                         list(directories))

    def test_line_per_plugin(self):
        result = run("plugins")
        self.assertEnds(result, 0)
        name, extensions, file, version = result.stdout.decode().rstrip("\n").split("\t")
        self.assertEqual((name, extensions, version), ("AVI", "avi", os.environ["QUENLOFAR_VERSION"]))
        self.assertTrue(os.path.samefile(file, PLUGIN))

    def test_version_that_is_not_told(self):
        # As if the note with the version came from another library.
        data = PLUGIN.read_bytes().replace(b"quenlofar\0\0\0", b"elsewhere\0\0\0")
        self.path(PLUGIN.name, data)
        result = run("plugins", "--plugin-dir", self.directory, program=self.program)
        self.assertEnds(result, 0)
        self.assertEqual(result.stdout.decode(), f"AVI\tavi\t{self.directory / PLUGIN.name}\tunknown\n")

    def test_none_is_an_error(self):
        for arguments in [["plugins"], ["tree", self.sample()]]:
            with self.subTest(arguments=arguments):
                result = run(*arguments, program=self.program)
                self.assertEnds(result, 2, "no usable parser plug-in")
                self.assertIn(os.fsencode(self.directory / "moved"), result.stderr)
                self.assertEqual(result.stdout, b"")

    def test_named_directory(self):
        one = self.place("one")
        self.assertUses(run("plugins", "--plugin-dir", one, program=self.program), one)
        self.assertEnds(run("tree", self.sample(), "--plugin-dir", one, program=self.program), 0)

    def test_several_named_directories(self):
        one, two = self.place("one"), self.place("two")
        self.assertUses(run("plugins", "--plugin-dir", two, "--plugin-dir", one, program=self.program), two)
        other = self.place("other", file_name="libquenlofar-container-zzz.so")
        named = ["--plugin-dir", one, f"--plugin-dir={other}"]
        for arguments in [["plugins", *named], [*named, "plugins"]]:
            with self.subTest(arguments=arguments):
                self.assertUses(run(*arguments, program=self.program), one, other)
        self.assertEnds(run(*named, self.sample(), program=self.program), 0)
        self.assertEnds(run("plugins", "--plugin-dir", one, "--plugin-dir", "/nowhere", program=self.program), 0,
                        "--plugin-dir /nowhere: there is no such")

    def test_own_directory(self):
        own = self.place(f"home/.local/share/quenlofar/{ABI}/plugins")
        moved = self.place(f"data/quenlofar/{ABI}/plugins")
        self.place(f"relative/quenlofar/{ABI}/plugins")
        home = {"HOME": str(self.directory / "home")}
        for rule, changes, expected in [
            ("below HOME", {"XDG_DATA_HOME": ""}, own),
            ("where XDG_DATA_HOME says", {"XDG_DATA_HOME": str(self.directory / "data")}, moved),
            ("a relative path is none", {"XDG_DATA_HOME": "relative"}, own),
        ]:
            with self.subTest(rule=rule):
                self.assertUses(run("plugins", program=self.program, env={**home, **changes}, cwd=self.directory),
                                expected)
        for rule, changes in [("no absolute HOME", {"HOME": "home"}), ("under sudo", {**home, "SUDO_UID": "1000"}),
                              ("under doas", {**home, "DOAS_USER": "ada"}),
                              ("under pkexec", {**home, "PKEXEC_UID": "1000"})]:
            with self.subTest(rule=rule):
                result = run("plugins", program=self.program, env={"XDG_DATA_HOME": "", **changes}, cwd=self.directory)
                self.assertEnds(result, 2, "no usable parser plug-in")

    def test_own_directory_comes_behind_what_is_named_and_before_the_installation(self):
        self.place("moved/plugins")
        own = self.place(f"data/quenlofar/{ABI}/plugins")
        listed = self.place("listed")
        data = {"XDG_DATA_HOME": str(self.directory / "data")}
        self.assertUses(run("plugins", program=self.program, env=data), own)
        self.assertUses(run("plugins", program=self.program, env={**data, "QUENLOFAR_PLUGIN_PATH": str(listed)}), listed)

    @unittest.skipUnless(os.geteuid() == 0, "only root can take on other users")
    def test_more_rights_than_the_caller(self):
        # The kernel tells a program when its effective user differs from that of the user that started it.
        os.chmod(self.directory, 0o755)
        named, listed = self.place("named"), self.place("listed")
        self.place(f"data/quenlofar/{ABI}/plugins")
        beside = self.place("moved/plugins")
        environment = {"QUENLOFAR_PLUGIN_PATH": str(listed), "XDG_DATA_HOME": str(self.directory / "data")}
        secure = dict(program=self.program, preexec_fn=lambda: os.setreuid(65534, 0))
        if run("--version", **secure).returncode != 0:
            self.skipTest("with other rights the program's libraries are not found here")
        self.assertUses(run("plugins", program=self.program, env=environment), listed)
        result = run("plugins", "--plugin-dir", named, env=environment, **secure)
        self.assertEnds(result, 0, "--plugin-dir does not count")
        self.assertTrue(os.path.samefile(result.stdout.decode().split("\t")[2], beside / PLUGIN.name))

    @unittest.skipUnless(os.geteuid() == 0, "only root is protected")
    def test_root_refuses_what_others_can_change(self):
        open_place = self.place("open")
        os.chmod(open_place, 0o777)
        self.assertEnds(run("plugins", "--plugin-dir", open_place, program=self.program), 2,
                        f"{open_place / PLUGIN.name} cannot be used: root runs no code that others can change, and "
                        f"everybody may write to {open_place}", "no usable parser plug-in")

    @unittest.skipUnless(os.geteuid() == 0, "only root is protected")
    def test_root_trusts_the_owner_of_the_program(self):
        place = self.place("place")
        for path in (place, place / PLUGIN.name):
            os.chown(path, 65534, -1)
        self.assertEnds(run("plugins", "--plugin-dir", place, program=self.program), 2, "belongs to the user 65534",
                        "no usable parser plug-in")
        os.chown(self.program, 65534, -1)
        self.assertUses(run("plugins", "--plugin-dir", place, program=self.program), place)

    def test_two_for_one_format(self):
        one = self.place("one")
        two = self.place("two", file_name="libquenlofar-container-second.so")
        arguments = ["--plugin-dir", two, "--plugin-dir", one]
        result = run("plugins", *arguments, program=self.program)
        self.assertEnds(result, 0, f"warning: two plug-ins are for AVI: {one / PLUGIN.name} is asked before "
                                   f"{two / 'libquenlofar-container-second.so'}")
        self.assertUses(result, one, two)
        self.assertEnds(run("tree", self.sample(), *arguments, program=self.program), 0)

    def test_environment(self):
        one, two = self.place("one"), self.place("two")
        for value, expected in [(f"{one}", one), (f"{one}:{two}", one), (f"{two}:{one}", two),
                                (f"/nowhere::{two}:", two)]:
            with self.subTest(value=value):
                self.assertUses(run("plugins", program=self.program, env={"QUENLOFAR_PLUGIN_PATH": value}), expected)

    def test_relative_to_the_program(self):
        self.assertUses(run("plugins"), PLUGIN.parent)
        beside = self.place("moved" / OWN_PLACE)
        for program in (self.program, self.directory / "link"):
            with self.subTest(program=program):
                if program != self.program:
                    program.symlink_to(self.program)
                result = run("plugins", program=program)
                self.assertEnds(result, 0)
                self.assertTrue(os.path.samefile(result.stdout.decode().split("\t")[2].strip(), beside / PLUGIN.name))

    def test_order_of_places(self):
        named, listed, own = self.place("named"), self.place("listed"), self.place("moved" / OWN_PLACE)
        environment = {"QUENLOFAR_PLUGIN_PATH": str(listed)}
        self.assertUses(run("plugins", "--plugin-dir", named, program=self.program, env=environment), named)
        self.assertUses(run("plugins", program=self.program, env=environment), listed)
        self.assertUses(run("plugins", program=self.program), own)

    def test_all_places_count(self):
        one = self.place("one", file_name="libquenlofar-container-b.so")
        two = self.place("two", file_name="libquenlofar-container-a.so")
        result = run("plugins", "--plugin-dir", one, program=self.program, env={"QUENLOFAR_PLUGIN_PATH": str(two)})
        self.assertUses(result, two, one)

    def test_unusable_one_is_said_and_passed_over(self):
        bad = self.place("bad", plugin=None, file_name="libquenlofar-container-bad.so")
        for arguments in [["plugins"], ["tree", self.sample()]]:
            with self.subTest(arguments=arguments):
                result = run(*arguments, "--plugin-dir", bad)
                self.assertEnds(result, 0, "libquenlofar-container-bad.so cannot be used: ")
                self.assertNotEqual(result.stdout, b"")

    def test_only_unusable_ones(self):
        bad = self.place("bad", plugin=None)
        self.assertEnds(run("plugins", "--plugin-dir", bad, program=self.program), 2,
                        "cannot be used: ", "no usable parser plug-in")

    def test_named_directory_that_is_not_there(self):
        self.assertEnds(run("plugins", "--plugin-dir", "/nowhere"), 0, "--plugin-dir /nowhere: there is no such")

    def test_file_name_says_nothing_of_the_contents(self):
        with open(self.sample(), "rb") as sample:
            film = self.path("film.mkv", sample.read())
        self.assertEnds(run("tree", film), 0)

    def test_installation_may_be_moved(self):
        installed, moved = self.directory / "installed", self.directory / "somewhere" / "else"
        subprocess.run([os.environ["QUENLOFAR_CMAKE"], "--install", os.environ["QUENLOFAR_BUILD"],
                        "--prefix", installed], check=True, stdout=subprocess.DEVNULL)
        moved.parent.mkdir()
        installed.rename(moved)
        program = moved / "bin" / "quenlofar"
        result = run("plugins", program=program)
        self.assertEnds(result, 0)
        plugin = os.path.realpath(result.stdout.decode().rstrip("\n").split("\t")[2])
        self.assertTrue(plugin.startswith(os.path.realpath(moved)), plugin)
        self.assertEqual(run("tree", self.sample(), program=program).stdout, run("tree", self.sample()).stdout)


if __name__ == "__main__":
    unittest.main()
