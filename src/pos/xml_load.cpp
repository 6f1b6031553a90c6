#include "pos/xml_load.h"

#include "pos/dom_parse.h"

#include <QBuffer>
#include <QHash>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace pos {

namespace {

// Characters an entity may expand into.
constexpr int MAX_EXPANSION = 4096;

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

} // namespace

QChar dom_source_t::pull() {
    if (ahead_.empty())
        return QXmlInputSource::next();
    const QChar c = ahead_.front();
    ahead_.erase(ahead_.begin());
    return c;
}

QChar dom_source_t::next() {
    if (cut || (limit_ >= 0 && consumed >= limit_))
        return QChar(EndOfDocument);
    if (!armed_.isEmpty() && armedReference()) {
        cut = true;
        return QChar(EndOfDocument);
    }
    const QChar c = pull();
    if (c.unicode() == EndOfData || c.unicode() == EndOfDocument)
        return c;
    ++consumed;
    if (!armed_.isEmpty()) {
        // Comments, CDATA sections and processing instructions hold no reference.
        recent_ = recent_.right(8) + c;
        if (closing_.isEmpty()) {
            for (auto const& [open, close] :
                 {std::pair{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}})
                if (recent_.endsWith(QLatin1String(open))) {
                    closing_ = QLatin1String(close);
                    recent_.clear();
                }
        } else if (recent_.endsWith(closing_)) {
            closing_.clear();
            recent_.clear();
        }
    }
    return c;
}

void dom_source_t::arm(QSet<QString> names) {
    armed_ = std::move(names);
    for (QString const& name : armed_)
        longest_ = std::max(longest_, static_cast<int>(name.size()));
}

// Whether the characters about to be handed on start a reference to an armed
// name. They are read ahead and kept, with the marks of the pieces' ends, so
// that the parser still gets exactly what it would have got.
bool dom_source_t::armedReference() {
    if (!closing_.isEmpty())
        return false;
    QString name;
    int seen = 0;
    for (std::size_t k = 0;; ++k) {
        if (k == ahead_.size())
            ahead_.push_back(QXmlInputSource::next());
        const QChar c = ahead_[k];
        if (c.unicode() == EndOfData)
            continue;
        if (c.unicode() == EndOfDocument)
            return false;
        if (seen++ == 0) {
            if (c != QLatin1Char('&'))
                return false;
        } else if (c == QLatin1Char(';')) {
            return armed_.contains(name);
        } else if (name.size() < longest_) {
            name += c;
        } else {
            return false;
        }
    }
}

bool limit_watch_t::startElement(QString const&, QString const&, QString const&,
                                 QXmlAttributes const&) {
    if (++depth_ > MAX_XML_DEPTH) {
        // Up to the end of the previous tag: nothing of this element.
        depthCut = lastTagEnd_;
        return false;
    }
    lastTagEnd_ = source_.consumed;
    return true;
}

bool limit_watch_t::endElement(QString const&, QString const&, QString const&) {
    --depth_;
    lastTagEnd_ = source_.consumed;
    return true;
}

bool limit_watch_t::internalEntityDecl(QString const& name, QString const& value) {
    declarations_.emplace_back(name, value);
    return true;
}

bool limit_watch_t::endDTD() {
    // Expanding one of them is what must not happen: the document ends before.
    QSet<QString> oversized = oversizedEntities(declarations_);
    if (!oversized.isEmpty())
        source_.arm(std::move(oversized));
    return true;
}

bool parseAsDom(dom_source_t& source, QXmlDefaultHandler& handler) {
    QXmlSimpleReader reader;
    reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespaces"), false);
    reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespace-prefixes"), true);
    reader.setFeature(
        QStringLiteral("http://trolltech.com/xml/features/report-whitespace-only-CharData"), false);
    reader.setContentHandler(&handler);
    reader.setErrorHandler(&handler);
    reader.setLexicalHandler(&handler);
    reader.setDeclHandler(&handler);
    reader.setDTDHandler(&handler);
    return reader.parse(&source, false);
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
    // Where the document must end so that neither limit is crossed, if anywhere.
    qint64 cutAt = -1;
    QString why;
    {
        QBuffer buffer;
        buffer.setData(data);
        buffer.open(QIODevice::ReadOnly);
        dom_source_t source(&buffer, -1);
        limit_watch_t limits(source);
        parseAsDom(source, limits);
        if (limits.depthCut >= 0) {
            cutAt = limits.depthCut;
            why = QStringLiteral("elements nested deeper than %1 levels").arg(MAX_XML_DEPTH);
        } else if (source.cut) {
            cutAt = source.consumed;
            why = QStringLiteral("an entity expands to more than %1 characters").arg(MAX_EXPANSION);
        }
    }
    if (cutAt < 0) {
        // Within the limits: exactly a plain load.
        if (doc.setContent(data, false, &failure.message, &failure.line, &failure.column))
            return load_t::parsed;
    } else {
        QBuffer buffer;
        buffer.setData(data);
        buffer.open(QIODevice::ReadOnly);
        dom_source_t source(&buffer, cutAt);
        doc.setContent(&source, false, &failure.message, &failure.line, &failure.column);
        // The reader's own error stands when it stopped before the cut.
        if (source.consumed >= cutAt)
            failure.message = why;
    }
    if (error)
        *error = failure;
    return load_t::broken;
}

} // namespace pos
