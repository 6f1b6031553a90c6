#include "pomaint/commands.h"
#include "pomaint/document.h"
#include "pomaint/options.h"
#include "pomaint/safe_write.h"
#include "pomaint/span_edit.h"

#include "pos/pos.h"

#include <QDir>
#include <QFile>
#include <QTemporaryFile>

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

namespace {

enum class edit_t { unchanged, changed, failed };

using file_t = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

// `how` tells which check refused the rewrite.
void reportRefused(std::string const& path, char const* how, std::string const& why) {
    std::fprintf(stderr, "%s: cannot be rewritten%s: %s; left unchanged\n", path.c_str(), how,
                 why.c_str());
}

// Starts the output again, empty.
void clear(std::FILE* out) {
    std::fflush(out);
    if (::ftruncate(::fileno(out), 0) != 0) {
        // /dev/null has nothing to take back.
    }
    std::rewind(out);
}

// Edits the file by the scanner's spans into `out`; `expected` receives the
// digest of the records the new file must hold. Nothing when the file must
// go through the DOM instead.
std::optional<edit_t> editBySpans(std::string const& path, std::FILE* out,
                                  edit_request_t const& request, QByteArray& expected) {
    const file_t original(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!original)
        return std::nullopt; // the DOM path names the reason
    span_editor_t editor(original.get(), out, request);
    try {
        if (!read_po_file(path, editor))
            return edit_t::failed;
    } catch (not_by_spans_t const&) {
        return std::nullopt;
    }
    if (!editor.finish())
        return std::nullopt;
    expected = editor.expected();
    return editor.changed() ? edit_t::changed : edit_t::unchanged;
}

// Why the file written at `written` does not hold the records `expected`
// (the scanner must read it whole), or nothing when it does.
std::optional<std::string> checkSpans(std::string const& written, QByteArray const& expected) {
    record_digest_t digest;
    try {
        if (pos::readPoFile(written, digest).read == pos::po_read_t::read &&
            digest.result() == expected)
            return std::nullopt;
    } catch (not_by_spans_t const&) {
        return std::string("the edited bytes are not read as the edit meant");
    } catch (std::out_of_range const&) {
    }
    return std::string("the edited file does not hold the goals the edit meant");
}

// The operation on the whole document.
edit_t editDom(std::string const& path, edit_request_t const& request, QDomDocument& doc) {
    if (request.op == edit_op_t::unprove) {
        // A file that was already unproved keeps its exact bytes.
        const QByteArray before = serialise(doc);
        pos::unprove(doc);
        return serialise(doc) == before ? edit_t::unchanged : edit_t::changed;
    }
    bool removed = false;
    if (!pos::removeMechanism(doc, request.mechanism, removed)) {
        std::fprintf(stderr, "%s: a mechanism could not be removed\n", path.c_str());
        return edit_t::failed;
    }
    return removed ? edit_t::changed : edit_t::unchanged;
}

// The DOM rewrite: loads the file, applies the operation and writes the
// document whole to `out`; `edited` keeps it for the check.
edit_t editDocument(std::string const& path, std::FILE* out, edit_request_t const& request,
                    QDomDocument& edited) {
    if (!load_po_file(path, edited))
        return edit_t::failed;
    const edit_t result = editDom(path, request, edited);
    if (result == edit_t::changed) {
        const QByteArray content = serialise(edited);
        if (std::fwrite(content.constData(), 1, static_cast<std::size_t>(content.size()), out) !=
                static_cast<std::size_t>(content.size()) ||
            std::fflush(out) != 0)
            return edit_t::failed;
    }
    return result;
}

// Edits one file, by spans where the scanner takes it, else through the
// DOM; writes it, or prints it for a dry run, only once the new content is
// known to read as the operation means.
edit_t editFile(std::string const& path, edit_request_t const& request, bool dry_run) {
    std::string error = "no temporary file can be made";
    std::unique_ptr<replacement_t> replacement;
    // A dry run's output is checked like any rewrite before it is printed.
    QTemporaryFile scratch(QDir::tempPath() + QStringLiteral("/pomaint.XXXXXX"));
    file_t own(nullptr, &std::fclose);
    if (!dry_run)
        replacement = replacement_t::begin(path, error);
    else if (scratch.open())
        own.reset(std::fopen(QFile::encodeName(scratch.fileName()).constData(), "w+b"));
    // Without a place to write, the edit still tells whether the file would change.
    const bool discard = !replacement && !own;
    if (discard)
        own.reset(std::fopen("/dev/null", "wb"));
    std::FILE* out = replacement ? replacement->stream() : own.get();
    if (!out)
        return edit_t::failed;
    const std::string written =
        replacement ? replacement->tempPath() : QFile::encodeName(scratch.fileName()).toStdString();

    QByteArray expected;
    QDomDocument edited;
    std::optional<edit_t> result = editBySpans(path, out, request, expected);
    const bool bySpans = result.has_value();
    if (!bySpans) {
        clear(out);
        result = editDocument(path, out, request, edited);
    }
    if (*result != edit_t::changed)
        return *result;
    if (discard) {
        reportRefused(path, "", error);
        return edit_t::failed;
    }
    const std::optional<std::string> why =
        bySpans ? checkSpans(written, expected) : differenceAfterRewrite(written, edited);
    if (why) {
        reportRefused(path, " exactly", *why);
        return edit_t::failed;
    }
    if (dry_run) {
        std::printf("==> %s <==\n", path.c_str());
        std::fflush(stdout);
        std::rewind(out);
        char chunk[1 << 16];
        for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, out)) > 0;)
            std::fwrite(chunk, 1, n, stdout);
        return edit_t::changed;
    }
    if (!replacement->commit(error)) {
        reportRefused(path, "", error);
        return edit_t::failed;
    }
    std::printf("%s\n", path.c_str());
    return edit_t::changed;
}

} // namespace

int run_edit(std::vector<std::string> const& files, edit_request_t const& request, bool dry_run) {
    int status = 0, examined = 0, changed = 0;
    for (std::string const& path : files) {
        edit_t result;
        try {
            result = editFile(path, request, dry_run);
        } catch (pos::unknown_status_error const& unknown) {
            // A rule meets a status value that the count does not read.
            report_unknown_status(path, unknown);
            result = edit_t::failed;
        }
        if (result == edit_t::failed) {
            status = EXIT_TROUBLE;
            continue;
        }
        ++examined;
        if (result == edit_t::changed)
            ++changed;
    }
    // A misspelt name must not pass for a file that has nothing to remove;
    // when no file could be read, there is nothing to say about the name.
    if (request.op == edit_op_t::remove_mechanism && examined > 0 && changed == 0) {
        std::fprintf(stderr, "pomaint: no mechanism named \"%s\" in the selected files\n",
                     request.mechanism.c_str());
        if (status == 0)
            status = EXIT_INCONSISTENT;
    }
    return status;
}
