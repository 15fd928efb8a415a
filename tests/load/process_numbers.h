#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace qartest {

/// @return how many descriptors a process has open
inline std::size_t OpenDescriptors(pid_t pid) {
    const std::filesystem::path files = "/proc/" + std::to_string(pid) + "/fd";
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(files), {}));
}

/// @return the memory that a process has in RAM
inline std::int64_t ResidentKib(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;) {
        std::int64_t kib = 0;
        if (word == "VmRSS:" && status >> kib) return kib;
    }
    throw std::runtime_error("no VmRSS of process " + std::to_string(pid));
}

}  // namespace qartest
