// The four subcommands. Each works through the files in order, goes on after
// a file it could not handle, and answers the exit status.
#ifndef POMAINT_COMMANDS_H
#define POMAINT_COMMANDS_H

#include <string>
#include <vector>

// 0 all consistent, EXIT_INCONSISTENT when one is not.
int run_check(std::vector<std::string> const& files);

int run_mechanisms(std::vector<std::string> const& files);

// Both rewrite only files that change and print each one's path; a dry run
// prints "==> path <==" and the new document instead of writing.
int run_unprove(std::vector<std::string> const& files, bool dry_run);
int run_remove_mechanism(std::vector<std::string> const& files, std::string const& name,
                         bool dry_run);

#endif
