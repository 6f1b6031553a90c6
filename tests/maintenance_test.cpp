#include "pos/pos.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>
#include <unistd.h>

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

// What `f` writes to file descriptor 2.
template <typename F> std::string stderrOf(F&& f) {
    std::fflush(stderr);
    FILE* capture = std::tmpfile();
    const int saved = dup(2);
    dup2(fileno(capture), 2);
    struct Restore {
        int saved;
        ~Restore() {
            std::fflush(stderr);
            dup2(saved, 2);
            close(saved);
        }
    };
    {
        Restore restore{saved};
        f();
    }
    std::string text;
    std::rewind(capture);
    for (int c; (c = std::fgetc(capture)) != EOF;)
        text += static_cast<char>(c);
    std::fclose(capture);
    return text;
}

template <typename F> std::string thrownMessage(F&& f) {
    try {
        f();
    } catch (std::out_of_range const& e) {
        return e.what();
    }
    return "no exception";
}

} // namespace

TEST(ExpectedStatus, DisproofOverProofOverUnreliableProof) {
    const struct {
        const char* what;
        const char* children;
        const char* expected;
    } cases[] = {
        {"no child", "", "Unproved"},
        {"Proved(Util) state", R"~(<Proof_State proofState="Proved(Util)"/>)~", "Proved"},
        {"plain Proved is no prover state", R"~(<Proof_State proofState="Proved"/>)~", "Unproved"},
        {"unknown state is no error", R"~(<Proof_State proofState="bogus"/>)~", "Unproved"},
        {"disproof beats the state's proof",
         R"~(<Proof_State proofState="Proved(2)"/><Mechanism name="m" status="Disproved"/>)~",
         "Disproved"},
        {"iapa Valid",
         R"~(<Proof_State proofState="Unproved"/><iapa><status value="Valid"/></iapa>)~",
         "UnreliablyProved"},
        {"iapa Invalid", R"~(<iapa><status value="Invalid"/></iapa>)~", "Disproved"},
        {"iapa Unknown", R"~(<iapa><status value="Unknown"/></iapa>)~", "Unproved"},
        {"proof beats unreliable proof",
         R"~(<Mechanism status="UnreliablyProved"/><Mechanism status="Proved"/>)~", "Proved"},
        {"mechanism Unknown", R"~(<Mechanism status="Unknown"/>)~", "Unproved"},
        {"first Proof_State only",
         R"~(<Proof_State proofState="Unproved"/><Proof_State proofState="Proved(0)"/>)~",
         "Unproved"},
        {"first iapa only, second not even read",
         R"~(<iapa><status value="Valid"/></iapa><iapa><status value="Invalid"/></iapa><iapa/>)~",
         "UnreliablyProved"},
        {"first status of the iapa only",
         R"~(<iapa><status value="Valid"/><status value="Invalid"/><status/></iapa>)~",
         "UnreliablyProved"},
        {"drivers, deeper mechanisms and other elements are skipped",
         R"~(<x/><Mechanism status="Unproved"><Driver status="Proved"/></Mechanism>)~"
         R"~(<x><Mechanism status="Disproved"/></x><Mechanism status="Unproved"/><x/>)~",
         "Unproved"},
    };
    const char* statuses[] = {"Unproved", "UnreliablyProved", "Proved", "Disproved"};
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        for (const std::string recorded : statuses) {
            const QDomDocument doc = parse(poDocument(goal(recorded, c.children)));
            bool consistent = false;
            const std::string err = stderrOf([&] { consistent = pos::checkPosInvariant(doc); });
            EXPECT_EQ(consistent, recorded == c.expected) << recorded;
            EXPECT_EQ(err.empty(), consistent) << recorded;
        }
    }
}

TEST(ExpectedStatus, ValueOutsideItsTableRaises) {
    const struct {
        const char* what;
        std::string goals;
    } cases[] = {
        {"iapa without status, goal fully proved",
         goal("Proved", R"~(<Proof_State proofState="Proved(0)"/><iapa/>)~")},
        {"iapa status without value", goal("Unproved", "<iapa><status/></iapa>")},
        {"iapa value Proved belongs to another table",
         goal("Proved", R"~(<iapa><status value="Proved"/></iapa>)~")},
        {"mechanism without status", goal("Unproved", R"~(<Mechanism name="m"/>)~")},
        {"mechanism value Valid belongs to another table",
         goal("Unproved", R"~(<Mechanism status="Valid"/>)~")},
        {"mechanism status Proved(1)", goal("Proved", R"~(<Mechanism status="Proved(1)"/>)~")},
        {"goal status empty", R"~(<Simple_Goal status=""/>)~"},
        {"a later goal", goal("Unproved", "") + goal("Unproved", R"~(<Mechanism status="x"/>)~")},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        const QDomDocument doc = parse(poDocument(c.goals));
        EXPECT_EQ(thrownMessage([&] { pos::checkPosInvariant(doc); }), "map::at");
    }
}

TEST(CheckPosInvariant, WritesOnlyTheFirstOffendingGoal) {
    const struct {
        const char* what;
        std::string xml;
        bool consistent;
        const char* written;
    } cases[] = {
        {"no document element", "", true, ""},
        {"no obligation",
         "<Proof_Obligations><Simple_Goal status=\"Disproved\"/></Proof_Obligations>", true, ""},
        {"consistent goals, missing status reads Unproved",
         poDocument(goal("Proved", R"~(<Proof_State proofState="Proved(1)"/>)~") +
                    "<Simple_Goal/>" + goal("Proved(3)", R"~(<Mechanism status="Proved"/>)~")),
         true, ""},
        {"goals out of place are not visited",
         "<R><Simple_Goal status=\"Disproved\"/><Proof_Obligation><x><Simple_Goal "
         "status=\"Disproved\"/></x></Proof_Obligation></R>",
         true, ""},
        {"Unknown always offends", poDocument(goal("Unknown", "")), false,
         "    <Simple_Goal status=\"Unknown\"/>\n"},
        {"first of two bad goals, in a later obligation",
         "<Proof_Obligations><Proof_Obligation>" +
             goal("Proved", R"~(<Proof_State proofState="Proved(1)"/>)~") +
             "</Proof_Obligation><Proof_Obligation>" +
             goal("Unproved", R"~(<Proof_State proofState="Proved(1)"/><Mechanism )~"
                              R"~(status="Unknown"><Driver status="Proved"/></Mechanism>)~") +
             goal("Disproved", "") + "</Proof_Obligation></Proof_Obligations>",
         false,
         "    <Simple_Goal status=\"Unproved\">\n"
         "        <Proof_State proofState=\"Proved(1)\"/>\n"
         "        <Mechanism status=\"Unknown\">\n"
         "            <Driver status=\"Proved\"/>\n"
         "        </Mechanism>\n"
         "    </Simple_Goal>\n"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        const QDomDocument doc = parse(c.xml);
        bool consistent = !c.consistent;
        EXPECT_EQ(stderrOf([&] { consistent = pos::checkPosInvariant(doc); }), c.written);
        EXPECT_EQ(consistent, c.consistent);
    }
}

TEST(GetMechanisms, ListsDistinctNamesInOrderOfFirstAppearance) {
    const struct {
        const char* what;
        const char* file; // null: no such file
        bool loaded;
        const char* listed;
    } cases[] = {
        {"missing file keeps the list", nullptr, false, "[old]"},
        {"no mechanism", "<Proof_Obligations/>", true, ""},
        {"pp, pr, pp on three goals",
         R"~(<R><Proof_Obligation><Simple_Goal><Mechanism name="pp"/></Simple_Goal>)~"
         R"~(<Simple_Goal><Mechanism name="pr"/></Simple_Goal></Proof_Obligation><Proof_Obligation>)~"
         R"~(<Simple_Goal><Mechanism name="pp"/><Mechanism name="PP"/></Simple_Goal>)~"
         R"~(</Proof_Obligation></R>)~",
         true, "[pp][pr][PP]"},
        {"unnamed mechanisms give one empty name",
         R"~(<R><Proof_Obligation><Simple_Goal><Mechanism/><Mechanism name=""/><Mechanism )~"
         R"~(name="&#xe9;"/></Simple_Goal></Proof_Obligation></R>)~",
         true, "[][\xc3\xa9]"},
        {"wrong depths ignored; an unknown goal status does not matter",
         R"~(<R><Mechanism name="a"/><Simple_Goal><Mechanism name="b"/></Simple_Goal>)~"
         R"~(<Proof_Obligation><Mechanism name="c"/><Simple_Goal status="bogus"><x><Mechanism )~"
         R"~(name="d"/></x><Mechanism name="e"/></Simple_Goal></Proof_Obligation></R>)~",
         true, "[e]"},
        {"a file cut off lists what was read",
         R"~(<R><Proof_Obligation><Simple_Goal><Mechanism name="a"/><Mechanism name="b)~", true,
         "[a]"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        const std::string path = c.file ? dir.write("a.pos", c.file) : dir.path() + "/none.pos";
        std::list<std::string> names{"old"};
        EXPECT_EQ(pos::getMechanisms(path, names), c.loaded);
        std::string listed;
        for (auto const& n : names)
            listed += "[" + n + "]";
        EXPECT_EQ(listed, c.listed);
    }
}

TEST(Unprove, KeepsOnlyWhatTheProofStateEstablishes) {
    const struct {
        const char* what;
        std::string before, after; // goals of one obligation
    } cases[] = {
        {"mechanisms unproved, drivers kept, goal proved by its state",
         goal("Disproved", R"~(<Proof_State passList="p" methodList="m" proofState="Proved(0)"/>)~"
                           R"~(<Mechanism name="k" status="Disproved"><Driver name="d" )~"
                           R"~(status="Proved"/></Mechanism><Mechanism name="j"/>)~"),
         goal("Proved",
              R"~(<Proof_State passList="p" methodList="m" proofState="Proved(0)"/>)~"
              R"~(<Mechanism name="k" status="Unproved"><Driver name="d" )~"
              R"~(status="Proved"/></Mechanism><Mechanism name="j" status="Unproved"/>)~")},
        {"iapa ignored and kept",
         goal("UnreliablyProved",
              R"~(<Proof_State proofState="Unproved"/><iapa><status value="Valid"/></iapa>)~"),
         goal("Unproved",
              R"~(<Proof_State proofState="Unproved"/><iapa><status value="Valid"/></iapa>)~")},
        {"no Proof_State, no status, unknown values: nothing raises",
         R"~(<Simple_Goal><iapa/><Mechanism status="bogus"/></Simple_Goal>)~" +
             goal("bogus", R"~(<Proof_State proofState="Proved(Util)"/>)~"),
         R"~(<Simple_Goal status="Unproved"><iapa/><Mechanism status="Unproved"/></Simple_Goal>)~" +
             goal("Proved", R"~(<Proof_State proofState="Proved(Util)"/>)~")},
        {"first Proof_State only; plain Proved is no prover state",
         goal("Proved",
              R"~(<Proof_State proofState="Unproved"/><Proof_State proofState="Proved(1)"/>)~") +
             goal("Proved", R"~(<Proof_State proofState="Proved"/>)~"),
         goal("Unproved",
              R"~(<Proof_State proofState="Unproved"/><Proof_State proofState="Proved(1)"/>)~") +
             goal("Unproved", R"~(<Proof_State proofState="Proved"/>)~")},
        {"goals and mechanisms out of place are left alone",
         R"~(<x><Simple_Goal status="Disproved"/></x>)~" +
             goal("Proved", R"~(<x><Mechanism status="Proved"/></x>)~"),
         R"~(<x><Simple_Goal status="Disproved"/></x>)~" +
             goal("Unproved", R"~(<x><Mechanism status="Proved"/></x>)~")},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        QDomDocument doc = parse(poDocument(c.before));
        pos::unprove(doc);
        EXPECT_EQ(doc.toString().toStdString(), canonical(poDocument(c.after)));
    }
    QDomDocument null;
    pos::unprove(null);
    EXPECT_TRUE(null.isNull());
}

TEST(RemoveMechanism, RemovesTheFirstOfItsNameAndRepairsThatGoal) {
    const struct {
        const char* what;
        std::string before;
        const char* name;
        std::string after;
        bool removed;
    } cases[] = {
        {"the only disproof goes, the state's proof shows",
         goal("Disproved",
              R"~(<Proof_State proofState="Proved(1)"/><Mechanism name="k" )~"
              R"~(status="Disproved"><Driver name="d" status="Disproved"/></Mechanism>)~"),
         "k", goal("Proved", R"~(<Proof_State proofState="Proved(1)"/>)~"), true},
        {"an unchanged status keeps its text, or its absence",
         goal("Proved(3)", R"~(<Proof_State proofState="Proved(1)"/><Mechanism name="k" )~"
                           R"~(status="Proved"/>)~") +
             R"~(<Simple_Goal><Mechanism name="k" status="Unknown"/></Simple_Goal>)~",
         "k", goal("Proved(3)", R"~(<Proof_State proofState="Proved(1)"/>)~") + "<Simple_Goal/>",
         true},
        {"one per goal: the second of the name stays and counts",
         goal("Proved", R"~(<Mechanism name="k" status="Proved"/><Mechanism name="j" )~"
                        R"~(status="Proved"/><Mechanism name="k" status="UnreliablyProved"/>)~") +
             goal("Proved", R"~(<Mechanism name="k" status="Proved"/>)~"),
         "k",
         goal("Proved", R"~(<Mechanism name="j" status="Proved"/><Mechanism name="k" )~"
                        R"~(status="UnreliablyProved"/>)~") +
             goal("Unproved", ""),
         true},
        {"a recorded Unknown is rewritten",
         goal("Unknown", R"~(<Mechanism name="k" status="Proved"/>)~"
                         R"~(<iapa><status value="Valid"/></iapa><iapa/>)~"),
         "k", goal("UnreliablyProved", R"~(<iapa><status value="Valid"/></iapa><iapa/>)~"), true},
        {"goals without the name are not judged",
         goal("Unknown", R"~(<Mechanism name="j" status="bogus"/>)~"), "k",
         goal("Unknown", R"~(<Mechanism name="j" status="bogus"/>)~"), false},
        {"names match byte for byte; the empty name matches an unnamed mechanism",
         goal("Proved", R"~(<Mechanism name="PP" status="Proved"/><Mechanism name="&#xe9;" )~"
                        R"~(status="Proved"/><Mechanism status="Disproved"/>)~"),
         "",
         goal("Proved", R"~(<Mechanism name="PP" status="Proved"/><Mechanism name="&#xe9;" )~"
                        R"~(status="Proved"/>)~"),
         true},
        {"UTF-8 name", goal("Proved", R"~(<Mechanism name="&#xe9;" status="Proved"/>)~"),
         "\xc3\xa9", goal("Unproved", ""), true},
        {"mechanisms out of place stay",
         goal("Unproved", R"~(<x><Mechanism name="k" status="Proved"/></x>)~") +
             R"~(<x><Simple_Goal><Mechanism name="k"/></Simple_Goal></x>)~",
         "k",
         goal("Unproved", R"~(<x><Mechanism name="k" status="Proved"/></x>)~") +
             R"~(<x><Simple_Goal><Mechanism name="k"/></Simple_Goal></x>)~",
         false},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        QDomDocument doc = parse(poDocument(c.before));
        bool removed = !c.removed;
        EXPECT_TRUE(pos::removeMechanism(doc, c.name, removed));
        EXPECT_EQ(removed, c.removed);
        EXPECT_EQ(doc.toString().toStdString(), canonical(poDocument(c.after)));
    }

    QDomDocument null;
    bool removed = true;
    EXPECT_FALSE(pos::removeMechanism(null, "k", removed));
    EXPECT_FALSE(removed);
}

TEST(RemoveMechanism, UnknownValueAfterARemovalLeavesTheDocumentHalfDone) {
    QDomDocument doc = parse(poDocument(
        goal("Disproved", R"~(<Mechanism name="k" status="Disproved"/>)~") +
        goal("Proved", R"~(<Mechanism name="k" status="Proved"/><Mechanism status="bogus"/>)~") +
        goal("Proved", R"~(<Mechanism name="k" status="Proved"/>)~")));
    bool removed = false;
    EXPECT_EQ(thrownMessage([&] { pos::removeMechanism(doc, "k", removed); }), "map::at");
    EXPECT_TRUE(removed);
    EXPECT_EQ(doc.toString().toStdString(),
              canonical(poDocument(goal("Unproved", "") +
                                   goal("Proved", R"~(<Mechanism status="bogus"/>)~") +
                                   goal("Proved", R"~(<Mechanism name="k" status="Proved"/>)~"))));
}

TEST(RemoveMechanism, KeepsAConsistentDocumentConsistent) {
    const std::string documents[] = {
        poDocument(goal("Disproved", R"~(<Proof_State proofState="Proved(2)"/>)~"
                                     R"~(<Mechanism name="a" status="Disproved"/><Mechanism )~"
                                     R"~(name="b" status="UnreliablyProved"/><Mechanism )~"
                                     R"~(name="c" status="Proved"/>)~") +
                   goal("Disproved", R"~(<iapa><status value="Valid"/></iapa>)~"
                                     R"~(<Mechanism name="c" status="Disproved"/>)~"
                                     R"~(<Mechanism name="a" status="Unknown"/>)~")),
        poDocument(goal("Proved", R"~(<Mechanism name="a" status="Proved"/><Mechanism name="a" )~"
                                  R"~(status="Proved"/><Mechanism name="b" status="Proved"/>)~") +
                   goal("Unproved", R"~(<iapa><status value="Unknown"/></iapa><Mechanism )~"
                                    R"~(name="b" status="Unproved"/>)~")),
        poDocument(goal("Disproved", R"~(<iapa><status value="Invalid"/></iapa><Mechanism )~"
                                     R"~(name="a" status="Proved"/><Mechanism name="b" )~"
                                     R"~(status="UnreliablyProved"/>)~") +
                   goal("Proved", R"~(<Proof_State proofState="Proved(3)"/><Mechanism name="b" )~"
                                  R"~(status="UnreliablyProved"/>)~")),
    };
    for (auto const& xml : documents) {
        ScratchDir dir;
        std::list<std::string> names;
        ASSERT_TRUE(pos::getMechanisms(dir.write("a.pos", xml), names));
        QDomDocument doc = parse(xml);
        ASSERT_TRUE(pos::checkPosInvariant(doc));
        // Each name twice, as a goal can hold a name twice.
        for (auto const& name : names)
            for (int round = 0; round < 2; ++round) {
                SCOPED_TRACE(xml + " without " + name);
                bool removed = false;
                EXPECT_TRUE(pos::removeMechanism(doc, name, removed));
                EXPECT_EQ(stderrOf([&] { EXPECT_TRUE(pos::checkPosInvariant(doc)); }), "");
            }
    }
}
