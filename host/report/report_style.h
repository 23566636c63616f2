// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The style sheet of the report.

#ifndef ULLAGE_HOST_REPORT_REPORT_STYLE_H
#define ULLAGE_HOST_REPORT_REPORT_STYLE_H

namespace ullage::host {

inline constexpr const char *kReportStyle = R"(
:root { color-scheme: light dark;
  --back: #ffffff; --text: #1d2329; --soft: #59636e; --line: #d5dae0; --panel: #f5f7f9; --link: #0b57a4;
  --observed: #a9bdd3; --dot: #647f9b; --missing: #c2410c; --bounded: #0f766e; --bounded-fill: #9fd3cb; --warn: #9a3412;
  --c1: #1f6fb4; --c2: #c2410c; --c3: #0f766e; --c4: #7c3aed; --positive: #6aa9e0; --negative: #eb9a66; --shade: rgb(0 0 0 / .28); }
@media (prefers-color-scheme: dark) { :root {
  --back: #14181c; --text: #e4e8ec; --soft: #a1abb5; --line: #3a434c; --panel: #1d2329; --link: #7ab8f5;
  --observed: #4c6178; --dot: #7e97b1; --missing: #fb923c; --bounded: #2dd4bf; --bounded-fill: #1f5a55; --warn: #fdba74;
  --c1: #6cb0f0; --c2: #fb923c; --c3: #2dd4bf; --c4: #b79cf8; --positive: #2b69a3; --negative: #98491b; --shade: rgb(255 255 255 / .3); } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--back); color: var(--text);
  font: 16px/1.55 system-ui, -apple-system, "Segoe UI", Roboto, "Helvetica Neue", Arial, sans-serif; }
header, nav, main, footer { max-width: 80rem; margin: 0 auto; padding: 0 1rem; }
h1 { font-size: 1.75rem; line-height: 1.25; margin: 1.5rem 0 .5rem; overflow-wrap: anywhere; }
h2 { font-size: 1.3rem; margin: 2.5rem 0 .5rem; padding-top: .75rem; border-top: 1px solid var(--line); }
h3 { font-size: 1.05rem; margin: 1.5rem 0 .25rem; overflow-wrap: anywhere; }
p, ul, ol, figcaption, summary { max-width: 46rem; }
p, li, dd, figcaption { overflow-wrap: anywhere; }
a { color: var(--link); }
a:focus-visible, summary:focus-visible, .scroll:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; }
.skip { position: absolute; left: -100rem; }
.skip:focus { left: 1rem; top: 1rem; padding: .5rem 1rem; background: var(--back); border: 1px solid var(--line); }
nav ol { columns: 2 16rem; padding-left: 1.8rem; margin: .5rem 0; }
.verdict { padding: .6rem .9rem; background: var(--panel); border-left: 4px solid var(--bounded); }
.verdict.bad { border-color: var(--missing); }
.soft, figcaption { color: var(--soft); font-size: .9rem; }
/* Shadows at the ends beyond which there is more; covers that scroll along hide them at the ends of the content. */
.scroll { overflow-x: auto; max-width: 100%; background:
  linear-gradient(to right, var(--back) 40%, transparent) 0 0 / 2.5rem 100% no-repeat local,
  linear-gradient(to left, var(--back) 40%, transparent) 100% 0 / 2.5rem 100% no-repeat local,
  radial-gradient(farthest-side at 0 50%, var(--shade), transparent) 0 0 / .9rem 100% no-repeat scroll,
  radial-gradient(farthest-side at 100% 50%, var(--shade), transparent) 100% 0 / .9rem 100% no-repeat scroll; }
table { border-collapse: collapse; margin: .75rem 0; font-size: .9rem; font-variant-numeric: tabular-nums; }
caption { text-align: left; color: var(--soft); padding-bottom: .3rem; }
th, td { padding: .25rem .7rem; border-bottom: 1px solid var(--line); text-align: right; vertical-align: top;
  white-space: nowrap; }
th:first-child { padding-left: 0; }
thead th { border-bottom: 2px solid var(--line); vertical-align: bottom; white-space: normal; max-width: 9rem; }
tbody th, th.text, td.text { text-align: left; }
tbody th { font-weight: 400; }
tbody th, td.text { white-space: normal; min-width: 7rem; max-width: 24rem; }
th[rowspan] { vertical-align: top; }
td.bad { color: var(--warn); font-weight: 700; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .2rem 1rem; font-size: .9rem; }
dt { color: var(--soft); }
dd { margin: 0; }
pre { background: var(--panel); padding: .75rem; white-space: pre-wrap; overflow-wrap: anywhere; font-size: .85rem; }
code { font-family: ui-monospace, "SF Mono", Menlo, Consolas, "DejaVu Sans Mono", monospace; }
.figures { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(100%, 18.5rem), 1fr)); gap: .75rem 1rem; }
.figures svg { width: 100%; max-width: 24rem; }
figcaption b { display: block; font-weight: 600; }
.beside { display: flex; flex-wrap: wrap; gap: .5rem 3rem; }
.beside > * { max-width: 100%; }
figure { margin: .5rem 0; min-width: 0; }
svg { display: block; max-width: 100%; height: auto; }
.scroll > svg { max-width: none; }
svg text { font-size: 11px; fill: var(--text); }
.axis { stroke: var(--soft); }
.grid { stroke: var(--line); stroke-width: .7; }
polyline { fill: none; stroke-width: 1.4; stroke-linejoin: round; }
polyline.missing { stroke: var(--missing); stroke-width: 2; }
polyline.median { stroke: var(--text); stroke-width: 2; }
polyline.mark { stroke: var(--soft); stroke-dasharray: 4 3; }
polyline.c1, polyline.c2, polyline.c3, polyline.c4 { stroke-width: .8; }
.c1 { stroke: var(--c1); } .c2 { stroke: var(--c2); } .c3 { stroke: var(--c3); } .c4 { stroke: var(--c4); }
rect.observed { fill: var(--observed); }
rect.missing { fill: var(--missing); }
rect.bounded { fill: var(--bounded); }
rect.range { fill: var(--bounded-fill); }
.dots { fill: none; stroke-width: 3.2; stroke-linecap: round; stroke-opacity: .75; }
.dots.observed { stroke: var(--dot); }
.dots.missing { stroke: var(--missing); }
.dots.bounded { stroke: var(--bounded); }
rect.square { stroke: var(--back); stroke-width: 1; }
rect.positive { fill: var(--positive); }
rect.negative { fill: var(--negative); }
rect.pattern { stroke: var(--back); stroke-width: 1.5; }
svg text.pattern { fill: var(--back); font-weight: 700; }
svg text.pattern.observed { fill: var(--text); }
.keys { display: flex; flex-wrap: wrap; gap: .2rem 1.2rem; list-style: none; padding: 0; margin: .5rem 0;
  font-size: .9rem; }
.keys li { overflow-wrap: anywhere; }
.keys svg polyline { stroke-width: 3; }
.keys svg .dots { stroke-width: 6; }
.keys svg { display: inline-block; vertical-align: -.1em; margin-right: .35rem; }
footer { color: var(--soft); font-size: .85rem; padding: 2rem 1rem; }
@media (max-width: 40rem) {
  table { font-size: .8rem; } th, td { padding: .25rem .4rem; } thead th { max-width: 7.5rem; }
  tbody th, td.text { min-width: 5rem; max-width: 9rem; } }
@media print { nav, .skip { display: none; } section, figure { break-inside: avoid; } }
)";

}  // namespace ullage::host

#endif
