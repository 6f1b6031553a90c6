#include "pos/pos.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <stdexcept>

using pos::metrics_t;

namespace {

struct Case {
    const char* what;
    std::string xml;
    const char* expected;
};

std::string goal(std::string const& attrs, std::string const& children) {
    return "<Simple_Goal " + attrs + ">" + children + "</Simple_Goal>";
}
std::string proofState(std::string const& state) {
    return "<Proof_State passList=\"\" methodList=\"\" proofState=\"" + state + "\"/>";
}
std::string mech(std::string const& name, std::string const& status,
                 std::string const& drivers = "") {
    return "<Mechanism name=\"" + name + "\" status=\"" + status + "\">" + drivers + "</Mechanism>";
}
std::string driver(std::string const& name, std::string const& status) {
    return "<Driver name=\"" + name + "\" status=\"" + status + "\"/>";
}

} // namespace

TEST(GetMetrics, CountsGoalsMechanismsAndDrivers) {
    const Case cases[] = {
        {"no goal", poDocument(""), "po 0 unp 0 pr 0 unr 0 dis 0 ext 0 int 0"},
        {"missing attributes read as Unproved and the empty name",
         poDocument(goal("", "<Mechanism><Driver/></Mechanism>")),
         "po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | : unp 1 unk 0 pr 0 unr 0 dis 0"
         " | /: unp 1 unk 0 pr 0 dis 0"},
        {"goal statuses, Unknown only in po, Proved(2) as proved",
         poDocument(goal("status=\"Unknown\"", "") + goal("status=\"Proved(2)\"", "") +
                    goal("status=\"UnreliablyProved\"", "") + goal("status=\"Disproved\"", "") +
                    goal("status=\"Unproved\"", "")),
         "po 5 unp 1 pr 1 unr 1 dis 1 ext 0 int 0"},
        {"int needs one of the five proved states of the first Proof_State",
         poDocument(goal("", proofState("Proved(Util)")) + goal("", proofState("Proved")) +
                    goal("", proofState("Proved(0)") + proofState("Unproved")) +
                    goal("", proofState("Unproved") + proofState("Proved(1)")) + goal("", "")),
         "po 5 unp 5 pr 0 unr 0 dis 0 ext 0 int 2"},
        {"ext counts a goal once; every proved mechanism counts in its entry",
         poDocument(goal("status=\"Proved\"",
                         mech("A", "Proved") + mech("B", "Proved(Util)") + mech("A", "Unknown")) +
                    goal("", mech("B", "UnreliablyProved") + mech("A", "Disproved"))),
         "po 2 unp 1 pr 1 unr 0 dis 0 ext 1 int 0"
         " | A: unp 0 unk 1 pr 1 unr 0 dis 1 | B: unp 0 unk 0 pr 1 unr 1 dis 0"},
        {"drivers per mechanism; UnreliablyProved creates the entry only",
         poDocument(goal("", mech("M", "Proved",
                                  driver("d", "UnreliablyProved") + driver("x", "Proved") +
                                      driver("x", "Unknown") + driver("y", "Disproved")) +
                                 mech("N", "Unproved", driver("x", "Unproved")))),
         "po 1 unp 1 pr 0 unr 0 dis 0 ext 1 int 0 | M: unp 0 unk 0 pr 1 unr 0 dis 0"
         " | M/d: unp 0 unk 0 pr 0 dis 0 | M/x: unp 0 unk 1 pr 1 dis 0"
         " | M/y: unp 0 unk 0 pr 0 dis 1 | N: unp 1 unk 0 pr 0 unr 0 dis 0"
         " | N/x: unp 1 unk 0 pr 0 dis 0"},
        {"names in byte order: capitals, then small letters, prefixes first, UTF-8 last",
         poDocument(goal("", mech("b", "Unproved") + mech("\xc3\xa9", "Unproved") +
                                 mech("B", "Unproved") + mech("BB", "Unproved") +
                                 mech("a", "Unproved"))),
         "po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | B: unp 1 unk 0 pr 0 unr 0 dis 0"
         " | BB: unp 1 unk 0 pr 0 unr 0 dis 0 | a: unp 1 unk 0 pr 0 unr 0 dis 0"
         " | b: unp 1 unk 0 pr 0 unr 0 dis 0 | \xc3\xa9: unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"elements at the wrong depth are not counted; any root name; obligations add up",
         "<Other><Simple_Goal/><Proof_Obligation><Tag/>"
         "<Simple_Goal status=\"Proved\"><Driver name=\"d\"/>"
         "<x><Mechanism name=\"deep\" status=\"Proved\"/></x>"
         "<Mechanism name=\"m\" status=\"Unproved\"><x><Driver name=\"deep\"/></x></Mechanism>"
         "</Simple_Goal><x><Simple_Goal/></x></Proof_Obligation>"
         "<x><Proof_Obligation><Simple_Goal/></Proof_Obligation></x>"
         "<Proof_Obligation><Simple_Goal status=\"Disproved\"/></Proof_Obligation></Other>",
         "po 2 unp 0 pr 1 unr 0 dis 1 ext 0 int 0 | m: unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"a file cut off keeps the start tags read before the break",
         "<Proof_Obligations><Proof_Obligation><Simple_Goal status=\"Proved\"/>"
         "<Simple_Goal><Mechanism name=\"M\" status=\"Proved\"><Driver name=\"d\" sta",
         "po 2 unp 1 pr 1 unr 0 dis 0 ext 1 int 0 | M: unp 0 unk 0 pr 1 unr 0 dis 0"},
        {"an empty file is a document without goals", "",
         "po 0 unp 0 pr 0 unr 0 dis 0 ext 0 int 0"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        metrics_t m;
        m.nb_po = 99; // a reused record starts over
        EXPECT_TRUE(pos::getMetrics(dir.write("a.pos", c.xml), m));
        EXPECT_EQ(describe(m), c.expected);
    }
}

TEST(GetMetrics, UnknownStatusRaisesWithTheRecordPartlyFilled) {
    const Case cases[] = {
        {"an empty goal status is not in the vocabulary; the goal is not counted",
         poDocument(goal("status=\"Proved\"", "") + goal("status=\"\"", "")),
         "po 1 unp 0 pr 1 unr 0 dis 0 ext 0 int 0"},
        {"a bad first mechanism raises in the nb_ext scan, before any entry",
         poDocument(goal("", proofState("Proved(0)") + mech("A", "proved") + mech("B", "Proved"))),
         "po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 1"},
        {"after a proved mechanism it raises in the entry scan, with its entry made",
         poDocument(goal("", mech("A", "Proved") + mech("B", "Valid"))),
         "po 1 unp 1 pr 0 unr 0 dis 0 ext 1 int 0 | A: unp 0 unk 0 pr 1 unr 0 dis 0"
         " | B: unp 0 unk 0 pr 0 unr 0 dis 0"},
        {"a bad driver keeps its new entry",
         poDocument(goal("", mech("A", "Unproved", driver("d", "Invalid")))),
         "po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | A: unp 1 unk 0 pr 0 unr 0 dis 0"
         " | A/d: unp 0 unk 0 pr 0 dis 0"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        metrics_t m;
        try {
            pos::getMetrics(dir.write("a.pos", c.xml), m);
            ADD_FAILURE() << "no exception";
        } catch (std::out_of_range const& e) {
            EXPECT_STREQ(e.what(), "map::at");
        }
        EXPECT_EQ(describe(m), c.expected);
    }
}

TEST(GetMetrics, UnopenableFileLeavesTheRecordAlone) {
    ScratchDir dir;
    metrics_t m;
    ASSERT_TRUE(pos::getMetrics(TEST_DATA_DIR "/po/sample.pos", m));
    const std::string before = describe(m);
    EXPECT_EQ(before, "po 6 unp 2 pr 3 unr 1 dis 0 ext 2 int 2"
                      " | Kp: unp 1 unk 1 pr 1 unr 0 dis 0 | Kp/cvc: unp 1 unk 0 pr 0 dis 0"
                      " | Kp/z3: unp 0 unk 1 pr 1 dis 0 | PP: unp 1 unk 0 pr 1 unr 1 dis 0"
                      " | PP/ml: unp 2 unk 0 pr 1 dis 0");
    EXPECT_FALSE(pos::getMetrics(dir.path() + "/missing.pos", m));
    EXPECT_EQ(describe(m), before);
}
