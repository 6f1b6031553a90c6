// The subcommands. Each works through the files in order, goes on after
// a file it could not handle, and answers the exit status.
#ifndef POMAINT_COMMANDS_H
#define POMAINT_COMMANDS_H

#include "pomaint/span_edit.h"

#include <string>
#include <vector>

// 0 all consistent, EXIT_INCONSISTENT when one is not.
int run_check(std::vector<std::string> const& files);

int run_mechanisms(std::vector<std::string> const& files);

// Rewrites only files that change and prints each one's path; a dry run
// prints "==> path <==" and the new document instead of writing.
int run_edit(std::vector<std::string> const& files, edit_request_t const& request, bool dry_run);

#endif
