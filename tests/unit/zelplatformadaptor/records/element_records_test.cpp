#include <gtest/gtest.h>

#include <utility>

#include "qar/ElementRecords.h"

namespace qar {
namespace {

TEST(ElementRecordTest, ElementStartsUnset) {
    SElementBaseInfo element;
    EXPECT_EQ(element.n_element_id, -1);
    EXPECT_EQ(element.str_element_guid, "");
    EXPECT_EQ(element.n_area_id, -1);
    EXPECT_EQ(element.n_element_type, -1);
    EXPECT_EQ(element.n_physical_id, -1);
    EXPECT_EQ(element.n_device_id, -1);
    EXPECT_EQ(element.n_site_id, -1);
    EXPECT_FALSE(element.b_online);
    EXPECT_EQ(element.n_create_time, -1);
    EXPECT_EQ(element.ptr_channel, nullptr);
    EXPECT_EQ(element.ptr_device, nullptr);
    EXPECT_EQ(element.ptr_site_element, nullptr);
    EXPECT_EQ(element.GetDeviceCategory(), -1);
    EXPECT_EQ(element.GetOnlineIdentificationGUID(), "");
}

SElementBaseInfo FilledElement() {
    SElementBaseInfo element;
    element.n_element_id = 1;
    element.str_element_guid = "guid";
    element.str_element_name = "name";
    element.n_area_id = 2;
    element.str_area_name = "area";
    element.n_element_type = 1001;
    element.n_physical_id = 3;
    element.n_device_id = 4;
    element.n_site_id = 5;
    element.b_online = true;
    element.n_create_time = 5000000000LL;
    element.ptr_channel = std::make_shared<SChannelBaseInfo>();
    element.ptr_device = std::make_shared<SDeviceBaseInfo>();
    element.ptr_site_element = std::make_shared<SSiteElementInfo>();
    element.SetDeviceCategory(6);
    element.SetOnlineIdentificationGUID("online");
    return element;
}

void ExpectSame(SElementBaseInfo& element, const SElementBaseInfo& source) {
    EXPECT_EQ(element.n_element_id, 1);
    EXPECT_EQ(element.str_element_guid, "guid");
    EXPECT_EQ(element.str_element_name, "name");
    EXPECT_EQ(element.n_area_id, 2);
    EXPECT_EQ(element.str_area_name, "area");
    EXPECT_EQ(element.n_element_type, 1001);
    EXPECT_EQ(element.n_physical_id, 3);
    EXPECT_EQ(element.n_device_id, 4);
    EXPECT_EQ(element.n_site_id, 5);
    EXPECT_TRUE(element.b_online);
    EXPECT_EQ(element.n_create_time, 5000000000LL);
    EXPECT_EQ(element.ptr_channel, source.ptr_channel);
    EXPECT_EQ(element.ptr_device, source.ptr_device);
    EXPECT_EQ(element.ptr_site_element, source.ptr_site_element);
    EXPECT_EQ(element.GetDeviceCategory(), 6);
    EXPECT_EQ(element.GetOnlineIdentificationGUID(), "online");
}

TEST(ElementRecordTest, CopyAndAssignmentShareDetailAndOwnTheirExtension) {
    SElementBaseInfo source = FilledElement();
    SElementBaseInfo copy(source);
    SElementBaseInfo assigned;
    assigned = source;
    source.SetDeviceCategory(9);
    source.SetOnlineIdentificationGUID("other");
    ExpectSame(copy, source);
    ExpectSame(assigned, source);
}

TEST(ElementRecordTest, SelfAssignmentKeepsTheElement) {
    SElementBaseInfo element = FilledElement();
    const SElementBaseInfo& same = element;
    element = same;
    ExpectSame(element, element);
    EXPECT_NE(element.ptr_channel, nullptr);
}

TEST(ElementRecordTest, SiteElementStartsUnset) {
    const SSiteElementInfo site_element;
    EXPECT_EQ(site_element.n_remote_site_id, -1);
    EXPECT_EQ(site_element.n_id_in_remote_site, -1);
    EXPECT_EQ(site_element.ptr_channel, nullptr);
    EXPECT_EQ(site_element.ptr_device, nullptr);
    EXPECT_EQ(site_element.reserved, nullptr);
}

TEST(ElementRecordTest, SiteElementIsCopiedAndMovedWithItsReservedPointer) {
    int target = 0;
    SSiteElementInfo source;
    source.n_remote_site_id = 1;
    source.n_id_in_remote_site = 2;
    source.ptr_channel = std::make_shared<SChannelBaseInfo>();
    source.ptr_device = std::make_shared<SDeviceDetailInfo>();
    source.reserved = &target;
    const auto channel = source.ptr_channel;

    SSiteElementInfo copy(source);
    EXPECT_EQ(copy.ptr_channel, channel);
    EXPECT_EQ(copy.reserved, &target);

    SSiteElementInfo moved(std::move(source));
    EXPECT_EQ(moved.n_remote_site_id, 1);
    EXPECT_EQ(moved.n_id_in_remote_site, 2);
    EXPECT_EQ(moved.ptr_channel, channel);
    EXPECT_EQ(moved.reserved, &target);
    EXPECT_EQ(source.reserved, &target);  // NOLINT(bugprone-use-after-move)

    SSiteElementInfo assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.ptr_channel, channel);
    EXPECT_NE(assigned.ptr_device, nullptr);
    EXPECT_EQ(assigned.reserved, &target);
}

}  // namespace
}  // namespace qar
