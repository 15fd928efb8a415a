#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <future>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "standalone/config/LocalConfigControl.h"
#include "standalone/database/DatabaseControl.h"
#include "standalone/database/DatabaseManager.h"
#include "standalone/database/sqlite/Database.h"
#include "tests/standalone/database/temp_folder.h"
#include "tests/support/other_thread.h"

namespace qar {

struct SDBForwardArg {};

}  // namespace qar

namespace {

using database_test::TempFolder;
using qarplatform::DatabaseManager;
using qarplatform::DatabaseWaits;
using std::chrono::milliseconds;
using testing::HasSubstr;

qar::SDBParam ParamOf(const std::string& folder) {
    qar::SDBParam param;
    param.dbType = qarplatform::kDatabaseSqlite;
    param.dbName = folder;
    return param;
}

// Opens when as many threads as are expected stand before it.
class Gate {
public:
    explicit Gate(int expected) : missing_(expected) {}

    void Pass() {
        std::unique_lock<std::mutex> lock(mutex_);
        if (--missing_ == 0) {
            open_.notify_all();
        }
        open_.wait(lock, [&] { return missing_ <= 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable open_;
    int missing_;
};

class DatabaseManagerTest : public testing::Test {
protected:
    static DatabaseWaits ShortWaits() {
        DatabaseWaits waits;
        waits.lock = milliseconds(100);
        waits.connection = milliseconds(100);
        return waits;
    }

    static long long Number(DatabaseManager& manager, const std::string& sql, const std::string& plugin = "p") {
        long long number = -1;
        EXPECT_TRUE(manager.ExecuteQuery(plugin, 1, sql, [&](db_layer::CConnect* c) { number = c->GetInt("v"); }))
            << sql;
        return number;
    }

    // Makes a table that tells in which folder it lies.
    static void Mark(const std::string& folder, int mark) {
        DatabaseManager manager;
        ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder)));
        ASSERT_TRUE(
            manager.Execute("p", 1, "CREATE TABLE s.mark(v); INSERT INTO s.mark VALUES(" + std::to_string(mark) + ")"));
    }

    template <typename Body>
    static std::string LogOf(Body&& body) {
        testing::internal::CaptureStderr();
        body();
        return testing::internal::GetCapturedStderr();
    }

    TempFolder folder_;
};

// --- open, close -----------------------------------------------------------------------------------------------------

TEST_F(DatabaseManagerTest, OpenMakesTheFolderAndStatementsRun) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 2, ParamOf(folder_ / "a/b/db")));
    EXPECT_TRUE(manager.Execute("p", 1, "CREATE TABLE s.t(v)"));
    EXPECT_TRUE(manager.Execute("p", 2, "INSERT INTO s.t VALUES(3)"));
    EXPECT_EQ(Number(manager, "SELECT v FROM s.t"), 3);
    EXPECT_TRUE(std::ifstream(folder_ / "a/b/db/s.db").good());
}

TEST_F(DatabaseManagerTest, AnotherKindOfDatabaseIsRefusedWithAWord) {
    DatabaseManager manager;
    qar::SDBParam param = ParamOf(folder_.Path());
    param.dbType = 7;
    EXPECT_THAT(LogOf([&] { EXPECT_FALSE(manager.Open("p", 1, param)); }), HasSubstr("database kind 7 is not offered"));
    EXPECT_FALSE(manager.Execute("p", 1, "SELECT 1"));
}

TEST_F(DatabaseManagerTest, AFolderThatCannotBeMadeIsRefusedWithItsPath) {
    DatabaseManager manager;
    std::ofstream(folder_ / "file") << "x";
    EXPECT_THAT(LogOf([&] { EXPECT_FALSE(manager.Open("p", 1, ParamOf(folder_ / "file"))); }),
                HasSubstr(folder_ / "file: is no folder"));
    EXPECT_THAT(LogOf([&] { EXPECT_FALSE(manager.Open("p", 1, ParamOf(folder_ / "file/db"))); }),
                HasSubstr("cannot be made"));
    EXPECT_THAT(LogOf([&] { EXPECT_FALSE(manager.Open("p", 1, ParamOf(""))); }), HasSubstr("no folder"));
    EXPECT_FALSE(manager.Finalize("p"));
}

TEST_F(DatabaseManagerTest, AMainFileThatIsNoDatabaseIsRefusedWithItsPath) {
    DatabaseManager manager;
    std::ofstream(folder_ / "main.db") << std::string(8192, '#');
    EXPECT_THAT(LogOf([&] { EXPECT_FALSE(manager.Open("p", 1, ParamOf(folder_.Path()))); }),
                HasSubstr(folder_ / "main.db: file is not a database"));
}

TEST_F(DatabaseManagerTest, AnUnknownPlugInIsRefusedWithAWord) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    const unsigned int timeout = 1;
    bool called = false;
    const auto fn = [&](db_layer::CConnect*) { called = true; };
    const std::string log = LogOf([&] {
        EXPECT_FALSE(manager.Execute("q", 1, "SELECT 1"));
        EXPECT_FALSE(manager.ExecuteQuery("q", 1, "SELECT 1", fn));
        EXPECT_FALSE(manager.ExecuteQueryUDT("q", 1, "SELECT 1", fn, 1));
        EXPECT_FALSE(manager.ExecuteSortByCollate("q", 1, "SELECT 1", fn, "c"));
        EXPECT_FALSE(manager.ExecuteSortByCollateUDT("q", 1, "SELECT 1", fn, "c", &timeout));
        EXPECT_FALSE(manager.Finalize("q"));
        EXPECT_FALSE(manager.ResetDBParam("q", ParamOf(folder_.Path())));
    });
    EXPECT_FALSE(called);
    EXPECT_THAT(log, HasSubstr("plug-in q: has no open database"));
}

TEST_F(DatabaseManagerTest, FinalizeClosesAndOpenStartsAnew) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    EXPECT_TRUE(manager.Finalize("p"));
    EXPECT_FALSE(manager.Finalize("p"));
    EXPECT_FALSE(manager.Execute("p", 1, "SELECT 1"));
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    EXPECT_TRUE(manager.Execute("p", 1, "SELECT 1"));
}

TEST_F(DatabaseManagerTest, AStatementThatRunsFinishesThroughFinalize) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT 1 AS v", [&](db_layer::CConnect* connect) {
        EXPECT_TRUE(manager.Finalize("p"));
        EXPECT_EQ(connect->GetInt("v"), 1);
        EXPECT_TRUE(connect->Execute("CREATE TABLE t(v)"));
        EXPECT_FALSE(manager.Execute("p", 1, "SELECT 1"));
    }));
}

TEST_F(DatabaseManagerTest, StopClosesEveryPlugIn) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    ASSERT_TRUE(manager.Open("q", 1, ParamOf(folder_.Path())));
    manager.Stop();
    EXPECT_FALSE(manager.Execute("p", 1, "SELECT 1"));
    EXPECT_FALSE(manager.Execute("q", 1, "SELECT 1"));
    EXPECT_EQ(manager.GetNextID(""), 0);
}

TEST_F(DatabaseManagerTest, TheProcessHasOneManagerThatStopDatabaseStops) {
    qar::IDBManagerPure* manager = qar::IDBManagerPure::Instance();
    EXPECT_EQ(manager, qar::IDBManagerPure::Instance());
    ASSERT_TRUE(manager->Open("p", 1, ParamOf(folder_.Path())));
    EXPECT_TRUE(manager->Execute("p", 1, "SELECT 1"));
    qarplatform::StopDatabase();
    EXPECT_FALSE(manager->Execute("p", 1, "SELECT 1"));
}

// --- statements ------------------------------------------------------------------------------------------------------

TEST_F(DatabaseManagerTest, AFailureLogsItsReasonAndCallsNoResultFunction) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    bool called = false;
    EXPECT_THAT(LogOf([&] {
                    EXPECT_FALSE(
                        manager.ExecuteQuery("p", 1, "SELECT * FROM s.t", [&](db_layer::CConnect*) { called = true; }));
                }),
                HasSubstr("plug-in p: no such table: s.t"));
    EXPECT_FALSE(called);
}

TEST_F(DatabaseManagerTest, AQueryWithoutResultFunctionSucceeds) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT 1", nullptr));
}

TEST_F(DatabaseManagerTest, AnExceptionOfAResultFunctionReachesTheCallerAndTheConnectionComesBack) {
    DatabaseManager manager(ShortWaits());
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    ASSERT_TRUE(manager.Execute("p", 1, "CREATE TABLE t(v)"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_THROW(manager.ExecuteQuery("p", 1, "SELECT 1",
                                          [](db_layer::CConnect* connect) {
                                              connect->Execute("BEGIN IMMEDIATE");
                                              throw std::runtime_error("no");
                                          }),
                     std::runtime_error);
    }
    EXPECT_TRUE(manager.Execute("p", 1, "INSERT INTO t VALUES(1)"));
}

TEST_F(DatabaseManagerTest, ATransactionThatIsLeftOpenIsRolledBackAndFails) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    ASSERT_TRUE(manager.Execute("p", 1, "CREATE TABLE t(v)"));
    EXPECT_THAT(LogOf([&] { EXPECT_FALSE(manager.Execute("p", 1, "BEGIN; INSERT INTO t VALUES(1)")); }),
                HasSubstr("plug-in p: a transaction was left open and has been rolled back"));
    EXPECT_EQ(Number(manager, "SELECT count(*) AS v FROM t"), 0);
}

TEST_F(DatabaseManagerTest, TimeOutsAndCollationsReachTheStatement) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    const std::string endless =
        "WITH RECURSIVE n(v) AS (SELECT 1 UNION ALL SELECT v + 1 FROM n) SELECT count(*) FROM n";
    const unsigned int timeout = 1;
    EXPECT_FALSE(manager.ExecuteQueryUDT("p", 1, endless, nullptr, 1));
    EXPECT_FALSE(manager.ExecuteSortByCollateUDT("p", 1, endless, nullptr, "nocase", &timeout));
    EXPECT_TRUE(manager.ExecuteQueryUDT("p", 1, "SELECT 1", nullptr, 0));
    EXPECT_TRUE(manager.ExecuteQueryUDT("p", 1, "SELECT 1", nullptr, -1));
    std::string first;
    const auto fn = [&](db_layer::CConnect* connect) { first = connect->GetString("v"); };
    const std::string sql = "SELECT 'b' AS v UNION SELECT 'a' UNION SELECT 'B' UNION SELECT 'A' ORDER BY v DESC";
    EXPECT_TRUE(manager.ExecuteSortByCollate("p", 1, sql, fn, ""));
    EXPECT_EQ(first, "b");
    EXPECT_TRUE(manager.ExecuteSortByCollate("p", 1, "SELECT 'b' AS v UNION SELECT 'C' ORDER BY v", fn, "nocase"));
    EXPECT_EQ(first, "b");
    EXPECT_TRUE(
        manager.ExecuteSortByCollateUDT("p", 1, "SELECT 'b' AS v UNION SELECT 'C' ORDER BY v", fn, "", nullptr));
    EXPECT_EQ(first, "C");
}

TEST_F(DatabaseManagerTest, ForwardedCallsAreNotOffered) {
    DatabaseManager manager;
    qar::SDBForwardArg arg;
    const std::string log = LogOf([&] {
        EXPECT_FALSE(manager.ForwardedCallA(arg, arg, 1));
        EXPECT_FALSE(manager.ForwardedCallB(arg, 1, arg));
        EXPECT_EQ(manager.ForwardedCallC(arg, 1, true).n_value, 0);
        EXPECT_FALSE(manager.ForwardedCallD(arg, arg, arg, 1));
    });
    for (const char* name : {"ForwardedCallA", "ForwardedCallB", "ForwardedCallC", "ForwardedCallD"}) {
        EXPECT_THAT(log, HasSubstr(std::string(name) + " is not offered by the embedded database"));
    }
}

// --- pool ------------------------------------------------------------------------------------------------------------

TEST_F(DatabaseManagerTest, AResultFunctionMayCallAgainEvenWithOneConnection) {
    DatabaseManager manager(ShortWaits());
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    ASSERT_TRUE(manager.Execute("p", 1, "CREATE TABLE t(v)"));
    long long innermost = 0;
    EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT 1 AS v", [&](db_layer::CConnect* outer) {
        EXPECT_TRUE(manager.Execute("p", 1, "INSERT INTO t VALUES(5)"));
        EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT v FROM t", [&](db_layer::CConnect* inner) {
            EXPECT_TRUE(manager.Execute("p", 1, "INSERT INTO t VALUES(6)"));
            innermost = inner->GetInt("v");
        }));
        EXPECT_EQ(outer->GetInt("v"), 1);
    }));
    EXPECT_EQ(innermost, 5);
    EXPECT_EQ(Number(manager, "SELECT count(*) AS v FROM t"), 2);
}

TEST_F(DatabaseManagerTest, NoMoreCallersThanConnectionsRunAtOnceAndTheNextWaitsForOne) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 2, ParamOf(folder_.Path())));
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 25; ++k) {
                EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT 1", [&](db_layer::CConnect*) {
                    const int now = ++inside;
                    int seen = most;
                    while (seen < now && !most.compare_exchange_weak(seen, now)) {
                    }
                    std::this_thread::yield();
                    --inside;
                }));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_LE(most, 2);
    // both connections can be had at once
    Gate gate(2);
    auto other = std::async(std::launch::async, [&] {
        return manager.ExecuteQuery("p", 1, "SELECT 1", [&](db_layer::CConnect*) { gate.Pass(); });
    });
    EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT 1", [&](db_layer::CConnect*) { gate.Pass(); }));
    EXPECT_TRUE(other.get());
}

TEST_F(DatabaseManagerTest, ACallerThatGetsNoConnectionInTimeFailsWithAWord) {
    DatabaseManager manager(ShortWaits());
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    std::string log;
    EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT 1", [&](db_layer::CConnect*) {
        log = LogOf([&] {
            EXPECT_FALSE(std::async(std::launch::async, [&] { return manager.Execute("p", 1, "SELECT 1"); }).get());
        });
    }));
    EXPECT_THAT(log, HasSubstr("plug-in p: none of 1 connections came free in 100 ms"));
    EXPECT_TRUE(manager.Execute("p", 1, "SELECT 1"));
}

TEST_F(DatabaseManagerTest, ACallerThatWaitsForAConnectionIsRefusedAtOnceWhenThePlugInCloses) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    std::string log;
    EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT 1", [&](db_layer::CConnect*) {
        log = LogOf([&] {
            test_support::OtherThread other([&] { EXPECT_FALSE(manager.Execute("p", 1, "SELECT 1")); });
            EXPECT_TRUE(other.Waits());
            EXPECT_TRUE(manager.Finalize("p"));
        });
    }));
    EXPECT_THAT(log, HasSubstr("plug-in p: the plug-in's connections are closed"));
}

TEST_F(DatabaseManagerTest, APlugInThatAsksForNoConnectionGetsOne) {
    DatabaseManager manager(ShortWaits());
    ASSERT_TRUE(manager.Open("p", 0, ParamOf(folder_.Path())));
    EXPECT_TRUE(manager.Execute("p", 1, "SELECT 1"));
    ASSERT_TRUE(manager.Open("p", 0, ParamOf(folder_.Path())));
    EXPECT_TRUE(manager.Execute("p", 1, "SELECT 1"));
}

TEST_F(DatabaseManagerTest, AConnectionThatMetABrokenFileIsNotUsedAgain) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    ASSERT_TRUE(manager.Execute("p", 1, "CREATE TEMP TABLE mark(v)"));
    ASSERT_TRUE(manager.Execute("p", 1, "SELECT v FROM mark")) << "the connection is kept";
    std::ofstream(folder_ / "s.db") << std::string(8192, '#');
    EXPECT_FALSE(manager.Execute("p", 1, "SELECT v FROM s.t"));
    EXPECT_FALSE(manager.Execute("p", 1, "SELECT v FROM mark"));
    EXPECT_TRUE(manager.Execute("p", 1, "SELECT 1"));
}

TEST_F(DatabaseManagerTest, TwoPlugInsThatCallEachOthersDatabaseDoNotWaitForEachOther) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    ASSERT_TRUE(manager.Open("q", 1, ParamOf(folder_.Path())));
    Gate gate(2);
    const auto nested = [&](const std::string& outer, const std::string& inner) {
        bool done = false;
        return manager.ExecuteQuery(outer, 1, "SELECT 1", [&](db_layer::CConnect*) {
            gate.Pass();
            done = manager.Execute(inner, 1, "SELECT 1");
        }) && done;
    };
    auto other = std::async(std::launch::async, nested, "q", "p");
    EXPECT_TRUE(nested("p", "q"));
    EXPECT_TRUE(other.get());
}

// --- re-pointing -----------------------------------------------------------------------------------------------------

TEST_F(DatabaseManagerTest, ResetPointsToTheOtherFolder) {
    Mark(folder_ / "a", 1);
    Mark(folder_ / "b", 2);
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_ / "a")));
    EXPECT_EQ(Number(manager, "SELECT v FROM s.mark"), 1);
    EXPECT_TRUE(manager.ResetDBParam("p", ParamOf(folder_ / "b")));
    EXPECT_EQ(Number(manager, "SELECT v FROM s.mark"), 2);
    EXPECT_TRUE(manager.Open("p", 3, ParamOf(folder_ / "a")));
    EXPECT_EQ(Number(manager, "SELECT v FROM s.mark"), 1);
}

TEST_F(DatabaseManagerTest, ResetToAnotherKindOfDatabaseIsRefusedAndNothingChanges) {
    Mark(folder_ / "a", 1);
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_ / "a")));
    qar::SDBParam param = ParamOf(folder_ / "b");
    param.dbType = 2;
    EXPECT_FALSE(manager.ResetDBParam("p", param));
    EXPECT_EQ(Number(manager, "SELECT v FROM s.mark"), 1);
}

TEST_F(DatabaseManagerTest, AConnectionInUseFinishesWhereItBeganAndNobodyWaitsForIt) {
    Mark(folder_ / "a", 1);
    Mark(folder_ / "b", 2);
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_ / "a")));
    EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT v FROM s.mark", [&](db_layer::CConnect* connect) {
        EXPECT_TRUE(manager.ResetDBParam("p", ParamOf(folder_ / "b")));
        ASSERT_TRUE(connect->Query("SELECT v FROM s.mark"));
        EXPECT_EQ(connect->GetInt("v"), 1);
        EXPECT_EQ(Number(manager, "SELECT v FROM s.mark"), 2);
    }));
    EXPECT_EQ(Number(manager, "SELECT v FROM s.mark"), 2);
}

TEST_F(DatabaseManagerTest, EveryStatementSucceedsInOneOfTheFoldersWhileThePlugInIsRepointed) {
    Mark(folder_ / "a", 1);
    Mark(folder_ / "b", 2);
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 4, ParamOf(folder_ / "a")));
    std::atomic<bool> stop = false;
    std::atomic<long long> seen[3] = {};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                const long long mark = Number(manager, "SELECT v FROM s.mark");
                ASSERT_TRUE(mark == 1 || mark == 2) << mark;
                ++seen[mark];
            }
        });
    }
    for (int i = 0; i < 100 || seen[1] == 0 || seen[2] == 0; ++i) {
        ASSERT_TRUE(manager.ResetDBParam("p", ParamOf(folder_ / (i % 2 ? "a" : "b"))));
        std::this_thread::yield();
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(manager.ResetDBParam("p", ParamOf(folder_ / "b")));
    EXPECT_EQ(Number(manager, "SELECT v FROM s.mark"), 2);
}

TEST_F(DatabaseManagerTest, AResetToAFolderThatCannotBeMadeFailsStatementsUntilItCan) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_ / "a")));
    std::ofstream(folder_ / "b") << "x";
    EXPECT_TRUE(manager.ResetDBParam("p", ParamOf(folder_ / "b")));
    EXPECT_FALSE(manager.Execute("p", 1, "SELECT 1"));
    std::filesystem::remove(folder_ / "b");
    std::filesystem::create_directory(folder_ / "b");
    EXPECT_TRUE(manager.Execute("p", 1, "SELECT 1"));
}

// --- numbers ---------------------------------------------------------------------------------------------------------

TEST_F(DatabaseManagerTest, NumbersAreAboveZeroAndUniqueOverThreadsNamesAndManagers) {
    constexpr int kThreads = 8;
    constexpr int kEach = 6000;
    DatabaseManager managers[2];
    for (DatabaseManager& manager : managers) {
        ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    }
    std::vector<std::vector<int64_t>> taken(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            for (int k = 0; k < kEach; ++k) {
                taken[i].push_back(managers[i % 2].GetNextID(k % 2 ? "other" : ""));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::set<int64_t> all;
    for (const auto& numbers : taken) {
        all.insert(numbers.begin(), numbers.end());
    }
    EXPECT_EQ(all.size(), static_cast<std::size_t>(kThreads * kEach));
    EXPECT_GT(*all.begin(), 0);
}

TEST_F(DatabaseManagerTest, NumbersComeFromTheDatabaseOfTheLastParameters) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_ / "a")));
    EXPECT_EQ(manager.GetNextID(""), 1);
    EXPECT_EQ(manager.GetNextID(""), 2);
    ASSERT_TRUE(manager.ResetDBParam("p", ParamOf(folder_ / "b")));
    EXPECT_EQ(manager.GetNextID(""), 10001) << "rows of the first folder may have been copied to the second";
    ASSERT_TRUE(manager.ResetDBParam("p", ParamOf(folder_ / "a")));
    EXPECT_EQ(manager.GetNextID(""), 20001);

    DatabaseManager another;
    ASSERT_TRUE(another.Open("p", 1, ParamOf(folder_ / "b")));
    EXPECT_EQ(another.GetNextID(""), 20001) << "as that database counts";
}

TEST_F(DatabaseManagerTest, AFurtherPlugInOfTheSameDatabaseKeepsTheBlock) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    EXPECT_EQ(manager.GetNextID(""), 1);
    ASSERT_TRUE(manager.Open("q", 1, ParamOf(folder_.Path() + "/.")));
    EXPECT_EQ(manager.GetNextID(""), 2);
}

TEST_F(DatabaseManagerTest, WithoutADatabaseThereIsNoNumber) {
    DatabaseManager manager;
    EXPECT_THAT(LogOf([&] { EXPECT_EQ(manager.GetNextID("x"), 0); }),
                HasSubstr("no number for \"x\": no database has been opened"));
}

TEST_F(DatabaseManagerTest, ARepointingWaitsForANumberThatIsBeingTaken) {
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_ / "a")));
    qarplatform::sqlite::Database holder;
    ASSERT_TRUE(holder.Open(folder_ / "a/main.db", milliseconds(0)));
    ASSERT_TRUE(holder.Exec("BEGIN IMMEDIATE"));
    const test_support::OtherThread number([&] { manager.GetNextID(""); });
    EXPECT_TRUE(number.Waits());
    const test_support::OtherThread repointing([&] { manager.ResetDBParam("p", ParamOf(folder_ / "b")); });
    EXPECT_TRUE(repointing.Waits());
    EXPECT_TRUE(holder.Exec("COMMIT"));
}

TEST_F(DatabaseManagerTest, ADatabaseThatIsLockedGivesNoNumberUntilItIsFree) {
    DatabaseManager manager(ShortWaits());
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder_.Path())));
    qarplatform::sqlite::Database holder;
    ASSERT_TRUE(holder.Open(folder_ / "main.db", milliseconds(0)));
    ASSERT_TRUE(holder.Exec("BEGIN IMMEDIATE"));
    EXPECT_THAT(LogOf([&] { EXPECT_EQ(manager.GetNextID(""), 0); }), HasSubstr("locked"));
    ASSERT_TRUE(holder.Exec("COMMIT"));
    EXPECT_GT(manager.GetNextID(""), 0);
}

}  // namespace
