#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace qarmock {

/// One call of the bounds-checked memory functions.
struct MemoryCall {
    std::string function;  ///< "memset_s" or "memcpy_s"
    void* dest;
    std::size_t dest_size;
    const void* src;  ///< null for memset_s
    int value;        ///< 0 for memcpy_s
    std::size_t count;
    int result;
};

/// The calls of the bounds-checked memory functions, in order. Threads: any.
class MemoryCalls {
public:
    std::vector<MemoryCall> All() const;
    void Clear();
    void Add(const MemoryCall& call);

private:
    mutable std::mutex mutex_;
    std::vector<MemoryCall> calls_;
};

}  // namespace qarmock
