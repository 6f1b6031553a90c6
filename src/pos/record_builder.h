// Goal records assembled from what a reader meets in document order: shared
// by the strict scanner, the DOM parser's events and the walk of one goal
// element, so that every rule reads the same record whoever read the file.
#ifndef POS_RECORD_BUILDER_H
#define POS_RECORD_BUILDER_H

#include "pos/pos.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace pos {

// Where an element stands for the rules: its role follows from its name and
// its parent's role. Only the first Tag of an obligation, the first
// Proof_State and iapa of a goal and the first status of that iapa count.
// `none` is the document itself, `tag` the first Tag of an obligation and
// `tag_part` an element inside it, `verdict` the first status element of the
// first iapa.
enum class role_t : unsigned char {
    none,
    root,
    obligation,
    tag,
    tag_part,
    goal,
    proof_state,
    iapa,
    verdict,
    mechanism,
    driver,
    other
};

// `is(name)` compares the element's name with one of the format's names.
// `seen` holds the parent's marks: 1 once it had its first Tag, Proof_State
// or status, 2 once it had its first iapa.
template <typename Is> role_t childRole(role_t parent, Is const& is, unsigned char& seen) {
    const auto first = [&seen](unsigned char mark, role_t role) {
        seen |= mark;
        return role;
    };
    switch (parent) {
    case role_t::none:
        return role_t::root;
    case role_t::root:
        return is(TAG_PROOF_OBLIGATION) ? role_t::obligation : role_t::other;
    case role_t::obligation:
        if (is(TAG_SIMPLE_GOAL))
            return role_t::goal;
        return !(seen & 1) && is(TAG_TAG) ? first(1, role_t::tag) : role_t::other;
    case role_t::tag:
    case role_t::tag_part:
        return role_t::tag_part;
    case role_t::goal:
        if (is(TAG_MECHANISM))
            return role_t::mechanism;
        if (!(seen & 1) && is(TAG_PROOF_STATE))
            return first(1, role_t::proof_state);
        return !(seen & 2) && is(TAG_IAPA) ? first(2, role_t::iapa) : role_t::other;
    case role_t::iapa:
        return !(seen & 1) && is(TAG_STATUS) ? first(1, role_t::verdict) : role_t::other;
    case role_t::mechanism:
        return is(TAG_DRIVER) ? role_t::driver : role_t::other;
    default:
        return role_t::other;
    }
}

class record_builder_t {
public:
    explicit record_builder_t(goal_consumer_t& consumer) : consumer_(consumer) {}
    // An element of `role` starts on `line`, with the attributes the records
    // carry: a mechanism's or driver's name, a goal's, mechanism's or
    // driver's status, a Proof_State's proofState or a verdict's value.
    void start(role_t role, long long line, attr_t const& name, attr_t const& status,
               attr_t const& value);
    void tagText(std::string_view text) { tag_ += text; }
    // An element of `role` ends: a goal is handed on.
    void end(role_t role) {
        if (role == role_t::goal || role == role_t::obligation || role == role_t::tag)
            ended(role);
    }
    // Hands on the goal and the obligation still open where reading stopped.
    void finish();
    // The open goal and its last mechanism, for the scanner's spans.
    goal_record_t& openGoal() { return goal_; }
    mechanism_record_t& lastMechanism() { return mechanisms_.back(); }

private:
    void ended(role_t role);
    attr_t keep(attr_t const& value) {
        if (!value)
            return std::nullopt;
        const std::size_t n = value->size();
        if (capacity_ - used_ < n) {
            // The full arena keeps its place until the goal ends.
            full_.push_back(std::move(arena_));
            capacity_ = 2 * capacity_ + n;
            arena_ = std::make_unique<char[]>(capacity_);
            used_ = 0;
        }
        char* to = arena_.get() + used_;
        used_ += n;
        // An empty view may hold no pointer for memcpy.
        return std::string_view(n ? static_cast<char*>(std::memcpy(to, value->data(), n)) : to, n);
    }

    goal_consumer_t& consumer_;
    obligation_record_t obligation_;
    std::string tag_;
    bool inObligation_ = false, inGoal_ = false;
    goal_record_t goal_;
    std::vector<mechanism_record_t> mechanisms_;
    std::vector<driver_record_t> drivers_;
    // The goal's values, in an arena reused from goal to goal.
    std::unique_ptr<char[]> arena_;
    std::size_t used_ = 0, capacity_ = 0;
    std::vector<std::unique_ptr<char[]>> full_;
};

} // namespace pos

#endif
