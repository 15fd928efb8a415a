#include "soak/process_watch.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace soak {

namespace {

namespace fs = std::filesystem;

std::set<std::string> Threads(const fs::path& process) {
    std::set<std::string> threads;
    for (const auto& entry : fs::directory_iterator(process / "task")) threads.insert(entry.path().filename());
    return threads;
}

std::set<std::string> Descriptors(const fs::path& process) {
    std::set<std::string> descriptors;
    for (const auto& entry : fs::directory_iterator(process / "fd")) {
        std::error_code closed_meanwhile;
        const fs::path target = fs::read_symlink(entry.path(), closed_meanwhile);
        if (!closed_meanwhile) descriptors.insert(entry.path().filename().string() + " " + target.string());
    }
    return descriptors;
}

// The process's share of what lies in memory.
std::int64_t MemoryKib(const fs::path& process) {
    std::ifstream rollup(process / "smaps_rollup");
    for (std::string word; rollup >> word;) {
        std::int64_t kib = 0;
        if (word == "Pss:" && rollup >> kib) return kib;
    }
    throw std::runtime_error("cannot read the memory of " + process.string());
}

void KeepCommon(std::set<std::string>& kept, const std::set<std::string>& seen) {
    std::erase_if(kept, [&](const std::string& text) { return seen.count(text) == 0; });
}

}  // namespace

void ProcessWatch::Look() {
    const fs::path process = fs::path("/proc") / std::to_string(pid_);
    const std::int64_t memory_kib = MemoryKib(process);
    if (looks_++ == 0) {
        threads_ = Threads(process);
        descriptors_ = Descriptors(process);
        memory_kib_ = memory_kib;
        return;
    }
    KeepCommon(threads_, Threads(process));
    KeepCommon(descriptors_, Descriptors(process));
    memory_kib_ = std::min(memory_kib_, memory_kib);
}

std::optional<ResourceSample> ProcessWatch::EndStretch() {
    if (looks_ == 0) return std::nullopt;
    looks_ = 0;
    ResourceSample sample;
    sample.threads = threads_.size();
    for (const std::string& descriptor : descriptors_) {
        const bool of_database = !database_.empty() && descriptor.find(" " + database_ + "/") != std::string::npos;
        ++(of_database ? sample.database_descriptors : sample.descriptors);
    }
    sample.memory_kib = memory_kib_;
    return sample;
}

}  // namespace soak
