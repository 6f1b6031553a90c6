#include "prooftally/columns.h"
#include "prooftally/reports.h"

#include <iostream>

void cout_csv_header(pos::metrics_t const& total) {
    std::cout << "#component,";
    for_each_cell(total, total, [](cell_t const& cell) {
        if (cell.owner)
            std::cout << *cell.owner << '.';
        std::cout << cell.label << ',';
    });
    std::cout << std::endl;
}

void cout_csv_metrics(std::string const& name, pos::metrics_t const& metrics,
                      pos::metrics_t const& total) {
    std::cout << name << ',';
    for_each_cell(metrics, total, [](cell_t const& cell) {
        if (cell.value)
            std::cout << *cell.value;
        std::cout << ',';
    });
    std::cout << std::endl;
}
