#include "db/DbFile.h"
#include "pos/pos.h"
#include "pos/xml_load.h"
#include "test_support.h"

#include <gtest/gtest.h>

namespace {

std::string nested(int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i)
        text += "<x>";
    for (int i = 0; i < levels; ++i)
        text += "</x>";
    return text;
}

} // namespace

TEST(XmlLoad, NestingPastTheLimitBreaksTheDocumentThere) {
    ScratchDir dir;
    const std::string po =
        dir.write("deep.pos", "<Proof_Obligations><Proof_Obligation><Simple_Goal status=\"Proved\">"
                              "<Mechanism name=\"m\" status=\"Proved\"/>" +
                                  nested(50000) +
                                  "<Mechanism name=\"after\" status=\"Proved\"/></Simple_Goal>"
                                  "</Proof_Obligation></Proof_Obligations>");
    pos::metrics_t m;
    ASSERT_TRUE(pos::getMetrics(po, m));
    EXPECT_EQ(describe(m),
              "po 1 unp 0 pr 1 unr 0 dis 0 ext 1 int 0 | m: unp 0 unk 0 pr 1 unr 0 dis 0");
    std::list<std::string> names;
    ASSERT_TRUE(pos::getMechanisms(po, names));
    EXPECT_EQ(names, std::list<std::string>{"m"});

    // Up to the limit the document is whole.
    QDomDocument doc;
    pos::load_error_t error;
    const std::string fits = dir.write("fits.xml", nested(pos::MAX_XML_DEPTH));
    EXPECT_EQ(pos::loadDocument(QString::fromStdString(fits), doc, &error), pos::load_t::parsed);

    const QString db = QString::fromStdString(
        dir.write("p.db", "<db_xml><project><component_file name=\"a\"/>" + nested(50000) +
                              "<component_file name=\"b\"/></project></db_xml>"));
    DbFile file;
    QString message;
    EXPECT_FALSE(file.load(db, &message));
    EXPECT_EQ(file.getComponents(), QList<QString>{"a"});
    EXPECT_TRUE(message.startsWith(db + ":1:")) << message.toStdString();
    EXPECT_TRUE(message.endsWith(":elements nested deeper than 4096 levels"))
        << message.toStdString();
}
