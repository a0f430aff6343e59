"""Computes the texts and charts that a page of tavik_report must show for the figures from report_figures.py.

`f` is the result of figures() for one sample. Most results have the form in which page_state.js collects them from
the page."""

import math
from collections import Counter
from decimal import ROUND_HALF_UP, Decimal

NONE = "\u2013"
SERIES = 8  # The highest number of samples in one chart.
ABOUT = {"accuracy": "Reads by accuracy: correct bases among those aligned, inserted and deleted. BLAST and many other programs call this identity.",
         "identity": "Reads by identity: correct bases among those aligned to a base. Gaps are left out, so this identity is at least as high as "
                     "what BLAST calls identity."}
QUALITIES = {"accuracy": " Q10 means an accuracy of 90 %, Q20 one of 99 %.",
             "identity": " This quality counts wrong bases only; the quality computed from the accuracy counts gaps too."}
LENGTH_AXIS = "aligned length, bases (logarithmic)"
RATIO_AXES = {("accuracy", False): "accuracy, % of the aligned, inserted and deleted bases", ("identity", False): "identity, % of the aligned bases",
              ("accuracy", True): "quality: \u221210 log\u2081\u2080(1 \u2212 accuracy)",
              ("identity", True): "quality of the aligned bases: \u221210 log\u2081\u2080(1 \u2212 identity)"}


def whole(number):
    return f"{number:,}"


def fixed(number, digits):
    """Rounds halves up, as browsers do."""
    return f"{Decimal(repr(float(number))).quantize(Decimal(1).scaleb(-digits), ROUND_HALF_UP):,}"


def three_digits(number):
    return float(f"{number:.3g}")


def counted(number, noun="read"):
    return f"{number:,} {noun}" + "s" * (number != 1)


def per_cent(ratio, digits=2):
    return NONE if ratio is None else f"{fixed(100 * round(ratio, 6), digits)} %"


def share(part, all_of_them):
    return f"{fixed(100 * part / all_of_them, 1)} %" if all_of_them else NONE


def unit_of(number):
    return next((unit for unit in ((10**9, "Gb"), (10**6, "Mb"), (1000, "kb")) if three_digits(number) >= unit[0]), (1, "b"))


def bases(number):
    size, unit = unit_of(number)
    return f"{whole(math.floor(number + 0.5)) if size == 1 else f'{three_digits(number / size):g}'} {unit}"


def shown_name(name, most=80):
    """Returns a name's bytes as text; a long name loses its middle."""
    text = name.encode(errors="surrogateescape").decode(errors="replace")
    return text if len(text) <= most else text[:most - most // 3 - 1] + "\u2026" + text[-(most // 3):]


def short(name):
    return name if len(name) <= 30 else name[:18] + "\u2026" + name[-10:]


def quality(ratio):
    return -10 * math.log10(max(1 - round(ratio, 6), 1e-6))


def covered(ratio):
    """Rounds down, so that 100 % means every base."""
    return fixed(math.floor(1e4 * ratio + 1e-9) / 100, 2) + " %"


def cards(f):
    t = f["totals"]
    length = lambda name: bases(t[name]) if t["aligned_bases"] else NONE
    ratio = lambda name, gaps: [name.capitalize(), per_cent(t[f"median_{name}"]), f"median of reads; {per_cent(t[name])} over all bases; gaps {gaps}", ""]
    reads = lambda name, note, colour: [name.capitalize(), share(t[name], t["reads"]), counted(t[name]) + note, f"var(--{colour})"]
    depth = t["mean_depth"]
    return [
        ["Reads", whole(t["reads"]), "rows of the summary", ""], reads("aligned", "", "main"), reads("unmapped", ": no hit", "third"),
        reads("rejected", ": alignment too short", "other"),
        ["Aligned bases", length("aligned_bases"), f"{whole(t['aligned_bases'])} aligned to a base", ""],
        ["N50", length("n50"), "half of the aligned bases are in parts of at least this length", ""],
        ["Median length", length("median_length"), "of the aligned parts", ""], ["Longest", length("longest"), "aligned part", ""],
        ratio("accuracy", "counted"), ratio("identity", "left out"),
    ] + ([] if depth is None else [
        ["Mean depth", f"{fixed(round(depth, 4), 2 if depth < 10 else 1)} \u00d7", "aligned bases per reference base", ""],
        ["Covered", covered(t["breadth"][0]), f"of the reference; {covered(t['breadth'][1])} at least 10 times, {covered(t['breadth'][2])} at least 30 times", ""]])


def verdict(f):
    t = f["totals"]
    if not t["aligned"]:
        return f"0 of {counted(t['reads'])} {'is' if t['reads'] == 1 else 'are'} aligned."
    return (f"{whole(t['aligned'])} of {counted(t['reads'])} ({share(t['aligned'], t['reads'])}) {'is' if t['reads'] == 1 else 'are'} aligned. Half of the "
            f"aligned reads have an accuracy of at least {per_cent(t['median_accuracy'], 1)}, and half of all aligned bases are in parts of "
            f"{bases(t['n50'])} or longer.")


def samples_table(samples):
    """Returns the headings, and for each sample its cells as (value to sort by, text)."""
    head = ["Sample", "Reads", "Aligned", "Unmapped", "Rejected"]
    columns = [[(name, shown_name(name)) for name in samples],
               [(f["totals"]["reads"], whole(f["totals"]["reads"])) for f in samples.values()]]
    for name in ("aligned", "unmapped", "rejected"):
        columns.append([(t[name] / t["reads"] if t["reads"] else None, share(t[name], t["reads"])) for t in (f["totals"] for f in samples.values())])
    for name, title in (("aligned_bases", "Aligned bases"), ("n50", "N50"), ("median_length", "Median length")):
        values = [f["totals"][name] or None for f in samples.values()]
        size, unit = unit_of(max(value or 0 for value in values))
        head.append(f"{title}, {unit}")
        columns.append([(value, NONE if value is None else whole(math.floor(value + 0.5)) if size == 1 else
                         fixed(value / size, 2) if value / size >= 0.1 else f"{Decimal(f'{value / size:.2g}'):f}") for value in values])
    for name, title in (("median_accuracy", "Median accuracy"), ("median_identity", "Median identity")):
        head.append(title)
        columns.append([(f["totals"][name], per_cent(f["totals"][name])) for f in samples.values()])
    depths = [f["totals"]["mean_depth"] for f in samples.values()]
    columns.append([(depth, NONE if depth is None else fixed(round(depth, 4), 2)) for depth in depths])
    breadths = [f["totals"]["breadth"] and f["totals"]["breadth"][0] for f in samples.values()]
    columns.append([(part, NONE if part is None else covered(part)) for part in breadths])
    return [*head, "Mean depth", "Covered"], list(zip(*columns))


def references_table(f, most):
    """Returns a table as samples_table() does, with at most `most` rows, those with the most reads first."""
    rows = []
    for name, (length, forward, reverse, aligned, identity, accuracy, depth, breadth) in f["references"].items():
        rows.append([(shown_name(name), shown_name(name)), *((value, NONE if value is None else whole(value))
                     for value in (length, forward + reverse, forward, reverse, aligned)), (identity, per_cent(identity)),
                     (accuracy, per_cent(accuracy)), (depth, NONE if depth is None else fixed(round(depth, 4), 2)),
                     *((part, NONE if part is None else covered(part)) for part in breadth or [None] * 3)])
    rows.sort(key=lambda row: -row[2][0])
    return ["Sequence", "Length, bases", "Reads", "Forward", "Reverse", "Aligned bases", "Identity", "Accuracy", "Mean depth",
            "Covered", "\u2265 10 \u00d7", "\u2265 30 \u00d7"], rows[:most]


def length_text(exponent):
    return bases(math.ceil(10**exponent - 1e-6))


def ratio_text(is_quality):
    return lambda value: f"Q{fixed(value, 1)}" if is_quality else f"{fixed(value, 1)} %"


def length_tick(exponent):
    return bases(10**exponent)


def ratio_tick(is_quality):
    return lambda value: "Q" * is_quality + f"{round(value, 1):g}"


def bars_of(points, step):
    """Computes the borders of bars from their centres. Returns them in units of `step`, the width of a fine bin."""
    width = round((points[1]["x"] - points[0]["x"]) / step) if len(points) > 1 else None
    starts = [round(point["x"] / step - (width or 1) / 2) for point in points]
    return [(start, start + (width or round(2 * (points[0]["x"] / step - start)))) for start in starts]


def histogram(counts, bars):
    """Returns the summed counts of the fine bins in each bar; the first bar also counts everything below it. If there
    are counts beyond the last bar, returns a text that says so."""
    first, last = bars[0][0], bars[-1][1]
    made = [sum(counts.get(fine, 0) for fine in range(*bar)) for bar in bars]
    made[0] += sum(count for fine, count in counts.items() if fine < first)
    beyond = [fine for fine in counts if fine >= last]
    return made if not beyond else f"bars end at {last}, before {beyond}"


def heat_map(counts, fine, cell, low, last):
    """Merges the counts of fine cells, {(column, row): count}, into larger cells. `fine` and `cell`: the (width,
    height) of a fine and of a larger cell. If `last` is (column, row), higher columns are merged into that column
    and higher rows into that row. If `last` is None, rows below `low` are merged into row `low`."""
    made = Counter()
    for place, count in counts.items():
        column, row = (math.floor(at * small / large + 1e-6) for at, small, large in zip(place, fine, cell))
        made[(column, max(row, low)) if last is None else (min(column, last[0]), min(row, last[1]))] += count
    return made


def ramp_colour(stops, count, most):
    """Returns the colour of a count on a logarithmic ramp of "#rrggbb" stops."""
    place = 2 * (1 if most == 1 else 0.08 + 0.92 * math.log(count) / math.log(most))
    lower = min(int(place), 1)
    one, other = ([int(stops[i][k:k + 2], 16) for k in (1, 3, 5)] for i in (lower, lower + 1))
    return [a + (b - a) * (place - lower) for a, b in zip(one, other)]
