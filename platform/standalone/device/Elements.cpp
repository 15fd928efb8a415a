#include "ZELPlatform/Resources.h"
#include "standalone/device/DeviceTable.h"

namespace ZELPlatform {
namespace Resources {

void GetCurrentNodeAllElementsByType(std::map<unsigned int, std::shared_ptr<CElementInterface>>& result, int type) {
    for (const auto& [id, element] : qarplatform::DeviceTable::Current().Elements()) {
        if (element->GetType() == type) {
            result.emplace(element->GetID(), element);
        }
    }
}

}  // namespace Resources
}  // namespace ZELPlatform
