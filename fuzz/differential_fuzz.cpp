// Differential fuzz target: the streaming count and the DOM walk must leave
// the same result, record and exception on every input that the DOM reader
// takes as well-formed, also where the streaming reader would not (there the
// DOM walk counts). On other input the two readers may stop at different
// points, so there only crashes and sanitizer reports count. Whatever the
// input, the count with the strict scanner must leave what the streaming
// count alone leaves; and an input that the scanner takes must be
// well-formed to both readers and counted as the DOM walk counts it.
//
// Names and values of thousands of characters are out of a mutator's reach,
// so the byte 0x01 followed by a byte N stands for 32 * N letters "L": a
// name or value of up to 8160 characters, around the streaming reader's
// limit of 4096 as often as not.
#include "pos/fast_count.h"
#include "pos/pos.h"
#include "pos/pos_internal.h"
#include "test_support.h"

#include <QDomDocument>

#include <cstdint>
#include <cstdlib>
#include <iostream>

namespace {

std::string stretched(const std::uint8_t* data, std::size_t size) {
    std::string xml;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0x01 && i + 1 < size) {
            xml.append(32 * std::size_t{data[++i]}, 'L');
            continue;
        }
        xml.push_back(static_cast<char>(data[i]));
    }
    return xml;
}

// True when `count` read the whole file as well-formed.
template <pos::po_read_t (*count)(std::string const&, pos::metrics_t&)>
bool wholeRead(std::string const& path, pos::metrics_t& metrics) {
    return count(path, metrics) == pos::po_read_t::read;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchDir dir;
    const std::string xml = stretched(data, size);
    const std::string path = dir.write("input.pos", xml);
    const std::string walked = countOutcome(pos::domMetrics, path);
    const std::string streamed = countOutcome(wholeRead<pos::streamCountPoFile>, path);
    const std::string both = countOutcome(wholeRead<pos::countPoFile>, path);
    const std::string scanned = countOutcome(wholeRead<pos::fastCountPoFile>, path);
    const bool taken = scanned.rfind("true", 0) == 0;
    // getMetrics's answer: the file was opened.
    const std::string counted = both.rfind("false", 0) == 0 ? "true" + both.substr(5) : both;
    if (both != streamed || (taken && (scanned != walked || !wellFormed(xml))) ||
        (counted != walked && QDomDocument().setContent(QByteArray::fromStdString(xml), false))) {
        std::cerr << "scanner:   " << scanned << "\nstreaming: " << streamed
                  << "\nwith both: " << both << "\nDOM walk:  " << walked << "\n";
        std::abort();
    }
    return 0;
}
