// One run as every writer sees it: the collection, the total, the comparison
// with a baseline and what the gates found, each built once.
#ifndef MODEL_H
#define MODEL_H

#include "prooftally/gate.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

// The run compared with a baseline (--since).
struct since_t {
    std::string path; // as given
    int version = 2;
    long long goals = 0, proved = 0;                   // the baseline's total
    std::vector<regression_t> counts;                  // the count comparison, in baseline order
    std::size_t compared = 0, vanished = 0, added = 0; // goals, with version 2
    std::size_t regressions = 0;                       // findings against it
};

struct report_t {
    std::string bdp, project;
    collection_t collected;
    pos::metrics_t total;
    bool gated = false; // --fail-on or --since: the findings are the run's verdict
    fail_on_t fail_on;
    std::optional<since_t> since;
    // Each thing found once, in the order written: the project database, then
    // by component in database order (the PO file before its goals), then the
    // components that only the baseline lists. Where --fail-on and --since
    // find the same goal or file, the comparison's finding stands.
    std::vector<finding_t> findings;
    // The components that lost proofs since the baseline: positions as in
    // finding_t::at, in the order of the findings.
    std::vector<std::size_t> lost_components() const;
};

// Builds the report as the run is collected, each component's findings as
// soon as it is counted, so that its goals can be let go then: the
// collection's components keep their counts only.
class report_builder_t {
public:
    report_builder_t(std::string const& bdp, std::string const& project, fail_on_t const& fail_on,
                     baseline_t const* baseline, std::string const& since_path);
    // Whether the gates need every component's goals.
    bool needs_goals() const;
    // The project database read: what is found of it.
    void listed(collection_t const& collected);
    // The component at `at`, counted with its goals when needed: what the
    // gates find in it, in report().findings from the position returned.
    std::size_t counted(std::size_t at, component_t const& component);
    report_t const& report() const { return report_; }
    // The collection done: the components not yet seen, those that only the
    // baseline lists, the total and the count comparison.
    report_t finish(collection_t collected);
    // Why the baseline could not be read a second time, if so.
    std::string const& baseline_error() const { return baseline_error_; }

private:
    report_t report_;
    baseline_t const* baseline_;
    bool listed_ = false;
    std::size_t next_ = 0;                                   // components seen
    std::map<std::string, std::vector<std::size_t>> before_; // baseline positions by name
    std::map<std::string, std::size_t> seen_;
    std::vector<char> matched_;
    goal_counts_t counts_;
    baseline_goals_t then_; // a component's, its memory reused
    std::string baseline_error_;
};

#endif
