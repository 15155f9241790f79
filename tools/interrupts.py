"""Runs the program many times and sends it signals at varying moments, and looks at what it leaves.

usage: interrupts.py [--runs N] [--jobs N] [--seed N] PROGRAM

Half of the runs write to a file by -o, half are started by `timeout`, each independently of the other. Whenever the
signal comes: no temporary file is left; a JSON document is complete, also the one that was being printed; a file of -o
is what it was or complete; and the exit status tells the signal. SIGQUIT, which ends a program at once, and a second
signal are held to the files alone. Findings are printed; then the exit status is 1.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import random
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import time
from collections import Counter, namedtuple

PATIENCE = 120  # seconds
OLD = b"what was there\n"
IN_GOOD_ORDER = [signal.SIGTERM, signal.SIGTERM, signal.SIGTERM, signal.SIGINT, signal.SIGINT, signal.SIGHUP,
                 signal.SIGXCPU, signal.SIGALRM, signal.SIGUSR1, signal.SIGUSR2]
COMMANDS = [["tree"], ["tree", "--pretty"], ["tree", "-j", "3"], ["streams"], ["frames"], ["summary", "-j", "2"],
            ["coverage"], ["diff"], ["at"]]

Run = namedtuple("Run", "number command signals delay has_file has_timeout")


def chunk(name, data):
    return name + struct.pack("<I", len(data)) + data


def film(chunks):
    """An AVI file whose "movi" list holds `count` empty video chunks."""
    movi = b"movi" + chunk(b"00dc", b"") * chunks
    body = b"AVI " + chunk(b"LIST", movi)
    return chunk(b"RIFF", body) + b"\0" * 200


def documents(text):
    """The number of complete JSON documents in `text`; None when something else is behind them."""
    decoder, at, number = json.JSONDecoder(), 0, 0
    while at < len(text):
        try:
            _, at = decoder.raw_decode(text, at)
        except ValueError:
            return None
        if text[at:at + 1] != "\n":
            return None
        at += 1
        number += 1
    return number


def prepare():
    """For a child: no signal is ignored, and no core is dumped."""
    for number in {*IN_GOOD_ORDER, signal.SIGQUIT}:
        signal.signal(number, signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Bench:
    def __init__(self, program, directory):
        self.program = program
        self.directory = pathlib.Path(directory)
        self.film = self.directory / "film.avi"
        self.film.write_bytes(film(4000))
        self.other = self.directory / "other.avi"
        self.other.write_bytes(film(3000))
        self.environment = {key: value for key, value in os.environ.items() if key != "QUENLOFAR_PLUGIN_PATH"}

    def arguments(self, command):
        files = [str(self.film), str(self.other)] if command[0] == "diff" \
            else [str(self.film), "100", "5000"] if command[0] == "at" \
            else [str(self.film), str(self.other)] * 3
        return [self.program, *command, "--format", "json", *files]

    def measure(self, command):
        """The output of `command` without a signal, and the seconds that it takes."""
        begin = time.monotonic()
        result = subprocess.run(self.arguments(command), env=self.environment, capture_output=True, check=False)
        if documents(result.stdout.decode()) is None:
            sys.exit(f"interrupts: {command} is no JSON without a signal either")
        return result.stdout, time.monotonic() - begin

    def findings(self, run, clean):
        """What is wrong with what `run` leaves."""
        with tempfile.TemporaryDirectory(dir=self.directory, prefix="run-") as place:
            target = pathlib.Path(place, "out")
            target.write_bytes(OLD)
            arguments = self.arguments(run.command)
            if run.has_file:
                arguments += ["-o", str(target)]
            if run.has_timeout:
                name = run.signals[0].name.removeprefix("SIG")
                arguments = ["timeout", "--preserve-status", "-s", name, f"{max(run.delay, 0.001):.6f}", *arguments]
            # cat is a reader that never sleeps; one of this program's threads may have to wait for the others.
            with tempfile.TemporaryFile(dir=self.directory) as output, \
                    tempfile.TemporaryFile(dir=self.directory) as errors:
                with subprocess.Popen(["cat"], stdin=subprocess.PIPE, stdout=output) as reader:
                    process = subprocess.Popen(arguments, env=self.environment, stdin=subprocess.DEVNULL,
                                               stdout=reader.stdin, stderr=errors, preexec_fn=prepare)
                    reader.stdin.close()
                    try:
                        if not run.has_timeout:
                            time.sleep(run.delay)
                            for number in run.signals:
                                process.send_signal(number)
                                time.sleep(0.002)
                        process.wait(PATIENCE)
                    except subprocess.TimeoutExpired:
                        process.kill()
                        process.wait()
                        yield "it does not end"
                        return
                for file in (output, errors):
                    file.seek(0)
                yield from self.judge(run, clean, process.returncode, output.read(), errors.read(), target)

    @staticmethod
    def judge(run, clean, status, output, errors, target):
        first = run.signals[0]
        left = [name for name in os.listdir(target.parent) if name != target.name]
        if left:
            yield f"left behind: {', '.join(left)}"
        written = target.read_bytes()
        if run.has_file and output:
            yield "standard output is used in spite of -o"
        if written not in (OLD, clean):
            yield "the file of -o is neither what it was nor complete"
        if status == 0 and (written if run.has_file else output) != clean:
            yield "exit status 0 without the whole output"
        if signal.SIGQUIT in run.signals:
            return
        if documents(output.decode()) is None:
            yield f"a JSON document is cut: ...{output[-60:]!r}"
        # Before it catches signals, it may be ended by one; then there is no output.
        if status not in (0, 1, 128 + first) and not (status in (-first, 128 + first) and not output):
            yield f"exit status {status}; {errors.decode('utf-8', 'replace')[:200]}"


def plan(runs, seed, seconds):
    """`runs` runs, spread over commands, signals and moments."""
    chance = random.Random(seed)
    for number in range(runs):
        command = number // 4 % len(COMMANDS)
        first = signal.SIGQUIT if chance.random() < 0.08 else chance.choice(IN_GOOD_ORDER)
        signals = [first]
        if chance.random() < 0.3:
            signals.append(first)
        # Some before the handlers, most during the work, some behind its end.
        delay = chance.random() ** 1.5 * 1.3 * seconds[command]
        yield Run(number, COMMANDS[command], signals, delay, number % 2 == 0, number // 2 % 2 == 0), command


def main(arguments):
    parser = argparse.ArgumentParser(usage=__doc__.split("\n\n")[1].removeprefix("usage: "))
    parser.add_argument("--runs", type=int, default=6000)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("program")
    options = parser.parse_args(arguments)
    kinds, found = Counter(), 0
    with tempfile.TemporaryDirectory(prefix="quenlofar-interrupts-") as directory, \
            concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        bench = Bench(options.program, directory)
        measured = [bench.measure(command) for command in COMMANDS]

        def try_run(task):
            run, command = task
            return run, list(bench.findings(run, measured[command][0]))

        for run, wrong in pool.map(try_run, plan(options.runs, options.seed, [seconds for _, seconds in measured])):
            kinds["-o"] += run.has_file
            kinds["timeout"] += run.has_timeout
            found += bool(wrong)
            for finding in wrong:
                print(f"{' '.join(run.command)}{' -o' if run.has_file else ''}{' timeout' if run.has_timeout else ''} "
                      f"{'+'.join(number.name for number in run.signals)} after {run.delay:.4f} s: {finding}")
    print(f"interrupts: {options.runs} runs, {kinds['-o']} with -o, {kinds['timeout']} under timeout, "
          f"{found} with findings")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
