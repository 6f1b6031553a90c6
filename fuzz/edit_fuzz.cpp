// pomaint's editor by spans against the library's operations. For unprove
// and for the removal of each listed mechanism (and of one no file has):
// where the scanner takes the input whole and the commands accept its
// statuses, the DOM reader's load of the edited bytes equals the operation
// applied to the DOM reader's load of the input; every byte outside the
// places the operation may change is the input's; a tiny scanner buffer
// gives the same bytes; and the check that guards every rewrite accepts the
// edited file. An unchanged answer means the same bytes and an operation
// that changes nothing.
#include "pomaint/span_edit.h"
#include "pos/pos.h"
#include "pos/readers.h"
#include "test_support.h"

#include <QDomDocument>
#include <QFile>
#include <QHash>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        std::cerr << what << "\n";
        std::abort();
    }
}

// Two trees equal node by node; attributes compared as maps, since their
// order in a DOM element is a hash's.
bool same(QDomNode const& a, QDomNode const& b) {
    if (a.nodeType() != b.nodeType() || a.nodeName() != b.nodeName() ||
        a.nodeValue() != b.nodeValue())
        return false;
    if (a.isElement()) {
        const QDomNamedNodeMap x = a.attributes(), y = b.attributes();
        if (x.count() != y.count())
            return false;
        for (int i = 0; i < x.count(); ++i) {
            const QDomNode attr = x.item(i);
            if (!y.contains(attr.nodeName()) ||
                y.namedItem(attr.nodeName()).nodeValue() != attr.nodeValue())
                return false;
        }
    }
    QDomNode i = a.firstChild(), j = b.firstChild();
    for (; !i.isNull() && !j.isNull(); i = i.nextSibling(), j = j.nextSibling())
        if (!same(i, j))
            return false;
    return i.isNull() && j.isNull();
}

bool load(std::string const& bytes, QDomDocument& doc) {
    return doc.setContent(QByteArray(bytes.data(), static_cast<int>(bytes.size())));
}

// A place the operation may change: a status value between its quotes, the
// point where a status attribute may be added, or a mechanism with the
// blanks before it, which goes whole or stays whole.
struct place_t {
    enum { value, insert, removal } kind;
    std::uint64_t begin, end;
    char quote;
};

class places_t : public pos::goal_consumer_t {
public:
    explicit places_t(edit_op_t op) : op_(op) {}
    void restart() override {}
    void goal(pos::goal_record_t const& goal) override {
        status(goal.tag);
        for (pos::mechanism_record_t const& m : goal.mechanisms) {
            if (op_ == edit_op_t::unprove)
                status(m.tag);
            else
                list.push_back({place_t::removal, m.blanks, m.element.end, 0});
        }
    }
    std::vector<place_t> list;

private:
    void status(pos::tag_span_t const& tag) {
        if (tag.status.quote)
            list.push_back(
                {place_t::value, tag.status.value.begin, tag.status.value.end, tag.status.quote});
        else
            list.push_back({place_t::insert, tag.insert, tag.insert, tag.addQuote});
    }
    edit_op_t op_;
};

// Whether `output` is `input` changed at `places` only, each as its kind allows.
bool changedOnlyAt(std::string const& input, std::string const& output,
                   std::vector<place_t> places) {
    std::sort(places.begin(), places.end(),
              [](place_t const& a, place_t const& b) { return a.begin < b.begin; });
    std::size_t i = 0, o = 0;
    for (place_t const& p : places) {
        const std::size_t fixed = p.begin - i;
        if (p.begin < i || output.compare(o, fixed, input, i, fixed) != 0)
            return false;
        i = p.end;
        o += fixed;
        const std::size_t size = p.end - p.begin;
        if (p.kind == place_t::value) {
            o = output.find(p.quote, o); // the closing quote is the input's
        } else if (p.kind == place_t::insert) {
            static const std::string added = " " + pos::ATTR_STATUS.toStdString() + "=";
            if (output.compare(o, added.size(), added) == 0) {
                if (o + added.size() >= output.size() || output[o + added.size()] != p.quote)
                    return false;
                o = output.find(p.quote, o + added.size() + 1);
                o = o == std::string::npos ? o : o + 1;
            }
        } else if (output.compare(o, size, input, p.begin, size) == 0) {
            o += size;
        }
        if (o == std::string::npos)
            return false;
    }
    return output.compare(o, std::string::npos, input, i, std::string::npos) == 0;
}

enum class outcome_t { refused, raised, unchanged, changed };

// The editor on the file at `path`, read by `read`; the edited bytes.
template <typename Read>
outcome_t edit(std::string const& path, edit_request_t const& request, std::string& bytes,
               QByteArray& expected, Read const& read) {
    std::FILE* in = std::fopen(path.c_str(), "rb");
    char* edited = nullptr;
    std::size_t size = 0;
    std::FILE* out = ::open_memstream(&edited, &size);
    span_editor_t editor(in, out, request);
    outcome_t outcome;
    try {
        outcome = read(editor) ? outcome_t::unchanged : outcome_t::refused;
    } catch (not_by_spans_t const&) {
        outcome = outcome_t::refused;
    } catch (pos::unknown_status_error const&) {
        outcome = outcome_t::raised;
    }
    if (outcome == outcome_t::unchanged) {
        require(editor.finish(), "the copy failed");
        outcome = editor.changed() ? outcome_t::changed : outcome_t::unchanged;
        expected = editor.expected();
    }
    std::fclose(in);
    std::fclose(out);
    bytes.assign(edited, size);
    std::free(edited);
    return outcome;
}

void check(ScratchDir const& dir, std::string const& input, edit_request_t const& request) {
    const std::string path = dir.write("input.pos", input);
    std::string bytes, small;
    QByteArray expected, smallExpected;
    const outcome_t outcome = edit(path, request, bytes, expected, [&](span_editor_t& e) {
        return pos::readPoFile(path, e).read == pos::po_read_t::read;
    });
    if (outcome == outcome_t::refused)
        return;
    // Every construct crosses the buffer's end: the same edit.
    const outcome_t tiny = edit(path, request, small, smallExpected, [&](span_editor_t& e) {
        QFile file(QString::fromStdString(path));
        return file.open(QIODevice::ReadOnly) && pos::scanRecords(file, e, 3);
    });
    require(tiny == outcome && small == bytes && smallExpected == expected,
            "a small buffer edits otherwise");

    QDomDocument before;
    require(load(input, before), "the editor took a document that is not well-formed");
    QDomDocument expectedDoc = before.cloneNode(true).toDocument();
    bool removed = false;
    bool raised = false;
    try {
        if (request.op == edit_op_t::unprove)
            pos::unprove(expectedDoc);
        else
            require(pos::removeMechanism(expectedDoc, request.mechanism, removed),
                    "a removal failed");
    } catch (std::out_of_range const&) {
        raised = true;
    }
    require(raised == (outcome == outcome_t::raised),
            "the editor and the operation disagree on raising");
    if (raised)
        return;
    if (request.op == edit_op_t::remove_mechanism)
        require(removed == (outcome == outcome_t::changed), "removed and changed disagree");
    if (outcome == outcome_t::unchanged) {
        require(bytes == input, "an unchanged file changed");
        require(same(before, expectedDoc), "an unchanged answer for a document that changes");
        return;
    }
    QDomDocument after;
    require(load(bytes, after), "the edited bytes are not well-formed");
    require(same(after, expectedDoc), "the edited document is not the operation's");
    places_t places(request.op);
    pos::readPoFile(path, places);
    require(changedOnlyAt(input, bytes, places.list), "bytes outside the edit changed");
    // The check before every rewrite takes a right edit.
    record_digest_t reread;
    require(pos::readPoFile(dir.write("edited.pos", bytes), reread).read == pos::po_read_t::read &&
                reread.result() == expected,
            "the check refuses a right edit");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qSetGlobalQHashSeed(0);
    if (size == 0)
        return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    static const ScratchDir dir;
    // pomaint refuses a file whose statuses the count does not know.
    pos::metrics_t counted;
    try {
        if (pos::countPoFile(dir.write("input.pos", input), counted) != pos::po_read_t::read)
            return 0;
    } catch (std::out_of_range const&) {
        return 0;
    }
    check(dir, input, {edit_op_t::unprove, {}});
    QDomDocument doc;
    load(input, doc);
    std::list<std::string> names{"no such mechanism"};
    const QDomNodeList all = doc.documentElement().elementsByTagName(pos::TAG_MECHANISM);
    for (int i = 0; i < all.count() && i < 8; ++i)
        names.push_back(all.item(i).toElement().attribute(pos::ATTR_NAME).toStdString());
    for (std::string const& name : names)
        check(dir, input, {edit_op_t::remove_mechanism, name});
    return 0;
}
