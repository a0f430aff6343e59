"""Generates sets and indexes once and keeps them in a folder for the next run."""

import subprocess
from pathlib import Path


def kept_set(data, name, *size):
    """Returns the folder of a generated set; benchmarks/make-data fills it if it is missing."""
    folder = data / "-".join([name, *map(str, size)])
    if not (folder / "reads").exists():
        subprocess.run([Path(__file__).with_name("make-data"), name, folder, *map(str, size)], check=True)
    return folder


def prebuilt(reference):
    """Returns the path of the prebuilt index of a reference; minimap2 builds it if it is missing."""
    index = reference.with_suffix(".mmi")
    if not index.exists():
        subprocess.run(["minimap2", "-x", "map-ont", "-d", index, reference], check=True, stderr=subprocess.DEVNULL)
    return index
