#!/usr/bin/env python3
"""Tests tavik_live as a whole program; live_files_test.py tests how it treats special read files. Each class is one
ctest test.

The environment variable TAVIK_LIVE_KILLS sets how many times the Interruption class kills tavik_live (default: 4)."""

import gzip
import os
import random
import re
import shutil
import signal
import subprocess
import time
import unittest

from aligner_run import REFERENCE, SOURCE
from live_run import LIVE, REPORT, LiveTest, records


class Output(LiveTest):
    def watch(self, process):
        """Reads the output while the program runs; the output must be complete for each file that files.tsv lists.
        Returns the different numbers of listed files that it saw."""
        looks = set()
        while process.poll() is None:
            if not self.out.joinpath("files.tsv").exists():
                continue
            names = {row.split(b"\t")[0] for row in self.rows()}
            files = [line.split(b"\t") for line in self.out.joinpath("files.tsv").read_bytes().splitlines()[1:]]
            for reads, sam, _ in files:
                lines = self.out.joinpath(os.fsdecode(sam)).read_bytes().splitlines()
                own = {line.split(b"\t")[0] for line in lines if not line.startswith(b"@SQ")}
                self.assertEqual(len(own), int(reads))
            # The summary may be from an earlier round than files.tsv, but it has all 30 rows of each file it covers.
            self.assertEqual(len(names) % 30, 0)
            looks.add(len(files))
        return looks

    def test_output_equals_that_of_one_run_and_is_always_complete(self):
        sequencer = self.sequencer("--files", 10, "--reads", 30, "--seconds", 0.25)
        process = self.start("--until-file", "final_summary.txt")
        looks = self.watch(process)
        self.assertEqual((process.wait(), process.stderr.read(), sequencer.wait()), (0, "", 0))
        self.assertGreater(len(looks), 2)
        self.assert_as_one_run()
        self.assertEqual(sorted(path.name for path in self.out.joinpath(".live").iterdir()), ["lock", "state"])
        live = self.page_data()
        shutil.copytree(self.out, self.folder / "again" / self.out.name)
        again = self.folder / "again" / self.out.name
        subprocess.run([REPORT, "-z", again], check=True)
        self.assertEqual(live, self.page_data(again))
        self.assertNotIn("live", live)

    def test_files_of_all_kinds_and_with_any_bytes_in_their_names_are_aligned(self):
        for i, name in enumerate((b"a b.fastq", b"\xff\xc3(.FQ", b"x/a b.fastq.gz", b"x/\xe9 'y'.fa.GZ", b"x/y/<z>&.fasta")):
            path = os.path.join(os.fsencode(self.reads), name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            text = records(f"f{i}_", 3) if b"fa" not in name[-6:].lower().replace(b"fast", b"") else b">f%d\nACGTACGTACGTAACC\nACG\n" % i
            with open(path, "wb") as file:
                file.write(gzip.compress(text) if name.lower().endswith(b"gz") else text)
        self.reads.joinpath("notes.txt").write_text("not a read file")
        self.reads.joinpath("folder.fastq").mkdir()
        self.reads.joinpath("link.fastq").symlink_to("nowhere")
        self.assertEqual(self.live(), ["link.fastq: left out: not a regular file"])
        self.reads.joinpath("link.fastq").unlink()
        self.assert_as_one_run()

    def test_page_of_a_run_in_progress_says_so(self):
        self.reads.joinpath("a.fastq").write_bytes(records("a", 5))
        process = self.start()
        page = self.out / "alignment_report.html"
        self.wait_for(page.exists)
        data = self.page_data()
        self.assertEqual((data["samples"][0]["totals"]["reads"], data["samples"][0]["findings"]), (5, []))
        made, until = data["live"]["made"] / 1000, data["live"]["until"] / 1000
        self.assertLess(abs(made - time.time()), 60)
        self.assertEqual(round(until - made), 90)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(), 0)
        self.assertNotIn("live", self.page_data())


class Interruption(LiveTest):
    def test_kills_at_any_moment_neither_lose_nor_repeat_reads(self):
        kills = int(os.environ.get("TAVIK_LIVE_KILLS", "4"))
        chance = random.Random(time.time_ns())
        sequencer = self.sequencer("--files", 3 * kills, "--reads", 60, "--seconds", 0.15)
        for kill in range(kills):
            process = self.start("--until-file", "final_summary.txt")
            time.sleep(0.05 + chance.random() ** 2)
            process.kill()
            process.wait()
        sequencer.wait()
        self.assertEqual(self.live("--until-file", "final_summary.txt"), [])
        self.assert_as_one_run()

    def test_aligner_that_is_killed_is_started_again(self):
        aligner = self.script(f"test -e '{self.folder}/second' || {{ touch '{self.folder}/second'; sleep 0.1; kill -9 $$; }}",
                              "exec {aligner} \"$@\"")
        self.reads.joinpath("a.fastq").write_bytes(records("a", 5))
        self.live("--until-idle", "0", "--aligner", aligner)
        self.assert_as_one_run()

    def test_one_signal_lets_the_round_end_and_a_second_one_does_not(self):
        aligner = self.script(f"touch '{self.folder}/begun'; sleep 0.7", "exec {aligner} \"$@\"")
        for signals, status in ((1, 1), (2, -signal.SIGTERM)):
            with self.subTest(signals=signals):
                shutil.rmtree(self.out, ignore_errors=True)
                self.folder.joinpath("begun").unlink(missing_ok=True)
                self.reads.joinpath("a.fastq").write_bytes(records("a", 5))
                process = self.start("--aligner", aligner)
                self.wait_for(self.folder.joinpath("begun").exists)
                self.reads.joinpath("b.fastq").write_bytes(records("b", 5))
                for _ in range(signals):
                    process.send_signal(signal.SIGTERM)
                    time.sleep(0.1)
                self.assertEqual(process.wait(), status)
                # After one signal, the current round is completed and no other begins. A second signal ends the
                # program at once.
                self.assertEqual(len(self.rows()), 5 if signals == 1 else 0)
                if signals == 1:
                    self.assertIn("b.fastq: not aligned yet", process.stderr.read())
                self.live()
                self.assert_as_one_run()

    def test_help_that_cannot_be_written_is_an_error(self):
        with open("/dev/full", "w") as full:
            done = subprocess.run([LIVE, "--help"], stdout=full, stderr=subprocess.PIPE, text=True)
        self.assertEqual((done.returncode, done.stderr), (2, "tavik_live: standard output: No space left on device\n"))

    def test_simultaneous_call_and_changed_options_are_refused(self):
        self.reads.joinpath("a.fastq").write_bytes(records("a", 5))
        process = self.start()
        self.wait_for(lambda: self.out.exists() and len(self.sams()) == 1)
        self.assertEqual(self.live(status=2), [f"tavik_live: {self.out}: another tavik_live is running on this folder"])
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(), 0)
        reference = self.write("other.fasta", REFERENCE.read_bytes() + b"\n")
        self.assertEqual(self.live("-a", reference, "--min_coverage", "0.7", status=2), ["tavik_live: option '--align_ref' cannot be specified more than once", "Try tavik_live --help."])
        self.assertEqual(self.live("--until-idle", "0", "--min_coverage", "0.7", status=2),
                         [f"tavik_live: {self.out}: its results were made with other options:", "  --min_coverage: 0.6 then, 0.7 now"])
        self.live("--until-idle", "0", "-t", "1")
        self.assert_as_one_run()


class Machine(LiveTest):
    def test_readme_commands_work(self):
        (block,) = re.findall(r"^```\n(mkdir watched.*?)^```$", (SOURCE / "README.md").read_text(), re.DOTALL | re.MULTILINE)
        quick = re.sub(r"--settle \S+", "--settle 0.4 --interval 0.1", re.sub(r"--seconds \S+", "--seconds 0.1", block))
        self.assertEqual(len(quick.splitlines()), 3)
        self.folder.joinpath("examples").symlink_to(SOURCE / "examples")
        subprocess.run(["bash", "-ec", quick], cwd=self.folder, check=True, capture_output=True,
                       env={**os.environ, "PATH": f"{os.path.dirname(LIVE)}:{os.environ['PATH']}"})
        self.reads, self.out = self.folder / "watched", self.folder / "live"
        self.assertEqual(len(self.sams()), 12)

    def make_small_disk(self):
        self.out.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=2m", "none", self.out], capture_output=True, check=False)
        if mounted.returncode != 0:
            self.skipTest("no file system can be mounted here")
        self.addCleanup(subprocess.run, ["umount", "-l", self.out], check=True)

    def test_program_waits_while_the_disk_is_full(self):
        self.make_small_disk()
        for name in "abc":
            self.reads.joinpath(f"{name}.fastq").write_bytes(b"".join(records(f"{name}{i}_", 20) for i in range(2)))
        ballast = self.out / "ballast"
        ballast.write_bytes(bytes(1_980_000))
        process = self.start("--until-idle", "0")
        line = process.stderr.readline()
        self.assertRegex(line, "waiting for space: [0-9]+ kB are needed in")
        time.sleep(1)
        self.assertIsNone(process.poll())
        ballast.unlink()
        self.assertEqual(process.wait(60), 0)
        self.assertRegex(process.stderr.read(), "there is enough space again\n$")
        self.assert_as_one_run()

    def test_failure_at_the_end_sets_the_status_and_hides_no_loss(self):
        self.reads.joinpath("a.fastq").write_bytes(records("a", 2))
        for obstacle in (".live/state.part", "alignment_report.html"):
            shutil.rmtree(self.out, ignore_errors=True)
            self.reads.joinpath("a.fq").unlink(missing_ok=True)
            self.live()
            self.out.joinpath(obstacle).unlink(missing_ok=True)
            self.out.joinpath(obstacle).mkdir()
            errors = self.live(status=1)
            self.assertTrue([line for line in errors if obstacle in line], errors)
            self.reads.joinpath("a.fq").write_bytes(records("b", 2))
            self.assertIn("a.fq: its SAM file a.sam is that of a.fastq", self.live(status=1))

    def test_complete_reads_of_cut_files_are_aligned_after_a_full_disk_and_a_loss(self):
        self.make_small_disk()
        self.reads.joinpath("cut.fastq").write_bytes(b"".join(records(f"c{i}_", 20) for i in range(2))[:-30])
        self.reads.joinpath("cut also.fastq").write_bytes(records("d", 20)[:-30])
        ballast = self.out / "ballast"
        # The first round finds that the files are cut. The disk is full when their complete reads are aligned.
        aligner = self.script(f"test -e '{self.out}/.live/whole' && test ! -e '{self.folder}/full' && head -c 3000000 /dev/zero > '{ballast}'; "
                              # The next attempt loses its SAM files.
                              f"if test -e '{self.folder}/full' && test ! -e '{self.folder}/lost'; then touch '{self.folder}/lost'; {{aligner}} \"$@\"; rm \"$5\"/*.sam; exit; fi",
                              f"test -e '{self.out}/.live/whole' && touch '{self.folder}/full'", "exec {aligner} \"$@\"")
        process = self.start("--until-idle", "0", "--aligner", aligner)
        self.wait_for(lambda: "waiting for space" in process.stderr.readline())
        ballast.unlink()
        _, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1, errors)
        names = sorted(row.split(b"\t")[0] for row in self.rows())
        self.assertEqual(names, sorted([b"c%d_%d" % (i, j) for i in range(2) for j in range(20)][:-1] + [b"d%d" % i for i in range(19)]))

    def test_program_waits_while_the_reads_folder_is_an_empty_mount_point(self):
        if os.geteuid() != 0:
            self.skipTest("only root can mount")
        for i in range(20):
            self.reads.joinpath(f"{i}.fastq").write_bytes(records(f"r{i}_", 2))
        process = self.start("--until-idle", "0.05")
        self.wait_for(lambda: len(self.sams()) == 20)
        subprocess.run(["mount", "-t", "tmpfs", "none", self.reads], check=True)
        time.sleep(4)
        self.assertIsNone(process.poll())
        subprocess.run(["umount", self.reads], check=True)
        _, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0, errors)
        self.assertRegex(errors, r"^[^\n]*the reads: empty, and not the same folder as before: a disk may be missing; trying again\n$")

    def test_first_round_begins_before_all_files_are_read(self):
        text = records("r", 20) * 200
        for i in range(20):
            self.reads.joinpath(f"{i}.fastq").write_bytes(text)
        aligner = self.script(f"grep rchar /proc/$PPID/io > '{self.folder}/io'; kill -TERM $PPID", "exit 3")
        process = self.start("--aligner", aligner)
        process.communicate(timeout=60)
        self.assertLess(int(self.folder.joinpath("io").read_text().split()[1]), len(text))

    def test_index_is_checked_once_and_again_when_it_may_have_changed(self):
        index = self.write("own.fasta", REFERENCE.read_bytes())
        aligner = self.script(f"echo \"$QEL_CHECKED_INDEX\" >> '{self.folder}/checked'", "exec {aligner} \"$@\"")
        command = [LIVE, "-i", self.reads, "-s", self.out, "-a", index, "--settle", "0", "--interval", "0.1", "--aligner", aligner, "--until-file", "end"]
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        for number in range(4):
            # Without a settle time, a file must be complete when it appears.
            self.write("new", records(f"r{number}_", 2)).rename(self.reads / f"{number}.fastq")
            self.wait_for(lambda: self.out.exists() and len(self.sams()) == number + 1)
            if number == 1:
                index.chmod(0o640)
        self.reads.joinpath("end").touch()
        self.assertEqual(process.wait(60), 0)
        checked = self.folder.joinpath("checked").read_text().splitlines()
        self.assertEqual((checked[0], checked[1] == checked[2], checked[2] == checked[3]), ("", True, False))
        stat = index.stat()
        self.assertRegex(checked[3], f"^[0-9]+:{stat.st_ino}:{stat.st_size}:")

    def test_program_waits_while_the_reads_folder_is_missing(self):
        away = self.folder / "away"
        aligner = self.script(f"test -e '{self.folder}/once' || mv '{self.reads}' '{away}'",
                              f"{{aligner}} \"$@\"; status=$?; sleep 0.5; touch '{self.folder}/once'; exit $status")
        for name in "ab":
            self.reads.joinpath(f"{name}.fastq").write_bytes(records(name, 3))
        process = self.start("--until-idle", "0", "--aligner", aligner)
        self.wait_for(self.folder.joinpath("once").exists)
        time.sleep(1.5)
        self.assertIsNone(process.poll())
        away.rename(self.reads)
        _, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0, errors)
        self.assertRegex(errors, r"^[^\n]*the reads: No such file or directory; trying again\n$")
        self.assert_as_one_run()

    def test_other_users_can_read_the_output(self):
        self.reads.joinpath("a.fastq").write_bytes(records("a", 2))
        self.live()
        modes = {path.relative_to(self.out).as_posix(): path.stat().st_mode & 0o777 for path in self.out.rglob("*") if path.is_file()}
        self.assertEqual({name for name, mode in modes.items() if mode != 0o644}, set())

    def test_progress_on_a_terminal(self):
        self.reads.joinpath("a.fastq").write_bytes(records("a", 2))
        shown = subprocess.run(["script", "-qec", subprocess.list2cmdline(map(str, self.command("--until-idle", "0"))), "/dev/null"],
                               capture_output=True, check=True).stdout.decode()
        self.assertIn("\r\x1b[K1 file, 2 reads, 100.0 % aligned, up to date; aligned 1 file", shown)
        self.assertRegex(shown, "1 file, 2 reads, 100.0 % aligned, up to date; nothing lost\r\n$")

    def test_wrong_usage(self):
        for args, message in ((["-i", self.reads, "-s", self.out], "--align_ref is needed"),
                              (["-i", self.folder / "none", "-s", self.out, "-a", REFERENCE], f"{self.folder}/none: No such file or directory"),
                              (["-i", REFERENCE, "-s", self.out, "-a", REFERENCE], f"{REFERENCE}: Not a directory"),
                              (["-i", self.reads, "-s", self.out, "-a", REFERENCE, "--settle", "-1"], "--settle must be from 0 to 1e9"),
                              (["-i", self.reads, "-s", self.out, "-a", REFERENCE, "x"], "too many positional options have been specified on the command line")):
            run = subprocess.run([LIVE, *args], capture_output=True, text=True, check=False)
            self.assertEqual((run.returncode, run.stdout, run.stderr.splitlines()[0]), (2, "", f"tavik_live: {message}"))
        self.assertFalse(self.out.exists())
        self.reads.joinpath("a.fastq").write_bytes(records("a", 2))
        reference = self.write("no.mmi", b"MMI\2 not an index")
        run = subprocess.run([LIVE, "-i", self.reads, "-s", self.out, "-a", reference, "--settle", "0"], capture_output=True, text=True, check=False)
        self.assertEqual(run.returncode, 2)
        self.assertRegex(run.stderr, f"^tavik_live: the aligner ended with status 1: .*Failed to load index {re.escape(str(reference))}")


if __name__ == "__main__":
    unittest.main()
