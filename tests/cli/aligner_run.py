"""Runs tavik_aligner and reads its output. The environment variable TAVIK_ALIGNER names the program; the default is
the release build."""

import os
import re
import resource
import shutil
import signal
import stat
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
REFERENCE = SOURCE / "examples" / "reference.fasta"
READS = SOURCE / "examples" / "reads"
PROGRAM = os.environ.get("TAVIK_ALIGNER", str(SOURCE / "build" / "release" / "bin" / "tavik_aligner"))

# The start of a log record on the console, with its severity. The message ends where the next record starts.
RECORD = re.compile(r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d+ .*?\[(\w+)\] ", re.MULTILINE)


class Run:
    """A finished run: stdout, stderr and status, which is a name such as "SIGABRT" if a signal ended the run."""

    def __init__(self, program, args, stdin, folder, before=None):
        """`before` is called in the new process before the program starts."""
        self.args = [str(program), *map(str, args)]
        done = subprocess.run(self.args, input=stdin, cwd=folder, capture_output=True, text=True, errors="replace",
                              timeout=250, preexec_fn=before)
        self.status = done.returncode if done.returncode >= 0 else signal.Signals(-done.returncode).name
        # Boost 1.79 and later add the category and number of an error to its text.
        self.stdout, self.stderr = done.stdout, re.sub(r" \[(system|generic):\d+\]", "", done.stderr)

    def records(self):
        """Returns the log records on standard error as (severity, message)."""
        parts = RECORD.split(self.stderr)
        return [(level, text.rstrip("\n")) for level, text in zip(parts[1::2], parts[2::2])]


def become_nobody():
    """Gives up root's privileges, so that file permissions and limits apply."""
    if os.geteuid() == 0:
        os.setgroups([])
        os.setgid(65534)
        os.setuid(65534)


def limit_file_size(size=20000):
    """Makes writes beyond `size` bytes fail (File too large)."""
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))


class AlignerTest(unittest.TestCase):
    """Gives each test its own work folder. A failed assertEqual shows the commands run before it and their stderr."""

    maxDiff = None

    def setUp(self):
        temporary = Path(tempfile.gettempdir()).resolve()
        if os.getuid() == 0 and not all(path.stat().st_mode & stat.S_IXOTH for path in (temporary, *temporary.parents)):
            # When root runs the tests, some programs run as another user, who must be able to enter the folder.
            temporary = "/var/tmp"
        self.folder = Path(tempfile.mkdtemp(prefix="tavik_aligner_test_", dir=temporary))
        self.folder.chmod(0o777)  # For runs as another user.
        self.addCleanup(shutil.rmtree, self.folder)
        self.addCleanup(os.umask, os.umask(0o022))
        self.program, self.runs = PROGRAM, []

    def bring(self, *files, program=PROGRAM):
        """Copies a program, its library and files to a folder that another user can read even if the source folder is
        closed to others. Sets self.program to the copy and returns the files' new paths."""
        linked = subprocess.run(["ldd", program], capture_output=True, text=True, check=True).stdout
        own = [path for path in re.findall("=> (/.*) ", linked) if not path.startswith(("/lib", "/usr"))]
        targets = [os.path.relpath(path, Path(program).parents[1]) for path in (program, *own)]
        targets += [f"data/{path.name}" for path in files]
        copies = []
        for source, target in zip((program, *own, *files), targets):
            copies.append(self.folder / "brought" / target)
            copies[-1].parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, copies[-1])
            copies[-1].chmod(0o755)
        self.program = copies[0]
        return copies[1 + len(own):]

    def run_aligner(self, *args, stdin="", status=0, before=None):
        run = Run(self.program, args, stdin, self.folder, before)
        self.runs.append(run)
        self.assertEqual(run.status, status)
        return run

    def align(self, files, *args, save="out", reference=REFERENCE, status=0, before=None):
        """Aligns files that are listed on standard input."""
        files = "".join(f"{file}\n" for file in files)
        args = ("-i", "", "-s", self.folder / save, "-a", reference, *args)
        return self.run_aligner(*args, stdin=files, status=status, before=before)

    def assertEqual(self, first, second, msg=None):
        history = "".join(f"\n$ {' '.join(run.args)}\n{run.stderr}" for run in self.runs)
        super().assertEqual(first, second, f"{msg or ''}{history}")

    def wait_for(self, condition):
        end = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), end, "the condition was not met in time")
            time.sleep(0.02)

    def write(self, name, text):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def build_index(self):
        index = self.folder / "reference.mmi"
        subprocess.run(["minimap2", "-x", "map-ont", "-d", index, REFERENCE], capture_output=True, check=True)
        return index

    def sam(self, name, save="out"):
        """Returns the record lines of a SAM file."""
        return [line for line in (self.folder / save / name).read_text().splitlines() if line[0] != "@"]

    def sam_files(self, save="out"):
        return sorted(str(path.relative_to(self.folder / save)) for path in (self.folder / save).rglob("*.sam"))

    def summary(self, save="out"):
        """Returns the rows of the summary without its header."""
        return (self.folder / save / "alignment_summary.txt").read_text().splitlines()[1:]


def read_fastq(path):
    """Returns the records of a FASTQ file as (title, sequence, qualities)."""
    lines = Path(path).read_text().splitlines()
    return [(lines[i], lines[i + 1], lines[i + 3]) for i in range(0, len(lines), 4)]


def fastq(records):
    return "".join(f"{title}\n{sequence}\n+\n{qualities}\n" for title, sequence, qualities in records)


def fasta(records):
    return "".join(f">{title[1:]}\n{sequence}\n" for title, sequence, _ in records)


def ids(lines):
    """Returns the first columns, with adjacent repeats removed: supplementary records follow a read's first record."""
    columns = [line.split("\t")[0] for line in lines]
    return [name for i, name in enumerate(columns) if i == 0 or columns[i - 1] != name]


def file_error(file, reason):
    """Returns the log record of an input file that failed."""
    return ("error", f"Error while processing input file {file}: {reason} Will continue with next input file.")
