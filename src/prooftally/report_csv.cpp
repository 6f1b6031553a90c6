#include "prooftally/columns.h"
#include "prooftally/reports.h"

#include <ostream>

void cout_csv_header(std::ostream& out, pos::metrics_t const& total) {
    out << "#component,";
    for_each_cell(total, total, [&out](cell_t const& cell) {
        if (cell.owner)
            out << *cell.owner << '.';
        out << cell.label << ',';
    });
    out << std::endl;
}

void cout_csv_metrics(std::ostream& out, std::string const& name, pos::metrics_t const& metrics,
                      pos::metrics_t const& total) {
    out << name << ',';
    for_each_cell(metrics, total, [&out](cell_t const& cell) {
        if (cell.value)
            out << *cell.value;
        out << ',';
    });
    out << std::endl;
}
