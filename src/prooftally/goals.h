// The goals of one component as the reports name them, in flat memory: what
// an obligation shares (its tag) is held once, the mechanisms' and drivers'
// results in one list, their names in one text. Cleared, a list keeps its
// memory for the next component.
#ifndef GOALS_H
#define GOALS_H

#include "prooftally/text_buffer.h"

#include "pos/pos.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// A mechanism's result, or a driver's (after its mechanism's).
struct goal_result_t {
    std::size_t name = 0, name_size = 0; // in the list's text
    pos::status_t status = pos::UNPROVED;
    bool driver = false;
};

// An obligation as a report names it: by its tag (and the tag's occurrence
// in the file when it repeats) or, without a tag, by its position:
// "\"Init\"", "\"Init\" #2", "obligation 3"; its goals add " goal N". The same
// for the same obligation in two runs.
std::string obligation_key(std::string_view tag, std::uint32_t occurrence,
                           std::uint32_t obligation);

// What the findings of an obligation's goals share.
struct obligation_name_t {
    std::string tag, key;
};

struct goal_obligation_t {
    std::uint32_t number = 0;          // its place in the file, from 1
    std::uint32_t tag_occurrence = 0;  // 1 for the first with its tag; 0 without a tag
    std::size_t tag = 0, tag_size = 0; // in the list's text
    // Made when the first finding needs it.
    mutable std::shared_ptr<obligation_name_t const> name;
};

struct goal_t {
    std::uint32_t obligation = 0; // its index in the list's obligations
    std::uint32_t number = 0;     // its place among the obligation's goals, from 1
    long long line = 0;           // of its Simple_Goal start tag
    pos::status_t status = pos::UNPROVED;
    std::size_t first_result = 0, end_result = 0;
    std::size_t results = 0, results_size = 0; // their text, in the list's text
};

// A status as PO files write it: "Proved", "Unproved"...
std::string const& status_word(pos::status_t status);

class goal_list_t {
public:
    std::size_t size() const { return goals_.size(); }
    bool empty() const { return goals_.empty(); }
    goal_t const& operator[](std::size_t i) const { return goals_[i]; }
    std::vector<goal_t>::const_iterator begin() const { return goals_.begin(); }
    std::vector<goal_t>::const_iterator end() const { return goals_.end(); }

    goal_obligation_t const& obligation(goal_t const& g) const {
        return obligations_[g.obligation];
    }
    std::string_view tag(goal_t const& g) const;
    std::shared_ptr<obligation_name_t const> const& name(goal_t const& g) const;
    std::string_view name(goal_result_t const& r) const {
        return {text_.data() + r.name, r.name_size};
    }
    // "Arith: Proved [cvc: Proved, z3: Unknown], Induct: Unproved".
    std::string_view results_text(goal_t const& g) const {
        return {text_.data() + g.results, g.results_size};
    }
    // The goal's results, mechanisms each followed by its drivers.
    goal_result_t const* results_begin(goal_t const& g) const {
        return results_.data() + g.first_result;
    }
    goal_result_t const* results_end(goal_t const& g) const {
        return results_.data() + g.end_result;
    }

    void clear();
    // A goal, once pos::countGoal has counted it (its status values known).
    void add(pos::goal_record_t const& goal);
    // After an obligation's last goal: its tag is final.
    void end_obligation(pos::obligation_record_t const& obligation);

private:
    std::vector<goal_t> goals_;
    std::vector<goal_obligation_t> obligations_;
    std::vector<goal_result_t> results_;
    text_buffer_t text_;
    std::unordered_map<std::string, std::uint32_t> tags_; // obligations seen per tag
    std::uint32_t open_ = 0; // the number of the obligation whose goals come
};

// Counts the PO file at `path` into `metrics` and, with `goals`, lists its
// goals there; as pos::countPoFile does, with the same exceptions.
pos::po_read_t count_po_file(std::string const& path, pos::metrics_t& metrics, goal_list_t* goals,
                             pos::read_state_t& state);

#endif
