// The two readers of a PO file. Both hand the same goal records for the same
// file: the strict scanner for the common form of PO files, and the DOM
// reader's own parser for everything else.
#ifndef POS_READERS_H
#define POS_READERS_H

#include "pos/pos.h"

#include <QFile>

#include <cstddef>

namespace pos {

// The scanner's buffer. A construct that does not fit is read again after
// the buffer grows, so any size works; tests make it tiny.
constexpr std::size_t SCAN_BUFFER = 1 << 20;

// Reads the open file from its current position when every byte of it lies
// in the form the scanner knows: plain UTF-8 without a byte order mark,
// DOCTYPE, processing instruction, CDATA section or character reference,
// ASCII names, the five predefined entities, attribute values without tabs or
// line breaks. There the file is well-formed and its records are the DOM
// parser's, with spans. False at the first byte outside that form: the
// records handed until then are the DOM parser's as far as they go, but the
// rest is not.
bool scanRecords(QFile& file, goal_consumer_t& consumer, std::size_t buffer = SCAN_BUFFER);

// Reads the open file from its current position with the DOM reader's parser,
// as QDomDocument::setContent reads it, and hands the records of the
// document it would build, up to where the parser stops or a loader's limit
// is crossed. What the consumer throws is thrown after the parser has
// stopped. `path` names the file, to be read again where a limit ends the
// document.
read_state_t parseRecords(QString const& path, QFile& file, goal_consumer_t& consumer);

} // namespace pos

#endif
