"""The settings of a run. Their faults are reported before anything begins, one per line."""

import math
import os
import shutil
import tempfile
from pathlib import Path

import read_files
import yaml
from snakemake.exceptions import WorkflowError
from snakemake.utils import validate

SCHEMA = Path(__file__).resolve().parents[1] / "settings.schema.yaml"
KNOWN = yaml.safe_load(SCHEMA.read_text())["properties"]
MINIMAP2_MAGIC = b"MMI\2"
INDEX_MAGIC = b"\x89TIDX\r\n\x1a"


class WrongSettings(WorkflowError):
    # Snakemake prints the line of the workflow that raised an error. That line does not help users.
    __traceback__ = property(lambda self: None)


def read(config, look, to_cluster):
    """The settings with their defaults. `look`: also check files and programs; `to_cluster`: jobs are submitted to a
    cluster. Raises WrongSettings."""
    settings, faults = by_schema(config)
    if to_cluster:
        faults += [f"{name}={value}: {read_files.NOT_TO_CLUSTER}." for name, value in settings.items()
                   if isinstance(value, str) and not read_files.reaches_jobs(value)]
    if not faults and look:
        faults = [*reads_faults(settings["reads"], to_cluster), *reference_faults(settings["reference"]),
                  *out_faults(settings["out"])]
        # Only a readable reference shows whether the indexer is needed.
        faults += [] if faults else program_faults(settings)
    if faults:
        raise WrongSettings("\n".join(faults))
    if "report" not in settings:
        settings["report"] = "tavik_report" if shutil.which("tavik_report") else "none"
    return settings


def must_be(name, value):
    return f"{name}={'' if value is None else value}: must be {KNOWN[name]['description']}."


def by_schema(config):
    """The settings with their defaults, and their faults according to the schema. The validator stops at the first
    fault, so faulty settings are removed until the rest is valid."""
    settings, faults, wrong_names = dict(config), [], set()
    while True:
        try:
            validate(settings, str(SCHEMA))
            break
        except WorkflowError as error:
            wrong = error.__context__
        if wrong.validator == "required":  # The validator checks this keyword last, because it comes last in the schema.
            faults += [f"{name}: is missing. It must be {KNOWN[name]['description']}. Set it with --config {name}=PATH"
                       for name in wrong.validator_value if name not in {*settings, *wrong_names}]
            break
        if wrong.validator == "additionalProperties":
            names = sorted(set(settings) - set(KNOWN))
            faults += [f"{name}={settings[name]}: there is no such setting. The settings are {', '.join(KNOWN)}."
                       for name in names]
        else:
            names = [wrong.absolute_path[0]]
            faults += [must_be(name, settings[name]) for name in names]
        wrong_names.update(names)
        for name in names:
            del settings[name]
    # NaN passes every limit, because every comparison with it is false.
    faults += [must_be(name, value) for name, value in settings.items() if isinstance(value, float) and math.isnan(value)]
    return settings, faults


def reads_faults(reads, to_cluster):
    if not os.path.isdir(reads) and read_files.is_read_file(reads):
        return [f"{must_be('reads', reads)} It is a read file."]
    try:
        faults = read_files.faults_of(reads, read_files.find(reads), to_cluster)
    except OSError as error:
        if error.filename != reads:
            return [f"reads={reads}: {error.filename}: {error.strerror}."]
        return [f"reads={reads}: {error.strerror}. It must be {KNOWN['reads']['description']}."]
    return [f"reads={reads}: has these faults:", *(f"    {fault}" for fault in faults)] if faults else []


def begins_with(path, magic):
    with open(path, "rb") as file:
        return file.read(len(magic)) == magic


def is_minimap2_index(path):
    """Whether the file is a minimap2 index, by its first bytes."""
    return begins_with(path, MINIMAP2_MAGIC)


def opens_at_once(path):
    """Whether the file is an index made by tavik_index, by its first bytes."""
    return begins_with(path, INDEX_MAGIC)


def reference_faults(reference):
    try:
        kinds = {".mmi": ("a minimap2 index", is_minimap2_index(reference)),
                 ".tvi": ("an index made by tavik_index", opens_at_once(reference))}
    except OSError as error:
        return [f"reference={reference}: {error.strerror}. It must be {KNOWN['reference']['description']}."]
    if os.path.getsize(reference) == 0:
        return [f"reference={reference}: is empty."]
    if any(is_one for _, is_one in kinds.values()):
        return []
    return [f"reference={reference}: is not {kind}, although it is named like one."
            for ending, (kind, _) in kinds.items() if reference.endswith(ending)]


def out_faults(out):
    there = next(path for path in (Path(out), *Path(out).absolute().parents) if os.path.lexists(path))
    if not there.is_dir():
        return [f"{must_be('out', out)} {there} is not a folder."]
    try:
        # Permissions do not show whether the file system is read-only or full.
        os.rmdir(tempfile.mkdtemp(dir=there))
    except OSError as error:
        return [f"out={out}: {there} cannot be written to: {error.strerror}."]
    return []


def program_faults(settings):
    needed = ["aligner", "check"]
    if not opens_at_once(settings["reference"]):
        needed.append("indexer")
    if settings.get("report", "none") != "none":
        needed.append("report")
    return [f"{name}={settings[name]}: program not found. Add its folder to PATH, or set --config {name}=FILE."
            for name in needed if shutil.which(settings[name]) is None]
