#include <gtest/gtest.h>

#include <utility>

#include "qar/RouteRecords.h"

namespace qar {
namespace {

TEST(RouteRecordTest, RecordsStartUnset) {
    const SNetworkAddr addr;
    EXPECT_EQ(addr.str_ip, "");
    EXPECT_EQ(addr.n_port, 0u);
    EXPECT_EQ(addr.reserved, nullptr);

    const SSiteSMSInfo sms;
    EXPECT_EQ(sms.n_sms_id, -1);
    EXPECT_EQ(sms.n_site_id, -1);
    EXPECT_EQ(sms.reserved, nullptr);

    const SRouteQueryKeyParam key;
    EXPECT_EQ(key.str_route_key, "");
    EXPECT_EQ(key.n_command_type, -1);
    EXPECT_EQ(key.n_user_assignway, -1);
    EXPECT_EQ(key.n_network_location, -1);
    EXPECT_EQ(key.reserved, nullptr);

    const SDevStreamRouteInfo route;
    EXPECT_EQ(route.n_route_count, -1);
    EXPECT_EQ(route.addr[1].n_port, 0u);
    EXPECT_EQ(route.n_sms_tcp_port, 0u);
    EXPECT_EQ(route.n_sms_websocket_port, 0u);
    EXPECT_TRUE(route.vec_site_sms.empty());
    EXPECT_FALSE(route.b_use_device_lan_info);
    EXPECT_EQ(route.str_device_lan_info, "");
    EXPECT_EQ(route.reserved, nullptr);
}

TEST(RouteRecordTest, QueryKeyIsCopiedAndMovedWhole) {
    int target = 0;
    SRouteQueryKeyParam source;
    source.str_route_key = "key";
    source.n_command_type = 1;
    source.n_user_assignway = 2;
    source.n_network_location = 3;
    source.reserved = &target;

    SRouteQueryKeyParam copy(source);
    SRouteQueryKeyParam moved(std::move(copy));
    SRouteQueryKeyParam assigned;
    assigned = moved;
    SRouteQueryKeyParam move_assigned;
    move_assigned = std::move(assigned);
    EXPECT_EQ(move_assigned.str_route_key, "key");
    EXPECT_EQ(move_assigned.n_command_type, 1);
    EXPECT_EQ(move_assigned.n_user_assignway, 2);
    EXPECT_EQ(move_assigned.n_network_location, 3);
    EXPECT_EQ(move_assigned.reserved, &target);
    EXPECT_EQ(assigned.reserved, &target);  // NOLINT(bugprone-use-after-move)
}

TEST(RouteRecordTest, RouteIsCopiedAndMovedWithBothAddressesAndItsServers) {
    int target = 0;
    SDevStreamRouteInfo source;
    source.n_route_count = 2;
    source.addr[0].str_ip = "10.0.0.1";
    source.addr[0].n_port = 554;
    source.addr[1].str_ip = "10.0.0.2";
    source.addr[1].reserved = &target;
    source.n_sms_tcp_port = 1;
    source.n_sms_websocket_port = 2;
    SSiteSMSInfo sms;
    sms.n_sms_id = 3;
    sms.n_site_id = 4;
    sms.reserved = &target;
    source.vec_site_sms.push_back(sms);
    source.b_use_device_lan_info = true;
    source.str_device_lan_info = "lan";
    source.reserved = &target;

    SDevStreamRouteInfo copy(source);
    SDevStreamRouteInfo moved(std::move(copy));
    SDevStreamRouteInfo assigned;
    assigned = moved;
    SDevStreamRouteInfo route;
    route = std::move(assigned);
    EXPECT_EQ(route.n_route_count, 2);
    EXPECT_EQ(route.addr[0].str_ip, "10.0.0.1");
    EXPECT_EQ(route.addr[0].n_port, 554u);
    EXPECT_EQ(route.addr[1].str_ip, "10.0.0.2");
    EXPECT_EQ(route.addr[1].reserved, &target);
    EXPECT_EQ(route.n_sms_tcp_port, 1u);
    EXPECT_EQ(route.n_sms_websocket_port, 2u);
    ASSERT_EQ(route.vec_site_sms.size(), 1u);
    EXPECT_EQ(route.vec_site_sms[0].n_sms_id, 3);
    EXPECT_EQ(route.vec_site_sms[0].n_site_id, 4);
    EXPECT_EQ(route.vec_site_sms[0].reserved, &target);
    EXPECT_TRUE(route.b_use_device_lan_info);
    EXPECT_EQ(route.str_device_lan_info, "lan");
    EXPECT_EQ(route.reserved, &target);
    EXPECT_EQ(assigned.reserved, &target);  // NOLINT(bugprone-use-after-move)
}

TEST(RouteRecordTest, SiteServerIsAssignedByteForByte) {
    int target = 0;
    SSiteSMSInfo source;
    source.n_sms_id = 3;
    source.n_site_id = 4;
    source.reserved = &target;
    SSiteSMSInfo assigned;
    assigned = source;
    SSiteSMSInfo move_assigned;
    move_assigned = std::move(source);
    EXPECT_EQ(assigned.n_sms_id, 3);
    EXPECT_EQ(assigned.n_site_id, 4);
    EXPECT_EQ(assigned.reserved, &target);
    EXPECT_EQ(move_assigned.n_site_id, 4);
    EXPECT_EQ(move_assigned.reserved, &target);
}

}  // namespace
}  // namespace qar
