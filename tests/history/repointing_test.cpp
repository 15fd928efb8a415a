// The database pointed elsewhere while the state history is at work.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>

#include "qar/IDBManager.h"
#include "tests/history/real_database.h"
#include "tests/unit/qarcommonbiz/statement_table.h"

namespace history_test {
namespace {

using ::testing::IsEmpty;

/// A moment long after every device's present.
std::string Later(int n) {
    char text[64];
    std::snprintf(text, sizeof text, "2026-06-%02dT%02d:%02d:%02d+00:00", 1 + n / 86400, n / 3600 % 24, n / 60 % 60,
                  n % 60);
    return text;
}

std::string Plain(const std::string& iso) { return iso.substr(0, 10) + " " + iso.substr(11, 8); }

class RepointingTest : public RealDatabaseTest {
protected:
    static constexpr int kRepointings = 6;
    static constexpr int kLastMoment = 29 * 86400;
    static constexpr std::size_t kStatementsBetween = 60;

    static constexpr double kSecondInAMillisecond = 1000;

    RepointingTest() : RealDatabaseTest(kSecondInAMillisecond) {
        Open(a_, 3);
        KeepInserts();
        MoveTo(b_);
        MakeTable();
        KeepInserts();
        MoveTo(a_);
        Register();
    }

    void MoveTo(const std::string& folder) {
        PointTo(folder);
        ASSERT_TRUE(RecordingDatabase::Get().WaitForResets(++resets_));
    }

    /// Lets the file itself keep the number of each row that ever came into it.
    static void KeepInserts() {
        ASSERT_TRUE(qar::IDBManager::Instance()->Execute(kPlugin, 1, "CREATE TABLE gap.came(id BIGINT)"));
        ASSERT_TRUE(qar::IDBManager::Instance()->Execute(
            kPlugin, 1, "CREATE TRIGGER gap.keep AFTER INSERT ON history BEGIN INSERT INTO came VALUES(new.id); END"));
    }

    /// What one table would hold after these statements, in Points' form.
    static Lines Replayed(const std::vector<RecordingDatabase::Statement>& statements) {
        qar::history_test::StatementTable table;
        for (const auto& statement : statements) EXPECT_TRUE(table.Run(statement.sql)) << statement.sql;
        std::vector<std::pair<int, std::string>> keyed;
        for (const auto& row : table.rows) {
            std::string iso = row.time + "+00:00 ";
            iso[10] = 'T';
            keyed.emplace_back(row.camera, std::to_string(row.camera) + "/1 " + iso + std::to_string(row.state));
        }
        std::sort(keyed.begin(), keyed.end());
        Lines points;
        for (const auto& entry : keyed) points.push_back(entry.second);
        return points;
    }

    const std::string a_ = folder / "a";
    const std::string b_ = folder / "b";
    std::size_t resets_ = 0;
};

TEST_F(RepointingTest, EveryStatementIsInTheFileItWentToAndMemoryIsWhatOneTableWouldBe) {
    const std::size_t before = RecordingDatabase::Get().Statements().size();
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {107, 108}));
    LoggedLines::Get().Clear();
    std::atomic<bool> stop{false};
    std::vector<int> added(3);
    std::vector<std::thread> threads;
    const auto run = [&](auto work) {
        threads.emplace_back([&stop, work] {
            for (int round = 0; !stop; ++round) work(round);
        });
    };
    for (int i = 0; i < 3; ++i) {
        run([this, i, &added](int round) {
            EXPECT_TRUE(Add(1, Later(round), kFirstCamera + i));
            added[static_cast<std::size_t>(i)] = round + 1;
        });
    }
    run([this](int round) { EXPECT_TRUE(Add(2, Later(round), 104)); });
    run([this](int round) {
        EXPECT_TRUE(Add(1, Later(2 * round), 105));
        EXPECT_TRUE(Add(1, Later(2 * round + 1), 105));
        EXPECT_TRUE(manager.DelHistoryStateInRange(kPlugin, kBusi, 105, {Later(2 * round), Later(2 * round + 1)}));
    });
    run([this](int) { manager.CheckCameraState(); });
    run([this](int) { manager.CheckExpireState(); });
    run([this](int) {
        EXPECT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {106}));
        EXPECT_TRUE(manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {108}));
        manager.NotifyExceptionRange();
        manager.DelCareCameraStateInfo(kPlugin, kBusi, {106});
    });
    std::map<std::string, Lines> begun_after;
    for (int i = 0; i < kRepointings; ++i) {
        EXPECT_TRUE(RecordingDatabase::Get().WaitForMore(kStatementsBetween));
        const std::string& folder = i % 2 == 0 ? b_ : a_;
        MoveTo(folder);
        EXPECT_TRUE(Add(1, Later(kLastMoment - kRepointings + i), 107));
        begun_after[folder].push_back(Plain(Later(kLastMoment - kRepointings + i)));
    }
    EXPECT_TRUE(RecordingDatabase::Get().WaitForMore(kStatementsBetween));
    stop = true;
    for (std::thread& thread : threads) thread.join();

    // the lines: no failure, and the re-pointings one after the other
    EXPECT_THAT(LoggedLines::Get().From(5), IsEmpty());
    Lines changes;
    for (const std::string& line : LoggedLines::Get().From(3)) {
        if (line.find("Process DBInfo") != std::string::npos) changes.push_back(line);
    }
    Lines expected_changes;
    for (int i = 0; i < kRepointings; ++i) {
        expected_changes.push_back("3 QARCommon Process DBInfo change begin.\n");
        expected_changes.push_back("3 QARCommon Process DBInfo change end.\n");
    }
    EXPECT_EQ(changes, expected_changes);

    // the statements: each answered true, each row in one of the files
    auto statements = RecordingDatabase::Get().Statements();
    statements.erase(statements.begin(), statements.begin() + static_cast<std::ptrdiff_t>(before));
    std::multiset<std::string> inserted;
    for (const auto& statement : statements) {
        EXPECT_TRUE(statement.ok) << statement.sql;
        const std::size_t values = statement.sql.find("values(");
        if (values == std::string::npos) continue;
        inserted.insert(statement.sql.substr(values + 7, statement.sql.find(',', values) - values - 7));
    }
    std::multiset<std::string> came;
    for (const std::string& folder : {a_, b_}) {
        const Lines ids = OtherConnection(folder).Run("SELECT id FROM came");
        EXPECT_GE(ids.size(), 10u) << folder;
        came.insert(ids.begin(), ids.end());
    }
    EXPECT_EQ(came, inserted);
    EXPECT_EQ(std::set<std::string>(came.begin(), came.end()).size(), came.size()) << "no number twice";

    // a statement that began after a re-pointing went to the new file
    for (const auto& [folder, moments] : begun_after) {
        EXPECT_EQ(
            OtherConnection(folder).Run("SELECT state_time FROM history WHERE camera_id = 107 AND state_time >= '" +
                                        Plain(Later(0)) + "' ORDER BY state_time"),
            moments)
            << folder;
    }

    // the rows of cameras whose rows nobody changes are all there, each once
    for (int i = 0; i < 3; ++i) {
        const std::string where = " FROM history WHERE camera_state = 1 AND camera_id = " + std::to_string(101 + i);
        Lines moments;
        for (const std::string& folder : {a_, b_}) {
            for (const std::string& row : OtherConnection(folder).Run("SELECT state_time" + where)) {
                moments.push_back(row);
            }
        }
        std::sort(moments.begin(), moments.end());
        Lines expected;
        for (int n = 0; n < added[static_cast<std::size_t>(i)]; ++n) {
            expected.push_back(Plain(Later(n)));
        }
        EXPECT_EQ(moments, expected) << 101 + i;
    }

    // memory does not know of files
    EXPECT_EQ(Points(), Replayed(statements));

    // until the table wins, the one that the plug-in is pointed to now
    manager.UnRegister(kPlugin);
    Register();
    EXPECT_EQ(Points(), OtherConnection(a_).Points());
}

}  // namespace
}  // namespace history_test
