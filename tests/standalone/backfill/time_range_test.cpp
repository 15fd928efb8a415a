#include <gtest/gtest.h>

#include "plugins/backfill/TimeRange.h"

namespace backfill {
namespace {

TEST(MomentTest, OffsetIsTakenAwayToReachUtc) {
    ASSERT_TRUE(ParseMoment("1970-01-01T00:00:00+00:00"));
    EXPECT_EQ(ParseMoment("1970-01-01T00:00:00+00:00")->unix_s, 0);
    EXPECT_EQ(ParseMoment("2024-03-01T08:00:00+08:00")->unix_s, 1709251200);
    EXPECT_EQ(ParseMoment("2024-02-29T18:30:00-05:30")->unix_s, 1709251200);
    EXPECT_EQ(ParseMoment("1969-12-31T23:59:59+00:00")->unix_s, -1);
    EXPECT_EQ(ParseMoment("2000-02-29T00:00:00+00:00")->unix_s, 951782400);
}

TEST(MomentTest, TextStaysAsItWasTold) {
    EXPECT_EQ(ParseMoment("2024-03-01T08:00:00+08:00")->iso, "2024-03-01T08:00:00+08:00");
}

TEST(MomentTest, AnyOtherTextIsNoMoment) {
    for (const char* text : {"", "now", "2024-03-01", "2024-03-01T08:00:00", "2024-03-01T08:00:00Z",
                             "2024-03-01T08:00:00+08:00x", "2024-13-01T08:00:00+08:00", "2024-00-01T08:00:00+08:00",
                             "2024-03-32T08:00:00+08:00", "2024-03-01 08:00:00+08:00"}) {
        EXPECT_FALSE(ParseMoment(text)) << text;
    }
}

TEST(RangeTest, RangeWhoseOffsetPutsItsEndBeforeItsBeginIsEmpty) {
    const auto range = ParseRange({"2024-03-01T01:30:00+02:00", "2024-03-01T01:40:00+03:00"});
    ASSERT_TRUE(range);
    EXPECT_TRUE(range->Empty());
}

TEST(RangeTest, NeighboursTouchButDoNotOverlap) {
    const TimeRange left{{"a", 0}, {"b", 10}};
    const TimeRange right{{"b", 10}, {"c", 20}};
    EXPECT_TRUE(left.Touches(right));
    EXPECT_FALSE(left.Overlaps(right));
    EXPECT_FALSE(left.Touches({{"d", 11}, {"e", 12}}));
}

TEST(RangeTest, RangeWithABadEndIsNone) { EXPECT_FALSE(ParseRange({"2024-03-01T01:30:00+02:00", "later"})); }

TEST(OpenRangeTest, RangeIsOpenWhereTheHistoryHasAnyOfIt) {
    const auto range = ParseRange({"2024-03-01T01:00:00+08:00", "2024-03-01T02:00:00+08:00"});
    ASSERT_TRUE(range);
    EXPECT_FALSE(IsOpen(*range, {}));
    EXPECT_FALSE(IsOpen(*range, {{"2024-03-01T02:00:00+08:00", "2024-03-01T03:00:00+08:00"}})) << "a neighbour";
    EXPECT_FALSE(IsOpen(*range, {{"never", "2024-03-01T03:00:00+08:00"}}));
    EXPECT_TRUE(IsOpen(*range, {{"2024-03-01T00:00:00+08:00", "2024-03-01T00:30:00+08:00"},
                                {"2024-03-01T01:30:00+08:00", "2024-03-01T03:00:00+08:00"}}));
    EXPECT_TRUE(IsOpen(*range, {{"2024-02-29T17:00:00+00:00", "2024-02-29T18:00:00+00:00"}})) << "by another offset";
}

TEST(OpenRangeTest, RangeWithoutTimeInItIsOpenWhileItStandsThere) {
    const qar::SStateRange texts{"2024-03-01T01:30:00+02:00", "2024-03-01T01:40:00+03:00"};
    const auto range = ParseRange(texts);
    ASSERT_TRUE(range);
    EXPECT_TRUE(IsOpen(*range, {texts}));
    EXPECT_FALSE(IsOpen(*range, {}));
}

}  // namespace
}  // namespace backfill
