#include "integration/support/eventually.h"

#include <thread>

namespace qartest {

bool Eventually(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    constexpr std::chrono::milliseconds kPause{5};
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

}  // namespace qartest
