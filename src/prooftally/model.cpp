#include "prooftally/model.h"

#include <algorithm>
#include <tuple>

namespace {

// What makes two findings the same: the component, the goal or the PO file's
// state.
auto identity(finding_t const& f) {
    std::string const what = f.goal ? std::string() : f.kind;
    return std::make_tuple(f.at, f.goal != 0, f.obligation, f.goal, what);
}

} // namespace

std::vector<std::size_t> report_t::lost_components() const {
    std::vector<std::size_t> lost;
    for (finding_t const& f : findings)
        if (f.since && (lost.empty() || lost.back() != f.at))
            lost.push_back(f.at);
    return lost;
}

report_t build_report(std::string const& bdp, std::string const& project, collection_t collected,
                      fail_on_t const& fail_on, baseline_t const* baseline,
                      std::string const& since_path) {
    report_t report{bdp, project, std::move(collected), {}, fail_on.any() || baseline, fail_on,
                    {},  {}};
    for (component_t const& component : report.collected.components)
        add_to_total(report.total, component.metrics);
    if (!report.gated)
        return report;

    std::vector<finding_t> found;
    if (baseline) {
        since_t& since = report.since.emplace();
        since.path = since_path;
        since.version = baseline->version;
        since.goals = baseline->goals;
        since.proved = baseline->proved;
        since.counts = regressions(*baseline, report.collected, bdp);
        if (baseline->version == 1) {
            found = count_findings(since.counts);
        } else {
            goal_comparison_t goals = compare_goals(*baseline, report.collected);
            since.compared = goals.compared;
            since.vanished = goals.vanished;
            since.added = goals.added;
            found = std::move(goals.findings);
        }
    }
    select(fail_on, report.collected, [&found](finding_t const& f) { found.push_back(f); });
    // The comparison's findings come first, so that they stand where both
    // gates found the same thing.
    std::stable_sort(found.begin(), found.end(), [](finding_t const& a, finding_t const& b) {
        return identity(a) < identity(b);
    });
    found.erase(std::unique(found.begin(), found.end(),
                            [](finding_t const& a, finding_t const& b) {
                                return identity(a) == identity(b);
                            }),
                found.end());
    if (auto database = database_failure(report.collected))
        report.findings.push_back(*database);
    for (finding_t& f : found) {
        if (f.since)
            ++report.since->regressions;
        report.findings.push_back(std::move(f));
    }
    return report;
}
