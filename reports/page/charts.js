// One function per kind of chart; report.js and comparison.js decide what the charts show.

const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

// The colour of a share from 0 to 1 on the colour ramp of the heat maps. The lightness of the ramp changes in one direction
// only, so readers who cannot tell the colours apart still see their order.
function rampColour(share) {
  const stops = ["ramp-0", "ramp-1", "ramp-2"].map((name) => colour(name).match(/[0-9a-f]{2}/gi).map((hex) => parseInt(hex, 16)));
  const place = Math.min(Math.max(share, 0), 1) * (stops.length - 1);
  const lower = Math.min(Math.floor(place), stops.length - 2);
  const mixed = stops[lower].map((value, i) => Math.round(value + (stops[lower + 1][i] - value) * (place - lower)));
  return `rgb(${mixed.join(", ")})`;
}

// Draws a vertical line with a label for each {x, label} in `list`, an option of this plugin.
const markerLines = {
  id: "markers",
  afterDatasetsDraw(chart, _, options) {
    const {ctx, chartArea: area, scales} = chart;
    (options.list || []).forEach(({x, label}, i) => {
      const pixel = scales.x.getPixelForValue(x);
      if (pixel < area.left || pixel > area.right) return;
      const isRight = pixel > (area.left + area.right) / 2;
      ctx.save();
      // A wider line in the card's colour is drawn first, so that the marker is visible on top of bars.
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

// An axis for decimal logarithms whose labels are the numbers themselves.
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
    ticks: {callback: (value) => bases(10 ** value)},
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
        tooltip: {callbacks: {title: ([item]) => label(bars[item.dataIndex]), label: (item) => counted(item.parsed.y, "read")}},
      },
    },
    plugins: [markerLines],
  });
}

// series: [{name, bars, slot, isOpen}]. The bars [{from, to, share}] of all series differ only in the share.
function lines(id, series, x, {yTitle, label}) {
  draw(id, {
    type: "line",
    data: {datasets: series.map(({name, bars, slot, isOpen}) => ({
      label: short(name), data: bars.map(({from, to, share: y}) => ({x: (from + to) / 2, y})), parsing: false,
      borderColor: colour(`series-${slot}`), backgroundColor: colour(`series-${slot}`),
      borderDash: slot % 2 === 1 ? [6, 3] : [], borderWidth: isOpen ? 3.5 : 1.75, pointRadius: 0,
    }))},
    options: {
      interaction: {mode: "index", intersect: false},
      scales: {x, y: {beginAtZero: true, title: title(yTitle)}},
      plugins: {
        legend: {align: "start", labels: {boxWidth: 26, boxHeight: 0}},
        tooltip: {callbacks: {title: ([item]) => label(series[0].bars[item.dataIndex]), label: (item) => `${item.dataset.label}: ${fixed(item.parsed.y, 2)} %`}},
      },
    },
  });
}

// cells: [{x: [from, to], y: [from, to], count}]. They are drawn as floating bars, which are exact at any size.
function heatMap(id, cells, x, y, columnWidth, label) {
  const most = Math.max(...cells.map(({count}) => count), 1);
  const colours = cells.map(({count}) => rampColour(most === 1 ? 1 : 0.08 + 0.92 * Math.log(count) / Math.log(most)));
  // Chart.js derives the width of bars from the smallest distance between their centres. So empty columns are included too, and
  // all centres in a column must be exactly equal.
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
        tooltip: {callbacks: {title: ([item]) => label(cells[item.dataIndex]), label: (item) => counted(cells[item.dataIndex].count, "read")}},
      },
    },
  });
  const ramp = document.querySelector(`#${id} .ramp`);
  ramp.replaceChildren("1", element("span", null), counted(most, "read"));
}

// rows: [{name, forward, reverse}]
function stackedBars(id, rows, xTitle) {
  document.querySelector(`#${id} .chart`).style.height = `${70 + 24 * Math.max(rows.length, 3)}px`;
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
      scales: {x: {type: "linear", min: 0, max: length, title: title(xTitle), grid: {display: false}, ticks: {callback: (value) => (value === 0 ? "0" : bases(value))}},
               y: {beginAtZero: true, title: title(yTitle)}},
      plugins: {
        legend: {display: false},
        tooltip: {callbacks: {title: ([item]) => `positions ${whole(points[item.dataIndex].from)} to ${whole(points[item.dataIndex].to)}`,
                              label: (item) => `depth ${fixed(item.parsed.y, 2)}`}},
      },
    },
  });
}
