#include "pomaint/safe_write.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

// The temporary file that a signal ending the process must not leave behind.
// A handler may call only async-signal-safe functions, so the path is
// prepared here before the file exists, and it is global because a handler
// has no other way to reach it. One replacement at a time is pending.
char pending[4096];
volatile std::sig_atomic_t armed = 0;

constexpr int STOPPING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void remove_pending(int sig) {
    if (armed)
        ::unlink(pending);
    // The default action then ends the process as the signal meant to.
    ::signal(sig, SIG_DFL);
    ::raise(sig);
}

void add_signals(sigset_t& set) {
    ::sigemptyset(&set);
    for (int sig : STOPPING_SIGNALS)
        ::sigaddset(&set, sig);
}

// Installs the handler, except for a signal the process ignores (as under
// nohup), which it keeps ignoring. Installing it again changes nothing.
void handle_signals() {
    struct sigaction action {};
    action.sa_handler = remove_pending;
    add_signals(action.sa_mask);
    for (int sig : STOPPING_SIGNALS) {
        struct sigaction old {};
        if (::sigaction(sig, nullptr, &old) == 0 && old.sa_handler != SIG_IGN)
            ::sigaction(sig, &action, nullptr);
    }
}

// While it lives, the signals wait: the pending path changes hands whole.
class signals_held_t {
public:
    signals_held_t() {
        sigset_t set;
        add_signals(set);
        ::sigprocmask(SIG_BLOCK, &set, &old);
    }
    ~signals_held_t() { ::sigprocmask(SIG_SETMASK, &old, nullptr); }
    signals_held_t(signals_held_t const&) = delete;
    signals_held_t& operator=(signals_held_t const&) = delete;

private:
    sigset_t old;
};

std::string directoryOf(std::string const& path) {
    const std::string::size_type slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

} // namespace

replacement_t::replacement_t(std::string path_, std::string temp_, struct stat const& original_)
    : path(std::move(path_)), temp(std::move(temp_)), original(original_) {}

replacement_t::~replacement_t() {
    if (out)
        std::fclose(out);
    signals_held_t const held;
    if (!committed)
        ::unlink(temp.c_str());
    armed = 0;
}

std::unique_ptr<replacement_t> replacement_t::begin(std::string const& path, std::string& error) {
    const auto fail = [&error](int code) {
        error = std::strerror(code);
        return nullptr;
    };
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0)
        return fail(errno);
    if (S_ISLNK(status.st_mode)) {
        error = "a symbolic link; edit the file it points to";
        return nullptr;
    }
    // The rename would succeed over a read-only file in a writable directory;
    // the file's own permission is the owner's intent and is honoured.
    if (::access(path.c_str(), W_OK) != 0)
        return fail(errno);
    const std::string::size_type slash = path.rfind('/');
    std::string temp = path.substr(0, slash + 1) + "." + path.substr(slash + 1) + ".XXXXXX";
    if (temp.size() >= sizeof pending)
        return fail(ENAMETOOLONG);
    handle_signals();
    std::unique_ptr<replacement_t> replacement;
    int fd;
    {
        signals_held_t const held;
        fd = ::mkostemp(temp.data(), O_CLOEXEC);
        if (fd < 0)
            return fail(errno);
        std::memcpy(pending, temp.c_str(), temp.size() + 1);
        armed = 1;
        replacement.reset(new replacement_t(path, temp, status));
    }
    // From here on the replacement's end removes the temporary file.
    replacement->out = ::fdopen(fd, "wb");
    if (!replacement->out) {
        const int code = errno;
        ::close(fd);
        return fail(code);
    }
    return replacement;
}

bool replacement_t::commit(std::string& error) {
    const int fd = ::fileno(out);
    bool ok = std::fflush(out) == 0 && !std::ferror(out);
    // Owner first: changing it clears the set-user and set-group bits that
    // the mode then restores. Only root may give the file away; others may
    // still keep its group when they belong to it.
    if (ok && ::fchown(fd, original.st_uid, original.st_gid) != 0 &&
        ::fchown(fd, static_cast<uid_t>(-1), original.st_gid) != 0) {
        // The user's own uid and gid then: nothing else is allowed.
    }
    ok = ok && ::fchmod(fd, original.st_mode & 07777) == 0 && ::fdatasync(fd) == 0 &&
         std::fclose(std::exchange(out, nullptr)) == 0;
    if (!ok) {
        error = std::strerror(errno);
        return false;
    }
    {
        signals_held_t const held;
        committed = ::rename(temp.c_str(), path.c_str()) == 0;
        if (!committed) {
            error = std::strerror(errno);
            return false;
        }
        armed = 0;
    }
    // The rename itself reaches the disk with the directory.
    const int dir = ::open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}
