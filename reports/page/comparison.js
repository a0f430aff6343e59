// Compares several samples, in a table and in charts that draw up to eight samples together.

const slots = Array(8).fill(null);  // Indices of the samples that are drawn together. Each slot has its own colour.
const isDrawable = (index) => page.samples[index].totals.median_identity !== null;

// All figures of a column have the unit of the largest one.
function basesColumn(name, get) {
  const figure = ({totals}) => (totals.aligned_bases > 0 ? get(totals) : null);
  const [unit, size] = unitOf(Math.max(...page.samples.map(figure)));
  return [`${name}, ${unit}`, figure, (value) => inUnit(value, size)];
}

function sampleColumns() {
  const part = (get) => ({totals}) => (totals.reads > 0 ? get(totals) / totals.reads : null);
  const inTenths = (value) => perCent(value, 1);
  return [
    ["Sample", ({name}) => name, (value) => value],
    ["Reads", ({totals}) => totals.reads, whole],
    ["Aligned", part((t) => t.aligned), inTenths],
    ["Unmapped", part((t) => t.unmapped), inTenths],
    ["Rejected", part((t) => t.rejected), inTenths],
    basesColumn("Aligned bases", (t) => t.aligned_bases),
    basesColumn("N50", (t) => t.n50),
    basesColumn("Median length", (t) => t.median_length),
    ["Median accuracy", ({totals}) => totals.median_accuracy, perCent],
    ["Median identity", ({totals}) => totals.median_identity, perCent],
    ["Mean depth", ({totals}) => totals.mean_depth, (value) => fixed(value, 2)],
    ["Covered", ({totals}) => totals.breadth && totals.breadth[0], covered],
  ];
}

function showSamplesTable() {
  fillSortable(byId("samples"), sampleColumns(), page.samples, null, (line, one) => {
    line.dataset.sample = page.samples.indexOf(one);
    line.setAttribute("aria-current", String(one === sample));
    line.cells[0].replaceChildren(element("button", one.name, {type: "button", class: "link"}));
  });
  byId("samples").addEventListener("click", (event) => {
    const line = event.target.closest("tr[data-sample]");
    if (line === null) return;
    openSample(Number(line.dataset.sample));
    byId("sample-name").focus();
    byId("sample-part").scrollIntoView();
  });
}

// Gives a sample a slot, unless it has one or cannot be drawn. If all slots are taken, the sample replaces the one in the
// last slot.
function takeSlot(index) {
  if (slots.includes(index) || !isDrawable(index)) return;
  const free = slots.indexOf(null);
  slots[free === -1 ? slots.length - 1 : free] = index;
}

function showSlots() {
  const isFull = !slots.includes(null);
  byId("compared").replaceChildren(element("legend", `Drawn together${page.samples.length > slots.length ? ` (${slots.length} at most)` : ""}`),
    ...page.samples.map((one, index) => {
      const slot = slots.indexOf(index);
      const label = element("label", null);
      const box = element("input", null, {type: "checkbox", value: index});
      box.checked = slot !== -1;
      box.disabled = one === sample || !isDrawable(index) || (isFull && slot === -1);
      const mark = element("i", null);
      mark.style.borderTop = slot === -1 ? "3px solid transparent" : `3px ${slot % 2 === 1 ? "dashed" : "solid"} var(--series-${slot})`;
      label.append(box, mark, element("span", one.name));
      return label;
    }));
}

function compare(id, view, label) {
  const drawn = slots.flatMap((index, slot) => (index === null ? [] : [{index, slot, one: page.samples[index]}]));
  byId(id).hidden = drawn.length === 0;
  if (drawn.length === 0) return;
  const {bars, x, caption: about, text = label} = view(drawn.map(({one}) => one));
  const series = drawn.map(({index, slot, one}, i) => ({
    name: one.name, slot, isOpen: page.samples[index] === sample,
    bars: bars[i].map(({from, to, count}) => ({from, to, share: 100 * count / one.totals.aligned})),
  }));
  const range = ({from, to}) => `${text(from)} to ${text(to)}`;
  lines(id, series, x, {yTitle: "% of the sample\u2019s aligned reads", label: range});
  const thickest = series.some(({isOpen}) => isOpen) ? " The open sample has the thickest line." : "";
  caption(id, about + thickest, ["from", "to", ...series.map(({name}) => name)],
    () => series[0].bars.map((bar, i) => [text(bar.from), text(bar.to), ...series.map((one) => `${fixed(one.bars[i].share, 2)} %`)]));
}

function lengthsView(samples) {
  const data = samples.map((one) => one.lengths);
  const merge = Math.max(...samples.map(({totals}) => totals.aligned)) < 1000 ? 2 : 1;
  const low = Math.max(Math.min(...data.map(({first}) => first)) - 2, 0);
  const end = Math.max(...data.map(({first, counts}) => first + counts.length)) + merge;
  const bars = data.map((histogram) => merged(histogram, merge, low, 1 / histogram.per_decade, end));
  return {bars, x: logAxis("aligned length, bases (logarithmic)", bars[0][0].from, bars[0][bars[0].length - 1].to),
          caption: "Reads by the length of their aligned part."};
}

function showComparison() {
  if (page.samples.length < 2) return;
  takeSlot(page.samples.indexOf(sample));
  showSlots();
  for (const line of byId("samples").tBodies[0].rows) line.setAttribute("aria-current", String(page.samples[line.dataset.sample] === sample));
  for (const ratio of ["accuracy", "identity"]) compare(`compare-${ratio}`, (samples) => ratioView(`compare-${ratio}`, ratio, samples));
  compare("compare-lengths", lengthsView, lengthAt);
}
