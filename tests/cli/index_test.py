#!/usr/bin/env python3
"""Tests tavik_index, and the aligner with its indexes. Each class is one ctest test."""

import contextlib
import ctypes
import fcntl
import gzip
import os
import pty
import random
import re
import resource
import shutil
import signal
import struct
import subprocess
import time
import unittest
from functools import partial
from pathlib import Path

from aligner_run import PROGRAM, READS, REFERENCE, AlignerTest, Run, become_nobody, limit_file_size

INDEX = os.environ.get("TAVIK_INDEX", str(Path(PROGRAM).parent / "tavik_index"))
SAMPLE = READS / "sample_1.fastq"
VERSION = f"{INDEX}, part of Tavik basecalling suite, by the Tavik developers. Version 1.0.0\n"
HELP_HINT = "Try tavik_index --help.\n"


class IndexTest(AlignerTest):
    def index(self, *args, status=0, before=None):
        run = Run(INDEX, args, "", self.folder, before)
        self.runs.append(run)
        self.assertEqual(run.status, status)
        return run

    def own_index(self, reference=REFERENCE, name="own"):
        path = self.folder / name
        self.index("-z", reference, path)
        return path

    def sam_bytes(self, reference, save):
        """Returns the SAM file and the rows of a run with one worker."""
        self.align([SAMPLE], "-z", "-t", 1, reference=reference, save=save)
        return (self.folder / save / "sample_1.sam").read_bytes(), self.summary(save)

    def files(self):
        return sorted(os.listdir(self.folder))

    def hold(self, index, save, program=PROGRAM):
        """Starts an aligner and returns once it has opened the index and is waiting for reads. finish() sends them."""
        pipe = self.folder / f"{save}.fastq"
        os.mkfifo(pipe)
        process = subprocess.Popen([program, "-z", "-i", "", "-s", self.folder / save, "-a", index, "-t", "1"],
                                   stdin=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        process.stdin.write(f"{pipe}\n")
        process.stdin.close()
        sam = self.folder / save / f"{save}.sam"
        while not (sam.exists() and "@SQ" in sam.read_text()):
            self.assertEqual(process.poll(), None)
            time.sleep(0.005)
        return process, pipe

    def finish(self, process, pipe):
        """Sends the reads; returns the status and standard error of the run."""
        with contextlib.suppress(BrokenPipeError):  # A run that ends early does not read to the end.
            pipe.write_bytes(SAMPLE.read_bytes())
        errors = process.stderr.read()
        process.stderr.close()
        return process.wait(timeout=100), errors


class IndexWriting(IndexTest):
    def test_each_command_line_has_its_messages_and_status(self):
        cases = [
            (["-v"], 0, VERSION, ""),
            (["--frobnicate", "a", "b"], 2, "", "tavik_index: unrecognised option '--frobnicate'\n" + HELP_HINT),
            (["-z"], 2, "", "tavik_index: a reference and the path of an index are needed\n" + HELP_HINT),
            (["a", "b", "c"], 2, "", "tavik_index: a reference and the path of an index are needed\n" + HELP_HINT),
            (["a", "b", "-t", "0"], 2, "", "tavik_index: --worker_threads must be 1 or more\n" + HELP_HINT),
            ([REFERENCE, ""], 2, "", "tavik_index: the path of the index is empty\n" + HELP_HINT),
            (["--check", ""], 2, "", "tavik_index: the path of the index is empty\n" + HELP_HINT),
            (["", "a"], 2, "", "tavik_index: the path of the reference is empty\n" + HELP_HINT),
            (["--check", "a", "b"], 2, "", "tavik_index: one index is needed\n" + HELP_HINT),
            (["--check", "--describe", "a"], 2, "", "tavik_index: --check and --describe cannot be combined\n" + HELP_HINT),
            (["--check", "gone"], 2, "", "tavik_index: gone: No such file or directory\n"),
            (["--describe", "."], 2, "", "tavik_index: .: is a folder\n"),
        ]
        for args, status, stdout, stderr in cases:
            run = self.index(*args, status=status)
            self.assertEqual((run.stdout, run.stderr), (stdout, stderr))
        self.assertEqual(self.index().stdout, self.index("-h").stdout)
        self.assertEqual(self.files(), [])

    def test_every_reference_and_its_index_give_the_same_bytes(self):
        plain = self.write("a reference.fa", REFERENCE.read_bytes())
        zipped = self.write("a reference.fa.gz", gzip.compress(REFERENCE.read_bytes()))
        references = {"plain": plain, "zipped": zipped}
        for name, options in (("k 15", []), ("k 28", ["-k", "28"]), ("compressed", ["-H", "-k", "19"])):
            references[name] = self.folder / f"{name}.mmi"
            subprocess.run(["minimap2", "-x", "map-ont", *options, "-d", references[name], REFERENCE], capture_output=True,
                           check=True)
        seen = {}
        for name, reference in references.items():
            index = self.own_index(reference, f"index of {name}")
            seen[name] = self.sam_bytes(reference, f"from {name}")
            self.assertEqual(self.sam_bytes(index, f"mapped {name}"), seen[name], name)
            again = self.own_index(index, f"index of the index of {name}")
            self.assertEqual(again.read_bytes() == index.read_bytes(), True, name)
            self.assertEqual(self.index("--check", index).stdout, f"{index}: sound\n")
        self.assertEqual(len({text for text, _ in seen.values()}), 3, "one for each of the three pairs of k and -H")

    def test_an_empty_reference_and_its_index_are_refused_alike(self):
        empty, index = self.write("empty.fa", ""), self.folder / "empty.tvi"
        self.assertEqual(self.index("-z", empty, index).stderr, f"tavik_index: {empty}: warning: it contains no sequences, so "
                         f"tavik_aligner will refuse {index}\n")
        for reference in (empty, index):
            run = self.align([SAMPLE], "-z", reference=reference, status=1)
            self.assertEqual(run.records(), [("error", f"Failed to load index {reference} with error: Minimap2 index "
                                              "contains 0 sequences.")])

    def test_paths_that_are_not_utf8_and_a_path_without_a_folder(self):
        reference, index = (os.fsencode(self.folder) + name for name in (b"/\xff ref.fa", b"/\xff ref.tvi"))
        shutil.copy(REFERENCE, reference)
        subprocess.run([INDEX, "-z", reference, index], check=True)
        subprocess.run([PROGRAM, "-z", "-i", "", "-s", self.folder / "out", "-a", index], input=f"{SAMPLE}\n".encode(), check=True)
        self.assertEqual(len(self.summary()), 20)
        self.index("-z", REFERENCE, "-t", "1", "beside")
        self.assertEqual((self.folder / "beside").read_bytes() == Path(os.fsdecode(index)).read_bytes(), True)

    def test_last_line_and_description_show_settings_sequences_and_sizes(self):
        minimap2, index = self.folder / "it.mmi", self.folder / "own"
        subprocess.run(["minimap2", "-x", "map-ont", "-k", "21", "-w", "7", "-H", "-d", minimap2, REFERENCE],
                       capture_output=True, check=True)
        size = r"\d+\.\d MB; made in \d+\.\d s\n"
        self.assertRegex(self.index(self.write("one.fa", ">a\nACGT\n"), index).stdout, rf"^{index}: 1 sequence, 4 bases, {size}$")
        self.assertRegex(self.index(minimap2, index).stdout, rf"^{index}: 2 sequences, 75000 bases, {size}$")
        run = self.index("--describe", index)
        told = dict(line.split("\t") for line in run.stdout.splitlines())
        expected = {"k-mer length": "21", "window": "7", "homopolymer-compressed": "yes", "sequences": "2", "bases": "75000",
                    "file size": str(index.stat().st_size), "sequence chr_large": "60000", "sequence chr_small": "15000"}
        self.assertEqual({key: told.get(key) for key in expected}, expected)
        for quiet in ((minimap2, index), ("--check", index), ("--describe", index)):
            self.assertEqual(self.index("-z", *quiet).stdout, "")
        long = self.own_index(self.write("many.fa", "".join(f">s{i}\nACGT\n" for i in range(1000))), "long")
        for args in (("--check", index), ("--describe", long)):  # The long text fails before its last write.
            with self.subTest(args), open("/dev/full", "w") as full:
                done = subprocess.run([INDEX, *args], stdout=full, stderr=subprocess.PIPE, text=True)
                self.assertEqual((done.returncode, done.stderr),
                                 (1, "tavik_index: could not write to standard output: No space left on device\n"))

    def test_progress_is_shown_on_a_terminal_only(self):
        reference = self.write("large.fa", ">a\n" + "".join(random.choices("ACGT", k=20_000_000)) + "\n")
        for options, shown in (((), True), (("-z",), False)):
            ours, its = pty.openpty()
            process = subprocess.Popen([INDEX, *options, "-t", "1", reference, self.folder / "own"], stdout=subprocess.DEVNULL,
                                       stderr=its)
            os.close(its)
            told = b""
            try:
                while piece := os.read(ours, 1000):
                    told += piece
            except OSError:  # Raised at the end of a terminal's output.
                pass
            os.close(ours)
            self.assertEqual(process.wait(), 0)
            self.assertEqual(f"Writing {self.folder}/own: ".encode() in told, shown)
            self.assertEqual(told.endswith(b"\033[K") if shown else told, shown or b"")
        self.assertEqual(self.index(reference, "own").stderr, "")


class IndexFailures(IndexTest):
    def test_failed_writes_are_named_and_leave_the_older_index(self):
        older, closed, pipe = self.own_index(), self.folder / "closed", self.folder / "pipe"
        before = older.read_bytes()
        closed.mkdir(mode=0o555)
        os.mkfifo(pipe)
        (reference,) = self.bring(REFERENCE, program=INDEX)
        link = self.folder / "link.tvi"
        link.symlink_to(reference)
        secret = self.write("secret", "")
        secret.chmod(0)
        dangling = self.folder / "dangling.tvi"
        dangling.symlink_to(closed / "new")
        loop = self.folder / "loop.tvi"
        loop.symlink_to(loop)
        reads = self.write("reads.fastq", SAMPLE.read_bytes())
        there = self.files()
        cases = [
            *((older, partial(limit_file_size, size), "could not be written: File too large")
              for size in range(20000, len(before), len(before) // 5)),
            (self.folder / "new", limit_file_size, "could not be written: File too large"),
            (self.folder, None, "is a folder"),
            (pipe, None, "is not a regular file"),
            ("/dev/null", None, "is not a regular file"),
            (reference, None, "is the reference itself"),
            (link, None, "is the reference itself"),
            (reads, None, "is not an index made by tavik_index, so it is not replaced"),
            (secret, become_nobody, "could not be read: Permission denied"),
            (self.folder / "gone" / "new", None, "could not be written: No such file or directory"),
            (closed / "new", become_nobody, "could not be written: Permission denied"),
            (dangling, become_nobody, "could not be written: Permission denied"),
            (loop, None, "could not be written: Too many levels of symbolic links"),
        ]
        for target, limit, reason in cases:
            run = Run(self.program, ["-z", reference, target], "", self.folder, limit)
            self.runs.append(run)
            self.assertEqual((run.status, run.stderr), (1, f"tavik_index: {target}: {reason}\n"))
            self.assertEqual((self.files(), older.read_bytes() == before), (there, True))
        for file, source in ((reference, REFERENCE), (reads, SAMPLE)):
            self.assertEqual(file.read_bytes() == source.read_bytes(), True)
        run = self.index("-z", self.write("cut.gz", gzip.compress(REFERENCE.read_bytes())[:-9]), older, status=1)
        self.assertRegex(run.stderr, rf"^tavik_index: {self.folder}/cut\.gz: .+\n$")
        self.assertEqual(older.read_bytes() == before, True)

    def test_writing_an_index_that_the_writer_may_not_read_succeeds_with_a_warning(self):
        def before():
            become_nobody()
            os.umask(0o777)

        (reference,) = self.bring(REFERENCE, program=INDEX)
        target = self.folder / "new"
        run = Run(self.program, [reference, target], "", self.folder, before)
        self.runs.append(run)
        self.assertEqual((run.status, run.stderr), (0, f"tavik_index: warning: the index was written, but cannot be "
                                                       f"read: {target}: Permission denied\n"))
        self.assertRegex(run.stdout, rf"^{target}: made in \d+\.\d s\n$")
        target.chmod(0o644)
        self.assertEqual(self.index("--check", target).stdout, f"{target}: sound\n")

    def test_a_killed_run_leaves_the_older_index_or_the_new_one_and_at_most_a_hidden_file(self):
        """If /proc is missing or the file system does not support unnamed files (O_TMPFILE), the program writes a hidden
        file. SIGKILL leaves this file behind, and the next run removes it. Only root can unmount /proc."""
        older = self.own_index().read_bytes()
        reference = self.write("large.fa", ">a\n" + "".join(random.choices("ACGT", k=4_000_000)) + "\n")
        start = time.monotonic()
        newer = self.own_index(reference, "newer").read_bytes()
        whole = time.monotonic() - start
        there, target = self.files(), self.folder / "own"
        without_proc = ["unshare", "-m", "sh", "-c", 'umount -l /proc && exec "$@"', "sh"]
        environment = {**os.environ, "LD_LIBRARY_PATH": str(Path(INDEX).parents[1] / "lib" / "tavik_aligner")}
        for before in ([], without_proc):
            command = [*before, INDEX, "-z", reference, target]
            if subprocess.run(command, env=environment, capture_output=True, check=False).returncode != 0:
                self.assertEqual(before, without_proc)
                continue
            for number in range(10):
                target.write_bytes(older)
                ending = (signal.SIGKILL, signal.SIGTERM, signal.SIGINT)[number % 3]
                process = subprocess.Popen(command, env=environment)
                time.sleep(whole * (number + 0.5) / 10)
                process.send_signal(ending)
                with self.subTest(number=number, ending=ending, before=before):
                    self.assertIn(process.wait(), (0, -ending))
                    self.assertEqual(target.read_bytes() in (older, newer), True)
                    left = [name for name in self.files() if name not in there]
                    self.assertEqual(left, left[:1] if before and ending == signal.SIGKILL else [])
                    self.index("-z", REFERENCE, "own")
                    self.assertEqual((target.read_bytes() == older, self.files()), (True, there))

    def test_hidden_files_of_killed_runs_are_removed_and_those_of_active_runs_stay(self):
        """The test creates the hidden files itself, because the program may have such files only for a moment."""
        stale, used = (self.write(f".tavik_index.{number}.0", "part") for number in (1, 2))
        with open(used, "rb") as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            self.own_index()
        self.assertEqual((stale.exists(), used.exists()), (False, True))


class IndexUse(IndexTest):
    def test_a_damaged_or_newer_index_is_refused_with_the_reason(self):
        index = self.own_index()
        whole = index.read_bytes()
        dice = random.Random(1)

        def flipped(position):
            return whole[:position] + bytes([whole[position] ^ 1 << dice.randrange(8)]) + whole[position + 1:]

        def of_version(version):
            """Returns the index with this version and a correct checksum. The checksum of the first page is computed
            with the checksum's own 8 bytes set to 0."""
            page = whole[:12] + struct.pack("<I", version) + bytes(8) + whole[24:4096]
            checksum = ctypes.CDLL("libxxhash.so.0").XXH3_64bits
            checksum.restype = ctypes.c_uint64
            return page[:16] + struct.pack("<Q", checksum(page, ctypes.c_size_t(len(page)))) + page[24:] + whole[4096:]

        self.assertEqual(of_version(1) == whole, True)
        size, damaged = len(whole), "the index is damaged: "
        cases = [
            *((flipped(position), f"{damaged}its header does not match its checksum") for position in range(12, 4096, 100)),
            *((flipped(dice.randrange(4096, size)), rf"{damaged}the bytes from \d+ on do not match their checksum")
              for _ in range(30)),
            *((whole[:left], f"{damaged}it has {left} bytes and should have {size}") for left in (size - 1, size // 2, 4096)),
            *((whole[:left], f"{damaged}it is cut short, to {left} bytes") for left in (4095, 8)),
            (whole + b"x", f"{damaged}it has {size + 1} bytes and should have {size}"),
            (whole[:8192] + bytes(4096) + whole[12288:], f"{damaged}the bytes from 8192 on do not match their checksum"),
            (of_version(2), "the index was made by a newer version; make it again with tavik_index"),
        ]
        for content, expected in cases:
            index.write_bytes(content)
            run = self.align([SAMPLE], "-z", reference=index, status=1)
            told, _, reason = run.stderr.splitlines()[0].partition(f": {index}: ")
            self.assertEqual((told, run.records()), ("libqel_minimap2", [
                ("error", f"Failed to load index {index} with error: Could not load index {index}")]))
            self.assertRegex(reason, f"^{expected}$")
            self.assertEqual(self.index("--check", index, status=1).stderr, f"tavik_index: {index}: {reason}\n")
        index.write_bytes(whole)
        self.index("--check", index)

    def test_a_run_keeps_using_an_index_whose_file_is_replaced(self):
        index = self.own_index()
        expected = self.sam_bytes(REFERENCE, "expected")
        run = self.hold(index, "held")
        self.own_index(self.write("other.fa", f">other\n{'ACGGTC' * 5000}\n"), index.name)
        self.assertEqual(self.finish(*run), (0, ""))
        self.assertEqual(((self.folder / "held" / "held.sam").read_bytes(), self.summary("held")), expected)

    def test_truncating_an_index_in_use_ends_the_run_and_names_the_index(self):
        index = self.own_index()
        for size in (0, 4096, index.stat().st_size // 8192 * 4096):
            self.own_index()
            run = self.hold(index, f"cut{size}")
            os.truncate(index, size)
            status, errors = self.finish(*run)
            self.assertEqual((status, errors), (1, f"libqel_minimap2: {index}: the file can no longer be read: it was shortened, "
                                                  "another machine replaced it, or its disk failed; the process ends\n"))
            self.assertEqual(self.summary(f"cut{size}"), [])

    def test_two_simultaneous_runs_give_the_same_bytes(self):
        index = self.own_index()
        expected = self.sam_bytes(REFERENCE, "expected")
        runs = [(self.hold(index, name), name) for name in ("first", "second")]
        for run, name in runs:
            self.assertEqual(self.finish(*run), (0, ""))
            self.assertEqual(((self.folder / name / f"{name}.sam").read_bytes(), self.summary(name)), expected)


class IndexMemory(IndexTest):
    def test_processes_share_one_index(self):
        """Four processes together may use at most the memory of one index plus 10 MB for each process. Four copies
        of the index would use over 100 MB."""
        index = self.own_index(self.write("large.fa", f">a\n{''.join(random.choices('ACGT', k=10_000_000))}\n"))
        self.assertGreater(index.stat().st_size, 25_000_000)
        runs = [self.hold(index, f"run{number}") for number in range(4)]
        kilobytes = 0
        for process, _ in runs:
            rollup = Path(f"/proc/{process.pid}/smaps_rollup").read_text()
            kilobytes += int(re.search(r"^Pss: +(\d+) kB", rollup, re.MULTILINE)[1])
        for run in runs:
            self.assertEqual(self.finish(*run), (0, ""))
        self.assertLess(kilobytes * 1024, index.stat().st_size + 4 * 10_000_000)


class IndexAddressSpace(IndexTest):
    def test_success_means_a_written_index_at_every_limit_of_the_address_space(self):
        large = self.write("large.fa", f">a\n{''.join(random.choices('ACGT', k=400_000))}\n")
        many = self.write("many.fa", "".join(f">s{number}\nACGTTGCATT\n" for number in range(200_000)))
        index = self.folder / "made"
        for reference, sizes in ((large, range(17000, 26000, 500)), (many, range(24000, 48000, 2000))):
            for kilobytes in sizes:
                limit = (kilobytes << 10, kilobytes << 10)
                run = Run(INDEX, ["-z", "-t", 1, reference, index], "", self.folder,
                          partial(resource.setrlimit, resource.RLIMIT_AS, limit))
                self.assertEqual(run.status == 0, index.exists(), run.stderr)
                index.unlink(missing_ok=True)

    def test_lack_of_memory_is_reported_at_every_limit_of_the_address_space(self):
        """A program that cannot start names the library that it could not load. The read must not map, because minimap2
        does not notice every failed allocation during an alignment."""
        self.write("in/a.fastq", f"@a\n{'ACGT' * 50}\n+\n{'I' * 200}\n")
        reference = self.write("it.fa", f">a\n{''.join(random.choices('ACGT', k=1_000_000))}\n")
        own, minimap2 = self.own_index(reference), self.folder / "it.mmi"
        subprocess.run(["minimap2", "-x", "map-ont", "-d", minimap2, reference], capture_output=True, check=True)
        making = [INDEX, "-z", "-t", 2, reference, self.folder / "made"]
        aligning = [[PROGRAM, "-z", "-i", self.folder / "in", "-s", self.folder / "out", "-a", index, "-t", 2] for index in (
            reference, minimap2, own)]
        for command in (making, *aligning):
            statuses = set()
            for megabytes in range(12, 200, 3):
                limit = (megabytes << 20, megabytes << 20)
                run = Run(command[0], command[1:], "", self.folder, partial(resource.setrlimit, resource.RLIMIT_AS, limit))
                self.runs.append(run)
                statuses.add(run.status)
                if run.status == 0:
                    break
                self.assertRegex(run.stderr, "out of memory|Cannot allocate memory|while loading shared libraries")
                self.assertNotIn("could not be written: out of memory", run.stderr)
            self.assertLessEqual({0, 1}, statuses)
            self.assertLessEqual(statuses, {0, 1, 127})


if __name__ == "__main__":
    unittest.main(verbosity=2)
