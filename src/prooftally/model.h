// One run as every writer sees it: the collection, the total, the comparison
// with a baseline and what the gates found, each built once.
#ifndef MODEL_H
#define MODEL_H

#include "prooftally/gate.h"

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

report_t build_report(std::string const& bdp, std::string const& project, collection_t collected,
                      fail_on_t const& fail_on, baseline_t const* baseline,
                      std::string const& since_path);

#endif
