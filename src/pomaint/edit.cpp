#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"
#include "pomaint/safe_write.h"

#include "pos/diagnose.h"
#include "pos/pos.h"

#include <cstdio>
#include <functional>
#include <stdexcept>

namespace {

enum class edit_t { unchanged, changed, failed };

// Loads each file, lets `edit` change the document, and writes back only the
// files that changed. A file is written whole or not at all.
int edit_files(std::vector<std::string> const& files, bool dry_run,
               std::function<edit_t(std::string const&, QDomDocument&)> const& edit) {
    int status = 0;
    for (std::string const& path : files) {
        QDomDocument doc;
        if (!load_po_file(path, doc) || !decodes_cleanly(path)) {
            status = EXIT_TROUBLE;
            continue;
        }
        edit_t result;
        try {
            result = edit(path, doc);
        } catch (std::out_of_range const&) {
            report_unknown_status(path, pos::findUnknownVerdict(doc));
            result = edit_t::failed;
        }
        if (result == edit_t::failed)
            status = EXIT_TROUBLE;
        if (result != edit_t::changed)
            continue;
        const QByteArray content = serialise(doc);
        if (dry_run) {
            std::printf("==> %s <==\n", path.c_str());
            std::fwrite(content.constData(), 1, content.size(), stdout);
            continue;
        }
        std::string error;
        if (replace_file(path, content, error)) {
            std::printf("%s\n", path.c_str());
        } else {
            std::fprintf(stderr, "pomaint: %s: cannot be rewritten: %s; left unchanged\n",
                         path.c_str(), error.c_str());
            status = EXIT_TROUBLE;
        }
    }
    return status;
}

} // namespace

int run_unprove(std::vector<std::string> const& files, bool dry_run) {
    return edit_files(files, dry_run, [](std::string const&, QDomDocument& doc) {
        // A file that was already unproved keeps its exact bytes.
        const QByteArray before = serialise(doc);
        pos::unprove(doc);
        return serialise(doc) == before ? edit_t::unchanged : edit_t::changed;
    });
}

int run_remove_mechanism(std::vector<std::string> const& files, std::string const& name,
                         bool dry_run) {
    bool found = false, examined = false;
    int status = edit_files(
        files, dry_run, [&name, &found, &examined](std::string const& path, QDomDocument& doc) {
            bool removed = false;
            if (!pos::removeMechanism(doc, name, removed)) {
                std::fprintf(stderr, "pomaint: %s: a mechanism could not be removed\n",
                             path.c_str());
                return edit_t::failed;
            }
            found = found || removed;
            examined = true;
            return removed ? edit_t::changed : edit_t::unchanged;
        });
    // A misspelt name must not pass for a file that has nothing to remove;
    // when no file could be read, there is nothing to say about the name.
    if (examined && !found) {
        std::fprintf(stderr, "pomaint: no mechanism named \"%s\" in the selected files\n",
                     name.c_str());
        if (status == 0)
            status = EXIT_INCONSISTENT;
    }
    return status;
}
