#include "pomaint/selection.h"

#include "db/bdp.h"

#include <algorithm>
#include <cstdio>
#include <sys/stat.h>

namespace {

// A component listed twice in the database is still one file.
void add_once(std::vector<std::string>& paths, std::string const& path) {
    if (std::find(paths.begin(), paths.end(), path) == paths.end())
        paths.push_back(path);
}

bool exists(std::string const& path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

} // namespace

std::optional<std::vector<std::string>> select_files(options_t const& options) {
    std::vector<std::string> paths;
    if (!options.from_database) {
        for (std::string const& file : options.files)
            add_once(paths, file);
        return paths;
    }
    const std::string database = database_path(options.bdp, options.project);
    if (!exists(database)) {
        std::fprintf(stderr, "pomaint: %s: no such project database\n", database.c_str());
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
        add_once(exists(path) ? paths : missing, path);
    }
    for (std::string const& path : missing)
        std::fprintf(stderr, "pomaint: %s: no such PO file, skipped\n", path.c_str());
    return paths;
}
