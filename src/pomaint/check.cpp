#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"

#include "pos/pos.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

// Judges every goal by the expected-status rule. What is said of a file
// waits in a temporary file until the whole file is known to be one that can
// be judged, so that memory stays flat; a goal also waits for the end of its
// obligation, whose tag may come after it.
class checker_t : public pos::goal_consumer_t {
public:
    explicit checker_t(std::string const& path) : path_(path) {}
    void restart() override {
        unknown.reset();
        inconsistent = 0;
        waiting_.clear();
        held.reset(std::tmpfile());
    }
    void goal(pos::goal_record_t const& goal) override {
        if (unknown)
            return;
        try {
            const pos::status_t expected = pos::expectedStatus(goal);
            const pos::status_t recorded = pos::recordedStatus(goal);
            if (recorded != expected)
                waiting_.push_back({goal.line, goal.number, recorded, expected});
        } catch (pos::unknown_status_error const& e) {
            unknown = e;
        }
    }
    void endObligation(pos::obligation_record_t const& obligation) override {
        const auto word = [](pos::status_t s) { return pos::strOfProofStatus(s).toStdString(); };
        const std::string tag(obligation.tag);
        for (finding_t const& f : waiting_)
            std::fprintf(held ? held.get() : stderr,
                         "%s:%lld: \"%s\" goal %u: records %s, its results call for %s\n",
                         path_.c_str(), f.line, tag.c_str(), f.number, word(f.recorded).c_str(),
                         word(f.expected).c_str());
        inconsistent += waiting_.size();
        waiting_.clear();
    }

    std::optional<pos::unknown_status_error>
        unknown; // an iapa verdict or result the rule does not know
    std::size_t inconsistent = 0;
    std::unique_ptr<std::FILE, decltype(&std::fclose)> held{std::tmpfile(), &std::fclose};

private:
    struct finding_t {
        long long line;
        std::uint32_t number;
        pos::status_t recorded, expected;
    };
    std::string const& path_;
    std::vector<finding_t> waiting_;
};

} // namespace

int run_check(std::vector<std::string> const& files) {
    int status = 0;
    for (std::string const& path : files) {
        checker_t checker(path);
        if (!read_po_file(path, checker)) {
            status = EXIT_TROUBLE;
            continue;
        }
        if (checker.unknown) {
            report_unknown_status(path, *checker.unknown);
            status = EXIT_TROUBLE;
            continue;
        }
        if (checker.held) {
            std::rewind(checker.held.get());
            char chunk[1 << 16];
            for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, checker.held.get())) > 0;)
                std::fwrite(chunk, 1, n, stderr);
        }
        if (checker.inconsistent > 0 && status == 0)
            status = EXIT_INCONSISTENT;
    }
    return status;
}
