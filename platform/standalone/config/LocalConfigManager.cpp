#include "ZELPlatform/LocalConfigManager.h"

#include <mutex>
#include <string>
#include <utility>

#include "ZELPlatform/BaseContent.h"
#include "ZELPlatform/MsgBus.h"
#include "standalone/config/LocalConfigControl.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

constexpr const char* kTopic = "Config_LocalConfigManager";
constexpr int kDatabaseChanged = 1;

/// The local configuration, never destroyed.
struct LocalConfig {
    static LocalConfig& Get() {
        static LocalConfig& config = *new LocalConfig;
        return config;
    }

    std::mutex mutex;
    std::shared_ptr<const ZELPlatform::CLocalDBInfo> database;  // guarded by mutex; null until set
};

bool Same(const ZELPlatform::CLocalDBInfo& left, const ZELPlatform::CLocalDBInfo& right) {
    return left.GetValdbType() == right.GetValdbType() && left.GetValdbIp() == right.GetValdbIp() &&
           left.GetValdbPort() == right.GetValdbPort() && left.GetValdbUser() == right.GetValdbUser() &&
           left.GetValdbPasswd() == right.GetValdbPasswd() && left.GetValdbName() == right.GetValdbName();
}

void TellChange() {
    const auto content = std::make_shared<ZELPlatform::CObserverParam>();
    content->SetObserverMsgType(kDatabaseChanged);
    content->SetText(R"({"ChangeType":1})");
    if (!ZELPlatform::MsgBus::NotifyObserverEventEx(kTopic, kDatabaseChanged, content, ZELPlatform::kObserverTask0)) {
        LogSinkWrite(kLogError, kModulePlatform, "the change of the database information could not be told on %s",
                     kTopic);
    }
}

}  // namespace

void SetLocationDBInfo(const ZELPlatform::CLocalDBInfo& info) {
    ZELPlatform::MsgBus::RegistObserver(kTopic);
    auto database = std::make_shared<const ZELPlatform::CLocalDBInfo>(info);
    LocalConfig& config = LocalConfig::Get();
    {
        std::lock_guard<std::mutex> lock(config.mutex);
        config.database.swap(database);
    }
    if (database != nullptr && !Same(*database, info)) TellChange();
}

}  // namespace qarplatform

namespace ZELPlatform {
namespace LocalConfigManager {

std::shared_ptr<CLocalDBInfo> GetLocationDBInfo() {
    qarplatform::LocalConfig& config = qarplatform::LocalConfig::Get();
    std::lock_guard<std::mutex> lock(config.mutex);
    return config.database == nullptr ? nullptr : std::make_shared<CLocalDBInfo>(*config.database);
}

}  // namespace LocalConfigManager
}  // namespace ZELPlatform
