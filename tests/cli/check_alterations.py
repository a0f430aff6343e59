"""Input of a run of the aligner, alterations of the finished run, and the findings that tavik_check must report."""

import os
import random
import shutil

from aligner_run import READS, REFERENCE, fastq, read_fastq

RECORDS = read_fastq(READS / "sample_1.fastq")[:6]
WHOLE = fastq(RECORDS[:5])
NOISE = "".join(random.Random(1).choices("ACGT", k=1000))
BASES = "".join(REFERENCE.read_text().split(">")[1].split("\n")[1:])
LATER = "read_processor_log-2999-01-01_00-00-00.log"
SUMMARY = "out/alignment_summary.txt"
COLUMNS = ("read_id alignment_genome alignment_genome_start alignment_genome_end alignment_strand_start "
           "alignment_strand_end alignment_num_insertions alignment_num_deletions alignment_num_aligned "
           "alignment_num_correct alignment_identity alignment_accuracy alignment_score").split()


def record(name, sequence="ACGT", qualities=None):
    return f"@{name}\n{sequence}\n+\n{'I' * len(sequence) if qualities is None else qualities}\n"


# Input of the run. a.fastq: r1 on the reverse strand, r2 on the forward strand, r3 to r5, r6 unmapped. b.fastq: s1 with
# a supplementary record, s2 rejected, s3. c.fasta: t1, t2.
INPUT = {
    "a.fastq": "".join(record(f"r{i} more", RECORDS[i - 1][1]) for i in range(1, 6)) + record("r6", NOISE),
    "b.fastq": record("s1", RECORDS[0][1] + RECORDS[1][1]) + record("s2", BASES[5000:5400] + NOISE)
               + record("s3", RECORDS[3][1]),
    "c.fasta": f">t1\n{RECORDS[1][1][:300]}\n{RECORDS[1][1][300:]}\n>t2\n{RECORDS[2][1]}\n",
}
LISTED = "".join(f"{name}\n" for name in INPUT)


# Most of the functions below return an alteration: a function that takes the folder of the run and changes files in it.
def lines(file, change):
    """Replaces the list of the file's lines with the result of `change`."""
    def alter(folder):
        path = folder / file
        path.write_bytes(b"".join(change(path.read_bytes().splitlines(True))))
    return alter


def line(file, number, change):
    """Replaces line `number`, 1-based, with the result of `change`."""
    return lines(file, lambda all_lines: all_lines[:number - 1] + [change(all_lines[number - 1])] + all_lines[number:])


def cell(file, number, column, value):
    """Replaces a cell. `number`: 1-based line; `column`: 0-based; `value`: a text, or a function of the old text."""
    def change(old):
        cells = old.decode().rstrip("\n").split("\t")
        cells[column] = value(cells[column]) if callable(value) else value
        return ("\t".join(cells) + "\n").encode()
    return line(file, number, change)


def without(file, number):
    return lines(file, lambda all_lines: all_lines[:number - 1] + all_lines[number:])


def copy_of(file, number, source):
    return lines(file, lambda all_lines: all_lines[:number - 1] + [all_lines[source - 1]] + all_lines[number:])


def content(file, change):
    def alter(folder):
        (folder / file).write_bytes(change((folder / file).read_bytes()))
    return alter


def cut(file, count):
    return content(file, lambda old: old[:-count])


def gone(file):
    return lambda folder: (folder / file).unlink()


def swapped(one, other):
    def alter(folder):
        (folder / one).rename(folder / "third")
        (folder / other).rename(folder / one)
        (folder / "third").rename(folder / other)
    return alter


def is_a_folder(file):
    def alter(folder):
        (folder / file).unlink()
        (folder / file).mkdir()
    return alter


def both(*alterations):
    def alter(folder):
        for alteration in alterations:
            alteration(folder)
    return alter


def log_of(folder):
    return f"out/{next((folder / 'out').glob('*.log')).name}"


def log(old, new):
    def alter(folder):
        path = folder / log_of(folder)
        text = path.read_text()
        assert old in text
        path.write_text(text.replace(old, new))
    return alter


def other_base(sequence):
    return ("C" if sequence[0] == "A" else "A") + sequence[1:]


A, B, C = (f"{name}: its SAM file out/{name[0]}.sam" for name in INPUT)
BAD_BYTE = "a byte that is not allowed in a SAM record"
NO_SQ = "it has no @SQ lines"
OTHER_SQ = "the @SQ lines of its SAM file out/{}.sam differ from those of other SAM files"
LENGTHS = "CIGAR and SEQ have different lengths"


def missing(read, name="a"):
    return f"{name}.fastq: read '{read}' is not in its SAM file out/{name}.sam"


def surplus(read, sam=A):
    return f"{sam} contains read '{read}', which the input file lacks or contains fewer times"


def sequence(read, file="a.fastq"):
    return f"{file}: read '{read}' has a different sequence in its SAM file out/{file[0]}.sam"


# The alterations by description, each with its findings. In the SAM files, the records begin at line 3.
ALTERATIONS = {
    "a SAM record is gone": (without("out/a.sam", 4), [missing("r2")]),
    "a SAM record is a copy of its neighbour": (copy_of("out/a.sam", 4, 3), [missing("r2"), surplus("r1")]),
    "a duplicate SAM record": (lines("out/a.sam", lambda old: old[:4] + old[3:]), [surplus("r2")]),
    "all SAM records twice": (lines("out/a.sam", lambda old: old + old[2:]), [
        *(surplus(f"r{i}") for i in (1, 2, 3)), "a.fastq: 3 more such reads in its SAM file out/a.sam"]),
    "four SAM records twice": (lines("out/a.sam", lambda old: old + old[2:6]), [
        *(surplus(f"r{i}") for i in (1, 2, 3)), "a.fastq: 1 more such read in its SAM file out/a.sam"]),
    "four SAM records are gone": (lines("out/a.sam", lambda old: old[:2] + old[6:]), [
        *(missing(f"r{i}") for i in (1, 2, 3)), "a.fastq: 1 more read not in its SAM file out/a.sam"]),
    "another base in four records": (both(*(cell("out/a.sam", i, 9, other_base) for i in (3, 4, 5, 6))), [
        *(sequence(f"r{i}") for i in (1, 2, 3)), "a.fastq: 1 more read with a different sequence in its SAM file out/a.sam"]),
    "all SAM records are gone": (lines("out/b.sam", lambda old: old[:2]),
                                 [missing(f"s{i}", "b") for i in (1, 2, 3)]),
    "no SAM file": (gone("out/a.sam"), [f"{A}: No such file or directory"]),
    "an empty SAM file": (content("out/a.sam", lambda old: b""), [f"{A}: {NO_SQ}"]),
    "a folder for a SAM file": (is_a_folder("out/c.sam"), [f"{C}: Is a directory"]),
    "a SAM file is cut in a record": (cut("out/a.sam", 50), [f"{A}: line 8: cut short"]),
    "a SAM file lacks its last line feed": (cut("out/c.sam", 1), [f"{C}: line 4: cut short"]),
    "the SAM files of two inputs are swapped": (swapped("out/a.sam", "out/b.sam"),
                                                [f"{A} contains other reads", f"{B} contains other reads"]),
    "a SAM file is a copy of another one": (
        lambda folder: shutil.copy(folder / "out/a.sam", folder / "out/c.sam"),
        [f"{C} contains other reads"]),
    "no @SQ lines": (lines("out/b.sam", lambda old: old[2:]), [f"{B}: {NO_SQ}"]),
    "no @SQ lines in any SAM file": (
        both(*(lines(f"out/{name}.sam", lambda old: old[2:]) for name in "abc")),
        [f"{sam}: {NO_SQ}" for sam in (A, B, C)]),
    "another length in an @SQ line": (cell("out/a.sam", 1, 2, "LN:70000"), ["a.fastq: " + OTHER_SQ.format("a")]),
    "one @SQ line fewer": (lines("out/c.sam", lambda old: old[:1] + old[2:]), ["c.fasta: " + OTHER_SQ.format("c")]),
    "a malformed first @SQ line": (cell("out/b.sam", 1, 2, "LN:0"), [f"{B}: line 1: not an @SQ line"]),
    "a malformed @SQ line": (cell("out/b.sam", 2, 2, "LN:1x"), [f"{B}: line 2: not an @SQ line"]),
    "NUL in a SAM name": (cell("out/a.sam", 3, 0, "r\0"), [f"{A}: line 3: {BAD_BYTE}"]),
    "NUL in a sequence": (cell("out/a.sam", 3, 9, lambda old: old[:99] + "\0" + old[100:]), [f"{A}: line 3: {BAD_BYTE}"]),
    "NUL in a tag": (cell("out/a.sam", 4, 12, "ms:i:\0"), [f"{A}: line 4: {BAD_BYTE}"]),
    "512 bytes of a SAM file are NUL": (content("out/a.sam", lambda old: old[:2000] + bytes(512) + old[2512:]),
                                      [f"{A}: line 3: {BAD_BYTE}"]),
    "NUL after a SAM file": (content("out/a.sam", lambda old: old + bytes(9)), [f"{A}: line 9: cut short"]),
    "a carriage return": (line("out/a.sam", 5, lambda old: old[:-1] + b"\r\n"), [f"{A}: line 5: {BAD_BYTE}"]),
    "an empty line in a SAM file": (line("out/a.sam", 5, lambda old: b"\n" + old), [f"{A}: line 5: a record without a name"]),
    "a SAM record loses columns": (line("out/a.sam", 5, lambda old: b"\t".join(old.split(b"\t")[:9]) + b"\n"),
                                   [f"{A}: line 5: 9 columns instead of 11 or more"]),
    "another SAM name": (cell("out/a.sam", 4, 0, "other"), [missing("r2"), surplus("other")]),
    "another FLAG": (cell("out/a.sam", 4, 1, "16"), [sequence("r2")]),
    "a FLAG of paired reads": (cell("out/a.sam", 4, 1, "1"), [f"{A}: line 4: FLAG is 1"]),
    "another RNAME": (cell("out/a.sam", 4, 2, "chr_small"), [f"{A}: line 4: the alignment lies outside its reference sequence"]),
    "a POS near the end of the reference": (cell("out/a.sam", 4, 3, "59999"), [
        f"{A}: line 4: the alignment lies outside its reference sequence"]),
    "an unknown RNAME": (cell("out/a.sam", 4, 2, "~"), [f"{A}: line 4: no @SQ line names its reference sequence"]),
    "a mapped record without POS": (cell("out/a.sam", 4, 3, "0"), [f"{A}: line 4: the alignment lies outside its reference sequence"]),
    "a POS of more than 32 bits": (cell("out/a.sam", 4, 3, "4294982378"), [f"{A}: line 4: POS is not a number"]),
    "another POS": (cell("out/a.sam", 4, 3, "15083"), [
        f"{SUMMARY}: line 3: alignment_genome_start of read 'r2' is '15082'; its SAM record gives '15083'"]),
    "a POS that is not a number": (cell("out/a.sam", 4, 3, "15O82"), [f"{A}: line 4: POS is not a number"]),
    "a MAPQ above 255": (cell("out/a.sam", 4, 4, "256"), [f"{A}: line 4: values that the aligner does not write"]),
    "another CIGAR": (cell("out/a.sam", 4, 5, lambda old: "9M1D2M1D" + old[5:]), [
        f"{SUMMARY}: line 3: alignment_genome_end of read 'r2' is '15419'; its SAM record gives '15420'"]),
    "a longer CIGAR": (cell("out/a.sam", 4, 5, lambda old: old + "1I"), [f"{A}: line 4: {LENGTHS}"]),
    "a CIGAR of other operations": (cell("out/a.sam", 4, 5, lambda old: old.replace("M", "=")), [
        f"{A}: line 4: CIGAR has an operation other than H, S, I, D and M"]),
    "a CIGAR cut short": (cell("out/a.sam", 4, 5, lambda old: old[:-1]), [f"{A}: line 4: CIGAR is malformed"]),
    "another base in a forward record": (cell("out/a.sam", 4, 9, other_base), [sequence("r2")]),
    "another base in a reverse record": (cell("out/a.sam", 3, 9, other_base), [sequence("r1")]),
    "another base in an unmapped record": (cell("out/a.sam", 8, 9, other_base), [sequence("r6")]),
    "no SEQ": (cell("out/a.sam", 4, 9, "*"), [f"{A}: line 4: {LENGTHS}"]),
    "a quality string": (cell("out/a.sam", 4, 10, "I"), [f"{A}: line 4: values that the aligner does not write"]),
    "another NM": (cell("out/a.sam", 4, 11, "NM:i:29"), [
        f"{SUMMARY}: line 3: alignment_num_correct of read 'r2' is '310'; its SAM record gives '311'"]),
    "another AS": (cell("out/a.sam", 4, 13, "AS:i:485"), [
        f"{SUMMARY}: line 3: alignment_score of read 'r2' is '484'; its SAM record gives '485'"]),
    "an AS that is not a number": (cell("out/a.sam", 4, 13, "AS:i:484x"), [f"{A}: line 4: AS is not a number"]),
    "no AS": (line("out/a.sam", 4, lambda old: old.replace(b"\tAS:i:484", b"")), [
        f"{A}: line 4: a mapped record without NM or AS"]),
    "a tag cut short": (line("out/a.sam", 4, lambda old: old[:old.rindex(b":")] + b"\n"), [f"{A}: line 4: a malformed tag"]),
    "the names of two records are exchanged": (both(cell("out/a.sam", 3, 0, "r2"), cell("out/a.sam", 4, 0, "r1")), [
        sequence("r2"), sequence("r1")]),
    "a mapped read is marked as unmapped": (line("out/a.sam", 4, lambda old: b"r2\t4\t*\t0\t0\t*\t*\t0\t0\t*\t*\n"), [
        f"{SUMMARY}: line 3: alignment_genome of read 'r2' is 'chr_large'; its SAM record gives '*'"]),
    "an unmapped read with a position": (cell("out/a.sam", 8, 3, "7"), [f"{A}: line 8: an unmapped record with a position"]),
    "no supplementary record": (without("out/b.sam", 4), [
        f"{B}: read 's1' has more or fewer supplementary records than its tag SA lists"]),
    "a duplicate supplementary record": (lines("out/b.sam", lambda old: old[:4] + old[3:]), [
        f"{B}: read 's1' has more or fewer supplementary records than its tag SA lists"]),
    "a supplementary record with a clip longer than the read": (
        both(cell("out/b.sam", 4, 1, "2064"), cell("out/b.sam", 4, 5, lambda old: "99999H" + old)), [
            f"{B}: line 4: SEQ is not the part of the read that CIGAR leaves unclipped"]),
    "a supplementary record without the first record of its read": (without("out/b.sam", 3), [
        f"{B}: line 3: a secondary or supplementary record of a read without a first record"]),
    "a supplementary record of another read": (cell("out/b.sam", 4, 0, "s2"), [
        f"{B}: line 4: a secondary or supplementary record that does not follow a record of its read"]),
    "another base in a supplementary record": (cell("out/b.sam", 4, 9, other_base), [
        f"{B}: line 4: SEQ is not the part of the read that CIGAR leaves unclipped"]),
    "a rejected read's record is gone": (without("out/b.sam", 5), [missing("s2", "b")]),
    "a duplicate record of a rejected read": (lines("out/b.sam", lambda old: old[:5] + old[4:]), [surplus("s2", B)]),
    "no SAM file and a duplicate row": (
        both(gone("out/a.sam"), lines(SUMMARY, lambda old: old[:3] + old[2:])), [
            f"{A}: No such file or directory", f"{SUMMARY}: 12 rows for 11 logged reads"]),
    "an unfinished file without a SAM file": (
        both(log("Successfully finished input file c.fasta", "End of c.fasta"), gone("out/c.sam")), [
            "c.fasta: begun, but not finished"]),
    "one row fewer": (without(SUMMARY, 3), [f"{SUMMARY}: no row for read 'r2'"]),
    "a row is a copy of its neighbour": (copy_of(SUMMARY, 3, 2), [
        f"{SUMMARY}: line 3: read 'r1' has no SAM record", f"{SUMMARY}: no row for read 'r2'"]),
    "a duplicate row": (lines(SUMMARY, lambda old: old[:3] + old[2:]), [
        f"{SUMMARY}: line 4: read 'r2' has no SAM record"]),
    "all rows are gone": (lines(SUMMARY, lambda old: old[:1]), [
        *(f"{SUMMARY}: no row for read 'r{i}'" for i in (1, 2, 3)), f"{SUMMARY}: 8 more reads without a row"]),
    "four rows twice": (lines(SUMMARY, lambda old: old + old[1:5]), [
        *(f"{SUMMARY}: line {12 + i}: read 'r{i}' has no SAM record" for i in (1, 2, 3)),
        f"{SUMMARY}: 1 more row without a SAM record"]),
    "four rows cut to one column": (
        lines(SUMMARY, lambda old: [old[0], *(row[:2] + b"\n" for row in old[1:5]), *old[5:]]), [
            *(f"{SUMMARY}: line {i}: 1 column instead of 13" for i in (2, 3, 4)),
            f"{SUMMARY}: 1 more row with values that differ from the SAM records"]),
    "a row is cut short": (cut(SUMMARY, 6), [f"{SUMMARY}: the last row is cut short"]),
    "the last row lacks its line feed": (cut(SUMMARY, 1), [f"{SUMMARY}: the last row is cut short"]),
    # The check cannot read beyond the long row. The altered row of r3 comes before the long row and is reported. The
    # long row ends with the row of r1. Neither the row of r1 nor any later row may be reported as missing.
    "a row of 64 MiB, and another order of rows": (
        both(cell(SUMMARY, 4, 12, "7"), lines(SUMMARY, lambda old: [old[0], *old[2:4], bytes(64 << 20), old[1], *old[4:]])), [
            f"{SUMMARY}: line 4 cannot be read: 64 MiB or longer",
            f"{SUMMARY}: line 3: alignment_score of read 'r3' is '7'; its SAM record gives '1250'"]),
    "no header": (without(SUMMARY, 1), [f"{SUMMARY}: the first line is not the header of a summary"]),
    "no summary": (gone(SUMMARY), [f"{SUMMARY}: No such file or directory"]),
    "an empty summary": (content(SUMMARY, lambda old: b""), [f"{SUMMARY}: the first line is not the header of a summary"]),
    "a row loses a column": (line(SUMMARY, 4, lambda old: old[:old.rindex(b"\t")] + b"\n"), [
        f"{SUMMARY}: line 4: 12 columns instead of 13"]),
    "an extra column": (line(SUMMARY, 4, lambda old: old[:-1] + b"\t1\n"), [f"{SUMMARY}: line 4: 14 columns instead of 13"]),
    "NUL and DEL in a row": (cell(SUMMARY, 3, 12, "4\0\x7f"), [
        f"{SUMMARY}: line 3: alignment_score of read 'r2' is '4??'; its SAM record gives '484'"]),
    "another name in a row": (cell(SUMMARY, 3, 0, "rr"), [
        f"{SUMMARY}: line 3: read 'rr' has no SAM record", f"{SUMMARY}: no row for read 'r2'"]),
    "a rejected read counts as unmapped": (cell(SUMMARY, 9, 2, "-1"), [
        f"{SUMMARY}: line 9: alignment_genome_start of read 's2' is '-1'; its SAM record gives '0'"]),
    "an unmapped read counts as rejected": (cell(SUMMARY, 7, 2, "0"), [
        f"{SUMMARY}: line 7: alignment_genome_start of read 'r6' is '0'; its SAM record gives '-1'"]),
    "a read is added to the input": (content("a.fastq", lambda old: old + b"@r7\nACGT\n+\nIIII\n"), [
        "a.fastq: 7 reads in the input file; the log counts 6 as written", missing("r7")]),
    "a read is removed from the input": (lines("a.fastq", lambda old: old[4:]), [
        "a.fastq: 5 reads in the input file; the log counts 6 as written", surplus("r1")]),
    "another base in the input": (line("a.fastq", 2, lambda old: other_base(old.decode()).encode()), [sequence("r1")]),
    "another base in a FASTA input": (line("c.fasta", 3, lambda old: other_base(old.decode()).encode()),
                                      [sequence("t1", "c.fasta")]),
    "another name in the input": (line("a.fastq", 5, lambda old: b"@r more\n"), [missing("r"), surplus("r2")]),
    "the last quality line is cut off": (lines("a.fastq", lambda old: old[:-1]), [
        "a.fastq: record 6: Sequence is not the same length as the qstring"]),
    "the last quality line is cut short": (cut("a.fastq", 9), [
        "a.fastq: record 6: Sequence is not the same length as the qstring"]),
    "an input file is cut in a record": (lines("a.fastq", lambda old: old[:-2]), [
        "a.fastq: the last record is cut short", "a.fastq: 5 reads in the input file; the log counts 6 as written", surplus("r6")]),
    "no input file": (gone("a.fastq"), ["a.fastq: cannot be read: No such file or directory"]),
    "neither input file nor SAM file": (both(gone("a.fastq"), gone("out/a.sam")), [
        "a.fastq: cannot be read: No such file or directory", f"{A}: No such file or directory"]),
    "a file instead of the save folder": (
        lambda folder: (shutil.rmtree(folder / "out"), (folder / "out").write_text("")), ["out: Not a directory"]),
    "an empty input file": (content("a.fastq", lambda old: b""), ["a.fastq: the file is empty"]),
    "two input files are swapped": (swapped("a.fastq", "b.fastq"), [
        "a.fastq: 3 reads in the input file; the log counts 6 as written", f"{A} contains other reads",
        "b.fastq: 6 reads in the input file; the log counts 3 as written", f"{B} contains other reads"]),
    "an input file is a pipe": (both(gone("a.fastq"), lambda folder: os.mkfifo(folder / "a.fastq")),
                                ["a.fastq: not a regular file"]),
    "a run without its end, and a folder named like a log": (
        lambda folder: (without(log_of(folder), 13)(folder), (folder / "out" / LATER).mkdir()),
        ["{log}: the run did not finish"]),
    "no log": (lambda folder: gone(log_of(folder))(folder),
               ["out: no log file, so no run took place here"]),
    "another file in the log": (log("c.fasta", "other.fasta"), [
        "other.fasta: in the log, but not in the input", "c.fasta: not finished"]),
    "other @SQ lines for a file that only the log has": (
        both(log("c.fasta", "other.fasta"), cell("out/c.sam", 1, 2, "LN:70000"),
             lambda folder: (folder / "out/c.sam").rename(folder / "out/other.sam")),
        ["other.fasta: in the log, but not in the input", "c.fasta: not finished",
         "other.fasta: " + OTHER_SQ.format("other")]),
    "a wrong count in the log": (log("(6 reads)", "(5 reads)"), ["a.fastq: 6 reads in the input file; the log counts 5 as written"]),
    "a negative count in the log, and a SAM file cut short": (
        both(log("(6 reads)", "(-6 reads)"), cut("out/a.sam", 50)),
        [f"{A}: line 8: cut short", "a.fastq: 6 reads in the input file; the log counts -6 as written", f"{SUMMARY}: 11 rows for 5 logged reads"]),
    "a full disk": (log("[info] Succ", "[error] Could not write to output file x:\r No space left\n"
                        "2026-11-21 00:00:00.1 [info] Succ"),
                    3 * ["error in the log: Could not write to output file x: No space left"]),
    "a later run that failed": (
        lambda folder: (folder / "out" / LATER).write_text("2999-01-01 00:00:00.0 [error] Failed to load index r\n"),
        ["error in the log: Failed to load index r", f"out/{LATER}: the run did not finish"]),
    "an aborted run in the same second": (
        lambda folder: content(log_of(folder), lambda old: old + old.split(b"\n20")[0] + b"\n")(folder),
        ["{log}: the run did not finish", *(f"{name}: not finished" for name in INPUT)]),
}
