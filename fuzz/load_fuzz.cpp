// Differential fuzz target: the hardened loader against a plain
// QDomDocument::setContent of the same bytes. Within the limits both must give
// the same document (every element, attribute and value: compared as text),
// the same result and the same error and position. A cut must be earned: only
// a document that really nests too deep, or declares entities, is cut (a
// plain load of one cut for its entities may take hours: not compared).
#include "pos/xml_load.h"
#include "test_support.h"

#include <QDomDocument>
#include <QRegularExpression>

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

int depth(QDomNode const& root) {
    int deepest = 0;
    int level = 0;
    QDomNode node = root.firstChild();
    while (!node.isNull()) {
        deepest = std::max(deepest, ++level);
        if (!node.firstChild().isNull()) {
            node = node.firstChild();
            continue;
        }
        --level;
        while (!node.isNull() && node.nextSibling().isNull()) {
            node = node.parentNode();
            --level;
            if (node == root)
                return deepest;
        }
        if (!node.isNull())
            node = node.nextSibling();
    }
    return deepest;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Attributes are written in hash order: the same for both documents only
    // with a fixed seed.
    static const bool seeded = (qSetGlobalQHashSeed(0), true);
    static const ScratchDir dir;
    (void)seeded;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QString path = QString::fromStdString(dir.write("input.xml", bytes.toStdString()));
    QDomDocument hardened;
    pos::load_error_t error;
    const pos::load_t result = pos::loadDocument(path, hardened, &error);

    static const QRegularExpression entityLimit(
        QStringLiteral("^(an entity expands|more than \\d+ entity declarations|entity values "
                       "of|entity references)"));
    if (entityLimit.match(error.message).hasMatch()) {
        // UTF-16 too: the declaration with its zero bytes dropped.
        require(QByteArray(bytes).replace(char(0), QByteArray()).contains("ENTITY"),
                "an entity cut without an entity declaration");
        return 0;
    }
    QDomDocument plain;
    QString message;
    int line = 0;
    int column = 0;
    const bool parsed = plain.setContent(bytes, false, &message, &line, &column);
    if (error.message.startsWith(QLatin1String("elements nested deeper"))) {
        require(depth(plain) > pos::MAX_XML_DEPTH, "a depth cut in a document within the limit");
        return 0;
    }
    require((result == pos::load_t::parsed) == parsed, "one load parsed, the other did not");
    require(hardened.toString(-1) == plain.toString(-1), "the documents differ");
    require(parsed || (error.message == message && error.line == line && error.column == column),
            "the errors differ");
    return 0;
}
