#include "prooftally/gate.h"

#include "prooftally/report_json.h"

#include "pos/xml_load.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <iostream>
#include <map>
#include <sstream>

std::optional<fail_on_t> parse_fail_on(std::string const& list) {
    fail_on_t result;
    std::istringstream words(list);
    std::string word;
    while (std::getline(words, word, ',')) {
        if (word == "unproved")
            result.unproved = true;
        else if (word == "unreliable")
            result.unreliable = true;
        else if (word == "disproved")
            result.disproved = true;
        else if (word == "missing")
            result.missing = true;
        else if (word == "malformed")
            result.malformed = true;
        else
            return std::nullopt;
    }
    if (list.empty() || list.back() == ',')
        return std::nullopt;
    return result;
}

std::optional<std::vector<baseline_component_t>> load_baseline(std::string const& path,
                                                               std::string& error) {
    // Regular files only: a FIFO or a device would block the run or never end.
    QFile file;
    if (!pos::openRegularFile(QString::fromStdString(path), file)) {
        error = "cannot be read";
        return std::nullopt;
    }
    QJsonParseError parse_error;
    QJsonDocument const doc = QJsonDocument::fromJson(file.readAll(), &parse_error);
    error = "not a prooftally JSON report";
    QJsonObject const report = doc.object();
    if (doc.isNull() || report.value("report") != "prooftally" || report.value("version") != 1 ||
        !report.value("components").isArray())
        return std::nullopt;
    std::vector<baseline_component_t> result;
    for (auto const& value : report.value("components").toArray()) {
        QJsonObject const item = value.toObject();
        baseline_component_t component;
        if (!item.value("name").isString() || !item.value("po_file_state").isString())
            return std::nullopt;
        component.name = item.value("name").toString().toStdString();
        component.po_file_state = item.value("po_file_state").toString().toStdString();
        std::pair<char const*, long long*> const fields[] = {{"proved", &component.proved},
                                                             {"unproved", &component.unproved},
                                                             {"unreliable", &component.unreliable},
                                                             {"disproved", &component.disproved}};
        for (auto const& [key, field] : fields) {
            if (!item.value(key).isDouble())
                return std::nullopt;
            *field = item.value(key).toVariant().toLongLong();
        }
        result.push_back(std::move(component));
    }
    error.clear();
    return result;
}

bool failed_on(fail_on_t const& fail_on, collection_t const& collected) {
    bool failed = false;
    auto state = collected.reads.begin();
    for (auto const& [name, metrics] : collected.components) {
        std::string counts;
        auto add = [&counts](std::string const& part) {
            counts += (counts.empty() ? "" : ", ") + part;
        };
        if (fail_on.missing && *state == pos::po_read_t::unopened)
            add("PO file missing");
        if (fail_on.malformed && *state == pos::po_read_t::malformed)
            add("PO file not well-formed");
        if (fail_on.unproved && metrics->nb_unproved)
            add(std::to_string(metrics->nb_unproved) + " unproved");
        if (fail_on.unreliable && metrics->nb_unreliably_proved)
            add(std::to_string(metrics->nb_unreliably_proved) + " unreliable");
        if (fail_on.disproved && metrics->nb_disproved)
            add(std::to_string(metrics->nb_disproved) + " disproved");
        ++state;
        if (!counts.empty()) {
            std::cerr << "prooftally: " << name << ": " << counts << '\n';
            failed = true;
        }
    }
    return failed;
}

std::vector<regression_t> regressions(std::vector<baseline_component_t> const& baseline,
                                      collection_t const& collected) {
    // A name listed more than once is matched occurrence by occurrence.
    std::map<std::string, std::vector<std::pair<pos::metrics_t const*, pos::po_read_t>>> now;
    auto state = collected.reads.begin();
    for (auto const& [name, metrics] : collected.components)
        now[name].emplace_back(metrics.get(), *state++);
    std::map<std::string, std::size_t> seen;
    std::vector<regression_t> found;
    for (auto const& old : baseline) {
        regression_t lost{old.name, false, old.po_file_state, old.po_file_state, {}};
        std::size_t const occurrence = seen[old.name]++;
        auto const listed = now.find(old.name);
        if (listed == now.end() || occurrence >= listed->second.size()) {
            lost.gone = true;
            lost.deltas.push_back({"proved", old.proved, 0});
            found.push_back(std::move(lost));
            continue;
        }
        auto const& [metrics, read] = listed->second[occurrence];
        std::string const state_now = po_file_state_word(read);
        if (state_now != "read")
            lost.po_file_after = state_now;
        auto lose = [&lost](char const* counter, long long before, long long after, bool worse) {
            if (worse)
                lost.deltas.push_back({counter, before, after});
        };
        lose("proved", old.proved, metrics->nb_proved, metrics->nb_proved < old.proved);
        lose("unproved", old.unproved, metrics->nb_unproved, metrics->nb_unproved > old.unproved);
        lose("unreliable", old.unreliable, metrics->nb_unreliably_proved,
             metrics->nb_unreliably_proved > old.unreliable);
        lose("disproved", old.disproved, metrics->nb_disproved,
             metrics->nb_disproved > old.disproved);
        if (lost.po_file_after != lost.po_file_before || !lost.deltas.empty())
            found.push_back(std::move(lost));
    }
    return found;
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
