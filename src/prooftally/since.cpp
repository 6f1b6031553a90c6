#include "prooftally/gate.h"

#include "prooftally/report_json.h"

#include "db/bdp.h"

#include <algorithm>
#include <limits>

namespace {

int rank_of(pos::status_t s) {
    return s == pos::PROVED ? 2 : s == pos::UNRELIABLY_PROVED ? 1 : 0;
}

// A status word's rank among the proved ones: a goal that drops in rank lost
// a proof. The words as written are known without a look-up.
int rank(std::string_view status) {
    for (pos::status_t s :
         {pos::PROVED, pos::UNPROVED, pos::UNRELIABLY_PROVED, pos::DISPROVED, pos::UNKNOWN})
        if (status == status_word(s))
            return rank_of(s);
    try {
        return rank_of(pos::proofStatusOfAttrValue(
            QString::fromUtf8(status.data(), static_cast<int>(status.size()))));
    } catch (std::out_of_range const&) {
        return 0;
    }
}

void results_of(goal_list_t const& goals, goal_t const& goal, keyed_results_t& results) {
    results.clear();
    results.start();
    for (auto r = goals.results_begin(goal), end = goals.results_end(goal); r != end; ++r) {
        if (r->driver)
            results.add_driver(goals.name(*r), status_word(r->status));
        else
            results.add(goals.name(*r), status_word(r->status));
    }
}

// The results that proved the goal then and do not now, in the order of
// their names; where a name repeats, its last result stands.
std::string lost_results(baseline_goals_t::goal_t const& was, keyed_results_t const& before,
                         goal_list_t const& goals, goal_t const& g, keyed_results_t& now,
                         std::vector<std::size_t>& order) {
    std::string lost;
    order.clear();
    for (std::size_t i = was.first_result; i < was.end_result; ++i)
        if (rank(before.status(before[i])) == 2)
            order.push_back(i);
    if (order.empty())
        return lost;
    auto const key = [&before](std::size_t i) { return before.key(before[i]); };
    // A name's last result, proved or not, is the one that stands.
    auto const last = [&](std::size_t i) {
        for (std::size_t j = i + 1; j < was.end_result; ++j)
            if (key(j) == key(i))
                return false;
        return true;
    };
    order.erase(
        std::remove_if(order.begin(), order.end(), [&last](std::size_t i) { return !last(i); }),
        order.end());
    std::sort(order.begin(), order.end(),
              [&key](std::size_t a, std::size_t b) { return key(a) < key(b); });
    results_of(goals, g, now);
    for (std::size_t i : order) {
        std::string_view after = "absent";
        for (std::size_t j = 0; j < now.size(); ++j)
            if (now.key(now[j]) == key(i))
                after = now.status(now[j]);
        if (rank(after) == 2)
            continue;
        if (!lost.empty())
            lost += ", ";
        lost.append(key(i)).append(": ").append(before.status(before[i])).append(" -> ");
        lost.append(after);
    }
    return lost;
}

// The baseline's obligations of one component by name, where a name listed
// twice names one obligation: its goals by number, the last one standing.
class then_index_t {
public:
    explicit then_index_t(baseline_goals_t const& then) : then_(then) {
        auto const& obligations = then.obligations();
        order_.resize(obligations.size());
        for (std::size_t i = 0; i < order_.size(); ++i)
            order_[i] = i;
        std::stable_sort(order_.begin(), order_.end(),
                         [this](std::size_t a, std::size_t b) { return key(a) < key(b); });
    }

    // The obligations named `name`: positions in order_.
    std::pair<std::size_t, std::size_t> find(std::string_view name) const {
        auto const [first, end] =
            std::equal_range(order_.begin(), order_.end(), name, compare_t{this});
        return {std::size_t(first - order_.begin()), std::size_t(end - order_.begin())};
    }

    // Looks up goals in the obligations [first, end) of order_.
    void select(std::pair<std::size_t, std::size_t> found) {
        found_ = found;
        listed_ = 0;
        numbers_.clear();
        sequential_ = found.second - found.first == 1;
        for (std::size_t k = found.first; k < found.second; ++k) {
            auto const& o = then_.obligations()[order_[k]];
            listed_ += o.end_goal - o.first_goal;
            for (std::size_t i = o.first_goal; i < o.end_goal; ++i) {
                sequential_ = sequential_ && then_.goals()[i].number == i - o.first_goal + 1;
                numbers_.push_back({then_.goals()[i].number, i});
            }
        }
        if (!sequential_)
            std::sort(numbers_.begin(), numbers_.end());
    }
    std::size_t listed() const { return listed_; }
    // The goal numbered `number`, or null.
    baseline_goals_t::goal_t const* goal(std::uint32_t number) const {
        if (sequential_) {
            auto const& o = then_.obligations()[order_[found_.first]];
            return number >= 1 && number <= o.end_goal - o.first_goal
                       ? &then_.goals()[o.first_goal + number - 1]
                       : nullptr;
        }
        auto const after =
            std::upper_bound(numbers_.begin(), numbers_.end(),
                             std::make_pair(number, std::numeric_limits<std::size_t>::max()));
        if (after == numbers_.begin() || (after - 1)->first != number)
            return nullptr;
        return &then_.goals()[(after - 1)->second];
    }
    // Distinct goals in all.
    std::size_t count() {
        std::size_t count = 0;
        for (std::size_t first = 0, end = 0; first < order_.size(); first = end) {
            while (end < order_.size() && key(order_[end]) == key(order_[first]))
                ++end;
            select({first, end});
            if (sequential_) {
                count += listed_;
                continue;
            }
            for (std::size_t i = 0; i < numbers_.size(); ++i)
                count += i == 0 || numbers_[i].first != numbers_[i - 1].first;
        }
        return count;
    }

private:
    std::string_view key(std::size_t obligation) const {
        return then_.key(then_.obligations()[obligation]);
    }
    struct compare_t {
        then_index_t const* index;
        bool operator()(std::size_t o, std::string_view name) const { return index->key(o) < name; }
        bool operator()(std::string_view name, std::size_t o) const { return name < index->key(o); }
    };
    baseline_goals_t const& then_;
    std::vector<std::size_t> order_;
    std::pair<std::size_t, std::size_t> found_;
    std::size_t listed_ = 0;
    bool sequential_ = false;
    std::vector<std::pair<std::uint32_t, std::size_t>> numbers_;
};

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

std::size_t goal_count(baseline_goals_t const& then) {
    return then_index_t(then).count();
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
    then_index_t index(then);
    keyed_results_t now;
    std::vector<std::size_t> order;
    std::size_t kept = 0;
    // One obligation at a time: its name is made once, and where its number
    // of goals changed, positions moved.
    for (std::size_t first = 0, end = 0; first < goals.size(); first = end) {
        while (end < goals.size() && goals[end].obligation == goals[first].obligation)
            ++end;
        auto const listed = index.find(old ? std::string_view(goals.name(goals[first])->key) : "");
        bool const before = old && listed.first != listed.second;
        if (before)
            index.select(listed);
        std::string note;
        if (before && index.listed() && index.listed() != end - first)
            note = "goals renumbered: " + std::to_string(index.listed()) + " -> " +
                   std::to_string(end - first);
        for (std::size_t i = first; i < end; ++i) {
            goal_t const& g = goals[i];
            baseline_goals_t::goal_t const* const was = before ? index.goal(g.number) : nullptr;
            if (!was) {
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
            std::string results = lost_results(*was, then.results, goals, g, now, order);
            std::string_view const then_word = then.status(*was);
            std::string const& now_word = status_word(g.status);
            int const then_rank = rank(then_word), now_rank = rank(now_word);
            bool const disproved = g.status == pos::DISPROVED && then_word != now_word;
            if (!((then_rank > 0 && now_rank < then_rank) || disproved || !results.empty()))
                continue;
            finding_t& f = found.emplace_back(goal_finding(c, at, g));
            f.kind = "lost";
            f.old_value = then_word;
            f.results = std::move(results);
            f.note = note;
            f.since = true;
        }
    }
    if (old)
        counts.vanished += index.count() - kept;
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
