#include "prooftally/columns.h"
#include "prooftally/reports.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <numeric>
#include <ostream>

namespace {

using widths_t = std::vector<std::uint32_t>;

constexpr char const* NAME_LABEL = "Component";

std::uint32_t digits(std::uint32_t value) {
    std::uint32_t n = 0;
    do {
        ++n;
        value /= 10;
    } while (value != 0);
    return n;
}

std::uint32_t sum(widths_t const& widths, std::size_t first, std::size_t count) {
    return std::accumulate(widths.begin() + first, widths.begin() + first + count,
                           std::uint32_t{0});
}

// Only the total is measured: no component counter exceeds it.
widths_t column_widths(component_list_t const& components, pos::metrics_t const& total) {
    widths_t widths{static_cast<std::uint32_t>(std::strlen(NAME_LABEL))};
    for (auto const& component : components)
        widths[0] = std::max(widths[0], static_cast<std::uint32_t>(component.name.size()));
    for_each_cell(total, total, [&](cell_t const& cell) {
        widths.push_back(
            std::max(static_cast<std::uint32_t>(std::strlen(cell.label)), digits(*cell.value)));
    });
    return widths;
}

// The name and general columns are blank in the two group header lines.
void cout_blank_start(std::ostream& out, widths_t const& widths) {
    out.fill(' ');
    out << '|' << std::string(widths[0] + 2, ' ') << '|'
        << std::string(sum(widths, 1, GENERAL_COLUMNS) + 20, ' ') << '|';
}

// A group cell is as wide as the columns beneath it: width + 3 characters.
void cout_group(std::ostream& out, std::uint32_t width, std::string const& text) {
    out << ' ';
    cout_centered(out, width, text, ' ');
    out << " |";
}

void cout_cell(std::ostream& out, std::uint32_t width, std::string const& text) {
    out << ' ' << std::setw(width) << text << " |";
}

void cout_mechanism_names(std::ostream& out, widths_t const& widths, pos::metrics_t const& total) {
    cout_blank_start(out, widths);
    for_each_group(
        total,
        [&](std::string const& name, std::size_t first, pos::mechanism_metrics_t const& mech) {
            std::uint32_t width = sum(widths, first, MECHANISM_COLUMNS) + 12;
            for (std::size_t d = 0; d < mech.drivers.size(); ++d)
                width +=
                    sum(widths, first + MECHANISM_COLUMNS + d * DRIVER_COLUMNS, DRIVER_COLUMNS) +
                    12;
            cout_group(out, width, name);
        },
        [](std::string const&, std::size_t) {});
    out << std::endl;
}

void cout_driver_names(std::ostream& out, widths_t const& widths, pos::metrics_t const& total) {
    cout_blank_start(out, widths);
    for_each_group(
        total,
        [&](std::string const&, std::size_t first, pos::mechanism_metrics_t const&) {
            cout_group(out, sum(widths, first, MECHANISM_COLUMNS) + 12, "Summary");
        },
        [&](std::string const& name, std::size_t first) {
            cout_group(out, sum(widths, first, DRIVER_COLUMNS) + 9, name);
        });
    out << std::endl;
}

void cout_labels(std::ostream& out, widths_t const& widths, pos::metrics_t const& total) {
    out << '|';
    cout_cell(out, widths[0], NAME_LABEL);
    for_each_cell(total, total,
                  [&](cell_t const& cell) { cout_cell(out, widths[cell.column], cell.label); });
    out << std::endl;
}

} // namespace

void cout_centered(std::ostream& out, std::uint32_t const& width, std::string const& text,
                   char fill) {
    auto const length = static_cast<std::uint32_t>(text.size());
    if (length > width) {
        out << text.substr(0, width);
        return;
    }
    // Odd lengths lean right; the right part is never empty.
    std::uint32_t const left = length % 2 + width / 2 - length / 2;
    std::int64_t const right = std::int64_t{width} - left - length;
    out.fill(fill);
    out << std::setw(length + left) << text
        << std::setw(static_cast<int>(std::max<std::int64_t>(right, 1))) << fill;
}

void cout_pretty_print_metrics(std::ostream& out, std::vector<std::uint32_t> const& widths,
                               std::string const& name, pos::metrics_t const& metrics,
                               pos::metrics_t const& total) {
    out << '|';
    cout_cell(out, widths[0], name);
    for_each_cell(metrics, total, [&](cell_t const& cell) {
        std::uint32_t const width = widths[cell.column];
        if (cell.value)
            out << ' ' << std::setw(width) << *cell.value << " |";
        else
            out << std::string(width + 2, ' ') << '|';
    });
    out << std::endl;
}

void cout_pretty_print(std::ostream& out, component_list_t const& components,
                       pos::metrics_t const& total) {
    widths_t const widths = column_widths(components, total);
    cout_mechanism_names(out, widths, total);
    cout_driver_names(out, widths, total);
    cout_labels(out, widths, total);
    for (component_t const& component : components)
        cout_pretty_print_metrics(out, widths, component.name, component.metrics, total);
    cout_pretty_print_metrics(out, widths, "TOTAL", total, total);
}
