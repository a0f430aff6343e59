"""Runs the workflow or parts of it in the test's folder. The environment variables TAVIK_ALIGNER, TAVIK_CHECK,
TAVIK_INDEX and TAVIK_REPORT name the programs."""

import os
import re
import subprocess
import sys
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "tests" / "cli"))

from aligner_run import PROGRAM, READS, REFERENCE, AlignerTest, fastq, ids, read_fastq  # noqa: E402,F401
from report_figures import page_data  # noqa: E402,F401
from report_run import REPORT  # noqa: E402,F401

SNAKEFILE = SOURCE / "workflow" / "Snakefile"
SCRIPTS = SOURCE / "workflow" / "scripts"
CHECK = os.environ.get("TAVIK_CHECK", str(Path(PROGRAM).parent / "tavik_check"))
INDEX = os.environ.get("TAVIK_INDEX", str(Path(PROGRAM).parent / "tavik_index"))
ABSENT = object()


class WorkflowTest(AlignerTest):
    def call(self, *args, **environment):
        """Runs a command. Returns its status and standard output, and keeps its standard error in `self.stderr`."""
        cache = self.folder / "cache"  # Snakemake leaves files here.
        cache.mkdir(exist_ok=True)
        done = subprocess.run(list(map(str, args)), cwd=self.folder, text=True, capture_output=True, timeout=250,
                              env={**os.environ, "TMPDIR": str(cache), "XDG_CACHE_HOME": str(cache), **environment})
        self.stderr = done.stderr
        return done.returncode, done.stdout

    def told(self, name):
        path = self.folder / name
        return path.read_text() if path.exists() else ""


class EngineTest(WorkflowTest):
    def setUp(self):
        super().setUp()
        self.records = read_fastq(READS / "sample_1.fastq")
        self.names = [title.split()[0][1:] for title, _, _ in self.records]

    def engine(self, *options, status=0, **settings):
        """Runs Snakemake, which must end with `status` and write only to standard error. Returns what it wrote."""
        settings = {"reads": "in", "reference": REFERENCE, "out": "all", "aligner": PROGRAM, "check": CHECK, "indexer": INDEX,
                    "report": "none",
                    **settings}
        answer = self.call("/usr/bin/snakemake", "-s", SNAKEFILE, "--profile", SOURCE / "workflow" / "profiles" / "local",
                           *options, "--config",
                           *(f"{name}={value}" for name, value in settings.items() if value is not ABSENT),
                           PATH=f"{Path(REPORT).parent}:{os.environ['PATH']}")
        self.assertEqual(answer, (status, ""), self.stderr)
        # Later releases of Snakemake print the profile's name first.
        return re.sub(r"^Using profile \S+ for setting default command line arguments\.\n", "", self.stderr)

    def written(self):
        return sorted(path for path in self.folder.rglob("*") if path.is_file() and not {"cache", ".snakemake"} & {*path.parts})
