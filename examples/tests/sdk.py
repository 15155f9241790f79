"""What the tests of the framework as others use it share: an installation, and projects that are built against it."""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["QUENLOFAR_SOURCE"])
CMAKE = os.environ["QUENLOFAR_CMAKE"]
QT = os.environ["QUENLOFAR_QT"]
# A library that was built with sanitizers can only be linked with them.
FLAGS = [f"-fsanitize={os.environ['QUENLOFAR_SANITIZE']}"] if os.environ.get("QUENLOFAR_SANITIZE") else []


def call(*command, **more):
    """Runs a command that has to succeed; its output is shown if it does not."""
    environment = {key: value for key, value in os.environ.items() if key != "QUENLOFAR_PLUGIN_PATH"}
    environment.update(more.pop("env", {}))
    result = subprocess.run([os.fspath(part) for part in command], env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=500, **more)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}\n{result.stdout.decode(errors='replace')}")
    return result.stdout.decode()


def configure_and_build(source, build, prefix, *definitions):
    """Builds a CMake project that finds quenlofar under `prefix`."""
    call(CMAKE, "-G", "Ninja", "-S", source, "-B", build, f"-DCMAKE_PREFIX_PATH={prefix}",
         f"-DCMAKE_CXX_COMPILER={os.environ['QUENLOFAR_CXX']}", f"-DCMAKE_CXX_FLAGS={' '.join(FLAGS)}", *definitions)
    call(CMAKE, "--build", build)


def items(document):
    """(path, item) of each node and leaf of a JSON document, in order; siblings are not told apart."""
    def walk(children, path):
        for item in children:
            here = f"{path}{item.get('node', item.get('field', '?'))}"
            yield here, item
            yield from walk(item.get("items", []), here + "/")
    return list(walk(document["elements"], ""))


def uncovered(document):
    """The ranges of the file that are in no leaf, and those that are in several, as (begin, end) pairs."""
    leaves = sorted((item["offset"], item["offset"] + item["size"])
                    for _, item in items(document) if "node" not in item and item["size"] > 0)
    gaps, overlaps, at = [], [], 0
    for begin, end in leaves + [(document["fileSize"],) * 2]:
        if begin > at:
            gaps.append((at, begin))
        elif begin < at:
            overlaps.append((begin, at))
        at = max(at, end)
    return gaps, overlaps


class Case(unittest.TestCase):
    """Tests with one temporary directory and one installation for all of them."""

    @classmethod
    def setUpClass(cls):
        cls.directory = pathlib.Path(tempfile.mkdtemp(prefix="quenlofar-sdk-"))
        cls.addClassCleanup(shutil.rmtree, cls.directory, ignore_errors=True)
        cls.prefix = cls.directory / "prefix"
        call(CMAKE, "--install", os.environ["QUENLOFAR_BUILD"], "--prefix", cls.prefix)

    def run_program(self, *arguments):
        """The installed program: returncode, stdout and stderr."""
        environment = {key: value for key, value in os.environ.items() if key != "QUENLOFAR_PLUGIN_PATH"}
        return subprocess.run([self.prefix / "bin" / "quenlofar", *arguments], env=environment, timeout=300,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def documents(self, *files):
        """The JSON documents of files, in their order."""
        result = self.run_program("tree", "--format", "json", *files)
        self.assertLess(result.returncode, 2, result.stderr)
        return [json.loads(line) for line in result.stdout.decode().splitlines()]
