// The two ways countPoFile counts a file, for the module, its tests and the
// benchmark: the strict scanner that takes only a narrow, common form of
// PO file, and the streaming reader that takes everything else.
#ifndef POS_FAST_COUNT_H
#define POS_FAST_COUNT_H

#include "pos/pos.h"

#include <QFile>

namespace pos {

// Counts an open file, read from its current position, into `metrics` when
// every byte of it lies in the form the scanner knows: plain UTF-8 without
// a DOCTYPE, processing instruction, CDATA section or character reference,
// ASCII names, the five predefined entities, attribute values without tabs
// or line breaks, and every status value the count reads in the vocabulary.
// There its record equals the DOM walk's and the file is well-formed. False
// at the first byte outside that form, with `metrics` in no defined state.
bool fastCount(QFile& file, metrics_t& metrics);

// countPoFile without the scanner: the streaming reader from the start.
po_read_t streamCountPoFile(std::string const& path, metrics_t& metrics);

// The scanner alone: unopened, read (counted) or malformed (refused).
po_read_t fastCountPoFile(std::string const& path, metrics_t& metrics);

} // namespace pos

#endif
