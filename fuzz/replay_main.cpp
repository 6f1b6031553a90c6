// Without libFuzzer: feeds every file named on the command line, or found in
// a directory named there, to the fuzz target once.
#include <QDir>
#include <QFile>

#include <cstdint>
#include <iostream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool replay(QString const& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::cerr << path.toStdString() << ": cannot be read\n";
        return false;
    }
    const QByteArray bytes = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                           static_cast<std::size_t>(bytes.size()));
    return true;
}

} // namespace

int main(int argc, char** argv) {
    int replayed = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        const QString arg = QString::fromLocal8Bit(argv[i]);
        QStringList paths{arg};
        if (QFileInfo(arg).isDir()) {
            paths.clear();
            for (QString const& name : QDir(arg).entryList(QDir::Files, QDir::Name))
                paths << QDir(arg).filePath(name);
        }
        for (QString const& path : paths) {
            ok = replay(path) && ok;
            ++replayed;
        }
    }
    std::cout << "replayed " << replayed << " inputs\n";
    return ok && replayed > 0 ? 0 : 1;
}
