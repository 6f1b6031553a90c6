// DbFile::load on arbitrary bytes, then every query: on the names it lists
// and on names that look like paths.
#include "db/DbFile.h"
#include "test_support.h"

#include <cstdint>
#include <cstdlib>
#include <iostream>

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        std::cerr << what << "\n";
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchDir dir;
    const QString path = QString::fromStdString(
        dir.write("input.db", std::string(reinterpret_cast<const char*>(data), size)));
    DbFile db;
    QString error;
    const bool loaded = db.load(path, &error);
    require(loaded ? error.isNull() && db.getFilePath() == path
                   : error.startsWith(path + ":") && db.getFilePath().isNull(),
            "load's result, error text and file path disagree");

    const QList<QString> names = db.getComponents();
    for (QString const& name : names) {
        require(!db.getComponentPath(name).isNull(), "a listed component has no path");
        db.getBxmlSource(name);
        db.getBxmlSource(QStringLiteral("dir/") + name + QStringLiteral(".mch.xml"));
    }
    for (const char* odd : {"", ".", "..", "/", "/etc/passwd", "a/../b", "%1", "%1.%2", "x.y.z",
                            "\xc3\xa9", "no such component \x01"}) {
        const QString name = QString::fromUtf8(odd);
        require(db.getComponentPath(name).isNull() == !names.contains(name),
                "getComponentPath disagrees with getComponents");
        db.getBxmlSource(name);
    }
    return 0;
}
