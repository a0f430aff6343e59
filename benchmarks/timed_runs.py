"""Times single runs of a program and measures their memory."""

import json
import os
import subprocess


def peak_memory(command, environment, scratch):
    """Returns the peak memory of a run, in MB. GNU time starts the run, because this script's memory would count
    towards the peak of a run that it started itself."""
    report = scratch / "memory"
    subprocess.run(["/usr/bin/time", "-q", "-f", "%M", "-o", report, *map(str, command)], check=True,
                   env={**os.environ, **environment}, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return int(report.read_text()) * 1024 / 1e6


def timed(command, environment, scratch):
    """Returns the wall time and the processor time of one run, in seconds."""
    export = scratch / "hyperfine.json"
    line = subprocess.list2cmdline(map(str, command))
    subprocess.run(["hyperfine", "-N", "--runs", "1", "--export-json", export, line], check=True,
                   env={**os.environ, **environment}, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    result = json.loads(export.read_text())["results"][0]
    return result["median"], result["user"] + result["system"]
