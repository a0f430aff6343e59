#!/usr/bin/env python3
"""Tests that large runs lose no read and need hardly more memory and no more descriptors than small runs. The suite
runs only Memory; scripts/prove runs all classes, which takes minutes."""

import contextlib
import os
import random
import re
import subprocess
import time
import unittest
from pathlib import Path

from aligner_run import PROGRAM, REFERENCE, AlignerTest

BASES = "".join(line.strip() for line in REFERENCE.read_text().splitlines() if line[0] != ">")[:60000]


def noisy(bases, rate):
    """Returns `bases` with mismatches, insertions and deletions, each at a rate of at most `rate` / 3."""
    edits = random.choices(("{0}", "{1}", "{0}{1}", ""), (1 - rate, rate / 3, rate / 3, rate / 3), k=len(bases))
    return "".join(edit.format(base, random.choice("ACGT")) for edit, base in zip(edits, bases))


def short_reads(count):
    starts = (random.randrange(len(BASES) - 300) for _ in range(count))
    return "".join(f"@r{i}\n{BASES[start:start + 150]}\n+\n{'I' * 150}\n" for i, start in enumerate(starts))


class Large(AlignerTest):
    def setUp(self):
        super().setUp()
        random.seed(1)

    def watched(self, folder, save, reference=REFERENCE, threads=4):
        """Aligns a folder; returns the peak memory in kilobytes and the largest number of open descriptors seen."""
        command = [PROGRAM, "-z", "-i", folder, "-s", self.folder / save, "-a", reference, "-t", str(threads)]
        process = subprocess.Popen(command)
        peak = most = 0
        while process.poll() is None:
            with contextlib.suppress(OSError):  # The process may have ended.
                most = max(most, len(os.listdir(f"/proc/{process.pid}/fd")))
                status = Path(f"/proc/{process.pid}/status").read_text()
                peak = max([peak, *map(int, re.findall(r"^VmHWM:\s*(\d+)", status, re.MULTILINE))])
            time.sleep(0.01)
        self.assertEqual(process.returncode, 0)
        return peak, most

    def run_reads(self, count):
        save = f"out{count}"
        figures = self.watched(self.write(f"in{count}/reads.fastq", short_reads(count)).parent, save)
        self.assertEqual(len(self.summary(save)), count)
        self.assertEqual(len({line.split("\t")[0] for line in self.sam("reads.sam", save)}), count)
        return figures


class Memory(Large):
    reads = 5000

    def test_memory_and_descriptors_do_not_grow_with_the_number_of_reads(self):
        (small, few), (large, many) = self.run_reads(self.reads), self.run_reads(10 * self.reads)
        print(f"{self.reads} reads: {small} kB, {10 * self.reads} reads: {large} kB")
        self.assertLessEqual(large, 1.1 * small)
        self.assertEqual(many, few)

    def test_workers_have_no_copies_of_the_header(self):
        genome = "".join(random.choices("ACGT", k=2000000))
        contigs = "".join(f">contig_{i // 100}\n{genome[i:i + 100]}\n" for i in range(0, len(genome), 100))
        reference = self.write("contigs.fa", contigs)
        self.write("in/reads.fastq", "".join(f"@r{i}\n{genome[i:i + 300]}\n+\n{'I' * 300}\n" for i in range(0, 200000, 1000)))
        (one, _), (many, _) = (self.watched(self.folder / "in", f"out{n}", reference, n) for n in (1, 32))
        print(f"1 worker: {one} kB, 32 workers: {many} kB")
        self.assertLess(many - one, 16000, "31 more copies of the header would take 16011 KiB")


class Scale(Memory):
    reads = 30000

    def test_a_thousand_files_leave_no_descriptor_open(self):
        for i in range(1000):
            self.write(f"in/{i}.fastq", short_reads(5))
        _, most = self.watched(self.folder / "in", "out")
        self.assertEqual((len(self.summary()), len(self.sam_files())), (5000, 1000))
        self.assertLess(most, 20)

    def test_a_read_with_more_cigar_operations_than_bam_can_store_is_aligned(self):
        genome = "".join(random.choices("ACGT", k=1200000))
        self.write("in/long.fasta", f">giant\n{noisy(genome, 0.12)}\n")
        self.run_aligner("-z", "-i", "in", "-s", "out", "-a", self.write("long.fa", f">long\n{genome}\n"))
        cigar = self.sam("long.sam")[0].split("\t")[5]
        self.assertGreater(sum(not c.isdigit() for c in cigar), 65535)
        name, target, start, end, *_ = self.summary()[0].split("\t")
        self.assertEqual((name, target), ("giant", "long"))
        self.assertGreater(int(end) - int(start), 1190000)
        count = subprocess.run(["samtools", "view", "-c", "out/long.sam"], cwd=self.folder, capture_output=True, text=True)
        self.assertEqual((count.stdout, count.stderr), ("1\n", ""))


if __name__ == "__main__":
    unittest.main(verbosity=2)
