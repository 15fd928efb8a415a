#include <gtest/gtest.h>

#include "demo_run/outage_verdict.h"

namespace demo {
namespace {

class DemoOutageVerdictTest : public testing::Test {
protected:
    DemoOutageVerdictTest() {
        evidence_.skew_s = 100;
        evidence_.first_in_order_ms = 500'000;
    }

    OutageVerdict Verdict() const { return Judge(outage_, evidence_, 60); }

    PastOutage outage_{101, 1'000'000, 2'000'000};  // seconds 1100 to 2100 of the camera's clock
    CameraEvidence evidence_;
};

TEST_F(DemoOutageVerdictTest, RangesMayFallShortByAProbePeriodAtEitherEndAndNoMore) {
    evidence_.told.Add(1160, 2040);
    evidence_.fetched.Add(1160, 2040);
    EXPECT_TRUE(Verdict().told);
    EXPECT_TRUE(Verdict().fetched);
    EXPECT_FALSE(Verdict().Failed());
    evidence_.told = IntervalSet();
    evidence_.told.Add(1161, 2100);
    EXPECT_FALSE(Verdict().told);
    EXPECT_TRUE(Verdict().Failed());
    evidence_.told = IntervalSet();
    evidence_.told.Add(1100, 2039);
    EXPECT_FALSE(Verdict().told);
}

TEST_F(DemoOutageVerdictTest, AHoleInTheMiddleIsNotFetched) {
    evidence_.told.Add(1000, 2200);
    evidence_.fetched.Add(1000, 1500);
    evidence_.fetched.Add(1501, 2200);
    EXPECT_TRUE(Verdict().told);
    EXPECT_FALSE(Verdict().fetched);
    EXPECT_TRUE(Verdict().Failed());
}

TEST_F(DemoOutageVerdictTest, RangesOnTheSitesClockInsteadOfTheCamerasAreNotEnough) {
    evidence_.told.Add(1000, 2000);
    EXPECT_FALSE(Verdict().told);
}

TEST_F(DemoOutageVerdictTest, AnOutageBeforeTheFirstStateTwoDoesNotCount) {
    evidence_.first_in_order_ms = 1'000'000;
    EXPECT_FALSE(Verdict().counts);
    EXPECT_FALSE(Verdict().Failed());
    evidence_.first_in_order_ms = 999'999;
    EXPECT_TRUE(Verdict().counts);
    EXPECT_TRUE(Verdict().Failed());
    evidence_.first_in_order_ms = std::nullopt;
    EXPECT_FALSE(Verdict().counts);
}

TEST_F(DemoOutageVerdictTest, AnOutageThatLastsDoesNotCount) {
    outage_.end_ms = std::nullopt;
    evidence_.told.Add(0, 10000);
    EXPECT_FALSE(Verdict().counts);
    EXPECT_FALSE(Verdict().told);
}

TEST_F(DemoOutageVerdictTest, TheTextNamesTheOutageOnTheCamerasClockAndWhatIsMissing) {
    EXPECT_EQ(FailureText(Verdict(), evidence_, 28800),
              "outage camera=101 begin=1970-01-01T08:18:20+08:00 end=1970-01-01T08:35:00+08:00 was not told");
    evidence_.told.Add(0, 10000);
    EXPECT_EQ(
        FailureText(Verdict(), evidence_, -19800),
        "outage camera=101 begin=1969-12-31T18:48:20-05:30 end=1969-12-31T19:05:00-05:30 was told, but not fetched whole");
}

}  // namespace
}  // namespace demo
