// Hostile and broken project databases: what DbFile makes of each, and that
// nothing from outside the file gets in (PO files: data/count/).
#include "db/DbFile.h"
#include "pos/pos.h"
#include "pos/pos_internal.h"
#include "prooftally/collect.h"
#include "test_support.h"

#include <QFile>

#include <gtest/gtest.h>

#include <random>

namespace {

// Entities l0..lN, each ten times the one before: lN expands to 3 * 10^N
// characters.
std::string laughs(int levels) {
    std::string dtd = "<!ENTITY l0 \"lol\">\n";
    for (int i = 1; i <= levels; ++i) {
        std::string ref = "&l" + std::to_string(i - 1) + ";";
        std::string value;
        for (int k = 0; k < 10; ++k)
            value += ref;
        dtd += "<!ENTITY l" + std::to_string(i) + " \"" + value + "\">\n";
    }
    return dtd;
}

std::string randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 rng(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(rng());
    return bytes;
}

} // namespace

TEST(HostileInput, ProjectDatabaseKeepsWhatCameBefore) {
    ScratchDir dir;
    const std::string secret = dir.write("secret.xml", "<component_file name=\"SECRET\"/>");
    auto database = [](std::string const& dtd, std::string const& components) {
        return "<!DOCTYPE db_xml [\n" + dtd + "]>\n<db_xml><project>" + components +
               "</project></db_xml>\n";
    };
    struct Case {
        const char* what;
        std::string bytes;
        bool loads;
        QList<QString> components;
        QString reason = {}; // the error text's end, when it matters
    };
    const Case cases[] = {
        // Refused at the DTD, before any component.
        {"billion laughs",
         database(laughs(9), "<component_file name=\"a\"/><component_file name=\"&l9;\"/>"
                             "<component_file name=\"b\"/>"),
         false,
         {}},
        {"external entity",
         database("<!ENTITY e SYSTEM \"" + secret + "\">\n",
                  "<component_file name=\"a\"/>&e;<component_file name=\"b\"/>"),
         true,
         {"a", "b"}},
        // Cut before the first reference.
        {"large entity declared last",
         database(laughs(3) + "<!ENTITY big \"&l3;&l3;\">\n",
                  "<component_file name=\"a\"/><component_file name=\"x&big;\"/>"),
         false,
         {"a"},
         ":an entity expands to more than 4096 characters"},
        {"random bytes", randomBytes(65536, 3), false, {}},
        {"NUL byte",
         database("", "<component_file name=\"a\"/>") + std::string(1, '\0'),
         false,
         {"a"}},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        DbFile db;
        QString error;
        EXPECT_EQ(db.load(QString::fromStdString(dir.write("p.db", c.bytes)), &error), c.loads);
        EXPECT_TRUE(error.endsWith(c.reason)) << error.toStdString();
        EXPECT_EQ(db.getComponents(), c.components);
        EXPECT_TRUE(db.getComponentPath(QStringLiteral("SECRET")).isNull());
    }
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
