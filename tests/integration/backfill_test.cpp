#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "integration/support/host_process.h"
#include "integration/support/notice_file.h"
#include "integration/support/test_site.h"

namespace qartest {
namespace {

constexpr std::int64_t kWeekS = 7 * 86400;

constexpr const char* kCurl = R"(fetch = ["curl", "-fsS", "--max-time", "30", "-o", "{out}", )"
                              R"("{archive}/{camera}?begin={begin_unix}&end={end_unix}"])";
constexpr const char* kTellPass = "NotifyExceptionRange handle exception range";

// $1 is the file to write, $2 the archive's address of the range, $3 the business type.
std::string FetchScript(const std::string& script) {
    return "fetch = [\"sh\", \"-c\", '''" + script +
           "''', \"sh\", \"{out}\", \"{archive}/{camera}?begin={begin_unix}&end={end_unix}\", \"{busi}\"]";
}

int AddRow(void* rows, int columns, char** values, char**) {
    std::string row;
    for (int i = 0; i < columns; ++i) row += (i > 0 ? " " : "") + std::string(values[i] != nullptr ? values[i] : "");
    static_cast<std::vector<std::string>*>(rows)->push_back(row);
    return 0;
}

// Runs a statement on a database file beside the host.
std::vector<std::string> Sql(const std::filesystem::path& file, const std::string& sql) {
    sqlite3* database = nullptr;
    std::vector<std::string> rows;
    EXPECT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &database));
    sqlite3_busy_timeout(database, 30000);
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(database, sql.c_str(), &AddRow, &rows, nullptr)) << sqlite3_errmsg(database);
    sqlite3_close(database);
    return rows;
}

// A process that has ended and that nobody has asked for yet counts as gone.
bool Alive(const std::string& pid) {
    const std::string status = ReadText("/proc/" + pid + "/stat");
    const std::size_t name_end = status.rfind(')');
    return name_end != std::string::npos && status.substr(name_end + 2, 1) != "Z";
}

class BackfillTest : public testing::Test {
protected:
    explicit BackfillTest(int scale = TestSite::kScale) : site_(scale) {}

    void Prepare(const std::string& config, const std::string& fetch = kCurl) {
        site_.AddPlugin("backfill", "backfill.so", "journal = \"backfill.journal\"\n" + config + "\n" + fetch);
        site_.Write();
    }

    HostOptions WithBackfill() const {
        HostOptions options;
        options.plugin_dir = PLUGIN_DIR;
        return options;
    }

    static std::function<bool(const Notice&)> Is(const std::string& kind, int camera = 101, int busi = 1) {
        return
            [=](const Notice& notice) { return notice.kind == kind && notice.camera == camera && notice.busi == busi; };
    }

    std::size_t Count(const std::string& kind, int camera = 101, int busi = 1) const {
        return journal_.Find(Is(kind, camera, busi)).size();
    }

    bool WaitForCount(std::size_t count, const std::string& kind, int camera = 101, int busi = 1) const {
        return Eventually([&] { return Count(kind, camera, busi) >= count; });
    }

    std::vector<std::string> AttemptRows() const {
        return Sql(site_.DatabaseDir() / "backfill.db",
                   "SELECT camera_id, business_type, attempts FROM backfill_attempt ORDER BY 1, 2, begin_time");
    }

    // Lines of the log since `from` that tell ranges of a camera in the hourly notification.
    std::vector<std::string> ToldByHistory(std::size_t from, int camera, int busi) const {
        const std::string text = "NotifyExceptionRange plugin_id = backfill, busi_type = " + std::to_string(busi) +
                                 ", camera_id = " + std::to_string(camera) + ",";
        std::vector<std::string> lines = site_.LogLines("NotifyExceptionRange");
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min(from, lines.size())));
        lines.erase(std::remove_if(lines.begin(), lines.end(),
                                   [&](const std::string& line) { return line.find(text) == std::string::npos; }),
                    lines.end());
        return lines;
    }
    std::size_t HistoryLines() const { return site_.LogLines("NotifyExceptionRange").size(); }

    // Waits until one whole notification has passed from now on.
    bool WaitForNotification() const {
        const std::size_t passes = site_.LogLines(kTellPass).size();
        return Eventually([&] { return site_.LogLines(kTellPass).size() >= passes + 2; });
    }

    // The history has nothing of a camera to tell any more.
    void ExpectClosed(int camera, int busi) const {
        const std::size_t from = HistoryLines();
        ASSERT_TRUE(WaitForNotification());
        EXPECT_TRUE(ToldByHistory(from, camera, busi).empty());
    }

    // The files hold what the camera recorded, second by second, and together they cover the range: what was being
    // fetched when a range was told is not fetched again for it.
    static void ExpectRecorded(const demo::SimulatedCamera& camera, const Notice& done) {
        const std::size_t at = done.rest.find("file=");
        ASSERT_NE(std::string::npos, at) << done.rest;
        const std::filesystem::path last = done.rest.substr(at + 5);
        EXPECT_EQ("bytes=" + std::to_string(std::filesystem::file_size(last)), done.rest.substr(0, at - 1));
        std::map<long long, long long> parts;
        for (const auto& file : std::filesystem::directory_iterator(last.parent_path())) {
            if (file.path().extension() != ".bin") continue;
            long long begin = 0;
            long long end = 0;
            ASSERT_EQ(2, std::sscanf(file.path().filename().c_str(), "%lld-%lld.bin", &begin, &end)) << file;
            const std::string fetched = ReadText(file.path());
            EXPECT_EQ(static_cast<std::size_t>((end - begin) * demo::Recording::kBytesPerSecond), fetched.size());
            EXPECT_TRUE(camera.Recorded().Bytes(begin, end) == fetched) << file << " differs from the recording";
            parts.emplace(begin, end);
        }
        long long covered = done.begin_utc_s;
        for (const auto& [begin, end] : parts) {
            if (begin <= covered) covered = std::max(covered, end);
        }
        EXPECT_GE(covered, done.end_utc_s);
    }

    TestSite site_;
    NoticeFile journal_{site_.DataDir() / "backfill.journal"};
};

TEST_F(BackfillTest, CutIsFetchedSecondBySecondForEachBusinessTypeAndGoneFromTheHistory) {
    demo::CameraOptions options;
    options.skew_s = 3600;
    demo::SimulatedCamera& camera = site_.AddCamera("west530", options);
    Prepare("busi_types = [1, 2]\nout_dir = \"Fundstücke 補\"");
    camera.ComeBack();
    HostProcess host(site_, WithBackfill());
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    for (const int busi : {1, 2}) {
        Notice week;
        ASSERT_TRUE(journal_.WaitFor(Is("done", 101, busi), &week));
        EXPECT_EQ(kWeekS, week.Seconds());
        ExpectRecorded(camera, week);
    }
    ASSERT_TRUE(host.WaitForCheck());
    ASSERT_TRUE(host.WaitForQuiet());
    const std::int64_t away_s = camera.GoAway() / 1000 + camera.SkewS();
    ASSERT_TRUE(host.WaitForOnline(1, false));
    ASSERT_TRUE(host.WaitForCheck());
    ASSERT_TRUE(host.WaitForQuiet());
    const std::int64_t back_s = camera.ComeBack() / 1000 + camera.SkewS();
    for (const int busi : {1, 2}) {
        Notice done;
        ASSERT_TRUE(journal_.WaitFor(
            [&](const Notice& notice) {
                return Is("done", 101, busi)(notice) && notice.Seconds() < kWeekS &&
                       notice.begin_utc_s <= away_s + 2 * TestSite::kProbeS &&
                       notice.end_utc_s >= back_s - TestSite::kProbeS;
            },
            &done));
        EXPECT_EQ(TestSite::kWest530S, done.end_offset_s);
        ExpectRecorded(camera, done);
        ExpectClosed(101, busi);
    }
    EXPECT_TRUE(AttemptRows().empty());
    EXPECT_EQ(0, host.Stop());
}

TEST_F(BackfillTest, RangeStaysWhileItsFetchFailsAndIsDoneOnceTheArchiveAnswers) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    Prepare("retry_first_s = 0.05\nretry_max_s = 0.4");
    camera.FailArchive(1'000'000);
    camera.ComeBack();
    HostProcess host(site_, WithBackfill());
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    ASSERT_TRUE(WaitForCount(10, "failed"));
    std::size_t from = HistoryLines();
    ASSERT_TRUE(WaitForNotification());
    EXPECT_FALSE(ToldByHistory(from, 101, 1).empty()) << "the history has it still, and tells it again";
    EXPECT_FALSE(AttemptRows().empty());
    EXPECT_EQ(0u, Count("done"));

    camera.FailArchive(0);
    Notice done;
    ASSERT_TRUE(journal_.WaitFor(Is("done"), &done));
    ExpectRecorded(camera, done);
    ExpectClosed(101, 1);
    EXPECT_TRUE(AttemptRows().empty());
    EXPECT_GE(Count("failed") + Count("done"), Count("fetching")) << "told each hour, fetched once";
    std::set<std::pair<std::string, std::string>> told;
    for (const Notice& notice : journal_.Find(Is("told"))) {
        EXPECT_TRUE(told.emplace(notice.begin, notice.end).second) << "noted twice: " << notice.begin;
    }
    EXPECT_EQ(told.size(), Count("done"));
    // The first contact's events may lie seconds of the scaled clock apart and make a second, short range, which joins
    // the first one and its count of attempts.
    std::map<std::pair<std::string, std::string>, int> attempts;
    for (const Notice& notice : journal_.Find(Is("failed"))) {
        int number = 0;
        ASSERT_EQ(1, std::sscanf(notice.rest.c_str(), "attempt=%d", &number)) << notice.rest;
        int& last = attempts.try_emplace({notice.begin, notice.end}, number - 1).first->second;
        EXPECT_EQ(++last, number);
        EXPECT_NE(std::string::npos, notice.rest.find(" error=curl ended with code 22: ")) << notice.rest;
    }
    const char* const pauses[] = {"50", "100", "200", "400", "400"};
    for (int attempt = 1; attempt <= 5; ++attempt) {
        const std::string which = "failed, attempt " + std::to_string(attempt) + ", ";
        const auto reports = site_.LogLines(which);
        EXPECT_FALSE(reports.empty()) << which;
        for (const std::string& report : reports) {
            EXPECT_NE(std::string::npos, report.find(which + "next in " + pauses[attempt - 1] + " ms: ")) << report;
        }
    }
    EXPECT_EQ(0, host.Stop());
}

TEST_F(BackfillTest, OutageWithinTheHostsDowntimeIsFetched) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    Prepare("");
    camera.ComeBack();
    {
        HostProcess host(site_, WithBackfill());
        ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
        ASSERT_TRUE(journal_.WaitFor(Is("done")));
        ASSERT_TRUE(host.WaitForCheck());
        ASSERT_TRUE(host.WaitForQuiet());
        EXPECT_EQ(0, host.Stop());
    }
    const std::size_t known = journal_.All().size();
    const std::int64_t away_s = camera.GoAway() / 1000;
    ASSERT_TRUE(Eventually([&] { return site_.Clock().NowMs() / 1000 >= away_s + 1200; }));
    const std::int64_t back_s = camera.ComeBack() / 1000;
    HostProcess host(site_, WithBackfill());
    Notice done;
    ASSERT_TRUE(journal_.WaitFor(
        [&](const Notice& notice) {
            return Is("done")(notice) && notice.Seconds() < kWeekS && notice.begin_utc_s <= away_s &&
                   notice.end_utc_s >= back_s - TestSite::kProbeS;
        },
        &done))
        << host.Process().Err();
    ExpectRecorded(camera, done);
    const auto all = journal_.All();
    for (std::size_t i = known; i < all.size(); ++i) {
        EXPECT_LT(all[i].Seconds(), kWeekS) << "the first week is told at the first contact alone: " << all[i].kind;
    }
    EXPECT_EQ(0, host.Stop());
}

TEST_F(BackfillTest, CommandThatHangsIsGivenUpAndTriedAgain) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    const std::string once = (site_.Folder().Path() / "hung").string();
    Prepare("timeout_s = 5\nretry_first_s = 0.01",
            FetchScript("if mkdir " + once + "; then sleep 600 & sleep 600; else curl -fsS -o \"$1\" \"$2\"; fi"));
    camera.ComeBack();
    HostProcess host(site_, WithBackfill());
    Notice failed;
    ASSERT_TRUE(journal_.WaitFor(Is("failed"), &failed)) << host.Process().Err();
    EXPECT_EQ("attempt=1 error=sh took longer than 5000 ms", failed.rest);
    Notice done;
    ASSERT_TRUE(journal_.WaitFor(Is("done"), &done));
    ExpectRecorded(camera, done);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(BackfillTest, StopEndsWithinSecondsAndLeavesNoChildBehind) {
    const std::string pids = (site_.Folder().Path() / "pids").string();
    site_.AddCamera().ComeBack();
    site_.AddCamera().ComeBack();
    Prepare("", FetchScript("sleep 600 & echo $$ $! >> " + pids + "; wait"));
    HostProcess host(site_, WithBackfill());
    const auto all = [&] {
        std::istringstream words(ReadText(pids));
        return std::vector<std::string>(std::istream_iterator<std::string>(words), {});
    };
    ASSERT_TRUE(Eventually([&] { return all().size() == 4; })) << host.Process().Err();
    for (const std::string& pid : all()) EXPECT_TRUE(Alive(pid)) << pid;
    host.Process().Signal(SIGTERM);
    EXPECT_EQ(0, host.Process().WaitForEnd(std::chrono::seconds(5))) << host.Process().Err();
    EXPECT_TRUE(Eventually([&] {
        const auto left = all();
        return std::none_of(left.begin(), left.end(), &Alive);
    }));
    EXPECT_EQ(0u, Count("failed", 101) + Count("failed", 102)) << "what was cut short counts as no attempt";
    // The first contact's events may make a second, short range of a camera.
    const auto rows = AttemptRows();
    EXPECT_EQ((std::set<std::string>{"101 1 0", "102 1 0"}), std::set<std::string>(rows.begin(), rows.end()));
}

TEST_F(BackfillTest, CameraThatIsNotOnThisNodeIsToldAndTheOthersAreFetched) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    Prepare("cameras = [999, 101]");
    camera.ComeBack();
    HostProcess host(site_, WithBackfill());
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    EXPECT_NE(std::string::npos, host.Process().Err().find("camera 999 is not on this node")) << host.Process().Err();
    EXPECT_TRUE(journal_.WaitFor(Is("done")));
    EXPECT_EQ(0, host.Stop());
}

TEST_F(BackfillTest, CameraAndBusinessTypeThatLeaveTheConfigurationKeepTheirRowsAndAreNotFetched) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    demo::SimulatedCamera& removed = site_.AddCamera();
    Prepare("cameras = [101, 102]\nbusi_types = [1, 2]\nretry_first_s = 0.05\nretry_max_s = 0.05");
    for (demo::SimulatedCamera* each : {&camera, &removed}) {
        each->FailArchive(1'000'000);
        each->ComeBack();
    }
    {
        HostProcess host(site_, WithBackfill());
        for (const int busi : {1, 2}) {
            ASSERT_TRUE(WaitForCount(1, "failed", 101, busi)) << host.Process().Err();
            ASSERT_TRUE(WaitForCount(1, "failed", 102, busi));
        }
        EXPECT_EQ(0, host.Stop());
    }
    // The first contact's events may make a second, short range of a camera, so that it has one row or two.
    const auto open = [&](const std::string& which) {
        return Sql(site_.DatabaseDir() / "backfill.db",
                   "SELECT * FROM backfill_attempt WHERE " + which + " ORDER BY 1, 2, 3, 4");
    };
    const std::string stays = "camera_id = 101 AND business_type = 1";
    ASSERT_FALSE(open(stays).empty());
    for (const char* const left : {"camera_id = 101 AND business_type = 2", "camera_id = 102 AND business_type = 1",
                                   "camera_id = 102 AND business_type = 2"}) {
        ASSERT_FALSE(open(left).empty()) << left;
    }
    const auto kept = open("NOT (" + stays + ")");
    Sql(site_.DataDir() / "site.db",
        "UPDATE plugin SET config_json = json_set(config_json, '$.cameras', json('[101]'), '$.busi_types', json('[1]'))");
    camera.FailArchive(0);
    removed.FailArchive(0);
    const int requests = removed.ArchiveRequests();
    const std::size_t known = journal_.All().size();
    const std::size_t from = HistoryLines();

    HostProcess host(site_, WithBackfill());
    Notice done;
    ASSERT_TRUE(journal_.WaitFor(Is("done"), &done)) << host.Process().Err();
    ExpectRecorded(camera, done);
    ASSERT_TRUE(Eventually([&] { return !ToldByHistory(from, 102, 1).empty(); })) << "its history stays";
    ASSERT_TRUE(WaitForNotification());
    const auto all = journal_.All();
    for (std::size_t i = known; i < all.size(); ++i) {
        EXPECT_TRUE(all[i].camera == 101 && all[i].busi == 1) << all[i].kind << " " << all[i].camera;
    }
    EXPECT_EQ(requests, removed.ArchiveRequests());
    EXPECT_TRUE(Eventually([&] { return open(stays).empty(); }));
    EXPECT_EQ(kept, open("NOT (" + stays + ")"));
    EXPECT_EQ(0, host.Stop());
}

// Fetches of more than one business type of a camera go to one device.
class BackfillLimitTest : public BackfillTest {
protected:
    // Fails where another fetch runs at the same time.
    std::string AloneScript() const {
        const std::string busy = (site_.Folder().Path() / "busy").string();
        return FetchScript("mkdir " + busy + " || exit 9; curl -fsS -o \"$1\" \"$2\"; code=$?; rmdir " + busy +
                           "; exit $code");
    }
};

TEST_F(BackfillLimitTest, OneDeviceIsAskedForOneRangeAtATime) {
    demo::CameraOptions options;
    options.archive_pause = std::chrono::milliseconds(100);
    site_.AddCamera("east8", options).ComeBack();
    Prepare("busi_types = [1, 2, 3, 4]", AloneScript());
    HostProcess host(site_, WithBackfill());
    for (const int busi : {1, 2, 3, 4}) {
        ASSERT_TRUE(journal_.WaitFor(Is("done", 101, busi))) << host.Process().Err();
        EXPECT_EQ(0u, Count("failed", 101, busi));
    }
    EXPECT_EQ(0, host.Stop());
}

TEST_F(BackfillLimitTest, AllDevicesTogetherAreAskedForNoMoreThanTheTotal) {
    demo::CameraOptions options;
    options.archive_pause = std::chrono::milliseconds(100);
    for (int i = 0; i < 3; ++i) site_.AddCamera("east8", options).ComeBack();
    Prepare("total = 1", AloneScript());
    HostProcess host(site_, WithBackfill());
    for (const int camera : {101, 102, 103}) {
        ASSERT_TRUE(journal_.WaitFor(Is("done", camera))) << host.Process().Err();
        EXPECT_EQ(0u, Count("failed", camera));
    }
    EXPECT_EQ(0, host.Stop());
}

TEST_F(BackfillLimitTest, DeviceIsAskedForAsManyRangesAsItsLimitAllows) {
    site_.AddCamera().ComeBack();
    const std::string there = (site_.Folder().Path() / "there").string();
    // each waits until all three are there
    Prepare("busi_types = [1, 2, 3]\nper_device = 3\ntimeout_s = 60",
            FetchScript("touch " + there + "$3; until test -e " + there + "1 -a -e " + there + "2 -a -e " + there +
                        "3; do sleep 0.02; done; curl -fsS -o \"$1\" \"$2\""));
    HostProcess host(site_, WithBackfill());
    for (const int busi : {1, 2, 3}) {
        ASSERT_TRUE(journal_.WaitFor(Is("done", 101, busi))) << host.Process().Err();
        EXPECT_EQ(0u, Count("failed", 101, busi));
    }
    EXPECT_EQ(0, host.Stop());
}

// At real time the first hourly notification is five minutes away.
class BackfillRestartTest : public BackfillTest {
protected:
    BackfillRestartTest() : BackfillTest(1) {}
};

TEST_F(BackfillRestartTest, KilledHostGoesOnFromItsOwnTableAtOnceAndKeepsTheAttempts) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    Prepare("busi_types = [1, 2]\nretry_first_s = 0.05\nretry_max_s = 0.1");
    camera.FailArchive(1'000'000);
    camera.ComeBack();
    {
        HostProcess host(site_, WithBackfill());
        ASSERT_TRUE(WaitForCount(3, "failed", 101, 1)) << host.Process().Err();
        ASSERT_TRUE(WaitForCount(3, "failed", 101, 2));
        host.Kill();
    }
    const std::size_t failed_before[] = {Count("failed", 101, 1), Count("failed", 101, 2)};
    ASSERT_EQ(2u, AttemptRows().size());

    HostProcess host(site_, WithBackfill());
    for (const int busi : {1, 2}) {
        const std::size_t before = failed_before[busi - 1];
        ASSERT_TRUE(WaitForCount(before + 1, "failed", 101, busi)) << host.Process().Err();
        // the last attempt may have been noted in the table and not yet in the journal
        const std::string first = journal_.Find(Is("failed", 101, busi))[before].rest;
        const int attempt = std::atoi(first.c_str() + std::string("attempt=").size());
        EXPECT_GE(attempt, static_cast<int>(before) + 1) << first;
        EXPECT_LE(attempt, static_cast<int>(before) + 2) << first;
    }
    camera.FailArchive(0);
    for (const int busi : {1, 2}) {
        Notice done;
        ASSERT_TRUE(journal_.WaitFor(Is("done", 101, busi), &done));
        ExpectRecorded(camera, done);
        EXPECT_EQ(1u, Count("told", 101, busi));
    }
    EXPECT_TRUE(site_.LogLines(kTellPass).empty()) << "nobody has told it again";
    EXPECT_TRUE(Eventually([&] { return AttemptRows().empty(); }));
    EXPECT_EQ(0, host.Stop());
}

struct BadConfig {
    const char* name;
    const char* config;
    const char* reason;
};

void PrintTo(const BadConfig& bad, std::ostream* out) { *out << bad.name; }

class BackfillConfigurationTest : public testing::TestWithParam<BadConfig> {};

TEST_P(BackfillConfigurationTest, MistakeEndsTheHostWithOneClearLine) {
    TestSite site;
    site.AddDevice("tcp://127.0.0.1:9/");
    site.AddPlugin("backfill", "backfill.so", GetParam().config);
    site.Write();
    HostOptions options;
    options.plugin_dir = PLUGIN_DIR;
    HostProcess host(site, options);
    EXPECT_EQ(4, host.Process().WaitForEnd());
    EXPECT_EQ("", host.Process().Out());
    EXPECT_NE(std::string::npos,
              host.Process().Err().find("plug-in \"backfill\": start gave 1: " + std::string(GetParam().reason)))
        << host.Process().Err();
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, BackfillConfigurationTest,
    testing::Values(
        BadConfig{"NoCommand", "cameras = \"all\"", "fetch: is missing"},
        BadConfig{"CommandIsNoList", "fetch = \"curl\"", "fetch: must be a list of texts"},
        BadConfig{"EmptyProgram", "fetch = [\"\"]", "fetch: must begin with a program"},
        BadConfig{"UnknownKey", "fetch = [\"f\"]\nretries = 3", "retries: unknown key; known are schema, "},
        BadConfig{"BadSchema", "fetch = [\"f\"]\nschema = \"a b\"", "schema: must be an identifier"},
        BadConfig{"BadCameras", "fetch = [\"f\"]\ncameras = \"some\"", "cameras: must be \"all\" or a list"},
        BadConfig{"NoBusinessType", "fetch = [\"f\"]\nbusi_types = []", "busi_types: must be a list of whole numbers"},
        BadConfig{"BadLimit", "fetch = [\"f\"]\nper_device = 0", "per_device: must be 1 to 1000"},
        BadConfig{"BadTime", "fetch = [\"f\"]\ntimeout_s = \"long\"", "timeout_s: must be seconds"},
        BadConfig{"PausesThatShrink", "fetch = [\"f\"]\nretry_first_s = 9\nretry_max_s = 1",
                  "retry_max_s: must not be below retry_first_s"},
        BadConfig{"JournalWithoutFolder", "fetch = [\"f\"]\njournal = \"/no/such/folder/j\"",
                  "cannot open the journal /no/such/folder/j: No such file or directory"}),
    [](const testing::TestParamInfo<BadConfig>& info) { return info.param.name; });

}  // namespace
}  // namespace qartest
