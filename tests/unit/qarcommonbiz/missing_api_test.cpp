// The state history beside a facade whose objects are missing or answer what the real ones never do.

#include "history_fixture.h"
#include "qar/IDeviceManagerAPI.h"
#include "qar/IDeviceTimeZoneAPI.h"
#include "qar/IMessageBusManagerAPI.h"
#include "zelplatformadaptor/PlatformAdapterImpl.h"

namespace qar::history_test {
namespace {

using ::testing::_;
using ::testing::NiceMock;
using ::testing::Return;

// The facade makes its objects once and lets nobody change them. An explicit instantiation may name what is private.
template <class Api>
using Slot = std::shared_ptr<Api> CPlatformAdapterImpl::*;

template <class Api>
Slot<Api>& SlotOf() {
    static Slot<Api> slot;
    return slot;
}

template <class Api, Slot<Api> slot>
struct OpenSlot {
    struct Opener {
        Opener() { SlotOf<Api>() = slot; }
    };
    static inline Opener opener;
};

template struct OpenSlot<IDeviceManagerAPI, &CPlatformAdapterImpl::ptr_device_manager>;
template struct OpenSlot<IDeviceTimeZoneAPI, &CPlatformAdapterImpl::ptr_device_time_zone>;
template struct OpenSlot<IMessageBusManagerAPI, &CPlatformAdapterImpl::ptr_message_bus_manager>;

/// Puts an object in the facade's place of its kind, null too, as long as it stands.
template <class Api>
class Replace {
public:
    explicit Replace(std::shared_ptr<Api> api)
        : place_(static_cast<CPlatformAdapterImpl*>(IPlatformAdapterInterface::Instance())->*SlotOf<Api>()) {
        before_ = place_;
        place_ = std::move(api);
    }
    ~Replace() { place_ = before_; }
    Replace(const Replace&) = delete;
    Replace& operator=(const Replace&) = delete;

private:
    std::shared_ptr<Api>& place_;
    std::shared_ptr<Api> before_;
};

class MockDeviceManagerAPI : public IDeviceManagerAPI {
public:
    using Channels = std::list<std::shared_ptr<SChannelBaseInfo>>;
    MOCK_METHOD(bool, GetAllDevices, (std::list<std::shared_ptr<SDeviceBaseInfo>>&, int), (override));
    MOCK_METHOD(bool, GetDeviceInfoByGuid, (SDeviceBaseInfo&, const std::string&), (override));
    MOCK_METHOD(bool, GetDeviceInfoByID, (SDeviceBaseInfo&, int, int), (override));
    MOCK_METHOD(bool, GetDeviceDetailInfo, (SDeviceDetailInfo&, int, int), (override));
    MOCK_METHOD(bool, GetDeviceChannels, (Channels&, int, int, int), (override));
    MOCK_METHOD(bool, GetChannelInfo, (SChannelBaseInfo&, int, int), (override));
    MOCK_METHOD(unsigned int, GetChannelIDByNo, (int, int, int, int), (override));
    MOCK_METHOD(unsigned int, GetCameraIDByNo, (int, int, int), (override));
    MOCK_METHOD(unsigned int, GetChannelNoByID, (int, int, int, int), (override));
    MOCK_METHOD(std::shared_ptr<tuk::CDevice>, GetDevicePtr, (int, int), (override));
    MOCK_METHOD(std::shared_ptr<tuk::CChannel>, GetChannelPtr, (int, int), (override));
    MOCK_METHOD(std::shared_ptr<tuk::CFeature>, GetDeviceFeature, (int, int, int), (override));
};

class MockDeviceTimeZoneAPI : public IDeviceTimeZoneAPI {
public:
    MOCK_METHOD(bool, GetLocalTime, (std::string&, int&), (override));
    MOCK_METHOD(bool, GetDeviceTime, (std::string&, int&, int, int, long long), (override));
    MOCK_METHOD(bool, GetDeviceTimeEx, (std::string&, int&, int, int, long long), (override));
    MOCK_METHOD(bool, GetDeviceISOTime, (std::string&, int&, int, int, long long), (override));
    MOCK_METHOD(bool, GetCameraTime, (std::string&, int&, int, long long), (override));
    MOCK_METHOD(bool, GetCameraTimeEx, (std::string&, int&, int, long long), (override));
    MOCK_METHOD(bool, GetCameraISOTime, (std::string&, int&, int, long long), (override));
    MOCK_METHOD(bool, GetDeviceTimeZoneInfo, (SDeviceTimeZoneInfo&, int, int), (override));
    MOCK_METHOD(bool, GetDeviceUtcOffset, (int&, int, int, std::string), (override));
};

class MissingApiTest : public HistoryTest {
protected:
    MissingApiTest() {
        platform.site.Camera(kCamera)->no = 3;
        Register();
        EXPECT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {kCamera}));
        Forget();
    }
    void HandleDeviceEvent() {
        manager.HandleDeviceState(std::make_shared<CBusMsgCommon>(265, 2001, kDevice, "{}", nullptr, 0));
    }
    void HandleChannelEvent() {
        manager.HandleChannelState(std::make_shared<CBusMsgCommon>(517, 1001, kCamera, "{}", nullptr, 0));
    }
    const std::string kReceived =
        "2 QARCommon Received 'tuk::DeviceAccessEvent_ChannelOnline' event, n_channel_id = 101, event_type = 517, "
        "device_id = 1, channel_no = 3, event json={}\n";
};

TEST_F(MissingApiTest, StartAndStopWithoutABusAreTold) {
    const Replace<IMessageBusManagerAPI> none(nullptr);
    EXPECT_FALSE(manager.Init());
    EXPECT_TRUE(manager.Uninit());
    EXPECT_EQ(Log(),
              "5 QARCommon CHistoryStateMgr::Init ptr_message_bus_mgr is null\n"
              "5 QARCommon CHistoryStateMgr::Uninit ptr_message_bus_mgr is null\n");
    EXPECT_EQ(platform.timers.fake.Started().size(), 1u);
}

TEST_F(MissingApiTest, InitWithoutABusIsRetriedByTheNext) {
    {
        const Replace<IMessageBusManagerAPI> none(nullptr);
        ASSERT_FALSE(manager.Init());
    }
    EXPECT_TRUE(manager.Init());
    EXPECT_EQ(platform.bus.fake.Subscriptions().size(), 1u);
}

// The missing object's name is wrong in the text; those who watch the log know it so.
TEST_F(MissingApiTest, CareAndCheckWithoutDeviceManagerAreTold) {
    const Replace<IDeviceManagerAPI> none(nullptr);
    EXPECT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {kCamera}));
    const std::string no_manager = "5 QARCommon ptr_dev_time_zone is null\n";
    EXPECT_EQ(Log(),
              no_manager + "5 QARCommon check guard is fail camera_id = 101, str_plugin_id = gap, n_busi_type = 1\n");
    EXPECT_EQ(platform.log.Lines()[0].function, "qar::CHistoryStateMgr::IsGuard");
    Forget();
    manager.CheckCameraState();
    EXPECT_EQ(Log(), no_manager + "5 QARCommon check gurad is fail plugin_id = gap, busy_type = 1, camera_id = 101\n");
}

TEST_F(MissingApiTest, CheckWhoseDeviceManagerGoesBetweenItsTwoQuestionsIsTold) {
    auto devices = std::make_shared<NiceMock<MockDeviceManagerAPI>>();
    const Replace<IDeviceManagerAPI> scripted(devices);
    std::unique_ptr<Replace<IDeviceManagerAPI>> none;
    ON_CALL(*devices, GetChannelPtr).WillByDefault(Return(platform.site.Camera(kCamera)));
    ON_CALL(*devices, GetDevicePtr).WillByDefault([&](int, int) {
        none = std::make_unique<Replace<IDeviceManagerAPI>>(nullptr);
        return platform.site.Device(kDevice);
    });
    manager.CheckCameraState();
    EXPECT_EQ(Log(),
              "5 QARCommon ptr_dev_time_zone is null\n"
              "5 QARCommon check gurad is fail plugin_id = gap, busy_type = 1, camera_id = 101\n");
    EXPECT_EQ(platform.log.Lines()[0].function, "qar::CHistoryStateMgr::IsCameraOnline");
}

TEST_F(MissingApiTest, EventsWithoutDeviceManagerAreTold) {
    const Replace<IDeviceManagerAPI> none(nullptr);
    HandleDeviceEvent();
    HandleChannelEvent();
    EXPECT_EQ(Log(),
              "5 QARCommon ptr_dev_mgr is null device_id = 1\n"
              "5 QARCommon ptr_dev_mgr is null channel_id = 101\n");
}

TEST_F(MissingApiTest, CareWithoutTimeZonesIsToldByBothForms) {
    const Replace<IDeviceTimeZoneAPI> none(nullptr);
    EXPECT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {kCamera}));
    EXPECT_FALSE(manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {kCamera}));
    const std::string line =
        "5 QARCommon ptr_dev_time_zone is null camera_id = 101, str_plugin_id = gap, n_busi_type = 1\n";
    EXPECT_EQ(Log(), line + line);
    EXPECT_THAT(CHistoryStateMgrPeer::Delayed(manager), IsEmpty());
}

TEST_F(MissingApiTest, EventsWithoutTimeZonesAreTold) {
    const Replace<IDeviceTimeZoneAPI> none(nullptr);
    HandleDeviceEvent();
    HandleChannelEvent();
    EXPECT_EQ(Log(), "5 QARCommon ptr_dev_time_zone is null device_id = 1, event_type = 265\n" + kReceived +
                         "5 QARCommon ptr_dev_time_zone is null device_id = 1, event_type = 517\n");
}

TEST_F(MissingApiTest, MissingTimeZonesEndASweepAtItsFirstCamera) {
    ASSERT_TRUE(manager.AddCameraState(kPlugin, 1, "2024-03-08T09:00:00+08:00", kBusi, 102));
    Register("next");
    ASSERT_TRUE(manager.AddCameraState("next", 1, "2024-03-08T09:00:00+08:00", kBusi, 102));
    Forget();
    const Replace<IDeviceTimeZoneAPI> none(nullptr);
    manager.CheckCameraState();
    manager.CheckExpireState();
    EXPECT_EQ(Log(), "5 QARCommon ptr_dev_time_zone is null\n5 QARCommon ptr_dev_time_zone is null\n");
    EXPECT_EQ(platform.log.Lines()[0].function, "qar::CHistoryStateMgr::CheckCameraState");
    EXPECT_EQ(platform.log.Lines()[1].function, "qar::CHistoryStateMgr::CheckExpireState");
    EXPECT_THAT(Sqls(), IsEmpty());
}

TEST_F(MissingApiTest, EventWhoseDeviceTimeIsNotToBeHadIsTold) {
    auto time_zone = std::make_shared<NiceMock<MockDeviceTimeZoneAPI>>();
    EXPECT_CALL(*time_zone, GetDeviceTime(_, _, kDevice, 2001, -1)).Times(2).WillRepeatedly(Return(false));
    EXPECT_CALL(*time_zone, GetCameraTimeEx(_, _, kCamera, -1)).WillOnce(Return(false));
    const Replace<IDeviceTimeZoneAPI> scripted(time_zone);
    HandleDeviceEvent();
    HandleChannelEvent();
    const std::string line = "5 QARCommon  get device time is fail device_id = 1\n";
    EXPECT_EQ(Log(), line + kReceived + line);
    EXPECT_EQ(Points().size(), 2u);
}

TEST_F(MissingApiTest, MissingChannelInADevicesListIsToldAndPassedOver) {
    auto devices = std::make_shared<NiceMock<MockDeviceManagerAPI>>();
    ON_CALL(*devices, GetDevicePtr).WillByDefault(Return(platform.site.Device(kDevice)));
    EXPECT_CALL(*devices, GetDeviceChannels(_, kDevice, 2001, 1001))
        .WillOnce([](MockDeviceManagerAPI::Channels& channels, int, int, int) {
            auto channel = std::make_shared<SChannelBaseInfo>();
            channel->n_channel_id = kCamera;
            channels = {nullptr, channel};
            return true;
        });
    const Replace<IDeviceManagerAPI> scripted(devices);
    SetClock("2024-03-08 10:00:00");
    HandleDeviceEvent();
    EXPECT_EQ(Log(),
              "3 QARCommon CHistoryStateMgr::HandleDeviceState on guard notify info deivce_id = 1, event_type = 265\n"
              "5 QARCommon has null channel\n" +
                  InsertLine("2024-03-08T10:00:00+08:00", 1));
}

}  // namespace
}  // namespace qar::history_test
