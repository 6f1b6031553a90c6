// Where a project's files lie under its bdp: the one place that composes
// these paths, shared by every command that is given -b and -p.
#ifndef BDP_H
#define BDP_H

#include <list>
#include <string>

// bdp/project.db, the bytes given joined with a slash.
std::string database_path(std::string const& bdp, std::string const& project);

// bdp/name.pos.
std::string po_file_path(std::string const& bdp, std::string const& name);

// The components that bdp/project.db lists (UTF-8), in file order, duplicates
// included; those read before the error when the database cannot be read or
// parsed, and then `error`, when given, receives "path:line:column:message";
// `unopened`, when given, tells a file that could not be opened at all.
std::list<std::string> component_names(std::string const& bdp, std::string const& project,
                                       std::string* error = nullptr, bool* unopened = nullptr);

#endif
