#include "prooftally/report_dashboard.h"

#include <QString>
#include <QVector>

#include <algorithm>
#include <cstdint>

namespace {

// Okabe and Ito's palette, which people with any common colour vision
// deficiency tell apart; each status has a pattern of its own as well, so
// that a grey print or a reader who sees no colour loses nothing.
// On screen, each row of the component table is a grid of the table's fixed
// columns, so that its bodies can skip layout while off screen (a table's
// bodies cannot); print keeps the table.
char const* const STYLE = R"(
:root{--pr:#0072b2;--unr:#56b4e9;--unp:#e69f00;--dis:#d55e00;--unk:#8c8c8c;--ink:#1a1a1a;--mute:#555;--line:#d0d0d0}
*{box-sizing:border-box}
body{margin:0 auto;max-width:1400px;padding:1.5rem;font:15px/1.45 "DejaVu Sans",Arial,sans-serif;color:var(--ink);background:#fff;-webkit-print-color-adjust:exact;print-color-adjust:exact}
h1{font-size:1.9rem;margin:.1rem 0;overflow-wrap:anywhere}
h2{font-size:1.3rem;margin:2rem 0 .5rem;border-bottom:2px solid var(--ink)}
h3{font-size:1.05rem;margin:0 0 .4rem;overflow-wrap:anywhere}
code{overflow-wrap:anywhere}
.kicker,.db,.note{color:var(--mute);margin:.2rem 0}
.share{display:flex;flex-wrap:wrap;align-items:baseline;gap:.3rem 1rem;margin:1rem 0 .4rem}
.big{font-size:3.6rem;font-weight:bold;line-height:1}
.bar{display:flex;height:14px;min-width:3px;border:1px solid var(--ink);background:#fff}
.bar i{display:block;min-width:2px}
.top{height:34px}
.pr{background:var(--pr)}
.unr{background:repeating-linear-gradient(135deg,var(--unr) 0 4px,#fff 4px 6px)}
.unp{background:radial-gradient(circle,#1a1a1a 1.2px,transparent 1.6px) 0 0/6px 6px,var(--unp)}
.dis{background:repeating-linear-gradient(45deg,#1a1a1a 0 1.5px,transparent 1.5px 5px),repeating-linear-gradient(-45deg,#1a1a1a 0 1.5px,transparent 1.5px 5px),var(--dis)}
.unk{background:repeating-linear-gradient(0deg,#fff 0 2px,var(--unk) 2px 5px)}
.sw{display:inline-block;width:.95em;height:.95em;border:1px solid var(--ink);vertical-align:-.12em;margin-right:.3em}
.key,.facts{list-style:none;padding:0;margin:.5rem 0;display:flex;flex-wrap:wrap;gap:.3rem 1.2rem}
.facts li{padding:.1rem .5rem;border:1px solid var(--line);border-radius:3px}
.facts .warn,.mark{border:2px solid var(--dis);font-weight:bold}
.facts a{color:inherit}
.mark{display:inline-block;white-space:nowrap;margin-left:.4em;padding:0 .3em;border-radius:3px;font-size:.8rem;background:#fff3e0}
.none{color:var(--mute);font-style:italic;font-size:.85rem}
.alarm{border:2px solid var(--dis);background:#fff3e0;padding:.4rem .6rem;font-weight:bold}
.was{color:var(--mute)}
tr.line td{text-align:left;border-bottom:0;padding-top:0;font-size:.85rem}
table{border-collapse:collapse;width:100%}
th,td{padding:.25rem .4rem;border-bottom:1px solid var(--line);text-align:right;vertical-align:middle}
thead th{border-bottom:2px solid var(--ink);white-space:nowrap}
tbody th,tfoot th,thead th:first-child{text-align:left;font-weight:normal;overflow-wrap:anywhere}
tfoot th,tfoot td{font-weight:bold;border-top:2px solid var(--ink)}
#comp,.mechs table{table-layout:fixed}
#comp thead th,.mechs thead th{width:4.2em}
#comp th.name{width:22%}
.mechs thead th:first-child{width:26%}
#comp th.g,.mechs thead th.g{width:auto;text-align:left}
#comp td:nth-child(2){text-align:left}
td.hot{font-weight:bold;background:#fff3e0}
.gone td{text-align:left}
.mechs{display:grid;grid-template-columns:repeat(auto-fill,minmax(560px,1fr));gap:1.2rem 2.5rem}
.mechs tbody tr:first-child{font-weight:bold}
dl{display:grid;grid-template-columns:max-content 1fr;gap:.3rem 1rem}
dt{font-weight:bold}
dd{margin:0}
.tools{display:flex;flex-wrap:wrap;gap:.5rem 1.5rem;margin:.5rem 0}
thead th[tabindex]{cursor:pointer}
@media (max-width:640px){
body{padding:.6rem;font-size:13px}
.big{font-size:2.6rem}
.x{display:none}
#comp thead th,.mechs thead th{width:2.9em}
#comp th.name{width:30%}
thead .sw{display:none}
th,td{padding:.2rem .15rem}
.mechs{grid-template-columns:1fr}
dl{grid-template-columns:1fr}
dd{margin-bottom:.4rem}
}
@media print{
@page{size:A4;margin:12mm}
body{max-width:none;padding:0;font-size:9pt}
.tools{display:none}
h2{break-after:avoid}
tr,.mech{break-inside:avoid}
thead{display:table-header-group}
}
@media screen{
#comp,#comp thead,#comp tbody,#comp tfoot{display:block}
#comp tr{display:grid;grid-template-columns:22% minmax(0,1fr) repeat(7,4.2em)}
#comp th,#comp td{align-content:center}
#comp th.name{width:auto}
#comp [hidden]{display:none}
#comp tbody{--row:calc(1.45em + .5rem + 1px);content-visibility:auto;contain-intrinsic-block-size:auto calc(var(--rows,100) * var(--row))}
}
@media screen and (max-width:640px){
#comp tr{grid-template-columns:30% minmax(0,1fr) repeat(5,2.9em)}
#comp tbody{--row:calc(1.45em + .4rem + 1px)}
}
)";

// Sorting and filtering only: without it the page shows everything in
// database order.
char const* const SCRIPT = R"(
(function(){
var t=document.getElementById('comp'),bodies=[].slice.call(t.tBodies),rows=[].slice.call(t.querySelectorAll('tbody tr')),key=-1,dir=0;
var sizes=bodies.map(function(b){return b.rows.length;});
var tools=document.createElement('div');tools.className='tools';
tools.innerHTML='<label>Find a component <input type="search" id="q"></label>'+
'<label><input type="checkbox" id="hot"> only those not wholly proved or without a readable PO file</label>';
t.parentNode.insertBefore(tools,t);
var q=document.getElementById('q'),hot=document.getElementById('hot');
function name(r){var c=r.cells[0].firstChild;return c&&c.nodeType==3?c.nodeValue:'';}
// A body's height, while it is off screen, is estimated from its rows shown.
function fit(){bodies.forEach(function(b){var n=[].filter.call(b.rows,function(r){return !r.hidden;}).length;
b.hidden=!n;b.style.setProperty('--rows',n);});}
function filter(){var s=q.value.toLowerCase();rows.forEach(function(r){
r.hidden=(hot.checked&&!r.classList.contains('hot'))||name(r).toLowerCase().indexOf(s)<0;});fit();}
q.addEventListener('input',filter);hot.addEventListener('change',filter);
// A header sorts on the first click, reverses on the second and gives the
// database order back on the third. Each body keeps its number of rows.
function sort(i){dir=key!=i?1:dir==1?-1:0;key=dir?i:-1;
var v=rows.map(function(r,n){return [i?+r.cells[i].textContent:name(r),n,r];}),n=0;
if(dir)v.sort(function(x,y){var d=i?y[0]-x[0]:x[0]<y[0]?-1:x[0]>y[0]?1:0;return d*dir||x[1]-y[1];});
[].forEach.call(t.tHead.rows[0].cells,function(h,n){h.setAttribute('aria-sort',n==key?(dir==(n?1:-1)?'descending':'ascending'):'none');});
bodies.forEach(function(b,k){var f=document.createDocumentFragment();
for(var end=n+sizes[k];n<end;++n)f.appendChild(v[n][2]);b.appendChild(f);});fit();}
[].forEach.call(t.tHead.rows[0].cells,function(h,i){if(i==1)return;h.tabIndex=0;
h.addEventListener('click',function(){sort(i);});
h.addEventListener('keydown',function(e){if(e.key=='Enter'||e.key==' '){e.preventDefault();sort(i);}});});
})();
)";

void append_utf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xc0 | c >> 6);
        out += char(0x80 | (c & 0x3f));
    } else if (c < 0x10000) {
        out += char(0xe0 | c >> 12);
        out += char(0x80 | (c >> 6 & 0x3f));
        out += char(0x80 | (c & 0x3f));
    } else {
        out += char(0xf0 | c >> 18);
        out += char(0x80 | (c >> 12 & 0x3f));
        out += char(0x80 | (c >> 6 & 0x3f));
        out += char(0x80 | (c & 0x3f));
    }
}

// A name as HTML; an empty one would leave nothing to see or click.
std::string html_name(std::string const& name) {
    return name.empty() ? "<em>(empty name)</em>" : html_text(name);
}

// The share `part` / `whole` in per cent with one decimal, rounded down so
// that 100% means every goal.
std::string percent(std::uint64_t part, std::uint64_t whole) {
    std::uint64_t const tenths = whole ? part * 1000 / whole : 0;
    return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + '%';
}

struct segment_t {
    char const* status; // CSS class of its pattern
    std::uint32_t count;
};

// A stacked bar `scale` wide (a CSS width); each segment grows with its count.
void write_bar(std::ostream& out, std::vector<segment_t> const& segments, std::string const& scale,
               char const* extra_class = "") {
    out << "<span class=\"bar" << extra_class << "\" style=\"width:" << scale << "\">";
    for (auto const& segment : segments)
        if (segment.count)
            out << "<i class=\"" << segment.status << "\" style=\"flex:" << segment.count
                << "\"></i>";
    out << "</span>";
}

std::vector<segment_t> goal_segments(pos::metrics_t const& m) {
    return {{"pr", m.nb_proved},
            {"unr", m.nb_unreliably_proved},
            {"unp", m.nb_unproved},
            {"dis", m.nb_disproved}};
}

void write_head(std::ostream& out, std::string const& project) {
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<title>"
        << html_text(project) << " \u2013 proof obligations</title>\n<style>" << STYLE
        << "</style>\n</head>\n<body>\n";
}

// The count of components for which `has` holds, as a fact of the header.
template <typename Predicate>
void write_fact(std::ostream& out, collection_t const& collected, char const* what, Predicate has) {
    std::size_t count = 0;
    for (component_t const& component : collected.components)
        count += has(component.metrics, component.read) ? 1 : 0;
    out << (count ? "<li class=\"warn\">\u26a0 " : "<li>") << what << ": " << count << "</li>";
}

char const* database_problem(database_state_t state) {
    switch (state) {
    case database_state_t::missing:
        return "cannot be read: no component is shown";
    case database_state_t::malformed:
        return "is not well-formed XML: only the components listed before the error are shown";
    case database_state_t::empty:
        return "lists no component";
    default:
        return nullptr;
    }
}

void write_header(std::ostream& out, report_t const& report) {
    collection_t const& collected = report.collected;
    pos::metrics_t const& total = report.total;
    out << "<header>\n<p class=\"kicker\">prooftally \u00b7 proof obligations of the project</p>\n"
        << "<h1>" << html_name(report.project) << "</h1>\n"
        << "<p class=\"db\">Project database <code>" << html_text(collected.database)
        << "</code></p>\n";
    if (char const* problem = database_problem(collected.database_state))
        out << "<p class=\"alarm\">\u26a0 The project database <code>"
            << html_text(collected.database) << "</code> " << problem << ".</p>\n";
    out << "<div class=\"share\"><span class=\"big\">"
        << (total.nb_po ? percent(total.nb_proved, total.nb_po) : "\u2013")
        << "</span><span>of the goals proved (" << total.nb_proved << " of " << total.nb_po
        << ")</span>";
    if (report.since)
        out << "<span class=\"was\">baseline: "
            << (report.since->goals ? percent(std::uint64_t(report.since->proved),
                                              std::uint64_t(report.since->goals))
                                    : "\u2013")
            << " (" << report.since->proved << " of " << report.since->goals << ")</span>";
    out << "</div>\n";
    write_bar(out, goal_segments(total), "100%", " top");
    out << "\n<ul class=\"key\">";
    char const* const words[] = {"proved", "unreliably proved", "unproved", "disproved"};
    auto const segments = goal_segments(total);
    for (std::size_t i = 0; i < segments.size(); ++i)
        out << "<li><i class=\"sw " << segments[i].status << "\"></i>" << segments[i].count << ' '
            << words[i] << "</li>";
    out << "</ul>\n<ul class=\"facts\"><li>"
        << "Components: " << collected.components.size() << "</li>";
    write_fact(out, collected, "With disproved goals",
               [](pos::metrics_t const& m, pos::po_read_t) { return m.nb_disproved > 0; });
    write_fact(out, collected, "With unproved goals",
               [](pos::metrics_t const& m, pos::po_read_t) { return m.nb_unproved > 0; });
    write_fact(out, collected, "Missing PO files", [](pos::metrics_t const&, pos::po_read_t read) {
        return read == pos::po_read_t::unopened;
    });
    write_fact(out, collected, "PO files not well-formed",
               [](pos::metrics_t const&, pos::po_read_t read) {
                   return read == pos::po_read_t::malformed;
               });
    std::size_t const lost = report.lost_components().size();
    if (report.since && lost == 0)
        out << "<li>\u2713 No proof lost since the baseline</li>";
    else if (report.since)
        out << "<li class=\"warn\">\u26a0 <a href=\"#lost\">Components that lost proofs since "
               "the baseline</a>: "
            << lost << "</li>";
    if (report.fail_on.any()) {
        std::size_t const failed =
            std::count_if(report.findings.begin(), report.findings.end(),
                          [](finding_t const& f) { return !f.since && f.kind != "database"; });
        out << (failed ? "<li class=\"warn\">\u26a0 " : "<li>")
            << "<a href=\"#failed\">Failed checks</a>: " << failed << "</li>";
    }
    out << "</ul>\n</header>\n<main>\n";
}

// One table body per component: its row, then the lines of what it lost.
void write_lost(std::ostream& out, report_t const& report) {
    out << "<section id=\"lost\">\n<h2>Lost since the baseline</h2>\n";
    std::vector<std::size_t> const lost = report.lost_components();
    if (lost.empty()) {
        out << "<p>No component lost a proof since the baseline.</p>\n</section>\n";
        return;
    }
    out << "<p class=\"note\">Components in database order, then those no longer listed, with "
           "the counts that moved the wrong way (before \u2192 now) and what each lost.</p>\n"
           "<table>\n<thead><tr><th>Component</th><th>PO file</th><th>Proved</th><th>Unproved</"
           "th><th>Unreliable</th><th>Disproved</th></tr></thead>\n";
    char const* const counters[] = {"proved", "unproved", "unreliable", "disproved"};
    for (std::size_t const at : lost) {
        auto const& counts = report.since->counts;
        auto const moved = std::find_if(counts.begin(), counts.end(),
                                        [at](regression_t const& r) { return r.at == at; });
        auto const first = std::find_if(report.findings.begin(), report.findings.end(),
                                        [at](finding_t const& f) { return f.since && f.at == at; });
        out << "<tbody><tr><th>" << html_name(first->component) << "</th><td>";
        if (first->kind == "gone")
            out << "<span class=\"mark\">no longer listed</span>";
        else if (moved != counts.end() && moved->po_file_after != moved->po_file_before)
            out << moved->po_file_before << " \u2192 <span class=\"mark\">" << moved->po_file_after
                << "</span>";
        out << "</td>";
        for (char const* counter : counters) {
            auto const delta = moved == counts.end()
                                   ? std::vector<delta_t>::const_iterator{}
                                   : std::find_if(moved->deltas.begin(), moved->deltas.end(),
                                                  [counter](delta_t const& d) {
                                                      return d.counter == std::string(counter);
                                                  });
            if (moved == counts.end() || delta == moved->deltas.end())
                out << "<td></td>";
            else
                out << "<td class=\"hot\">" << delta->before << " \u2192 " << delta->after
                    << "</td>";
        }
        out << "</tr>\n";
        for (auto f = first; f != report.findings.end(); ++f)
            if (f->since && f->at == at)
                out << "<tr class=\"line\"><td colspan=\"6\"><code>" << html_text(finding_line(*f))
                    << "</code></td></tr>\n";
        out << "</tbody>\n";
    }
    out << "</table>\n</section>\n";
}

// What --fail-on found, where it lies.
void write_failed(std::ostream& out, report_t const& report) {
    out << "<section id=\"failed\">\n<h2>Failed checks</h2>\n";
    std::string lines;
    for (finding_t const& f : report.findings)
        if (!f.since && f.kind != "database")
            lines += "<li><code>" + html_text(finding_line(f)) + "</code></li>\n";
    if (lines.empty())
        out << "<p>Nothing that --fail-on names was found.</p>\n</section>\n";
    else
        out << "<ul class=\"goals\">\n" << lines << "</ul>\n</section>\n";
}

char const* const GOAL_COLUMNS =
    "<th>Po</th><th><i class=\"sw pr\"></i>Pr</th><th><i class=\"sw unr\"></i>Unr</th>"
    "<th><i class=\"sw dis\"></i>Dis</th><th><i class=\"sw unp\"></i>Unp</th>"
    "<th class=\"x\">Ext</th><th class=\"x\">Int</th>";

void write_counts(std::ostream& out, pos::metrics_t const& m) {
    out << "<td>" << m.nb_po << "</td><td>" << m.nb_proved << "</td><td"
        << (m.nb_unreliably_proved ? " class=\"hot\">" : ">") << m.nb_unreliably_proved
        << "</td><td" << (m.nb_disproved ? " class=\"hot\">" : ">") << m.nb_disproved << "</td><td"
        << (m.nb_unproved ? " class=\"hot\">" : ">") << m.nb_unproved << "</td><td class=\"x\">"
        << m.nb_ext << "</td><td class=\"x\">" << m.nb_int << "</td>";
}

void write_row(std::ostream& out, component_t const& component, std::uint32_t largest) {
    pos::metrics_t const& m = component.metrics;
    pos::po_read_t const read = component.read;
    bool const hot =
        read != pos::po_read_t::read || m.nb_unproved || m.nb_disproved || m.nb_unreliably_proved;
    out << (hot ? "<tr class=\"hot\"><th>" : "<tr><th>") << html_name(component.name);
    if (read == pos::po_read_t::unopened)
        out << "<span class=\"mark\">\u26a0 PO file missing</span>";
    else if (read == pos::po_read_t::malformed)
        out << "<span class=\"mark\">\u26a0 PO file not well-formed</span>";
    out << "</th><td>";
    if (read == pos::po_read_t::unopened)
        out << "<span class=\"none\">no PO file</span>";
    else if (m.nb_po == 0)
        out << "<span class=\"none\">no goals</span>";
    else
        write_bar(out, goal_segments(m), percent(m.nb_po, largest));
    out << "</td>";
    write_counts(out, m);
    out << "</tr>\n";
}

// The component table comes in bodies of this many rows: the browser lays out
// only the bodies near the screen (the style's content-visibility), which is
// what makes a page of thousands of components show at once. A body of fewer
// rows says how many, for the height it is given before it is laid out.
std::size_t const ROWS_PER_BODY = 100;

void write_components(std::ostream& out, collection_t const& collected,
                      pos::metrics_t const& total) {
    std::uint32_t largest = 0;
    for (component_t const& component : collected.components)
        largest = std::max(largest, component.metrics.nb_po);
    out << "<section id=\"components\">\n<h2>Components</h2>\n<p class=\"note\">In the order of "
           "the project database. Bars are drawn to scale: the full width stands "
           "for the goals of the largest component ("
        << largest << ").</p>\n<table id=\"comp\">\n<thead><tr><th class=\"name\">Component"
        << "</th><th class=\"g\">Goals</th>" << GOAL_COLUMNS << "</tr></thead>\n";
    std::size_t const count = collected.components.size();
    std::size_t at = 0;
    do {
        std::size_t const rows = std::min(count - at, ROWS_PER_BODY);
        if (rows == ROWS_PER_BODY)
            out << "<tbody>\n";
        else
            out << "<tbody style=\"--rows:" << rows << "\">\n";
        for (std::size_t const end = at + rows; at < end; ++at)
            write_row(out, collected.components[at], largest);
        out << "</tbody>\n";
    } while (at < count);
    out << "<tfoot><tr><th>Total</th><td></td>";
    write_counts(out, total);
    out << "</tr></tfoot>\n</table>\n</section>\n";
}

template <typename Record> std::uint32_t results(Record const& r) {
    return r.nb_proved + r.nb_disproved + r.nb_unknown + r.nb_unproved;
}

void write_mechanisms(std::ostream& out, pos::metrics_t const& total) {
    out << "<section id=\"mechanisms\">\n<h2>Prover mechanisms</h2>\n";
    if (total.mechanisms.empty()) {
        out << "<p>No goal holds a result of a prover mechanism.</p>\n</section>\n";
        return;
    }
    out << "<p class=\"note\">Results that each mechanism recorded, over all its drivers "
           "(Summary) and per driver; bars to the scale of the mechanism's Summary.</p>\n"
           "<div class=\"mechs\">\n";
    for (auto const& [mech_name, mech] : total.mechanisms) {
        std::uint32_t const all = results(*mech) + mech->nb_unreliably_proved;
        out << "<article class=\"mech\">\n<h3>" << html_name(mech_name) << "</h3>\n"
            << "<table>\n<thead><tr><th></th><th class=\"g\">Results</th><th><i class=\"sw "
               "pr\"></i>Pr"
               "</th><th><i class=\"sw unr\"></i>Unr</th><th><i class=\"sw dis\"></i>Dis</th>"
               "<th><i class=\"sw unk\"></i>Unk</th><th><i class=\"sw unp\"></i>Unp</th></tr>"
               "</thead>\n<tbody>\n<tr><th>Summary</th><td>";
        write_bar(out,
                  {{"pr", mech->nb_proved},
                   {"unr", mech->nb_unreliably_proved},
                   {"unk", mech->nb_unknown},
                   {"unp", mech->nb_unproved},
                   {"dis", mech->nb_disproved}},
                  all ? "100%" : "0%");
        out << "</td><td>" << mech->nb_proved << "</td><td>" << mech->nb_unreliably_proved
            << "</td><td>" << mech->nb_disproved << "</td><td>" << mech->nb_unknown << "</td><td>"
            << mech->nb_unproved << "</td></tr>\n";
        for (auto const& [driver_name, driver] : mech->drivers) {
            out << "<tr><th>" << html_name(driver_name) << "</th><td>";
            write_bar(out,
                      {{"pr", driver->nb_proved},
                       {"unk", driver->nb_unknown},
                       {"unp", driver->nb_unproved},
                       {"dis", driver->nb_disproved}},
                      percent(results(*driver), all));
            out << "</td><td>" << driver->nb_proved << "</td><td></td><td>" << driver->nb_disproved
                << "</td><td>" << driver->nb_unknown << "</td><td>" << driver->nb_unproved
                << "</td></tr>\n";
        }
        out << "</tbody>\n</table>\n</article>\n";
    }
    out << "</div>\n</section>\n";
}

void write_legend(std::ostream& out) {
    out << R"(<section id="legend">
<h2>Legend</h2>
<dl>
<dt>Po</dt><dd>goals counted in the component's PO file</dd>
<dt><i class="sw pr"></i>Pr</dt><dd>goals whose recorded status is proved; for a mechanism or driver, the goals it proved</dd>
<dt><i class="sw unr"></i>Unr</dt><dd>unreliably proved: proved, but by a means that is not trusted; drivers record no such result</dd>
<dt><i class="sw dis"></i>Dis</dt><dd>disproved: shown to be false</dd>
<dt><i class="sw unp"></i>Unp</dt><dd>unproved: no proof yet</dd>
<dt><i class="sw unk"></i>Unk</dt><dd>a mechanism's or driver's result whose status is unknown</dd>
<dt>Ext</dt><dd>goals that a prover mechanism proved</dd>
<dt>Int</dt><dd>goals that the built-in prover proved</dd>
<dt>Summary</dt><dd>a mechanism's results over all its drivers</dd>
<dt>Goals, Results</dt><dd>bars: proved, unreliably proved, unknown, unproved, disproved, from left to right; the numbers are in the columns beside them</dd>
<dt>PO file missing</dt><dd>the component's PO file could not be opened: its row is zeros, not an empty component</dd>
<dt>PO file not well-formed</dt><dd>the PO file is not well-formed XML and was counted as far as it could be read</dd>
</dl>
</section>
)";
}

} // namespace

std::string html_text(std::string const& bytes) {
    std::string out;
    out.reserve(bytes.size());
    QString const text = QString::fromUtf8(bytes.data(), int(bytes.size()));
    for (uint const c : text.toUcs4()) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            if (c < 0x20)
                append_utf8(out, 0x2400 + c);
            else if (c == 0x7f)
                append_utf8(out, 0x2421);
            else if ((c >= 0x80 && c < 0xa0) || (c >= 0xfdd0 && c <= 0xfdef) ||
                     (c & 0xfffe) == 0xfffe)
                append_utf8(out, 0xfffd);
            else
                append_utf8(out, c);
        }
    }
    return out;
}

void write_dashboard(std::ostream& out, report_t const& report) {
    write_head(out, report.project);
    write_header(out, report);
    if (report.since)
        write_lost(out, report);
    if (report.fail_on.any())
        write_failed(out, report);
    write_components(out, report.collected, report.total);
    write_mechanisms(out, report.total);
    write_legend(out);
    out << "</main>\n<script>" << SCRIPT << "</script>\n</body>\n</html>\n";
}
