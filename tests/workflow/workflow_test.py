#!/usr/bin/env python3
"""Tests the workflow's scripts: planning chunks, aligning them, joining summaries, and interpreting Slurm's answers.
Each class is one ctest test."""

import os
import shutil
import subprocess
import unittest
from pathlib import Path

from workflow_run import CHECK, PROGRAM, READS, REFERENCE, SCRIPTS, SOURCE, WorkflowTest

SLURM = SOURCE / "workflow" / "profiles" / "slurm"
HEADER = "read_id\tgenome\n"


class Plan(WorkflowTest):
    def plan(self, reads, chunk_mb="0.001"):
        self.assertEqual(self.call(SCRIPTS / "plan_chunks", reads, chunk_mb, "plan"), (0, ""), self.stderr)
        lines = [line.split("\t") for line in (self.folder / "plan").read_text().splitlines()]
        chunks = {}
        for chunk, file in lines:
            chunks.setdefault(chunk, []).append(file)
        return [file for _, file in lines], sorted(chunks.values())

    def test_largest_files_first_and_no_two_sam_files_with_the_same_name_in_a_chunk(self):
        for name, kilobytes in (
                ("l/1.fq", 7), ("l/2.fq", 6), ("l/3.fq", 5), ("l/4.fq", 4), ("l/5.fq", 3), ("l/6.fq", 2),
                ("same/a.fastq", 4), ("same/a.b.fastq", 1), ("same/x/a.fq", 1), ("same/y/a.fastq.gz", 1), ("same/z/a.fa", 1),
                ("gz/1.FQ.gz", 5), ("gz/2.fq", 5), ("gz/3.fq", 5), ("gz/no.txt", 9), ("gz/no.sam", 9)):
            self.write(name, "x" * kilobytes * 1000)
        self.write("list", "l/6.fq\nl/1.fq\n\nl/2.fq\nl/5.fq\nl/4.fq\nl/3.fq\n")
        for reads, chunk_mb, order, chunks in (
                ("list", "0.0135", ["l/6.fq", "l/1.fq", "l/2.fq", "l/5.fq", "l/4.fq", "l/3.fq"],
                 [["l/1.fq", "l/4.fq", "l/5.fq"], ["l/2.fq", "l/3.fq", "l/6.fq"]]),
                ("list", "1000", None, [["l/6.fq", "l/1.fq", "l/2.fq", "l/5.fq", "l/4.fq", "l/3.fq"]]),
                ("same", "1000", None, [["same/a.b.fastq", "same/a.fastq", "same/y/a.fastq.gz"], ["same/x/a.fq"], ["same/z/a.fa"]]),
                ("gz", "0.010", None, [["gz/1.FQ.gz"], ["gz/2.fq", "gz/3.fq"]])):
            with self.subTest(reads=reads, chunk_mb=chunk_mb):
                files, planned = self.plan(reads, chunk_mb)
                self.assertEqual(sorted(map(sorted, planned)), sorted(map(sorted, chunks)))
                if order:
                    self.assertEqual(files, order)
                for chunk in planned:  # In the order of the list.
                    self.assertEqual(chunk, [file for file in files if file in chunk])

    def test_files_that_cannot_be_aligned_are_all_named_before_anything_begins(self):
        self.write("empty.fq", "")
        self.write("good.fq", "x")
        (self.folder / "folder.fq").mkdir()
        self.write("list", "good.fq\ngone.fq\nempty.fq\nfolder.fq\n{.fq\ngood.fq\n")
        status, _ = self.call(SCRIPTS / "plan_chunks", "list", 1, "plan")
        self.assertEqual((status, self.stderr.splitlines()), (1, [
            "plan_chunks:", "gone.fq: No such file or directory",
            "empty.fq: empty; please leave it out", "folder.fq: not a regular file",
            "'{.fq': names with braces, tabs or line feeds are not supported", "good.fq: listed twice"]))
        self.assertEqual((self.folder / "plan").exists(), False)

    def test_folder_that_cannot_be_listed_is_named(self):
        """The folder's path is too long; missing permissions would not stop root."""
        self.write("in/a.fq", "x")
        folder = os.open(self.folder / "in", os.O_RDONLY)
        for _ in range(17):
            os.mkdir("x" * 250, dir_fd=folder)
            inner = os.open("x" * 250, os.O_RDONLY, dir_fd=folder)
            os.close(folder)
            folder = inner
        os.close(folder)
        self.assertEqual(self.call(SCRIPTS / "plan_chunks", "in", 1, "plan"), (1, ""))
        self.assertRegex(self.stderr, r"^plan_chunks: in(/x{250})+: File name too long\n$")


class Attempts(WorkflowTest):
    def setUp(self):
        super().setUp()
        # The name is not UTF-8, as on older systems.
        shutil.copy(READS / "sample_1.fastq", os.fsencode(self.folder) + b"/sample_\xff.fastq")
        (self.folder / "plan").write_bytes(b"100007\tno such file\n00007\tsample_\xff.fastq\n")
        self.arguments = [SCRIPTS / "align_chunk", "plan", "out/chunks/00007/alignment_summary.txt", "-a", REFERENCE, "-t", "1"]
        self.environment = {**os.environ, "ALIGNER": PROGRAM, "LOG": "log", "CHECK": CHECK, "ALLOWED_FAILED_READS": "0",
                            "ATTEMPT": "1"}
        self.chunk = self.folder / "out" / "chunks" / "00007"

    def start(self, **environment):
        return subprocess.Popen(list(map(str, self.arguments)), cwd=self.folder,
                                env={**self.environment, **environment})

    def results(self):
        return sorted(path.name for path in self.chunk.iterdir() if path.suffix != ".log")

    def left_over(self):
        return sorted(path.name for path in (self.folder / "out" / "attempts").iterdir())

    def test_results_of_a_chunk_appear_all_at_once(self):
        whole = ["alignment_summary.txt", "files.tsv", "files.txt", "sample_\udcff.sam"]
        self.write("out/chunks/00007/old.sam", "of an attempt that lacks its summary")
        self.assertEqual(self.start().wait(), 0)
        self.assertEqual((self.results(), self.left_over()), (whole, []))
        # A later attempt changes nothing.
        before = self.chunk.stat().st_ino
        self.assertEqual(self.start().wait(), 0)
        self.assertEqual((self.chunk.stat().st_ino, self.results(), self.left_over()), (before, whole, []))

    def test_lost_reads_or_a_failed_aligner_leave_only_the_reason(self):
        bad = self.write("bad.fastq", (READS / "sample_1.fastq").read_text() + "@cut\nAC")
        (self.folder / "plan").write_text(f"00007\t{bad}\n")
        self.assertEqual(self.start().wait(), 1)
        self.assertEqual((self.folder / "log").read_text().splitlines()[1:], [f"{bad}: the last record is cut short"])
        self.assertEqual(self.start(ALIGNER="false").wait(), 1)
        self.assertEqual((self.folder / "log").read_text().splitlines()[3:], ["The aligner ended with status 1."])
        self.assertEqual((self.chunk.exists(), self.left_over()), (False, []))

    def test_the_same_loss_in_two_attempts_ends_the_attempts_of_this_run(self):
        """The check's answers decide whether later attempts run the aligner."""
        self.write("check", '#!/bin/sh\necho "$5/log-$(date +%F_%H-%M-%S.%N): $SAYS"; echo also; exit $CHECK_STATUS\n'
                   ).chmod(0o755)
        self.write("aligner", '#!/bin/sh\necho >>ran; touch "$5/read.log"; exec kill -$SIGNAL $$\n').chmod(0o755)
        for said, runs in (((("a", 1, 0), ("a", 1, 0), ("b", 1, 0), ("c", 1, 0)), 2),
                           ((("a", 1, 0), ("b", 1, 0), ("a", 1, 0), ("b", 1, 0)), 4),
                           ((("a", 1, "ABRT"), ("a", 1, 0), ("a", 1, 0)), 2),
                           ((("a", 1, 0), ("a", 1, "KILL"), ("b", 1, 0)), 3),  # A kill says nothing about the input.
                           ((("a", 1, 0), ("a", 1, "KILL"), ("a", 1, 0), ("a", 1, 0)), 3),
                           ((("a", 2, 0), ("a", 2, 0), ("a", 2, 0)), 3)):      # The check itself failed.
            (self.folder / "ran").unlink(missing_ok=True)
            for attempt, (words, check_status, aligner_signal) in enumerate(said, 1):
                self.assertEqual(self.start(ALIGNER="./aligner", CHECK="./check", SAYS=words, ATTEMPT=str(attempt),
                                            CHECK_STATUS=str(check_status), SIGNAL=str(aligner_signal)).wait(), 1)
            with self.subTest(said=said):
                self.assertEqual(self.told("ran").count("\n"), runs)
        self.assertEqual(self.start(ATTEMPT="1").wait(), 0)  # The next run of the workflow tries again.

    def test_aligner_ends_with_its_killed_attempt_and_a_late_attempt_changes_nothing(self):
        slow = self.write("slow", '#!/bin/sh\necho $$ >"$PID_FILE"\nfor i in $(seq 400); do\n'
                          f'[ ! -e "$PID_FILE.go" ] || exec "{PROGRAM}" "$@"\nsleep 0.05\ndone\n')
        slow.chmod(0o755)
        killed = self.start(ALIGNER=str(slow), PID_FILE="killed")
        writing = self.start(ALIGNER=str(slow), PID_FILE="writing")
        pids = [self.folder / name for name in ("killed", "writing")]
        self.wait_for(lambda: all(path.exists() and path.read_text() for path in pids))
        killed.kill()
        killed.wait()
        aligner = int(pids[0].read_text())
        self.wait_for(lambda: not Path(f"/proc/{aligner}").exists()
                      or ") Z " in Path(f"/proc/{aligner}/stat").read_text())
        self.assertEqual(self.start().wait(), 0)
        before = self.chunk.stat().st_ino
        self.write("writing.go", "")
        self.assertEqual(writing.wait(), 0)
        self.assertEqual((self.chunk.stat().st_ino, len(self.left_over())), (before, 1))


class Join(WorkflowTest):
    PLAN = "00001\tx/a.fq\n00000\tb c.fq\n00001\td e.gz\n00000\tnone.fq\n"
    CHUNKS = {"00000": (HEADER + "b1\t1\nb2\t2\n", [("2", "b c.sam", "b c.fq"), ("0", "none.sam", "none.fq")]),
              "00001": (HEADER + "a1\t3\nd1\t4\nd2\t5\n", [("1", "a.sam", "x/a.fq"), ("2", "d e.sam", "d e.gz")])}

    def join(self, plan=PLAN, lost_row=""):
        self.write("plan", plan)
        for chunk, (summary, files) in self.CHUNKS.items():
            self.write(f"out/chunks/{chunk}/alignment_summary.txt", summary.replace(lost_row, ""))
            rows = "".join("\t".join(row) + "\n" for row in files)
            self.write(f"out/chunks/{chunk}/files.tsv", "reads\tsam\tfile\n" + rows)
        return self.call(SCRIPTS / "join_summaries", "plan", "out/summary", "files")

    def test_rows_are_in_the_order_of_the_list(self):
        self.write("out/chunks/00002/alignment_summary.txt", "of a former plan")
        self.assertEqual(self.join(), (0, ""), self.stderr)
        self.assertEqual(sorted(path.name for path in (self.folder / "out" / "chunks").iterdir()), ["00000", "00001"])
        self.assertEqual((self.folder / "out" / "summary").read_text(), HEADER + "a1\t3\nb1\t1\nb2\t2\nd1\t4\nd2\t5\n")
        self.assertEqual((self.folder / "files").read_text(),
                         "reads\tsam\tfile\n1\tout/chunks/00001/a.sam\tx/a.fq\n2\tout/chunks/00000/b c.sam\tb c.fq\n"
                         "2\tout/chunks/00001/d e.sam\td e.gz\n0\tout/chunks/00000/none.sam\tnone.fq\n")

    def test_results_that_do_not_fit_the_plan_are_refused(self):
        for plan, lost_row, message in (
                (self.PLAN.replace("x/a", "x/b"), "", "00001: expected x/b.fq, found x/a.fq"),
                (self.PLAN + "00000\tmore.fq\n", "", "00000: expected more.fq, found no more files"),
                (self.PLAN.replace("00000\tnone.fq\n", ""), "", "00000: there are more results than the plan lists"),
                (self.PLAN, "d1\t4\n", "00001: reads in files.tsv: 3, but rows in the summary: 2")):
            self.assertEqual(self.join(plan, lost_row), (1, ""))
            self.assertEqual(self.stderr, f"join_summaries: out/chunks/{message}\n")
            self.assertEqual((self.folder / "out" / "summary").exists(), False)


JOB = "JobId=7 JobName=held JobState=COMPLETED UserId=me(0) Priority=1 JobState={} Reason={} Dependency=(null) " \
      "Requeue=1 Command=/x/JobState=FAILED Reason=held"
UNKNOWN = "slurm_load_jobs error: Invalid job id specified"
# The answers of scontrol and sacct, the state reported to Snakemake, and whether the job is cancelled.
STATES = [
    (JOB.format("PENDING", "Resources"), "", "running", False),
    (JOB.format("PENDING", "JobHeldUser"), "", "running", False),
    (JOB.format("PENDING", "launch failed requeued held"), "", "failed", True),
    (JOB.format("PENDING", "launch_failed_requeued_held"), "", "failed", True),
    (JOB.format("PENDING", "job_requeued_in_held_state"), "", "failed", True),
    *((JOB.format(state, "None"), "", "running", False) for state in ("RUNNING", "COMPLETING", "SUSPENDED", "STOPPED")),
    (JOB.format("COMPLETED", "None"), "", "success", False),
    *((JOB.format(state, "NonZeroExitCode"), "", "failed", False)
      for state in ("FAILED", "CANCELLED", "TIMEOUT", "NODE_FAIL", "OUT_OF_MEMORY", "PREEMPTED")),
    ("slurm_load_jobs error: Unable to contact slurm controller (connect failure)", "", "running", False),
    (UNKNOWN, "", "failed", False),
    (UNKNOWN, "COMPLETED", "success", False),
    (UNKNOWN, "CANCELLED by 0", "failed", False),
]


class SlurmProfile(WorkflowTest):
    def setUp(self):
        super().setUp()
        for name, text in (("scontrol", 'echo "$SCONTROL"'), ("sacct", 'echo "$SACCT"'), ("sleep", "echo $1 >>slept"),
                           ("scancel", 'echo "$@" >>cancelled'), ("sbatch", 'echo "$@" >>asked; . ./answer')):
            self.write(f"bin/{name}", f"#!/bin/sh\n{text}\n").chmod(0o755)
        self.path = {"PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}"}

    def test_states_of_jobs(self):
        for scontrol, sacct, answer, cancelled in STATES:
            with self.subTest(scontrol=scontrol, sacct=sacct):
                (self.folder / "cancelled").unlink(missing_ok=True)
                self.assertEqual(self.call(SLURM / "status", "7", **self.path, SCONTROL=scontrol, SACCT=sacct),
                                 (0, f"{answer}\n"))
                self.assertEqual(self.told("cancelled"), "7\n" if cancelled else "")

    def test_submission_waits_only_for_an_unreachable_controller(self):
        away = "sbatch: error: Batch job submission failed: Unable to contact slurm controller (connect failure)"
        wrong = "sbatch: error: Batch job submission failed: Requested node configuration is not available"
        back = f'[ $(wc -l <asked) -gt 2 ] || {{ echo "{away}" >&2; exit 1; }}; echo "warning" >&2; echo "12;big"'
        for answer, status, stdout, calls in ((back, 0, "12\n", 3), (f'echo "{wrong}" >&2; exit 1', 1, "", 1),
                                              (f'echo "{away}" >&2; exit 1', 1, "", 6)):
            (self.folder / "asked").unlink(missing_ok=True)
            self.write("answer", answer)
            self.assertEqual(self.call(SLURM / "submit", "--mem=5", "job script", **self.path), (status, stdout))
            self.assertEqual(self.told("asked").count("--mem=5 job script\n"), calls)


if __name__ == "__main__":
    unittest.main(verbosity=2)
