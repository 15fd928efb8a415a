// The state history on a database that is locked, read-only or full.

#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <optional>

#include "qar/IDBManager.h"
#include "tests/history/real_database.h"
#include "tests/support/other_thread.h"

namespace history_test {
namespace {

using std::chrono::milliseconds;
using ::testing::IsEmpty;

const std::string kWeekAgo = "2026-02-26T00:00:00+00:00";

std::string At(const std::string& clock) { return "2026-03-04T" + clock + ":00+00:00"; }

std::string Plain(const std::string& iso) { return iso.substr(0, 10) + " " + iso.substr(11, 8); }

std::string Of(int camera) { return "busi_type = 1, camera_id = " + std::to_string(camera); }

std::string InsertSql(long long id, int camera, int state, const std::string& iso) {
    return "INSERT INTO gap.history(id, camera_id, camera_state, state_time, state_utc_time, business_type, bi_type, "
           "differ) values(" +
           std::to_string(id) + ", " + std::to_string(camera) + ", " + std::to_string(state) + ", '" + Plain(iso) +
           "', '" + Plain(iso) + "', 1, 1, 0)";
}

std::string Where(int camera) { return " WHERE camera_id = " + std::to_string(camera) + " AND business_type = 1"; }

class HistoryDatabaseFaultsTest : public RealDatabaseTest {
protected:
    using Switch = std::function<void()>;
    /// A statement that finds no row writes nothing: where there is no room it succeeds.
    enum class Fails { kEveryStatement, kStatementThatWrites };

    HistoryDatabaseFaultsTest() { expected_.reserve(100); }

    // What each operation has to log, in order.

    void Expect(const std::string& line) { expected_.push_back(line); }
    void ExpectFailure(const std::string& operation, const std::string& sql) {
        Expect("5 QARPlatform [database] plug-in gap: " + reason_);
        Expect("5 QARCommon in CDBBaseSession::Execute is fail sql = " + sql);
        Expect("5 QARCommon " + operation + " dbExecute fail sql = " + sql);
    }
    void ExpectInsert(const std::string& done, int camera, const std::string& iso, int state) {
        Expect("3 QARCommon CHistoryStateMgr::AddHistoryStateInfo add history state info " + done +
               " state plugin_id = gap, " + Of(camera) + ", time = " + iso + ", state = " + std::to_string(state));
    }
    void ExpectFailedInsert(int camera, const std::string& iso, int state) {
        ExpectFailure("AddDBHistoryStateInfo::AddCameraState", InsertSql(++last_id_, camera, state, iso));
        Expect("5 QARCommon  add db state time is fail state plugin_id = gap, " + Of(camera) + ", time = " + iso +
               ", state = " + std::to_string(state));
        ExpectInsert("insert", camera, iso, state);
    }
    void ExpectFailedMove(int camera, const std::string& from, const std::string& to) {
        ExpectFailure("UpdateDBHistoryStateTime::UpdateCameraState",
                      "UPDATE gap.history SET state_time = '" + Plain(to) + "'" + Where(camera) +
                          " and state_time = '" + Plain(from) + "' and camera_state = 2");
        Expect("5 QARCommon  update db state time is fail state pu_id = gap, old_time = " + Plain(from) + ", " +
               Of(camera) + " time = " + to + ", state = 2, old_state = 2");
        ExpectInsert("update", camera, to, 2);
    }
    void ExpectFailedExpiry(int camera) {
        ExpectFailure("CDBHistoryData::DelDBHistorySateByExpireTime",
                      "DELETE FROM gap.history" + Where(camera) + " AND state_time < '" + Plain(kWeekAgo) + "'");
        Expect("5 QARCommon DelDBHistorySateByExpireTime is error plugin_id = gap, " + Of(camera) +
               ", expire_time = " + Plain(kWeekAgo));
        Expect("5 QARCommon del expire state is fail pug_id = gap, " + Of(camera) + ", time = " + kWeekAgo +
               ", table_name = gap.history");
    }
    void ExpectExist(int camera, const std::string& iso) {
        Expect("2 QARCommon exist state time add plugin_id = gap, " + Of(camera) + ", state time = " + iso +
               ", state = 2, old_state = 1");
    }
    void ExpectMoveOfNoRow(int camera, const std::string& from, const std::string& to) {
        if (fails_ == Fails::kEveryStatement) return ExpectFailedMove(camera, from, to);
        ExpectInsert("update", camera, to, 2);
    }
    void ExpectExpiryOfNoRow(int camera) {
        if (fails_ == Fails::kEveryStatement) return ExpectFailedExpiry(camera);
        if (camera == 104) {
            ExpectExist(camera, kWeekAgo);
        } else {
            ExpectFailedInsert(camera, kWeekAgo, 2);
        }
        Expect(
            "3 QARCommon in CHistoryStateMgr::DelExpireStateByTime del expire state plugin_id = gap, n_busi_type = 1, "
            "n_camera_id = " +
            std::to_string(camera) + ", expire_time = " + Plain(kWeekAgo) + ", table_name = gap.history");
    }
    void ExpectFailedRangeDeletion(int camera, const std::string& begin, const std::string& end) {
        const std::string times = ", begin_time = " + begin + ", end_time = " + end;
        const std::string sql = "DELETE FROM gap.history" + Where(camera) + " AND state_time >= '" + Plain(begin) +
                                "' AND state_time < '" + Plain(end) + "';";
        Expect("3 QARCommon in CHistoryStateMgr::DelHistoryStateInRange pre del range time plugin_id = gap, " +
               Of(camera) + times);
        Expect("2 QARCommon SQL = " + sql);
        ExpectFailure("CDBHistoryData::DelDBHistorySateInfo", sql);
        Expect("5 QARCommon DelDBHistorySateInfo is fail " + Of(camera) + times);
        ExpectFailure(
            "UpdateDBHistorySateType::UpdateCameraStateType",
            "UPDATE gap.history SET camera_state = 2" + Where(camera) + " AND state_time = '" + Plain(end) + "'");
        Expect("5 QARCommon UpdateDBHistorySateType is fail " + Of(camera) + times);
        Expect("3 QARCommon in CHistoryStateMgr::DelHistoryStateInRange del range time success plugin_id = gap, " +
               Of(camera) + times + ", b_exist_end_state = 1");
    }
    void ExpectLines() {
        EXPECT_EQ(LoggedLines::Get().From(2), expected_);
        LoggedLines::Get().Clear();
        expected_.clear();
    }

    /// Every operation that writes, while no statement can: memory goes on, but for expiry, the rows stay, and what is
    /// written after the fault is written.
    void ExpectNothingWritten(Fails fails, const std::string& reason, const Switch& begin, const Switch& end) {
        fails_ = fails;
        reason_ = reason;
        ASSERT_TRUE(Add(2, At("07:00"), 101));
        ASSERT_TRUE(Add(1, At("07:00"), 102));
        ASSERT_TRUE(Add(1, At("08:00"), 102));
        ASSERT_TRUE(Add(1, "2026-02-20T08:00:00+00:00", 103));
        ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {104}));
        EXPECT_THAT(LoggedLines::Get().From(4), IsEmpty());
        OtherConnection other(folder.Path());
        const Lines rows = other.Points();
        ASSERT_EQ(rows.size(), 6u);
        last_id_ = qar::IDBManagerPure::Instance()->GetNextID("");
        LoggedLines::Get().Clear();
        told.clear();

        begin();
        EXPECT_TRUE(Add(1, At("08:00"), 105));
        ExpectFailedInsert(105, At("08:00"), 1);
        ExpectLines();
        EXPECT_TRUE(Add(2, At("08:00"), 101));
        ExpectFailedMove(101, At("07:00"), At("08:00"));
        ExpectLines();
        EXPECT_TRUE(manager.DelHistoryStateInRange(kPlugin, kBusi, 102, {At("07:00"), At("08:00")}));
        ExpectFailedRangeDeletion(102, At("07:00"), At("08:00"));
        ExpectLines();
        manager.CheckExpireState();
        ExpectExpiryOfNoRow(101);
        ExpectExpiryOfNoRow(102);
        ExpectFailedExpiry(103);
        ExpectExpiryOfNoRow(104);
        ExpectExpiryOfNoRow(105);
        ExpectLines();
        manager.CheckCameraState();
        ExpectMoveOfNoRow(101, At("08:00"), kNow);
        ExpectMoveOfNoRow(102, At("08:00"), kNow);
        ExpectFailedInsert(103, kNow, 2);
        ExpectExist(104, kNow);
        ExpectFailedInsert(105, kNow, 2);
        ExpectLines();
        EXPECT_TRUE(manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {106}));
        ExpectFailedInsert(106, kWeekAgo, 1);
        ExpectFailedInsert(106, kNow, 1);
        Expect("3 QARCommon CHistoryStateMgr::SetCareCameraStateInfo notity history range plugin_id = gap, " + Of(106) +
               ", begin_time = " + kWeekAgo + ", end_time = " + kNow);
        ExpectLines();
        EXPECT_EQ(told, Lines{"106: " + kWeekAgo + " " + kNow});
        manager.DelCareCameraStateInfo(kPlugin, kBusi, {104});
        Expect(
            "3 QARCommon in CHistoryStateMgr::DelCareCameraStateInfo del camera state info plugin_id = gap, "
            "busi_type = 1, camera_ids = 104, ");
        ExpectFailure("CDBHistoryData::DelDBHistoryStateByCameraIDAndBusiType", "DELETE FROM gap.history" + Where(104));
        Expect(
            "5 QARCommon CHistoryStateMgr::DelCareCameraStateInfo DelDBHistoryStateByCameraIDAndBusiType is fail "
            "plugin_id = gap, " +
            Of(104));
        ExpectLines();
        Lines points = {"101/1 " + kNow + " 2",     "102/1 " + kNow + " 2",        "103/1 2026-02-20T08:00:00+00:00 1",
                        "103/1 " + kNow + " 2",     "105/1 " + At("08:00") + " 1", "105/1 " + kNow + " 2",
                        "106/1 " + kWeekAgo + " 1", "106/1 " + kNow + " 1"};
        if (fails == Fails::kStatementThatWrites) {  // expiry has deleted nothing, so it has added its point
            for (const char* camera : {"101", "102", "105"}) points.push_back(camera + ("/1 " + kWeekAgo + " 2"));
            std::sort(points.begin(), points.end());
        }
        EXPECT_EQ(Points(), points);
        end();
        EXPECT_EQ(other.Points(), rows);

        EXPECT_TRUE(Add(1, At("09:00"), 107));
        ExpectInsert("insert", 107, At("09:00"), 1);
        ExpectLines();
        Lines rows_now = rows;
        rows_now.push_back("107/1 " + At("09:00") + " 1");
        EXPECT_EQ(other.Points(), rows_now);
        manager.UnRegister(kPlugin);
        Register();
        EXPECT_EQ(Points(), rows_now) << "after a restart the table wins";
    }

private:
    Fails fails_ = Fails::kEveryStatement;
    std::string reason_;
    long long last_id_ = 0;
    Lines expected_;
};

// --- locked ----------------------------------------------------------------------------------------------------------

TEST_F(HistoryDatabaseFaultsTest, LockThatEndsInTimeIsWaitedOutAndLeavesNoTrace) {
    Open(folder.Path());
    Register();
    ASSERT_TRUE(Add(2, At("07:00"), 101));
    OtherConnection other(folder.Path());
    LoggedLines::Get().Clear();
    other.Run("BEGIN IMMEDIATE");
    auto moving = std::async(std::launch::async, [this] { return Add(2, At("08:00"), 101); });
    auto adding = std::async(std::launch::async, [this] { return Add(1, At("08:00"), 102); });
    for (auto* waiting : {&moving, &adding}) {
        EXPECT_EQ(waiting->wait_for(milliseconds(50)), std::future_status::timeout);
    }
    EXPECT_EQ(other.Points(), Lines{"101/1 " + At("07:00") + " 2"});
    other.Run("COMMIT");
    EXPECT_TRUE(moving.get());
    EXPECT_TRUE(adding.get());
    EXPECT_THAT(LoggedLines::Get().From(4), IsEmpty());
    const Lines points = {"101/1 " + At("08:00") + " 2", "102/1 " + At("08:00") + " 1"};
    EXPECT_EQ(Points(), points);
    EXPECT_EQ(other.Points(), points);
}

TEST_F(HistoryDatabaseFaultsTest, LockThatLastsLongerThanTheWaitCostsTheStatementsAlone) {
    Open(folder.Path(), 1, milliseconds(30));
    Register();
    OtherConnection other(folder.Path());
    ExpectNothingWritten(
        Fails::kEveryStatement, "database is locked by another connection for 30 ms",
        [&] { other.Run("BEGIN IMMEDIATE"); }, [&] { other.Run("ROLLBACK"); });
}

// Why a result function must leave the history alone: the two threads wait for each other, and the statement pays.
TEST_F(HistoryDatabaseFaultsTest, HistoryCalledFromAResultFunctionCanCostAnotherThreadsStatement) {
    Open(folder.Path(), 1, milliseconds(300));
    Register();
    ASSERT_TRUE(Add(2, At("07:00"), 101));
    std::optional<test_support::OtherThread> other;
    std::size_t cameras = 0;
    ASSERT_TRUE(qar::IDBManager::Instance()->ExecuteQuery(kPlugin, 1, "SELECT 1", [&](db_layer::CConnect*) {
        other.emplace([this] { EXPECT_TRUE(Add(1, At("08:00"), 102)); });
        EXPECT_TRUE(other->Waits());  // for this connection, with the history's lock
        std::map<int, std::vector<qar::SStateRange>> ranges;
        manager.GetExceptionRange(ranges, kPlugin, kBusi);
        cameras = ranges.size();
    }));
    other.reset();
    EXPECT_EQ(cameras, 0u);
    EXPECT_FALSE(RecordingDatabase::Get().Statements().back().ok);
    EXPECT_EQ(Points(), (Lines{"101/1 " + At("07:00") + " 2", "102/1 " + At("08:00") + " 1"}));
    EXPECT_EQ(OtherConnection(folder.Path()).Points(), Lines{"101/1 " + At("07:00") + " 2"});
}

// --- read-only -------------------------------------------------------------------------------------------------------

TEST_F(HistoryDatabaseFaultsTest, ConnectionThatMayOnlyReadCostsTheStatementsAlone) {
    Open(folder.Path());
    Register();
    const auto set = [](const char* value) {
        ASSERT_TRUE(qar::IDBManagerPure::Instance()->Execute(kPlugin, 1, std::string("PRAGMA query_only = ") + value));
    };
    ExpectNothingWritten(
        Fails::kEveryStatement, "attempt to write a readonly database", [&] { set("ON"); }, [&] { set("OFF"); });
}

// A small file system of its own in a folder, seen by this process alone.
class SmallDisk {
public:
    /// @return false when this process may not mount
    bool Mount(const std::string& folder) {
        folder_ = folder;
        mounted_ = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                   mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=1m") == 0;
        return mounted_;
    }
    bool MakeReadOnly() { return mount("tmpfs", folder_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0; }
    bool MakeWritable() { return mount("tmpfs", folder_.c_str(), nullptr, MS_REMOUNT, "size=1m") == 0; }
    ~SmallDisk() {
        if (mounted_) umount2(folder_.c_str(), MNT_DETACH);
    }

private:
    std::string folder_;
    bool mounted_ = false;
};

TEST_F(HistoryDatabaseFaultsTest, ReadOnlyFileSystemKeepsThePluginFromOpeningAndFromRegistering) {
    SmallDisk disk;
    if (!disk.Mount(folder.Path())) GTEST_SKIP() << "this process may not mount a file system";
    Open(folder.Path());
    Register();
    ASSERT_TRUE(Add(1, At("07:00"), 101));
    manager.UnRegister(kPlugin);
    ASSERT_TRUE(qar::IDBManager::Instance()->Finalize(kPlugin));
    RecordingDatabase::Get().Restart(milliseconds(1000));
    ASSERT_TRUE(disk.MakeReadOnly());
    LoggedLines::Get().Clear();

    EXPECT_FALSE(qar::IDBManager::Instance()->Initialize(kPlugin, 1, 0));
    const Lines lines = LoggedLines::Get().From(2);
    ASSERT_EQ(lines.size(), 1u) << "the library itself says nothing";
    EXPECT_EQ(lines[0].rfind("5 QARPlatform [database] plug-in gap: " + folder.Path() + "/main.db: ", 0), 0u)
        << lines[0];
    LoggedLines::Get().Clear();
    EXPECT_FALSE(manager.Register([](auto&, int) {}, {kBusi}, kPlugin, kTable, "id"));
    EXPECT_EQ(LoggedLines::Get().From(2),
              (Lines{"3 QARCommon Plugin id [gap], table name [gap.history]",
                     "5 QARPlatform [database] plug-in gap: has no open database",
                     "5 QARCommon in CDBBaseSession::QueryDBInfoList execute is fail sql = SELECT * FROM gap.history "
                     "ORDER BY  business_type, camera_id, state_time",
                     "5 QARCommon Init DB History state info is fail plugin_id = gap"}));
    EXPECT_THAT(Points(), IsEmpty());
    manager.UnRegister(kPlugin);

    ASSERT_TRUE(disk.MakeWritable());
    ASSERT_TRUE(qar::IDBManager::Instance()->Initialize(kPlugin, 1, 0));
    Register();
    EXPECT_EQ(Points(), Lines{"101/1 " + At("07:00") + " 1"});
    // closed before the disk goes
    manager.UnRegister(kPlugin);
    ASSERT_TRUE(qar::IDBManager::Instance()->Finalize(kPlugin));
    RecordingDatabase::Get().Restart(milliseconds(1000));
}

// --- full ------------------------------------------------------------------------------------------------------------

TEST_F(HistoryDatabaseFaultsTest, DiskWithoutRoomCostsTheStatementsAlone) {
    SmallDisk disk;
    if (!disk.Mount(folder.Path())) GTEST_SKIP() << "this process may not mount a file system";
    Open(folder.Path());
    Register();
    const std::string rest = folder / "rest";
    const auto fill = [&rest] {
        std::ofstream file(rest);
        const std::string block(1000, 'x');
        while (file << block << std::flush) {
        }
    };
    ExpectNothingWritten(Fails::kStatementThatWrites, "database or disk is full", fill,
                         [&rest] { std::filesystem::remove(rest); });
    manager.UnRegister(kPlugin);
    ASSERT_TRUE(qar::IDBManager::Instance()->Finalize(kPlugin));
    RecordingDatabase::Get().Restart(milliseconds(1000));
}

// The log of changes has reached the size that files of this process may have, so that each connection breaks and the
// next statement takes another.
TEST_F(HistoryDatabaseFaultsTest, FileThatMayNotGrowCostsTheStatementsAlone) {
    Open(folder.Path());
    Register();
    auto* const old_handler = signal(SIGXFSZ, SIG_IGN);
    rlimit old_limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old_limit), 0);
    const auto limit = [&] {
        rlimit now = old_limit;
        now.rlim_cur = std::filesystem::file_size(folder / "gap.db-wal");
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &now), 0);
    };
    const auto lift = [&] { setrlimit(RLIMIT_FSIZE, &old_limit); };
    ExpectNothingWritten(Fails::kStatementThatWrites, "disk I/O error: File too large", limit, lift);
    signal(SIGXFSZ, old_handler);
}

}  // namespace
}  // namespace history_test
