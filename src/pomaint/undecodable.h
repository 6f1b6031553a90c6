// Whether a rewrite would lose bytes of a file: those the DOM reader cannot
// decode in the encoding it reads the file in (from a byte order mark or the
// XML declaration, UTF-8 otherwise). It reads such a byte as U+FFFD.
#ifndef POMAINT_UNDECODABLE_H
#define POMAINT_UNDECODABLE_H

#include <string>

// False, after naming the file, the line (1-based) and the first such byte
// on standard error, when the file holds one: it must not be rewritten.
bool decodes_cleanly(std::string const& path);

#endif
