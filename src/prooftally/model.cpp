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

report_builder_t::report_builder_t(std::string const& bdp, std::string const& project,
                                   fail_on_t const& fail_on, baseline_t const* baseline,
                                   std::string const& since_path)
    : report_{bdp, project, {}, {}, fail_on.any() || baseline, fail_on, {}, {}},
      baseline_(baseline) {
    if (!baseline)
        return;
    since_t& since = report_.since.emplace();
    since.path = since_path;
    since.version = baseline->version;
    since.goals = baseline->goals;
    since.proved = baseline->proved;
    for (std::size_t i = 0; i < baseline->components.size(); ++i)
        before_[baseline->components[i].name].push_back(i);
    matched_.resize(baseline->components.size());
}

bool report_builder_t::needs_goals() const {
    return report_.fail_on.any_goal() || (baseline_ && baseline_->version > 1);
}

void report_builder_t::listed(collection_t const& collected) {
    listed_ = true;
    if (!report_.gated)
        return;
    if (auto database = database_failure(collected))
        report_.findings.push_back(*database);
}

std::size_t report_builder_t::counted(std::size_t at, component_t const& c) {
    next_ = at + 1;
    std::size_t const first = report_.findings.size();
    if (!report_.gated)
        return first;
    std::vector<finding_t> found;
    if (baseline_) {
        // Matched by name, a repeated name occurrence by occurrence.
        std::size_t const occurrence = seen_[c.name]++;
        auto const listed = before_.find(c.name);
        baseline_component_t const* old = nullptr;
        if (listed != before_.end() && occurrence < listed->second.size()) {
            matched_[listed->second[occurrence]] = 1;
            old = &baseline_->components[listed->second[occurrence]];
        }
        if (baseline_->version == 1) {
            if (old)
                if (auto lost = regression(*old, &c, at, report_.bdp))
                    found = count_findings({*lost});
        } else {
            then_.clear();
            if (old && !baseline_goals(*baseline_, listed->second[occurrence], then_)) {
                then_.clear();
                if (baseline_error_.empty())
                    baseline_error_ = "changed while it was read";
            }
            compare_component(c, at, old, then_, counts_, found);
        }
    }
    select(report_.fail_on, c, at, [&found](finding_t const& f) { found.push_back(f); });
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
    for (finding_t& f : found) {
        if (f.since)
            ++report_.since->regressions;
        report_.findings.push_back(std::move(f));
    }
    return first;
}

report_t report_builder_t::finish(collection_t collected) {
    if (!listed_)
        listed(collected);
    std::size_t const stop = collected.unknown_status ? next_ : collected.components.size();
    for (std::size_t at = next_; at < stop; ++at)
        counted(at, collected.components[at]);
    for (component_t const& component : collected.components)
        add_to_total(report_.total, component.metrics);
    if (baseline_) {
        since_t& since = *report_.since;
        since.counts = regressions(*baseline_, collected, report_.bdp);
        std::size_t gone = collected.components.size();
        for (std::size_t i = 0; i < baseline_->components.size(); ++i) {
            if (matched_[i])
                continue;
            baseline_component_t const& old = baseline_->components[i];
            if (baseline_->version == 1) {
                for (finding_t& f :
                     count_findings({*regression(old, nullptr, gone++, report_.bdp)}))
                    report_.findings.push_back(std::move(f));
            } else {
                report_.findings.push_back(gone_finding(old, gone++));
                bool const read = baseline_goals(*baseline_, i, then_);
                if (!read && baseline_error_.empty())
                    baseline_error_ = "changed while it was read";
                counts_.vanished += read ? goal_count(then_) : 0;
            }
            ++since.regressions;
        }
        since.compared = counts_.compared;
        since.vanished = counts_.vanished;
        since.added = counts_.added;
    }
    report_.collected = std::move(collected);
    return std::move(report_);
}
