"""Makes every command of the program meet failing calls of the system, one after the other, and looks at what it does.

usage: faults.py [--thin N] [--calls CALL,...] [--commands NAME,...] [--jobs N] PROGRAM INJECTOR SAMPLES

For each command and each kind of call (see KINDS) a first run counts the calls; then each of them fails in a run of its
own, once or from there on. Memory fails at no more than 700 places per command, evenly spread. With --thin N only one
run in N is made, others each time the number of N changes.

Whatever fails: the program ends by itself and not by a signal, in time; its status is 0 only with the whole output;
another status has a message; JSON is cut only where the output itself failed; a file of -o is what it was or complete,
and nothing else is left beside it. Findings are printed; then the exit status is 1.
"""

import argparse
import concurrent.futures
import errno
import json
import os
import pathlib
import resource
import shutil
import subprocess
import sys
import tempfile
from collections import Counter, namedtuple

MOST_PLACES = 700
PATIENCE = 60  # seconds
OLD = b"what was there\n"

# What can fail, and how: errors by number, "short" and "interrupted" as the injector has them.
KINDS = {
    "open": [errno.EACCES, errno.EMFILE],
    "read": [errno.EIO, "short", "interrupted"],
    "write": [errno.ENOSPC, errno.EIO, "short", "interrupted"],
    "close": [errno.EIO],
    "rename": [errno.EACCES],
    "unlink": [errno.EACCES],
    "stat": [errno.EACCES, errno.ELOOP, errno.EIO],
    "fsync": [errno.EIO],
    "thread": [errno.EAGAIN],
    "malloc": [errno.ENOMEM],
}
# None of these keeps a program from doing its work.
HARMLESS = ("short", "interrupted")

Command = namedtuple("Command", "name arguments")
COMMANDS = [
    Command("help", ["--help"]),
    Command("plugins", ["plugins"]),
    Command("summary", ["summary", "{one}"]),
    Command("summary-json", ["summary", "--format", "json", "{one}", "{other}"]),
    Command("tree", ["tree", "{one}"]),
    Command("tree-notes", ["tree", "--paths", "--hex", "--collapse", "{one}"]),
    Command("tree-filters", ["tree", "--only", "avih", "--where", "size>=4", "{one}"]),
    Command("tree-json", ["tree", "--format", "json", "{one}", "{other}"]),
    Command("tree-jobs", ["tree", "--format", "json", "-j", "3", "{one}", "{other}", "{one}", "{other}"]),
    Command("tree-file", ["tree", "--format", "json", "{one}", "-o", "{out}"]),
    Command("streams-csv", ["streams", "--format", "csv", "--files-from", "{list}"]),
    Command("streams-file", ["streams", "--format", "json", "-r", "{folder}", "-o", "{out}"]),
    Command("frames-json", ["frames", "--format", "json", "{one}"]),
    Command("at-json", ["at", "--format", "json", "{one}", "100", "2000"]),
    Command("bytes", ["bytes", "{one}", "RIFF(AVI )/LIST(hdrl)/avih"]),
    Command("bytes-file", ["bytes", "{one}", "0+1000", "-o", "{out}"]),
    Command("coverage-json", ["coverage", "--format", "json", "{one}"]),
    Command("diff-json", ["diff", "--format", "json", "{one}", "{other}"]),
    Command("diff-file", ["diff", "{one}", "{other}", "-o", "{out}"]),
]

Outcome = namedtuple("Outcome", "status output errors written left")


def whole_documents(text):
    """True when `text` is any number of complete JSON documents, each with its line feed."""
    decoder = json.JSONDecoder()
    at = 0
    while at < len(text):
        try:
            _, at = decoder.raw_decode(text, at)
        except ValueError:
            return False
        if text[at:at + 1] != "\n":
            return False
        at += 1
    return True


class Bench:
    """The files that the commands look at, and how they are run."""

    def __init__(self, program, injector, samples, directory):
        self.program = program
        self.injector = injector
        self.directory = pathlib.Path(directory)
        folder = self.directory / "films"
        folder.mkdir()
        self.names = {"folder": str(folder), "list": str(self.directory / "list")}
        for key, sample in (("one", "ffmpeg-mpeg4-mp3vbr-info-utf8"), ("other", "ffmpeg-cram-cinepak-mp2")):
            self.names[key] = str(folder / f"{key}.avi")
            shutil.copy(sample_of(samples, sample), self.names[key])
        pathlib.Path(self.names["list"]).write_text(f"{self.names['one']}\n{self.names['other']}\n", encoding="ascii")
        self.environment = {key: value for key, value in os.environ.items() if key != "QUENLOFAR_PLUGIN_PATH"}

    def run(self, command, rule=None, report=None):
        """Runs `command`, in which what `rule` says fails. The outcome's status is None when it took too long."""
        with tempfile.TemporaryDirectory(dir=self.directory, prefix="run-") as place:
            out = pathlib.Path(place, "out")
            out.write_bytes(OLD)
            arguments = [part.format(out=out, **self.names) for part in command.arguments]
            environment = dict(self.environment)
            if rule:
                environment.update(LD_PRELOAD=str(self.injector), QUENLOFAR_FAULT=rule)
            if report:
                environment["QUENLOFAR_FAULT_REPORT"] = str(report)
            try:
                result = subprocess.run([self.program, *arguments], env=environment, stdin=subprocess.DEVNULL,
                                        capture_output=True, timeout=PATIENCE, check=False)
            except subprocess.TimeoutExpired:
                return Outcome(None, b"", b"", OLD, [])
            left = [name for name in os.listdir(place) if name != "out"]
            return Outcome(result.returncode, result.stdout, result.stderr,
                           out.read_bytes() if out.exists() else None, left)

    def counts(self, command):
        """How often `command` makes calls of each kind, by their names."""
        with tempfile.NamedTemporaryFile(dir=self.directory, prefix="report-") as report:
            self.run(command, "open:2000000000:1", report.name)
            lines = pathlib.Path(report.name).read_text(encoding="ascii").splitlines()
        if not lines:
            sys.exit(f"faults: {command.name}: there is no report of the injector")
        return {call: int(count) for call, count in (line.split() for line in lines)}


def sample_of(samples, name):
    path = pathlib.Path(samples) / "golden" / f"{name}.avi"
    if not path.exists():
        sys.exit(f"faults: {path} is missing")
    return path


def findings(command, call, how, goes_on, clean, outcome):
    """What is wrong with `outcome`; `clean` is that of a run in which nothing failed."""
    if outcome.status is None:
        yield "it does not end"
        return
    if outcome.status < 0:
        yield f"it is ended by signal {-outcome.status}"
    elif outcome.status not in (0, 1, 2):
        yield f"exit status {outcome.status}"
    is_whole = outcome.output == clean.output and outcome.written == clean.written
    if how in HARMLESS and (outcome.status != clean.status or not is_whole):
        yield "a call that only did less keeps it from its work"
    if outcome.status == clean.status and not is_whole:
        yield f"exit status {outcome.status}, but the output is not the one without a failure"
    # A message that could not be written itself is missed by nobody.
    if outcome.status in (1, 2) and outcome.status != clean.status and not outcome.errors and call != "write":
        yield f"exit status {outcome.status} without a message"
    if call == "write":
        if not clean.output.startswith(outcome.output):
            yield "what was written is no beginning of the output"
    elif "json" in command.arguments and not whole_documents(outcome.output.decode()):
        yield "a JSON document is cut"
    if outcome.written not in (OLD, clean.written) and not tells_trouble(command, call, outcome):
        yield "the file of -o is neither what it was nor complete"
    if outcome.left and call != "unlink":
        yield f"left behind: {', '.join(outcome.left)}"


def tells_trouble(command, call, outcome):
    """True for a file of -o that is complete, if with what went wrong in it: its writing was not what failed."""
    if call in ("write", "close", "rename", "fsync") or outcome.status == 0 or outcome.written is None:
        return False
    if "json" in command.arguments:
        return whole_documents(outcome.written.decode())
    return outcome.written.endswith(b"\n")


def rules(call, places, count):
    """The rules for `places` of `count` calls, and what they mean: (text, how, does it go on)."""
    for how in KINDS[call]:
        for goes_on in (False, True):
            for place in places:
                yield f"{call}:{place}{'+' if goes_on else ''}:{how}", how, goes_on
    if count > 1 and call in ("read", "write"):
        yield f"{call}:1+:short", "short", True


def places_of(count, most):
    """At most `most` numbers from 1 to `count`, evenly spread."""
    if count <= most:
        return list(range(1, count + 1))
    return [1 + position * (count - 1) // (most - 1) for position in range(most)]


def parse(arguments):
    parser = argparse.ArgumentParser(usage=__doc__.split("\n\n")[1].removeprefix("usage: "))
    parser.add_argument("--thin", type=int, default=1)
    parser.add_argument("--calls", default=",".join(KINDS))
    parser.add_argument("--commands", default=",".join(command.name for command in COMMANDS))
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("program")
    parser.add_argument("injector")
    parser.add_argument("samples")
    options = parser.parse_args(arguments)
    options.calls = options.calls.split(",")
    options.commands = options.commands.split(",")
    for call in options.calls:
        if call not in KINDS:
            parser.error(f"there is no call {call}: {', '.join(KINDS)}")
    for name in options.commands:
        if name not in {command.name for command in COMMANDS}:
            parser.error(f"there is no command {name}: {', '.join(command.name for command in COMMANDS)}")
    return options


def main(arguments):
    options = parse(arguments)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    runs, found = Counter(), Counter()
    with tempfile.TemporaryDirectory(prefix="quenlofar-faults-") as directory, \
            concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        bench = Bench(options.program, options.injector, options.samples, directory)

        def try_rule(task):
            command, call, clean, (rule, how, goes_on) = task
            outcome = bench.run(command, rule)
            return command, call, rule, list(findings(command, call, how, goes_on, clean, outcome)), outcome

        tasks = []
        for command in (command for command in COMMANDS if command.name in options.commands):
            clean = bench.run(command)
            counts = bench.counts(command)
            for call in options.calls:
                count = counts[call]
                for rule in rules(call, places_of(count, MOST_PLACES), count):
                    tasks.append((command, call, clean, rule))
        for command, call, rule, wrong, outcome in pool.map(try_rule, tasks[::options.thin]):
            runs[call] += 1
            found[call] += bool(wrong)
            for finding in wrong:
                print(f"{command.name}: {rule}: {finding}")
                for line in outcome.errors.decode("utf-8", "replace").splitlines()[:3]:
                    print(f"    {line}")
    for call in options.calls:
        print(f"faults: {call:7}{runs[call]:7} runs, {found[call]} with findings")
    print(f"faults: {sum(runs.values())} runs, {sum(found.values())} with findings")
    return 1 if any(found.values()) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
