// Helpers for tests that write small PO files and compare metrics records.
#ifndef TESTS_TEST_SUPPORT_H
#define TESTS_TEST_SUPPORT_H

#include "pos/pos.h"

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

// Whether both XML readers of Qt take `xml` as well-formed (no namespaces).
bool wellFormed(std::string const& xml);

// The message of the std::out_of_range that `f` raises, or "no exception".
template <typename F> std::string thrownMessage(F&& f) {
    try {
        f();
    } catch (std::out_of_range const& e) {
        return e.what();
    }
    return "no exception";
}

// A PO document holding `goals` inside one Proof_Obligation.
std::string poDocument(std::string const& goals);

#endif
