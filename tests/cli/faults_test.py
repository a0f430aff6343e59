#!/usr/bin/env python3
"""What goes wrong around the program - disks, files, processes - costs no more than what it touches, and is named."""

import gzip
import os
import resource
import signal
import subprocess
import sys
import threading
import time
import unittest

from aligner_run import PROGRAM, READS, REFERENCE, AlignerTest, fastq, ids, read_fastq

SAMPLE = READS / "sample_1.fastq"
RECORDS = read_fastq(SAMPLE)
NOBODY = 65534


def limit_file_size(size):
    """Writes beyond `size` bytes fail as on a full disk."""
    def before():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
    return before


class Faults(AlignerTest):
    def good(self, save="out"):
        """The records and rows of a run without faults."""
        self.align([SAMPLE], "-z", save="good")
        return sorted(self.sam("sample_1.sam", "good")), sorted(self.summary("good"))

    def errors(self, run):
        # The log cannot tell of itself: its own line stands behind the record before it.
        return [message.split("\nCould not")[0] for level, message in run.records() if level == "error"]

    def test_full_disk_is_told_once_per_file_and_costs_that_file_alone(self):
        sam, rows = self.good()
        for name in ("sample_1.sam", "alignment_summary.txt"):
            save = self.folder / f"full {name}"
            save.mkdir()
            (save / name).symlink_to("/dev/full")
            run = self.align([SAMPLE], "-z", save=save.name)
            self.assertEqual(self.errors(run), [f"Could not write to output file {save / name}: No space left on device"])
            if name == "sample_1.sam":
                self.assertEqual(sorted(self.summary(save.name)), rows)
            else:
                self.assertEqual(sorted(self.sam("sample_1.sam", save.name)), sam)

    def test_full_disk_for_all_files_ends_nothing(self):
        run = self.align([SAMPLE, READS / "sample_2.fastq"], "-z", "--verbose_logs", before=limit_file_size(2048))
        out = self.folder / "out"
        self.assertEqual(self.errors(run), [f"Could not write to output file {out / name}: File too large"
                                            for name in ("sample_1.sam", "alignment_summary.txt", "sample_2.sam")])
        self.assertEqual(run.stderr.count("Could not write to log file"), 1)

    def test_log_and_output_folder_that_cannot_be_written_are_named(self):
        self.write("out/blocker", "")
        (self.folder / "out").chmod(0o555)
        self.addCleanup((self.folder / "out").chmod, 0o755)
        def before():
            os.setuid(NOBODY)
        self.folder.chmod(0o755)
        run = self.align([SAMPLE], "-z", before=before if os.getuid() == 0 else None)
        out = self.folder / "out"
        self.assertEqual(self.errors(run), [f"Could not open output file {out / name}: Permission denied"
                                            for name in ("alignment_summary.txt", "sample_1.sam")])
        self.assertEqual(run.stderr.count(f"Could not open log file {out}/read_processor_log-"), 1)

    def test_inputs_that_cannot_be_read_fail_alone(self):
        sam, rows = self.good()
        missing, folder, unreadable = self.folder / "gone.fastq", self.folder / "x.fq", self.write("secret.fa", ">a\nA\n")
        folder.mkdir()
        unreadable.chmod(0)
        link = self.folder / "dangling.fastq"
        link.symlink_to("/nowhere")
        self.folder.chmod(0o777)
        def before():
            os.setuid(NOBODY)
        run = self.align([missing, folder, unreadable, link, SAMPLE], "-z", before=before if os.getuid() == 0 else None)
        reasons = [f"Could not open {missing}: No such file or directory", f"Could not read {folder}: Is a directory",
                   f"Could not open {unreadable}: Permission denied", f"Could not open {link}: No such file or directory"]
        files = [missing, folder, unreadable, link]
        self.assertEqual(self.errors(run), [f"Error while processing input file {file}: {reason} Will continue with next input file."
                                            for file, reason in zip(files, reasons)])
        self.assertEqual(sorted(self.sam("sample_1.sam")), sam)
        self.assertEqual(sorted(self.summary()), rows)

    def test_folder_walk_passes_over_what_is_no_regular_file(self):
        os.mkfifo(self.write("in/a.fastq", fastq(RECORDS[:1])).parent / "pipe.fastq")
        (self.folder / "in/folder.fastq").mkdir()
        (self.folder / "in/dangling.fastq").symlink_to("/nowhere")
        self.run_aligner("-z", "-i", self.folder / "in", "-s", self.folder / "out", "-a", REFERENCE, "-r")
        self.assertEqual(self.sam_files(), ["a.sam"])

    def test_a_pipe_is_read_like_a_file(self):
        sam, _ = self.good()
        pipe = self.folder / "pipe.fastq"
        os.mkfifo(pipe)
        threading.Thread(target=lambda: pipe.write_bytes(SAMPLE.read_bytes())).start()
        self.align([pipe], "-z")
        self.assertEqual(sorted(self.sam("pipe.sam")), sam)

    def test_gzip_damage_costs_what_is_behind_it(self):
        text = fastq(RECORDS)
        first, second = (gzip.compress(fastq(half).encode()) for half in (RECORDS[:10], RECORDS[10:]))
        broken = bytearray(gzip.compress(text.encode()))
        broken[-8] ^= 1
        warning = "Caught exception, so setting END flag. gzip error in {}: "
        cases = {
            "between members": (first, 10, None),
            "in a member": (first + second[:-30], 10, warning + "the file ends too early"),
            "checksum": (bytes(broken), len(RECORDS), warning + "the checksum does not match, the data are corrupt"),
            "bytes behind": (first + second + b"tail", len(RECORDS), "Ignored the bytes after the end of the gzip data in {}"),
        }
        for name, (content, at_least, message) in cases.items():
            file = self.write(f"{name}.gz", content)
            run = self.align([file, SAMPLE], "-z", "-t", 1, save=name)
            found = ids(self.sam(f"{name}.sam", name))
            self.assertEqual(found, [title[1:].split()[0] for title, _, _ in RECORDS][:len(found)])
            self.assertEqual(len(found) >= at_least, True, name)
            self.assertEqual([text for _, text in run.records()], [message.format(file)] if message else [])
        for name, content in (("plain.gz", text.encode()), ("packed.fastq", first)):
            file = self.write(name, content)
            run = self.align([file, SAMPLE], "-z", save=f"out {name}")
            self.assertEqual(len(self.errors(run)), 1)
            self.assertEqual(len(self.summary(f"out {name}")), len(RECORDS))

    def test_closed_standard_streams_get_nothing_into_the_results(self):
        _, rows = self.good()
        for number in (0, 1, 2):
            save = f"closed {number}"
            # With a folder as input: a list would come from standard input.
            self.run_aligner("-i", READS, "-s", self.folder / save, "-a", REFERENCE, before=lambda: os.close(number))
            self.assertEqual(len(self.summary(save)), 45)
            self.assertEqual([row for row in rows if row not in self.summary(save)], [])

    def test_a_reader_that_leaves_does_not_end_the_run(self):
        command = [PROGRAM, "-i", str(READS), "-s", str(self.folder / "out"), "-a", str(REFERENCE)]
        process = subprocess.Popen(command, stdout=subprocess.PIPE)
        process.stdout.close()
        self.assertEqual(process.wait(timeout=60), 0)
        self.assertEqual(len(self.summary()), 45)

    def test_without_further_threads_every_read_is_still_aligned(self):
        _, rows = self.good()
        self.folder.chmod(0o777)
        def before():  # The limit counts the user's processes and does not hold for root.
            if os.getuid() == 0:
                os.setuid(NOBODY)
            resource.setrlimit(resource.RLIMIT_NPROC, (3, 3))
        # A prebuilt index: to make one takes a thread.
        index = self.folder / "reference.mmi"
        subprocess.run(["minimap2", "-x", "map-ont", "-d", index, REFERENCE], check=True, stderr=subprocess.DEVNULL)
        self.run_aligner("-z", "-i", "", "-s", self.folder / "out", "-a", index, "-t", 8, stdin=f"{SAMPLE}\n", before=before)
        self.assertEqual(sorted(self.summary()), rows)

    def test_a_killed_run_leaves_whole_lines_and_the_same_reads(self):
        reads = self.write("many.fastq", "".join(
            fastq([(f"@copy{i}_{title[1:]}", bases, qualities) for title, bases, qualities in RECORDS]) for i in range(100)))
        for delay in (0.2, 0.3, 0.5):
            save = f"killed {delay}"
            command = [PROGRAM, "-z", "-i", "", "-s", str(self.folder / save), "-a", str(REFERENCE), "-t", "4"]
            process = subprocess.Popen(command, stdin=subprocess.PIPE)
            process.stdin.write(f"{reads}\n".encode())
            process.stdin.close()
            time.sleep(delay)
            process.kill()
            process.wait()
            if not (self.folder / save / "many.sam").exists():
                continue
            sam = [line for line in (self.folder / save / "many.sam").read_text().split("\n") if not line.startswith("@")]
            rows = (self.folder / save / "alignment_summary.txt").read_text().split("\n")[1:]
            for line in sam[:-1]:
                self.assertEqual(len(line.split("\t")) >= 11, True, line)
            for row in rows[:-1]:
                self.assertEqual(len(row.split("\t")), 13, row)
            in_sam, in_rows = ids(sam[:-1]), ids(rows[:-1])
            self.assertEqual(in_sam[:len(in_rows)], in_rows)
            self.assertEqual(len(in_sam) - len(in_rows) in (0, 1), True)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
