#!/usr/bin/env python3
"""Tests what tavik_report says about the runs behind a summary, and how it writes its files and its messages. Each class
is one ctest test."""

import json
import os
import pty
import resource
import shutil
import signal
import subprocess
import unittest

from aligner_run import PROGRAM, READS, REFERENCE, become_nobody, fastq, read_fastq
from report_run import FILES, HEADER, ReportTest, row

LOG = "read_processor_log-2026-01-02_03-04-05.log"
NO_LOG = [["log file", "no log file: it is unknown whether the run finished"]]
KINDS = ("unfinished_runs", "failed_files", "failed_reads", "other_errors", "warnings", "unknown_runs",
         "row_difference")
CUT = "Error while processing input file {}: Sequence is not the same length as the qstring"


class Runs(ReportTest):
    def problems(self, folder="out"):
        """Returns the page's findings and MultiQC's counts. Each finding is (level, text, messages, the number of
        messages left out); the counts are in the order of KINDS."""
        (sample,) = self.data(folder)["samples"]
        (counts,) = json.loads((self.folder / folder / "alignment_report_mqc.json").read_text())["data"].values()
        return [tuple(one.values()) for one in sample["findings"]], [counts.get(kind) for kind in KINDS]

    def test_a_complete_run_and_a_summary_without_a_log_have_no_findings(self):
        for args in ((), ("-z",), ("--verbose_logs",)):
            shutil.rmtree(self.folder / "out", ignore_errors=True)
            self.align(sorted(READS.iterdir()), *args)
            self.assertEqual(self.run_report("out").stderr, "")
            self.assertEqual(self.problems(), ([], [0] * 7))
        self.write_run("bare", [row(b"c")], {b"c": 1000})
        self.assertEqual(self.run_report("bare").stderr, "")
        self.assertEqual(self.problems("bare"), ([], [None] * 7))
        self.assertEqual(self.data("bare")["samples"][0]["run"], NO_LOG)

    def test_killed_run_is_reported_everywhere(self):
        records = read_fastq(READS / "sample_1.fastq")
        cut = self.write("in/cut.fastq", fastq([*records, ("@cut x", "ACGT", "AC")]))
        same = [self.write(f"in/{name}/same.fastq", fastq(records)) for name in "ab"]
        endless = self.folder / "in/endless.fastq"
        os.mkfifo(endless)
        with subprocess.Popen([PROGRAM, "-z", "-i", "", "-s", "out", "-a", REFERENCE], cwd=self.folder, text=True,
                              stdin=subprocess.PIPE, stderr=subprocess.DEVNULL) as aligner:
            aligner.stdin.write("".join(f"{file}\n" for file in (cut, *same, endless)))
            aligner.stdin.close()
            with open(endless, "w", encoding="ascii") as reads:  # Waits until the aligner opens the pipe.
                reads.write(fastq(records))
                reads.flush()
                aligner.send_signal(signal.SIGKILL)
                aligner.wait()
        date = self.run_report("out").stderr.split(" ends at ")[1][:19]
        ends = f"the log file ends at {date}, within input file {endless}: the run was interrupted or is still running"
        cut = CUT.format(cut)
        replaces = f"Input file {same[1]} replaces the SAM file of an earlier input file: out/same.sam"
        self.assertEqual(self.run_report("out").stderr, f"Warning: out: run not finished: {ends}\n"
                         f"Warning: out: 1 input file failed: {cut}\nWarning: out: 1 warning: {replaces}\n")
        self.assertEqual(self.problems(), ([("error", "Run not finished", [ends], 0), ("error", "1 input file failed", [cut], 0),
                                            ("warning", "1 warning", [replaces], 0)], [1, 1, 0, 0, 1, 0, 0]))
        run = dict(self.data()["samples"][0]["run"])
        self.assertEqual((run["took"], run["input files read"], run["input path"], run["save path"], run["warnings and errors"]),
                         ("not finished", "2", "a list on standard input", "out", "1 and 1"))

    def test_number_of_rows_is_compared_with_the_log(self):
        out = self.align_examples()
        rows = (out / "alignment_summary.txt").read_bytes()
        (out / "alignment_summary.txt").write_bytes(rows[:rows.rindex(b"\n", 0, -1) + 1])
        text = "the log counts 45 reads, but the summary has 44 rows"
        self.assertEqual(self.run_report("out").stderr, f"Warning: out: {text}\n")
        self.assertEqual(self.problems(), ([("error", "T" + text[1:], [], 0)], [0] * 6 + [1]))

    def test_many_messages_are_counted_and_shortened_and_their_control_characters_replaced(self):
        out = self.write_run("out", [row(b"c")] * 2, {b"c": 1000})
        reads = [f"Error while processing read r{i}\x1b[2J{'x' * 900}: e Continuing with next read." for i in range(7)]
        texts = ["[message] QEL Tavik alignment software version 1", *(f"[error] {text}" for text in reads), "[error] e",
                 "[info] Successfully finished input file a (2 reads)", "[message] Done in 7325000 ms."]
        self.write(f"out/{LOG}", "".join(f"2026-01-02 03:04:05.000000 {text}\n" for text in texts))
        first = (reads[0].replace("\x1b", "?")[:300] + "...")
        self.assertEqual(self.run_report(out).stderr, f"Warning: {out}: 7 reads failed; the first: {first}\n"
                         f"Warning: {out}: 1 other error: e\n")
        (failed, _), counts = self.problems()
        self.assertEqual((failed[1], len(failed[2]), failed[3], counts), ("7 reads failed", 5, 2, [0, 0, 7, 1, 0, 0, 0]))
        self.assertEqual(dict(self.data()["samples"][0]["run"])["took"], "2 h 2 min")

    def test_unreadable_log_is_a_warning(self):
        out = self.align_examples()
        (log,) = out.glob("*.log")
        log.chmod(0)
        self.check_that_others_can_run_it()
        self.assertEqual(self.run_report("out", "-o", self.folder / "new", preexec_fn=become_nobody).stderr,
                         f"Warning: out: run with an unreadable log file: out/{log.name}: Permission denied\n")
        self.assertEqual(self.problems("new"), ([("warning", "Run with an unreadable log file",
                                                  [f"out/{log.name}: Permission denied"], 0)], [None] * 5 + [1, None]))
        self.assertEqual(self.data("new")["samples"][0]["run"],
                         [["log file", "unreadable: it is unknown whether the run finished"]])

    def test_joined_summary_has_the_facts_of_all_chunks(self):
        files = sorted(READS.iterdir())
        for number, file in enumerate(files):
            self.align([file], save=f"out/chunks/{number:05}")
        summaries = sorted((self.folder / "out/chunks").glob("*/alignment_summary.txt"))
        self.write("out/alignment_summary.txt", HEADER + "".join("".join(path.read_text().splitlines(True)[1:]) for path in summaries))
        self.assertEqual(self.run_report("out").stderr, "")
        self.assertEqual(self.problems(), ([], [0] * 7))
        (sample,) = self.data()["samples"]
        run = dict(sample["run"])
        self.assertEqual([run[name] for name in ("aligner version", "alignment ref.", "input files read", "log files")],
                         ["1.0.0", str(REFERENCE), "3", "3 (for 3 runs)"])
        self.assertEqual((sorted(run) == sorted({*run, "started", "ended"}), "save path" in run), (True, False))
        self.assertEqual({depth["name"] for depth in sample["depths"]}, {"chr_large", "chr_small"})  # From the chunks' SAM files.

        (log,) = (self.folder / "out/chunks/00001").glob("*.log")
        log.write_text(log.read_text().split("Done in")[0])
        (self.folder / "out/chunks/00003").mkdir()
        done = self.run_report("out").stderr.splitlines()
        self.assertEqual([line.split(" at ")[0] for line in done], [
            "Warning: out: 1 of 4 runs not finished: chunks/00001: the log file ends",
            "Warning: out: 1 of 4 runs without a log file: chunks/00003"])
        self.assertRegex(dict(self.data()["samples"][0]["run"])["took"], r"^(\d+ ms|\d\.\d s), 2 runs together$")


class Outputs(ReportTest):
    def setUp(self):
        super().setUp()
        self.out = self.write_run("out", [row(b"c")], {b"c": 1000})

    def test_progress_on_a_terminal_is_one_full_bar(self):
        self.write("bad/alignment_summary.txt", HEADER + "r\tc\n" * 100)
        bar = "0%   10   20   30   40   50   60   70   80   90   100%\n|----|----|----|----|----|----|----|----|----|----|\n" + 51 * "*"
        reason = "bad/alignment_summary.txt: line 2: 2 columns instead of 13"
        for args, after in ((("out",), ""), (("out", "out", "out"), ""), (("out", "bad"), f"Error: {reason}\n")):
            terminal, end = pty.openpty()
            self.run_report(*args, status=int(after != ""), stderr=end)
            os.close(end)
            shown = os.read(terminal, 10_000).decode().replace("\r\n", "\n")
            os.close(terminal)
            self.assertEqual(shown.lstrip("\n"), f"{bar}\n{after}")

    def test_each_failed_write_is_reported_and_leaves_the_previous_report(self):
        self.run_report("out", "--title", "former")
        former = {path.name: path.read_bytes() for path in self.out.iterdir()}
        for name in FILES:
            # Every write to this device fails. A text that fits into the stream's buffer is written only when the file is
            # closed, so closing must report the failure too.
            (self.out / f"{name}.part").symlink_to("/dev/full")
            done = self.run_report("out", status=1)
            self.assertEqual((done.stdout, done.stderr), ("", f"Error: out/{name}: could not be written: No space left on device\n"))
            self.assertEqual({path.name: path.read_bytes() for path in self.out.iterdir()} == former, True)
        done = self.run_report("out", status=1, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000)))
        self.assertEqual(done.stderr, f"Error: out/{FILES[0]}: could not be written: File too large\n")
        self.assertEqual({path.name: path.read_bytes() for path in self.out.iterdir()} == former, True)

    def test_unusable_output_folders_are_named_with_the_reason(self):
        self.write("file", "")
        (self.folder / "taken" / FILES[2]).mkdir(parents=True)
        for folder, path, reason in (("file", "file: the folder could not be created", "Not a directory"),
                                     ("file/new", "file/new: the folder could not be created", "Not a directory"),
                                     ("taken", f"taken/{FILES[2]}: could not be written", "Is a directory")):
            done = self.run_report("out", "-o", folder, status=1)
            self.assertEqual((done.stdout, done.stderr), ("", f"Error: {path}: {reason}\n"))
        self.check_that_others_can_run_it()
        self.out.chmod(0o555)
        self.addCleanup(self.out.chmod, 0o755)
        self.assertEqual(self.run_report("out", status=1, preexec_fn=become_nobody).stderr,
                         f"Error: out/{FILES[0]}: could not be written: Permission denied\n")

    def test_full_file_system_is_reported(self):
        small = self.folder / "small"
        small.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", small], capture_output=True, check=False)
        if mounted.returncode != 0:
            self.skipTest("no file system can be mounted here")
        self.addCleanup(subprocess.run, ["umount", small], check=True)
        self.assertEqual(self.run_report("out", "-o", "small", status=1).stderr,
                         f"Error: small/{FILES[0]}: could not be written: No space left on device\n")
        self.assertEqual(list(small.iterdir()), [])

    def test_standard_output_that_cannot_be_written_is_an_error(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            for args in (("out",), ("-h",), ("-v",)):
                self.assertEqual(self.run_report(*args, status=1, stdout=full).stderr,
                                 "Error: could not write to standard output: No space left on device\n")
            self.assertEqual(self.run_report("out", "-z", stdout=full).stderr, "")
        self.assertEqual(self.run_report("out", status=1, preexec_fn=lambda: os.close(1)).stderr,
                         "Error: could not write to standard output: Bad file descriptor\n")


if __name__ == "__main__":
    unittest.main(verbosity=2)
