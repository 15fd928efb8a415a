#include <gtest/gtest.h>

#include <string>

#include "standalone/timezone/DaylightRule.h"
#include "standalone/timezone/TimeText.h"

namespace {

using qarplatform::DaylightRule;
using qarplatform::ParseDaylightRule;
using qarplatform::TimeText;

std::string MomentOf(const std::string& text, int year) {
    DaylightRule rule;
    std::string error;
    return ParseDaylightRule(text, rule, error) ? TimeText(rule.LocalSeconds(year)) : error;
}

TEST(DaylightRuleTest, WeekCountsTheWeekdaysOfTheMonth) {
    EXPECT_EQ(MomentOf("3:2:0:2:0", 2026), "2026-03-08 02:00:00");
    EXPECT_EQ(MomentOf("11:1:0:2:0", 2026), "2026-11-01 02:00:00");
    EXPECT_EQ(MomentOf("3:1:0:02:30", 2026), "2026-03-01 02:30:00");
    EXPECT_EQ(MomentOf("12:4:6:23:59", 2026), "2026-12-26 23:59:00");
}

TEST(DaylightRuleTest, FifthWeekIsTheLastSuchWeekday) {
    EXPECT_EQ(MomentOf("3:5:0:1:0", 2026), "2026-03-29 01:00:00");   // the fifth Sunday
    EXPECT_EQ(MomentOf("10:5:0:1:0", 2026), "2026-10-25 01:00:00");  // the fourth is the last
    EXPECT_EQ(MomentOf("2:5:1:3:30", 2026), "2026-02-23 03:30:00");
    EXPECT_EQ(MomentOf("2:5:2:3:30", 2028), "2028-02-29 03:30:00");
}

TEST(DaylightRuleTest, FirstAndLastYear) {
    EXPECT_EQ(MomentOf("1:1:4:0:0", 1970), "1970-01-01 00:00:00");
    EXPECT_EQ(MomentOf("12:5:5:23:59", 9999), "9999-12-31 23:59:00");
}

TEST(DaylightRuleTest, OtherFormsAreRefused) {
    const std::string form = "must be month:week:weekday:hour:minute in numbers, for example 3:2:0:2:0";
    for (const char* text :
         {"", ":", "3", "3:2:0:2", "3:2:0:2:", "3:2:0:2:0:", "3:2:0:2:0:0", "a:1:0:2:0", "3:-1:0:2:0", "3:2:0:2:000",
          " 3:2:0:2:0", "3:2:0:2:0 ", "3::0:2:0", "3.2.0.2.0", "99999999999999999999:2:0:2:0"}) {
        EXPECT_EQ(MomentOf(text, 2026), form) << text;
    }
    EXPECT_EQ(MomentOf(std::string("3:2:0:2:0\0", 10), 2026), form);
}

TEST(DaylightRuleTest, EachFieldHasItsRange) {
    EXPECT_EQ(MomentOf("0:1:0:0:0", 2026), "the month must be 1 to 12");
    EXPECT_EQ(MomentOf("13:1:0:0:0", 2026), "the month must be 1 to 12");
    EXPECT_EQ(MomentOf("1:0:0:0:0", 2026), "the week must be 1 to 5");
    EXPECT_EQ(MomentOf("1:6:0:0:0", 2026), "the week must be 1 to 5");
    EXPECT_EQ(MomentOf("1:1:7:0:0", 2026), "the weekday must be 0 to 6");
    EXPECT_EQ(MomentOf("1:1:0:24:0", 2026), "the hour must be 0 to 23");
    EXPECT_EQ(MomentOf("1:1:0:0:60", 2026), "the minute must be 0 to 59");
}

TEST(DaylightRuleTest, RefusedTextLeavesTheRule) {
    DaylightRule rule{3, 2, 0, 2, 0};
    std::string error;
    EXPECT_FALSE(ParseDaylightRule("13:1:0:2:0", rule, error));
    EXPECT_EQ(rule, (DaylightRule{3, 2, 0, 2, 0}));
}

}  // namespace
