// The columns that every report lays out after the row's name: seven general
// counters, then for each mechanism of the total five counters followed by four
// for each driver of that mechanism. The total decides the columns, so every
// row has the same ones; a row lacking a mechanism or driver gets blank cells.
#ifndef COLUMNS_H
#define COLUMNS_H

#include "pos/pos.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

constexpr std::size_t GENERAL_COLUMNS = 7;
constexpr std::size_t MECHANISM_COLUMNS = 5;
constexpr std::size_t DRIVER_COLUMNS = 4;

enum class column_group_t { general, mechanism, driver };

struct cell_t {
    std::size_t column; // 1 for the first counter: column 0 holds the name
    column_group_t group;
    char const* label;          // "Po", "Pr", "Unr", ...
    std::string const* owner;   // mechanism or driver name; null in general columns
    std::uint32_t const* value; // null for a blank cell
};

// Calls `on_cell` for every column of `row` laid out against `total`.
void for_each_cell(pos::metrics_t const& row, pos::metrics_t const& total,
                   std::function<void(cell_t const&)> const& on_cell);

// Calls `on_mechanism` for every mechanism of the total and, after it,
// `on_driver` for each of its drivers, with the first column of each group.
void for_each_group(
    pos::metrics_t const& total,
    std::function<void(std::string const& name, std::size_t first_column,
                       pos::mechanism_metrics_t const&)> const& on_mechanism,
    std::function<void(std::string const& name, std::size_t first_column)> const& on_driver);

#endif
