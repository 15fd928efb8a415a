#pragma once

#include <string>
#include <vector>

#include "qar/Export.h"

namespace qar {

/// An address.
struct QARCOMMON_API SNetworkAddr {
    SNetworkAddr();
    SNetworkAddr(const SNetworkAddr& other);
    SNetworkAddr(SNetworkAddr&& other);
    SNetworkAddr& operator=(const SNetworkAddr& other);
    SNetworkAddr& operator=(SNetworkAddr&& other);
    ~SNetworkAddr();

    std::string str_ip;   ///< IP address
    unsigned int n_port;  ///< 0 to 65535
    void* reserved;       ///< the library's own; copied as it is
};

/// One stream media server and the site that it serves.
struct SSiteSMSInfo {
    QARCOMMON_API SSiteSMSInfo();
    SSiteSMSInfo(const SSiteSMSInfo&) = default;
    SSiteSMSInfo(SSiteSMSInfo&&) = default;
    QARCOMMON_API SSiteSMSInfo& operator=(const SSiteSMSInfo& other);
    QARCOMMON_API SSiteSMSInfo& operator=(SSiteSMSInfo&& other);

    int n_sms_id;    ///< the stream media server
    int n_site_id;   ///< the site
    void* reserved;  ///< the library's own; copied as it is
};

/// A question for a stream's route.
struct QARCOMMON_API SRouteQueryKeyParam {
    SRouteQueryKeyParam();
    SRouteQueryKeyParam(const SRouteQueryKeyParam& other);
    SRouteQueryKeyParam(SRouteQueryKeyParam&& other);
    SRouteQueryKeyParam& operator=(const SRouteQueryKeyParam& other);
    SRouteQueryKeyParam& operator=(SRouteQueryKeyParam&& other);
    ~SRouteQueryKeyParam();

    std::string str_route_key;  ///< what the route leads to
    int n_command_type;         ///< kind of command
    int n_user_assignway;       ///< how the user wants the route assigned
    int n_network_location;     ///< where the asker stands
    void* reserved;             ///< the library's own; copied as it is
};

/// The answer to a question for a route.
struct QARCOMMON_API SDevStreamRouteInfo {
    SDevStreamRouteInfo();
    SDevStreamRouteInfo(const SDevStreamRouteInfo& other);
    SDevStreamRouteInfo(SDevStreamRouteInfo&& other);
    SDevStreamRouteInfo& operator=(const SDevStreamRouteInfo& other);
    SDevStreamRouteInfo& operator=(SDevStreamRouteInfo&& other);
    ~SDevStreamRouteInfo();

    int n_route_count;                       ///< 1: the device alone; 2: a stream media server lies in front
    SNetworkAddr addr[2];                    ///< 0: the device; 1: the stream media server
    unsigned int n_sms_tcp_port;             ///< TCP port of the server
    unsigned int n_sms_websocket_port;       ///< WebSocket port of the server
    std::vector<SSiteSMSInfo> vec_site_sms;  ///< servers by site
    bool b_use_device_lan_info;              ///< whether to use the text below
    std::string str_device_lan_info;         ///< access text of the device in its LAN
    void* reserved;                          ///< the library's own; copied as it is
};

}  // namespace qar
