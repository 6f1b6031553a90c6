#include "pos/pos_internal.h"

#include <QFile>

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

using namespace pos;

namespace {

template <typename F> std::string thrownMessage(F&& f) {
    try {
        f();
    } catch (std::out_of_range const& e) {
        return e.what();
    }
    return "no exception";
}

} // namespace

TEST(Vocabulary, AttributeValuesConvertExactly) {
    const struct {
        const char* value;
        status_t status;
    } known[] = {
        {"Unproved", UNPROVED},   {"Unknown", UNKNOWN},     {"UnreliablyProved", UNRELIABLY_PROVED},
        {"Proved", PROVED},       {"Disproved", DISPROVED}, {"Proved(0)", PROVED},
        {"Proved(1)", PROVED},    {"Proved(2)", PROVED},    {"Proved(3)", PROVED},
        {"Proved(Util)", PROVED},
    };
    for (auto const& c : known)
        EXPECT_EQ(proofStatusOfAttrValue(QString::fromUtf8(c.value)), c.status) << c.value;

    const char* unknown[] = {"Valid",   "Invalid",    "",          "proved",       "PROVED",
                             " Proved", "Proved ",    "Proved(4)", "Proved(util)", "Proved()",
                             "Proved(", "Unproved\n", "Unreliably"};
    for (const char* value : unknown)
        EXPECT_EQ(thrownMessage([&] { proofStatusOfAttrValue(QString::fromUtf8(value)); }),
                  "map::at")
            << '"' << value << '"';
}

TEST(Vocabulary, StatusTextsMarksAndStreaming) {
    const struct {
        status_t status;
        const char* text;
        char mark;
    } rows[] = {
        {UNPROVED, "Unproved", '-'},
        {UNKNOWN, "Unknown", '-'},
        {UNRELIABLY_PROVED, "UnreliablyProved", '*'},
        {PROVED, "Proved", '+'},
        {DISPROVED, "Disproved", '!'},
    };
    EXPECT_EQ(charOfStatus.size(), 5u);
    for (auto const& r : rows) {
        EXPECT_EQ(strOfProofStatus(r.status), QString::fromUtf8(r.text));
        EXPECT_EQ(proofStatusOfAttrValue(strOfProofStatus(r.status)), r.status);
        EXPECT_EQ(charOfStatus.at(r.status), r.mark);
        std::ostringstream os;
        os << r.status;
        EXPECT_EQ(os.str(), r.text);
    }

    for (int bad : {-1, 5}) {
        const auto status = static_cast<status_t>(bad);
        EXPECT_EQ(thrownMessage([&] { strOfProofStatus(status); }), "map::at");
        std::ostringstream os;
        EXPECT_EQ(thrownMessage([&] { os << status; }), "map::at");
        EXPECT_EQ(os.str(), "");
    }
}

TEST(Vocabulary, ProvedProofStatesAreTheFiveParenthesisedForms) {
    EXPECT_EQ(proofProvedStatuses,
              (QStringList{"Proved(0)", "Proved(1)", "Proved(2)", "Proved(3)", "Proved(Util)"}));
    EXPECT_FALSE(proofProvedStatuses.contains(ATTR_VALUE_PROVED));
    EXPECT_EQ(XML_INDENT, 4);
    EXPECT_EQ(TAG_STATUS, ATTR_STATUS);
}

TEST(Vocabulary, EmbeddedSchemaIsTheSchemaFile) {
    EXPECT_TRUE(xmlSchemaString.startsWith("<?xml version=\"1.0\" encoding=\"utf-8\"?>"));
    QFile file(PO_SCHEMA_FILE);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(xmlSchemaString, file.readAll());
    QDomDocument doc;
    ASSERT_TRUE(doc.setContent(xmlSchemaString, true));
    EXPECT_EQ(doc.documentElement().localName(), "schema");
}
