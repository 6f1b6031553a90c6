// The streaming count against the DOM walk it replaced, on the sample files
// and on seeded random documents, whole and damaged.
#include "pos/pos.h"
#include "pos/pos_internal.h"
#include "test_support.h"

#include <QDir>
#include <QDomDocument>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <random>
#include <regex>

namespace {

// Seeded random PO documents, well-formed, that mix the format with what a
// count must skip: elements at the wrong depth, prefixed names, comments,
// entities, DTD defaults, statuses outside the vocabulary.
struct Generator {
    std::mt19937 rng;

    std::string document() {
        std::string xml;
        if (chance(50))
            xml += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
        if (chance(20))
            xml += "<!DOCTYPE Proof_Obligations [\n"
                   "<!ATTLIST Simple_Goal status CDATA \"Bogus\">\n"
                   "<!ATTLIST Mechanism name CDATA \"fromDtd\" status CDATA \"Proved\">\n"
                   "<!ATTLIST Proof_State proofState CDATA \"Proved(0)\">\n"
                   "<!ENTITY pr \"Proved\">\n]>\n";
        if (chance(20))
            xml += "<!-- c --><?pi x?>";
        const std::string root = chance(80) ? "Proof_Obligations" : "Other";
        xml += "<" + root + (chance(20) ? " xmlns:p=\"urn:p\" author=\"a\"" : "") + ">";
        for (int i = pick(4); i >= 0; --i)
            xml += chance(80) ? obligation() : noise(goal());
        return xml + "</" + root + ">\n";
    }

    bool chance(int percent) { return pick(100) < percent; }
    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); }
    template <std::size_t N> const char* oneOf(const char* const (&items)[N]) {
        return items[pick(N)];
    }

    std::string status() {
        static const char* const good[] = {
            "Proved",    "Unproved",  "Unknown",   "UnreliablyProved", "Disproved",
            "Proved(0)", "Proved(1)", "Proved(2)", "Proved(3)",        "Proved(Util)"};
        static const char* const bad[] = {"proved", "", "Valid", " Proved", "Proved(4)"};
        if (chance(10))
            return "";
        if (chance(3))
            return std::string(" status=\"") + oneOf(bad) + "\"";
        const std::string quote = chance(50) ? "\"" : "'";
        return " status=" + quote + oneOf(good) + quote;
    }
    std::string name() {
        static const char* const names[] = {
            "PP", "Kp", "ml", "z3", "", "\xc3\xa9t\xc3\xa9", "a&amp;b", "&#233;", "B", "BB", "b"};
        if (chance(5))
            return "";
        return std::string(" name=\"") + oneOf(names) + "\"";
    }
    // An element that hides `inner` from the count.
    std::string noise(std::string const& inner) {
        static const char* const wrappers[] = {"x", "p:x", "Tag", "iapa"};
        const std::string w = oneOf(wrappers);
        return "<" + w + ">" + inner + "</" + w + ">";
    }
    std::string decoration() {
        static const char* const bits[] = {
            "\n  ", "<!-- Mechanism -->", "<![CDATA[<Driver/>]]>", "<?pi?>", "text", "&pr;"};
        std::string s = oneOf(bits);
        return s == "&pr;" ? "" : s;
    }
    std::string tag(std::string const& name, std::string const& attrs, std::string const& inner) {
        const std::string n = chance(3) ? "p:" + name : name;
        if (inner.empty() && chance(50))
            return "<" + n + attrs + "/>";
        return "<" + n + attrs + ">" + inner + "</" + n + ">";
    }
    std::string driver() { return tag("Driver", name() + status(), ""); }
    std::string mechanism() {
        std::string inner;
        for (int i = pick(4); i > 0; --i)
            inner += chance(90) ? driver() : noise(driver()) + decoration();
        return tag("Mechanism", chance(50) ? name() + status() : status() + name(), inner);
    }
    std::string goal() {
        static const char* const states[] = {"Proved(0)", "Proved(Util)", "Proved", "Unproved",
                                             "proved(1)"};
        std::string inner;
        for (int i = pick(3); i > 0; --i)
            inner +=
                tag("Proof_State",
                    chance(90) ? std::string(" passList=\"\" proofState=\"") + oneOf(states) + "\""
                               : "",
                    "");
        if (chance(20))
            inner += "<iapa><status value=\"Valid\"/></iapa>";
        for (int i = pick(5); i > 0; --i)
            inner += (chance(90) ? mechanism() : noise(mechanism())) + decoration();
        return tag("Simple_Goal", status(), inner);
    }
    std::string obligation() {
        std::string inner = "<Tag>t</Tag>";
        for (int i = pick(6); i > 0; --i)
            inner += (chance(90) ? goal() : noise(goal())) + decoration();
        return tag("Proof_Obligation", "", inner);
    }
};

} // namespace

// Files that Qt's DOM reader reads further than QXmlStreamReader would on its
// own; the streaming count adjusts its input so that both count the same.
TEST(StreamingCount, ReadsWhatTheDomReaderForgives) {
    const std::string goals =
        "<Simple_Goal status=\"Proved\"><Mechanism name=\"M\" status=\"Proved\"/>"
        "</Simple_Goal>";
    const std::string body = "<Proof_Obligations><Proof_Obligation>" + goals;
    const std::string end = "</Proof_Obligation></Proof_Obligations>";
    std::string deep;
    for (int i = 0; i < 5000; ++i)
        deep = "<x>" + deep + "</x>";
    const struct {
        const char* what;
        std::string xml;
        unsigned goalsCounted;
    } cases[] = {
        {"bytes that are no UTF-8",
         body + "<Simple_Goal status=\"Proved\"><Tag>\xff\xc3</Tag>" +
             "<Mechanism name=\"\xe9\" status=\"Proved\"/></Simple_Goal>" + end,
         2},
        {"an XML version other than 1.0", "<?xml version=\"1.1\"?>" + body + end, 1},
        {"an encoding Qt does not know",
         "<?xml version=\"1.0\" encoding=\"no-such\"?>" + body + end, 1},
        {"an encoding name looked up loosely",
         "<?xml version=\"1.0\" encoding=\"UTF!8\"?>" + body + end, 1},
        {"Latin-1 declared",
         "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + body +
             "<Simple_Goal><Mechanism name=\"\xe9\"/></Simple_Goal>" + end,
         2},
        {"no blank between attributes",
         body + R"(<Simple_Goal><Mechanism name="A"status="Proved"/></Simple_Goal>)" + end, 2},
        {"a tab and a line break in a value are kept",
         body + "<Simple_Goal><Mechanism name=\"a\tb\nc\"/></Simple_Goal>" + end, 2},
        {"]]> in text", body + "]]>" + goals + end, 2},
        {"cut after the '/' of an empty element", body + "<Simple_Goal status='Disproved'/", 2},
        {"an empty element's '/' followed by another character",
         body + "<Simple_Goal status='Disproved'/ >" + goals + end, 2},
        {"U+FFFD in a tag name", body + "<Simple_Go\377al/>" + goals + end, 1},
        {"nesting deeper than the DOM loader takes ends the document",
         body + "<Simple_Goal>" + deep + "</Simple_Goal>" + goals + end, 2},
        {"U+FFFD in a DTD", "<!DOCTYPE x [<!ATTLIST \xff a CDATA 'b'>]>" + body + end, 0},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        const std::string path = dir.write("a.pos", c.xml);
        const std::string dom = countOutcome(pos::domMetrics, path);
        EXPECT_EQ(countOutcome(pos::getMetrics, path), dom);
        EXPECT_NE(dom.find("| po " + std::to_string(c.goalsCounted) + " "), std::string::npos)
            << dom;
    }
}

// Whole files agree. A damaged file counts what was read before the reader
// stopped, as the DOM reader's partial document does. Cut-off files agree at
// every length, and so do files with a few bytes changed, except where the
// readers stop at different points: at "<?p??>" (the DOM reader takes it); at
// an undeclared entity or a bare '&' in an attribute value (the DOM reader
// drops it and goes on); and in files past the DOM loader's 4 KiB chunk that
// QXmlStreamReader, reading strictly, refuses (the loader gives the DOM reader
// only the bytes up to the end of the chunk where it stopped).
TEST(StreamingCount, AgreesWithTheDomWalkOnWholeAndDamagedFiles) {
    ScratchDir dir;
    for (QString const& f : QDir(TEST_DATA_DIR "/po").entryList({"*.pos"}, QDir::Files)) {
        const std::string path = TEST_DATA_DIR "/po/" + f.toStdString();
        EXPECT_EQ(countOutcome(pos::getMetrics, path), countOutcome(pos::domMetrics, path)) << path;
    }
    const std::regex knownDifference(
        R"(<\?[^\s?]*\?[^>]|&(?!(amp|lt|gt|apos|quot|#[0-9]+|#x[0-9a-fA-F]+);))");
    Generator gen{std::mt19937(42)};
    std::mt19937 rng(9);
    int throwing = 0, compared = 0;
    for (int i = 0; i < 2000; ++i) {
        std::string xml = gen.document();
        ASSERT_TRUE(wellFormed(xml)) << xml;
        const std::string whole = countOutcome(pos::domMetrics, dir.write("g.pos", xml));
        throwing += whole.rfind("out_of_range", 0) == 0; // the failure points are exercised too
        ASSERT_EQ(countOutcome(pos::getMetrics, dir.path() + "/g.pos"), whole) << xml;
        for (std::size_t n = 0; i < 3 && n < xml.size(); ++n) {
            const std::string path = dir.write("cut.pos", xml.substr(0, n));
            ASSERT_EQ(countOutcome(pos::getMetrics, path), countOutcome(pos::domMetrics, path))
                << xml.substr(0, n);
        }
        for (int k = 0; k < 2; ++k) {
            static const char bytes[] = "<>\"'/&;=!?x \xc3\x80\n";
            xml[rng() % xml.size()] = bytes[rng() % (sizeof bytes - 1)];
        }
        if (xml.size() >= 4096 || std::regex_search(xml, knownDifference))
            continue;
        const std::string path = dir.write("m.pos", xml);
        ASSERT_EQ(countOutcome(pos::getMetrics, path), countOutcome(pos::domMetrics, path)) << xml;
        ++compared;
    }
    EXPECT_GT(throwing, 100);
    EXPECT_GT(compared, 1500);
}
