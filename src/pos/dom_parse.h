// The DOM reader's own parser, set up and fed as QDomDocument::setContent
// does it, with the loader's limits watched in the same pass: shared by
// the loader (which then builds the document) and the count (which builds
// nothing and reads the parser's events).
#ifndef POS_DOM_PARSE_H
#define POS_DOM_PARSE_H

#include <QHash>
#include <QString>
#include <QXmlDefaultHandler>
#include <QXmlInputSource>
#include <QXmlSimpleReader>

#include <utility>
#include <vector>

namespace pos {

// The characters as the DOM reader gets them from a device (the same
// decoding, the same pieces), counted. The document ends early after `limit`
// characters, or, once watching, before a reference "LEAD NAME;" (outside
// comments, CDATA sections and processing instructions) whose text would
// pass what is left of `budget`.
class dom_source_t : public QXmlInputSource {
public:
    dom_source_t(QIODevice* device, qint64 limit) : QXmlInputSource(device), limit_(limit) {}
    QChar next() override;
    // From here on, each reference to a name in `sizes` brings in that many
    // characters, charged to `budget`.
    void watch(QChar lead, QHash<QString, qint64> sizes);
    qint64 budget = 0;
    qint64 consumed = 0;
    qint64 refused = -1; // what the reference the document ended before would have brought in

private:
    QChar read();
    QChar pull();
    qint64 reference();
    qint64 limit_;
    QChar lead_;
    QHash<QString, qint64> sizes_;
    int longest_ = 0;
    bool reading_ = false;     // inside the base class's next()
    qint64 checked_ = -1;      // the position whose reference was charged
    std::vector<QChar> ahead_; // read by the watch, not yet handed on
    QString recent_;           // the last characters handed on, for "<!--" and the like
    QString closing_;          // what ends the comment, CDATA or PI the text is in
};

// Follows a parse for the limits: nesting deeper than MAX_XML_DEPTH stops it
// before the element; a DTD past MAX_ENTITY_DECLARATIONS or
// MAX_ENTITY_VALUES stops it after the last entity declaration within them
// (parameter-entity references are charged to the values as they come);
// once the DTD ends, references to entities are charged to
// MAX_ENTITY_REFERENCES, and an entity that expands to more than 4096
// characters to all of it.
class limit_watch_t : public QXmlDefaultHandler {
public:
    explicit limit_watch_t(dom_source_t& source) : source_(source) {}
    bool startElement(QString const&, QString const&, QString const&,
                      QXmlAttributes const&) override;
    bool endElement(QString const&, QString const&, QString const&) override;
    bool startDTD(QString const&, QString const&, QString const&) override;
    bool internalEntityDecl(QString const& name, QString const& value) override;
    bool externalEntityDecl(QString const&, QString const&, QString const&) override;
    bool unparsedEntityDecl(QString const&, QString const&, QString const&,
                            QString const&) override;
    bool endDTD() override;
    // Where the document must end so that no limit is crossed (-1: nowhere),
    // and the limit it crossed.
    std::pair<qint64, QString> cut() const;
    qint64 depthCut = -1; // characters kept when the nesting stopped the parse

protected:
    int depth_ = 0;

private:
    bool declared(qint64 characters);
    dom_source_t& source_;
    qint64 lastTagEnd_ = 0;
    qint64 lastDeclarationEnd_ = 0;
    int declarationCount_ = 0;
    qint64 values_ = 0;
    bool dtdEnded_ = false;
    QString dtdLimit_; // the DTD limit that stopped the parse
    std::vector<std::pair<QString, QString>> entities_, parameterEntities_;
};

// Parses `source` with the DOM reader's parser set up as setContent sets it
// up, `handler` taking every kind of event; the parser's result.
bool parseAsDom(dom_source_t& source, QXmlDefaultHandler& handler);

} // namespace pos

#endif
