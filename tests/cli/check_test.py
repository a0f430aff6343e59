#!/usr/bin/env python3
"""tavik_check finds each kind of loss, names it in whole sentences, and has nothing to say about a clean run."""

import gzip
import os
import shutil
import subprocess
import unittest

from aligner_run import PROGRAM, READS, REFERENCE, AlignerTest, fastq, read_fastq

CHECK = os.environ.get("TAVIK_CHECK", os.path.join(os.path.dirname(PROGRAM), "tavik_check"))
RECORDS = read_fastq(READS / "sample_1.fastq")[:5]
WHOLE = fastq(RECORDS)
GOOD = "good.fastq"
LATER = "read_processor_log-2999-01-01_00-00-00.log"


def record(name, sequence="ACGT", qualities="IIII"):
    return f"@{name}\n{sequence}\n+\n{qualities}\n"


def failed_file(name, reason):
    return f"error in the log: Error while processing input file {name}: {reason} Will continue with next input file."


# Input files in the order of the list (None: not there), and the findings. All runs hold one good file, too.
BAD_INPUT = {
    "a record cut in its third line": (
        {"a.fastq": WHOLE + "@cut\nACGT\n+"}, ["a.fastq: the last record is cut short"]),
    "a record cut behind its title, gzip": (
        {"a.gz": gzip.compress((WHOLE + "@cut\n").encode())}, ["a.gz: the last record is cut short"]),
    "a read with another letter ends its file": (
        {"a.fq": WHOLE + record("n", "ACGN") + WHOLE},
        [failed_file("a.fq", "Sequence contained an unexpected character 'N' at position 3 Header: @n Sequence: ACGN "
                             "Qstring: IIII"), "a.fq: begun, but not finished",
         "{out}/alignment_summary.txt: 10 rows for 5 logged reads"]),
    "a read without a name": (
        {"a.fq": WHOLE + record("")},
        ["error in the log: Read title '@' does not have any space. Continuing with next read."]),
    "a read without a title line": (
        {"a.fq": WHOLE + "\nACGT\n+\nIIII\n"},
        ["error in the log: Error while processing read [invalid read id]: Cannot get the read ID from an empty FastQ "
         "record. Continuing with next read."]),
    "a gzip file that ends too early": (
        {"a.fq.gz": gzip.compress(WHOLE.encode())[:-9]},
        ["warning in the log: Caught exception, so setting END flag. gzip error in a.fq.gz: the file ends too early",
         "a.fq.gz: damaged, or not gzip: Compressed file ended before the end-of-stream marker was reached"]),
    "bytes behind the gzip data": (
        {"a.gz": gzip.compress(WHOLE.encode()) + b"more and more and more"},
        ["warning in the log: Ignored 22 bytes after the end of the gzip data in a.gz",
         "a.gz: damaged, or not gzip: Not a gzipped file (b'mo')"]),
    "plain text under a name for gzip": (
        {"a.txt": WHOLE}, [failed_file("a.txt", "gzip error in a.txt: not in gzip format"),
                           "a.txt: begun, but not finished",
                           "a.txt: damaged, or not gzip: Not a gzipped file (b'@e')"]),
    "nothing under a name for gzip": (
        {"a.gz": ""}, [failed_file("a.gz", "gzip error in a.gz: not in gzip format"), "a.gz: begun, but not finished",
                       "a.gz: the file is empty"]),
    "no such file": (
        {"gone.fq": None}, [failed_file("gone.fq", "Could not open gone.fq: No such file or directory"),
                         "gone.fq: begun, but not finished", "gone.fq: cannot be read: No such file or directory"]),
    "an empty file aborts the run": (
        {"a.fq": "", "b.fq": WHOLE}, ["error in the log: There is no whole read in a.fq: something upstream went wrong, the process ends.",
                         "{log}: the run did not come to its end", "a.fq: begun, but not finished",
                                      "a.fq: the file is empty", "b.fq: not finished"]),
    "one name for two SAM files": (
        {"a.fastq": WHOLE, "x/a.fq": fastq(RECORDS[:2])},
        ["warning in the log: Input file x/a.fq replaces the SAM file of an earlier input file: {out}/a.sam",
         "x/a.fq: its SAM file a.sam is also that of a.fastq",
         "a.fastq: 2 reads in its SAM file {out}/a.sam, 5 aligned"]),
}

# What is no loss: the number of reads, and a file.
CLEAN_INPUT = {
    "blank lines at the end": ("5 reads", "a.fq", WHOLE + "\n\n\n\n\n\n"),
    "no line feed at the end": ("5 reads", "a.fq", WHOLE.rstrip("\n")),
    "an empty read whose last line has no line feed": ("6 reads", "a.fq", WHOLE + "@empty\n\n+\n"),
    "carriage returns": ("5 reads", "a.FASTQ", WHOLE.replace("\n", "\r\n") + "\r\n"),
    "FASTA on several lines": ("2 reads", "a.txt", gzip.compress(b">a\nACGT\nACGT\n>b >c\nACG")),
    "two gzip members": ("10 reads", "a.fastq.gz", gzip.compress(WHOLE.encode()) * 2),
    "a name like a log record's end": ("5 reads", "a (1 reads).fq", WHOLE),
    "a read with a supplementary record": ("1 read", "a.fq", fastq([tuple(map("".join, zip(*RECORDS[:2])))])),
}


def cut(path, count):
    path.write_bytes(path.read_bytes()[:-count])


def without_last_line(path):
    path.write_text("".join(path.read_text().splitlines(True)[:-1]))


def replace(path, old, new):
    path.write_text(path.read_text().replace(old, new))


# What happens to the results of a clean run, and the findings.
DAMAGE = {
    "killed before the end": (lambda out, log: without_last_line(log), ["{log}: the run did not come to its end"]),
    "no log": (lambda out, log: log.unlink(), ["{out}: no log file, so no run took place here"]),
    "no SAM file": (lambda out, log: (out / "good.sam").unlink(),
                    ["good.fastq: its SAM file {out}/good.sam: No such file or directory"]),
    "a SAM record less": (lambda out, log: without_last_line(out / "good.sam"),
                          ["good.fastq: 4 reads in its SAM file {out}/good.sam, 5 aligned"]),
    "a cut SAM file": (lambda out, log: cut(out / "good.sam", 1),
                       ["good.fastq: its SAM file {out}/good.sam is cut short"]),
    "a row less": (lambda out, log: without_last_line(out / "alignment_summary.txt"),
                   ["{out}/alignment_summary.txt: 4 rows for 5 logged reads"]),
    "a cut row": (lambda out, log: cut(out / "alignment_summary.txt", 6),
                  ["{out}/alignment_summary.txt: 1 row with too few or too many columns",
                   "{out}/alignment_summary.txt: the last row is cut short"]),
    "no header": (lambda out, log: replace(out / "alignment_summary.txt", "read_id\t", "id\t"),
                  ["{out}/alignment_summary.txt: no header line"]),
    "another file in the log": (lambda out, log: replace(log, GOOD, "other.fastq"), [
        "other.fastq: in the log, but not in the input", "good.fastq: not finished"]),
    "a wrong count": (lambda out, log: replace(log, "(5 reads)", "(4 reads)"), [
        "good.fastq: 5 reads in the file, 4 aligned", "good.fastq: 5 reads in its SAM file {out}/good.sam, 4 aligned",
        "{out}/alignment_summary.txt: 5 rows for 4 logged reads"]),
    "a read too many": (lambda out, log: replace(log, "(5 reads)", "(6 reads)"), [
        "good.fastq: 5 reads in the file, 6 aligned", "good.fastq: 5 reads in its SAM file {out}/good.sam, 6 aligned",
        "{out}/alignment_summary.txt: 5 rows for 6 logged reads"]),
    "a full disk": (lambda out, log: replace(log, "[info] Succ", "[error] Could not write to output file x: No space "
                                             "left\n2026-11-21 00:00:00.1 [info] Succ"),
                    ["error in the log: Could not write to output file x: No space left"]),
    "a later run that failed": (
        lambda out, log: (out / LATER).write_text("2999-01-01 00:00:00.0 [error] Failed to load index r\n"),
        ["error in the log: Failed to load index r", "{out}/" + LATER + ": the run did not come to its end"]),
    "an aborted run in the same second": (
        lambda out, log: log.write_text(log.read_text() + log.read_text().split("2 Starting")[0].rsplit("\n", 2)[0]),
        ["{log}: the run did not come to its end"]),
}


class Check(AlignerTest):
    def check(self, *args, stdin=""):
        """Status and lines of standard output."""
        done = subprocess.run([CHECK, *map(str, args)], input=stdin, cwd=self.folder, capture_output=True, text=True)
        self.stderr = done.stderr
        return done.returncode, done.stdout.splitlines()

    def run_over(self, files, save="out", *args):
        """Writes the files that have content and aligns the list of all. Returns the list's text and the log file."""
        for name, content in files.items():
            if content is not None:
                self.write(name, content)
        listed = "".join(f"{name}\n" for name in files)
        subprocess.run([PROGRAM, "-z", "-i", "", "-s", save, "-a", REFERENCE, *args], input=listed.encode(),
                       cwd=self.folder, capture_output=True, timeout=60)
        return listed, sorted((self.folder / save).glob("read_processor_log-*.log"))[-1]

    def expect(self, findings, log, listed, *args):
        names = {"out": "out", "log": f"out/{log.name}"}
        expected = [finding.format(**names) for finding in findings]
        self.assertEqual(self.check(*args, "-", "out", stdin=listed), (1, expected))
        shutil.rmtree(self.folder / "out")

    def test_bad_input(self):
        for name, (files, findings) in BAD_INPUT.items():
            with self.subTest(name):
                listed, log = self.run_over({GOOD: WHOLE, **files})
                self.expect(findings, log, listed)

    def test_damaged_results(self):
        for name, (damage, findings) in DAMAGE.items():
            with self.subTest(name):
                listed, log = self.run_over({GOOD: WHOLE})
                damage(self.folder / "out", log)
                self.expect(findings, log, listed)

    def test_clean_input(self):
        for name, (reads, file, content) in CLEAN_INPUT.items():
            with self.subTest(name):
                listed, _ = self.run_over({file: content}, name, "--verbose_logs")
                self.assertEqual(self.check("-", name, stdin=listed), (0, [f"1 file, {reads}: nothing lost"]))

    def test_newest_run_is_judged_and_its_table_is_in_the_order_of_the_run(self):
        files = {"b.fastq": WHOLE, "a.fastq": fastq(RECORDS[:2])}
        _, log = self.run_over({"bad.fq": None})
        log.rename(log.with_name("read_processor_log-2000-01-01_00-00-00.log"))
        listed, log = self.run_over(files)
        log.write_text((log.parent / "read_processor_log-2000-01-01_00-00-00.log").read_text() + log.read_text())
        list_file = self.write("list", listed)
        self.assertEqual(self.check(list_file, "out", "--table", "table"), (0, ["2 files, 7 reads: nothing lost"]))
        self.assertEqual((self.folder / "table").read_text(),
                         "reads\tsam\tfile\n5\tb.sam\tb.fastq\n2\ta.sam\ta.fastq\n")
        self.assertEqual(self.check("-", "out", stdin="a.fastq\nb.fastq\nb.fastq\n"),
                         (1, ["b.fastq: named 2 times"]))

    def test_failed_reads_up_to_the_number_allowed(self):
        listed, log = self.run_over({"a.fq": WHOLE + record("") + record("")})
        failed = "error in the log: Read title '@' does not have any space. Continuing with next read."
        self.assertEqual(self.check("--allow-failed-reads", 2, "-", "out", stdin=listed),
                         (0, ["1 file, 5 reads: nothing lost, 2 failed as allowed"]))
        self.write("a.fq", WHOLE + record("") + record("") + record("x"))
        self.expect([failed, failed, "a.fq: 8 reads in the file, 5 aligned, 2 failed"], log, listed,
                    "--allow-failed-reads", 1)

    def test_folders(self):
        for name in ("reads/a.fastq", "reads/x/a.fq", "reads/x/b.fastq.gz", "reads/c.txt"):
            self.write(name, WHOLE)
        for path, options in (("reads", []), ("reads/", ["-r"]), (self.folder / "reads//", ["-r"])):
            with self.subTest(path=path):
                self.run_aligner("-z", "-i", path, "-s", f"out{len(self.runs)}", "-a", REFERENCE, *options)
                clean = ["2 files, 10 reads: nothing lost" if options else "1 file, 5 reads: nothing lost"]
                for spelled in ("reads", "./reads/", self.folder / "reads"):
                    self.assertEqual(self.check(*options, spelled, f"out{len(self.runs) - 1}"), (0, clean))
        self.assertEqual(self.check("reads", "out1"),
                         (1, ["reads/x/a.fq: in the log, but not in the input"]))
        self.assertEqual(self.check("-", "out0", stdin=""), (1, [
            "there are no input files", "reads/a.fastq: in the log, but not in the input"]))
        self.run_over({"reads/a.fastq": WHOLE}, "list")
        self.assertEqual(self.check("reads", "list"), (1, [
            "the run read a list of files, so please give that list in place of reads"]))

    def test_wrong_usage(self):
        for args in ((), ("list", "out", "more"), ("--allow-failed-reads", -1, "reads", "out"), ("no list", "out")):
            with self.subTest(args):
                self.assertEqual(self.check(*args), (2, []))
        self.assertEqual(self.stderr, "tavik_check: no list: No such file or directory\n")


if __name__ == "__main__":
    unittest.main()
