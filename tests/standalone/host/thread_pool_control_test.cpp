#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <utility>

#include "Mox/Base/ThreadPool.h"
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

}  // namespace
}  // namespace qarplatform
