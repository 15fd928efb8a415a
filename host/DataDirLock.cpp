#include "host/DataDirLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

namespace qarhost {

namespace {

std::string LockPath(const std::string& data_dir) { return data_dir + "/qarhost.lock"; }

// A lock of the open file, not of the process: it is gone with the last holder of the descriptor.
struct flock WholeFile() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

pid_t ReadPid(int file) {
    std::array<char, 32> text{};
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    pid_t pid = 0;
    if (count > 0) std::from_chars(text.data(), text.data() + count, pid);
    return pid;
}

}  // namespace

DataDirLock::~DataDirLock() {
    if (file_ >= 0) close(file_);
}

bool DataDirLock::Take(const std::string& data_dir, std::string& error) {
    const std::string path = LockPath(data_dir);
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) {
        error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    struct flock lock = WholeFile();
    if (fcntl(file, F_OFD_SETLK, &lock) != 0) {
        error = errno == EAGAIN || errno == EACCES
                    ? "another host (pid " + std::to_string(ReadPid(file)) + ") runs on " + data_dir
                    : "cannot lock " + path + ": " + std::strerror(errno);
        close(file);
        return false;
    }
    file_ = file;
    const std::string pid = std::to_string(getpid()) + "\n";
    if (ftruncate(file, 0) != 0 || pwrite(file, pid.data(), pid.size(), 0) != static_cast<ssize_t>(pid.size())) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

std::optional<pid_t> DataDirLock::Holder(const std::string& data_dir) {
    const int file = open(LockPath(data_dir).c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return std::nullopt;
    std::optional<pid_t> holder;
    struct flock lock = WholeFile();
    if (fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) holder = ReadPid(file);
    close(file);
    return holder;
}

}  // namespace qarhost
