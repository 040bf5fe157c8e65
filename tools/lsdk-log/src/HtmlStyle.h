#pragma once

// The page's style: light and dark as the browser asks for, tables that become lists on a phone.
inline constexpr char kHtmlStyle[] = R"css(
:root{color-scheme:light dark;--back:#f6f7f9;--card:#fff;--text:#1b1f24;--soft:#57606a;--line:#d5dae0;
--good:#176f2c;--bad:#b3261e;--warn:#8a5300;--good-back:#e3f4e6;--bad-back:#fbe6e4;--warn-back:#fcf0d9;
--link:#0b57a4;--bar:#7d97b5}
@media(prefers-color-scheme:dark){:root{--back:#14171b;--card:#1d2126;--text:#e4e8ec;--soft:#9aa5b1;
--line:#363d45;--good:#7fd694;--bad:#ff9c93;--warn:#f3c46e;--good-back:#17341f;--bad-back:#441f1c;
--warn-back:#3d2f12;--link:#8fc1f5;--bar:#56708f}}
*{box-sizing:border-box}
body{margin:0 auto;max-width:70rem;padding:1rem;background:var(--back);color:var(--text);
font:1rem/1.5 system-ui,-apple-system,"Segoe UI",Roboto,sans-serif}
h1{font-size:1.4rem;margin:.2rem 0 .8rem}
h2{font-size:1.2rem;margin:2.2rem 0 .6rem;overflow-wrap:anywhere}
h3{font-size:1.05rem;margin:0;display:flex;flex-wrap:wrap;gap:.3rem .7rem;align-items:baseline}
h4{font-size:.8rem;margin:1.4rem 0 .4rem;color:var(--soft);text-transform:uppercase;letter-spacing:.05em}
a{color:var(--link)}
p{margin:.3rem 0}
code,.log{font:.85rem/1.45 ui-monospace,Consolas,"DejaVu Sans Mono",monospace;overflow-wrap:anywhere}
.log{display:block;padding:.35rem .55rem;margin:.3rem 0;background:var(--back);
border-left:3px solid var(--line);white-space:pre-wrap}
.soft{color:var(--soft)}.small{font-size:.85rem}
.tiles{display:grid;grid-template-columns:repeat(auto-fit,minmax(7rem,1fr));gap:.6rem}
.tile{background:var(--card);border:1px solid var(--line);border-radius:.5rem;padding:.5rem .8rem}
.tile b{display:block;font-size:1.4rem;line-height:1.2}
.card{background:var(--card);border:1px solid var(--line);border-radius:.6rem;padding:1rem;margin:0 0 1rem}
.badge{display:inline-block;border-radius:1rem;padding:0 .65rem;font-size:.85rem;font-weight:600;
white-space:nowrap}
.good{color:var(--good);background:var(--good-back)}.bad{color:var(--bad);background:var(--bad-back)}
.warn{color:var(--warn);background:var(--warn-back)}
dl{display:grid;grid-template-columns:max-content 1fr;gap:.15rem 1rem;margin:.6rem 0 0}
dt{color:var(--soft)}dd{margin:0;overflow-wrap:anywhere}
table{border-collapse:collapse;width:100%}
th{text-align:left;font-size:.85rem;color:var(--soft);font-weight:600;min-width:5.6rem}
.users th:first-child{min-width:11rem}
th,td{padding:.4rem .7rem .4rem 0;border-bottom:1px solid var(--line);vertical-align:top;
overflow-wrap:anywhere}
tr:last-child td{border-bottom:0}
.steps{list-style:none;margin:0;padding:0}
.steps li{display:grid;grid-template-columns:1.1rem 13rem 4.5rem 1fr;gap:.5rem;align-items:center;
padding:.12rem 0;position:relative}
.steps i{width:.75rem;height:.75rem;border-radius:50%;background:var(--good);justify-self:center;z-index:1}
.steps li.warn,.steps li.bad{background:none;color:inherit}
.steps li.warn i{background:var(--warn);border-radius:2px}
.steps li.bad i{background:var(--bad);border-radius:0;transform:rotate(45deg)}
.steps li:not(:last-child)::after{content:"";position:absolute;left:.5rem;top:50%;height:100%;
border-left:2px solid var(--line)}
.track{position:relative;height:.6rem;background:var(--back);border-radius:.3rem;overflow:hidden}
.track u{position:absolute;top:0;bottom:0;left:var(--a);width:var(--w);min-width:4px;
background:var(--bar);border-radius:.3rem}
details{border-top:1px solid var(--line);padding:.45rem 0}
summary{cursor:pointer;overflow-wrap:anywhere}
@media(max-width:40rem){
body{padding:.7rem}.card{padding:.8rem}
dl{grid-template-columns:1fr;gap:0}dd{margin:0 0 .4rem}
.steps li{grid-template-columns:1.1rem 1fr 4.5rem}.track{display:none}
thead{display:none}table,tbody,tr,td{display:block}
tr{border-bottom:1px solid var(--line);padding:.4rem 0}tr:last-child{border-bottom:0}
td{border:0;padding:.1rem 0}
td::before{content:attr(data-label);display:block;font-size:.78rem;color:var(--soft)}
}
@media print{body{background:none;max-width:none}}
)css";
