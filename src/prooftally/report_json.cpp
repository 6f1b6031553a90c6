#include "prooftally/report_json.h"

#include "prooftally/json_text.h"
#include "prooftally/model.h"

#include <iostream>

// Keys are written in sorted order, as Qt's JSON objects hold them, so that
// the same files give the same bytes.
namespace {

void count(std::string& out, char const* key, long long value, bool last = false) {
    append_json_key(out, key);
    append_json_number(out, value);
    if (!last)
        out += ',';
}

void text(std::string& out, char const* key, std::string const& value, bool last = false) {
    append_json_key(out, key);
    append_json_string(out, value);
    if (!last)
        out += ',';
}

void status(std::string& out, pos::status_t s) {
    out += '"';
    out += pos::strOfProofStatus(s).toLatin1().constData();
    out += '"';
}

void mechanisms(std::string& out, pos::metrics_t const& metrics) {
    append_json_key(out, "mechanisms");
    out += '[';
    char const* between = "";
    for (auto const& [mech_name, mech] : metrics.mechanisms) {
        out += between;
        between = ",";
        out += '{';
        count(out, "disproved", mech->nb_disproved);
        append_json_key(out, "drivers");
        out += '[';
        char const* driver_between = "";
        for (auto const& [driver_name, driver] : mech->drivers) {
            out += driver_between;
            driver_between = ",";
            out += '{';
            count(out, "disproved", driver->nb_disproved);
            text(out, "name", driver_name);
            count(out, "proved", driver->nb_proved);
            count(out, "unknown", driver->nb_unknown);
            count(out, "unproved", driver->nb_unproved, true);
            out += '}';
        }
        out += "],";
        text(out, "name", mech_name);
        count(out, "proved", mech->nb_proved);
        count(out, "unknown", mech->nb_unknown);
        count(out, "unproved", mech->nb_unproved);
        count(out, "unreliable", mech->nb_unreliably_proved, true);
        out += '}';
    }
    out += "],";
}

// The counters before "mechanisms" and after it, around the keys between.
void counters_head(std::string& out, pos::metrics_t const& metrics) {
    count(out, "disproved", metrics.nb_disproved);
    count(out, "external", metrics.nb_ext);
    count(out, "goals", metrics.nb_po);
    count(out, "internal", metrics.nb_int);
    mechanisms(out, metrics);
}

void counters_tail(std::string& out, pos::metrics_t const& metrics) {
    count(out, "proved", metrics.nb_proved);
    count(out, "unproved", metrics.nb_unproved);
    count(out, "unreliable", metrics.nb_unreliably_proved, true);
}

// Goals by obligation, the tag once for all its goals:
// [TAG, TAG_OCCURRENCE, OBLIGATION, GOAL...], each goal
// [NUMBER, LINE, STATUS, [MECHANISM, STATUS, DRIVER, STATUS...]...].
void obligations(std::string& out, component_t const& c) {
    append_json_key(out, "obligations");
    out += '[';
    goal_list_t const& goals = c.goals;
    bool open = false;
    std::uint32_t obligation = 0;
    for (goal_t const& g : goals) {
        if (!open || g.obligation != obligation) {
            out += open ? "],[" : "[";
            open = true;
            obligation = g.obligation;
            goal_obligation_t const& o = goals.obligation(g);
            append_json_string(out, goals.tag(g));
            out += ',';
            append_json_number(out, o.tag_occurrence);
            out += ',';
            append_json_number(out, o.number);
        }
        out += ",[";
        append_json_number(out, g.number);
        out += ',';
        append_json_number(out, g.line);
        out += ',';
        status(out, g.status);
        for (auto r = goals.results_begin(g), end = goals.results_end(g); r != end; ++r) {
            out += r->driver ? "," : r == goals.results_begin(g) ? ",[" : "],[";
            append_json_string(out, goals.name(*r));
            out += ',';
            status(out, r->status);
        }
        out += goals.results_begin(g) == goals.results_end(g) ? "]" : "]]";
    }
    out += open ? "]]," : "],";
}

void findings(std::string& out, std::vector<finding_t> const& list) {
    append_json_key(out, "findings");
    out += '[';
    char const* between = "";
    for (finding_t const& f : list) {
        out += between;
        between = ",";
        out += '{';
        text(out, "component", f.component);
        text(out, "file", f.file);
        count(out, "goal", f.goal);
        text(out, "kind", f.kind);
        count(out, "line", f.line);
        text(out, "message", finding_line(f));
        text(out, "new", f.new_value);
        count(out, "obligation", f.obligation);
        text(out, "old", f.old_value);
        text(out, "results", f.results);
        text(out, "tag", finding_tag(f), true);
        out += '}';
    }
    out += "],";
}

} // namespace

char const* po_file_state_word(pos::po_read_t state) {
    switch (state) {
    case pos::po_read_t::read:
        return "read";
    case pos::po_read_t::unopened:
        return "missing";
    case pos::po_read_t::malformed:
        return "malformed";
    }
    return "missing";
}

char const* database_state_word(database_state_t state) {
    char const* const words[] = {"read", "missing", "malformed", "empty"};
    return words[static_cast<int>(state)];
}

void write_json_head(std::ostream& out) {
    out << "{\"components\":[";
}

void write_json_component(std::ostream& out, component_t const& c, std::size_t at,
                          std::string& buffer) {
    buffer.assign(at ? ",\n{" : "\n{");
    counters_head(buffer, c.metrics);
    text(buffer, "name", c.name);
    obligations(buffer, c);
    text(buffer, "po_file", c.path);
    text(buffer, "po_file_state", po_file_state_word(c.read));
    counters_tail(buffer, c.metrics);
    buffer += '}';
    out.write(buffer.data(), static_cast<std::streamsize>(buffer.size()));
}

void write_json_tail(std::ostream& out, report_t const& report) {
    collection_t const& collected = report.collected;
    std::string rest = "\n],";
    text(rest, "database", collected.database);
    text(rest, "database_state", database_state_word(collected.database_state));
    if (report.gated)
        findings(rest, report.findings);
    text(rest, "project", report.project);
    text(rest, "report", "prooftally");
    append_json_key(rest, "total");
    rest += '{';
    counters_head(rest, report.total);
    counters_tail(rest, report.total);
    rest += "},";
    count(rest, "version", JSON_REPORT_VERSION, true);
    rest += "}\n";
    out << rest;
    out.flush();
}
