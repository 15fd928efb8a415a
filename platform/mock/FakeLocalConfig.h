#pragma once

#include <memory>
#include <mutex>

#include "ZELPlatform/LocalConfigManager.h"

namespace qarmock {

/// Where the plug-ins' database lies. At the start: type 1, address "127.0.0.1", port 5432, user "user", password
/// "password", name "database". Threads: any.
class FakeLocalConfig {
public:
    FakeLocalConfig();

    /// What GetLocationDBInfo gives from now on; null: it is not to be had. Nothing is told on the bus.
    void Set(std::shared_ptr<ZELPlatform::CLocalDBInfo> info);

    std::shared_ptr<ZELPlatform::CLocalDBInfo> GetLocationDBInfo() const;

private:
    mutable std::mutex mutex_;
    std::shared_ptr<ZELPlatform::CLocalDBInfo> info_;
};

}  // namespace qarmock
