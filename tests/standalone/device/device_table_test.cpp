#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <vector>

#include "ZELPlatform/Resources.h"
#include "standalone/device/DeviceTable.h"
#include "tuk/DeviceManager.h"

namespace {

using qarplatform::DeviceTable;
using qarplatform::Site;
using ZELPlatform::Resources::CElementInterface;
using ZELPlatform::Resources::GetCurrentNodeAllElementsByType;

tuk::CDeviceManager& Manager() { return *Mox::Base::CSingleton<tuk::CDeviceManager>::Instance(); }

class DeviceTableTest : public testing::Test {
protected:
    void SetUp() override {
        Site site;
        site.zones = {{"east8", "UTC+08:00", -480, false, false, "", "", 0}};
        site.areas = {{5, "Yard", 0}};
        site.devices = {
            {2, 2001, "D-2", "Second", "tcp://127.0.0.1:80", "", "", false},
            {1, 2001, "D-1", "First", "rtsp://[::1]:5541/a", "http://h/archive", "east8", true},
            {3, 2003, "D-3", "Third", "http://h/", "", "", true},
        };
        site.channels = {{101, 1001, "C-101", 1, 4}, {102, 1005, "C-102", 1, 4}, {103, 1001, "C-103", 2, 1}};
        site.elements = {{1002, "E-2", "Two", 102, 5, 60}, {1001, "E-1", "One", 101, 0, 61}};
        DeviceTable::Publish(std::make_unique<const DeviceTable>(site));
    }
};

TEST(DeviceTableBeforeLoadTest, NothingIsKnown) {
    std::vector<std::shared_ptr<tuk::CDevice>> devices;
    Manager().GetAllDevices(devices, 2001);
    EXPECT_TRUE(devices.empty());
    EXPECT_EQ(Manager().FindDeviceByID(1, 2001), nullptr);
    std::map<unsigned int, std::shared_ptr<CElementInterface>> elements;
    GetCurrentNodeAllElementsByType(elements, 1001);
    EXPECT_TRUE(elements.empty());
}

TEST_F(DeviceTableTest, DeviceTellsItsRecord) {
    const auto device = Manager().FindDeviceByID(1, 2001);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->GetID(), 1);
    EXPECT_EQ(device->GetType(), 2001);
    EXPECT_EQ(device->GetGuid(), "D-1");
    EXPECT_EQ(device->GetTextA(), "::1");
    EXPECT_EQ(device->GetTextB(), "First");
    EXPECT_EQ(device->GetTextC(), "rtsp://[::1]:5541/a");
    EXPECT_EQ(device->GetTextD(), "http://h/archive");
    EXPECT_EQ(device->GetTextE(), "east8");
    EXPECT_EQ(device->GetPort(), 5541);
    EXPECT_EQ(device->GetAlternatePort(), 5541);
    EXPECT_TRUE(device->GetGuardStatus());
    EXPECT_FALSE(device->IsOnline());
    EXPECT_EQ(device->GetTimeValue(), -1);
    EXPECT_EQ(device->GetOnlineIdentificationGUID(), "");
    EXPECT_EQ(device->GetFirmwareVersion(), "");
    EXPECT_EQ(device->GetStreamKey(), "");
    EXPECT_EQ(device->GetLoginMode(), 0);
    EXPECT_EQ(device->GetSubCategory(), 0);
    EXPECT_EQ(device->GetFeature(tuk::kFeatureVideo), nullptr);
    EXPECT_FALSE(Manager().FindDeviceByID(2, 2001)->GetGuardStatus());
}

TEST_F(DeviceTableTest, DevicesAreFoundByTypeIdAndGuid) {
    std::vector<std::shared_ptr<tuk::CDevice>> devices;
    Manager().GetAllDevices(devices, 2001);
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0]->GetID(), 1);
    EXPECT_EQ(devices[1]->GetID(), 2);

    EXPECT_EQ(Manager().FindDeviceByID(3, 2001), nullptr);
    EXPECT_NE(Manager().FindDeviceByID(3, 2003), nullptr);
    EXPECT_EQ(Manager().FindDeviceByGuid("D-3"), Manager().FindDeviceByID(3, 2003));
    EXPECT_EQ(Manager().FindDeviceByGuid("d-3"), nullptr);
    EXPECT_EQ(Manager().FindDeviceByGuid(""), nullptr);
}

TEST_F(DeviceTableTest, ChannelsAreFoundByTypeIdAndNumber) {
    const auto device = Manager().FindDeviceByID(1, 2001);
    EXPECT_EQ(device->FindChannelByNo(4, 1001)->GetID(), 101);
    EXPECT_EQ(device->FindChannelByNo(4, 1005)->GetID(), 102);
    EXPECT_EQ(device->FindChannelByNo(1, 1001), nullptr);
    EXPECT_EQ(device->FindChannelByID(101, 1001)->GetNo(), 4);
    EXPECT_EQ(device->FindChannelByID(101, 1005), nullptr);
    EXPECT_EQ(device->FindChannelByID(103, 1001), nullptr);
    EXPECT_EQ(Manager().FindChannelByID(103, 1001)->GetDeviceID(), 2);
    EXPECT_EQ(Manager().FindChannelByID(103, 1005), nullptr);
    EXPECT_EQ(Manager().FindChannelByID(104, 1001), nullptr);

    std::vector<std::shared_ptr<tuk::CChannel>> channels;
    device->GetChannels(channels, 1001);
    ASSERT_EQ(channels.size(), 1U);
    EXPECT_EQ(channels[0]->GetID(), 101);
}

TEST_F(DeviceTableTest, ChannelTellsItsRecordAndDevice) {
    const auto channel = Manager().FindChannelByID(101, 1001);
    EXPECT_EQ(channel->GetGuid(), "C-101");
    EXPECT_EQ(channel->GetType(), 1001);
    EXPECT_EQ(channel->GetDeviceGuid(), "D-1");
    EXPECT_EQ(channel->GetDevicePtr(), Manager().FindDeviceByID(1, 2001));
    const auto* camera = dynamic_cast<const tuk::CCamera*>(channel.get());
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(camera->GetTRAPICameraNo(), 4);
    EXPECT_EQ(camera->GetMultiStreamProto(), 0);
    EXPECT_EQ(dynamic_cast<const tuk::CCamera*>(Manager().FindChannelByID(102, 1005).get()), nullptr);
}

TEST_F(DeviceTableTest, ElementsAreKeyedByIdAndTellTheirChannel) {
    std::map<unsigned int, std::shared_ptr<CElementInterface>> elements;
    elements[7] = nullptr;
    GetCurrentNodeAllElementsByType(elements, 1001);

    ASSERT_EQ(elements.size(), 2U);
    const auto element = elements.at(1001);
    EXPECT_EQ(element->GetID(), 1001U);
    EXPECT_EQ(element->GetGuid(), "E-1");
    EXPECT_EQ(element->GetName(), "One");
    EXPECT_EQ(element->GetAreaID(), 0U);
    EXPECT_EQ(element->GetAreaName(), "");
    EXPECT_EQ(element->GetType(), 1001);
    EXPECT_EQ(element->GetPhysicalID(), 101U);
    EXPECT_EQ(element->GetDeviceID(), 1U);
    EXPECT_EQ(element->GetDeviceType(), 2001);
    EXPECT_EQ(element->GetCreateTime(), 61);
    EXPECT_EQ(element->GetOnlineIdentificationGUID(), "");

    elements.clear();
    GetCurrentNodeAllElementsByType(elements, 1005);
    ASSERT_EQ(elements.size(), 1U);
    EXPECT_EQ(elements.at(1002)->GetAreaName(), "Yard");
}

TEST_F(DeviceTableTest, DeviceChannelAndElementAreOnlineTogether) {
    std::map<unsigned int, std::shared_ptr<CElementInterface>> elements;
    GetCurrentNodeAllElementsByType(elements, 1001);
    const auto channel = Manager().FindChannelByID(101, 1001);
    for (const bool online : {true, false}) {
        DeviceTable::Current().FindDevice(1)->SetOnline(online);
        EXPECT_EQ(Manager().FindDeviceByID(1, 2001)->IsOnline(), online);
        EXPECT_EQ(channel->IsOnline(), online);
        EXPECT_EQ(elements.at(1001)->IsOnline(), online);
    }
}

}  // namespace
