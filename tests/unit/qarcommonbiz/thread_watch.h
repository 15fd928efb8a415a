#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qar::history_test {

/// Threads under watch. One that does not come on for a minute ends the process with a list of what each is doing: a
/// thread that hangs can neither be joined nor left behind.
class ThreadWatch {
public:
    /// One thread's word on what it is doing.
    class Place {
    public:
        explicit Place(std::string name) : name_(std::move(name)) {}
        /// @param what  must live on
        void Doing(const char* what) {
            what_ = what;
            ++steps_;
        }

    private:
        friend class ThreadWatch;

        const std::string name_;
        std::atomic<const char*> what_{"start"};
        std::atomic<unsigned long long> steps_{0};
        bool done_ = false;                                     // guarded by mutex_
        unsigned long long seen_ = 0;                           // of the watching thread alone
        std::chrono::steady_clock::time_point seen_at_{Now()};  // of the watching thread alone
    };
    using Work = std::function<void(Place&)>;

    ThreadWatch() = default;
    ThreadWatch(const ThreadWatch&) = delete;
    ThreadWatch& operator=(const ThreadWatch&) = delete;
    ~ThreadWatch() { Join(); }

    void Start(const std::string& name, Work work) {
        const auto place = std::make_shared<Place>(name);
        std::lock_guard<std::mutex> lock(mutex_);
        places_.push_back(place);
        threads_.emplace_back([this, place, work = std::move(work)] {
            work(*place);
            std::lock_guard<std::mutex> done_lock(mutex_);
            place->done_ = true;
            changed_.notify_all();
        });
    }

    /// Waits for all of them.
    void Join() {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            while (!changed_.wait_for(lock, kLook, [this] { return AllDone(); })) FailIfOneHangs();
        }
        for (std::thread& thread : threads_) thread.join();
        threads_.clear();
        places_.clear();
    }

private:
    static constexpr std::chrono::seconds kLook{1};
    static constexpr std::chrono::seconds kPatience{60};

    static std::chrono::steady_clock::time_point Now() { return std::chrono::steady_clock::now(); }

    bool AllDone() const {
        for (const auto& place : places_) {
            if (!place->done_) return false;
        }
        return true;
    }

    void FailIfOneHangs() {
        const auto now = Now();
        bool hangs = false;
        for (const auto& place : places_) {
            const unsigned long long steps = place->steps_;
            if (place->done_ || steps != place->seen_) {
                place->seen_ = steps;
                place->seen_at_ = now;
            } else if (now - place->seen_at_ > kPatience) {
                hangs = true;
            }
        }
        if (!hangs) return;
        std::fprintf(stderr, "a thread hangs:\n");
        for (const auto& place : places_) {
            const auto since = std::chrono::duration_cast<std::chrono::seconds>(now - place->seen_at_).count();
            std::fprintf(stderr, "  %s: %s for %lld s\n", place->name_.c_str(),
                         place->done_ ? "has ended" : place->what_.load(), static_cast<long long>(since));
        }
        std::abort();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::shared_ptr<Place>> places_;
    std::vector<std::thread> threads_;
};

/// Runs something on a thread of its own and waits for it, a minute at most.
inline void RunWatched(const char* name, const std::function<void()>& work) {
    ThreadWatch watch;
    watch.Start(name, [&](ThreadWatch::Place& place) {
        place.Doing(name);
        work();
    });
    watch.Join();
}

/// Holds threads up until it is opened.
class Gate {
public:
    void Pass() {
        std::unique_lock<std::mutex> lock(mutex_);
        ++arrived_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return open_; });
    }
    /// Waits until as many threads have come as told, whether or not it is open.
    void Await(int count) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return arrived_ >= count; });
    }
    void Open() {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int arrived_ = 0;
    bool open_ = false;
};

}  // namespace qar::history_test
