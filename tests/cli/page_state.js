// Collects what the page shows now, for page_judge.py. This code is the body of a function that runs in the scope of
// the page's script. The optional argument is the id of the only figure to collect.
const texts = (nodes) => [...nodes].map((node) => node.textContent);
const tableOf = (made) => ({head: texts(made.tHead.rows[0].cells), rows: [...made.tBodies[0].rows].map((row) => texts(row.cells))});

// Returns the positions of the parts of data set `i`, converted from pixels to the values of the axes: [from, to, low,
// high] for a vertical bar, [from, to, y] for a horizontal bar, [x, y] for a point of a line.
function placesOf(chart, i) {
  const {x, y} = chart.scales;
  const isHorizontal = chart.options.indexAxis === "y";
  return chart.getDatasetMeta(i).data.map((part) => {
    const at = part.getProps(["x", "y", "base", "width", "height"], true);
    if (chart.config.type === "line") return [x.getValueForPixel(at.x), y.getValueForPixel(at.y)];
    if (isHorizontal) return [x.getValueForPixel(at.base), x.getValueForPixel(at.x), y.getValueForPixel(at.y)];
    return [x.getValueForPixel(at.x - at.width / 2), x.getValueForPixel(at.x + at.width / 2), y.getValueForPixel(at.base), y.getValueForPixel(at.y)];
  });
}

function chartOf(chart) {
  const {title: titleOf, label: labelOf} = chart.config.options.plugins.tooltip.callbacks;
  const scales = chart.options.scales;
  return {
    labels: chart.data.labels, markers: chart.config.options.plugins.markers?.list, titles: [scales.x.title.text, scales.y.title.text],
    ticks: chart.scales.x.ticks.map(({value, label}) => [value, label]),
    ends: [chart.scales.x.min, chart.scales.x.max, chart.scales.y.min, chart.scales.y.max],
    sets: chart.data.datasets.map((set, i) => {
      const {controller} = chart.getDatasetMeta(i);
      const items = set.data.map((point, k) => ({dataIndex: k, dataset: set, parsed: controller.getParsed(k)})).filter((_, k) => set.data[k].y !== null);
      return {label: set.label, data: set.data, fill: set.backgroundColor, line: [set.borderColor, set.borderDash, set.borderWidth],
              places: placesOf(chart, i), tooltips: items.map((item) => [titleOf([item]), labelOf(item)])};
    }),
  };
}

function figureOf(figure) {
  const details = figure.querySelector("details");
  details.open = true;
  details.dispatchEvent(new Event("toggle"));
  const canvas = figure.querySelector("canvas");
  return {heading: figure.querySelector("h3").textContent, caption: figure.querySelector("figcaption").textContent,
          spoken: canvas.getAttribute("aria-label"), table: tableOf(details.querySelector("table")),
          ramp: figure.querySelector(".ramp")?.textContent, chart: chartOf(drawn.get(figure.id))};
}

const isShown = (node) => node.offsetParent !== null;
return {
  title: document.querySelector("#title").textContent, name: byId("sample-name").textContent, verdict: byId("verdict").textContent,
  cards: [...document.querySelectorAll("#totals > div")].map((card) => [...texts(card.querySelectorAll("dt, dd")), card.querySelector("i")?.style.background || ""]),
  share: [...byId("share").children].map((part) => [part.style.background, parseFloat(part.style.width)]),
  samples: isShown(byId("samples")) ? tableOf(byId("samples")) : null,
  open: texts(document.querySelectorAll("#samples [aria-current=true] .link")),
  choices: [...document.querySelectorAll("#compared label")].map((label) => {
    const box = label.querySelector("input");
    return [label.textContent, box.checked, box.disabled, label.querySelector("i").style.borderTop];
  }),
  references: tableOf(byId("references")), note: byId("references-note").textContent,
  sequences: texts(byId("sequence").options), run: texts(document.querySelectorAll("#run > *")),
  figures: Object.fromEntries([...document.querySelectorAll("figure")].filter((figure) => isShown(figure) && [undefined, figure.id].includes(arguments[0])).map((figure) => [figure.id, figureOf(figure)])),
};
