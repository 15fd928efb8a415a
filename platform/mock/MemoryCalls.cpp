#include "mock/MemoryCalls.h"

#include <cerrno>
#include <cstring>

#include "mock/Platform.h"
#include "qarutil/SecureMemory.h"

namespace qarmock {

std::vector<MemoryCall> MemoryCalls::All() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

void MemoryCalls::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
}

void MemoryCalls::Add(const MemoryCall& call) {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(call);
}

namespace {

void Record(const MemoryCall& call) {
    if (Platform* platform = Platform::Installed()) platform->memory.Add(call);
}

int Fill(void* dest, std::size_t dest_size, int value, std::size_t count) {
    if (dest == nullptr) return EINVAL;
    if (count > dest_size) return ERANGE;
    std::memset(dest, value, count);
    return 0;
}

int Copy(void* dest, std::size_t dest_size, const void* src, std::size_t count) {
    if (dest == nullptr) return EINVAL;
    if (src == nullptr || count > dest_size) {
        std::memset(dest, 0, dest_size);
        return src == nullptr ? EINVAL : ERANGE;
    }
    std::memcpy(dest, src, count);
    return 0;
}

}  // namespace
}  // namespace qarmock

namespace qarutil {

int memset_s(void* dest, std::size_t dest_size, int value, std::size_t count) {
    const int result = qarmock::Fill(dest, dest_size, value, count);
    qarmock::Record({"memset_s", dest, dest_size, nullptr, value, count, result});
    return result;
}

int memcpy_s(void* dest, std::size_t dest_size, const void* src, std::size_t count) {
    const int result = qarmock::Copy(dest, dest_size, src, count);
    qarmock::Record({"memcpy_s", dest, dest_size, src, 0, count, result});
    return result;
}

}  // namespace qarutil
