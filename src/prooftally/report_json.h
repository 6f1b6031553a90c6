// The JSON report: every component's record, how its PO file was read, and the
// total, in one document whose keys and order depend only on the files read.
#ifndef REPORT_JSON_H
#define REPORT_JSON_H

#include "prooftally/collect.h"

#include <ostream>

struct report_t;

// Writes the report as one JSON document. Every component lists its goals
// (collected with them); with a gate, what the gates found is part of it.
void write_json(std::ostream& out, report_t const& report);

// The word that names how a PO file was read: "read", "missing", "malformed".
char const* po_file_state_word(pos::po_read_t state);
// And the project database: "read", "missing", "malformed", "empty".
char const* database_state_word(database_state_t state);

#endif
