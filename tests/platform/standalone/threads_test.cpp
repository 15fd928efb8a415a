// What the interface promises of threads, which a platform without threads of its own cannot show.
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Mox/Base/ThreadPool.h"
#include "ZELPlatform/MsgBus.h"
#include "platform/PlatformTest.h"
#include "platform/standalone/Gate.h"
#include "qarutil/ThreadManager.h"

namespace platform_tests {
namespace {

class GateTask : public Mox::Base::CTask {
public:
    explicit GateTask(std::shared_ptr<Gate> gate) : gate_(std::move(gate)) {}
    void Exec() override { gate_->Pass(); }

private:
    std::shared_ptr<Gate> gate_;
};

class CountTask : public Mox::Base::CTask {
public:
    explicit CountTask(std::shared_ptr<std::atomic<int>> count) : count_(std::move(count)) {}
    void Exec() override { ++*count_; }

private:
    std::shared_ptr<std::atomic<int>> count_;
};

class PoolThreadsTest : public PlatformTest {
protected:
    ~PoolThreadsTest() override {
        gate_->Open();
        pool_.Stop(true);
    }
    void PostGates(int count) {
        for (int i = 0; i < count; ++i) pool_.PostTask(std::make_shared<GateTask>(gate_));
    }

    std::shared_ptr<Gate> gate_ = std::make_shared<Gate>();
    std::shared_ptr<std::atomic<int>> count_ = std::make_shared<std::atomic<int>>(0);
    Mox::Base::CMessageLoopDyThreadPool pool_;
};

TEST_F(PoolThreadsTest, PoolGrowsToItsMostWorkersAndNotBeyond) {
    ASSERT_TRUE(pool_.Start(3, 7, 5));
    PostGates(9);
    EXPECT_TRUE(gate_->WaitForWaiting(7)) << "seven run at a time";
    EXPECT_EQ(pool_.GetWorkTaskCount(), 9);
    EXPECT_EQ(gate_->Waiting(), 7);
    gate_->Open();
    EXPECT_TRUE(WaitUntil([this] { return pool_.GetWorkTaskCount() == 0; }));
    EXPECT_EQ(gate_->Waiting(), 9);
}

TEST_F(PoolThreadsTest, StopWithoutWaitReturnsWhileATaskRunsAndThatTaskFinishes) {
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    PostGates(1);
    ASSERT_TRUE(gate_->WaitForWaiting(1));
    pool_.PostTask(std::make_shared<CountTask>(count_));
    pool_.Stop(false);
    ASSERT_TRUE(pool_.Start(1, 1, 5)) << "begins afresh beside the task that still runs";
    pool_.PostTask(std::make_shared<CountTask>(count_));
    EXPECT_TRUE(WaitUntil([this] { return *count_ == 1; }));
    gate_->Open();
    EXPECT_TRUE(WaitUntil([this] { return gate_.use_count() == 1; })) << "the task has run and is gone";
    EXPECT_EQ(*count_, 1) << "what was queued at the stop never runs";
}

TEST_F(PoolThreadsTest, StopWithWaitReturnsOnceTheRunningTaskIsDone) {
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    PostGates(1);
    ASSERT_TRUE(gate_->WaitForWaiting(1));
    pool_.PostTask(std::make_shared<CountTask>(count_));
    std::thread opener([this] { gate_->Open(); });
    pool_.Stop(true);
    EXPECT_EQ(*count_, 1);
    EXPECT_EQ(gate_.use_count(), 1);
    opener.join();
}

TEST_F(PoolThreadsTest, PostNeverWaitsForAWorker) {
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    PostGates(1);
    ASSERT_TRUE(gate_->WaitForWaiting(1));
    for (int i = 0; i < 6000; ++i) pool_.PostTask(std::make_shared<CountTask>(count_));
    EXPECT_EQ(pool_.GetWorkTaskCount(), 6001);
    EXPECT_EQ(*count_, 0);
}

using ZELPlatform::CBaseContent;
using ZELPlatform::CObserverParam;
using namespace ZELPlatform::MsgBus;

/// A subscriber that is held up until told otherwise.
struct SlowSubscriber {
    std::shared_ptr<Gate> gate = std::make_shared<Gate>();
    std::atomic<int> done{0};

    static void Receive(const std::string&, int, const std::shared_ptr<CBaseContent>&, void* user_data) {
        auto* self = static_cast<SlowSubscriber*>(user_data);
        self->gate->Pass();
        ++self->done;
    }
};

struct FastSubscriber {
    std::atomic<int> done{0};
    std::mutex mutex;
    std::vector<std::thread::id> threads;

    static void Receive(const std::string&, int, const std::shared_ptr<CBaseContent>&, void* user_data) {
        auto* self = static_cast<FastSubscriber*>(user_data);
        {
            std::lock_guard<std::mutex> lock(self->mutex);
            self->threads.push_back(std::this_thread::get_id());
        }
        ++self->done;
    }
};

class BusThreadsTest : public PlatformTest {
protected:
    void SetUp() override { ASSERT_TRUE(RegistObserver("topic")); }
    static void Post(int count) {
        for (int i = 0; i < count; ++i) {
            ASSERT_TRUE(
                NotifyObserverEventEx("topic", 1, std::make_shared<CObserverParam>(), ZELPlatform::kObserverTask2));
        }
    }

    SlowSubscriber& slow_ = MakeForever<SlowSubscriber>();
    FastSubscriber& fast_ = MakeForever<FastSubscriber>();
};

TEST_F(BusThreadsTest, SubscriberThatIsHeldUpHoldsUpNoOther) {
    ASSERT_TRUE(SubscribeObserverEx("slow", "topic", {}, SlowSubscriber::Receive, &slow_));
    ASSERT_TRUE(SubscribeObserverEx("fast", "topic", {}, FastSubscriber::Receive, &fast_));
    Post(100);
    EXPECT_TRUE(WaitUntil([this] { return fast_.done == 100; }));
    EXPECT_EQ(slow_.done, 0);
    EXPECT_EQ(slow_.gate->Waiting(), 1) << "one call at a time for a subscriber";
    slow_.gate->Open();
    EXPECT_TRUE(WaitUntil([this] { return slow_.done == 100; }));
}

TEST_F(BusThreadsTest, CallbacksRunOnTheBusesOwnThreads) {
    ASSERT_TRUE(SubscribeObserverEx("fast", "topic", {}, FastSubscriber::Receive, &fast_));
    Post(20);
    ASSERT_TRUE(WaitUntil([this] { return fast_.done == 20; }));
    std::lock_guard<std::mutex> lock(fast_.mutex);
    for (const auto& thread : fast_.threads) EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(BusThreadsTest, NoOperationWaitsForACallbackThatRuns) {
    ASSERT_TRUE(SubscribeObserverEx("slow", "topic", {}, SlowSubscriber::Receive, &slow_));
    Post(1);
    ASSERT_TRUE(slow_.gate->WaitForWaiting(1));
    EXPECT_TRUE(SubscribeObserverEx("slow", "topic", {2}, SlowSubscriber::Receive, &slow_));
    EXPECT_TRUE(SubscribeObserverEx("fast", "topic", {}, FastSubscriber::Receive, &fast_));
    const ChangeMsgNotifyFunc plain =
        CObserverFunction([](const std::string&, const std::shared_ptr<CBaseContent>&) {});
    EXPECT_TRUE(SubscribeObserver("topic", "plain", plain));
    EXPECT_TRUE(UnSubscribeObserver("topic", plain));
    EXPECT_TRUE(RegistObserver("topic"));
    Post(1);
    EXPECT_TRUE(UnSubscribeObserverEx("slow", "topic", {}));
    EXPECT_EQ(slow_.done, 0) << "it is held up still";
    slow_.gate->Open();
    EXPECT_TRUE(WaitUntil([this] { return slow_.done >= 1 && fast_.done == 1; }));
}

class TimerThreadsTest : public PlatformTest {
protected:
    ~TimerThreadsTest() override {
        gate_->Open();
        timers_->DelTimer("timer");
        timers_->DelTimer("other");
    }

    std::shared_ptr<Gate> gate_ = std::make_shared<Gate>();
    qar::IThreadManager* timers_ = qar::IThreadManager::Instance();
};

TEST_F(TimerThreadsTest, EndingFromAnotherThreadReturnsOnceNoCallRuns) {
    auto left = std::make_shared<std::atomic<bool>>(false);
    ASSERT_TRUE(timers_->NewTimer(
        "timer", 5,
        [gate = gate_, left](unsigned long long) {
            gate->Pass();
            *left = true;
        },
        0));
    ASSERT_TRUE(gate_->WaitForWaiting(1));
    std::promise<bool> seen;
    auto ended = seen.get_future();
    std::thread ender([&] {
        timers_->DelTimer("timer");
        seen.set_value(*left);
    });
    EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(0)), std::future_status::timeout);
    gate_->Open();
    EXPECT_TRUE(ended.get()) << "the call had returned by then";
    ender.join();
}

TEST_F(TimerThreadsTest, SlowCallDelaysItsTimersLaterOnesAndLeavesNoneOut) {
    auto ticks = std::make_shared<std::vector<unsigned long long>>();
    auto mutex = std::make_shared<std::mutex>();
    auto others = std::make_shared<std::atomic<int>>(0);
    ASSERT_TRUE(timers_->NewTimer(
        "timer", 5,
        [=, gate = gate_](unsigned long long n_tick) {
            if (n_tick == 1) gate->Pass();
            std::lock_guard<std::mutex> lock(*mutex);
            ticks->push_back(n_tick);
        },
        0));
    ASSERT_TRUE(timers_->NewTimer(
        "other", 5, [others](unsigned long long) { ++*others; }, 0));
    ASSERT_TRUE(gate_->WaitForWaiting(1));
    EXPECT_TRUE(WaitUntil([&] { return *others >= 5; })) << "another timer goes on";
    gate_->Open();
    EXPECT_TRUE(WaitUntil([&] {
        std::lock_guard<std::mutex> lock(*mutex);
        return ticks->size() >= 6;
    }));
    timers_->DelTimer("timer");
    for (std::size_t i = 0; i < ticks->size(); ++i) EXPECT_EQ((*ticks)[i], i + 1);
}

}  // namespace
}  // namespace platform_tests
