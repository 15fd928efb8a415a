#include "qar/DeviceRecords.h"

#include "internal/Hidden.h"
#include "tuk/DeviceManager.h"
#include "zelplatformadaptor/records/ResourceExt.h"

namespace qar {

namespace {

constexpr int kChannelTypeCamera = 1001;

}  // namespace

struct QAR_HIDDEN SDeviceBaseInfo::Ext : internal::ResourceExt {
    bool b_guard_status = false;
    int n_sub_category = -1;
};

SDeviceBaseInfo::SDeviceBaseInfo()
    : n_device_type(-1), n_device_id(-1), n_device_port(0), b_device_flag(false), n_device_time(-1), ext(new Ext) {}

SDeviceBaseInfo::SDeviceBaseInfo(const SDeviceBaseInfo& other) : SDeviceBaseInfo() { *this = other; }

SDeviceBaseInfo& SDeviceBaseInfo::operator=(const SDeviceBaseInfo& other) {
    n_device_type = other.n_device_type;
    n_device_id = other.n_device_id;
    str_device_guid = other.str_device_guid;
    str_device_text_a = other.str_device_text_a;
    str_device_text_b = other.str_device_text_b;
    str_device_text_c = other.str_device_text_c;
    n_device_port = other.n_device_port;
    b_device_flag = other.b_device_flag;
    n_device_time = other.n_device_time;
    SetGuardStatus(other.GetGuardStatus());
    SetSubCategory(other.GetSubCategory());
    SetOnlineIdentificationGUID(const_cast<SDeviceBaseInfo&>(other).GetOnlineIdentificationGUID());
    return *this;
}

SDeviceBaseInfo::~SDeviceBaseInfo() { internal::DestroyResourceExt(ext); }

bool SDeviceBaseInfo::GetGuardStatus() const { return ext->b_guard_status; }
void SDeviceBaseInfo::SetGuardStatus(bool b_guard_status) { ext->b_guard_status = b_guard_status; }
int SDeviceBaseInfo::GetSubCategory() const { return ext->n_sub_category; }
void SDeviceBaseInfo::SetSubCategory(int n_sub_category) { ext->n_sub_category = n_sub_category; }
std::string SDeviceBaseInfo::GetOnlineIdentificationGUID() { return internal::GetResourceGuid(ext); }
void SDeviceBaseInfo::SetOnlineIdentificationGUID(const std::string& str_guid) {
    internal::SetResourceGuid(ext, str_guid);
}

SDeviceDetailInfo::SDeviceDetailInfo() : n_login_mode(-1), reserved(nullptr) {}
SDeviceDetailInfo::SDeviceDetailInfo(const SDeviceDetailInfo& other) = default;
// The base has no move: it is copied, so that the source keeps its extension.
SDeviceDetailInfo::SDeviceDetailInfo(SDeviceDetailInfo&& other) = default;
SDeviceDetailInfo& SDeviceDetailInfo::operator=(const SDeviceDetailInfo& other) = default;
SDeviceDetailInfo& SDeviceDetailInfo::operator=(SDeviceDetailInfo&& other) = default;
SDeviceDetailInfo::~SDeviceDetailInfo() = default;

struct QAR_HIDDEN SChannelBaseInfo::Ext {
    int n_multi_stream_proto = -1;
    std::string str_related_channel_ip;
    std::string str_related_channel_ip_filtered;
};

SChannelBaseInfo::SChannelBaseInfo()
    : n_channel_type(-1),
      n_channel_id(-1),
      n_channel_no(-1),
      n_trapi_camera_no(-1),
      n_channel_spare(-1),
      b_channel_flag(false),
      n_device_id(-1),
      n_device_type(-1),
      ext(new Ext) {}

SChannelBaseInfo::SChannelBaseInfo(const SChannelBaseInfo& other) : SChannelBaseInfo() { *this = other; }

SChannelBaseInfo& SChannelBaseInfo::operator=(const SChannelBaseInfo& other) {
    n_channel_type = other.n_channel_type;
    n_channel_id = other.n_channel_id;
    str_channel_guid = other.str_channel_guid;
    n_channel_no = other.n_channel_no;
    n_trapi_camera_no = other.n_trapi_camera_no;
    // n_channel_spare stays the target's own.
    b_channel_flag = other.b_channel_flag;
    n_device_id = other.n_device_id;
    n_device_type = other.n_device_type;
    auto& source = const_cast<SChannelBaseInfo&>(other);
    SetMultiStreamProto(source.GetMultiStreamProto());
    SetRelatedChannelIP(source.GetRelatedChannelIP());
    SetRelatedChannelIPFileterInvaild(source.GetRelatedChannelIPFileterInvaild());
    return *this;
}

SChannelBaseInfo::~SChannelBaseInfo() { delete ext; }

int SChannelBaseInfo::GetMultiStreamProto() const {
    if (ext->n_multi_stream_proto != -1) return ext->n_multi_stream_proto;
    const auto channel =
        Mox::Base::CSingleton<tuk::CDeviceManager>::Instance()->FindChannelByID(n_channel_id, n_channel_type);
    if (channel == nullptr || channel->GetType() != kChannelTypeCamera) return -1;
    const auto camera = std::dynamic_pointer_cast<tuk::CCamera>(channel);
    return camera != nullptr ? camera->GetMultiStreamProto() : -1;
}

void SChannelBaseInfo::SetMultiStreamProto(int n_multi_stream_proto) {
    ext->n_multi_stream_proto = n_multi_stream_proto;
}
std::string SChannelBaseInfo::GetRelatedChannelIP() { return ext->str_related_channel_ip; }
void SChannelBaseInfo::SetRelatedChannelIP(const std::string& str_ip) { ext->str_related_channel_ip = str_ip; }
std::string SChannelBaseInfo::GetRelatedChannelIPFileterInvaild() { return ext->str_related_channel_ip_filtered; }
void SChannelBaseInfo::SetRelatedChannelIPFileterInvaild(const std::string& str_ip) {
    ext->str_related_channel_ip_filtered = str_ip;
}

}  // namespace qar
