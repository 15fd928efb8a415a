#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "plugins/backfill/RangeQueue.h"

namespace backfill {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr CameraKey kCamera{101, 1};
constexpr CameraKey kOtherCamera{102, 1};
constexpr int kDevice = 1;
constexpr int kOtherDevice = 2;

// second n of a day, as text and as number
Moment At(int64_t second) { return Moment{"t" + std::to_string(second), second}; }
TimeRange Range(int64_t begin, int64_t end) { return {At(begin), At(end)}; }

std::string Text(const TimeRange& range) { return range.begin.iso + "-" + range.end.iso; }
std::string Text(const RangeQueue::Sum& sum) {
    return std::to_string(sum.pieces) + " pieces, " + std::to_string(sum.running) + " running, " +
           std::to_string(sum.seconds) + " s, " + std::to_string(sum.attempts) + " attempts";
}
std::vector<std::string> Texts(const std::vector<TimeRange>& ranges) {
    std::vector<std::string> texts;
    for (const TimeRange& range : ranges) texts.push_back(Text(range));
    return texts;
}

class RangeQueueTest : public testing::Test {
protected:
    void Add(const CameraKey& key, int device, const TimeRange& range) { queue_.Add(key, device, range, 0, now_); }

    /// The first camera's first piece fails, its next one is being fetched.
    void FailFirstAndTakeNext() {
        const auto failed = queue_.Take(now_);
        ASSERT_TRUE(failed);
        EXPECT_EQ(failed->key, kCamera);
        queue_.Fail(*failed, now_);
        const auto running = queue_.Take(now_);
        ASSERT_TRUE(running);
        EXPECT_EQ(running->key, kCamera);
    }

    std::vector<std::string> Lines(const CameraKey& key) const {
        std::vector<std::string> lines;
        for (const RangeQueue::Entry& entry : queue_.List(key)) {
            lines.push_back(Text(entry.range) + " " + std::to_string(entry.attempts) +
                            (entry.running ? " running" : "") + (entry.due > now_ ? " later" : ""));
        }
        return lines;
    }

    QueueLimits limits_{1, 4, milliseconds(1000), milliseconds(8000)};
    RangeQueue queue_{limits_};
    RangeQueue::Time now_{seconds(1000)};
};

TEST_F(RangeQueueTest, EmptyQueueHasNothingToFetchAndNothingDue) {
    EXPECT_FALSE(queue_.Take(now_));
    EXPECT_FALSE(queue_.NextDue());
    EXPECT_EQ(queue_.Open(), 0u);
}

TEST_F(RangeQueueTest, ToldRangeIsFetchedOnceAndLeavesTheQueue) {
    Add(kCamera, kDevice, Range(0, 10));
    const auto job = queue_.Take(now_);
    ASSERT_TRUE(job);
    EXPECT_EQ(Text(job->range), "t0-t10");
    EXPECT_EQ(job->attempt, 1);
    EXPECT_FALSE(queue_.Take(now_));
    EXPECT_EQ(Texts(queue_.Succeed(*job)), std::vector<std::string>{"t0-t10"});
    EXPECT_EQ(queue_.Open(), 0u);
    EXPECT_FALSE(queue_.Take(now_));
}

TEST_F(RangeQueueTest, SameRangeToldAgainChangesNothing) {
    Add(kCamera, kDevice, Range(0, 10));
    Add(kCamera, kDevice, Range(0, 10));
    EXPECT_TRUE(queue_.Contains(kCamera, Range(0, 10)));
    EXPECT_EQ(queue_.Open(), 1u);
}

TEST_F(RangeQueueTest, OverlappingRangesAreFetchedAsOneAndBothAreDone) {
    Add(kCamera, kDevice, Range(0, 10));
    Add(kCamera, kDevice, Range(5, 20));
    const auto job = queue_.Take(now_);
    ASSERT_TRUE(job);
    EXPECT_EQ(Text(job->range), "t0-t20");
    EXPECT_EQ(Texts(queue_.Succeed(*job)), (std::vector<std::string>{"t0-t10", "t5-t20"}));
}

TEST_F(RangeQueueTest, RangeThatJoinsTwoWaitingOnesMakesOnePiece) {
    Add(kCamera, kDevice, Range(0, 10));
    Add(kCamera, kDevice, Range(20, 30));
    Add(kCamera, kDevice, Range(10, 20));
    const auto job = queue_.Take(now_);
    ASSERT_TRUE(job);
    EXPECT_EQ(Text(job->range), "t0-t30");
}

TEST_F(RangeQueueTest, RangesThatLieApartStayApart) {
    Add(kCamera, kDevice, Range(0, 10));
    Add(kCamera, kDevice, Range(11, 20));
    const auto job = queue_.Take(now_);
    ASSERT_TRUE(job);
    EXPECT_EQ(Text(job->range), "t0-t10");
}

TEST_F(RangeQueueTest, WhatIsBeingFetchedIsNotFetchedTwice) {
    Add(kCamera, kDevice, Range(10, 20));
    const auto first = queue_.Take(now_);
    ASSERT_TRUE(first);
    Add(kCamera, kDevice, Range(5, 30));
    EXPECT_EQ(Texts(queue_.Succeed(*first)), std::vector<std::string>{"t10-t20"});
    const auto before = queue_.Take(now_);
    ASSERT_TRUE(before);
    EXPECT_EQ(Text(before->range), "t5-t10");
    EXPECT_TRUE(queue_.Succeed(*before).empty());
    const auto behind = queue_.Take(now_);
    ASSERT_TRUE(behind);
    EXPECT_EQ(Text(behind->range), "t20-t30");
    EXPECT_EQ(Texts(queue_.Succeed(*behind)), std::vector<std::string>{"t5-t30"});
}

TEST_F(RangeQueueTest, FailedPieceWaitsTwiceAsLongAfterEachAttemptUpToTheMost) {
    Add(kCamera, kDevice, Range(0, 10));
    std::vector<long long> pauses;
    for (int attempt = 1; attempt <= 6; ++attempt) {
        const auto job = queue_.Take(now_);
        ASSERT_TRUE(job);
        EXPECT_EQ(job->attempt, attempt);
        const milliseconds pause = queue_.Fail(*job, now_);
        pauses.push_back(pause.count());
        EXPECT_EQ(queue_.NextDue(), now_ + pause);
        EXPECT_FALSE(queue_.Take(now_ + pause - milliseconds(1)));
        now_ += pause;
    }
    EXPECT_EQ(pauses, (std::vector<long long>{1000, 2000, 4000, 8000, 8000, 8000}));
    EXPECT_EQ(queue_.Open(), 1u);
}

TEST_F(RangeQueueTest, RestoredRangeKeepsItsAttemptsAndItsPause) {
    queue_.Add(kCamera, kDevice, Range(0, 10), 3, now_ + seconds(5));
    EXPECT_FALSE(queue_.Take(now_));
    const auto job = queue_.Take(now_ + seconds(5));
    ASSERT_TRUE(job);
    EXPECT_EQ(job->attempt, 4);
}

TEST_F(RangeQueueTest, OneDeviceIsAskedForOneRangeAtATimeAndAnotherIsNotHeldUp) {
    Add(kCamera, kDevice, Range(0, 10));
    Add(kOtherCamera, kDevice, Range(0, 10));
    Add({103, 1}, kOtherDevice, Range(0, 10));
    const auto first = queue_.Take(now_);
    const auto second = queue_.Take(now_);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->device, kDevice);
    EXPECT_EQ(second->device, kOtherDevice);
    EXPECT_FALSE(queue_.Take(now_));
    queue_.Succeed(*first);
    const auto third = queue_.Take(now_);
    ASSERT_TRUE(third);
    EXPECT_EQ(third->key, kOtherCamera);
}

TEST_F(RangeQueueTest, RangeHeldUpByItsDeviceDoesNotHideWhenAnotherIsDue) {
    Add(kCamera, kDevice, Range(0, 10));
    Add(kCamera, kDevice, Range(20, 30));
    ASSERT_TRUE(queue_.Take(now_));
    EXPECT_FALSE(queue_.NextDue()) << "its device is busy";
    queue_.Add(kOtherCamera, kOtherDevice, Range(0, 10), 1, now_ + seconds(5));
    EXPECT_EQ(queue_.NextDue(), now_ + seconds(5));
}

TEST_F(RangeQueueTest, FailedFetchOfABusyDeviceIsDueAgainOnceTheDeviceIsFree) {
    Add(kCamera, kDevice, Range(0, 10));
    Add(kOtherCamera, kDevice, Range(0, 10));
    const auto first = queue_.Take(now_);
    ASSERT_TRUE(first);
    EXPECT_FALSE(queue_.Take(now_));
    queue_.Fail(*first, now_);
    const auto second = queue_.Take(now_);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->key, kOtherCamera);
    EXPECT_FALSE(queue_.NextDue());
    queue_.Succeed(*second);
    EXPECT_EQ(queue_.NextDue(), now_ + milliseconds(1000));
}

TEST_F(RangeQueueTest, SeveralFetchesOfOneDeviceRunWhereItsLimitAllows) {
    RangeQueue queue(QueueLimits{2, 4, milliseconds(1), milliseconds(1)});
    for (int i = 0; i < 3; ++i) queue.Add(kCamera, kDevice, Range(20 * i, 20 * i + 10), 0, now_);
    const auto first = queue.Take(now_);
    ASSERT_TRUE(first && queue.Take(now_));
    EXPECT_FALSE(queue.Take(now_));
    queue.Succeed(*first);
    const auto third = queue.Take(now_);
    ASSERT_TRUE(third);
    EXPECT_EQ(Text(third->range), "t40-t50");
}

// Takes seconds where each step looks at all ranges, and minutes under a sanitizer.
TEST_F(RangeQueueTest, TenThousandCamerasWithFourRangesEachAreWorkedOff) {
    for (int i = 0; i < 40000; ++i) {
        Add({1000 + i / 4, 1}, i / 4, Range(100 * (i % 4), 100 * (i % 4) + 10));
        ASSERT_TRUE(queue_.NextDue());
    }
    int done = 0;
    while (const auto job = queue_.Take(now_)) done += static_cast<int>(queue_.Succeed(*job).size());
    EXPECT_EQ(done, 40000);
    EXPECT_EQ(queue_.Open(), 0u);
}

TEST_F(RangeQueueTest, ThousandsOfRangesOfOneCameraAreWorkedOff) {
    for (int i = 0; i < 3000; ++i) Add(kCamera, kDevice, Range(20 * i, 20 * i + 10));
    int done = 0;
    while (const auto job = queue_.Take(now_)) done += static_cast<int>(queue_.Succeed(*job).size());
    EXPECT_EQ(done, 3000);
}

TEST_F(RangeQueueTest, NoMoreThanTheTotalAreFetchedAtATime) {
    for (int i = 0; i < 6; ++i) Add({200 + i, 1}, 10 + i, Range(0, 10));
    int taken = 0;
    while (queue_.Take(now_)) ++taken;
    EXPECT_EQ(taken, 4);
}

TEST_F(RangeQueueTest, PieceThatHasBeenDueLongestGoesFirst) {
    queue_.Add(kCamera, kDevice, Range(0, 10), 0, now_ - seconds(1));
    queue_.Add(kOtherCamera, kOtherDevice, Range(0, 10), 0, now_ - seconds(2));
    const auto job = queue_.Take(now_);
    ASSERT_TRUE(job);
    EXPECT_EQ(job->key, kOtherCamera);
}

TEST_F(RangeQueueTest, JobTellsTheRangesItServes) {
    Add(kCamera, kDevice, Range(0, 10));
    Add(kCamera, kDevice, Range(10, 20));
    Add(kCamera, kDevice, Range(50, 60));
    const auto job = queue_.Take(now_);
    ASSERT_TRUE(job);
    EXPECT_EQ(Texts(queue_.ToldBy(*job)), (std::vector<std::string>{"t0-t10", "t10-t20"}));
}

// Every told second is fetched, and no range is done before all of it was: against a plain list of seconds.
TEST_F(RangeQueueTest, RandomTellingsFailuresAndSuccessesFetchEverySecondToldAndNoRangeTooEarly) {
    std::mt19937 random(20260301);
    for (int round = 0; round < 300; ++round) {
        RangeQueue queue(QueueLimits{3, 3, milliseconds(1), milliseconds(1)});
        std::vector<bool> fetched(100, false);
        std::vector<RangeQueue::Job> running;
        std::vector<TimeRange> told;
        RangeQueue::Time now{seconds(1)};
        int done = 0;
        const auto end_job = [&](bool success) {
            const std::size_t which = random() % running.size();
            const RangeQueue::Job job = running[which];
            running.erase(running.begin() + static_cast<long>(which));
            if (!success) {
                queue.Fail(job, now);
                return;
            }
            for (int64_t s = job.range.begin.unix_s; s < job.range.end.unix_s; ++s)
                fetched[static_cast<size_t>(s)] = true;
            for (const TimeRange& range : queue.Succeed(job)) {
                ++done;
                for (int64_t s = range.begin.unix_s; s < range.end.unix_s; ++s) {
                    ASSERT_TRUE(fetched[static_cast<size_t>(s)]) << Text(range) << " done before second " << s;
                }
            }
        };
        for (int step = 0; step < 40; ++step) {
            now += seconds(1);
            const auto action = random() % 3;
            if (action == 0) {
                const auto begin = static_cast<int64_t>(random() % 90);
                const auto length = 1 + static_cast<int64_t>(random() % 10);
                const TimeRange range = Range(begin, begin + length);
                if (!queue.Contains(kCamera, range)) told.push_back(range);
                queue.Add(kCamera, kDevice, range, 0, now);
            } else if (action == 1) {
                if (auto job = queue.Take(now)) running.push_back(*job);
            } else if (!running.empty()) {
                end_job(random() % 2 == 0);
            }
        }
        while (queue.Open() > 0) {
            now += seconds(1);
            while (auto job = queue.Take(now)) running.push_back(*job);
            ASSERT_FALSE(running.empty()) << "a range is open and nothing is left to fetch";
            end_job(true);
        }
        EXPECT_EQ(done, static_cast<int>(told.size()));
    }
}

TEST_F(RangeQueueTest, AWaitingPieceThatIsHastenedIsTakenAtOnce) {
    Add(kCamera, kDevice, Range(10, 20));
    const auto job = queue_.Take(now_);
    ASSERT_TRUE(job);
    queue_.Fail(*job, now_);
    ASSERT_FALSE(queue_.Take(now_));

    EXPECT_TRUE(queue_.Hasten(kCamera, Range(15, 16), now_));

    EXPECT_EQ(queue_.NextDue(), now_);
    const auto again = queue_.Take(now_);
    ASSERT_TRUE(again);
    EXPECT_EQ(Text(again->range), "t10-t20");
    EXPECT_EQ(again->attempt, 2);
}

TEST_F(RangeQueueTest, HasteningWhatIsBeingFetchedChangesNothing) {
    Add(kCamera, kDevice, Range(10, 20));
    ASSERT_TRUE(queue_.Take(now_));
    EXPECT_TRUE(queue_.Hasten(kCamera, Range(10, 20), now_));
    EXPECT_FALSE(queue_.Take(now_));
}

TEST_F(RangeQueueTest, HasteningWhatIsNotThereIsRefused) {
    Add(kCamera, kDevice, Range(10, 20));
    EXPECT_FALSE(queue_.Hasten(kCamera, Range(20, 30), now_));
    EXPECT_FALSE(queue_.Hasten(kOtherCamera, Range(10, 20), now_));
}

TEST_F(RangeQueueTest, ListShowsThePiecesOfOneCameraByTimeWithTheirAttempts) {
    Add(kOtherCamera, kOtherDevice, Range(5, 6));
    Add(kCamera, kDevice, Range(30, 40));
    Add(kCamera, kDevice, Range(10, 20));
    FailFirstAndTakeNext();

    EXPECT_EQ(Lines(kCamera), (std::vector<std::string>{"t10-t20 1 later", "t30-t40 0 running"}));
    EXPECT_EQ(Lines(kOtherCamera), std::vector<std::string>{"t5-t6 0"});
    EXPECT_EQ(Lines({101, 2}), std::vector<std::string>());
}

TEST_F(RangeQueueTest, SumsAreOfTheCamerasThatHavePieces) {
    Add(kOtherCamera, kOtherDevice, Range(5, 6));
    Add(kCamera, kDevice, Range(30, 40));
    Add(kCamera, kDevice, Range(10, 25));
    FailFirstAndTakeNext();

    const auto sums = queue_.Sums();
    ASSERT_EQ(sums.size(), 2U);
    EXPECT_EQ(Text(sums.at(kCamera)), "2 pieces, 1 running, 25 s, 1 attempts");
    EXPECT_EQ(Text(sums.at(kOtherCamera)), "1 pieces, 0 running, 1 s, 0 attempts");
}

TEST_F(RangeQueueTest, WhatWasFetchedIsInNoListAndNoSum) {
    Add(kCamera, kDevice, Range(10, 20));
    const auto job = queue_.Take(now_);
    ASSERT_TRUE(job);
    queue_.Succeed(*job);
    EXPECT_TRUE(queue_.List(kCamera).empty());
    EXPECT_TRUE(queue_.Sums().empty());
}

}  // namespace
}  // namespace backfill
