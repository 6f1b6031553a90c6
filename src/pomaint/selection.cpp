#include "pomaint/selection.h"

#include "db/bdp.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <sys/stat.h>

namespace {

// The same file under two spellings (U.pos, ./U.pos, a link) is handled once,
// under the first. A file that does not exist is resolved through its
// directory; a path that does not resolve at all is compared as written.
std::string resolved(std::string const& path) {
    auto real = [](std::string const& p) {
        std::unique_ptr<char, decltype(&std::free)> r(::realpath(p.c_str(), nullptr), &std::free);
        return r ? std::optional<std::string>(r.get()) : std::nullopt;
    };
    if (auto const file = real(path))
        return *file;
    const std::size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    if (auto const parent = real(dir))
        return *parent + '/' + path.substr(slash + 1);
    return path;
}

void add_once(std::vector<std::string>& paths, std::vector<std::string>& seen,
              std::string const& path) {
    std::string key = resolved(path);
    if (std::find(seen.begin(), seen.end(), key) != seen.end())
        return;
    seen.push_back(std::move(key));
    paths.push_back(path);
}

bool exists(std::string const& path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

} // namespace

std::optional<std::vector<std::string>> select_files(options_t const& options) {
    std::vector<std::string> paths;
    std::vector<std::string> seen; // resolved paths of `paths` and `missing`
    if (!options.from_database) {
        for (std::string const& file : options.files)
            add_once(paths, seen, file);
        return paths;
    }
    const std::string database = database_path(options.bdp, options.project);
    if (!exists(database)) {
        std::fprintf(stderr, "%s: no such project database\n", database.c_str());
        return std::nullopt;
    }
    std::string error;
    const std::list<std::string> names = component_names(options.bdp, options.project, &error);
    if (!error.empty()) {
        std::fprintf(stderr, "pomaint: cannot read the project database: %s\n", error.c_str());
        return std::nullopt;
    }
    std::vector<std::string> missing;
    for (std::string const& name : names) {
        const std::string path = po_file_path(options.bdp, name);
        add_once(exists(path) ? paths : missing, seen, path);
    }
    for (std::string const& path : missing)
        std::fprintf(stderr, "%s: no such PO file, skipped\n", path.c_str());
    return paths;
}
