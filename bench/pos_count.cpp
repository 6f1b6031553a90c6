// Counts PO files with the streaming count (default) or the DOM reference
// (--dom) and prints the summed record, so that the benchmark can time the
// two on the same files: pos_count [--dom] FILE...
#include "pos/pos.h"
#include "pos/pos_internal.h"

#include <cstring>
#include <iostream>
#include <stdexcept>

int main(int argc, char** argv) {
    bool dom = argc > 1 && std::strcmp(argv[1], "--dom") == 0;
    std::uint64_t po = 0, proved = 0, ext = 0, mechanisms = 0;
    for (int i = dom ? 2 : 1; i < argc; ++i) {
        pos::metrics_t m;
        try {
            if (!(dom ? pos::domMetrics(argv[i], m) : pos::getMetrics(argv[i], m)))
                std::cerr << argv[i] << ": cannot be opened\n";
        } catch (std::out_of_range const& e) {
            std::cerr << argv[i] << ": " << e.what() << "\n";
        }
        po += m.nb_po;
        proved += m.nb_proved;
        ext += m.nb_ext;
        mechanisms += m.mechanisms.size();
    }
    std::cout << "goals " << po << " proved " << proved << " ext " << ext << " mechanism entries "
              << mechanisms << "\n";
    return 0;
}
