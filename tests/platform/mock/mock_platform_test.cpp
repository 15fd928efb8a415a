// What a test can do with the mock platform beside what every platform does.
#include <climits>
#include <memory>
#include <string>

#include "LogSink.h"
#include "Mox/Base/TimeUtil.h"
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

TEST_F(MockPlatformTest, CallsAreCountedByOperationAndAChosenOneFails) {
    platform_.database.fake.Answer("SELECT", {{"id", "name"}, {{7, "seven"}}});
    platform_.calls.Fail("MsgBus::RegistObserver", 2);
    platform_.calls.Fail("IDBManagerPure::Execute", 1);
    platform_.calls.Fail("CConnect::GetInt id", 1);
    EXPECT_TRUE(ZELPlatform::MsgBus::RegistObserver("first"));
    EXPECT_FALSE(ZELPlatform::MsgBus::RegistObserver("second"));
    EXPECT_TRUE(ZELPlatform::MsgBus::RegistObserver("third"));
    EXPECT_THAT(platform_.bus.fake.Topics(), ElementsAre("first", "third"));
    auto* database = qar::IDBManagerPure::Instance();
    EXPECT_FALSE(database->Execute("p", 1, "INSERT"));
    EXPECT_TRUE(database->Execute("p", 1, "INSERT"));
    EXPECT_FALSE(platform_.database.fake.Statements()[0].ok);
    EXPECT_TRUE(platform_.database.fake.Statements()[1].ok);
    EXPECT_TRUE(database->ExecuteQuery("p", 1, "SELECT", [](db_layer::CConnect* connect) {
        EXPECT_EQ(connect->GetInt("id"), 0);
        EXPECT_EQ(connect->GetInt("id"), 7);
        EXPECT_EQ(connect->GetString("name"), "seven");
    }));
    EXPECT_THAT(platform_.calls.Made(),
                ElementsAre("MsgBus::RegistObserver 1", "MsgBus::RegistObserver 2", "MsgBus::RegistObserver 3",
                            "IDBManagerPure::Execute 1", "IDBManagerPure::Execute 2", "IDBManagerPure::ExecuteQuery 1",
                            "CConnect::GetInt id 1", "CConnect::GetInt id 2", "CConnect::GetString name 1"));
    platform_.calls.Fail("MsgBus::RegistObserver", 1);
    platform_.calls.Clear();
    EXPECT_TRUE(ZELPlatform::MsgBus::RegistObserver("fourth"));
    EXPECT_THAT(platform_.calls.Made(), ElementsAre("MsgBus::RegistObserver 1"));
}

class FailingCallTest : public MockPlatformTest {
protected:
    void FailFirst(const char* operation) {
        platform_.calls.Clear();
        platform_.calls.Fail(operation, 1);
    }
};

TEST_F(FailingCallTest, BusRefusesAndKeepsWhatItHas) {
    using namespace ZELPlatform::MsgBus;
    const ChangeMsgNotifyFunc plain =
        CObserverFunction([](const std::string&, const std::shared_ptr<ZELPlatform::CBaseContent>&) {});
    FailFirst("MsgBus::SubscribeObserver");
    EXPECT_FALSE(SubscribeObserver("topic", "p", plain));
    ASSERT_TRUE(SubscribeObserver("topic", "p", plain));
    FailFirst("MsgBus::UnSubscribeObserver");
    EXPECT_FALSE(UnSubscribeObserver("topic", plain));
    EXPECT_EQ(platform_.bus.fake.PlainSubscriptions("topic"), 1u);
    int calls = 0;
    FailFirst("MsgBus::SubscribeObserverEx");
    EXPECT_FALSE(SubscribeObserverEx("p", "topic", {}, CountCall, &calls));
    ASSERT_TRUE(SubscribeObserverEx("p", "topic", {}, CountCall, &calls));
    FailFirst("MsgBus::UnSubscribeObserverEx");
    EXPECT_FALSE(UnSubscribeObserverEx("p", "topic", {}));
    EXPECT_EQ(platform_.bus.fake.Subscriptions().size(), 1u);
    ASSERT_TRUE(RegistObserver("topic"));
    FailFirst("MsgBus::NotifyObserverEventEx");
    EXPECT_FALSE(NotifyObserverEventEx("topic", 1, nullptr, ZELPlatform::kObserverTask0));
    EXPECT_THAT(platform_.bus.fake.Sent(), IsEmpty());
}

TEST_F(FailingCallTest, ConfigurationAndTimesAreNotToBeHad) {
    using namespace ZELPlatform::TimeZone;
    platform_.site.AddDevice(1);
    platform_.time_zone.fake.SetClock(1, "2024-03-01 08:00:00", 28800);
    platform_.time_zone.fake.SetZone(1, qarmock::FakeTimeZone::MakeZone("zone", -480));
    FailFirst("LocalConfigManager::GetLocationDBInfo");
    EXPECT_EQ(ZELPlatform::LocalConfigManager::GetLocationDBInfo(), nullptr);

    CTimeZoneDeviceKey key;
    key.SetDeviceId(1);
    key.SetDeviceType(2001);
    std::string local = "as it was";
    std::string utc;
    int offset = 5;
    FailFirst("TimeZone::GetDeviceTime");
    GetDeviceTime(local, utc, offset, key, -1);
    FailFirst("TimeZone::GetDeviceTimeEx");
    EXPECT_FALSE(GetDeviceTimeEx(local, utc, offset, key, -1));
    FailFirst("TimeUtil::TimeT2LocalTime");
    Mox::Base::TimeUtil::TimeT2LocalTime(local, offset, 0);
    EXPECT_EQ(local, "as it was");
    EXPECT_EQ(offset, 5);
    FailFirst("TimeUtil::TimeT2LocalTimeStrISO");
    EXPECT_EQ(Mox::Base::TimeUtil::TimeT2LocalTimeStrISO(0), "");
    FailFirst("TimeUtil::TimeDifference2Str 0");
    EXPECT_EQ(Mox::Base::TimeUtil::TimeDifference2Str(0), "");
    std::shared_ptr<CTimeZoneInfo> zone;
    FailFirst("TimeZone::GetDeviceTimeZone");
    GetDeviceTimeZone(zone, key);
    EXPECT_EQ(zone, nullptr);
    GetDeviceTimeZone(zone, key);
    ASSERT_NE(zone, nullptr);
    FailFirst("TimeZone::GetDevISOTimeByUTCTime");
    EXPECT_FALSE(GetDevISOTimeByUTCTime(local, 0, zone));
}

TEST_F(FailingCallTest, DevicesAreNotFoundAndNotInOrder) {
    platform_.site.AddCamera(101, 1);
    const auto camera = platform_.site.Camera(101);
    const auto device = platform_.site.Device(1);
    std::map<unsigned int, std::shared_ptr<ZELPlatform::Resources::CElementInterface>> elements;
    FailFirst("Resources::GetCurrentNodeAllElementsByType");
    ZELPlatform::Resources::GetCurrentNodeAllElementsByType(elements, 1001);
    EXPECT_TRUE(elements.empty());
    auto* manager = Mox::Base::CSingleton<tuk::CDeviceManager>::Instance();
    std::vector<std::shared_ptr<tuk::CDevice>> devices;
    FailFirst("CDeviceManager::GetAllDevices");
    manager->GetAllDevices(devices, 2001);
    EXPECT_TRUE(devices.empty());
    FailFirst("CDeviceManager::FindDeviceByID");
    EXPECT_EQ(manager->FindDeviceByID(1, 2001), nullptr);
    FailFirst("CDeviceManager::FindDeviceByGuid");
    EXPECT_EQ(manager->FindDeviceByGuid(device->guid), nullptr);
    FailFirst("CDeviceManager::FindChannelByID");
    EXPECT_EQ(manager->FindChannelByID(101, 1001), nullptr);
    FailFirst("IDevice::IsOnline");
    EXPECT_FALSE(device->IsOnline());
    FailFirst("IDevice::GetGuardStatus");
    EXPECT_FALSE(device->GetGuardStatus());
    std::vector<std::shared_ptr<tuk::CChannel>> channels;
    FailFirst("IDevice::GetChannels");
    device->GetChannels(channels, 1001);
    EXPECT_TRUE(channels.empty());
    FailFirst("CChannel::IsOnline");
    EXPECT_FALSE(camera->IsOnline());
    FailFirst("CChannel::GetDevicePtr");
    EXPECT_EQ(camera->GetDevicePtr(), nullptr);
}

TEST_F(FailingCallTest, DatabaseRefusesAndStaysWhereItIs) {
    auto* database = qar::IDBManagerPure::Instance();
    qar::SDBParam param;
    param.dbName = "moved";
    FailFirst("IDBManagerPure::Open");
    EXPECT_FALSE(database->Open("p", 1, param));
    ASSERT_TRUE(database->Open("p", 1, qar::SDBParam()));
    FailFirst("IDBManagerPure::ResetDBParam");
    EXPECT_FALSE(database->ResetDBParam("p", param));
    EXPECT_EQ(platform_.database.fake.Opened().at("p").dbName, "");
    FailFirst("IDBManagerPure::Finalize");
    EXPECT_FALSE(database->Finalize("p"));
    EXPECT_EQ(platform_.database.fake.Opened().size(), 1u);
    FailFirst("IDBManagerPure::GetNextID");
    EXPECT_EQ(database->GetNextID(""), 0);
    EXPECT_EQ(database->GetNextID(""), 1);
    int results = 0;
    const auto count = [&results](db_layer::CConnect*) { ++results; };
    FailFirst("IDBManagerPure::ExecuteQuery");
    EXPECT_FALSE(database->ExecuteQuery("p", 1, "SELECT", count));
    FailFirst("IDBManagerPure::ExecuteQueryUDT");
    EXPECT_FALSE(database->ExecuteQueryUDT("p", 1, "SELECT", count, 0));
    EXPECT_EQ(results, 0);
    platform_.database.fake.Answer("SELECT", {{"name"}, {{"one"}, {"two"}}});
    FailFirst("CConnect::IsEnd");
    platform_.calls.Fail("CConnect::MoveNext", 1);
    platform_.calls.Fail("CConnect::GetString name", 2);
    EXPECT_TRUE(database->ExecuteQuery("p", 1, "SELECT", [](db_layer::CConnect* connect) {
        EXPECT_TRUE(connect->IsEnd());
        EXPECT_FALSE(connect->IsEnd());
        connect->MoveNext();
        EXPECT_EQ(connect->GetString("name"), "one");
        EXPECT_EQ(connect->GetString("name"), "");
        connect->MoveNext();
        EXPECT_EQ(connect->GetString("name"), "two");
    }));
}

TEST_F(FailingCallTest, TimersAndPoolsStayAsTheyAre) {
    auto* timers = qar::IThreadManager::Instance();
    const auto ignore = [](unsigned long long) {};
    FailFirst("IThreadManager::NewTimer");
    EXPECT_FALSE(timers->NewTimer("timer", 1, ignore, 0));
    ASSERT_TRUE(timers->NewTimer("timer", 1, ignore, 0));
    FailFirst("IThreadManager::DelTimer");
    timers->DelTimer("timer");
    EXPECT_THAT(platform_.timers.fake.Running(), ElementsAre("timer"));
    Mox::Base::CMessageLoopDyThreadPool pool;
    FailFirst("CMessageLoopDyThreadPool::Start");
    EXPECT_FALSE(pool.Start(1, 1, 1));
    ASSERT_TRUE(pool.Start(1, 1, 1));
    FailFirst("CMessageLoopDyThreadPool::GetWorkTaskCount");
    EXPECT_EQ(pool.GetWorkTaskCount(), INT_MAX);
    int ran = 0;
    FailFirst("CMessageLoopDyThreadPool::PostTask");
    pool.PostTask(std::make_shared<CountTask>(ran));
    EXPECT_EQ(platform_.pools.Queued(), 0u);
    FailFirst("CMessageLoopDyThreadPool::Stop");
    pool.Stop(false);
    EXPECT_TRUE(platform_.pools.All()[0]->Running());
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
