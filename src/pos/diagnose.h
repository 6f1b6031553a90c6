// What the commands tell about a PO file they refuse: where it holds a status
// value outside the vocabulary, and its first inconsistent goal.
#ifndef POS_DIAGNOSE_H
#define POS_DIAGNOSE_H

#include "pos/pos.h"

#include <QDomDocument>

#include <cstdint>
#include <cstdio>

#include <optional>
#include <string>
#include <vector>

namespace pos {

struct unknown_status_t {
    long long line = 0; // where the start tag that holds the value ends
    std::string value;  // as written (UTF-8)
};

// The first status value outside the vocabulary, in the order the count
// checks them: a goal's, its mechanisms' up to the first proved one, then
// each mechanism's and its drivers'. None when every value is known.
std::optional<unknown_status_t> findUnknownStatus(QDomDocument const& doc);

// The first iapa verdict or mechanism result, in document order, that the
// expected-status rule of the maintenance operations does not know.
std::optional<unknown_status_t> findUnknownVerdict(QDomDocument const& doc);

struct inconsistent_goal_t {
    QDomElement goal;
    status_t recorded; // the goal's status attribute
    status_t expected; // what its proof state, iapa verdict and mechanisms call for
};

// The goals that checkPosInvariant would refuse, in document order, with both
// statuses; the walk stops after `limit` of them. Throws std::out_of_range
// ("map::at") as checkPosInvariant does, for the goals it reaches.
std::vector<inconsistent_goal_t> findInconsistentGoals(QDomDocument const& doc,
                                                       std::size_t limit = SIZE_MAX);

// The goal as XML, as checkPosInvariant writes it.
void writeGoal(QDomElement const& goal, std::FILE* out);

} // namespace pos

#endif
