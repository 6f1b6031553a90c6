#include "prooftally/gate.h"

#include "prooftally/report_json.h"

#include "pos/xml_load.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <iostream>
#include <set>

namespace {

std::string text(QJsonValue const& value) {
    return value.toString().toStdString();
}

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

// Results by name, "M" and "M/d"; a name repeated in one goal (or mechanism)
// by occurrence, "M#2".
class results_t {
public:
    void add(std::string const& mechanism, std::string const& status) {
        current_ = name(mechanism, mechanisms_);
        drivers_.clear();
        by_name[current_] = status;
    }
    void add_driver(std::string const& driver, std::string const& status) {
        by_name[current_ + "/" + name(driver, drivers_)] = status;
    }
    std::map<std::string, std::string> by_name;

private:
    static std::string name(std::string const& n, std::map<std::string, int>& seen) {
        const int occurrence = ++seen[n];
        return occurrence > 1 ? n + "#" + std::to_string(occurrence) : n;
    }
    std::string current_;
    std::map<std::string, int> mechanisms_, drivers_;
};

std::map<std::string, std::string> results_of(pos::goal_detail_t const& goal) {
    results_t results;
    for (auto const& m : goal.mechanisms) {
        results.add(m.name, pos::strOfProofStatus(m.status).toStdString());
        for (auto const& d : m.drivers)
            results.add_driver(d.name, pos::strOfProofStatus(d.status).toStdString());
    }
    return results.by_name;
}

bool read_goals(QJsonArray const& list, std::map<std::string, baseline_goal_t>& goals) {
    for (auto const& value : list) {
        QJsonObject const g = value.toObject();
        for (char const* key : {"tag_occurrence", "obligation", "goal"})
            if (!g.value(key).isDouble())
                return false;
        if (!g.value("tag").isString() || !g.value("status").isString())
            return false;
        baseline_goal_t goal{text(g.value("status")), {}};
        results_t results;
        for (auto const& m : g.value("mechanisms").toArray()) {
            results.add(text(m.toObject().value("name")), text(m.toObject().value("status")));
            for (auto const& d : m.toObject().value("drivers").toArray())
                results.add_driver(text(d.toObject().value("name")),
                                   text(d.toObject().value("status")));
        }
        goal.results = std::move(results.by_name);
        goals[goal_key(text(g.value("tag")), g.value("tag_occurrence").toInt(),
                       g.value("obligation").toInt(), g.value("goal").toInt())] = std::move(goal);
    }
    return true;
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

std::optional<baseline_t> load_baseline(std::string const& path, std::string& error) {
    // Regular files only: a FIFO or a device would block the run or never end.
    QFile file;
    if (!pos::openRegularFile(QString::fromStdString(path), file)) {
        error = "cannot be read";
        return std::nullopt;
    }
    QJsonDocument const doc = QJsonDocument::fromJson(file.readAll());
    error = "not a prooftally JSON report";
    QJsonObject const report = doc.object();
    baseline_t result;
    result.version = report.value("version").toInt();
    if (doc.isNull() || report.value("report") != "prooftally" ||
        (result.version != 1 && result.version != 2) || !report.value("components").isArray())
        return std::nullopt;
    for (auto const& value : report.value("components").toArray()) {
        QJsonObject const item = value.toObject();
        baseline_component_t component;
        if (!item.value("name").isString() || !item.value("po_file_state").isString())
            return std::nullopt;
        component.name = text(item.value("name"));
        component.po_file = text(item.value("po_file"));
        component.po_file_state = text(item.value("po_file_state"));
        std::pair<char const*, long long*> const fields[] = {{"proved", &component.proved},
                                                             {"unproved", &component.unproved},
                                                             {"unreliable", &component.unreliable},
                                                             {"disproved", &component.disproved}};
        for (auto const& [key, field] : fields) {
            if (!item.value(key).isDouble())
                return std::nullopt;
            *field = item.value(key).toVariant().toLongLong();
        }
        if (result.version == 2 &&
            (!item.value("goal_list").isArray() ||
             !read_goals(item.value("goal_list").toArray(), component.goals)))
            return std::nullopt;
        result.components.push_back(std::move(component));
    }
    error.clear();
    return result;
}

std::vector<regression_t> regressions(baseline_t const& baseline, collection_t const& collected) {
    // A name listed more than once is matched occurrence by occurrence.
    std::map<std::string, std::vector<component_t const*>> now;
    for (component_t const& c : collected.components)
        now[c.name].push_back(&c);
    std::map<std::string, std::size_t> seen;
    std::vector<regression_t> found;
    for (auto const& old : baseline.components) {
        regression_t lost{old.name, false, old.po_file_state, old.po_file_state, {}};
        std::size_t const occurrence = seen[old.name]++;
        auto const listed = now.find(old.name);
        if (listed == now.end() || occurrence >= listed->second.size()) {
            lost.gone = true;
            lost.deltas.push_back({"proved", old.proved, 0});
            found.push_back(std::move(lost));
            continue;
        }
        component_t const& c = *listed->second[occurrence];
        pos::metrics_t const& m = c.metrics;
        std::string const state_now = po_file_state_word(c.read);
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
            found.push_back(std::move(lost));
    }
    return found;
}

goal_comparison_t compare_goals(baseline_t const& baseline, collection_t const& collected) {
    goal_comparison_t result;
    std::map<std::string, std::vector<baseline_component_t const*>> before;
    for (baseline_component_t const& b : baseline.components)
        before[b.name].push_back(&b);
    std::map<std::string, std::size_t> seen;
    std::set<baseline_component_t const*> matched;
    for (component_t const& c : collected.components) {
        std::size_t const occurrence = seen[c.name]++;
        auto const listed = before.find(c.name);
        baseline_component_t const* old =
            listed != before.end() && occurrence < listed->second.size()
                ? listed->second[occurrence]
                : nullptr;
        std::string const state = po_file_state_word(c.read);
        if (old) {
            matched.insert(old);
            if (state != "read" && state != old->po_file_state)
                result.findings.push_back(
                    {state, c.name, c.path, 0, {}, 0, 0, {}, old->po_file_state, state, {}});
        }
        std::size_t kept = 0;
        for (named_goal_t const& g : named_goals(c)) {
            pos::goal_detail_t const& goal = *g.goal;
            std::string const status = pos::strOfProofStatus(goal.status).toStdString();
            finding_t f{"lost",      c.name,    c.path, goal.line, goal.tag, goal.obligation,
                        goal.number, g.label(), {},     status,    {}};
            auto const was = old ? old->goals.find(f.label) : decltype(old->goals.end()){};
            if (!old || was == old->goals.end()) {
                ++result.added;
                if (goal.status != pos::PROVED) {
                    f.kind = "new";
                    f.old_value = "new";
                    result.findings.push_back(std::move(f));
                }
                continue;
            }
            ++result.compared;
            ++kept;
            f.old_value = was->second.status;
            f.results = lost_results(was->second.results, results_of(goal));
            int const then = rank(was->second.status), now = rank(status);
            bool const disproved = goal.status == pos::DISPROVED && was->second.status != status;
            if ((then > 0 && now < then) || disproved || !f.results.empty())
                result.findings.push_back(std::move(f));
        }
        if (old)
            result.vanished += old->goals.size() - kept;
    }
    for (baseline_component_t const& b : baseline.components)
        if (!matched.count(&b)) {
            result.findings.push_back(
                {"gone", b.name, b.po_file, 0, {}, 0, 0, {}, b.po_file_state, "gone", {}});
            result.vanished += b.goals.size();
        }
    return result;
}

bool regressed(std::vector<regression_t> const& found) {
    for (auto const& lost : found) {
        std::cerr << "prooftally: " << lost.component << ": ";
        if (lost.gone) {
            std::cerr << "no longer in the project (was " << lost.deltas[0].before << " proved)\n";
            continue;
        }
        char const* separator = "";
        if (lost.po_file_after != lost.po_file_before) {
            std::cerr << "PO file " << lost.po_file_before << " -> " << lost.po_file_after;
            separator = ", ";
        }
        for (auto const& delta : lost.deltas) {
            std::cerr << separator << delta.counter << ' ' << delta.before << " -> " << delta.after;
            separator = ", ";
        }
        std::cerr << '\n';
    }
    return !found.empty();
}
