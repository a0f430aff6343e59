#!/usr/bin/env python3
"""Tests the aligner with full disks, unusable files and closed streams, when it can start no thread, and when it is
killed."""

import gzip
import os
import re
import resource
import subprocess
import threading
import time
import unittest

from aligner_run import (PROGRAM, READS, REFERENCE, AlignerTest, become_nobody, fastq, file_error, ids, limit_file_size,
                         read_fastq)

SAMPLE = READS / "sample_1.fastq"
RECORDS = read_fastq(SAMPLE)


class Faults(AlignerTest):
    def good(self):
        """Returns the records and rows of a run without faults."""
        self.align([SAMPLE], "-z", save="good")
        return sorted(self.sam("sample_1.sam", "good")), sorted(self.summary("good"))

    def errors(self, run):
        # The message about a failure of the log file is not a log record, so records() adds it to the previous record.
        return [message.split("\nCould not")[0] for level, message in run.records() if level == "error"]

    def test_full_disk_is_reported_once_per_file_and_affects_that_file_only(self):
        sam, rows = self.good()
        for name in ("sample_1.sam", "alignment_summary.txt"):
            save = self.folder / f"full {name}"
            save.mkdir()
            (save / name).symlink_to("/dev/full")
            run = self.align([SAMPLE], "-z", save=save.name)
            message = f"Could not write to output file {save / name}: No space left on device"
            self.assertEqual(self.errors(run), [message])
            if name == "sample_1.sam":
                self.assertEqual(sorted(self.summary(save.name)), rows)
            else:
                self.assertEqual(sorted(self.sam("sample_1.sam", save.name)), sam)

    def test_full_disk_for_all_files_does_not_end_the_run(self):
        files = [SAMPLE, READS / "sample_2.fastq"]
        run = self.align(files, "-z", "--verbose_logs", before=lambda: limit_file_size(2048))
        out = self.folder / "out"
        self.assertEqual(self.errors(run), [f"Could not write to output file {out / name}: File too large"
                                            for name in ("sample_1.sam", "alignment_summary.txt", "sample_2.sam")])
        self.assertEqual(run.stderr.count("Could not write to log file"), 1)

    def test_log_and_output_files_that_cannot_be_opened_are_named(self):
        out = self.folder / "out"
        out.mkdir()
        out.chmod(0o555)
        reads, reference = self.bring(SAMPLE, REFERENCE)
        run = self.align([reads], "-z", reference=reference, before=become_nobody)
        self.assertEqual(self.errors(run), [f"Could not open output file {out / name}: Permission denied"
                                            for name in ("alignment_summary.txt", "sample_1.sam")])
        log_error = rf"^Could not open log file {out}/read_processor_log-\S*\.log: Permission denied$"
        self.assertEqual(len(re.findall(log_error, run.stderr, re.MULTILINE)), 1)

    def test_unreadable_inputs_fail_and_the_others_are_aligned(self):
        sam, rows = self.good()
        missing, folder, link = (self.folder / name for name in ("gone.fastq", "x.fq", "dangling.fastq"))
        unreadable = self.write("secret.fa", ">a\nA\n")
        unreadable.chmod(0)
        folder.mkdir()
        link.symlink_to("/nowhere")
        reads, reference = self.bring(SAMPLE, REFERENCE)
        files = [missing, folder, unreadable, link, reads]
        run = self.align(files, "-z", reference=reference, before=become_nobody)
        self.assertEqual(run.records(), [
            file_error(missing, f"Could not open {missing}: No such file or directory"),
            file_error(folder, f"Could not read {folder}: Is a directory"),
            file_error(unreadable, f"Could not open {unreadable}: Permission denied"),
            file_error(link, f"Could not open {link}: No such file or directory"),
        ])
        self.assertEqual((sorted(self.sam("sample_1.sam")), sorted(self.summary())), (sam, rows))

    def test_a_folder_that_cannot_be_listed_ends_the_run_and_is_named(self):
        self.write("in/sub/deep/a.fastq", "")
        deep = self.folder / "in/sub/deep"
        deep.chmod(0)
        self.addCleanup(deep.chmod, 0o700)  # Otherwise only root could remove the folder.
        _, reference = self.bring(SAMPLE, REFERENCE)
        for args, start in ((["in/sub/deep"], "boost::filesystem::directory_iterator::construct"),
                            (["in", "-r"], "Could not list a folder")):
            run = self.run_aligner("-z", "-i", *args, "-s", "out", "-a", reference, status=255, before=become_nobody)
            self.assertEqual(self.errors(run)[-1], f'{start}: Permission denied: "in/sub/deep". Exiting.')

    def test_a_pipe_is_read_like_a_file(self):
        sam, _ = self.good()
        pipe = self.folder / "pipe.fastq"
        os.mkfifo(pipe)
        threading.Thread(target=lambda: pipe.write_bytes(SAMPLE.read_bytes())).start()
        self.align([pipe], "-z")
        self.assertEqual(sorted(self.sam("pipe.sam")), sam)

    def test_closed_standard_streams_leave_the_results_unchanged(self):
        sam, rows = self.good()
        self.write("in/sample_1.fastq", SAMPLE.read_text())
        (self.folder / "in/dangling.fastq").symlink_to("/nowhere")  # Causes a warning.
        for number in (0, 1, 2):
            save = f"closed {number}"
            # The input is a folder, because a list would come from standard input.
            self.run_aligner("-i", "in", "-s", save, "-a", REFERENCE, before=lambda: os.close(number))
            log = "".join(path.read_text() for path in (self.folder / save).glob("*.log"))
            self.assertEqual((sorted(self.sam("sample_1.sam", save)), sorted(self.summary(save)), log.count("dangling")),
                             (sam, rows, 1))

    def test_closed_pipe_on_standard_output_does_not_end_the_run(self):
        command = [PROGRAM, "-i", READS, "-s", self.folder / "out", "-a", REFERENCE]
        process = subprocess.Popen(command, stdout=subprocess.PIPE)
        process.stdout.close()
        self.assertEqual(process.wait(timeout=60), 0)
        self.assertEqual(len(self.summary()), 45)

    def test_every_read_is_aligned_even_if_no_thread_can_be_started(self):
        def before():  # The limit counts the user's processes and does not apply to root.
            become_nobody()
            resource.setrlimit(resource.RLIMIT_NPROC, (3, 3))
        _, rows = self.good()
        packed = self.write("packed.gz", gzip.compress(SAMPLE.read_bytes(), 0))
        self.assertGreater(packed.stat().st_size, 1 << 16, "smaller files are not inflated ahead by a thread")
        reads, packed, index = self.bring(SAMPLE, packed, self.build_index())
        self.run_aligner("-z", "-i", "", "-s", "out", "-a", index, "-t", 8, stdin=f"{reads}\n{packed}\n", before=before)
        self.assertEqual(sorted(self.summary()), sorted(2 * rows))

    def test_a_killed_run_leaves_at_most_one_read_with_a_sam_record_but_without_a_row(self):
        copies = [(f"@copy{i}_{title[1:]}", *rest) for i in range(300) for title, *rest in RECORDS]
        reads = self.write("many.fastq", fastq(copies))
        for count in (1, 500, 3000):
            save = self.folder / f"killed {count}"
            command = [PROGRAM, "-z", "-i", "", "-s", save, "-a", REFERENCE, "-t", "4"]
            process = subprocess.Popen(command, stdin=subprocess.PIPE)
            process.stdin.write(f"{reads}\n".encode())
            process.stdin.close()
            summary = save / "alignment_summary.txt"
            while not summary.exists() or summary.read_bytes().count(b"\n") <= count:
                self.assertEqual(process.poll(), None)
                time.sleep(0.001)
            process.kill()
            self.assertEqual(process.wait(), -9)
            sam = [line for line in (save / "many.sam").read_text().split("\n")[:-1] if line[0] != "@"]
            rows = summary.read_text().split("\n")[1:-1]
            self.assertEqual([line for line in sam if line.count("\t") < 10], [])
            self.assertEqual([row for row in rows if row.count("\t") != 12], [])
            in_sam, in_rows = ids(sam), ids(rows)
            self.assertGreaterEqual(len(in_rows), count)
            self.assertEqual(in_sam[:len(in_rows)], in_rows)
            self.assertIn(len(in_sam) - len(in_rows), (0, 1))


if __name__ == "__main__":
    unittest.main()
