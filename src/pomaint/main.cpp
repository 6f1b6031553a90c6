// pomaint: checks and edits PO files with the PO module's maintenance
// operations.
#include "pomaint/commands.h"
#include "pomaint/options.h"
#include "pomaint/selection.h"

#include <QHash>

#include <cstdio>

int main(int argc, char* argv[]) {
    // Qt writes a DOM element's attributes in hash order; a fixed seed makes
    // the same edit give the same bytes on every run.
    qSetGlobalQHashSeed(0);

    options_t options;
    switch (parse_command_line(argc, argv, options)) {
    case parse_t::help:
        write_usage(stdout);
        return 0;
    case parse_t::version:
        std::puts("pomaint " PROOFTALLY_VERSION);
        return 0;
    case parse_t::usage_error:
        write_usage(stderr);
        return EXIT_TROUBLE;
    case parse_t::run:
        break;
    }
    const auto files = select_files(options);
    if (!files)
        return EXIT_TROUBLE;
    int status = EXIT_TROUBLE;
    switch (options.command) {
    case command_t::check:
        status = run_check(*files);
        break;
    case command_t::mechanisms:
        status = run_mechanisms(*files);
        break;
    case command_t::unprove:
        status = run_edit(*files, {edit_op_t::unprove, {}}, options.dry_run);
        break;
    case command_t::remove_mechanism:
        status =
            run_edit(*files, {edit_op_t::remove_mechanism, options.mechanism}, options.dry_run);
        break;
    }
    // A listing or a dry run that did not reach its reader is a failure.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::perror("pomaint: standard output");
        return EXIT_TROUBLE;
    }
    return status;
}
