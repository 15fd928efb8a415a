#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <memory>
#include <string>

#include "standalone/http/PostGate.h"
#include "standalone/http/PushQueue.h"

namespace qarplatform {
namespace {

constexpr std::size_t kFrameBytes = 128;  // that a frame counts beside its data

class PushQueueTest : public ::testing::Test {
protected:
    std::shared_ptr<PushQueue> Queue(std::size_t limit) {
        return std::make_shared<PushQueue>(limit, gate_, [this] { ++wakes_; });
    }

    static std::shared_ptr<const std::string> Text(std::string text) {
        return std::make_shared<const std::string>(std::move(text));
    }

    boost::asio::io_context io_;
    std::shared_ptr<PostGate> gate_ = std::make_shared<PostGate>(io_);
    int wakes_ = 0;
};

TEST_F(PushQueueTest, EmptyFramesCountForTheLimit) {
    const auto queue = Queue(7 * kFrameBytes);
    for (int i = 0; i < 7; ++i) {
        EXPECT_TRUE(queue->Send(Text(""), i % 2 == 0));
    }
    EXPECT_FALSE(queue->TakeEnd());
    EXPECT_FALSE(queue->Send(Text(""), true));
    EXPECT_FALSE(queue->TakeFrame()) << "dropped";
    const auto end = queue->TakeEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->code, 1008);
    EXPECT_TRUE(end->overflow);
    io_.run();
    EXPECT_EQ(wakes_, 8);
}

TEST_F(PushQueueTest, FrameCountsUntilTheOneBehindItIsAskedFor) {
    const auto queue = Queue(2 * (kFrameBytes + 100));
    EXPECT_TRUE(queue->Send(Text(std::string(100, 'a')), true));
    EXPECT_TRUE(queue->Send(Text(std::string(100, 'b')), true));
    ASSERT_TRUE(queue->TakeFrame());
    ASSERT_TRUE(queue->TakeFrame());
    EXPECT_TRUE(queue->Send(Text(std::string(100, 'c')), true));
    const auto frame = queue->TakeFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(*frame->data, std::string(100, 'c'));
    EXPECT_TRUE(frame->text);
    EXPECT_TRUE(queue->Send(Text(std::string(100, 'd')), true));
    EXPECT_FALSE(queue->Send(Text(""), true)) << "full";
}

TEST_F(PushQueueTest, FrameLongerThanTheLimitLessItsOwnCountIsTooLong) {
    EXPECT_TRUE(Queue(kFrameBytes + 10)->Send(Text(std::string(10, 'x')), true));
    EXPECT_FALSE(Queue(kFrameBytes + 10)->Send(Text(std::string(11, 'x')), true));
}

TEST_F(PushQueueTest, CloseForPolicyDropsWhatWaits) {
    const auto queue = Queue(10'000);
    std::weak_ptr<const std::string> data;
    {
        const auto text = Text("secret");
        data = text;
        EXPECT_TRUE(queue->Send(text, true));
    }
    queue->Close(1008, "the session has ended");
    EXPECT_TRUE(data.expired());
    EXPECT_FALSE(queue->TakeFrame());
    const auto end = queue->TakeEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->code, 1008);
    EXPECT_EQ(end->reason, "the session has ended");
    EXPECT_FALSE(end->overflow);
    EXPECT_FALSE(queue->TakeEnd()) << "told once";
    EXPECT_FALSE(queue->Send(Text("late"), true));
}

TEST_F(PushQueueTest, CloseForPolicyDropsWhatWaitsBehindAnotherEndToo) {
    const auto queue = Queue(10'000);
    EXPECT_TRUE(queue->Send(Text("secret"), true));
    queue->Close(1001, "the server stops");
    queue->Close(1008, "the session has ended");
    EXPECT_FALSE(queue->TakeFrame());
    EXPECT_EQ(queue->TakeEnd()->code, 1001);
}

TEST_F(PushQueueTest, NothingIsLeftBehindADrop) {
    const auto queue = Queue(10'000);
    EXPECT_TRUE(queue->Send(Text("late"), true));
    queue->Close(1001, "the server stops");
    queue->Drop();
    EXPECT_FALSE(queue->TakeFrame());
    EXPECT_FALSE(queue->TakeEnd());
    EXPECT_FALSE(queue->Send(Text("later"), true));
    queue->Close(1000, "");
    EXPECT_FALSE(queue->TakeEnd());
}

TEST_F(PushQueueTest, OtherClosesAreKnownBeforeWhatWaitsIsTaken) {
    const auto queue = Queue(10'000);
    EXPECT_TRUE(queue->Send(Text("last"), true));
    queue->Close(1001, "the server stops");
    const auto end = queue->TakeEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->code, 1001);
    const auto frame = queue->TakeFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(*frame->data, "last");
    EXPECT_FALSE(queue->TakeFrame());
}

}  // namespace
}  // namespace qarplatform
