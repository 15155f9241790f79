"""Runs the scripts of packaging/cluster on engines that are really there, and compares catalogues with one process's.

usage: clustertest.py [--files N] [--keep] [--engine slurm|parallel] PROGRAM

A Slurm of one machine is started in a directory of its own: munged, slurmctld and slurmd, on the loopback, as the user
who runs this, with a key of its own. It needs neither root nor cgroups nor a service of the system. Then, over N
generated files (2000) with eight tasks:

- one task is put back into the queue in its middle, as a preempted one is, and the program of another one is killed, as
  it is where memory is short: the parts are imported by the job that waits for them;
- one task is cancelled in its middle, so that nothing is imported, and the job is submitted again;
- GNU parallel is killed with all that it has started, and started again.

Each time the catalogue has to be equal to that of one process, but for times and numbers of rows and runs; parts that
were there before stay what they were, and no list is checked again that was done. Exit status 1 says that it is not so.
"""
import argparse
import contextlib
import os
import pathlib
import random
import shutil
import signal
import socket
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time

SOURCE = pathlib.Path(__file__).resolve().parents[1]
SCRIPTS = SOURCE / "packaging" / "cluster"
TASKS = 8
LISTS_OF_TASK = 10
PAUSE = 0.3 # seconds that a list takes at least: there has to be a middle in which a task can be killed
# What depends on when and in which order files were looked at.
NUMBERS = {"file": ("id", "first_seen", "last_seen", "last_checked", "seen_run", "checked_run"),
           "stream": (), "finding": ("id", "first_run")}
# Numbers of runs: only whether there is one is compared.
RUNS = ("changed_run", "moved_run", "missing_run")
VIEWS = {"damaged": "path, errors, warnings, message", "new_findings": "*", "changed": "path, change",
         "moved": "moved_from, path", "missing": "path", "not_checked": "*"}


class Failure(Exception):
    pass


def expect(condition, text):
    if not condition:
        raise Failure(text)


def wait_for(condition, text, seconds=120):
    """What `condition` answers, as soon as that is true."""
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        expect(time.monotonic() < deadline, f"waited {seconds} s in vain: {text}")
        time.sleep(0.02)
    return result


def chunk(name, data):
    return name + struct.pack("<I", len(data)) + data + b"\0" * (len(data) % 2)


def make_archive(top, count):
    """Films that are sound, cut off, changed at some bytes, or none at all; the same ones each time."""
    chance = random.Random(16)
    sound = [path.read_bytes() for path in sorted((SOURCE / "samples").glob("*.avi")) if path.stat().st_size < 40000]
    for number in range(count):
        data = bytearray(chance.choice(sound))
        kind = number % 4
        if kind == 1:
            del data[chance.randrange(100, len(data)):]
        elif kind == 2:
            for _ in range(5):
                data[chance.randrange(len(data))] = chance.randrange(256)
        elif kind == 3 and number % 5 == 0:
            data = bytearray(b"no film, whatever its name says")
        path = os.path.join(os.fsencode(top), b"%02d" % (number % 20), b"caf\xe9 %d\n.avi" % number if number % 50 == 0
                            else b"%d.avi" % number)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(data)


def contents(database):
    """All that a catalogue says of files, by the tables' own columns, but for what NUMBERS names."""
    connection = sqlite3.connect(database)
    connection.text_factory = bytes
    try:
        result = {}
        for table, numbers in NUMBERS.items():
            columns = [name.decode() for name, in connection.execute(f"SELECT name FROM pragma_table_info('{table}')")]
            shown = [f"{table}.{name} IS NULL" if name in RUNS else f"{table}.{name}" for name in columns
                     if name not in numbers and not (name == "file" and table != "file")]
            join = "" if table == "file" else f"JOIN file ON file.id = {table}.file"
            result[table] = connection.execute(f"SELECT file.path, {', '.join(shown)} FROM {table} {join} "
                                               f"ORDER BY file.path, {shown[0]}").fetchall()
        for view, columns in VIEWS.items():
            result[view] = connection.execute(f"SELECT {columns} FROM {view}").fetchall()
        return result
    finally:
        connection.close()


class Test:
    def __init__(self, directory, program, count):
        self.directory = directory
        self.archive = directory / "archive"
        make_archive(self.archive, count)
        self.count = count
        self.begun = directory / "begun"
        # What the scripts take for the program: it notes what it begins, with its process, and takes its time over it.
        self.slow = directory / "slow quenlofar"
        self.slow.write_text(f'#!/bin/sh\necho "$$ $*" >>"{self.begun}"\n'
                             f'case $1 in check) sleep {PAUSE} ;; esac\nexec "{program}" "$@"\n')
        self.slow.chmod(0o755)
        self.environment = {**os.environ, "QUENLOFAR": str(self.slow), "LC_ALL": "C.UTF-8"}
        for name in [name for name in self.environment if name.startswith(("SLURM_", "SBATCH_", "PARALLEL"))]:
            del self.environment[name]
        single = self.run([program, "catalogue", "--database", directory / "single.sqlite", "--digest", "sha256",
                           "--no-progress", "-r", self.archive], status=1)
        self.news = single.stdout
        self.expected = contents(directory / "single.sqlite")
        for table in ("file", "stream", "finding", "damaged", "new_findings"):
            expect(self.expected[table], f"the catalogue to compare with has nothing in {table}")
        expect(len(self.expected["file"]) == count, "the catalogue to compare with does not have all files")

    def run(self, command, status=0, **more):
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.environment,
                                timeout=300, **more)
        expect(result.returncode == status, f"{command[0]} ended with {result.returncode}: "
               + (result.stdout + result.stderr).decode(errors="replace")[-2000:])
        return result

    def make_lists(self, name):
        """A new directory with the lists of all files."""
        work = self.directory / name
        self.begun.unlink(missing_ok=True)
        names = self.run(["find", self.archive, "-name", "*.avi", "-print0"]).stdout
        number = -(-self.count // (TASKS * LISTS_OF_TASK))
        self.run([SCRIPTS / "make-lists", work, str(number)], input=names)
        return work

    @staticmethod
    def parts(work):
        """The parts that are there, with what tells one file from another that replaced it."""
        return {path.name: (path.stat().st_ino, path.stat().st_mtime_ns) for path in (work / "parts").glob("*.jsonl")}

    def beginnings(self, name=None):
        """The processes that have begun to check, the list `name` alone where it is given."""
        if not self.begun.exists():
            return []
        lines = [line for line in self.begun.read_text().splitlines() if line.split()[1] == "check"]
        return [int(line.split()[0]) for line in lines if name is None or f"/lists/{name} " in line]

    def of_task(self, work, task):
        """The lists of a task, of TASKS."""
        return sorted(path.name for path in (work / "lists").iterdir())[task - 1::TASKS]

    def unfinished(self, work, lists):
        """Those of `lists` that were begun and have no part."""
        parts = self.parts(work)
        return {name for name in lists if self.beginnings(name) and f"{name}.jsonl" not in parts}

    def wait_for_the_middle(self, work, task):
        """Waits until a task has done some of its lists and is at another one."""
        lists = self.of_task(work, task)
        wait_for(lambda: sum(f"{name}.jsonl" in self.parts(work) for name in lists) >= 3, f"parts of task {task}")
        wait_for(lambda: self.unfinished(work, lists), f"a list of task {task}")

    def stopped_in_the_middle(self, work, task):
        """The list at which a task was stopped; it has to be one of those in the middle."""
        lists = self.of_task(work, task)
        at = self.unfinished(work, lists)
        expect(len(at) == 1 and at < set(lists[3:]), f"task {task} was stopped at {sorted(at)} of {lists}")
        return at

    def compare(self, what, database, work, again):
        """Whether the catalogue is the expected one, and only the lists `again` were begun more than once."""
        found = contents(database)
        for table, rows in self.expected.items():
            if found[table] != rows:
                different = [pair for pair in zip(rows, found[table]) if pair[0] != pair[1]]
                raise Failure(f"{what}: {table} differs: {len(rows)} rows, {len(found[table])} here; {different[:1]}")
        names = {path.name for path in (work / "lists").iterdir()}
        repeated = {name for name in names if len(self.beginnings(name)) > 1}
        expect(repeated == set(again), f"{what}: begun again were {sorted(repeated)}, not {sorted(again)}")
        expect(all(self.beginnings(name) for name in names), f"{what}: not all lists were begun")
        rows = ", ".join(f"{len(found[table])} of {table}" for table in NUMBERS)
        print(f"{what}: equal to one process ({rows}); {len(names)} lists, {len(repeated)} begun again", flush=True)


def free_ports(count):
    with contextlib.ExitStack() as stack:
        sockets = [stack.enter_context(socket.socket()) for _ in range(count)]
        for one in sockets:
            one.bind(("127.0.0.1", 0))
        return [one.getsockname()[1] for one in sockets]


class Slurm:
    """One machine's Slurm in a directory; ended by close()."""

    def __init__(self, directory):
        self.directory = directory
        for name in ("state", "spool", "logs", "munge"):
            (directory / name).mkdir(parents=True)
        key = directory / "munge" / "key"
        key.write_bytes(os.urandom(128))
        key.chmod(0o600)
        controller, node = free_ports(2)
        self.host = host = socket.gethostname().split(".")[0]
        user = subprocess.run(["id", "-un"], stdout=subprocess.PIPE, check=True).stdout.decode().strip()
        # Processes are followed by their groups, nothing is counted, and the node has as many processors as it says.
        (directory / "slurm.conf").write_text(f"""
ClusterName=quenlofar
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={controller}
SlurmdPort={node}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={directory}/munge/socket
StateSaveLocation={directory}/state
SlurmdSpoolDir={directory}/spool
SlurmctldPidFile={directory}/slurmctld.pid
SlurmdPidFile={directory}/slurmd.pid
SlurmctldLogFile={directory}/logs/slurmctld
SlurmdLogFile={directory}/logs/slurmd
ProctrackType=proctrack/pgid
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
SchedulerType=sched/builtin
SchedulerParameters=sched_interval=1
SlurmdParameters=config_overrides
KillWait=5
NodeName={host} NodeAddr=127.0.0.1 CPUs={TASKS} State=UNKNOWN
PartitionName=test Nodes=ALL Default=YES MaxTime=INFINITE State=UP
""")
        self.environment = {"SLURM_CONF": str(directory / "slurm.conf")}
        self.daemons = []
        try:
            self.start(["munged", "--force", "--foreground", f"--socket={directory}/munge/socket", f"--key-file={key}",
                        f"--pid-file={directory}/munge/pid", f"--seed-file={directory}/munge/seed",
                        f"--log-file={directory}/munge/log"])
            wait_for((directory / "munge" / "socket").exists, "munged's socket", 20)
            self.start(["slurmctld", "-D", "-f", directory / "slurm.conf"])
            self.start(["slurmd", "-D", "-f", directory / "slurm.conf"])
            wait_for(lambda: self.ask("sinfo", "-h", "-o", "%T") == "idle", "a node of Slurm that is idle", 60)
        except BaseException:
            self.close()
            raise

    def start(self, command):
        environment = {**os.environ, **self.environment,
                       "PATH": os.environ.get("PATH", "") + ":/usr/sbin:/sbin"}
        with open(self.directory / "logs" / f"{command[0]}.out", "wb") as output:
            self.daemons.append(subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output,
                                                 stderr=subprocess.STDOUT, env=environment, start_new_session=True))

    def close(self):
        if self.ask("squeue", "-h"): # something went wrong
            self.ask("scancel", "--state=PENDING")
            self.ask("scancel", "--state=RUNNING")
            wait_for(lambda: not self.ask("squeue", "-h"), "the end of all jobs", 30)
        for daemon in reversed(self.daemons):
            daemon.terminate()
            try:
                daemon.wait(timeout=20)
            except subprocess.TimeoutExpired:
                daemon.kill()
                daemon.wait()

    def ask(self, *command):
        """What a command of Slurm prints; nothing where it fails."""
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                env={**os.environ, **self.environment}, timeout=60)
        return result.stdout.decode().strip() if result.returncode == 0 else ""

    def states(self, job):
        """(task, state, reason) of those tasks of a job that have not ended."""
        lines = self.ask("squeue", "-h", "-r", "-j", job, "-o", "%K %t %r").splitlines()
        return [tuple(line.split(maxsplit=2)) for line in lines]

    def hurry(self, job):
        """Slurm lets a task that was put back wait for two minutes; here it need not."""
        for task, state, reason in self.states(job):
            if state == "PD" and reason == "BeginTime":
                self.ask("scontrol", "update", f"JobId={job}_{task}", "StartTime=now")

    def ended(self, job):
        self.hurry(job)
        return not self.states(job)


def try_slurm(test):
    slurm = Slurm(test.directory / "slurm")
    test.environment.update(slurm.environment)
    print("Slurm " + slurm.ask("sinfo", "--version").split()[-1] + f": {TASKS} tasks", flush=True)
    try:
        preempted_and_killed(test, slurm)
        cancelled(test, slurm)
    except BaseException:
        print(f"the logs are in {test.directory}", file=sys.stderr)
        raise
    finally:
        slurm.close()


def submit(test, work, database, *options):
    """The numbers of the job array and of the job that imports."""
    return test.run([SCRIPTS / "slurm-submit", str(TASKS), work, database, *options]).stdout.decode().split()


def kill_program(test, work, task):
    """Kills the program of a task in the task's middle; answers the list that it was at."""
    log = work / "logs" / f"task-{task}.log"
    test.wait_for_the_middle(work, task)
    for name in test.of_task(work, task)[3:]:
        process = wait_for(lambda: test.beginnings(name), f"the list {name}")[-1]
        with contextlib.suppress(ProcessLookupError): # it has come to its end just now
            os.kill(process, signal.SIGKILL)
        wait_for(lambda: f"{name}.jsonl" in test.parts(work) or f"{name}: ended with status 137" in log.read_text(),
                 f"the end of the list {name}")
        if f"{name}.jsonl" not in test.parts(work):
            return {name}
    raise Failure(f"no program of task {task} could be killed")


def preempted_and_killed(test, slurm):
    work, database = test.make_lists("work-1"), test.directory / "slurm-1.sqlite"
    job, importing = submit(test, work, database)
    test.wait_for_the_middle(work, 3)
    test.run(["scontrol", "requeue", f"{job}_3"])
    killed = kill_program(test, work, 5)
    wait_for(lambda: ("3", "PD") in [state[:2] for state in slurm.states(job)], "task 3 in the queue again")
    preempted = test.stopped_in_the_middle(work, 3)
    before = test.parts(work)
    expect(not database.exists(), "parts were imported before all were there")
    wait_for(lambda: slurm.ended(job) and slurm.ended(importing), "the end of the jobs")
    log = (work / "logs" / "task-5.log").read_text()
    expect("a program was killed; the task goes back into the queue" in log, "task 5 was not put back")
    after = test.parts(work)
    expect({name: after.get(name) for name in before} == before, "parts that were there are not what they were")
    expect((work / "logs" / "import.log").read_bytes() == test.news, "what the import says is new is something else")
    test.compare("Slurm, one task preempted and the program of another one killed", database, work,
                 preempted | killed)


def cancelled(test, slurm):
    work, database = test.make_lists("work-2"), test.directory / "slurm-2.sqlite"
    job, importing = submit(test, work, database)
    test.wait_for_the_middle(work, 4)
    test.run(["scancel", f"{job}_4"])
    wait_for(lambda: slurm.ended(job) and slurm.ended(importing), "the end of the jobs")
    expect(not database.exists(), "parts were imported although some are missing")
    at = test.stopped_in_the_middle(work, 4)
    before = test.parts(work)
    test.environment["QUENLOFAR_IMPORT_ON"] = slurm.host
    job, importing = submit(test, work, database, "-r", test.archive)
    wait_for(lambda: slurm.ended(job) and slurm.ended(importing), "the end of the jobs")
    after = test.parts(work)
    expect({name: after.get(name) for name in before} == before, "parts that were there are not what they were")
    test.compare("Slurm, one task cancelled and the job submitted again", database, work, at)


def kill_session(session):
    """Kills the processes of a session but for its first one; answers how many are left of them."""
    count = 0
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            # Behind the name in parentheses: state, parent, group, session.
            state, _, _, its_session = (entry / "stat").read_text().rsplit(")", 1)[1].split()[:4]
            if int(its_session) == session and int(entry.name) != session and state != "Z":
                os.kill(int(entry.name), signal.SIGKILL)
                count += 1
    return count


def try_parallel(test):
    work, database = test.make_lists("work-3"), test.directory / "parallel.sqlite"
    command = [SCRIPTS / "parallel-run", str(TASKS), work, database]
    child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                             env=test.environment, start_new_session=True)
    wait_for(lambda: len(test.parts(work)) >= 20, "parts of GNU parallel")
    os.kill(child.pid, signal.SIGSTOP) # nothing new begins, and its session stays
    wait_for(lambda: not kill_session(child.pid), "the end of what GNU parallel has started")
    child.kill()
    child.communicate()
    before = test.parts(work)
    again = test.unfinished(work, [path.name for path in (work / "lists").iterdir()])
    expect(again and not database.exists(), "GNU parallel was not killed in its middle")
    result = test.run(command, status=1)
    expect(result.stdout == test.news, "what the import says is new is something else")
    after = test.parts(work)
    expect({name: after.get(name) for name in before} == before, "parts that were there are not what they were")
    test.compare("GNU parallel, killed and started again", database, work, again)
    test.run([SCRIPTS / "parallel-run", str(TASKS), work, database])
    test.compare("GNU parallel, once more when all is done", database, work, again)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--files", type=int, default=2000)
    parser.add_argument("--keep", action="store_true", help="leave the directory of the test")
    parser.add_argument("--engine", choices=("slurm", "parallel"), help="only this one")
    parser.add_argument("program", type=pathlib.Path)
    choice = parser.parse_args()
    # Not below $TMPDIR: the path of a socket is short.
    directory = pathlib.Path(tempfile.mkdtemp(prefix="quenlofar-cluster-", dir="/tmp"))
    kept = choice.keep
    try:
        test = Test(directory, choice.program.resolve(), choice.files)
        if choice.engine != "parallel":
            try_slurm(test)
        if choice.engine != "slurm":
            try_parallel(test)
    except Failure as failure:
        print(f"clustertest: {failure}", file=sys.stderr)
        kept = True
        sys.exit(1)
    finally:
        if kept:
            print(f"clustertest: left in {directory}", file=sys.stderr)
        else:
            shutil.rmtree(directory)


if __name__ == "__main__":
    main()
