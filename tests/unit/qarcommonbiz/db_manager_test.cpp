// Plug-ins' database connections and their re-pointing.

#include <cstdio>
#include <stdexcept>
#include <thread>

#include "history_fixture.h"
#include "qarcommonbiz/DBManagerImpl.h"
#include "tests/support/other_thread.h"
#include "thread_watch.h"

namespace qar::history_test {
namespace {

using test_support::OtherThread;
using ::testing::_;
using ::testing::DoDefault;
using ::testing::Pointee;
using ::testing::Return;

const std::string kTopic = "Config_LocalConfigManager";

std::string PointerText(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

class DBManagerTest : public ::testing::Test {
protected:
    /// The lines but for the bus's own.
    std::string OwnLog() const {
        std::string text;
        for (const auto& line : platform.log.Lines()) {
            if (line.function.rfind("qar::CMessageBus", 0) == 0) continue;
            if (line.function.rfind("qar::CPluginMsgBusChange", 0) == 0) continue;
            EXPECT_EQ(line.function.rfind("qar::CDBManagerImpl::", 0), 0u) << line.text;
            text += std::to_string(line.level) + " " + line.module + " " + line.body + "\n";
        }
        return text;
    }
    static std::shared_ptr<IBusMsg> Message(int type) {
        return std::make_shared<CBusMsgCommon>(type, -1, 0, "{}", nullptr, 0);
    }
    static std::shared_ptr<ZELPlatform::CObserverParam> Change(int type) {
        auto content = std::make_shared<ZELPlatform::CObserverParam>();
        content->SetObserverMsgType(type);
        content->SetText("{\"ChangeType\":" + std::to_string(type) + "}");
        return content;
    }
    void SetConfig(const std::string& name) {
        auto info = std::make_shared<ZELPlatform::CLocalDBInfo>();
        info->SetValdbType(3);
        info->SetValdbIp("10.0.0.7");
        info->SetValdbPort(65535);
        info->SetValdbUser("usr");
        info->SetValdbPasswd("pass");
        info->SetValdbName(name);
        platform.local_config.fake.Set(info);
    }
    std::vector<std::string> Resets() const {
        std::vector<std::string> texts;
        for (const auto& [plugin, param] : platform.database.fake.Resets())
            texts.push_back(plugin + " " + param.dbName);
        return texts;
    }
    static const char* const kOk;
    const std::string kBegin = "3 QARCommon Process DBInfo change begin.\n\n";
    const std::string kEnd = "3 QARCommon Process DBInfo change end.\n\n";

    qarmock::Platform platform;
    CDBManagerImpl manager;
};
const char* const DBManagerTest::kOk = "3 QARCommon CDBManager SubscribeChangeMsg OK.\n\n";

// --- open and close --------------------------------------------------------------------------------------------------

TEST_F(DBManagerTest, FirstPluginOpensWithThePlatformsParametersAndSubscribes) {
    SetConfig("base");
    EXPECT_CALL(platform.bus, SubscribeObserverEx("qarcommon", kTopic, std::set<int>{1}, _, _)).Times(1);
    EXPECT_TRUE(manager.Initialize("p", 3, 4));
    const auto opens = platform.database.fake.Opens();
    ASSERT_EQ(opens.size(), 1u);
    EXPECT_EQ(opens[0].plugin, "p");
    EXPECT_EQ(opens[0].count, 7u);
    EXPECT_EQ(opens[0].param.dbType, 3u);
    EXPECT_EQ(opens[0].param.dbIp, "10.0.0.7");
    EXPECT_EQ(opens[0].param.dbPort, 65535);
    EXPECT_EQ(opens[0].param.dbUser, "usr");
    EXPECT_EQ(opens[0].param.dbPasswd, "pass");
    EXPECT_EQ(opens[0].param.dbName, "base");
    EXPECT_EQ(OwnLog(), kOk);
}

TEST_F(DBManagerTest, SecondPluginNeitherSubscribesNorTellsIt) {
    ASSERT_TRUE(manager.Initialize("p", 1, 1));
    platform.log.Clear();
    EXPECT_CALL(platform.bus, SubscribeObserverEx).Times(0);
    EXPECT_TRUE(manager.Initialize("q", 1, 1));
    EXPECT_EQ(OwnLog(), "");
}

TEST_F(DBManagerTest, WithoutParametersNothingIsOpened) {
    platform.local_config.fake.Set(nullptr);
    EXPECT_FALSE(manager.Initialize("p", 1, 1));
    EXPECT_EQ(OwnLog(), "5 QARCommon GetDBParam failed, get platform DB info failed, plugin[p]\n\n");
    EXPECT_THAT(platform.database.fake.Opens(), IsEmpty());
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
}

TEST_F(DBManagerTest, PluginThatCannotBeOpenedIsNotKeptAndNothingIsLogged) {
    SetConfig("away");
    platform.database.fake.FailOpen("away");
    EXPECT_FALSE(manager.Initialize("p", 1, 1));
    EXPECT_EQ(OwnLog(), "");
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
    manager.ObserverMsgCB(kTopic, Message(1));
    EXPECT_THAT(Resets(), IsEmpty());
}

TEST_F(DBManagerTest, RefusedSubscriptionDoesNotFailTheOpeningAndIsNotRetriedByTheNextPlugin) {
    EXPECT_CALL(platform.bus, SubscribeObserverEx).WillOnce(Return(false)).WillOnce(DoDefault());
    EXPECT_TRUE(manager.Initialize("p", 1, 1));
    EXPECT_EQ(OwnLog(), "3 QARCommon CDBManager SubscribeChangeMsg failed.\n\n");
    EXPECT_TRUE(manager.Initialize("q", 1, 1));
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
    EXPECT_TRUE(manager.Finalize("p"));
    EXPECT_TRUE(manager.Finalize("q"));
    platform.log.Clear();
    EXPECT_TRUE(manager.Initialize("p", 1, 1));  // empty in between: it tries afresh
    EXPECT_EQ(OwnLog(), kOk);
}

TEST_F(DBManagerTest, LastPluginThatClosesEndsTheSubscriptionAndTheNextRenewsIt) {
    ASSERT_TRUE(manager.Initialize("p", 1, 1));
    ASSERT_TRUE(manager.Initialize("q", 1, 1));
    platform.log.Clear();
    EXPECT_TRUE(manager.Finalize("p"));
    EXPECT_EQ(OwnLog(), "");
    EXPECT_EQ(platform.bus.fake.Subscriptions().size(), 1u);
    EXPECT_CALL(platform.bus, UnSubscribeObserverEx("qarcommon", kTopic, std::set<int>{})).Times(1);
    EXPECT_TRUE(manager.Finalize("q"));
    EXPECT_EQ(OwnLog(), "3 QARCommon CDBManager UnsubscribeChangeMsg OK.\n\n");
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
    platform.log.Clear();
    EXPECT_TRUE(manager.Initialize("q", 1, 1));
    EXPECT_EQ(OwnLog(), kOk);
    EXPECT_EQ(platform.bus.fake.Subscriptions().size(), 1u);
}

TEST_F(DBManagerTest, ResultOfTheUnsubscribeIsNotLookedAt) {
    ASSERT_TRUE(manager.Initialize("p", 1, 1));
    platform.log.Clear();
    EXPECT_CALL(platform.bus, UnSubscribeObserverEx).WillOnce(Return(false));
    EXPECT_TRUE(manager.Finalize("p"));
    EXPECT_EQ(OwnLog(), "3 QARCommon CDBManager UnsubscribeChangeMsg OK.\n\n");
}

TEST_F(DBManagerTest, ClosingThatIsRefusedLeavesThePluginInTheNextRepointing) {
    ASSERT_TRUE(manager.Initialize("p", 1, 1));
    platform.log.Clear();
    EXPECT_CALL(platform.database, Finalize("p")).WillOnce(Return(false));
    EXPECT_FALSE(manager.Finalize("p"));
    EXPECT_EQ(OwnLog(), "");
    EXPECT_EQ(platform.bus.fake.Subscriptions().size(), 1u);
    SetConfig("moved");
    EXPECT_EQ(platform.bus.fake.Deliver(kTopic, 1, Change(1)), 1u);
    EXPECT_THAT(Resets(), ElementsAre("p moved"));
}

// --- a change of the parameters --------------------------------------------------------------------------------------

TEST_F(DBManagerTest, ChangeRepointsEveryOpenPluginInOrderWithOneReading) {
    for (const char* plugin : {"q", "p", "r"}) ASSERT_TRUE(manager.Initialize(plugin, 1, 1));
    ASSERT_TRUE(manager.Finalize("r"));
    SetConfig("moved");
    platform.log.Clear();
    EXPECT_CALL(platform.local_config, GetLocationDBInfo).Times(1);
    EXPECT_CALL(platform.database, ResetDBParam("p", _))
        .WillOnce([this](const std::string& plugin, const SDBParam& param) {
            platform.database.fake.ResetDBParam(plugin, param);
            return false;  // one that fails costs the next nothing
        });
    EXPECT_CALL(platform.database, ResetDBParam("q", _)).Times(1);
    platform.bus.fake.Deliver(kTopic, 1, Change(1));
    EXPECT_THAT(Resets(), ElementsAre("p moved", "q moved"));
    EXPECT_EQ(OwnLog(), kBegin + kEnd);
}

TEST_F(DBManagerTest, ChangeOfAnotherTypeOrTopicIsSilentAndRepointsNothing) {
    ASSERT_TRUE(manager.Initialize("p", 1, 1));
    platform.log.Clear();
    manager.ObserverMsgCB(kTopic, Message(2));
    manager.ObserverMsgCB(kTopic, Message(-1));
    manager.ObserverMsgCB("Other", Message(1));
    CDBManagerImpl::ProcChangeMsgCBFunc(kTopic, Message(0), &manager);
    EXPECT_EQ(OwnLog(), "");
    EXPECT_THAT(Resets(), IsEmpty());
}

TEST_F(DBManagerTest, OpeningAndClosingWaitForARepointing) {
    for (const char* plugin : {"p", "q"}) ASSERT_TRUE(manager.Initialize(plugin, 1, 1));
    std::vector<std::unique_ptr<OtherThread>> others;
    EXPECT_CALL(platform.database, ResetDBParam("q", _));
    EXPECT_CALL(platform.database, ResetDBParam("p", _)).WillOnce([&](const auto&...) {
        others.push_back(std::make_unique<OtherThread>([this] { manager.Initialize("r", 1, 1); }));
        others.push_back(std::make_unique<OtherThread>([this] { manager.Finalize("q"); }));
        for (const auto& other : others) EXPECT_TRUE(other->Waits());
        return true;
    });
    manager.ObserverMsgCB(kTopic, Message(1));
}

TEST_F(DBManagerTest, ChangeWithoutParametersTouchesNoPlugin) {
    ASSERT_TRUE(manager.Initialize("p", 1, 1));
    platform.local_config.fake.Set(nullptr);
    platform.log.Clear();
    manager.ObserverMsgCB(kTopic, Message(1));
    EXPECT_EQ(OwnLog(), kBegin + "5 QARCommon GetDBParam failed when ObserverMsgCB of DBInfo.\n\n");
    EXPECT_THAT(Resets(), IsEmpty());
}

TEST_F(DBManagerTest, CallbackWithoutMessageOrManagerAndOfAnotherTopicIsTold) {
    CDBManagerImpl::ProcChangeMsgCBFunc(kTopic, nullptr, &manager);
    CDBManagerImpl::ProcChangeMsgCBFunc(kTopic, Message(1), nullptr);
    CDBManagerImpl::ProcChangeMsgCBFunc("Other", Message(1), &manager);
    manager.ObserverMsgCB(kTopic, nullptr);
    EXPECT_EQ(OwnLog(),
              "5 QARCommon Recv Observer[Config_LocalConfigManager], ptr_bus_msg[0] or user_data[" +
                  PointerText(&manager) +
                  "] is null.\n"
                  "5 QARCommon Recv Observer[Config_LocalConfigManager], ptr_bus_msg[1] or user_data[(nil)] is "
                  "null.\n"
                  "5 QARCommon Recv Observer[Other], user_data[" +
                  PointerText(&manager) +
                  "], no handler function matched.\n"
                  "6 QARCommon ObserverMsgCB msg is null, observer[Config_LocalConfigManager]\n\n");
}

TEST_F(DBManagerTest, RepointingOfOnePluginGivesTheDatabasesAnswer) {
    SetConfig("base");
    EXPECT_CALL(platform.database, ResetDBParam("p", _)).WillOnce(Return(true)).WillOnce(Return(false));
    EXPECT_TRUE(manager.ResetDBParam("p"));  // not tested against the open plug-ins
    EXPECT_FALSE(manager.ResetDBParam("p"));
    EXPECT_EQ(OwnLog(), "");
    platform.local_config.fake.Set(nullptr);
    EXPECT_FALSE(manager.ResetDBParam("p"));
    EXPECT_EQ(OwnLog(), "5 QARCommon GetDBParam failed when ResetDBParam, plugin[p].\n\n");
}

// --- pass-through ----------------------------------------------------------------------------------------------------

TEST_F(DBManagerTest, EveryConnectionTypeButTwoCountsAsOne) {
    const auto fn = [](db_layer::CConnect*) {};
    SDBForwardArg a;
    SDBForwardArg b;
    SDBForwardArg c;
    const unsigned int timeout = 9;
    for (const auto& [given, passed] :
         {std::pair(0u, 1u), std::pair(1u, 1u), std::pair(2u, 2u), std::pair(3u, 1u), std::pair(0xFFFFFFFFu, 1u)}) {
        for (const bool answer : {true, false}) {
            EXPECT_CALL(platform.database, ForwardedCallA(::testing::Ref(a), ::testing::Ref(b), passed))
                .WillOnce(Return(answer));
            EXPECT_EQ(manager.ForwardedCallA(a, b, given), answer);
            EXPECT_CALL(platform.database, ExecuteQuery("p", passed, "sql", _)).WillOnce(Return(answer));
            EXPECT_EQ(manager.ExecuteQuery("p", given, "sql", fn), answer);
            EXPECT_CALL(platform.database, Execute("p", passed, "sql")).WillOnce(Return(answer));
            EXPECT_EQ(manager.Execute("p", given, "sql"), answer);
            EXPECT_CALL(platform.database, ForwardedCallB(::testing::Ref(a), passed, ::testing::Ref(b)))
                .WillOnce(Return(answer));
            EXPECT_EQ(manager.ForwardedCallB(a, given, b), answer);
            SDBForwardResult result;
            result.n_value = 41;
            EXPECT_CALL(platform.database, ForwardedCallC(::testing::Ref(a), passed, answer)).WillOnce(Return(result));
            EXPECT_EQ(manager.ForwardedCallC(a, given, answer).n_value, 41);
            EXPECT_CALL(platform.database, ExecuteQueryUDT("p", passed, "sql", _, -7)).WillOnce(Return(answer));
            EXPECT_EQ(manager.ExecuteQueryUDT("p", given, "sql", fn, -7), answer);
            EXPECT_CALL(platform.database, ExecuteSortByCollate("p", passed, "sql", _, "c")).WillOnce(Return(answer));
            EXPECT_EQ(manager.ExecuteSortByCollate("p", given, "sql", fn, "c"), answer);
            EXPECT_CALL(platform.database,
                        ForwardedCallD(::testing::Ref(a), ::testing::Ref(b), ::testing::Ref(c), passed))
                .WillOnce(Return(answer));
            EXPECT_EQ(manager.ForwardedCallD(a, b, c, given), answer);
            EXPECT_CALL(platform.database, ExecuteSortByCollateUDT("p", passed, "sql", _, "c", Pointee(9u)))
                .WillOnce([&](auto&&, auto, auto&&, auto&&, auto&&, const unsigned int* passed_timeout) {
                    EXPECT_NE(passed_timeout, &timeout);  // a copy
                    return answer;
                });
            EXPECT_EQ(manager.ExecuteSortByCollateUDT("p", given, "sql", fn, "c", &timeout), answer);
        }
    }
    EXPECT_EQ(OwnLog(), "");
}

TEST_F(DBManagerTest, ResultFunctionGetsTheConnectionWithTheRows) {
    platform.database.fake.Answer("SELECT", HistoryRows({{"101", "1", "x", "0", "1"}}));
    int calls = 0;
    EXPECT_TRUE(manager.ExecuteQuery("never opened", 1, "SELECT 1", [&](db_layer::CConnect* connect) {
        ++calls;
        ASSERT_FALSE(connect->IsEnd());
        EXPECT_EQ(connect->GetInt("camera_id"), 101);
    }));
    EXPECT_EQ(calls, 1);
}

/// The four queries, each with its result function.
class ResultFunctionTest : public DBManagerTest, public ::testing::WithParamInterface<const char*> {
protected:
    bool Query(const IDBManager::ResultFunc& fn) {
        const std::string operation = GetParam();
        const unsigned int timeout = 5;
        if (operation == "ExecuteQuery") return manager.ExecuteQuery("p", 1, "SELECT 1", fn);
        if (operation == "ExecuteQueryUDT") return manager.ExecuteQueryUDT("p", 1, "SELECT 1", fn, 5);
        if (operation == "ExecuteSortByCollate") return manager.ExecuteSortByCollate("p", 1, "SELECT 1", fn, "c");
        return manager.ExecuteSortByCollateUDT("p", 1, "SELECT 1", fn, "c", &timeout);
    }
};

TEST_P(ResultFunctionTest, RunsOnceOnTheCallersThreadBeforeTheCallReturns) {
    std::vector<std::thread::id> threads;
    EXPECT_TRUE(Query([&](db_layer::CConnect*) { threads.push_back(std::this_thread::get_id()); }));
    EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id()));
}

TEST_P(ResultFunctionTest, IsNotCalledWhenTheQueryFails) {
    platform.database.fake.FailNext("SELECT 1");
    EXPECT_FALSE(Query([](db_layer::CConnect*) { ADD_FAILURE(); }));
}

TEST_P(ResultFunctionTest, WhatItThrowsReachesTheCaller) {
    EXPECT_THROW(Query([](db_layer::CConnect*) { throw std::runtime_error("own fault"); }), std::runtime_error);
    int calls = 0;
    EXPECT_TRUE(Query([&](db_layer::CConnect*) { ++calls; })) << "and the next query is as ever";
    EXPECT_EQ(calls, 1);
}

TEST_P(ResultFunctionTest, MayCallAnyOperation) {
    ASSERT_TRUE(manager.Initialize("p", 1, 1));
    int inner = 0;
    RunWatched("query", [&] {
        EXPECT_TRUE(Query([&](db_layer::CConnect*) {
            EXPECT_TRUE(manager.Initialize("q", 1, 1));
            EXPECT_TRUE(manager.Initialize("p", 1, 1));
            EXPECT_TRUE(manager.Execute("p", 1, "UPDATE 1"));
            EXPECT_GT(manager.GetNextID(""), 0);
            EXPECT_TRUE(manager.ResetDBParam("p"));
            EXPECT_TRUE(Query([&](db_layer::CConnect*) { ++inner; }));
            platform.bus.fake.Deliver(kTopic, 1, Change(1));
            EXPECT_TRUE(manager.Finalize("p"));
            EXPECT_TRUE(manager.Finalize("q"));
        }));
    });
    EXPECT_EQ(inner, 1);
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
}

TEST_P(ResultFunctionTest, HoldsUpNoOtherThreadWhileItRuns) {
    ASSERT_TRUE(manager.Initialize("p", 1, 1));
    EXPECT_TRUE(Query([&](db_layer::CConnect*) {
        RunWatched("other thread", [&] {
            EXPECT_TRUE(manager.Initialize("q", 1, 1));
            EXPECT_TRUE(Query([](db_layer::CConnect*) {}));
            platform.bus.fake.Deliver(kTopic, 1, Change(1));
            EXPECT_TRUE(manager.Finalize("q"));
            EXPECT_TRUE(manager.Finalize("p"));
        });
    }));
}

INSTANTIATE_TEST_SUITE_P(EveryQuery, ResultFunctionTest,
                         ::testing::Values("ExecuteQuery", "ExecuteQueryUDT", "ExecuteSortByCollate",
                                           "ExecuteSortByCollateUDT"),
                         [](const auto& param) { return std::string(param.param); });

// The database opens anew between the two steps of the closing.
TEST_F(DBManagerTest, InitializeThatOverlapsAFinalizeLeavesThePluginOpenWithoutFollowingChanges) {
    ASSERT_TRUE(manager.Initialize("p", 1, 1));
    ON_CALL(platform.database, Finalize).WillByDefault([this](const std::string& plugin) {
        const bool result = platform.database.fake.Finalize(plugin);
        RunWatched("Initialize", [&] { EXPECT_TRUE(manager.Initialize(plugin, 1, 1)); });
        return result;
    });
    ASSERT_TRUE(manager.Finalize("p"));
    EXPECT_EQ(platform.database.fake.Opened().count("p"), 1u);
    SetConfig("moved");
    platform.bus.fake.Deliver(kTopic, 1, Change(1));
    EXPECT_THAT(Resets(), IsEmpty());
}

TEST_F(DBManagerTest, NextIdIsPassedOn) {
    EXPECT_CALL(platform.database, GetNextID("name")).WillOnce(Return(INT64_MAX));
    EXPECT_EQ(manager.GetNextID("name"), INT64_MAX);
}

TEST_F(DBManagerTest, OneObjectServesTheProcess) { EXPECT_EQ(IDBManager::Instance(), IDBManager::Instance()); }

}  // namespace
}  // namespace qar::history_test
