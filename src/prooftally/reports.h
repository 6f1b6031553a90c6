// The three reports of the command, written to a stream (standard output). Every row is
// laid out against the total record, whose mechanisms and drivers decide the
// columns.
#ifndef REPORTS_H
#define REPORTS_H

#include "prooftally/collect.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

// Plain-text table.
void cout_pretty_print(std::ostream& out, component_list_t const& components,
                       pos::metrics_t const& total);
void cout_pretty_print_metrics(std::ostream& out, std::vector<std::uint32_t> const& widths,
                               std::string const& name, pos::metrics_t const& metrics,
                               pos::metrics_t const& total);
// Writes `text` centred in `width`; a text longer than `width` is cut.
void cout_centered(std::ostream& out, std::uint32_t const& width, std::string const& text,
                   char fill);

// HTML document: head and header rows, one row per call, tail.
void cout_html_head(std::ostream& out, pos::metrics_t const& total);
void cout_html_metrics(std::ostream& out, std::string name, pos::metrics_t const& metrics,
                       pos::metrics_t const& total);
void cout_html_tail(std::ostream& out);

// CSV: header line, one line per call.
void cout_csv_header(std::ostream& out, pos::metrics_t const& total);
void cout_csv_metrics(std::ostream& out, std::string const& name, pos::metrics_t const& metrics,
                      pos::metrics_t const& total);

#endif
