#include <gtest/gtest.h>

#include "demo_run/range_ledger.h"

namespace demo {
namespace {

JournalLine Line(JournalEvent event, int camera, std::int64_t begin, std::int64_t end) {
    JournalLine line;
    line.event = event;
    line.camera = camera;
    line.busi = 1;
    line.begin.utc_s = begin;
    line.end.utc_s = end;
    return line;
}

class DemoRangeLedgerTest : public testing::Test {
protected:
    void Told(int camera, std::int64_t begin, std::int64_t end) { Enter(JournalEvent::kTold, camera, begin, end); }
    void Fetching(int camera, std::int64_t begin, std::int64_t end) {
        Enter(JournalEvent::kFetching, camera, begin, end);
    }
    void Failed(int camera, std::int64_t begin, std::int64_t end) { Enter(JournalEvent::kFailed, camera, begin, end); }
    void Done(int camera, std::int64_t begin, std::int64_t end) { Enter(JournalEvent::kDone, camera, begin, end); }
    void Enter(JournalEvent event, int camera, std::int64_t begin, std::int64_t end) {
        ledger_.Enter(Line(event, camera, begin, end));
    }

    RangeLedger ledger_;
};

TEST_F(DemoRangeLedgerTest, RangesOfOneEndCountOnce) {
    Told(1, 100, 200);
    Told(1, 120, 200);
    Told(1, 300, 400);
    Told(2, 100, 200);
    EXPECT_EQ(ledger_.Told(), 3U);
    EXPECT_EQ(ledger_.ToldOf(1), 2U);
    EXPECT_EQ(ledger_.Open().size(), 3U);
}

TEST_F(DemoRangeLedgerTest, ADoneRangeClosesTheToldOneOfItsEnd) {
    Told(1, 100, 200);
    Told(2, 100, 200);
    Done(1, 100, 200);
    EXPECT_EQ(ledger_.Done(), 1U);
    ASSERT_EQ(ledger_.Open().size(), 1U);
    EXPECT_EQ(ledger_.Open().front().camera, 2);
    EXPECT_EQ(ledger_.ClosedOf(1), 1U);
    EXPECT_EQ(ledger_.ClosedOf(2), 0U);
}

TEST_F(DemoRangeLedgerTest, ALongerDoneRangeClosesWhatItCovers) {
    Told(1, 100, 200);
    Told(1, 150, 250);
    Done(1, 100, 250);
    EXPECT_TRUE(ledger_.Open().empty());
    EXPECT_EQ(ledger_.Done(), 1U);
}

TEST_F(DemoRangeLedgerTest, AShorterDoneRangeClosesNothing) {
    Told(1, 100, 200);
    Done(1, 100, 199);
    EXPECT_EQ(ledger_.Open().size(), 1U);
}

TEST_F(DemoRangeLedgerTest, AFetchLastsUntilItIsDoneOrFails) {
    Fetching(1, 100, 200);
    Fetching(1, 300, 400);
    Fetching(2, 500, 600);
    EXPECT_EQ(ledger_.FetchingSeconds(1).Stretches(), (std::map<std::int64_t, std::int64_t>{{100, 200}, {300, 400}}));
    Failed(1, 100, 200);
    Done(1, 300, 400);
    EXPECT_TRUE(ledger_.FetchingSeconds(1).Stretches().empty());
    EXPECT_TRUE(ledger_.DoneSeconds(1, 1).Covers(300, 400));
    EXPECT_FALSE(ledger_.DoneSeconds(1, 1).Touches(100, 200));
    EXPECT_FALSE(ledger_.FetchingSeconds(2).Stretches().empty());
}

TEST_F(DemoRangeLedgerTest, SecondsAreKeptForEachCamera) {
    Told(1, 100, 200);
    EXPECT_TRUE(ledger_.ToldSeconds(1, 1).Covers(100, 200));
    EXPECT_FALSE(ledger_.ToldSeconds(1, 2).Touches(100, 200));
    EXPECT_FALSE(ledger_.ToldSeconds(2, 1).Touches(100, 200));
}

}  // namespace
}  // namespace demo
