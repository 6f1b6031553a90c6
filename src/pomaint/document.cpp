#include "pomaint/document.h"
#include "pomaint/undecodable.h"

#include "pos/pos.h"

#include <QBuffer>
#include <QRegularExpression>
#include <QTextCodec>
#include <QTextStream>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

void report_unknown_status(std::string const& path, pos::unknown_status_error const& unknown) {
    std::fprintf(stderr, "%s:%lld: unknown proof status value \"%s\"\n", path.c_str(), unknown.line,
                 unknown.value.c_str());
}

namespace {

// Hands each goal on until one holds a status that the count does not know.
class status_gate_t : public pos::goal_consumer_t {
public:
    explicit status_gate_t(pos::goal_consumer_t& next) : next_(next) {}
    void restart() override {
        unknown.reset();
        counted_ = pos::metrics_t{};
        next_.restart();
    }
    void goal(pos::goal_record_t const& goal) override {
        if (unknown)
            return;
        try {
            pos::countGoal(goal, counted_);
        } catch (pos::unknown_status_error const& e) {
            unknown = e;
            return;
        }
        next_.goal(goal);
    }
    void endObligation(pos::obligation_record_t const& obligation) override {
        if (!unknown)
            next_.endObligation(obligation);
    }
    std::optional<pos::unknown_status_error> unknown;

private:
    pos::goal_consumer_t& next_;
    pos::metrics_t counted_;
};

class ignore_t : public pos::goal_consumer_t {
    void restart() override {}
    void goal(pos::goal_record_t const&) override {}
};

// False after naming the file and why it cannot be acted on.
bool readable(std::string const& path, pos::read_state_t const& read) {
    switch (read.read) {
    case pos::po_read_t::unopened: {
        // The system's reason when there is one (no such file, permission).
        struct stat status;
        const std::string reason =
            ::stat(path.c_str(), &status) != 0 ? std::strerror(errno) : read.message;
        std::fprintf(stderr, "%s: %s\n", path.c_str(), reason.c_str());
        return false;
    }
    case pos::po_read_t::malformed:
        std::fprintf(stderr, "%s:%d:%d: not well-formed XML: %s\n", path.c_str(), read.line,
                     read.column, read.message.c_str());
        return false;
    default:
        return true;
    }
}

// The reader keeps the declaration but hands it back in single quotes; PO
// files are written with double ones. Its values hold no quotes.
void doubleQuoteDeclaration(QDomDocument& doc) {
    QDomProcessingInstruction declaration = doc.firstChild().toProcessingInstruction();
    if (!declaration.isNull() && declaration.target() == QStringLiteral("xml"))
        declaration.setData(declaration.data().replace(QLatin1Char('\''), QLatin1Char('"')));
}

} // namespace

bool read_po_file(std::string const& path, pos::goal_consumer_t& consumer) {
    // Every status the count would convert, so that no subcommand acts on
    // a file that holds an unknown one.
    status_gate_t gate(consumer);
    if (!readable(path, pos::readPoFile(path, gate)))
        return false;
    if (gate.unknown) {
        report_unknown_status(path, *gate.unknown);
        return false;
    }
    return true;
}

bool load_po_file(std::string const& path, QDomDocument& doc) {
    ignore_t ignore;
    if (!read_po_file(path, ignore) || !readable(path, pos::loadPoDocument(path, doc)) ||
        !decodes_cleanly(path))
        return false;
    doubleQuoteDeclaration(doc);
    return true;
}

namespace {

// How deep elements nest below `root`, without recursion.
int depthBelow(QDomNode const& root) {
    int depth = 0, deepest = 0;
    for (QDomNode n = root.firstChild(); !n.isNull(); n = n.nextSibling()) {
        for (; n.hasChildNodes(); n = n.firstChild())
            deepest = std::max(deepest, ++depth);
        for (; n.nextSibling().isNull() && depth > 0; --depth)
            n = n.parentNode();
    }
    return deepest;
}

// The first node, in document order, where the two trees differ: of `a`
// when it has one there, else its parent.
QDomNode firstDifference(QDomNode const& a, QDomNode const& b) {
    if (a.nodeType() != b.nodeType() || a.nodeName() != b.nodeName() ||
        a.nodeValue() != b.nodeValue())
        return a;
    if (a.isElement()) {
        const QDomNamedNodeMap x = a.attributes(), y = b.attributes();
        if (x.count() != y.count())
            return a;
        for (int i = 0; i < x.count(); ++i) {
            const QDomNode attribute = x.item(i);
            const QDomNode other = y.namedItem(attribute.nodeName());
            if (other.isNull() || other.nodeValue() != attribute.nodeValue())
                return a;
        }
    }
    QDomNode i = a.firstChild(), j = b.firstChild();
    for (; !i.isNull() && !j.isNull(); i = i.nextSibling(), j = j.nextSibling()) {
        const QDomNode d = firstDifference(i, j);
        if (!d.isNull())
            return d;
    }
    return i.isNull() && j.isNull() ? QDomNode() : a;
}

// The encoding the writer uses for the document.
QTextCodec* codecOf(QDomDocument const& doc) {
    const QDomProcessingInstruction declaration = doc.firstChild().toProcessingInstruction();
    if (!declaration.isNull() && declaration.target() == QStringLiteral("xml")) {
        static const QRegularExpression encoding(
            QStringLiteral("encoding\\s*=\\s*[\"']([^\"']*)[\"']"));
        const QRegularExpressionMatch match = encoding.match(declaration.data());
        if (match.hasMatch())
            if (QTextCodec* codec = QTextCodec::codecForName(match.captured(1).toLatin1()))
                return codec;
    }
    return QTextCodec::codecForMib(106);
}

// The text a node holds in its name, value and attributes.
QString textOf(QDomNode const& n) {
    QString text = n.nodeName() + n.nodeValue();
    const QDomNamedNodeMap attributes = n.attributes();
    for (int i = 0; i < attributes.count(); ++i)
        text += attributes.item(i).nodeName() + attributes.item(i).nodeValue();
    return text;
}

} // namespace

std::optional<std::string> differenceAfterRewrite(std::string const& written,
                                                  QDomDocument const& edited) {
    QDomDocument reread;
    const pos::read_state_t read = pos::loadPoDocument(written, reread);
    if (read.read != pos::po_read_t::read)
        return "the rewritten document would not be well-formed XML (" + read.message + ")";
    // The declaration is written in the quotes of PO files, whatever the
    // reader hands back.
    doubleQuoteDeclaration(reread);
    const QDomNode at = firstDifference(edited, reread);
    if (at.isNull())
        return std::nullopt;
    const std::string line = std::to_string(std::max(at.lineNumber(), 1));
    QTextCodec* codec = codecOf(edited);
    if (!codec->canEncode(textOf(at)))
        return QString::fromLatin1(codec->name()).toStdString() +
               ", the encoding the file is written in, cannot hold a character of line " + line;
    return "the DOM writer would change what is read at line " + line;
}

QByteArray serialise(QDomDocument const& doc) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QTextStream stream(&buffer);
    const int indent = depthBelow(doc) > MAX_INDENTED_DEPTH ? 0 : pos::XML_INDENT;
    doc.save(stream, indent, QDomNode::EncodingFromDocument);
    stream.flush();
    return bytes;
}
