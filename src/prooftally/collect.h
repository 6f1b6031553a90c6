// Collection of every component's metrics and their total.
#ifndef COLLECT_H
#define COLLECT_H

#include "pos/pos.h"

#include <optional>
#include <string>
#include <vector>

// One component of the project, in the order of the project database.
struct component_t {
    std::string name; // UTF-8 bytes, as the database lists it
    std::string path; // of its PO file
    pos::po_read_t read = pos::po_read_t::unopened;
    pos::metrics_t metrics;                // all zero when the file was not read
    std::vector<pos::goal_detail_t> goals; // only when asked for
};

using component_list_t = std::vector<component_t>;

// A status value outside the vocabulary, where it stopped the collection.
struct unknown_status_t {
    std::string path;
    long long line = 0; // 0 when unknown
    std::string value;
};

struct collection_t {
    std::string database; // its path
    bool database_read = false;
    component_list_t components;
    // The first PO file in database order that holds a status value outside
    // the vocabulary. Collection stops there and the run must not report.
    std::optional<unknown_status_t> unknown_status;
};

// At most this many threads count the components.
constexpr std::size_t MAX_WORKERS = 8;

// Reads bdp/project.db, then bdp/NAME.pos for every component it lists, the
// files counted on as many threads as the machine has (up to MAX_WORKERS);
// with `goals`, every goal is listed too. Files that cannot be read leave
// their component's record at zero.
collection_t collect_metrics(std::string const& bdp, std::string const& project,
                             bool goals = false);

// Adds `metrics` into `total`, merging mechanisms and drivers by name.
void add_to_total(pos::metrics_t& total, pos::metrics_t const& metrics);

#endif
