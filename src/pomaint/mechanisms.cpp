#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"

#include "pos/pos.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

void addOnce(std::vector<std::string>& names, std::string_view name) {
    if (std::find(names.begin(), names.end(), name) == names.end())
        names.emplace_back(name);
}

class lister_t : public pos::goal_consumer_t {
public:
    void restart() override { names.clear(); }
    void goal(pos::goal_record_t const& goal) override {
        for (pos::mechanism_record_t const& m : goal.mechanisms)
            addOnce(names, m.name.value_or(""));
    }
    std::vector<std::string> names;
};

} // namespace

int run_mechanisms(std::vector<std::string> const& files) {
    int status = 0;
    std::vector<std::string> all;
    for (std::string const& path : files) {
        // A file that is refused adds no name, not even those read before.
        lister_t lister;
        if (!read_po_file(path, lister)) {
            status = EXIT_TROUBLE;
            continue;
        }
        for (std::string const& name : lister.names)
            addOnce(all, name);
    }
    for (std::string const& name : all)
        std::printf("%s\n", name.c_str());
    return status;
}
