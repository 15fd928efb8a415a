#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

namespace qarplatform {

/// How many bytes some bodies may hold together. Threads: any.
class BodyBudget {
public:
    explicit BodyBudget(uint64_t bytes) : bytes_(bytes) {}

private:
    friend class BodyShare;

    const uint64_t bytes_;
    std::atomic<uint64_t> held_{0};
};

/// What one body holds of a budget, given back at its end. Threads: one at a time.
class BodyShare {
public:
    explicit BodyShare(std::shared_ptr<BodyBudget> budget) : budget_(std::move(budget)) {}
    ~BodyShare();
    BodyShare(BodyShare&& other) noexcept
        : budget_(std::move(other.budget_)), bytes_(std::exchange(other.bytes_, uint64_t{0})) {}
    BodyShare& operator=(BodyShare&&) = delete;

    /// @param bytes  of the whole body so far, not less than before
    /// @return false when the budget lacks them; the share stays as it is
    bool Grow(uint64_t bytes);

private:
    std::shared_ptr<BodyBudget> budget_;
    uint64_t bytes_ = 0;
};

}  // namespace qarplatform
