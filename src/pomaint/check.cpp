#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"

#include "pos/pos.h"

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace {

struct file_closer {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

// The check writes the offending goal to standard error itself; the line that
// names the file must come first, so its output is held back until then.
bool check_holding_stderr(QDomDocument const& doc, std::string& held) {
    std::unique_ptr<std::FILE, file_closer> tmp(std::tmpfile());
    if (!tmp)
        return pos::checkPosInvariant(doc);
    std::fflush(stderr);
    const int saved = ::dup(STDERR_FILENO);
    ::dup2(::fileno(tmp.get()), STDERR_FILENO);
    auto restore = [saved] {
        std::fflush(stderr);
        ::dup2(saved, STDERR_FILENO);
        ::close(saved);
    };
    bool consistent;
    try {
        consistent = pos::checkPosInvariant(doc);
    } catch (...) {
        restore();
        throw;
    }
    restore();
    std::rewind(tmp.get());
    char chunk[4096];
    std::size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, tmp.get())) > 0)
        held.append(chunk, n);
    return consistent;
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
        std::string goal;
        try {
            if (check_holding_stderr(doc, goal))
                continue;
        } catch (std::out_of_range const&) {
            report_unknown_status(path);
            status = EXIT_TROUBLE;
            continue;
        }
        std::fprintf(stderr, "pomaint: %s: first inconsistent goal:\n%s", path.c_str(),
                     goal.c_str());
        if (status == 0)
            status = EXIT_INCONSISTENT;
    }
    return status;
}
