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

// How the expected-status rule reads an iapa verdict and a mechanism's
// result. Throw std::out_of_range ("map::at") for a value they do not know.
status_t statusOfVerdict(QString const& value);
status_t statusOfMechanismResult(QString const& value);

} // namespace pos

#endif
