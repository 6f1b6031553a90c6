// Helpers for tests that write small PO files and compare metrics records.
#ifndef TESTS_TEST_SUPPORT_H
#define TESTS_TEST_SUPPORT_H

#include "pos/events.h"
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
// exception, then describe() of the record (which starts non-empty).
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
// the loader builds, reporting what it finds as the readers report it.
void walkEvents(QDomDocument const& doc, pos::goal_events_t& events);
// The walk's events counted by the counting rule: getMetrics by definition.
bool domMetrics(std::string const& path, pos::metrics_t& metrics);

// Every event as a line of text. A goal's parts and an obligation's tag are
// written when it ends, in a fixed order, so that readers that meet them in
// different orders (the tag after the goals, say) write the same text.
class event_log_t : public pos::goal_events_t {
public:
    void obligation(long long line) override;
    void tagText(std::string_view text) override { tag_ += text; }
    void goal(long long line, pos::attr_t status) override;
    void proofState(pos::attr_t proofState) override { goal_ += " state " + quoted(proofState); }
    void mechanism(long long line, pos::attr_t name, pos::attr_t status) override;
    void driver(long long line, pos::attr_t name, pos::attr_t status) override;
    std::string text();

private:
    static std::string quoted(pos::attr_t value);
    void endGoal();
    void endObligation();
    std::string log_, header_, body_, goal_, results_, tag_;
    bool inObligation_ = false;
};

// What each reader reports for the file at `path`: how it read the file
// ("unopened", "read", "malformed", or "refused" by the scanner), then the
// event log.
std::string scannedEvents(std::string const& path, std::size_t buffer = pos::SCAN_BUFFER);
std::string parsedEvents(std::string const& path);
std::string walkedEvents(std::string const& path);

// A PO document holding `goals` inside one Proof_Obligation.
std::string poDocument(std::string const& goals);

#endif
