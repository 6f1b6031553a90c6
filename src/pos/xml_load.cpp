#include "pos/xml_load.h"

#include <QHash>
#include <QSet>
#include <QTextCodec>
#include <QXmlStreamReader>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace pos {

namespace {

// Small enough that a cut at a chunk boundary keeps every element above the
// depth where anything is read: reaching the limit takes far more bytes.
constexpr int CHUNK = 4096;

// Characters an entity may expand into, as the streaming reader allows.
constexpr int MAX_EXPANSION = 4096;

struct prefix_t {
    int bytes;
    QString cut; // why the document was cut short of an error of its own
    int line;
    int column;
};

// The internal entities whose full expansion passes MAX_EXPANSION. The DOM
// reader checks an entity only when the next one is declared, so the last one
// could expand without limit.
QSet<QString> oversizedEntities(QXmlStreamEntityDeclarations const& declarations) {
    struct entity_t {
        int literal = 0;
        std::vector<int> references;
        int size = -1; // -1: not yet known
        bool visiting = false;
    };
    QHash<QString, int> index;
    std::vector<entity_t> entities;
    std::vector<QString> names;
    for (auto const& d : declarations)
        if (d.systemId().isEmpty() && d.notationName().isEmpty() &&
            !index.contains(d.name().toString())) {
            index.insert(d.name().toString(), static_cast<int>(names.size()));
            names.push_back(d.name().toString());
            entities.emplace_back();
        }
    for (auto const& d : declarations) {
        auto at = index.constFind(d.name().toString());
        if (at == index.constEnd() || !entities[*at].references.empty() || entities[*at].literal)
            continue;
        entity_t& e = entities[*at];
        const QStringRef value = d.value();
        for (int i = 0; i < value.size(); ++i) {
            const int end =
                value.at(i) == QLatin1Char('&') ? value.indexOf(QLatin1Char(';'), i) : -1;
            auto ref = end > i ? index.constFind(value.mid(i + 1, end - i - 1).toString())
                               : index.constEnd();
            if (ref == index.constEnd()) {
                ++e.literal;
                continue;
            }
            e.references.push_back(*ref);
            i = end;
        }
    }
    // Sizes saturate just past the limit; a reference cycle counts as too
    // large. Depth-first without recursion: chains may be long.
    for (std::size_t root = 0; root < entities.size(); ++root) {
        std::vector<std::pair<int, std::size_t>> stack{{static_cast<int>(root), 0}};
        while (!stack.empty()) {
            auto& [current, next] = stack.back();
            entity_t& e = entities[current];
            if (e.size >= 0 && next == 0) {
                stack.pop_back();
                continue;
            }
            e.visiting = true;
            if (next < e.references.size()) {
                const int child = e.references[next++];
                if (entities[child].visiting)
                    entities[child].size = MAX_EXPANSION + 1;
                else if (entities[child].size < 0)
                    stack.push_back({child, 0});
                continue;
            }
            long long size = e.literal;
            for (int child : e.references)
                size = std::min<long long>(size + entities[child].size, MAX_EXPANSION + 1);
            e.size = std::max(e.size, static_cast<int>(size));
            e.visiting = false;
            stack.pop_back();
        }
    }
    QSet<QString> oversized;
    for (std::size_t i = 0; i < entities.size(); ++i)
        if (entities[i].size > MAX_EXPANSION)
            oversized.insert(names[i]);
    return oversized;
}

// The offset of the first reference "&NAME;" to one of `names` in `data`, or
// data.size(). Files in a byte encoding are searched byte by byte (markup is
// ASCII there), UTF-16 in 16-bit units; for any other encoding the answer is
// `fallback`.
int firstReference(QByteArray const& data, QString const& encoding, QSet<QString> const& names,
                   int fallback) {
    const bool wide =
        data.size() >= 2 && (data[0] == '\0' || data[1] == '\0' || data.startsWith("\xFE\xFF") ||
                             data.startsWith("\xFF\xFE"));
    const bool utf32 = data.size() >= 4 && ((data[0] == '\0' && data[1] == '\0') ||
                                            (data[2] == '\0' && data[3] == '\0'));
    const bool utf16 =
        wide && !utf32 &&
        (encoding.isEmpty() || encoding.startsWith(QLatin1String("UTF-16"), Qt::CaseInsensitive));
    if (wide && !utf16)
        return fallback;
    const bool bigEndian = utf16 && (data.startsWith("\xFE\xFF") || data[0] == '\0');
    const int step = utf16 ? 2 : 1;
    auto unit = [&](int at) -> ushort {
        if (!utf16)
            return static_cast<uchar>(data[at]);
        const auto a = static_cast<uchar>(data[at]), b = static_cast<uchar>(data[at + 1]);
        return bigEndian ? static_cast<ushort>(a << 8 | b) : static_cast<ushort>(b << 8 | a);
    };
    QTextCodec* codec = QTextCodec::codecForName(encoding.toLatin1());
    int longest = 0;
    for (QString const& name : names)
        longest = std::max(longest, static_cast<int>(name.toUtf8().size()));
    const int end = data.size() - (data.size() % step);
    for (int at = 0; at < end; at += step) {
        if (unit(at) != '&')
            continue;
        int stop = at + step;
        while (stop < end && stop - at <= step * (longest + 1) && unit(stop) != ';')
            stop += step;
        if (stop >= end || unit(stop) != ';')
            continue;
        const QByteArray raw = data.mid(at + step, stop - at - step);
        QString name;
        if (utf16)
            for (int i = 0; i + 1 < raw.size(); i += 2)
                name += QChar(unit(at + step + i));
        else
            name = codec ? codec->toUnicode(raw) : QString::fromUtf8(raw);
        if (names.contains(name))
            return at;
    }
    return data.size();
}

// How many leading bytes the DOM reader may be given: all of them, unless the
// nesting limit is crossed (then up to a chunk before that point) or the
// stream breaks (then up to a chunk after it); in any case, none from the
// first reference to an entity that expands past the limit.
prefix_t domPrefix(QByteArray const& data) {
    QXmlStreamReader reader;
    // As the DOM reader is asked to: a prefix that no xmlns declares is no
    // error.
    reader.setNamespaceProcessing(false);
    int fed = 0;
    int lastChunk = 0;
    int depth = 0;
    QSet<QString> oversized;
    int dtdChunk = 0;
    prefix_t prefix{data.size(), QString(), 0, 0};
    for (;;) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (reader.error() == QXmlStreamReader::PrematureEndOfDocumentError && fed < data.size()) {
            lastChunk = std::min(CHUNK, data.size() - fed);
            reader.addData(QByteArray::fromRawData(data.constData() + fed, lastChunk));
            fed += lastChunk;
            continue;
        }
        if (token == QXmlStreamReader::DTD) {
            oversized = oversizedEntities(reader.entityDeclarations());
            dtdChunk = fed - lastChunk;
        }
        if (reader.hasError() || token == QXmlStreamReader::EndDocument) {
            prefix.bytes = reader.hasError() ? fed : data.size();
            break;
        }
        if (token == QXmlStreamReader::StartElement && ++depth > MAX_XML_DEPTH) {
            prefix = {fed - lastChunk,
                      QStringLiteral("elements nested deeper than %1 levels").arg(MAX_XML_DEPTH),
                      static_cast<int>(reader.lineNumber()),
                      static_cast<int>(reader.columnNumber())};
            break;
        }
        if (token == QXmlStreamReader::EndElement)
            --depth;
    }
    // A stream that ended cleanly expanded every reference within the limit;
    // text such as "&big;" in a comment is no reference.
    if (!oversized.isEmpty() && reader.hasError()) {
        const int reference = firstReference(
            data.left(prefix.bytes), reader.documentEncoding().toString(), oversized, dtdChunk);
        if (reference < prefix.bytes)
            prefix = {
                reference,
                QStringLiteral("an entity expands to more than %1 characters").arg(MAX_EXPANSION),
                0, 0};
    }
    return prefix;
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
    if (!prefix.cut.isNull())
        // Where the reader stopped, unless the cut knows better.
        parseError = {prefix.cut, prefix.line ? prefix.line : parseError.line,
                      prefix.line ? prefix.column : parseError.column};
    else if (parsed)
        return load_t::parsed;
    if (error)
        *error = parseError;
    return load_t::broken;
}

} // namespace pos
