#include "qar/ElementRecords.h"

#include "internal/Hidden.h"
#include "zelplatformadaptor/records/ResourceExt.h"

namespace qar {

SSiteElementInfo::SSiteElementInfo() : n_remote_site_id(-1), n_id_in_remote_site(-1), reserved(nullptr) {}
SSiteElementInfo::SSiteElementInfo(const SSiteElementInfo& other) = default;
SSiteElementInfo::SSiteElementInfo(SSiteElementInfo&& other) = default;
SSiteElementInfo& SSiteElementInfo::operator=(const SSiteElementInfo& other) = default;
SSiteElementInfo& SSiteElementInfo::operator=(SSiteElementInfo&& other) = default;
SSiteElementInfo::~SSiteElementInfo() = default;

struct QAR_HIDDEN SElementBaseInfo::Ext : internal::ResourceExt {
    int n_device_category = -1;
    int n_spare = -1;
};

SElementBaseInfo::SElementBaseInfo()
    : n_element_id(-1),
      n_area_id(-1),
      n_element_type(-1),
      n_physical_id(-1),
      n_device_id(-1),
      n_site_id(-1),
      b_online(false),
      n_create_time(-1),
      ext(new Ext) {}

SElementBaseInfo::SElementBaseInfo(const SElementBaseInfo& other) : SElementBaseInfo() { *this = other; }

SElementBaseInfo& SElementBaseInfo::operator=(const SElementBaseInfo& other) {
    n_element_id = other.n_element_id;
    str_element_guid = other.str_element_guid;
    str_element_name = other.str_element_name;
    n_area_id = other.n_area_id;
    str_area_name = other.str_area_name;
    n_element_type = other.n_element_type;
    n_physical_id = other.n_physical_id;
    n_device_id = other.n_device_id;
    n_site_id = other.n_site_id;
    b_online = other.b_online;
    n_create_time = other.n_create_time;
    ptr_channel = other.ptr_channel;
    ptr_device = other.ptr_device;
    ptr_site_element = other.ptr_site_element;
    SetDeviceCategory(other.GetDeviceCategory());
    SetOnlineIdentificationGUID(const_cast<SElementBaseInfo&>(other).GetOnlineIdentificationGUID());
    return *this;
}

SElementBaseInfo::~SElementBaseInfo() { internal::DestroyResourceExt(ext); }

int SElementBaseInfo::GetDeviceCategory() const { return ext->n_device_category; }
void SElementBaseInfo::SetDeviceCategory(int n_device_category) { ext->n_device_category = n_device_category; }
std::string SElementBaseInfo::GetOnlineIdentificationGUID() { return internal::GetResourceGuid(ext); }
void SElementBaseInfo::SetOnlineIdentificationGUID(const std::string& str_guid) {
    internal::SetResourceGuid(ext, str_guid);
}

}  // namespace qar
