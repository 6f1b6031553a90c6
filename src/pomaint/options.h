// The command line of pomaint: what to do and on which files.
#ifndef POMAINT_OPTIONS_H
#define POMAINT_OPTIONS_H

#include <cstdio>
#include <string>
#include <vector>

// Exit statuses: a check that found an inconsistent file answers 1; trouble
// with the command line or with a file (not loaded, unknown status, not
// written) answers 2, which wins over 1.
constexpr int EXIT_INCONSISTENT = 1;
constexpr int EXIT_TROUBLE = 2;

enum class command_t { check, mechanisms, unprove, remove_mechanism };

struct options_t {
    command_t command = command_t::check;
    std::string mechanism; // remove-mechanism's NAME
    std::vector<std::string> files;
    bool from_database = false; // -b and -p given instead of FILE arguments
    std::string bdp;
    std::string project;
    bool dry_run = false;
};

enum class parse_t { run, help, version, usage_error };

// Reads argv with getopt_long. On a usage error the reason has been written to
// standard error (by the option parser or here); the caller adds the usage.
parse_t parse_command_line(int argc, char* argv[], options_t& options);

void write_usage(std::FILE* stream);

#endif
