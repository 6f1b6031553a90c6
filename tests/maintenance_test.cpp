#include "pos/pos.h"
#include "test_support.h"

#include <gtest/gtest.h>

namespace {

QDomDocument parse(std::string const& xml) {
    QDomDocument doc;
    doc.setContent(QString::fromStdString(xml));
    return doc;
}

// Attribute order in Qt's output depends on a per-process hash seed, so the
// expected text goes through the same reader and writer as the edited document.
std::string canonical(std::string const& xml) {
    return parse(xml).toString().toStdString();
}

std::string goal(std::string const& status, std::string const& children) {
    return "<Simple_Goal status=\"" + status + "\">" + children + "</Simple_Goal>";
}

// "consistent", "inconsistent" (the check then wrote the goal to stderr) or
// the message of the exception raised.
std::string verdict(std::string const& xml) {
    const QDomDocument doc = parse(xml);
    bool consistent = false;
    testing::internal::CaptureStderr();
    const std::string thrown = thrownMessage([&] { consistent = pos::checkPosInvariant(doc); });
    const std::string written = testing::internal::GetCapturedStderr();
    if (thrown != "no exception")
        return thrown;
    if (consistent != written.empty())
        return "wrote " + written;
    return consistent ? "consistent" : "inconsistent";
}

} // namespace

TEST(ExpectedStatus, DisproofOverProofOverUnreliableProof) {
    const struct {
        const char* children;
        const char* expected; // a status, or the exception raised
    } cases[] = {
        {"", "Unproved"},
        {R"~(<Proof_State proofState="Proved(Util)"/>)~", "Proved"},
        {R"~(<Proof_State proofState="Proved"/>)~", "Unproved"}, // no prover state
        {R"~(<Proof_State proofState="bogus"/>)~", "Unproved"},
        {R"~(<Proof_State proofState="Proved(2)"/><Mechanism status="Disproved"/>)~", "Disproved"},
        {R"~(<Proof_State proofState="Unproved"/><iapa><status value="Valid"/></iapa>)~",
         "UnreliablyProved"},
        {R"~(<iapa><status value="Invalid"/></iapa>)~", "Disproved"},
        {R"~(<iapa><status value="Unknown"/></iapa><Mechanism status="Unknown"/>)~", "Unproved"},
        {R"~(<Mechanism status="UnreliablyProved"/><Mechanism status="Proved"/>)~", "Proved"},
        // Only the first Proof_State, iapa and status count; later ones are not read.
        {R"~(<Proof_State proofState="Unproved"/><Proof_State proofState="Proved(0)"/>)~",
         "Unproved"},
        {R"~(<iapa><status value="Valid"/><status/></iapa><iapa><status value="Invalid"/></iapa>)~",
         "UnreliablyProved"},
        // Drivers, deeper mechanisms and other elements are skipped.
        {R"~(<x/><Mechanism status="Unproved"><Driver status="Proved"/></Mechanism>)~"
         R"~(<x><Mechanism status="Disproved"/></x>)~",
         "Unproved"},
        // The iapa and mechanism tables differ from the vocabulary and from each other.
        {R"~(<Proof_State proofState="Proved(0)"/><iapa/>)~", "map::at"},
        {R"~(<iapa><status value="Proved"/></iapa>)~", "map::at"},
        {R"~(<Mechanism status="Valid"/>)~", "map::at"},
        {R"~(<Mechanism name="m"/>)~", "map::at"},
        {R"~(<Mechanism status="Proved(1)"/>)~", "map::at"},
    };
    for (auto const& c : cases)
        for (const std::string recorded :
             {"Unproved", "UnreliablyProved", "Proved", "Disproved", "Unknown", ""}) {
            const std::string expected = recorded.empty() || c.expected == std::string("map::at")
                                             ? "map::at"
                                         : recorded == c.expected ? "consistent"
                                                                  : "inconsistent";
            EXPECT_EQ(verdict(poDocument(goal(recorded, c.children))), expected)
                << c.children << " recorded " << recorded;
        }
}

TEST(CheckPosInvariant, WritesOnlyTheFirstOffendingGoal) {
    EXPECT_EQ(verdict(""), "consistent"); // no document element
    // A missing status reads Unproved; goals out of place are not visited.
    EXPECT_EQ(verdict("<R><Simple_Goal status=\"Disproved\"/><Proof_Obligation>" +
                      goal("Proved(3)", R"~(<Mechanism status="Proved"/>)~") +
                      "<Simple_Goal/><x><Simple_Goal status=\"Disproved\"/></x>"
                      "</Proof_Obligation></R>"),
              "consistent");
    const QDomDocument doc =
        parse("<Proof_Obligations><Proof_Obligation>" +
              goal("Proved", R"~(<Proof_State proofState="Proved(1)"/>)~") +
              "</Proof_Obligation><Proof_Obligation>" +
              goal("Unproved", R"~(<Proof_State proofState="Proved(1)"/><Mechanism )~"
                               R"~(status="Unknown"><Driver status="Proved"/></Mechanism>)~") +
              goal("Disproved", "") + "</Proof_Obligation></Proof_Obligations>");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(pos::checkPosInvariant(doc));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "    <Simple_Goal status=\"Unproved\">\n"
              "        <Proof_State proofState=\"Proved(1)\"/>\n"
              "        <Mechanism status=\"Unknown\">\n"
              "            <Driver status=\"Proved\"/>\n"
              "        </Mechanism>\n"
              "    </Simple_Goal>\n");
}

TEST(GetMechanisms, ListsDistinctNamesInOrderOfFirstAppearance) {
    const struct {
        const char* file; // null: no such file
        const char* listed;
    } cases[] = {
        {nullptr, "[old]"}, // a failed load keeps the list
        {R"~(<R><Proof_Obligation><Simple_Goal><Mechanism name="pp"/><Mechanism/></Simple_Goal>)~"
         R"~(<Simple_Goal status="bogus"><Mechanism name="pr"/><Mechanism name=""/></Simple_Goal>)~"
         R"~(</Proof_Obligation><Proof_Obligation><Simple_Goal><Mechanism name="pp"/>)~"
         R"~(<Mechanism name="PP"/><Mechanism name="&#xe9;"/></Simple_Goal></Proof_Obligation></R>)~",
         "[pp][][pr][PP][\xc3\xa9]"},
        {R"~(<R><Mechanism name="a"/><Simple_Goal><Mechanism name="b"/></Simple_Goal>)~"
         R"~(<Proof_Obligation><Mechanism name="c"/><Simple_Goal><x><Mechanism name="d"/></x>)~"
         R"~(<Mechanism name="e"/></Simple_Goal></Proof_Obligation></R>)~",
         "[e]"},
        {R"~(<R><Proof_Obligation><Simple_Goal><Mechanism name="a"/><Mechanism name="b)~", "[a]"},
    };
    for (auto const& c : cases) {
        ScratchDir dir;
        const std::string path = c.file ? dir.write("a.pos", c.file) : dir.path() + "/none.pos";
        std::list<std::string> names{"old"};
        EXPECT_EQ(pos::getMechanisms(path, names), c.file != nullptr);
        std::string listed;
        for (auto const& n : names)
            listed += "[" + n + "]";
        EXPECT_EQ(listed, c.listed);
    }
}

TEST(Unprove, KeepsOnlyWhatTheProofStateEstablishes) {
    const struct {
        std::string before, after; // goals of one obligation
    } cases[] = {
        // Mechanisms become Unproved, drivers stay.
        {goal("Disproved",
              R"~(<Proof_State proofState="Proved(0)"/><Mechanism name="k" )~"
              R"~(status="Disproved"><Driver status="Proved"/></Mechanism><Mechanism/>)~"),
         goal("Proved", R"~(<Proof_State proofState="Proved(0)"/><Mechanism name="k" )~"
                        R"~(status="Unproved"><Driver status="Proved"/></Mechanism>)~"
                        R"~(<Mechanism status="Unproved"/>)~")},
        // The iapa is ignored and kept.
        {goal("UnreliablyProved", R"~(<iapa><status value="Valid"/></iapa>)~"),
         goal("Unproved", R"~(<iapa><status value="Valid"/></iapa>)~")},
        // Nothing raises.
        {R"~(<Simple_Goal><iapa/><Mechanism status="bogus"/></Simple_Goal>)~" +
             goal("bogus", R"~(<Proof_State proofState="Proved(Util)"/>)~"),
         R"~(<Simple_Goal status="Unproved"><iapa/><Mechanism status="Unproved"/></Simple_Goal>)~" +
             goal("Proved", R"~(<Proof_State proofState="Proved(Util)"/>)~")},
        // The first Proof_State decides; plain Proved is no prover state.
        {goal("Proved",
              R"~(<Proof_State proofState="Unproved"/><Proof_State proofState="Proved(1)"/>)~") +
             goal("Proved", R"~(<Proof_State proofState="Proved"/>)~"),
         goal("Unproved",
              R"~(<Proof_State proofState="Unproved"/><Proof_State proofState="Proved(1)"/>)~") +
             goal("Unproved", R"~(<Proof_State proofState="Proved"/>)~")},
        // What is out of place stays.
        {R"~(<x><Simple_Goal status="Disproved"/></x>)~" +
             goal("Proved", R"~(<x><Mechanism status="Proved"/></x>)~"),
         R"~(<x><Simple_Goal status="Disproved"/></x>)~" +
             goal("Unproved", R"~(<x><Mechanism status="Proved"/></x>)~")},
    };
    for (auto const& c : cases) {
        QDomDocument doc = parse(poDocument(c.before));
        pos::unprove(doc);
        EXPECT_EQ(doc.toString().toStdString(), canonical(poDocument(c.after)));
    }
}

TEST(RemoveMechanism, RemovesTheFirstOfItsNameAndRepairsThatGoal) {
    const struct {
        std::string before;
        const char* name;
        std::string after; // empty: unchanged, nothing removed
    } cases[] = {
        {goal("Disproved", R"~(<Proof_State proofState="Proved(1)"/><Mechanism name="k" )~"
                           R"~(status="Disproved"><Driver status="Disproved"/></Mechanism>)~"),
         "k", goal("Proved", R"~(<Proof_State proofState="Proved(1)"/>)~")},
        // An unchanged status keeps its text, or its absence.
        {goal("Proved(3)", R"~(<Proof_State proofState="Proved(1)"/><Mechanism name="k" )~"
                           R"~(status="Proved"/>)~") +
             R"~(<Simple_Goal><Mechanism name="k" status="Unknown"/></Simple_Goal>)~",
         "k", goal("Proved(3)", R"~(<Proof_State proofState="Proved(1)"/>)~") + "<Simple_Goal/>"},
        // One per goal: the second of the name stays and counts.
        {goal("Proved", R"~(<Mechanism name="k" status="Proved"/><Mechanism name="j" )~"
                        R"~(status="Proved"/><Mechanism name="k" status="UnreliablyProved"/>)~") +
             goal("Proved", R"~(<Mechanism name="k" status="Proved"/>)~"),
         "k",
         goal("Proved", R"~(<Mechanism name="j" status="Proved"/><Mechanism name="k" )~"
                        R"~(status="UnreliablyProved"/>)~") +
             goal("Unproved", "")},
        {goal("Unknown", R"~(<Mechanism name="k" status="Proved"/><iapa><status value="Valid"/>)~"
                         R"~(</iapa>)~"),
         "k", goal("UnreliablyProved", R"~(<iapa><status value="Valid"/></iapa>)~")},
        // Names match byte for byte; the empty name matches an unnamed mechanism.
        {goal("Proved", R"~(<Mechanism name="PP" status="Proved"/><Mechanism name="&#xe9;" )~"
                        R"~(status="Proved"/><Mechanism status="Disproved"/>)~"),
         "",
         goal("Proved", R"~(<Mechanism name="PP" status="Proved"/><Mechanism )~"
                        R"~(name="&#xe9;" status="Proved"/>)~")},
        {goal("Disproved", R"~(<Mechanism name="&#xe9;" status="Disproved"/>)~"), "\xc3\xa9",
         goal("Unproved", "")},
        // Goals without the name are not judged; mechanisms out of place stay.
        {goal("Unknown", R"~(<Mechanism name="j" status="bogus"/><x><Mechanism name="k"/></x>)~") +
             R"~(<x><Simple_Goal><Mechanism name="k"/></Simple_Goal></x>)~",
         "k", ""},
    };
    for (auto const& c : cases) {
        QDomDocument doc = parse(poDocument(c.before));
        bool removed = c.after.empty();
        EXPECT_TRUE(pos::removeMechanism(doc, c.name, removed));
        EXPECT_EQ(removed, !c.after.empty()) << c.before;
        EXPECT_EQ(doc.toString().toStdString(),
                  canonical(poDocument(c.after.empty() ? c.before : c.after)));
    }

    QDomDocument null;
    bool removed = true;
    EXPECT_FALSE(pos::removeMechanism(null, "k", removed));
    EXPECT_FALSE(removed);

    // An unknown value after a removal leaves the document half done.
    QDomDocument doc = parse(poDocument(
        goal("Disproved", R"~(<Mechanism name="k" status="Disproved"/>)~") +
        goal("Proved", R"~(<Mechanism name="k" status="Proved"/><Mechanism status="bogus"/>)~") +
        goal("Proved", R"~(<Mechanism name="k" status="Proved"/>)~")));
    EXPECT_EQ(thrownMessage([&] { pos::removeMechanism(doc, "k", removed); }), "map::at");
    EXPECT_TRUE(removed);
    EXPECT_EQ(doc.toString().toStdString(),
              canonical(poDocument(goal("Unproved", "") +
                                   goal("Proved", R"~(<Mechanism status="bogus"/>)~") +
                                   goal("Proved", R"~(<Mechanism name="k" status="Proved"/>)~"))));
}
