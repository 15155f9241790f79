"""The repair command: plans, copies, changes in place and their way back."""

import hashlib
import json
import os
import resource
import shutil
import signal
import struct
import subprocess
import time
import unittest

from support import SAMPLES, SANITIZED, Case, documents, run

WHOLE = (SAMPLES / "sample.avi").read_bytes()
OPEN = (SAMPLES / "never-closed.avi").read_bytes()
LONG_AGO = 1_500_000_000


def mended():
    """What becomes of never-closed.avi: the whole film's own index tells what has to be in the new one."""
    index = WHOLE.index(b"idx1")
    entries = WHOLE[index + 8:index + 8 + 1600]
    last = bytearray(entries[-16:])
    last[12:16] = struct.pack("<I", 21)  # five of the last chunk's 26 bytes are lost
    new = bytearray(WHOLE[:index - 5] + b"\0" + b"idx1" + struct.pack("<I", 1600) + entries[:-16] + last)
    new[4:8] = struct.pack("<I", len(new) - 8)
    movi = WHOLE.index(b"movi")
    new[movi - 4:movi] = struct.pack("<I", index - 4 - movi)
    new[48:52] = struct.pack("<I", 21)  # dwTotalFrames: ffmpeg leaves empty frames out of its count
    new[21318:21322] = struct.pack("<I", 21)
    return bytes(new)


class RepairCase(Case):
    def film(self, data=OPEN, name="film.avi"):
        path = self.path(name, data)
        os.utime(path, (LONG_AGO, LONG_AGO))
        return path

    def read(self, path):
        with open(path, "rb") as file:
            return file.read()

    def names(self):
        return sorted(os.listdir(self.directory))

    def assertRepairs(self, status, *arguments):
        result = run("repair", *arguments)
        self.assertEqual(result.returncode, status, result.stderr + result.stdout)
        return result

    def assertRefused(self, message, *arguments):
        result = self.assertRepairs(2, *arguments)
        self.assertIn(message.encode(), result.stderr)


class Plans(RepairCase):
    maxDiff = None

    def test_a_plan_changes_nothing(self):
        path = self.film()
        before = os.stat(path)
        lines = self.assertRepairs(1, path).stdout.decode().splitlines()
        self.assertEqual(lines[0], f"{os.fsdecode(path)}: damaged, 4 errors, 1 warning, 1 note -> conforms, 1 note")
        self.assertIn("     at 48, LIST(hdrl)/avih/dwTotalFrames: 00 00 00 00 -> 15 00 00 00", lines)
        self.assertEqual(self.read(path), OPEN)
        self.assertEqual(os.stat(path).st_mtime_ns, before.st_mtime_ns)
        self.assertEqual(self.names(), ["film.avi"])

    def test_json(self):
        document, = documents(self.assertRepairs(1, "--format", "json", self.film()).stdout)
        self.assertEqual([(step["id"], step["rules"], step["class"]) for step in document["steps"]],
                         [(1, ["size-open"], "patch"), (2, ["frame-count"], "patch"), (3, ["last-chunk-cut"], "append"),
                          (4, ["index-missing", "index-flag-without-index"], "append")])
        self.assertEqual(document["steps"][1]["changes"], [{"offset": 48, "old": "00000000", "new": "15000000"}])
        new = mended()
        self.assertEqual(document["newSize"], len(new))
        old = b"".join(OPEN[at:at + 4] for at in (4, 48, 10062, 21318))
        self.assertEqual(document["sha256OfOldBytes"], hashlib.sha256(old).hexdigest())
        appended = b"".join(bytes.fromhex(change["new"]) for step in document["steps"] for change in step["changes"]
                            if "append" in change)
        self.assertEqual(appended, new[len(OPEN):])
        self.assertEqual((document["verdictBefore"], document["verdictAfter"]), ("damaged", "conforms"))
        self.assertEqual([finding["rule"] for finding in document["cleared"]],
                         ["size-open", "last-chunk-cut", "index-missing", "frame-count", "index-flag-without-index"])
        self.assertEqual([finding["rule"] for finding in document["left"]], ["empty-frames"])

    def test_a_file_in_order_has_no_plan(self):
        document, = documents(self.assertRepairs(0, "--format", "json", self.film(WHOLE)).stdout)
        self.assertEqual((document["steps"], document["cleared"], document["newSize"]), ([], [], len(WHOLE)))

    def test_rules_are_chosen(self):
        def steps(*arguments):
            document, = documents(run("repair", "--format", "json", *arguments, self.film()).stdout)
            return [step["rules"] for step in document["steps"]]
        self.assertEqual(steps("--only", "frame-count,size-open"), [["size-open"], ["frame-count"]])
        self.assertEqual(steps("--except", "last-chunk-cut", "--except", "frame-count,index-missing",
                               "--except", "index-flag-without-index"), [["size-open"]])
        self.assertRefused('there is no rule "nonsense"', "--only", "nonsense", self.film())

    def test_what_cannot_be_repaired(self):
        # The beginning is lost, and with it all headers.
        result = self.assertRepairs(1, self.film(WHOLE[9000:]))
        self.assertIn(b"nothing to repair", result.stdout)
        self.assertRepairs(1, self.film(b"no film at all", "text.avi"))
        self.assertRepairs(2, self.directory / "nowhere.avi")

    def test_many_files(self):
        self.film()
        self.film(WHOLE, "whole.avi")
        found = documents(self.assertRepairs(1, "--format", "json", "-j", "2", "-r", self.directory).stdout)
        self.assertEqual([len(document["steps"]) for document in found], [4, 0])


class Copies(RepairCase):
    def test_a_copy(self):
        path, copy = self.film(), self.directory / "new.avi"
        os.chmod(path, 0o640)
        result = self.assertRepairs(0, path, "-o", copy)
        self.assertIn(f"written: {copy}".encode(), result.stdout)
        self.assertEqual(self.read(copy), mended())
        self.assertEqual(self.read(path), OPEN)
        self.assertEqual(os.stat(copy).st_mode & 0o777, 0o640)
        self.assertEqual(self.names(), ["film.avi", "new.avi"])
        self.assertEqual(run("check", copy).returncode, 0)
        self.assertRepairs(0, copy)

    def test_an_existing_name(self):
        path, copy = self.film(), self.path("new.avi", b"another film")
        self.assertRefused("it exists already", path, "-o", copy)
        self.assertEqual(self.read(copy), b"another film")
        self.assertRepairs(0, "--force", path, "-o", copy)
        self.assertEqual(self.read(copy), mended())
        self.assertRefused("it is the original", "--force", path, "-o", path)
        self.assertEqual(self.read(path), OPEN)

    def test_what_may_still_be_recorded(self):
        path, copy = self.film(), self.directory / "new.avi"
        os.utime(path, (time.time(), time.time()))
        self.assertRefused("something may still write to it", path, "-o", copy)
        self.assertFalse(copy.exists())
        self.assertRepairs(0, "--force", path, "-o", copy)

    def test_many_copies(self):
        (self.directory / "in" / "below").mkdir(parents=True)
        out = self.directory / "out"
        out.mkdir()
        for name in ("in/one.avi", "in/below/two.avi"):
            self.film(name=name)
        self.film(WHOLE, "in/whole.avi")
        found = documents(self.assertRepairs(0, "--format", "json", "-r", self.directory / "in", "--output-dir", out,
                                             "--prove").stdout)
        self.assertEqual(len(found), 3)
        self.assertEqual(sorted(str(path.relative_to(out)) for path in out.rglob("*.avi")), ["below/two.avi", "one.avi"])
        self.assertEqual(self.read(out / "below" / "two.avi"), mended())

    def test_proof(self):
        path, copy = self.film(), self.directory / "new.avi"
        bytes_of_packets = sum(struct.unpack("<I", WHOLE[at:at + 4])[0]
                               for at in range(WHOLE.index(b"idx1") + 20, WHOLE.index(b"idx1") + 1608, 16)) - 5
        line = f"proved: all 100 packets with {bytes_of_packets} bytes are in the mended file"
        self.assertIn(line.encode(), self.assertRepairs(1, "--prove", path).stdout)
        self.assertIn(line.encode(), self.assertRepairs(0, "--prove", path, "-o", copy).stdout)
        self.assertIn(line.encode(), self.assertRepairs(0, "--prove", "--in-place", "--journal",
                                                        self.directory / "film.undo", path).stdout)

    def test_other_readers_agree(self):
        if not shutil.which("ffmpeg"):
            self.skipTest("ffmpeg is not there")
        copy = self.directory / "new.avi"
        self.assertRepairs(0, self.film(), "-o", copy)

        def packets(path):
            output = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-map", "0", "-c", "copy", "-f", "framemd5",
                                     "-"], check=True, stdout=subprocess.PIPE).stdout
            return [line for line in output.splitlines() if not line.startswith(b"#")]
        whole = packets(SAMPLES / "sample.avi")
        # All but the last chunk, which was cut.
        self.assertEqual(packets(copy)[:-1], whole[:-1])
        self.assertEqual(len(packets(copy)), len(whole))


def without_padding():
    """The sample without the byte of padding behind its first chunk of odd size."""
    data = bytearray(WHOLE)
    at = data.index(b"movi") + 4
    while struct.unpack("<I", data[at + 4:at + 8])[0] % 2 == 0:
        at += 8 + struct.unpack("<I", data[at + 4:at + 8])[0]
    del data[at + 8 + struct.unpack("<I", data[at + 4:at + 8])[0]]
    return bytes(data)


class Moved(RepairCase):
    """Files that are put together anew."""

    def test_padding_is_put_in(self):
        path, copy = self.film(without_padding()), self.directory / "new.avi"
        result = self.assertRepairs(0, "--prove", path, "-o", copy)
        self.assertIn(b"pad-missing (rewrite)", result.stdout)
        self.assertIn(b"proved: all 100 packets", result.stdout)
        new = bytearray(WHOLE)
        new[48:52] = struct.pack("<I", 21)  # dwTotalFrames: ffmpeg leaves empty frames out of its count
        self.assertEqual(self.read(copy), bytes(new))

    def test_a_plan_of_it_is_applied_elsewhere(self):
        path, copy, plan = self.film(without_padding()), self.directory / "new.avi", self.directory / "plan.json"
        self.assertRepairs(1, "--save-plan", plan, path)
        self.assertRepairs(0, "--apply", plan, path, "-o", copy)
        document = json.loads(plan.read_text())
        changes = sorted((change for step in document["steps"] for change in step["changes"]),
                         key=lambda change: change["to"])
        made = b"".join(bytes.fromhex(change["insert"]) if "insert" in change
                        else without_padding()[change["copy"][0]:sum(change["copy"])] for change in changes)
        self.assertEqual(made, self.read(copy))
        self.assertEqual(document["newSize"], len(made))
        # No byte goes without being named.
        for changed in ({"superseded": []}, {"superseded": document["superseded"][1:]}, {"superseded": [[0]]},
                        {"dropped": [[5, len(WHOLE)]]}):
            other = self.path("other.json", json.dumps(dict(document, **changed)).encode())
            self.assertRefused("its changes contradict one another", "--apply", other, path)
        steps = json.loads(json.dumps(document["steps"]))
        steps[-1]["changes"][1]["to"] += 1
        other = self.path("other.json", json.dumps(dict(document, steps=steps)).encode())
        self.assertRefused("its changes contradict one another", "--apply", other, path)

    def test_not_in_place(self):
        path = self.film(without_padding())
        self.assertRefused("bytes have to move, which takes a copy (pad-missing)", "--in-place", "--journal",
                           self.directory / "film.undo", path)
        self.assertEqual(self.read(path), without_padding())
        self.assertEqual(self.names(), ["film.avi"])

    def test_trailing_bytes(self):
        path, copy = self.film(WHOLE + b"more"), self.directory / "new.avi"
        self.assertRepairs(0, path)
        result = self.assertRepairs(0, "--cut-trailing", "--prove", path, "-o", copy)
        self.assertIn(b"4 are left out", result.stdout)
        self.assertEqual(self.read(copy), WHOLE)
        document, = documents(self.assertRepairs(1, "--cut-trailing", "--format", "json", path).stdout)
        self.assertEqual(document["dropped"], [[len(WHOLE), 4]])

    def test_headers_of_a_like_file(self):
        headers = WHOLE.index(b"LIST", WHOLE.index(b"hdrl") - 8)
        size = 8 + struct.unpack("<I", WHOLE[headers + 4:headers + 8])[0]
        data = bytearray(WHOLE[:headers] + WHOLE[headers + size:])
        data[4:8] = struct.pack("<I", len(data) - 8)
        path, copy = self.film(bytes(data)), self.directory / "new.avi"
        self.assertRepairs(1, path)
        self.assertRefused("nowhere.avi: ", "--like", self.directory / "nowhere.avi", path)
        self.assertRepairs(0, "--like", self.film(WHOLE, "like.avi"), path, "-o", copy)
        self.assertEqual(self.read(copy), WHOLE)


class InPlace(RepairCase):
    def test_there_and_back(self):
        path, journal = self.film(), self.directory / "film.undo"
        self.assertRepairs(0, "--in-place", "--journal", journal, path)
        self.assertEqual(self.read(path), mended())
        self.assertEqual(os.stat(journal).st_mode & 0o777, 0o600)
        result = self.assertRepairs(0, "--undo", journal, path)
        self.assertEqual(result.stdout, os.fsencode(path) + b": has its old bytes again\n")
        self.assertEqual(self.read(path), OPEN)
        self.assertEqual(os.stat(path).st_mtime_ns, LONG_AGO * 10**9)

    def test_a_journal_is_never_replaced(self):
        path, journal = self.film(), self.path("film.undo", b"another journal")
        self.assertRefused("File exists", "--in-place", "--journal", journal, path)
        self.assertEqual(self.read(journal), b"another journal")
        self.assertEqual(self.read(path), OPEN)

    def test_another_file_is_left_alone(self):
        path, journal = self.film(), self.directory / "film.undo"
        self.assertRepairs(0, "--in-place", "--journal", journal, path)
        other = self.film(WHOLE, "other.avi")
        self.assertRefused("it is not the file that the journal is about", "--undo", journal, other)
        self.assertRefused("it is no journal of a repair", "--undo", other, path)
        self.assertEqual((self.read(path), self.read(other)), (mended(), WHOLE))

    def test_a_file_in_order_stays_as_it_is(self):
        path, journal = self.film(WHOLE), self.directory / "film.undo"
        self.assertRepairs(0, "--in-place", "--journal", journal, path)
        self.assertEqual(self.names(), ["film.avi"])
        self.assertEqual(self.read(path), WHOLE)

    def test_options_that_do_not_fit(self):
        path = self.film()
        self.assertRefused("--in-place and --journal belong together", "--in-place", path)
        self.assertRefused("--in-place and --journal belong together", "--journal", "j", path)
        self.assertRefused("only one can be done", "-o", "n", "--undo", "j", path)
        self.assertRefused("what is written comes from one FILE", "-o", "n", path, path)
        self.assertEqual(self.read(path), OPEN)


class SavedPlans(RepairCase):
    def setUp(self):
        super().setUp()
        self.plan = self.directory / "plan.json"
        self.assertRepairs(1, "--save-plan", self.plan, self.film())

    def changed(self, **changes):
        """The plan with other members."""
        document = json.loads(self.plan.read_text())
        document.update(changes)
        return self.path("other.json", json.dumps(document).encode())

    def test_a_plan_is_applied_elsewhere(self):
        other, copy = self.film(name="elsewhere.avi"), self.directory / "new.avi"
        result = self.assertRepairs(0, "--apply", self.plan, other, "-o", copy)
        self.assertIn(b"-> conforms, 1 note", result.stdout)
        self.assertEqual(self.read(copy), mended())
        self.assertRepairs(0, "--apply", self.plan, "--in-place", "--journal", self.directory / "undo", other)
        self.assertEqual(self.read(other), mended())
        self.assertEqual(self.assertRepairs(1, "--apply", self.plan, "--format", "json", self.film()).stdout,
                         self.plan.read_bytes())

    def test_a_plan_for_another_file_is_refused(self):
        other = bytearray(OPEN)
        other[48] = 1
        self.assertRefused("it is a plan for a file with other bytes", "--apply", self.plan,
                           self.film(bytes(other), "other.avi"))
        self.assertRefused("it is a plan for a file of another size", "--apply", self.plan, self.film(WHOLE, "whole.avi"))

    def test_plans_are_not_trusted(self):
        path = self.film()
        steps = json.loads(self.plan.read_text())["steps"]
        refused = {"its changes contradict one another": {"newSize": 5},
                   "it is a plan for a file with other bytes": {"sha256OfOldBytes": "00" * 32},
                   "it is no plan of a repair": {"steps": 7}}
        for message, changes in refused.items():
            self.assertRefused(message, "--apply", self.changed(**changes), path)
        self.assertRefused("it is no plan of a repair", "--apply", self.changed(formatVersion=2), path)
        for change in ({"offset": 48, "old": "00", "new": "0101"}, {"offset": -1, "old": "00", "new": "01"},
                       {"offset": 1e300, "old": "00", "new": "01"}, {"offset": 48, "old": "zz", "new": "01"},
                       {"append": 7, "new": "01"}, {"append": 0, "new": ""}, {"new": "01"}, 5, {}):
            with self.subTest(change=change):
                plan = self.changed(steps=[dict(steps[1], changes=[change])])
                self.assertRefused("its changes are not whole", "--apply", plan, path)
        # A range that is changed twice, with a digest that fits.
        twice = [{"offset": 48, "old": "00000000", "new": "15000000"}, {"offset": 50, "old": "0000", "new": "0101"}]
        plan = self.changed(steps=[dict(steps[1], changes=twice)], newSize=len(OPEN),
                            sha256OfOldBytes=hashlib.sha256(bytes(6)).hexdigest())
        self.assertRefused("its changes contradict one another", "--apply", plan, path)
        for data in (b"", b"{", b"[]", b"[" * 100000, b"no JSON"):
            self.assertRefused("it is no plan of a repair", "--apply", self.path("bad.json", data), path)
        self.assertEqual(self.read(path), OPEN)

    def test_a_plan_never_replaces_a_file(self):
        self.assertRefused("plan.json", "--save-plan", self.plan, self.film())


class FileSystems(RepairCase):
    """What file systems can and cannot do."""

    def copied(self, path, file_system):
        copy = self.directory / "new.avi"
        result = run("repair", path, "-o", copy, env={"LD_PRELOAD": os.environ["QUENLOFAR_FAULT_INJECTOR"],
                                                      "QUENLOFAR_FILE_SYSTEM": file_system})
        self.assertEqual(result.returncode, 0, result.stderr)
        return result, self.read(copy)

    @unittest.skipIf(SANITIZED, "sanitizers make calls of their own")
    def test_extents_are_shared(self):
        path = self.film()
        result, copy = self.copied(path, "clones")
        self.assertEqual(copy, mended())
        self.assertIn(b"new.avi (it shares unchanged data with the original)", result.stdout)
        self.assertEqual(self.read(path), OPEN)
        # Bytes that move cannot be shared.
        (self.directory / "new.avi").unlink()
        result, copy = self.copied(self.film(without_padding()), "clones")
        self.assertEqual(copy, WHOLE)
        self.assertNotIn(b"shares", result.stdout)

    @unittest.skipIf(SANITIZED, "sanitizers make calls of their own")
    def test_between_file_systems(self):
        _, copy = self.copied(self.film(), "foreign")
        self.assertEqual(copy, mended())

    def test_directories_that_cannot_be_written(self):
        path = self.film()
        self.assertRefused("none/new.avi", path, "-o", self.directory / "none" / "new.avi")
        self.assertRefused("/proc/new.avi", path, "-o", "/proc/new.avi")
        self.assertEqual(self.names(), ["film.avi"])

    def test_a_file_system_that_is_full(self):
        path, copy = self.film(), self.directory / "new.avi"

        def limited():
            resource.setrlimit(resource.RLIMIT_FSIZE, (len(OPEN) - 1000, len(OPEN) - 1000))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        result = run("repair", path, "-o", copy, preexec_fn=limited)
        self.assertEqual(result.returncode, 2)
        self.assertIn(b"File too large", result.stderr)
        self.assertEqual(self.names(), ["film.avi"])
        self.assertEqual(self.read(path), OPEN)


class Faults(RepairCase):
    """Calls of the system fail, or the program is killed there, one after the other."""
    KINDS = ("open", "write", "fsync", "rename", "close", "stat")
    HOWS = ("5", "28", "short", "interrupted", "killed")  # EIO, ENOSPC

    def faulty(self, fault, *arguments):
        return run("repair", *arguments, env={"LD_PRELOAD": os.environ["QUENLOFAR_FAULT_INJECTOR"], **fault})

    def faults(self, arguments, clean):
        """The faults to try: each call of each kind, or some of many, evenly."""
        report = self.directory / "report"
        result = self.faulty({"QUENLOFAR_FAULT_REPORT": str(report)}, *arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        counts = {kind: int(count) for kind, count in map(str.split, report.read_text().splitlines())}
        clean()
        for kind in self.KINDS:
            for number in range(1, counts[kind] + 1, 1 + counts[kind] // 12):
                for how in self.HOWS:
                    if how == "short" and kind != "write" or how == "interrupted" and kind in ("rename", "stat"):
                        continue
                    yield {"QUENLOFAR_FAULT": f"{kind}:{number}:{how}"}

    @unittest.skipIf(SANITIZED, "sanitizers make calls of their own")
    def test_copies(self):
        path, copy = self.film(), self.directory / "new.avi"

        def clean():
            for name in self.names():
                if name != "film.avi":
                    os.unlink(self.directory / name)
        tried = 0
        for fault in self.faults([path, "-o", copy], clean):
            with self.subTest(fault=fault):
                result = self.faulty(fault, path, "-o", copy)
                tried += 1
                self.assertEqual(self.read(path), OPEN)
                # Under its name it is whole or not at all.
                if copy.exists():
                    self.assertEqual(self.read(copy), mended())
                if result.returncode == 0:
                    self.assertTrue(copy.exists())
                if result.returncode >= 0:
                    self.assertEqual([name for name in self.names() if name.startswith(".")], [])
                clean()
        self.assertGreater(tried, 60)

    @unittest.skipIf(SANITIZED, "sanitizers make calls of their own")
    def test_in_place(self):
        path, journal = self.film(), self.directory / "film.undo"

        def clean():
            journal.unlink(missing_ok=True)
            self.film()
        tried = 0
        for fault in self.faults(["--in-place", "--journal", journal, path], clean):
            with self.subTest(fault=fault):
                result = self.faulty(fault, "--in-place", "--journal", journal, path)
                tried += 1
                if result.returncode == 0:
                    self.assertEqual(self.read(path), mended())
                if self.read(path) != OPEN:
                    self.assertRepairs(0, "--undo", journal, path)
                self.assertEqual(self.read(path), OPEN)
                clean()
        self.assertGreater(tried, 60)

    @unittest.skipIf(SANITIZED, "sanitizers make calls of their own")
    def test_undo(self):
        path, journal = self.film(), self.directory / "film.undo"
        self.assertRepairs(0, "--in-place", "--journal", journal, path)
        changed, kept, facts = self.read(path), self.read(journal), os.stat(path)

        def clean():
            self.path("film.undo", kept)
            self.path("film.avi", changed)
            os.utime(path, ns=(facts.st_atime_ns, facts.st_mtime_ns))
        for fault in self.faults(["--undo", journal, path], clean):
            with self.subTest(fault=fault):
                result = self.faulty(fault, "--undo", journal, path)
                if result.returncode != 0:
                    self.assertRepairs(0, "--undo", journal, path)
                self.assertEqual(self.read(path), OPEN)
                clean()


class Halves(RepairCase):
    """A recording that ended anywhere: no index, no sizes, a chunk that is cut."""

    def test_all_chunks_are_found_again(self):
        index = WHOLE.index(b"idx1")
        movi = WHOLE.index(b"movi")
        entries = [struct.unpack("<4sIII", WHOLE[at:at + 16]) for at in range(index + 8, index + 8 + 1600, 16)]
        for share in (0.11, 0.3, 0.52, 0.77, 0.93):
            cut = movi + 4 + int((index - movi - 4) * share)
            with self.subTest(cut=cut):
                data = bytearray(WHOLE[:cut])
                data[4:8] = data[movi - 4:movi] = bytes(4)
                copy = self.directory / f"{cut}.new"
                self.assertRepairs(0, self.film(bytes(data), f"{cut}.avi"), "-o", copy)
                new = self.read(copy)
                at = new.rindex(b"idx1")
                found = [struct.unpack("<4sIII", new[place:place + 16]) for place in range(at + 8, len(new), 16)]
                whole = [entry for entry in entries if movi + entry[2] + 8 + entry[3] <= cut]
                self.assertEqual(found[:len(whole)], whole)
                self.assertLessEqual(len(found), len(whole) + 1)


if __name__ == "__main__":
    unittest.main()
