"""Measures speed and memory and prints tables; see tools/bench --help and docs/performance.md."""
import argparse
import json
import pathlib
import re
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile

from benchfiles import Files, Sizes, SmokeSizes

ROOT = pathlib.Path(__file__).resolve().parent.parent
MOST_RATIO = 1.05 # of a work that nobody meant to change: more is slower than machines are restless


class Failure(Exception):
    """Something that was to be measured does not do what it should."""


class Build:
    """Programs of one state of the sources."""

    def __init__(self, directory):
        self.directory = pathlib.Path(directory)
        self.program = self.directory / "bin" / "quenlofar"

    def tool(self, name):
        return self.directory / "benchmarks" / name


def output_of(*command):
    """What a command prints; its messages are passed on."""
    result = subprocess.run(list(map(str, command)), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
    if result.returncode != 0:
        raise Failure(f"this failed: {' '.join(map(str, command))}")
    return result.stdout.decode()


def values_of(line):
    """"name=value name=value": numbers by their names; other values stay texts."""
    values = {}
    for pair in line.split():
        name, _, value = pair.partition("=")
        values[name] = float(value) if re.fullmatch(r"-?[\d.]+(e[-+]?\d+)?", value) else value
    return values


def spread(values):
    """Half the distance between the quartiles, as a part of the median."""
    if len(values) < 2:
        return 0.0
    low, middle, high = statistics.quantiles(values, n=4, method="inclusive")
    return (high - low) / 2 / middle if middle else 0.0


def percent(part):
    return f"± {100 * part:.0f} %"


class Table:
    """A table of Markdown, printed as it grows."""

    def __init__(self, *titles):
        self.titles, self.has_heading, self.misses = titles, False, 0

    def row(self, *cells):
        if not self.has_heading:
            print("| " + " | ".join(self.titles) + " |")
            print("|" + "---|" * len(self.titles))
            self.has_heading = True
        print("| " + " | ".join(map(str, cells)) + " |", flush=True)

    def kept(self, is_kept, is_smoke):
        """The last cell of a row: whether its goal is kept."""
        if is_smoke:
            return "-"
        self.misses += not is_kept
        return "yes" if is_kept else "no"


class Bench:
    """What both kinds of tables need."""

    def __init__(self, options, build):
        self.options, self.build = options, build
        self.sizes = SmokeSizes if options.smoke else Sizes
        self.files = Files(options.data_dir, build.tool("make-benchmark-file"))

    def walk(self, build, sinks, file, runs):
        """A dictionary for each of `sinks`, into which the file is walked."""
        output = output_of(build.tool("walk-benchmark"), "--runs", runs, "--least-seconds",
                           0 if self.options.smoke else 0.1, sinks, file)
        return [self.chosen(values_of(line)) for line in output.splitlines()]

    def programs(self, *commands, runs, options=()):
        """A dictionary for each program, which ran in turn."""
        line = [part for command in commands for part in ("::", *command)][1:]
        output = output_of(self.build.tool("time-programs"), "--runs", runs, *options, *line)
        return [self.chosen(values_of(line)) for line in output.splitlines()]

    def chosen(self, values):
        """With --cpu, times are those of the processor."""
        if self.options.cpu:
            for name, other in (("seconds", "cpu"), ("spread", "cpu_spread"), ("ratio", "cpu_ratio"),
                                ("ratio_spread", "cpu_ratio_spread")):
                if other in values:
                    values[name] = values[other]
        return values


class Goals(Bench):
    """Each row against its goal, as in docs/performance.md."""

    def __init__(self, options, build):
        super().__init__(options, build)
        self.table = Table("work", "file", "goal", "measured", "noise", "kept")

    def row(self, work, file, goal, measured, noise, is_kept):
        self.table.row(work, file, goal, measured, noise, self.table.kept(is_kept, self.options.smoke))

    def tree(self, file):
        return [self.build.program, "tree", "--format", "json", file]

    def counting_row(self, name, found):
        self.row("walk into a counting sink", name, "≤ 1.0 × floor", f"{found['ratio']:.4f} × ({found['seconds']:.6f} s)",
                 percent(found["ratio_spread"]), found["ratio"] <= 1.0)

    def memory_row(self, found, frames, most=None):
        most = most or 12 + 12 * frames / 1e6
        peak = found["peak"] / 1e6
        self.row("peak memory of the program", "", f"≤ {most:g} MB", f"{peak:.1f} MB", "", peak <= most)

    def rate_row(self, work, name, found, size, least):
        rate = size / found["seconds"] / 1e6
        self.row(work, name, f"≥ {least} MB/s", f"{rate:.0f} MB/s ({found['seconds']:.6f} s)",
                 percent(found["spread"]), rate >= least)

    def frames(self):
        name = f"{self.sizes.frames} frames"
        file = self.files.generated("frames", self.sizes.frames)
        count, tree, json_sink = self.walk(self.build, "floor,count,tree,json", file, self.options.runs)
        self.counting_row(name, count)
        nanoseconds = count["seconds"] / count["items"] * 1e9
        self.row("", "", "≤ 15 ns per item", f"{nanoseconds:.1f} ns", percent(count["spread"]), nanoseconds <= 15)
        allocations = count.get("allocations")
        self.row("", "", "0 allocations per item", "not counted" if allocations is None else f"{allocations:.0f}", "",
                 not allocations)

        each = tree["peak"] / tree["items"]
        self.row("full tree in memory", "the same", "≤ 1.8 × floor", f"{tree['ratio']:.4f} × ({tree['seconds']:.6f} s)",
                 percent(tree["ratio_spread"]), tree["ratio"] <= 1.8)
        self.row("", "", "≤ 18 bytes per item", f"{each:.1f} bytes", "", each <= 18)
        growth = tree.get("allocations", 0) / tree.get("steady_items", 1)
        self.row("", "", "amortised growth", f"{growth:.5f} allocations per item", "",
                 tree.get("allocations", 0) <= tree["items"] / 1000)

        self.rate_row("JSON, in the process", "the same", json_sink, json_sink["output"], 600)
        program, = self.programs(self.tree(file), runs=self.options.runs)
        self.rate_row("`tree --format json >/dev/null`", "the same", program, json_sink["output"], 600)
        self.memory_row(program, self.sizes.frames, 24)

    def at(self):
        """A byte of the index: the command has to look at every item."""
        file = self.files.generated("frames", self.sizes.frames)
        streams, program = self.programs([self.build.program, "streams", file],
                                         [self.build.program, "at", file, "end-100"], runs=self.options.runs)
        ratio = program["seconds"] / streams["seconds"]
        self.row("`at FILE end-100`", f"{self.sizes.frames} frames", "≤ 1.5 × `streams`",
                 f"{ratio:.2f} × ({program['seconds']:.6f} s)", percent(program["spread"]), ratio <= 1.5)
        self.memory_row(program, self.sizes.frames, 16)

    def verdict(self):
        """Strict reading beside a program that walks everything once and prints little."""
        name = f"{self.sizes.frames} frames"
        file = self.files.generated("frames", self.sizes.frames)
        for arguments, most in ((["check"], 1.5), (["packets", "--format", "csv"], 2), (["packets", "--format", "json"], 3)):
            self.beside_streams(file, name, most, *arguments)
        film = self.files.encoded("film", self.sizes.film)
        if film:
            self.beside_streams(film, f"film, {self.sizes.film} s", 1.5, "check")
        segments = self.files.encoded("opendml", self.sizes.opendml)
        if segments:
            empty, program = self.programs([self.build.tool("empty-qt-program")],
                                           [self.build.program, "check", "--fail-on", "never", segments],
                                           runs=self.options.runs)
            more = (program["seconds"] - empty["seconds"]) * 1000
            self.row("`check`", f"OpenDML, {segments.stat().st_size / 1e9:.1f} GB",
                     "≤ 30 ms above an empty Qt program", f"{more:.1f} ms", percent(program["spread"]), more <= 30)
        self.deep()

    def beside_streams(self, file, name, most, *arguments):
        streams, program = self.programs([self.build.program, "streams", file],
                                         [self.build.program, *arguments, file], runs=self.options.runs)
        ratio = program["seconds"] / streams["seconds"]
        self.row(f"`{' '.join(arguments)} >/dev/null`", name, f"≤ {most:g} × `streams`",
                 f"{ratio:.2f} × ({program['seconds']:.6f} s)", percent(program["spread"]), ratio <= most)
        self.memory_row(program, self.sizes.frames, 64)

    def deep(self):
        """All rules with the payload, which is in the page cache."""
        file = self.files.encoded("payload", self.sizes.payload)
        if file:
            program, = self.programs([self.build.program, "check", "--level", "deep", "--fail-on", "never", file],
                                     runs=self.options.runs)
            self.rate_row("`check --level deep`", f"MPEG-4, {file.stat().st_size / 1e9:.1f} GB", program,
                          file.stat().st_size, 1000)

    def film(self):
        file = self.files.encoded("film", self.sizes.film)
        if not file:
            return
        count, = self.walk(self.build, "floor,count", file, self.options.runs)
        self.counting_row(f"film, {self.sizes.film} s", count)
        if count["frames"] != self.sizes.film * 25:
            raise Failure(f"the film has {self.sizes.film * 25} frames, but {count['frames']:.0f} were reported")
        floor, program = self.programs([self.build.tool("chunk-floor"), file], self.tree(file), runs=self.options.runs)
        ratio = program["seconds"] / floor["seconds"]
        self.row("`tree --format json >/dev/null`", "the same", "≤ 6 × floor", f"{ratio:.2f} × ({program['seconds']:.6f} s)",
                 percent(program["spread"]), ratio <= 6)
        self.memory_row(program, count["frames"], 16)

    def opendml(self):
        file = self.files.encoded("opendml", self.sizes.opendml)
        if not file:
            return
        empty, program = self.programs([self.build.tool("empty-qt-program")], self.tree(file), runs=self.options.runs)
        size = file.stat().st_size
        more = (program["seconds"] - empty["seconds"]) * 1000
        part = (program["read"] - empty["read"]) * 100 / size
        self.row("`tree --format json >/dev/null`", f"OpenDML, {size / 1e9:.1f} GB", "≤ 20 ms above an empty Qt program",
                 f"{more:.1f} ms", percent(program["spread"]), more <= 20)
        self.row("read of the file", "", "≤ 1 %", f"{part:.3f} %", "", part <= 1)
        self.memory_row(program, 0)

    def searched(self, work, kind, size, least):
        """A walk that has to look at every byte."""
        file = self.files.generated(kind, size)
        found, = self.walk(self.build, "count", file, self.options.runs)
        self.rate_row(work, kind, found, size, least)

    def dv(self):
        self.searched("DV type 1: chunks of an unknown id", "dv", self.sizes.dv, 500)

    def look_ahead(self):
        for kind in ("random", "zero", "letters"):
            self.searched("look-ahead in an unknown chunk", f"unknown-{kind}", self.sizes.area, 500)

    def garbage(self):
        for kind, least in (("random", 600), ("zero", 600), ("letters", 300)):
            self.searched("resynchronising", f"garbage-{kind}", self.sizes.area, least)

    def no_riff(self):
        for kind in ("zero", "random"):
            self.searched("detection: no AVI file", f"no-riff-{kind}", self.sizes.no_riff, 1000)

    def scaling(self):
        times = []
        for count in self.sizes.scaling:
            found, = self.walk(self.build, "count", self.files.generated("frames", count), self.options.runs)
            times.append(found["seconds"] / found["items"] * 1e9)
        part = 100 * (max(times) / min(times) - 1)
        self.row("cost per item, counting sink", f"{' '.join(map(str, self.sizes.scaling))} frames", "flat within 15 %",
                 f"{', '.join(f'{each:.2f}' for each in times)} ns: {part:.0f} %", percent(found["spread"]), part <= 15)

    def start_up(self):
        empty, program = self.programs([self.build.tool("empty-qt-program")],
                                       self.tree(ROOT / "samples" / "sample.avi"),
                                       runs=1 if self.options.smoke else 41, options=["--read"])
        first, ours = (each["first_byte"] * 1000 for each in (empty, program))
        self.row("start to first byte of output", "sample", "≤ 15 ms above an empty Qt program",
                 f"{ours - first:.1f} ms ({first:.1f} and {ours:.1f} ms)", percent(program["spread"]), ours - first <= 15)
        self.memory_row(program, 0)

    def viewer(self):
        """The window, driven without a screen; left out where it was not built."""
        if not self.build.tool("viewer-benchmark").exists():
            return
        frames, name = self.files.generated("frames", self.sizes.frames), f"{self.sizes.frames} frames"
        many = self.files.generated("frames", self.sizes.scaling[-1])
        sparse = self.files.generated("sparse", self.sizes.sparse)
        for work, title, file, its_name, most in (
                ("start", "viewer: start to first paint", sparse, f"sparse, {self.sizes.sparse / 1e9:g} GB", 0.3),
                ("ready", "viewer: structure, packets, findings ready", frames, name, 1.5),
                ("place", "place set in one view, shown in all", frames, "the same", 0.05),
                ("expand", "expanding the node with the most children", frames, "the same", 0.05),
                ("scroll", "a frame of the structure that is scrolled", frames, "the same", 0.016),
                ("bytes", "a frame of the bytes that are scrolled", frames, "the same", 0.016),
                ("path", "path of the last child told and found", frames, "the same", 0.05),
                ("filter", "every item held against a condition", frames, "the same", None),
                ("below", "everything expanded, up to a million rows", frames, "the same", None),
                ("sort", "all packets held against a condition and sorted", frames, "the same", 0.5),
                ("plot", "a frame of the plot, zoomed or moved", frames, "the same", 0.033),
                ("close", "closing while the file is read", frames, "the same", 0.1),
                ("plot", "a frame of the plot, zoomed or moved", many, f"{self.sizes.scaling[-1]} frames", 0.033),
                ("ready", "viewer: structure ready, or its limit", many, f"{self.sizes.scaling[-1]} frames", None)):
            self.viewer_row(work, title, file, its_name, most)
        random = self.files.generated("no-riff-random", self.sizes.no_riff)
        found = values_of(output_of(self.build.tool("viewer-benchmark"), "find", random))
        self.rate_row("viewer: bytes looked for", "no-riff-random", {**found, "spread": 0}, self.sizes.no_riff, 1000)

    def viewer_row(self, work, title, file, name, most):
        """Its time, the longest time without an answer, and its memory where that has a goal."""
        runs = [values_of(output_of(self.build.tool("viewer-benchmark"), work, file))
                for _ in range(min(self.options.runs, 3))]
        seconds, blocked, busy = (statistics.median(run[key] for run in runs) for key in ("seconds", "blocked", "busy"))
        self.row(title, name, f"≤ {most * 1000:g} ms" if most else "", f"{seconds * 1000:.1f} ms",
                 percent(spread([run["seconds"] for run in runs])), most is None or seconds <= most)
        self.row("longest time without an answer", "", "≤ 50 ms",
                 f"{blocked * 1000:.1f} ms, of which the program had the processor for {busy * 1000:.1f} ms", "",
                 (busy if self.options.cpu else blocked) <= 0.05)
        if work == "ready":
            peak = max(run["peak"] for run in runs)
            goal = 350e6 if file == self.files.generated("frames", self.sizes.frames) else 2500e6
            self.row("peak memory of the program", "", f"≤ {goal / 1e6:g} MB", f"{peak / 1e6:.0f} MB", "", peak <= goal)

    def inner_loops(self):
        """The table is Google Benchmark's own."""
        print("\n" + output_of(self.build.tool("inner-loops"), f"--benchmark_min_time={least_time(self.options)}"))

    def peers(self):
        """Programs of others that print everything they know of a file, next to ours. The gigabytes that some of them
        want are bounded (12 GB, five minutes), so that the machine survives."""
        print()
        peers = Table("program", "file", "time", "peak memory")
        for file in filter(None, (self.files.generated("frames", self.sizes.frames),
                                  self.files.encoded("film", self.sizes.film))):
            for title, command in (
                    ("quenlofar tree --format json", self.tree(file)),
                    ("ffprobe -show_packets", ["ffprobe", "-v", "error", "-show_packets", file]),
                    ("mediainfo --Details=1 --ParseSpeed=1", ["mediainfo", "--Details=1", "--ParseSpeed=1", file]),
                    ("fq dv", ["fq", "dv", file])):
                if shutil.which(command[0]):
                    peers.row(*self.peer(title, command, file))

    def peer(self, title, command, file):
        def bounded():
            resource.setrlimit(resource.RLIMIT_AS, (12_000_000 << 10,) * 2)

        run = [self.build.tool("time-programs"), "--runs", "1", "--no-warm-up", "timeout", "300", *command]
        result = subprocess.run(run, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                preexec_fn=bounded)
        found = self.chosen(values_of(result.stdout.decode()))
        outcome = {0: "", 124: ", then stopped"}.get(found["exit"], ", then it failed")
        return (f"`{title}`", file.name, f"{found['seconds']:.2f} s{outcome}", f"{found['peak'] / 1e6:.0f} MB")


def least_time(options):
    """Seconds for each of the inner loops."""
    return 0.001 if options.smoke else 0.5


def commit_build(commit):
    """What `commit` builds, in a directory of its own below build/."""
    name = output_of("git", "-C", ROOT, "rev-parse", "--verify", f"{commit}^{{commit}}").strip()
    directory = ROOT / "build" / "bench-against" / name[:12]
    if not directory.exists():
        unfinished = directory.with_suffix(".unfinished")
        shutil.rmtree(unfinished, ignore_errors=True)
        unfinished.mkdir(parents=True)
        archive = subprocess.Popen(["git", "-C", ROOT, "archive", name], stdout=subprocess.PIPE)
        subprocess.run(["tar", "-x", "-C", unfinished], stdin=archive.stdout, check=True)
        if archive.wait() != 0:
            raise Failure(f"commit {name} cannot be taken out")
        unfinished.rename(directory)
    return preset_build(directory)


def preset_build(sources):
    """What a source tree builds with its preset "bench"."""
    directory = sources / "build" / "bench"
    directory.mkdir(parents=True, exist_ok=True)
    for name, command in (("configure", ["cmake", "-S", sources, "--preset", "bench"]),
                          ("build", ["cmake", "--build", directory])):
        log = directory / f"{name}.log"
        print(f"{sources}: {name}", file=sys.stderr)
        with open(log, "wb") as file:
            if subprocess.run(command, cwd=sources, stdin=subprocess.DEVNULL, stdout=file, stderr=file).returncode != 0:
                raise Failure(f"this failed, its output is in {log}: {' '.join(map(str, command))}")
    return Build(directory)


class Comparison(Bench):
    """Two builds, measured in turn. Below 1, the newer one takes less."""

    def __init__(self, options, build, earlier):
        super().__init__(options, build)
        self.builds = (build, earlier)
        self.table = Table("work", "file", "before", "now", "ratio", "noise", f"≤ {MOST_RATIO:g}")

    def ratio_row(self, work, file, unit, pairs):
        """`pairs` of what was measured one after the other: now, before."""
        ratios = [now / before if before else 1.0 for now, before in pairs]
        ratio = statistics.median(ratios)
        now, before = (statistics.median(values) for values in zip(*pairs))
        self.table.row(work, file, f"{before:.6g} {unit}", f"{now:.6g} {unit}", f"{ratio:.3f}", percent(spread(ratios)),
                       self.table.kept(ratio <= MOST_RATIO, self.options.smoke))

    def in_turn(self, runs, measure):
        """What `measure` says of both builds, `runs` times; the one that begins changes from turn to turn."""
        pairs = []
        for turn in range(runs):
            order = self.builds if turn % 2 == 0 else self.builds[::-1]
            found = {id(build): measure(build) for build in order}
            pairs.append(tuple(found[id(build)] for build in self.builds))
        return pairs

    def walk_rows(self, file, name, *sinks):
        """(work, sink) of `sinks`: how long a walk takes, and a tree's memory."""
        for work, sink in sinks:
            pairs = self.in_turn(self.options.runs, lambda build: self.walk(build, sink, file, 1)[0])
            self.ratio_row(work, name, "s", [(now["seconds"], before["seconds"]) for now, before in pairs])
            if sink == "tree":
                self.ratio_row("", "", "bytes per item",
                               [tuple(each["peak"] / each["items"] for each in pair) for pair in pairs])

    def program_rows(self, file, name, *arguments, runs=None, key="seconds"):
        options = ["--no-warm-up"] + (["--read"] if key == "first_byte" else [])

        def measure(build):
            return self.programs([build.program, *arguments, file], runs=1, options=options)[0]

        work = f"`{' '.join(arguments)}`"
        try:
            measure(self.builds[1])
        except Failure:
            print(f"bench: left out, the earlier state cannot do it: {work}", file=sys.stderr)
            return
        pairs = self.in_turn(runs or self.options.runs, measure)
        self.ratio_row(work, name, "s", [(now[key], before[key]) for now, before in pairs])
        self.ratio_row("its peak memory", "", "MB", [tuple(each["peak"] / 1e6 for each in pair) for pair in pairs])

    def frames(self):
        file, name = self.files.generated("frames", self.sizes.frames), f"{self.sizes.frames} frames"
        self.walk_rows(file, name, ("walk into a counting sink", "count"), ("full tree in memory", "tree"),
                       ("JSON, in the process", "json"))
        for arguments in (["tree", "--format", "json"], ["tree"], ["frames"], ["summary"], ["coverage"]):
            self.program_rows(file, "the same", *arguments)

    def at(self):
        file = self.files.generated("frames", self.sizes.frames)
        options = ["--no-warm-up"]
        pairs = self.in_turn(self.options.runs, lambda build: self.programs(
            [build.program, "at", file, "end-100"], runs=1, options=options)[0])
        self.ratio_row("`at FILE end-100`", f"{self.sizes.frames} frames", "s",
                       [(now["seconds"], before["seconds"]) for now, before in pairs])

    def verdict(self):
        file, name = self.files.generated("frames", self.sizes.frames), f"{self.sizes.frames} frames"
        for arguments in (["check"], ["packets", "--format", "csv"], ["packets", "--format", "json"], ["streams"]):
            self.program_rows(file, name, *arguments)

    def film(self):
        file = self.files.encoded("film", self.sizes.film)
        if file:
            self.walk_rows(file, f"film, {self.sizes.film} s", ("walk into a counting sink", "count"))
            self.program_rows(file, "the same", "tree", "--format", "json")

    def opendml(self):
        file = self.files.encoded("opendml", self.sizes.opendml)
        if file:
            self.program_rows(file, f"OpenDML, {file.stat().st_size / 1e9:.1f} GB", "tree", "--format", "json")

    def searched(self, work, kind, size):
        self.walk_rows(self.files.generated(kind, size), kind, (work, "count"))

    def dv(self):
        self.searched("DV type 1: chunks of an unknown id", "dv", self.sizes.dv)

    def look_ahead(self):
        for kind in ("random", "zero", "letters"):
            self.searched("look-ahead in an unknown chunk", f"unknown-{kind}", self.sizes.area)

    def garbage(self):
        for kind in ("random", "zero", "letters"):
            self.searched("resynchronising", f"garbage-{kind}", self.sizes.area)

    def no_riff(self):
        for kind in ("zero", "random"):
            self.searched("detection: no AVI file", f"no-riff-{kind}", self.sizes.no_riff)

    def scaling(self):
        for count in self.sizes.scaling:
            self.walk_rows(self.files.generated("frames", count), f"{count} frames", ("walk into a counting sink", "count"))

    def start_up(self):
        self.program_rows(ROOT / "samples" / "sample.avi", "sample, to the first byte", "tree", "--format", "json",
                          runs=1 if self.options.smoke else 41, key="first_byte")

    def viewer(self):
        file, name = self.files.generated("frames", self.sizes.frames), f"{self.sizes.frames} frames"
        if not all(build.tool("viewer-benchmark").exists() for build in self.builds):
            return
        for work in ("ready", "place", "filter", "sort"):
            pairs = self.in_turn(self.options.runs, lambda build: values_of(
                output_of(build.tool("viewer-benchmark"), work, file)))
            self.ratio_row(f"viewer: {work}", name, "s", [(now["seconds"], before["seconds"]) for now, before in pairs])

    def inner_loops(self):
        def measure(build):
            output = output_of(build.tool("inner-loops"), "--benchmark_format=json",
                               f"--benchmark_min_time={least_time(self.options)}")
            return {loop["name"]: loop["cpu_time"] for loop in json.loads(output)["benchmarks"]}

        pairs = self.in_turn(1 if self.options.smoke else 3, measure)
        for name in pairs[0][0]:
            if name in pairs[0][1]: # a loop that is new has nothing to be compared with
                self.ratio_row(name, "", "ns", [(now[name], before[name]) for now, before in pairs])


ROWS = ("frames", "at", "verdict", "film", "opendml", "dv", "look-ahead", "garbage", "no-riff", "scaling",
        "start-up", "viewer", "inner-loops")


def parsed(arguments):
    parser = argparse.ArgumentParser(prog="bench", description="Measures speed and memory and prints tables.", epilog=(
        f"Rows: {' '.join(ROWS)} peers. Without a row: all but peers, which need minutes and gigabytes."))
    parser.add_argument("rows", nargs="*", metavar="ROW", help="what to measure")
    parser.add_argument("--against", metavar="COMMIT", help="compare with that commit, which is built beside: the ratio "
                        "of the times, both measured in turn")
    parser.add_argument("--smoke", action="store_true",
                        help="tiny files, one run: shows that everything works; the figures mean nothing")
    parser.add_argument("--runs", type=int, default=7, help="how often each thing is measured (%(default)s); medians are printed")
    parser.add_argument("--cpu", action="store_true",
                        help="compare processor time instead of elapsed time, for a machine that is not idle")
    parser.add_argument("--data-dir", type=pathlib.Path, default=ROOT / "build" / "bench-data",
                        help="where the files are kept (about 8 GB)")
    parser.add_argument("--build-dir", type=pathlib.Path, help="take the programs from there instead of building build/bench")
    options = parser.parse_args(arguments)
    unknown = set(options.rows) - {*ROWS, "peers"}
    if unknown or options.runs < 1 or (options.against and "peers" in options.rows):
        parser.error(f"there is no row {', '.join(sorted(unknown))}" if unknown else
                     "there is at least one run" if options.runs < 1 else "peers are not compared with a commit")
    options.rows = options.rows or list(ROWS)
    return options


def measure(bench, rows):
    """Measures and prints; the number of goals that were missed."""
    # Tables of another kind come behind.
    for row in sorted(rows, key=lambda row: row in ("inner-loops", "peers")):
        getattr(bench, row.replace("-", "_"))()
    return bench.table.misses


def main(arguments):
    options = parsed(arguments)
    with tempfile.TemporaryDirectory(prefix="quenlofar-bench-") as scratch:
        if options.smoke:
            options.runs, options.data_dir = 1, pathlib.Path(scratch)
        build = Build(options.build_dir) if options.build_dir else preset_build(ROOT)
        bench = Comparison(options, build, commit_build(options.against)) if options.against else Goals(options, build)
        misses = measure(bench, options.rows)
    if not options.smoke:
        print(f"{misses} goals were missed", file=sys.stderr)


if __name__ == "__main__":
    try:
        main(sys.argv[1:])
    except Failure as failure:
        sys.exit(f"bench: {failure}")
