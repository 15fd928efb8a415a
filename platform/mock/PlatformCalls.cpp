#include "mock/PlatformCalls.h"

#include "mock/Platform.h"

namespace qarmock {

void PlatformCalls::Fail(const std::string& operation, std::size_t n) {
    std::lock_guard<std::mutex> lock(mutex_);
    failing_.emplace(operation, n);
}

void PlatformCalls::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    counts_.clear();
    failing_.clear();
    made_.clear();
}

std::vector<std::string> PlatformCalls::Made() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return made_;
}

bool PlatformCalls::Count(const std::string& operation) {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::size_t n = ++counts_[operation];
    made_.push_back(operation + " " + std::to_string(n));
    return failing_.count({operation, n}) != 0;
}

bool CallFails(const std::string& operation) {
    Platform* platform = Platform::Installed();
    return platform != nullptr && platform->calls.Count(operation);
}

}  // namespace qarmock
