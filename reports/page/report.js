// Fills in the page. The script formats the figures in the page's data and merges them into coarser bins.

const page = JSON.parse(document.getElementById("figures").textContent);
const byId = (id) => document.getElementById(id);
let sample = page.samples[0];
const scales = {};  // By the id of a figure, its chosen scale: "percent" (the default) or "quality".

const sum = (list) => list.reduce((total, value) => total + value, 0);
// With few reads, narrow bins leave gaps in the histogram.
const mostBins = ({totals}) => Math.min(Math.max(2 * Math.sqrt(totals.aligned), 10), 40);

// The first index at which the sum of the counts so far exceeds the share `ratio` of all counts; -1 if all are 0.
function quantile(counts, ratio) {
  const limit = ratio * sum(counts);
  let passed = 0;
  return counts.findIndex((count) => (passed += count) > limit);
}

function caption(id, text, header, rows) {
  const figure = byId(id);
  figure.querySelector("figcaption").textContent = text;
  figure.querySelector("canvas").setAttribute("aria-label", `${figure.querySelector("h3").textContent}. ${text}`);
  const before = figure.querySelector("details");
  const details = element("details", null);
  details.append(element("summary", "Figures as a table"));
  const fill = () => {
    if (details.querySelector("table") || !details.open) return;
    const scroll = element("div", null, {class: "scroll", tabindex: 0, role: "region", "aria-label": "Figures"});
    scroll.append(table(header, rows()));
    details.append(scroll);
  };
  details.addEventListener("toggle", fill);
  details.open = before?.open ?? false;
  fill();
  before?.remove();
  figure.append(details);
}

// A ratio rounded down, so that only complete coverage gives 100 %.
const covered = (ratio) => perCent(Math.floor(ratio * 1e4 + 1e-6) / 1e4);

function showTotals() {
  const t = sample.totals;
  const length = (value) => (t.aligned_bases > 0 ? bases(value) : none);
  const cards = [
    ["Reads", whole(t.reads), "rows of the summary"],
    ["Aligned", share(t.aligned, t.reads), counted(t.aligned, "read"), "main"],
    ["Unmapped", share(t.unmapped, t.reads), `${counted(t.unmapped, "read")}: no hit`, "third"],
    ["Rejected", share(t.rejected, t.reads), `${counted(t.rejected, "read")}: alignment too short`, "other"],
    ["Aligned bases", length(t.aligned_bases), `${whole(t.aligned_bases)} aligned to a base`],
    ["N50", length(t.n50), "half of the aligned bases are in parts of at least this length"],
    ["Median length", length(t.median_length), "of the aligned parts"],
    ["Longest", length(t.longest), "aligned part"],
    ["Accuracy", perCent(t.median_accuracy), `median of reads; ${perCent(t.accuracy)} over all bases; gaps counted`],
    ["Identity", perCent(t.median_identity), `median of reads; ${perCent(t.identity)} over all bases; gaps left out`],
  ];
  if (t.mean_depth !== null) cards.push(["Mean depth", `${fixed(t.mean_depth, t.mean_depth < 10 ? 2 : 1)} \u00d7`, "aligned bases per reference base"]);
  if (t.breadth !== null) cards.push(["Covered", covered(t.breadth[0]), `of the reference; ${covered(t.breadth[1])} at least 10 times, ${covered(t.breadth[2])} at least 30 times`]);
  byId("totals").replaceChildren(...cards.map(([name, value, note, fill]) => {
    const card = element("div", null);
    const term = element("dt", null);
    if (fill) {
      const mark = element("i", null);
      mark.style.background = `var(--${fill})`;
      term.append(mark);
    }
    term.append(name);
    card.append(term, element("dd", value), element("dd", note, {class: "note"}));
    return card;
  }));
  byId("share").replaceChildren(...[[t.aligned, "main"], [t.unmapped, "third"], [t.rejected, "other"]].map(([part, fill]) => {
    const bar = element("div", null);
    bar.style.width = `${t.reads > 0 ? 100 * part / t.reads : 0}%`;
    bar.style.background = `var(--${fill})`;
    return bar;
  }));
  byId("verdict").textContent = t.median_identity === null
    ? `${whole(t.aligned)} of ${counted(t.reads, "read")} ${t.reads === 1 ? "is" : "are"} aligned.`
    : `${whole(t.aligned)} of ${counted(t.reads, "read")} (${share(t.aligned, t.reads)}) ${t.reads === 1 ? "is" : "are"} aligned. Half of the aligned reads have an ` +
      `accuracy of at least ${perCent(t.median_accuracy, 1)}, and half of all aligned bases are in parts of ${bases(t.n50)} or longer.`;
}

// Bars from a histogram {first, counts} with bins of width `step`. Each bar merges `merge` bins. The first bar contains bin
// `low` and also counts everything below it; the last bar is the last one that begins before bin `end`.
function merged({first, counts}, merge, low, step, end = first + counts.length) {
  const bars = [];
  const start = Math.floor(low / merge);
  for (let bin = start; bin * merge < end; ++bin) bars.push({from: bin * merge * step, to: (bin + 1) * merge * step, count: 0});
  counts.forEach((count, i) => { bars[Math.max(Math.floor((first + i) / merge) - start, 0)].count += count; });
  return bars;
}

const ratios = {
  accuracy: {
    perCent: "accuracy, % of the aligned, inserted and deleted bases", quality: "quality: \u221210 log\u2081\u2080(1 \u2212 accuracy)",
    caption: "Reads by accuracy: correct bases among those aligned, inserted and deleted. BLAST and many other programs call this identity.",
    qualityCaption: "Q10 means an accuracy of 90 %, Q20 one of 99 %.",
  },
  identity: {
    perCent: "identity, % of the aligned bases", quality: "quality of the aligned bases: \u221210 log\u2081\u2080(1 \u2212 identity)",
    caption: "Reads by identity: correct bases among those aligned to a base. Gaps are left out, so this identity is at least as high as what BLAST calls identity.",
    qualityCaption: "This quality counts wrong bases only; the quality computed from the accuracy counts gaps too.",
  },
};

// The histogram bars of a ratio (accuracy or identity) for each sample, all with the same bins, and the axis and
// texts that they share.
function ratioView(id, ratio, samples) {
  const isQuality = scales[id] === "quality";
  const {perCent: perCentTitle, quality: qualityTitle, caption: first, qualityCaption} = ratios[ratio];
  const data = samples.map((one) => one[isQuality ? `${ratio}_quality` : ratio]);
  const step = isQuality ? 0.5 : 0.1;
  const low = Math.min(...data.map(({first: start, counts}) => start + Math.max(quantile(counts, 0.003), 0)));
  const end = Math.max(...data.map(({first: start, counts}) => start + counts.length));
  const most = 1.5 * Math.max(...samples.map(mostBins));
  const merge = (isQuality ? [1, 2, 4] : [1, 2, 5, 10, 20, 50]).find((width) => (end - low) / width <= most) || (isQuality ? 8 : 100);
  const bars = data.map((histogram) => merged(histogram, merge, low, step, end));
  const below = data.some(({first: start}) => start < Math.floor(low / merge) * merge);
  return {
    bars,
    place: (value) => (isQuality ? quality(value) : 100 * value),
    text: (value) => (isQuality ? `Q${fixed(value, 1)}` : `${fixed(value, 1)} %`),
    x: {type: "linear", offset: false, min: bars[0][0].from, max: bars[0][bars[0].length - 1].to, grid: {display: false},
        title: title(isQuality ? qualityTitle : perCentTitle), ticks: {callback: (value) => `${isQuality ? "Q" : ""}${Number(value.toFixed(1))}`}},
    caption: first + (isQuality ? ` ${qualityCaption} Reads of Q50 or more are counted in the last bin.` : "") + (below ? " The first bin also counts all reads below it." : ""),
  };
}

function showRatio(ratio) {
  const {bars: [bars], place, text, x, caption: about} = ratioView(ratio, ratio, [sample]);
  const median = place(sample.totals[`median_${ratio}`]);
  const label = (bar) => `${text(bar.from)} to ${text(bar.to)}`;
  histogram(ratio, bars, x, {yTitle: "reads", markers: [{x: median, label: `median ${text(median)}`}], label});
  caption(ratio, about, ["from", "to", "reads"], () => bars.map(({from, to, count}) => [text(from), text(to), whole(count)]));
}

const lengthAt = (logarithm) => bases(Math.ceil(10 ** logarithm - 1e-6));

function showLengths() {
  const data = sample.lengths;
  const merge = sample.totals.aligned < 1000 ? 2 : 1;
  const bars = merged(data, merge, Math.max(data.first - 2, 0), 1 / data.per_decade);
  const last = bars[bars.length - 1];
  bars.push({from: last.to, to: last.to + merge / data.per_decade, count: 0});
  histogram("lengths", bars, logAxis("aligned length, bases (logarithmic)", bars[0].from, last.to + merge / data.per_decade), {
    yTitle: "reads",
    markers: sample.totals.n50 > 0 ? [{x: Math.log10(sample.totals.n50), label: `N50 ${bases(sample.totals.n50)}`}] : [],
    label: (bar) => `${lengthAt(bar.from)} to ${lengthAt(bar.to)}`,
  });
  caption("lengths", "Reads by the length of their aligned part. Half of all aligned bases are in parts as long as the N50 or longer.",
    ["from", "to", "reads"], () => bars.map(({from, to, count}) => [lengthAt(from), lengthAt(to), whole(count)]));
}

// Cells [column, row, count] as {x, y, count}. place(column, row) returns the ranges {x, y} of a cell; cells with the same
// ranges are merged.
function cellsOf(cells, place) {
  const made = new Map();
  for (const [column, row, count] of cells) {
    const {x, y} = place(column, row);
    const key = `${x[0]} ${y[0]}`;
    if (made.has(key)) made.get(key).count += count;
    else made.set(key, {x, y, count});
  }
  return [...made.values()];
}

function countsAlong(cells, direction) {
  const counts = [];
  for (const cell of cells) counts[cell[direction]] = (counts[cell[direction]] || 0) + cell[2];
  return Array.from(counts, (count) => count || 0);
}

function showIdentityByLength() {
  const {row_height: height, cells: fine} = sample.identity_by_length;
  // A decade has an even number of bins, so pairs of bins can be merged.
  const half = sample.totals.aligned < 1000 ? 2 : 1;
  const perDecade = sample.identity_by_length.per_decade / half;
  const cells = fine.map(([column, row, count]) => [Math.floor(column / half), row, count]);
  const columns = countsAlong(cells, 0);
  const rows = countsAlong(cells, 1);
  const lowest = Math.max(quantile(rows, 0.005), 0);
  const merge = [1, 2, 4, 8].find((width) => (rows.length - lowest) / width <= mostBins(sample)) || 16;
  const from = Math.floor(lowest / merge) * merge;
  const shown = cellsOf(cells, (column, row) => {
    const low = Math.floor(Math.max(row, from) / merge) * merge;
    return {x: [column / perDecade, (column + 1) / perDecade], y: [100 * low * height, 100 * Math.min((low + merge) * height, 1)]};
  });
  const first = columns.findIndex((count) => count > 0);
  const x = logAxis("aligned length, bases (logarithmic)", Math.max(first - 1, 0) / perDecade, (Math.max(columns.length, first + 4) + 1) / perDecade);
  const y = {min: 100 * from * height, max: 100, title: title("identity, % of the aligned bases")};
  const label = (cell) => `${lengthAt(cell.x[0])} to ${lengthAt(cell.x[1])}, ${fixed(cell.y[0], 1)} to ${fixed(cell.y[1], 1)} %`;
  heatMap("identity-by-length", shown, x, y, 1 / perDecade, label);
  caption("identity-by-length", "Reads by length and identity; a stronger colour means more reads, on a logarithmic scale." +
    (lowest > 0 ? " The lowest row also counts the reads below it." : ""),
    ["cell", "reads"], () => shown.map((cell) => [label(cell), whole(cell.count)]));
}

function showIndels() {
  const {width, cells} = sample.indels;
  const end = (direction) => Math.max(quantile(countsAlong(cells, direction), 0.99) + 1, 1);
  const [columns, rows] = [end(0), end(1)];
  const merge = [1, 2, 5, 10, 20, 50].find((step) => Math.max(columns, rows) / step <= mostBins(sample)) || 100;
  const last = [Math.max(Math.ceil(columns / merge), 6) - 1, Math.max(Math.ceil(rows / merge), 6) - 1];
  const bin = (index, direction) => {
    const place = Math.min(Math.floor(index / merge), last[direction]);
    return [place * merge * width, (place + 1) * merge * width];
  };
  const shown = cellsOf(cells, (column, row) => ({x: bin(column, 0), y: bin(row, 1)}));
  const axis = (text, direction) => ({type: "linear", min: 0, max: (last[direction] + 1) * merge * width, title: title(text), grid: {},
                                      ticks: {callback: (value) => Number(value.toFixed(2))}});
  const text = (range, direction) => range[1] > last[direction] * merge * width + 1e-9 && range[0] > 0 && range[0] >= last[direction] * merge * width - 1e-9
    ? `${fixed(range[0], 1)} or more` : `${fixed(range[0], 1)} to ${fixed(range[1], 1)}`;
  const label = (cell) => `${text(cell.x, 0)} insertions, ${text(cell.y, 1)} deletions`;
  heatMap("indels", shown, axis("inserted bases per 100 aligned bases", 0), axis("deleted bases per 100 aligned bases", 1), merge * width, label);
  caption("indels", "Reads by inserted and deleted bases. The last column and the last row also count the reads beyond them.",
    ["cell", "reads"], () => shown.map((cell) => [label(cell), whole(cell.count)]));
}

function showReadsPerReference() {
  const top = 20;
  const {rows, count, other_forward: forward, other_reverse: reverse} = sample.references;
  const bars = rows.slice(0, top).filter((row) => row[2] + row[3] > 0).map(([name, , plus, minus]) => ({name, forward: plus, reverse: minus}));
  const rest = rows.slice(bars.length);
  const others = forward + reverse + sum(rest.map((row) => row[2] + row[3]));
  // No bar shows the sum of the other sequences, because such a bar could dwarf all others.
  const note = others === 0 ? "" : ` The other ${counted(count - bars.length, "sequence")} ${count - bars.length === 1 ? "has" : "have"} ` +
    `${counted(others, "read")} (${share(others, sample.totals.aligned)}).`;
  stackedBars("reads-per-reference", bars, "aligned reads");
  caption("reads-per-reference", (bars.length < top ? "" : `The ${top} reference sequences with the most reads. `) +
    `A read counts for the strand its alignment is on.${note}`,
    ["sequence", "forward", "reverse"], () => bars.map((bar) => [bar.name, whole(bar.forward), whole(bar.reverse)]));
}

function showDepth() {
  const depth = sample.depths[byId("sequence").value];
  byId("depth").hidden = depth === undefined;
  if (depth === undefined) return;
  const points = depth.depths.map((y, i) => {
    const from = i * depth.bin_width;
    const to = Math.min(from + depth.bin_width, depth.length);
    return {x: (from + to) / 2, y, from: from + 1, to};
  });
  area("depth", points, depth.length, "position, bases", "mean depth");
  caption("depth", `Mean depth of ${depth.name} (${bases(depth.length)}) in bins of ${counted(depth.bin_width, "base")}. An alignment covers all positions ` +
    "from its start to its end, deletions included.", ["from", "to", "depth"],
    () => points.map(({from, to, y}) => [whole(from), whole(to), fixed(y, 2)]));
}

const referenceColumns = [
  ["Sequence", (row) => row[0], (value) => value],
  ["Length, bases", (row) => row[1], whole],
  ["Reads", (row) => row[2] + row[3], whole],
  ["Forward", (row) => row[2], whole],
  ["Reverse", (row) => row[3], whole],
  ["Aligned bases", (row) => row[4], whole],
  ["Identity", (row) => row[5], perCent],
  ["Accuracy", (row) => row[6], perCent],
  ["Mean depth", (row) => row[7], (value) => fixed(value, 2)],
  ...["Covered", "\u2265 10 \u00d7", "\u2265 30 \u00d7"].map((name, i) => [name, (row) => (row[8] === null ? null : row[8][i]), covered]),
];

function showReferences() {
  const {rows, count, longest_exact: exact, breadth_step: step} = sample.references;
  byId("references-note").textContent =
    (count > rows.length ? `The ${whole(rows.length)} reference sequences with the most reads, out of ${whole(count)}. ` : "") +
    "Identity and accuracy are computed over all bases of a sequence's reads taken together. Covered: the share of the sequence that at least 1, 10 or 30 alignments cover. An alignment covers all positions from its start to its end, deletions included." +
    (step > 1 ? ` In sequences of more than ${bases(exact)}, only some positions are sampled: in the longest sequence, one in ${whole(step)}.` : "");
  fillSortable(byId("references"), referenceColumns, rows, 2);
}

// Shows the findings of all samples, not only of the open one.
function showFindings() {
  const faulty = page.samples.filter(({findings}) => findings.length > 0);
  byId("findings").hidden = faulty.length === 0;
  byId("findings").replaceChildren(...faulty.map(({name, findings}) => {
    const isError = findings.some(({level}) => level === "error");
    const box = element("article", null, {class: isError ? "error" : "warning"});
    const list = element("ul", null);
    for (const {text, messages, more} of findings) {
      const item = element("li", null);
      item.append(element("strong", text), ...messages.map((message) => element("p", message)));
      if (more > 0) item.append(element("p", `and ${whole(more)} more`));
      list.append(item);
    }
    box.append(element("h2", isError ? `${name}: the report may lack parts of the run` : `${name}: warnings`), list);
    return box;
  }));
}

function showRun() {
  byId("run").replaceChildren(...sample.run.flatMap(([name, value]) => [element("dt", name), element("dd", value)]));
}

function showCharts() {
  const hasReads = sample.totals.median_identity !== null;
  for (const id of ["accuracy", "identity", "lengths", "identity-by-length", "indels", "reads-per-reference"]) byId(id).hidden = !hasReads;
  if (hasReads) {
    showRatio("accuracy");
    showRatio("identity");
    showLengths();
    showIdentityByLength();
    showIndels();
    showReadsPerReference();
  }
  showDepth();
}

function showSample() {
  const date = sample.run.find(([name]) => name === "started");
  byId("sample-name").textContent = sample.name;
  byId("about").textContent = date ? `Aligned ${date[1]}` : "";
  byId("sequence").replaceChildren(...sample.depths.map(({name, length}, i) => element("option", `${name} (${bases(length)})`, {value: i})));
  showTotals();
  showReferences();
  showRun();
  showCharts();
}
