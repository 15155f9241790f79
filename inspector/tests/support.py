"""What the end-to-end tests share: the program, files made for one test, and small AVI files."""

import json
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import tempfile
import time
import unittest
from collections import Counter

PROGRAM = os.environ["QUENLOFAR_PROGRAM"]
ABI = os.environ["QUENLOFAR_ABI"]
PLUGIN = pathlib.Path(os.environ["QUENLOFAR_PLUGIN"])
UNRULY = pathlib.Path(os.environ["QUENLOFAR_UNRULY_PLUGIN"])
SAMPLES = pathlib.Path(os.environ["QUENLOFAR_SAMPLES"])
DOCS = pathlib.Path(os.environ["QUENLOFAR_DOCS"])
# Sanitizers are slow and take memory: bounds in time and space are looser there.
SANITIZED = bool(os.environ.get("QUENLOFAR_SANITIZED"))
UNOPTIMIZED = bool(os.environ.get("QUENLOFAR_UNOPTIMIZED"))  # and perhaps with counters: several times slower
PATIENCE = 60  # seconds within which everything comes, however busy the machine is

# What documents say of the parser of AVI files.
PARSER = {"name": "quenlofar-container-avi", "version": os.environ["QUENLOFAR_VERSION"]}
GOLDENS = sorted((SAMPLES / "golden").glob("*.avi"))


def environment(**changes):
    """The environment of the program: that of the tests, without places for plug-ins."""
    result = {key: value for key, value in os.environ.items() if key != "QUENLOFAR_PLUGIN_PATH"}
    result["XDG_DATA_HOME"] = "/nowhere"
    result.update(changes)
    return result


def run(*arguments, program=PROGRAM, env=None, timeout=120, **more):
    """Runs the program; the result holds returncode, stdout and stderr as bytes."""
    more.setdefault("stdin", subprocess.DEVNULL)
    more.setdefault("stdout", subprocess.PIPE)
    more.setdefault("stderr", subprocess.PIPE)
    return subprocess.run([program, *arguments], env=environment(**(env or {})), timeout=timeout, **more)


def wait_until(holds, process=None):
    """Waits until `holds()` is true, or `process` has ended, or PATIENCE is over."""
    deadline = time.monotonic() + PATIENCE
    while not holds() and (process is None or process.poll() is None) and time.monotonic() < deadline:
        time.sleep(0.01)


def catches(process, number):
    """Whether the program has begun to catch the signal."""
    with open(f"/proc/{process.pid}/status", encoding="ascii") as file:
        caught = next(int(line.split()[1], 16) for line in file if line.startswith("SigCgt"))
    return bool(caught >> (number - 1) & 1)


def has_opened(process, path):
    """Whether the program has the file open."""
    places = pathlib.Path(f"/proc/{process.pid}/fd")
    return any(os.path.realpath(place) == os.path.realpath(os.fsdecode(path)) for place in places.iterdir())


def peak_memory(*arguments):
    """The bytes that the program had in memory at most, while it ran with success and its output went nowhere.

    Before the program starts the child is a copy of this process, whose size counts too: compare two runs.
    """
    child = subprocess.Popen([PROGRAM, *arguments], env=environment(), stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        raise AssertionError(f"exit status {child.returncode}")
    return usage.ru_maxrss * 1024


def documents(output):
    """The JSON documents of `output`, one per line."""
    return [json.loads(line, parse_constant=reject) for line in output.decode("utf-8").splitlines()]


def reject(constant):
    raise ValueError(f"{constant} is no JSON")


def difference(expected, actual, where="document"):
    """Where `actual` differs from `expected`, or None. Keys that only `actual` has do not count."""
    if isinstance(expected, dict) and isinstance(actual, dict):
        for key, value in expected.items():
            if key not in actual:
                return f"{where}: no key {key}"
            found = difference(value, actual[key], f"{where}.{key}")
            if found:
                return found
        return None
    if isinstance(expected, list) and isinstance(actual, list):
        for number, (one, other) in enumerate(zip(expected, actual)):
            found = difference(one, other, f"{where}[{number}]")
            if found:
                return found
        return None if len(expected) == len(actual) else f"{where}: {len(actual)} entries instead of {len(expected)}"
    # In Python true equals 1; in JSON it does not.
    if isinstance(expected, bool) != isinstance(actual, bool) or expected != actual:
        return f"{where}: {actual!r} instead of {expected!r}"
    return None


def escaped(name):
    """`name` as a component of a path."""
    return "".join("".join(f"%{byte:02X}" for byte in c.encode()) if c in "/[]%" or ord(c) < 0x20
                   or 0x7F <= ord(c) <= 0x9F else c for c in name)


def with_paths(items, prefix=""):
    """All items, with those inside them, and their paths, worked out here."""
    names = Counter()
    for item in items:
        name = item.get("node", item.get("field", "unparsed"))
        number = f"[{names[name]}]" if names[name] else ""
        names[name] += 1
        path = prefix + escaped(name) + number
        yield item, path
        yield from with_paths(item.get("items", []), path + "/")


def chunk(name, data=b""):
    return name + struct.pack("<I", len(data)) + data + b"\0" * (len(data) % 2)


def riff_list(form, children, name=b"LIST", size=None):
    body = form + children
    return name + struct.pack("<I", len(body) if size is None else size) + body


def film(chunks):
    """An AVI file whose "movi" list holds `chunks` empty video chunks."""
    return riff_list(b"AVI ", riff_list(b"movi", chunk(b"00dc") * chunks), b"RIFF") + b"\0" * 200


def film_of_streams(count):
    """An AVI file with `count` streams of which nothing is said."""
    streams = riff_list(b"strl", b"") * count
    return riff_list(b"AVI ", riff_list(b"hdrl", streams) + riff_list(b"movi", b""), b"RIFF") + b"\0" * 200


def default_interrupt():
    """For a child: a shell's background jobs start with signals ignored, and the program respects that."""
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.SIG_DFL)


class Case(unittest.TestCase):
    """A test with a directory of its own."""

    def setUp(self):
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="quenlofar-test-"))
        self.addCleanup(shutil.rmtree, self.directory, ignore_errors=True)

    def endless(self, name="endless"):
        """A film of hours of work: its size allows as many items as a count in it asks for, far behind its few bytes."""
        properties = struct.pack("<9I", *[0] * 8, 0xFFFFFFFF)
        header = riff_list(b"hdrl", riff_list(b"strl", chunk(b"vprp", properties)))
        path = self.path(name, riff_list(b"AVI ", header + riff_list(b"movi", chunk(b"00dc", b"frame")), b"RIFF"))
        os.truncate(path, 1 << 40)
        return path

    def path(self, name, data=None):
        """The path of `name`, as bytes; with `data`, a new file."""
        result = os.path.join(os.fsencode(self.directory), os.fsencode(name))
        if data is not None:
            with open(result, "wb") as file:
                file.write(data)
        return result

    def sample(self, name="ffmpeg-mpeg4-mp3vbr-info-utf8"):
        return os.fsencode(SAMPLES / "golden" / f"{name}.avi")

    def assertEnds(self, result, status, *messages):
        """The exit status is `status`, and standard error has one line per message that holds it; no other line."""
        errors = result.stderr.decode("utf-8")
        self.assertEqual(result.returncode, status, errors)
        lines = errors.splitlines()
        self.assertEqual(len(lines), len(messages), errors)
        for line, message in zip(lines, messages):
            self.assertTrue(line.startswith("quenlofar: "), line)
            self.assertIn(message, line)
