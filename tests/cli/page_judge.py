"""Compares what a page of tavik_report shows, as page_state.js collects it, with the test's own figures."""

import math

import report_shown as shown
from report_run import ReportTest

STEPS = {False: 0.1, True: 0.5}  # The width of a fine bin, by is_quality: in per cent or in units of quality.


class PageJudge(ReportTest):
    colours = {}  # The colours of the style sheet for the theme of the page, by name.

    def near(self, one, other, tolerance, what):
        self.assertEqual(len(one), len(other), what)
        far = [(a, b) for a, b in zip(one, other) if not abs(a - b) <= tolerance]
        self.assertEqual(far, [], what)

    def check_table(self, table, head, rows):
        self.assertEqual((table["head"], len(table["rows"])), (head, len(rows)))
        for cells, row in zip(table["rows"], rows):
            self.assertEqual(cells, [text for _, text in row])

    def check_ticks(self, chart, text):
        ticks = chart["ticks"]
        self.assertEqual((len(ticks) > 1, ticks), (True, [[value, text(value)] for value, _ in ticks]))

    def check_sample(self, state, name, f, most=1000):
        """Checks the verdict, figures and tables of the open sample. `most`: the largest number of rows in the
        table of references."""
        t = f["totals"]
        self.assertEqual((state["name"], state["verdict"]), (shown.shown_name(name), shown.verdict(f)))
        self.assertEqual(state["cards"], shown.cards(f))
        self.assertEqual([colour for colour, _ in state["share"]], ["var(--main)", "var(--third)", "var(--other)"])
        self.near([part for _, part in state["share"]], [100 * t[part] / max(t["reads"], 1) for part in ("aligned", "unmapped", "rejected")], 0.01, "share")
        head, rows = shown.references_table(f, most)
        self.check_table(state["references"], head, rows)
        lengths = {name: row[0] for name, row in f["references"].items() if row[0]}
        longest = sorted(lengths, key=lambda name: -lengths[name])[:24]
        self.assertEqual(state["sequences"], [f"{shown.shown_name(one)} ({shown.bases(lengths[one])})" for one in longest])
        figures = {name: one for name, one in state["figures"].items() if not name.startswith("compare-")}
        charts = ["accuracy", "identity", "lengths", "identity-by-length", "indels", "reads-per-reference"] if t["aligned"] else []
        self.assertEqual(sorted(figures), sorted(charts + ["depth"] * bool(longest)))
        for figure in figures.values():
            self.assertEqual(figure["spoken"], f"{figure['heading']}. {figure['caption']}")
        if longest:
            self.check_depth(figures["depth"], longest[0], f)
        if t["aligned"]:
            for ratio in ("accuracy", "identity"):
                self.check_ratio(figures[ratio], ratio, f, is_quality=False)
            self.check_lengths(figures["lengths"], f)
            self.check_heat_maps(figures, f)
            self.check_reads(figures["reads-per-reference"], f, rows)

    def check_ratio(self, figure, ratio, f, is_quality):
        text = shown.ratio_text(is_quality)
        median = f["totals"][f"median_{ratio}"]
        place = shown.quality(median) if is_quality else 100 * median
        self.check_histogram(figure, f[f"{ratio}_quality" if is_quality else ratio], STEPS[is_quality], text)
        (marker,) = figure["chart"]["markers"]
        self.near([marker["x"]], [place], 0.01 if is_quality else 0.001, ratio)
        self.assertEqual(marker["label"], f"median {text(marker['x'])}")
        self.assertEqual(figure["chart"]["titles"], [shown.RATIO_AXES[ratio, is_quality], "reads"])
        self.assertEqual(figure["heading"], {"accuracy": "Accuracy (gaps counted)", "identity": "Identity (gaps left out)"}[ratio])
        self.check_ticks(figure["chart"], shown.ratio_tick(is_quality))
        self.check_ratio_caption(figure, ratio, is_quality)

    def check_ratio_caption(self, figure, ratio, is_quality):
        about = shown.ABOUT[ratio] + (f"{shown.QUALITIES[ratio]} Reads of Q50 or more are counted in the last bin." if is_quality else "")
        self.assertEqual(figure["caption"].replace(" The first bin also counts all reads below it.", ""), about)

    def check_lengths(self, figure, f):
        self.check_histogram(figure, f["lengths"], 1 / 20, shown.length_text)
        self.check_ticks(figure["chart"], shown.length_tick)
        (marker,) = figure["chart"]["markers"]
        self.near([marker["x"]], [math.log10(f["totals"]["n50"])], 1e-6, "N50")
        self.assertEqual(marker["label"], f"N50 {shown.bases(f['totals']['n50'])}")
        self.assertEqual(figure["chart"]["titles"], [shown.LENGTH_AXIS, "reads"])
        self.assertEqual(figure["caption"], "Reads by the length of their aligned part. Half of all aligned bases are in parts as long as the N50 or longer.")

    def check_histogram(self, figure, counts, step, text):
        chart = figure["chart"]
        (bars,) = chart["sets"]
        fine = shown.bars_of(bars["data"], step)
        reads = shown.histogram(counts, fine)
        self.assertEqual([bar["y"] for bar in bars["data"]], reads)
        self.near([bar["x"] for bar in bars["data"]], [(start + end) / 2 * step for start, end in fine], 1e-6, "centres")
        ranges = [[text(start * step), text(end * step)] for start, end in fine]
        self.assertEqual(bars["tooltips"], [[" to ".join(one), shown.counted(count)] for one, count in zip(ranges, reads)])
        self.assertEqual(figure["table"], {"head": ["from", "to", "reads"], "rows": [[*one, shown.whole(count)] for one, count in zip(ranges, reads)]})
        self.assertEqual(bars["fill"], self.colours["main"])
        pixel = (chart["ends"][1] - chart["ends"][0]) / 250
        for bar, (start, end), count in zip(bars["places"], fine, reads):
            self.near(bar[:2], [start * step, end * step], pixel + 0.03 * (end - start) * step, "left and right")
            self.near(bar[2:], [0, count], chart["ends"][3] / 150, "height")

    def check_heat_maps(self, figures, f):
        by_length, indels = figures["identity-by-length"], figures["indels"]
        low_text = lambda low, high: f"{shown.fixed(low, 1)} to {shown.fixed(high, 1)}"
        self.check_ticks(by_length["chart"], shown.length_tick)
        self.check_cells(by_length, f["identity_by_length"], (0.1, 0.5), False,
                         lambda x, y: f"{shown.length_text(x[0])} to {shown.length_text(x[1])}, {low_text(*y)} %")
        ends = indels["chart"]["ends"]
        part = lambda side, end: f"{shown.fixed(side[0], 1)} or more" if abs(side[1] - end) < 1e-6 else low_text(*side)
        self.check_cells(indels, f["indels"], (0.1, 0.1), True, lambda x, y: f"{part(x, ends[1])} insertions, {part(y, ends[3])} deletions")
        self.assertEqual([figure["chart"]["titles"] for figure in (by_length, indels)], [
            [shown.LENGTH_AXIS, "identity, % of the aligned bases"], ["inserted bases per 100 aligned bases", "deleted bases per 100 aligned bases"]])

    def check_cells(self, figure, counts, fine, is_moved_back, text):
        chart = figure["chart"]
        (bars,) = chart["sets"]
        centres = sorted({bar["x"] for bar in bars["data"]})
        bars_shown = [bar for bar in bars["data"] if bar["y"]]
        size = min(b - a for a, b in zip(centres, centres[1:])), max(bar["y"][1] - bar["y"][0] for bar in bars_shown)
        last = [round(chart["ends"][k] / size[k // 2]) - 1 for k in (1, 3)] if is_moved_back else None
        expected = shown.heat_map(counts, fine, size, round(chart["ends"][2] / size[1]), last)
        cells = [(round(bar["x"] / size[0] - 0.5), round(bar["y"][0] / size[1])) for bar in bars_shown]
        texts = []
        for (column, row), bar, place in zip(cells, bars_shown, bars["places"]):
            x, y = ([at * side, (at + 1) * side] for at, side in zip((column, row), size))
            y[1] = y[1] if is_moved_back else min(y[1], 100)
            self.near(bar["y"], y, 1e-6, "row")
            self.near(place, [*x, *y], max(size[0] / 10, size[1] / 5), "place of a cell")
            texts.append([text(x, y), shown.whole(expected[column, row])])
        self.assertEqual(sorted(cells), sorted(expected))
        self.assertEqual(figure["table"], {"head": ["cell", "reads"], "rows": texts})
        numbers = [expected[cell] for cell in cells]
        self.assertEqual(bars["tooltips"], [[label, shown.counted(count)] for (label, _), count in zip(texts, numbers)])
        self.assertEqual(figure["ramp"], "1" + shown.counted(max(numbers)))
        stops = [self.colours[f"ramp-{i}"] for i in range(3)]
        for fill, count in zip(bars["fill"], numbers):
            self.near([int(part) for part in fill[4:-1].split(",")], shown.ramp_colour(stops, count, max(numbers)), 0.51, f"colour of {count}")

    def check_depth(self, figure, name, f):
        chart = figure["chart"]
        (line,) = chart["sets"]
        length, depths = f["references"][name][0], f["depths"][name]
        width = -(-length // f["depth_most"])
        bins = [(i * width, min((i + 1) * width, length)) for i in range(len(depths))]
        rows = figure["table"]["rows"]
        self.assertEqual((figure["table"]["head"], [row[:2] for row in rows]),
                         (["from", "to", "depth"], [[shown.whole(start + 1), shown.whole(end)] for start, end in bins]))
        self.near([float(row[2].replace(",", "")) for row in rows], depths, 0.0051, "depths of the table")
        self.assertEqual(line["tooltips"], [[f"positions {start} to {end}", f"depth {depth}"] for start, end, depth in rows])
        self.near([point["y"] for point in line["data"]], depths, 0.0051, "depths")
        middles = [(start + end) / 2 for start, end in bins]
        self.near([point["x"] for point in line["data"]], middles, 0, "positions")
        self.near([x for x, _ in line["places"]], middles, length / 400, "drawn positions")
        self.near([y for _, y in line["places"]], depths, chart["ends"][3] / 150 + 0.0051, "drawn depths")
        self.check_ticks(chart, lambda value: shown.bases(value) if value else "0")
        self.assertEqual((chart["ends"][:2], chart["titles"], line["line"][0]), ([0, length], ["position, bases", "mean depth"], self.colours["main"]))
        self.assertEqual(figure["caption"], f"Mean depth of {shown.shown_name(name)} ({shown.bases(length)}) in bins of {shown.counted(width, 'base')}. An "
                                            "alignment covers all positions from its start to its end, deletions included.")

    def check_reads(self, figure, f, rows):
        chart = figure["chart"]
        bars = [row for row in rows[:20] if row[2][0] > 0]
        names = [row[0][1] for row in bars]
        self.assertEqual(chart["labels"], [shown.short(name) for name in names])
        before = [0] * len(bars)
        for one, column, strand, colour in zip(chart["sets"], (3, 4), ("forward strand", "reverse strand"), ("main", "other"), strict=True):
            numbers = [row[column][0] for row in bars]
            self.assertEqual((one["label"], one["data"], one["fill"]), (strand, numbers, self.colours[colour]))
            self.assertEqual(one["tooltips"], [[name, f"{shown.whole(number)} on the {strand}"] for name, number in zip(names, numbers)])
            for k, place in enumerate(one["places"]):
                self.near(place, [before[k], before[k] + numbers[k], k], max(chart["ends"][1] / 400, 0.05), "bar")
            before = [a + b for a, b in zip(before, numbers)]
        self.assertEqual(figure["table"], {"head": ["sequence", "forward", "reverse"], "rows": [[row[0][1], row[3][1], row[4][1]] for row in bars]})
        count = len(f["references"]) - len(bars)
        others = f["totals"]["aligned"] - sum(before)
        note = f" The other {shown.counted(count, 'sequence')} {'has' if count == 1 else 'have'} {shown.counted(others)} " \
               f"({shown.share(others, f['totals']['aligned'])})." if others else ""
        self.assertEqual(figure["caption"], "The 20 reference sequences with the most reads. " * (len(bars) == 20)
                         + f"A read counts for the strand its alignment is on.{note}")
        self.assertLessEqual(chart["ends"][1], 1.5 * max(before) + 5)  # The bars fill the chart.

    def check_comparison(self, state, samples, slots, open_name, is_quality=False):
        """Checks the comparison of samples. `slots`: the names of the samples drawn, by slot; None for a free slot."""
        head, rows = shown.samples_table(samples)
        self.check_table(state["samples"], head, rows)
        self.assertEqual(state["open"], [shown.shown_name(open_name)])
        dashes = {name: ["solid", "dashed"][slot % 2] + f" var(--series-{slot})" for slot, name in enumerate(slots) if name is not None}
        self.assertEqual(state["choices"], [
            [shown.shown_name(name), name in slots, name == open_name or not f["totals"]["aligned"] or (None not in slots and name not in slots),
             f"3px {dashes.get(name, 'solid transparent')}"] for name, f in samples.items()])
        for ratio in ("accuracy", "identity"):
            figure = state["figures"][f"compare-{ratio}"]
            counts = {name: f[f"{ratio}_quality" if is_quality else ratio] for name, f in samples.items()}
            self.check_lines(figure, counts, slots, open_name, STEPS[is_quality], shown.ratio_text(is_quality))
            self.assertEqual(figure["chart"]["titles"][0], shown.RATIO_AXES[ratio, is_quality])
            figure["caption"] = figure["caption"].removesuffix(" The open sample has the thickest line.")
            self.check_ratio_caption(figure, ratio, is_quality)
        lengths = state["figures"]["compare-lengths"]
        self.check_lines(lengths, {name: f["lengths"] for name, f in samples.items()}, slots, open_name, 1 / 20, shown.length_text)
        self.assertEqual(lengths["chart"]["titles"][0], shown.LENGTH_AXIS)

    def check_lines(self, figure, counts, slots, open_name, step, text):
        chart = figure["chart"]
        drawn = [(slot, name) for slot, name in enumerate(slots) if name is not None]
        fine = shown.bars_of(chart["sets"][0]["data"], step)
        ranges = [[text(start * step), text(end * step)] for start, end in fine]
        columns = []
        for one, (slot, name) in zip(chart["sets"], drawn, strict=True):
            label = shown.short(shown.shown_name(name))
            self.assertEqual((one["label"], one["fill"], one["line"]), (
                label, self.colours[f"series-{slot}"], [self.colours[f"series-{slot}"], [6, 3] if slot % 2 else [], 3.5 if name == open_name else 1.75]))
            shares = [100 * count / sum(counts[name].values()) for count in shown.histogram(counts[name], fine)]
            middles = [(start + end) / 2 * step for start, end in fine]
            self.near([point["y"] for point in one["data"]], shares, 1e-9, f"shares of {name}")
            self.near([point["x"] for point in one["data"]], middles, 1e-6, "centres")
            self.near([x for x, _ in one["places"]], middles, (chart["ends"][1] - chart["ends"][0]) / 250, "drawn centres")
            self.near([y for _, y in one["places"]], shares, chart["ends"][3] / 150, "drawn shares")
            columns.append([f"{shown.fixed(part, 2)} %" for part in shares])
            self.assertEqual(one["tooltips"], [[" to ".join(ends), f"{label}: {part}"] for ends, part in zip(ranges, columns[-1])])
        self.assertEqual(figure["table"], {"head": ["from", "to", *(shown.shown_name(name) for _, name in drawn)],
                                           "rows": [[*ends, *parts] for ends, *parts in zip(ranges, *columns)]})
        self.assertEqual(chart["titles"][1], "% of the sample\u2019s aligned reads")
