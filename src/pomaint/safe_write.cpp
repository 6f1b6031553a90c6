#include "pomaint/safe_write.h"

#include <QSaveFile>

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

bool replace_file(std::string const& path, QByteArray const& content, std::string& error) {
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0) {
        error = std::strerror(errno);
        return false;
    }
    if (S_ISLNK(status.st_mode)) {
        error = "a symbolic link; edit the file it points to";
        return false;
    }
    // The rename would succeed over a read-only file in a writable directory;
    // the file's own permission is the owner's intent and is honoured.
    if (::access(path.c_str(), W_OK) != 0) {
        error = std::strerror(errno);
        return false;
    }
    QSaveFile file(QString::fromStdString(path));
    // Never fall back to writing the file in place.
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() ||
        !file.commit()) {
        error = file.errorString().toStdString();
        file.cancelWriting();
        return false;
    }
    // The rename itself reaches the disk with the directory.
    const std::string::size_type slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
    return true;
}
