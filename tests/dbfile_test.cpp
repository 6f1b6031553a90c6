#include "db/DbFile.h"
#include "test_support.h"

#include <QDir>
#include <QRegularExpression>

#include <random>

#include <gtest/gtest.h>

namespace {

const std::string kDatabase = R"(<?xml version="1.0"?>
<db_xml>
  <project name="first">
    <component_file name="ctrl" path="rel/../dir" suffix="mch"/>
    <group><component_file name="nested" path="/n" suffix="mch"/></group>
    <component_file name="Beta" path="/abs//src/./x" suffix="imp"/>
    <component_file name="ctrl" path="/other" suffix="ref"/>
    <component_file path="/unnamed" suffix="mch"/>
    <component_file name="nosuffix" path=""/>
    <component_file name="%2" path="/p" suffix="s"/>
  </project>
  <project name="second">
    <component_file name="ignored" path="/i" suffix="mch"/>
  </project>
</db_xml>
)";

} // namespace

TEST(DbFile, ListsAndResolvesComponentsOfTheFirstProject) {
    ScratchDir dir;
    DbFile db;
    const QString path = QString::fromStdString(dir.write("p.db", kDatabase));
    ASSERT_TRUE(db.load(path));
    EXPECT_EQ(db.getFilePath(), path);
    EXPECT_EQ(db.getComponents(), (QList<QString>{"ctrl", "Beta", "ctrl", "", "nosuffix", "%2"}));

    const QString cwd = QDir::currentPath();
    const struct {
        QString asked;
        QString componentPath; // of the name itself
        QString bxmlSource;    // of the name taken as a file path
    } rows[] = {
        {"ctrl", cwd + "/dir/ctrl.mch", cwd + "/dir/ctrl.mch"}, // the first of two wins
        {"Beta", "/abs/src/x/Beta.imp", "/abs/src/x/Beta.imp"},
        {"", "/unnamed/.mch", "/unnamed/.mch"},
        {"nosuffix", cwd + "/nosuffix.", cwd + "/nosuffix."},
        {"%2", "/p/%2.s", "/p/%2.s"},
        {"nested", QString(), QString()},
        {"ignored", QString(), QString()},
        {"CTRL", QString(), QString()},
        {"/build/out/ctrl.mch.xml", QString(), cwd + "/dir/ctrl.mch"},
    };
    for (auto const& r : rows) {
        EXPECT_EQ(db.getComponentPath(r.asked), r.componentPath) << r.asked.toStdString();
        EXPECT_EQ(db.getBxmlSource(r.asked), r.bxmlSource) << r.asked.toStdString();
    }
}

TEST(DbFile, FailedLoadsReportWhereAndKeepWhatWasRead) {
    ScratchDir dir;
    DbFile db;
    const QString good = QString::fromStdString(dir.write("good.db", kDatabase));
    ASSERT_TRUE(db.load(good));

    // Cut inside the project: the components before the break stay.
    const QString cut = QString::fromStdString(
        dir.write("cut.db", kDatabase.substr(0, kDatabase.find("<component_file path"))));
    QString error;
    EXPECT_FALSE(db.load(cut, &error));
    EXPECT_EQ(db.getFilePath(), good);
    EXPECT_EQ(db.getComponents(), (QList<QString>{"ctrl", "Beta", "ctrl"}));
    // path:line:column:message
    EXPECT_TRUE(
        QRegularExpression("^" + QRegularExpression::escape(cut) + ":[1-9][0-9]*:[1-9][0-9]*:.")
            .match(error)
            .hasMatch())
        << error.toStdString();

    const QString missing = QString::fromStdString(dir.path() + "/missing.db");
    EXPECT_FALSE(db.load(missing, &error));
    EXPECT_TRUE(error.startsWith(missing + ":")) << error.toStdString();
    EXPECT_FALSE(db.load(missing)); // no error holder wanted
    EXPECT_EQ(db.getFilePath(), good);
    EXPECT_TRUE(db.getComponents().isEmpty());
}

// Hostile and broken databases: what is kept, and that nothing from outside
// the file gets in.
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

std::string randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 rng(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(rng());
    return bytes;
}

} // namespace

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
