// The looks and the script of the page that "journal export --format html" writes.
#pragma once

inline constexpr char timeline_style[] = R"css(
:root { color-scheme: light dark; --ink: #1d2733; --soft: #5b6876; --page: #f4f6f8; --card: #ffffff; --line: #d8dee5;
  --good: #2f5d8c; --bad: #c2410c; --running: #7c3aed; --fault: #b45309; --pale: #e7eef6; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e4e9ee; --soft: #9aa7b4; --page: #151a20; --card: #1e252d; --line: #36414d; --good: #6ea8de;
    --bad: #f0875a; --running: #b794f6; --fault: #fbbf24; --pale: #263341; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--ink); font: 15px/1.5 system-ui, "Liberation Sans", sans-serif; }
main { max-width: 1400px; margin: 0 auto; padding: 28px 24px 48px; }
h1 { margin: 0; font-size: 24px; overflow-wrap: anywhere; }
h2 { margin: 28px 0 8px; font-size: 17px; }
.soft { color: var(--soft); }
.bar { display: flex; flex-wrap: wrap; gap: 8px 18px; align-items: center; margin: 18px 0 10px; }
.key::before { content: ""; display: inline-block; width: 14px; height: 10px; margin-right: 6px; border-radius: 2px;
  background: var(--colour); }
.key.fault::before { width: 0; height: 0; background: none; border: 6px solid transparent;
  border-top: 9px solid var(--fault); border-bottom: 0; border-radius: 0; }
button, input { font: inherit; color: inherit; background: var(--card); border: 1px solid var(--line); border-radius: 6px;
  padding: 2px 12px; }
button { cursor: pointer; }
.view { background: var(--card); border: 1px solid var(--line); border-radius: 6px; overflow: auto; max-height: 70vh; }
canvas { display: block; width: 100%; cursor: grab; touch-action: none; }
canvas:focus-visible { outline: 2px solid var(--good); outline-offset: -2px; }
#told { min-height: 4.6em; margin: 10px 0 0; padding: 8px 14px; background: var(--pale); border-radius: 6px;
  font: 13px/1.5 ui-monospace, "DejaVu Sans Mono", monospace; overflow-wrap: anywhere; white-space: pre-wrap; }
table { border-collapse: collapse; font-size: 14px; }
.wide { overflow-x: auto; }
th { text-align: left; font-weight: 600; color: var(--soft); }
td, th { padding: 3px 18px 3px 0; border-bottom: 1px solid var(--line); vertical-align: top; overflow-wrap: anywhere; }
td { white-space: nowrap; }
td:last-child { white-space: normal; }
td.number { text-align: right; font-variant-numeric: tabular-nums; }
tbody tr { cursor: pointer; }
tbody tr:hover { background: var(--pale); }
.notice { padding: 8px 14px; border-left: 4px solid var(--fault); background: var(--pale); }
)css";

// Calls are [start, duration, name, status, depth, arguments]; marks are [time, call, line, effect]; times in
// microseconds. A duration of -1 is that of a call that was never left.
inline constexpr char timeline_script[] = R"js(
const data = JSON.parse(document.getElementById("data").textContent);
const canvas = document.getElementById("calls"), told = document.getElementById("told");
const search = document.getElementById("search");
const LABEL = 130, AXIS = 26, BAR = 16, GAP = 12;
const rows = data.rows;
let top0 = AXIS;
for (const row of rows) { row.top = top0; top0 += GAP + BAR * row.depth; }
const height = top0 + 6, end = Math.max(data.end, 1) * 1.02;
let from = 0, to = end, chosen = null, width = 0;
const colour = name => getComputedStyle(document.documentElement).getPropertyValue(name).trim();
const x = time => LABEL + (time - from) / (to - from) * (width - LABEL);
const timeAt = px => from + (px - LABEL) / (width - LABEL) * (to - from);
const length = call => call[1] < 0 ? end - call[0] : call[1];

function duration(us) {
  if (us < 1) return Math.round(us * 1000) + " ns";
  if (us < 1000) return us.toFixed(us < 10 ? 2 : 1) + " us";
  return us < 1e6 ? (us / 1000).toFixed(2) + " ms" : (us / 1e6).toFixed(3) + " s";
}

// The first call of a row that ends behind a time: calls are in the order of their starts.
function firstAt(row, time) {
  let low = 0, high = row.calls.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (row.ends[middle] < time) low = middle + 1; else high = middle;
  }
  return low;
}
for (const row of rows) {
  let latest = 0;
  row.ends = row.calls.map(call => latest = Math.max(latest, call[0] + length(call)));
}

function draw() {
  const scale = devicePixelRatio || 1;
  width = canvas.clientWidth;
  canvas.width = width * scale;
  canvas.height = height * scale;
  canvas.style.height = height + "px";
  const pen = canvas.getContext("2d");
  pen.scale(scale, scale);
  const c = { ink: colour("--ink"), soft: colour("--soft"), line: colour("--line"), good: colour("--good"),
    bad: colour("--bad"), running: colour("--running"), fault: colour("--fault"), card: colour("--card") };
  pen.clearRect(0, 0, width, height);
  pen.font = "12px system-ui, 'Liberation Sans', sans-serif";
  pen.textBaseline = "middle";
  const step = [1, 2, 5].map(n => n * 10 ** Math.floor(Math.log10((to - from) / 8)))
    .concat(10 ** Math.ceil(Math.log10((to - from) / 8))).find(s => s * 10 >= to - from) || (to - from);
  for (let tick = Math.ceil(from / step) * step; tick <= to; tick += step) {
    pen.fillStyle = c.line;
    pen.fillRect(x(tick), AXIS - 4, 1, height);
    pen.fillStyle = c.soft;
    pen.fillText("+" + duration(tick), x(tick) + 4, AXIS / 2);
  }
  const wanted = search.value.toLowerCase();
  for (const row of rows) {
    pen.fillStyle = c.ink;
    pen.fillText(row.label, 10, row.top + BAR / 2 + 2, LABEL - 14);
    pen.save();
    pen.beginPath();
    pen.rect(LABEL, 0, width - LABEL, height);
    pen.clip();
    const drawn = [];
    for (let i = firstAt(row, from); i < row.calls.length && row.calls[i][0] <= to; ++i) {
      const call = row.calls[i];
      const left = Math.max(x(call[0]), LABEL - 2), right = Math.min(x(call[0] + length(call)), width + 2);
      const isGood = data.statuses[call[3]].startsWith("success");
      const key = call[4] * 2 + isGood;
      if (right < drawn[key] && call !== chosen) continue;
      drawn[key] = Math.ceil(right);
      const name = data.names[call[2]];
      pen.globalAlpha = !wanted || name.includes(wanted) ? 1 : 0.15;
      pen.fillStyle = call[1] < 0 ? c.running : isGood ? c.good : c.bad;
      const wide = Math.max(right - left - (right - left > 3 ? 1 : 0), 1);
      const y = row.top + call[4] * BAR;
      pen.fillRect(left, y, wide, BAR - 2);
      if (call === chosen) { pen.strokeStyle = c.ink; pen.lineWidth = 2; pen.strokeRect(left, y, wide, BAR - 2); }
      if (wide > 40) {
        pen.save();
        pen.beginPath(); pen.rect(left + 4, y, wide - 8, BAR); pen.clip();
        pen.fillStyle = c.card;
        pen.fillText(name.replace(/^stspi_/, ""), left + 5, y + BAR / 2);
        pen.restore();
      }
    }
    pen.globalAlpha = 1;
    pen.fillStyle = c.fault;
    for (const mark of row.marks) {
      if (mark[0] < from || mark[0] > to) continue;
      const at = x(mark[0]);
      pen.beginPath();
      pen.moveTo(at - 5, row.top - 9); pen.lineTo(at + 5, row.top - 9); pen.lineTo(at, row.top - 1);
      pen.fill();
    }
    pen.restore();
  }
}

function tell(row, call) {
  const faults = row.marks.filter(mark => row.calls[mark[1]] === call).map(mark => `\nfault of line ${mark[2]}: ${mark[3]}`);
  told.textContent = `${data.names[call[2]]}  ${data.statuses[call[3]]}  ` +
    `${call[1] < 0 ? "was running" : duration(call[1])}  at +${duration(call[0])}, ${row.label}\n${call[5]}${faults.join("")}`;
}

function hit(event) {
  const box = canvas.getBoundingClientRect(), px = event.clientX - box.left, py = event.clientY - box.top;
  const row = rows.find(one => py >= one.top - GAP && py < one.top + one.depth * BAR);
  if (!row || px < LABEL) return null;
  const time = timeAt(px), near = (to - from) / (width - LABEL) * 3, depth = Math.max(0, Math.floor((py - row.top) / BAR));
  let best = null, distance = Infinity;
  for (let i = firstAt(row, time - near); i < row.calls.length && row.calls[i][0] <= time + near; ++i) {
    const call = row.calls[i];
    const away = Math.max(call[0] - time, time - call[0] - length(call), 0);
    if (call[4] === depth && away <= near && away < distance) { best = call; distance = away; }
  }
  return best && { row, call: best };
}

function show(begin, finish) {
  const span = Math.min(Math.max(finish - begin, 0.05), end);
  from = Math.min(Math.max(begin, 0), end - span);
  to = from + span;
  draw();
}
function zoom(factor, around = (from + to) / 2) {
  show(around - (around - from) * factor, around + (to - around) * factor);
}
function choose(row, call) {
  chosen = call;
  tell(row, call);
  const span = Math.max(length(call) * 20, (to - from) / 50);
  if (call[0] < from || call[0] > to) show(call[0] - span / 2, call[0] + span / 2); else draw();
}

let dragged = null;
canvas.addEventListener("wheel", event => {
  if (!event.ctrlKey && !event.shiftKey && Math.abs(event.deltaY) < Math.abs(event.deltaX)) return;
  event.preventDefault();
  zoom(event.deltaY > 0 ? 1.25 : 0.8, timeAt(event.clientX - canvas.getBoundingClientRect().left));
}, { passive: false });
canvas.addEventListener("pointerdown", event => { dragged = event.clientX; canvas.setPointerCapture(event.pointerId); });
canvas.addEventListener("pointerup", event => {
  dragged = null;
  const found = hit(event);
  if (found) choose(found.row, found.call);
});
canvas.addEventListener("pointermove", event => {
  if (dragged !== null) {
    const moved = (dragged - event.clientX) / (width - LABEL) * (to - from);
    dragged = event.clientX;
    show(from + moved, to + moved);
  } else {
    const found = hit(event);
    if (found) tell(found.row, found.call);
  }
});
canvas.addEventListener("dblclick", () => show(0, end));
canvas.addEventListener("keydown", event => {
  const span = to - from;
  if (event.key === "ArrowLeft") show(from - span / 5, to - span / 5);
  else if (event.key === "ArrowRight") show(from + span / 5, to + span / 5);
  else if (event.key === "+") zoom(0.5);
  else if (event.key === "-") zoom(2);
  else if (event.key === "0") show(0, end);
  else return;
  event.preventDefault();
});
document.getElementById("in").addEventListener("click", () => zoom(0.5));
document.getElementById("out").addEventListener("click", () => zoom(2));
document.getElementById("all").addEventListener("click", () => show(0, end));
search.addEventListener("input", draw);
addEventListener("resize", draw);
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", draw);

function line(body, cells, row, call) {
  const tr = document.createElement("tr");
  for (const [text, isNumber] of cells) {
    const td = document.createElement("td");
    td.textContent = text;
    if (isNumber) td.className = "number";
    tr.append(td);
  }
  tr.addEventListener("click", () => { choose(row, call); canvas.scrollIntoView({ block: "nearest" }); });
  body.append(tr);
}
const faults = document.getElementById("faults"), slow = document.getElementById("slow");
for (const row of rows)
  for (const [time, index, number, effect] of row.marks.slice(0, 200))
    line(faults, [["+" + duration(time), true], [row.label], [data.names[row.calls[index][2]]], [String(number), true],
      [effect]], row, row.calls[index]);
document.getElementById("fault-part").hidden = !rows.some(row => row.marks.length);
rows.flatMap(row => row.calls.map(call => [call[1] < 0 ? Infinity : call[1], row, call]))
  .sort((a, b) => a[0] === b[0] ? 0 : b[0] - a[0]).slice(0, 12)
  .forEach(([took, row, call]) => line(slow, [[call[1] < 0 ? "running" : duration(took), true], ["+" + duration(call[0]), true],
    [row.label], [data.names[call[2]]], [data.statuses[call[3]]], [call[5].slice(0, 120)]], row, call));
draw();
)js";
