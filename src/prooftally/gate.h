// The checks a build can fail on, run on the collected records: goal
// statuses and PO files named by --fail-on, and proofs lost since an earlier
// JSON report (--since); and the goal listing (--goals). What they find names
// each goal where it lies, FILE:LINE.
#ifndef GATE_H
#define GATE_H

#include "prooftally/baseline.h"
#include "prooftally/collect.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What --fail-on and --goals list, one flag per word ("all" sets them all).
struct fail_on_t {
    bool unproved = false;
    bool unreliable = false;
    bool disproved = false;
    bool missing = false;
    bool malformed = false;
    bool all = false; // every goal, whatever its status
    bool any_goal() const { return unproved || unreliable || disproved || all; }
    bool any() const { return any_goal() || missing || malformed; }
};

// Parses a comma-separated list of the words above (and "all" when
// `all_word`); nothing for an unknown word.
std::optional<fail_on_t> parse_fail_on(std::string const& list, bool all_word = false);

// One thing a gate found.
struct finding_t {
    // --fail-on: unproved, unreliable, disproved (a goal), missing, malformed
    // (a PO file); since a baseline: lost, new (a goal), missing, malformed
    // (a PO file), counts (a component, by its counts), gone (a component no
    // longer listed); either: database.
    std::string kind;
    std::string component, file;
    long long line = 0, column = 0; // 0: the file as a whole
    // A goal's obligation, shared by the findings of its goals.
    std::shared_ptr<obligation_name_t const> name;
    std::uint32_t obligation = 0, goal = 0; // 0: not about one goal
    std::string old_value, new_value;       // statuses, or PO file states
    // Results, those that lost their proof ("Induct: Proved -> Unproved"), or
    // counts that moved the wrong way ("proved 4 -> 3").
    std::string results;
    // Said after the rest: "goals renumbered: 3 -> 4", or why a PO file is
    // not well-formed.
    std::string note;
    bool since = false; // found against the baseline
    // The component's position in the run; components that only the baseline
    // lists come after the others.
    std::size_t at = 0;
};

// A goal's tag, empty for none, and its label (see obligation_key).
std::string const& finding_tag(finding_t const& finding);
std::string finding_label(finding_t const& finding);

// The finding as a line for editors and CI annotators: FILE:LINE: what;
// what it says, without the place and the component.
std::string finding_line(finding_t const& finding);
// The same line appended to `out`.
void append_finding_line(text_buffer_t& out, finding_t const& finding);
std::string finding_text(finding_t const& finding);

// A goal, and a PO file as a whole (how it was read now), as --goals names
// them.
finding_t goal_finding(component_t const& component, std::size_t at, goal_t const& goal);
finding_t file_finding(component_t const& component, std::size_t at);

// The finding about the project database when it cannot be read or lists no
// component.
std::optional<finding_t> database_failure(collection_t const& collected);

// Calls `found` on the PO file and each goal of `component` (at `at`) that
// `which` names, in file order (what --fail-on finds and --goals lists).
void select(fail_on_t const& which, component_t const& component, std::size_t at,
            std::function<void(finding_t const&)> const& found);

// A counter that moved the wrong way since the baseline.
struct delta_t {
    char const* counter; // "proved", "unproved", "unreliable", "disproved"
    long long before, after;
};

// A component that lost proofs since the baseline, by its counts, in
// baseline order.
struct regression_t {
    std::string component;
    std::size_t at = 0; // as in finding_t
    std::string po_file;
    bool gone = false; // no longer listed: `deltas` holds its proved count only
    // How its PO file was read then and now; they differ only when the file
    // became missing or malformed.
    std::string po_file_before, po_file_after;
    std::vector<delta_t> deltas;
};

// A component's counts that moved the wrong way since its baseline record
// `old`; `now` null when it is no longer listed.
std::optional<regression_t> regression(baseline_component_t const& old, component_t const* now,
                                       std::size_t at, std::string const& bdp);

// Compares the run's counts with the baseline's; components are matched by
// name, a repeated name occurrence by occurrence.
std::vector<regression_t> regressions(baseline_t const& baseline, collection_t const& collected,
                                      std::string const& bdp);

// The count comparison as findings, for a baseline without goals.
std::vector<finding_t> count_findings(std::vector<regression_t> const& lost);

// How many goals a goal-by-goal comparison met: found in both, only in the
// baseline, only now.
struct goal_counts_t {
    std::size_t compared = 0, vanished = 0, added = 0;
};

// Compares component `c` (at `at`) goal by goal with its baseline record
// `old` (null when the baseline does not list it) and goals `then`: every
// goal that lost a proof, became disproved or is new and not proved, and its
// PO file when now missing or malformed, go to `found` in file order.
void compare_component(component_t const& c, std::size_t at, baseline_component_t const* old,
                       baseline_goals_t const& then, goal_counts_t& counts,
                       std::vector<finding_t>& found);

// Distinct goals of a component of the baseline.
std::size_t goal_count(baseline_goals_t const& then);

// A component that only the baseline lists, at `at`.
finding_t gone_finding(baseline_component_t const& old, std::size_t at);

#endif
