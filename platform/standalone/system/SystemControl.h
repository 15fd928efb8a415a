#pragma once

#include "ZELPlatform/BusTypes.h"

namespace qarplatform {

/// Sets how users reach the system, for ZELPlatform::System. Until then that is not known. Threads: any.
void SetAccessType(ZELPlatform::InterfaceCommonData::AccesstypeInfo::Accesstype type);

}  // namespace qarplatform
