// Collection of every component's metrics and their total.
#ifndef COLLECT_H
#define COLLECT_H

#include "prooftally/goals.h"

#include "pos/pos.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

// One component of the project, in the order of the project database.
struct component_t {
    std::string name; // UTF-8 bytes, as the database lists it
    std::string path; // of its PO file
    pos::po_read_t read = pos::po_read_t::unopened;
    pos::metrics_t metrics; // all zero when the file was not read
    goal_list_t goals;      // only when asked for, while handed on
    // Where the XML reader stopped in a PO file that is not well-formed, when
    // known: line 0 means the file as a whole.
    long long error_line = 0, error_column = 0;
    std::string error_reason;
};

using component_list_t = std::vector<component_t>;

// A status value outside the vocabulary, where it stopped the collection.
struct unknown_status_t {
    std::string path;
    long long line = 0; // 0 when unknown
    std::string value;
};

// How the project database was read: missing (cannot be opened), malformed
// (not well-formed XML; the components read before the error are listed),
// empty (read, but it lists no component).
enum class database_state_t { read, missing, malformed, empty };

struct collection_t {
    std::string database; // its path
    database_state_t database_state = database_state_t::missing;
    component_list_t components;
    // The first PO file in database order that holds a status value outside
    // the vocabulary. Collection stops there and the run must not report.
    std::optional<unknown_status_t> unknown_status;
};

// At most this many threads count the components.
constexpr std::size_t MAX_WORKERS = 8;

// Called once the database is read (components named, none counted yet),
// then on each component in database order as soon as it and those before it
// are counted, with its position. The goals are let go after the call.
struct collect_sink_t {
    std::function<void(collection_t const&)> listed;
    std::function<void(std::size_t, component_t const&)> counted;
};

// Reads bdp/project.db, then bdp/NAME.pos for every component it lists, the
// files counted on as many threads as the machine has (up to MAX_WORKERS);
// with `goals`, every goal is listed too, handed to `sink` and let go: only
// the few components counted ahead of the sink hold theirs at a time. Files
// that cannot be read leave their component's record at zero. The sink sees
// no component at or after the first one holding an unknown status.
collection_t collect_metrics(std::string const& bdp, std::string const& project, bool goals = false,
                             collect_sink_t const& sink = {});

// Adds `metrics` into `total`, merging mechanisms and drivers by name.
void add_to_total(pos::metrics_t& total, pos::metrics_t const& metrics);

#endif
