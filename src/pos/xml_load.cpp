#include "pos/xml_load.h"

#include <QXmlStreamReader>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace pos {

namespace {

// Small enough that a cut at a chunk boundary keeps every element above the
// depth where anything is read: reaching the limit takes far more bytes.
constexpr int CHUNK = 4096;

struct prefix_t {
    int bytes;
    bool tooDeep;
    int line;
    int column;
};

// How many leading bytes the DOM reader may be given: all of them, unless the
// nesting limit is crossed (then up to a chunk before that point) or the
// stream breaks (then up to a chunk after it).
prefix_t domPrefix(QByteArray const& data) {
    QXmlStreamReader reader;
    // As the DOM reader is asked to: a prefix that no xmlns declares is no
    // error.
    reader.setNamespaceProcessing(false);
    int fed = 0;
    int lastChunk = 0;
    int depth = 0;
    for (;;) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (reader.error() == QXmlStreamReader::PrematureEndOfDocumentError && fed < data.size()) {
            lastChunk = std::min(CHUNK, data.size() - fed);
            reader.addData(QByteArray::fromRawData(data.constData() + fed, lastChunk));
            fed += lastChunk;
            continue;
        }
        if (reader.hasError() || token == QXmlStreamReader::EndDocument)
            return {reader.hasError() ? fed : data.size(), false, 0, 0};
        if (token == QXmlStreamReader::StartElement && ++depth > MAX_XML_DEPTH)
            return {fed - lastChunk, true, static_cast<int>(reader.lineNumber()),
                    static_cast<int>(reader.columnNumber())};
        if (token == QXmlStreamReader::EndElement)
            --depth;
    }
}

} // namespace

bool openRegularFile(QString const& path, QFile& file) {
    // Non-blocking, so that opening a FIFO without a writer returns at once.
    const int fd =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat status;
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) ||
        !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return false;
    }
    return true;
}

load_t loadDocument(QString const& path, QDomDocument& doc, load_error_t* error) {
    doc = QDomDocument();
    QFile file;
    if (!openRegularFile(path, file)) {
        if (error)
            *error = {QStringLiteral("cannot be opened as a regular file"), 0, 0};
        return load_t::unopened;
    }
    const QByteArray data = file.readAll();
    file.close();

    const prefix_t prefix = domPrefix(data);
    load_error_t parseError;
    const bool parsed =
        doc.setContent(prefix.bytes == data.size() ? data : data.left(prefix.bytes), false,
                       &parseError.message, &parseError.line, &parseError.column);
    if (prefix.tooDeep)
        parseError = {QStringLiteral("elements nested deeper than %1 levels").arg(MAX_XML_DEPTH),
                      prefix.line, prefix.column};
    else if (parsed)
        return load_t::parsed;
    if (error)
        *error = parseError;
    return load_t::broken;
}

} // namespace pos
