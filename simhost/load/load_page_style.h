// The looks of the page that "load --html" writes. The colours of lines can be told apart without seeing red and green, and have the
// contrast that WCAG 2.1 asks of graphics (3:1), in light and in dark.
#pragma once

inline constexpr char load_page_style[] = R"css(
:root { color-scheme: light dark; --ink: #1d2733; --soft: #55616e; --page: #f4f6f8; --card: #ffffff; --line: #d8dee5;
  --good: #1b7f5c; --bad: #a33a2c; --c0: #2f5d8c; --c1: #b3570a; --c2: #1b7f5c; --c3: #8a4f9e; --c4: #6b6f00; --c5: #a33a2c;
  --c6: #2b7f94; --c7: #5c5c5c; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e4e9ee; --soft: #a3b0bd; --page: #151a20; --card: #1e252d; --line: #36414d; --good: #5fd0a5; --bad: #f09c8e;
    --c0: #7fb0e0; --c1: #f0a860; --c2: #5fd0a5; --c3: #cfa0e0; --c4: #d0d060; --c5: #f09c8e; --c6: #70c8dd; --c7: #b8b8b8; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--ink); font: 15px/1.5 system-ui, "Liberation Sans", sans-serif; }
main { max-width: 1240px; margin: 0 auto; padding: 32px 24px 56px; }
h1 { margin: 0; font-size: 26px; overflow-wrap: anywhere; }
h2 { margin: 28px 0 8px; font-size: 18px; }
.soft { color: var(--soft); margin: 4px 0; overflow-wrap: anywhere; }
.verdict { margin: 16px 0 0; padding: 12px 16px; border-left: 5px solid var(--good); background: var(--card); font-weight: 600; }
.verdict.bad { border-color: var(--bad); color: var(--bad); }
.figures { display: flex; flex-wrap: wrap; gap: 12px; margin: 16px 0 0; }
.figures div { background: var(--card); border: 1px solid var(--line); border-radius: 6px; padding: 10px 16px; }
.figures b { display: block; font-size: 20px; }
.charts { display: grid; gap: 16px; grid-template-columns: repeat(auto-fill, minmax(min(100%, 460px), 1fr)); }
figure { margin: 0; background: var(--card); border: 1px solid var(--line); border-radius: 6px; padding: 12px 14px; min-width: 0; }
figcaption { font-weight: 600; }
svg { width: 100%; height: auto; display: block; }
svg text { fill: var(--soft); font-size: 12px; }
.grid { stroke: var(--line); }
polyline { fill: none; stroke: var(--colour); stroke-width: 1.8; stroke-linejoin: round; }
.line0 { --colour: var(--c0); } .line1 { --colour: var(--c1); } .line2 { --colour: var(--c2); } .line3 { --colour: var(--c3); }
.line4 { --colour: var(--c4); } .line5 { --colour: var(--c5); } .line6 { --colour: var(--c6); } .line7 { --colour: var(--c7); }
.line1, .line3, .line5, .line7 { stroke-dasharray: 7 3; }
.legend { margin: 2px 0 0; }
.key { margin-right: 14px; white-space: nowrap; font-size: 13px; }
.key::before { content: ""; display: inline-block; width: 24px; height: 3px; margin-right: 6px; vertical-align: middle;
  background: var(--colour); }
.key.line1::before, .key.line3::before, .key.line5::before, .key.line7::before {
  background: repeating-linear-gradient(90deg, var(--colour) 0 7px, transparent 7px 10px); }
.wide { overflow-x: auto; background: var(--card); border: 1px solid var(--line); border-radius: 6px; }
table { border-collapse: collapse; width: 100%; font-size: 14px; }
th, td { padding: 5px 12px; text-align: right; border-top: 1px solid var(--line); white-space: nowrap; }
th:first-child, td:first-child, .words td { text-align: left; }
.words td:last-child { white-space: normal; overflow-wrap: anywhere; }
thead th { border-top: 0; color: var(--soft); font-weight: 600; }
@media print { main { max-width: none; padding: 0; } figure, .wide { break-inside: avoid; } }
)css";
