#include "standalone/log/LogWriter.h"

#include <chrono>
#include <string>
#include <utility>

#include "standalone/log/PlatformLog.h"

namespace qarplatform {

LogWriter::LogWriter(LogOutput output, const Limits& limits)
    : output_(std::move(output)), limits_(limits), thread_([this] { Run(); }) {}

LogWriter::~LogWriter() { Stop(); }

bool LogWriter::Post(LogEntry& entry) {
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_) return false;
        const std::size_t bytes = waiting_bytes_ + entry.text.size();
        if (lost_ > 0 || waiting_.size() >= limits_.entries || (!waiting_.empty() && bytes > limits_.bytes)) {
            ++lost_;
            return true;
        }
        wake = waiting_.empty();
        urgent_ = urgent_ || entry.level >= kLogWarning;
        waiting_bytes_ = bytes;
        waiting_.push_back(std::move(entry));
        wake = wake || urgent_ || IsHalfFull();
    }
    if (wake) changed_.notify_one();
    return true;
}

void LogWriter::Stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
    }
    changed_.notify_one();
    if (thread_.joinable()) thread_.join();
}

void LogWriter::Run() {
    bool more = true;
    while (more) {
        std::deque<LogEntry> entries;
        unsigned long long lost = 0;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [this] { return stopped_ || !waiting_.empty(); });
            changed_.wait_for(lock, limits_.gather, [this] { return stopped_ || urgent_ || IsHalfFull(); });
            entries.swap(waiting_);
            waiting_bytes_ = 0;
            urgent_ = false;
            lost = std::exchange(lost_, 0);
            more = !stopped_;
        }
        for (const LogEntry& entry : entries) output_.Write(entry);
        if (lost > 0) {
            output_.Write({std::chrono::system_clock::now(), kLogWarning, kModulePlatform,
                           std::to_string(lost) + " log lines were lost, as the log could not be written fast enough"});
        }
    }
}

}  // namespace qarplatform
