#pragma once

#include <chrono>
#include <functional>

namespace qartest {

constexpr std::chrono::seconds kDeadline{90};

/// Waits until a condition holds, testing it every few milliseconds.
/// @return whether it came to hold before the deadline
bool Eventually(const std::function<bool()>& condition, std::chrono::milliseconds deadline = kDeadline);

}  // namespace qartest
