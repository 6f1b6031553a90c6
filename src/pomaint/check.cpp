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

struct file_closer_t {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

// What is said of a file, held until the whole file is known to be one that
// can be judged; past a megabyte it waits in a temporary file, so that
// memory stays flat however many goals are inconsistent.
class held_lines_t {
public:
    void add(std::string const& line) {
        text_ += line;
        if (text_.size() > (1u << 20) && (file_ || (file_.reset(std::tmpfile()), file_))) {
            std::fwrite(text_.data(), 1, text_.size(), file_.get());
            text_.clear();
        }
    }
    void clear() {
        text_.clear();
        file_.reset();
    }
    void writeTo(std::FILE* out) {
        if (file_) {
            std::rewind(file_.get());
            char chunk[1 << 16];
            for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, file_.get())) > 0;)
                std::fwrite(chunk, 1, n, out);
        }
        std::fwrite(text_.data(), 1, text_.size(), out);
        clear();
    }

private:
    std::string text_;
    std::unique_ptr<std::FILE, file_closer_t> file_;
};

// Judges every goal by the expected-status rule. A goal whose obligation's
// tag is still to come waits for the end of its obligation.
class checker_t : public pos::goal_consumer_t {
public:
    explicit checker_t(std::string const& path) : path_(path) {}
    void restart() override {
        unknown.reset();
        inconsistent = 0;
        waiting_.clear();
        lines.clear();
    }
    void goal(pos::goal_record_t const& goal) override {
        if (unknown)
            return;
        try {
            const pos::status_t expected = pos::expectedStatus(goal);
            const pos::status_t recorded = pos::recordedStatus(goal);
            if (recorded == expected)
                return;
            ++inconsistent;
            const finding_t found{goal.line, goal.number, recorded, expected};
            if (goal.obligation->tagRead && waiting_.empty())
                write(found, goal.obligation->tag);
            else
                waiting_.push_back(found);
        } catch (pos::unknown_status_error const& e) {
            unknown = e;
        }
    }
    void endObligation(pos::obligation_record_t const& obligation) override {
        for (finding_t const& found : waiting_)
            write(found, obligation.tag);
        waiting_.clear();
    }

    std::optional<pos::unknown_status_error>
        unknown; // an iapa verdict or result the rule does not know
    std::size_t inconsistent = 0;
    held_lines_t lines;

private:
    struct finding_t {
        long long line;
        std::uint32_t number;
        pos::status_t recorded, expected;
    };
    void write(finding_t const& found, std::string_view tag) {
        const auto word = [](pos::status_t s) { return pos::strOfProofStatus(s).toStdString(); };
        lines.add(path_ + ":" + std::to_string(found.line) + ": \"" + std::string(tag) +
                  "\" goal " + std::to_string(found.number) + ": records " + word(found.recorded) +
                  ", its results call for " + word(found.expected) + "\n");
    }
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
        checker.lines.writeTo(stderr);
        if (checker.inconsistent > 0 && status == 0)
            status = EXIT_INCONSISTENT;
    }
    return status;
}
