#include "prooftally/columns.h"
#include "prooftally/reports.h"

#include <iostream>

void cout_html_head(pos::metrics_t const& total) {
    std::cout << "<html>\n<table width=\"100%\" border=\"1\">\n"
              << "  <thead>\n"
              << "    <tr>\n      <th rowspan=\"3\">Component</th>\n"
                 "      <th rowspan=\"2\" colspan=\"7\">General</th>\n";
    for (auto const& [name, mech] : total.mechanisms)
        std::cout << "    <th colspan=\""
                  << MECHANISM_COLUMNS + DRIVER_COLUMNS * mech->drivers.size() << "\">" << name
                  << "</th>\n";
    std::cout << "    </tr>\n"
              << "    <tr>\n";
    for_each_group(
        total,
        [](std::string const&, std::size_t, pos::mechanism_metrics_t const&) {
            std::cout << "      <th colspan=\"5\">Summary</th>\n";
        },
        [](std::string const& name, std::size_t) {
            std::cout << "      <th colspan=\"4\">" << name << "</th>\n";
        });
    std::cout << "    </tr>\n"
              << "    <tr>\n";
    for_each_cell(total, total,
                  [](cell_t const& cell) { std::cout << "      <th>" << cell.label << "</th>\n"; });
    std::cout << "    </tr>\n"
              << "  </thead>\n"
              << "  <tbody>\n";
}

void cout_html_metrics(std::string name, pos::metrics_t const& metrics,
                       pos::metrics_t const& total) {
    std::cout << "    <tr>\n"
              << "    <th align=\"right\">\n"
              << name << "</th>\n";
    for_each_cell(metrics, total, [](cell_t const& cell) {
        if (cell.group == column_group_t::general)
            std::cout << "    <td align=\"right\">\n" << *cell.value << "</td>\n";
        else if (cell.value)
            std::cout << "    <td align=\"right\">" << *cell.value << "</td>\n";
        else
            std::cout << "    <td></td>\n";
    });
    std::cout << "    </tr>\n";
}

void cout_html_tail() {
    std::cout << "  </tbody>\n</table>\n</html>\n";
}
