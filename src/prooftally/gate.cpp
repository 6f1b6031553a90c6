#include "prooftally/gate.h"

#include "prooftally/report_json.h"

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

// A tag as one line can show it: quotes, backslashes and control characters
// escaped.
std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned char>(c));
            result += escaped;
        } else {
            result += c;
        }
    }
    return result + "\"";
}

std::string word(pos::status_t status) {
    return pos::strOfProofStatus(status).toStdString();
}

// "Arith: Proved [cvc: Proved, z3: Unknown], Induct: Unproved".
std::string results_text(goal_list_t const& goals, goal_t const& goal) {
    std::string text;
    bool in_drivers = false;
    for (auto r = goals.results_begin(goal), end = goals.results_end(goal); r != end; ++r) {
        if (r->driver)
            text += in_drivers ? ", " : " [";
        else
            text += in_drivers ? "], " : text.empty() ? "" : ", ";
        in_drivers = r->driver;
        text += goals.name(*r);
        text += ": " + word(r->status);
    }
    return in_drivers ? text + "]" : text;
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

} // namespace

finding_t goal_finding(component_t const& c, std::size_t at, goal_t const& g) {
    finding_t f;
    goal_obligation_t const& o = c.goals.obligation(g);
    f.kind = kind_of(g.status);
    f.component = c.name;
    f.file = c.path;
    f.line = g.line;
    if (o.tag_size)
        f.tag = c.goals.shared_tag(g);
    f.tag_occurrence = o.tag_occurrence;
    f.obligation = o.number;
    f.goal = g.number;
    f.new_value = word(g.status);
    f.results = results_text(c.goals, g);
    f.at = at;
    return f;
}

finding_t file_finding(component_t const& c, std::size_t at) {
    finding_t f;
    f.kind = f.new_value = po_file_state_word(c.read);
    f.component = c.name;
    f.file = c.path;
    f.at = at;
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
    for (goal_t const& g : c.goals)
        if (wanted(which, g.status))
            found(goal_finding(c, at, g));
}

std::string obligation_key(std::string_view tag, std::uint32_t occurrence,
                           std::uint32_t obligation) {
    std::string key = tag.empty() ? "obligation " + std::to_string(obligation) : quoted(tag);
    if (!tag.empty() && occurrence > 1)
        key += " #" + std::to_string(occurrence);
    return key;
}

std::string goal_key(std::string const& obligation, std::uint32_t number) {
    return obligation + " goal " + std::to_string(number);
}

std::string obligation_name(goal_list_t const& goals, goal_t const& goal) {
    goal_obligation_t const& o = goals.obligation(goal);
    return obligation_key(goals.tag(goal), o.tag_occurrence, o.number);
}

std::string const& finding_tag(finding_t const& f) {
    static std::string const none;
    return f.tag ? *f.tag : none;
}

std::string finding_label(finding_t const& f) {
    return goal_key(obligation_key(finding_tag(f), f.tag_occurrence, f.obligation), f.goal);
}

std::string finding_text(finding_t const& f) {
    if (f.kind == "database")
        return f.new_value;
    std::string const after = f.results.empty() ? "" : " (" + f.results + ")";
    if (f.kind == "gone")
        return "no longer in the project" + after;
    if (f.kind == "counts")
        return f.results;
    std::string text = f.goal ? finding_label(f) + ": " : "PO file ";
    if (!f.old_value.empty())
        text += f.old_value + " -> ";
    if (f.goal) {
        text += f.new_value + after;
        return f.note.empty() ? text : text + " (" + f.note + ")";
    }
    text += f.new_value == "malformed" ? "not well-formed XML" : f.new_value;
    if (!f.note.empty())
        text += ": " + f.note;
    return f.results.empty() ? text : text + ", " + f.results;
}

std::string finding_line(finding_t const& f) {
    std::string line = f.file;
    if (f.line > 0)
        line += ':' + std::to_string(f.line);
    if (f.line > 0 && f.column > 0)
        line += ':' + std::to_string(f.column);
    if (f.kind != "database")
        line += ": " + f.component;
    return line + ": " + finding_text(f);
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
