// The checks a build can fail on, run on the collected records after the
// report is written: goal statuses and PO files named by --fail-on, and proofs
// lost since an earlier JSON report (--since).
#ifndef GATE_H
#define GATE_H

#include "prooftally/collect.h"

#include <optional>
#include <string>
#include <vector>

// What --fail-on lists, one flag per word.
struct fail_on_t {
    bool unproved = false;
    bool unreliable = false;
    bool disproved = false;
    bool missing = false;
    bool malformed = false;
};

// Parses a comma-separated list of the words above; nothing for an unknown word.
std::optional<fail_on_t> parse_fail_on(std::string const& list);

// One component of an earlier report: what a later run is compared with.
struct baseline_component_t {
    std::string name;
    std::string po_file_state;
    long long proved = 0, unproved = 0, unreliable = 0, disproved = 0;
};

// Reads the JSON report at `path`. On failure returns nothing and sets `error`.
std::optional<std::vector<baseline_component_t>> load_baseline(std::string const& path,
                                                               std::string& error);

// A counter that moved the wrong way since the baseline.
struct delta_t {
    char const* counter; // "proved", "unproved", "unreliable", "disproved"
    long long before, after;
};

// A component that lost proofs since the baseline, in baseline order.
struct regression_t {
    std::string component;
    bool gone = false; // no longer listed: `deltas` holds its proved count only
    // How its PO file was read then and now; they differ only when the file
    // became missing or malformed.
    std::string po_file_before, po_file_after;
    std::vector<delta_t> deltas;
};

// Compares the run with the baseline; components are matched by name, a
// repeated name occurrence by occurrence.
std::vector<regression_t> regressions(std::vector<baseline_component_t> const& baseline,
                                      collection_t const& collected);

// Each returns true, having named every offending component on standard error,
// when the gate fails.
bool failed_on(fail_on_t const& fail_on, collection_t const& collected);
bool regressed(std::vector<regression_t> const& found);

#endif
