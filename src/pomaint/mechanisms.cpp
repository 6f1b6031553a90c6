#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"

#include "pos/pos.h"

#include <cstdio>
#include <set>
#include <string>
#include <vector>

namespace {

// Distinct names in order of first appearance.
class names_t {
public:
    void add(std::string_view name) {
        if (seen_.find(name) == seen_.end()) {
            seen_.emplace(name);
            list.emplace_back(name);
        }
    }
    std::vector<std::string> list;

private:
    std::set<std::string, std::less<>> seen_;
};

class lister_t : public pos::goal_consumer_t {
public:
    void restart() override { names = names_t(); }
    void goal(pos::goal_record_t const& goal) override {
        for (pos::mechanism_record_t const& m : goal.mechanisms)
            names.add(m.name.value_or(""));
    }
    names_t names;
};

} // namespace

int run_mechanisms(std::vector<std::string> const& files) {
    int status = 0;
    names_t all;
    for (std::string const& path : files) {
        // A file that is refused adds no name, not even those read before.
        lister_t lister;
        if (!read_po_file(path, lister)) {
            status = EXIT_TROUBLE;
            continue;
        }
        for (std::string const& name : lister.names.list)
            all.add(name);
    }
    for (std::string const& name : all.list)
        std::printf("%s\n", name.c_str());
    return status;
}
