#include "pos/dom_parse.h"
#include "pos/readers.h"
#include "pos/record_builder.h"
#include "pos/xml_load.h"

#include <exception>

// The parser's events are the DOM reader's nodes: this handler answers each
// of them as the DOM's own builder does (and stops where it refuses), so the
// events it reports are those of the document a plain load builds. Nothing
// is built: one goal's results at a time are kept by the counting rule.

namespace pos {

namespace {

class event_reader_t : public limit_watch_t {
public:
    event_reader_t(dom_source_t& source, goal_consumer_t& consumer)
        : limit_watch_t(source), out_(consumer) {}

    void setDocumentLocator(QXmlLocator* locator) override { locator_ = locator; }

    bool startElement(QString const& uri, QString const& local, QString const& name,
                      QXmlAttributes const& attributes) override {
        if (!limit_watch_t::startElement(uri, local, name, attributes)) {
            tagText_.clear(); // the document ends before the text that led up to it
            return false;
        }
        flushTagText();
        level_t& parent = levels_.back();
        const role_t role = childRole(
            parent.role, [&name](QString const& tag) { return name == tag; }, parent.seen);
        levels_.push_back({role});
        const long long line = locator_->lineNumber();
        const bool result = role == role_t::mechanism || role == role_t::driver;
        const QString* value = role == role_t::proof_state ? &ATTR_PROOF_STATE
                               : role == role_t::verdict   ? &ATTR_VALUE
                                                           : nullptr;
        return guarded([&] {
            out_.start(role, line, result ? attr(attributes, ATTR_NAME, name_) : std::nullopt,
                       result || role == role_t::goal ? attr(attributes, ATTR_STATUS, status_)
                                                      : std::nullopt,
                       value ? attr(attributes, *value, value_) : std::nullopt);
        });
    }

    bool endElement(QString const& uri, QString const& local, QString const& name) override {
        // The DOM's builder refuses an end tag with no element open.
        if (levels_.size() == 1)
            return false;
        limit_watch_t::endElement(uri, local, name);
        flushTagText();
        const role_t role = levels_.back().role;
        levels_.pop_back();
        return guarded([&] { out_.end(role); });
    }

    bool characters(QString const& text) override {
        // The DOM's builder refuses text outside the document element.
        if (levels_.size() == 1)
            return false;
        // Text from an entity the parser reports as such becomes an entity
        // reference node, which holds no text of the element.
        const role_t role = levels_.back().role;
        if ((role == role_t::tag || role == role_t::tag_part) && !inEntity_)
            tagText_ += text;
        return true;
    }

    bool startEntity(QString const&) override { return inEntity_ = true; }
    bool endEntity(QString const&) override {
        inEntity_ = false;
        return true;
    }

    // What the parser read before it stopped on an error stays in the
    // document; what led up to an element nested too deep does not.
    void finish() {
        if (depthCut < 0)
            flushTagText();
        out_.finish();
    }

    bool fatalError(QXmlParseException const& exception) override {
        failure = {po_read_t::malformed, exception.message().toStdString(), exception.lineNumber(),
                   exception.columnNumber()};
        return false;
    }

    std::exception_ptr error;
    read_state_t failure; // where the parser stopped, and why

private:
    struct level_t {
        role_t role;
        unsigned char seen = 0;
    };

    // What the consumer throws stops the parser, and is thrown once it has.
    template <typename F> bool guarded(F const& f) {
        try {
            f();
            return true;
        } catch (...) {
            error = std::current_exception();
            return false;
        }
    }

    // The DOM keeps the last of two attributes of one name.
    static attr_t attr(QXmlAttributes const& attributes, QString const& name, QByteArray& utf8) {
        for (int i = attributes.count() - 1; i >= 0; --i)
            if (attributes.qName(i) == name) {
                utf8 = attributes.value(i).toUtf8();
                return std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size()));
            }
        return std::nullopt;
    }

    void flushTagText() {
        if (tagText_.isEmpty())
            return;
        const QByteArray utf8 = tagText_.toUtf8();
        tagText_.clear();
        out_.tagText(std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size())));
    }

    record_builder_t out_;
    QXmlLocator* locator_ = nullptr;
    std::vector<level_t> levels_{{role_t::none}};
    QString tagText_;
    bool inEntity_ = false;
    QByteArray name_, status_, value_;
};

} // namespace

read_state_t parseRecords(QString const& path, QFile& file, goal_consumer_t& consumer) {
    dom_source_t source(&file, -1);
    event_reader_t reader(source, consumer);
    const bool parsed = parseAsDom(source, reader);
    if (reader.error)
        std::rethrow_exception(reader.error);
    reader.finish();
    if (parsed)
        return {po_read_t::read, {}, 0, 0};
    // Where the DOM reader places the error once a limit has ended the
    // document is the loader's to say: it reads such a file again, building
    // the document up to the cut.
    if (reader.cut().first >= 0) {
        QDomDocument doc;
        load_error_t error;
        loadDocument(path, doc, &error);
        return {po_read_t::malformed, error.message.toStdString(), error.line, error.column};
    }
    return reader.failure;
}

} // namespace pos
