#include "prooftally/columns.h"
#include "prooftally/reports.h"

#include <ostream>

void cout_html_head(std::ostream& out, pos::metrics_t const& total) {
    out << "<html>\n<table width=\"100%\" border=\"1\">\n"
        << "  <thead>\n"
        << "    <tr>\n      <th rowspan=\"3\">Component</th>\n"
           "      <th rowspan=\"2\" colspan=\"7\">General</th>\n";
    for (auto const& [name, mech] : total.mechanisms)
        out << "    <th colspan=\"" << MECHANISM_COLUMNS + DRIVER_COLUMNS * mech->drivers.size()
            << "\">" << name << "</th>\n";
    out << "    </tr>\n"
        << "    <tr>\n";
    for_each_group(
        total,
        [&out](std::string const&, std::size_t, pos::mechanism_metrics_t const&) {
            out << "      <th colspan=\"5\">Summary</th>\n";
        },
        [&out](std::string const& name, std::size_t) {
            out << "      <th colspan=\"4\">" << name << "</th>\n";
        });
    out << "    </tr>\n"
        << "    <tr>\n";
    for_each_cell(total, total,
                  [&out](cell_t const& cell) { out << "      <th>" << cell.label << "</th>\n"; });
    out << "    </tr>\n"
        << "  </thead>\n"
        << "  <tbody>\n";
}

void cout_html_metrics(std::ostream& out, std::string name, pos::metrics_t const& metrics,
                       pos::metrics_t const& total) {
    out << "    <tr>\n"
        << "    <th align=\"right\">\n"
        << name << "</th>\n";
    for_each_cell(metrics, total, [&out](cell_t const& cell) {
        if (cell.group == column_group_t::general)
            out << "    <td align=\"right\">\n" << *cell.value << "</td>\n";
        else if (cell.value)
            out << "    <td align=\"right\">" << *cell.value << "</td>\n";
        else
            out << "    <td></td>\n";
    });
    out << "    </tr>\n";
}

void cout_html_tail(std::ostream& out) {
    out << "  </tbody>\n</table>\n</html>\n";
}
