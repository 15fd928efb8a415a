// What a test can do with the mock platform beside what every platform does.
#include <memory>
#include <string>

#include "LogSink.h"
#include "ZELPlatform/MsgBus.h"
#include "ZELPlatform/TimeZone.h"
#include "mock/Platform.h"
#include "qarutil/SecureMemory.h"

namespace {

using qarmock::Line;
using qarmock::LineIn;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Return;

class MockPlatformTest : public ::testing::Test {
protected:
    qarmock::Platform platform_;
};

TEST_F(MockPlatformTest, LogLineIsSplitIntoFunctionBodyFileAndNumber) {
    LogSinkWrite(5, "QARCommon", "[%s]no register plugin_id = %s\n[%s(%d)]", "qar::C::F", "p[1](2)", "src/a.cpp", 12);
    ASSERT_EQ(platform_.log.Lines().size(), 1u);
    const qarmock::LogLine line = platform_.log.Lines()[0];
    EXPECT_EQ(line.level, 5);
    EXPECT_EQ(line.module, "QARCommon");
    EXPECT_EQ(line.format, "[%s]no register plugin_id = %s\n[%s(%d)]");
    EXPECT_EQ(line.text, "[qar::C::F]no register plugin_id = p[1](2)\n[src/a.cpp(12)]");
    EXPECT_EQ(line.function, "qar::C::F");
    EXPECT_EQ(line.body, "no register plugin_id = p[1](2)\n");
    EXPECT_EQ(line.file, "src/a.cpp");
    EXPECT_EQ(line.line, 12);
}

TEST_F(MockPlatformTest, LogLineOfAnotherFormIsItsOwnBody) {
    LogSinkWrite(2, "QarUtilsPerf", "[%4d][%s]:%s %lld ms\n", 55, "f", "name", 3LL);
    EXPECT_THAT(platform_.log.Lines(), ElementsAre(Line(2, "QarUtilsPerf", "[  55][f]:name 3 ms\n")));
}

TEST_F(MockPlatformTest, LogLinesMatchByEachOfTheirParts) {
    LogSinkWrite(3, "QARCommon", "[%s]text[%s(%d)]", "qar::F", "a.cpp", 1);
    const qarmock::LogLine line = platform_.log.Lines()[0];
    EXPECT_THAT(line, Line(3, "QARCommon", "text"));
    EXPECT_THAT(line, Line(_, _, HasSubstr("ex")));
    EXPECT_THAT(line, LineIn("qar::F", 3, "QARCommon", "text"));
    EXPECT_THAT(line, Not(Line(4, "QARCommon", "text")));
    EXPECT_THAT(line, Not(Line(3, "QARCommonMsg", "text")));
    EXPECT_THAT(line, Not(Line(3, "QARCommon", "text ")));
    EXPECT_THAT(line, Not(LineIn("qar::G", 3, "QARCommon", "text")));
}

TEST_F(MockPlatformTest, LogIsSiftedByLevelAndModuleAndCleared) {
    LogSinkWrite(2, "QARCommon", "first");
    LogSinkWrite(5, "QARCommonMsg", "second");
    EXPECT_EQ(platform_.log.Text(), "2 QARCommon first\n5 QARCommonMsg second\n");
    EXPECT_THAT(platform_.log.LinesFrom(3), ElementsAre(Line(5, _, "second")));
    EXPECT_THAT(platform_.log.LinesOf("QARCommon"), ElementsAre(Line(2, _, "first")));
    platform_.log.Clear();
    EXPECT_THAT(platform_.log.Lines(), IsEmpty());
}

TEST_F(MockPlatformTest, CallOfThePlatformMayBeExpectedAndAnsweredOtherwise) {
    EXPECT_CALL(platform_.bus, RegistObserver("topic")).WillOnce(Return(false));
    EXPECT_FALSE(ZELPlatform::MsgBus::RegistObserver("topic"));
    EXPECT_THAT(platform_.bus.fake.Topics(), IsEmpty());
}

void CountCall(const std::string&, int, const std::shared_ptr<ZELPlatform::CBaseContent>&, void* user_data) {
    ++*static_cast<int*>(user_data);
}

void Throw(const std::string&, int, const std::shared_ptr<ZELPlatform::CBaseContent>&, void*) {
    throw std::runtime_error("on purpose");
}

TEST_F(MockPlatformTest, MessageSentWaitsForTheTestAndReachesWhoWasSubscribedThen) {
    int early = 0;
    int late = 0;
    ZELPlatform::MsgBus::RegistObserver("topic");
    ZELPlatform::MsgBus::SubscribeObserverEx("early", "topic", {}, CountCall, &early);
    ZELPlatform::MsgBus::NotifyObserverEventEx("topic", 1, nullptr, ZELPlatform::kObserverTask0);
    ZELPlatform::MsgBus::UnSubscribeObserverEx("early", "topic", {});
    ZELPlatform::MsgBus::SubscribeObserverEx("late", "topic", {}, CountCall, &late);
    EXPECT_EQ(early, 0);
    EXPECT_EQ(platform_.bus.fake.DeliverAll(), 1u);
    EXPECT_EQ(early, 1);
    EXPECT_EQ(late, 0);
    ASSERT_EQ(platform_.bus.fake.Sent().size(), 1u);
    EXPECT_EQ(platform_.bus.fake.Sent()[0].task_type, ZELPlatform::kObserverTask0);
}

TEST_F(MockPlatformTest, MessageIsDeliveredByHandAndWhatACallbackThrowsIsKept) {
    int calls = 0;
    ZELPlatform::MsgBus::SubscribeObserverEx("throwing", "topic", {1}, Throw, nullptr);
    ZELPlatform::MsgBus::SubscribeObserverEx("counting", "topic", {1}, CountCall, &calls);
    EXPECT_EQ(platform_.bus.fake.Deliver("topic", 1, nullptr), 2u);
    EXPECT_EQ(platform_.bus.fake.Deliver("topic", 2, nullptr), 0u);
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(platform_.bus.fake.CaughtExceptions(), ElementsAre("on purpose"));
    EXPECT_EQ(platform_.bus.fake.Subscriptions().size(), 2u);
}

class CountTask : public Mox::Base::CTask {
public:
    explicit CountTask(int& count) : count_(count) {}
    void Exec() override { ++count_; }

private:
    int& count_;
};

TEST_F(MockPlatformTest, TasksWaitForTheTestAndCallsOfAPoolAreKept) {
    int count = 0;
    Mox::Base::CMessageLoopDyThreadPool pool;
    pool.Start(3, 7, 5);
    pool.PostTask(std::make_shared<CountTask>(count));
    pool.PostTask(std::make_shared<CountTask>(count));
    ASSERT_EQ(qarmock::Pools().size(), 1u);
    const auto fake = qarmock::Pools()[0];
    EXPECT_EQ(fake->Queued(), 2u);
    EXPECT_TRUE(fake->RunOne());
    EXPECT_EQ(count, 1);
    EXPECT_EQ(platform_.pools.RunAll(), 1u);
    EXPECT_FALSE(fake->RunOne());
    pool.Stop(false);
    ASSERT_EQ(fake->Starts().size(), 1u);
    EXPECT_EQ(fake->Starts()[0].min_threads, 3);
    EXPECT_EQ(fake->Starts()[0].max_threads, 7);
    EXPECT_EQ(fake->Starts()[0].idle_seconds, 5);
    EXPECT_THAT(fake->Stops(), ElementsAre(false));
    EXPECT_EQ(fake->Posted(), 2u);
}

TEST_F(MockPlatformTest, PoolsCountAndTheirStartsFailureMayBeSetBeforeTheyAreMade) {
    platform_.pools.SetWorkTaskCount(5001);
    platform_.pools.SetStartFails(true);
    Mox::Base::CMessageLoopDyThreadPool pool;
    EXPECT_EQ(pool.GetWorkTaskCount(), 5001);
    EXPECT_FALSE(pool.Start(3, 7, 5));
    platform_.pools.SetWorkTaskCount(std::nullopt);
    platform_.pools.SetStartFails(false);
    EXPECT_EQ(pool.GetWorkTaskCount(), 0);
    EXPECT_TRUE(pool.Start(3, 7, 5));
}

TEST_F(MockPlatformTest, TimerTicksWhenToldAlsoWithACountOfTheTestsChoice) {
    std::vector<unsigned long long> ticks;
    auto* timers = qar::IThreadManager::Instance();
    timers->NewTimer(
        "timer", 60000, [&ticks](unsigned long long n_tick) { ticks.push_back(n_tick); }, 0);
    EXPECT_TRUE(platform_.timers.fake.Tick("timer"));
    EXPECT_TRUE(platform_.timers.fake.Tick("timer", 25));
    EXPECT_TRUE(platform_.timers.fake.Tick("timer"));
    EXPECT_FALSE(platform_.timers.fake.Tick("absent"));
    EXPECT_THAT(ticks, ElementsAre(1, 25, 26));
    timers->DelTimer("timer");
    EXPECT_FALSE(platform_.timers.fake.Tick("timer"));
    EXPECT_THAT(platform_.timers.fake.Deleted(), ElementsAre("timer"));
    ASSERT_EQ(platform_.timers.fake.Started().size(), 1u);
    EXPECT_EQ(platform_.timers.fake.Started()[0].interval_ms, 60000u);
}

TEST_F(MockPlatformTest, StatementsAreKeptAnsweredAndFailAsTold) {
    auto* database = qar::IDBManagerPure::Instance();
    platform_.database.fake.Answer("FROM t", {{"id", "name"}, {{1, "one"}, {2, nullptr}}});
    platform_.database.fake.FailNext("INSERT");
    EXPECT_FALSE(database->Execute("p", 1, "INSERT INTO t"));
    EXPECT_TRUE(database->Execute("p", 2, "INSERT INTO t"));
    std::vector<std::string> names;
    EXPECT_TRUE(database->ExecuteQuery("p", 1, "SELECT * FROM t", [&names](db_layer::CConnect* connect) {
        for (; !connect->IsEnd(); connect->MoveNext()) names.push_back(connect->GetString("NAME"));
    }));
    EXPECT_THAT(names, ElementsAre("one", ""));
    EXPECT_THAT(platform_.database.fake.Sqls(), ElementsAre("INSERT INTO t", "INSERT INTO t", "SELECT * FROM t"));
    const auto statements = platform_.database.fake.Statements();
    EXPECT_FALSE(statements[0].ok);
    EXPECT_TRUE(statements[1].ok);
    EXPECT_EQ(statements[1].conn_type, 2u);
    EXPECT_EQ(statements[2].operation, "ExecuteQuery");

    platform_.database.fake.FailAll("");
    EXPECT_FALSE(database->Execute("p", 1, "UPDATE t"));
    EXPECT_FALSE(database->Execute("p", 1, "UPDATE t"));
    platform_.database.fake.ClearFailures();
    EXPECT_TRUE(database->Execute("p", 1, "UPDATE t"));
    platform_.database.fake.SetNextId(100);
    EXPECT_EQ(database->GetNextID("a"), 100);
    EXPECT_EQ(database->GetNextID(""), 101);
    EXPECT_THAT(platform_.database.fake.NextIdNames(), ElementsAre("a", ""));
}

TEST_F(MockPlatformTest, CameraIsAddedInOneLineAndItsClockIsSet) {
    const auto set = platform_.site.AddCamera(101, 1);
    EXPECT_EQ(set.element->physical_id, 101u);
    platform_.time_zone.fake.SetClock(1, "2024-03-01 08:00:00", 28800);
    ZELPlatform::TimeZone::CTimeZoneDeviceKey key;
    key.SetDeviceId(1);
    key.SetDeviceType(2001);
    std::string local;
    std::string utc;
    int offset = 0;
    EXPECT_TRUE(ZELPlatform::TimeZone::GetDeviceTimeEx(local, utc, offset, key, -1));
    EXPECT_EQ(local, "2024-03-01 08:00:00");
    EXPECT_EQ(utc, "2024-03-01 00:00:00");
    EXPECT_EQ(offset, 28800);
    platform_.time_zone.fake.ForgetClock(1);
    EXPECT_FALSE(ZELPlatform::TimeZone::GetDeviceTimeEx(local, utc, offset, key, -1));

    auto* manager = Mox::Base::CSingleton<tuk::CDeviceManager>::Instance();
    platform_.site.Device(1)->online = false;
    EXPECT_FALSE(manager->FindDeviceByID(1, 2001)->IsOnline());
    platform_.site.RemoveDevice(1);
    EXPECT_EQ(manager->FindDeviceByID(1, 2001), nullptr);
    ASSERT_NE(manager->FindChannelByID(101, 1001), nullptr);
    platform_.site.RemoveCamera(101);
    EXPECT_EQ(manager->FindChannelByID(101, 1001), nullptr);
}

TEST_F(MockPlatformTest, ChannelWhoseDeviceIsGoneHasNone) {
    const auto set = platform_.site.AddCamera(101, 1);
    EXPECT_EQ(set.camera->GetDevicePtr(), set.device);
    platform_.site.RemoveDevice(1);
    EXPECT_EQ(set.camera->GetDevicePtr(), nullptr);
}

TEST_F(MockPlatformTest, MemoryCallsAreKept) {
    char block[4];
    qarutil::memset_s(block, sizeof(block), 0, 4);
    qarutil::memcpy_s(block, sizeof(block), "abcdef", 6);
    const auto calls = platform_.memory.All();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].function, "memset_s");
    EXPECT_EQ(calls[0].dest, block);
    EXPECT_EQ(calls[1].count, 6u);
    EXPECT_NE(calls[1].result, 0);
}

TEST(MockPlatformLifeTest, OnePlatformFollowsAnotherAndStartsAfresh) {
    Mox::Base::CMessageLoopDyThreadPool pool;
    {
        qarmock::Platform first;
        LogSinkWrite(3, "QARCommon", "first");
        pool.Start(1, 1, 1);
        first.pools.SetWorkTaskCount(9);
        ZELPlatform::MsgBus::RegistObserver("topic");
    }
    LogSinkWrite(3, "QARCommon", "lost");
    qarmock::Platform second;
    EXPECT_THAT(second.log.Lines(), IsEmpty());
    EXPECT_THAT(second.bus.fake.Topics(), IsEmpty());
    EXPECT_EQ(pool.GetWorkTaskCount(), 0);
    ASSERT_EQ(second.pools.All().size(), 1u);
    EXPECT_FALSE(second.pools.All()[0]->Running());
}

TEST(MockPlatformLifeDeathTest, CallWithoutAPlatformEndsTheProcessWithAMessage) {
    EXPECT_DEATH(ZELPlatform::MsgBus::RegistObserver("topic"), "mock platform: none stands");
}

}  // namespace
