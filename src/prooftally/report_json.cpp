#include "prooftally/report_json.h"

#include "db/bdp.h"

#include <QJsonArray>
#include <QJsonDocument>
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

QJsonObject json_report(std::string const& bdp, std::string const& project,
                        collection_t const& collected, pos::metrics_t const& total) {
    QJsonArray components;
    auto state = collected.reads.begin();
    for (auto const& [name, metrics] : collected.components) {
        QJsonObject component = json_metrics(*metrics);
        component.insert("name", utf8(name));
        component.insert("po_file", utf8(po_file_path(bdp, name)));
        component.insert("po_file_state", po_file_state_word(*state++));
        components.append(component);
    }
    return QJsonObject{{"report", "prooftally"},   {"version", 1},
                       {"project", utf8(project)}, {"database", utf8(database_path(bdp, project))},
                       {"components", components}, {"total", json_metrics(total)}};
}

void cout_json(QJsonObject const& report) {
    std::cout << QJsonDocument(report).toJson(QJsonDocument::Indented).toStdString() << std::flush;
}
