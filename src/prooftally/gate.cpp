#include "prooftally/gate.h"

#include "prooftally/report_json.h"

#include <charconv>
#include <cstdio>
#include <sstream>

std::optional<fail_on_t> parse_fail_on(std::string const& list, bool all_word) {
    fail_on_t result;
    std::istringstream words(list);
    std::string word;
    while (std::getline(words, word, ',')) {
        if (word == "unproved")
            result.unproved = true;
        else if (word == "unreliable")
            result.unreliable = true;
        else if (word == "disproved")
            result.disproved = true;
        else if (word == "missing")
            result.missing = true;
        else if (word == "malformed")
            result.malformed = true;
        else if (all_word && word == "all")
            result = {true, true, true, true, true, true};
        else
            return std::nullopt;
    }
    if (list.empty() || list.back() == ',')
        return std::nullopt;
    return result;
}

namespace {

template <typename Out> void append_number(Out& out, long long n) {
    char digits[24];
    auto const end = std::to_chars(digits, digits + sizeof digits, n).ptr;
    out += std::string_view(digits, static_cast<std::size_t>(end - digits));
}

// The --fail-on word of a status.
char const* kind_of(pos::status_t status) {
    char const* const words[] = {"unproved", "unknown", "unreliable", "proved", "disproved"};
    return words[status];
}

bool wanted(fail_on_t const& which, pos::status_t status) {
    return which.all || (status == pos::UNPROVED && which.unproved) ||
           (status == pos::UNRELIABLY_PROVED && which.unreliable) ||
           (status == pos::DISPROVED && which.disproved);
}

// The finding of goal `g` of the component that `f` already names.
void set_goal(finding_t& f, goal_list_t const& goals, goal_t const& g) {
    goal_obligation_t const& o = goals.obligation(g);
    f.kind = kind_of(g.status);
    f.line = g.line;
    if (f.name != goals.name(g))
        f.name = goals.name(g);
    f.obligation = o.number;
    f.goal = g.number;
    f.new_value = status_word(g.status);
    f.results = goals.results_text(g);
}

finding_t component_finding(component_t const& c, std::size_t at) {
    finding_t f;
    f.component = c.name;
    f.file = c.path;
    f.at = at;
    return f;
}

} // namespace

finding_t goal_finding(component_t const& c, std::size_t at, goal_t const& g) {
    finding_t f = component_finding(c, at);
    set_goal(f, c.goals, g);
    return f;
}

finding_t file_finding(component_t const& c, std::size_t at) {
    finding_t f = component_finding(c, at);
    f.kind = f.new_value = po_file_state_word(c.read);
    if (c.read == pos::po_read_t::malformed) {
        f.line = c.error_line;
        f.column = c.error_column;
        f.note = c.error_reason;
    }
    return f;
}

void select(fail_on_t const& which, component_t const& c, std::size_t at,
            std::function<void(finding_t const&)> const& found) {
    if ((which.missing && c.read == pos::po_read_t::unopened) ||
        (which.malformed && c.read == pos::po_read_t::malformed))
        found(file_finding(c, at));
    if (!which.any_goal())
        return;
    finding_t f = component_finding(c, at); // one for all, its memory reused
    for (goal_t const& g : c.goals)
        if (wanted(which, g.status)) {
            set_goal(f, c.goals, g);
            found(f);
        }
}

std::string const& finding_tag(finding_t const& f) {
    static std::string const none;
    return f.name ? f.name->tag : none;
}

namespace {

template <typename Out> void append_label(Out& out, finding_t const& f) {
    if (f.name)
        out += f.name->key;
    out += " goal ";
    append_number(out, f.goal);
}

// `text` in parentheses after a blank, when there is one.
template <typename Out> void append_aside(Out& out, std::string const& text) {
    if (text.empty())
        return;
    out += " (";
    out += text;
    out += ")";
}

template <typename Out> void append_text(Out& out, finding_t const& f) {
    if (f.kind == "database") {
        out += f.new_value;
        return;
    }
    if (f.kind == "gone") {
        out += "no longer in the project";
        append_aside(out, f.results);
        return;
    }
    if (f.kind == "counts") {
        out += f.results;
        return;
    }
    if (f.goal) {
        append_label(out, f);
        out += ": ";
    } else {
        out += "PO file ";
    }
    if (!f.old_value.empty()) {
        out += f.old_value;
        out += " -> ";
    }
    if (f.goal) {
        out += f.new_value;
        append_aside(out, f.results);
        append_aside(out, f.note);
        return;
    }
    if (f.new_value == "malformed")
        out += "not well-formed XML";
    else
        out += f.new_value;
    if (!f.note.empty()) {
        out += ": ";
        out += f.note;
    }
    if (!f.results.empty()) {
        out += ", ";
        out += f.results;
    }
}

template <typename Out> void append_line(Out& out, finding_t const& f) {
    out += f.file;
    if (f.line > 0) {
        out += ":";
        append_number(out, f.line);
    }
    if (f.line > 0 && f.column > 0) {
        out += ":";
        append_number(out, f.column);
    }
    if (f.kind != "database") {
        out += ": ";
        out += f.component;
    }
    out += ": ";
    append_text(out, f);
}

} // namespace

std::string finding_label(finding_t const& f) {
    std::string label;
    append_label(label, f);
    return label;
}

std::string finding_text(finding_t const& f) {
    std::string text;
    append_text(text, f);
    return text;
}

std::string finding_line(finding_t const& f) {
    std::string line;
    append_line(line, f);
    return line;
}

void append_finding_line(text_buffer_t& out, finding_t const& f) {
    append_line(out, f);
}

std::optional<finding_t> database_failure(collection_t const& collected) {
    finding_t f;
    f.kind = "database";
    f.file = collected.database;
    switch (collected.database_state) {
    case database_state_t::read:
        return std::nullopt;
    case database_state_t::empty:
        f.new_value = "the project database lists no component";
        break;
    default:
        f.new_value = "the project database cannot be read";
    }
    return f;
}
