#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "standalone/auth/WorkSlots.h"

namespace {

using qarplatform::WorkSlots;
using Entry = WorkSlots::Entry;

TEST(WorkSlotsTest, ClosedSlotsTakeNobody) {
    WorkSlots slots(1, 1);
    EXPECT_EQ(slots.Enter(), Entry::kClosed);
    slots.Open();
    EXPECT_EQ(slots.Enter(), Entry::kIn);
    slots.Leave();
    slots.Close();
    EXPECT_EQ(slots.Enter(), Entry::kClosed);
}

TEST(WorkSlotsTest, WhoFindsNoRoomToWaitIsSentOff) {
    WorkSlots slots(2, 0);
    slots.Open();
    EXPECT_EQ(slots.Enter(), Entry::kIn);
    EXPECT_EQ(slots.Enter(), Entry::kIn);
    EXPECT_EQ(slots.Enter(), Entry::kFull);
    slots.Leave();
    EXPECT_EQ(slots.Enter(), Entry::kIn);
    slots.Leave();
    slots.Leave();
}

TEST(WorkSlotsTest, NeverMoreWorkThanThereAreSlotsAndAllGetTheirTurn) {
    WorkSlots slots(2, 100);
    slots.Open();
    std::mutex mutex;
    int working = 0;
    int most = 0;
    int done = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 16; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 50; ++n) {
                if (slots.Enter() != Entry::kIn) {
                    continue;
                }
                {
                    const std::lock_guard<std::mutex> lock(mutex);
                    most = std::max(most, ++working);
                }
                std::this_thread::yield();
                {
                    const std::lock_guard<std::mutex> lock(mutex);
                    --working;
                    ++done;
                }
                slots.Leave();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_LE(most, 2);
    EXPECT_EQ(done, 16 * 50);
}

TEST(WorkSlotsTest, CloseSendsOffWhoWaitsAndWaitsForWhoWorks) {
    WorkSlots slots(1, 1);
    slots.Open();
    ASSERT_EQ(slots.Enter(), Entry::kIn);
    auto waiting = std::async(std::launch::async, [&] { return slots.Enter(); });
    auto closed = std::async(std::launch::async, [&] { slots.Close(); });
    EXPECT_EQ(waiting.get(), Entry::kClosed) << "before or while it waits";
    EXPECT_EQ(closed.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    slots.Leave();
    closed.get();
    slots.Open();
    EXPECT_EQ(slots.Enter(), Entry::kIn);
    slots.Leave();
}

}  // namespace
