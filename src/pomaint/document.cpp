#include "pomaint/document.h"
#include "pomaint/undecodable.h"

#include "pos/pos.h"
#include "pos/xml_load.h"

#include <QBuffer>
#include <QFile>
#include <QTextStream>

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

void report_unknown_status(std::string const& path,
                           std::optional<pos::unknown_status_t> const& where) {
    if (where)
        std::fprintf(stderr, "pomaint: %s:%lld: unknown proof status value \"%s\"\n", path.c_str(),
                     where->line, where->value.c_str());
    else
        std::fprintf(stderr, "pomaint: %s: unknown proof status value\n", path.c_str());
}

bool load_po_file(std::string const& path, QDomDocument& doc) {
    pos::load_error_t error;
    switch (pos::loadDocument(QString::fromStdString(path), doc, &error)) {
    case pos::load_t::unopened: {
        // The system's reason when there is one (no such file, permission).
        struct stat status;
        const std::string reason = ::stat(path.c_str(), &status) != 0
                                       ? std::strerror(errno)
                                       : error.message.toUtf8().toStdString();
        std::fprintf(stderr, "pomaint: %s: %s\n", path.c_str(), reason.c_str());
        return false;
    }
    case pos::load_t::broken:
        std::fprintf(stderr, "pomaint: %s:%d:%d: not well-formed XML: %s\n", path.c_str(),
                     error.line, error.column, error.message.toUtf8().constData());
        return false;
    case pos::load_t::parsed:
        break;
    }
    // The reader keeps the declaration but hands it back in single quotes;
    // PO files are written with double ones. Its values hold no quotes.
    QDomProcessingInstruction declaration = doc.firstChild().toProcessingInstruction();
    if (!declaration.isNull() && declaration.target() == QStringLiteral("xml"))
        declaration.setData(declaration.data().replace(QLatin1Char('\''), QLatin1Char('"')));
    // Every status the goal walk would convert, so that no subcommand meets
    // an unknown one half-way through a file.
    if (auto const unknown = pos::findUnknownStatus(doc)) {
        report_unknown_status(path, unknown);
        return false;
    }
    return true;
}

bool decodes_cleanly(std::string const& path) {
    QFile file;
    if (!pos::openRegularFile(QString::fromStdString(path), file))
        return true; // loading it has already failed and said so
    const undecodable_t bad = firstUndecodable(file.readAll());
    if (bad.line == 0)
        return true;
    const std::string encoding = bad.encoding.toStdString();
    std::fprintf(stderr,
                 bad.declared
                     ? "pomaint: %s:%d: byte 0x%02X is not valid %s, the encoding the file "
                       "declares; a rewrite would lose it, so the file is left unchanged\n"
                     : "pomaint: %s:%d: byte 0x%02X is not valid %s and the file declares "
                       "no encoding; a rewrite would lose it, so the file is left "
                       "unchanged\n",
                 path.c_str(), bad.line, bad.byte, encoding.c_str());
    return false;
}

QByteArray serialise(QDomDocument const& doc) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QTextStream stream(&buffer);
    doc.save(stream, pos::XML_INDENT, QDomNode::EncodingFromDocument);
    stream.flush();
    return bytes;
}
