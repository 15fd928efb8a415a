#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <limits>
#include <random>
#include <string>

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

// What the numbers of a text mean is what scanf makes of them.
SHistoryTime ScannedIso(const std::string& text, bool& read) {
    const bool east = text.find('+') != std::string::npos;
    SHistoryTime time;
    int hours = 0;
    int minutes = 0;
    const int count = east ? std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%d+%d:%d", &time.year, &time.month, &time.day,
                                         &time.hour, &time.minute, &time.second, &hours, &minutes)
                           : std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%d-%d:%d", &time.year, &time.month, &time.day,
                                         &time.hour, &time.minute, &time.second, &hours, &minutes);
    const auto offset = static_cast<int32_t>(int64_t{hours} * 3600 + int64_t{minutes} * 60);
    time.differ = east ? offset : static_cast<int32_t>(-int64_t{offset});
    read = count >= 1;
    return read ? time : SHistoryTime();
}

SHistoryTime ScannedPlain(const std::string& text, int differ) {
    SHistoryTime time;
    const int count = std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &time.year, &time.month, &time.day, &time.hour,
                                  &time.minute, &time.second);
    if (count >= 1) time.differ = differ;
    return time;
}

bool AllEqual(const SHistoryTime& left, const SHistoryTime& right) {
    return left == right && left.differ == right.differ;
}

std::string Shown(const SHistoryTime& time) {
    std::string text;
    for (const int field :
         {time.year, time.month, time.day, time.hour, time.minute, time.second, static_cast<int>(time.differ)}) {
        text += std::to_string(field) + " ";
    }
    return text;
}

void ExpectReadAsScanned(const std::string& text) {
    bool scanned = false;
    const SHistoryTime expected = ScannedIso(text, scanned);
    SHistoryTime time;
    const bool read = ISOToTime(text, time);
    if (read != scanned || !AllEqual(time, expected)) {
        ADD_FAILURE() << "ISO \"" << text << "\": " << Shown(time) << "instead of " << Shown(expected);
    }
    const SHistoryTime expected_plain = ScannedPlain(text, 3600);
    const SHistoryTime plain = PlainToTime(text, 3600);
    if (!AllEqual(plain, expected_plain)) {
        ADD_FAILURE() << "plain \"" << text << "\": " << Shown(plain) << "instead of " << Shown(expected_plain);
    }
}

TEST_F(HistoryTimeTest, OddNumbersAreReadAsScanfReadsThem) {
    for (const char* text : {
             "2024-03-01T08:09:10+08:00",
             "2024-03-01T08:09:10-05:30",
             "2024-03-01T08:09:10Z",
             "2024-03-01T08:09:10 +08:00",
             " \t\n\v\f\r2024- 03-\t01T 08: 09:\n10+ 08: 00",
             "2024-03-01T08:09:10+-08:+30",
             "+2024-+3-+1T+8:+9:+10-+1:+2",
             "-2024--3--1T-8:-9:-10--1:-2",
             "- 2024-03-01",
             "+-2024-03-01",
             "--2024",
             "2024-03-01t08:09:10+08:00",
             "2024 -03-01",
             "0002024-0003-00001T0008:00009:000010+0008:0000",
             "12345-123-456T789:1000:2000+3000:4000",
             "2147483647-2147483648-4294967295T4294967296:-2147483648:-2147483649+2147483647:2147483647",
             "9223372036854775807-9223372036854775808-9223372036854775809T99999999999999999999:1:1+1:1",
             "-9223372036854775808--9223372036854775809--99999999999999999999T1:1:1-1:1",
             "2024-03-01   08:09:10",
             "2024-03-0108:09:10",
             "2024-03-01\n08:09:10",
             "0x10-0x11",
             "1e3-2",
             "2024-",
             "2024-03-01T08:09:10+",
             "\xef\xbb\xbf"
             "2024-03-01",
         }) {
        ExpectReadAsScanned(text);
    }
    ExpectReadAsScanned(std::string("2024-03\0-01T08:09:10+08:00", 26));
}

TEST_F(HistoryTimeTest, AMillionChangedTextsAreReadAsScanfReadsThem) {
    const std::string seeds[] = {"2024-03-01T08:09:10+08:00", "2024-12-31 23:59:59", "1999-1-2T3:4:5-05:30",
                                 "2024-03-01T08:09:10Z",      "-7-+8- 9T1:2:3+4:5",  "99999999999-2147483648"};
    const std::string signs("0123456789999000+-+-::T  Z.\t\0", 29);
    std::minstd_rand random(7);
    const auto below = [&random](std::size_t end) { return random() / 7 % end; };
    for (int i = 0; i < 500000 && !HasFailure(); ++i) {
        std::string text = seeds[below(std::size(seeds))];
        for (std::size_t changes = below(4); changes > 0; --changes) {
            const std::size_t at = below(text.size() + 1);
            const char sign = signs[below(signs.size())];
            switch (below(4)) {
                case 0:
                    text.resize(at);
                    break;
                case 1:
                    text.insert(at, below(3) == 0 ? 12 : 1, sign);
                    break;
                case 2:
                    text.erase(at, 1);
                    break;
                default:
                    if (at < text.size()) text[at] = sign;
            }
        }
        ExpectReadAsScanned(text);
    }
}

TEST_F(HistoryTimeTest, FieldsOfAnySizeAreWrittenAsPrintfWritesThem) {
    const int32_t odd[] = {
        0,    1,     -1,    9,          10,          -9,          -10,
        99,   100,   -99,   -100,       999,         -999,        1000,
        9999, 10000, -9999, 2147483647, -2147483647, 1900,        2024,
        1970, 12345, -1000, 65535,      1999999999,  -2000000000, std::numeric_limits<int32_t>::min()};
    std::minstd_rand random(7);
    const auto field = [&](int32_t most) {
        return random() / 7 % 4 == 0 ? odd[random() / 7 % std::size(odd)] : static_cast<int32_t>(random() / 7) % most;
    };
    for (int i = 0; i < 500000 && !HasFailure(); ++i) {
        SHistoryTime time;
        time.year = field(10000);
        time.month = field(13);
        time.day = field(32);
        time.hour = field(24);
        time.minute = field(60);
        time.second = field(60);
        char expected[80];
        std::snprintf(expected, sizeof expected, "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month, time.day,
                      time.hour, time.minute, time.second);
        if (TimeToPlain(time) != expected) ADD_FAILURE() << TimeToPlain(time) << " instead of " << expected;
    }
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
