// Differential fuzz target: the streaming count and the DOM walk must leave
// the same result, record and exception on every well-formed input. On input
// that is not well-formed the two XML readers may stop at different points,
// so there only crashes and sanitizer reports count.
#include "pos/pos.h"
#include "pos/pos_internal.h"
#include "test_support.h"

#include <cstdint>
#include <cstdlib>
#include <iostream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchDir dir;
    const std::string xml(reinterpret_cast<const char*>(data), size);
    const std::string path = dir.write("input.pos", xml);
    const std::string streamed = countOutcome(pos::getMetrics, path);
    const std::string walked = countOutcome(pos::domMetrics, path);
    if (streamed != walked && wellFormed(xml)) {
        std::cerr << "streaming: " << streamed << "\nDOM walk:  " << walked << "\n";
        std::abort();
    }
    return 0;
}
