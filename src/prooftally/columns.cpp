#include "prooftally/columns.h"

namespace {

template <typename Record> struct column_t {
    char const* label;
    std::uint32_t Record::*counter;
};

constexpr column_t<pos::metrics_t> general_columns[GENERAL_COLUMNS] = {
    {"Po", &pos::metrics_t::nb_po},
    {"Pr", &pos::metrics_t::nb_proved},
    {"Unr", &pos::metrics_t::nb_unreliably_proved},
    {"Dis", &pos::metrics_t::nb_disproved},
    {"Unp", &pos::metrics_t::nb_unproved},
    {"Ext", &pos::metrics_t::nb_ext},
    {"Int", &pos::metrics_t::nb_int},
};

constexpr column_t<pos::mechanism_metrics_t> mechanism_columns[MECHANISM_COLUMNS] = {
    {"Pr", &pos::mechanism_metrics_t::nb_proved},
    {"Unr", &pos::mechanism_metrics_t::nb_unreliably_proved},
    {"Dis", &pos::mechanism_metrics_t::nb_disproved},
    {"Unk", &pos::mechanism_metrics_t::nb_unknown},
    {"Unp", &pos::mechanism_metrics_t::nb_unproved},
};

constexpr column_t<pos::driver_metrics_t> driver_columns[DRIVER_COLUMNS] = {
    {"Pr", &pos::driver_metrics_t::nb_proved},
    {"Dis", &pos::driver_metrics_t::nb_disproved},
    {"Unk", &pos::driver_metrics_t::nb_unknown},
    {"Unp", &pos::driver_metrics_t::nb_unproved},
};

template <typename Map>
typename Map::mapped_type::element_type const* find(Map const* map, std::string const& name) {
    if (map == nullptr)
        return nullptr;
    auto const found = map->find(name);
    return found == map->end() ? nullptr : found->second.get();
}

template <typename Record, std::size_t N>
void emit(column_t<Record> const (&columns)[N], column_group_t group, std::string const* owner,
          Record const* record, std::size_t& column,
          std::function<void(cell_t const&)> const& on_cell) {
    for (auto const& c : columns)
        on_cell({column++, group, c.label, owner, record ? &(record->*c.counter) : nullptr});
}

} // namespace

void for_each_cell(pos::metrics_t const& row, pos::metrics_t const& total,
                   std::function<void(cell_t const&)> const& on_cell) {
    std::size_t column = 1;
    emit(general_columns, column_group_t::general, nullptr, &row, column, on_cell);
    for (auto const& [mech_name, total_mech] : total.mechanisms) {
        auto const* mech = find(&row.mechanisms, mech_name);
        emit(mechanism_columns, column_group_t::mechanism, &mech_name, mech, column, on_cell);
        for (auto const& driver : total_mech->drivers) {
            auto const* record = find(mech ? &mech->drivers : nullptr, driver.first);
            emit(driver_columns, column_group_t::driver, &driver.first, record, column, on_cell);
        }
    }
}

void for_each_group(
    pos::metrics_t const& total,
    std::function<void(std::string const& name, std::size_t first_column,
                       pos::mechanism_metrics_t const&)> const& on_mechanism,
    std::function<void(std::string const& name, std::size_t first_column)> const& on_driver) {
    std::size_t column = 1 + GENERAL_COLUMNS;
    for (auto const& [mech_name, mech] : total.mechanisms) {
        on_mechanism(mech_name, column, *mech);
        column += MECHANISM_COLUMNS;
        for (auto const& driver : mech->drivers) {
            on_driver(driver.first, column);
            column += DRIVER_COLUMNS;
        }
    }
}
