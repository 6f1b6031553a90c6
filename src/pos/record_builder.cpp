#include "pos/record_builder.h"

namespace pos {

void record_builder_t::start(role_t role, long long line, attr_t const& name, attr_t const& status,
                             attr_t const& value) {
    switch (role) {
    case role_t::obligation:
        obligation_ = {obligation_.number + 1, line, {}, false};
        tag_.clear();
        inObligation_ = true;
        goal_.number = 0;
        break;
    case role_t::goal: {
        inGoal_ = true;
        used_ = 0;
        full_.clear();
        mechanisms_.clear();
        drivers_.clear();
        const std::uint32_t number = goal_.number + 1;
        goal_ = goal_record_t{};
        goal_.obligation = &obligation_;
        goal_.number = number;
        goal_.line = line;
        goal_.status = keep(status);
        break;
    }
    case role_t::proof_state:
        goal_.proofState = keep(value);
        break;
    case role_t::iapa:
        goal_.verdict = {verdict_record_t::no_status, {}, line};
        break;
    case role_t::verdict:
        goal_.verdict = {value ? verdict_record_t::value : verdict_record_t::no_value,
                         keep(value).value_or(""), line};
        break;
    case role_t::mechanism:
        mechanisms_.emplace_back();
        mechanisms_.back().line = line;
        mechanisms_.back().name = keep(name);
        mechanisms_.back().status = keep(status);
        break;
    case role_t::driver:
        drivers_.push_back({line, keep(name), keep(status)});
        ++mechanisms_.back().drivers.count;
        break;
    default:
        break;
    }
}

void record_builder_t::ended(role_t role) {
    if (role == role_t::tag) {
        obligation_.tagRead = true;
    } else if (role == role_t::goal) {
        inGoal_ = false;
        // The drivers are placed only now: the vector may have moved.
        const driver_record_t* first = drivers_.data();
        for (mechanism_record_t& m : mechanisms_) {
            m.drivers.first = first;
            first += m.drivers.count;
        }
        goal_.mechanisms = {mechanisms_.data(), mechanisms_.size()};
        obligation_.tag = tag_;
        consumer_.goal(goal_);
    } else if (role == role_t::obligation) {
        inObligation_ = false;
        obligation_.tag = tag_;
        obligation_.tagRead = true;
        consumer_.endObligation(obligation_);
    }
}

void record_builder_t::finish() {
    if (inGoal_)
        ended(role_t::goal);
    if (inObligation_)
        ended(role_t::obligation);
}

} // namespace pos
