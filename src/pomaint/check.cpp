#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"

#include "pos/diagnose.h"
#include "pos/pos.h"

#include <cstdio>
#include <optional>
#include <stdexcept>

int run_check(std::vector<std::string> const& files) {
    int status = 0;
    for (std::string const& path : files) {
        QDomDocument doc;
        if (!load_po_file(path, doc)) {
            status = EXIT_TROUBLE;
            continue;
        }
        std::optional<pos::inconsistent_goal_t> inconsistent;
        try {
            inconsistent = pos::findInconsistentGoal(doc);
        } catch (std::out_of_range const&) {
            report_unknown_status(path, pos::findUnknownVerdict(doc));
            status = EXIT_TROUBLE;
            continue;
        }
        if (!inconsistent)
            continue;
        std::fprintf(
            stderr, "pomaint: %s: first inconsistent goal: records %s, its results call for %s:\n",
            path.c_str(), pos::strOfProofStatus(inconsistent->recorded).toUtf8().constData(),
            pos::strOfProofStatus(inconsistent->expected).toUtf8().constData());
        pos::writeGoal(inconsistent->goal, stderr);
        if (status == 0)
            status = EXIT_INCONSISTENT;
    }
    return status;
}
