#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"

#include "pos/pos.h"

#include <cstdio>
#include <stdexcept>
#include <vector>

namespace {

// The goal's place among its obligation's goals, from 1.
int goalNumber(QDomElement const& goal) {
    int n = 1;
    for (QDomElement g = goal.previousSiblingElement(pos::TAG_SIMPLE_GOAL); !g.isNull();
         g = g.previousSiblingElement(pos::TAG_SIMPLE_GOAL))
        ++n;
    return n;
}

} // namespace

int run_check(std::vector<std::string> const& files) {
    int status = 0;
    for (std::string const& path : files) {
        QDomDocument doc;
        if (!load_po_file(path, doc)) {
            status = EXIT_TROUBLE;
            continue;
        }
        std::vector<pos::inconsistent_goal_t> inconsistent;
        try {
            inconsistent = pos::findInconsistentGoals(doc);
        } catch (std::out_of_range const&) {
            report_unknown_status(path, pos::findUnknownVerdict(doc));
            status = EXIT_TROUBLE;
            continue;
        }
        for (pos::inconsistent_goal_t const& found : inconsistent) {
            const QString tag = found.goal.parentNode().firstChildElement(pos::TAG_TAG).text();
            std::fprintf(stderr, "%s:%d: \"%s\" goal %d: records %s, its results call for %s\n",
                         path.c_str(), found.goal.lineNumber(), tag.toUtf8().constData(),
                         goalNumber(found.goal),
                         pos::strOfProofStatus(found.recorded).toUtf8().constData(),
                         pos::strOfProofStatus(found.expected).toUtf8().constData());
        }
        if (!inconsistent.empty() && status == 0)
            status = EXIT_INCONSISTENT;
    }
    return status;
}
