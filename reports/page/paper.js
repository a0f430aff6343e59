// Theme, printing, saving pictures, and the start of the page.

function show(theme) {
  document.documentElement.dataset.theme = theme;
  byId("theme").setAttribute("aria-pressed", String(theme === "dark"));
  byId("theme").textContent = theme === "dark" ? "Light" : "Dark";
}

// Shows the theme and draws the charts again, because a canvas does not follow the style sheet.
function redraw(theme) {
  show(theme);
  showComparison();
  showCharts();
}

function openSample(index) {
  sample = page.samples[index];
  byId("sample").value = index;
  showComparison();
  showSample();
}

// A copy of the open sample's part of the page. Canvases are copied separately, because cloneNode leaves them empty.
function copyOf(part) {
  const copy = part.cloneNode(true);
  const canvases = part.querySelectorAll("canvas");
  copy.querySelectorAll("canvas").forEach((canvas, i) => {
    if (canvas.width > 0 && canvases[i].width > 0) canvas.getContext("2d").drawImage(canvases[i], 0, 0);
  });
  return copy;
}

// Follows the theme button and the system's theme. Prints all samples in light colours: while the page is printed, a copy of
// each sample's part replaces the part of the open sample.
function followPaper() {
  const system = matchMedia("(prefers-color-scheme: dark)");
  system.addEventListener("change", () => redraw(system.matches ? "dark" : "light"));
  byId("theme").addEventListener("click", () => redraw(document.documentElement.dataset.theme === "dark" ? "light" : "dark"));
  let before = null;
  addEventListener("beforeprint", () => {
    before = {theme: document.documentElement.dataset.theme, sample, sequence: byId("sequence").value};
    show("light");
    showComparison();
    // Charts of this width fit on A4 and Letter paper, inside the margins and the frame.
    const fit = () => { for (const chart of drawn.values()) chart.resize(660, chart.canvas.parentNode.clientHeight); };
    for (const one of page.samples) {
      sample = one;
      showSample();
      fit();
      byId("paper").append(copyOf(byId("sample-part")));
    }
    document.documentElement.dataset.paper = "";
  });
  addEventListener("afterprint", () => {
    byId("paper").replaceChildren();
    delete document.documentElement.dataset.paper;
    sample = before.sample;
    showSample();
    byId("sequence").value = before.sequence;
    redraw(before.theme);
  });
  show(system.matches ? "dark" : "light");
}

// A picture of a figure's title and chart, on the background colour of the card.
function pictureOf(figure) {
  const chart = figure.querySelector("canvas");
  const scale = chart.width / chart.clientWidth;
  const ramp = figure.querySelector(".ramp");
  const head = 34;
  const made = element("canvas", null, {width: chart.width, height: chart.height + Math.round(head * scale)});
  const ctx = made.getContext("2d");
  ctx.fillStyle = colour("card");
  ctx.fillRect(0, 0, made.width, made.height);
  ctx.drawImage(chart, 0, made.height - chart.height);
  ctx.scale(scale, scale);
  ctx.fillStyle = colour("ink");
  ctx.font = `600 15px ${Chart.defaults.font.family}`;
  const name = figure.closest("#sample-part") ? `: ${short(sample.name)}` : "";
  ctx.fillText(figure.querySelector("h3").textContent + name, 10, 22, chart.clientWidth - (ramp ? 250 : 20));
  if (ramp) {
    const left = chart.clientWidth - 190;
    [...Array(90).keys()].forEach((x) => { ctx.fillStyle = rampColour(x / 89); ctx.fillRect(left + x, 12, 1.5, 10); });
    ctx.fillStyle = colour("ink");
    ctx.font = `12px ${Chart.defaults.font.family}`;
    ctx.fillText("1", left - 12, 21);
    ctx.fillText(ramp.lastChild.textContent, left + 96, 21, 94);
  }
  return made.toDataURL("image/png");
}

function addButtons() {
  for (const figure of document.querySelectorAll("figure")) {
    const heading = figure.querySelector("h3");
    const save = element("button", "PNG", {type: "button", class: "save", title: "Save as a picture", "aria-label": `Save ${heading.textContent} as PNG`});
    save.addEventListener("click", () => {
      const name = figure.closest("#sample-part") ? `${sample.name}_${figure.id}` : figure.id;
      element("a", null, {href: pictureOf(figure), download: `${name.replace(/[^A-Za-z0-9._-]+/g, "_")}.png`}).click();
    });
    if (figure.dataset.ratio === undefined) {
      heading.after(save);
      continue;
    }
    const choice = element("div", null, {class: "choice", role: "group", "aria-label": `Scale of ${heading.textContent}`});
    for (const [text, scale] of [["Per cent", "percent"], ["Quality", "quality"]]) {
      const button = element("button", text, {type: "button", "data-scale": scale, "aria-pressed": String(scale === "percent")});
      button.addEventListener("click", () => {
        scales[figure.id] = scale;
        for (const other of choice.querySelectorAll("[data-scale]")) other.setAttribute("aria-pressed", String(other === button));
        if (figure.closest("#sample-part")) showRatio(figure.dataset.ratio);
        else showComparison();
      });
      choice.append(button);
    }
    choice.append(save);
    heading.after(choice);
  }
}

function start() {
  const isSeveral = page.samples.length > 1;
  byId("title").textContent = page.title;
  byId("maker").textContent = `Made by Tavik ${page.version}. Charts by Chart.js (MIT licence, in this file).`;
  byId("comparison").hidden = byId("sample-choice").hidden = !isSeveral;
  byId("sample").replaceChildren(...page.samples.map(({name}, i) => element("option", name, {value: i})));
  byId("sample").addEventListener("change", (event) => openSample(Number(event.target.value)));
  byId("sequence").addEventListener("change", showDepth);
  byId("compared").addEventListener("change", ({target}) => {
    const index = Number(target.value);
    if (target.checked) takeSlot(index);
    else slots[slots.indexOf(index)] = null;
    showComparison();
    byId("compared").querySelector(`[value="${index}"]`).focus();
  });
  showFindings();
  addButtons();
  followPaper();
  if (isSeveral) {
    showSamplesTable();
    page.samples.forEach((_, index) => { if (slots.includes(null)) takeSlot(index); });
  }
  openSample(0);
  followRun();
}

start();
