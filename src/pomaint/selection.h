// Which PO files a run works on.
#ifndef POMAINT_SELECTION_H
#define POMAINT_SELECTION_H

#include "pomaint/options.h"

#include <optional>
#include <string>
#include <vector>

// The FILE arguments, or the PO file of every component that bdp/project.db
// lists, composed as prooftally composes them. Each path once, in first
// appearance order. Under -b/-p a PO file that does not exist is named on
// standard error and skipped; a database that cannot be read is named there
// too, and then there is no selection at all.
std::optional<std::vector<std::string>> select_files(options_t const& options);

#endif
