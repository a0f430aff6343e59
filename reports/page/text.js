"use strict";
// Formats figures as text, and builds elements and tables. Text from the data is set as textContent or drawn on a
// canvas, never parsed as markup.

const none = "\u2013";
const numbers = new Intl.NumberFormat("en-US");
const whole = (number) => numbers.format(number);
const fixed = (number, digits) => number.toLocaleString("en-US", {minimumFractionDigits: digits, maximumFractionDigits: digits});
const counted = (number, noun) => `${whole(number)} ${noun}${number === 1 ? "" : "s"}`;
const perCent = (ratio, digits = 2) => (ratio === null ? none : `${fixed(100 * ratio, digits)} %`);
const share = (part, all) => (all > 0 ? perCent(part / all, 1) : none);
const quality = (ratio) => -10 * Math.log10(Math.max(1 - ratio, 1e-6));
// A name shortened to fit beside a chart.
const short = (name) => (name.length > 30 ? `${name.slice(0, 18)}\u2026${name.slice(-10)}` : name);

const units = [["Gb", 1e9], ["Mb", 1e6], ["kb", 1e3], ["b", 1]];
// The largest unit in which the number of bases, rounded to three digits, is at least 1; b for smaller numbers.
const unitOf = (number) => units.find(([, size]) => Number(number.toPrecision(3)) >= size) || units[units.length - 1];

// A number of bases rounded to three digits, with its unit.
function bases(number) {
  const [unit, size] = unitOf(number);
  return `${size === 1 ? whole(Math.round(number)) : Number((number / size).toPrecision(3))} ${unit}`;
}

// A number of bases in units of `size`, without the name of the unit.
function inUnit(number, size) {
  if (size === 1) return whole(Math.round(number));
  const value = number / size;
  return value >= 0.1 ? fixed(value, 2) : value.toLocaleString("en-US", {maximumSignificantDigits: 2});
}

function element(tag, text, attributes = {}) {
  const made = document.createElement(tag);
  if (text !== null) made.textContent = text;
  for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
  return made;
}

function table(header, rows) {
  const made = element("table", null);
  const head = element("tr", null);
  header.forEach((name) => head.append(element("th", name, {scope: "col"})));
  made.append(element("thead", null), tableBody(rows));
  made.tHead.append(head);
  return made;
}

function tableBody(rows) {
  const body = element("tbody", null);
  for (const row of rows) {
    const line = element("tr", null);
    row.forEach((cell) => line.append(element("td", cell)));
    body.append(line);
  }
  return body;
}

// Fills the table `made`, whose headings sort it. columns: [[name, value of a row, text of a value]]; a null value is
// unknown. `column`: the initial sort column, or null. `mark(line, row)` may change the line of a row.
function fillSortable(made, columns, rows, column, mark = () => {}) {
  const head = element("tr", null);
  const show = (ordered, by, descending) => {
    const body = tableBody(ordered.map((row) => columns.map(([, get, format]) => (get(row) === null ? none : format(get(row))))));
    [...body.rows].forEach((line, i) => mark(line, ordered[i]));
    made.tBodies[0].replaceWith(body);
    [...head.cells].forEach((cell, i) => cell.setAttribute("aria-sort", i !== by ? "none" : descending ? "descending" : "ascending"));
  };
  const sort = (by, descending) => {
    const value = columns[by][1];
    const compare = (a, b) => (typeof a === "string" ? a.localeCompare(b, "en", {numeric: true}) : a - b);
    show([...rows].sort((a, b) => {
      const [left, right] = [value(a), value(b)];
      if (left === null || right === null) return (left === null) - (right === null);  // Unknown values are last.
      return descending ? compare(right, left) : compare(left, right);
    }), by, descending);
  };
  columns.forEach(([name], by) => {
    const cell = element("th", null, {scope: "col"});
    const button = element("button", name, {type: "button"});
    // The first click sorts numbers in descending and names in ascending order.
    button.addEventListener("click", () => sort(by, cell.getAttribute("aria-sort") === "none" ? by > 0 : cell.getAttribute("aria-sort") === "ascending"));
    cell.append(button);
    head.append(cell);
  });
  made.replaceChildren(element("thead", null), element("tbody", null));
  made.tHead.append(head);
  if (column === null) show(rows, null, false);
  else sort(column, true);
}
