#include "pos/events.h"

namespace pos {

namespace {

// The entry of `key`, made on first use.
template <typename Map>
typename Map::mapped_type::element_type& entry(Map& map, std::string const& key) {
    auto it = map.find(key);
    if (it == map.end())
        it = map.emplace(key, std::make_unique<typename Map::mapped_type::element_type>()).first;
    return *it->second;
}

// A status, or "Unproved" for an absent attribute; an unknown value stops the
// count where it stands.
status_t checked(kept_attr_t const& status, long long line) {
    const std::string_view value = status.or_("Unproved");
    if (const auto known = statusOfUtf8(value))
        return *known;
    throw unknown_status_error(std::string(value), line);
}

// The counter of each status; a goal has none for Unknown, a driver none for
// UnreliablyProved.
std::uint32_t* counter(metrics_t& m, status_t s) {
    std::uint32_t* const counters[] = {&m.nb_unproved, nullptr, &m.nb_unreliably_proved,
                                       &m.nb_proved, &m.nb_disproved};
    return counters[s];
}
std::uint32_t* counter(mechanism_metrics_t& m, status_t s) {
    std::uint32_t* const counters[] = {&m.nb_unproved, &m.nb_unknown, &m.nb_unreliably_proved,
                                       &m.nb_proved, &m.nb_disproved};
    return counters[s];
}
std::uint32_t* counter(driver_metrics_t& d, status_t s) {
    std::uint32_t* const counters[] = {&d.nb_unproved, &d.nb_unknown, nullptr, &d.nb_proved,
                                       &d.nb_disproved};
    return counters[s];
}

template <typename Record> void add(Record& record, status_t s) {
    if (std::uint32_t* c = counter(record, s))
        ++*c;
}

result_t& next(std::vector<result_t>& items, std::size_t& size) {
    if (size == items.size())
        items.emplace_back();
    return items[size++];
}

} // namespace

void count_rule_t::obligation(long long) {
    flush();
    endObligation();
    ++obligation_;
    number_ = 0;
}

void count_rule_t::tagText(std::string_view text) {
    if (goals_)
        tag_ += text;
}

void count_rule_t::endObligation() {
    if (!goals_)
        return;
    for (std::size_t i = obligationStart_; i < goals_->size(); ++i)
        (*goals_)[i].tag = tag_;
    obligationStart_ = goals_->size();
    tag_.clear();
}

void count_rule_t::goal(long long line, attr_t status) {
    flush();
    ++number_;
    open_ = true;
    goalLine_ = line;
    status_ = status;
    builtInProof_ = false;
    nbMechanisms_ = nbDrivers_ = 0;
    driversEnd_.clear();
}

void count_rule_t::proofState(attr_t proofState) {
    builtInProof_ = provedByProver(proofState.value_or("Unproved"));
}

void count_rule_t::mechanism(long long line, attr_t name, attr_t status) {
    result_t& m = next(mechanisms_, nbMechanisms_);
    m.line = line;
    m.name = name;
    m.status = status;
    driversEnd_.push_back(nbDrivers_);
}

void count_rule_t::driver(long long line, attr_t name, attr_t status) {
    result_t& d = next(drivers_, nbDrivers_);
    d.line = line;
    d.name = name;
    d.status = status;
    driversEnd_.back() = nbDrivers_;
}

void count_rule_t::finish() {
    flush();
    endObligation();
}

// A goal is counted as a walk of the document counts it: its status first,
// then its first proof state, then its mechanisms up to the first proved one,
// then each mechanism with its drivers, each entry made before its status is
// checked.
void count_rule_t::flush() {
    if (!open_)
        return;
    open_ = false;
    const status_t status = checked(status_, goalLine_);
    ++metrics_.nb_po;
    add(metrics_, status);
    if (builtInProof_)
        ++metrics_.nb_int;
    for (std::size_t i = 0; i < nbMechanisms_; ++i)
        if (checked(mechanisms_[i].status, mechanisms_[i].line) == PROVED) {
            ++metrics_.nb_ext;
            break;
        }
    goal_detail_t* listed = nullptr;
    if (goals_) {
        listed =
            &goals_->emplace_back(goal_detail_t{{}, obligation_, number_, goalLine_, status, {}});
        listed->mechanisms.reserve(nbMechanisms_);
    }
    std::size_t d = 0;
    for (std::size_t i = 0; i < nbMechanisms_; ++i) {
        result_t const& m = mechanisms_[i];
        mechanism_metrics_t& byName = entry(metrics_.mechanisms, m.name.text);
        const status_t result = checked(m.status, m.line);
        add(byName, result);
        if (listed) {
            listed->mechanisms.push_back({m.name.text, result, {}});
            listed->mechanisms.back().drivers.reserve(driversEnd_[i] - d);
        }
        for (; d < driversEnd_[i]; ++d) {
            driver_metrics_t& driver = entry(byName.drivers, drivers_[d].name.text);
            const status_t driverResult = checked(drivers_[d].status, drivers_[d].line);
            add(driver, driverResult);
            if (listed)
                listed->mechanisms.back().drivers.push_back(
                    {drivers_[d].name.text, driverResult, {}});
        }
    }
}

} // namespace pos
