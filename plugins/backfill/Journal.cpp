#include "Journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace backfill {

Journal::~Journal() {
    if (fd_ >= 0) ::close(fd_);
}

bool Journal::Open(const std::string& path, std::string& error) {
    fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
    if (fd_ >= 0) return true;
    error = "cannot open the journal " + path + ": " + std::strerror(errno);
    return false;
}

void Journal::Told(const CameraKey& key, const TimeRange& range) { Write("told", key, range, ""); }

void Journal::Fetching(const CameraKey& key, const TimeRange& range) { Write("fetching", key, range, ""); }

void Journal::Failed(const CameraKey& key, const TimeRange& range, int attempt, const std::string& error) {
    std::string one_line = error;
    for (char& c : one_line) {
        if (static_cast<unsigned char>(c) < ' ') c = ' ';
    }
    Write("failed", key, range, " attempt=" + std::to_string(attempt) + " error=" + one_line);
}

void Journal::Done(const CameraKey& key, const TimeRange& range, long long bytes, const std::string& file) {
    Write("done", key, range, " bytes=" + std::to_string(bytes) + " file=" + file);
}

void Journal::Write(const char* event, const CameraKey& key, const TimeRange& range, const std::string& rest) {
    if (fd_ < 0) return;
    std::string line = std::string(event) + " camera=" + std::to_string(key.camera) +
                       " busi=" + std::to_string(key.busi) + " begin=" + range.begin.iso + " end=" + range.end.iso +
                       rest + "\n";
    const std::lock_guard<std::mutex> lock(mutex_);
    if (torn_) line.insert(0, "\n");
    ssize_t written = 0;
    do {
        written = ::write(fd_, line.data(), line.size());
    } while (written < 0 && errno == EINTR);
    // on a full disk a part of the line may have been written
    if (written > 0) torn_ = static_cast<std::size_t>(written) < line.size();
}

}  // namespace backfill
