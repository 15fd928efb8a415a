#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "Mox/Base/ThreadPool.h"
#include "standalone/base/arrivals.h"
#include "standalone/log/temp_log.h"

namespace {

using Mox::Base::CMessageLoopDyThreadPool;
using Mox::Base::CTask;
using testing::ElementsAre;

class FunctionTask : public CTask {
public:
    explicit FunctionTask(std::function<void()> fn) : fn_(std::move(fn)) {}
    void Exec() override { fn_(); }

private:
    std::function<void()> fn_;
};

std::shared_ptr<CTask> Task(std::function<void()> fn) { return std::make_shared<FunctionTask>(std::move(fn)); }

class ThreadPoolTest : public testing::Test {
protected:
    /// Runs as many tasks as there are threads, each on one of its own.
    void OccupyThreads(int threads) {
        const auto together = std::make_shared<std::latch>(threads + 1);
        for (int i = 0; i < threads; ++i) {
            pool_.PostTask(Task([together] { together->arrive_and_wait(); }));
        }
        together->arrive_and_wait();
    }

    CMessageLoopDyThreadPool pool_;
};

TEST_F(ThreadPoolTest, GrowsToMaxThreadsWithTheLoad) {
    ASSERT_TRUE(pool_.Start(1, 6, 60));
    OccupyThreads(6);
    pool_.Stop(true);
}

TEST_F(ThreadPoolTest, NeverRunsMoreThanMaxThreads) {
    ASSERT_TRUE(pool_.Start(1, 3, 60));
    std::atomic<int> running = 0;
    std::mutex mutex;
    int most = 0;
    for (int i = 0; i < 500; ++i) {
        pool_.PostTask(Task([&] {
            const int now = ++running;
            {
                std::lock_guard<std::mutex> lock(mutex);
                most = std::max(most, now);
            }
            std::this_thread::yield();
            --running;
        }));
    }
    pool_.Stop(true);
    EXPECT_GE(most, 1);
    EXPECT_LE(most, 3);
}

/// Tells when its thread ends.
struct ThreadEnd {
    ~ThreadEnd() { ended->Add(std::this_thread::get_id()); }
    std::shared_ptr<Arrivals<std::thread::id>> ended;
};

TEST_F(ThreadPoolTest, IdleWorkersAboveMinEndAndThePoolGrowsAgain) {
    const auto ended = std::make_shared<Arrivals<std::thread::id>>();
    ASSERT_TRUE(pool_.Start(2, 5, 0));
    for (std::size_t round = 1; round <= 2; ++round) {
        const auto together = std::make_shared<std::latch>(6);
        for (int i = 0; i < 5; ++i) {
            pool_.PostTask(Task([together, ended] {
                thread_local ThreadEnd end{ended};
                together->arrive_and_wait();
            }));
        }
        together->arrive_and_wait();
        ended->WaitFor(3 * round);
    }
    // the two that are kept end last; without an idle time a kept one may have ended before and been made good
    pool_.Stop(true);
    EXPECT_GE(ended->WaitFor(8).size(), 8u);
}

TEST_F(ThreadPoolTest, KeptWorkersServeWithoutFurtherThreads) {
    ASSERT_TRUE(pool_.Start(1, 1, 0));
    std::latch done(100);
    std::set<std::thread::id> threads;  // of the one worker
    for (int i = 0; i < 100; ++i) {
        pool_.PostTask(Task([&] {
            threads.insert(std::this_thread::get_id());
            done.count_down();
        }));
    }
    done.wait();
    pool_.Stop(true);
    EXPECT_EQ(threads.size(), 1u);
}

TEST_F(ThreadPoolTest, StopWithWaitRunsWhatIsQueued) {
    ASSERT_TRUE(pool_.Start(1, 2, 60));
    std::atomic<int> ran = 0;
    for (int i = 0; i < 200; ++i) {
        pool_.PostTask(Task([&] { ++ran; }));
    }
    pool_.Stop(true);
    EXPECT_EQ(ran, 200);
    EXPECT_EQ(pool_.GetWorkTaskCount(), 0);
}

TEST_F(ThreadPoolTest, StopWithoutWaitDropsWhatIsQueuedAndWaitsForNobody) {
    ASSERT_TRUE(pool_.Start(1, 1, 60));
    std::latch begun(1);
    std::latch may_end(1);
    std::latch ended(1);
    std::atomic<int> others = 0;
    pool_.PostTask(Task([&] {
        begun.count_down();
        may_end.wait();
        ended.count_down();
    }));
    begun.wait();
    auto dropped = Task([&] { ++others; });
    const std::weak_ptr<CTask> observed = dropped;
    pool_.PostTask(std::move(dropped));
    EXPECT_EQ(pool_.GetWorkTaskCount(), 2);
    pool_.Stop(false);
    EXPECT_TRUE(observed.expired());
    EXPECT_EQ(pool_.GetWorkTaskCount(), 1);
    may_end.count_down();
    ended.wait();
    EXPECT_EQ(others, 0);
}

TEST_F(ThreadPoolTest, MayBeStoppedWithoutWaitFromAWorker) {
    ASSERT_TRUE(pool_.Start(1, 1, 60));
    std::latch stopped(1);
    std::atomic<bool> later = false;
    pool_.PostTask(Task([&] {
        pool_.PostTask(Task([&] { later = true; }));
        pool_.Stop(false);
        stopped.count_down();
    }));
    stopped.wait();
    ASSERT_TRUE(pool_.Start(1, 1, 60));
    OccupyThreads(1);
    pool_.Stop(true);
    EXPECT_FALSE(later);
}

TEST_F(ThreadPoolTest, MayEndWhileATaskRuns) {
    std::latch begun(1);
    std::latch may_end(1);
    Arrivals<int> ended;
    {
        CMessageLoopDyThreadPool pool;
        ASSERT_TRUE(pool.Start(1, 1, 60));
        pool.PostTask(Task([&] {
            begun.count_down();
            may_end.wait();
            ended.Add(1);
        }));
        begun.wait();
    }
    may_end.count_down();
    EXPECT_EQ(ended.WaitFor(1).size(), 1u);
}

TEST_F(ThreadPoolTest, TaskForAPoolThatDoesNotRunIsDropped) {
    bool ran = false;
    auto task = Task([&] { ran = true; });
    const std::weak_ptr<CTask> observed = task;
    pool_.PostTask(std::move(task));
    EXPECT_TRUE(observed.expired());
    EXPECT_EQ(pool_.GetWorkTaskCount(), 0);

    ASSERT_TRUE(pool_.Start(1, 1, 60));
    pool_.Stop(true);
    pool_.PostTask(Task([&] { ran = true; }));
    EXPECT_EQ(pool_.GetWorkTaskCount(), 0);
    EXPECT_FALSE(ran);
}

TEST_F(ThreadPoolTest, StartOfARunningPoolChangesNothing) {
    ASSERT_TRUE(pool_.Start(1, 2, 60));
    EXPECT_TRUE(pool_.Start(50, 100, 60));
    std::latch begun(2);
    std::latch may_end(1);
    std::atomic<bool> third = false;
    for (int i = 0; i < 2; ++i) {
        pool_.PostTask(Task([&] {
            begun.count_down();
            may_end.wait();
        }));
    }
    begun.wait();
    pool_.PostTask(Task([&] { third = true; }));
    EXPECT_EQ(pool_.GetWorkTaskCount(), 3);
    may_end.count_down();
    pool_.Stop(true);
    EXPECT_TRUE(third);
}

TEST_F(ThreadPoolTest, StartsAfreshAfterEitherStop) {
    for (const bool wait : {true, false}) {
        ASSERT_TRUE(pool_.Start(1, 1, 60));
        OccupyThreads(1);
        pool_.Stop(wait);
        pool_.Stop(wait);
    }
    ASSERT_TRUE(pool_.Start(1, 1, 60));
    OccupyThreads(1);
    pool_.Stop(true);
}

TEST_F(ThreadPoolTest, CountHoldsQueuedAndRunningTasks) {
    ASSERT_TRUE(pool_.Start(2, 2, 60));
    EXPECT_EQ(pool_.GetWorkTaskCount(), 0);
    std::latch begun(2);
    std::latch may_end(1);
    for (int i = 0; i < 2; ++i) {
        pool_.PostTask(Task([&] {
            begun.count_down();
            may_end.wait();
        }));
    }
    begun.wait();
    for (int i = 0; i < 3; ++i) pool_.PostTask(Task([] {}));
    EXPECT_EQ(pool_.GetWorkTaskCount(), 5);
    may_end.count_down();
    pool_.Stop(true);
    EXPECT_EQ(pool_.GetWorkTaskCount(), 0);
}

TEST_F(ThreadPoolTest, ThrowingTaskIsLoggedAndItsWorkerGoesOn) {
    TempLog log;
    ASSERT_TRUE(pool_.Start(1, 1, 60));
    pool_.PostTask(Task([] { throw std::runtime_error("boom"); }));
    pool_.PostTask(Task([] { throw 5; }));
    std::latch served(1);
    pool_.PostTask(Task([&] { served.count_down(); }));
    served.wait();
    pool_.Stop(true);
    EXPECT_THAT(log.Lines(),
                ElementsAre("E [QARPlatform] a task of a thread pool threw: boom",
                            "E [QARPlatform] a task of a thread pool threw something that is no std::exception"));
}

TEST_F(ThreadPoolTest, ServesPostersOnManyThreadsWhileItStopsAndStarts) {
    std::atomic<bool> posting = true;
    std::atomic<int> ran = 0;
    std::vector<std::thread> posters;
    for (int i = 0; i < 4; ++i) {
        posters.emplace_back([&] {
            while (posting) pool_.PostTask(Task([&] { ++ran; }));
        });
    }
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(pool_.Start(1, 4, 0));
        pool_.Stop(i % 2 == 0);
    }
    posting = false;
    for (std::thread& poster : posters) poster.join();
    ASSERT_TRUE(pool_.Start(1, 1, 0));
    pool_.Stop(true);
    while (pool_.GetWorkTaskCount() > 0) std::this_thread::yield();  // of the crews left behind
    EXPECT_GE(ran, 0);
}

}  // namespace
