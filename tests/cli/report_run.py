"""Runs tavik_report. The environment variable TAVIK_REPORT names the program; the default is the release build."""

import os
import stat
import subprocess
from pathlib import Path

from aligner_run import READS, SOURCE, AlignerTest
from report_figures import page_data

REPORT = os.environ.get("TAVIK_REPORT", str(SOURCE / "build" / "release" / "bin" / "tavik_report"))
FILES = ("alignment_report.html", "alignment_report_mqc.json", "alignment_report_reads_mqc.json")
HEADER = ("read_id\talignment_genome\talignment_genome_start\talignment_genome_end\talignment_strand_start\talignment_strand_end\t"
          "alignment_num_insertions\talignment_num_deletions\talignment_num_aligned\talignment_num_correct\talignment_identity\t"
          "alignment_accuracy\talignment_score\n")


def row(genome, start=1, aligned=100, correct=90, insertions=0, deletions=0):
    """Returns a summary row as bytes, because the name of a reference sequence need not be valid text."""
    figures = (start, start + aligned + deletions, 0, aligned + insertions, insertions, deletions, aligned, correct,
               f"{correct / aligned:.6g}", f"{correct / (aligned + insertions + deletions):.6g}", 7)
    return b"r\t" + genome + b"\t" + "\t".join(map(str, figures)).encode() + b"\n"


class ReportTest(AlignerTest):
    def check_that_others_can_run_it(self):
        closed = [folder for folder in Path(REPORT).resolve().parents if not folder.stat().st_mode & stat.S_IXOTH]
        if os.geteuid() == 0 and closed:
            self.skipTest(f"other users cannot enter {closed[0]}")

    def align_examples(self, save="out"):
        self.align(sorted(READS.iterdir()), save=save)
        return self.folder / save

    def run_report(self, *args, status=0, **how):
        """Runs the program. `how`: further arguments for subprocess.run, such as another standard output."""
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        done = subprocess.run([REPORT, *map(str, args)], cwd=self.folder, text=True, check=False, timeout=250, **{**streams, **how})
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def data(self, folder="out"):
        return page_data(self.folder / folder / "alignment_report.html")

    def write_run(self, name, rows, references):
        """Writes to folder `name` a summary of these rows and a SAM file that lists `references`, {name: length}.
        Returns the folder."""
        self.write(f"{name}/a.sam", b"".join(b"@SQ\tSN:%s\tLN:%d\n" % one for one in references.items()))
        return self.write(f"{name}/alignment_summary.txt", HEADER.encode() + b"".join(rows)).parent
