#include "pos/record_builder.h"

namespace pos {

record_builder_t::kept_t record_builder_t::keep(attr_t value) {
    if (!value)
        return {};
    const kept_t kept{text_.size(), value->size(), true};
    text_ += *value;
    return kept;
}

attr_t record_builder_t::view(kept_t const& kept) const {
    if (!kept.present)
        return std::nullopt;
    return std::string_view(text_.data() + kept.at, kept.size);
}

void record_builder_t::obligation(long long line) {
    obligation_ = {obligation_.number + 1, line, {}, false};
    tag_.clear();
    inObligation_ = true;
    goal_.number = 0;
}

void record_builder_t::endObligation() {
    inObligation_ = false;
    obligation_.tag = tag_;
    obligation_.tagRead = true;
    consumer_.endObligation(obligation_);
}

void record_builder_t::goal(long long line, attr_t status) {
    inGoal_ = true;
    const std::uint32_t number = goal_.number + 1;
    goal_ = goal_record_t{};
    goal_.obligation = &obligation_;
    goal_.number = number;
    goal_.line = line;
    text_.clear();
    status_ = keep(status);
    proofState_ = {};
    mechanisms_.clear();
    drivers_.clear();
    mechanismText_.clear();
    driverText_.clear();
}

void record_builder_t::verdict(long long line, attr_t value) {
    goal_.verdict = {value ? verdict_record_t::value : verdict_record_t::no_value, {}, line};
    verdict_ = keep(value);
}

void record_builder_t::mechanism(long long line, attr_t name, attr_t status) {
    mechanisms_.emplace_back().line = line;
    mechanismText_.push_back({keep(name), keep(status)});
}

void record_builder_t::driver(long long line, attr_t name, attr_t status) {
    drivers_.push_back({line, {}, {}});
    driverText_.push_back({keep(name), keep(status)});
    ++mechanisms_.back().drivers.count;
}

void record_builder_t::endGoal() {
    inGoal_ = false;
    // The texts are viewed only now: text_ may have moved while it grew.
    goal_.status = view(status_);
    goal_.proofState = view(proofState_);
    if (goal_.verdict.kind == verdict_record_t::value)
        goal_.verdict.text = *view(verdict_);
    std::size_t d = 0;
    for (std::size_t i = 0; i < mechanisms_.size(); ++i) {
        mechanism_record_t& m = mechanisms_[i];
        m.name = view(mechanismText_[i][0]);
        m.status = view(mechanismText_[i][1]);
        m.drivers.first = drivers_.data() + d;
        for (std::size_t end = d + m.drivers.count; d < end; ++d) {
            drivers_[d].name = view(driverText_[d][0]);
            drivers_[d].status = view(driverText_[d][1]);
        }
    }
    goal_.mechanisms = {mechanisms_.data(), mechanisms_.size()};
    obligation_.tag = tag_;
    consumer_.goal(goal_);
}

void record_builder_t::finish() {
    if (inGoal_)
        endGoal();
    if (inObligation_)
        endObligation();
}

} // namespace pos
