#include "prooftally/gate.h"

#include <gtest/gtest.h>

#include <tuple>

#include <sstream>

namespace {

std::string text(regression_t const& lost) {
    std::ostringstream out;
    out << lost.component << (lost.gone ? " gone" : "") << " [" << lost.po_file_before << ' '
        << lost.po_file_after << ']';
    for (auto const& delta : lost.deltas)
        out << ' ' << delta.counter << ' ' << delta.before << '>' << delta.after;
    return out.str();
}

} // namespace

// What the dashboard shows of --since: records in baseline order, names
// matched occurrence by occurrence, improvements and new components passing.
TEST(Gate, RegressionRecords) {
    collection_t now;
    struct {
        char const* name;
        pos::metrics_t counts;
        pos::po_read_t read;
    } const components[] = {
        {"A", {4, 1, 3, 0, 0, 0, 0, {}}, pos::po_read_t::read},
        {"B", {2, 0, 2, 0, 0, 0, 0, {}}, pos::po_read_t::malformed},
        {"A", {6, 0, 5, 1, 0, 0, 0, {}}, pos::po_read_t::read},
        {"C", {}, pos::po_read_t::unopened},
        {"New", {1, 1, 0, 0, 0, 0, 0, {}}, pos::po_read_t::read},
        {"U", {3, 2, 0, 1, 0, 0, 0, {}}, pos::po_read_t::read},
    };
    for (auto const& c : components) {
        component_t& added = now.components.emplace_back();
        added.name = c.name;
        added.read = c.read;
        added.metrics = {c.counts.nb_po,
                         c.counts.nb_unproved,
                         c.counts.nb_proved,
                         c.counts.nb_unreliably_proved,
                         0,
                         0,
                         0,
                         {}};
    }
    baseline_t baseline;
    for (auto const& [name, state, proved, unproved, unreliable] :
         std::vector<std::tuple<char const*, char const*, int, int, int>>{{"A", "read", 4, 0, 0},
                                                                          {"B", "read", 2, 0, 0},
                                                                          {"A", "read", 5, 1, 2},
                                                                          {"C", "missing", 0, 0, 0},
                                                                          {"D", "read", 1, 0, 0},
                                                                          {"A", "read", 1, 0, 0},
                                                                          {"U", "read", 0, 2, 0}})
        baseline.components.push_back({name, {}, state, proved, unproved, unreliable, 0, {}});
    std::vector<std::string> found;
    for (auto const& lost : regressions(baseline, now))
        found.push_back(text(lost));
    EXPECT_EQ(found, (std::vector<std::string>{
                         "A [read read] proved 4>3 unproved 0>1",
                         "B [read malformed]",
                         "D gone [read read] proved 1>0",
                         "A gone [read read] proved 1>0",
                         "U [read read] unreliable 0>1",
                     }));
}
