#pragma once

#include <string>

namespace qar::internal {

/// Base of the hidden extensions of SDeviceBaseInfo and SElementBaseInfo. Both are freed by DestroyResourceExt.
struct ResourceExt {
    virtual ~ResourceExt() = default;

    std::string str_online_identification_guid;
};

void DestroyResourceExt(ResourceExt* ext);
std::string GetResourceGuid(const ResourceExt* ext);
void SetResourceGuid(ResourceExt* ext, const std::string& str_guid);

}  // namespace qar::internal
