#include "tuk/Device.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "Mox/Base/Singleton.h"
#include "ZELPlatform/MsgBus.h"
#include "ZELPlatform/Resources.h"
#include "platform/PlatformTest.h"
#include "tuk/Channel.h"
#include "tuk/DeviceAccessObserverParam.h"
#include "tuk/DeviceManager.h"
#include "tuk/Feature.h"

namespace platform_tests {
namespace {

using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Elements = std::map<unsigned int, std::shared_ptr<ZELPlatform::Resources::CElementInterface>>;

class DeviceTest : public PlatformTest {
protected:
    void SetUp() override {
        platform_->LoadSite();
        manager_ = Mox::Base::CSingleton<tuk::CDeviceManager>::Instance();
        ASSERT_NE(manager_, nullptr);
    }

    static std::set<int> Ids(const std::vector<std::shared_ptr<tuk::CChannel>>& channels) {
        std::set<int> ids;
        for (const auto& channel : channels) ids.insert(channel->GetID());
        return ids;
    }

    tuk::CDeviceManager* manager_ = nullptr;
};

TEST_F(DeviceTest, OneManagerPerProcess) {
    EXPECT_EQ(Mox::Base::CSingleton<tuk::CDeviceManager>::Instance(), manager_);
}

TEST_F(DeviceTest, DevicesOfATypeAreAppended) {
    std::vector<std::shared_ptr<tuk::CDevice>> devices{nullptr};
    manager_->GetAllDevices(devices, 2001);
    ASSERT_EQ(devices.size(), 7u);
    EXPECT_EQ(devices[0], nullptr) << "what was there stays";
    std::set<int> ids;
    for (std::size_t i = 1; i < devices.size(); ++i) ids.insert(devices[i]->GetID());
    EXPECT_THAT(ids, UnorderedElementsAre(1, 2, 3, 4, 5, 6));

    devices.clear();
    manager_->GetAllDevices(devices, 4711);
    EXPECT_THAT(devices, IsEmpty());
}

TEST_F(DeviceTest, DeviceIsFoundByIdAndTypeAndByGuid) {
    const auto device = manager_->FindDeviceByID(2, 2001);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->GetID(), 2);
    EXPECT_EQ(device->GetType(), 2001);
    EXPECT_EQ(device->GetGuid(), DeviceGuid(2));
    EXPECT_EQ(manager_->FindDeviceByID(9, 2002)->GetID(), 9);
    EXPECT_EQ(manager_->FindDeviceByID(2, 2002), nullptr);
    EXPECT_EQ(manager_->FindDeviceByID(99, 2001), nullptr);

    ASSERT_NE(manager_->FindDeviceByGuid(DeviceGuid(3)), nullptr);
    EXPECT_EQ(manager_->FindDeviceByGuid(DeviceGuid(3))->GetID(), 3);
    EXPECT_EQ(manager_->FindDeviceByGuid("no such"), nullptr);
    EXPECT_EQ(manager_->FindDeviceByGuid(""), nullptr);
}

TEST_F(DeviceTest, DeviceTellsWhatIsKnownOfIt) {
    const auto device = manager_->FindDeviceByID(1, 2001);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->GetTextA(), "127.0.0.1");
    EXPECT_EQ(device->GetTextB(), "device 1");
    EXPECT_NE(device->GetTextC(), "");
    EXPECT_NE(device->GetTextD(), "");
    EXPECT_EQ(device->GetTextE(), "east");
    EXPECT_NE(device->GetPort(), 0);
    EXPECT_EQ(device->GetAlternatePort(), device->GetPort());
    EXPECT_TRUE(device->GetGuardStatus());
    EXPECT_FALSE(device->IsOnline()) << "nobody has asked it yet";
}

TEST_F(DeviceTest, ValuesThatNothingChangesStay) {
    const auto first = manager_->FindDeviceByID(1, 2001);
    const auto second = manager_->FindDeviceByID(1, 2001);
    EXPECT_EQ(first->GetLoginMode(), second->GetLoginMode());
    EXPECT_EQ(first->GetSubCategory(), second->GetSubCategory());
    EXPECT_EQ(first->GetFirmwareVersion(), second->GetFirmwareVersion());
    EXPECT_EQ(first->GetTimeValue(), second->GetTimeValue());
    EXPECT_EQ(first->GetOnlineIdentificationGUID(), second->GetOnlineIdentificationGUID());
    EXPECT_EQ(first->GetStreamKey(), second->GetStreamKey());
}

TEST_F(DeviceTest, FeatureOfAKindThatADeviceHasNotIsEmpty) {
    EXPECT_EQ(manager_->FindDeviceByID(1, 2001)->GetFeature(4711), nullptr);
}

TEST_F(DeviceTest, VideoFeatureGivesAUrlFormat) {
    const auto feature = manager_->FindDeviceByID(1, 2001)->GetFeature(tuk::kFeatureVideo);
    if (feature == nullptr) GTEST_SKIP() << "this platform's devices have no video feature";
    const auto video = std::dynamic_pointer_cast<tuk::CVideoFeature>(feature);
    ASSERT_NE(video, nullptr);
    std::string format;
    video->GetUrlFormat(format);
    EXPECT_NE(format, "");
}

TEST_F(DeviceTest, ChannelsOfADeviceAreFoundByTypeIdAndNumber) {
    const auto device = manager_->FindDeviceByID(1, 2001);
    std::vector<std::shared_ptr<tuk::CChannel>> channels;
    device->GetChannels(channels, 1001);
    EXPECT_THAT(Ids(channels), UnorderedElementsAre(101, 102));
    device->GetChannels(channels, 1002);
    EXPECT_THAT(Ids(channels), UnorderedElementsAre(101, 102, 109)) << "appended";

    ASSERT_NE(device->FindChannelByID(102, 1001), nullptr);
    EXPECT_EQ(device->FindChannelByID(102, 1001)->GetNo(), 2);
    EXPECT_EQ(device->FindChannelByID(102, 1002), nullptr);
    EXPECT_EQ(device->FindChannelByID(201, 1001), nullptr) << "of another device";

    ASSERT_NE(device->FindChannelByNo(1, 1001), nullptr);
    EXPECT_EQ(device->FindChannelByNo(1, 1001)->GetID(), 101);
    EXPECT_EQ(device->FindChannelByNo(1, 1002)->GetID(), 109);
    EXPECT_EQ(device->FindChannelByNo(3, 1001), nullptr);
}

TEST_F(DeviceTest, ChannelTellsWhatIsKnownOfIt) {
    const auto channel = manager_->FindChannelByID(102, 1001);
    ASSERT_NE(channel, nullptr);
    EXPECT_EQ(channel->GetID(), 102);
    EXPECT_EQ(channel->GetType(), 1001);
    EXPECT_EQ(channel->GetGuid(), ChannelGuid(102));
    EXPECT_EQ(channel->GetNo(), 2);
    EXPECT_EQ(channel->GetDeviceID(), 1);
    EXPECT_EQ(channel->GetDeviceGuid(), DeviceGuid(1));
    EXPECT_FALSE(channel->IsOnline());
    ASSERT_NE(channel->GetDevicePtr(), nullptr);
    EXPECT_EQ(channel->GetDevicePtr()->GetID(), 1);
    EXPECT_EQ(manager_->FindChannelByID(102, 1002), nullptr);
    EXPECT_EQ(manager_->FindChannelByID(999, 1001), nullptr);
}

TEST_F(DeviceTest, ChannelOfType1001IsACamera) {
    const auto camera = std::dynamic_pointer_cast<tuk::CCamera>(manager_->FindChannelByID(101, 1001));
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(camera->GetTRAPICameraNo(), 1);
    EXPECT_EQ(camera->GetMultiStreamProto(), camera->GetMultiStreamProto());
    const auto other = manager_->FindChannelByID(109, 1002);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(std::dynamic_pointer_cast<tuk::CCamera>(other), nullptr);
}

TEST_F(DeviceTest, ElementsOfATypeAreAddedByElementId) {
    Elements elements;
    elements[7] = nullptr;
    ZELPlatform::Resources::GetCurrentNodeAllElementsByType(elements, 1001);
    std::set<unsigned int> ids;
    for (const auto& entry : elements) ids.insert(entry.first);
    EXPECT_THAT(ids, UnorderedElementsAre(7u, 1101u, 1102u, 1201u, 1301u, 1401u, 1501u, 1601u, 1901u));

    const auto element = elements.at(1102);
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(element->GetID(), 1102u);
    EXPECT_NE(element->GetGuid(), "");
    EXPECT_EQ(element->GetName(), "camera 102");
    EXPECT_EQ(element->GetAreaID(), 1u);
    EXPECT_EQ(element->GetAreaName(), "Yard");
    EXPECT_EQ(element->GetType(), 1001);
    EXPECT_EQ(element->GetPhysicalID(), 102u);
    EXPECT_EQ(element->GetDeviceID(), 1u);
    EXPECT_EQ(element->GetDeviceType(), 2001);
    EXPECT_FALSE(element->IsOnline());
    EXPECT_EQ(element->GetCreateTime(), 1700000000);
    EXPECT_EQ(element->GetOnlineIdentificationGUID(), elements.at(1101)->GetOnlineIdentificationGUID());
}

TEST_F(DeviceTest, ElementsThatAreThereStay) {
    Elements elements;
    elements[1101] = nullptr;
    ZELPlatform::Resources::GetCurrentNodeAllElementsByType(elements, 1001);
    EXPECT_EQ(elements.at(1101), nullptr);
}

TEST_F(DeviceTest, ElementsOfAnUnknownTypeAreNone) {
    Elements elements;
    ZELPlatform::Resources::GetCurrentNodeAllElementsByType(elements, 4711);
    EXPECT_THAT(elements, IsEmpty());
}

TEST_F(DeviceTest, DeviceThatAnswersIsOnlineWithItsChannelsAndElementsUntilItVanishes) {
    const auto device = manager_->FindDeviceByID(1, 2001);
    const auto channel = manager_->FindChannelByID(101, 1001);
    Elements elements;
    ZELPlatform::Resources::GetCurrentNodeAllElementsByType(elements, 1001);
    platform_->SetAnswers(1, true);
    platform_->StartDevices();
    EXPECT_TRUE(WaitUntil([&] { return device->IsOnline(); })) << "a view of the live object";
    EXPECT_TRUE(WaitUntil([&] { return channel->IsOnline() && elements.at(1101)->IsOnline(); }));
    EXPECT_FALSE(manager_->FindDeviceByID(5, 2001)->IsOnline());
    platform_->SetAnswers(1, false);
    EXPECT_TRUE(WaitUntil([&] { return !device->IsOnline(); }));
    EXPECT_TRUE(WaitUntil([&] { return !channel->IsOnline() && !elements.at(1101)->IsOnline(); }));
}

TEST_F(DeviceTest, GuardIsSeenInTheLiveObject) {
    const auto device = manager_->FindDeviceByID(1, 2001);
    platform_->SetGuard(1, false);
    EXPECT_TRUE(WaitUntil([&] { return !device->GetGuardStatus(); }));
    platform_->SetGuard(1, true);
    EXPECT_TRUE(WaitUntil([&] { return device->GetGuardStatus(); }));
}

/// The events on "TUK_DeviceAccess" as "type:id:resource type".
class Events {
public:
    static void Receive(const std::string&, int type, const std::shared_ptr<ZELPlatform::CBaseContent>& content,
                        void* user_data) {
        auto* param = dynamic_cast<tuk::CDeviceAccessObserverParam*>(content.get());
        ASSERT_NE(param, nullptr);
        EXPECT_EQ(param->ObserverMsgType(), type);
        auto* events = static_cast<Events*>(user_data);
        std::lock_guard<std::mutex> lock(events->mutex_);
        events->seen_.push_back(std::to_string(type) + ":" + std::to_string(param->GetVal_id()) + ":" +
                                std::to_string(param->GetVal_resource_type()));
    }
    std::vector<std::string> All() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return seen_;
    }
    bool Holds(const std::string& event) const {
        const auto all = All();
        return std::find(all.begin(), all.end(), event) != all.end();
    }
    void Clear() {
        std::lock_guard<std::mutex> lock(mutex_);
        seen_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> seen_;
};

class DeviceEventTest : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        events_ = &MakeForever<Events>();
        ASSERT_TRUE(
            ZELPlatform::MsgBus::SubscribeObserverEx("test", "TUK_DeviceAccess", {}, &Events::Receive, events_));
    }
    bool WaitFor(const std::string& event) {
        return WaitUntil([&] { return events_->Holds(event); });
    }

    Events* events_ = nullptr;
};

TEST_F(DeviceEventTest, FirstContactRaisesTheEventsOfDeviceAndChannels) {
    platform_->SetAnswers(1, true);
    platform_->StartDevices();
    EXPECT_TRUE(WaitFor("265:1:2001")) << "guard is on";
    EXPECT_TRUE(WaitFor("261:1:2001")) << "a guarded device is online";
    EXPECT_TRUE(WaitFor("517:101:1001"));
    EXPECT_TRUE(WaitFor("517:102:1001"));
}

TEST_F(DeviceEventTest, DeviceThatComesBackRaisesItsEventsAgain) {
    const auto device = manager_->FindDeviceByID(1, 2001);
    platform_->SetAnswers(1, true);
    platform_->StartDevices();
    ASSERT_TRUE(WaitFor("517:101:1001"));
    ASSERT_TRUE(WaitFor("517:102:1001"));
    platform_->SetAnswers(1, false);
    ASSERT_TRUE(WaitUntil([&] { return !device->IsOnline(); }));
    events_->Clear();
    platform_->SetAnswers(1, true);
    EXPECT_TRUE(WaitFor("261:1:2001"));
    EXPECT_TRUE(WaitFor("517:101:1001"));
    EXPECT_TRUE(WaitFor("517:102:1001"));
    EXPECT_FALSE(events_->Holds("265:1:2001")) << "guard was on all along";
}

TEST_F(DeviceEventTest, UnguardedDeviceThatComesOnlineRaisesNoDeviceEvent) {
    platform_->SetGuard(2, false);
    platform_->SetAnswers(2, true);
    platform_->StartDevices();
    EXPECT_TRUE(WaitFor("517:201:1001"));
    EXPECT_FALSE(events_->Holds("261:2:2001"));
    EXPECT_FALSE(events_->Holds("265:2:2001"));
}

TEST_F(DeviceEventTest, GuardThatGoesOnRaisesItsEvent) {
    platform_->SetGuard(2, false);
    platform_->SetAnswers(2, true);
    platform_->StartDevices();
    ASSERT_TRUE(WaitFor("517:201:1001"));
    platform_->SetGuard(2, true);
    EXPECT_TRUE(WaitFor("265:2:2001"));
}

}  // namespace
}  // namespace platform_tests
