#include "prooftally/report_json.h"

#include "prooftally/model.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <iostream>

namespace {

QString utf8(std::string const& bytes) {
    return QString::fromStdString(bytes);
}

QJsonObject json_metrics(pos::metrics_t const& metrics) {
    QJsonArray mechanisms;
    for (auto const& [mech_name, mech] : metrics.mechanisms) {
        QJsonArray drivers;
        for (auto const& [driver_name, driver] : mech->drivers) {
            drivers.append(QJsonObject{{"name", utf8(driver_name)},
                                       {"unproved", qint64(driver->nb_unproved)},
                                       {"unknown", qint64(driver->nb_unknown)},
                                       {"proved", qint64(driver->nb_proved)},
                                       {"disproved", qint64(driver->nb_disproved)}});
        }
        mechanisms.append(QJsonObject{{"name", utf8(mech_name)},
                                      {"unproved", qint64(mech->nb_unproved)},
                                      {"unknown", qint64(mech->nb_unknown)},
                                      {"proved", qint64(mech->nb_proved)},
                                      {"unreliable", qint64(mech->nb_unreliably_proved)},
                                      {"disproved", qint64(mech->nb_disproved)},
                                      {"drivers", drivers}});
    }
    return QJsonObject{{"goals", qint64(metrics.nb_po)},
                       {"unproved", qint64(metrics.nb_unproved)},
                       {"proved", qint64(metrics.nb_proved)},
                       {"unreliable", qint64(metrics.nb_unreliably_proved)},
                       {"disproved", qint64(metrics.nb_disproved)},
                       {"external", qint64(metrics.nb_ext)},
                       {"internal", qint64(metrics.nb_int)},
                       {"mechanisms", mechanisms}};
}

} // namespace

char const* po_file_state_word(pos::po_read_t state) {
    switch (state) {
    case pos::po_read_t::read:
        return "read";
    case pos::po_read_t::unopened:
        return "missing";
    case pos::po_read_t::malformed:
        return "malformed";
    }
    return "missing";
}

char const* database_state_word(database_state_t state) {
    char const* const words[] = {"read", "missing", "malformed", "empty"};
    return words[static_cast<int>(state)];
}

namespace {

QJsonObject json_component(component_t const& c) {
    auto status = [](pos::status_t s) { return pos::strOfProofStatus(s); };
    QJsonObject component = json_metrics(c.metrics);
    component.insert("name", utf8(c.name));
    component.insert("po_file", utf8(c.path));
    component.insert("po_file_state", po_file_state_word(c.read));
    QJsonArray goals;
    for (named_goal_t const& named : named_goals(c)) {
        pos::goal_detail_t const& g = *named.goal;
        QJsonArray mechanisms;
        for (auto const& m : g.mechanisms) {
            QJsonArray drivers;
            for (auto const& d : m.drivers)
                drivers.append(QJsonObject{{"name", utf8(d.name)}, {"status", status(d.status)}});
            mechanisms.append(QJsonObject{
                {"name", utf8(m.name)}, {"status", status(m.status)}, {"drivers", drivers}});
        }
        goals.append(QJsonObject{{"tag", utf8(g.tag)},
                                 {"tag_occurrence", qint64(named.tag_occurrence)},
                                 {"obligation", qint64(g.obligation)},
                                 {"goal", qint64(g.number)},
                                 {"line", qint64(g.line)},
                                 {"status", status(g.status)},
                                 {"mechanisms", mechanisms}});
    }
    component.insert("goal_list", goals);
    return component;
}

QJsonArray json_findings(std::vector<finding_t> const& findings) {
    QJsonArray list;
    for (finding_t const& f : findings)
        list.append(QJsonObject{{"kind", utf8(f.kind)},
                                {"component", utf8(f.component)},
                                {"file", utf8(f.file)},
                                {"line", qint64(f.line)},
                                {"tag", utf8(f.tag)},
                                {"obligation", qint64(f.obligation)},
                                {"goal", qint64(f.goal)},
                                {"old", utf8(f.old_value)},
                                {"new", utf8(f.new_value)},
                                {"results", utf8(f.results)},
                                {"message", utf8(finding_line(f))}});
    return list;
}

// `text` with `indent` before each of its lines, without its last line end.
void write_indented(std::ostream& out, QByteArray const& text, char const* indent) {
    int start = 0;
    while (start < text.size()) {
        int end = text.indexOf('\n', start);
        if (end < 0)
            end = text.size();
        if (start > 0)
            out << '\n';
        out << indent;
        out.write(text.constData() + start, end - start);
        start = end + 1;
    }
}

} // namespace

void write_json(std::ostream& out, report_t const& report) {
    collection_t const& collected = report.collected;
    // One component at a time, each as Qt writes it inside the document: the
    // goals of a large project never stand in memory as JSON all at once.
    // "components" is the first key in order, so the rest follows it.
    out << "{\n    \"components\": [\n";
    for (std::size_t i = 0; i < collected.components.size(); ++i) {
        write_indented(
            out,
            QJsonDocument(json_component(collected.components[i])).toJson(QJsonDocument::Indented),
            "        ");
        out << (i + 1 < collected.components.size() ? ",\n" : "\n");
    }
    out << "    ],\n";
    QJsonObject rest{{"report", "prooftally"},
                     {"version", 2},
                     {"project", utf8(report.project)},
                     {"database", utf8(collected.database)},
                     {"database_state", database_state_word(collected.database_state)},
                     {"total", json_metrics(report.total)}};
    if (report.gated)
        rest.insert("findings", json_findings(report.findings));
    QByteArray const text = QJsonDocument(rest).toJson(QJsonDocument::Indented);
    out.write(text.constData() + 2, text.size() - 2); // after its "{\n"
    out.flush();
}
