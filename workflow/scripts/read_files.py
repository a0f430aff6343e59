"""Finds the read files of a run and their faults."""

import os
import stat

ENDINGS = (".fastq", ".fq", ".fasta", ".fa")
SHOWN = 20
NOT_TO_CLUSTER = "on a cluster, Snakemake cannot take names with single quotes, backslashes or unprintable characters"


def is_read_file(name):
    name = name.lower()
    return name.removesuffix(".gz").endswith(ENDINGS)


def find(reads):
    """The sorted paths of the read files below a folder, or the paths in a list file, in its order. Raises OSError for an
    unreadable folder or list, so that no files are skipped silently."""
    if os.path.isdir(reads):
        return sorted(os.path.join(path, name) for path, _, names in os.walk(reads, onerror=fail) for name in names
                      if is_read_file(name))
    with open(reads, encoding="utf-8", errors="surrogateescape", newline="\n") as lines:
        return [line for line in lines.read().split("\n") if line]


def fail(error):
    raise error


def reaches_jobs(name):
    """Whether Snakemake passes a name unchanged to the jobs of a cluster. Snakemake quotes names for the shell with Python's
    repr, which is right only if repr does no more than add single quotes."""
    return repr(name) == f"'{name}'"


def faults_of(reads, files, to_cluster=False):
    """Returns one line for each reason why a file cannot be aligned. After the first SHOWN lines, one line gives the number
    of the others."""
    faults = [] if files else [f"{reads}: no read files"]
    listed = {}
    for file in files:
        if set("{}\t\n") & set(file):
            faults.append(f"{file!r}: names with braces, tabs or line feeds are not supported")
            continue
        if to_cluster and not reaches_jobs(file):
            faults.append(f"{file!r}: {NOT_TO_CLUSTER}")
        try:
            status = os.stat(file)
        except (OSError, ValueError) as error:
            faults.append(f"{file}: {getattr(error, 'strerror', error)}")
            continue
        # By device and inode, because different paths and links may lead to the same file.
        other = listed.get((status.st_dev, status.st_ino))
        listed[status.st_dev, status.st_ino] = file
        if other is not None:
            faults.append(f"{file}: listed twice" if other == file else f"{file}: is the same file as {other}")
        elif not stat.S_ISREG(status.st_mode):
            faults.append(f"{file}: not a regular file")
        elif status.st_size == 0:
            faults.append(f"{file}: empty; please leave it out")
        elif not os.access(file, os.R_OK):
            faults.append(f"{file}: cannot be read")
    more = [f"... and {len(faults) - SHOWN} more"] if len(faults) > SHOWN else []
    return faults[:SHOWN] + more
