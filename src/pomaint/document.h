// Reading a PO file that pomaint may act on, and the bytes that saving a
// document gives.
#ifndef POMAINT_DOCUMENT_H
#define POMAINT_DOCUMENT_H

#include "pos/pos.h"

#include <QByteArray>
#include <QDomDocument>

#include <optional>
#include <string>

// Reads the PO file at `path` goal by goal into `consumer`, in one pass. A
// file that cannot be opened, is not well-formed XML, or holds a goal,
// mechanism or driver status outside the vocabulary is named on standard
// error with the reason, and the answer is false: what `consumer` was handed
// is then void, for a partly read document is never acted on.
bool read_po_file(std::string const& path, pos::goal_consumer_t& consumer);

// The same checks, then the whole document, for an edit through the DOM. A
// file with a byte that does not decode in the encoding it is read in is
// refused too, named with the line and the byte: a rewrite would replace it.
bool load_po_file(std::string const& path, QDomDocument& doc);

// The document as pomaint writes it: indented by pos::XML_INDENT (not at
// all when nested deeper than MAX_INDENTED_DEPTH, so that the size stays in
// proportion to the document's), in the encoding its XML declaration names
// (UTF-8 without one), the declaration kept when the file had one.
constexpr int MAX_INDENTED_DEPTH = 16;
QByteArray serialise(QDomDocument const& doc);

// Why the file at `written`, loaded as a PO file is loaded, differs from
// `edited` (elements, attributes as sets, text, comments, processing
// instructions), or nothing when it does not.
std::optional<std::string> differenceAfterRewrite(std::string const& written,
                                                  QDomDocument const& edited);

// "PATH:LINE: unknown proof status value "VALUE"".
void report_unknown_status(std::string const& path, pos::unknown_status_error const& unknown);

#endif
