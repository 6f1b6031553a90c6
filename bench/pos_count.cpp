// Counts PO files and prints the summed record, so that the benchmark can time
// the ways of counting on the same files:
//   pos_count [--parse | --dom | --taken] FILE...
// Default: as the command counts (the strict scanner, the DOM reader's parser
// where it gives up); --parse: that parser alone; --dom: the walk of the
// whole DOM document; --taken: how many of the files, and of their bytes, the
// scanner takes.
#include "pos/pos.h"
#include "pos/readers.h"
#include "pos/xml_load.h"
#include "test_support.h"

#include <QFileInfo>

#include <cstring>
#include <iostream>
#include <stdexcept>

namespace {

class counter_t : public pos::goal_consumer_t {
public:
    explicit counter_t(pos::metrics_t& m) : m_(m) {}
    void restart() override {}
    void goal(pos::goal_record_t const& goal) override { pos::countGoal(goal, m_); }

private:
    pos::metrics_t& m_;
};

// One reader alone: the DOM reader's parser, or the scanner (refused files
// read as malformed).
pos::po_read_t readAlone(std::string const& mode, std::string const& path, pos::metrics_t& m) {
    QFile file;
    if (!pos::openRegularFile(QString::fromStdString(path), file))
        return pos::po_read_t::unopened;
    counter_t counter(m);
    if (mode == "--parse")
        return pos::parseRecords(QString::fromStdString(path), file, counter).read;
    return pos::scanRecords(file, counter) ? pos::po_read_t::read : pos::po_read_t::malformed;
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 && std::strncmp(argv[1], "--", 2) == 0 ? argv[1] : "";
    std::uint64_t po = 0, proved = 0, ext = 0, mechanisms = 0;
    std::uint64_t files = 0, taken = 0, bytes = 0, takenBytes = 0;
    for (int i = mode.empty() ? 1 : 2; i < argc; ++i) {
        pos::metrics_t m;
        const std::string path = argv[i];
        try {
            pos::po_read_t read = pos::po_read_t::read;
            if (mode == "--dom")
                read = domMetrics(path, m) ? read : pos::po_read_t::unopened;
            else if (mode == "--parse" || mode == "--taken")
                read = readAlone(mode, path, m);
            else
                read = pos::countPoFile(path, m);
            const auto size = static_cast<std::uint64_t>(QFileInfo(argv[i]).size());
            ++files;
            bytes += size;
            if (read == pos::po_read_t::read) {
                ++taken;
                takenBytes += size;
            }
            if (read == pos::po_read_t::unopened)
                std::cerr << path << ": cannot be opened\n";
        } catch (std::out_of_range const& e) {
            std::cerr << path << ": " << e.what() << "\n";
        }
        po += m.nb_po;
        proved += m.nb_proved;
        ext += m.nb_ext;
        mechanisms += m.mechanisms.size();
    }
    if (mode == "--taken") {
        std::cout << "scanner took " << taken << " of " << files << " files, " << takenBytes
                  << " of " << bytes << " bytes\n";
        return 0;
    }
    std::cout << "goals " << po << " proved " << proved << " ext " << ext << " mechanism entries "
              << mechanisms << "\n";
    return 0;
}
