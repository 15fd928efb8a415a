#pragma once

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "mock/FakeDatabase.h"
#include "mock/FakeLocalConfig.h"
#include "mock/FakeMsgBus.h"
#include "mock/FakeSite.h"
#include "mock/FakeTimeUtil.h"
#include "mock/FakeTimeZone.h"
#include "mock/FakeTimers.h"
#include "qarutil/DBManagerPure.h"
#include "qarutil/ThreadManager.h"
#include "tuk/DeviceManager.h"

namespace qarmock {

// One mock for each area of the platform. By default every operation goes to the `fake` beside it; a test expects calls
// or has them answered otherwise in gmock's way:
//     EXPECT_CALL(platform.bus, RegistObserver("topic")).WillOnce(Return(false));

/// ZELPlatform::MsgBus
class MockMsgBus {
public:
    using Function = ZELPlatform::MsgBus::ChangeMsgNotifyFunc;
    using FunctionEx = ZELPlatform::MsgBus::ObserverNotifyFuncEx;

    MockMsgBus();

    MOCK_METHOD(bool, RegistObserver, (const std::string& observer));
    MOCK_METHOD(bool, SubscribeObserver, (const std::string& observer, const std::string& plugin, Function fn));
    MOCK_METHOD(bool, UnSubscribeObserver, (const std::string& observer, Function fn));
    MOCK_METHOD(bool, SubscribeObserverEx,
                (const std::string& plugin, const std::string& observer, const std::set<int>& types, FunctionEx cb,
                 void* user_data));
    MOCK_METHOD(bool, UnSubscribeObserverEx,
                (const std::string& plugin, const std::string& observer, const std::set<int>& types));
    MOCK_METHOD(bool, NotifyObserverEventEx,
                (const std::string& observer, int type, const std::shared_ptr<ZELPlatform::CBaseContent>& content,
                 ZELPlatform::ObserverTaskType task_type));

    FakeMsgBus fake;
};

/// ZELPlatform::Resources
class MockResources {
public:
    using Elements = std::map<unsigned int, std::shared_ptr<ZELPlatform::Resources::CElementInterface>>;

    explicit MockResources(FakeSite& site);

    MOCK_METHOD(void, GetCurrentNodeAllElementsByType, (Elements & result, int type));
};

/// ZELPlatform::TimeZone
class MockTimeZone {
public:
    using Key = ZELPlatform::TimeZone::CTimeZoneDeviceKey;
    using Zone = std::shared_ptr<ZELPlatform::TimeZone::CTimeZoneInfo>;

    explicit MockTimeZone(FakeSite& site);

    MOCK_METHOD(void, GetDeviceTime,
                (std::string & local_text, std::string& utc_text, int& offset, const Key& key, long long time));
    MOCK_METHOD(bool, GetDeviceTimeEx,
                (std::string & local_text, std::string& utc_text, int& offset, const Key& key, long long time));
    MOCK_METHOD(void, GetDeviceTimeZone, (Zone & info, const Key& key));
    MOCK_METHOD(bool, GetDevISOTimeByUTCTime, (std::string & iso_text, long long time, const Zone& info));

    FakeTimeZone fake;
};

/// ZELPlatform::LocalConfigManager
class MockLocalConfig {
public:
    MockLocalConfig();

    MOCK_METHOD(std::shared_ptr<ZELPlatform::CLocalDBInfo>, GetLocationDBInfo, ());

    FakeLocalConfig fake;
};

/// Mox::Base::TimeUtil
class MockTimeUtil {
public:
    MockTimeUtil();

    MOCK_METHOD(void, TimeT2LocalTime, (std::string & text, int& offset_seconds, int64_t t));
    MOCK_METHOD(std::string, TimeT2LocalTimeStrISO, (int64_t t));
    MOCK_METHOD(std::string, TimeDifference2Str, (int seconds));

    FakeTimeUtil fake;
};

class MockDeviceManager : public tuk::CDeviceManager {
public:
    explicit MockDeviceManager(FakeSite& site);

    MOCK_METHOD(void, GetAllDevices, (std::vector<std::shared_ptr<tuk::CDevice>> & devices, int type), (override));
    MOCK_METHOD(std::shared_ptr<tuk::CDevice>, FindDeviceByID, (int id, int type), (override));
    MOCK_METHOD(std::shared_ptr<tuk::CDevice>, FindDeviceByGuid, (const std::string& guid), (override));
    MOCK_METHOD(std::shared_ptr<tuk::CChannel>, FindChannelByID, (int id, int type), (override));
};

class MockThreadManager : public qar::IThreadManager {
public:
    MockThreadManager();

    MOCK_METHOD(bool, NewTimer, (const std::string& name, unsigned int interval_ms, TimerFunc fn, int reserved),
                (override));
    MOCK_METHOD(void, DelTimer, (const std::string& name), (override));

    FakeTimers fake;
};

class MockDBManagerPure : public qar::IDBManagerPure {
public:
    using Arg = qar::SDBForwardArg;

    MockDBManagerPure();

    MOCK_METHOD(bool, Open, (const std::string& plugin, uint32_t count, const qar::SDBParam& param), (override));
    MOCK_METHOD(bool, Finalize, (const std::string& plugin), (override));
    MOCK_METHOD(bool, ResetDBParam, (const std::string& plugin, const qar::SDBParam& param), (override));
    MOCK_METHOD(bool, ForwardedCallA, (Arg & first, Arg& second, uint32_t connType), (override));
    MOCK_METHOD(bool, ExecuteQuery,
                (const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn), (override));
    MOCK_METHOD(bool, Execute, (const std::string& plugin, uint32_t connType, const std::string& sql), (override));
    MOCK_METHOD(bool, ForwardedCallB, (Arg & first, uint32_t connType, Arg& second), (override));
    MOCK_METHOD(qar::SDBForwardResult, ForwardedCallC, (Arg & first, uint32_t connType, bool flag), (override));
    MOCK_METHOD(bool, ExecuteQueryUDT,
                (const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn, int timeout),
                (override));
    MOCK_METHOD(bool, ExecuteSortByCollate,
                (const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                 const std::string& collate),
                (override));
    MOCK_METHOD(int64_t, GetNextID, (const std::string& name), (override));
    MOCK_METHOD(bool, ForwardedCallD, (Arg & first, Arg& second, Arg& third, uint32_t connType), (override));
    MOCK_METHOD(bool, ExecuteSortByCollateUDT,
                (const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                 const std::string& collate, const unsigned int* timeout),
                (override));

    FakeDatabase fake;
};

}  // namespace qarmock
