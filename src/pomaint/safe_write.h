// Replacing a file's content so that an interrupted run leaves either the old
// or the new content, never a mix.
#ifndef POMAINT_SAFE_WRITE_H
#define POMAINT_SAFE_WRITE_H

#include <QByteArray>

#include <string>

// Writes `content` to a temporary file in the directory of `path`, flushes it
// to disk and renames it over `path`, keeping the file's permission bits.
// A file the process may not write is refused, as is a symbolic link (the
// rename would replace the link, not its target). On failure the original is
// untouched, the temporary file removed, and `error` tells why.
bool replace_file(std::string const& path, QByteArray const& content, std::string& error);

#endif
