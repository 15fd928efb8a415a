#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>

#include "demo_cameras/demo_start.h"
#include "demo_run/watch.h"
#include "tests/standalone/demo/demo_temporary_folder.h"

namespace demo {
namespace {

/// Writes what the host and its plug-in would write, for camera 101 in the zone +08:00.
class DemoWatchTest : public testing::Test {
protected:
    DemoWatchTest() {
        std::filesystem::create_directories(folder_.HistoryDatabase().parent_path());
        sqlite3_open(folder_.HistoryDatabase().c_str(), &database_);
        Execute(
            "CREATE TABLE camera_history(id INTEGER PRIMARY KEY, camera_id INTEGER, camera_state INTEGER, state_time TEXT,"
            "state_utc_time TEXT, business_type INTEGER, bi_type INTEGER, differ INTEGER)");
    }
    ~DemoWatchTest() override { sqlite3_close(database_); }

    void Execute(const std::string& sql) {
        ASSERT_EQ(sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database_);
    }
    void Point(int state, const std::string& time) {
        Execute("INSERT INTO camera_history(camera_id, camera_state, state_time, business_type, differ) VALUES(101, " +
                std::to_string(state) + ", '" + time + "', 1, 28800)");
    }
    void Journal(const std::string& event, const std::string& begin, const std::string& end) {
        std::ofstream(folder_.Journal(), std::ios::app)
            << event << " camera=101 busi=1 begin=" << begin << " end=" << end << "\n";
    }
    void Fetch(std::int64_t begin, std::int64_t end, const std::string& bytes) {
        const auto file =
            folder_.Fetched() / "camera_101" / "busi_1" / (std::to_string(begin) + "-" + std::to_string(end) + ".bin");
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << bytes;
    }

    static constexpr std::int64_t kBegin = kDemoStartS;       // 06:00 on the camera's wall clock
    static constexpr std::int64_t kEnd = kDemoStartS + 3600;  // 07:00
    static constexpr const char* kBeginIso = "2026-11-01T06:00:00+08:00";
    static constexpr const char* kEndIso = "2026-11-01T07:00:00+08:00";

    const TemporaryFolder temporary_;
    const DemoFolder folder_{temporary_.Path()};
    const CameraFleet fleet_{DemoClock(600), 1, 1};
    sqlite3* database_ = nullptr;
    Watch watch_{fleet_, folder_};
};

TEST_F(DemoWatchTest, AnExceptionRangeOfTheTableIsAGapEvenBeforeItIsTold) {
    Point(2, "2026-11-01 06:00:00");
    watch_.Poll();
    EXPECT_TRUE(watch_.NothingOpen());
    Point(1, "2026-11-01 07:00:00");
    EXPECT_TRUE(watch_.Poll().empty());
    EXPECT_FALSE(watch_.NothingOpen());
    const KnownPast past = watch_.PastOf(0);
    EXPECT_EQ(past.gaps.Stretches(), (std::map<std::int64_t, std::int64_t>{{kBegin, kEnd}}));
    EXPECT_EQ(past.last_point, kEnd);
}

TEST_F(DemoWatchTest, AToldRangeIsOpenUntilItIsDone) {
    Journal("told", kBeginIso, kEndIso);
    EXPECT_EQ(watch_.Poll().size(), 1U);
    EXPECT_FALSE(watch_.NothingOpen());
    Journal("fetching", kBeginIso, kEndIso);
    watch_.Poll();
    EXPECT_TRUE(watch_.PastOf(0).fetching.Covers(kBegin, kEnd));
    Journal("done", kBeginIso, kEndIso);
    watch_.Poll();
    EXPECT_TRUE(watch_.NothingOpen());
    EXPECT_TRUE(watch_.PastOf(0).fetched.Covers(kBegin, kEnd));
    EXPECT_FALSE(watch_.PastOf(0).gaps.Touches(kBegin, kEnd));
}

TEST_F(DemoWatchTest, WithoutATableThatCanBeReadSomethingIsOpen) {
    Execute("DROP TABLE camera_history");
    watch_.Poll();
    EXPECT_FALSE(watch_.NothingOpen());
}

TEST_F(DemoWatchTest, TheWeekBeforeTheFirstContactHasAMarkOfItsOwn) {
    EXPECT_EQ(watch_.WeekOf(0, watch_.PastOf(0)), Mark::kUnknown);
    Journal("told", "2026-10-25T06:00:00+08:00", kBeginIso);
    watch_.Poll();
    EXPECT_EQ(watch_.WeekOf(0, watch_.PastOf(0)), Mark::kGap);
    Journal("done", "2026-10-25T06:00:00+08:00", kBeginIso);
    Journal("told", kBeginIso, kEndIso);
    watch_.Poll();
    EXPECT_EQ(watch_.WeekOf(0, watch_.PastOf(0)), Mark::kFetched);
}

TEST_F(DemoWatchTest, TheFirstStateTwoIsKeptAlsoAfterItsRowHasMovedOn) {
    std::vector<std::string> faults;
    Point(1, "2026-11-01 06:00:00");
    watch_.Poll();
    EXPECT_EQ(watch_.EvidenceOf(0, faults).first_in_order_ms, std::nullopt);
    const std::int64_t before = fleet_.Clock().NowMs();
    Point(2, "2026-11-01 06:25:00");
    watch_.Poll();
    const std::int64_t after = fleet_.Clock().NowMs();
    Execute("DELETE FROM camera_history");
    watch_.Poll();
    const auto first = watch_.EvidenceOf(0, faults).first_in_order_ms;
    ASSERT_TRUE(first);
    EXPECT_GE(*first, before);
    EXPECT_LE(*first, after);
}

TEST_F(DemoWatchTest, OnlyFilesThatEqualTheRecordingAreEvidence) {
    const Recording& recording = fleet_.At(0).Recorded();
    Fetch(kBegin, kBegin + 100, recording.Bytes(kBegin, kBegin + 100));
    Fetch(kBegin + 100, kEnd, recording.Bytes(kBegin, kEnd - 100));
    std::vector<std::string> faults;
    const CameraEvidence evidence = watch_.EvidenceOf(0, faults);
    EXPECT_TRUE(evidence.fetched.Covers(kBegin, kBegin + 100));
    EXPECT_FALSE(evidence.fetched.Touches(kBegin + 100, kEnd));
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_NE(faults.front().find("differs from the recording"), std::string::npos) << faults.front();
}

TEST_F(DemoWatchTest, WhatIsDoneWithoutAFileIsAFault) {
    Journal("told", kBeginIso, kEndIso);
    Journal("done", kBeginIso, kEndIso);
    watch_.Poll();
    std::vector<std::string> faults;
    watch_.EvidenceOf(0, faults);
    EXPECT_EQ(faults,
              (std::vector<std::string>{"camera 101 has no files for all of what is done from 2026-10-31T22:00:00Z to "
                                        "2026-10-31T23:00:00Z"}));
}

}  // namespace
}  // namespace demo
