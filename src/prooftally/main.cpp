// prooftally: counts the proof obligations of a project's components and
// writes one report (text, HTML, CSV, JSON, JUnit or the dashboard page) to
// standard output.
#include "prooftally/collect.h"
#include "prooftally/model.h"
#include "prooftally/report_dashboard.h"
#include "prooftally/report_json.h"
#include "prooftally/report_junit.h"
#include "prooftally/reports.h"

#include <getopt.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

enum class format_t { unset, text, html, csv, json, dashboard, goals, junit };

// Long options without a short letter.
enum long_only_t {
    OPT_JSON = 256,
    OPT_FAIL_ON,
    OPT_SINCE,
    OPT_DASHBOARD,
    OPT_GOALS,
    OPT_JUNIT,
    OPT_VERSION
};

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

void cout_report(format_t format, report_t const& report) {
    std::ostream& out = std::cout;
    component_list_t const& components = report.collected.components;
    pos::metrics_t const& total = report.total;
    switch (format) {
    case format_t::text:
        cout_pretty_print(out, components, total);
        break;
    case format_t::html:
        cout_html_head(out, total);
        for (component_t const& c : components)
            cout_html_metrics(out, c.name, c.metrics, total);
        cout_html_metrics(out, "Total", total, total);
        cout_html_tail(out);
        break;
    case format_t::csv:
        cout_csv_header(out, total);
        for (component_t const& c : components)
            cout_csv_metrics(out, c.name, c.metrics, total);
        cout_csv_metrics(out, "TOTAL", total, total);
        break;
    case format_t::dashboard:
        write_dashboard(out, report);
        break;
    default:
        break;
    }
}

// A file of its own, already unlinked; nothing when none can be made, and
// then the report goes straight to standard output.
std::unique_ptr<std::fstream> temporary_file() {
    char const* const dir = std::getenv("TMPDIR");
    std::string path = std::string(dir && *dir ? dir : "/tmp") + "/prooftally.XXXXXX";
    int const fd = ::mkstemp(path.data());
    if (fd < 0)
        return nullptr;
    auto file = std::make_unique<std::fstream>(path, std::ios::in | std::ios::out |
                                                         std::ios::trunc | std::ios::binary);
    ::close(fd);
    ::unlink(path.c_str());
    if (!*file)
        return nullptr;
    return file;
}

// What the gates found, on standard error: each finding where it lies, then
// the comparison's summary. True when the run fails.
bool cerr_findings(report_t const& report) {
    for (finding_t const& f : report.findings)
        std::cerr << finding_line(f) << '\n';
    if (report.since && report.since->regressions) {
        since_t const& since = *report.since;
        std::cerr << "prooftally: " << since.regressions
                  << (since.regressions == 1 ? " regression" : " regressions") << " since "
                  << since.path;
        if (since.version == 1)
            std::cerr << " (by counts)\n";
        else
            std::cerr << " (" << since.compared << " goals compared, " << since.vanished
                      << " vanished, " << since.added << " new)\n";
    }
    return !report.findings.empty();
}

// The goals and PO file that --goals names in component `c`, a line each,
// written a buffer at a time.
void write_listing(std::ostream& out, fail_on_t const& listed, component_t const& c, std::size_t at,
                   text_buffer_t& buffer) {
    auto const write = [&out, &buffer] {
        out.write(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        buffer.clear();
    };
    buffer.clear();
    select(listed, c, at, [&](finding_t const& f) {
        append_finding_line(buffer, f);
        buffer += "\n";
        if (buffer.size() >= (1u << 20))
            write();
    });
    write();
}

// Why the options given are no run, for the option parser's kind of message.
bool bad_list(char const* program, char const* option, char const* words, char const* list) {
    std::cerr << program << ": " << option << ": not a list of " << words << ": '" << list << "'\n";
    cout_usage();
    return true;
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
        {"goals", required_argument, nullptr, OPT_GOALS},
        {"junit", no_argument, nullptr, OPT_JUNIT},
        {"version", no_argument, nullptr, OPT_VERSION},
        {nullptr, 0, nullptr, 0},
    };

    format_t format = format_t::unset;
    std::string bdp;
    std::string project;
    fail_on_t fail_on, listed;
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
        case OPT_JUNIT:
            format = format_t::junit;
            break;
        case OPT_VERSION:
            std::cout << "prooftally " PROOFTALLY_VERSION "\n";
            return 0;
        case OPT_FAIL_ON:
            if (auto const parsed = parse_fail_on(optarg)) {
                fail_on = *parsed;
                break;
            }
            bad_list(argv[0], "--fail-on", "unproved, unreliable, disproved, missing, malformed",
                     optarg);
            return 1;
        case OPT_GOALS:
            if (auto const parsed = parse_fail_on(optarg, true)) {
                listed = *parsed;
                format = format_t::goals;
                break;
            }
            bad_list(argv[0], "--goals", "unproved, unreliable, disproved, missing, malformed, all",
                     optarg);
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
    std::optional<baseline_t> baseline;
    if (since) {
        std::string error;
        baseline = load_baseline(*since, error);
        if (!baseline) {
            std::cerr << *since << ": " << error << '\n';
            return 2;
        }
        if (baseline->version == 1)
            std::cerr << "prooftally: " << *since
                      << " lists no goals (a version 1 report): compared by counts only\n";
    }

    // The JSON and JUnit reports and the goal listing are written as the
    // components are counted, each component's goals let go once written,
    // into a temporary file that becomes standard output once the run is
    // known to report: a run that stops leaves standard output empty.
    report_builder_t builder(bdp, project, fail_on, baseline ? &*baseline : nullptr,
                             since.value_or(""));
    bool const streamed =
        format == format_t::json || format == format_t::goals || format == format_t::junit;
    std::unique_ptr<std::fstream> spool = streamed ? temporary_file() : nullptr;
    std::ostream& out = spool ? *spool : std::cout;
    std::string buffer;
    text_buffer_t lines;
    collect_sink_t sink;
    sink.listed = [&](collection_t const& collected) {
        builder.listed(collected);
        if (format == format_t::json)
            write_json_head(out);
        else if (format == format_t::junit)
            write_junit_head(out, project, collected);
    };
    sink.counted = [&](std::size_t at, component_t const& c) {
        std::size_t const first = builder.counted(at, c);
        std::vector<finding_t> const& findings = builder.report().findings;
        if (format == format_t::json)
            write_json_component(out, c, at, buffer);
        else if (format == format_t::junit)
            write_junit_component(out, c, at, findings.data() + first,
                                  findings.data() + findings.size());
        else if (format == format_t::goals)
            write_listing(out, listed, c, at, lines);
    };
    bool const by_goal = streamed || builder.needs_goals();
    collection_t collected =
        collect_metrics(bdp, project, by_goal, by_goal ? sink : collect_sink_t{});
    if (auto const& unknown = collected.unknown_status) {
        std::cerr << unknown->path;
        if (unknown->line > 0)
            std::cerr << ':' << unknown->line << ": unknown proof status value \"" << unknown->value
                      << "\"\n";
        else
            std::cerr << ": unknown proof status value\n";
        return 1;
    }
    if (!builder.baseline_error().empty()) {
        std::cerr << *since << ": " << builder.baseline_error() << '\n';
        return 2;
    }
    report_t const report = builder.finish(std::move(collected));
    baseline.reset();
    if (format == format_t::json)
        write_json_tail(out, report);
    else if (format == format_t::junit)
        write_junit_tail(out, report);
    else if (!streamed)
        cout_report(format, report);
    if (spool) {
        spool->flush();
        spool->seekg(0);
        if (spool->peek() != std::char_traits<char>::eof())
            std::cout << spool->rdbuf();
        std::cout.flush();
    }

    // Every finding is named before the run fails.
    return cerr_findings(report) ? 3 : 0;
}
