#include "prooftally/goals.h"

namespace {

// A mechanism's or driver's status attribute read by the goal's rule: the
// same words, "Unproved" when absent, the same exception for an unknown one.
pos::status_t status_of(pos::attr_t status, long long line) {
    pos::goal_record_t probe;
    probe.status = status;
    probe.line = line;
    return pos::recordedStatus(probe);
}

// Counts a file's goals and lists them when asked.
class lister_t : public pos::goal_consumer_t {
public:
    lister_t(pos::metrics_t& metrics, goal_list_t* goals) : metrics_(metrics), goals_(goals) {}
    void restart() override {
        metrics_ = pos::metrics_t{};
        if (goals_)
            goals_->clear();
    }
    void goal(pos::goal_record_t const& goal) override {
        pos::countGoal(goal, metrics_);
        if (goals_)
            goals_->add(goal);
    }
    // A tag may come after the obligation's goals.
    void endObligation(pos::obligation_record_t const& obligation) override {
        if (goals_)
            goals_->end_obligation(obligation);
    }

private:
    pos::metrics_t& metrics_;
    goal_list_t* goals_;
};

} // namespace

std::string_view goal_list_t::tag(goal_t const& g) const {
    goal_obligation_t const& o = obligations_[g.obligation];
    return {text_.data() + o.tag, o.tag_size};
}

std::shared_ptr<std::string const> const& goal_list_t::shared_tag(goal_t const& g) const {
    goal_obligation_t const& o = obligations_[g.obligation];
    if (!o.shared)
        o.shared = std::make_shared<std::string const>(tag(g));
    return o.shared;
}

void goal_list_t::clear() {
    goals_.clear();
    obligations_.clear();
    results_.clear();
    text_.clear();
    tags_.clear();
    open_ = 0;
}

void goal_list_t::add(pos::goal_record_t const& goal) {
    if (obligations_.empty() || goal.obligation->number != open_) {
        open_ = goal.obligation->number;
        obligations_.push_back({open_, 0, 0, 0, {}});
    }
    goal_t& g = goals_.emplace_back();
    g.obligation = static_cast<std::uint32_t>(obligations_.size() - 1);
    g.number = goal.number;
    g.line = goal.line;
    g.status = pos::recordedStatus(goal);
    g.first_result = results_.size();
    for (pos::mechanism_record_t const& m : goal.mechanisms) {
        std::string_view const name = m.name.value_or("");
        results_.push_back({text_.size(), name.size(), status_of(m.status, m.line), false});
        text_ += name;
        for (pos::driver_record_t const& d : m.drivers) {
            std::string_view const driver = d.name.value_or("");
            results_.push_back({text_.size(), driver.size(), status_of(d.status, d.line), true});
            text_ += driver;
        }
    }
    g.end_result = results_.size();
}

void goal_list_t::end_obligation(pos::obligation_record_t const& obligation) {
    // An obligation without goals names none.
    if (obligations_.empty() || obligations_.back().number != obligation.number)
        return;
    goal_obligation_t& o = obligations_.back();
    o.tag = text_.size();
    o.tag_size = obligation.tag.size();
    text_ += obligation.tag;
    if (!obligation.tag.empty())
        o.tag_occurrence = ++tags_[std::string(obligation.tag)];
}

pos::po_read_t count_po_file(std::string const& path, pos::metrics_t& metrics, goal_list_t* goals,
                             pos::read_state_t& state) {
    metrics = pos::metrics_t{};
    if (goals)
        goals->clear();
    lister_t lister(metrics, goals);
    state = pos::readPoFile(path, lister);
    if (state.read == pos::po_read_t::unopened) {
        metrics = pos::metrics_t{};
        if (goals)
            goals->clear();
    }
    return state.read;
}
