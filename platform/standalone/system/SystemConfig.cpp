#include <memory>
#include <mutex>

#include "ZELPlatform/System.h"
#include "standalone/system/SystemControl.h"

namespace qarplatform {

namespace {

/// The system's settings. Those given out stay as they are; a change makes new ones.
struct Settings {
    /// Never destroyed, as threads may ask while the process ends.
    static Settings& Get() {
        static Settings& settings = *new Settings;
        return settings;
    }

    std::mutex mutex;
    std::shared_ptr<ZELPlatform::CSystemConfigInfo> info;  // guarded by mutex
};

}  // namespace

void SetAccessType(ZELPlatform::InterfaceCommonData::AccesstypeInfo::Accesstype type) {
    const auto access = std::make_shared<ZELPlatform::CAccesstypeInfo>();
    access->SetValAccessType(type);
    auto info = std::make_shared<ZELPlatform::CSystemConfigInfo>();
    info->SetValstruAccesstypeinfo(access);
    const std::lock_guard<std::mutex> lock(Settings::Get().mutex);
    Settings::Get().info = std::move(info);
}

}  // namespace qarplatform

namespace ZELPlatform {
namespace System {

std::shared_ptr<CSystemConfigInfo> GetSystemConfigInfo() {
    const std::lock_guard<std::mutex> lock(qarplatform::Settings::Get().mutex);
    return qarplatform::Settings::Get().info;
}

}  // namespace System
}  // namespace ZELPlatform
