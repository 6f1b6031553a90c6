#include "prooftally/collect.h"
#include "test_support.h"

#include <gtest/gtest.h>

namespace {

pos::mechanism_metrics_t& mechanism(pos::metrics_t& m, std::string const& name,
                                    pos::mechanism_metrics_t counts) {
    return *(m.mechanisms[name] = std::make_unique<pos::mechanism_metrics_t>(std::move(counts)));
}

void driver(pos::mechanism_metrics_t& m, std::string const& name, pos::driver_metrics_t counts) {
    m.drivers[name] = std::make_unique<pos::driver_metrics_t>(counts);
}

} // namespace

TEST(AddToTotal, SumsCountersAndMergesByName) {
    pos::metrics_t one{3, 1, 1, 1, 0, 1, 2, {}};
    driver(mechanism(one, "m", {1, 0, 1, 0, 0, {}}), "x", {1, 0, 1, 0});
    mechanism(one, "idle", {}); // all zero, still a column of the report
    pos::metrics_t two{2, 0, 1, 0, 1, 1, 0, {}};
    driver(mechanism(two, "m", {0, 2, 0, 0, 1, {}}), "y", {0, 1, 0, 2});
    driver(mechanism(two, "n", {0, 0, 1, 0, 0, {}}), "x", {0, 0, 1, 0});

    pos::metrics_t total;
    add_to_total(total, one);
    add_to_total(total, two);
    EXPECT_EQ(describe(total), "po 5 unp 1 pr 2 unr 1 dis 1 ext 2 int 2"
                               " | idle: unp 0 unk 0 pr 0 unr 0 dis 0"
                               " | m: unp 1 unk 2 pr 1 unr 0 dis 1"
                               " | m/x: unp 1 unk 0 pr 1 dis 0"
                               " | m/y: unp 0 unk 1 pr 0 dis 2"
                               " | n: unp 0 unk 0 pr 1 unr 0 dis 0"
                               " | n/x: unp 0 unk 0 pr 1 dis 0");
}

// Counters are unsigned 32-bit: a sum past 2^32 - 1 wraps around, as the
// record's counters do.
TEST(HostileInput, CountersWrapPast32Bits) {
    const std::uint32_t max = 0xFFFFFFFFu;
    pos::metrics_t total{max, max, max, max, max, max, max, {}};
    total.mechanisms["m"] = std::make_unique<pos::mechanism_metrics_t>(
        pos::mechanism_metrics_t{max, max, max, max, max, {}});
    total.mechanisms["m"]->drivers["d"] =
        std::make_unique<pos::driver_metrics_t>(pos::driver_metrics_t{max, max, max, max});

    pos::metrics_t component{2, 2, 2, 2, 2, 2, 2, {}};
    component.mechanisms["m"] =
        std::make_unique<pos::mechanism_metrics_t>(pos::mechanism_metrics_t{1, 1, 1, 1, 1, {}});
    component.mechanisms["m"]->drivers["d"] =
        std::make_unique<pos::driver_metrics_t>(pos::driver_metrics_t{3, 3, 3, 3});

    add_to_total(total, component);
    EXPECT_EQ(describe(total), "po 1 unp 1 pr 1 unr 1 dis 1 ext 1 int 1"
                               " | m: unp 0 unk 0 pr 0 unr 0 dis 0"
                               " | m/d: unp 2 unk 2 pr 2 dis 2");
}

// Several PO files hold an unknown status: the first in database order is the
// one named, even when its count takes the longest (it is large and holds its
// value at the end; the others fail at once).
TEST(Collect, NamesTheFirstUnknownStatusInDatabaseOrder) {
    ScratchDir dir;
    std::string goals;
    for (int i = 0; i < 20000; ++i)
        goals += "<Simple_Goal status=\"Proved\"/>\n";
    dir.write("Slow.pos", poDocument(goals + "<Simple_Goal status=\"Late\"/>"));
    std::string db = "<db_xml><project><component_file name=\"Slow\"/>";
    for (std::string const name : {"A", "B", "C"}) {
        dir.write(name + ".pos", poDocument("<Simple_Goal status=\"Early\"/>"));
        db += "<component_file name=\"" + name + "\"/>";
    }
    dir.write("p.db", db + "</project></db_xml>");
    collection_t const collected = collect_metrics(dir.path(), "p");
    ASSERT_TRUE(collected.unknown_status);
    EXPECT_EQ(collected.unknown_status->path, dir.path() + "/Slow.pos");
    EXPECT_EQ(collected.unknown_status->value, "Late");
}
