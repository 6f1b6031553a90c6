#include "prooftally/collect.h"

#include "db/bdp.h"

#include <stdexcept>

collection_t collect_metrics(std::string const& bdp, std::string const& project) {
    collection_t result;
    for (std::string& name : component_names(bdp, project))
        result.components.emplace_back(std::move(name), std::make_unique<pos::metrics_t>());
    result.reads.assign(result.components.size(), pos::po_read_t::unopened);
    auto read = result.reads.begin();
    for (auto& [name, metrics] : result.components) {
        std::string path = po_file_path(bdp, name);
        try {
            *read++ = pos::countPoFile(path, *metrics);
        } catch (std::out_of_range const&) {
            result.unknown_status_path = std::move(path);
            break;
        }
    }
    return result;
}

void add_to_total(pos::metrics_t& total, pos::metrics_t const& metrics) {
    total.nb_po += metrics.nb_po;
    total.nb_unproved += metrics.nb_unproved;
    total.nb_proved += metrics.nb_proved;
    total.nb_unreliably_proved += metrics.nb_unreliably_proved;
    total.nb_disproved += metrics.nb_disproved;
    total.nb_ext += metrics.nb_ext;
    total.nb_int += metrics.nb_int;
    for (auto const& [mech_name, mech] : metrics.mechanisms) {
        auto& total_mech = total.mechanisms[mech_name];
        if (!total_mech)
            total_mech = std::make_unique<pos::mechanism_metrics_t>();
        total_mech->nb_unproved += mech->nb_unproved;
        total_mech->nb_unknown += mech->nb_unknown;
        total_mech->nb_proved += mech->nb_proved;
        total_mech->nb_unreliably_proved += mech->nb_unreliably_proved;
        total_mech->nb_disproved += mech->nb_disproved;
        for (auto const& [driver_name, driver] : mech->drivers) {
            auto& total_driver = total_mech->drivers[driver_name];
            if (!total_driver)
                total_driver = std::make_unique<pos::driver_metrics_t>();
            total_driver->nb_unproved += driver->nb_unproved;
            total_driver->nb_unknown += driver->nb_unknown;
            total_driver->nb_proved += driver->nb_proved;
            total_driver->nb_disproved += driver->nb_disproved;
        }
    }
}
