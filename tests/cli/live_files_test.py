#!/usr/bin/env python3
"""Tests how tavik_live treats incomplete, damaged, late, renamed, changed and compressed read files."""

import gzip
import os
import re
import resource
import shutil
import subprocess
import sys
import time
import unittest

from aligner_run import REFERENCE
from live_run import LIVE, LiveTest, records


class Files(LiveTest):
    def test_complete_reads_of_incomplete_files_are_aligned_at_the_end(self):
        self.reads.joinpath("good.fastq").write_bytes(records("g", 4))
        self.reads.joinpath("cut.fastq").write_bytes(records("c", 4)[:-30])
        self.reads.joinpath("cut.fastq.gz").write_bytes(gzip.compress(records("z", 2)) + gzip.compress(records("y", 2))[:-9])
        self.reads.joinpath("empty.fastq").touch()
        self.reads.joinpath("bad.fastq").write_bytes(records("b", 3) + b"@x\nACGX\n+\nIIII\n" + records("d", 1))
        errors = self.live(status=1)
        for name, reason in (("cut.fastq", "record 4: Sequence is not the same length as the qstring"), ("empty.fastq", "the file is empty"),
                             ("bad.fastq", "Sequence contained an unexpected character 'X'"), ("cut.fastq.gz", "damaged")):
            self.assertTrue([line for line in errors if line.startswith(f"{name}: ") and reason.lower() in line.lower()], (name, errors))
        self.assertFalse([line for line in errors if line.startswith("good")])
        names = [row.split(b"\t")[0] for row in self.rows()]
        expected = [b"g%d" % i for i in range(4)] + [b"c%d" % i for i in range(3)] + [b"b%d" % i for i in range(3)]
        self.assertEqual(sorted(name for name in names if name[:1] not in b"zy"), sorted(expected))
        self.assertEqual({name for name in names if name[:1] == b"z"}, {b"z0", b"z1"})
        log = next(self.out.glob("read_processor_log-*.log")).read_text()
        self.assertIn(f"[error] Error while processing input file {self.reads}/empty.fastq: the file is empty. Will continue", log)
        # The next call of the program adds no row, but ends with status 1 again.
        rows = self.rows()
        self.live(status=1)
        self.assertEqual(self.rows(), rows)

    def test_slow_file_is_aligned_only_when_complete(self):
        text = records("s", 6)
        path = self.reads / "slow.fastq"
        path.write_bytes(text[:len(text) // 2])
        process = self.start("--until-file", "end")
        time.sleep(1)  # The settle time passes, but the file is incomplete.
        self.assertEqual(self.rows(), [])
        with open(path, "ab") as file:
            file.write(text[len(text) // 2:])
        self.reads.joinpath("end").touch()
        self.assertEqual((process.wait(), process.stderr.read()), (0, ""))
        self.assert_as_one_run()

    def test_file_with_a_lost_read_is_tried_once_more(self):
        aligner = self.folder / "aligner"
        # This aligner loses the read lost1 in its first run.
        aligner.write_text(f"""#!{sys.executable}
import pathlib, re, subprocess, sys
subprocess.run(["{os.path.dirname(LIVE)}/tavik_aligner", *sys.argv[1:]])
first, out = pathlib.Path("{self.folder}/first"), pathlib.Path(sys.argv[5])
for sam in out.glob("*.sam"):
    if "\\nlost1\\t" in sam.read_text() and not first.exists():
        first.touch()
        sam.write_text(re.sub("lost1\\t.*\\n", "", sam.read_text()))
        rows = out / "alignment_summary.txt"
        rows.write_text(re.sub("lost1\\t.*\\n", "", rows.read_text()))
""")
        aligner.chmod(0o755)
        self.reads.joinpath("lost.fastq").write_bytes(records("lost", 3))
        self.reads.joinpath("other.fastq").write_bytes(records("other", 3))
        (line,) = self.live("--until-idle", "0", "--aligner", aligner)
        self.assertRegex(line, r"^lost.fastq: .*read 'lost1' is not in its SAM file lost.sam; the file will be aligned once more$")
        self.assert_as_one_run()

    def rename_when_read(self, process, read, old, new):
        """Renames the file `old` while the program has the file `read` open."""
        opened = self.folder / "proc"
        opened.symlink_to(f"/proc/{process.pid}/fd")
        self.wait_for(lambda: any(os.path.realpath(path) == str(self.reads / read) for path in opened.iterdir()))
        self.reads.joinpath(old).rename(self.reads / new)

    def names(self):
        return sorted(row.split(b"\t")[0] for row in self.rows())

    def test_file_renamed_while_the_next_round_is_chosen_is_aligned_once(self):
        self.reads.joinpath("a.fastq").write_bytes(records("a", 2))
        self.reads.joinpath("b.fastq").write_bytes(b"@b\n%s\n+\n%s\n" % (b"A" * 50000, b"I" * 50000) * 3000 + b"@cut")
        process = self.start()
        self.rename_when_read(process, "b.fastq", "a.fastq", "z.fastq")
        self.wait_for(lambda: process.poll() is not None or self.rows())
        process.terminate()
        self.assertEqual((process.wait(), self.names()), (1, [b"a0", b"a1"]), process.stderr.read())

    def test_cut_file_renamed_at_the_end_is_aligned_by_the_next_call(self):
        for name in ("c1", "c2"):
            self.reads.joinpath(f"{name}.fastq").write_bytes(records(name, 2)[:-30])
        aligner = self.script(f"test -e '{self.out}/.live/whole' && mv '{self.reads}/c2.fastq' '{self.reads}/z.fastq' && sleep 0.5", "exec {aligner} \"$@\"")
        errors = self.live("--until-idle", "0", "--aligner", aligner, status=1)
        self.assertEqual(errors[-1], "z.fastq: not aligned yet")
        self.assertEqual(self.names(), [b"c10"])
        self.live(status=1)
        self.assertEqual(self.names(), [b"c10", b"c20"])

    def test_file_touched_and_renamed_during_the_check_is_aligned_once(self):
        self.reads.joinpath("a.fastq").write_bytes(b"".join(b"@a%d\n%s\n+\n%s\n" % (i, b"A" * 50000, b"I" * 50000) for i in range(600)))
        aligner = self.script(f"{{aligner}} \"$@\"; status=$?; test -e '{self.reads}/a.fastq' && touch '{self.reads}/a.fastq' && sleep 0.5; exit $status")
        process = self.start("--until-idle", "0", "--aligner", aligner)
        self.rename_when_read(process, "a.fastq", "a.fastq", "z.fastq")
        _, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0, errors)
        self.assertIn("a.fastq: changed during its round; it will be aligned again when it is complete", errors)
        self.assert_as_one_run()

    def test_file_that_arrives_during_a_long_interval_is_not_missed(self):
        command = [LIVE, "-i", self.reads, "-s", self.out, "-a", REFERENCE, "--settle", "0.2", "--interval", "60", "--until-idle", "0.03"]
        with subprocess.Popen(command, stdout=subprocess.DEVNULL) as process:
            time.sleep(0.8)
            self.reads.joinpath("late.fastq").write_bytes(records("late", 3))
            self.assertEqual(process.wait(60), 0)
        self.assert_as_one_run()

    def test_hidden_folders_of_other_runs_and_names_with_line_feeds_are_left_out(self):
        hidden = self.reads / "other" / ".live" / "round"
        hidden.mkdir(parents=True)
        hidden.joinpath("hidden.fastq").write_bytes(records("hidden", 2))
        self.reads.joinpath("a.fastq").write_bytes(records("a", 2))
        name = "b\n[error] c\t.fastq"
        self.reads.joinpath(name).write_bytes(records("b", 2))
        self.live(status=1)
        self.assertEqual({row.split(b"\t")[0] for row in self.rows()}, {b"a0", b"a1"})
        log = next(self.out.glob("read_processor_log-*.log")).read_text()
        self.assertIn(f"{self.reads}/b?[error] c?.fastq: names with tabs or line feeds are not supported. Will continue", log)

    def test_two_files_with_one_sam_name_and_changes_of_aligned_files_are_reported(self):
        self.reads.joinpath("a.fastq").write_bytes(records("a", 2))
        self.reads.joinpath("a.fq").write_bytes(records("b", 2))
        errors = self.live(status=1)
        self.assertEqual(errors, ["a.fq: its SAM file a.sam is that of a.fastq"])
        self.assertEqual(len(self.rows()), 2)
        self.reads.joinpath("a.fq").unlink()
        for name in "bcd":
            self.reads.joinpath(f"{name}.fastq").write_bytes(records(name, 2))
        self.live()
        rows = self.rows()
        with open(self.reads / "b.fastq", "ab") as file:
            file.write(records("x", 1))
        self.reads.joinpath("c.fastq").rename(self.reads / "e.fastq")
        self.reads.joinpath("d.fastq").unlink()
        changed = "b.fastq: it changed after it was aligned; the output keeps its former reads"
        self.assertEqual(self.live(status=1), [changed, "e.fastq: is c.fastq, renamed after it was aligned; the output keeps the former name",
                                               "d.fastq: disappeared after it was aligned; the output keeps its reads", changed])
        self.assertEqual(self.rows(), rows)

    def test_file_that_is_compressed_after_it_was_aligned_is_not_aligned_again(self):
        for name in ("a", "b", "cut", "other"):
            self.reads.joinpath(f"{name}.fastq").write_bytes(records(name, 3))
        self.reads.joinpath("z.fastq.gz").write_bytes(gzip.compress(records("z", 3)))
        process = self.start("--until-file", "end")
        self.wait_for(lambda: len(self.sams()) == 5)
        rows = self.rows()
        for name in ("a", "b", "cut", "other"):
            text = records(name, 3) if name != "other" else records(name, 2) + records("new", 1)
            self.reads.joinpath(f"{name}.fastq").unlink()
            self.reads.joinpath(f"{name}.fastq.gz").write_bytes(gzip.compress(text)[:-9 if name == "cut" else None])
        self.reads.joinpath("z.fastq.gz").unlink()
        self.reads.joinpath("z.fastq").write_bytes(records("z", 3))
        self.reads.joinpath("end").touch()
        _, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1)
        self.assertEqual(self.rows(), rows)
        told = [re.sub(r"^[\d: -]{20}", "", line) for line in errors.splitlines() if not line.startswith("Warning: ")]
        other = "other.fastq.gz: its reads differ from those of other.fastq, which was aligned before; the output keeps the reads of other.fastq"
        end = "after it was aligned; the output keeps the former name"
        self.assertEqual(sorted(line for line in told if not line.startswith("cut")),
                         sorted([f"a.fastq.gz: is a.fastq, compressed {end}", f"b.fastq.gz: is b.fastq, compressed {end}",
                                 f"z.fastq: is z.fastq.gz, decompressed {end}", other, other]))
        self.assertRegex("\n".join(told), r"(?m)^cut\.fastq\.gz: damaged")

    def test_compressed_files_are_decompressed_once(self):
        self.reads.joinpath("a.fastq.gz").write_bytes(gzip.compress(records("a", 2)) + gzip.compress(records("b", 2)))
        # The aligner must read this file itself, so that it logs the warning about the bytes after the gzip data.
        self.reads.joinpath("b.fastq.gz").write_bytes(gzip.compress(records("c", 2)) + b"xyz")
        aligner = self.script(f"readlink '{self.out}'/.live/round/reads/* >> '{self.folder}/links'", "exec {aligner} \"$@\"")
        errors = self.live("--until-idle", "0", "--aligner", aligner, status=1)
        self.assertEqual(errors[0], "b.fastq.gz: Ignored 3 bytes after the end of the gzip data in b.fastq.gz; the file will be aligned once more")
        self.assertRegex(self.folder.joinpath("links").read_text(), f"^/proc/[0-9]+/fd/[0-9]+\n{self.reads}/b.fastq.gz\n")
        self.assert_same_reads()

    def test_aligner_that_cannot_use_decompressed_texts_reads_the_gzip_files(self):
        for name in "ab":
            self.reads.joinpath(f"{name}.fastq.gz").write_bytes(gzip.compress(records(name, 2)))
        # The aligner may be killed when memory is short, or may not see tavik_live's files in /proc.
        for failure in ("kill -9 $$", "for link in *; do ln -sfn /missing $link; done"):
            aligner = self.script(f"cd '{self.out}/.live/round/reads'", f"if readlink * | grep -q ^/proc; then {failure}; fi",
                                  "exec {aligner} \"$@\"")
            self.live("--until-idle", "0", "--aligner", aligner)
            self.assert_same_reads()
            shutil.rmtree(self.out)

    def test_more_gzip_files_than_file_descriptors_are_aligned(self):
        for number in range(100):
            self.reads.joinpath(f"{number}.fastq.gz").write_bytes(gzip.compress(records(f"r{number}_", 1)))
        limits = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (80, limits[1]))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, limits)
        self.assertEqual(self.live("--until-idle", "0"), [])
        self.assertEqual(len(self.rows()), 100)


if __name__ == "__main__":
    unittest.main()
