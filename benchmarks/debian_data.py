"""Provides real reads and references from Debian packages, which are unpacked but not installed."""

import shutil
import subprocess
from pathlib import Path


def unpacked(package, folder):
    """Returns `folder`/`package`, the contents of a Debian package; downloads and unpacks it if it is missing."""
    target = Path(folder) / package
    if not target.exists():
        subprocess.run(["apt-get", "download", "-q", package], cwd=folder, check=True, stdout=subprocess.DEVNULL)
        archive = next(Path(folder).glob(f"{package}_*.deb"))
        # The folder gets its name when it is complete, so that a killed run leaves no partial folder under that name.
        part = target.with_name(f"{package}.part")
        shutil.rmtree(part, ignore_errors=True)
        subprocess.run(["dpkg", "-x", str(archive), str(part)], check=True)
        part.rename(target)
    return target


def flye_reads(folder):
    """Returns the paths of a reference (500 kb of E. coli), of 945 long reads (8.4 Mb, .fastq.gz) and of HiFi reads
    (.fastq.gz)."""
    reference = next(unpacked("flye", folder).rglob("ecoli_500kb.fasta"))
    return (reference, *(reference.with_name(f"ecoli_500kb_reads{kind}.fastq.gz") for kind in ("", "_hifi")))


def human_chromosome(folder):
    """Returns the path of 70 Mb of a human chromosome, as .fa.gz."""
    return next(unpacked("smalt-examples", folder).rglob("hs37chrXtrunc.fa.gz"))
