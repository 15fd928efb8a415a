#include "Fetcher.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>

namespace backfill {
namespace {

namespace fs = std::filesystem;

// every {name} that is known is replaced; anything else stays as it is
std::string Fill(const std::string& pattern, const std::map<std::string, std::string>& values) {
    std::string filled;
    std::size_t at = 0;
    while (at < pattern.size()) {
        const std::size_t open = pattern.find('{', at);
        const std::size_t close = open == std::string::npos ? open : pattern.find('}', open);
        if (close == std::string::npos) break;
        const auto value = values.find(pattern.substr(open + 1, close - open - 1));
        filled.append(pattern, at, open - at);
        if (value == values.end()) {
            filled += '{';
            at = open + 1;
        } else {
            filled += value->second;
            at = close + 1;
        }
    }
    return filled.append(pattern, at, std::string::npos);
}

bool Sync(const std::string& path, int flags, std::string& error) {
    const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
    const bool synced = fd >= 0 && ::fsync(fd) == 0;
    if (!synced) error = path + ": " + std::strerror(errno);
    if (fd >= 0) ::close(fd);
    return synced;
}

}  // namespace

std::vector<std::string> Fetcher::Command(const std::vector<std::string>& pattern, const RangeQueue::Job& job,
                                          const CameraSource& source, const std::string& out) {
    const std::map<std::string, std::string> values = {
        {"camera", std::to_string(job.key.camera)},
        {"busi", std::to_string(job.key.busi)},
        {"begin", job.range.begin.iso},
        {"end", job.range.end.iso},
        {"begin_unix", std::to_string(job.range.begin.unix_s)},
        {"end_unix", std::to_string(job.range.end.unix_s)},
        {"archive", source.archive},
        {"address", source.address},
        {"port", std::to_string(source.port)},
        {"out", out},
    };
    std::vector<std::string> command;
    command.reserve(pattern.size());
    for (const std::string& part : pattern) command.push_back(Fill(part, values));
    return command;
}

FetchResult Fetcher::Fetch(const RangeQueue::Job& job, const CameraSource& source, const StopEvent& stop) const {
    FetchResult result;
    const std::string folder =
        config_.out_dir + "/camera_" + std::to_string(job.key.camera) + "/busi_" + std::to_string(job.key.busi);
    std::error_code code;
    fs::create_directories(folder, code);
    if (code) {
        result.error = "cannot make the folder " + folder + ": " + code.message();
        return result;
    }
    result.file =
        folder + "/" + std::to_string(job.range.begin.unix_s) + "-" + std::to_string(job.range.end.unix_s) + ".bin";
    const std::string part = result.file + ".part";
    // what an attempt left that was cut off must not be taken for the work of this one
    fs::remove(part, code);
    if (code) {
        result.error = "cannot remove " + part + ": " + code.message();
        return result;
    }
    const ChildResult child = RunChild(Command(config_.fetch, job, source, part), config_.timeout, stop);
    result.success = child.success;
    result.error = child.error;
    if (result.success) PutInPlace(folder, part, result);
    // half a range only takes room, which may be what was missing
    if (!result.success) fs::remove(part, code);
    return result;
}

void Fetcher::PutInPlace(const std::string& folder, const std::string& part, FetchResult& result) {
    result.success = false;
    std::error_code code;
    const auto size = fs::file_size(part, code);
    if (code) {
        result.error = "the command wrote no file " + part + ": " + code.message();
        return;
    }
    // the range is deleted from the history next, so what was fetched must outlive a loss of power
    if (!Sync(part, O_RDONLY, result.error)) return;
    fs::rename(part, result.file, code);
    if (code) {
        result.error = "cannot put " + result.file + " in place: " + code.message();
        return;
    }
    if (!Sync(folder, O_RDONLY | O_DIRECTORY, result.error)) return;
    result.bytes = static_cast<long long>(size);
    result.success = true;
}

}  // namespace backfill
