#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <string>

#include "mock/Platform.h"
#include "zelplatformadaptor/DeviceManagerImpl.h"

namespace qar {
namespace {

using qarmock::FakeCamera;
using qarmock::FakeChannel;
using qarmock::FakeDevice;
using qarmock::FakeVideoFeature;
using ::testing::_;
using ::testing::IsEmpty;
using ::testing::Return;

constexpr unsigned int kUnknown = 0xFFFFFFFF;

class DeviceManagerTest : public ::testing::Test {
protected:
    DeviceManagerTest() {
        device = std::make_shared<FakeDevice>();
        device->id = 7;
        device->type = 2001;
        device->guid = "guid-7";
        device->text_a = "a";
        device->text_b = "b";
        device->text_c = "c";
        device->text_d = "d";
        device->text_e = "e";
        device->port = 554;
        device->alternate_port = 65535;
        device->login_mode = 4;
        device->sub_category = 3;
        device->firmware_version = "V1";
        device->time_value = 5000000000LL;
        device->online_identification_guid = "online";
        device->stream_key = "key";
        platform.site.Add(device);
        camera = AddChannel<FakeCamera>(101, 1001, 1);
        camera->trapi_camera_no = 33;
    }

    ~DeviceManagerTest() override { EXPECT_THAT(platform.log.Lines(), IsEmpty()); }

    template <class Channel>
    std::shared_ptr<Channel> AddChannel(int id, int type, int no) {
        auto channel = std::make_shared<Channel>();
        channel->id = id;
        channel->type = type;
        channel->guid = "guid-" + std::to_string(id);
        channel->no = no;
        channel->device_id = device->id;
        channel->device = device;
        platform.site.Add(channel);
        device->channels.push_back(channel);
        return channel;
    }

    static void ExpectDevice(SDeviceBaseInfo& record, unsigned int port) {
        EXPECT_EQ(record.n_device_type, 2001);
        EXPECT_EQ(record.n_device_id, 7);
        EXPECT_EQ(record.str_device_guid, "guid-7");
        EXPECT_EQ(record.str_device_text_a, "a");
        EXPECT_EQ(record.str_device_text_b, "b");
        EXPECT_EQ(record.str_device_text_c, "c");
        EXPECT_EQ(record.n_device_port, port);
        EXPECT_TRUE(record.b_device_flag);
        EXPECT_EQ(record.n_device_time, 5000000000LL);
        EXPECT_TRUE(record.GetGuardStatus());
        EXPECT_EQ(record.GetSubCategory(), 3);
        EXPECT_EQ(record.GetOnlineIdentificationGUID(), "online");
    }

    qarmock::Platform platform;
    std::shared_ptr<FakeDevice> device;
    std::shared_ptr<FakeCamera> camera;
    CDeviceManagerImpl manager;
};

TEST_F(DeviceManagerTest, GuidLookUpGivesTheDevicesPortAndIdLookUpTheAlternateOne) {
    SDeviceBaseInfo by_guid;
    EXPECT_TRUE(manager.GetDeviceInfoByGuid(by_guid, "guid-7"));
    ExpectDevice(by_guid, 554);
    SDeviceBaseInfo by_id;
    EXPECT_TRUE(manager.GetDeviceInfoByID(by_id, 7, 2001));
    ExpectDevice(by_id, 65535);
}

TEST_F(DeviceManagerTest, UnknownDeviceIsFalseAndLeavesTheRecord) {
    SDeviceDetailInfo record;
    record.n_device_id = 55;
    EXPECT_FALSE(manager.GetDeviceInfoByGuid(record, "no such guid"));
    EXPECT_FALSE(manager.GetDeviceInfoByID(record, 8, 2001));
    EXPECT_FALSE(manager.GetDeviceInfoByID(record, 7, 2002));
    EXPECT_FALSE(manager.GetDeviceDetailInfo(record, 8, 2001));
    EXPECT_EQ(record.n_device_id, 55);
}

TEST_F(DeviceManagerTest, AllDevicesAreAppendedInOrderWithTheTypeAskedFor) {
    const auto second = std::make_shared<FakeDevice>();
    second->id = 8;
    second->type = 3000;
    EXPECT_CALL(platform.devices, GetAllDevices(_, 2001)).WillOnce([&](auto& devices, int) {
        devices = {device, nullptr, second};
    });
    std::list<std::shared_ptr<SDeviceBaseInfo>> records(1);
    EXPECT_TRUE(manager.GetAllDevices(records, 2001));
    ASSERT_EQ(records.size(), 3u);
    ExpectDevice(**std::next(records.begin(), 1), 65535);
    EXPECT_EQ(records.back()->n_device_id, 8);
    EXPECT_EQ(records.back()->n_device_type, 2001);
}

TEST_F(DeviceManagerTest, AllDevicesOfAnUnknownTypeAreAnEmptyListAndTrue) {
    std::list<std::shared_ptr<SDeviceBaseInfo>> records;
    EXPECT_TRUE(manager.GetAllDevices(records, 4711));
    EXPECT_THAT(records, IsEmpty());
}

TEST_F(DeviceManagerTest, DetailHoldsTheFurtherAttributesAndTheVideoFeaturesUrlFormat) {
    const auto video = std::make_shared<FakeVideoFeature>();
    video->url_format = "rtsp://%s";
    device->features[2] = video;
    SDeviceDetailInfo record;
    EXPECT_TRUE(manager.GetDeviceDetailInfo(record, 7, 2001));
    ExpectDevice(record, 65535);
    EXPECT_EQ(record.str_device_text_d, "d");
    EXPECT_EQ(record.str_device_text_e, "e");
    EXPECT_EQ(record.n_login_mode, 4);
    EXPECT_EQ(record.str_firmware_version, "V1");
    EXPECT_EQ(record.str_stream_key, "key");
    EXPECT_EQ(record.str_url_format, "rtsp://%s");
}

TEST_F(DeviceManagerTest, DetailOfADeviceWithoutVideoFeatureIsTrueWithAnEmptyUrlFormat) {
    SDeviceDetailInfo record;
    EXPECT_TRUE(manager.GetDeviceDetailInfo(record, 7, 2001));
    EXPECT_EQ(record.str_url_format, "");
    device->features[2] = std::make_shared<tuk::CFeature>();
    EXPECT_TRUE(manager.GetDeviceDetailInfo(record, 7, 2001));
    EXPECT_EQ(record.str_url_format, "");
}

TEST_F(DeviceManagerTest, CameraHasItsNumberOnTheTrapiInterface) {
    SChannelBaseInfo record;
    EXPECT_TRUE(manager.GetChannelInfo(record, 101, 1001));
    EXPECT_EQ(record.n_channel_type, 1001);
    EXPECT_EQ(record.n_channel_id, 101);
    EXPECT_EQ(record.str_channel_guid, "guid-101");
    EXPECT_EQ(record.n_channel_no, 1);
    EXPECT_EQ(record.n_trapi_camera_no, 33);
    EXPECT_EQ(record.n_channel_spare, -1);
    EXPECT_TRUE(record.b_channel_flag);
    EXPECT_EQ(record.n_device_id, 7);
    EXPECT_EQ(record.n_device_type, 2001);
    EXPECT_EQ(record.GetRelatedChannelIP(), "");
    EXPECT_EQ(record.GetRelatedChannelIPFileterInvaild(), "");
}

TEST_F(DeviceManagerTest, ChannelThatIsNoCameraHasItsChannelNumberThere) {
    AddChannel<FakeChannel>(201, 1002, 5);
    SChannelBaseInfo record;
    EXPECT_TRUE(manager.GetChannelInfo(record, 201, 1002));
    EXPECT_EQ(record.n_channel_no, 5);
    EXPECT_EQ(record.n_trapi_camera_no, 5);
}

TEST_F(DeviceManagerTest, ChannelOfTheCamerasTypeThatIsNoCameraKeepsTheChannelNumber) {
    AddChannel<FakeChannel>(202, 1001, 6);
    SChannelBaseInfo record;
    EXPECT_TRUE(manager.GetChannelInfo(record, 202, 1001));
    EXPECT_EQ(record.n_trapi_camera_no, 6);
}

TEST_F(DeviceManagerTest, CameraAskedForUnderAnotherTypeKeepsTheChannelNumber) {
    const auto other = AddChannel<FakeCamera>(203, 1002, 6);
    other->trapi_camera_no = 44;
    SChannelBaseInfo record;
    EXPECT_TRUE(manager.GetChannelInfo(record, 203, 1002));
    EXPECT_EQ(record.n_trapi_camera_no, 6);
}

TEST_F(DeviceManagerTest, ChannelWhoseDeviceIsGoneIsTrueWithoutDeviceIdAndType) {
    camera->device.reset();
    SChannelBaseInfo record;
    EXPECT_TRUE(manager.GetChannelInfo(record, 101, 1001));
    EXPECT_EQ(record.n_channel_id, 101);
    EXPECT_EQ(record.n_device_id, -1);
    EXPECT_EQ(record.n_device_type, -1);
}

TEST_F(DeviceManagerTest, UnknownChannelIsFalse) {
    SChannelBaseInfo record;
    EXPECT_FALSE(manager.GetChannelInfo(record, 999, 1001));
    EXPECT_EQ(record.n_channel_id, -1);
}

TEST_F(DeviceManagerTest, ChannelsOfADeviceAreAppendedInOrder) {
    AddChannel<FakeChannel>(102, 1001, 2);
    AddChannel<FakeChannel>(301, 1003, 1);
    camera->device.reset();  // the device found counts, not the channel's own look-up
    std::list<std::shared_ptr<SChannelBaseInfo>> records(1);
    EXPECT_TRUE(manager.GetDeviceChannels(records, 7, 2001, 1001));
    ASSERT_EQ(records.size(), 3u);
    const auto& first = **std::next(records.begin(), 1);
    EXPECT_EQ(first.n_channel_id, 101);
    EXPECT_EQ(first.n_trapi_camera_no, 33);
    EXPECT_EQ(first.n_device_id, 7);
    EXPECT_EQ(first.n_device_type, 2001);
    EXPECT_EQ(records.back()->n_channel_id, 102);
    EXPECT_EQ(records.back()->n_trapi_camera_no, 2);

    EXPECT_FALSE(manager.GetDeviceChannels(records, 8, 2001, 1001));
    EXPECT_EQ(records.size(), 3u);
}

TEST_F(DeviceManagerTest, IdsAndNumbersAreFoundThroughTheDevice) {
    AddChannel<FakeChannel>(301, 1003, 9);
    EXPECT_EQ(manager.GetChannelIDByNo(9, 1003, 7, 2001), 301u);
    EXPECT_EQ(manager.GetChannelIDByNo(1, 1001, 7, 2001), 101u);
    EXPECT_EQ(manager.GetCameraIDByNo(1, 7, 2001), 101u);
    EXPECT_EQ(manager.GetChannelNoByID(7, 301, 1003, 2001), 9u);
    EXPECT_EQ(manager.GetChannelNoByID(7, 101, 1001, 2001), 1u);
}

TEST_F(DeviceManagerTest, UnknownDeviceOrChannelGivesAllBitsSet) {
    AddChannel<FakeChannel>(301, 1003, 9);
    EXPECT_EQ(manager.GetChannelIDByNo(1, 1001, 8, 2001), kUnknown);
    EXPECT_EQ(manager.GetChannelIDByNo(2, 1001, 7, 2001), kUnknown);
    EXPECT_EQ(manager.GetCameraIDByNo(1, 8, 2001), kUnknown);
    EXPECT_EQ(manager.GetCameraIDByNo(9, 7, 2001), kUnknown);
    EXPECT_EQ(manager.GetChannelNoByID(8, 101, 1001, 2001), kUnknown);
    EXPECT_EQ(manager.GetChannelNoByID(7, 101, 1003, 2001), kUnknown);
}

TEST_F(DeviceManagerTest, LiveObjectsAreHandedOn) {
    EXPECT_EQ(manager.GetDevicePtr(7, 2001), device);
    EXPECT_EQ(manager.GetDevicePtr(8, 2001), nullptr);
    EXPECT_EQ(manager.GetChannelPtr(101, 1001), camera);
    EXPECT_EQ(manager.GetChannelPtr(101, 1002), nullptr);
}

TEST_F(DeviceManagerTest, FeatureIsTheDevicesOwn) {
    const auto feature = std::make_shared<tuk::CFeature>();
    device->features[5] = feature;
    EXPECT_EQ(manager.GetDeviceFeature(5, 7, 2001), feature);
    EXPECT_EQ(manager.GetDeviceFeature(6, 7, 2001), nullptr);
    EXPECT_EQ(manager.GetDeviceFeature(5, 8, 2001), nullptr);
}

}  // namespace
}  // namespace qar
