#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <semaphore>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "standalone/base/ThreadPoolControl.h"
#include "standalone/base/arrivals.h"
#include "standalone/http/RequestQueue.h"
#include "standalone/log/temp_log.h"

namespace qarplatform {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Request final : public DescribedTask {
public:
    explicit Request(std::function<void()> work, std::string description = "")
        : work_(std::move(work)), description_(std::move(description)) {}
    void Exec() override { work_(); }
    std::string Description() const override { return description_; }

private:
    const std::function<void()> work_;
    const std::string description_;
};

class RequestQueueTest : public ::testing::Test {
protected:
    ~RequestQueueTest() override {
        go_on_.release(1000);
        queue_.Stop();
        JoinThreadPools();
    }

    void Post(std::function<void()> work, const std::string& description = "") {
        queue_.Post(std::make_shared<Request>(std::move(work), description));
    }
    /// Posts a request that does not end before go_on_ is released. @return once it has begun
    void Block(const std::string& description = "") {
        std::promise<void> begun;
        Post(
            [this, &begun] {
                begun.set_value();
                go_on_.acquire();
            },
            description);
        begun.get_future().wait();
    }

    RequestQueue queue_;
    std::counting_semaphore<> go_on_{0};
    Arrivals<int> ran_;
};

TEST_F(RequestQueueTest, RequestsBeginInTheOrderOfPosting) {
    ASSERT_TRUE(queue_.Start(1, 10));
    std::vector<int> posted;
    for (int i = 0; i < 1000; ++i) {
        posted.push_back(i);
        Post([this, i] { ran_.Add(i); });
    }
    EXPECT_EQ(ran_.WaitFor(1000), posted);
}

TEST_F(RequestQueueTest, RequestsThatDoNotEndHoldUpNoOther) {
    ASSERT_TRUE(queue_.Start(50, 10));
    for (int i = 0; i < 20; ++i) Block();
    for (int i = 0; i < 20; ++i) Post([this] { go_on_.acquire(); });
    Post([this] { ran_.Add(1); });
    EXPECT_THAT(ran_.WaitFor(1), ElementsAre(1));
}

TEST_F(RequestQueueTest, RequestsBeyondTheMostWaitUntilOneEnds) {
    ASSERT_TRUE(queue_.Start(2, 10));
    std::atomic<int> running{0};
    for (int i = 0; i < 200; ++i) {  // for as long as who watches gives its own thread away meanwhile
        Post([this, &running] {
            const int at_once = ++running;
            const auto end = std::chrono::steady_clock::now() + 4 * RequestQueue::kPatience;
            while (std::chrono::steady_clock::now() < end) {  // so that others wait too long
            }
            --running;
            ran_.Add(at_once);
        });
    }
    const std::vector<int> at_once = ran_.WaitFor(200);
    EXPECT_EQ(*std::max_element(at_once.begin(), at_once.end()), 2);
}

TEST_F(RequestQueueTest, WithoutRequestsNobodyIsAtWorkAndTheNextIsWatchedAsBefore) {
    ASSERT_TRUE(queue_.Start(2, 10));
    for (int i = 0; i < 3; ++i) {
        Block();
        Post([this, i] { ran_.Add(i); });  // gets its worker from who watches
        ran_.WaitFor(static_cast<std::size_t>(i) + 1);
        go_on_.release();
        while (queue_.AtWork() > 0) std::this_thread::yield();
    }
    EXPECT_THAT(ran_.Now(), ElementsAre(0, 1, 2));
}

TEST_F(RequestQueueTest, StopDropsWhatIsQueuedAndWaitsForNobody) {
    ASSERT_TRUE(queue_.Start(1, 10));
    Block();
    const auto dropped = std::make_shared<Request>([this] { ran_.Add(1); });
    queue_.Post(dropped);
    queue_.Stop();
    EXPECT_EQ(dropped.use_count(), 1);
    const auto late = std::make_shared<Request>([this] { ran_.Add(2); });
    queue_.Post(late);
    EXPECT_EQ(late.use_count(), 1);
    go_on_.release();
    JoinThreadPools();
    EXPECT_THAT(ran_.Now(), IsEmpty());
}

TEST_F(RequestQueueTest, ItStartsAfreshWhileAnEarlierRequestStillRuns) {
    ASSERT_TRUE(queue_.Start(1, 10));
    Block();
    queue_.Stop();
    ASSERT_TRUE(queue_.Start(1, 10));
    Post([this] { ran_.Add(1); });
    EXPECT_THAT(ran_.WaitFor(1), ElementsAre(1));
}

TEST_F(RequestQueueTest, ARequestThatThrowsIsToldAndCostsNoOther) {
    TempLog log;
    ASSERT_TRUE(queue_.Start(1, 10));
    Post([] { throw std::runtime_error("spoilt"); });
    Post([this] { ran_.Add(1); });
    Post([] { throw 5; });
    Post([this] { ran_.Add(2); });
    EXPECT_THAT(ran_.WaitFor(2), ElementsAre(1, 2));
    EXPECT_THAT(log.Lines(), ElementsAre("E [QARPlatform] a task of a thread pool threw: spoilt",
                                         "E [QARPlatform] a task of a thread pool threw something that is no "
                                         "std::exception"));
}

TEST_F(RequestQueueTest, RequestsThatRunAreAmongTheRunningTasks) {
    ASSERT_TRUE(queue_.Start(2, 10));
    Block("one request");
    Block("another");
    EXPECT_THAT(RunningTasks(), ::testing::UnorderedElementsAre("one request", "another"));
    go_on_.release(2);
}

TEST_F(RequestQueueTest, RequestsFromManyThreadsAllRun) {
    ASSERT_TRUE(queue_.Start(8, 10));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 2000; ++i) Post([this, number = thread * 2000 + i] { ran_.Add(number); });
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::vector<int> ran = ran_.WaitFor(8000);
    EXPECT_EQ(std::set<int>(ran.begin(), ran.end()).size(), 8000u);
    EXPECT_EQ(ran.size(), 8000u);
}

}  // namespace
}  // namespace qarplatform
