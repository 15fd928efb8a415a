#pragma once

#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

namespace test_support {

/// Work on a thread of its own, of which a test can tell whether it has to wait for something.
class OtherThread {
public:
    explicit OtherThread(std::function<void()> work)
        : thread_([this, work = std::move(work)] {
              id_ = gettid();
              work();
              done_ = true;
          }) {}
    ~OtherThread() { thread_.join(); }

    /// Looks until the thread sleeps or the work is done.
    /// @return true when it sleeps
    bool Waits() const {
        while (!done_) {
            if (id_ != 0 && Sleeps()) return true;
            std::this_thread::yield();
        }
        return false;
    }

private:
    bool Sleeps() const {
        std::ifstream file("/proc/self/task/" + std::to_string(id_) + "/stat");
        std::string text;
        std::getline(file, text);  // of a thread that ends meanwhile there is none; reading on by hand would throw
        return text.find(") S ") != std::string::npos;  // what stands in parentheses is the thread's name
    }

    std::atomic<pid_t> id_{0};
    std::atomic<bool> done_{false};
    std::thread thread_;
};

}  // namespace test_support
