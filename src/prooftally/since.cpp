#include "prooftally/gate.h"

#include "prooftally/report_json.h"

#include "db/bdp.h"

namespace {

// A status word's rank among the proved ones: a goal that drops in rank lost
// a proof.
int rank(std::string const& status) {
    try {
        const pos::status_t s = pos::proofStatusOfAttrValue(QString::fromStdString(status));
        return s == pos::PROVED ? 2 : s == pos::UNRELIABLY_PROVED ? 1 : 0;
    } catch (std::out_of_range const&) {
        return 0;
    }
}

std::map<std::string, std::string> results_of(goal_list_t const& goals, goal_t const& goal) {
    results_t results;
    for (auto r = goals.results_begin(goal), end = goals.results_end(goal); r != end; ++r) {
        std::string const name(goals.name(*r)),
            status = pos::strOfProofStatus(r->status).toStdString();
        if (r->driver)
            results.add_driver(name, status);
        else
            results.add(name, status);
    }
    return std::move(results.by_name);
}

// The results that proved the goal then and do not now.
std::string lost_results(std::map<std::string, std::string> const& before,
                         std::map<std::string, std::string> const& now) {
    std::string lost;
    for (auto const& [name, status] : before) {
        if (rank(status) < 2)
            continue;
        auto const found = now.find(name);
        std::string const after = found == now.end() ? "absent" : found->second;
        if (rank(after) < 2)
            lost += (lost.empty() ? "" : ", ") + name + ": " + status + " -> " + after;
    }
    return lost;
}

} // namespace

std::optional<regression_t> regression(baseline_component_t const& old, component_t const* now,
                                       std::size_t at, std::string const& bdp) {
    regression_t lost{old.name, at, old.po_file, false, old.po_file_state, old.po_file_state, {}};
    if (!now) {
        lost.gone = true;
        // A report without goals does not name the PO files.
        if (lost.po_file.empty())
            lost.po_file = po_file_path(bdp, old.name);
        lost.deltas.push_back({"proved", old.proved, 0});
        return lost;
    }
    lost.po_file = now->path;
    pos::metrics_t const& m = now->metrics;
    std::string const state_now = po_file_state_word(now->read);
    if (state_now != "read")
        lost.po_file_after = state_now;
    auto lose = [&lost](char const* counter, long long before, long long after, bool worse) {
        if (worse)
            lost.deltas.push_back({counter, before, after});
    };
    lose("proved", old.proved, m.nb_proved, m.nb_proved < old.proved);
    lose("unproved", old.unproved, m.nb_unproved, m.nb_unproved > old.unproved);
    lose("unreliable", old.unreliable, m.nb_unreliably_proved,
         m.nb_unreliably_proved > old.unreliable);
    lose("disproved", old.disproved, m.nb_disproved, m.nb_disproved > old.disproved);
    if (lost.po_file_after != lost.po_file_before || !lost.deltas.empty())
        return lost;
    return std::nullopt;
}

std::vector<regression_t> regressions(baseline_t const& baseline, collection_t const& collected,
                                      std::string const& bdp) {
    // A name listed more than once is matched occurrence by occurrence.
    std::map<std::string, std::vector<std::size_t>> now;
    for (std::size_t at = 0; at < collected.components.size(); ++at)
        now[collected.components[at].name].push_back(at);
    std::map<std::string, std::size_t> seen;
    std::vector<regression_t> found;
    std::size_t gone = collected.components.size();
    for (auto const& old : baseline.components) {
        std::size_t const occurrence = seen[old.name]++;
        auto const listed = now.find(old.name);
        bool const kept = listed != now.end() && occurrence < listed->second.size();
        std::size_t const at = kept ? listed->second[occurrence] : gone++;
        if (auto lost = regression(old, kept ? &collected.components[at] : nullptr, at, bdp))
            found.push_back(std::move(*lost));
    }
    return found;
}

std::vector<finding_t> count_findings(std::vector<regression_t> const& lost) {
    std::vector<finding_t> found;
    for (regression_t const& r : lost) {
        finding_t& f = found.emplace_back();
        f.component = r.component;
        f.file = r.po_file;
        f.since = true;
        f.at = r.at;
        if (r.gone) {
            f.kind = "gone";
            f.old_value = r.po_file_before;
            f.new_value = "gone";
            f.results = "was " + std::to_string(r.deltas[0].before) + " proved";
            continue;
        }
        f.kind = "counts";
        if (r.po_file_after != r.po_file_before) {
            f.kind = f.new_value = r.po_file_after;
            f.old_value = r.po_file_before;
        }
        for (delta_t const& d : r.deltas)
            f.results += (f.results.empty() ? "" : ", ") + std::string(d.counter) + ' ' +
                         std::to_string(d.before) + " -> " + std::to_string(d.after);
    }
    return found;
}

void compare_component(component_t const& c, std::size_t at, baseline_component_t const* old,
                       baseline_goals_t const& then, goal_counts_t& counts,
                       std::vector<finding_t>& found) {
    std::string const state = po_file_state_word(c.read);
    if (old && state != "read" && state != old->po_file_state) {
        finding_t& f = found.emplace_back(file_finding(c, at));
        f.old_value = old->po_file_state;
        f.since = true;
    }
    goal_list_t const& goals = c.goals;
    std::size_t kept = 0;
    // One obligation at a time: its name is made once, and where its number
    // of goals changed, positions moved.
    for (std::size_t first = 0, end = 0; first < goals.size(); first = end) {
        while (end < goals.size() && goals[end].obligation == goals[first].obligation)
            ++end;
        auto const listed = old ? then.find(goals.name(goals[first])->key) : then.end();
        baseline_obligation_t const* const before =
            listed == then.end() ? nullptr : &listed->second;
        std::string note;
        if (before && before->listed && before->listed != end - first)
            note = "goals renumbered: " + std::to_string(before->listed) + " -> " +
                   std::to_string(end - first);
        for (std::size_t i = first; i < end; ++i) {
            goal_t const& g = goals[i];
            auto const was =
                before ? before->goals.find(g.number) : decltype(before->goals.end()){};
            if (!before || was == before->goals.end()) {
                ++counts.added;
                if (g.status == pos::PROVED)
                    continue;
                finding_t& f = found.emplace_back(goal_finding(c, at, g));
                f.kind = f.old_value = "new";
                f.results.clear();
                f.note = note;
                f.since = true;
                continue;
            }
            ++counts.compared;
            ++kept;
            std::string results = lost_results(was->second.results, results_of(goals, g));
            std::string const& now_word = status_word(g.status);
            int const then_rank = rank(was->second.status), now_rank = rank(now_word);
            bool const disproved = g.status == pos::DISPROVED && was->second.status != now_word;
            if (!((then_rank > 0 && now_rank < then_rank) || disproved || !results.empty()))
                continue;
            finding_t& f = found.emplace_back(goal_finding(c, at, g));
            f.kind = "lost";
            f.old_value = was->second.status;
            f.results = std::move(results);
            f.note = note;
            f.since = true;
        }
    }
    if (old)
        counts.vanished += goal_count(then) - kept;
}

finding_t gone_finding(baseline_component_t const& old, std::size_t at) {
    finding_t f;
    f.kind = f.new_value = "gone";
    f.component = old.name;
    f.file = old.po_file;
    f.old_value = old.po_file_state;
    f.since = true;
    f.at = at;
    return f;
}
