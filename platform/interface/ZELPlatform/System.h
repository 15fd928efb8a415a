#pragma once

#include <memory>

#include "ZELPlatform/BusTypes.h"

namespace ZELPlatform {

/// How users reach the system.
class CAccesstypeInfo {
public:
    CAccesstypeInfo() : n_type_(InterfaceCommonData::AccesstypeInfo::kAccessHttp) {}

    InterfaceCommonData::AccesstypeInfo::Accesstype GetValAccessType() const { return n_type_; }
    void SetValAccessType(InterfaceCommonData::AccesstypeInfo::Accesstype type) { n_type_ = type; }

private:
    InterfaceCommonData::AccesstypeInfo::Accesstype n_type_;
};

/// The system's settings.
class CSystemConfigInfo {
public:
    /// @return null when it is not known
    const std::shared_ptr<CAccesstypeInfo>& GetValstruAccesstypeinfo() const { return ptr_access_type_; }
    void SetValstruAccesstypeinfo(const std::shared_ptr<CAccesstypeInfo>& info) { ptr_access_type_ = info; }

private:
    std::shared_ptr<CAccesstypeInfo> ptr_access_type_;
};

namespace System {

/// @return the system's settings as they are now, not changed afterwards; null when they are not to be had.
/// Threads: any.
std::shared_ptr<CSystemConfigInfo> GetSystemConfigInfo();

}  // namespace System
}  // namespace ZELPlatform
