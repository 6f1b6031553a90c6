// Opening and parsing XML files safely: shared by every place that builds a
// DOM document from a file (PO documents, the project database, the
// maintenance commands). Not part of the public headers.
#ifndef POS_XML_LOAD_H
#define POS_XML_LOAD_H

#include <QDomDocument>
#include <QFile>
#include <QString>

namespace pos {

// Deeper nesting than this is treated as a document that breaks off where
// the limit is crossed: real PO files nest six levels, and the DOM reader
// recurses once per level.
constexpr int MAX_XML_DEPTH = 4096;

// Opens `path` read-only when it is a regular file (after following symbolic
// links). FIFOs, sockets, devices and directories are refused without
// blocking or reading from them.
bool openRegularFile(QString const& path, QFile& file);

enum class load_t { unopened, broken, parsed };

struct load_error_t {
    QString message;
    int line = 0;
    int column = 0;
};

// Replaces `doc` with the file's content: exactly what a plain
// QDomDocument::setContent of the file's bytes gives, unless the document
// crosses a limit. Then it ends before the element that nests deeper than
// MAX_XML_DEPTH, or before the first reference to an internal entity that
// expands to more than 4096 characters (the DOM reader checks each entity only
// when the next one is declared, so the last one could expand without end).
// Unopened: `doc` is null. Broken: `doc` holds the elements whose start tags
// were read before the error or the cut. `error`, when given, is filled
// unless the file parsed; it names the cut when the reader got that far.
load_t loadDocument(QString const& path, QDomDocument& doc, load_error_t* error);

} // namespace pos

#endif
