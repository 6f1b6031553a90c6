#include "pos/pos.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

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

// The record starts with po 7 (see countOutcome): a count starts it over.
TEST(GetMetrics, CountsGoalsMechanismsAndDrivers) {
    const struct {
        const char* what;
        std::optional<std::string> xml; // none: no such file
        std::string expected;
    } cases[] = {
        {"an unopenable file leaves the record alone", std::nullopt,
         "false | po 7 unp 0 pr 0 unr 0 dis 0 ext 0 int 0"},
        {"an empty file is a document without goals", "",
         "true | po 0 unp 0 pr 0 unr 0 dis 0 ext 0 int 0"},
        {"missing attributes read as Unproved and the empty name",
         poDocument(goal("", "<Mechanism><Driver/></Mechanism>")),
         "true | po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | : unp 1 unk 0 pr 0 unr 0 dis 0"
         " | /: unp 1 unk 0 pr 0 dis 0"},
        {"goal statuses, Unknown only in po, Proved(2) as proved",
         poDocument(goal("status=\"Unknown\"", "") + goal("status=\"Proved(2)\"", "") +
                    goal("status=\"UnreliablyProved\"", "") + goal("status=\"Disproved\"", "") +
                    goal("status=\"Unproved\"", "")),
         "true | po 5 unp 1 pr 1 unr 1 dis 1 ext 0 int 0"},
        {"int needs a proved state of the prover in the first Proof_State",
         poDocument(goal("", proofState("Proved(Util)")) + goal("", proofState("Proved")) +
                    goal("", proofState("Unproved") + proofState("Proved(1)"))),
         "true | po 3 unp 3 pr 0 unr 0 dis 0 ext 0 int 1"},
        {"ext counts a goal once; every proved mechanism counts in its entry",
         poDocument(goal("status=\"Proved\"",
                         mech("A", "Proved") + mech("B", "Proved(Util)") + mech("A", "Unknown")) +
                    goal("", mech("B", "UnreliablyProved") + mech("A", "Disproved"))),
         "true | po 2 unp 1 pr 1 unr 0 dis 0 ext 1 int 0"
         " | A: unp 0 unk 1 pr 1 unr 0 dis 1 | B: unp 0 unk 0 pr 1 unr 1 dis 0"},
        {"drivers per mechanism; UnreliablyProved creates the entry only",
         poDocument(goal("", mech("M", "Proved",
                                  driver("d", "UnreliablyProved") + driver("x", "Proved") +
                                      driver("x", "Unknown") + driver("y", "Disproved")) +
                                 mech("N", "Unproved", driver("x", "Unproved")))),
         "true | po 1 unp 1 pr 0 unr 0 dis 0 ext 1 int 0 | M: unp 0 unk 0 pr 1 unr 0 dis 0"
         " | M/d: unp 0 unk 0 pr 0 dis 0 | M/x: unp 0 unk 1 pr 1 dis 0"
         " | M/y: unp 0 unk 0 pr 0 dis 1 | N: unp 1 unk 0 pr 0 unr 0 dis 0"
         " | N/x: unp 1 unk 0 pr 0 dis 0"},
        {"names in byte order: capitals, then small letters, prefixes first, UTF-8 last",
         poDocument(goal("", mech("b", "Unproved") + mech("\xc3\xa9", "Unproved") +
                                 mech("B", "Unproved") + mech("BB", "Unproved"))),
         "true | po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | B: unp 1 unk 0 pr 0 unr 0 dis 0"
         " | BB: unp 1 unk 0 pr 0 unr 0 dis 0 | b: unp 1 unk 0 pr 0 unr 0 dis 0"
         " | \xc3\xa9: unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"elements at the wrong depth are not counted; any root name; obligations add up",
         "<Other><Simple_Goal/><Proof_Obligation><Tag/>"
         "<Simple_Goal status=\"Proved\"><Driver name=\"d\"/>"
         "<x><Mechanism name=\"deep\" status=\"Proved\"/></x>"
         "<Mechanism name=\"m\" status=\"Unproved\"><x><Driver name=\"deep\"/></x></Mechanism>"
         "</Simple_Goal><x><Simple_Goal/></x></Proof_Obligation>"
         "<x><Proof_Obligation><Simple_Goal/></Proof_Obligation></x>"
         "<Proof_Obligation><Simple_Goal status=\"Disproved\"/></Proof_Obligation></Other>",
         "true | po 2 unp 0 pr 1 unr 0 dis 1 ext 0 int 0 | m: unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"a file cut off keeps the start tags read before the break",
         "<Proof_Obligations><Proof_Obligation><Simple_Goal status=\"Proved\"/>"
         "<Simple_Goal><Mechanism name=\"M\" status=\"Proved\"><Driver name=\"d\" sta",
         "true | po 2 unp 1 pr 1 unr 0 dis 0 ext 1 int 0 | M: unp 0 unk 0 pr 1 unr 0 dis 0"},
        // A status outside the vocabulary raises where a walk of the document
        // would reach it, with what was counted before.
        {"an empty goal status; the goal is not counted",
         poDocument(goal("status=\"Proved\"", "") + goal("status=\"\"", "")),
         "out_of_range map::at | po 1 unp 0 pr 1 unr 0 dis 0 ext 0 int 0"},
        {"a bad first mechanism raises in the nb_ext scan, before any entry",
         poDocument(goal("", proofState("Proved(0)") + mech("A", "proved") + mech("B", "Proved"))),
         "out_of_range map::at | po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 1"},
        {"after a proved mechanism it raises in the entry scan, with its entry made",
         poDocument(goal("", mech("A", "Proved") + mech("B", "Valid"))),
         "out_of_range map::at | po 1 unp 1 pr 0 unr 0 dis 0 ext 1 int 0"
         " | A: unp 0 unk 0 pr 1 unr 0 dis 0 | B: unp 0 unk 0 pr 0 unr 0 dis 0"},
        {"a bad driver keeps its new entry",
         poDocument(goal("", mech("A", "Unproved", driver("d", "Invalid")))),
         "out_of_range map::at | po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0"
         " | A: unp 1 unk 0 pr 0 unr 0 dis 0 | A/d: unp 0 unk 0 pr 0 dis 0"},
    };
    for (auto const& c : cases) {
        ScratchDir dir;
        const std::string path = c.xml ? dir.write("a.pos", *c.xml) : dir.path() + "/none.pos";
        EXPECT_EQ(countOutcome(pos::getMetrics, path), c.expected) << c.what;
    }
}
