// The maintenance operations on arbitrary documents. Properties: unprove
// leaves a document without iapa elements consistent, and removing a
// mechanism keeps a consistent document consistent. An unknown status value
// may raise std::out_of_range; a property is checked only when nothing was
// raised.
#include "pos/pos.h"
#include "pos/xml_load.h"
#include "test_support.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        std::cerr << what << "\n";
        std::abort();
    }
}

enum class verdict_t { holds, broken, raised };

// The check writes the offending goal to standard error: kept out of the
// fuzzer's output.
verdict_t invariant(QDomDocument const& doc) {
    static const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    const int saved = ::dup(2);
    ::dup2(null, 2);
    verdict_t verdict = verdict_t::raised;
    try {
        verdict = pos::checkPosInvariant(doc) ? verdict_t::holds : verdict_t::broken;
    } catch (std::out_of_range const&) {
    }
    ::dup2(saved, 2);
    ::close(saved);
    return verdict;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchDir dir;
    const std::string path =
        dir.write("input.pos", std::string(reinterpret_cast<const char*>(data), size));
    QDomDocument doc;
    pos::loadDocument(QString::fromStdString(path), doc, nullptr);
    const verdict_t before = invariant(doc);

    std::list<std::string> names;
    require(pos::getMechanisms(path, names), "a regular file was not listed");

    QDomDocument unproved = doc.cloneNode(true).toDocument();
    pos::unprove(unproved);
    if (unproved.elementsByTagName(pos::TAG_IAPA).isEmpty())
        require(invariant(unproved) == verdict_t::holds, "unprove left an inconsistent goal");

    names.push_back("no such mechanism");
    for (std::string const& name : names) {
        bool removed = false;
        try {
            pos::removeMechanism(doc, name, removed);
        } catch (std::out_of_range const&) {
            require(before != verdict_t::holds, "a consistent document raised");
            return 0;
        }
        if (before == verdict_t::holds)
            require(invariant(doc) == verdict_t::holds, "removing a mechanism broke the invariant");
    }
    return 0;
}
