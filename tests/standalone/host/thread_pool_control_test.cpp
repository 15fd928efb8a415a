#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "Mox/Base/ThreadPool.h"
#include "standalone/base/DescribedTask.h"
#include "standalone/base/ThreadPoolControl.h"

namespace qarplatform {
namespace {

class FunctionTask : public Mox::Base::CTask {
public:
    explicit FunctionTask(std::function<void()> work) : work_(std::move(work)) {}
    void Exec() override { work_(); }

private:
    const std::function<void()> work_;
};

void Post(Mox::Base::CMessageLoopDyThreadPool& pool, std::function<void()> work) {
    pool.PostTask(std::make_shared<FunctionTask>(std::move(work)));
}

TEST(JoinThreadPoolsTest, WithoutAnyPoolItReturns) { JoinThreadPools(); }

TEST(JoinThreadPoolsTest, WaitsForTheTaskOfAPoolThatWasStoppedWithoutWaiting) {
    Mox::Base::CMessageLoopDyThreadPool pool;
    ASSERT_TRUE(pool.Start(1, 1, 1));
    std::promise<void> begun;
    std::promise<void> go_on;
    std::atomic<bool> done{false};
    Post(pool, [&] {
        begun.set_value();
        go_on.get_future().wait();
        done = true;
    });
    begun.get_future().wait();
    pool.Stop(false);
    std::thread joiner([&] {
        JoinThreadPools();
        EXPECT_TRUE(done);
    });
    go_on.set_value();
    joiner.join();
}

TEST(JoinThreadPoolsTest, EndsPoolsThatNobodyStoppedAndDropsWhatIsQueued) {
    Mox::Base::CMessageLoopDyThreadPool pool;
    ASSERT_TRUE(pool.Start(1, 1, 1));
    std::promise<void> begun;
    std::promise<void> go_on;
    std::atomic<int> done{0};
    Post(pool, [&] {
        begun.set_value();
        go_on.get_future().wait();
        ++done;
    });
    begun.get_future().wait();
    Post(pool, [&] { ++done; });
    std::thread joiner(&JoinThreadPools);
    while (pool.GetWorkTaskCount() != 1) std::this_thread::yield();
    go_on.set_value();
    joiner.join();
    EXPECT_EQ(1, done);
    EXPECT_EQ(0, pool.GetWorkTaskCount());
}

TEST(JoinThreadPoolsTest, PoolThatATaskStartsMeanwhileIsRefusedAndNotWaitedFor) {
    Mox::Base::CMessageLoopDyThreadPool pool;
    Mox::Base::CMessageLoopDyThreadPool late;
    ASSERT_TRUE(pool.Start(1, 1, 1));
    std::promise<void> begun;
    bool started = true;
    Post(pool, [&] {
        begun.set_value();
        while (pool.Start(1, 1, 1) && late.Start(1, 1, 1)) late.Stop(true);
        started = false;
    });
    begun.get_future().wait();
    JoinThreadPools();
    EXPECT_FALSE(started);
    EXPECT_FALSE(late.Start(1, 1, 1));
}

/// A task that runs until its end is asked for.
class LongTask : public DescribedTask {
public:
    explicit LongTask(std::string description) : description_(std::move(description)) {}
    void Exec() override {
        begun_.set_value();
        end_.get_future().wait();
    }
    std::string Description() const override { return description_; }

    void WaitUntilItRuns() { begun_.get_future().wait(); }
    void End() { end_.set_value(); }

private:
    const std::string description_;
    std::promise<void> begun_;
    std::promise<void> end_;
};

TEST(RunningTasksTest, TellsWhatTheWorkersOfAllPoolsAreAt) {
    EXPECT_THAT(RunningTasks(), testing::IsEmpty());
    Mox::Base::CMessageLoopDyThreadPool one;
    Mox::Base::CMessageLoopDyThreadPool other;
    ASSERT_TRUE(one.Start(1, 2, 1));
    ASSERT_TRUE(other.Start(1, 1, 1));
    const auto named = std::make_shared<LongTask>("subscriber a");
    const auto silent = std::make_shared<LongTask>("");
    const auto queued = std::make_shared<LongTask>("subscriber b");
    one.PostTask(named);
    one.PostTask(silent);
    std::promise<void> begun;
    std::promise<void> go_on;
    Post(other, [&] {
        begun.set_value();
        go_on.get_future().wait();
    });
    named->WaitUntilItRuns();
    silent->WaitUntilItRuns();
    begun.get_future().wait();
    other.PostTask(queued);
    EXPECT_THAT(RunningTasks(),
                testing::UnorderedElementsAre("subscriber a",
                                              "a task of class qarplatform::(anonymous namespace)::FunctionTask"));
    named->End();
    silent->End();
    go_on.set_value();
    queued->WaitUntilItRuns();
    one.Stop(true);
    EXPECT_THAT(RunningTasks(), testing::ElementsAre("subscriber b"));
    queued->End();
    other.Stop(true);
    EXPECT_THAT(RunningTasks(), testing::IsEmpty());
}

TEST(RunningTasksTest, TellsWhatJoiningWaitsFor) {
    Mox::Base::CMessageLoopDyThreadPool pool;
    ASSERT_TRUE(pool.Start(1, 1, 1));
    const auto task = std::make_shared<LongTask>("subscriber a");
    pool.PostTask(task);
    task->WaitUntilItRuns();
    pool.Stop(false);
    std::thread joiner(&JoinThreadPools);
    EXPECT_THAT(RunningTasks(), testing::ElementsAre("subscriber a"));
    task->End();
    joiner.join();
    EXPECT_THAT(RunningTasks(), testing::IsEmpty());
}

}  // namespace
}  // namespace qarplatform
