// The count of every file under data/count/: data/count/expected.txt gives,
// per file, what counting it must leave ("FILE: outcome", as countOutcome
// writes it, the record starting at po 7). The count and the DOM walk must
// both leave it (files named "fast-..." are taken or refused by the
// strict scanner as their name says), and nothing from the files that external entities
// or DTDs name (secret.xml, secret.dtd, /etc/hostname) may get in.
#include "pos/pos.h"
#include "pos/pos_internal.h"
#include "test_support.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

TEST(Count, EachFileLeavesItsOutcome) {
    const QString dir = QStringLiteral(TEST_DATA_DIR "/count/");
    QFile expected(dir + QStringLiteral("expected.txt"));
    ASSERT_TRUE(expected.open(QIODevice::ReadOnly));
    QFile host(QStringLiteral("/etc/hostname"));
    const QString hostname = host.open(QIODevice::ReadOnly) ? host.readAll().trimmed() : QString();
    QStringList listed;
    while (!expected.atEnd()) {
        const QByteArray line = expected.readLine().chopped(1);
        const int colon = line.indexOf(": ");
        const QString file = QString::fromUtf8(line.left(colon));
        const std::string path = (dir + file).toStdString();
        const std::string outcome = line.mid(colon + 2).toStdString();
        listed << file;
        EXPECT_EQ(countOutcome(pos::getMetrics, path), outcome) << file.toStdString();
        EXPECT_EQ(countOutcome(domMetrics, path), outcome) << file.toStdString();
        // Files named for the scanner: taken, or refused for the reason named.
        if (file.startsWith(QStringLiteral("fast-"))) {
            EXPECT_EQ(scannedRecords(path) != "refused",
                      file.startsWith(QStringLiteral("fast-takes")))
                << file.toStdString();
        }
        const QString text = pos::domOfPath(path).toString();
        EXPECT_FALSE(text.contains(QStringLiteral("SECRET")));
        EXPECT_TRUE(hostname.size() < 4 || !text.contains(hostname));
    }
    for (QString const& file : QDir(dir).entryList({QStringLiteral("*.pos")}, QDir::Files))
        EXPECT_TRUE(listed.contains(file)) << "not in expected.txt: " << file.toStdString();
}
