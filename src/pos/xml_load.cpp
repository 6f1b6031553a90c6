#include "pos/xml_load.h"

#include "pos/dom_parse.h"

#include <QBuffer>
#include <QHash>
#include <QSet>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <tuple>
#include <utility>
#include <vector>

namespace pos {

namespace {

using declarations_t = std::vector<std::pair<QString, QString>>;

// Markup in which the parser expands no reference, and what ends it.
const std::pair<QLatin1String, QLatin1String> MARKUP_WITHOUT_REFERENCES[] = {
    {QLatin1String("<!--"), QLatin1String("-->")},
    {QLatin1String("<![CDATA["), QLatin1String("]]>")},
    {QLatin1String("<?"), QLatin1String("?>")}};

// What each entity's text brings in where a reference "LEAD NAME;" to it is
// expanded, in UTF-16 units as the parser counts them, saturating past
// `cap`: a reference to another of `declarations` counts as that one's text,
// one to anything else as nothing, and, for '&', a character reference or a
// predefined entity as one character; text in comments, CDATA sections and
// processing instructions stands as written. A reference cycle never ends.
// The first declaration of a name is the one the parser keeps.
QHash<QString, qint64> expansions(declarations_t const& declarations, QChar lead, qint64 cap) {
    struct entity_t {
        QString const* value;
        qint64 literal = 0;
        std::vector<int> references;
        qint64 size = -1; // -1: not yet known
    };
    // The parser takes the predefined entities as they are, declared or not.
    static const QSet<QString> predefined = {QStringLiteral("lt"), QStringLiteral("gt"),
                                             QStringLiteral("amp"), QStringLiteral("apos"),
                                             QStringLiteral("quot")};
    const bool general = lead == QLatin1Char('&');
    QHash<QString, int> index;
    std::vector<entity_t> entities;
    for (auto const& [name, value] : declarations)
        if (!index.contains(name) && !(general && predefined.contains(name))) {
            index.insert(name, static_cast<int>(entities.size()));
            entities.push_back({&value, 0, {}, -1});
        }
    // What cannot be a name makes the parser stop there.
    auto isName = [](QStringRef name) {
        return !name.isEmpty() && std::none_of(name.begin(), name.end(), [](QChar c) {
            return c.isSpace() || QStringLiteral("<>&%;'\"").contains(c);
        });
    };
    for (entity_t& e : entities) {
        QString const& value = *e.value;
        for (int i = 0; i < value.size(); ++i) {
            const QStringRef rest = value.midRef(i);
            for (auto const& [open, close] : MARKUP_WITHOUT_REFERENCES)
                if (rest.startsWith(open)) {
                    const int end = value.indexOf(close, i + open.size());
                    const int next = end < 0 ? value.size() : end + close.size();
                    e.literal += next - i - 1;
                    i = next - 1;
                }
            const int end = value.at(i) == lead ? value.indexOf(QLatin1Char(';'), i) : -1;
            const QStringRef name = value.midRef(i + 1, end - i - 1);
            if (end < 0 || !isName(name)) {
                ++e.literal;
                continue;
            }
            i = end;
            const auto ref = index.constFind(name.toString());
            if (ref != index.constEnd())
                e.references.push_back(*ref);
            else if (general &&
                     (name.startsWith(QLatin1Char('#')) || predefined.contains(name.toString())))
                ++e.literal;
        }
    }
    // Chains are at most MAX_ENTITY_DECLARATIONS long. An entity being
    // measured counts as endless, so that a cycle is.
    std::function<qint64(int)> size = [&](int k) {
        entity_t& e = entities[k];
        if (e.size < 0) {
            e.size = cap + 1;
            qint64 total = std::min(e.literal, cap + 1);
            for (int child : e.references)
                total = std::min(total + size(child), cap + 1);
            e.size = total;
        }
        return e.size;
    };
    QHash<QString, qint64> sizes;
    for (auto it = index.constBegin(); it != index.constEnd(); ++it)
        sizes.insert(it.key(), size(*it));
    return sizes;
}

} // namespace

// The base class asks itself, through next(), for the character after each
// piece it fetches: that call must reach the base class again.
QChar dom_source_t::read() {
    reading_ = true;
    const QChar c = QXmlInputSource::next();
    reading_ = false;
    return c;
}

QChar dom_source_t::pull() {
    if (ahead_.empty())
        return read();
    const QChar c = ahead_.front();
    ahead_.erase(ahead_.begin());
    return c;
}

QChar dom_source_t::next() {
    if (reading_)
        return QXmlInputSource::next();
    if (refused >= 0 || (limit_ >= 0 && consumed >= limit_))
        return QChar(EndOfDocument);
    if (!sizes_.isEmpty() && checked_ != consumed) {
        // Once per position: the marks of the pieces' ends come in between.
        checked_ = consumed;
        const qint64 size = reference();
        if (size > budget) {
            refused = size;
            return QChar(EndOfDocument);
        }
        budget -= std::max<qint64>(size, 0);
    }
    const QChar c = pull();
    if (c.unicode() == EndOfData || c.unicode() == EndOfDocument)
        return c;
    ++consumed;
    if (!sizes_.isEmpty()) {
        // Comments, CDATA sections and processing instructions hold no reference.
        recent_ = recent_.right(8) + c;
        if (closing_.isEmpty()) {
            for (auto const& [open, close] : MARKUP_WITHOUT_REFERENCES)
                if (recent_.endsWith(open)) {
                    closing_ = close;
                    recent_.clear();
                }
        } else if (recent_.endsWith(closing_)) {
            closing_.clear();
            recent_.clear();
        }
    }
    return c;
}

void dom_source_t::watch(QChar lead, QHash<QString, qint64> sizes) {
    lead_ = lead;
    sizes_ = std::move(sizes);
    longest_ = 0;
    for (auto it = sizes_.constBegin(); it != sizes_.constEnd(); ++it)
        longest_ = std::max(longest_, static_cast<int>(it.key().size()));
}

// What the reference that the characters about to be handed on start brings
// in; -1 if they start none. They are read ahead and kept, with the marks of
// the pieces' ends, so that the parser still gets exactly what it would have.
qint64 dom_source_t::reference() {
    if (!closing_.isEmpty())
        return -1;
    QString name;
    int seen = 0;
    for (std::size_t k = 0;; ++k) {
        if (k == ahead_.size())
            ahead_.push_back(read());
        const QChar c = ahead_[k];
        if (c.unicode() == EndOfData)
            continue;
        if (c.unicode() == EndOfDocument)
            return -1;
        if (seen++ == 0) {
            if (c != lead_)
                return -1;
        } else if (c == QLatin1Char(';')) {
            return sizes_.value(name, -1);
        } else if (name.size() < longest_) {
            name += c;
        } else {
            return -1;
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

bool limit_watch_t::startDTD(QString const&, QString const&, QString const&) {
    lastDeclarationEnd_ = source_.consumed;
    return true;
}

// Counts a declaration whose value holds `characters`; false, the parse to
// end after the previous one, once past a limit. What is left of the values'
// budget pays for the parameter-entity references that come next.
bool limit_watch_t::declared(qint64 characters) {
    values_ += characters;
    if (++declarationCount_ > MAX_ENTITY_DECLARATIONS)
        dtdLimit_ = QStringLiteral("more than %1 entity declarations").arg(MAX_ENTITY_DECLARATIONS);
    else if (values_ > MAX_ENTITY_VALUES)
        dtdLimit_ =
            QStringLiteral("entity values of more than %1 characters").arg(MAX_ENTITY_VALUES);
    if (!dtdLimit_.isEmpty())
        return false;
    lastDeclarationEnd_ = source_.consumed;
    source_.budget = MAX_ENTITY_VALUES - values_;
    return true;
}

bool limit_watch_t::internalEntityDecl(QString const& name, QString const& value) {
    // The parser hands on parameter entities with their "%".
    if (!name.startsWith(QLatin1Char('%'))) {
        entities_.emplace_back(name, value);
        return declared(value.size());
    }
    parameterEntities_.emplace_back(name.mid(1), value);
    source_.watch(QLatin1Char('%'),
                  expansions(parameterEntities_, QLatin1Char('%'), MAX_ENTITY_VALUES));
    return declared(value.size());
}

bool limit_watch_t::externalEntityDecl(QString const&, QString const&, QString const&) {
    return declared(0);
}

bool limit_watch_t::unparsedEntityDecl(QString const&, QString const&, QString const&,
                                       QString const&) {
    return declared(0);
}

bool limit_watch_t::endDTD() {
    dtdEnded_ = true;
    QHash<QString, qint64> sizes = expansions(entities_, QLatin1Char('&'), MAX_ENTITY_EXPANSION);
    // Expanding one that is too large is what must not happen: its first
    // reference takes all there is.
    for (qint64& size : sizes)
        if (size > MAX_ENTITY_EXPANSION)
            size = MAX_ENTITY_REFERENCES + 1;
    source_.watch(QLatin1Char('&'), std::move(sizes));
    source_.budget = MAX_ENTITY_REFERENCES;
    return true;
}

std::pair<qint64, QString> limit_watch_t::cut() const {
    if (depthCut >= 0)
        return {depthCut,
                QStringLiteral("elements nested deeper than %1 levels").arg(MAX_XML_DEPTH)};
    if (!dtdLimit_.isEmpty())
        return {lastDeclarationEnd_, dtdLimit_};
    if (source_.refused < 0)
        return {-1, QString()};
    if (!dtdEnded_)
        return {lastDeclarationEnd_,
                QStringLiteral("entity values of more than %1 characters").arg(MAX_ENTITY_VALUES)};
    if (source_.refused > MAX_ENTITY_REFERENCES)
        return {source_.consumed, QStringLiteral("an entity expands to more than %1 characters")
                                      .arg(MAX_ENTITY_EXPANSION)};
    return {source_.consumed, QStringLiteral("entity references expand to more than %1 characters")
                                  .arg(MAX_ENTITY_REFERENCES)};
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
    // Where the document must end so that no limit is crossed, if anywhere.
    qint64 cutAt = -1;
    QString why;
    {
        QBuffer buffer;
        buffer.setData(data);
        buffer.open(QIODevice::ReadOnly);
        dom_source_t source(&buffer, -1);
        limit_watch_t limits(source);
        parseAsDom(source, limits);
        std::tie(cutAt, why) = limits.cut();
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
