#include "prooftally/report_junit.h"

#include "prooftally/report_dashboard.h"
#include "prooftally/report_json.h"

#include <vector>

namespace {

// One testcase: passed when `verdict` is null, else "failure" or "error".
struct test_case_t {
    std::string name, file;
    long long line = 0;
    char const* verdict = nullptr;
    std::string type, message;
    std::vector<std::string> lines; // what the run says of it, FILE:LINE: ...
};

// A suite's head, its cases written one at a time after it.
void write_suite_head(std::ostream& out, std::string const& classname, std::size_t tests,
                      std::size_t failures, std::size_t errors) {
    out << "  <testsuite name=\"" << classname << "\" tests=\"" << tests << "\" failures=\""
        << failures << "\" errors=\"" << errors << "\">\n";
}

void write_case(std::ostream& out, std::string const& classname, test_case_t const& c) {
    out << "    <testcase classname=\"" << classname << "\" name=\"" << html_text(c.name)
        << "\" file=\"" << html_text(c.file) << '"';
    if (c.line > 0)
        out << " line=\"" << c.line << '"';
    if (!c.verdict) {
        out << "/>\n";
        return;
    }
    out << ">\n      <" << c.verdict << " type=\"" << html_text(c.type) << "\" message=\""
        << html_text(c.message) << "\">";
    for (std::size_t i = 0; i < c.lines.size(); ++i)
        out << (i ? "\n" : "") << html_text(c.lines[i]);
    out << "</" << c.verdict << ">\n    </testcase>\n";
}

void write_suite(std::ostream& out, std::string const& name,
                 std::vector<test_case_t> const& cases) {
    std::size_t failures = 0, errors = 0;
    for (test_case_t const& c : cases)
        if (c.verdict)
            ++(c.verdict[0] == 'e' ? errors : failures);
    std::string const classname = html_text(name);
    write_suite_head(out, classname, cases.size(), failures, errors);
    for (test_case_t const& c : cases)
        write_case(out, classname, c);
    out << "  </testsuite>\n";
}

// The case of a PO file, the project database or a component no longer
// listed, from its first finding: an error, a failure when only its counts
// fell.
test_case_t whole_file_case(finding_t const& f, char const* name) {
    bool const counts = f.kind == "counts";
    return {name,
            f.file,
            f.line,
            counts ? "failure" : "error",
            counts ? "lost" : f.kind,
            finding_text(f),
            {}};
}

} // namespace

void write_junit_head(std::ostream& out, std::string const& project,
                      collection_t const& collected) {
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"" << html_text(project)
        << "\">\n";
    if (auto database = database_failure(collected)) {
        test_case_t c = whole_file_case(*database, "project database");
        c.type = database_state_word(collected.database_state);
        c.lines.push_back(finding_line(*database));
        write_suite(out, collected.database, {c});
    }
}

void write_junit_component(std::ostream& out, component_t const& component, std::size_t at,
                           finding_t const* next, finding_t const* end) {
    // The findings of the PO file before those of its goals.
    auto take = [&](std::uint32_t obligation, std::uint32_t goal, test_case_t& c) {
        finding_t const* first = nullptr;
        for (; next != end && next->obligation == obligation && next->goal == goal; ++next) {
            first = first ? first : next;
            c.lines.push_back(finding_line(*next));
        }
        return first;
    };
    test_case_t file;
    if (finding_t const* found = take(0, 0, file)) {
        std::vector<std::string> lines = std::move(file.lines);
        file = whole_file_case(*found, "PO file");
        file.lines = std::move(lines);
    }
    if (component.read != pos::po_read_t::read) {
        finding_t const state = file_finding(component, at);
        if (!file.verdict)
            file = whole_file_case(state, "PO file");
        file.verdict = "error";
        file.type = state.kind;
        if (file.lines.empty())
            file.lines.push_back(finding_line(state));
    }
    // The goals' cases are written one at a time: first what they count.
    std::size_t failures = 0, errors = 0;
    if (file.verdict)
        ++(file.verdict[0] == 'e' ? errors : failures);
    finding_t const* ahead = next;
    for (goal_t const& g : component.goals) {
        std::uint32_t const obligation = component.goals.obligation(g).number;
        bool found = false;
        for (; ahead != end && ahead->obligation == obligation && ahead->goal == g.number; ++ahead)
            found = true;
        failures += g.status != pos::PROVED || found;
    }
    std::string const classname = html_text(component.name);
    write_suite_head(out, classname, component.goals.size() + (file.verdict ? 1 : 0), failures,
                     errors);
    if (file.verdict)
        write_case(out, classname, file);
    test_case_t c;
    for (goal_t const& g : component.goals) {
        finding_t const goal = goal_finding(component, at, g);
        c = test_case_t{};
        c.name = finding_label(goal);
        c.file = goal.file;
        c.line = goal.line;
        finding_t const* found = take(goal.obligation, goal.goal, c);
        if (g.status != pos::PROVED || found) {
            c.verdict = "failure";
            c.type = goal.new_value;
            c.message = goal.results.empty() ? goal.new_value : goal.results;
            if (g.status == pos::PROVED) {
                // Proved still, but a mechanism or driver lost its proof.
                c.type = "lost";
                c.message = found->results;
            }
            if (c.lines.empty())
                c.lines.push_back(finding_line(goal));
        }
        write_case(out, classname, c);
    }
    out << "  </testsuite>\n";
}

void write_junit_tail(std::ostream& out, report_t const& report) {
    // Components that only the baseline lists.
    for (finding_t const& f : report.findings) {
        if (f.kind == "database" || f.at < report.collected.components.size())
            continue;
        test_case_t c = whole_file_case(f, "PO file");
        c.lines.push_back(finding_line(f));
        write_suite(out, f.component, {c});
    }
    out << "</testsuites>\n";
    out.flush();
}
