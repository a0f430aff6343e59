"use strict";
// Charts of one kind each; what they show is decided in report.js. All text from the data goes through
// textContent or a canvas, never through markup.

const numbers = new Intl.NumberFormat("en-US");
const whole = (number) => numbers.format(number);
const fixed = (number, digits) => number.toLocaleString("en-US", {minimumFractionDigits: digits, maximumFractionDigits: digits});

// A number of bases with a unit, in three or four digits.
function bases(number) {
  for (const [unit, size] of [["Gb", 1e9], ["Mb", 1e6], ["kb", 1e3]]) {
    if (number >= size * (unit === "kb" ? 10 : 1)) return `${Number((number / size).toPrecision(3))} ${unit}`;
  }
  return `${whole(number)} b`;
}

const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

// The colour of a share from 0 to 1 on the ramp of the heat maps, whose lightness alone tells the order.
function rampColour(share) {
  const stops = ["ramp-0", "ramp-1", "ramp-2"].map((name) => colour(name).match(/[0-9a-f]{2}/gi).map((hex) => parseInt(hex, 16)));
  const place = Math.min(Math.max(share, 0), 1) * (stops.length - 1);
  const lower = Math.min(Math.floor(place), stops.length - 2);
  const mixed = stops[lower].map((value, i) => Math.round(value + (stops[lower + 1][i] - value) * (place - lower)));
  return `rgb(${mixed.join(", ")})`;
}

// Upright lines with a label, at `markers: [{x, label}]` of the plugin's options.
const markerLines = {
  id: "markers",
  afterDatasetsDraw(chart, _, options) {
    const {ctx, chartArea: area, scales} = chart;
    (options.list || []).forEach(({x, label}, i) => {
      const pixel = scales.x.getPixelForValue(x);
      if (pixel < area.left || pixel > area.right) return;
      const isRight = pixel > (area.left + area.right) / 2;
      ctx.save();
      // On a line of the paper's colour, so that it stands out from the bars too.
      for (const [name, width, dashes] of [["card", 5, []], ["mark", 2, [6, 4]]]) {
        ctx.strokeStyle = ctx.fillStyle = colour(name);
        ctx.lineWidth = width;
        ctx.setLineDash(dashes);
        ctx.beginPath();
        ctx.moveTo(pixel, area.top);
        ctx.lineTo(pixel, area.bottom);
        ctx.stroke();
      }
      ctx.font = `600 12px ${Chart.defaults.font.family}`;
      ctx.textAlign = isRight ? "right" : "left";
      ctx.fillText(label, pixel + (isRight ? -6 : 6), area.top - 6 - 14 * i);
      ctx.restore();
    });
  },
};

const drawn = new Map();  // Chart by the id of its figure.

function draw(id, config) {
  drawn.get(id)?.destroy();
  const options = config.options;
  options.maintainAspectRatio = false;
  options.animation = false;
  Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
  Chart.defaults.color = colour("quiet");
  Chart.defaults.borderColor = colour("grid");
  drawn.set(id, new Chart(document.querySelector(`#${id} canvas`), config));
}

const title = (text) => ({display: true, text, color: colour("ink")});

// An axis of logarithms to base 10 whose labels are the numbers.
function logAxis(text, low, high) {
  return {
    type: "linear", offset: false, min: low, max: high, title: title(text), grid: {display: false},
    afterBuildTicks(axis) {
      const steps = high - low > 2.5 ? [1] : high - low > 1 ? [1, 3] : [1, 2, 5];
      axis.ticks = [];
      for (let power = Math.floor(low); power <= high; ++power) {
        for (const step of steps) {
          const value = power + Math.log10(step);
          if (value >= low && value <= high) axis.ticks.push({value});
        }
      }
    },
    ticks: {callback: (value) => bases(Number((10 ** value).toPrecision(3)))},
  };
}

// bars: [{from, to, count}] without gaps; x: the axis.
function histogram(id, bars, x, {yTitle, markers, label}) {
  draw(id, {
    type: "bar",
    data: {datasets: [{
      data: bars.map(({from, to, count}) => ({x: (from + to) / 2, y: count})),
      backgroundColor: colour("main"), grouped: false, barPercentage: 0.96, categoryPercentage: 1,
    }]},
    options: {
      layout: {padding: {top: 10 + 14 * markers.length}},
      interaction: {mode: "nearest", axis: "x", intersect: false},
      scales: {x, y: {beginAtZero: true, title: title(yTitle), ticks: {precision: 0}}},
      plugins: {
        legend: {display: false}, markers: {list: markers},
        tooltip: {callbacks: {title: ([item]) => label(bars[item.dataIndex]), label: (item) => `${whole(item.parsed.y)} reads`}},
      },
    },
    plugins: [markerLines],
  });
}

// Cells of a heat map: [{x: [from, to], y: [from, to], count}]. They are bars that float: exact at any size.
function heatMap(id, cells, x, y, columnWidth, label) {
  const most = Math.max(...cells.map(({count}) => count), 1);
  const colours = cells.map(({count}) => rampColour(most === 1 ? 1 : 0.08 + 0.92 * Math.log(count) / Math.log(most)));
  // The width of a bar is the smallest distance between two: each column takes part, also an empty one, and the
  // centres in one column must be equal to the last bit.
  const centre = (value) => (Math.floor(value / columnWidth + 1e-6) + 0.5) * columnWidth;
  const data = cells.map((cell) => ({x: centre(cell.x[0]), y: cell.y}));
  for (let column = centre(x.min); column < x.max; column = centre(column + columnWidth)) data.push({x: column, y: null});
  x.offset = x.grid.offset = false;
  draw(id, {
    type: "bar",
    data: {datasets: [{data, backgroundColor: colours, grouped: false, barPercentage: 1, categoryPercentage: 1, borderSkipped: false}]},
    options: {
      interaction: {mode: "nearest", intersect: true},
      scales: {x, y},
      plugins: {
        legend: {display: false},
        tooltip: {callbacks: {title: ([item]) => label(cells[item.dataIndex]), label: (item) => `${whole(cells[item.dataIndex].count)} reads`}},
      },
    },
  });
  const ramp = document.querySelector(`#${id} .ramp`);
  ramp.replaceChildren("1", document.createElement("span"), `${whole(most)} reads`);
}

// rows: [{name, forward, reverse}]
function stackedBars(id, rows, xTitle) {
  document.querySelector(`#${id} .chart`).style.height = `${70 + 24 * Math.max(rows.length, 3)}px`;
  const short = (name) => (name.length > 30 ? `${name.slice(0, 18)}\u2026${name.slice(-10)}` : name);
  const dataset = (label, key, fill) =>
    ({label, data: rows.map((row) => row[key]), backgroundColor: colour(fill), maxBarThickness: 20});
  draw(id, {
    type: "bar",
    data: {labels: rows.map(({name}) => short(name)), datasets: [dataset("forward strand", "forward", "main"), dataset("reverse strand", "reverse", "other")]},
    options: {
      indexAxis: "y", interaction: {mode: "index", axis: "y", intersect: false},
      scales: {x: {stacked: true, beginAtZero: true, title: title(xTitle), ticks: {precision: 0}},
               y: {stacked: true, grid: {display: false}, ticks: {autoSkip: false}}},
      plugins: {
        legend: {align: "end", labels: {boxWidth: 12, boxHeight: 12}},
        tooltip: {callbacks: {title: ([item]) => rows[item.dataIndex].name, label: (item) => `${whole(item.parsed.x)} on the ${item.dataset.label}`}},
      },
    },
  });
}

// points: [{x, y, from, to}]
function area(id, points, length, xTitle, yTitle) {
  draw(id, {
    type: "line",
    data: {datasets: [{data: points, parsing: false, stepped: points.length < 100 ? "middle" : false, borderColor: colour("main"),
                       backgroundColor: `${colour("main")}44`, borderWidth: 1.5, pointRadius: 0, fill: "origin"}]},
    options: {
      interaction: {mode: "nearest", axis: "x", intersect: false},
      scales: {x: {type: "linear", min: 0, max: length, title: title(xTitle), grid: {display: false}, ticks: {callback: (value) => bases(value)}},
               y: {beginAtZero: true, title: title(yTitle)}},
      plugins: {
        legend: {display: false},
        tooltip: {callbacks: {title: ([item]) => `positions ${whole(points[item.dataIndex].from)} to ${whole(points[item.dataIndex].to)}`,
                              label: (item) => `depth ${fixed(item.parsed.y, 2)}`}},
      },
    },
  });
}

// Theme and print: canvases keep the colours and the size they were drawn with.
function followPaper(redraw) {
  const root = document.documentElement;
  const button = document.getElementById("theme");
  const show = (theme) => {
    root.dataset.theme = theme;
    button.setAttribute("aria-pressed", String(theme === "dark"));
    button.textContent = theme === "dark" ? "Light" : "Dark";
    redraw();
  };
  const system = matchMedia("(prefers-color-scheme: dark)");
  show(system.matches ? "dark" : "light");
  system.addEventListener("change", () => show(system.matches ? "dark" : "light"));
  button.addEventListener("click", () => show(root.dataset.theme === "dark" ? "light" : "dark"));
  let theme = "";
  addEventListener("beforeprint", () => {
    theme = root.dataset.theme;
    show("light");
    // The width of A4 and Letter inside margins and frame.
    for (const chart of drawn.values()) chart.resize(660, chart.canvas.parentNode.clientHeight);
  });
  addEventListener("afterprint", () => {
    show(theme);
    for (const chart of drawn.values()) chart.resize();
  });
}
