#include "host/StopWatch.h"

#include <cstddef>
#include <map>
#include <system_error>
#include <utility>

#include "host/Report.h"

namespace qarhost {

namespace {

constexpr std::size_t kMostTold = 10;

}  // namespace

StopWatch::StopWatch(Look look, std::chrono::milliseconds first, std::chrono::milliseconds each)
    : look_(std::move(look)) {
    try {
        thread_ = std::thread([this, first, each] { Watch(first, each); });
    } catch (const std::system_error&) {
        // the stop goes on without
    }
}

StopWatch::~StopWatch() {
    {
        const std::lock_guard guard(lock_);
        over_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void StopWatch::Enter(const std::string& part) {
    const std::lock_guard guard(lock_);
    part_ = part;
}

void StopWatch::Watch(std::chrono::milliseconds first, std::chrono::milliseconds each) {
    std::unique_lock lock(lock_);
    for (auto wait = first; !changed_.wait_for(lock, wait, [this] { return over_; }); wait = each) {
        lock.unlock();
        TellOnce();
        lock.lock();
    }
}

void StopWatch::TellOnce() {
    try {
        std::string part;
        {
            const std::lock_guard guard(lock_);
            part = part_;
        }
        TellError(StopText(part, look_()));
    } catch (...) {
        // out of memory: the line is lost, the stop goes on
    }
}

std::string StopText(const std::string& part, const std::vector<std::string>& running) {
    std::map<std::string, std::size_t> counts;
    for (const std::string& text : running) ++counts[text];
    std::string line = "the stop waits for " + part;
    std::size_t told = 0;
    for (const auto& [text, count] : counts) {
        line += told == 0 ? ": " : "; ";
        if (told++ == kMostTold) {
            line += std::to_string(counts.size() - kMostTold) + " more";
            break;
        }
        line += text;
        if (count > 1) line += " (" + std::to_string(count) + " times)";
    }
    return line + ". Another SIGTERM ends the process at once";
}

}  // namespace qarhost
