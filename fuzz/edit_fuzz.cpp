// The byte-wise editor of pomaint against the library's operations. For
// unprove and for the removal of each listed mechanism (and of one no file
// has): where the editor does not refuse the input, the input is a
// well-formed document whose statuses the commands accept, the operation on
// its DOM raises nothing, and the DOM reader's load of the edited bytes equals
// the operation applied to the DOM reader's load of the input. An unchanged
// answer means the same bytes and an operation that changes nothing.
#include "pomaint/byte_edit.h"
#include "pos/pos.h"
#include "test_support.h"

#include <QDomDocument>
#include <QHash>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <list>
#include <map>
#include <stdexcept>
#include <string>

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

// False when the editor refused the input.
bool check(std::string input, edit_request_t const& request) {
    std::FILE* in = ::fmemopen(input.data(), input.size(), "rb");
    char* edited = nullptr;
    std::size_t size = 0;
    std::FILE* out = ::open_memstream(&edited, &size);
    const byte_edit_t result = editBytes(in, out, request);
    std::fclose(in);
    std::fclose(out);
    const std::string bytes(edited, size);
    std::free(edited);
    if (result == byte_edit_t::refused)
        return false;

    QDomDocument before;
    require(load(input, before), "the editor took a document that is not well-formed");
    static const ScratchDir dir;
    pos::metrics_t counted;
    require(thrownMessage([&] { domMetrics(dir.write("input.pos", input), counted); }) ==
                "no exception",
            "the editor took an unknown status value");
    if (result == byte_edit_t::unchanged)
        require(bytes == input, "an unchanged file changed");
    QDomDocument expected = before.cloneNode(true).toDocument();
    bool removed = false;
    try {
        if (request.op == edit_op_t::unprove)
            pos::unprove(expected);
        else
            require(pos::removeMechanism(expected, request.mechanism, removed), "a removal failed");
    } catch (std::out_of_range const&) {
        require(false, "the editor took a document on which the operation raises");
    }
    if (request.op == edit_op_t::remove_mechanism)
        require(removed == (result == byte_edit_t::changed), "removed and changed disagree");
    QDomDocument after;
    require(load(bytes, after), "the edited bytes are not well-formed");
    require(same(after, expected), "the edited document is not the operation's");
    if (result == byte_edit_t::unchanged)
        require(same(before, expected), "an unchanged answer for a document that changes");
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qSetGlobalQHashSeed(0);
    if (size == 0)
        return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    // Both operations take the same inputs; only a document the editor took
    // is loaded whole (Qt's DOM reader crashes on deep enough nesting).
    if (!check(input, {edit_op_t::unprove, {}}))
        return 0;
    QDomDocument doc;
    load(input, doc);
    std::list<std::string> names{"no such mechanism"};
    for (QDomElement m : {doc.documentElement()}) {
        const QDomNodeList all = m.elementsByTagName(pos::TAG_MECHANISM);
        for (int i = 0; i < all.count() && i < 8; ++i)
            names.push_back(all.item(i).toElement().attribute(pos::ATTR_NAME).toStdString());
    }
    for (std::string const& name : names)
        check(input, {edit_op_t::remove_mechanism, name});
    return 0;
}
