#include "standalone/bus/Lane.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "standalone/log/temp_log.h"

namespace {

using qarplatform::Delivery;
using qarplatform::Lane;
using testing::ElementsAre;

struct Number final : qarplatform::Message {
    explicit Number(int its_value) : value(its_value) {}
    std::string Text() const override { return "number " + std::to_string(value); }
    const int value;
};

struct NumberWithoutText final : qarplatform::Message {
    std::string Text() const override { throw std::bad_alloc(); }
};

using NumberReceiver = qarplatform::ReceiverOf<Number>;

class LaneTest : public testing::Test {
protected:
    LaneTest() { pool_.Start(1, 4, 10); }
    ~LaneTest() override { pool_.Stop(true); }

    std::shared_ptr<const NumberReceiver> Receiver(std::function<void(int)> function) {
        return std::make_shared<const NumberReceiver>(
            lane_, [function = std::move(function)](const Number& number) { function(number.value); });
    }
    static Delivery To(const std::shared_ptr<const NumberReceiver>& receiver, int value) {
        return Delivery(receiver, std::make_shared<const Number>(value));
    }
    /// Posts a message at which the lane stops until may_go_on_ is released, and waits for that.
    void Block() {
        lane_->Post(To(Receiver([this](int) {
                           blocked_.release();
                           may_go_on_.acquire();
                       }),
                       -1));
        blocked_.acquire();
    }
    void FillUp() {
        for (std::size_t i = 0; i < Lane::kMostWaiting; ++i) lane_->PostOrDrop(To(counter_, 0));
    }

    Mox::Base::CMessageLoopDyThreadPool pool_;
    qarplatform::StopDeadline deadline_;
    const std::shared_ptr<Lane> lane_ = std::make_shared<Lane>("subscriber s", pool_, deadline_);
    std::binary_semaphore blocked_{0};
    std::binary_semaphore may_go_on_{0};
    std::size_t delivered_ = 0;  // changed on the lane only
    const std::shared_ptr<const NumberReceiver> counter_ = Receiver([this](int) { ++delivered_; });
};

TEST_F(LaneTest, DeliversInTheOrderOfPosting) {
    std::vector<int> numbers;
    const auto receiver = Receiver([&](int number) { numbers.push_back(number); });
    for (int i = 0; i < 1000; ++i) {
        if (i % 2 == 0) {
            lane_->Post(To(receiver, i));
        } else {
            lane_->PostOrDrop(To(receiver, i));
        }
    }
    pool_.Stop(true);
    ASSERT_EQ(numbers.size(), 1000u);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
}

TEST_F(LaneTest, ReceiverAndMessageAreLetGoOfBeforeTheNextDelivery) {
    std::weak_ptr<const NumberReceiver> receiver;
    std::weak_ptr<const Number> message;
    bool gone = false;
    Block();
    {
        const auto first = Receiver([](int) {});
        const auto number = std::make_shared<const Number>(1);
        receiver = first;
        message = number;
        lane_->Post(Delivery(first, number));
    }
    EXPECT_FALSE(receiver.expired());
    lane_->Post(To(Receiver([&](int) { gone = receiver.expired() && message.expired(); }), 2));
    may_go_on_.release();
    pool_.Stop(true);
    EXPECT_TRUE(gone);
}

TEST_F(LaneTest, MessagesBeyondTheMostAreDroppedAndTheLogTellsHowMany) {
    TempLog log;
    Block();
    FillUp();
    for (int i = 0; i < 3; ++i) lane_->PostOrDrop(To(counter_, 0));
    may_go_on_.release();
    pool_.Stop(true);
    EXPECT_EQ(delivered_, Lane::kMostWaiting);
    EXPECT_THAT(
        log.Lines(),
        ElementsAre("W [QARPlatform] 10000 messages wait for subscriber s, which does not keep up",
                    "W [QARPlatform] subscriber s does not keep up: 100000 messages wait, further ones are dropped",
                    "W [QARPlatform] subscriber s has caught up; dropped messages: 3"));
}

TEST_F(LaneTest, AsManyAsTheMostMayWait) {
    TempLog log(4);
    Block();
    FillUp();
    may_go_on_.release();
    pool_.Stop(true);
    EXPECT_EQ(delivered_, Lane::kMostWaiting);
    EXPECT_THAT(log.Lines(),
                ElementsAre("W [QARPlatform] 10000 messages wait for subscriber s, which does not keep up"));
}

TEST_F(LaneTest, MessagesThatMustNotBeDroppedAreKeptBeyondTheMost) {
    Block();
    FillUp();
    for (int i = 0; i < 50; ++i) lane_->Post(To(counter_, 0));
    lane_->PostOrDrop(To(counter_, 0));
    may_go_on_.release();
    pool_.Stop(true);
    EXPECT_EQ(delivered_, Lane::kMostWaiting + 50);
}

TEST_F(LaneTest, WhatTheWorkerHasTakenButNotBegunWaitsAsWell) {
    TempLog log(4);
    Block();
    lane_->Post(To(Receiver([this](int) {
                       blocked_.release();
                       may_go_on_.acquire();
                   }),
                   0));
    for (std::size_t i = 1; i < Lane::kMostWaiting; ++i) lane_->PostOrDrop(To(counter_, 0));
    may_go_on_.release();
    blocked_.acquire();  // the worker holds all the others now; one has begun, so there is room for one
    lane_->PostOrDrop(To(counter_, 0));
    lane_->PostOrDrop(To(counter_, 0));
    may_go_on_.release();
    pool_.Stop(true);
    EXPECT_EQ(delivered_, Lane::kMostWaiting);
    EXPECT_EQ(log.Lines().back(), "W [QARPlatform] subscriber s has caught up; dropped messages: 1");
}

TEST_F(LaneTest, EachTimeThatItDoesNotKeepUpIsToldAnew) {
    TempLog log(4);
    for (int dropped = 1; dropped <= 2; ++dropped) {
        Block();
        FillUp();
        for (int i = 0; i < dropped; ++i) lane_->PostOrDrop(To(counter_, 0));
        may_go_on_.release();
        while (pool_.GetWorkTaskCount() > 0) std::this_thread::yield();
    }
    pool_.Stop(true);
    const std::string slow = "W [QARPlatform] 10000 messages wait for subscriber s, which does not keep up";
    const std::string full =
        "W [QARPlatform] subscriber s does not keep up: 100000 messages wait, further ones are dropped";
    EXPECT_THAT(log.Lines(),
                ElementsAre(slow, full, "W [QARPlatform] subscriber s has caught up; dropped messages: 1", slow, full,
                            "W [QARPlatform] subscriber s has caught up; dropped messages: 2"));
}

TEST_F(LaneTest, WhatAReceiverThrowsIsLoggedWithTheMessage) {
    TempLog log;
    const auto receiver = Receiver([](int number) {
        if (number == 1) throw std::runtime_error("boom");
        if (number == 2) throw 5;
    });
    for (int i = 1; i <= 2; ++i) lane_->Post(To(receiver, i));
    lane_->Post(To(counter_, 3));
    pool_.Stop(true);
    EXPECT_EQ(delivered_, 1u);
    EXPECT_THAT(log.Lines(),
                ElementsAre("E [QARPlatform] subscriber s threw at number 1: boom",
                            "E [QARPlatform] subscriber s threw something that is no std::exception at number 2"));
}

TEST_F(LaneTest, ThrowThatCannotBeToldForWantOfMemoryHoldsUpNoOtherMessage) {
    TempLog log;
    const auto thrower = std::make_shared<const qarplatform::ReceiverOf<NumberWithoutText>>(
        lane_, [](const NumberWithoutText&) { throw std::runtime_error("boom"); });
    const auto odd_thrower = std::make_shared<const qarplatform::ReceiverOf<NumberWithoutText>>(
        lane_, [](const NumberWithoutText&) { throw 5; });
    Block();
    for (const auto& receiver : {thrower, odd_thrower}) {
        lane_->Post(Delivery(receiver, std::make_shared<const NumberWithoutText>()));
        lane_->Post(To(counter_, 0));
    }
    may_go_on_.release();
    pool_.Stop(true);
    EXPECT_EQ(delivered_, 2u);
    EXPECT_THAT(log.Lines(), ElementsAre("E [QARPlatform] subscriber s threw at a message: boom",
                                         "E [QARPlatform] subscriber s threw something that is no std::exception at a "
                                         "message"));
}

TEST_F(LaneTest, DescribesTheSubscriberWhileAMessageIsBeingDelivered) {
    EXPECT_EQ(lane_->Description(), "");
    Block();
    EXPECT_EQ(lane_->Description(), "subscriber s");
    lane_->Post(To(counter_, 0));
    lane_->Post(To(counter_, 0));
    EXPECT_EQ(lane_->Description(), "subscriber s (2 messages wait)");
    may_go_on_.release();
    pool_.Stop(true);
    EXPECT_EQ(lane_->Description(), "");
}

TEST_F(LaneTest, OnceTheDeadlineIsOverMessagesThatWaitAreDroppedWithALine) {
    TempLog log(4);
    deadline_.Set(qarplatform::StopDeadline::Clock::now() + std::chrono::hours(1));
    lane_->Post(To(counter_, 0));
    Block();
    for (int i = 0; i < 3; ++i) lane_->Post(To(counter_, 0));
    deadline_.Set(qarplatform::StopDeadline::Clock::now());
    may_go_on_.release();
    pool_.Stop(true);
    EXPECT_EQ(delivered_, 1U);
    EXPECT_THAT(log.Lines(), ElementsAre("W [QARPlatform] the bus stops: 3 messages for subscriber s are dropped"));
}

}  // namespace
