#pragma once

#include <cstdio>

#include "history_fixture.h"
#include "qarcommonbiz/TaskDefine.h"

namespace qar::history_test {

using Peer = CHistoryStateMgrPeer;

inline const std::string kTopic = "TUK_DeviceAccess";
inline const std::string kNow = "2024-03-08T09:00:00+08:00";
inline const std::string kWeekAgo = "2024-03-01T09:00:00+08:00";
inline const std::string kTimer = "HistoryStateMgr.timer";

inline std::string PointerText(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

class DeviceEventTest : public HistoryTest {
protected:
    static std::shared_ptr<IBusMsg> Message(int type, int source_type, unsigned int id,
                                            const std::string& json = "{\"k\":1}") {
        return std::make_shared<CBusMsgCommon>(type, source_type, id, json, nullptr, 0);
    }
    /// The lines but for the bus's own.
    std::string OwnLog() const {
        std::string text;
        for (const auto& line : platform.log.Lines()) {
            if (line.function.rfind("qar::CMessageBus", 0) == 0) continue;
            text += std::to_string(line.level) + " " + line.module + " " + line.body + "\n";
        }
        return text;
    }
    static std::shared_ptr<qarmock::FakePool> Pool() {
        CMessageLoopForHistoryState::Instance();
        return qarmock::Pools().back();
    }
    /// Registers a plug-in that cares for the camera and has one point a day old.
    void RegisterWithPoint(const std::string& plugin = kPlugin) {
        platform.site.Device(kDevice)->guard = false;
        Register(plugin);
        ASSERT_TRUE(manager.SetCareCameraStateInfo(plugin, kBusi, {kCamera}));
        ASSERT_TRUE(manager.AddCameraState(plugin, 2, "2024-03-07T09:00:00+08:00", kBusi, kCamera));
        platform.site.Device(kDevice)->guard = true;
        Forget();
    }
    /// As RegisterWithPoint, without the point.
    void RegisterAndCare(const std::string& plugin = kPlugin) {
        platform.site.Device(kDevice)->guard = false;
        Register(plugin);
        ASSERT_TRUE(manager.SetCareCameraStateInfo(plugin, kBusi, {kCamera}));
        platform.site.Device(kDevice)->guard = true;
        Forget();
    }
    static std::string OnGuard(int type) {
        return "3 QARCommon CHistoryStateMgr::HandleDeviceState on guard notify info deivce_id = 1, event_type = " +
               std::to_string(type) + "\n";
    }
    static std::string Received(int device = kDevice, const std::string& json = "{\"k\":1}") {
        return "2 QARCommon Received 'tuk::DeviceAccessEvent_ChannelOnline' event, n_channel_id = 101, event_type = 517, "
               "device_id = " +
               std::to_string(device) + ", channel_no = 3, event json=" + json + "\n";
    }
    const std::string kClockKnown =
        "4 QARCommon Get device time by camera id is fail, device_id = 1, channel id = 101\n";
    const std::string kChannelOnline =
        "3 QARCommon CHistoryStateMgr::HandleDeviceState : Channel online info channel_id = 101, deivce_id = 1, "
        "event_type = 517\n";
    const std::string kRange = "1/101: " + kWeekAgo + " " + kNow;
};

}  // namespace qar::history_test
