#include "db/DbFile.h"
#include "pos/pos.h"
#include "pos/xml_load.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

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

TEST(XmlLoad, OnlyRegularFilesAreRead) {
    ScratchDir dir;
    const std::string fifo = dir.path() + "/fifo.pos";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const std::string socketPath = dir.path() + "/socket.pos";
    const int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(sock, reinterpret_cast<sockaddr const*>(&address), sizeof address), 0);
    const std::string zero = dir.path() + "/zero.pos";
    const std::string random = dir.path() + "/random.pos";
    const std::string dangling = dir.path() + "/dangling.pos";
    ASSERT_EQ(::symlink("/dev/zero", zero.c_str()), 0);
    ASSERT_EQ(::symlink("/dev/urandom", random.c_str()), 0);
    ASSERT_EQ(::symlink((dir.path() + "/nowhere").c_str(), dangling.c_str()), 0);
    const std::string good = dir.write("good.pos", poDocument("<Simple_Goal/>"));
    const std::string link = dir.path() + "/link.pos";
    ASSERT_EQ(::symlink(good.c_str(), link.c_str()), 0);

    for (std::string const& path : {fifo, socketPath, zero, random, dangling, dir.path()}) {
        SCOPED_TRACE(path);
        pos::metrics_t m;
        m.nb_po = 7;
        EXPECT_FALSE(pos::getMetrics(path, m));
        EXPECT_EQ(m.nb_po, 7u);
        DbFile db;
        QString error;
        EXPECT_FALSE(db.load(QString::fromStdString(path), &error));
        EXPECT_TRUE(error.endsWith(":0:0:cannot be opened as a regular file"))
            << error.toStdString();
        EXPECT_TRUE(db.getComponents().isEmpty());
    }
    ::close(sock);

    pos::metrics_t m;
    EXPECT_TRUE(pos::getMetrics(link, m)); // a link to a regular file is followed
    EXPECT_EQ(m.nb_po, 1u);
}
