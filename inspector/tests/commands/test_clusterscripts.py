"""The scripts of packaging/cluster without an engine around them; ./dev cluster-test runs them on real ones."""

import os
import shutil
import subprocess
import unittest

import test_catalogue
import test_catalogueimport
from support import DOCS, PROGRAM, environment, film

SCRIPTS = DOCS.parent / "packaging" / "cluster"
FILES = 23
LISTS = [f"{number:06}" for number in range(6)] # of four files


class Scripts(test_catalogue.Catalogue):
    contents = test_catalogueimport.Import.contents

    def setUp(self):
        super().setUp()
        for number in range(FILES - 2):
            self.film(f"{number % 3}/{number}.avi", film(number) if number % 2 else None)
        self.film("no film, whatever its\nname says.avi", b"nothing")
        self.film(b"caf\xe9.avi")
        self.names_of_films = b"".join(os.fsencode(path) + b"\0" for path in self.archive.rglob("*.avi"))
        self.work = self.directory / "this night"
        self.tools = self.directory / "tools"
        self.tools.mkdir()

    def tool(self, name, script):
        """A program that is found before others of its name."""
        path = self.tools / name
        path.write_text("#!/bin/sh\n" + script)
        path.chmod(0o755)
        return path

    def script(self, name, *arguments, status=0, input=None, **variables):
        env = environment(QUENLOFAR=PROGRAM, PATH=f"{self.tools}:{os.environ['PATH']}")
        env.update((key, str(value)) for key, value in variables.items())
        result = subprocess.run([SCRIPTS / name, *arguments], input=input if input is not None else b"", env=env,
                                capture_output=True, timeout=120)
        self.assertEqual(result.returncode, status, result.stderr)
        return result

    def make_lists(self):
        self.script("make-lists", self.work, "4", input=self.names_of_films)

    def task(self, number, status=0, **variables):
        return self.script("slurm-job", SCRIPTS, self.work, status=status, SLURM_ARRAY_TASK_ID=number,
                           SLURM_ARRAY_TASK_MIN=1, SLURM_ARRAY_TASK_COUNT=4, SLURM_JOB_ID=4711, **variables)

    def parts(self):
        return {path.name: path.stat().st_mtime_ns for path in (self.work / "parts").glob("*.jsonl")}

    def expected(self):
        """What one run prints and keeps."""
        single = self.catalogue("--digest", "sha256")
        result = single.stdout, self.contents()
        self.database.unlink()
        self.assertEqual((single.returncode, len(result[1][0])), (1, FILES))
        return result

    def test_lists(self):
        # Named twice is named once; what is there stays in its order of bytes.
        self.script("make-lists", self.work, "4", input=self.names_of_films * 2)
        self.assertEqual(sorted(path.name for path in (self.work / "lists").iterdir()), LISTS)
        names = [name for path in sorted((self.work / "lists").iterdir()) for name in path.read_bytes().split(b"\0")[:-1]]
        self.assertEqual(names, sorted(self.names_of_films.split(b"\0")[:-1]))
        self.assertIn(b"has lists", self.script("make-lists", self.work, input=self.names_of_films, status=2).stderr)

    def test_lists_of_nothing(self):
        for names, message in ((b"", b"no file was named"), (b"a.avi\0", b"begin at the root"),
                               (b"/a.avi\0b.avi\0", b"begin at the root")):
            self.assertIn(message, self.script("make-lists", self.work, input=names, status=2).stderr)
            self.assertFalse((self.work / "lists").exists())
        self.script("make-lists", self.work, input=b"/a\nb.avi\0") # and again into the same directory

    def test_tasks_of_an_array(self):
        printed, kept = self.expected()
        self.make_lists()
        self.task(2)
        self.assertEqual(set(self.parts()), {"000001.jsonl", "000005.jsonl"})
        result = self.script("import-parts", self.work, self.database, status=2)
        self.assertIn(b"4 of 6 parts are not there", result.stderr)
        self.assertFalse(self.database.exists())
        before = self.parts()
        for number in range(1, 5):
            self.assertEqual(self.task(number).stderr, b"")
        after = self.parts()
        self.assertEqual({name: after[name] for name in before}, before)
        self.assertEqual(self.script("import-parts", self.work, self.database, status=1).stdout, printed)
        self.assertEqual(self.contents(), kept)
        self.script("import-parts", self.work, self.database) # nothing is new
        (self.archive / "1" / "1.avi").unlink()
        result = self.script("import-parts", self.work, self.database, "-r", self.archive, status=1)
        self.assertEqual(result.stdout, b"missing: " + os.fsencode(self.archive / "1" / "1.avi") + b"\n")

    def test_a_program_that_is_killed(self):
        self.make_lists()
        asked = self.directory / "asked"
        self.tool("scontrol", f'echo "$@" >>"{asked}"; exit 1\n')
        killed = self.tool("killed", f'case "$*" in *000001*) kill -9 $$ ;; esac; exec "{PROGRAM}" "$@"\n')
        result = self.task(2, status=137, QUENLOFAR=killed)
        self.assertIn(b"000001: ended with status 137", result.stderr)
        self.assertIn(b"goes back into the queue", result.stderr)
        self.assertEqual(asked.read_text(), "requeue 4711\n")
        self.assertEqual(set(self.parts()), {"000005.jsonl"}) # the others are done nevertheless
        asked.unlink()
        self.task(2, status=137, QUENLOFAR=killed, SLURM_RESTART_COUNT=2)
        self.assertFalse(asked.exists())
        self.task(2, SLURM_RESTART_COUNT=2)
        self.assertEqual(set(self.parts()), {"000001.jsonl", "000005.jsonl"})

    def test_a_task_that_is_ended(self):
        self.make_lists()
        ended = self.tool("ended", "kill -15 $$\n")
        self.assertEqual(self.task(1, status=143, QUENLOFAR=ended).stderr.count(b"ended with status"), 1)

    def test_a_program_that_fails(self):
        self.make_lists()
        result = self.script("check-part", self.work, self.work / "lists" / "000000", status=2,
                             QUENLOFAR_OPTIONS="--level nonsense")
        self.assertIn(b"without a part", result.stderr)
        silent = self.tool("silent", "exit 0\n")
        self.script("check-part", self.work, self.work / "lists" / "000000", status=2, QUENLOFAR=silent)
        self.assertEqual(self.parts(), {})

    def test_files_that_cannot_be_read_are_in_their_part(self):
        self.script("make-lists", self.work, input=self.names_of_films + b"/nowhere/a.avi\0")
        self.script("check-part", self.work, self.work / "lists" / "000000")
        lines = (self.work / "parts" / "000000.jsonl").read_bytes().splitlines()
        self.assertEqual(len(lines), FILES + 1)
        self.assertEqual(sum(b'"status":"unreadable"' in line for line in lines), 1)

    def test_options(self):
        self.make_lists()
        for name in LISTS:
            self.script("check-part", self.work, self.work / "lists" / name,
                        QUENLOFAR_OPTIONS="--digest fast --level deep", QUENLOFAR_JOBS=2)
        self.script("import-parts", self.work, self.database, status=1)
        self.assertEqual(self.rows("SELECT DISTINCT digest_kind, level FROM file"), [("fast", "deep")])

    def test_submitting(self):
        self.make_lists()
        asked = self.directory / "asked"
        self.tool("sbatch", f'for word in "$@"; do echo "$word" >>"{asked}"; done; echo 47 >>"{asked}"; echo "12;name"\n')
        result = self.script("slurm-submit", "8", self.work, self.database, "-r", self.archive,
                             QUENLOFAR_IMPORT_ON="keeper")
        self.assertEqual(result.stdout, b"12\n12\n")
        work = str(self.work)
        self.assertEqual(asked.read_text().split("\n"), [
            "--parsable", "--array=1-8", f"--output={work}/logs/task-%a.log", str(SCRIPTS / "slurm-job"), str(SCRIPTS),
            work, "47",
            "--parsable", "--dependency=afterok:12", "--kill-on-invalid-dep=yes", "--nodelist=keeper",
            f"--output={work}/logs/import.log",
            str(SCRIPTS / "import-parts"), work, str(self.database), "-r", str(self.archive), "47", ""])

    @unittest.skipUnless(shutil.which("parallel"), "GNU parallel is not installed")
    def test_parallel(self):
        printed, kept = self.expected()
        self.make_lists()
        killed = self.tool("killed", f'case "$*" in *000003*) kill -9 $$ ;; esac; exec "{PROGRAM}" "$@"\n')
        result = self.script("parallel-run", "2", self.work, self.database, status=2, QUENLOFAR=killed)
        self.assertIn(b"not all parts were made", result.stderr)
        before = self.parts()
        self.assertEqual(set(before), {f"{name}.jsonl" for name in LISTS if name != "000003"})
        self.assertFalse(self.database.exists())
        result = self.script("parallel-run", "2", self.work, self.database, status=1)
        self.assertEqual((result.stdout, self.contents()), (printed, kept))
        after = self.parts()
        self.assertEqual({name: after[name] for name in before}, before)
        self.script("parallel-run", "2", self.work, self.database)

    @unittest.skipUnless(shutil.which("shellcheck"), "shellcheck is not installed")
    def test_shellcheck(self):
        scripts = [path for path in SCRIPTS.iterdir() if path.suffix == ""]
        self.assertEqual(len(scripts), 6)
        result = subprocess.run(["shellcheck", *scripts], capture_output=True, timeout=120)
        self.assertEqual((result.returncode, result.stdout), (0, b""))


if __name__ == "__main__":
    unittest.main()
