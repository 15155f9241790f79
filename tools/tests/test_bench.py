"""What tools/bench makes of the figures that its programs print; here they are scripts that say what they are told."""
import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import bench

WALK = ("file=f size=9 sink={sink} seconds={seconds} spread=0.02 cpu={cpu} cpu_spread=0.01 ratio=0.5 ratio_spread=0.03 "
        "cpu_ratio=0.4 cpu_ratio_spread=0.03 floor=0.2 items=1000 bytes=5 frames=50 output=64000 peak={peak} status=0 "
        "allocations=0 steady_items=800")
PROGRAM = "program=p seconds={seconds} spread=0.02 first_byte={first} cpu={cpu} cpu_spread=0.01 peak=9000000 read=5 output=7 exit=0"


class Fakes(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="quenlofar-bench-")
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.log = self.directory / "log"

    def script(self, path, text):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("#!/bin/sh\n" + text)
        path.chmod(0o755)

    def build(self, name, seconds, first=0.01, peak=20000):
        """A build whose every figure is known."""
        top = self.directory / name
        walk = WALK.format(sink="$sink", seconds=seconds, cpu=seconds / 2, peak=peak)
        self.script(top / "benchmarks" / "walk-benchmark",
                    f'echo {name} >>{self.log}\nfor sink in $(echo "$5" | sed "s/floor,//; s/,/ /g"); do echo "{walk}"; done\n')
        # Asked for several programs, it says the same of each; the name of the build is in the path of its program.
        line = PROGRAM.format(seconds=seconds, first=first, cpu=seconds / 2)
        other = PROGRAM.format(seconds=2 * seconds, first=2 * first, cpu=seconds)
        self.script(top / "benchmarks" / "time-programs",
                    f'echo "$@" >>{self.log}.programs\ncase "$*" in\n*before/bin*) echo "{other}" ;;\n*) echo "{line}" ;;\nesac\n'
                    f'case "$*" in\n*" :: "*) echo "{line}" ;;\nesac\n')
        loops = json.dumps({"benchmarks": [{"name": "loop", "cpu_time": 10 * seconds}, {"name": name, "cpu_time": 1}]})
        self.script(top / "benchmarks" / "inner-loops", f"echo '{loops}'\n")
        self.script(top / "benchmarks" / "make-benchmark-file", 'echo film >"$3"\n')
        return top

    def table(self, *arguments, against=None, build=None):
        """The rows that are printed, as lists of cells, without headings; and how many goals were missed."""
        output, errors = io.StringIO(), io.StringIO()
        build = build or self.build("now", 0.1)
        with contextlib.redirect_stdout(output), contextlib.redirect_stderr(errors), \
                mock.patch.object(bench, "commit_build", lambda commit: bench.Build(against)):
            bench.main(["--build-dir", str(build), "--data-dir", str(self.directory / "data"), *arguments,
                        *(["--against", "some-commit"] if against else [])])
        rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in output.getvalue().splitlines()
                if line.startswith("|")]
        return rows[2:], errors.getvalue()


class Goals(Fakes):
    def test_goal_that_is_kept_and_one_that_is_missed(self):
        rows, errors = self.table("garbage", "--runs", "1")
        # 64 000 000 bytes in 0.1 s.
        self.assertEqual(rows, [
            ["resynchronising", "garbage-random", "≥ 600 MB/s", "640 MB/s (0.100000 s)", "± 2 %", "yes"],
            ["resynchronising", "garbage-zero", "≥ 600 MB/s", "640 MB/s (0.100000 s)", "± 2 %", "yes"],
            ["resynchronising", "garbage-letters", "≥ 300 MB/s", "640 MB/s (0.100000 s)", "± 2 %", "yes"]])
        self.assertIn("\n0 goals were missed\n", errors)
        rows, errors = self.table("garbage", build=self.build("now", 0.125)) # 512 MB/s
        self.assertEqual([row[-1] for row in rows], ["no", "no", "yes"])
        self.assertIn("2 goals were missed\n", errors)

    def test_processor_time(self):
        rows, _ = self.table("dv", "--cpu")
        self.assertEqual(rows[0][3:5], ["20000 MB/s (0.050000 s)", "± 1 %"])

    def test_frames(self):
        rows, _ = self.table("frames")
        self.assertEqual(rows[0], ["walk into a counting sink", "1000000 frames", "≤ 1.0 × floor",
                                   "0.5000 × (0.100000 s)", "± 3 %", "yes"])
        self.assertEqual(rows[1][2:4], ["≤ 15 ns per item", "100000.0 ns"]) # 1000 items
        self.assertEqual(rows[4][2:4], ["≤ 18 bytes per item", "20.0 bytes"])
        self.assertEqual(rows[4][-1], "no")
        self.assertEqual(rows[-1][2:4], ["≤ 24 MB", "9.0 MB"])

    def test_smoke_gives_no_verdict(self):
        rows, errors = self.table("dv", "--smoke")
        self.assertEqual([row[-1] for row in rows], ["-"])
        self.assertNotIn("goals", errors)

    def test_rows_that_do_not_exist(self):
        for arguments in (["frame"], ["--runs", "0"], ["peers", "--against", "main"]):
            with self.subTest(arguments=arguments), self.assertRaises(SystemExit) as ended:
                self.table(*arguments)
            self.assertEqual(ended.exception.code, 2)

    def test_program_that_fails(self):
        build = self.build("now", 0.1)
        self.script(build / "benchmarks" / "walk-benchmark", "exit 1\n")
        with self.assertRaises(bench.Failure):
            self.table("dv", build=build)


class Against(Fakes):
    def test_ratio_of_walks_measured_in_turn(self):
        rows, errors = self.table("dv", "--runs", "3", against=self.build("before", 0.2))
        self.assertEqual(rows, [["DV type 1: chunks of an unknown id", "dv", "0.2 s", "0.1 s", "0.500", "± 0 %", "yes"]])
        self.assertEqual(self.log.read_text().split(), ["now", "before", "before", "now", "now", "before"])
        self.assertIn("\n0 goals were missed\n", errors)

    def test_slower_is_a_miss(self):
        rows, errors = self.table("garbage", against=self.build("before", 0.09))
        self.assertEqual([row[4::2] for row in rows], [["1.111", "no"]] * 3)
        self.assertIn("\n3 goals were missed\n", errors)

    def test_memory_of_a_tree_and_programs(self):
        rows, _ = self.table("frames", "--runs", "1", against=self.build("before", 0.1, peak=25000))
        found = {(row[0], index): row[2:5] for index, row in enumerate(rows)}
        self.assertEqual(found["", 2], ["25 bytes per item", "20 bytes per item", "0.800"])
        self.assertEqual(found["`tree --format json`", 4], ["0.2 s", "0.1 s", "0.500"])
        self.assertIn("`frames`", [row[0] for row in rows])
        calls = (self.directory / "log.programs").read_text()
        self.assertIn(f"{self.directory}/now/bin/quenlofar tree --format json", calls)
        self.assertIn(f"{self.directory}/before/bin/quenlofar tree --format json", calls)

    def test_start_up_is_the_first_byte(self):
        rows, _ = self.table("start-up", against=self.build("before", 0.1))
        self.assertEqual(rows[0][2:5], ["0.02 s", "0.01 s", "0.500"])

    def test_commands_that_are_new(self):
        before = self.build("before", 0.1)
        script = before / "benchmarks" / "time-programs"
        now = self.build("now", 0.1)
        # Programs of both builds are timed by the newer one's tool.
        self.script(now / "benchmarks" / "time-programs", 'case "$*" in *"before/bin/quenlofar check"*) exit 1 ;; esac\n'
                    + script.read_text())
        rows, errors = self.table("verdict", "--runs", "1", against=before, build=now)
        works = [row[0] for row in rows]
        self.assertNotIn("`check`", works)
        self.assertIn("`packets --format csv`", works)
        self.assertIn("left out, the earlier state cannot do it: `check`", errors)

    def test_loops_that_both_have(self):
        rows, _ = self.table("inner-loops", against=self.build("before", 0.2))
        self.assertEqual([row[:1] + row[2:5] for row in rows], [["loop", "2 ns", "1 ns", "0.500"]])


class Figures(unittest.TestCase):
    def test_spread_is_half_the_distance_of_the_quartiles(self):
        self.assertEqual(bench.spread([5.0]), 0)
        self.assertEqual(bench.spread([2.0, 2.0, 2.0]), 0)
        self.assertAlmostEqual(bench.spread([1.0, 2.0, 3.0, 4.0, 5.0]), 1 / 3) # quartiles 2 and 4

    def test_values(self):
        self.assertEqual(bench.values_of("file=/a/b1 seconds=0.5 items=12 peak=-1 big=1e+06"),
                         {"file": "/a/b1", "seconds": 0.5, "items": 12, "peak": -1, "big": 1e6})

    def test_sources_of_a_commit(self):
        with self.assertRaises(bench.Failure):
            bench.commit_build("no-such-commit")


if __name__ == "__main__":
    unittest.main()
