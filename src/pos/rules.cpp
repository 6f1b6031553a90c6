#include "pos/pos.h"
#include "pos/pos_internal.h"

// The rules of the PO format over one goal: every reader hands them the same
// record, and every command and library operation asks them.

namespace pos {

namespace {

[[noreturn]] void unknown(std::string_view value, long long line) {
    throw unknown_status_error(std::string(value), line);
}

// A status attribute; an absent one reads as unproved.
status_t checked(attr_t status, long long line) {
    if (!status)
        return UNPROVED;
    if (const auto known = statusOfUtf8(*status))
        return *known;
    unknown(*status, line);
}

// Whether the built-in prover proved the goal: no proof state, no proof.
bool byProver(goal_record_t const& goal) {
    return goal.proofState && provedByProver(*goal.proofState);
}

// The entry of `key`, made on first use.
template <typename Map>
typename Map::mapped_type::element_type& entry(Map& map, std::string_view key) {
    auto it = map.find(key);
    if (it == map.end())
        it = map.emplace(key, std::make_unique<typename Map::mapped_type::element_type>()).first;
    return *it->second;
}

// The counter of each status; a goal has none for Unknown, a driver none for
// UnreliablyProved.
template <typename Record> using counters_t = std::uint32_t Record::*const[DISPROVED + 1];
const counters_t<metrics_t> GOAL = {&metrics_t::nb_unproved, nullptr,
                                    &metrics_t::nb_unreliably_proved, &metrics_t::nb_proved,
                                    &metrics_t::nb_disproved};
const counters_t<mechanism_metrics_t> MECHANISM = {
    &mechanism_metrics_t::nb_unproved, &mechanism_metrics_t::nb_unknown,
    &mechanism_metrics_t::nb_unreliably_proved, &mechanism_metrics_t::nb_proved,
    &mechanism_metrics_t::nb_disproved};
const counters_t<driver_metrics_t> DRIVER = {
    &driver_metrics_t::nb_unproved, &driver_metrics_t::nb_unknown, nullptr,
    &driver_metrics_t::nb_proved, &driver_metrics_t::nb_disproved};

template <typename Record>
void add(Record& record, status_t s, counters_t<Record> const& counters) {
    if (counters[s])
        ++(record.*counters[s]);
}

// The expected status of the goal without its mechanism `skip`.
status_t expected(goal_record_t const& goal, std::size_t skip) {
    unsigned seen = 1u << (byProver(goal) ? PROVED : UNPROVED);
    if (goal.verdict.kind != verdict_record_t::no_iapa) {
        const std::string_view value = goal.verdict.text;
        const auto verdict = verdictOfUtf8(value);
        if (!verdict)
            unknown(value, goal.verdict.line);
        seen |= 1u << *verdict;
    }
    for (std::size_t i = 0; i < goal.mechanisms.size(); ++i) {
        mechanism_record_t const& m = goal.mechanisms[i];
        if (i == skip)
            continue;
        const std::string_view value = m.status.value_or("");
        const auto result = mechanismResultOfUtf8(value);
        if (!result)
            unknown(value, m.line);
        seen |= 1u << *result;
    }
    // Any disproof outweighs every proof; a full proof outweighs an unreliable one.
    for (status_t s : {DISPROVED, PROVED, UNRELIABLY_PROVED})
        if (seen & (1u << s))
            return s;
    return UNPROVED;
}

} // namespace

void countGoal(goal_record_t const& goal, metrics_t& metrics) {
    const status_t status = checked(goal.status, goal.line);
    ++metrics.nb_po;
    add(metrics, status, GOAL);
    if (byProver(goal))
        ++metrics.nb_int;
    for (mechanism_record_t const& m : goal.mechanisms)
        if (checked(m.status, m.line) == PROVED) {
            ++metrics.nb_ext;
            break;
        }
    for (mechanism_record_t const& m : goal.mechanisms) {
        mechanism_metrics_t& byName = entry(metrics.mechanisms, m.name.value_or(""));
        const status_t result = checked(m.status, m.line);
        add(byName, result, MECHANISM);
        for (driver_record_t const& d : m.drivers) {
            driver_metrics_t& driver = entry(byName.drivers, d.name.value_or(""));
            add(driver, checked(d.status, d.line), DRIVER);
        }
    }
}

status_t recordedStatus(goal_record_t const& goal) {
    return checked(goal.status, goal.line);
}

status_t expectedStatus(goal_record_t const& goal) {
    return expected(goal, NO_MECHANISM);
}

status_t unprovedStatus(goal_record_t const& goal) {
    // The iapa verdict is deliberately ignored: only the built-in prover's
    // result stands.
    return byProver(goal) ? PROVED : UNPROVED;
}

std::size_t mechanismToRemove(goal_record_t const& goal, std::string_view name) {
    for (std::size_t i = 0; i < goal.mechanisms.size(); ++i)
        if (goal.mechanisms[i].name.value_or("") == name)
            return i;
    return NO_MECHANISM;
}

std::optional<status_t> statusAfterRemoval(goal_record_t const& goal, std::size_t removed) {
    const status_t status = expected(goal, removed);
    // An unchanged status keeps its exact text, or its absence.
    if (recordedStatus(goal) == status)
        return std::nullopt;
    return status;
}

} // namespace pos
