// What the interface promises of statements, on a real database.
#include <atomic>
#include <chrono>
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
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const char* const kEndless =
    "WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n) SELECT count(*) AS c FROM n";

class SqlTest : public PlatformTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(manager_->Open("plugin", 2, platform_->Database(1)));
        ASSERT_TRUE(Run("CREATE TABLE plug.item (id INTEGER PRIMARY KEY, name TEXT)"));
    }
    void TearDown() override { manager_->Finalize("plugin"); }

    bool Run(const std::string& sql, const std::string& plugin = "plugin") { return manager_->Execute(plugin, 1, sql); }
    std::vector<std::string> Column(const std::string& sql, const std::string& column,
                                    const std::string& plugin = "plugin") {
        std::vector<std::string> values;
        EXPECT_TRUE(manager_->ExecuteQuery(plugin, 1, sql, Collect(values, column))) << sql;
        return values;
    }
    static qar::IDBManagerPure::ResultFunc Collect(std::vector<std::string>& values, const std::string& column) {
        return [&values, column](db_layer::CConnect* connect) {
            for (; !connect->IsEnd(); connect->MoveNext()) values.push_back(connect->GetString(column));
        };
    }
    std::vector<std::string> Ids(const std::string& plugin = "plugin") {
        return Column("SELECT id FROM plug.item ORDER BY id", "id", plugin);
    }

    qar::IDBManagerPure* manager_ = qar::IDBManagerPure::Instance();
};

TEST_F(SqlTest, SeveralStatementsInOneTextRunInOrder) {
    EXPECT_TRUE(
        Run("INSERT INTO plug.item VALUES (1, 'a;b'); UPDATE plug.item SET name = 'c' WHERE id = 1;"
            "\n;INSERT INTO plug.item VALUES (2, 'd') -- the last; one"));
    EXPECT_THAT(Column("SELECT name FROM plug.item ORDER BY id", "name"), ElementsAre("c", "d"));
}

TEST_F(SqlTest, FailureOfOneStatementUndoesTheWholeText) {
    EXPECT_FALSE(Run("INSERT INTO plug.item VALUES (1, 'a'); INSERT INTO plug.absent VALUES (2)"));
    EXPECT_THAT(Ids(), IsEmpty());
    EXPECT_FALSE(Run("INSERT INTO plug.item VALUES (1, 'a'); INSERT INTO plug.item VALUES (1, 'twice')"));
    EXPECT_THAT(Ids(), IsEmpty());
    EXPECT_FALSE(Run("INSERT INTO plug.item VALUES (1, 'a'); this is no statement"));
    EXPECT_THAT(Ids(), IsEmpty());
    EXPECT_TRUE(Run("INSERT INTO plug.item VALUES (1, 'a')")) << "no transaction was left open";
}

TEST_F(SqlTest, FailureTellsWhatIsWrong) {
    ASSERT_TRUE(manager_->ExecuteQuery("plugin", 1, "SELECT 1 AS one", [](db_layer::CConnect* connect) {
        std::string text;
        EXPECT_FALSE(connect->Execute("INSERT INTO plug.absent VALUES (1)"));
        connect->GetLastErrorText(text);
        EXPECT_THAT(text, HasSubstr("absent"));
        EXPECT_FALSE(connect->Query("SELECT wrong_column FROM plug.item"));
        connect->GetLastErrorText(text);
        EXPECT_THAT(text, HasSubstr("wrong_column"));
    }));
}

TEST_F(SqlTest, ReturningStatementHasTakenEffect) {
    ASSERT_TRUE(manager_->ExecuteQuery("plugin", 1, "SELECT 1 AS one", [](db_layer::CConnect* connect) {
        ASSERT_TRUE(connect->ExecuteReturning("INSERT INTO plug.item VALUES (7, 'g'), (8, 'h') RETURNING id"));
        EXPECT_EQ(connect->GetInt("id"), 7);
        connect->MoveNext();
        EXPECT_EQ(connect->GetInt("id"), 8);
    }));
    EXPECT_THAT(Ids(), ElementsAre("7", "8"));
}

TEST_F(SqlTest, QueryIsGivenUpAfterItsTimeOut) {
    const unsigned int second = 1;
    const auto begin = std::chrono::steady_clock::now();
    bool called = false;
    const auto fn = [&called](db_layer::CConnect*) { called = true; };
    EXPECT_FALSE(manager_->ExecuteQueryUDT("plugin", 1, kEndless, fn, 1));
    EXPECT_FALSE(manager_->ExecuteSortByCollateUDT("plugin", 1, kEndless, fn, "", &second));
    EXPECT_FALSE(called);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2)) << "seconds of real time";
    EXPECT_TRUE(Run("INSERT INTO plug.item VALUES (1, 'a')")) << "the connection goes on";
}

TEST_F(SqlTest, ConnectionGivesAQueryUpAfterItsTimeOut) {
    ASSERT_TRUE(manager_->ExecuteQuery("plugin", 1, "SELECT 1 AS one", [](db_layer::CConnect* connect) {
        const unsigned int second = 1;
        std::string text;
        EXPECT_FALSE(connect->QueryUDT(kEndless, &second));
        connect->GetLastErrorText(text);
        EXPECT_NE(text, "");
        EXPECT_TRUE(connect->IsEnd());
        EXPECT_FALSE(connect->QuerySortByCollateUDT(kEndless, "", &second));
        EXPECT_TRUE(connect->Query("SELECT 2 AS two"));
        EXPECT_EQ(connect->GetInt("two"), 2);
    }));
}

TEST_F(SqlTest, CollationSortsTheLastOrderBy) {
    ASSERT_TRUE(Run("INSERT INTO plug.item VALUES (1, 'b'), (2, 'A'), (3, 'a'), (4, 'B')"));
    const std::string sql = "SELECT name FROM plug.item ORDER BY name, id";
    const unsigned int minute = 60;
    std::vector<std::string> names;
    EXPECT_TRUE(manager_->ExecuteSortByCollate("plugin", 1, sql, Collect(names, "name"), ""));
    EXPECT_THAT(names, ElementsAre("A", "B", "a", "b")) << "as the database does by itself";
    names.clear();
    EXPECT_TRUE(manager_->ExecuteSortByCollate("plugin", 1, sql, Collect(names, "name"), "nocase"));
    EXPECT_THAT(names, ElementsAre("A", "a", "b", "B"));
    names.clear();
    EXPECT_TRUE(manager_->ExecuteSortByCollateUDT("plugin", 1, sql, Collect(names, "name"), "nocase", &minute));
    EXPECT_THAT(names, ElementsAre("A", "a", "b", "B"));
}

TEST_F(SqlTest, CollationLeavesAnInnerOrderByAlone) {
    ASSERT_TRUE(Run("INSERT INTO plug.item VALUES (1, 'b'), (2, 'A'), (3, 'a'), (4, 'B')"));
    std::vector<std::string> names;
    EXPECT_TRUE(manager_->ExecuteSortByCollate(
        "plugin", 1, "SELECT name FROM (SELECT name, id FROM plug.item ORDER BY name LIMIT 2) ORDER BY name DESC",
        Collect(names, "name"), "nocase"));
    EXPECT_THAT(names, ElementsAre("B", "A")) << "the inner one takes A and B, as the database sorts by itself";
}

TEST_F(SqlTest, PluginsOfOneDatabaseShareItsTables) {
    ASSERT_TRUE(manager_->Open("second", 1, platform_->Database(1)));
    ASSERT_TRUE(Run("INSERT INTO plug.item VALUES (1, 'a')"));
    EXPECT_THAT(Ids("second"), ElementsAre("1"));
    EXPECT_TRUE(manager_->Finalize("second"));
}

TEST_F(SqlTest, ResetLeavesTheOldDatabaseBehind) {
    ASSERT_TRUE(Run("INSERT INTO plug.item VALUES (1, 'a')"));
    ASSERT_TRUE(manager_->ResetDBParam("plugin", platform_->Database(2)));
    ASSERT_TRUE(Run("CREATE TABLE plug.item (id INTEGER PRIMARY KEY, name TEXT)")) << "nothing is there yet";
    ASSERT_TRUE(Run("INSERT INTO plug.item VALUES (2, 'b')"));
    EXPECT_THAT(Ids(), ElementsAre("2"));
    ASSERT_TRUE(manager_->ResetDBParam("plugin", platform_->Database(1)));
    EXPECT_THAT(Ids(), ElementsAre("1"));
}

TEST_F(SqlTest, OpenOfAnOpenPluginTakesTheNewParameters) {
    ASSERT_TRUE(Run("INSERT INTO plug.item VALUES (1, 'a')"));
    ASSERT_TRUE(manager_->Open("plugin", 2, platform_->Database(2)));
    ASSERT_TRUE(Run("CREATE TABLE plug.item (id INTEGER PRIMARY KEY, name TEXT)"));
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(SqlTest, WhatWasWrittenIsThereAfterClosingAndOpening) {
    ASSERT_TRUE(Run("INSERT INTO plug.item VALUES (1, 'a')"));
    ASSERT_TRUE(manager_->Finalize("plugin"));
    ASSERT_TRUE(manager_->Open("plugin", 1, platform_->Database(1)));
    EXPECT_THAT(Ids(), ElementsAre("1"));
}

TEST_F(SqlTest, StatementsFromManyThreadsWaitForAConnectionAndAllTakeEffect) {
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 6; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 20; ++i) {
                const int id = thread * 100 + i;
                if (!Run("INSERT INTO plug.item VALUES (" + std::to_string(id) + ", 'x')")) ++failed;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(Ids().size(), 120u);
}

TEST_F(SqlTest, NextIdsAreUniqueInTheDatabaseAlsoAfterItWasPointedElsewhereAndBack) {
    std::set<int64_t> ids;
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(ids.insert(manager_->GetNextID("")).second);
    ASSERT_TRUE(manager_->ResetDBParam("plugin", platform_->Database(2)));
    EXPECT_GT(manager_->GetNextID(""), 0);
    ASSERT_TRUE(manager_->ResetDBParam("plugin", platform_->Database(1)));
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(ids.insert(manager_->GetNextID("")).second);
    ASSERT_TRUE(manager_->Finalize("plugin"));
    ASSERT_TRUE(manager_->Open("plugin", 1, platform_->Database(1)));
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(ids.insert(manager_->GetNextID("")).second);
}

TEST_F(SqlTest, ForwardedCallsAreNotOffered) {
    qar::SDBForwardArg& arg = platform_->ForwardArg();
    EXPECT_FALSE(manager_->ForwardedCallA(arg, arg, 1));
    EXPECT_FALSE(manager_->ForwardedCallB(arg, 1, arg));
    EXPECT_EQ(manager_->ForwardedCallC(arg, 1, true).n_value, 0);
    EXPECT_FALSE(manager_->ForwardedCallD(arg, arg, arg, 1));
}

}  // namespace
}  // namespace platform_tests
