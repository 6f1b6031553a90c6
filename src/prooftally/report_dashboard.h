// The dashboard: one self-contained HTML5 page for people rather than for
// programs. The proved share, a bar per component, the mechanisms and their
// drivers, a legend, and with a baseline what was lost since. No network
// access, no date: the same files give the same bytes.
#ifndef REPORT_DASHBOARD_H
#define REPORT_DASHBOARD_H

#include "prooftally/model.h"

#include <ostream>
#include <string>

void write_dashboard(std::ostream& out, report_t const& report);

// `bytes` as HTML text: markup characters escaped, bytes that are not UTF-8
// and code points HTML does not allow replaced by U+FFFD, control characters
// shown as their control pictures (U+2400...).
std::string html_text(std::string const& bytes);

#endif
