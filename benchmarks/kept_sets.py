"""Generates sets and indexes, and keeps them in a folder for the next run. A set or an index gets its name when it is
complete, so that a killed run leaves nothing partial under that name."""

import shutil
import subprocess
from pathlib import Path


def kept_set(data, name, *size):
    """Returns the folder of a generated set; benchmarks/make-data creates it if it is missing."""
    folder = data / "-".join([name, *map(str, size)])
    if not folder.exists():
        part = data / f"{folder.name}.part"
        shutil.rmtree(part, ignore_errors=True)
        subprocess.run([Path(__file__).with_name("make-data"), name, part, *map(str, size)], check=True)
        part.rename(folder)
    return folder


def prebuilt(reference):
    """Returns the path of the prebuilt index of a reference; minimap2 builds it if it is missing."""
    index = reference.with_suffix(".mmi")
    if not index.exists():
        part = reference.with_suffix(".mmi.part")
        subprocess.run(["minimap2", "-x", "map-ont", "-d", part, reference], check=True, stderr=subprocess.DEVNULL)
        part.rename(index)
    return index
