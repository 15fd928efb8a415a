#include <gtest/gtest.h>

#include <utility>

#include "mock/Platform.h"
#include "qar/DeviceRecords.h"

namespace qar {
namespace {

using ::testing::Return;

SDeviceBaseInfo FilledDevice() {
    SDeviceBaseInfo device;
    device.n_device_type = 2001;
    device.n_device_id = 7;
    device.str_device_guid = "guid";
    device.str_device_text_a = "a";
    device.str_device_text_b = "b";
    device.str_device_text_c = "c";
    device.n_device_port = 554;
    device.b_device_flag = true;
    device.n_device_time = 5000000000LL;
    device.SetGuardStatus(true);
    device.SetSubCategory(3);
    device.SetOnlineIdentificationGUID("online");
    return device;
}

void ExpectFilled(SDeviceBaseInfo& device) {
    EXPECT_EQ(device.n_device_type, 2001);
    EXPECT_EQ(device.n_device_id, 7);
    EXPECT_EQ(device.str_device_guid, "guid");
    EXPECT_EQ(device.str_device_text_a, "a");
    EXPECT_EQ(device.str_device_text_b, "b");
    EXPECT_EQ(device.str_device_text_c, "c");
    EXPECT_EQ(device.n_device_port, 554u);
    EXPECT_TRUE(device.b_device_flag);
    EXPECT_EQ(device.n_device_time, 5000000000LL);
    EXPECT_TRUE(device.GetGuardStatus());
    EXPECT_EQ(device.GetSubCategory(), 3);
    EXPECT_EQ(device.GetOnlineIdentificationGUID(), "online");
}

TEST(DeviceRecordTest, DeviceStartsUnset) {
    SDeviceBaseInfo device;
    EXPECT_EQ(device.n_device_type, -1);
    EXPECT_EQ(device.n_device_id, -1);
    EXPECT_EQ(device.str_device_guid, "");
    EXPECT_EQ(device.n_device_port, 0u);
    EXPECT_FALSE(device.b_device_flag);
    EXPECT_EQ(device.n_device_time, -1);
    EXPECT_FALSE(device.GetGuardStatus());
    EXPECT_EQ(device.GetSubCategory(), -1);
    EXPECT_EQ(device.GetOnlineIdentificationGUID(), "");
}

TEST(DeviceRecordTest, CopyAndAssignmentTakeEveryFieldAndOwnTheirExtension) {
    SDeviceBaseInfo source = FilledDevice();
    SDeviceBaseInfo copy(source);
    SDeviceBaseInfo assigned;
    assigned = source;
    source.SetGuardStatus(false);
    source.SetSubCategory(9);
    source.SetOnlineIdentificationGUID("other");
    ExpectFilled(copy);
    ExpectFilled(assigned);
}

TEST(DeviceRecordTest, SelfAssignmentKeepsTheDevice) {
    SDeviceBaseInfo device = FilledDevice();
    const SDeviceBaseInfo& same = device;
    device = same;
    ExpectFilled(device);
}

SDeviceDetailInfo FilledDetail() {
    SDeviceDetailInfo detail;
    static_cast<SDeviceBaseInfo&>(detail) = FilledDevice();
    detail.str_device_text_d = "d";
    detail.str_device_text_e = "e";
    detail.n_login_mode = 4;
    detail.str_firmware_version = "V1";
    detail.str_stream_key = "key";
    detail.str_url_format = "rtsp://%s";
    detail.reserved = &detail.n_login_mode;
    return detail;
}

void ExpectFilled(SDeviceDetailInfo& detail, const void* reserved) {
    ExpectFilled(static_cast<SDeviceBaseInfo&>(detail));
    EXPECT_EQ(detail.str_device_text_d, "d");
    EXPECT_EQ(detail.str_device_text_e, "e");
    EXPECT_EQ(detail.n_login_mode, 4);
    EXPECT_EQ(detail.str_firmware_version, "V1");
    EXPECT_EQ(detail.str_stream_key, "key");
    EXPECT_EQ(detail.str_url_format, "rtsp://%s");
    EXPECT_EQ(detail.reserved, reserved);
}

TEST(DeviceRecordTest, DetailStartsUnset) {
    SDeviceDetailInfo detail;
    EXPECT_EQ(detail.n_device_id, -1);
    EXPECT_EQ(detail.str_device_text_d, "");
    EXPECT_EQ(detail.n_login_mode, -1);
    EXPECT_EQ(detail.str_url_format, "");
    EXPECT_EQ(detail.reserved, nullptr);
}

TEST(DeviceRecordTest, DetailCopiesBaseExtensionAndReservedPointer) {
    SDeviceDetailInfo source = FilledDetail();
    SDeviceDetailInfo copy(source);
    ExpectFilled(copy, source.reserved);
    SDeviceDetailInfo assigned;
    assigned = source;
    ExpectFilled(assigned, source.reserved);
}

TEST(DeviceRecordTest, MovedFromDetailKeepsItsBaseItsExtensionAndItsReservedPointer) {
    SDeviceDetailInfo source = FilledDetail();
    const void* reserved = source.reserved;
    SDeviceDetailInfo moved(std::move(source));
    ExpectFilled(moved, reserved);
    ExpectFilled(static_cast<SDeviceBaseInfo&>(source));  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(source.reserved, reserved);

    SDeviceDetailInfo assigned;
    assigned = std::move(moved);
    ExpectFilled(assigned, reserved);
    ExpectFilled(static_cast<SDeviceBaseInfo&>(moved));  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(moved.reserved, reserved);
}

TEST(DeviceRecordTest, DetailSlicedToTheBaseKeepsTheExtensionsFields) {
    SDeviceBaseInfo sliced = FilledDetail();
    ExpectFilled(sliced);
}

class ChannelRecordTest : public ::testing::Test {
protected:
    qarmock::Platform platform;
};

TEST_F(ChannelRecordTest, ChannelStartsUnset) {
    SChannelBaseInfo channel;
    EXPECT_EQ(channel.n_channel_type, -1);
    EXPECT_EQ(channel.n_channel_id, -1);
    EXPECT_EQ(channel.str_channel_guid, "");
    EXPECT_EQ(channel.n_channel_no, -1);
    EXPECT_EQ(channel.n_trapi_camera_no, -1);
    EXPECT_EQ(channel.n_channel_spare, -1);
    EXPECT_FALSE(channel.b_channel_flag);
    EXPECT_EQ(channel.n_device_id, -1);
    EXPECT_EQ(channel.n_device_type, -1);
    EXPECT_EQ(channel.GetRelatedChannelIP(), "");
    EXPECT_EQ(channel.GetRelatedChannelIPFileterInvaild(), "");
}

TEST_F(ChannelRecordTest, DefaultChannelAsksTheDeviceLayerForItsProtocol) {
    EXPECT_CALL(platform.devices, FindChannelByID(-1, -1)).WillOnce(Return(nullptr));
    const SChannelBaseInfo channel;
    EXPECT_EQ(channel.GetMultiStreamProto(), -1);
}

TEST_F(ChannelRecordTest, ProtocolThatWasSetIsNotLookedUp) {
    EXPECT_CALL(platform.devices, FindChannelByID).Times(0);
    SChannelBaseInfo channel;
    channel.SetMultiStreamProto(0);
    EXPECT_EQ(channel.GetMultiStreamProto(), 0);
}

TEST_F(ChannelRecordTest, ProtocolOfALiveCameraIsReadEachTimeAndNotStored) {
    const auto live = platform.site.AddCamera(101, 1).camera;
    live->multi_stream_proto = 200;
    SChannelBaseInfo channel;
    channel.n_channel_id = 101;
    channel.n_channel_type = 1001;
    EXPECT_EQ(channel.GetMultiStreamProto(), 200);
    live->multi_stream_proto = 3;
    EXPECT_EQ(channel.GetMultiStreamProto(), 3);
}

TEST_F(ChannelRecordTest, ProtocolOfAChannelThatIsNoCameraIsUnknown) {
    const auto plain = std::make_shared<qarmock::FakeChannel>();
    plain->id = 5;
    plain->type = 1001;
    platform.site.Add(plain);
    const auto other_type = std::make_shared<qarmock::FakeCamera>();
    other_type->id = 6;
    other_type->type = 1002;
    other_type->multi_stream_proto = 1;
    platform.site.Add(other_type);

    SChannelBaseInfo channel;
    channel.n_channel_id = 5;
    channel.n_channel_type = 1001;
    EXPECT_EQ(channel.GetMultiStreamProto(), -1);
    channel.n_channel_id = 6;
    channel.n_channel_type = 1002;
    EXPECT_EQ(channel.GetMultiStreamProto(), -1);
}

TEST_F(ChannelRecordTest, TypeOfTheLiveChannelDecidesAndNotTheRecords) {
    const auto live = std::make_shared<qarmock::FakeCamera>();
    live->multi_stream_proto = 2;
    EXPECT_CALL(platform.devices, FindChannelByID(8, 4)).WillOnce(Return(live));
    SChannelBaseInfo channel;
    channel.n_channel_id = 8;
    channel.n_channel_type = 4;
    EXPECT_EQ(channel.GetMultiStreamProto(), 2);
}

TEST_F(ChannelRecordTest, CopyOfAnUnsetProtocolResolvesItWhileTheSourceStaysUnset) {
    const auto live = platform.site.AddCamera(101, 1).camera;
    live->multi_stream_proto = 7;
    SChannelBaseInfo source;
    source.n_channel_id = 101;
    source.n_channel_type = 1001;
    const SChannelBaseInfo copy(source);

    live->multi_stream_proto = 9;
    EXPECT_EQ(copy.GetMultiStreamProto(), 7);
    EXPECT_EQ(source.GetMultiStreamProto(), 9);
}

TEST_F(ChannelRecordTest, AssignmentTakesEveryFieldButTheSpareOne) {
    SChannelBaseInfo source;
    source.n_channel_type = 1001;
    source.n_channel_id = 101;
    source.str_channel_guid = "guid";
    source.n_channel_no = 2;
    source.n_trapi_camera_no = 3;
    source.n_channel_spare = 5;
    source.b_channel_flag = true;
    source.n_device_id = 1;
    source.n_device_type = 2001;
    source.SetMultiStreamProto(4);
    source.SetRelatedChannelIP("10.0.0.1");
    source.SetRelatedChannelIPFileterInvaild("10.0.0.2");

    SChannelBaseInfo target;
    target.n_channel_spare = 7;
    target = source;
    EXPECT_EQ(target.n_channel_type, 1001);
    EXPECT_EQ(target.n_channel_id, 101);
    EXPECT_EQ(target.str_channel_guid, "guid");
    EXPECT_EQ(target.n_channel_no, 2);
    EXPECT_EQ(target.n_trapi_camera_no, 3);
    EXPECT_EQ(target.n_channel_spare, 7);
    EXPECT_TRUE(target.b_channel_flag);
    EXPECT_EQ(target.n_device_id, 1);
    EXPECT_EQ(target.n_device_type, 2001);
    EXPECT_EQ(target.GetMultiStreamProto(), 4);
    EXPECT_EQ(target.GetRelatedChannelIP(), "10.0.0.1");
    EXPECT_EQ(target.GetRelatedChannelIPFileterInvaild(), "10.0.0.2");

    EXPECT_EQ(SChannelBaseInfo(source).n_channel_spare, -1);
}

TEST_F(ChannelRecordTest, SelfAssignmentIsHarmless) {
    SChannelBaseInfo channel;
    channel.str_channel_guid = "guid";
    channel.SetMultiStreamProto(4);
    channel.SetRelatedChannelIP("10.0.0.1");
    const SChannelBaseInfo& same = channel;
    channel = same;
    EXPECT_EQ(channel.str_channel_guid, "guid");
    EXPECT_EQ(channel.GetMultiStreamProto(), 4);
    EXPECT_EQ(channel.GetRelatedChannelIP(), "10.0.0.1");
}

}  // namespace
}  // namespace qar
