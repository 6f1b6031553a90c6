#include "pos/pos.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <vector>

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

// The cases of data/maintenance/cases.txt for one operation, a line each,
// tab-separated: the operation, its argument, the goals before and what must
// come of them. "status": a goal's children and the status they call for (or
// map::at); "unprove": the goals before and after; "remove": the mechanism's
// name, the goals before and after (empty: nothing removed).
struct case_t {
    std::string op, arg, before, after;
};

std::vector<case_t> cases(std::string const& op) {
    std::ifstream in(TEST_DATA_DIR "/maintenance/cases.txt");
    std::vector<case_t> found;
    for (std::string line; std::getline(in, line);) {
        case_t c;
        std::istringstream fields(line);
        std::getline(fields, c.op, '\t');
        std::getline(fields, c.arg, '\t');
        std::getline(fields, c.before, '\t');
        std::getline(fields, c.after);
        // "\n" stands for a line break, so that a case can tell lines apart.
        for (std::string* field : {&c.before, &c.after})
            for (std::size_t at; (at = field->find("\\n")) != std::string::npos;)
                field->replace(at, 2, "\n");
        if (c.op == op)
            found.push_back(c);
    }
    EXPECT_FALSE(found.empty()) << op;
    return found;
}

// "consistent", "inconsistent" (the check then wrote the goal to stderr) or
// the message of the exception raised.
std::string verdict(std::string const& xml) {
    const QDomDocument doc = parse(xml);
    bool consistent = false;
    testing::internal::CaptureStderr();
    std::string thrown = "no exception";
    try {
        consistent = pos::checkPosInvariant(doc);
    } catch (pos::unknown_status_error const& e) {
        thrown = std::string(e.what()) + " \"" + e.value + "\" line " + std::to_string(e.line);
    }
    const std::string written = testing::internal::GetCapturedStderr();
    if (thrown != "no exception")
        return thrown;
    if (consistent != written.empty())
        return "wrote " + written;
    return consistent ? "consistent" : "inconsistent";
}

} // namespace

TEST(ExpectedStatus, DisproofOverProofOverUnreliableProof) {
    for (case_t const& c : cases("status"))
        for (const std::string recorded :
             {"Unproved", "UnreliablyProved", "Proved", "Disproved", "Unknown", ""}) {
            const std::string expected = c.after.rfind("map::at", 0) == 0 ? c.after
                                         : recorded.empty()               ? "map::at \"\" line 4"
                                         : recorded == c.after            ? "consistent"
                                                                          : "inconsistent";
            EXPECT_EQ(verdict(poDocument(goal(recorded, c.before))), expected)
                << c.before << " recorded " << recorded;
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
    for (case_t const& c : cases("unprove")) {
        QDomDocument doc = parse(poDocument(c.before));
        pos::unprove(doc);
        EXPECT_EQ(doc.toString().toStdString(), canonical(poDocument(c.after)));
    }
}

TEST(RemoveMechanism, RemovesTheFirstOfItsNameAndRepairsThatGoal) {
    for (case_t const& c : cases("remove")) {
        QDomDocument doc = parse(poDocument(c.before));
        bool removed = c.after.empty();
        EXPECT_TRUE(pos::removeMechanism(doc, c.arg, removed));
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
