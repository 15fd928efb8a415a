#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace qarplatform {

/// Lets a few threads at a time do what is costly; others wait in the order in which they came, only so many of them.
/// Threads: any.
class WorkSlots {
public:
    enum class Entry { kIn, kFull, kClosed };

    /// Closed at first.
    WorkSlots(int working, int waiting) : working_limit_(working), waiting_limit_(waiting) {}

    void Open();
    /// Sends off who waits, and waits for who works.
    void Close();

    /// Blocks until there is a slot. @return kIn: the caller must call Leave
    Entry Enter();
    void Leave();

private:
    const int working_limit_;
    const int waiting_limit_;
    std::mutex mutex_;
    std::condition_variable changed_;
    // guarded by mutex_
    bool open_ = false;
    int working_ = 0;
    int waiting_ = 0;
    uint64_t next_ticket_ = 0;
    uint64_t next_in_ = 0;
};

}  // namespace qarplatform
