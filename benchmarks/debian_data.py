"""Real reads for the benchmark scripts, out of Debian packages that are unpacked but not installed."""

import subprocess
from pathlib import Path


def unpacked(package, folder):
    """The contents of a Debian package under `folder`/`package`, downloaded and unpacked there unless they are."""
    target = Path(folder) / package
    if not target.exists():
        subprocess.run(["apt-get", "download", "-q", package], cwd=folder, check=True, stdout=subprocess.DEVNULL)
        archive = next(Path(folder).glob(f"{package}_*.deb"))
        subprocess.run(["dpkg", "-x", str(archive), str(target)], check=True)
    return target


def flye_reads(folder):
    """A reference of 500 kb of E. coli, 945 long reads (8.4 Mb) and HiFi reads of it, the reads as .fastq.gz."""
    reference = next(unpacked("flye", folder).rglob("ecoli_500kb.fasta"))
    return (reference, *(reference.with_name(f"ecoli_500kb_reads{kind}.fastq.gz") for kind in ("", "_hifi")))


def human_chromosome(folder):
    """70 Mb of a human chromosome, as .fa.gz."""
    return next(unpacked("smalt-examples", folder).rglob("hs37chrXtrunc.fa.gz"))
