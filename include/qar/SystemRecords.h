#pragma once

#include <string>

#include "qar/Export.h"

namespace qar {

/// The system's WAN mapping. Ports are 0 to 65535, 0 when not set.
struct QARCOMMON_API SSystemWANInfo {
    SSystemWANInfo();
    SSystemWANInfo(const SSystemWANInfo& other);
    SSystemWANInfo& operator=(const SSystemWANInfo& other);
    ~SSystemWANInfo();

    unsigned int GetHLSStreamPort() const;
    void SetHLSStreamPort(unsigned int n_port);
    unsigned int GetRTMPStreamPort() const;
    void SetRTMPStreamPort(unsigned int n_port);

    bool b_enable;               ///< whether the mapping is on
    std::string str_ip_address;  ///< address in the WAN
    unsigned int n_http_port;
    unsigned int n_https_port;
    unsigned int n_rtsp_port;
    unsigned int n_tcp_port;
    unsigned int n_sms_websocket_port;
    unsigned int n_registration_port;
    unsigned int n_event_tcp_port;
    unsigned int n_event_udp_port;
    unsigned int n_tlink_register_port;
    unsigned int n_tlink_vagserver_port;
    unsigned int n_tlink_alarm_port;
    unsigned int n_spare_port;  ///< always 0
    unsigned int n_tlink_plugin_port;

private:
    struct Ext;
    Ext* ext;
};

/// Registration of a stream media server's token. The library only copies it.
struct QARCOMMON_API SMSTokenRegeditInfo {
    SMSTokenRegeditInfo();
    SMSTokenRegeditInfo(const SMSTokenRegeditInfo& other);
    SMSTokenRegeditInfo(SMSTokenRegeditInfo&& other);
    SMSTokenRegeditInfo& operator=(const SMSTokenRegeditInfo& other);
    SMSTokenRegeditInfo& operator=(SMSTokenRegeditInfo&& other);
    ~SMSTokenRegeditInfo();

    std::string str_field_0;
    std::string str_field_1;
    std::string str_field_2;
    int n_field_3;  ///< -1 when not set
    std::string str_field_4;
    std::string str_field_5;
    int n_field_6;
    int n_field_7;  ///< -1 when not set
    int n_field_8;
    std::string str_field_9;
    void* reserved;  ///< the library's own; copied as it is
};

}  // namespace qar
