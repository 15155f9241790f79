"""Changes one small thing at a time and asks the tests whether they notice.

The tree is copied to build/mutate/tree and built once, with the parser as a shared library. Which files there are, and
which tests, the build says. A mutant is then one compilation of the changed file, one link of its library, and runs of the tests with that library preloaded, until one
of them fails. Changes are drawn by a seeded generator, so that two runs try the same ones. Results are appended to
build/mutate/results.jsonl: a change that was noticed is not tried again until its file changes, one that was not
noticed is tried again once the tests have changed. tools/mutants-without-effect.txt lists changes that alter nothing
that can be observed, each with its reason; they do not count.
"""
import argparse
import collections
import hashlib
import json
import math
import os
import random
import re
import resource
import shlex
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutate"
TREE = WORK / "tree"
BUILD = WORK / "build"
RESULTS = WORK / "results.jsonl"
WITHOUT_EFFECT = ROOT / "tools" / "mutants-without-effect.txt"
SEED = 20120907
LEAST_PERCENT = 95

AVI, HOST = "container-avi", "container-abstract"
LIBRARIES = {AVI: "container-avi-core", HOST: "quenlofar-container-abstract"}
# These take seconds each, and tell more about what the others are for; they are asked about the files that they are named
# after. tst_plugin asks how the plug-in is linked, which is otherwise in the copy.
SLOW = ["tst_elementtree", "tst_elementtreeruns", "tst_hostile", "tst_chunkids", "tst_pluginloader"]
NEVER = ["tst_plugin"]

# Included in front of every mutant as a precompiled header: Qt's headers take most of a compilation.
PRECOMPILED = "#include <QtCore/QtCore>\n" + "".join(
    f"#include <{name}>\n" for name in ("algorithm", "array", "atomic", "cmath", "deque", "limits", "memory"))


# --- The copy ---------------------------------------------------------------------------------------------------------

def replace_once(text, old, new):
    if text.count(old) != 1:
        sys.exit(f"mutate: '{old}' is expected once in a CMakeLists.txt")
    return text.replace(old, new)


def content_for_copy(path):
    """A file's content in the copy: there the parser is a shared library that exports everything."""
    content = (ROOT / path).read_bytes()
    if path.as_posix() == "CMakeLists.txt":
        text = replace_once(content.decode(), "CMAKE_CXX_VISIBILITY_PRESET hidden", "CMAKE_CXX_VISIBILITY_PRESET default")
        text = replace_once(text, "add_subdirectory(common)\nadd_subdirectory(catalogue)\nadd_subdirectory(inspector)\n", "")
        text = replace_once(text, "    add_subdirectory(examples)\n    add_subdirectory(tools/tests)\n", "")
        content = text.encode()
    elif path.as_posix() == f"{AVI}/CMakeLists.txt":
        text = replace_once(content.decode(), "container-avi-core OBJECT", "container-avi-core SHARED")
        content = re.sub(r"\n *add_subdirectory\(fuzz\)", "", text).encode()
    elif path.as_posix() == f"{HOST}/CMakeLists.txt":
        content = re.sub(rb"\n *add_subdirectory\(fuzz\)", b"", content)
    return content


def copy_tree():
    """Brings the copy up to date; what has not changed keeps its time, so that it is not built again."""
    wanted = {}
    for top in ("CMakeLists.txt", "cmake", AVI, HOST, "samples", "docs"):
        paths = [ROOT / top] if (ROOT / top).is_file() else sorted((ROOT / top).rglob("*"))
        for path in paths:
            relative = path.relative_to(ROOT)
            if path.is_file() and "fuzz" not in relative.parts and "benchmarks" not in relative.parts:
                wanted[relative] = content_for_copy(relative)
    for path in sorted(TREE.rglob("*")) if TREE.exists() else []:
        if path.is_file() and path.relative_to(TREE) not in wanted:
            path.unlink()
    for relative, content in wanted.items():
        target = TREE / relative
        if not target.exists() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)


def run_logged(command, log):
    with open(log, "wb") as file:
        status = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=file, stderr=subprocess.STDOUT).returncode
    if status != 0:
        sys.stderr.write(Path(log).read_text(errors="replace")[-4000:])
        sys.exit(f"mutate: this failed: {' '.join(map(str, command))}")


def configure_copy():
    # A build type without any flags: not optimised, and built the fastest.
    run_logged(["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Mutate",
                "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"], WORK / "configure.log")


def build_copy(jobs):
    run_logged(["ninja", "-C", BUILD, f"-j{jobs}"], WORK / "build.log")


class Library:
    """How the objects of one library are made and linked, as the build system does it. The copy is configured."""

    def __init__(self, directory):
        target = LIBRARIES[directory]
        self.directory = directory
        output = subprocess.run(["ninja", "-C", str(BUILD), "-t", "commands", target], capture_output=True, text=True,
                                check=True).stdout
        self.compile = {}
        for line in output.splitlines():
            if " -c " in line and f"CMakeFiles/{target}.dir/" in line:
                words = shlex.split(line)
                self.compile[words[words.index("-c") + 1]] = words
            elif " -shared " in line and f"-soname,lib{target}.so" in line:
                # ": && g++ ... && :"
                self.link = shlex.split(line.split(" && ")[1])
        listed = subprocess.run(["ctest", "--test-dir", str(BUILD / directory), "--show-only"], capture_output=True,
                                text=True, check=True).stdout
        self.tests = sorted(set(re.findall(r"Test *#\d+: (tst_\w+)", listed)) - set(NEVER))

    def files(self):
        """The library's sources, and its headers that have a test of their own; relative to the copy."""
        sources = [Path(source) for source in self.compile]
        ours = [source.relative_to(TREE) for source in sources if source.is_relative_to(TREE)]
        rooms = {TREE / source.parent for source in ours}
        headers = [header.relative_to(TREE) for room in rooms for header in room.glob("*.h")
                   if f"tst_{header.stem}" in self.tests]
        return sorted(path.as_posix() for path in ours + headers)

    def precompile(self):
        some = next(words for source, words in self.compile.items() if source.endswith(".cpp"))
        self.precompiled = WORK / f"{self.directory}.h"
        self.precompiled.write_text(PRECOMPILED)
        flags = self.flags(some)
        stamp = WORK / f"{self.directory}.h.flags"
        if not stamp.exists() or stamp.read_text() != " ".join(flags):
            run_logged(flags + ["-x", "c++-header", str(self.precompiled), "-o", f"{self.precompiled}.gch"],
                       WORK / "precompile.log")
            stamp.write_text(" ".join(flags))

    @staticmethod
    def flags(words):
        """The compilation without its files and without warnings."""
        result, skip = [], False
        for word in words:
            if skip or word in ("-o", "-c", "-MT", "-MF"):
                skip = not skip
            elif not word.startswith("-W") and word not in ("-MD", "-MMD"):
                result.append(word)
        return result

    def object_from(self, source, text, target, optimised=False):
        """Compiles `text` in place of the file `source`: None, or what the compiler said."""
        words = self.compile[str(source)]
        command = self.flags(words) + (["-O1"] if optimised else ["-include", str(self.precompiled)])
        # Not to reach a function's end is no small change: what happens then is undefined.
        command += ["-Werror=return-type", "-iquote", str(source.parent), "-x", "c++", "-c", "-", "-o", str(target)]
        done = subprocess.run(command, cwd=BUILD, input=text.encode(), capture_output=True)
        return None if done.returncode == 0 else done.stderr.decode(errors="replace")

    def link_with(self, source, new_object, target):
        words = self.compile[str(source)]
        old_object = words[words.index("-o") + 1]
        command = [str(new_object) if word == old_object else word for word in self.link]
        command[command.index("-o") + 1] = str(target)
        if shutil.which("ld.gold"):
            command.insert(1, "-fuse-ld=gold") # takes a third of the time
        subprocess.run(command, cwd=BUILD, check=True, capture_output=True)


# --- The changes ------------------------------------------------------------------------------------------------------

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<string>(?:u8|u|U|L)?"(?:\\.|[^"\\\n])*")
  | (?P<character>(?:u8|u|U|L)?'(?:\\.|[^'\\\n])+')
  | (?P<number>(?<![\w.])(?:0[xX][0-9A-Fa-f']+|\d[\d']*(?:\.\d+)?)[uUlLfF]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><=|>=|==|!=|&&|\|\||\+\+|--|\+=|-=|\|=|<<|>>|->|::|[-+*/%<>=!&|~?:;,.(){}\[\]])
  | (?P<space>\s+)
  | (?P<other>.)
""", re.VERBOSE | re.DOTALL)

BINARY = {  # only where clang-format puts a blank on either side
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&", "+": "-", "-": "+",
    "*": "+", "/": "*", "%": "*", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "+=": "-=", "-=": "+=", "|=": "=",
}
WORDS = {
    "true": "false", "false": "true", "StatusOk": "StatusEndOfFile", "StatusEndOfFile": "StatusOk",
    "StatusNotRecognised": "StatusOk", "StatusUnknownStream": "StatusOk", "StatusUnknownId": "StatusOk",
    "U32": "I32", "I32": "U32", "I16": "U16", "FourCC": "U32", "min": "max", "max": "min", "TypeList": "TypeChunk",
    "TypeChunk": "TypeIndex", "TypeIndex": "TypeChunk", "TypeInfoDate": "TypeChunk",
}
STATEMENT = re.compile(r"(?:return\b.*|break|continue|(?:\+\+|--|\*)?\(?[A-Za-z_][\w.\[\]>:-]*(?: [-+|]?= |\(|\+\+|--|;).*)", re.DOTALL)
TABLE_ROW = re.compile(r"\s*\{.*\},?\s*(//.*)?$")


def tokens_of(text):
    """(kind, text, position) of everything that is compiled, without comments and blanks."""
    skipped_until = 0
    for match in TOKEN.finditer(text):
        kind, token, at = match.lastgroup, match.group(), match.start()
        if at < skipped_until or kind in ("comment", "space"):
            continue
        line_start = text.rfind("\n", 0, at) + 1
        if text[line_start:at].strip() == "" and token == "#":
            skipped_until = text.find("\n", at)
            continue
        if token in ("static_assert", "template"):
            # Checked by the compiler alone, or no expression.
            skipped_until = text.find(";" if token == "static_assert" else "\n", at)
            continue
        yield kind, token, at


def next_letter(text, at):
    letter = text[at]
    return text[:at] + ("a" if letter == "z" else "A" if letter == "Z" else "0" if letter == "9"
                        else chr(ord(letter) + 1)) + text[at + 1:]


def changes_of(text):
    """(position, length, replacement, what it is) of every change that is known."""
    tokens = list(tokens_of(text))
    for number, (kind, token, at) in enumerate(tokens):
        before = tokens[number - 1][1] if number else ""
        spaced = text[at - 1] in " \n" and text[at + len(token)] in " \n"
        if kind == "number":
            if text.startswith(", FieldKind::", at + len(token)):
                continue # rows that leave a gap do not compile
            value = token.rstrip("uUlLfF") if not token.lower().startswith("0x") else token.rstrip("uUlL")
            suffix = token[len(value):]
            value = value.replace("'", "")
            if "." in value:
                yield at, len(token), repr(float(value) + 1) + suffix, "constant + 1"
            else:
                base = 16 if value.lower().startswith("0x") else 10
                more = int(value, base) + 1
                yield at, len(token), (hex(more) if base == 16 else str(more)) + suffix, "constant + 1"
        elif kind in ("string", "character"):
            letters = [i for i in range(token.find(token[-1]) + 1, len(token) - 1)
                       if token[i].isalnum() and token[i - 1] not in "\\%"]
            if letters:
                changed = letters[len(letters) // 2]
                yield at, len(token), next_letter(token, changed), "letter"
        elif kind == "word" and token in WORDS and before not in (".", "enum") and text[at + len(token)] != "<":
            yield at, len(token), WORDS[token], "name"
        elif kind == "operator":
            if token in BINARY and spaced and before not in ("operator", ","):
                yield at, len(token), BINARY[token], "operator"
            elif token in ("++", "--") and before != "operator":
                yield at, len(token), "--" if token == "++" else "++", "operator"
            elif token == "!" and before in ("(", "&&", "||", "return", "="):
                yield at, len(token), "", "negation"
            elif token == "-" and not spaced and before in ("(", ",", "=", "return", "<", "{", ":"):
                yield at, len(token), "", "sign"
    yield from deleted_statements(text, tokens)
    yield from swapped_rows(text)


def deleted_statements(text, tokens):
    """Whole statements without a declaration, also those under an if."""
    parentheses, start, closes_condition = [], None, False
    for number, (_, token, at) in enumerate(tokens):
        before = tokens[number - 1][1] if number else ""
        is_label = before == ":" and text[:at].rstrip(" ").endswith(":\n")
        if not parentheses and (before in (";", "{", "}", "else") or closes_condition or is_label):
            start = at
        closes_condition = False
        if token in ("(", "["):
            parentheses.append(before in ("if", "for", "while", "switch"))
        elif token in (")", "]") and parentheses:
            closes_condition = parentheses.pop() and not parentheses
        elif token == ";" and not parentheses and start is not None:
            statement = text[start:at + 1]
            if STATEMENT.fullmatch(statement):
                yield start, len(statement), ";", "statement deleted"
            start = None


def swapped_rows(text):
    position, previous = 0, None
    for line in text.splitlines(keepends=True):
        row = line.rstrip("\n")
        if TABLE_ROW.match(row) and row.strip() != "{}," and "FieldKind::" not in row:
            if previous and previous[1].rstrip(",") != row.rstrip(",") and previous[1].endswith(",") == row.endswith(","):
                yield previous[0], len(previous[1]) + 1 + len(row), f"{row}\n{previous[1]}", "rows swapped"
            previous = (position, row)
        else:
            previous = None
        position += len(line)


class Mutant:
    def __init__(self, file, text, change):
        self.file, self.text = file, text
        self.at, self.length, self.new, self.kind = change
        self.line = text.count("\n", 0, self.at) + 1
        start = text.rfind("\n", 0, self.at) + 1
        self.column = self.at - start + 1
        old = text[self.at:self.at + self.length]
        if self.kind == "rows swapped":
            old, self.shown_new = (re.sub(r"\s+", " ", part).strip() for part in (old.split("\n")[0], self.new.split("\n")[0]))
        else:
            old, self.shown_new = re.sub(r"\s+", " ", old), self.new
        self.shown_old = old
        self.source_line = re.sub(r"\s+", " ", text[start:text.find("\n", self.at)]).strip()
        self.which = 1

    def mutated(self):
        return self.text[:self.at] + self.new + self.text[self.at + self.length:]

    def title(self):
        return f"{self.kind}: {self.shown_old} -> {self.shown_new}"

    def key(self):
        """Independent of line numbers: file, line's text, what changes, and which one of those in the file it is."""
        return f"{self.file} | {self.source_line} | {self.title()} | {self.which}"


def mutants_of(file):
    text = (TREE / file).read_text()
    found, seen, alike = [], set(), {}
    for change in changes_of(text):
        mutant = Mutant(file, text, change)
        if mutant.mutated() != text and mutant.mutated() not in seen:
            seen.add(mutant.mutated())
            found.append(mutant)
    for mutant in sorted(found, key=lambda each: each.at):
        key = mutant.key()
        mutant.which = alike[key] = alike.get(key, 0) + 1
    # The same draw for everybody, whatever the limit is.
    random.Random(f"{SEED} {file}").shuffle(found)
    return found


# --- The runs ---------------------------------------------------------------------------------------------------------

def bounded():
    most = 4 << 30
    resource.setrlimit(resource.RLIMIT_AS, (most, most))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run_test(test, preload, seconds):
    """"passed", "failed" or "timeout"."""
    environment = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    if preload:
        environment["LD_PRELOAD"] = str(preload)
    process = subprocess.Popen([str(BUILD / "tests" / test), "-silent"], env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=WORK, preexec_fn=bounded)
    try:
        return "passed" if process.wait(seconds) == 0 else "failed"
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        return "timeout"


def telling_tests(file, tests, folders, results):
    """`tests` in the order in which they probably notice a change in `file`: those that did before, by how often; those
    that are named after it; those of its room, for which `folders` has the folder of each test; all others. Of the slow
    ones only those that are named after it."""
    path = Path(file)
    noticed = collections.Counter(result["by"].split()[0] for key, result in results.items()
                                  if result["by"] and key.startswith(f"{file} | "))

    def is_namesake(test):
        name = test.removeprefix("tst_")
        return name in path.stem or path.stem in name

    def rank(test):
        return (-noticed[test], not is_namesake(test), folders.get(test) != path.parent.name, test)

    return sorted((test for test in tests if test not in SLOW or is_namesake(test)), key=rank)


class Trial:
    def __init__(self, libraries, results):
        self.libraries, self.results = libraries, results
        for library in libraries.values():
            library.precompile()
        self.folders = {path.stem: path.parent.name for path in TREE.rglob("tests/**/tst_*.cpp")}
        self.bounds = {} # seconds that each test may take; 0 where it can tell nothing
        self.object = WORK / "mutant.o"

    def tests_for(self, file):
        library = self.libraries[file.split("/")[0]]
        tests = telling_tests(file, library.tests, self.folders, self.results)
        if library.directory == HOST:
            tests += ["tst_walker", "tst_goldens", "tst_streams"] # users of the framework
        return tests

    def bound_of(self, test):
        """Measured with nothing changed, when the test is first needed."""
        if test not in self.bounds:
            started = time.monotonic()
            passes = run_test(test, None, 300) == "passed"
            self.bounds[test] = 10 + 5 * (time.monotonic() - started) if passes else 0
            if not passes:
                print(f"mutate: {test} is left out: it fails although nothing was changed", file=sys.stderr)
        return self.bounds[test]

    def try_mutant(self, mutant):
        """("killed" or "survived" or "does not compile" or "same code", by which test)."""
        if mutant.file.endswith(".h"):
            return self.try_header(mutant)
        library = self.libraries[mutant.file.split("/")[0]]
        source = TREE / mutant.file
        if library.object_from(source, mutant.mutated(), self.object) is not None:
            return "does not compile", ""
        preload = WORK / f"lib{LIBRARIES[library.directory]}.so"
        library.link_with(source, self.object, preload)
        outcome = self.run_tests(self.tests_for(mutant.file), preload)
        if outcome[0] == "survived" and self.is_same_code(library, source, mutant):
            return "same code", ""
        return outcome

    def run_tests(self, tests, preload):
        for test in tests:
            bound = self.bound_of(test)
            came = run_test(test, preload, bound) if bound else "passed"
            if came != "passed":
                return "killed", test if came == "failed" else f"{test} (timeout)"
        return "survived", ""

    def is_same_code(self, library, source, mutant):
        """The compiler makes the same of both."""
        objects = []
        for text in (mutant.text, mutant.mutated()):
            if library.object_from(source, text, self.object, optimised=True) is not None:
                return False
            objects.append(self.object.read_bytes())
        return objects[0] == objects[1]

    def try_header(self, mutant):
        """A header is compiled into the tests too: the one that is named after it is built again."""
        path = TREE / mutant.file
        try:
            path.write_text(mutant.mutated())
            test = f"tst_{path.stem}"
            with open(WORK / "header.log", "wb") as file:
                if subprocess.run(["ninja", "-C", BUILD, "-j1", test], stdin=subprocess.DEVNULL, stdout=file,
                                  stderr=subprocess.STDOUT).returncode != 0:
                    return "does not compile", ""
            return ("survived", "") if run_test(test, None, 300) == "passed" else ("killed", test)
        finally:
            path.write_text(mutant.text)


def digest(paths):
    total = hashlib.sha256()
    for path in sorted(paths):
        total.update(path.name.encode() + b"\0" + path.read_bytes())
    return total.hexdigest()[:16]


def tests_digest():
    return digest(path for directory in (AVI, HOST) for path in (TREE / directory / "tests").rglob("*") if path.is_file())


def earlier_results():
    results = {}
    if RESULTS.exists():
        for line in RESULTS.read_text().splitlines():
            result = json.loads(line)
            results[result["key"]] = result
    return results


def without_effect():
    """The changes that were looked at and alter nothing: their reasons by their keys."""
    reasons, reason = {}, ""
    for line in WITHOUT_EFFECT.read_text().splitlines() if WITHOUT_EFFECT.exists() else []:
        if line.startswith("#"):
            reason = line.lstrip("# ")
        elif line.strip():
            reasons[line.strip()] = reason
    return reasons


def shares(limit, counts):
    """How many of `limit` mutants each file gets of its `counts`: in proportion to the square root, so that long tables do
    not leave the loops over them without any; at least one where there is one. Headers get a quarter, because most of
    the library is compiled again for each of their mutants."""
    roots = {file: math.sqrt(count) / (4 if file.endswith(".h") else 1) for file, count in counts.items() if count}
    return {file: min(counts[file], max(1, round(limit * root / sum(roots.values())))) for file, root in roots.items()}


def draw(limit, only, files):
    """Which mutants to try: from each of the files its share."""
    chosen = [file for file in files if not only or only in file]
    if not chosen:
        sys.exit(f"mutate: no file is named like {only}: {', '.join(files)}")
    mutants = {file: mutants_of(file) for file in chosen}
    counts = {file: len(found) for file, found in mutants.items()}
    return [mutant for file, share in shares(limit, counts).items() for mutant in mutants[file][:share]]


def gone(keys):
    """The keys that name no change that is still possible."""
    possible = {}
    for key in keys:
        file = key.split(" | ")[0]
        if file not in possible:
            possible[file] = {mutant.key() for mutant in mutants_of(file)} if (TREE / file).exists() else set()
    return [key for key in keys if key not in possible[key.split(" | ")[0]]]


def report(drawn, results, reasons):
    counts = {}
    survivors = []
    for mutant in drawn:
        result = results.get(mutant.key())
        outcome = result["outcome"] if result else "not tried"
        if outcome == "survived" and mutant.key() in reasons:
            outcome = "without effect"
        counts.setdefault(mutant.file, {}).setdefault(outcome, 0)
        counts[mutant.file][outcome] += 1
        if outcome == "survived":
            survivors.append(mutant)
    kinds = ["killed", "survived", "without effect", "same code", "does not compile", "not tried"]
    print(f"{'file':40}" + "".join(f"{kind:>18}" for kind in kinds))
    totals = {kind: sum(each.get(kind, 0) for each in counts.values()) for kind in kinds}
    for file, each in list(counts.items()) + [("all", totals)]:
        print(f"{file:40}" + "".join(f"{each.get(kind, 0):18}" for kind in kinds))
    for mutant in survivors:
        print(f"SURVIVED {mutant.file}:{mutant.line}:{mutant.column}: {mutant.title()}\n    {mutant.key()}")
    counted = totals["killed"] + totals["survived"]
    percent = 100 * totals["killed"] / counted if counted else 0
    for key in gone(reasons):
        print(f"GONE from the sources, so {WITHOUT_EFFECT.name} needs it no more:\n    {key}")
    print(f"{counted} mutants count, the tests noticed {totals['killed']} of them: {percent:.1f} %")
    return percent >= LEAST_PERCENT


def main():
    arguments = argparse.ArgumentParser(prog="mutate", description="Do the tests notice small changes to the code?")
    arguments.add_argument("--limit", type=int, default=460, help="how many changes to try (default %(default)s)")
    arguments.add_argument("--only", metavar="FILE", help="only in files whose name contains this")
    arguments.add_argument("--jobs", type=int, default=os.cpu_count(), help="jobs of the first build")
    arguments.add_argument("--minutes", type=float, help="stop after this time; the next run goes on")
    arguments.add_argument("--frozen", action="store_true", help="work on the copy as it is, also when it is old")
    arguments.add_argument("--list", action="store_true", help="only print the changes that would be tried")
    options = arguments.parse_args()

    WORK.mkdir(parents=True, exist_ok=True)
    if not options.frozen:
        copy_tree()
        configure_copy()
    libraries = {directory: Library(directory) for directory in (AVI, HOST)}
    files = [file for library in libraries.values() for file in library.files()]
    drawn = draw(options.limit, options.only, files)
    if options.list:
        for mutant in drawn:
            print(f"{mutant.file}:{mutant.line}:{mutant.column}: {mutant.title()}")
        return 0
    if not options.frozen:
        build_copy(options.jobs)
    results = earlier_results()
    tests = tests_digest()
    sources = {file: digest([TREE / file]) for file in files}
    started = time.monotonic()
    trial = None
    for number, mutant in enumerate(drawn, 1):
        known = results.get(mutant.key())
        if known and known["source"] == sources[mutant.file] and (known["outcome"] != "survived" or known["tests"] == tests):
            continue
        if options.minutes and time.monotonic() - started > 60 * options.minutes:
            print(f"mutate: stopped after {options.minutes:g} minutes; the next run goes on", file=sys.stderr)
            break
        trial = trial or Trial(libraries, results)
        outcome, test = trial.try_mutant(mutant)
        result = {"key": mutant.key(), "outcome": outcome, "by": test, "source": sources[mutant.file], "tests": tests}
        results[mutant.key()] = result
        with open(RESULTS, "a", encoding="utf-8") as file:
            file.write(json.dumps(result) + "\n")
        print(f"{number}/{len(drawn)} {mutant.file}:{mutant.line}:{mutant.column} {mutant.title()}: {outcome}"
              f"{' by ' + test if test else ''}", flush=True)
    return 0 if report(drawn, results, without_effect()) else 1


if __name__ == "__main__":
    sys.exit(main())
