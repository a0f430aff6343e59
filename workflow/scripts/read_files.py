"""Which read files a run has, and what is wrong with them."""

import os
import stat

ENDINGS = (".fastq", ".fq", ".fasta", ".fa")
SHOWN = 20
NOT_TO_CLUSTER = "on a cluster, Snakemake cannot take names with quotes, backslashes or unprintable characters"


def is_read_file(name):
    name = name.lower()
    return name.removesuffix(".gz").endswith(ENDINGS)


def find(reads):
    """The paths below a folder, sorted, or those in a list, in its order. A folder that cannot be looked into is an
    OSError: its files would be missing without a word."""
    if os.path.isdir(reads):
        return sorted(os.path.join(path, name) for path, _, names in os.walk(reads, onerror=fail) for name in names
                      if is_read_file(name))
    with open(reads, encoding="utf-8", errors="surrogateescape", newline="\n") as lines:
        return [line for line in lines.read().split("\n") if line]


def fail(error):
    raise error


def reaches_jobs(name):
    """Whether Snakemake hands a name to the jobs of a cluster as it is. It quotes as Python does, and a shell reads it."""
    return repr(name) == f"'{name}'"


def faults_of(reads, files, to_cluster=False):
    """A line for each file that cannot be aligned; of many, the first ones and how many there are."""
    faults = [] if files else [f"{reads}: no read files"]
    listed = {}
    for file in files:
        if set("{}\t\n") & set(file):
            faults.append(f"{file!r}: names with braces, tabs or line feeds cannot be taken")
            continue
        if to_cluster and not reaches_jobs(file):
            faults.append(f"{file!r}: {NOT_TO_CLUSTER}")
        try:
            status = os.stat(file)
        except (OSError, ValueError) as error:
            faults.append(f"{file}: {getattr(error, 'strerror', error)}")
            continue
        # By what it is, not by its name: links and detours lead to the same file, too.
        other = listed.get((status.st_dev, status.st_ino))
        listed[status.st_dev, status.st_ino] = file
        if other is not None:
            faults.append(f"{file}: listed twice" if other == file else f"{file}: is the same file as {other}")
        elif not stat.S_ISREG(status.st_mode):
            faults.append(f"{file}: not a regular file")
        elif status.st_size == 0:
            faults.append(f"{file}: empty, which would abort the aligner; please leave it out")
        elif not os.access(file, os.R_OK):
            faults.append(f"{file}: cannot be read")
    more = [f"... and {len(faults) - SHOWN} more"] if len(faults) > SHOWN else []
    return faults[:SHOWN] + more
