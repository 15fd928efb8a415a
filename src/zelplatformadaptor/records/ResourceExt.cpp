#include "zelplatformadaptor/records/ResourceExt.h"

namespace qar::internal {

void DestroyResourceExt(ResourceExt* ext) { delete ext; }

std::string GetResourceGuid(const ResourceExt* ext) { return ext->str_online_identification_guid; }

void SetResourceGuid(ResourceExt* ext, const std::string& str_guid) { ext->str_online_identification_guid = str_guid; }

}  // namespace qar::internal
