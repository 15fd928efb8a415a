#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "platform/PlatformTest.h"
#include "qarutil/ThreadManager.h"

namespace platform_tests {
namespace {

/// Ticks as they came. Shared with the timer's function, so that a late call finds it.
class Ticks {
public:
    void Add(unsigned long long n_tick) {
        std::lock_guard<std::mutex> lock(mutex_);
        ticks_.push_back(n_tick);
    }
    std::vector<unsigned long long> All() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return ticks_;
    }
    std::size_t Count() const { return All().size(); }

private:
    mutable std::mutex mutex_;
    std::vector<unsigned long long> ticks_;
};

class TimerTest : public PlatformTest {
protected:
    ~TimerTest() override {
        for (const char* name : {"first", "second"}) timers_->DelTimer(name);
    }

    qar::IThreadManager::TimerFunc Record(const std::shared_ptr<Ticks>& ticks) {
        return [ticks](unsigned long long n_tick) { ticks->Add(n_tick); };
    }
    bool WaitForTicks(const std::shared_ptr<Ticks>& ticks, std::size_t count) {
        return WaitUntil([&] { return ticks->Count() >= count; });
    }

    qar::IThreadManager* timers_ = qar::IThreadManager::Instance();
    std::shared_ptr<Ticks> ticks_ = std::make_shared<Ticks>();
};

TEST_F(TimerTest, OneObjectPerProcess) {
    ASSERT_NE(timers_, nullptr);
    EXPECT_EQ(qar::IThreadManager::Instance(), timers_);
}

TEST_F(TimerTest, CountBeginsAtOneAndGrowsByOne) {
    ASSERT_TRUE(timers_->NewTimer("first", 5, Record(ticks_), 0));
    ASSERT_TRUE(WaitForTicks(ticks_, 5));
    timers_->DelTimer("first");
    const auto seen = ticks_->All();
    for (std::size_t i = 0; i < seen.size(); ++i) EXPECT_EQ(seen[i], i + 1);
}

TEST_F(TimerTest, EmptyFunctionAndIntervalOfNothingAreRefused) {
    EXPECT_FALSE(timers_->NewTimer("first", 5, nullptr, 0));
    EXPECT_FALSE(timers_->NewTimer("first", 0, Record(ticks_), 0));
    EXPECT_TRUE(timers_->NewTimer("first", 5, Record(ticks_), 0)) << "the name is free still";
}

TEST_F(TimerTest, SecondTimerOfANameIsTrueAndChangesNothing) {
    auto other = std::make_shared<Ticks>();
    ASSERT_TRUE(timers_->NewTimer("first", 5, Record(ticks_), 0));
    EXPECT_TRUE(timers_->NewTimer("first", 1, Record(other), 0));
    ASSERT_TRUE(WaitForTicks(ticks_, 3));
    EXPECT_EQ(other->Count(), 0u);
}

TEST_F(TimerTest, NoCallComesAfterTheTimerWasEnded) {
    auto other = std::make_shared<Ticks>();
    ASSERT_TRUE(timers_->NewTimer("first", 5, Record(ticks_), 0));
    ASSERT_TRUE(timers_->NewTimer("second", 5, Record(other), 0));
    ASSERT_TRUE(WaitForTicks(ticks_, 1));
    timers_->DelTimer("first");
    const std::size_t count = ticks_->Count();
    const std::size_t others = other->Count();
    ASSERT_TRUE(WaitForTicks(other, others + 5));
    EXPECT_EQ(ticks_->Count(), count);
}

TEST_F(TimerTest, NameIsFreeAgainAndCountsFromOne) {
    ASSERT_TRUE(timers_->NewTimer("first", 5, Record(ticks_), 0));
    ASSERT_TRUE(WaitForTicks(ticks_, 2));
    timers_->DelTimer("first");
    auto again = std::make_shared<Ticks>();
    ASSERT_TRUE(timers_->NewTimer("first", 5, Record(again), 0));
    ASSERT_TRUE(WaitForTicks(again, 1));
    EXPECT_EQ(again->All()[0], 1u);
}

TEST_F(TimerTest, EndingWhatDoesNotRunIsHarmless) {
    timers_->DelTimer("first");
    timers_->DelTimer("");
}

TEST_F(TimerTest, FunctionMayEndItsOwnTimerAndThatCallIsTheLast) {
    auto other = std::make_shared<Ticks>();
    auto* timers = timers_;
    ASSERT_TRUE(timers_->NewTimer(
        "first", 5,
        [timers, ticks = ticks_](unsigned long long n_tick) {
            timers->DelTimer("first");
            ticks->Add(n_tick);
        },
        0));
    ASSERT_TRUE(timers_->NewTimer("second", 5, Record(other), 0));
    ASSERT_TRUE(WaitForTicks(ticks_, 1));
    ASSERT_TRUE(WaitForTicks(other, other->Count() + 5));
    EXPECT_EQ(ticks_->Count(), 1u);
}

TEST_F(TimerTest, FunctionThatThrowsIsCalledAgain) {
    ASSERT_TRUE(timers_->NewTimer(
        "first", 5,
        [ticks = ticks_](unsigned long long n_tick) {
            ticks->Add(n_tick);
            if (n_tick == 1) throw std::runtime_error("on purpose");
            if (n_tick == 2) throw 5;
        },
        0));
    EXPECT_TRUE(WaitForTicks(ticks_, 3));
}

TEST_F(TimerTest, FunctionMayStartAnotherTimer) {
    auto other = std::make_shared<Ticks>();
    auto* timers = timers_;
    const auto record = Record(other);
    ASSERT_TRUE(timers_->NewTimer(
        "first", 5, [timers, record](unsigned long long) { timers->NewTimer("second", 5, record, 0); }, 0));
    EXPECT_TRUE(WaitForTicks(other, 2));
}

}  // namespace
}  // namespace platform_tests
