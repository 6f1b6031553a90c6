#include "pos/pos_internal.h"
#include "test_support.h"

#include <QFile>

#include <gtest/gtest.h>

#include <sstream>

using namespace pos;

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
    for (const char* value : {"Valid", "", "proved", " Proved", "Proved(4)", "Proved(util)"})
        EXPECT_EQ(thrownMessage([&] { proofStatusOfAttrValue(QString::fromUtf8(value)); }),
                  "map::at")
            << '"' << value << '"';
    // Only the parenthesised forms are states that the built-in prover proved.
    EXPECT_EQ(proofProvedStatuses,
              (QStringList{"Proved(0)", "Proved(1)", "Proved(2)", "Proved(3)", "Proved(Util)"}));
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
        EXPECT_EQ(charOfStatus.at(r.status), r.mark);
        std::ostringstream os;
        os << r.status;
        EXPECT_EQ(os.str(), r.text);
    }
    for (int bad : {-1, 5}) {
        std::ostringstream os;
        EXPECT_EQ(thrownMessage([&] { os << static_cast<status_t>(bad); }), "map::at");
        EXPECT_EQ(os.str(), "");
    }
}

TEST(Vocabulary, EmbeddedSchemaIsTheSchemaFile) {
    QFile file(PO_SCHEMA_FILE);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(xmlSchemaString, file.readAll());
}
