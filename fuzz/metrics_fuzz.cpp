// pos::getMetrics on arbitrary bytes: it must return, and the only exception
// that may come out of it is std::out_of_range ("map::at").
#include "pos/pos.h"
#include "test_support.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchDir dir;
    const std::string path =
        dir.write("input.pos", std::string(reinterpret_cast<const char*>(data), size));
    pos::metrics_t metrics;
    try {
        if (!pos::getMetrics(path, metrics)) {
            std::cerr << "a regular file was not counted\n";
            std::abort();
        }
    } catch (std::out_of_range const& e) {
        if (std::strcmp(e.what(), "map::at") != 0) {
            std::cerr << "out_of_range: " << e.what() << "\n";
            std::abort();
        }
    }
    return 0;
}
