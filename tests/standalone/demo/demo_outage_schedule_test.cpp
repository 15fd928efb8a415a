#include <gtest/gtest.h>

#include <map>

#include "demo_cameras/outage_schedule.h"
#include "demo_cameras/time_text.h"

namespace demo {
namespace {

constexpr std::int64_t kMinute = OutageSchedule::kMinuteMs;

std::int64_t Ms(const char* iso) { return ParseIso(iso)->utc_s * 1000; }

std::vector<ScheduledCamera> Cameras() {
    std::vector<ScheduledCamera> cameras;
    const std::vector<ZoneRule> zones = DemoZones();
    for (int i = 0; i < 12; ++i) {
        cameras.push_back({101 + i, zones[static_cast<std::size_t>(i) % zones.size()], 15 * i - 90});
    }
    return cameras;
}

class DemoOutageScheduleTest : public testing::Test {
protected:
    const CheckTicks checks_{Ms("2026-10-31T22:07:31Z") + 417};
    const std::int64_t from_ = checks_.timer_started_ms + 30 * kMinute;
    const std::int64_t until_ = from_ + 20 * 60 * kMinute;
};

TEST_F(DemoOutageScheduleTest, ChecksAreTheTicks25And55OfEachHour) {
    const std::int64_t start = checks_.timer_started_ms;
    EXPECT_EQ(checks_.Next(start), start + 25 * kMinute);
    EXPECT_EQ(checks_.Next(start + 25 * kMinute), start + 25 * kMinute);
    EXPECT_EQ(checks_.Next(start + 25 * kMinute + 1), start + 55 * kMinute);
    EXPECT_EQ(checks_.Next(start + 56 * kMinute), start + 85 * kMinute);
    EXPECT_EQ(checks_.Distance(start + 57 * kMinute), 2 * kMinute);
    EXPECT_EQ(checks_.Distance(start + 84 * kMinute), 1 * kMinute);
    EXPECT_EQ(checks_.Distance(start + kMinute), 24 * kMinute);
}

TEST_F(DemoOutageScheduleTest, EveryOutageKeepsTheRulesWhateverTheSeed) {
    const std::vector<ScheduledCamera> cameras = Cameras();
    std::size_t in_all = 0;
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        std::map<int, std::int64_t> last_end;
        const OutageSchedule schedule(seed, checks_, cameras, from_, until_);
        for (const Outage& outage : schedule.Outages()) {
            ++in_all;
            const ScheduledCamera& camera = cameras.at(static_cast<std::size_t>(outage.camera - 101));
            const std::int64_t minutes = (outage.end_ms - outage.begin_ms) / kMinute;
            ASSERT_GE(minutes, 20);
            ASSERT_LE(minutes, 90);
            ASSERT_GE(outage.begin_ms, from_);
            ASSERT_LT(outage.begin_ms, until_);
            const std::int64_t into_period = ((outage.end_ms - checks_.timer_started_ms) / 1000 + 5 * 60) % (30 * 60);
            ASSERT_GE(into_period, 2 * 60) << "ends right after a check";
            ASSERT_LE(into_period, 28 * 60) << "ends right before a check";
            const std::int64_t wall = outage.end_ms / 1000 + camera.skew_s;
            if (camera.zone.daylight) {
                ASSERT_TRUE(wall < ParseIso("2026-11-01T05:00:00Z")->utc_s ||
                            wall >= ParseIso("2026-11-01T07:00:00Z")->utc_s);
            }
            if (last_end.count(outage.camera) > 0) {
                ASSERT_GE(outage.begin_ms - last_end[outage.camera], 40 * kMinute);
            }
            last_end[outage.camera] = outage.end_ms;
        }
        ASSERT_EQ(last_end.size(), cameras.size()) << "every camera goes away";
    }
    EXPECT_GT(in_all / 300, 4 * cameras.size()) << "several outages per camera";
}

TEST_F(DemoOutageScheduleTest, TheSameSeedGivesTheSameOutagesAndAnotherOneOthers) {
    const auto outages = [&](std::uint64_t seed) {
        return OutageSchedule(seed, checks_, Cameras(), from_, until_).Outages();
    };
    EXPECT_EQ(outages(5), outages(5));
    EXPECT_NE(outages(5), outages(6));
}

TEST_F(DemoOutageScheduleTest, OutagesComeInTheOrderOfTheirBegin) {
    const OutageSchedule schedule(1, checks_, Cameras(), from_, until_);
    for (std::size_t i = 1; i < schedule.Outages().size(); ++i) {
        EXPECT_LE(schedule.Outages()[i - 1].begin_ms, schedule.Outages()[i].begin_ms);
    }
}

TEST_F(DemoOutageScheduleTest, NothingBeginsWhereThereIsNoTime) {
    EXPECT_TRUE(OutageSchedule(1, checks_, Cameras(), from_, from_).Outages().empty());
}

TEST_F(DemoOutageScheduleTest, AnOutageMayNotEndInTheRepeatedHourOfItsCamera) {
    const CheckTicks checks{Ms("2026-11-01T00:15:00Z")};  // checks at minutes 10 and 40
    const std::vector<ZoneRule> zones = DemoZones();
    EXPECT_TRUE(OutageSchedule::MayEnd({1, zones[0], 0}, checks, Ms("2026-11-01T05:30:00Z")));
    EXPECT_FALSE(OutageSchedule::MayEnd({1, zones[2], 0}, checks, Ms("2026-11-01T05:30:00Z")));
    EXPECT_FALSE(OutageSchedule::MayEnd({1, zones[2], 0}, checks, Ms("2026-11-01T06:30:00Z")));
    EXPECT_FALSE(OutageSchedule::MayEnd({1, zones[2], 60}, checks, Ms("2026-11-01T04:59:30Z"))) << "its clock is ahead";
    EXPECT_TRUE(OutageSchedule::MayEnd({1, zones[2], 0}, checks, Ms("2026-11-01T07:00:00Z")));
}

TEST_F(DemoOutageScheduleTest, AnOutageMayNotEndNearACheck) {
    const CheckTicks checks{Ms("2026-11-01T00:15:00Z")};
    const ScheduledCamera camera{1, DemoZones()[0], 0};
    EXPECT_FALSE(OutageSchedule::MayEnd(camera, checks, Ms("2026-11-01T03:36:00Z")));
    EXPECT_FALSE(OutageSchedule::MayEnd(camera, checks, Ms("2026-11-01T03:40:00Z")));
    EXPECT_FALSE(OutageSchedule::MayEnd(camera, checks, Ms("2026-11-01T03:41:59Z")));
    EXPECT_TRUE(OutageSchedule::MayEnd(camera, checks, Ms("2026-11-01T03:42:00Z")));
    EXPECT_TRUE(OutageSchedule::MayEnd(camera, checks, Ms("2026-11-01T03:35:00Z")));
}

}  // namespace
}  // namespace demo
