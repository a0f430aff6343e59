// Keeps the page of a run in progress up to date. tavik_live replaces the file repeatedly, so the page reloads itself and
// restores the reader's choices. The data of a finished run have no `live`, and its page never reloads.

const reloadSeconds = 10;

const clock = (time) => new Date(time).toLocaleTimeString("en-GB");

function showTimes() {
  const {made, until} = page.live;
  const isOverdue = Date.now() > until;
  byId("live").hidden = false;
  byId("live").classList.toggle("overdue", isOverdue);
  byId("live").textContent = isOverdue
    ? `These figures are from ${clock(made)}. A new page was due by ${clock(until)}: tavik_live has stopped, or this page is a copy.`
    : `The run is in progress. These figures are from ${clock(made)}. New ones will replace them by ${clock(until)} at the latest. This page reloads itself.`;
}

const choices = () => ({
  scroll: scrollY, theme: document.documentElement.dataset.theme, sequence: byId("sequence").value,
  scales: [...document.querySelectorAll("#sample-part [data-scale][aria-pressed=true]")].map((button) => [button.closest("figure").id, button.dataset.scale]),
  open: [...document.querySelectorAll("#sample-part details[open]")].map((details) => details.closest("figure").id),
  sorted: [...byId("references").querySelectorAll("th")].map((cell) => cell.getAttribute("aria-sort")),
});

function choose({scroll, theme, sequence, scales: chosen, open, sorted}) {
  if (theme !== document.documentElement.dataset.theme) byId("theme").click();
  if ([...byId("sequence").options].some(({value}) => value === sequence)) {
    byId("sequence").value = sequence;
    showDepth();
  }
  for (const [id, scale] of chosen) {
    if (scale === "quality" && !byId(id).hidden) byId(id).querySelector(`[data-scale=${scale}]`).click();
  }
  for (const id of open) byId(id).querySelector("details")?.setAttribute("open", "");
  const column = sorted.findIndex((order) => order !== "none");
  const head = () => byId("references").querySelectorAll("th")[column];
  for (let clicks = 0; clicks < 2 && head()?.getAttribute("aria-sort") !== sorted[column]; ++clicks) head()?.querySelector("button").click();
  scrollTo(0, scroll);
}

function followRun() {
  if (!page.live) return;
  showTimes();
  history.scrollRestoration = "manual";
  if (history.state) choose(history.state);
  setInterval(() => {
    showTimes();
    // The page does not reload while it is hidden or being printed.
    if (document.hidden || document.documentElement.dataset.paper !== undefined) return;
    history.replaceState(choices(), "");
    location.reload();
  }, 1000 * reloadSeconds);
}
