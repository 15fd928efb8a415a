#include <gtest/gtest.h>
#include <time.h>

#include <random>
#include <string>

#include "standalone/device/HttpDate.h"

namespace {

using qarplatform::ParseHttpDate;

int64_t Parsed(std::string_view text) {
    int64_t seconds = -7;
    const bool read = ParseHttpDate(text, seconds);
    EXPECT_EQ(read, seconds != -7);
    return seconds;
}

TEST(HttpDateTest, WellFormedDateIsRead) {
    EXPECT_EQ(Parsed("Sun, 06 Nov 1994 08:49:37 GMT"), 784111777);
    EXPECT_EQ(Parsed("Thu, 01 Jan 1970 00:00:00 GMT"), 0);
    EXPECT_EQ(Parsed("Wed, 31 Dec 1969 23:59:59 GMT"), -1);
    EXPECT_EQ(Parsed("Tue, 29 Feb 2028 12:00:00 GMT"), 1835438400);
    EXPECT_EQ(Parsed("Fri, 31 Dec 9999 23:59:59 GMT"), 253402300799);
    EXPECT_EQ(Parsed("Sat, 31 Dec 2016 23:59:60 GMT"), 1483228800);
}

TEST(HttpDateTest, WeekdayNeedNotFitTheDate) { EXPECT_EQ(Parsed("Mon, 06 Nov 1994 08:49:37 GMT"), 784111777); }

TEST(HttpDateTest, EveryHourOfThirtyYearsIsReadAsTheCLibraryWritesIt) {
    for (int64_t moment = 0; moment < 30LL * 366 * 86400; moment += 3600 + 61) {
        const time_t argument = moment;
        tm utc{};
        ASSERT_NE(gmtime_r(&argument, &utc), nullptr);
        char text[64];
        strftime(text, sizeof(text), "%a, %d %b %Y %H:%M:%S GMT", &utc);
        ASSERT_EQ(Parsed(text), moment) << text;
    }
}

TEST(HttpDateTest, OtherFormsAreRefused) {
    for (const char* text : {"",
                             "now",
                             "Sunday, 06-Nov-94 08:49:37 GMT",
                             "Sun Nov  6 08:49:37 1994",
                             "Sun, 6 Nov 1994 08:49:37 GMT",
                             "Sun, 06 Nov 1994 08:49:37 UTC",
                             "Sun, 06 Nov 1994 08:49:37 GM",
                             "Sun, 06 Nov 1994 08:49:37 GMT ",
                             " Sun, 06 Nov 1994 08:49:37 GMT",
                             "sun, 06 Nov 1994 08:49:37 GMT",
                             "Son, 06 Nov 1994 08:49:37 GMT",
                             "Sun, 06 nov 1994 08:49:37 GMT",
                             "Sun, 06 Nvo 1994 08:49:37 GMT",
                             "Sun, 00 Nov 1994 08:49:37 GMT",
                             "Sun, 31 Nov 1994 08:49:37 GMT",
                             "Sun, 29 Feb 2026 08:49:37 GMT",
                             "Sun, 06 Nov 1994 24:00:00 GMT",
                             "Sun, 06 Nov 1994 08:60:37 GMT",
                             "Sun, 06 Nov 1994 08:49:61 GMT",
                             "Sun, -6 Nov 1994 08:49:37 GMT",
                             "Sun, 06 Nov 1994 08-49-37 GMT",
                             "Sun; 06 Nov 1994 08:49:37 GMT"}) {
        EXPECT_EQ(Parsed(text), -7) << text;
    }
    EXPECT_EQ(Parsed(std::string(100000, 'x')), -7);
    EXPECT_EQ(Parsed(std::string_view("Sun, 06 Nov 1994 08:49:37 GMT\0", 30)), -7);
}

TEST(HttpDateTest, ChangedBytesNeverGiveADateOutsideItsYears) {
    std::mt19937 random(1);
    for (int i = 0; i < 200000; ++i) {
        std::string text = "Sun, 06 Nov 1994 08:49:37 GMT";
        for (int changes = 0; changes < 3; ++changes) {
            text[random() % text.size()] = static_cast<char>(random() % 256);
        }
        int64_t seconds = 0;
        if (ParseHttpDate(text, seconds)) {
            ASSERT_GE(seconds, -62167219200) << text;
            ASSERT_LE(seconds, 253402300800) << text;
        }
    }
}

}  // namespace
