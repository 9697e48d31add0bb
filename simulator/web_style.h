#ifndef ZOR_SIMULATOR_WEB_STYLE_H
#define ZOR_SIMULATOR_WEB_STYLE_H

#include <string_view>

/// The style sheet of the recorder's pages. On a narrow screen the rows of a log become cards.
inline constexpr std::string_view kWebStyle = R"(:root {
    color-scheme: light dark;
    --page: #f4f5f7; --card: #fff; --line: #d9dde3; --text: #1c2430; --soft: #5b6675;
    --accent: #0b5cad; --stripe: #f8f9fb;
}
@media (prefers-color-scheme: dark) {
    :root {
        --page: #12161c; --card: #1b2129; --line: #323b47; --text: #e4e8ee; --soft: #98a4b3;
        --accent: #7db8f5; --stripe: #202731;
    }
}
* { box-sizing: border-box; }
body {
    margin: 0; background: var(--page); color: var(--text);
    font: 1rem/1.45 system-ui, sans-serif;
}
header { background: var(--card); border-bottom: 1px solid var(--line); }
nav, main { max-width: 72rem; margin: 0 auto; padding: .75rem 1rem; }
nav { display: flex; flex-wrap: wrap; gap: .25rem 1.25rem; }
nav a { padding: .25rem 0; color: var(--soft); text-decoration: none; }
nav a:hover { color: var(--accent); }
nav a[aria-current] {
    color: var(--text); font-weight: 600; box-shadow: 0 2px var(--accent);
}
h1 { margin: .5rem 0 .25rem; font-size: 1.6rem; }
h2 { margin: 0 0 .5rem; font-size: 1rem; overflow-wrap: anywhere; }
a { color: var(--accent); }
.note { margin: 0 0 1rem; color: var(--soft); }
.columns { columns: 19rem; column-gap: 1rem; }
.columns section { break-inside: avoid; margin-bottom: 1rem; }
section { padding: 1rem; background: var(--card); border: 1px solid var(--line); }
section, table, .button { border-radius: .5rem; }
section table { width: 100%; border: 0; }
section th, section td { padding: .3rem 0; border-top: 1px solid var(--line); text-align: left; }
section tr:first-child > * { border-top: 0; }
section th { width: 50%; vertical-align: top; padding-right: 1rem; color: var(--soft); font-weight: 400; }
section td { overflow-wrap: anywhere; }
.values th { width: 4rem; }
.values td { overflow-wrap: break-word; vertical-align: top; }
.values td + td { width: 7.5rem; color: var(--soft); }
section pre { margin: 0; font-size: .8rem; white-space: pre-wrap; overflow-wrap: anywhere; }
.index { columns: 15rem; margin: 0 0 1.5rem; padding: 0; list-style: none; }
.index li { padding: .1rem 0; break-inside: avoid; }
:target { border-color: var(--accent); }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
.log table {
    width: 100%; border: 1px solid var(--line); border-collapse: separate; border-spacing: 0;
    background: var(--card); overflow: hidden;
}
.log th, .log td { padding: .45rem .75rem; border: 0; text-align: left; vertical-align: top; }
.log th { color: var(--soft); font-size: .85rem; border-bottom: 1px solid var(--line); }
.log tr:nth-child(odd) td { background: var(--stripe); }
.log td { overflow-wrap: anywhere; white-space: pre-wrap; }
.log td:first-child { width: 12rem; white-space: nowrap; color: var(--soft); }
.log td:last-child { color: var(--soft); }
.paging { display: flex; flex-wrap: wrap; align-items: center; gap: .5rem; margin: 0 0 1rem; }
.paging span { padding: 0 .5rem; color: var(--soft); }
.log table + .paging { margin-top: 1rem; }
.button {
    padding: .4rem .8rem; border: 1px solid var(--line); background: var(--card);
    text-decoration: none; font-size: .9rem;
}
.button[aria-disabled] { color: var(--soft); opacity: .55; }
@media (max-width: 40rem) {
    nav { gap: .25rem .8rem; font-size: .9rem; }
    .log table, .log tbody, .log tr, .log td { display: block; }
    .log table { border: 0; background: none; overflow: visible; }
    .log tr:first-child { display: none; }
    .log tr {
        margin-bottom: .5rem; padding: .5rem .75rem; background: var(--card);
        border: 1px solid var(--line); border-radius: .5rem;
    }
    .log td, .log tr:nth-child(odd) td { padding: 0; background: none; }
    .log td:first-child { width: auto; font-size: .8rem; }
    .log td:last-child { font-size: .85rem; }
    .paging { display: grid; grid-template-columns: 1fr 1fr; text-align: center; }
    .paging span { grid-column: 1 / 3; grid-row: 1; }
}
)";

#endif
