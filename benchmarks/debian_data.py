"""Real reads and references from Debian packages, which are unpacked but not installed."""

import shutil
import subprocess
from pathlib import Path


def unpacked(package, folder):
    """The path `folder`/`package` of a Debian package's contents; downloads and unpacks it if it is missing."""
    target = Path(folder) / package
    if not target.exists():
        subprocess.run(["apt-get", "download", "-q", package], cwd=folder, check=True, stdout=subprocess.DEVNULL)
        archive = next(Path(folder).glob(f"{package}_*.deb"))
        # What a killed run leaves must not look complete.
        part = target.with_name(f"{package}.part")
        shutil.rmtree(part, ignore_errors=True)
        subprocess.run(["dpkg", "-x", str(archive), str(part)], check=True)
        part.rename(target)
    return target


def flye_reads(folder):
    """Three paths: the reference (500 kb of E. coli), 945 long reads (8.4 Mb), HiFi reads; the reads as .fastq.gz."""
    reference = next(unpacked("flye", folder).rglob("ecoli_500kb.fasta"))
    return (reference, *(reference.with_name(f"ecoli_500kb_reads{kind}.fastq.gz") for kind in ("", "_hifi")))


def human_chromosome(folder):
    """The path of 70 Mb of a human chromosome, as .fa.gz."""
    return next(unpacked("smalt-examples", folder).rglob("hs37chrXtrunc.fa.gz"))
