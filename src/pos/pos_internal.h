// Names shared by the PO module's sources and its tests, not by its users.
#ifndef POS_POS_INTERNAL_H
#define POS_POS_INTERNAL_H

#include "pos/pos.h"

#include <QByteArray>
#include <QStringList>

namespace pos {

// The proofState values that mean the built-in prover proved the goal.
extern const QStringList proofProvedStatuses;

// The XSD of the PO format, UTF-8.
extern const QByteArray xmlSchemaString;

// A null document when the file cannot be opened; otherwise whatever the
// reader built, also from a file that is not well-formed.
QDomDocument domOfPath(std::string const& path);

// The status of an attribute value as the vocabulary reads it, or nothing
// outside it; the one table is proofStatusOfAttrValue's.
std::optional<status_t> statusOfUtf8(std::string_view value);
// Whether a proofState value means the built-in prover proved the goal.
bool provedByProver(std::string_view proofState);
// What an iapa verdict and a mechanism's result count for in the expected
// status, or nothing for a value the rule does not know.
std::optional<status_t> verdictOfUtf8(std::string_view value);
std::optional<status_t> mechanismResultOfUtf8(std::string_view value);

} // namespace pos

#endif
