#!/usr/bin/env python3
"""Tests tavik_aligner as a whole program. Each class is one ctest test."""

import gzip
import hashlib
import os
import re
import subprocess
import threading
import time
import unittest
from pathlib import Path

from aligner_run import PROGRAM, READS, REFERENCE, SOURCE, AlignerTest, fasta, fastq, file_error, ids, read_fastq

USAGE = """
Usage:

  tavik_aligner -i <input fastq path> -s <output SAM path>
    --align_ref <reference file>

Command line parameters:
  -z [ --quiet ]              Quiet mode. Nothing will be output to stdout if 
                              this option is set.
  -t [ --worker_threads ] arg Number of worker threads.
  -i [ --input_path ] arg     Path to input fastq files.
  -s [ --save_path ] arg      Path to save fastq files.
  -r [ --recursive ]          Search for input file recursively.
  --trace_categories_logs arg Enable trace logs - list of strings with the 
                              desired names.
  --verbose_logs              Enable verbose logs.
  -a [ --align_ref ] arg      Path to alignment reference.
  --min_coverage arg          Minimum coverage to accept an alignment.
  -h [ --help ]               produce help message
  -v [ --version ]            print version number
  -c [ --config ] arg         Config file to use
  -d [ --data_path ] arg      Path to use for loading any data files the 
                              application requires.

"""
UNKNOWN = "Unexpected option '--frobnicate' found on command line.\n"
VERSION = f"{PROGRAM}, part of Tavik basecalling suite, by the Tavik developers. Version 1.0.0\n"
PROGRESS = "0%   10   20   30   40   50   60   70   80   90   100%\n" + "|----" * 10 + "|\n" + "*" * 51 + "\n"
SAMPLE = READS / "sample_1.fastq"
AS_LIST = 'To read them, give a list of their paths on standard input (-i "").'


class StartUp(AlignerTest):
    def test_each_command_line_has_its_messages_and_status(self):
        missing = "Missing required option '{}'.\n".format
        no_file = "Config file: /no/file.cfg does not exist!\n"
        cases = [
            ([], 0, USAGE),
            (["-h", "--frobnicate"], 0, UNKNOWN + USAGE),
            (["-h", "-v"], 0, VERSION + "Version requested.\n" + USAGE),
            (["-v"], 255, VERSION),
            (["-z"], 255, "\n" + "".join(map(missing, ("align_ref", "input_path", "save_path"))) + "\n"),
            (["-i", "x", "-a", "y", "--frobnicate"], 255, UNKNOWN + "\n" + missing("save_path") + "\n"),
            (["-i", "x", "-s", "s", "-a", "y", "-c", "/no/file.cfg"], 255, "\n" + no_file + "\n"),
        ]
        for args, status, stdout in cases:
            run = self.run_aligner(*args, status=status)
            self.assertEqual((run.stdout, run.stderr), (stdout, ""))
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_unknown_option_and_version_do_not_stop_a_run(self):
        for extra, start in (("--frobnicate", UNKNOWN + "\n\n"), ("-v", VERSION)):
            run = self.align([SAMPLE], extra, save=extra)
            self.assertEqual(run.stdout[: len(start)], start)
            self.assertEqual(len(self.summary(extra)), 20)

    def test_results_go_to_a_new_nested_folder_or_into_the_input_folder(self):
        self.write("in/a.fastq", SAMPLE.read_text())
        for save, found in (("new/nested", "new/nested"), ("INPUT_PATH", "in")):
            self.run_aligner("-i", self.folder / "in", "-s", save, "-a", REFERENCE)
            self.assertEqual(self.sam_files(found), ["a.sam"])
            self.assertEqual(len(self.summary(found)), 20)
            self.assertEqual(len(list((self.folder / found).glob("read_processor_log-*.log"))), 1)

    def test_command_line_overrides_configuration_file(self):
        config = self.write("my.cfg", f"# reject all\nmin_coverage=1\nalign_ref={REFERENCE}\n")
        self.write("in/a.fastq", SAMPLE.read_text())
        for extra, mapped in (([], 0), (["--min_coverage", "0.6"], 17)):
            self.run_aligner("-i", "in", "-s", "out", "-c", config, *extra)
            self.assertEqual(sum(row.split("\t")[1] != "*" for row in self.summary()), mapped)

    def test_settings_and_progress_are_printed_unless_the_run_is_quiet(self):
        self.assertEqual(self.align([SAMPLE], "-z").stdout, "")
        loud = self.align([self.folder / "gone.fq", SAMPLE]).stdout  # A failed file counts as done.
        self.assertIn("Found 2 fastq files.\n", loud)
        self.assertIn(f"QEL Tavik alignment software version 1.0.0\ninput path:         \nsave path:          "
                      f"{self.folder / 'out'}\nalignment ref.:     {REFERENCE}\nmin. coverage:      0.6\n", loud)
        self.assertIn(PROGRESS, loud)
        self.assertRegex(loud, r"Done in \d+ ms\.\n$")

    def test_elapsed_time_is_shown_in_milliseconds(self):
        """The run lasts at least as long as the writer of its input pipe waits."""
        os.mkfifo(self.folder / "slow.fastq")

        def write():
            with open(self.folder / "slow.fastq", "w", encoding="ascii") as pipe:
                time.sleep(1.2)
                pipe.write(SAMPLE.read_text())

        writer = threading.Thread(target=write, daemon=True)
        writer.start()
        start = time.monotonic()
        run = self.align([self.folder / "slow.fastq"])
        end = time.monotonic()
        writer.join(10)
        elapsed = int(re.search(r"Done in (\d+) ms\.\n$", run.stdout)[1]) / 1000
        self.assertLessEqual(1.199, elapsed)
        self.assertLessEqual(elapsed, end - start + 0.001)


class InputDiscovery(AlignerTest):
    def test_folder_search_finds_plain_read_files_only(self):
        for name in ("a.FASTQ", "b.reads.fq", "sub/deep/f.fastq", "e.txt"):
            self.write("in/" + name, fastq(read_fastq(SAMPLE)[:2]))
        for name in ("c.fa", "sub/g.fasta"):
            self.write("in/" + name, fasta(read_fastq(SAMPLE)[:2]))
        self.write("in/d.fastq.gz", gzip.compress(SAMPLE.read_bytes()))
        (self.folder / "in/folder.fastq").mkdir()
        (self.folder / "in/dangling.fastq").symlink_to("/nowhere")
        (self.folder / "in/loop.fq.gz").symlink_to("loop.fq.gz")
        (self.folder / "in/dangling.txt").symlink_to("/nowhere")
        os.mkfifo(self.folder / "in/pipe.fastq")
        here = ["a.sam", "b.reads.sam", "c.sam"]
        everywhere = here + ["sub/deep/f.sam", "sub/g.sam"]
        for save, args, files in (("flat", ["in"], here), ("slash", ["in/"], here), ("all", ["in", "-r"], everywhere)):
            run = self.run_aligner("-i", *args, "-s", save, "-a", REFERENCE)
            self.assertEqual(self.sam_files(save), files)
            self.assertEqual(len(self.summary(save)), 2 * len(files))
            self.assertIn(f"[message] Gzip-compressed read files ignored in in: 1. {AS_LIST}\n", run.stdout)
            self.assertEqual(sorted(run.records()), [("warning", f"Input file in/{name} is left out: {reason}") for name, reason in (
                ("dangling.fastq", "No such file or directory"), ("loop.fq.gz", "Too many levels of symbolic links"))])

    def test_run_without_plain_read_files_writes_an_empty_summary(self):
        names = ("x.fastq.GZ", "y.fa.gz", "z.gz", "fastq.gz")
        for folder, count, records in (("none", 0, []), ("packed", 2, [("warning", f"Gzip-compressed read files ignored in "
                                                                        f"packed: 2. {AS_LIST}")])):
            (self.folder / folder).mkdir()
            for name in names if count else ():
                self.write(f"{folder}/{name}", "")
            run = self.run_aligner("-i", folder, "-s", "out", "-a", REFERENCE)
            self.assertIn("Found 0 fastq files.\n", run.stdout)
            self.assertEqual((self.sam_files(), self.summary(), run.records()), ([], [], records))

    def test_an_empty_save_path_means_the_current_folder(self):
        for save, end in (("", "\n"), ("INPUT_PATH", "")):  # The last line of the list may lack its line feed.
            run = self.run_aligner("-i", "", "-s", save, "-a", REFERENCE, stdin=f"{SAMPLE}{end}")
            self.assertEqual(run.stderr, "")
            self.assertEqual((len(self.sam("sample_1.sam", ".")), len(self.summary("."))), (20, 20))
            (self.folder / "sample_1.sam").unlink()


class BadInput(AlignerTest):
    def test_missing_input_folder_or_reference_ends_the_run(self):
        no_folder = 'boost::filesystem::directory_iterator::construct: No such file or directory: "/no/in". Exiting.'
        no_reference = "Failed to load index /no/ref with error: Aligner index file /no/ref does not exist!"
        cases = (("/no/in", REFERENCE, 255, no_folder), (READS, "/no/ref", 1, no_reference))
        for folder, reference, status, reason in cases:
            run = self.run_aligner("-i", folder, "-s", "out", "-a", reference, status=status)
            self.assertEqual(run.records(), [("error", reason)])
            self.assertEqual(self.summary(), [])  # The file has only its header.

    def test_without_workers_each_file_fails_at_its_first_read(self):
        files = [SAMPLE, READS / "sample_3.fasta"]
        for threads in ("0", "-3"):
            run = self.align(files, "-t", threads)
            self.assertEqual(run.records(), [file_error(file, "Could not submit job 0") for file in files])


class Output(AlignerTest):
    def test_gzip_reference_prebuilt_index_and_minimap2s_kernels_give_the_same_results(self):
        packed = self.write("reference.fa.gz", gzip.compress(REFERENCE.read_bytes()))
        library = {"before": lambda: os.environ.update(QEL_KERNEL="library")}
        self.align([SAMPLE], "-t", "1")
        for reference, how in ((packed, {}), (REFERENCE, library), (self.build_index(), library)):
            self.assertEqual(self.align([SAMPLE], "-t", "1", save="other", reference=reference, **how).stderr, "")
            self.assertEqual(self.sam("sample_1.sam", "other"), self.sam("sample_1.sam"))
            self.assertEqual(self.summary("other"), self.summary())


class Threads(AlignerTest):
    def test_number_of_workers_changes_only_the_order_of_reads(self):
        for threads in ("1", "2", "8", "2147483647"):
            verbose = ["--verbose_logs"] if threads == "2" else []
            run = self.run_aligner("-i", READS, "-s", threads, "-a", REFERENCE, "-t", threads, *verbose)
            self.assertEqual(run.stderr, "")
            sam = [self.sam(name, threads) for name in self.sam_files(threads)]
            self.assertEqual([sorted(lines) for lines in sam],
                             [sorted(self.sam(name, "1")) for name in self.sam_files("1")])
            self.assertEqual(sorted(self.summary(threads)), sorted(self.summary("1")))
            order = ids(self.summary(threads))
            for lines in sam:  # The summary lists the reads of a file together, in the order of the SAM file.
                start = order.index(ids(lines)[0])
                self.assertEqual(order[start : start + len(ids(lines))], ids(lines))


class Documentation(AlignerTest):
    readme = (SOURCE / "README.md").read_text()

    def test_readme_lists_the_options_and_summary_columns_that_exist(self):
        listed = re.findall(r"^\| (?:`-\w`, )?`--(\w+)`", self.readme, re.MULTILINE)
        self.assertEqual(sorted(listed), sorted(re.findall(r"--(\w+)", USAGE.split("parameters:")[1])))
        self.align([SAMPLE])
        header = (self.folder / "out" / "alignment_summary.txt").read_text().splitlines()[0]
        self.assertEqual(re.findall(r"^\| `(read_id|alignment_\w+)`", self.readme, re.MULTILINE), header.split("\t"))

    def test_readme_commands_work(self):
        blocks = {kind: "".join(re.findall(rf"^```{kind}\n(.*?)^```$", self.readme, re.MULTILINE | re.DOTALL))
                  for kind in ("sh", "ini")}
        self.write("reads/a.fastq", SAMPLE.read_text())
        self.write("reads/b.fastq.gz", gzip.compress(SAMPLE.read_bytes()))
        self.write("reference.fasta", REFERENCE.read_text())
        self.write("tavik.cfg", blocks["ini"])
        search = f"{Path(PROGRAM).parent}:{os.environ['PATH']}"
        for command in re.findall(r"^[^#\n].*", blocks["sh"], re.MULTILINE):
            done = subprocess.run(["bash", "-ec", command], cwd=self.folder, env={**os.environ, "PATH": search},
                                  capture_output=True, text=True, check=False)
            self.assertEqual(done.returncode, 0, f"{command}\n{done.stdout}{done.stderr}")
        for script in re.findall(r"^scripts/\S+$", self.readme, re.MULTILINE):
            self.assertEqual(os.access(SOURCE / script, os.X_OK), True, script)

    def test_changelog_names_the_pinned_checksums(self):
        # Users compare runs of different versions, so the changelog must announce each change of the output.
        changelog = " ".join((SOURCE / "CHANGELOG.md").read_text().split())
        for file in (SOURCE / "tests" / "cli").glob("checksums-*.txt"):
            checksum = hashlib.sha256(file.read_bytes()).hexdigest()[:12]
            self.assertIn(f"`{checksum}` with minimap2 {file.stem.split('-')[1]}", changelog)

    def test_script_reproduces_the_example_data(self):
        subprocess.run([SOURCE / "examples" / "make-examples", self.folder], check=True)
        for file in (REFERENCE, *READS.iterdir()):
            made = self.folder / file.relative_to(SOURCE / "examples")
            self.assertEqual(made.read_bytes() == file.read_bytes(), True, file.name)


if __name__ == "__main__":
    unittest.main(verbosity=2)
