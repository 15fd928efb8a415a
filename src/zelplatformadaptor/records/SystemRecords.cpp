#include "qar/SystemRecords.h"

#include "internal/Hidden.h"

namespace qar {

struct QAR_HIDDEN SSystemWANInfo::Ext {
    unsigned int n_hls_stream_port = 0;
    unsigned int n_rtmp_stream_port = 0;
};

SSystemWANInfo::SSystemWANInfo()
    : b_enable(false),
      n_http_port(0),
      n_https_port(0),
      n_rtsp_port(0),
      n_tcp_port(0),
      n_sms_websocket_port(0),
      n_registration_port(0),
      n_event_tcp_port(0),
      n_event_udp_port(0),
      n_tlink_register_port(0),
      n_tlink_vagserver_port(0),
      n_tlink_alarm_port(0),
      n_spare_port(0),
      n_tlink_plugin_port(0),
      ext(new Ext) {}

SSystemWANInfo::SSystemWANInfo(const SSystemWANInfo& other) : SSystemWANInfo() { *this = other; }

SSystemWANInfo& SSystemWANInfo::operator=(const SSystemWANInfo& other) {
    if (this == &other) return *this;
    b_enable = other.b_enable;
    str_ip_address = other.str_ip_address;
    n_http_port = other.n_http_port;
    n_https_port = other.n_https_port;
    n_rtsp_port = other.n_rtsp_port;
    n_tcp_port = other.n_tcp_port;
    n_sms_websocket_port = other.n_sms_websocket_port;
    n_registration_port = other.n_registration_port;
    n_event_tcp_port = other.n_event_tcp_port;
    n_event_udp_port = other.n_event_udp_port;
    n_tlink_register_port = other.n_tlink_register_port;
    n_tlink_vagserver_port = other.n_tlink_vagserver_port;
    n_tlink_alarm_port = other.n_tlink_alarm_port;
    n_spare_port = other.n_spare_port;
    n_tlink_plugin_port = other.n_tlink_plugin_port;
    SetHLSStreamPort(other.GetHLSStreamPort());
    SetRTMPStreamPort(other.GetRTMPStreamPort());
    return *this;
}

SSystemWANInfo::~SSystemWANInfo() { delete ext; }

unsigned int SSystemWANInfo::GetHLSStreamPort() const { return ext->n_hls_stream_port; }
void SSystemWANInfo::SetHLSStreamPort(unsigned int n_port) { ext->n_hls_stream_port = n_port; }
unsigned int SSystemWANInfo::GetRTMPStreamPort() const { return ext->n_rtmp_stream_port; }
void SSystemWANInfo::SetRTMPStreamPort(unsigned int n_port) { ext->n_rtmp_stream_port = n_port; }

SMSTokenRegeditInfo::SMSTokenRegeditInfo()
    : n_field_3(-1), n_field_6(0), n_field_7(-1), n_field_8(0), reserved(nullptr) {}
SMSTokenRegeditInfo::SMSTokenRegeditInfo(const SMSTokenRegeditInfo& other) = default;
SMSTokenRegeditInfo::SMSTokenRegeditInfo(SMSTokenRegeditInfo&& other) = default;
SMSTokenRegeditInfo& SMSTokenRegeditInfo::operator=(const SMSTokenRegeditInfo& other) = default;
SMSTokenRegeditInfo& SMSTokenRegeditInfo::operator=(SMSTokenRegeditInfo&& other) = default;
SMSTokenRegeditInfo::~SMSTokenRegeditInfo() = default;

}  // namespace qar
