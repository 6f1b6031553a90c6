// What the readers of a PO file report, in document order: exactly the parts
// of the document that the count reads, each with the line of its start tag
// as the DOM reader records it. Both readers (the strict scanner and the DOM
// parser's own SAX events) report through this, and one rule counts them.
#ifndef POS_EVENTS_H
#define POS_EVENTS_H

#include "pos/pos.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pos {

// An attribute as written (UTF-8), or none when the element lacks it.
using attr_t = std::optional<std::string_view>;

class goal_events_t {
public:
    virtual ~goal_events_t() = default;
    // A Proof_Obligation child of the document element.
    virtual void obligation(long long line) = 0;
    // A piece of the text of that obligation's first Tag child element.
    virtual void tagText(std::string_view text) = 0;
    // A Simple_Goal child of the obligation.
    virtual void goal(long long line, attr_t status) = 0;
    // The goal's first Proof_State child.
    virtual void proofState(attr_t proofState) = 0;
    // A Mechanism child of the goal, and a Driver child of that mechanism.
    virtual void mechanism(long long line, attr_t name, attr_t status) = 0;
    virtual void driver(long long line, attr_t name, attr_t status) = 0;
};

// Where an element stands for the count: its role follows from its name and
// its parent's role. `first` is whether the parent has had no child of that
// name yet (only the first Proof_State of a goal, and the first Tag of an
// obligation, count).
enum class role_t : unsigned char {
    none, // the document itself
    root,
    obligation,
    tag, // the first Tag of an obligation, or an element inside it
    goal,
    proof_state,
    mechanism,
    driver,
    other
};

// `is(name)` compares the element's name with one of the format's names.
template <typename Is>
role_t childRole(role_t parent, Is const& is, bool& seenTag, bool& seenProofState) {
    switch (parent) {
    case role_t::none:
        return role_t::root;
    case role_t::root:
        return is(TAG_PROOF_OBLIGATION) ? role_t::obligation : role_t::other;
    case role_t::obligation:
        if (is(TAG_SIMPLE_GOAL))
            return role_t::goal;
        if (!seenTag && is(TAG_TAG))
            return seenTag = true, role_t::tag;
        return role_t::other;
    case role_t::tag:
        return role_t::tag;
    case role_t::goal:
        if (is(TAG_MECHANISM))
            return role_t::mechanism;
        if (!seenProofState && is(TAG_PROOF_STATE))
            return seenProofState = true, role_t::proof_state;
        return role_t::other;
    case role_t::mechanism:
        return is(TAG_DRIVER) ? role_t::driver : role_t::other;
    default:
        return role_t::other;
    }
}

// The status of an attribute value as the vocabulary reads it, or nothing
// outside it; the one table is proofStatusOfAttrValue's.
std::optional<status_t> statusOfUtf8(std::string_view value);
// Whether a proofState value means the built-in prover proved the goal.
bool provedByProver(std::string_view proofState);

// An attribute kept beyond the event that reported it.
struct kept_attr_t {
    bool present = false;
    std::string text;
    void operator=(attr_t value) {
        present = value.has_value();
        text.assign(present ? *value : std::string_view());
    }
    // The value, or `absent` when the element lacks the attribute.
    std::string_view or_(std::string_view absent) const { return present ? text : absent; }
};

// A mechanism or driver as a reader met it.
struct result_t {
    long long line = 0;
    kept_attr_t name, status;
};

// The counting rule: fills a record from the events, goal by goal, in the
// order and with the checks of a walk of the whole document, so that an
// unknown status value stops it at the same point with the same counts.
class count_rule_t : public goal_events_t {
public:
    explicit count_rule_t(metrics_t& metrics, std::vector<goal_detail_t>* goals = nullptr)
        : metrics_(metrics), goals_(goals) {}
    void obligation(long long line) override;
    void tagText(std::string_view text) override;
    void goal(long long line, attr_t status) override;
    void proofState(attr_t proofState) override;
    void mechanism(long long line, attr_t name, attr_t status) override;
    void driver(long long line, attr_t name, attr_t status) override;
    // Counts the goal still open. Throws unknown_status_error.
    void finish();

private:
    void flush();
    void endObligation();
    metrics_t& metrics_;
    // The goals listed, and where the current obligation's goals start: its
    // tag may come after them.
    std::vector<goal_detail_t>* goals_;
    std::size_t obligationStart_ = 0;
    std::uint32_t obligation_ = 0, number_ = 0;
    std::string tag_;
    bool open_ = false;
    long long goalLine_ = 0;
    kept_attr_t status_;
    bool builtInProof_ = false;
    // The goal's mechanisms and drivers; the vectors only grow, so that
    // their strings keep their capacity from one goal to the next.
    std::vector<result_t> mechanisms_, drivers_;
    std::vector<std::size_t> driversEnd_;
    std::size_t nbMechanisms_ = 0, nbDrivers_ = 0;
};

} // namespace pos

#endif
