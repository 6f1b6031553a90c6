#include "pomaint/byte_edit.h"
#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"
#include "pomaint/safe_write.h"

#include "pos/pos.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

namespace {

enum class edit_t { unchanged, changed, failed };

struct file_closer_t {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using file_t = std::unique_ptr<std::FILE, file_closer_t>;

// A regular file, opened without blocking on a FIFO; null otherwise.
file_t openInput(std::string const& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return nullptr;
    struct stat status;
    std::FILE* f = nullptr;
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode))
        f = ::fdopen(fd, "rb");
    if (!f)
        ::close(fd);
    return file_t(f);
}

void reportUnwritable(std::string const& path, std::string const& error) {
    std::fprintf(stderr, "%s: cannot be rewritten: %s; left unchanged\n", path.c_str(),
                 error.c_str());
}

// Edits the file byte by byte: the new file differs from the old one only
// where the operation changes something. Nothing when the editor cannot vouch
// for the file; the caller then goes through the DOM.
std::optional<edit_t> editBytewise(std::string const& path, edit_request_t const& request,
                                   bool dry_run) {
    const file_t in = openInput(path);
    if (!in)
        return std::nullopt;
    if (dry_run) {
        const file_t edited(std::tmpfile());
        if (!edited)
            return std::nullopt;
        const byte_edit_t result = editBytes(in.get(), edited.get(), request);
        if (result == byte_edit_t::refused)
            return std::nullopt;
        if (result == byte_edit_t::changed) {
            std::printf("==> %s <==\n", path.c_str());
            std::rewind(edited.get());
            char chunk[1 << 16];
            for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, edited.get())) > 0;)
                std::fwrite(chunk, 1, n, stdout);
        }
        return result == byte_edit_t::changed ? edit_t::changed : edit_t::unchanged;
    }
    std::string error;
    const auto replacement = replacement_t::begin(path, error);
    if (!replacement) {
        // Only a file that would change needs to be written.
        const file_t discard(std::fopen("/dev/null", "wb"));
        if (!discard)
            return std::nullopt;
        const byte_edit_t result = editBytes(in.get(), discard.get(), request);
        if (result == byte_edit_t::refused)
            return std::nullopt;
        if (result == byte_edit_t::unchanged)
            return edit_t::unchanged;
        reportUnwritable(path, error);
        return edit_t::failed;
    }
    const byte_edit_t result = editBytes(in.get(), replacement->stream(), request);
    if (result == byte_edit_t::refused)
        return std::nullopt;
    if (result == byte_edit_t::unchanged)
        return edit_t::unchanged;
    if (!replacement->commit(error)) {
        reportUnwritable(path, error);
        return edit_t::failed;
    }
    std::printf("%s\n", path.c_str());
    return edit_t::changed;
}

// The DOM rewrite, for the files the byte-wise editor cannot vouch for: loads
// the file, lets `edit` change the document, and writes it back whole when it
// changed.
edit_t editDocument(std::string const& path, bool dry_run,
                    std::function<edit_t(std::string const&, QDomDocument&)> const& edit) {
    QDomDocument doc;
    if (!load_po_file(path, doc) || !decodes_cleanly(path))
        return edit_t::failed;
    edit_t result;
    try {
        result = edit(path, doc);
    } catch (pos::unknown_status_error const& unknown) {
        report_unknown_status(path, unknown);
        return edit_t::failed;
    }
    if (result != edit_t::changed)
        return result;
    const QByteArray content = serialise(doc);
    if (dry_run) {
        std::printf("==> %s <==\n", path.c_str());
        std::fwrite(content.constData(), 1, content.size(), stdout);
        return result;
    }
    std::string error;
    if (!replace_file(path, content, error)) {
        reportUnwritable(path, error);
        return edit_t::failed;
    }
    std::printf("%s\n", path.c_str());
    return result;
}

// Edits each file, byte by byte where possible; answers the exit status and
// counts the files examined and changed.
int edit_files(std::vector<std::string> const& files, bool dry_run, edit_request_t const& request,
               std::function<edit_t(std::string const&, QDomDocument&)> const& edit, int& examined,
               int& changed) {
    int status = 0;
    for (std::string const& path : files) {
        std::optional<edit_t> result = editBytewise(path, request, dry_run);
        if (!result)
            result = editDocument(path, dry_run, edit);
        if (*result == edit_t::failed) {
            status = EXIT_TROUBLE;
            continue;
        }
        ++examined;
        if (*result == edit_t::changed)
            ++changed;
    }
    return status;
}

} // namespace

int run_unprove(std::vector<std::string> const& files, bool dry_run) {
    int examined = 0, changed = 0;
    return edit_files(
        files, dry_run, edit_request_t{edit_op_t::unprove, {}},
        [](std::string const&, QDomDocument& doc) {
            // A file that was already unproved keeps its exact bytes.
            const QByteArray before = serialise(doc);
            pos::unprove(doc);
            return serialise(doc) == before ? edit_t::unchanged : edit_t::changed;
        },
        examined, changed);
}

int run_remove_mechanism(std::vector<std::string> const& files, std::string const& name,
                         bool dry_run) {
    int examined = 0, changed = 0;
    int status = edit_files(
        files, dry_run, edit_request_t{edit_op_t::remove_mechanism, name},
        [&name](std::string const& path, QDomDocument& doc) {
            bool removed = false;
            if (!pos::removeMechanism(doc, name, removed)) {
                std::fprintf(stderr, "%s: a mechanism could not be removed\n", path.c_str());
                return edit_t::failed;
            }
            return removed ? edit_t::changed : edit_t::unchanged;
        },
        examined, changed);
    // A misspelt name must not pass for a file that has nothing to remove;
    // when no file could be read, there is nothing to say about the name.
    if (examined > 0 && changed == 0) {
        std::fprintf(stderr, "pomaint: no mechanism named \"%s\" in the selected files\n",
                     name.c_str());
        if (status == 0)
            status = EXIT_INCONSISTENT;
    }
    return status;
}
