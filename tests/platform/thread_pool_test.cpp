#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Mox/Base/ThreadPool.h"
#include "platform/PlatformTest.h"

namespace platform_tests {
namespace {

using Mox::Base::CMessageLoopDyThreadPool;
using Mox::Base::CTask;

class FunctionTask : public CTask {
public:
    explicit FunctionTask(std::function<void()> fn) : fn_(std::move(fn)) {}
    void Exec() override { fn_(); }

private:
    std::function<void()> fn_;
};

std::shared_ptr<CTask> Task(std::function<void()> fn) { return std::make_shared<FunctionTask>(std::move(fn)); }

class ThreadPoolTest : public PlatformTest {
protected:
    ~ThreadPoolTest() override { pool_.Stop(true); }

    std::atomic<int> ran_{0};
    CMessageLoopDyThreadPool pool_;
};

TEST_F(ThreadPoolTest, EachTaskRunsOnce) {
    ASSERT_TRUE(pool_.Start(3, 7, 5));
    for (int i = 0; i < 500; ++i) pool_.PostTask(Task([this] { ++ran_; }));
    EXPECT_TRUE(WaitUntil([this] { return pool_.GetWorkTaskCount() == 0; }));
    EXPECT_EQ(ran_, 500);
}

TEST_F(ThreadPoolTest, TaskIsLetGoOfOnceItHasRun) {
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    auto task = Task([this] { ++ran_; });
    const std::weak_ptr<CTask> weak = task;
    pool_.PostTask(std::move(task));
    EXPECT_TRUE(WaitUntil([&weak] { return weak.expired(); }));
    EXPECT_EQ(ran_, 1);
}

TEST_F(ThreadPoolTest, SecondStartIsTrueAndKeepsWhatIsQueued) {
    ASSERT_TRUE(pool_.Start(1, 2, 5));
    pool_.PostTask(Task([this] { ++ran_; }));
    EXPECT_TRUE(pool_.Start(3, 7, 5));
    EXPECT_TRUE(WaitUntil([this] { return ran_ == 1; }));
}

TEST_F(ThreadPoolTest, TaskForAPoolThatDoesNotRunIsDropped) {
    auto task = Task([this] { ++ran_; });
    const std::weak_ptr<CTask> weak = task;
    pool_.PostTask(std::move(task));
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(pool_.GetWorkTaskCount(), 0);
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    pool_.PostTask(Task([this] { ran_ += 10; }));
    EXPECT_TRUE(WaitUntil([this] { return ran_ >= 10; }));
    EXPECT_EQ(ran_, 10);
}

TEST_F(ThreadPoolTest, TaskThatThrowsCostsNoOtherTask) {
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    pool_.PostTask(Task([] { throw std::runtime_error("on purpose"); }));
    pool_.PostTask(Task([] { throw 5; }));
    pool_.PostTask(Task([this] { ++ran_; }));
    EXPECT_TRUE(WaitUntil([this] { return ran_ == 1; }));
    EXPECT_TRUE(WaitUntil([this] { return pool_.GetWorkTaskCount() == 0; }));
}

TEST_F(ThreadPoolTest, TaskMayPostToItsOwnPool) {
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    pool_.PostTask(Task([this] {
        ++ran_;
        pool_.PostTask(Task([this] { ++ran_; }));
    }));
    EXPECT_TRUE(WaitUntil([this] { return ran_ == 2; }));
}

TEST_F(ThreadPoolTest, CountHoldsWhatRunsAndWhatIsQueued) {
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    std::atomic<int> count{-1};
    pool_.PostTask(Task([&] {
        pool_.PostTask(Task([this] { ++ran_; }));
        pool_.PostTask(Task([this] { ++ran_; }));
        count = pool_.GetWorkTaskCount();
    }));
    EXPECT_TRUE(WaitUntil([this] { return ran_ == 2; }));
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(WaitUntil([this] { return pool_.GetWorkTaskCount() == 0; }));
}

TEST_F(ThreadPoolTest, StopWithWaitRunsWhatIsQueued) {
    ASSERT_TRUE(pool_.Start(1, 2, 5));
    for (int i = 0; i < 50; ++i) pool_.PostTask(Task([this] { ++ran_; }));
    pool_.Stop(true);
    EXPECT_EQ(ran_, 50);
    EXPECT_EQ(pool_.GetWorkTaskCount(), 0);
}

TEST_F(ThreadPoolTest, StopWithoutWaitDropsWhatIsQueuedAndMayComeFromAWorker) {
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    std::weak_ptr<CTask> dropped;
    std::atomic<bool> finished{false};
    pool_.PostTask(Task([&] {
        auto task = Task([this] { ++ran_; });
        dropped = task;
        pool_.PostTask(std::move(task));
        pool_.Stop(false);
        finished = true;
    }));
    EXPECT_TRUE(WaitUntil([&] { return finished && dropped.expired(); }));
    pool_.PostTask(Task([this] { ++ran_; }));
    EXPECT_EQ(ran_, 0);
}

TEST_F(ThreadPoolTest, PoolStartsAfreshAfterAStop) {
    for (const bool wait : {true, false}) {
        ASSERT_TRUE(pool_.Start(2, 3, 5));
        ran_ = 0;
        pool_.PostTask(Task([this] { ++ran_; }));
        EXPECT_TRUE(WaitUntil([this] { return ran_ == 1; }));
        pool_.Stop(wait);
    }
}

TEST_F(ThreadPoolTest, StopOfAPoolThatDoesNotRunIsHarmless) {
    pool_.Stop(true);
    pool_.Stop(false);
    ASSERT_TRUE(pool_.Start(1, 1, 5));
    pool_.Stop(true);
    pool_.Stop(true);
    EXPECT_EQ(pool_.GetWorkTaskCount(), 0);
}

TEST_F(ThreadPoolTest, TasksFromSeveralThreadsAllRun) {
    ASSERT_TRUE(pool_.Start(3, 7, 5));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int k = 0; k < 100; ++k) pool_.PostTask(Task([this] { ++ran_; }));
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_TRUE(WaitUntil([this] { return ran_ == 400; }));
}

class DerivedPool : public CMessageLoopDyThreadPool {};

TEST_F(ThreadPoolTest, PoolMayBeDerivedFromAndGoWhileTasksAreQueued) {
    std::weak_ptr<CTask> weak;
    {
        DerivedPool pool;
        ASSERT_TRUE(pool.Start(1, 1, 5));
        auto task = Task([this] { ++ran_; });
        weak = task;
        pool.PostTask(std::move(task));
        pool.Stop(false);
    }
    EXPECT_TRUE(WaitUntil([&weak] { return weak.expired(); }));
}

}  // namespace
}  // namespace platform_tests
