#include "mock/Mocks.h"

#include "mock/Platform.h"
#include "mock/PlatformCalls.h"

namespace qarmock {

MockMsgBus::MockMsgBus() {
    ON_CALL(*this, RegistObserver).WillByDefault([this](const std::string& observer) {
        return fake.RegistObserver(observer);
    });
    ON_CALL(*this, SubscribeObserver)
        .WillByDefault([this](const std::string& observer, const std::string& plugin, Function fn) {
            return fake.SubscribeObserver(observer, plugin, std::move(fn));
        });
    ON_CALL(*this, UnSubscribeObserver).WillByDefault([this](const std::string& observer, Function fn) {
        return fake.UnSubscribeObserver(observer, std::move(fn));
    });
    ON_CALL(*this, SubscribeObserverEx)
        .WillByDefault(
            [this](const std::string& plugin, const std::string& observer, const std::set<int>& types, FunctionEx cb,
                   void* user_data) { return fake.SubscribeObserverEx(plugin, observer, types, cb, user_data); });
    ON_CALL(*this, UnSubscribeObserverEx)
        .WillByDefault([this](const std::string& plugin, const std::string& observer, const std::set<int>& types) {
            return fake.UnSubscribeObserverEx(plugin, observer, types);
        });
    ON_CALL(*this, NotifyObserverEventEx)
        .WillByDefault([this](const std::string& observer, int type, const FakeMsgBus::Content& content,
                              ZELPlatform::ObserverTaskType task_type) {
            return fake.NotifyObserverEventEx(observer, type, content, task_type);
        });
}

MockResources::MockResources(FakeSite& site) {
    ON_CALL(*this, GetCurrentNodeAllElementsByType).WillByDefault([&site](Elements& result, int type) {
        if (CallFails("Resources::GetCurrentNodeAllElementsByType")) return;
        site.GetCurrentNodeAllElementsByType(result, type);
    });
}

MockTimeZone::MockTimeZone(FakeSite& site) : fake(site) {
    ON_CALL(*this, GetDeviceTime)
        .WillByDefault([this](std::string& local, std::string& utc, int& offset, const Key& key, long long time) {
            if (!CallFails("TimeZone::GetDeviceTime")) fake.GetDeviceTime(local, utc, offset, key, time);
        });
    ON_CALL(*this, GetDeviceTimeEx)
        .WillByDefault([this](std::string& local, std::string& utc, int& offset, const Key& key, long long time) {
            return !CallFails("TimeZone::GetDeviceTimeEx") && fake.GetDeviceTimeEx(local, utc, offset, key, time);
        });
    ON_CALL(*this, GetDeviceTimeZone).WillByDefault([this](Zone& info, const Key& key) {
        if (CallFails("TimeZone::GetDeviceTimeZone")) {
            info = nullptr;
        } else {
            fake.GetDeviceTimeZone(info, key);
        }
    });
    ON_CALL(*this, GetDevISOTimeByUTCTime)
        .WillByDefault([this](std::string& iso_text, long long time, const Zone& info) {
            return !CallFails("TimeZone::GetDevISOTimeByUTCTime") && fake.GetDevISOTimeByUTCTime(iso_text, time, info);
        });
}

MockLocalConfig::MockLocalConfig() {
    ON_CALL(*this, GetLocationDBInfo).WillByDefault([this] {
        return CallFails("LocalConfigManager::GetLocationDBInfo") ? nullptr : fake.GetLocationDBInfo();
    });
}

MockTimeUtil::MockTimeUtil() {
    ON_CALL(*this, TimeT2LocalTime).WillByDefault([this](std::string& text, int& offset_seconds, int64_t t) {
        if (!CallFails("TimeUtil::TimeT2LocalTime")) fake.TimeT2LocalTime(text, offset_seconds, t);
    });
    ON_CALL(*this, TimeT2LocalTimeStrISO).WillByDefault([this](int64_t t) {
        return CallFails("TimeUtil::TimeT2LocalTimeStrISO") ? std::string() : fake.TimeT2LocalTimeStrISO(t);
    });
    ON_CALL(*this, TimeDifference2Str).WillByDefault([this](int seconds) {
        return CallFails("TimeUtil::TimeDifference2Str " + std::to_string(seconds)) ? std::string()
                                                                                    : fake.TimeDifference2Str(seconds);
    });
}

MockDeviceManager::MockDeviceManager(FakeSite& site) {
    ON_CALL(*this, GetAllDevices).WillByDefault([&site](std::vector<std::shared_ptr<tuk::CDevice>>& devices, int type) {
        if (!CallFails("CDeviceManager::GetAllDevices")) site.GetAllDevices(devices, type);
    });
    ON_CALL(*this, FindDeviceByID).WillByDefault([&site](int id, int type) {
        return CallFails("CDeviceManager::FindDeviceByID") ? nullptr : site.FindDeviceByID(id, type);
    });
    ON_CALL(*this, FindDeviceByGuid).WillByDefault([&site](const std::string& guid) {
        return CallFails("CDeviceManager::FindDeviceByGuid") ? nullptr : site.FindDeviceByGuid(guid);
    });
    ON_CALL(*this, FindChannelByID).WillByDefault([&site](int id, int type) {
        return CallFails("CDeviceManager::FindChannelByID") ? nullptr : site.FindChannelByID(id, type);
    });
}

MockThreadManager::MockThreadManager() {
    ON_CALL(*this, NewTimer)
        .WillByDefault([this](const std::string& name, unsigned int interval_ms, TimerFunc fn, int reserved) {
            return fake.NewTimer(name, interval_ms, std::move(fn), reserved);
        });
    ON_CALL(*this, DelTimer).WillByDefault([this](const std::string& name) { fake.DelTimer(name); });
}

MockDBManagerPure::MockDBManagerPure() {
    ON_CALL(*this, Open).WillByDefault([this](const std::string& plugin, uint32_t count, const qar::SDBParam& param) {
        return fake.Open(plugin, count, param);
    });
    ON_CALL(*this, Finalize).WillByDefault([this](const std::string& plugin) { return fake.Finalize(plugin); });
    ON_CALL(*this, ResetDBParam).WillByDefault([this](const std::string& plugin, const qar::SDBParam& param) {
        return fake.ResetDBParam(plugin, param);
    });
    ON_CALL(*this, ExecuteQuery)
        .WillByDefault([this](const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn) {
            return fake.Query("ExecuteQuery", plugin, connType, sql, fn);
        });
    ON_CALL(*this, Execute).WillByDefault([this](const std::string& plugin, uint32_t connType, const std::string& sql) {
        return fake.Execute(plugin, connType, sql);
    });
    ON_CALL(*this, ExecuteQueryUDT)
        .WillByDefault([this](const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                              int) { return fake.Query("ExecuteQueryUDT", plugin, connType, sql, fn); });
    ON_CALL(*this, ExecuteSortByCollate)
        .WillByDefault(
            [this](const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                   const std::string&) { return fake.Query("ExecuteSortByCollate", plugin, connType, sql, fn); });
    ON_CALL(*this, ExecuteSortByCollateUDT)
        .WillByDefault([this](const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                              const std::string&, const unsigned int*) {
            return fake.Query("ExecuteSortByCollateUDT", plugin, connType, sql, fn);
        });
    ON_CALL(*this, GetNextID).WillByDefault([this](const std::string& name) { return fake.GetNextID(name); });
}

}  // namespace qarmock

namespace ZELPlatform {

using qarmock::Platform;

namespace MsgBus {

bool RegistObserver(const std::string& observer) { return Platform::Current().bus.RegistObserver(observer); }

bool SubscribeObserver(const std::string& observer, const std::string& plugin, ChangeMsgNotifyFunc fn) {
    return Platform::Current().bus.SubscribeObserver(observer, plugin, std::move(fn));
}

bool UnSubscribeObserver(const std::string& observer, ChangeMsgNotifyFunc fn) {
    return Platform::Current().bus.UnSubscribeObserver(observer, std::move(fn));
}

bool SubscribeObserverEx(const std::string& plugin, const std::string& observer, const std::set<int>& types,
                         ObserverNotifyFuncEx cb, void* user_data) {
    return Platform::Current().bus.SubscribeObserverEx(plugin, observer, types, cb, user_data);
}

bool UnSubscribeObserverEx(const std::string& plugin, const std::string& observer, const std::set<int>& types) {
    return Platform::Current().bus.UnSubscribeObserverEx(plugin, observer, types);
}

bool NotifyObserverEventEx(const std::string& observer, int type, const std::shared_ptr<CBaseContent>& content,
                           ObserverTaskType task_type) {
    return Platform::Current().bus.NotifyObserverEventEx(observer, type, content, task_type);
}

}  // namespace MsgBus

namespace Resources {

void GetCurrentNodeAllElementsByType(std::map<unsigned int, std::shared_ptr<CElementInterface>>& result, int type) {
    Platform::Current().resources.GetCurrentNodeAllElementsByType(result, type);
}

}  // namespace Resources

namespace TimeZone {

void GetDeviceTime(std::string& local_text, std::string& utc_text, int& offset, const CTimeZoneDeviceKey& key,
                   long long time) {
    Platform::Current().time_zone.GetDeviceTime(local_text, utc_text, offset, key, time);
}

bool GetDeviceTimeEx(std::string& local_text, std::string& utc_text, int& offset, const CTimeZoneDeviceKey& key,
                     long long time) {
    return Platform::Current().time_zone.GetDeviceTimeEx(local_text, utc_text, offset, key, time);
}

void GetDeviceTimeZone(std::shared_ptr<CTimeZoneInfo>& info, const CTimeZoneDeviceKey& key) {
    Platform::Current().time_zone.GetDeviceTimeZone(info, key);
}

bool GetDevISOTimeByUTCTime(std::string& iso_text, long long time, const std::shared_ptr<CTimeZoneInfo>& info) {
    return Platform::Current().time_zone.GetDevISOTimeByUTCTime(iso_text, time, info);
}

}  // namespace TimeZone

namespace LocalConfigManager {

std::shared_ptr<CLocalDBInfo> GetLocationDBInfo() { return Platform::Current().local_config.GetLocationDBInfo(); }

}  // namespace LocalConfigManager
}  // namespace ZELPlatform

namespace Mox {
namespace Base {
namespace TimeUtil {

void TimeT2LocalTime(std::string& text, int& offset_seconds, int64_t t) {
    qarmock::Platform::Current().time_util.TimeT2LocalTime(text, offset_seconds, t);
}

std::string TimeT2LocalTimeStrISO(int64_t t) { return qarmock::Platform::Current().time_util.TimeT2LocalTimeStrISO(t); }

std::string TimeDifference2Str(int seconds) {
    return qarmock::Platform::Current().time_util.TimeDifference2Str(seconds);
}

}  // namespace TimeUtil

template <>
tuk::CDeviceManager* CSingleton<tuk::CDeviceManager>::Instance() {
    return &qarmock::Platform::Current().devices;
}

}  // namespace Base
}  // namespace Mox

namespace qar {

IThreadManager* IThreadManager::Instance() { return &qarmock::Platform::Current().timers; }

IDBManagerPure* IDBManagerPure::Instance() { return &qarmock::Platform::Current().database; }

}  // namespace qar
