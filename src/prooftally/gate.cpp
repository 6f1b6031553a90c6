#include "prooftally/gate.h"

#include "prooftally/report_json.h"

#include <cstdio>
#include <iostream>
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
std::string quoted(std::string const& text) {
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
std::string results_text(pos::goal_detail_t const& goal) {
    std::string text;
    for (auto const& m : goal.mechanisms) {
        text += (text.empty() ? "" : ", ") + m.name + ": " + word(m.status);
        std::string drivers;
        for (auto const& d : m.drivers)
            drivers += (drivers.empty() ? "" : ", ") + d.name + ": " + word(d.status);
        if (!drivers.empty())
            text += " [" + drivers + "]";
    }
    return text;
}

finding_t goal_finding(char const* kind, component_t const& c, named_goal_t const& g) {
    finding_t f{kind,
                c.name,
                c.path,
                g.goal->line,
                g.goal->tag,
                g.goal->obligation,
                g.goal->number,
                g.label(),
                {},
                word(g.goal->status),
                results_text(*g.goal)};
    return f;
}

finding_t file_finding(component_t const& c) {
    char const* state = po_file_state_word(c.read);
    return {state, c.name, c.path, 0, {}, 0, 0, {}, {}, state, {}};
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

void select(fail_on_t const& which, collection_t const& collected,
            std::function<void(finding_t const&)> const& found) {
    for (component_t const& c : collected.components) {
        if ((which.missing && c.read == pos::po_read_t::unopened) ||
            (which.malformed && c.read == pos::po_read_t::malformed))
            found(file_finding(c));
        for (named_goal_t const& g : named_goals(c))
            if (wanted(which, g.goal->status))
                found(goal_finding(kind_of(g.goal->status), c, g));
    }
}

std::string goal_key(std::string const& tag, std::uint32_t occurrence, std::uint32_t obligation,
                     std::uint32_t number) {
    std::string key = tag.empty() ? "obligation " + std::to_string(obligation) : quoted(tag);
    if (!tag.empty() && occurrence > 1)
        key += " #" + std::to_string(occurrence);
    return key + " goal " + std::to_string(number);
}

std::string named_goal_t::label() const {
    return goal_key(goal->tag, tag_occurrence, goal->obligation, goal->number);
}

std::vector<named_goal_t> named_goals(component_t const& component) {
    std::vector<named_goal_t> named;
    std::map<std::string, std::uint32_t> tags; // obligations seen per tag
    std::uint32_t obligation = 0, occurrence = 0;
    for (pos::goal_detail_t const& g : component.goals) {
        if (g.obligation != obligation) {
            obligation = g.obligation;
            occurrence = g.tag.empty() ? 0 : ++tags[g.tag];
        }
        named.push_back({&g, occurrence});
    }
    return named;
}

std::string finding_line(finding_t const& f) {
    if (f.kind == "database")
        return f.file + ": " + f.new_value;
    std::string line = f.file;
    if (f.line > 0)
        line += ':' + std::to_string(f.line);
    line += ": " + f.component + ": ";
    if (f.kind == "gone")
        return line + "no longer in the project";
    if (!f.goal) {
        line += "PO file ";
        if (!f.old_value.empty())
            line += f.old_value + " -> ";
        return line + (f.new_value == "malformed" ? "not well-formed" : f.new_value);
    }
    line += f.label + ": ";
    if (!f.old_value.empty())
        line += f.old_value + " -> ";
    line += f.new_value;
    return f.results.empty() ? line : line + " (" + f.results + ")";
}

std::optional<finding_t> database_failure(collection_t const& collected) {
    finding_t f{"database", {}, collected.database, 0, {}, 0, 0, {}, {}, {}, {}};
    if (!collected.database_read)
        f.new_value = "the project database cannot be read";
    else if (collected.components.empty())
        f.new_value = "the project database lists no component";
    else
        return std::nullopt;
    return f;
}

std::vector<finding_t> failures(fail_on_t const& fail_on, collection_t const& collected) {
    std::vector<finding_t> found;
    if (fail_on.missing)
        if (auto database = database_failure(collected))
            found.push_back(*database);
    select(fail_on, collected, [&found](finding_t const& f) { found.push_back(f); });
    return found;
}

bool report_findings(std::vector<finding_t> const& findings) {
    for (finding_t const& f : findings)
        std::cerr << finding_line(f) << '\n';
    return !findings.empty();
}
