// The dashboard: one self-contained HTML5 page for people rather than for
// programs. The proved share, a bar per component, the mechanisms and their
// drivers, a legend, and with a baseline what was lost since. No network
// access, no date: the same files give the same bytes.
#ifndef REPORT_DASHBOARD_H
#define REPORT_DASHBOARD_H

#include "prooftally/collect.h"
#include "prooftally/gate.h"

#include <ostream>
#include <string>
#include <vector>

// `lost` is null when the run has no baseline; `lost_goals` too, and when the
// baseline does not list goals.
void write_dashboard(std::ostream& out, std::string const& bdp, std::string const& project,
                     collection_t const& collected, pos::metrics_t const& total,
                     std::vector<regression_t> const* lost,
                     std::vector<finding_t> const* lost_goals = nullptr);

// `bytes` as HTML text: markup characters escaped, bytes that are not UTF-8
// and code points HTML does not allow replaced by U+FFFD, control characters
// shown as their control pictures (U+2400...).
std::string html_text(std::string const& bytes);

#endif
