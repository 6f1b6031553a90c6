#include "prooftally/gate.h"

#include "prooftally/report_json.h"

#include "db/bdp.h"
#include "pos/xml_load.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

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

bool read_goals(QJsonArray const& list, baseline_component_t& component) {
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
        std::string const obligation = obligation_key(
            text(g.value("tag")), g.value("tag_occurrence").toInt(), g.value("obligation").toInt());
        ++component.obligations[obligation];
        component.goals[goal_key(obligation, g.value("goal").toInt())] = std::move(goal);
    }
    return true;
}

// Why `data` is no JSON document, or nothing.
std::optional<std::string> not_json(QByteArray const& data) {
    QJsonParseError error;
    QJsonDocument::fromJson(data, &error);
    if (error.error == QJsonParseError::NoError)
        return std::nullopt;
    QByteArray const trimmed = data.trimmed();
    if (trimmed.isEmpty())
        return std::string("empty");
    // A cut inside a string, an array, an object or the last literal.
    bool const cut = error.error == QJsonParseError::UnterminatedObject ||
                     error.error == QJsonParseError::UnterminatedArray ||
                     error.error == QJsonParseError::UnterminatedString ||
                     error.offset + 6 > trimmed.size();
    if (cut)
        return "truncated at byte " + std::to_string(data.size());
    return "not JSON (" + error.errorString().toStdString() + " near byte " +
           std::to_string(error.offset) + ")";
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
    QByteArray const data = file.readAll();
    error = "not a prooftally JSON report";
    if (auto const why = not_json(data)) {
        error += ": " + *why;
        return std::nullopt;
    }
    QJsonObject const report = QJsonDocument::fromJson(data).object();
    if (report.value("report") != "prooftally")
        return std::nullopt;
    baseline_t result;
    QJsonValue const version = report.value("version");
    result.version = version.toInt();
    if (result.version != 1 && result.version != 2) {
        QByteArray const written =
            QJsonDocument(QJsonArray{version}).toJson(QJsonDocument::Compact);
        error = "prooftally JSON report version " +
                written.mid(1, written.size() - 2).toStdString() + " not known";
        return std::nullopt;
    }
    if (!report.value("components").isArray())
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
        if (result.version == 2 && (!item.value("goal_list").isArray() ||
                                    !read_goals(item.value("goal_list").toArray(), component)))
            return std::nullopt;
        result.goals +=
            component.proved + component.unproved + component.unreliable + component.disproved;
        result.proved += component.proved;
        result.components.push_back(std::move(component));
    }
    // The total, where the report has one, also counts goals of status Unknown.
    QJsonObject const total = report.value("total").toObject();
    if (total.value("goals").isDouble() && total.value("proved").isDouble()) {
        result.goals = total.value("goals").toVariant().toLongLong();
        result.proved = total.value("proved").toVariant().toLongLong();
    }
    error.clear();
    return result;
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
        regression_t lost{old.name,          0, old.po_file, false, old.po_file_state,
                          old.po_file_state, {}};
        std::size_t const occurrence = seen[old.name]++;
        auto const listed = now.find(old.name);
        if (listed == now.end() || occurrence >= listed->second.size()) {
            lost.gone = true;
            lost.at = gone++;
            // A report without goals does not name the PO files.
            if (lost.po_file.empty())
                lost.po_file = po_file_path(bdp, old.name);
            lost.deltas.push_back({"proved", old.proved, 0});
            found.push_back(std::move(lost));
            continue;
        }
        lost.at = listed->second[occurrence];
        component_t const& c = collected.components[lost.at];
        lost.po_file = c.path;
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

goal_comparison_t compare_goals(baseline_t const& baseline, collection_t const& collected) {
    goal_comparison_t result;
    std::map<std::string, std::vector<baseline_component_t const*>> before;
    for (baseline_component_t const& b : baseline.components)
        before[b.name].push_back(&b);
    std::map<std::string, std::size_t> seen;
    std::set<baseline_component_t const*> matched;
    for (std::size_t at = 0; at < collected.components.size(); ++at) {
        component_t const& c = collected.components[at];
        std::size_t const occurrence = seen[c.name]++;
        auto const listed = before.find(c.name);
        baseline_component_t const* old =
            listed != before.end() && occurrence < listed->second.size()
                ? listed->second[occurrence]
                : nullptr;
        std::string const state = po_file_state_word(c.read);
        if (old) {
            matched.insert(old);
            if (state != "read" && state != old->po_file_state) {
                finding_t& f = result.findings.emplace_back(file_finding(c, at));
                f.old_value = old->po_file_state;
                f.since = true;
            }
        }
        std::vector<named_goal_t> const goals = named_goals(c);
        // Goals per obligation now: where the count changed, positions moved.
        std::map<std::string, std::uint32_t> obligations;
        for (named_goal_t const& g : goals)
            ++obligations[g.obligation()];
        std::size_t kept = 0;
        for (named_goal_t const& g : goals) {
            finding_t f = goal_finding(c, at, g);
            f.since = true;
            auto const was = old ? old->goals.find(f.label) : decltype(old->goals.end()){};
            if (old) {
                auto const then = old->obligations.find(g.obligation());
                std::uint32_t const count = then == old->obligations.end() ? 0 : then->second;
                if (count && count != obligations[g.obligation()])
                    f.note = "goals renumbered: " + std::to_string(count) + " -> " +
                             std::to_string(obligations[g.obligation()]);
            }
            if (!old || was == old->goals.end()) {
                ++result.added;
                if (g.goal->status != pos::PROVED) {
                    f.kind = "new";
                    f.old_value = "new";
                    f.results.clear();
                    result.findings.push_back(std::move(f));
                }
                continue;
            }
            ++result.compared;
            ++kept;
            f.kind = "lost";
            f.old_value = was->second.status;
            f.results = lost_results(was->second.results, results_of(*g.goal));
            int const then = rank(was->second.status), now = rank(f.new_value);
            bool const disproved =
                g.goal->status == pos::DISPROVED && was->second.status != f.new_value;
            if ((then > 0 && now < then) || disproved || !f.results.empty())
                result.findings.push_back(std::move(f));
        }
        if (old)
            result.vanished += old->goals.size() - kept;
    }
    std::size_t gone = collected.components.size();
    for (baseline_component_t const& b : baseline.components)
        if (!matched.count(&b)) {
            finding_t& f = result.findings.emplace_back();
            f.kind = f.new_value = "gone";
            f.component = b.name;
            f.file = b.po_file;
            f.old_value = b.po_file_state;
            f.since = true;
            f.at = gone++;
            result.vanished += b.goals.size();
        }
    return result;
}
