#pragma once

#include "ZELPlatform/LocalConfigManager.h"

namespace qarplatform {

/// Kinds of databases, as CLocalDBInfo::GetValdbType gives them.
enum DatabaseType {
    kDatabaseSqlite = 1,  ///< embedded; the name is the folder that holds one file for each schema
};

/// Sets what LocalConfigManager::GetLocationDBInfo gives and, when it differs from before and something was set before,
/// tells it on the topic "Config_LocalConfigManager" (type 1). Threads: any.
void SetLocationDBInfo(const ZELPlatform::CLocalDBInfo& info);

}  // namespace qarplatform
