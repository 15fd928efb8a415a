#include "standalone/auth/WorkSlots.h"

namespace qarplatform {

void WorkSlots::Open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
}

void WorkSlots::Close() {
    std::unique_lock<std::mutex> lock(mutex_);
    open_ = false;
    changed_.notify_all();
    changed_.wait(lock, [this] { return working_ == 0 && waiting_ == 0; });
}

WorkSlots::Entry WorkSlots::Enter() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!open_) {
        return Entry::kClosed;
    }
    if (working_ + waiting_ >= working_limit_ + waiting_limit_) {
        return Entry::kFull;
    }
    const uint64_t ticket = next_ticket_++;
    ++waiting_;
    changed_.wait(lock, [&] { return !open_ || (next_in_ == ticket && working_ < working_limit_); });
    --waiting_;
    if (!open_) {
        next_in_ = next_ticket_;
        changed_.notify_all();
        return Entry::kClosed;
    }
    ++next_in_;
    ++working_;
    changed_.notify_all();
    return Entry::kIn;
}

void WorkSlots::Leave() {
    const std::lock_guard<std::mutex> lock(mutex_);
    --working_;
    changed_.notify_all();
}

}  // namespace qarplatform
