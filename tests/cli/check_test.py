#!/usr/bin/env python3
"""Tests that tavik_check finds and describes every alteration of a run, and reports no loss in an intact run."""

import gzip
import os
import random
import re
import shutil
import subprocess
import unittest
from pathlib import Path

from aligner_run import PROGRAM, REFERENCE, AlignerTest, fastq
from check_alterations import (ALTERATIONS, BASES, COLUMNS, INPUT, LISTED, NOISE, OTHER_SQ, RECORDS, SUMMARY,
                               WHOLE, cell, content, lines, log, log_of, other_base, record, surplus)

CHECK = os.environ.get("TAVIK_CHECK", os.path.join(os.path.dirname(PROGRAM), "tavik_check"))


def complement(sequence):
    """Returns the sequence of the other strand."""
    return sequence[::-1].translate(str.maketrans("ACGT", "TGCA"))


def failed_file(name, reason):
    return f"error in the log: Error while processing input file {name}: {reason} Will continue with next input file."


def shortened(finding):
    """Returns the finding with only the first 200 and last 90 bytes of its message. A letter cut in two is left out."""
    severity, message = finding.split("log: ", 1)
    start, end = (part.decode(errors="ignore") for part in (message.encode()[:200], message.encode()[-90:]))
    return f"{severity}log: {start} ... {end}"


# The content of each input file (None: no such file), in the order in which the run reads the files, and the findings.
# Each run reads GOOD first.
GOOD = "good.fastq"
LONG = "g" + 100 * "\N{GREEK SMALL LETTER ALPHA}" + ".fq"
BAD_INPUT = {
    "a record cut in its third line": (
        {"a.fastq": WHOLE + "@cut\nACGT\n+"}, ["a.fastq: the last record is cut short"]),
    "a record cut after its title, gzip": (
        {"a.gz": gzip.compress((WHOLE + "@cut\n").encode())}, ["a.gz: the last record is cut short"]),
    "an invalid letter ends the reading of the file": (
        {"a.fq": WHOLE + record("n", "ACGN") + WHOLE},
        [failed_file("a.fq", "Sequence contained an unexpected character 'N' at position 3 Header: @n Sequence: ACGN "
                             "Qstring: IIII"), "a.fq: begun, but not finished"]),
    "lower-case bases end the reading of the file": (
        {"a.fa": ">a\nACGTACGT\n>b\nACGT\nacgt\n"},
        [failed_file("a.fa", "Invalid fasta description, it should start with '>'. acgt"),
         "a.fa: begun, but not finished"]),
    "a read without a name": (
        {"a.fq": WHOLE + record("")},
        ["error in the log: Read title '@' does not have any space. Continuing with next read."]),
    "a title that begins with a blank": (
        {"a.fq": WHOLE + record(" x")},
        ["error in the log: Error while processing read : Minimap2 returned: the read has no name Continuing with next "
         "read."]),
    "a read without a title line": (
        {"a.fq": WHOLE + "\nACGT\n+\nIIII\n"},
        ["error in the log: Error while processing read [invalid read id]: Cannot get the read ID from an empty FastQ "
         "record. Continuing with next read."]),
    "a record that is empty except for other text in place of its plus": (
        {"a.fq": WHOLE + "\n\n@b\n\n" + record("b")}, ["a.fq: 7 reads in the input file; the log counts 6 as written"]),
    "a file that ends after the plus of an empty record": (
        {"a.fq": WHOLE + "\n\n+"}, ["a.fq: the last record is cut short"]),
    "a gzip file that ends too early": (
        {"a.fq.gz": gzip.compress(WHOLE.encode())[:-9]},
        ["warning in the log: Caught exception, so setting END flag. gzip error in a.fq.gz: the file ends too early."]),
    "bytes after the gzip data": (
        {"a.gz": gzip.compress(WHOLE.encode()) + b"more and more and more"},
        ["warning in the log: Ignored 22 bytes after the end of the gzip data in a.gz"]),
    "plain text in a file whose extension makes the aligner expect gzip": (
        {"a.txt": WHOLE}, [failed_file("a.txt", "gzip error in a.txt: not in gzip format."),
                           "a.txt: begun, but not finished"]),
    "no such file": (
        {"gone.fq": None}, [failed_file("gone.fq", "Could not open gone.fq: No such file or directory"),
                            "gone.fq: begun, but not finished"]),
    "a name of two-byte letters that is too long to print in full": (
        {LONG: None}, [shortened(failed_file(LONG, f"Could not open {LONG}: No such file or directory")),
                       f"{LONG}: begun, but not finished"]),
    "an empty file aborts the run": (
        {"a.fq": "", "b.fq": WHOLE}, ["error in the log: There is no complete read in a.fq: the program that wrote it "
                                      "must have failed, so the process ends.", "{log}: the run did not finish",
                                      "a.fq: begun, but not finished", "a.fq: the file is empty",
                                      "b.fq: not finished"]),
    "three input files with the same SAM file name": (
        {"a.fastq": WHOLE, "x/a.fq": fastq(RECORDS[:2]), "y/a.fq": fastq(RECORDS[:3])},
        [*(f"warning in the log: Input file {name}/a.fq replaces the SAM file of an earlier input file: {{out}}/a.sam"
           for name in "xy"), "x/a.fq: its SAM file a.sam is also that of a.fastq",
         "y/a.fq: its SAM file a.sam is also that of x/a.fq"]),
    "an input file that its SAM file would replace": (
        {"out/a.sam": gzip.compress(WHOLE.encode())},
        [failed_file("out/a.sam", "Its SAM file out/a.sam would replace it."), "out/a.sam: begun, but not finished"]),
}

# Damage to a gzip input file after the run, and the findings.
LATER_DAMAGE = {
    "gzip data are cut": (lambda old: old[:-9], ["a.gz: damaged, or not gzip: the file ends too early"]),
    "gzip data are altered": (lambda old: old[:-8] + bytes(4) + old[-4:],
                              ["a.gz: damaged, or not gzip: the data are corrupt: incorrect data check"]),
    "bytes after gzip data": (lambda old: old + b"more", ["a.gz: Ignored 4 bytes after the end of the gzip data "
                                                                 "in a.gz"]),
    "many bytes after gzip data": (
        lambda old: old + b"more" * 200,
        ["a.gz: damaged, or not gzip: a member is followed by more than 512 bytes that are not gzip data, or by any number "
         "of such bytes and then another member"]),
}

TWINS = [("@twin", sequence, "I" * len(sequence)) for sequence in
         (BASES[9000:9400] + NOISE, RECORDS[0][1], BASES[100:900], BASES[5000:5400] + NOISE, "", BASES[100:900])]

# Intact input: the number of reads, the file's name and its content.
INTACT_INPUT = {
    "blank lines at the end": ("5 reads", "a.fq", WHOLE + "\n\n\n\n\n\n"),
    "a record of only a plus": ("6 reads", "a.fq", WHOLE + "\n\n+\n\n" + record("b")),
    "no line feed at the end": ("5 reads", "a.fq", WHOLE.rstrip("\n")),
    "an empty read whose last line has no line feed": ("6 reads", "a.fq", WHOLE + "@empty\n\n+\n"),
    "carriage returns": ("5 reads", "a.FASTQ", WHOLE.replace("\n", "\r\n") + "\r\n"),
    "FASTA on several lines": ("2 reads", "a.txt", gzip.compress(b">a\nACGT\nACGT\n>b >c\nACG")),
    "two gzip members": ("10 reads", "a.fastq.gz", gzip.compress(WHOLE.encode()) * 2),
    "a file name that looks like the end of a log record": ("5 reads", "a (1 reads).fq", WHOLE),
    "a read with a supplementary record": ("1 read", "a.fq", fastq([tuple(map("".join, zip(*RECORDS[:2])))])),
    "a supplementary record on the reverse strand": (
        "1 read", "a.fq", record("s", complement(RECORDS[0][1] + RECORDS[1][1]))),
    "rejected, unmapped and empty reads": ("4 reads", "a.fq", record("r", BASES[:400] + NOISE) + record("u", NOISE)
                                           + record("e", "") + record("m", BASES[:900])),
    "a read up to the end of the reference": ("1 read", "a.fq", record("end", BASES[-900:])),
    # 639 of 640 bases: 0.998438 in single precision, 0.998437 in double.
    "an identity that single precision rounds up": (
        "1 read", "a.fq", record("i", BASES[9000:9300] + other_base(BASES[9300:9640]))),
    "reads with the same name": ("6 reads", "a.fq", fastq(TWINS)),
    "U": ("2 reads", "a.fq", record("u", BASES[:900].replace("T", "U")) + record("v", RECORDS[0][1].replace("T", "U"))),
    "names with a tab, a Greek letter, a control character and markers": (
        "4 reads", "a.fq", record("a\tb c", BASES[:900]) + record("\N{GREEK SMALL LETTER ALPHA}", BASES[:900])
        + record("x\x01", BASES[:900]) + record(">@+", BASES[:900])),
    "a title line that begins as in FASTA": ("2 reads", "a.fq", record("a", BASES[:900]) + ">b\n" + record("", "ACGT")[2:]),
    "a file name that is only an extension": ("5 reads", ".fastq", WHOLE),
    "a file name without an extension": ("5 reads", "reads", gzip.compress(WHOLE.encode())),
}


class Check(AlignerTest):
    def check(self, *args, stdin="", folder=None):
        """Returns the status and the lines of standard output."""
        done = subprocess.run([CHECK, *map(str, args)], input=stdin, cwd=folder or self.folder, capture_output=True,
                              text=True, timeout=60)
        self.stderr = done.stderr
        return done.returncode, done.stdout.splitlines()

    def run_over(self, files, save="out", *args):
        """Writes the files, except those that map to None, and runs the aligner on a list of all of them. Returns
        the list's text and the newest log file."""
        for name, text in files.items():
            if text is not None:
                self.write(name, text)
        listed = "".join(f"{name}\n" for name in files)
        subprocess.run([PROGRAM, "-z", "-i", "", "-s", save, "-a", REFERENCE, *args], input=listed.encode(),
                       cwd=self.folder, capture_output=True, timeout=60)
        return listed, sorted((self.folder / save).glob("read_processor_log-*.log"))[-1]

    def expect(self, findings, log_file, listed, *args):
        names = {"out": "out", "log": f"out/{log_file.name}"}
        expected = [finding.format(**names) for finding in findings]
        self.assertEqual(self.check(*args, "-", "out", stdin=listed), (1, expected))
        shutil.rmtree(self.folder / "out")

    def test_alterations(self):
        base = self.folder / "base"
        for name, text in INPUT.items():
            self.write(f"base/{name}", text)
        subprocess.run([PROGRAM, "-z", "-t", "1", "-i", "", "-s", "out", "-a", REFERENCE], input=LISTED.encode(),
                       cwd=base, check=True)
        self.assertEqual(self.check("-", "out", stdin=LISTED, folder=base), (0, ["3 files, 11 reads: nothing lost"]))
        rows = (base / SUMMARY).read_text().splitlines()
        for number in (3, 7, 9):  # The lines of a mapped, an unmapped and a rejected read.
            read, *cells = rows[number - 1].split("\t")
            for column, value in enumerate(cells, 1):
                ALTERATIONS[f"another {COLUMNS[column]} of {read}"] = (
                    cell(SUMMARY, number, column, lambda old: old + "1"),
                    [f"{SUMMARY}: line {number}: {COLUMNS[column]} of read '{read}' is '{value}1'; its SAM record gives "
                     f"'{value}'"])
        log_file = log_of(base)
        for name, (alter, findings) in ALTERATIONS.items():
            with self.subTest(name):
                altered = self.folder / "altered"
                shutil.copytree(base, altered)
                alter(altered)
                found = self.check("-", "out", stdin=LISTED, folder=altered)
                shutil.rmtree(altered)
                self.assertEqual(found, (1, [finding.replace("{log}", log_file) for finding in findings]))

    def test_bad_input(self):
        for name, (files, findings) in BAD_INPUT.items():
            with self.subTest(name):
                listed, log_file = self.run_over({GOOD: WHOLE, **files})
                self.expect(findings, log_file, listed)

    def test_gzip_data_damaged_after_the_run(self):
        for name, (damage, findings) in LATER_DAMAGE.items():
            with self.subTest(name):
                listed, log_file = self.run_over({"a.gz": gzip.compress(WHOLE.encode()), "b.fq": WHOLE})
                content("a.gz", damage)(self.folder)
                self.expect(findings, log_file, listed)

    def test_intact_input(self):
        for name, (reads, file, text) in INTACT_INPUT.items():
            with self.subTest(name):
                for _ in range(2):  # Both runs write to the same folder.
                    listed, log_file = self.run_over({file: text}, name, "--verbose_logs")
                    self.assertEqual(self.check("-", name, stdin=listed), (0, [f"1 file, {reads}: nothing lost"]))
                    log_file.rename(log_file.with_name("read_processor_log-2000-01-01_00-00-00.log"))

    def test_any_order_of_reads(self):
        """Several threads may change the order of reads, but it is the same in both output files."""
        records = [*RECORDS, *TWINS, *(("@s", BASES[i:i + 50 * (i % 7)], "I" * 50 * (i % 7)) for i in range(2000)),
                   (RECORDS[0][0], BASES[5000:5400] + NOISE, "I" * 1400)]  # Rejected.
        listed, _ = self.run_over({"a.fq": fastq(records)}, "out", "-t", "1")
        sam, summary = self.folder / "out/a.sam", self.folder / SUMMARY
        text, rows = sam.read_text().splitlines(True), summary.read_text().splitlines(True)
        reads = list(zip(text[2:], rows[1:]))
        self.assertEqual(len(reads), len(records))  # No read has a supplementary record.
        for seed in range(5):
            random.Random(seed).shuffle(reads)
            sam.write_text("".join(text[:2] + [pair[0] for pair in reads]))
            summary.write_text("".join(rows[:1] + [pair[1] for pair in reads]))
            self.assertEqual(self.check("-", "out", stdin=listed), (0, ["1 file, 2013 reads: nothing lost"]))

    def test_many_threads_and_files(self):
        files = {f"{i}/{i}.fq": fastq(RECORDS) for i in range(300)}
        files.update({"a.fastq": fastq(RECORDS * 40)})
        listed, log_file = self.run_over(files, "out", "-t", "16")
        self.assertEqual(self.check("-", "out", stdin=listed), (0, ["301 files, 2040 reads: nothing lost"]))
        for i in range(4):
            cell(f"out/{i}.sam", 1, 2, "LN:70000")(self.folder)
        self.expect([*(f"{i}/{i}.fq: {OTHER_SQ.format(i)}" for i in range(3)),
                     "the same @SQ lines are in 1 more SAM file"], log_file, listed)

    def test_too_many_differences_to_list(self):
        listed, log_file = self.run_over({"a.fq": "".join(record(f"r{i}", "") for i in range(120_000)),
                                          "b.fq": record("r", "")})
        self.assertEqual(self.check("-", "out", stdin=listed), (0, ["2 files, 120001 reads: nothing lost"]))
        rows = (self.folder / SUMMARY).read_bytes()
        lines(SUMMARY, lambda old: [old[0], bytes(64 << 20), *old[1:]])(self.folder)
        self.assertEqual(self.check("-", "out", stdin=listed), (1, [f"{SUMMARY}: line 2 cannot be read: 64 MiB or longer"]))
        (self.folder / SUMMARY).write_bytes(rows)
        for name in "ab":
            lines(f"out/{name}.sam", lambda old: [re.sub(b"^r", b"x", one) for one in old])(self.folder)
        self.expect(["a.fq: its SAM file out/a.sam contains other reads", "b.fq: read 'r' is not in its SAM file out/b.sam",
                     surplus("x", "b.fq: its SAM file out/b.sam"),
                     f"{SUMMARY}: its rows and the SAM records belong to different reads"], log_file, listed)

    def test_newest_run_is_checked_and_its_table_keeps_the_order_of_files(self):
        files = {"b.fastq": WHOLE, "a.fastq": fastq(RECORDS[:2])}
        _, log_file = self.run_over({"bad.fq": None})
        log_file.rename(log_file.with_name("read_processor_log-2000-01-01_00-00-00.log"))
        listed, log_file = self.run_over(files)
        earlier = log_file.with_name("read_processor_log-2000-01-01_00-00-00.log").read_text()
        log_file.write_text(earlier + log_file.read_text())
        list_file = self.write("list", listed)
        self.assertEqual(self.check(list_file, "out", "--table", "table"), (0, ["2 files, 7 reads: nothing lost"]))
        self.assertEqual((self.folder / "table").read_text(),
                         "reads\tsam\tfile\n5\tb.sam\tb.fastq\n2\ta.sam\ta.fastq\n")
        self.assertEqual(self.check("-", "out", stdin="a.fastq\nb.fastq\nb.fastq\n"),
                         (1, ["b.fastq: listed 2 times"]))
        for table, reason in (("no/table", "No such file or directory"), ("/dev/full", "No space left on device")):
            self.assertEqual(self.check("list", "out", "--table", table), (2, ["2 files, 7 reads: nothing lost"]))
            self.assertEqual(self.stderr, f"tavik_check: {table}: {reason}\n")
        # An error before the banner belongs to the run. So does an error after the end, when files are closed.
        text = log_file.read_text()
        early = "2026-11-21 00:00:00.1 [error] Could not open output file y: Permission denied\n"
        for before in ("", text):
            log_file.write_text(before + early + text[len(earlier):])
            self.assertEqual(self.check("list", "out"),
                             (1, ["error in the log: Could not open output file y: Permission denied"]))
        log_file.write_text(text)
        with log_file.open("a") as log_text:
            log_text.write("2026-11-21 00:00:00.1 [error] Could not write to output file x: No space left\n")
        self.assertEqual(self.check("list", "out"),
                         (1, ["error in the log: Could not write to output file x: No space left"]))

    def test_failed_reads_up_to_the_number_allowed(self):
        bad = [record(""), record("@name"), record(" x"), record("@name\tx")]
        listed, log_file = self.run_over({"a.fq": bad[0] + WHOLE + "".join(bad[1:])}, "out", "-t", "1")
        failed = [message for message in log_file.read_text().split("\n") if "[error]" in message]
        failed = [f"error in the log: {' '.join(message.split('[error] ')[1].split())}" for message in failed]
        self.assertEqual(self.check("--allow-failed-reads", 4, "-", "out", stdin=listed),
                         (0, ["1 file, 5 reads: nothing lost, 4 failed as allowed"]))
        self.write("a.fq", bad[0] + WHOLE + "".join(bad[1:]) + record("x"))
        self.expect([*failed, "a.fq: 10 reads in the input file; the log counts 5 as written and 4 as failed",
                     "a.fq: read 'x' is not in its SAM file out/a.sam"], log_file, listed, "--allow-failed-reads", 3)
        # The second of two reads with the same name fails. More reads lie between the two than the check usually reads
        # ahead.
        others = "".join(record(f"r{i}") for i in range(1100))
        listed, _ = self.run_over({"a.fq": record("x") + others + record("x")}, "out", "-t", "1")
        for file in ("out/a.sam", SUMMARY):
            lines(file, lambda old: old[:-1])(self.folder)
        log("1102 reads", "1101 reads")(self.folder)
        log("[info] Succ", "[error] Error while processing read x: Out of memory Continuing with next read.\n"
                           "2026-11-21 00:00:00.1 [info] Succ")(self.folder)
        self.assertEqual(self.check("--allow-failed-reads", 1, "-", "out", stdin=listed),
                         (0, ["1 file, 1101 reads: nothing lost, 1 failed as allowed"]))

    def test_failed_reads_do_not_affect_the_others(self):
        # Failed reads must not count towards the 1024 reads by which the check usually reads ahead. Nor must they count
        # towards the 100 000 differences that it keeps.
        failed = record("", "") * 1100 + "".join(record(f"@{i}", "") for i in range(101_000))
        listed, _ = self.run_over({"a.fq": failed + record("rejected", BASES[5000:5400] + NOISE)})
        self.assertEqual(self.check("--allow-failed-reads", 102_100, "-", "out", stdin=listed),
                         (0, ["1 file, 1 read: nothing lost, 102100 failed as allowed"]))
        cell(SUMMARY, 2, 2, "-1")(self.folder)
        self.assertEqual(self.check("--allow-failed-reads", 102_100, "-", "out", stdin=listed), (1, [
            f"{SUMMARY}: line 2: alignment_genome_start of read 'rejected' is '-1'; its SAM record gives '0'"]))

    def test_missing_and_surplus_rows_do_not_affect_reads_with_the_same_name(self):
        for change, findings in (
                (lambda old: old[:1] + old[3:], [f"{SUMMARY}: no row for read '{name}'" for name in "ab"]),
                (lambda old: old[:3] + old[1:], [f"{SUMMARY}: line {i + 4}: read '{name}' has no SAM record"
                                                 for i, name in enumerate("ab")])):
            listed, log_file = self.run_over({"a.fq": record("a") + record("b") + fastq(TWINS)}, "out", "-t", "1")
            lines(SUMMARY, change)(self.folder)
            self.expect(findings, log_file, listed)

    def test_folders(self):
        for name in ("reads/a.fastq", "reads/x/a.fq", "reads/x/b.fastq.gz", "reads/c.txt", "reads/folder.fq/c.txt"):
            self.write(name, WHOLE)
        for path, options in (("reads", []), ("reads/", ["-r"]), (self.folder / "reads//", ["-r"])):
            with self.subTest(path=path):
                self.run_aligner("-z", "-i", path, "-s", f"out{len(self.runs)}", "-a", REFERENCE, *options)
                clean = ["2 files, 10 reads: nothing lost" if options else "1 file, 5 reads: nothing lost"]
                for spelled in ("reads", "./reads/", self.folder / "reads"):
                    self.assertEqual(self.check(*options, spelled, f"out{len(self.runs) - 1}"), (0, clean))
                elsewhere = self.check(*options, "..", f"../../out{len(self.runs) - 1}", folder=self.folder / "reads/x")
                self.assertEqual(elsewhere, (0, clean))
        self.assertEqual(self.check("reads", "out1"),
                         (1, ["reads/x/a.fq: in the log, but not in the input"]))
        self.assertEqual(self.check("-", "out0", stdin=""), (1, [
            "there are no input files", "reads/a.fastq: in the log, but not in the input"]))
        self.write("reads/late.fq", WHOLE)
        self.assertEqual(self.check("..", "../../out0", folder=self.folder / "reads/x"),
                         (1, ["../late.fq: not finished"]))
        self.run_over({"reads/a.fastq": WHOLE}, "list")
        self.assertEqual(self.check("reads", "list"), (1, [
            "the run read a list of files, so give that list instead of reads"]))

    def test_unreadable_files_are_named(self):
        listed, log_file = self.run_over({"a.fastq": WHOLE, "b.fastq": WHOLE, "c.fastq": WHOLE})
        self.program, unreadable = CHECK, [self.folder / name for name in ("a.fastq", "out/b.sam", SUMMARY)]
        for path in unreadable:
            path.chmod(0)
        as_other = {}
        if os.geteuid() == 0:
            copy = Path(shutil.copy(CHECK, self.folder))
            if any(not folder.stat().st_mode & 1 for folder in self.folder.parents):
                self.skipTest("other users cannot enter the temporary folder")
            self.program, as_other = copy, {"user": 65534}
        done = subprocess.run([self.program, "-", "out"], input=listed, cwd=self.folder, capture_output=True, text=True,
                              **as_other)
        self.assertEqual((done.returncode, done.stdout.splitlines()), (1, [
            "a.fastq: cannot be read: Permission denied", "b.fastq: its SAM file out/b.sam: Permission denied",
            f"{SUMMARY}: Permission denied"]))
        for path in unreadable:
            path.chmod(0o644)

    def test_wrong_usage(self):
        for args, reason in (((), "an input and a save folder are needed"),
                             (("list", "out", "more"), "too many positional options have been specified on the command line"),
                             (("--allow-failed-reads", -1, "list", "out"), "--allow-failed-reads must not be negative"),
                             (("no list", "out"), "no list: No such file or directory"),
                             (("/proc/self/mem", "out"), "/proc/self/mem: Input/output error")):
            with self.subTest(args):
                self.assertEqual(self.check(*args), (2, []))
                self.assertEqual(self.stderr.split("\n")[0], f"tavik_check: {reason}")
        folder = os.open(self.folder, os.O_RDONLY)
        done = subprocess.run([CHECK, "-", "out"], stdin=folder, capture_output=True, cwd=self.folder, text=True)
        os.close(folder)
        self.assertEqual((done.returncode, done.stderr), (2, "tavik_check: standard input: Is a directory\n"))
        with open("/dev/full", "w") as full:
            done = subprocess.run([CHECK, "--help"], stdout=full, stderr=subprocess.PIPE, text=True)
        self.assertEqual((done.returncode, done.stderr), (2, "tavik_check: standard output: No space left on device\n"))
        for errors in (0, 500):  # With 500, a write fails before the last finding.
            self.write("out/read_processor_log-2000-01-01_00-00-00.log", "2000-01-01 00:00:00.1 [error] failed\n" * errors)
            with self.subTest(errors), open("/dev/full", "w") as full:
                done = subprocess.run([CHECK, "-", "out"], stdin=subprocess.DEVNULL, stdout=full, stderr=subprocess.PIPE,
                                      cwd=self.folder, text=True)
                self.assertEqual((done.returncode, done.stderr), (2, "tavik_check: standard output: No space left on device\n"))


if __name__ == "__main__":
    unittest.main()
