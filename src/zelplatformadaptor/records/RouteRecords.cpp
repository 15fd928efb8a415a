#include "qar/RouteRecords.h"

namespace qar {

SNetworkAddr::SNetworkAddr() : n_port(0), reserved(nullptr) {}
SNetworkAddr::SNetworkAddr(const SNetworkAddr& other) = default;
SNetworkAddr::SNetworkAddr(SNetworkAddr&& other) = default;
SNetworkAddr& SNetworkAddr::operator=(const SNetworkAddr& other) = default;
SNetworkAddr& SNetworkAddr::operator=(SNetworkAddr&& other) = default;
SNetworkAddr::~SNetworkAddr() = default;

SSiteSMSInfo::SSiteSMSInfo() : n_sms_id(-1), n_site_id(-1), reserved(nullptr) {}
SSiteSMSInfo& SSiteSMSInfo::operator=(const SSiteSMSInfo& other) = default;
SSiteSMSInfo& SSiteSMSInfo::operator=(SSiteSMSInfo&& other) = default;

SRouteQueryKeyParam::SRouteQueryKeyParam()
    : n_command_type(-1), n_user_assignway(-1), n_network_location(-1), reserved(nullptr) {}
SRouteQueryKeyParam::SRouteQueryKeyParam(const SRouteQueryKeyParam& other) = default;
SRouteQueryKeyParam::SRouteQueryKeyParam(SRouteQueryKeyParam&& other) = default;
SRouteQueryKeyParam& SRouteQueryKeyParam::operator=(const SRouteQueryKeyParam& other) = default;
SRouteQueryKeyParam& SRouteQueryKeyParam::operator=(SRouteQueryKeyParam&& other) = default;
SRouteQueryKeyParam::~SRouteQueryKeyParam() = default;

SDevStreamRouteInfo::SDevStreamRouteInfo()
    : n_route_count(-1), n_sms_tcp_port(0), n_sms_websocket_port(0), b_use_device_lan_info(false), reserved(nullptr) {}
SDevStreamRouteInfo::SDevStreamRouteInfo(const SDevStreamRouteInfo& other) = default;
SDevStreamRouteInfo::SDevStreamRouteInfo(SDevStreamRouteInfo&& other) = default;
// NOLINTBEGIN(bugprone-reserved-identifier): the compiler's own names in its loop over `addr`
SDevStreamRouteInfo& SDevStreamRouteInfo::operator=(const SDevStreamRouteInfo& other) = default;
SDevStreamRouteInfo& SDevStreamRouteInfo::operator=(SDevStreamRouteInfo&& other) = default;
// NOLINTEND(bugprone-reserved-identifier)
SDevStreamRouteInfo::~SDevStreamRouteInfo() = default;

}  // namespace qar
