"""The paths of a run's files, its chunks, and the memory that its jobs need."""

import hashlib
import os

import read_files
import settings

MB = 1_000_000
# Memory in addition to the index: for the program itself, and for each worker thread's buffers before they are trimmed.
BASE_MB, THREAD_MB = 500, 256
# Memory for each base of a FASTA reference while it is indexed, and the number of bases assumed for each byte of a
# compressed FASTA reference.
BUILDING_BYTES_PER_BASE, BASES_PER_GZIP_BYTE = 3.2, 4


class Run:
    def __init__(self, chosen):
        self.settings = chosen
        self.reads = chosen["reads"]
        self.reference = chosen["reference"]
        out = os.path.normpath(chosen["out"])
        self.plan = os.path.join(out, "plan.tsv")
        self.summary = os.path.join(out, "alignment_summary.txt")
        self.files = os.path.join(out, "files.tsv")
        self.chunk_summary = os.path.join(out, "chunks", "{chunk}", "alignment_summary.txt")
        self.logs = os.path.join(out, "logs")
        self.attempts = os.path.join(out, "attempts")
        self.built_index = os.path.join(out, "reference.tvi")
        self.index = self.reference if settings.opens_at_once(self.reference) else self.built_index
        self.index_log = os.path.join(self.logs, "index.txt")
        self.report = os.path.join(out, "alignment_report.html")

    def digest_of_list(self):
        """A hash of the paths of the read files. When it changes, the plan is made again."""
        names = "\n".join(read_files.find(self.reads))
        return hashlib.sha256(names.encode(errors="surrogateescape")).hexdigest()

    def chunks(self):
        """The files of each chunk, in the order of the plan."""
        found = {}
        with open(self.plan, encoding="utf-8", errors="surrogateescape", newline="\n") as plan:
            for line in plan:
                chunk, file = line.removesuffix("\n").split("\t", 1)
                found.setdefault(chunk, []).append(file)
        return found

    def chunk_summaries(self):
        return [self.chunk_summary.format(chunk=chunk) for chunk in sorted(self.chunks())]

    def bases(self):
        with open(self.reference, "rb") as file:
            compressed = file.read(2) == b"\x1f\x8b"
        return os.path.getsize(self.reference) * (BASES_PER_GZIP_BYTE if compressed else 1)

    def memory_to_align_mb(self, threads, attempt):
        """Memory for one run of the aligner, including the whole index: a cluster counts shared memory either for each
        job or for the first job."""
        return (BASE_MB + os.path.getsize(self.index) // MB + threads * THREAD_MB) * attempt

    def memory_to_index_mb(self, attempt):
        """Memory for making the index. A loaded minimap2 index is at most as large as its file."""
        built = os.path.getsize(self.reference) if settings.is_minimap2_index(self.reference) else \
            int(self.bases() * BUILDING_BYTES_PER_BASE)
        return (BASE_MB + built // MB) * attempt
