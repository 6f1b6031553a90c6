#include "pos/dom_parse.h"
#include "pos/readers.h"

#include <exception>

// The parser's events are the DOM reader's nodes: this handler answers each
// of them as the DOM's own builder does (and stops where it refuses), so the
// events it reports are those of the document a plain load builds. Nothing
// is built: one goal's results at a time are kept by the counting rule.

namespace pos {

namespace {

class event_reader_t : public limit_watch_t {
public:
    event_reader_t(dom_source_t& source, goal_events_t& events)
        : limit_watch_t(source), events_(events) {}

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
            parent.role, [&name](QString const& tag) { return name == tag; }, parent.seenTag,
            parent.seenProofState);
        levels_.push_back({role});
        const long long line = locator_->lineNumber();
        try {
            switch (role) {
            case role_t::obligation:
                events_.obligation(line);
                break;
            case role_t::goal:
                events_.goal(line, attr(attributes, ATTR_STATUS, status_));
                break;
            case role_t::proof_state:
                events_.proofState(attr(attributes, ATTR_PROOF_STATE, status_));
                break;
            case role_t::mechanism:
                events_.mechanism(line, attr(attributes, ATTR_NAME, name_),
                                  attr(attributes, ATTR_STATUS, status_));
                break;
            case role_t::driver:
                events_.driver(line, attr(attributes, ATTR_NAME, name_),
                               attr(attributes, ATTR_STATUS, status_));
                break;
            default:
                break;
            }
        } catch (...) {
            error = std::current_exception();
            return false;
        }
        return true;
    }

    bool endElement(QString const& uri, QString const& local, QString const& name) override {
        // The DOM's builder refuses an end tag with no element open.
        if (levels_.size() == 1)
            return false;
        limit_watch_t::endElement(uri, local, name);
        flushTagText();
        levels_.pop_back();
        return true;
    }

    bool characters(QString const& text) override {
        // The DOM's builder refuses text outside the document element.
        if (levels_.size() == 1)
            return false;
        // Text from an entity the parser reports as such becomes an entity
        // reference node, which holds no text of the element.
        if (levels_.back().role == role_t::tag && !inEntity_)
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
    }

    std::exception_ptr error;

private:
    struct level_t {
        role_t role;
        bool seenTag = false;
        bool seenProofState = false;
    };

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
        events_.tagText(std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size())));
    }

    goal_events_t& events_;
    QXmlLocator* locator_ = nullptr;
    std::vector<level_t> levels_{{role_t::none}};
    QString tagText_;
    bool inEntity_ = false;
    QByteArray name_, status_;
};

} // namespace

po_read_t parseEvents(QFile& file, goal_events_t& events) {
    dom_source_t source(&file, -1);
    event_reader_t reader(source, events);
    const bool parsed = parseAsDom(source, reader);
    if (reader.error)
        std::rethrow_exception(reader.error);
    reader.finish();
    return parsed ? po_read_t::read : po_read_t::malformed;
}

} // namespace pos
