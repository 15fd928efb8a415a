#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <thread>

#include "standalone/log/LogEntry.h"
#include "standalone/log/LogOutput.h"

namespace qarplatform {

/// Takes entries from any thread and writes them on a thread of its own, so that a slow output holds up nobody. While
/// the queue is full entries are dropped; one line then tells how many. Nothing is cut. Entries wait a moment for
/// others, as waking the thread for each costs its poster more than the entry; a warning or worse, half a queue and the
/// end cut that short.
class LogWriter {
public:
    /// How much may wait, and how long. A single entry is taken whatever its length when none waits.
    struct Limits {
        std::size_t entries = 8192;
        std::size_t bytes = 16 << 20;
        std::chrono::milliseconds gather{5};
    };

    /// Starts the thread. Throws std::system_error when none can be made.
    LogWriter(LogOutput output, const Limits& limits);
    ~LogWriter();
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// Never waits for the output.
    /// @param entry  taken over, or dropped for want of room
    /// @return false when the writer has stopped; `entry` is as it was then
    bool Post(LogEntry& entry);

    /// Writes out what waits and ends the thread. Harmless when it has ended.
    void Stop();

private:
    void Run();
    bool IsHalfFull() const { return waiting_.size() > limits_.entries / 2 || waiting_bytes_ > limits_.bytes / 2; }

    LogOutput output_;  // of the thread
    const Limits limits_;

    std::mutex mutex_;
    std::condition_variable changed_;
    // guarded by mutex_
    std::deque<LogEntry> waiting_;
    std::size_t waiting_bytes_ = 0;
    bool urgent_ = false;          // a warning or worse waits
    unsigned long long lost_ = 0;  // since waiting_ was last taken; nothing is queued behind a loss
    bool stopped_ = false;

    std::thread thread_;
};

}  // namespace qarplatform
