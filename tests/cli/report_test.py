#!/usr/bin/env python3
"""Tests tavik_report as a whole program, without a browser. Each class is one ctest test."""

import gzip
import json
import random
import subprocess
import unittest
from collections import Counter

from aligner_run import READS, REFERENCE, SOURCE
from report_figures import differences, figures
from report_run import FILES, HEADER, REPORT, ReportTest, row


class Options(ReportTest):
    def test_help_equals_the_documentation_and_wrong_options_are_refused(self):
        usage = self.run_report("-h").stdout
        self.assertEqual(usage, self.run_report().stdout)
        block = f"```\n$ tavik_report -h\n{usage.rstrip()}\n```\n"
        self.assertEqual(block in (SOURCE / "docs/report.md").read_text(), True, block)
        version = self.run_report("-v").stdout
        self.assertEqual(version, f"{REPORT}, part of Tavik basecalling suite, by the Tavik developers. Version 1.0.0\n")
        for args, reason in ((["--frob"], "unrecognised option '--frob'"), (["-z"], "no summary given"),
                             (["--tit", "x"], "unrecognised option '--tit'"),
                             (["x", "-o"], "the required argument for option '--output_path' is missing")):
            done = self.run_report(*args, status=255)
            self.assertEqual((done.stdout, done.stderr), ("", reason + "\n"))
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_report_is_written_beside_the_first_summary_or_to_a_given_folder(self):
        out = self.write_run("out", [row(b"c")], {b"c": 1000})
        other = self.write_run("other", [row(b"c")] * 3, {b"c": 1000})
        shown = "out: 1 read, 1 aligned (100.0 %), 100 aligned bases, N50 100 bases, median identity 90.0 %\n"
        self.assertEqual(self.run_report("out").stdout, shown + "".join(f"out/{name}\n" for name in FILES))
        self.assertEqual(self.run_report(out, other / "alignment_summary.txt", "-z", "-o", "new/deep", "--title", "T").stdout, "")
        data = self.data("new/deep")
        self.assertEqual((data["title"], [(one["name"], one["totals"]["reads"]) for one in data["samples"]]),
                         ("T", [("out", 1), ("other", 3)]))
        self.assertEqual(sorted(path.name for path in (self.folder / "new/deep").iterdir()), sorted(FILES))
        self.assertEqual((other / FILES[0]).exists(), False)

    def test_bad_summary_is_named_and_the_others_are_reported(self):
        self.write("bad/alignment_summary.txt", HEADER + "r\tc\n")
        self.write_run("good", [row(b"c")], {b"c": 1000})
        done = self.run_report("no", "bad", "good", status=1)
        self.assertEqual(done.stderr, "Error: no: No such file or directory\n"
                                      "Error: bad/alignment_summary.txt: line 2: 2 columns instead of 13\n")
        self.assertEqual([one["name"] for one in self.data("good")["samples"]], ["good"])
        self.assertEqual(self.run_report("bad", status=1).stdout, "")
        self.assertEqual([path.name for path in (self.folder / "bad").iterdir()], ["alignment_summary.txt"])

    def test_incomplete_last_row_is_a_warning(self):
        self.write("out/alignment_summary.txt", HEADER.encode() + row(b"c") + row(b"c")[:-1])
        warning = "out/alignment_summary.txt: line 3: the row is incomplete, probably because the run was interrupted; it is not counted"
        self.assertEqual(self.run_report("out").stderr, f"Warning: {warning}\n")
        (sample,) = self.data()["samples"]
        self.assertEqual((sample["totals"]["reads"], sample["warnings"]), (1, [warning]))


class Figures(ReportTest):
    def test_figures_of_the_example_match_its_rows(self):
        out = self.align_examples()
        self.run_report(out)
        (sample,) = self.data()["samples"]
        self.assertEqual(differences(sample, figures(out / "alignment_summary.txt")), [])
        run = dict(sample["run"])
        self.assertEqual([run[name] for name in ("aligner version", "alignment ref.", "min. coverage", "input files read", "warnings and errors")],
                         ["1.0.0", str(REFERENCE), "0.6", "3", "0 and 0"])

    def test_figures_of_generated_rows_match_a_simple_computation(self):
        # Lengths have a precision of 1 in 32 768, so with other seeds a length could fall into a neighbouring bin.
        random.seed(5)
        bounds = [1, 9, 10, 11, 12, 999, 1000, 65535, 65536, 65537, 65538, 99999, 100000, 112201, 112202]  # Bin bounds.
        spread = [int(3_000_000 ** random.random()) for _ in range(9000)]
        cases = ([50], [2, 2, 4], [length for length in spread if length < 65536], spread + bounds)
        for number, lengths in enumerate(cases):
            longest = max(lengths)
            references = {b"one": 1, b"short": 399, b"long": 801, b"longer_rc": 70_000, b"last": longest + 5000}
            rows = []
            for length in lengths:
                name, size = random.choice(list(references.items()))
                kind = random.random()
                reverse = kind > 0.6
                if size < 2 * length:
                    name, size = random.choice(((b"last", longest + 5000), (b"unknown", 2 * longest), (b"_rc", 2 * longest)))
                    reverse += name != b"last" and kind > 0.8  # Earlier rows must not affect what a name means.
                correct = random.choice((length, length * 9 // 10, *(random.randint(0, length) for _ in range(5))))
                insertions, deletions = (int(length * random.random() ** 3) for _ in range(2))
                deletions = min(deletions, size - length)
                rows.append(row(name + b"_rc" * reverse, random.randint(1, size - length - deletions + 1), length, correct,
                                insertions, deletions) if kind > 0.1 or len(lengths) < 4
                            else b"r\t*\t%d" % -(kind > 0.03) + b"\t-1" * 10 + b"\n")
            out = self.write_run(f"out{number}", rows, references)
            self.assertEqual(self.run_report(out).stderr, "")
            self.assertEqual(differences(self.data(out.name)["samples"][0], figures(out / "alignment_summary.txt")), [])

    def test_depth_and_breadth_match_samtools_for_primary_records(self):
        files = [self.write(f"in/{name.stem}_{i}.fastq", name.read_bytes())
                 for name, times in ((READS / "sample_1.fastq", 11), (READS / "sample_2.fastq", 5)) for i in range(times)]
        large, small = (part.split("\n", 1)[1].replace("\n", "") for part in REFERENCE.read_text().split(">")[1:])
        files.append(self.write("in/split.fasta", f">split x\n{large[9000:14000]}{small[12000:14000]}\n"))
        self.align(files)
        header = [f"@SQ\tSN:chr_{name}\tLN:{len(bases)}" for name, bases in (("large", large), ("small", small))]
        together = self.write("all.sam", "\n".join([*header, *(line for name in self.sam_files() for line in self.sam(name)), ""]))
        records = self.folder / "all.bam"
        subprocess.run(["samtools", "sort", "-o", records, together], check=True, capture_output=True)

        def lines(*args):
            text = subprocess.run(["samtools", *args, records], check=True, capture_output=True, text=True).stdout
            return [line.split("\t") for line in text.splitlines()]

        self.assertGreater(len(lines("view", "-f", "0x800")), 0)
        depths = Counter((name, int(depth)) for name, _, depth in lines("depth", "-a", "-J", "-G", "0x900"))
        coverage = lines("coverage", "--ff", "UNMAP,SECONDARY,QCFAIL,DUP,SUPPLEMENTARY")[1:]
        self.run_report("out")
        (sample,) = self.data()["samples"]
        for name, _, length, _, _, _, mean, *_ in coverage:
            (row,) = [row for row in sample["references"]["rows"] if row[0] == name]
            self.assertAlmostEqual(row[7], float(mean), delta=0.00006 + float(mean) / 1e5)
            for least, share in zip((1, 10, 30), row[8]):
                self.assertEqual(round(share * int(length)), sum(n for (one, depth), n in depths.items() if one == name and depth >= least))
        self.assertEqual(len({share for row in sample["references"]["rows"] for share in row[8]}), 6)

    def test_lengths_come_from_sam_files_of_this_run_only(self):
        out = self.write_run("out", [row(b"c"), row(b"d_rc", aligned=60, correct=60), row(b"e")], {b"d": 600})
        self.write("out/sub/deep/b.sam", "@HD\tVN:1.6\n@SQ\tSN:c\tAN:x\tLN:400\n@SQ\tSN:far\tLN:0\nread\t4\n@SQ\tSN:e\tLN:7\n")
        self.write_run("out/sub/other", [], {b"e": 5000})  # Belongs to another run.
        self.write("out/later.sam.gz", gzip.compress(b"@SQ\tSN:e\tLN:5000\n"))
        self.assertEqual(self.run_report(out).stderr, "")
        (sample,) = self.data()["samples"]
        self.assertEqual([(name, length, *last) for name, length, *_, depth, breadth in sample["references"]["rows"]
                          for last in [(depth, breadth)]],
                         [("c", 400, 0.25, [0.25, 0, 0]), ("d", 600, 0.1, [0.1, 0, 0]), ("e", None, None, None)])
        self.assertEqual((sample["totals"]["mean_depth"], sample["totals"]["breadth"]), (0.16, [0.16, 0, 0]))
        self.assertEqual([depth["name"] for depth in sample["depths"]], ["d", "c"])

    def test_contradictory_reference_lengths_are_left_out_with_a_warning(self):
        out = self.write_run("out", [row(b"c"), row(b"d"), row(b"x_rc")], {b"c": 99, b"d": 400, b"x": 500, b"x_rc": 500})
        self.write("out/b.sam", "@SQ\tSN:d\tLN:401\n")
        path = out / "alignment_summary.txt"
        self.assertEqual(self.run_report(out).stderr.splitlines(), [
            f"Warning: {out}: depth and breadth are left out for 1 reference sequence, because the SAM files give different lengths",
            f"Warning: {path}: depth and breadth are left out for 1 reference sequence, because alignments end beyond the "
            "end that the SAM files give: the SAM files are from another run",
            f"Warning: {path}: 1 name, such as 'x_rc', could mean a reference sequence or the reverse strand of another: "
            "counted as the reverse strand"])
        (sample,) = self.data()["samples"]
        self.assertEqual(sorted(row[:4] for row in sample["references"]["rows"]),
                         [["c", None, 1, 0], ["d", None, 1, 0], ["x", 500, 0, 1], ["x_rc", 500, 0, 0]])

    def test_many_references_with_long_names_make_a_small_page(self):
        names = [b"%05d" % i + b"<\xff" * (5000 if i < 50 else 10) for i in range(100_000)]
        rows = [row(name, aligned=100 + i % 900) for i, name in enumerate(names)]
        out = self.write_run("out", rows * 3, {name: 2000 + i for i, name in enumerate(names)})
        self.run_report(out)
        self.assertLess((out / FILES[0]).stat().st_size, 2_000_000)
        (sample,) = self.data()["samples"]
        self.assertEqual((sample["totals"]["reads"], len(sample["references"]["rows"]), sample["references"]["other_forward"],
                          len(sample["depths"])), (300_000, 1000, 297_000, 24))
        self.assertEqual(max(len(one[0]) for one in sample["references"]["rows"]), 80)

    def test_summary_without_reads_or_without_alignments_gets_a_report(self):
        for rows in ([], [b"r\t*\t-1" + b"\t-1" * 10 + b"\n"]):
            self.run_report(self.write_run("out", rows, {}))
            totals = self.data()["samples"][0]["totals"]
            self.assertEqual((totals["reads"], totals["aligned"], totals["identity"], totals["n50"]), (len(rows), 0, None, 0))


class Multiqc(ReportTest):
    def test_multiqc_reads_the_figures_of_two_samples(self):
        self.align_examples("lambda_1")
        self.align([READS / "sample_1.fastq", "missing.fastq"], save="lambda_2")
        for name in ("lambda_1", "lambda_2"):
            self.run_report(name)
        subprocess.run(["/usr/bin/multiqc", "--quiet", "--cl-config", "no_version_check: true", "-o", "both", "."],
                       cwd=self.folder, check=True, capture_output=True, timeout=250)
        data = json.loads((self.folder / "both/multiqc_data/multiqc_data.json").read_text())
        (general,) = data["report_general_stats_data"]
        plot = (self.folder / "both/multiqc_data/multiqc_tavik_alignment_reads_plot.txt").read_text().splitlines()
        bars = {name: list(map(float, cells)) for name, *cells in (line.split("\t") for line in plot[1:])}
        self.assertEqual(plot[0].split("\t"), ["Sample", "Aligned", "Unmapped", "Rejected"])
        self.assertEqual(sorted(general), ["lambda_1", "lambda_2"])
        for name, shown in general.items():
            expected = figures(self.folder / name / "alignment_summary.txt")["totals"]
            self.assertEqual((shown["reads"], shown["n50"], shown["aligned_bases"]),
                             (expected["reads"], expected["n50"], expected["aligned_bases"]))
            self.assertAlmostEqual(shown["aligned_percent"], 100 * expected["aligned"] / expected["reads"], 9)
            self.assertAlmostEqual(shown["median_identity"], 100 * expected["median_identity"], 3)
            for column, share in zip(("covered_1x", "covered_10x", "covered_30x"), expected["breadth"]):
                self.assertAlmostEqual(shown[column], 100 * share, 9)
            self.assertEqual((shown["unfinished_runs"], shown["failed_files"]), (0, name == "lambda_2"))
            self.assertEqual(bars[name], [expected["aligned"], expected["unmapped"], expected["rejected"]])
        report = (self.folder / "both/multiqc_report.html").read_text()
        self.assertEqual([title in report for title in ("Aligned bases", "Median identity of the aligned reads")], [True, True])


if __name__ == "__main__":
    unittest.main(verbosity=2)
