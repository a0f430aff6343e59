"""Computes the figures of a report from the rows of a summary in the simplest way, with all values in memory."""

import itertools
import json
import math
import os
import re
import statistics
from collections import Counter

WHOLE = ("genome_start", "genome_end", "num_insertions", "num_deletions", "num_aligned", "num_correct")


def read_rows(summary):
    header, *lines = summary.read_text(errors="surrogateescape").split("\n")[:-1]
    names = [name.removeprefix("alignment_") for name in header.split("\t")]
    rows = [dict(zip(names, line.split("\t"))) for line in lines]
    for row in rows:
        row.update({name: int(row[name]) for name in WHOLE})
    return rows


def read_references(folder):
    """Returns {name: length}, ordered by the bytes of the names."""
    lines = (line for sam in folder.rglob("*.sam") for line in sam.read_text(errors="surrogateescape").split("\n"))
    lengths = {sn[3:]: int(ln[3:]) for tag, sn, ln, *_ in (line.split("\t") for line in lines if line[:3] == "@SQ")}
    return {name: lengths[name] for name in sorted(lengths, key=os.fsencode)}


def n50(lengths):
    passed = 0
    for length in sorted(lengths, reverse=True):
        passed += length
        if 2 * passed >= sum(lengths):
            return length
    return 0


def figures(summary, depth_most=400):
    """Returns the data that a page must contain for one summary, with depths in at most `depth_most` bins."""
    rows = read_rows(summary)
    references = read_references(summary.parent)
    hits = [row for row in rows if row["genome"] != "*"]
    aligned, correct, insertions, deletions = (
        [row[f"num_{name}"] for row in hits] for name in ("aligned", "correct", "insertions", "deletions"))
    columns = [a + i + d for a, i, d in zip(aligned, insertions, deletions)]
    identity = [c / a for c, a in zip(correct, aligned)]
    accuracy = [c / a for c, a in zip(correct, columns)]
    totals = {
        "reads": len(rows), "aligned": len(hits),
        "unmapped": sum(row["genome_start"] == -1 for row in rows), "rejected": sum(row["genome_start"] == 0 for row in rows),
        "aligned_bases": sum(aligned), "correct_bases": sum(correct), "insertions": sum(insertions), "deletions": sum(deletions),
        "n50": n50(aligned), "median_length": statistics.median(aligned or [0]), "longest": max(aligned, default=0),
        "identity": sum(correct) / sum(aligned) if hits else None, "accuracy": sum(correct) / sum(columns) if hits else None,
        "median_identity": statistics.median(identity) if hits else None, "median_accuracy": statistics.median(accuracy) if hits else None,
        "mean_depth": sum(row["num_aligned"] for row in hits if strand_of(row["genome"], references)[0] in references)
                      / sum(references.values()) if references else None,
    }
    hits_of = {name: [] for name in references}
    for row in hits:
        for name in {row["genome"], row["genome"].removesuffix("_rc")} & hits_of.keys():
            hits_of[name].append(row)
    breadths = {name: breadth(hits_of[name], length) for name, length in references.items()}
    totals["breadth"] = [sum(breadths[name][i] * length for name, length in references.items()) / sum(references.values())
                         for i in range(3)] if references else None

    def length_bin(length, per_decade):
        return math.floor(per_decade * math.log10(length) + 1e-9)

    def quality_bin(part, whole):
        share = part * 100_000 // whole
        return 100 if share == 100_000 else min(math.floor(-20 * math.log10(1 - (share + 0.5) / 100_000)), 100)

    return {
        "totals": totals,
        "identity": Counter(min(c * 1000 // a, 999) for c, a in zip(correct, aligned)),
        "identity_quality": Counter(quality_bin(c, a) for c, a in zip(correct, aligned)),
        "accuracy": Counter(min(c * 1000 // a, 999) for c, a in zip(correct, columns)),
        "accuracy_quality": Counter(quality_bin(c, a) for c, a in zip(correct, columns)),
        "lengths": Counter(length_bin(a, 20) for a in aligned),
        "identity_by_length": Counter((length_bin(a, 10), min(c * 200 // a, 199)) for c, a in zip(correct, aligned)),
        "indels": Counter((min(i * 1000 // a, 399), min(d * 1000 // a, 399)) for a, i, d in zip(aligned, insertions, deletions)),
        "references": per_reference(hits, references, breadths), "depth_most": depth_most,
        "depths": {name: depth_bins(hits_of[name], length, depth_most) for name, length in references.items()},
    }


def strand_of(genome, references):
    is_name = genome in references or genome == "_rc" or not genome.endswith("_rc")
    return (genome, False) if is_name else (genome[:-3], True)


def breadth(hits, length):
    """Returns the shares of a sequence that at least 1, 10 and 30 alignments cover. An alignment covers all positions
    from its start to its end."""
    changes = [0] * (length + 1)
    for row in hits:
        changes[row["genome_start"] - 1] += 1
        changes[row["genome_end"] - 1] -= 1
    depths = Counter(itertools.accumulate(changes[:-1]))
    return [sum(count for depth, count in depths.items() if depth >= least) / length for least in (1, 10, 30)]


def per_reference(hits, references, breadths):
    """Returns {name: (length, forward reads, reverse reads, aligned bases, identity, accuracy, depth, breadth)}."""
    table = {name: Counter() for name in references}
    for row in hits:
        name, is_reverse = strand_of(row["genome"], references)
        counts = table.setdefault(name, Counter())
        counts["reverse" if is_reverse else "forward"] += 1
        counts.update({key: row[f"num_{key}"] for key in ("aligned", "correct", "insertions", "deletions")})
    part = lambda a, b: a / b if b else None
    return {name: (references.get(name), c["forward"], c["reverse"], c["aligned"], part(c["correct"], c["aligned"]),
                   part(c["correct"], c["aligned"] + c["insertions"] + c["deletions"]), part(c["aligned"], references.get(name)), breadths.get(name))
            for name, c in table.items()}


def depth_bins(hits, length, most):
    """Returns the mean depths in at most `most` bins."""
    width = -(-length // most)
    covered = [0] * -(-length // width)
    for row in hits:
        for start in range((row["genome_start"] - 1) // width * width, row["genome_end"] - 1, width):
            covered[start // width] += min(start + width, row["genome_end"] - 1) - max(start, row["genome_start"] - 1)
    return [bases / (min((i + 1) * width, length) - i * width) for i, bases in enumerate(covered)]


def page_data(page):
    return json.loads(re.search(r'<script type="application/json" id="figures">(.*?)</script>', page.read_text(), re.DOTALL)[1])


def differences(shown, expected):
    """Returns descriptions of the differences between a page's sample and `expected`."""
    found = []

    def compare(what, one, other, tolerance=1e-6):
        if isinstance(other, list) and one is not None:  # Breadths are rounded down.
            for i, value in enumerate(other):
                compare(f"{what}, {i}", one[i] + 5e-7, value, 5.1e-7)
            return
        # Most figures of the page have 6 decimals.
        same = (one is None) == (other is None) and (one is None or abs(one - other) <= tolerance)
        if not same:
            found.append(f"{what}: {one}, expected {other}")

    for name, value in expected["totals"].items():
        # Medians of ratios have a precision of 0.00001; lengths of 65 536 and more are counted in bins.
        tolerances = {"median_identity": 6e-6, "median_accuracy": 6e-6, "mean_depth": 6e-5}
        if name in ("n50", "median_length") and value >= 1 << 16:
            tolerances[name] = value / (1 << 15)
        compare(name, shown["totals"][name], value, tolerances.get(name, 1e-6))
    for name in ("accuracy", "accuracy_quality", "identity", "identity_quality", "lengths"):
        counts = {shown[name]["first"] + i: count for i, count in enumerate(shown[name]["counts"]) if count}
        if counts != expected[name]:
            found.append(f"{name}: {counts}, expected {expected[name]}")
    for name in ("identity_by_length", "indels"):
        merged = round(shown[name].get("row_height", 0) * 200) or round(shown[name]["width"] * 10)
        cells = Counter()
        for (column, row), count in expected[name].items():
            cells[column if name == "identity_by_length" else column // merged, row // merged] += count
        if {(column, row): count for column, row, count in shown[name]["cells"]} != cells:
            found.append(f"{name}: the cells differ")
    rows = {row[0]: row[1:] for row in shown["references"]["rows"]}
    for name, figures_of_one in expected["references"].items():
        for i, value in enumerate(figures_of_one if name in rows else ()):
            compare(f"{name}, figure {i}", rows[name][i], value, 6e-5 if i == 6 else 1e-6)
    if rows.keys() != expected["references"].keys():
        found.append("the names of the reference sequences differ")
    for depth in shown["depths"]:
        if depth["name"] in expected["depths"]:
            for one, other in zip(depth["depths"], expected["depths"][depth["name"]], strict=True):
                compare(f"depth of {depth['name']}", one, other, 0.0051)
    if {depth["name"] for depth in shown["depths"]} != expected["depths"].keys():
        found.append("the names of the sequences with depths differ")
    return found
