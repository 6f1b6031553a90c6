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
