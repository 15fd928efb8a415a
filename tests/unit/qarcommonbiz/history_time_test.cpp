#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>

#include "mock/Platform.h"
#include "qarcommonbiz/HistoryTime.h"

namespace qar {
namespace {

class HistoryTimeTest : public ::testing::Test {
protected:
    static SHistoryTime Iso(const std::string& text) {
        SHistoryTime time;
        EXPECT_TRUE(ISOToTime(text, time)) << text;
        return time;
    }
    static std::string After(const std::string& plain, int days) {
        SHistoryTime time = PlainToTime(plain + " 10:20:30", 0);
        AddDays(time, days);
        return TimeToPlain(time).substr(0, 10);
    }

    qarmock::Platform platform;
};

TEST_F(HistoryTimeTest, NewRecordIsAllZerosAndANewStateIsInOrder) {
    const SHistoryState state;
    EXPECT_EQ(TimeToISO(state), "0000-00-00T00:00:00+00:00");
    EXPECT_EQ(state.state, 2);
}

TEST_F(HistoryTimeTest, OffsetIsReadWithItsSign) {
    EXPECT_EQ(Iso("2024-03-01T08:00:00+08:00").differ, 28800);
    EXPECT_EQ(Iso("2024-03-01T08:00:00-05:30").differ, -19800);
    EXPECT_EQ(Iso("2024-03-01T08:00:00-00:30").differ, -1800);
}

TEST_F(HistoryTimeTest, TextWithoutOffsetIsAcceptedWithOffsetZero) {
    EXPECT_EQ(TimeToISO(Iso("2024-03-01T08:09:10Z")), "2024-03-01T08:09:10+00:00");
    EXPECT_EQ(TimeToISO(Iso("2024-03-01T08:09")), "2024-03-01T08:09:00+00:00");
}

// Nothing is validated: the reading stops at the first character that does not fit, and the rest stays 0. Plug-ins send
// such texts, and what they get for them must not change.
TEST_F(HistoryTimeTest, OddTextsAreReadAsFarAsTheyGo) {
    EXPECT_EQ(TimeToISO(Iso("2024-03-01 08:00:00")), "2024-03-01T00:00:00+00:00");
    EXPECT_EQ(Iso("2024-03-01T08:00:00+0800").differ, 2880000);
    EXPECT_EQ(TimeToISO(Iso("7")), "0007-00-00T00:00:00+00:00");
}

TEST_F(HistoryTimeTest, TextThatBeginsWithNoNumberFailsAndLeavesTheRecord) {
    for (const char* text : {"", "now", "T08:00:00", "+"}) {
        SHistoryTime time;
        EXPECT_FALSE(ISOToTime(text, time)) << text;
        EXPECT_EQ(TimeToISO(time), "0000-00-00T00:00:00+00:00");
    }
}

TEST_F(HistoryTimeTest, PlainTextTakesItsOffsetFromOutside) {
    EXPECT_EQ(TimeToISO(PlainToTime("2024-03-01 08:09:10", -19800)), "2024-03-01T08:09:10-05:30");
}

// A row of the database never fails to be read: what is no time is a point at year 0 with offset 0.
TEST_F(HistoryTimeTest, RubbishInPlainTextGivesZerosAndDropsTheOffset) {
    EXPECT_EQ(TimeToISO(PlainToTime("", 28800)), "0000-00-00T00:00:00+00:00");
    EXPECT_EQ(TimeToISO(PlainToTime("soon", 28800)), "0000-00-00T00:00:00+00:00");
    EXPECT_EQ(TimeToISO(PlainToTime("2024", 28800)), "2024-00-00T00:00:00+08:00");
}

TEST_F(HistoryTimeTest, OffsetTakesNoPartInComparisons) {
    const SHistoryTime east = Iso("2024-03-01T08:00:00+08:00");
    const SHistoryTime west = Iso("2024-03-01T08:00:00-05:00");
    EXPECT_TRUE(east == west);
    EXPECT_FALSE(east < west);
    EXPECT_FALSE(west < east);
    EXPECT_TRUE(east <= west);
}

TEST_F(HistoryTimeTest, FieldsCompareFromTheYearDown) {
    const char* const ordered[] = {"2023-12-31T23:59:59Z", "2024-01-01T00:00:00Z", "2024-01-02T00:00:00Z",
                                   "2024-01-02T01:00:00Z", "2024-01-02T01:01:00Z", "2024-01-02T01:01:01Z",
                                   "2024-02-01T00:00:00Z"};
    for (std::size_t i = 0; i < std::size(ordered); ++i) {
        for (std::size_t k = 0; k < std::size(ordered); ++k) {
            EXPECT_EQ(Iso(ordered[i]) < Iso(ordered[k]), i < k) << ordered[i] << " " << ordered[k];
        }
    }
}

TEST_F(HistoryTimeTest, SevenDaysBackCrossMonthsAndYears) {
    EXPECT_EQ(After("2024-03-05", -7), "2024-02-27");
    EXPECT_EQ(After("2023-03-05", -7), "2023-02-26");
    EXPECT_EQ(After("2024-01-03", -7), "2023-12-27");
    EXPECT_EQ(After("2000-03-01", -1), "2000-02-29");
    EXPECT_EQ(After("1900-03-01", -1), "1900-02-28");
    EXPECT_EQ(After("2024-12-31", 1), "2025-01-01");
}

TEST_F(HistoryTimeTest, StepsKeepTimeOfDayAndOffset) {
    SHistoryTime time = Iso("2024-03-05T10:20:30+08:00");
    AddDays(time, -7);
    EXPECT_EQ(TimeToISO(time), "2024-02-27T10:20:30+08:00");
    AddDays(time, 0);
    EXPECT_EQ(TimeToISO(time), "2024-02-27T10:20:30+08:00");
}

TEST_F(HistoryTimeTest, StepsAgreeWithTheCLibrarysCalendar) {
    std::mt19937 random(20240301);
    for (int i = 0; i < 2000; ++i) {
        const std::time_t moment = static_cast<std::time_t>(random() % 4000000000U) - 2000000000;
        const int days = static_cast<int>(random() % 800) - 400;
        std::tm begin{};
        std::tm end{};
        const std::time_t moved = moment + days * 86400L;
        ASSERT_NE(gmtime_r(&moment, &begin), nullptr);
        ASSERT_NE(gmtime_r(&moved, &end), nullptr);
        if (begin.tm_year < 1 || end.tm_year < 1) continue;
        char from[32];
        char to[32];
        std::strftime(from, sizeof from, "%Y-%m-%d", &begin);
        std::strftime(to, sizeof to, "%Y-%m-%d", &end);
        EXPECT_EQ(After(from, days), to) << from << " by " << days;
    }
}

// A year before 1900 or a month above 12 has no length: a step forward goes on to the next month, one backward lands
// on day 0.
TEST_F(HistoryTimeTest, MonthsThatTheCalendarDoesNotKnowHaveNoDays) {
    EXPECT_EQ(After("1899-05-10", 1), "1899-06-01");
    EXPECT_EQ(After("1899-05-01", -1), "1899-04-00");
    EXPECT_EQ(After("2024-13-05", 1), "2025-01-01");
}

TEST_F(HistoryTimeTest, UtcTextTakesTheOffsetAwayWhereverTheServerStands) {
    struct Zone {
        const char* tz;
        int offset;
    };
    for (const Zone zone : {Zone{"UTC0", 0}, Zone{"EAST-8", 28800}, Zone{"WEST5:30", -19800}}) {
        ASSERT_EQ(setenv("TZ", zone.tz, 1), 0);
        tzset();
        platform.time_util.fake.SetServerOffset(zone.offset);
        EXPECT_EQ(TimeToUTC(Iso("2024-03-01T08:00:00+08:00")), "2024-03-01 00:00:00") << zone.tz;
        EXPECT_EQ(TimeToUTC(Iso("2024-03-01T08:00:00-05:30")), "2024-03-01 13:30:00") << zone.tz;
        EXPECT_EQ(TimeToUTC(Iso("2024-01-01T00:00:00+08:00")), "2023-12-31 16:00:00") << zone.tz;
    }
}

// The server's offset of the present serves for every date, so a moment from the other side of the server's change of
// daylight saving lands an hour off. That is accepted.
TEST_F(HistoryTimeTest, UtcTextIsAnHourOffAcrossTheServersDaylightSaving) {
    ASSERT_EQ(setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1), 0);
    tzset();
    platform.time_util.fake.SetServerOffset(3600);  // it is winter now
    EXPECT_EQ(TimeToUTC(Iso("2024-01-10T12:00:00+01:00")), "2024-01-10 11:00:00");
    EXPECT_EQ(TimeToUTC(Iso("2024-07-10T12:00:00+02:00")), "2024-07-10 09:00:00");
}

TEST_F(HistoryTimeTest, MomentThatTheCLibraryCannotConvertCountsAsTheEpoch) {
    ASSERT_EQ(setenv("TZ", "UTC0", 1), 0);
    tzset();
    platform.time_util.fake.SetServerOffset(0);
    SHistoryTime time;
    time.year = 1969;
    time.month = 12;
    time.day = 31;
    time.hour = 23;
    time.minute = 59;
    time.second = 59;  // one second before the epoch, for which the C library gives its failure value
    EXPECT_EQ(TimeToUTC(time), "1970-01-01 00:00:00");
}

}  // namespace
}  // namespace qar
