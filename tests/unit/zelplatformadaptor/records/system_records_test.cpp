#include <gtest/gtest.h>

#include <utility>

#include "qar/SystemRecords.h"

namespace qar {
namespace {

TEST(SystemRecordTest, WanMappingStartsOffWithoutPorts) {
    const SSystemWANInfo wan;
    EXPECT_FALSE(wan.b_enable);
    EXPECT_EQ(wan.str_ip_address, "");
    EXPECT_EQ(wan.n_http_port, 0u);
    EXPECT_EQ(wan.n_tlink_plugin_port, 0u);
    EXPECT_EQ(wan.GetHLSStreamPort(), 0u);
    EXPECT_EQ(wan.GetRTMPStreamPort(), 0u);
}

SSystemWANInfo FilledWan() {
    SSystemWANInfo wan;
    wan.b_enable = true;
    wan.str_ip_address = "192.0.2.1";
    wan.n_http_port = 1;
    wan.n_https_port = 2;
    wan.n_rtsp_port = 3;
    wan.n_tcp_port = 4;
    wan.n_sms_websocket_port = 5;
    wan.n_registration_port = 6;
    wan.n_event_tcp_port = 7;
    wan.n_event_udp_port = 8;
    wan.n_tlink_register_port = 9;
    wan.n_tlink_vagserver_port = 10;
    wan.n_tlink_alarm_port = 11;
    wan.n_spare_port = 12;
    wan.n_tlink_plugin_port = 13;
    wan.SetHLSStreamPort(14);
    wan.SetRTMPStreamPort(15);
    return wan;
}

void ExpectFilled(const SSystemWANInfo& wan) {
    EXPECT_TRUE(wan.b_enable);
    EXPECT_EQ(wan.str_ip_address, "192.0.2.1");
    EXPECT_EQ(wan.n_http_port, 1u);
    EXPECT_EQ(wan.n_https_port, 2u);
    EXPECT_EQ(wan.n_rtsp_port, 3u);
    EXPECT_EQ(wan.n_tcp_port, 4u);
    EXPECT_EQ(wan.n_sms_websocket_port, 5u);
    EXPECT_EQ(wan.n_registration_port, 6u);
    EXPECT_EQ(wan.n_event_tcp_port, 7u);
    EXPECT_EQ(wan.n_event_udp_port, 8u);
    EXPECT_EQ(wan.n_tlink_register_port, 9u);
    EXPECT_EQ(wan.n_tlink_vagserver_port, 10u);
    EXPECT_EQ(wan.n_tlink_alarm_port, 11u);
    EXPECT_EQ(wan.n_spare_port, 12u);
    EXPECT_EQ(wan.n_tlink_plugin_port, 13u);
    EXPECT_EQ(wan.GetHLSStreamPort(), 14u);
    EXPECT_EQ(wan.GetRTMPStreamPort(), 15u);
}

TEST(SystemRecordTest, WanMappingIsCopiedWholeAndOwnsItsExtension) {
    SSystemWANInfo source = FilledWan();
    const SSystemWANInfo copy(source);
    SSystemWANInfo assigned;
    assigned = source;
    source.SetHLSStreamPort(99);
    ExpectFilled(copy);
    ExpectFilled(assigned);
    const SSystemWANInfo& same = assigned;
    assigned = same;
    ExpectFilled(assigned);
}

TEST(SystemRecordTest, TokenRegistrationStartsWithItsDefaultsAndIsCopiedAndMovedWhole) {
    int target = 0;
    SMSTokenRegeditInfo source;
    EXPECT_EQ(source.n_field_3, -1);
    EXPECT_EQ(source.n_field_6, 0);
    EXPECT_EQ(source.n_field_7, -1);
    EXPECT_EQ(source.n_field_8, 0);
    EXPECT_EQ(source.reserved, nullptr);
    source.str_field_0 = "0";
    source.str_field_1 = "1";
    source.str_field_2 = "2";
    source.n_field_3 = 3;
    source.str_field_4 = "4";
    source.str_field_5 = "5";
    source.n_field_6 = 6;
    source.n_field_7 = 7;
    source.n_field_8 = 8;
    source.str_field_9 = "9";
    source.reserved = &target;

    SMSTokenRegeditInfo copy(source);
    SMSTokenRegeditInfo moved(std::move(copy));
    SMSTokenRegeditInfo assigned;
    assigned = moved;
    SMSTokenRegeditInfo token;
    token = std::move(assigned);
    EXPECT_EQ(token.str_field_0, "0");
    EXPECT_EQ(token.str_field_1, "1");
    EXPECT_EQ(token.str_field_2, "2");
    EXPECT_EQ(token.n_field_3, 3);
    EXPECT_EQ(token.str_field_4, "4");
    EXPECT_EQ(token.str_field_5, "5");
    EXPECT_EQ(token.n_field_6, 6);
    EXPECT_EQ(token.n_field_7, 7);
    EXPECT_EQ(token.n_field_8, 8);
    EXPECT_EQ(token.str_field_9, "9");
    EXPECT_EQ(token.reserved, &target);
    EXPECT_EQ(assigned.reserved, &target);  // NOLINT(bugprone-use-after-move)
}

}  // namespace
}  // namespace qar
