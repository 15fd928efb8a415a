#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>

#include "Mox/Base/TimeUtil.h"
#include "standalone/base/DateTimeText.h"

namespace {

namespace TimeUtil = Mox::Base::TimeUtil;

void SetZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

TEST(TimeUtilTest, DifferenceTakesTheSignBeforeDividing) {
    EXPECT_EQ(TimeUtil::TimeDifference2Str(0), "+00:00");
    EXPECT_EQ(TimeUtil::TimeDifference2Str(28800), "+08:00");
    EXPECT_EQ(TimeUtil::TimeDifference2Str(-19800), "-05:30");
    EXPECT_EQ(TimeUtil::TimeDifference2Str(-1800), "-00:30");
    EXPECT_EQ(TimeUtil::TimeDifference2Str(1800), "+00:30");
    EXPECT_EQ(TimeUtil::TimeDifference2Str(50400), "+14:00");
}

TEST(TimeUtilTest, DifferenceDropsSeconds) {
    EXPECT_EQ(TimeUtil::TimeDifference2Str(3659), "+01:00");
    EXPECT_EQ(TimeUtil::TimeDifference2Str(-3659), "-01:00");
}

TEST(TimeUtilTest, EveryDifferenceIsWrittenAsPrintfWritesIt) {
    const auto check = [](int seconds) {
        char expected[32];
        const long long minutes = std::llabs(seconds) / 60;
        std::snprintf(expected, sizeof expected, "%c%02lld:%02lld", seconds < 0 ? '-' : '+', minutes / 60,
                      minutes % 60);
        ASSERT_EQ(TimeUtil::TimeDifference2Str(seconds), expected) << seconds;
    };
    for (int seconds = -400000; seconds <= 400000 && !testing::Test::HasFailure(); seconds += 7) check(seconds);
    check(std::numeric_limits<int>::max());
    check(std::numeric_limits<int>::min());
}

TEST(TimeUtilTest, YearsOfAnyLengthAreWrittenAsPrintfWritesThem) {
    EXPECT_EQ(qarplatform::DateTimeText(0, 1, 2, ' ', 3, 4, 5), "0000-01-02 03:04:05");
    EXPECT_EQ(qarplatform::DateTimeText(9999, 12, 31, 'T', 23, 59, 60), "9999-12-31T23:59:60");
    EXPECT_EQ(qarplatform::DateTimeText(10000, 1, 2, 'T', 3, 4, 5), "10000-01-02T03:04:05");
    EXPECT_EQ(qarplatform::DateTimeText(-1, 1, 2, ' ', 3, 4, 5), "-001-01-02 03:04:05");
}

TEST(TimeUtilTest, LocalTimeHasTextAndOffsetOfItsMoment) {
    SetZone("<+08>-8");
    std::string text = "before";
    int offset = 1;
    TimeUtil::TimeT2LocalTime(text, offset, 1709251200);
    EXPECT_EQ(text, "2024-03-01 08:00:00");
    EXPECT_EQ(offset, 28800);
    EXPECT_EQ(TimeUtil::TimeT2LocalTimeStrISO(1709251200), "2024-03-01T08:00:00+08:00");
}

TEST(TimeUtilTest, OffsetFollowsDaylightSaving) {
    SetZone("EST5EDT,M3.2.0,M11.1.0");
    std::string text;
    int offset = 0;
    TimeUtil::TimeT2LocalTime(text, offset, 1720000000);
    EXPECT_EQ(text, "2024-07-03 05:46:40");
    EXPECT_EQ(offset, -14400);
    TimeUtil::TimeT2LocalTime(text, offset, 1704067200);
    EXPECT_EQ(text, "2023-12-31 19:00:00");
    EXPECT_EQ(offset, -18000);
}

TEST(TimeUtilTest, MomentBefore1970) {
    SetZone("UTC0");
    EXPECT_EQ(TimeUtil::TimeT2LocalTimeStrISO(-1), "1969-12-31T23:59:59+00:00");
}

}  // namespace
