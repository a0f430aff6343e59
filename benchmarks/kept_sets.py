"""Sets and indexes that are made once in a folder and found there the next time."""

import subprocess
from pathlib import Path


def kept_set(data, name, *size):
    """Folder of a made set, filled by benchmarks/make-data unless it is there."""
    folder = data / "-".join([name, *map(str, size)])
    if not (folder / "reads").exists():
        subprocess.run([Path(__file__).with_name("make-data"), name, folder, *map(str, size)], check=True)
    return folder


def prebuilt(reference):
    """Index file of a reference, made by minimap2 unless it is there."""
    index = reference.with_suffix(".mmi")
    if not index.exists():
        subprocess.run(["minimap2", "-x", "map-ont", "-d", index, reference], check=True, stderr=subprocess.DEVNULL)
    return index
