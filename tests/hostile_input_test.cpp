// Hostile and broken files: what the streaming count, the DOM reference and
// the project database make of each, and that nothing from outside the file
// gets in.
#include "db/DbFile.h"
#include "pos/pos.h"
#include "pos/pos_internal.h"
#include "prooftally/collect.h"
#include "test_support.h"

#include <QFile>

#include <gtest/gtest.h>

#include <random>

namespace {

// Entities l0..lN, each ten times the one before: lN expands to 3 * 10^N
// characters.
std::string laughs(int levels) {
    std::string dtd = "<!ENTITY l0 \"lol\">\n";
    for (int i = 1; i <= levels; ++i) {
        std::string ref = "&l" + std::to_string(i - 1) + ";";
        std::string value;
        for (int k = 0; k < 10; ++k)
            value += ref;
        dtd += "<!ENTITY l" + std::to_string(i) + " \"" + value + "\">\n";
    }
    return dtd;
}

std::string withDtd(std::string const& dtd, std::string const& goals) {
    return "<?xml version=\"1.0\"?>\n<!DOCTYPE Proof_Obligations [\n" + dtd +
           "]>\n<Proof_Obligations><Proof_Obligation>" + goals +
           "</Proof_Obligation></Proof_Obligations>\n";
}

std::string randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 rng(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(rng());
    return bytes;
}

// UTF-16 of `utf8` after a byte-order mark, big- or little-endian.
std::string utf16(std::string const& utf8, bool bigEndian) {
    std::string bytes;
    for (QChar c : QChar(0xFEFF) + QString::fromStdString(utf8)) {
        const char high = static_cast<char>(c.unicode() >> 8);
        const char low = static_cast<char>(c.unicode() & 0xFF);
        bytes += bigEndian ? std::string{high, low} : std::string{low, high};
    }
    return bytes;
}

const std::string PROVED = "<Simple_Goal status=\"Proved\"/>";
const std::string ONE_PROVED = "true | po 1 unp 0 pr 1 unr 0 dis 0 ext 0 int 0";
const std::string ZERO = "true | po 0 unp 0 pr 0 unr 0 dis 0 ext 0 int 0";

} // namespace

TEST(HostileInput, EachPoFileHasItsCount) {
    ScratchDir dir;
    // Content that must never be counted or shown: the files that external
    // entities and DTDs name.
    const std::string secret =
        dir.write("secret.xml", "<Simple_Goal status=\"Disproved\"><Mechanism name=\"SECRET\" "
                                "status=\"Proved\"/></Simple_Goal>");
    const std::string secretDtd = dir.write(
        "secret.dtd", "<!ATTLIST Simple_Goal status CDATA \"Disproved\">\n"
                      "<!ATTLIST Mechanism name CDATA \"SECRET\">\n<!ENTITY s \"SECRET\">\n");
    const std::string external = "<!ENTITY e SYSTEM \"" + secret + "\">\n";
    const std::string prefix = "<Proof_Obligations><Proof_Obligation>" + PROVED;

    struct Case {
        const char* what;
        std::string bytes;
        std::string expected; // the count's outcome, the DOM walk's too
    };
    const std::string lol = [] {
        std::string text;
        for (int i = 0; i < 1000; ++i)
            text += "lol";
        return text;
    }();
    const std::string NUL(1, '\0');
    const std::string PARTLY = "true | po 2 unp 1 pr 1 unr 0 dis 0 ext 0 int 0";
    const Case cases[] = {
        // Expansions past 4096 characters are refused. The DOM reader stops
        // at the DTD, on the first entity that is too large.
        {"billion laughs in content",
         withDtd(laughs(9), PROVED + "<Simple_Goal>&l9;</Simple_Goal>" + PROVED), ZERO},
        {"billion laughs in a name",
         withDtd(laughs(9), PROVED + "<Simple_Goal><Mechanism name=\"&l9;\"/></Simple_Goal>"),
         ZERO},
        // The DOM reader checks an entity when the next is declared: the last
        // one goes unchecked, and is refused when expanded.
        {"large entity declared last",
         withDtd(laughs(3) + "<!ENTITY big \"&l3;&l3;\">\n",
                 PROVED + "<Simple_Goal><Tag>&big;</Tag></Simple_Goal>" + PROVED),
         PARTLY},
        {"large entity declared last, UTF-16",
         utf16(withDtd(laughs(3) + "<!ENTITY big \"&l3;&l3;\">\n",
                       PROVED + "<Simple_Goal><Tag>&big;</Tag></Simple_Goal>" + PROVED),
               true),
         PARTLY},
        {"large entity named in a comment only",
         withDtd(laughs(3) + "<!ENTITY big \"&l3;&l3;\">\n", PROVED + "<!-- &big; -->" + PROVED),
         "true | po 2 unp 0 pr 2 unr 0 dis 0 ext 0 int 0"},
        {"expansion within the limit",
         withDtd(laughs(3), "<Simple_Goal><Mechanism name=\"&l3;\"/></Simple_Goal>"),
         "true | po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | " + lol +
             ": unp 1 unk 0 pr 0 unr 0 dis 0"},
        // External entities and DTDs are never read.
        {"external entity, own file", withDtd(external, PROVED + "<Simple_Goal>&e;</Simple_Goal>"),
         PARTLY},
        {"external entity, /etc/hostname",
         withDtd("<!ENTITY e SYSTEM \"/etc/hostname\">\n",
                 PROVED + "<Simple_Goal><Mechanism name=\"m\"/>&e;</Simple_Goal>"),
         PARTLY + " | m: unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"external DTD",
         "<!DOCTYPE Proof_Obligations SYSTEM \"" + secretDtd + "\">\n" +
             poDocument("<Simple_Goal><Mechanism/></Simple_Goal>").substr(39),
         "true | po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | : unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"external parameter entity",
         withDtd("<!ENTITY % p SYSTEM \"" + secretDtd + "\">\n%p;\n",
                 "<Simple_Goal><Mechanism/></Simple_Goal>"),
         "true | po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | : unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"random bytes", randomBytes(65536, 1), ZERO},
        {"random bytes after a goal", prefix + randomBytes(65536, 2), ONE_PROVED},
        {"UTF-16LE with a byte-order mark",
         utf16(poDocument("<Simple_Goal status=\"Proved\"><Mechanism name=\"\xC3\xA9\"/>"
                          "</Simple_Goal>")
                   .replace(30, 5, "UTF-16"),
               false),
         ONE_PROVED + " | \xC3\xA9: unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"UTF-16BE with a byte-order mark",
         utf16(poDocument(PROVED + PROVED).replace(30, 5, "UTF-16"), true),
         "true | po 2 unp 0 pr 2 unr 0 dis 0 ext 0 int 0"},
        {"UTF-16BE without a byte-order mark",
         utf16(poDocument(PROVED).replace(30, 5, "UTF-16"), true).substr(2), ZERO},
        {"unknown encoding, read as UTF-8",
         "<?xml version=\"1.0\" encoding=\"x-no-such\"?>" +
             poDocument("<Simple_Goal><Mechanism name=\"\xC3\xA9\"/></Simple_Goal>").substr(39),
         "true | po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | \xC3\xA9: unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"invalid UTF-8 in a name",
         poDocument("<Simple_Goal><Mechanism name=\"a\xFF\xC3(b\"/></Simple_Goal>"),
         "true | po 1 unp 1 pr 0 unr 0 dis 0 ext 0 int 0 | a\xEF\xBF\xBD\xEF\xBF\xBD(b: "
         "unp 1 unk 0 pr 0 unr 0 dis 0"},
        {"invalid UTF-8 in an element name", poDocument(PROVED + "<Simple\xFFGoal/>" + PROVED),
         ONE_PROVED},
        // The DOM reader takes a NUL byte as a character; the streaming
        // reader stops there and leaves the count to the DOM walk.
        {"NUL byte between goals", poDocument(PROVED + NUL + PROVED),
         "true | po 2 unp 0 pr 2 unr 0 dis 0 ext 0 int 0"},
        {"NUL byte in a name",
         poDocument(PROVED + "<Simple_Goal><Mechanism name=\"a" + NUL + "b\"/></Simple_Goal>"),
         PARTLY + " | a" + NUL + "b: unp 1 unk 0 pr 0 unr 0 dis 0"},
        // A name the streaming reader refuses as too long.
        {"element name of 5000 characters",
         poDocument("<" + std::string(5000, 'L') + "/>" + PROVED), ONE_PROVED},
        {"NUL byte first", NUL + poDocument(PROVED), ZERO},
    };
    std::string hostname;
    QFile host(QStringLiteral("/etc/hostname"));
    if (host.open(QIODevice::ReadOnly))
        hostname = host.readAll().trimmed().toStdString();

    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string path = dir.write("hostile.pos", c.bytes);
        const std::string streamed = countOutcome(pos::getMetrics, path);
        EXPECT_EQ(streamed, c.expected);
        EXPECT_EQ(countOutcome(pos::domMetrics, path), streamed);
        const QString text = pos::domOfPath(path).toString();
        EXPECT_FALSE(text.contains(QStringLiteral("SECRET")));
        if (hostname.size() >= 4) {
            EXPECT_FALSE(text.contains(QString::fromStdString(hostname)));
        }
    }
}

TEST(HostileInput, ProjectDatabaseKeepsWhatCameBefore) {
    ScratchDir dir;
    const std::string secret = dir.write("secret.xml", "<component_file name=\"SECRET\"/>");
    auto database = [](std::string const& dtd, std::string const& components) {
        return "<!DOCTYPE db_xml [\n" + dtd + "]>\n<db_xml><project>" + components +
               "</project></db_xml>\n";
    };
    struct Case {
        const char* what;
        std::string bytes;
        bool loads;
        QList<QString> components;
        QString reason = {}; // the error text's end, when it matters
    };
    const Case cases[] = {
        // Refused at the DTD, before any component.
        {"billion laughs",
         database(laughs(9), "<component_file name=\"a\"/><component_file name=\"&l9;\"/>"
                             "<component_file name=\"b\"/>"),
         false,
         {}},
        {"external entity",
         database("<!ENTITY e SYSTEM \"" + secret + "\">\n",
                  "<component_file name=\"a\"/>&e;<component_file name=\"b\"/>"),
         true,
         {"a", "b"}},
        // Cut before the first reference.
        {"large entity declared last",
         database(laughs(3) + "<!ENTITY big \"&l3;&l3;\">\n",
                  "<component_file name=\"a\"/><component_file name=\"x&big;\"/>"),
         false,
         {"a"},
         ":an entity expands to more than 4096 characters"},
        {"random bytes", randomBytes(65536, 3), false, {}},
        {"NUL byte",
         database("", "<component_file name=\"a\"/>") + std::string(1, '\0'),
         false,
         {"a"}},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        DbFile db;
        QString error;
        EXPECT_EQ(db.load(QString::fromStdString(dir.write("p.db", c.bytes)), &error), c.loads);
        EXPECT_TRUE(error.endsWith(c.reason)) << error.toStdString();
        EXPECT_EQ(db.getComponents(), c.components);
        EXPECT_TRUE(db.getComponentPath(QStringLiteral("SECRET")).isNull());
    }
}

// Counters are unsigned 32-bit: a sum past 2^32 - 1 wraps around, as the
// record's counters do.
TEST(HostileInput, CountersWrapPast32Bits) {
    const std::uint32_t max = 0xFFFFFFFFu;
    pos::metrics_t total{max, max, max, max, max, max, max, {}};
    total.mechanisms["m"] = std::make_unique<pos::mechanism_metrics_t>(
        pos::mechanism_metrics_t{max, max, max, max, max, {}});
    total.mechanisms["m"]->drivers["d"] =
        std::make_unique<pos::driver_metrics_t>(pos::driver_metrics_t{max, max, max, max});

    pos::metrics_t component{2, 2, 2, 2, 2, 2, 2, {}};
    component.mechanisms["m"] =
        std::make_unique<pos::mechanism_metrics_t>(pos::mechanism_metrics_t{1, 1, 1, 1, 1, {}});
    component.mechanisms["m"]->drivers["d"] =
        std::make_unique<pos::driver_metrics_t>(pos::driver_metrics_t{3, 3, 3, 3});

    add_to_total(total, component);
    EXPECT_EQ(describe(total), "po 1 unp 1 pr 1 unr 1 dis 1 ext 1 int 1"
                               " | m: unp 0 unk 0 pr 0 unr 0 dis 0"
                               " | m/d: unp 2 unk 2 pr 2 dis 2");
}
