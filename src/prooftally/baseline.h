// An earlier JSON report read back (--since), as a stream: a first pass checks
// the whole document and keeps each component's counts and where it starts;
// a component's goals are read from there when they are compared, and let go.
// A baseline of hundreds of megabytes is never held whole.
#ifndef BASELINE_H
#define BASELINE_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// A result of an earlier run: a goal's status, and its mechanisms' and
// drivers' by name.
struct baseline_goal_t {
    std::string status;
    std::map<std::string, std::string> results; // "M" and "M/d" (a repeated name: "M#2")
};

// Results by name, "M" and "M/d"; a name repeated in one goal (or mechanism)
// by occurrence, "M#2": how a goal's results are compared, then and now.
class results_t {
public:
    void add(std::string const& mechanism, std::string const& status) {
        current_ = name(mechanism, mechanisms_);
        drivers_.clear();
        by_name[current_] = status;
    }
    void add_driver(std::string const& driver, std::string const& status) {
        by_name[current_ + "/" + name(driver, drivers_)] = status;
    }
    std::map<std::string, std::string> by_name;

private:
    static std::string name(std::string const& n, std::map<std::string, int>& seen) {
        const int occurrence = ++seen[n];
        return occurrence > 1 ? n + "#" + std::to_string(occurrence) : n;
    }
    std::string current_;
    std::map<std::string, int> mechanisms_, drivers_;
};

// The goals of one obligation: by position, and how many it listed.
struct baseline_obligation_t {
    std::uint32_t listed = 0;
    std::map<std::uint32_t, baseline_goal_t> goals;
};

// A component's goals, by obligation_key.
using baseline_goals_t = std::map<std::string, baseline_obligation_t>;

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

// The goals of the baseline's component `i` (versions 2 and 3); nothing when
// the file no longer reads as it did.
std::optional<baseline_goals_t> baseline_goals(baseline_t const& baseline, std::size_t i);

// Goals listed per obligation and distinct goals of a component.
std::size_t goal_count(baseline_goals_t const& goals);

#endif
