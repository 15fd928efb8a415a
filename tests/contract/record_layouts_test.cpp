// Where plug-ins that are compiled already expect each field. A number here changes with the library's major version
// only.
#include <gtest/gtest.h>

#include <cstddef>

#include "qar/DeviceRecords.h"
#include "qar/ElementRecords.h"
#include "qar/HttpRecords.h"
#include "qar/RouteRecords.h"
#include "qar/StateRange.h"
#include "qar/SystemRecords.h"
#include "qar/VehicleRecords.h"

// Only one record derives from another, and both compilers lay that out as offsetof says.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace qar {
namespace {

TEST(RecordLayoutsTest, SDeviceBaseInfo) {
    EXPECT_EQ(160u, sizeof(SDeviceBaseInfo));
    EXPECT_EQ(0u, offsetof(SDeviceBaseInfo, n_device_type));
    EXPECT_EQ(4u, offsetof(SDeviceBaseInfo, n_device_id));
    EXPECT_EQ(8u, offsetof(SDeviceBaseInfo, str_device_guid));
    EXPECT_EQ(40u, offsetof(SDeviceBaseInfo, str_device_text_a));
    EXPECT_EQ(72u, offsetof(SDeviceBaseInfo, str_device_text_b));
    EXPECT_EQ(104u, offsetof(SDeviceBaseInfo, str_device_text_c));
    EXPECT_EQ(136u, offsetof(SDeviceBaseInfo, n_device_port));
    EXPECT_EQ(140u, offsetof(SDeviceBaseInfo, b_device_flag));
    EXPECT_EQ(144u, offsetof(SDeviceBaseInfo, n_device_time));
}

TEST(RecordLayoutsTest, SDeviceDetailInfo) {
    EXPECT_EQ(336u, sizeof(SDeviceDetailInfo));
    EXPECT_EQ(160u, offsetof(SDeviceDetailInfo, str_device_text_d));
    EXPECT_EQ(192u, offsetof(SDeviceDetailInfo, str_device_text_e));
    EXPECT_EQ(224u, offsetof(SDeviceDetailInfo, n_login_mode));
    EXPECT_EQ(232u, offsetof(SDeviceDetailInfo, str_firmware_version));
    EXPECT_EQ(264u, offsetof(SDeviceDetailInfo, str_stream_key));
    EXPECT_EQ(296u, offsetof(SDeviceDetailInfo, str_url_format));
    EXPECT_EQ(328u, offsetof(SDeviceDetailInfo, reserved));
}

TEST(RecordLayoutsTest, SChannelBaseInfo) {
    EXPECT_EQ(72u, sizeof(SChannelBaseInfo));
    EXPECT_EQ(0u, offsetof(SChannelBaseInfo, n_channel_type));
    EXPECT_EQ(4u, offsetof(SChannelBaseInfo, n_channel_id));
    EXPECT_EQ(8u, offsetof(SChannelBaseInfo, str_channel_guid));
    EXPECT_EQ(40u, offsetof(SChannelBaseInfo, n_channel_no));
    EXPECT_EQ(44u, offsetof(SChannelBaseInfo, n_trapi_camera_no));
    EXPECT_EQ(48u, offsetof(SChannelBaseInfo, n_channel_spare));
    EXPECT_EQ(52u, offsetof(SChannelBaseInfo, b_channel_flag));
    EXPECT_EQ(56u, offsetof(SChannelBaseInfo, n_device_id));
    EXPECT_EQ(60u, offsetof(SChannelBaseInfo, n_device_type));
}

TEST(RecordLayoutsTest, SElementBaseInfo) {
    EXPECT_EQ(200u, sizeof(SElementBaseInfo));
    EXPECT_EQ(0u, offsetof(SElementBaseInfo, n_element_id));
    EXPECT_EQ(8u, offsetof(SElementBaseInfo, str_element_guid));
    EXPECT_EQ(40u, offsetof(SElementBaseInfo, str_element_name));
    EXPECT_EQ(72u, offsetof(SElementBaseInfo, n_area_id));
    EXPECT_EQ(80u, offsetof(SElementBaseInfo, str_area_name));
    EXPECT_EQ(112u, offsetof(SElementBaseInfo, n_element_type));
    EXPECT_EQ(116u, offsetof(SElementBaseInfo, n_physical_id));
    EXPECT_EQ(120u, offsetof(SElementBaseInfo, n_device_id));
    EXPECT_EQ(124u, offsetof(SElementBaseInfo, n_site_id));
    EXPECT_EQ(128u, offsetof(SElementBaseInfo, b_online));
    EXPECT_EQ(136u, offsetof(SElementBaseInfo, n_create_time));
    EXPECT_EQ(144u, offsetof(SElementBaseInfo, ptr_channel));
    EXPECT_EQ(160u, offsetof(SElementBaseInfo, ptr_device));
    EXPECT_EQ(176u, offsetof(SElementBaseInfo, ptr_site_element));
}

TEST(RecordLayoutsTest, SSiteElementInfo) {
    EXPECT_EQ(48u, sizeof(SSiteElementInfo));
    EXPECT_EQ(0u, offsetof(SSiteElementInfo, n_remote_site_id));
    EXPECT_EQ(4u, offsetof(SSiteElementInfo, n_id_in_remote_site));
    EXPECT_EQ(8u, offsetof(SSiteElementInfo, ptr_channel));
    EXPECT_EQ(24u, offsetof(SSiteElementInfo, ptr_device));
    EXPECT_EQ(40u, offsetof(SSiteElementInfo, reserved));
}

TEST(RecordLayoutsTest, SNetworkAddr) {
    EXPECT_EQ(48u, sizeof(SNetworkAddr));
    EXPECT_EQ(0u, offsetof(SNetworkAddr, str_ip));
    EXPECT_EQ(32u, offsetof(SNetworkAddr, n_port));
    EXPECT_EQ(40u, offsetof(SNetworkAddr, reserved));
}

TEST(RecordLayoutsTest, SSiteSMSInfo) {
    EXPECT_EQ(16u, sizeof(SSiteSMSInfo));
    EXPECT_EQ(0u, offsetof(SSiteSMSInfo, n_sms_id));
    EXPECT_EQ(4u, offsetof(SSiteSMSInfo, n_site_id));
    EXPECT_EQ(8u, offsetof(SSiteSMSInfo, reserved));
}

TEST(RecordLayoutsTest, SRouteQueryKeyParam) {
    EXPECT_EQ(56u, sizeof(SRouteQueryKeyParam));
    EXPECT_EQ(0u, offsetof(SRouteQueryKeyParam, str_route_key));
    EXPECT_EQ(32u, offsetof(SRouteQueryKeyParam, n_command_type));
    EXPECT_EQ(36u, offsetof(SRouteQueryKeyParam, n_user_assignway));
    EXPECT_EQ(40u, offsetof(SRouteQueryKeyParam, n_network_location));
    EXPECT_EQ(48u, offsetof(SRouteQueryKeyParam, reserved));
}

TEST(RecordLayoutsTest, SDevStreamRouteInfo) {
    EXPECT_EQ(184u, sizeof(SDevStreamRouteInfo));
    EXPECT_EQ(0u, offsetof(SDevStreamRouteInfo, n_route_count));
    EXPECT_EQ(8u, offsetof(SDevStreamRouteInfo, addr));
    EXPECT_EQ(104u, offsetof(SDevStreamRouteInfo, n_sms_tcp_port));
    EXPECT_EQ(108u, offsetof(SDevStreamRouteInfo, n_sms_websocket_port));
    EXPECT_EQ(112u, offsetof(SDevStreamRouteInfo, vec_site_sms));
    EXPECT_EQ(136u, offsetof(SDevStreamRouteInfo, b_use_device_lan_info));
    EXPECT_EQ(144u, offsetof(SDevStreamRouteInfo, str_device_lan_info));
    EXPECT_EQ(176u, offsetof(SDevStreamRouteInfo, reserved));
}

TEST(RecordLayoutsTest, SHttpMime) {
    EXPECT_EQ(232u, sizeof(SHttpMime));
    EXPECT_EQ(0u, offsetof(SHttpMime, str_mime_0));
    EXPECT_EQ(32u, offsetof(SHttpMime, str_mime_1));
    EXPECT_EQ(64u, offsetof(SHttpMime, str_mime_2));
    EXPECT_EQ(96u, offsetof(SHttpMime, str_mime_3));
    EXPECT_EQ(128u, offsetof(SHttpMime, str_mime_4));
    EXPECT_EQ(160u, offsetof(SHttpMime, str_mime_5));
    EXPECT_EQ(192u, offsetof(SHttpMime, str_mime_6));
    EXPECT_EQ(224u, offsetof(SHttpMime, reserved));
}

TEST(RecordLayoutsTest, SHttpRequest) {
    EXPECT_EQ(224u, sizeof(SHttpRequest));
    EXPECT_EQ(0u, offsetof(SHttpRequest, n_connection_id));
    EXPECT_EQ(8u, offsetof(SHttpRequest, b_access_type_https));
    EXPECT_EQ(16u, offsetof(SHttpRequest, str_url));
    EXPECT_EQ(48u, offsetof(SHttpRequest, n_method));
    EXPECT_EQ(56u, offsetof(SHttpRequest, str_request_text));
    EXPECT_EQ(88u, offsetof(SHttpRequest, vec_url_ids));
    EXPECT_EQ(112u, offsetof(SHttpRequest, map_params));
    EXPECT_EQ(160u, offsetof(SHttpRequest, str_body));
    EXPECT_EQ(192u, offsetof(SHttpRequest, vec_mime));
    EXPECT_EQ(216u, offsetof(SHttpRequest, reserved));
}

TEST(RecordLayoutsTest, SHttpResponse) {
    EXPECT_EQ(80u, sizeof(SHttpResponse));
    EXPECT_EQ(0u, offsetof(SHttpResponse, str_body));
    EXPECT_EQ(32u, offsetof(SHttpResponse, str_spare_text));
    EXPECT_EQ(64u, offsetof(SHttpResponse, b_no_auto_reply));
}

TEST(RecordLayoutsTest, SSystemWANInfo) {
    EXPECT_EQ(104u, sizeof(SSystemWANInfo));
    EXPECT_EQ(0u, offsetof(SSystemWANInfo, b_enable));
    EXPECT_EQ(8u, offsetof(SSystemWANInfo, str_ip_address));
    EXPECT_EQ(40u, offsetof(SSystemWANInfo, n_http_port));
    EXPECT_EQ(44u, offsetof(SSystemWANInfo, n_https_port));
    EXPECT_EQ(48u, offsetof(SSystemWANInfo, n_rtsp_port));
    EXPECT_EQ(52u, offsetof(SSystemWANInfo, n_tcp_port));
    EXPECT_EQ(56u, offsetof(SSystemWANInfo, n_sms_websocket_port));
    EXPECT_EQ(60u, offsetof(SSystemWANInfo, n_registration_port));
    EXPECT_EQ(64u, offsetof(SSystemWANInfo, n_event_tcp_port));
    EXPECT_EQ(68u, offsetof(SSystemWANInfo, n_event_udp_port));
    EXPECT_EQ(72u, offsetof(SSystemWANInfo, n_tlink_register_port));
    EXPECT_EQ(76u, offsetof(SSystemWANInfo, n_tlink_vagserver_port));
    EXPECT_EQ(80u, offsetof(SSystemWANInfo, n_tlink_alarm_port));
    EXPECT_EQ(84u, offsetof(SSystemWANInfo, n_spare_port));
    EXPECT_EQ(88u, offsetof(SSystemWANInfo, n_tlink_plugin_port));
}

TEST(RecordLayoutsTest, SMSTokenRegeditInfo) {
    EXPECT_EQ(224u, sizeof(SMSTokenRegeditInfo));
    EXPECT_EQ(0u, offsetof(SMSTokenRegeditInfo, str_field_0));
    EXPECT_EQ(32u, offsetof(SMSTokenRegeditInfo, str_field_1));
    EXPECT_EQ(64u, offsetof(SMSTokenRegeditInfo, str_field_2));
    EXPECT_EQ(96u, offsetof(SMSTokenRegeditInfo, n_field_3));
    EXPECT_EQ(104u, offsetof(SMSTokenRegeditInfo, str_field_4));
    EXPECT_EQ(136u, offsetof(SMSTokenRegeditInfo, str_field_5));
    EXPECT_EQ(168u, offsetof(SMSTokenRegeditInfo, n_field_6));
    EXPECT_EQ(172u, offsetof(SMSTokenRegeditInfo, n_field_7));
    EXPECT_EQ(176u, offsetof(SMSTokenRegeditInfo, n_field_8));
    EXPECT_EQ(184u, offsetof(SMSTokenRegeditInfo, str_field_9));
    EXPECT_EQ(216u, offsetof(SMSTokenRegeditInfo, reserved));
}

TEST(RecordLayoutsTest, SVehicleCustomField) {
    EXPECT_EQ(104u, sizeof(SVehicleCustomField));
    EXPECT_EQ(0u, offsetof(SVehicleCustomField, str_field_0));
    EXPECT_EQ(32u, offsetof(SVehicleCustomField, n_field_1));
    EXPECT_EQ(40u, offsetof(SVehicleCustomField, str_field_2));
    EXPECT_EQ(72u, offsetof(SVehicleCustomField, vec_field_3));
    EXPECT_EQ(96u, offsetof(SVehicleCustomField, reserved));
}

TEST(RecordLayoutsTest, SVehicleInfo) {
    EXPECT_EQ(384u, sizeof(SVehicleInfo));
    EXPECT_EQ(0u, offsetof(SVehicleInfo, n_field_0));
    EXPECT_EQ(8u, offsetof(SVehicleInfo, str_field_1));
    EXPECT_EQ(40u, offsetof(SVehicleInfo, str_field_2));
    EXPECT_EQ(72u, offsetof(SVehicleInfo, str_field_3));
    EXPECT_EQ(104u, offsetof(SVehicleInfo, str_field_4));
    EXPECT_EQ(136u, offsetof(SVehicleInfo, n_field_5));
    EXPECT_EQ(140u, offsetof(SVehicleInfo, n_field_6));
    EXPECT_EQ(144u, offsetof(SVehicleInfo, n_field_7));
    EXPECT_EQ(152u, offsetof(SVehicleInfo, str_field_8));
    EXPECT_EQ(184u, offsetof(SVehicleInfo, str_field_9));
    EXPECT_EQ(216u, offsetof(SVehicleInfo, str_field_10));
    EXPECT_EQ(248u, offsetof(SVehicleInfo, str_field_11));
    EXPECT_EQ(280u, offsetof(SVehicleInfo, str_field_12));
    EXPECT_EQ(312u, offsetof(SVehicleInfo, n_field_13));
    EXPECT_EQ(316u, offsetof(SVehicleInfo, n_field_14));
    EXPECT_EQ(320u, offsetof(SVehicleInfo, str_field_15));
    EXPECT_EQ(352u, offsetof(SVehicleInfo, list_custom_fields));
    EXPECT_EQ(376u, offsetof(SVehicleInfo, reserved));
}

TEST(RecordLayoutsTest, SStateRange) {
    EXPECT_EQ(64u, sizeof(SStateRange));
    EXPECT_EQ(0u, offsetof(SStateRange, str_begin_time_));
    EXPECT_EQ(32u, offsetof(SStateRange, str_end_time_));
}

}  // namespace
}  // namespace qar
