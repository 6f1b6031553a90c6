// The JSON report: every component's record, how its PO file was read, and the
// total, in one document whose keys and order depend only on the files read.
#ifndef REPORT_JSON_H
#define REPORT_JSON_H

#include "prooftally/collect.h"

#include <ostream>
#include <string>
#include <vector>

struct finding_t;

// Writes the report as one JSON document; `total` is the sum of the
// components. Every component lists its goals (collected with them); with
// `findings`, what the gates found is part of the report.
void write_json(std::ostream& out, std::string const& project, collection_t const& collected,
                pos::metrics_t const& total, std::vector<finding_t> const* findings);

// The word that names how a PO file was read: "read", "missing", "malformed".
char const* po_file_state_word(pos::po_read_t state);

#endif
