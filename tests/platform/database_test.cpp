#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "db_layer/Connect.h"
#include "platform/PlatformTest.h"
#include "qarutil/DBManagerPure.h"

namespace platform_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* const kAll = "SELECT id, name, amount FROM plug.item ORDER BY id";
const char* const kNone = "SELECT id, name, amount FROM plug.item WHERE id = 99";
const char* const kWrong = "SELECT nothing FROM plug.absent";
const std::vector<std::string> kColumns{"id", "name", "amount"};
const std::vector<Row> kRows{{"1", "apple", "10"}, {"2", std::nullopt, std::nullopt}, {"3", "cherry", "-5000000000"}};

class DatabaseTest : public PlatformTest {
protected:
    void SetUp() override {
        ASSERT_NE(manager_, nullptr);
        ASSERT_TRUE(manager_->Open("plugin", 2, platform_->Database(1)));
        Fill("plugin");
        platform_->Script(kAll, kColumns, kRows);
        platform_->Script("ORDER BY id DESC", {"id"}, {{"3"}, {"2"}, {"1"}});
        platform_->ScriptFailure(kWrong);
    }

    void Fill(const std::string& plugin) {
        ASSERT_TRUE(
            manager_->Execute(plugin, 1, "CREATE TABLE plug.item (id INTEGER PRIMARY KEY, name TEXT, amount INTEGER)"));
        ASSERT_TRUE(manager_->Execute(plugin, 1,
                                      "INSERT INTO plug.item VALUES (1, 'apple', 10), (2, NULL, NULL), "
                                      "(3, 'cherry', -5000000000)"));
    }

    /// Runs `fn` on a connection of the plug-in, which stands before the rows of `sql`.
    void OnConnection(const std::string& sql, const std::function<void(db_layer::CConnect&)>& fn) {
        int calls = 0;
        ASSERT_TRUE(manager_->ExecuteQuery("plugin", 1, sql, [&](db_layer::CConnect* connect) {
            ++calls;
            ASSERT_NE(connect, nullptr);
            fn(*connect);
        }));
        EXPECT_EQ(calls, 1);
    }

    /// @return the ids of the result that the connection stands before
    static std::vector<long long> Ids(db_layer::CConnect& connect) {
        std::vector<long long> ids;
        for (; !connect.IsEnd(); connect.MoveNext()) ids.push_back(connect.GetInt("id"));
        return ids;
    }

    qar::IDBManagerPure* manager_ = qar::IDBManagerPure::Instance();
};

TEST_F(DatabaseTest, OneManagerPerProcess) { EXPECT_EQ(qar::IDBManagerPure::Instance(), manager_); }

TEST_F(DatabaseTest, RowsAreReadByColumnNameInAnyCase) {
    OnConnection(kAll, [](db_layer::CConnect& connect) {
        ASSERT_FALSE(connect.IsEnd());
        EXPECT_EQ(connect.GetInt("id"), 1);
        EXPECT_EQ(connect.GetInt("ID"), 1);
        EXPECT_EQ(connect.GetString("Name"), "apple");
        EXPECT_EQ(connect.GetInt("aMOUNT"), 10);
        EXPECT_EQ(connect.GetString("amount"), "10") << "a number as text";
        EXPECT_EQ(connect.GetInt("name"), 0) << "a text that is no number";
        connect.MoveNext();
        connect.MoveNext();
        EXPECT_EQ(connect.GetInt("amount"), -5000000000LL);
        EXPECT_EQ(connect.GetString("name"), "cherry");
    });
}

TEST_F(DatabaseTest, NullAndUnknownColumnsAreNothing) {
    OnConnection(kAll, [](db_layer::CConnect& connect) {
        connect.MoveNext();
        EXPECT_EQ(connect.GetInt("id"), 2);
        EXPECT_EQ(connect.GetString("name"), "");
        EXPECT_EQ(connect.GetInt("amount"), 0);
        EXPECT_EQ(connect.GetString("absent"), "");
        EXPECT_EQ(connect.GetInt("absent"), 0);
        EXPECT_EQ(connect.GetInt(""), 0);
    });
}

TEST_F(DatabaseTest, EndIsReachedOnceAllRowsWerePassedAndStays) {
    OnConnection(kAll, [](db_layer::CConnect& connect) {
        EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3));
        EXPECT_TRUE(connect.IsEnd());
        connect.MoveNext();
        EXPECT_TRUE(connect.IsEnd());
        EXPECT_EQ(connect.GetInt("id"), 0);
        EXPECT_EQ(connect.GetString("name"), "");
    });
}

TEST_F(DatabaseTest, EmptyResultIsAtItsEnd) {
    OnConnection(kNone, [](db_layer::CConnect& connect) {
        EXPECT_TRUE(connect.IsEnd());
        EXPECT_EQ(connect.GetInt("id"), 0);
    });
}

TEST_F(DatabaseTest, ConnectionTakesFurtherStatementsInsideAResultFunction) {
    OnConnection(kNone, [](db_layer::CConnect& connect) {
        ASSERT_TRUE(connect.Query(kAll));
        EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3));
        ASSERT_TRUE(connect.Query(kAll));
        EXPECT_FALSE(connect.IsEnd()) << "a new result stands before its first row";
        ASSERT_TRUE(connect.Execute("UPDATE plug.item SET amount = 11 WHERE id = 1"));
        EXPECT_TRUE(connect.IsEnd()) << "a statement without rows leaves no result";
    });
}

TEST_F(DatabaseTest, FailureHasATextUntilAStatementSucceeds) {
    OnConnection(kAll, [this](db_layer::CConnect& connect) {
        std::string text = "before";
        connect.GetLastErrorText(text);
        EXPECT_EQ(text, "");
        EXPECT_FALSE(connect.Query(kWrong));
        EXPECT_TRUE(connect.IsEnd()) << "there is no result";
        connect.GetLastErrorText(text);
        EXPECT_NE(text, "");
        ASSERT_TRUE(connect.Query(kAll));
        connect.GetLastErrorText(text);
        EXPECT_EQ(text, "");

        platform_->ScriptFailure("INSERT INTO plug.absent");
        EXPECT_FALSE(connect.Execute("INSERT INTO plug.absent VALUES (1)"));
        connect.GetLastErrorText(text);
        EXPECT_NE(text, "");
    });
}

TEST_F(DatabaseTest, EveryKindOfQueryOfAConnectionGivesItsRows) {
    const unsigned int minute = 60;
    const unsigned int none = 0;
    OnConnection(kNone, [&](db_layer::CConnect& connect) {
        ASSERT_TRUE(connect.QueryUDT(kAll, &minute));
        EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3));
        ASSERT_TRUE(connect.QueryUDT(kAll, &none));
        ASSERT_TRUE(connect.QueryUDT(kAll, nullptr));
        EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3));
        ASSERT_TRUE(connect.QuerySortByCollate(kAll, ""));
        EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3));
        ASSERT_TRUE(connect.QuerySortByCollateUDT(kAll, "", &minute));
        ASSERT_TRUE(connect.QuerySortByCollateUDT(kAll, "", nullptr));
        EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3));
        EXPECT_FALSE(connect.QueryUDT(kWrong, &minute));
        EXPECT_FALSE(connect.QuerySortByCollate(kWrong, ""));
        EXPECT_FALSE(connect.QuerySortByCollateUDT(kWrong, "", &minute));
        platform_->ScriptFailure("INSERT INTO plug.absent");
        EXPECT_FALSE(connect.ExecuteReturning("INSERT INTO plug.absent VALUES (1) RETURNING id"));
    });
}

TEST_F(DatabaseTest, ChangingStatementThatReturnsRowsKeepsThem) {
    platform_->Script("RETURNING id, name", {"id", "name"}, {{"4", "damson"}});
    OnConnection(kNone, [](db_layer::CConnect& connect) {
        ASSERT_TRUE(connect.ExecuteReturning("INSERT INTO plug.item VALUES (4, 'damson', 1) RETURNING id, name"));
        ASSERT_FALSE(connect.IsEnd());
        EXPECT_EQ(connect.GetInt("id"), 4);
        EXPECT_EQ(connect.GetString("name"), "damson");
        connect.MoveNext();
        EXPECT_TRUE(connect.IsEnd());
    });
}

TEST_F(DatabaseTest, FailedQueryCallsNoResultFunction) {
    const unsigned int minute = 60;
    bool called = false;
    const auto fn = [&called](db_layer::CConnect*) { called = true; };
    EXPECT_FALSE(manager_->ExecuteQuery("plugin", 1, kWrong, fn));
    EXPECT_FALSE(manager_->ExecuteQueryUDT("plugin", 1, kWrong, fn, 60));
    EXPECT_FALSE(manager_->ExecuteSortByCollate("plugin", 1, kWrong, fn, ""));
    EXPECT_FALSE(manager_->ExecuteSortByCollateUDT("plugin", 1, kWrong, fn, "", &minute));
    EXPECT_FALSE(called);
}

TEST_F(DatabaseTest, EveryKindOfQueryCallsItsResultFunctionOnceWithTheRows) {
    const unsigned int minute = 60;
    const unsigned int none = 0;
    std::vector<std::vector<long long>> seen;
    const auto fn = [&seen](db_layer::CConnect* connect) { seen.push_back(Ids(*connect)); };
    EXPECT_TRUE(manager_->ExecuteQuery("plugin", 2, kAll, fn));
    EXPECT_TRUE(manager_->ExecuteQueryUDT("plugin", 1, kAll, fn, 60));
    EXPECT_TRUE(manager_->ExecuteQueryUDT("plugin", 1, kAll, fn, 0));
    EXPECT_TRUE(manager_->ExecuteQueryUDT("plugin", 1, kAll, fn, -1));
    EXPECT_TRUE(manager_->ExecuteSortByCollate("plugin", 1, kAll, fn, ""));
    EXPECT_TRUE(manager_->ExecuteSortByCollateUDT("plugin", 1, kAll, fn, "", &minute));
    EXPECT_TRUE(manager_->ExecuteSortByCollateUDT("plugin", 1, kAll, fn, "", &none));
    EXPECT_TRUE(manager_->ExecuteSortByCollateUDT("plugin", 1, kAll, fn, "", nullptr));
    ASSERT_EQ(seen.size(), 8u);
    for (const auto& ids : seen) EXPECT_THAT(ids, ElementsAre(1, 2, 3));
}

TEST_F(DatabaseTest, ResultFunctionRunsOnTheCallersThread) {
    std::thread::id ran;
    ASSERT_TRUE(
        manager_->ExecuteQuery("plugin", 1, kAll, [&ran](db_layer::CConnect*) { ran = std::this_thread::get_id(); }));
    EXPECT_EQ(ran, std::this_thread::get_id());
}

TEST_F(DatabaseTest, ResultFunctionMayCallTheManagerAgain) {
    std::vector<long long> inner;
    OnConnection(kAll, [&](db_layer::CConnect& connect) {
        EXPECT_TRUE(manager_->Execute("plugin", 1, "UPDATE plug.item SET amount = 12 WHERE id = 1"));
        EXPECT_TRUE(manager_->ExecuteQuery("plugin", 1, "SELECT id FROM plug.item ORDER BY id DESC",
                                           [&](db_layer::CConnect* second) { inner = Ids(*second); }));
        EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3)) << "the outer result stands";
    });
    EXPECT_THAT(inner, ElementsAre(3, 2, 1));
}

TEST_F(DatabaseTest, FailedStatementIsFalse) {
    platform_->ScriptFailure("INSERT INTO plug.absent");
    EXPECT_FALSE(manager_->Execute("plugin", 1, "INSERT INTO plug.absent VALUES (1)"));
    EXPECT_TRUE(manager_->Execute("plugin", 1, "UPDATE plug.item SET amount = 1"));
}

TEST_F(DatabaseTest, DatabaseThatCannotBeReachedOpensNothing) {
    EXPECT_FALSE(manager_->Open("other", 2, platform_->UnreachableDatabase()));
    EXPECT_FALSE(manager_->Finalize("other"));
}

TEST_F(DatabaseTest, OpenOfAnOpenPluginIsTrue) {
    EXPECT_TRUE(manager_->Open("plugin", 3, platform_->Database(1)));
    OnConnection(kAll, [](db_layer::CConnect& connect) { EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3)); });
}

TEST_F(DatabaseTest, PluginMayAskForNoConnectionsAndGetsOne) {
    ASSERT_TRUE(manager_->Open("modest", 0, platform_->Database(1)));
    EXPECT_TRUE(manager_->ExecuteQuery("modest", 1, kAll, [](db_layer::CConnect*) {}));
    EXPECT_TRUE(manager_->Finalize("modest"));
}

TEST_F(DatabaseTest, ClosedPluginTakesNoStatementsUntilItOpensAgain) {
    EXPECT_TRUE(manager_->Finalize("plugin"));
    EXPECT_FALSE(manager_->Finalize("plugin")) << "it is not open";
    EXPECT_FALSE(manager_->Execute("plugin", 1, "UPDATE plug.item SET amount = 1"));
    EXPECT_FALSE(manager_->ExecuteQuery("plugin", 1, kAll, [](db_layer::CConnect*) { ADD_FAILURE(); }));
    EXPECT_TRUE(manager_->Open("plugin", 1, platform_->Database(1)));
    OnConnection(kAll, [](db_layer::CConnect& connect) { EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3)); });
}

TEST_F(DatabaseTest, PluginMayBeClosedWhileAResultIsRead) {
    OnConnection(kAll, [this](db_layer::CConnect& connect) {
        EXPECT_TRUE(manager_->Finalize("plugin"));
        EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3)) << "a connection in use finishes";
    });
    EXPECT_FALSE(manager_->Execute("plugin", 1, "UPDATE plug.item SET amount = 1"));
}

TEST_F(DatabaseTest, ResetPointsAPluginElsewhereAndWaitsForNobody) {
    OnConnection(kAll, [this](db_layer::CConnect& connect) {
        EXPECT_TRUE(manager_->ResetDBParam("plugin", platform_->Database(2)));
        EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3)) << "a statement that runs finishes where it began";
    });
    Fill("plugin");
    EXPECT_TRUE(manager_->ResetDBParam("plugin", platform_->Database(1)));
    OnConnection(kAll, [](db_layer::CConnect& connect) { EXPECT_THAT(Ids(connect), ElementsAre(1, 2, 3)); });
}

TEST_F(DatabaseTest, ResetOfAPluginThatIsNotOpenIsFalse) {
    EXPECT_FALSE(manager_->ResetDBParam("nobody", platform_->Database(1)));
}

TEST_F(DatabaseTest, NextIdsAreAboveNothingAndNoneComesTwiceOverThreadsAndNames) {
    std::mutex mutex;
    std::set<int64_t> ids;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 300; ++i) {
                const int64_t id = manager_->GetNextID(thread == 0 ? "named" : "");
                std::lock_guard<std::mutex> lock(mutex);
                EXPECT_GT(id, 0);
                if (thread != 0) {
                    EXPECT_TRUE(ids.insert(id).second) << id;
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(ids.size(), 900u);
}

TEST_F(DatabaseTest, ForwardedCallsTakeWhatThePlatformHandsOut) {
    qar::SDBForwardArg& arg = platform_->ForwardArg();
    const bool first = manager_->ForwardedCallA(arg, arg, 1);
    EXPECT_EQ(manager_->ForwardedCallA(arg, arg, 1), first);
    const bool second = manager_->ForwardedCallB(arg, 1, arg);
    EXPECT_EQ(manager_->ForwardedCallB(arg, 1, arg), second);
    const qar::SDBForwardResult third = manager_->ForwardedCallC(arg, 1, true);
    EXPECT_EQ(manager_->ForwardedCallC(arg, 1, true).n_value, third.n_value);
    const bool fourth = manager_->ForwardedCallD(arg, arg, arg, 1);
    EXPECT_EQ(manager_->ForwardedCallD(arg, arg, arg, 1), fourth);
}

}  // namespace
}  // namespace platform_tests
