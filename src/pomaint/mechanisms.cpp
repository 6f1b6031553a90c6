#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"

#include "pos/pos.h"

#include <algorithm>
#include <cstdio>
#include <list>

int run_mechanisms(std::vector<std::string> const& files) {
    int status = 0;
    std::list<std::string> all;
    for (std::string const& path : files) {
        // The listing itself would count a broken file as far as it was read;
        // loading first refuses it, as every subcommand does.
        QDomDocument doc;
        std::list<std::string> names;
        if (!load_po_file(path, doc)) {
            status = EXIT_TROUBLE;
            continue;
        }
        if (!pos::getMechanisms(path, names)) {
            std::fprintf(stderr, "pomaint: %s: cannot be opened any more\n", path.c_str());
            status = EXIT_TROUBLE;
            continue;
        }
        for (std::string const& name : names)
            if (std::find(all.begin(), all.end(), name) == all.end())
                all.push_back(name);
    }
    for (std::string const& name : all)
        std::printf("%s\n", name.c_str());
    return status;
}
