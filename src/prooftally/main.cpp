// prooftally: counts the proof obligations of a project's components and
// writes one report (text, HTML, CSV, JSON or the dashboard page) to standard
// output.
#include "prooftally/collect.h"
#include "prooftally/gate.h"
#include "prooftally/report_dashboard.h"
#include "prooftally/report_json.h"
#include "prooftally/reports.h"

#include <getopt.h>

#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace {

enum class format_t { unset, text, html, csv, json, dashboard };

// Long options without a short letter.
enum long_only_t { OPT_JSON = 256, OPT_FAIL_ON, OPT_SINCE, OPT_DASHBOARD };

void cout_usage() {
    std::cout << "prooftally [-H | -C ] -b bdp -p project [-h]\n"
                 "\t-H, --html\n"
                 "\t\tSets output format to HTML\n"
                 "\t-C, --csv\n"
                 "\t\tSets output format to CSV\n"
                 "\t-b,  --bdp=path\n"
                 "\t\tPath to the bdp of the project\n"
                 "\t-p, --project=name\n"
                 "\t\tName of the project\n"
                 "\t-h, --help\n"
                 "\t\tPrints this and exits with error code\n";
}

void cout_report(format_t format, component_list_t const& components, pos::metrics_t const& total) {
    switch (format) {
    case format_t::text:
        cout_pretty_print(components, total);
        break;
    case format_t::html:
        cout_html_head(total);
        for (auto const& [name, metrics] : components)
            cout_html_metrics(name, *metrics, total);
        cout_html_metrics("Total", total, total);
        cout_html_tail();
        break;
    case format_t::csv:
        cout_csv_header(total);
        for (auto const& [name, metrics] : components)
            cout_csv_metrics(name, *metrics, total);
        cout_csv_metrics("TOTAL", total, total);
        break;
    case format_t::json:
    case format_t::dashboard:
    case format_t::unset:
        break;
    }
}

} // namespace

int main(int argc, char* argv[]) {
    static option const long_options[] = {
        {"bdp", required_argument, nullptr, 'b'},
        {"csv", no_argument, nullptr, 'C'},
        {"html", no_argument, nullptr, 'H'},
        {"help", no_argument, nullptr, 'h'},
        {"project", required_argument, nullptr, 'p'},
        {"json", no_argument, nullptr, OPT_JSON},
        {"fail-on", required_argument, nullptr, OPT_FAIL_ON},
        {"since", required_argument, nullptr, OPT_SINCE},
        {"dashboard", no_argument, nullptr, OPT_DASHBOARD},
        {nullptr, 0, nullptr, 0},
    };

    format_t format = format_t::unset;
    std::string bdp;
    std::string project;
    fail_on_t fail_on;
    std::optional<std::string> since;
    int option;
    while ((option = getopt_long(argc, argv, "b:CHhp:", long_options, nullptr)) != -1) {
        switch (option) {
        case 'H':
            format = format_t::html;
            break;
        case 'C':
            format = format_t::csv;
            break;
        case OPT_JSON:
            format = format_t::json;
            break;
        case OPT_DASHBOARD:
            format = format_t::dashboard;
            break;
        case OPT_FAIL_ON:
            if (auto const parsed = parse_fail_on(optarg)) {
                fail_on = *parsed;
                break;
            }
            std::cerr << argv[0]
                      << ": --fail-on: not a list of unproved, unreliable, "
                         "disproved, missing, malformed: '"
                      << optarg << "'\n";
            cout_usage();
            return 1;
        case OPT_SINCE:
            since = optarg;
            break;
        case 'b':
            bdp = optarg;
            if (format == format_t::unset)
                format = format_t::text;
            break;
        case 'p':
            project = optarg;
            if (format == format_t::unset)
                format = format_t::text;
            break;
        default:
            cout_usage();
            return 1;
        }
    }
    if (format == format_t::unset)
        return 1;

    // The baseline is read first, so that a run that cannot use it writes
    // nothing.
    std::vector<baseline_component_t> baseline;
    if (since) {
        std::string error;
        auto loaded = load_baseline(*since, error);
        if (!loaded) {
            std::cerr << "prooftally: " << *since << ": " << error << '\n';
            return 2;
        }
        baseline = std::move(*loaded);
    }

    // Everything is collected before anything is written, so that a run that
    // stops leaves standard output empty.
    collection_t const collected = collect_metrics(bdp, project);
    if (auto const& unknown = collected.unknown_status) {
        std::cerr << "prooftally: " << unknown->path;
        if (unknown->line > 0)
            std::cerr << ':' << unknown->line << ": unknown proof status value \"" << unknown->value
                      << "\"\n";
        else
            std::cerr << ": unknown proof status value\n";
        return 1;
    }
    pos::metrics_t total;
    for (auto const& component : collected.components)
        add_to_total(total, *component.second);
    // The dashboard shows what was lost before the gate names it.
    std::vector<regression_t> const lost =
        since ? regressions(baseline, collected) : std::vector<regression_t>();
    if (format == format_t::json)
        cout_json(json_report(bdp, project, collected, total));
    else if (format == format_t::dashboard)
        write_dashboard(std::cout, bdp, project, collected, total, since ? &lost : nullptr);
    else
        cout_report(format, collected.components, total);
    // Both gates report all they find before the run fails.
    bool const gate_failed = failed_on(fail_on, collected);
    bool const baseline_failed = since && regressed(lost);
    return gate_failed || baseline_failed ? 3 : 0;
}
