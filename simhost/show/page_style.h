// The looks and the one script of the page that "show --format html" writes.
#pragma once

inline constexpr char page_style[] = R"css(
:root { color-scheme: light dark; --ink: #1d2733; --soft: #5b6876; --page: #f4f6f8; --card: #ffffff; --line: #d8dee5;
  --blue: #2f5d8c; --pale: #e7eef6; --red: #a33a2c; --red-pale: #f9e9e6; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e4e9ee; --soft: #9aa7b4; --page: #151a20; --card: #1e252d; --line: #36414d; --blue: #7fb0e0;
    --pale: #263341; --red: #ec8f80; --red-pale: #3a2421; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--ink); font: 15px/1.5 system-ui, "Liberation Sans", sans-serif; }
main { max-width: 1080px; margin: 0 auto; padding: 32px 24px 56px; }
h1 { margin: 0; font-size: 26px; overflow-wrap: anywhere; }
h2 { margin: 0; font-size: 18px; overflow-wrap: anywhere; }
p { margin: 4px 0; }
.soft { color: var(--soft); }
.notice { margin: 16px 0 0; padding: 10px 14px; border-left: 4px solid var(--blue); background: var(--pale); }
.notice.bad { border-color: var(--red); background: var(--red-pale); }
.hosts { margin: 24px 0 0; display: flex; flex-wrap: wrap; gap: 8px; align-items: center; }
button { font: inherit; color: inherit; background: var(--card); border: 1px solid var(--line); border-radius: 16px;
  padding: 3px 14px; cursor: pointer; }
button[aria-pressed="true"] { background: var(--blue); border-color: var(--blue); color: var(--card); }
.cards { margin: 16px 0 0; display: grid; gap: 16px; grid-template-columns: repeat(auto-fill, minmax(300px, 1fr)); }
.card { background: var(--card); border: 1px solid var(--line); border-top: 4px solid var(--blue); border-radius: 6px;
  padding: 14px 16px 16px; transition: opacity .15s; }
.card.unlisted { border-top-color: var(--red); }
.card.unseen { opacity: .3; }
.bar { height: 8px; margin: 8px 0 10px; border-radius: 4px; background: var(--pale); overflow: hidden; }
.bar div { height: 100%; background: var(--blue); }
dl { display: grid; grid-template-columns: max-content 1fr; gap: 2px 14px; margin: 0 0 10px; }
dt { color: var(--soft); }
dd { margin: 0; overflow-wrap: anywhere; }
ul { list-style: none; display: flex; flex-wrap: wrap; gap: 6px; margin: 0; padding: 0; }
li { background: var(--pale); border-radius: 4px; padding: 1px 9px; font: 13px/1.6 ui-monospace, "DejaVu Sans Mono", monospace; }
.tag { color: var(--red); font-weight: 600; }
footer { margin-top: 28px; font-size: 13px; }
)css";

// The choice stands behind the '#' of the address, so that it can be linked to.
inline constexpr char page_script[] = R"js(
const buttons = [...document.querySelectorAll("button[data-host]")];
function choose(host) {
  buttons.forEach(b => b.setAttribute("aria-pressed", String(b.dataset.host === host)));
  document.querySelectorAll(".card").forEach(card => card.classList.toggle("unseen",
    host !== "*" && !JSON.parse(card.dataset.hosts).includes(host)));
}
buttons.forEach(b => b.addEventListener("click", () => { location.hash = encodeURIComponent(b.dataset.host); }));
function follow() {
  const host = decodeURIComponent(location.hash.slice(1));
  choose(buttons.some(b => b.dataset.host === host) ? host : "*");
}
addEventListener("hashchange", follow);
follow();
)js";
