// The DOM reader of Qt 5 is built on QXmlSimpleReader and QXmlInputSource,
// which Qt marks as deprecated; the limits are watched with that very parser.
#define QT_NO_DEPRECATED_WARNINGS

#include "pos/xml_load.h"

#include <QBuffer>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QTextCodec>
#include <QXmlDefaultHandler>
#include <QXmlInputSource>
#include <QXmlSimpleReader>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace pos {

namespace {

// Characters an entity may expand into, as the streaming reader allows.
constexpr int MAX_EXPANSION = 4096;

// Hands the reader exactly the characters that a plain load of the same bytes
// gets (the same decoding, the same chunks), counting them; ends the document
// after `limit` of them when the limit is not negative.
class CountingSource : public QXmlInputSource {
public:
    CountingSource(QIODevice* device, qint64 limit) : QXmlInputSource(device), limit(limit) {}
    QChar next() override {
        if (limit >= 0 && consumed >= limit)
            return QChar(EndOfDocument);
        const QChar c = QXmlInputSource::next();
        if (c.unicode() != EndOfData && c.unicode() != EndOfDocument)
            ++consumed;
        return c;
    }
    qint64 consumed = 0;

private:
    qint64 limit;
};

struct cut_t {
    qint64 at = -1; // characters kept; -1 when nothing is cut
    QString why;
};

// The internal entities whose full expansion passes MAX_EXPANSION. The DOM
// reader checks an entity only when the next one is declared, so the last one
// could expand without limit.
QSet<QString> oversizedEntities(std::vector<std::pair<QString, QString>> const& declarations) {
    struct entity_t {
        int literal = 0;
        std::vector<int> references;
        int size = -1; // -1: not yet known
        bool visiting = false;
    };
    QHash<QString, int> index;
    std::vector<entity_t> entities;
    std::vector<QString> names;
    for (auto const& [name, value] : declarations)
        if (!index.contains(name)) {
            index.insert(name, static_cast<int>(names.size()));
            names.push_back(name);
            entities.emplace_back();
        }
    // The first declaration of a name is the one that counts.
    QSet<QString> seen;
    for (auto const& [name, value] : declarations) {
        if (seen.contains(name))
            continue;
        seen.insert(name);
        entity_t& e = entities[index.value(name)];
        for (int i = 0; i < value.size(); ++i) {
            const int end =
                value.at(i) == QLatin1Char('&') ? value.indexOf(QLatin1Char(';'), i) : -1;
            auto ref = end > i ? index.constFind(value.mid(i + 1, end - i - 1)) : index.constEnd();
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

// Follows a parse for the two limits. It accepts whatever the DOM reader's
// parser accepts, so it reads at least as far as a plain load does.
class LimitWatch : public QXmlDefaultHandler {
public:
    LimitWatch(CountingSource const& source, bool stopAtOversized)
        : source(source), stopAtOversized(stopAtOversized) {}

    bool startElement(QString const&, QString const&, QString const&,
                      QXmlAttributes const&) override {
        if (++depth > MAX_XML_DEPTH) {
            // Up to the end of the previous tag: nothing of this element.
            cut = {lastTagEnd,
                   QStringLiteral("elements nested deeper than %1 levels").arg(MAX_XML_DEPTH)};
            return false;
        }
        lastTagEnd = source.consumed;
        return true;
    }
    bool endElement(QString const&, QString const&, QString const&) override {
        --depth;
        lastTagEnd = source.consumed;
        return true;
    }
    bool internalEntityDecl(QString const& name, QString const& value) override {
        declarations.emplace_back(name, value);
        return true;
    }
    bool endDTD() override {
        dtdEnd = source.consumed;
        oversized = oversizedEntities(declarations);
        // Expanding one of them is what must not happen: stop before it.
        return !stopAtOversized || oversized.isEmpty();
    }

    cut_t cut;
    QSet<QString> oversized;
    qint64 dtdEnd = 0;

private:
    CountingSource const& source;
    bool stopAtOversized;
    int depth = 0;
    qint64 lastTagEnd = 0;
    std::vector<std::pair<QString, QString>> declarations;
};

// The characters as the DOM reader gets them, from the start.
QString decoded(QByteArray const& data) {
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    CountingSource source(&buffer, -1);
    QString text;
    for (;;) { // as the reader takes them: the mark of a chunk's end is skipped
        QChar c = source.next();
        if (c.unicode() == QXmlInputSource::EndOfData)
            c = source.next();
        if (c.unicode() == QXmlInputSource::EndOfDocument)
            return text;
        text += c;
    }
}

// The first reference "&NAME;" to one of `names` from `from` on, in text or
// in an attribute value; comments, CDATA sections and processing
// instructions hold none.
cut_t firstReference(QByteArray const& data, qint64 from, QSet<QString> const& names) {
    const QString text = decoded(data);
    int longest = 0;
    for (QString const& name : names)
        longest = std::max(longest, static_cast<int>(name.size()));
    static const std::pair<QLatin1String, QLatin1String> skipped[] = {
        {QLatin1String("<!--"), QLatin1String("-->")},
        {QLatin1String("<![CDATA["), QLatin1String("]]>")},
        {QLatin1String("<?"), QLatin1String("?>")}};
    for (int at = static_cast<int>(std::max<qint64>(0, from - 2)); at < text.size(); ++at) {
        if (text[at] == QLatin1Char('<')) {
            for (auto const& [open, close] : skipped)
                if (text.midRef(at).startsWith(open)) {
                    const int end = text.indexOf(close, at + open.size());
                    at = end < 0 ? text.size() : end + close.size() - 1;
                    break;
                }
            continue;
        }
        if (text[at] != QLatin1Char('&'))
            continue;
        const int length = text.midRef(at + 1, longest + 1).indexOf(QLatin1Char(';'));
        if (length >= 0 && names.contains(text.mid(at + 1, length)))
            return {
                at,
                QStringLiteral("an entity expands to more than %1 characters").arg(MAX_EXPANSION)};
    }
    return {};
}

// One parse of what `source` hands on, with the DOM reader's parser set up as
// QDomDocument::setContent sets it up (no namespaces).
void watch(CountingSource& source, LimitWatch& limits) {
    QXmlSimpleReader reader;
    reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespaces"), false);
    reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespace-prefixes"), true);
    reader.setFeature(
        QStringLiteral("http://trolltech.com/xml/features/report-whitespace-only-CharData"), false);
    reader.setContentHandler(&limits);
    reader.setDeclHandler(&limits);
    reader.setLexicalHandler(&limits);
    reader.parse(&source, false);
}

// Where the document must end so that neither limit is crossed, if anywhere:
// before the element that nests too deep, or before the first reference to
// an entity that expands too far, whichever comes first.
cut_t findCut(QByteArray const& data) {
    cut_t entityCut;
    for (bool const firstPass : {true, false}) {
        QBuffer buffer;
        buffer.setData(data);
        buffer.open(QIODevice::ReadOnly);
        CountingSource source(&buffer, entityCut.at);
        LimitWatch limits(source, firstPass);
        watch(source, limits);
        if (limits.cut.at >= 0)
            return limits.cut;
        if (!firstPass || limits.oversized.isEmpty())
            return entityCut;
        // Read again up to that reference, for the depth.
        entityCut = firstReference(data, limits.dtdEnd, limits.oversized);
    }
    return entityCut;
}

// The codec the DOM reader's input source starts with, from the first bytes.
QTextCodec* initialCodec(QByteArray const& data) {
    const auto at = [&data](int i) { return i < data.size() ? static_cast<uchar>(data[i]) : -1; };
    int mib = 106; // UTF-8
    if ((at(0) == 0 && at(1) == 0 && at(2) == 0xFE && at(3) == 0xFF) ||
        (at(0) == 0xFF && at(1) == 0xFE && at(2) == 0 && at(3) == 0))
        mib = 1017; // UTF-32 with a byte order mark
    else if (at(0) == '<' && at(1) == 0 && at(2) == 0 && at(3) == 0)
        mib = 1019; // UTF-32LE
    else if (at(0) == 0 && at(1) == 0 && at(2) == 0 && at(3) == '<')
        mib = 1018; // UTF-32BE
    else if ((at(0) == 0xFE && at(1) == 0xFF) || (at(0) == 0xFF && at(1) == 0xFE))
        mib = 1015; // UTF-16 with a byte order mark
    else if (at(0) == '<' && at(1) == 0)
        mib = 1014; // UTF-16LE
    else if (at(0) == 0 && at(1) == '<')
        mib = 1013; // UTF-16BE
    return QTextCodec::codecForMib(mib);
}

} // namespace

undecodable_t firstUndecodable(QByteArray const& data) {
    undecodable_t result;
    QTextCodec* codec = initialCodec(data);
    static const QRegularExpression declaration(
        QStringLiteral("^\\s*<\\?xml\\s[^>]*?encoding\\s*=\\s*[\"']([^\"']+)[\"']"));
    const QRegularExpressionMatch match = declaration.match(codec->toUnicode(data.left(1024)));
    if (match.hasMatch()) {
        if (QTextCodec* named = QTextCodec::codecForName(match.captured(1).toLatin1())) {
            codec = named;
            result.declared = true;
        }
    }
    result.encoding = QString::fromLatin1(codec->name());
    // How many characters a prefix leaves undecoded; it only grows with the
    // prefix, so the first bad byte is found by halving.
    const auto bad = [codec, &data](int size, bool atEnd) {
        QTextCodec::ConverterState state;
        codec->toUnicode(data.constData(), size, &state);
        return state.invalidChars > 0 || (atEnd && state.remainingChars > 0);
    };
    if (!bad(data.size(), true))
        return result;
    int good = 0, worse = data.size();
    while (worse - good > 1) {
        const int middle = good + (worse - good) / 2;
        (bad(middle, false) ? worse : good) = middle;
    }
    // The bad sequence began with the bytes the decoder still held.
    QTextCodec::ConverterState held;
    const QString before = codec->toUnicode(data.constData(), worse - 1, &held);
    result.byte = static_cast<uchar>(data[worse - 1 - held.remainingChars]);
    result.line = before.count(QLatin1Char('\n')) + 1;
    return result;
}

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

    load_error_t failure;
    const cut_t cut = findCut(data);
    if (cut.at < 0) {
        // Within the limits: exactly a plain load.
        if (doc.setContent(data, false, &failure.message, &failure.line, &failure.column))
            return load_t::parsed;
    } else {
        QBuffer buffer;
        buffer.setData(data);
        buffer.open(QIODevice::ReadOnly);
        CountingSource source(&buffer, cut.at);
        doc.setContent(&source, false, &failure.message, &failure.line, &failure.column);
        // The reader's own error stands when it stopped before the cut.
        if (source.consumed >= cut.at)
            failure.message = cut.why;
    }
    if (error)
        *error = failure;
    return load_t::broken;
}

} // namespace pos
