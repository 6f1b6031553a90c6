// Replacing a file's content so that an interrupted run leaves either the old
// or the new content, never a mix.
#ifndef POMAINT_SAFE_WRITE_H
#define POMAINT_SAFE_WRITE_H

#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <string>

// The new content of one file, written to a temporary file beside it. Until
// commit() succeeds the original is untouched; dropping the object unlinks the
// temporary file, and so does SIGINT, SIGTERM or SIGHUP before the signal
// ends the process. One replacement at a time.
class replacement_t {
public:
    // Null, with `error` set, when the file may not be replaced: it cannot be
    // found, is a symbolic link (the rename would replace the link, not its
    // target), the process may not write it, or no temporary file can be made.
    static std::unique_ptr<replacement_t> begin(std::string const& path, std::string& error);
    ~replacement_t();
    replacement_t(replacement_t const&) = delete;
    replacement_t& operator=(replacement_t const&) = delete;

    std::FILE* stream() const { return out; }
    // Where the new content is written until commit().
    std::string const& tempPath() const { return temp; }

    // Gives the new file the old one's mode bits exactly and, where the user
    // may set them, its owner and group; flushes it to disk (fdatasync),
    // renames it over the original and syncs the directory.
    bool commit(std::string& error);

private:
    replacement_t(std::string path, std::string temp, struct stat const& original);
    std::string path;
    std::string temp;
    struct stat original;
    std::FILE* out = nullptr;
    bool committed = false;
};

#endif
