"""Manual pages and completions: complete, well-formed, and of use in the shells they are for."""

import os
import pathlib
import re
import select
import shutil
import subprocess
import time
import unittest

import support

SHARE = pathlib.Path(os.environ["QUENLOFAR_BUILD"]) / "share"
PAGES = SHARE / "man" / "man1"
BASH = SHARE / "bash-completion" / "completions" / "quenlofar"
ZSH = SHARE / "zsh" / "site-functions" / "_quenlofar"
FISH = SHARE / "fish" / "vendor_completions.d" / "quenlofar.fish"
COMMANDS = ["summary", "check", "repair", "catalogue", "tree", "streams", "packets", "frames", "at", "bytes",
            "coverage", "diff", "plugins", "check-plugin"]


def needs(program):
    return unittest.skipUnless(shutil.which(program), f"{program} is not installed")


def output(*arguments, **more):
    """What a helper prints on both its channels."""
    return subprocess.run(arguments, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                          timeout=60, check=True, text=True, **more).stdout


def help_options(command):
    """The options in the help of `command`."""
    text = support.run(command, "--help").stdout.decode()
    lines = re.findall(r"^  (-\S+)", text, re.MULTILINE)
    return [name.split("{")[0] for line in lines for name in line.split(",")]


class Pages(unittest.TestCase):
    def pages(self):
        pages = sorted(PAGES.iterdir())
        self.assertEqual([page.name for page in pages],
                         sorted(["quenlofar.1"] + [f"quenlofar-{command}.1" for command in COMMANDS]))
        return pages

    @needs("mandoc")
    def test_mandoc_has_no_complaint(self):
        for page in self.pages():
            self.assertEqual(output("mandoc", "-Tlint", "-W", "warning", page), "")

    @needs("man")
    def test_man_has_no_complaint(self):
        for page in self.pages():
            result = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page],
                                    capture_output=True, timeout=60, check=True)
            self.assertEqual(result.stderr, b"")

    @needs("mandoc")
    def test_pages_name_all_that_the_help_names(self):
        for command in COMMANDS:
            text = output("mandoc", "-Tascii", "-Owidth=500", PAGES / f"quenlofar-{command}.1")
            text = re.sub(".\b", "", text)
            self.assertIn(f"quenlofar {command}", text)
            for option in help_options(command):
                self.assertRegex(text, rf"(?m)^ +(.*, )?{re.escape(option)}( |,|$)", command)

    def test_pages_of_commands_have_examples_and_exit_statuses(self):
        for page in self.pages():
            text = page.read_text()
            for section in "NAME", "SYNOPSIS", "DESCRIPTION", "EXIT STATUS", "EXAMPLES", "SEE ALSO":
                self.assertEqual(text.count(f".Sh {section}\n"), 1, page)
            description = text.split(".Sh DESCRIPTION\n")[1].split("\n.Sh ")[0]
            self.assertNotIn("wrong usage", description, page) # the end of what the help says of exit statuses


class Completion(support.Case):
    """A shell completes the last word of a command line in a directory with some files."""

    # Command line; what is offered, all of it.
    OFFERS = [
        ("quenlofar ", COMMANDS),
        ("quenlofar st", ["streams"]),
        ("quenlofar fi", ["film.avi"]),
        ("quenlofar --plugin-dir ", ["archive"]),
        ("quenlofar --plugin-dir archive pl", ["plugins"]),
        ("quenlofar tree --format ", ["text", "json"]),
        ("quenlofar frames --format ", ["text", "csv", "json"]),
        ("quenlofar check --format ", ["text", "json", "csv", "sarif", "junit", "lines"]),
        ("quenlofar check --policy fi", ["film.avi"]),
        ("quenlofar packets --type ", ["video", "audio", "subtitles", "midi", "mixed", "other"]),
        ("quenlofar tree --offsets h", ["hex"]),
        ("quenlofar tree --col", ["--collapse", "--color"]),
        ("quenlofar diff --ig", ["--ignore-offsets"]),
        ("quenlofar streams --plug", ["--plugin-dir"]),
        ("quenlofar summary -r ", ["archive"]),
        ("quenlofar tree -o fi", ["film.avi"]),
        ("quenlofar tree f", ["film.avi"]),
        ("quenlofar tree film.avi --pretty o", ["other.avi"]),
        ("quenlofar diff film.avi o", ["other.avi"]),
    ]

    def setUp(self):
        super().setUp()
        self.path("film.avi", b"")
        self.path("other.avi", b"")
        (self.directory / "archive").mkdir()

    def environment(self):
        return support.environment(HOME=str(self.directory), XDG_DATA_HOME=str(self.directory / ".local/share"), XDG_CONFIG_HOME="/none", LC_ALL="C.UTF-8")

    def check(self, offered, offers=OFFERS):
        for line, expected in offers:
            with self.subTest(line):
                self.assertEqual(sorted(word.rstrip("/") for word in offered(line)), sorted(expected))


class Bash(Completion):
    SCRIPT = """
        source "$0"
        COMP_WORDS=("$@")
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        _quenlofar
        [[ ${#COMPREPLY[@]} -eq 0 ]] || printf '%s\\n' "${COMPREPLY[@]}"
        complete -p quenlofar >/dev/null
    """

    def offered(self, line):
        # As bash divides a line into words: '=' is one.
        words = re.sub("=", " = ", line).split(" ")
        return output("bash", "--norc", "-c", self.SCRIPT, BASH, *words, cwd=self.directory,
                      env=self.environment()).splitlines()

    def test_offers(self):
        self.check(self.offered)

    def test_values_behind_an_equals_sign(self):
        self.check(self.offered, [("quenlofar tree --color=a", ["auto", "always"]),
                                  ("quenlofar --plugin-dir=archive pl", ["plugins"])])

    def test_offers_nothing_where_nothing_is_known(self):
        self.check(self.offered, [("quenlofar tree --depth ", []), ("quenlofar plugins f", [])])

    def test_only_files_behind_two_hyphens(self):
        self.path("-dashed", b"")
        self.check(self.offered, [("quenlofar tree -- -", ["-dashed"]), ("quenlofar tree -- f", ["film.avi"])])

    def test_all_options_of_the_help(self):
        self.check(self.offered, [(f"quenlofar {command} -", set(help_options(command) + ["--version", "--plugin-dir"]))
                                  for command in COMMANDS])


@needs("fish")
class Fish(Completion):
    def offered(self, line):
        lines = output("fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2]", "--", FISH, line,
                       cwd=self.directory, env=self.environment()).splitlines()
        return [one.split("\t")[0] for one in lines]

    def test_offers(self):
        # fish completes paths beside commands of a program: "quenlofar " has the files too.
        self.check(self.offered, self.OFFERS[1:])

    def test_all_long_options_of_the_help(self):
        for command in COMMANDS:
            long = [name for name in help_options(command) if name.startswith("--")]
            self.assertEqual(set(self.offered(f"quenlofar {command} --")), set(long + ["--version", "--plugin-dir"]))


@needs("zsh")
class Zsh(Completion):
    # Completes the line on a terminal and notes what became of it.
    SCRIPT = """
        PS1='' fpath=({functions} $fpath)
        autoload -Uz compinit && compinit -u -D
        complete-and-note() {{ zle complete-word; print -r -- "$BUFFER" >>{notes}; BUFFER= }}
        zle -N complete-and-note
        bindkey '^T' complete-and-note
        print ready >{notes}
    """

    def completed(self, lines):
        """What becomes of `lines`, one after the other in one shell."""
        notes = self.directory / ".notes"
        (self.directory / ".zshrc").write_text(self.SCRIPT.format(functions=ZSH.parent, notes=notes))
        terminal, other_end = os.openpty()
        self.addCleanup(os.close, terminal)
        shell = subprocess.Popen(["zsh", "-d", "-i"], stdin=other_end, stdout=other_end, stderr=other_end,
                                 cwd=self.directory, start_new_session=True,
                                 env={**self.environment(), "ZDOTDIR": str(self.directory), "TERM": "xterm"})
        self.addCleanup(shell.wait)
        self.addCleanup(shell.kill)
        os.close(other_end)
        for answers, line in enumerate(["", *lines], 1):
            os.write(terminal, line.encode() + b"\x14" if line else b"")
            deadline = time.monotonic() + 60
            while not notes.exists() or notes.read_text().count("\n") < answers:
                self.assertLess(time.monotonic(), deadline, f"zsh does not complete {line!r}")
                if select.select([terminal], [], [], 0.01)[0]:
                    os.read(terminal, 65536)
        return [line.rstrip() for line in notes.read_text().splitlines()[1:]]

    def test_completes(self):
        rows = [
            ("quenlofar st", "quenlofar streams"),
            ("quenlofar fi", "quenlofar film.avi"),
            ("quenlofar --plugin-dir ar", "quenlofar --plugin-dir archive/"),
            ("quenlofar --plugin-dir archive pl", "quenlofar --plugin-dir archive plugins"),
            ("quenlofar tree --format j", "quenlofar tree --format json"),
            ("quenlofar frames --format=c", "quenlofar frames --format=csv"),
            ("quenlofar tree --hel", "quenlofar tree --help"),
            ("quenlofar diff --ig", "quenlofar diff --ignore-offsets"),
            ("quenlofar streams --plug", "quenlofar streams --plugin-dir="),
            ("quenlofar summary -r ar", "quenlofar summary -r archive/"),
            ("quenlofar tree film.avi --pretty o", "quenlofar tree film.avi --pretty other.avi"),
            ("quenlofar diff film.avi o", "quenlofar diff film.avi other.avi"),
            ("quenlofar plugins f", "quenlofar plugins f"),
        ]
        self.assertEqual(self.completed([typed for typed, _ in rows]), [completed for _, completed in rows])


if __name__ == "__main__":
    unittest.main()
