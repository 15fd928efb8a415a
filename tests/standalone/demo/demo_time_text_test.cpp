#include <gtest/gtest.h>

#include "demo_cameras/time_text.h"

namespace demo {
namespace {

TEST(DemoTimeTextTest, IsoTextGivesTheMomentAndItsOffset) {
    EXPECT_EQ(ParseIso("1970-01-01T00:00:00Z"), (OffsetTime{0, 0}));
    EXPECT_EQ(ParseIso("2026-11-01T01:30:00-05:00"), (OffsetTime{1793514600, -18000}));
    EXPECT_EQ(ParseIso("2026-11-01T14:30:00+08:00"), (OffsetTime{1793514600, 28800}));
    EXPECT_EQ(ParseIso("2026-11-01T01:00:00-05:30"), (OffsetTime{1793514600, -19800}));
}

TEST(DemoTimeTextTest, TextThatIsNoIsoTimeGivesNothing) {
    for (const char* text :
         {"", "2026-11-01", "2026-11-01T01:30:00", "2026-11-01 01:30:00+08:00", "2026-11-01T01:30:00+0800",
          "2026-11-01T01:30:00+08:00 ", "2026-02-29T00:00:00Z", "2026-13-01T00:00:00Z", "2026-11-01T24:00:00Z",
          "2026-11-01T00:60:00Z", "2026-11-01T00:00:00+08:60", "20x6-11-01T00:00:00Z"}) {
        EXPECT_EQ(ParseIso(text), std::nullopt) << text;
    }
}

TEST(DemoTimeTextTest, IsoTextComesBackAsItWas) {
    for (const char* text : {"2026-11-01T01:30:00-05:00", "2024-02-29T23:59:59+08:00", "2026-01-01T00:00:00-00:30",
                             "2025-12-31T18:00:01+00:00"}) {
        EXPECT_EQ(FormatIso(*ParseIso(text)), text);
    }
}

TEST(DemoTimeTextTest, PlainTextIsAWallClock) {
    EXPECT_EQ(ParsePlain("2026-11-01 06:30:00"), 1793514600);
    EXPECT_EQ(ParsePlain("2026-11-01T06:30:00"), std::nullopt);
    EXPECT_EQ(ParsePlain("2026-11-01 06:30:00+"), std::nullopt);
    EXPECT_EQ(ParsePlain(""), std::nullopt);
}

TEST(DemoTimeTextTest, OtherFormsOfAMoment) {
    EXPECT_EQ(FormatHttpDate(1793514600), "Sun, 01 Nov 2026 06:30:00 GMT");
    EXPECT_EQ(FormatHttpDate(0), "Thu, 01 Jan 1970 00:00:00 GMT");
    EXPECT_EQ(FormatUtc(1793514600), "2026-11-01T06:30:00Z");
    EXPECT_EQ(FormatMinute(1793514600), "2026-11-01 06:30");
    EXPECT_EQ(FormatHourMinute(1793514600), "06:30");
    EXPECT_EQ(FormatOffset(-19800), "-05:30");
    EXPECT_EQ(FormatOffset(-1800), "-00:30");
    EXPECT_EQ(FormatOffset(0), "+00:00");
}

}  // namespace
}  // namespace demo
