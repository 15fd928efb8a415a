#include "standalone/log/LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <tuple>
#include <utility>

namespace qarplatform {

namespace {

constexpr mode_t kFileMode = 0640;

int OpenToAppend(const std::string& path, int flags) {
    return open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | flags, kFileMode);
}

/// @return the name of the rotated file: "log/host.log" is followed by "log/host.1.log", "log/host.2.log", …
std::string RotatedName(const std::string& path, std::size_t number) {
    const std::filesystem::path file(path);
    const std::string name = file.stem().string() + "." + std::to_string(number) + file.extension().string();
    return (file.parent_path() / name).string();
}

}  // namespace

LogFile::~LogFile() {
    if (!path_.empty()) close(fd_);
}

int LogFile::Open(const LogOptions& options) {
    const int fd = OpenToAppend(options.file, 0);
    if (fd < 0) return errno;
    fd_ = fd;
    path_ = options.file;
    max_bytes_ = options.max_bytes;
    files_ = options.files;
    return 0;
}

int LogFile::Append(std::string_view text) {
    std::size_t size = Size();
    if (size > 0 && size + text.size() > max_bytes_) {
        Rotate();
        size = Size();
    }
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t count = write(fd_, text.data() + written, text.size() - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            const int failure = errno;
            // a pipe refuses it
            if (written > 0 && !path_.empty()) std::ignore = ftruncate(fd_, static_cast<off_t>(size));
            return failure;
        }
    }
    return 0;
}

/// Of a file that can be rotated; 0 for anything else, a pipe say.
std::size_t LogFile::Size() const {
    struct stat status {};
    if (path_.empty() || fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    return static_cast<std::size_t>(status.st_size);
}

/// The new file is made first, so that nothing has moved when that fails.
void LogFile::Rotate() {
    const std::string new_path = path_ + ".new";
    const int fd = OpenToAppend(new_path, O_TRUNC);
    int failure = fd < 0 ? errno : MakeRoom();
    if (failure == 0 && rename(new_path.c_str(), path_.c_str()) != 0) failure = errno;
    if (failure == 0) {
        close(std::exchange(fd_, fd));
    } else if (fd >= 0) {
        close(fd);
        unlink(new_path.c_str());
    }
    if (failure != 0 && !rotation_failing_) {
        std::fprintf(stderr, "the log cannot be rotated: %s\n", std::strerror(failure));
    }
    rotation_failing_ = failure != 0;
}

/// Moves each file to the next number; the last one goes. @return 0, or an error number
int LogFile::MakeRoom() const {
    for (std::size_t number = files_; number > 0; --number) {
        const std::string from = number == 1 ? path_ : RotatedName(path_, number - 1);
        if (rename(from.c_str(), RotatedName(path_, number).c_str()) != 0 && errno != ENOENT) return errno;
    }
    return 0;
}

}  // namespace qarplatform
