#!/usr/bin/env python3
"""Large runs: memory and descriptors stay flat, nothing is lost. Takes minutes; scripts/prove runs it."""

import random
import subprocess
import time
import unittest
from pathlib import Path

from aligner_run import PROGRAM, REFERENCE, AlignerTest

BASES = "".join(line.strip() for line in REFERENCE.read_text().splitlines() if line[0] != ">")[:60000]


def noisy(bases, rate):
    """`bases` with mismatches, insertions and deletions, a third of `rate` each."""
    out = []
    for base in bases:
        dice = random.random() / rate
        out.append(base if dice > 1 else random.choice("ACGT") if dice > 2 / 3 else "" if dice > 1 / 3 else base + random.choice("ACGT"))
    return "".join(out)


def short_reads(count):
    starts = (random.randrange(len(BASES) - 300) for _ in range(count))
    return "".join(f"@r{i}\n{BASES[start:start + 150]}\n+\n{'I' * 150}\n" for i, start in enumerate(starts))


class Scale(AlignerTest):
    def setUp(self):
        super().setUp()
        random.seed(1)

    def watched(self, *args):
        """Runs the program and returns its peak memory in kilobytes and the most descriptors seen open."""
        process = subprocess.Popen([PROGRAM, "-z", *map(str, args)])
        most = 0
        while process.poll() is None:
            try:
                most = max(most, len(list(Path(f"/proc/{process.pid}/fd").iterdir())))
            except OSError:
                pass
            time.sleep(0.01)
            try:
                with open(f"/proc/{process.pid}/status") as status:
                    peak = [int(line.split()[1]) for line in status if line.startswith("VmHWM")] or [0]
                self.peak = max(self.peak, peak[0])
            except OSError:
                pass
        self.assertEqual(process.returncode, 0)
        return most

    def run_reads(self, count, save):
        folder = self.write(f"in{count}/reads.fastq", short_reads(count)).parent
        self.peak = 0
        most = self.watched("-i", folder, "-s", self.folder / save, "-a", REFERENCE, "-t", 4)
        self.assertEqual(len(self.summary(save)), count)
        self.assertEqual(len({line.split("\t")[0] for line in self.sam("reads.sam", save)}), count)
        return self.peak, most

    def test_memory_does_not_grow_with_the_number_of_reads(self):
        small, few = self.run_reads(30000, "small")
        large, many = self.run_reads(300000, "large")
        print(f"30 000 reads: {small} kB, 300 000 reads: {large} kB")
        self.assertEqual(large <= 1.1 * small, True, f"{small} kB grew to {large} kB")
        self.assertEqual(many, few)

    def test_a_thousand_files_leave_no_descriptor_behind(self):
        for i in range(1000):
            self.write(f"in/{i}.fastq", short_reads(5))
        self.peak = 0
        most = self.watched("-i", self.folder / "in", "-s", self.folder / "out", "-a", REFERENCE, "-t", 4)
        self.assertEqual(len(self.summary()), 5000)
        self.assertEqual(len(self.sam_files()), 1000)
        self.assertEqual(most < 20, True, f"{most} descriptors")

    def test_a_read_with_more_operations_than_bam_can_count_goes_through(self):
        genome = "".join(random.choice("ACGT") for _ in range(1200000))
        reference = self.write("long.fa", f">long\n{genome}\n")
        read = noisy(genome, 0.12)
        self.write("in/long.fasta", f">giant\n{read}\n")
        self.run_aligner("-z", "-i", self.folder / "in", "-s", self.folder / "out", "-a", reference)
        sam = self.folder / "out" / "long.sam"
        cigar = self.sam("long.sam")[0].split("\t")[5]
        self.assertEqual(sum(not c.isdigit() for c in cigar) > 65535, True)
        row = self.summary()[0].split("\t")
        self.assertEqual((row[0], row[1]), ("giant", "long"))
        self.assertEqual(int(row[3]) - int(row[2]) > 1190000, True, str(row))
        seen = subprocess.run(["samtools", "view", "-c", sam], capture_output=True, text=True)
        self.assertEqual((seen.returncode, seen.stdout), (0, "1\n"), seen.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)
