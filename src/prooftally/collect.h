// Collection of every component's metrics and their total.
#ifndef COLLECT_H
#define COLLECT_H

#include "pos/pos.h"

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Component name (UTF-8 bytes) and its record, in project-database order.
using component_list_t = std::list<std::pair<std::string, std::unique_ptr<pos::metrics_t>>>;

struct collection_t {
    component_list_t components;
    // How each component's PO file was read, in the order of `components`.
    std::vector<pos::po_read_t> reads;
    // Set when a PO file holds a status value outside the vocabulary: the
    // first such file in database order, the line and the value. Collection
    // stops there and the run must not report.
    struct unknown_status_t {
        std::string path;
        long long line = 0; // 0 when unknown
        std::string value;
    };
    std::optional<unknown_status_t> unknown_status;
};

// At most this many threads count the components.
constexpr std::size_t MAX_WORKERS = 8;

// Reads bdp/project.db, then bdp/NAME.pos for every component it lists, the
// files counted on as many threads as the machine has (up to MAX_WORKERS).
// Files that cannot be read leave their component's record at zero.
collection_t collect_metrics(std::string const& bdp, std::string const& project);

// Adds `metrics` into `total`, merging mechanisms and drivers by name.
void add_to_total(pos::metrics_t& total, pos::metrics_t const& metrics);

#endif
