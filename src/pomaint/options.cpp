#include "pomaint/options.h"

#include <getopt.h>

#include <map>

namespace {

// --version has no short letter.
constexpr int OPT_VERSION = 256;

bool usage_error(char const* reason) {
    std::fprintf(stderr, "pomaint: %s\n", reason);
    return false;
}

// Subcommand and its words, then the choice between FILE arguments and -b/-p.
bool take_operands(std::vector<std::string> words, bool bdp_given, bool project_given,
                   options_t& options) {
    static const std::map<std::string, command_t> dict{
        {"check", command_t::check},
        {"mechanisms", command_t::mechanisms},
        {"unprove", command_t::unprove},
        {"remove-mechanism", command_t::remove_mechanism},
    };
    if (words.empty())
        return usage_error("no subcommand given");
    const auto found = dict.find(words.front());
    if (found == dict.end())
        return usage_error(("unknown subcommand '" + words.front() + "'").c_str());
    options.command = found->second;
    words.erase(words.begin());
    if (options.command == command_t::remove_mechanism) {
        if (words.empty())
            return usage_error("remove-mechanism needs a mechanism NAME");
        options.mechanism = words.front();
        words.erase(words.begin());
    }
    const bool editing =
        options.command == command_t::unprove || options.command == command_t::remove_mechanism;
    if (options.dry_run && !editing)
        return usage_error("-n/--dry-run applies only to unprove and remove-mechanism");
    if (bdp_given != project_given)
        return usage_error("-b and -p go together");
    if (bdp_given && !words.empty())
        return usage_error("give FILE arguments or -b and -p, not both");
    if (!bdp_given && words.empty())
        return usage_error("no PO file given");
    options.from_database = bdp_given;
    options.files = std::move(words);
    return true;
}

} // namespace

parse_t parse_command_line(int argc, char* argv[], options_t& options) {
    static option const long_options[] = {
        {"bdp", required_argument, nullptr, 'b'},
        {"dry-run", no_argument, nullptr, 'n'},
        {"help", no_argument, nullptr, 'h'},
        {"project", required_argument, nullptr, 'p'},
        {"version", no_argument, nullptr, OPT_VERSION},
        {nullptr, 0, nullptr, 0},
    };
    bool bdp_given = false;
    bool project_given = false;
    int option;
    // Options may stand before or after the subcommand: the parser moves the
    // other words to the end.
    while ((option = getopt_long(argc, argv, "b:hnp:", long_options, nullptr)) != -1) {
        switch (option) {
        case 'b':
            options.bdp = optarg;
            bdp_given = true;
            break;
        case 'p':
            options.project = optarg;
            project_given = true;
            break;
        case 'n':
            options.dry_run = true;
            break;
        case 'h':
            return parse_t::help;
        case OPT_VERSION:
            return parse_t::version;
        default:
            return parse_t::usage_error;
        }
    }
    return take_operands(std::vector<std::string>(argv + optind, argv + argc), bdp_given,
                         project_given, options)
               ? parse_t::run
               : parse_t::usage_error;
}

void write_usage(std::FILE* stream) {
    std::fputs("pomaint check FILE...\n"
               "pomaint mechanisms FILE...\n"
               "pomaint [-n] unprove FILE...\n"
               "pomaint [-n] remove-mechanism NAME FILE...\n"
               "\tInstead of FILE..., -b bdp -p project selects the PO file of every\n"
               "\tcomponent of the project.\n"
               "\t-b, --bdp=path\n"
               "\t\tPath to the bdp of the project\n"
               "\t-p, --project=name\n"
               "\t\tName of the project\n"
               "\t-n, --dry-run\n"
               "\t\tWrites each edited document to standard output, no file\n"
               "\t-h, --help\n"
               "\t\tPrints this and exits\n",
               stream);
}
