// The DOM reader's own parser, set up and fed as QDomDocument::setContent
// does it, with the loader's two limits watched in the same pass: shared by
// the loader (which then builds the document) and the count (which builds
// nothing and reads the parser's events).
#ifndef POS_DOM_PARSE_H
#define POS_DOM_PARSE_H

#include <QSet>
#include <QString>
#include <QXmlDefaultHandler>
#include <QXmlInputSource>
#include <QXmlSimpleReader>

#include <utility>
#include <vector>

namespace pos {

// The characters as the DOM reader gets them from a device (the same
// decoding, the same pieces), counted. The document ends early after `limit`
// characters, or, once armed, before the first reference "&NAME;" to an armed
// name outside comments, CDATA sections and processing instructions.
class dom_source_t : public QXmlInputSource {
public:
    dom_source_t(QIODevice* device, qint64 limit) : QXmlInputSource(device), limit_(limit) {}
    QChar next() override;
    void arm(QSet<QString> names);
    qint64 consumed = 0;
    bool cut = false; // ended before an armed reference

private:
    QChar pull();
    bool armedReference();
    qint64 limit_;
    QSet<QString> armed_;
    int longest_ = 0;
    std::vector<QChar> ahead_; // read by the watch, not yet handed on
    QString recent_;           // the last characters handed on, for "<!--" and the like
    QString closing_;          // what ends the comment, CDATA or PI the text is in
};

// Follows a parse for the two limits: nesting deeper than MAX_XML_DEPTH
// stops it before the element, and internal entities whose full expansion
// passes 4096 characters (known when the DTD ends) arm the source.
class limit_watch_t : public QXmlDefaultHandler {
public:
    explicit limit_watch_t(dom_source_t& source) : source_(source) {}
    bool startElement(QString const&, QString const&, QString const&,
                      QXmlAttributes const&) override;
    bool endElement(QString const&, QString const&, QString const&) override;
    bool internalEntityDecl(QString const& name, QString const& value) override;
    bool endDTD() override;
    qint64 depthCut = -1; // characters kept when the nesting stopped the parse

protected:
    int depth_ = 0;

private:
    dom_source_t& source_;
    qint64 lastTagEnd_ = 0;
    std::vector<std::pair<QString, QString>> declarations_;
};

// Parses `source` with the DOM reader's parser set up as setContent sets it
// up, `handler` taking every kind of event; the parser's result.
bool parseAsDom(dom_source_t& source, QXmlDefaultHandler& handler);

} // namespace pos

#endif
