"""Compares an index made by tavik_index with minimap2's prebuilt index and with the FASTA file, for benchmarks/speed."""

import os
import re
import shutil
import statistics
import subprocess
import time

from kept_sets import prebuilt
from timed_runs import peak_memory, timed

PROCESSES = (1, 4)
SMALL_FILES = 200


class Table:
    """`folder`: contains reference.fasta and reads; `one_read`: a folder with one read, which does not map."""

    def __init__(self, program, folder, one_read, scratch):
        self.program, self.indexer = program, program.with_name("tavik_index")
        self.reads, self.one_read, self.scratch = folder / "reads", one_read, scratch
        self.fasta, self.mmi, self.own = folder / "reference.fasta", prebuilt(folder / "reference.fasta"), folder / "reference.tvi"
        subprocess.run([self.indexer, "-z", self.fasta, self.own], check=True)

    def print(self, runs):
        """Prints the table. Returns whether the runs with the two indexes wrote the same lines and rows."""
        mb = 1e6
        print(f"\nAn index made by tavik_index ({self.own.stat().st_size / mb:.0f} MB) compared with minimap2's prebuilt one "
              f"({self.mmi.stat().st_size / mb:.0f} MB), -t 2. Times are wall / processor seconds. Medians: all "
              "reads, and the start with the index in the page cache. Single runs: the start with the index on disk only "
              "(wall time), memory, and small files.\n\n"
              "| | minimap2, .mmi | aligner, .mmi | aligner, own index |\n|---|---|---|---|", flush=True)
        starts = self.in_turns(self.one_read, runs)
        self.row("start: a run on one read, index in the page cache", *map(seconds, starts))
        self.row("start: a run on one read, index on disk only", "",
                 *(f"{self.cold_start(index):.2f}" for index in (self.mmi, self.own)))
        whole = self.in_turns(self.reads, runs)
        same = self.same_lines()
        self.row("all reads", *map(seconds, whole))
        self.row("all reads without the start", *(f"{run[1] - start[1]:.2f} processor s" for run, start in zip(whole, starts)))
        for count in PROCESSES:
            self.row(f"memory of {count} process{'es' * (count > 1)}, sum of PSS", "",
                     *(f"{self.shared_memory(index, count):.0f} MB" for index in (self.mmi, self.own)))
        one, many = self.small_files()
        self.row(f"{SMALL_FILES} files in one process", "", "", seconds(one))
        self.row(f"{SMALL_FILES} files, a process each", "", "", seconds(many))
        self.row("a further process", "", "", seconds([(many[i] - one[i]) / (SMALL_FILES - 1) for i in (0, 1)]))
        self.building(runs)
        return same

    def row(self, *cells):
        print("| " + " | ".join(cells) + " |", flush=True)

    def aligner(self, index, reads):
        return [self.program, "-z", "-i", reads, "-s", self.saved(index), "-a", index, "-t", 2]

    def saved(self, index):
        return self.scratch / f"by{index.suffix}"

    def same_lines(self):
        """Returns whether the most recent runs with the two indexes wrote the same lines and rows."""
        mmi, own = ([sorted(file.read_bytes().splitlines()) for kind in ("*.sam", "*.txt") for file in self.saved(index).rglob(kind)]
                    for index in (self.mmi, self.own))
        return mmi == own

    def in_turns(self, reads, runs):
        """Returns the median wall and processor times of minimap2, of the aligner with minimap2's index, and of the
        aligner with its own index."""
        minimap2 = ["minimap2", "-a", "-x", "map-ont", "-Q", "-t", 2, "-o", self.scratch / "minimap2.sam", self.mmi,
                    *sorted(reads.iterdir())]
        return medians([minimap2, self.aligner(self.mmi, reads), self.aligner(self.own, reads)], runs, self.scratch)

    def cold_start(self, index):
        with open(index, "rb") as file:
            os.fsync(file.fileno())
            os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)
        return timed(self.aligner(index, self.one_read), {}, self.scratch)[0]

    def shared_memory(self, index, count):
        """Returns the summed PSS, in MB, of `count` processes that have processed one read and are waiting for the next."""
        folder = self.scratch / "waiting"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        processes, pipes = [], []
        for number in range(count):
            pipe = folder / f"{number}.fastq"
            os.mkfifo(pipe)
            command = [self.program, "-z", "-i", "", "-s", folder / str(number), "-a", index, "-t", "2"]
            processes.append(subprocess.Popen(command, stdin=subprocess.PIPE, text=True))
            processes[-1].stdin.write(f"{pipe}\n")
            processes[-1].stdin.close()
        for number in range(count):
            pipes.append(open(folder / f"{number}.fastq", "w", encoding="ascii"))
            pipes[-1].write(next(self.one_read.iterdir()).read_text())
            pipes[-1].flush()
            while (folder / str(number) / "alignment_summary.txt").read_bytes().count(b"\n") < 2:
                time.sleep(0.05)
        sizes = [re.search(r"^Pss: +(\d+) kB", open(f"/proc/{process.pid}/smaps_rollup", encoding="ascii").read(), re.MULTILINE)
                 for process in processes]
        for pipe, process in zip(pipes, processes):
            pipe.close()
            process.wait()
        return sum(int(size[1]) for size in sizes) * 1024 / 1e6

    def small_files(self):
        """Returns the wall and processor times of one process for all small files, and of a process for each file."""
        folder = self.scratch / "small"
        lines = [line for file in sorted(self.reads.iterdir()) for line in file.read_bytes().splitlines(keepends=True)]
        share = len(lines) // 4 // SMALL_FILES * 4
        for number in range(SMALL_FILES):
            (folder / str(number)).mkdir(parents=True)
            (folder / str(number) / f"{number}.fastq").write_bytes(b"".join(lines[number * share : (number + 1) * share]))
        folders = [folder / str(number) for number in range(SMALL_FILES)]
        measured = []
        for commands in ([[*self.aligner(self.own, folder), "-r"]], [self.aligner(self.own, one) for one in folders]):
            before = os.times()
            for command in commands:
                subprocess.run(list(map(str, command)), check=True)
            after = os.times()
            measured.append((after.elapsed - before.elapsed, after.children_user - before.children_user
                             + after.children_system - before.children_system))
        return measured

    def building(self, runs):
        load = self.aligner(self.fasta, self.one_read)
        make = [self.indexer, "-z", self.fasta, self.scratch / "made.tvi"]
        load_time, make_time = medians([load, make], runs, self.scratch)
        memory = [peak_memory(command, {}, self.scratch) for command in (load, make)]
        print(f"\nFrom FASTA: loading takes {seconds(load_time)} s and {memory[0]:.0f} MB, tavik_index {seconds(make_time)} s and "
              f"{memory[1]:.0f} MB: {make_time[0] / load_time[0]:.2f} of the time, {make_time[1] / load_time[1]:.2f} of the "
              f"processor time, {memory[1] / memory[0]:.2f} of the memory.")


def seconds(times):
    return f"{times[0]:.2f} / {times[1]:.2f}"


def medians(commands, runs, scratch):
    """Returns the medians of wall and processor time of each command; the commands take turns."""
    times = [[timed(command, {}, scratch) for command in commands] for _ in range(runs)]
    return [tuple(statistics.median(kind) for kind in zip(*column)) for column in zip(*times)]
