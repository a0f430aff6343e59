#!/usr/bin/env python3
"""Runs the workflow on a real Slurm cluster and causes failures: no row may be lost or duplicated, and chunks that
cannot succeed must be named. scripts/test-cluster runs this test."""

import gzip
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from slurm import Slurm, descendants, processes, state_of, wait_for

SOURCE = Path(__file__).resolve().parents[2]
WORKFLOW = SOURCE / "workflow"
COMPLEMENT = str.maketrans("ACGT", "TGCA")
# The number of bases in each file, in units of BASES. Most files have the same SAM file name as a file in another
# folder.
FILES = {"a/1.fastq": 9, "a/2.fq": 14, "a/3.fastq.gz": 6, "b/1.fq": 12, "b/2.fastq": 5, "b/3.fastq.gz": 8,
         "c/1.fasta": 11, "c/5.fastq": 10, "c/6 x.fastq": 7}
BASES = 150_000
CUT = "b/1.fq"


def say(text):
    print(f"{time.monotonic() - START:5.0f} s  {text}", flush=True)


def expect(condition, text):
    if not condition:
        raise AssertionError(text)


def make_data(folder):
    """Writes a reference, reads of both strands in which one base in twelve is random, and a script that runs the
    aligner."""
    dice = random.Random(7)
    reference = {name: "".join(dice.choices("ACGT", k=size)) for name, size in (("one", 300_000), ("two", 100_000))}
    # If a process group loses its slurmstepd while a process of the group is stopped, the kernel ends the group. So the
    # aligner, which the test stops, gets a group of its own.
    (folder / "aligner").write_text('#!/bin/sh\nexec setsid tavik_aligner "$@"\n')
    (folder / "aligner").chmod(0o755)
    (folder / "reference.fasta").write_text("".join(f">{name}\n{bases}\n" for name, bases in reference.items()))
    for name, size in FILES.items():
        records, left = [], size * BASES
        while left > 0:
            source = dice.choice(list(reference.values()))
            length = dice.randint(200, 3000)
            start = dice.randrange(len(source) - length)
            bases = list(source[start:start + length])
            for position in dice.sample(range(length), length // 12):
                bases[position] = dice.choice("ACGT")
            read = "".join(bases)
            read = dice.choice((read, read.translate(COMPLEMENT)[::-1]))
            title = f"{name.replace(' ', '_')}-{len(records)}"
            records.append(f">{title}\n{read}\n" if "fasta" in name else f"@{title}\n{read}\n+\n{'7' * length}\n")
            left -= length
        path = folder / "reads" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        data = "".join(records).encode()
        path.write_bytes(gzip.compress(data, 1) if name.endswith(".gz") else data)


def engine():
    """Starts the workflow with the Slurm profile."""
    with open("engine.txt", "ab") as log:
        return subprocess.Popen(
            ["snakemake", "-s", WORKFLOW / "Snakefile", "--profile", WORKFLOW / "profiles" / "slurm",
             "--restart-times", "1", "--set-threads", "align=2", "index=2", "--latency-wait", "10",
             "--default-resources", "runtime=10",
             "--config", "reads=reads", "reference=reference.fasta", "out=out", "chunk_mb=2.8", "aligner=./aligner"],
            stdin=subprocess.DEVNULL, stdout=log, stderr=log)


def attempts_running():
    """Returns the running aligners: {process id: (chunk, the attempt's folder)}."""
    found = {}
    for process, command in descendants(os.getpid()).items():
        if match := re.match(r"tavik_aligner .*-s (out/attempts/(\d+)-\S+) ", command):
            found[process] = (match[2], Path(match[1]))
    return found


def stop(process):
    """Stops the process. Returns False if it has ended. Raises ProcessLookupError if it does not exist."""
    os.kill(process, signal.SIGSTOP)
    wait_for("a process to stop", lambda: (state := state_of(process)) in "TZ" and state)
    return state_of(process) == "T"


def catch_in_the_middle(spared):
    """Stops an aligner that has partial results for a chunk not in `spared`. Returns its process id and the chunk."""
    def look():
        for process, (chunk, folder) in attempts_running().items():
            if chunk in spared:
                continue
            try:
                if not stop(process):
                    continue
            except ProcessLookupError:
                continue
            summary = folder / "alignment_summary.txt"
            if summary.exists() and summary.read_bytes().count(b"\n") > 20:
                return process, chunk
            os.kill(process, signal.SIGCONT)
        return None
    return wait_for("an aligner in the middle of its work", look, 90)


def step_of(process):
    """Returns the slurmstepd that is an ancestor of the process, and the number of its job."""
    table = processes()
    while process in table:
        if match := re.match(r"slurmstepd: \[(\d+)\.batch\]", table[process][1]):
            return process, match[1]
        process = table[process][0]
    raise AssertionError("the aligner does not run in a job")


def log_of(chunk):
    return Path(f"out/logs/attempts-{chunk}.txt").read_text()


def trouble(slurm, cut_chunk):
    """Causes failures while the engine runs. Returns the chunks that needed a second attempt."""
    killed, chunk_killed = catch_in_the_middle({cut_chunk})
    os.kill(killed, signal.SIGKILL)
    say(f"killed the aligner of chunk {chunk_killed}")

    orphan, chunk_orphan = catch_in_the_middle({cut_chunk, chunk_killed})
    step, job = step_of(orphan)
    os.kill(step, signal.SIGKILL)
    wait_for("the end of slurmstepd", lambda: step not in descendants(os.getpid()))
    expect(orphan in attempts_running(), "the aligner ended with its slurmstepd")
    say(f"killed slurmstepd of chunk {chunk_orphan}; its aligner remains, stopped")

    cancelled, chunk_cancelled = catch_in_the_middle({cut_chunk, chunk_killed, chunk_orphan})
    subprocess.run(["scancel", step_of(cancelled)[1]], check=True)
    say(f"cancelled the job of chunk {chunk_cancelled}")

    slurm.set_node("drain")
    wait_for("jobs that wait for the node", lambda: set(slurm.jobs().values()) == {"RUNNING", "PENDING"}
             and len(attempts_running()) == 1)
    time.sleep(3)
    expect(list(attempts_running()) == [orphan], "a job began on a drained node")
    slurm.set_node("resume")
    say("drained the node and resumed it")

    def requeued():
        slurm.ask("scontrol", "reconfigure")  # Makes the controller ask the node for its jobs.
        return slurm.jobs().get(job) == "PENDING"
    wait_for("the job that lost its slurmstepd to be queued again", requeued)
    # By default, Slurm starts a requeued job only after two minutes.
    wait_for("the job's release", lambda: subprocess.run(["scontrol", "update", f"jobid={job}", "starttime=now"],
                                                         capture_output=True, check=False).returncode == 0)
    wait_for("the job's second attempt", lambda: any(chunk == chunk_orphan and process != orphan
                                                     for process, (chunk, _) in attempts_running().items()))
    os.kill(orphan, signal.SIGCONT)
    say(f"chunk {chunk_orphan} is being aligned again while its first aligner continues to write")
    return {chunk_killed, chunk_orphan, chunk_cancelled}


def rows(summary):
    header, *lines = Path(summary).read_text().splitlines()
    return [header, *sorted(lines)]


def check_first_call(status, files, cut_chunk, repeated):
    expect(status != 0, "the engine succeeded although reads are missing")
    expect(not Path("out/alignment_summary.txt").exists(), "chunks were joined although one is missing")
    done = {path.name for path in Path("out/chunks").iterdir() if any(path.iterdir())}
    expect(done == set(files) - {cut_chunk}, f"chunks done: {sorted(done)}, of {sorted(files)} without {cut_chunk}")
    for chunk in done:
        subprocess.run(["tavik_check", f"out/chunks/{chunk}/files.txt", f"out/chunks/{chunk}"], check=True,
                       stdout=subprocess.DEVNULL)
    expect(f"reads/{CUT}: the last record is cut short" in log_of(cut_chunk), "the cut file is not named")
    failed = Path("out/failed.txt").read_text()
    expect(failed.startswith(f"chunks not done: 1 of {len(files)}\nchunk {cut_chunk}, ") and f"reads/{CUT}: " in failed,
           f"the list of failed chunks says: {failed}")
    attempts = {chunk: log_of(chunk).count("\n==") + 1 for chunk in files}
    wanted = {chunk: 2 if chunk in repeated | {cut_chunk} else 1 for chunk in files}
    expect(attempts == wanted, f"attempts: {attempts}, not {wanted}")


def scenario(slurm):
    cut = Path("reads") / CUT
    whole = cut.read_bytes()
    cut.write_bytes(whole[:whole.rindex(b"+")])  # The aligner does not report the missing lines.
    first = engine()
    plan = Path("out/plan.tsv")
    wait_for("the plan", plan.exists)
    files = {}
    for line in plan.read_text().splitlines():
        chunk, file = line.split("\t")
        files.setdefault(chunk, []).append(file)
    cut_chunk = next(chunk for chunk, names in files.items() if str(cut) in names)
    say(f"{len(FILES)} files in {len(files)} chunks; one file is cut short")
    expect(len(files) >= 6, "too few chunks for the failures")
    repeated = trouble(slurm, cut_chunk)
    check_first_call(first.wait(200), files, cut_chunk, repeated)
    say("the engine gave up only on the chunk of the cut file")

    cut.write_bytes(whole)
    kept = {chunk: os.stat(f"out/chunks/{chunk}").st_mtime_ns for chunk in set(files) - {cut_chunk}}
    expect(engine().wait(90) == 0, "the second call of the engine failed")
    expect({chunk: os.stat(f"out/chunks/{chunk}").st_mtime_ns for chunk in kept} == kept, "chunks were done again")
    listed = "".join(f"{line.split(chr(9))[1]}\n" for line in plan.read_text().splitlines())
    subprocess.run(["tavik_aligner", "-z", "-i", "", "-s", "single", "-a", "reference.fasta"], input=listed, text=True,
                   check=True, stderr=subprocess.DEVNULL)
    expect(rows("out/alignment_summary.txt") == rows("single/alignment_summary.txt"), "the rows differ")
    expect(not Path("out/failed.txt").exists(), "a failed chunk is still listed")
    expect(not Path("out/attempts").exists(), "files of killed attempts remain")
    say("the second call of the engine completed the run: "
        f"the {len(rows('out/alignment_summary.txt')) - 1} rows are those of a single aligner run")


def end(*_):
    sys.exit("cluster_test: asked to end")


def main():
    signal.signal(signal.SIGTERM, end)  # The exit also ends the daemons.
    os.environ["PATH"] = f"{SOURCE / 'build' / 'release' / 'bin'}:{os.environ['PATH']}"
    folder = Path(tempfile.mkdtemp(prefix="tavik_cluster_"))
    os.chdir(folder)
    make_data(folder)
    say("wrote the reference and the reads")
    slurm = Slurm(cpus=4, memory_mb=5000)
    failed = True
    try:
        with slurm:
            say("Slurm is running")
            try:
                scenario(slurm)
            except BaseException:
                print(slurm.ask("squeue"), slurm.ask("scontrol", "show", "node"), attempts_running(), sep="\n")
                raise
            failed = False
    except BaseException:
        print(Path("engine.txt").read_text()[-8000:] if Path("engine.txt").exists() else "", slurm.logs(), sep="\n")
        print(f"cluster_test: kept {folder} and {slurm.folder}", file=sys.stderr)
        raise
    finally:
        os.chdir("/")
        left = descendants(os.getpid())
        if not failed:
            shutil.rmtree(folder)
            slurm.remove()
    expect(not left, f"still running: {left}")
    say("all daemons have ended")


if __name__ == "__main__":
    START = time.monotonic()
    main()
