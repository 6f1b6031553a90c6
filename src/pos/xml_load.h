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

// Entities: PO files and project databases declare none, so these limits
// stop hostile files only. An entity that expands to more than
// MAX_ENTITY_EXPANSION characters (UTF-16 units, as the parser counts them)
// may not be referenced, and all references together may bring in at most
// MAX_ENTITY_REFERENCES. The parser checks each new entity declaration
// against all earlier ones, in time that grows with the square of their
// number and of their values: a DTD may declare at most
// MAX_ENTITY_DECLARATIONS entities (a name declared again is ignored), whose
// values (parameter entities replaced) hold MAX_ENTITY_VALUES characters.
constexpr qint64 MAX_ENTITY_EXPANSION = 4096;
constexpr qint64 MAX_ENTITY_REFERENCES = 1 << 20;
constexpr int MAX_ENTITY_DECLARATIONS = 1000;
constexpr qint64 MAX_ENTITY_VALUES = 1 << 16;

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
// MAX_XML_DEPTH, before the first reference to an entity that expands to
// more than MAX_ENTITY_EXPANSION characters (the parser checks an entity
// only when another is declared after it, and only one that refers to
// others), before the reference that brings the expansions past
// MAX_ENTITY_REFERENCES, or, in a DTD with more than MAX_ENTITY_DECLARATIONS
// entities or MAX_ENTITY_VALUES characters of values, after the last entity
// declaration within both (no element is read).
// Unopened: `doc` is null. Broken: `doc` holds the elements whose start tags
// were read before the error or the cut. `error`, when given, is filled
// unless the file parsed; it names the limit when the reader got that far.
load_t loadDocument(QString const& path, QDomDocument& doc, load_error_t* error);

} // namespace pos

#endif
