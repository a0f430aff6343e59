"""Starts tavik_live and compares its output with what the aligner alone writes for the same files."""

import json
import os
import re
import shutil
import subprocess
from pathlib import Path

from aligner_run import PROGRAM, READS, REFERENCE, SOURCE, AlignerTest

BIN = Path(PROGRAM).parent
LIVE, CHECK, REPORT = (str(BIN / name) for name in ("tavik_live", "tavik_check", "tavik_report"))
SEQUENCER = SOURCE / "examples" / "simulate-sequencer"
QUICK = ("--settle", "0.4", "--interval", "0.1")
EXAMPLE = (READS / "sample_1.fastq").read_bytes()
READ_FILE = re.compile(r"\.(fastq|fq|fasta|fa)(\.gz)?$", re.IGNORECASE)


def records(name, count):
    """Returns `count` example reads, each named `name` followed by a number."""
    lines = EXAMPLE.splitlines()
    return b"".join(b"@%s%d\n%s\n+\n%s\n" % (name.encode(), i, lines[4 * i + 1], lines[4 * i + 3]) for i in range(count))


class LiveTest(AlignerTest):
    def setUp(self):
        super().setUp()
        self.reads = self.folder / "the reads"
        self.reads.mkdir()
        self.out = self.folder / "the output"

    def command(self, *args):
        return [LIVE, "-i", self.reads, "-s", self.out, "-a", REFERENCE, *QUICK, *args]

    def start(self, *args, **options):
        options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True, "errors": "surrogateescape", **options}
        process = subprocess.Popen(self.command(*args), **options)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        for stream in (process.stdout, process.stderr):
            if stream:
                self.addCleanup(stream.close)
        return process

    def live(self, *args, status=0):
        """Runs the program until it ends on its own. Returns its messages, except warnings, without date and time."""
        process = self.start(*(args or ("--until-idle", "0")))
        output, errors = process.communicate(timeout=100)
        self.assertEqual((process.returncode, output, errors) if process.returncode != status else status, status)
        return [re.sub(r"^[\d: -]{20}", "", line) for line in errors.splitlines() if not line.startswith("Warning: ")]

    def script(self, *lines):
        """Writes a shell script to run in place of the aligner. In `lines`, {aligner} stands for the path of
        the real aligner. Returns the path of the script."""
        path = self.folder / "aligner"
        path.write_text("\n".join(("#!/bin/sh", *lines, "")).replace("{aligner}", f"'{PROGRAM}'"))
        path.chmod(0o755)
        return path

    def sequencer(self, *args):
        process = subprocess.Popen([SEQUENCER, self.reads, *map(str, args)])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def read_files(self):
        return sorted(path for path in self.reads.rglob("*") if READ_FILE.search(path.name) and path.is_file())

    def rows(self, out=None):
        return (out or self.out).joinpath("alignment_summary.txt").read_bytes().splitlines()[1:]

    def sams(self, out=None):
        """Returns the sorted lines of each SAM file, by path."""
        out = out or self.out
        found = {}
        for folder, folders, files in os.walk(out):
            # Files and folders in the hidden folder may disappear at any time.
            folders[:] = [name for name in folders if name != ".live"]
            for path in (Path(folder, name) for name in files if name.endswith(".sam")):
                found[os.fsencode(path.relative_to(out))] = sorted(path.read_bytes().splitlines())
        return found

    def one_run(self):
        """Aligns all files without tavik_live. Each folder has its own run, because the SAM files of a list of files
        all go to one folder. Returns the sorted rows, and the SAM files as sams() does."""
        rows, sams, made = [], {}, self.folder / "one run"
        for folder in {path.parent for path in self.read_files()}:
            shutil.rmtree(made, ignore_errors=True)
            files = b"".join(os.fsencode(path) + b"\n" for path in self.read_files() if path.parent == folder)
            subprocess.run([PROGRAM, "-z", "-i", "", "-s", made, "-a", REFERENCE], input=files, capture_output=True, check=True)
            rows += self.rows(made)
            place = os.fsencode(folder.relative_to(self.reads)) + b"/" if folder != self.reads else b""
            sams |= {place + name: lines for name, lines in self.sams(made).items()}
        return sorted(rows), sams

    def assert_same_reads(self):
        rows, sams = self.one_run()
        self.assertEqual(sorted(self.rows()), rows)
        self.assertEqual(self.sams(), sams)
        return rows, sams

    def assert_as_one_run(self):
        rows, sams = self.assert_same_reads()
        table = self.out.joinpath("files.tsv").read_bytes().splitlines()[1:]
        self.assertEqual(sorted(line.split(b"\t")[1] for line in table), sorted(sams))
        self.assertEqual(sorted(line.split(b"\t")[2] for line in table), sorted(map(os.fsencode, self.read_files())))
        # tavik_check must agree. It also checks the log.
        listed = b"".join(os.fsencode(path) + b"\n" for path in self.read_files())
        judged = subprocess.run([CHECK, "-", self.out], input=listed, capture_output=True, check=False)
        self.assertEqual((judged.returncode, judged.stdout), (0, f"{len(sams)} files, {len(rows)} reads: nothing lost\n".replace("1 files", "1 file").encode()))

    def page_data(self, folder=None):
        text = (folder or self.out).joinpath("alignment_report.html").read_text()
        return json.loads(re.search(r'<script type="application/json" id="figures">(.*?)</script>', text)[1])
