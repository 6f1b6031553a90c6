// Helpers for tests that write small PO files and compare metrics records.
#ifndef TESTS_TEST_SUPPORT_H
#define TESTS_TEST_SUPPORT_H

#include "pos/pos.h"
#include "pos/readers.h"

#include <QDomDocument>
#include <QTemporaryDir>

#include <stdexcept>
#include <string>

// A temporary directory that files are written into, removed with the object.
class ScratchDir {
public:
    std::string path() const { return dir.path().toStdString(); }
    // Writes `content` to `name` inside the directory; returns its path.
    std::string write(std::string const& name, std::string const& content) const;

private:
    QTemporaryDir dir;
};

// One line that shows every counter and entry of a record, in map order:
// "po 3 unp 1 pr 1 unr 0 dis 1 ext 1 int 2 | M: unp 1 unk 0 pr 0 unr 0 dis 0 | M/D: unp 0 unk 0 pr
// 1 dis 0"
std::string describe(pos::metrics_t const& m);

// Everything a count of the file at `path` leaves behind: its result or its
// exception (with the unknown value and its line), then describe() of the
// record (which starts non-empty).
std::string countOutcome(bool (*count)(std::string const&, pos::metrics_t&),
                         std::string const& path);

// The message of the std::out_of_range that `f` raises, or "no exception".
template <typename F> std::string thrownMessage(F&& f) {
    try {
        f();
    } catch (std::out_of_range const& e) {
        return e.what();
    }
    return "no exception";
}

// The reference the readers must equal: a walk of the whole document that
// the loader builds, handing each goal as the readers hand it.
void walkRecords(QDomDocument const& doc, pos::goal_consumer_t& consumer);
// The walk's goals counted by the counting rule: getMetrics by definition.
bool domMetrics(std::string const& path, pos::metrics_t& metrics);

// Every record as lines of text, and the scanner's offsets apart.
class record_log_t : public pos::goal_consumer_t {
public:
    void restart() override { log_ += "restart\n"; }
    void goal(pos::goal_record_t const& goal) override;
    void endObligation(pos::obligation_record_t const& obligation) override;
    std::string const& text() const { return log_; }
    std::string const& spans() const { return spans_; }

private:
    std::string log_, spans_;
};

// What each reader hands for the file at `path`: how it read the file
// ("unopened", "read", "malformed" with the message, line and column, or
// "refused" by the scanner), then the record log; the scanner's offsets go
// to `spans` when given.
std::string scannedRecords(std::string const& path, std::size_t buffer = pos::SCAN_BUFFER,
                           std::string* spans = nullptr);
std::string parsedRecords(std::string const& path);
std::string walkedRecords(std::string const& path);

// A PO document holding `goals` inside one Proof_Obligation.
std::string poDocument(std::string const& goals);

#endif
