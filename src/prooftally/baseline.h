// An earlier JSON report read back (--since), as a stream: a first pass checks
// the whole document and keeps each component's counts and where it starts;
// a component's goals are read from there when they are compared, and let go.
// A baseline of hundreds of megabytes is never held whole.
#ifndef BASELINE_H
#define BASELINE_H

#include "prooftally/text_buffer.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A goal's results by name, "M" and "M/d"; a name repeated in one goal (or
// mechanism) by occurrence, "M#2": how a goal's results are compared, then
// and now. Several goals' results may follow one another.
class keyed_results_t {
public:
    struct result_t {
        std::size_t name = 0, name_size = 0; // as given
        std::size_t key = 0, key_size = 0;
        std::size_t status = 0, status_size = 0;
        bool driver = false;
    };
    void clear() {
        text_.clear();
        list_.clear();
    }
    // A goal's results start here.
    void start() { goal_ = list_.size(); }
    void add(std::string_view mechanism, std::string_view status) { add(mechanism, status, false); }
    void add_driver(std::string_view driver, std::string_view status) { add(driver, status, true); }
    std::size_t goal_start() const { return goal_; }
    std::size_t size() const { return list_.size(); }
    result_t const& operator[](std::size_t i) const { return list_[i]; }
    std::string_view key(result_t const& r) const { return text_.view(r.key, r.key_size); }
    std::string_view status(result_t const& r) const { return text_.view(r.status, r.status_size); }

private:
    void add(std::string_view name, std::string_view status, bool driver);
    text_buffer_t text_;
    std::vector<result_t> list_;
    std::size_t goal_ = 0, mechanism_ = 0; // where the goal's and the mechanism's start
};

// The goals of one component of an earlier report, in its order, in flat
// memory reused from one component to the next.
class baseline_goals_t {
public:
    struct goal_t {
        std::size_t obligation = 0; // its index
        std::uint32_t number = 0;
        std::size_t status = 0, status_size = 0;
        std::size_t first_result = 0, end_result = 0; // in results()
    };
    struct obligation_t {
        std::size_t key = 0, key_size = 0; // its obligation_key
        std::size_t first_goal = 0, end_goal = 0;
    };
    void clear() {
        text_.clear();
        goals_.clear();
        obligations_.clear();
        results.clear();
    }
    // A goal: its results are those added to `results` since results.start().
    void add_goal(std::string_view obligation, std::uint32_t number, std::string_view status);
    std::vector<goal_t> const& goals() const { return goals_; }
    std::vector<obligation_t> const& obligations() const { return obligations_; }
    std::string_view key(obligation_t const& o) const { return text_.view(o.key, o.key_size); }
    std::string_view status(goal_t const& g) const { return text_.view(g.status, g.status_size); }
    keyed_results_t results;

private:
    text_buffer_t text_;
    std::vector<goal_t> goals_;
    std::vector<obligation_t> obligations_;
};

// One component of an earlier report, without its goals.
struct baseline_component_t {
    std::string name;
    std::string po_file, po_file_state;
    long long proved = 0, unproved = 0, unreliable = 0, disproved = 0;
    std::uint64_t offset = 0; // of its object in the file
};

struct baseline_t {
    int version = 1;
    long long goals = 0, proved = 0; // of its total
    std::vector<baseline_component_t> components;
    std::string path;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{nullptr, std::fclose};
};

// Reads the JSON report at `path` through once. On failure returns nothing and
// sets `error` to why it cannot be used.
std::optional<baseline_t> load_baseline(std::string const& path, std::string& error);

// Reads the goals of the baseline's component `i` (versions 2 and 3) into
// `goals`; false when the file no longer reads as it did.
bool baseline_goals(baseline_t const& baseline, std::size_t i, baseline_goals_t& goals);

#endif
