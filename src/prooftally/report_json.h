// The JSON report: every component's record, how its PO file was read, and the
// total, in one document whose keys and order depend only on the files read.
// It is written as it is collected, one component at a time: the head, each
// component with its goals, then the rest.
#ifndef REPORT_JSON_H
#define REPORT_JSON_H

#include "prooftally/collect.h"

#include <ostream>
#include <string>

struct report_t;

// The version written; --since reads it and those before it.
constexpr int JSON_REPORT_VERSION = 3;

void write_json_head(std::ostream& out);
// The component at position `at` of the run, with its goals; `buffer` is
// reused from one call to the next.
void write_json_component(std::ostream& out, component_t const& component, std::size_t at,
                          std::string& buffer);
// The rest: the total, the database and, with a gate, what the gates found.
void write_json_tail(std::ostream& out, report_t const& report);

// The word that names how a PO file was read: "read", "missing", "malformed".
char const* po_file_state_word(pos::po_read_t state);
// And the project database: "read", "missing", "malformed", "empty".
char const* database_state_word(database_state_t state);

#endif
