// The looks and the one script of the page that "show --format html" writes. Colours keep the contrast that WCAG 2.1 asks
// for at level AA, in light and in dark; a test counts it.
#pragma once

inline constexpr char page_style[] = R"css(
:root { color-scheme: light dark; --ink: #1d2733; --soft: #55616e; --page: #f4f6f8; --card: #ffffff; --line: #d8dee5;
  --edge: #76828f; --blue: #2f5d8c; --pale: #e7eef6; --red: #a33a2c; --red-pale: #f9e9e6; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e4e9ee; --soft: #a3b0bd; --page: #151a20; --card: #1e252d; --line: #36414d; --edge: #7e8b98;
    --blue: #7fb0e0; --pale: #263341; --red: #f09c8e; --red-pale: #3a2421; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--ink); font: 15px/1.5 system-ui, "Liberation Sans", sans-serif; }
main { max-width: 1180px; margin: 0 auto; padding: 32px 24px 56px; }
h1 { margin: 0; font-size: 26px; overflow-wrap: anywhere; }
h2 { margin: 0; font-size: 18px; overflow-wrap: anywhere; }
p { margin: 4px 0; }
code { font: 13px/1.6 ui-monospace, "DejaVu Sans Mono", monospace; overflow-wrap: anywhere; }
.soft { color: var(--soft); }
.notice { margin: 16px 0 0; padding: 10px 14px; border-left: 4px solid var(--blue); background: var(--pale); }
.notice.bad { border-color: var(--red); background: var(--red-pale); }
.findings { margin: 8px 0 0; padding: 0; list-style: none; }
.findings li { padding: 4px 0; border-top: 1px solid var(--line); overflow-wrap: anywhere; }
.error { color: var(--red); font-weight: 600; }
.controls { margin: 24px 0 0; display: flex; flex-wrap: wrap; gap: 8px 16px; align-items: end; }
.controls label { display: grid; gap: 2px; color: var(--soft); font-size: 13px; flex: 0 1 280px; }
input, select { font: inherit; font-size: 15px; color: var(--ink); background: var(--card); border: 1px solid var(--edge);
  border-radius: 6px; padding: 5px 10px; width: 100%; }
.hosts { display: flex; flex-wrap: wrap; gap: 8px; align-items: center; }
button { font: inherit; color: inherit; background: var(--card); border: 1px solid var(--edge); border-radius: 16px;
  padding: 3px 14px; cursor: pointer; max-width: 100%; overflow-wrap: anywhere; }
button[aria-pressed="true"] { background: var(--blue); border-color: var(--blue); color: var(--card); }
::placeholder { color: var(--soft); opacity: 1; }
:focus-visible { outline: 3px solid var(--blue); outline-offset: 2px; }
.cards { margin: 12px 0 0; display: grid; gap: 16px; align-items: start;
  grid-template-columns: repeat(auto-fill, minmax(min(100%, 300px), 1fr)); }
.card { background: var(--card); border: 1px solid var(--line); border-top: 4px solid var(--blue); border-radius: 6px;
  padding: 14px 16px 16px; min-width: 0; }
.card.unlisted { border-top-color: var(--red); }
.card.unseen { display: none; }
.bar { height: 8px; margin: 8px 0 10px; border-radius: 4px; background: var(--pale); overflow: hidden; }
.bar div { height: 100%; background: var(--blue); }
dl { display: grid; grid-template-columns: max-content 1fr; gap: 2px 14px; margin: 0 0 10px; }
dt { color: var(--soft); }
dd { margin: 0; overflow-wrap: anywhere; min-width: 0; }
.volumes { list-style: none; display: flex; flex-wrap: wrap; gap: 6px; margin: 0; padding: 0; }
.volumes li { background: var(--pale); border-radius: 4px; padding: 1px 9px; max-width: 100%; overflow-wrap: anywhere;
  font: 13px/1.6 ui-monospace, "DejaVu Sans Mono", monospace; }
.volumes li span { display: block; color: var(--soft); }
details { margin-top: 8px; }
summary { cursor: pointer; color: var(--blue); }
details .volumes, details .findings { margin-top: 6px; }
.tag { color: var(--red); font-weight: 600; }
footer { margin-top: 28px; font-size: 13px; }
@media (max-width: 480px) { main { padding: 20px 14px 40px; } h1 { font-size: 22px; } .controls label { flex-basis: 100%; } }
@media print {
  :root { --ink: #000000; --soft: #333333; --page: #ffffff; --card: #ffffff; --line: #999999; --blue: #2f5d8c; --pale: #ffffff;
    --red: #a33a2c; --red-pale: #ffffff; }
  body { font-size: 11px; }
  main { max-width: none; padding: 0; }
  .controls { display: none; }
  .cards { display: block; columns: 2; }
  .card { margin: 0 0 10px; padding: 6px 10px; box-decoration-break: clone; }
  .card h2, .card .bar, .card dl { break-inside: avoid; break-after: avoid; }
  .volumes { display: block; margin: 4px 0; }
  .volumes li { display: flex; gap: 8px; break-inside: avoid; padding: 0; background: none; font-size: 9px; line-height: 1.35; }
  .card code, summary { font-size: 9px; }
}
)css";

// The host chosen stands behind the '#' of the address, so that it can be linked to.
inline constexpr char page_script[] = R"js(
const cards = [...document.querySelectorAll(".card")];
const buttons = [...document.querySelectorAll("button[data-host]")];
const select = document.querySelector("select");
const filter = document.querySelector("#filter");
const shown = document.querySelector("#shown");
const hosts = new Map(cards.map(card => [card, new Set(JSON.parse(card.dataset.hosts))]));
const texts = new Map(cards.map(card => [card, card.textContent.toLowerCase()]));
let host = "*";
function update() {
  const words = filter ? filter.value.toLowerCase().split(/\s+/) : [];
  let count = 0;
  for (const card of cards) {
    const seen = (host === "*" || hosts.get(card).has(host)) && words.every(word => texts.get(card).includes(word));
    card.classList.toggle("unseen", !seen);
    count += seen;
  }
  buttons.forEach(b => b.setAttribute("aria-pressed", String(b.dataset.host === host)));
  if (select) select.value = host;
  if (shown) shown.textContent = count === cards.length ? "" : `${count} of ${cards.length} shown`;
}
function go(name) { location.hash = name === "*" ? "" : encodeURIComponent(name); }
buttons.forEach(b => b.addEventListener("click", () => go(b.dataset.host)));
if (select) select.addEventListener("change", () => go(select.value));
if (filter) filter.addEventListener("input", update);
function follow() {
  let name = "*";
  try { name = decodeURIComponent(location.hash.slice(1)) || "*"; } catch { }
  const known = buttons.some(b => b.dataset.host === name) || (select && [...select.options].some(o => o.value === name));
  host = known ? name : "*";
  update();
}
addEventListener("hashchange", follow);
addEventListener("beforeprint", () => document.querySelectorAll("details").forEach(d => { d.open = true; }));
follow();
)js";
