#include "StatePageHtml.h"

namespace backfill {

const char* const kStatePageHtml = R"html(<!doctype html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>backfill</title>
<style>
  :root { color-scheme: light dark; }
  body { font: 15px/1.45 system-ui, sans-serif; margin: 2rem auto; max-width: 72rem; padding: 0 1rem; }
  h1 { font-size: 1.4rem; margin: 0 0 .25rem; }
  #sum { margin: 0 0 1rem; }
  #problem { background: #b3261e; color: #fff; padding: .5rem .75rem; border-radius: .3rem; }
  table { border-collapse: collapse; width: 100%; }
  th, td { padding: .35rem .75rem .35rem 0; border-bottom: 1px solid #8884; text-align: left; vertical-align: top; }
  td.n, th.n { text-align: right; font-variant-numeric: tabular-nums; }
  tr.open > td:first-child button { font-weight: 600; }
  button { font: inherit; padding: .1rem .6rem; cursor: pointer; white-space: nowrap; }
  .time { white-space: nowrap; }
  button.link { border: 0; background: none; padding: 0; color: inherit; text-decoration: underline; }
  .detail > td { padding: .25rem 0 1rem 1.5rem; }
  .muted { opacity: .7; }
  .error { color: #b3261e; }
  @media (prefers-color-scheme: dark) { .error { color: #ff8a80; } }
</style>
<h1>backfill</h1>
<p id="sum" class="muted" role="status">Reading …</p>
<p id="problem" role="alert" hidden></p>
<table>
  <thead><tr><th>Camera</th><th class="n">Business type</th><th class="n">Points</th><th class="n">Open ranges</th>
    <th class="n">To fetch</th><th class="n">Being fetched</th><th class="n">Most attempts</th></tr></thead>
  <tbody id="cameras"></tbody>
</table>
<script>
"use strict";
const base = location.pathname.replace(/\/+$/, "");
const open = new Set();
const text = (tag, value, className) => {
  const node = document.createElement(tag);
  node.textContent = value;
  if (className) node.className = className;
  return node;
};
const duration = s => s >= 86400 ? (s / 86400).toFixed(1) + " d" : s >= 3600 ? (s / 3600).toFixed(1) + " h"
                    : s >= 60 ? (s / 60).toFixed(1) + " min" : s + " s";
async function ask(path, options) {
  const answer = await fetch(base + path, Object.assign({credentials: "same-origin", cache: "no-store"}, options));
  if (answer.status === 401) { location.href = "/login?to=" + encodeURIComponent(base); return new Promise(() => {}); }
  const value = await answer.json();
  if (!answer.ok || value.error) throw new Error(value.reason || value.error || answer.statusText);
  return value;
}
function tell(problem) {
  const line = document.getElementById("problem");
  line.hidden = !problem;
  line.textContent = problem || "";
}
async function fetchNow(camera, range) {
  try {
    await ask("/fetch?" + new URLSearchParams({camera: camera.camera, busi: camera.busi, begin: range.begin,
                                               end: range.end}), {method: "POST"});
    await show();
  } catch (error) { tell("Cannot fetch " + range.begin + ": " + error.message); }
}
const nameOf = camera => (camera.name || "camera") + " (" + camera.camera + ")";
// Tells a button from all others, also after the rows were made anew.
const keyOf = (...parts) => parts.join("/");
function rangesOf(camera, detail) {
  if (!detail.ranges.length) return text("p", "Nothing is to be fetched.", "muted");
  const table = document.createElement("table");
  const head = table.createTHead().insertRow();
  for (const title of ["From", "To", "Length", "State", "Failed attempts", "Last error", ""]) head.append(text("th", title));
  const body = table.createTBody();
  for (const range of detail.ranges) {
    const row = body.insertRow();
    const state = range.state === "waiting" ? "again in " + duration(range.next_attempt_s) : range.state;
    row.append(text("td", range.begin, "time"), text("td", range.end, "time"));
    for (const value of [duration(range.seconds), state, range.attempts]) row.append(text("td", value));
    row.append(text("td", range.last_error, "error"));
    const button = text("button", "Fetch now");
    button.setAttribute("aria-label", "Fetch now: " + nameOf(camera) + ", business type " + camera.busi + ", " +
                                      range.begin + " to " + range.end);
    button.dataset.key = keyOf(camera.camera, camera.busi, range.begin);
    button.disabled = range.state !== "waiting";
    button.onclick = () => { button.disabled = true; fetchNow(camera, range); };
    row.insertCell().append(button);
  }
  return table;
}
async function detailOf(camera) {
  const detail = await ask("/cameras/" + camera.camera + "/" + camera.busi);
  const row = document.createElement("tr");
  row.className = "detail";
  const cell = row.insertCell();
  cell.colSpan = 7;
  const points = detail.points.map(point => point.time + (point.state === 1 ? " contact" : " in order"));
  cell.append(rangesOf(camera, detail), text("p", "Points: " + (points.join(", ") || "none"), "muted"));
  return row;
}
async function show() {
  const {cameras} = await ask("/cameras");
  const rows = [];
  for (const camera of cameras) {
    const key = keyOf(camera.camera, camera.busi);
    const row = document.createElement("tr");
    if (camera.ranges) row.className = "open";
    const name = text("button", nameOf(camera), "link");
    name.setAttribute("aria-label", nameOf(camera) + ", business type " + camera.busi);
    name.dataset.key = key;
    name.setAttribute("aria-expanded", open.has(key));
    name.onclick = () => { if (!open.delete(key)) open.add(key); refresh(); };
    row.insertCell().append(name);
    for (const value of [camera.busi, camera.points, camera.ranges, camera.ranges ? duration(camera.seconds) : "",
                         camera.fetching || "", camera.attempts || ""]) row.append(text("td", value, "n"));
    rows.push(row);
    if (open.has(key)) rows.push(await detailOf(camera));
  }
  const focused = document.activeElement && document.activeElement.dataset.key;
  document.getElementById("cameras").replaceChildren(...rows);
  if (focused) for (const button of document.querySelectorAll("button")) if (button.dataset.key === focused) button.focus();
  const ranges = cameras.reduce((sum, camera) => sum + camera.ranges, 0);
  document.getElementById("sum").textContent =
    cameras.length + " cameras, " + (ranges ? ranges + " open ranges" : "no open range") + ", as of " + new Date().toLocaleTimeString();
}
let running = false;
async function refresh() {
  if (running) return;
  running = true;
  try { await show(); tell(""); } catch (error) { tell("Cannot read the state: " + error.message); }
  running = false;
}
refresh();
setInterval(refresh, 2000);
</script>
</html>
)html";

}  // namespace backfill
