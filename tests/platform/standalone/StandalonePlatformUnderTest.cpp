#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "platform/PlatformUnderTest.h"
#include "platform/standalone/Listener.h"
#include "platform/standalone/Users.h"
#include "standalone/base/Clock.h"
#include "standalone/base/ThreadPoolControl.h"
#include "standalone/base/TimerStatus.h"
#include "standalone/bus/BusControl.h"
#include "standalone/config/LocalConfigControl.h"
#include "standalone/database/DatabaseControl.h"
#include "standalone/device/DeviceLayer.h"
#include "standalone/log/LogControl.h"

namespace qar {

/// The standalone platform hands out none of these and looks at none.
struct SDBForwardArg {};

}  // namespace qar

namespace platform_tests {

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kPatience(20);
constexpr std::chrono::milliseconds kLook(2);
constexpr double kClockScale = 50;  // a probe each 20 ms

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (fs::temp_directory_path() / "platform_tests.XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    const fs::path& Path() const { return path_; }

private:
    fs::path path_;
};

/// Ends the platform's threads as a host does, before the process goes.
class StopAtTheEnd : public ::testing::Environment {
public:
    void TearDown() override {
        qarplatform::DeviceLayer::Get().StopProbes();
        qarplatform::StopTimers();
        qarplatform::StopBus();
        qarplatform::JoinThreadPools();
        qarplatform::StopDatabase();
        qarplatform::StopLog();
    }
};

const auto* const g_stop_at_the_end = ::testing::AddGlobalTestEnvironment(new StopAtTheEnd);

class StandalonePlatformUnderTest : public PlatformUnderTest {
public:
    ~StandalonePlatformUnderTest() override {
        users_.reset();
        qarplatform::DeviceLayer::Get().StopProbes();
        qarplatform::StopLog();
    }

    bool WaitUntil(const std::function<bool()>& done) override {
        // nothing tells when a device's state changes, so it is looked at again and again
        std::mutex mutex;
        std::condition_variable never;
        std::unique_lock<std::mutex> lock(mutex);
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            never.wait_for(lock, kLook);
        }
        return true;
    }

    void StartLog(int level) override {
        qarplatform::LogOptions options;
        options.level = level;
        options.file = LogPath();
        std::string error;
        if (!qarplatform::StartLog(options, error)) throw std::runtime_error(error);
    }
    std::string LogText() override {
        qarplatform::StopLog();
        std::ostringstream text;
        text << std::ifstream(LogPath()).rdbuf();
        return text.str();
    }

    void LoadSite() override;
    void StartDevices() override {
        qarplatform::ProbeOptions options;
        options.period_s = 1;
        std::string error;
        if (!qarplatform::DeviceLayer::Get().StartProbes(options, error)) throw std::runtime_error(error);
    }
    void SetAnswers(int device, bool answers) override {
        if (answers) {
            listeners_.at(device).Open();
        } else {
            listeners_.at(device).Close();
        }
    }
    void SetGuard(int device, bool guard) override { qarplatform::DeviceLayer::Get().SetGuard(device, guard); }

    void StartFront() override { users_.emplace(folder_.Path()); }
    std::string LogIn(const std::string& user,
                      ZELPlatform::InterfaceCommonData::UserSession::ClientType client_type) override {
        return users_->LogIn(user, client_type);
    }
    void LogOut(const std::string& session) override { users_->LogOut(session); }
    std::unique_ptr<UserCall> Send(const UserRequest& request) override { return users_->Send(request); }
    void OpenClient(const std::string& session) override { users_->OpenClient(session); }
    std::vector<Frame> Frames(const std::string& session) override { return users_->Frames(session); }

    void SetDatabasePlace(const ZELPlatform::CLocalDBInfo& info) override { qarplatform::SetLocationDBInfo(info); }

    qar::SDBParam Database(int number) override {
        return Folder((folder_.Path() / ("database" + std::to_string(number))).string());
    }
    qar::SDBParam UnreachableDatabase() override {
        const fs::path file = folder_.Path() / "file";
        std::ofstream(file) << "no folder";
        return Folder((file / "database").string());
    }
    qar::SDBForwardArg& ForwardArg() override { return arg_; }

    void Script(const std::string&, const std::vector<std::string>&, const std::vector<Row>&) override {}
    void ScriptFailure(const std::string&) override {}

private:
    std::string LogPath() const { return (folder_.Path() / "log").string(); }

    static qar::SDBParam Folder(const std::string& folder) {
        qar::SDBParam param;
        param.dbType = qarplatform::kDatabaseSqlite;
        param.dbName = folder;
        return param;
    }

    TemporaryFolder folder_;
    std::map<int, Listener> listeners_;
    std::optional<Users> users_;
    qar::SDBForwardArg arg_;
};

qarplatform::ZoneRecord FixedZone(const std::string& name, int bias) {
    qarplatform::ZoneRecord zone;
    zone.name = name;
    zone.display_name = name;
    zone.bias = bias;
    return zone;
}

qarplatform::ZoneRecord DaylightZone(const std::string& name, int bias, const std::string& daylight_date,
                                     const std::string& standard_date, bool enable = true) {
    qarplatform::ZoneRecord zone = FixedZone(name, bias);
    zone.has_daylight = true;
    zone.daylight_enable = enable;
    zone.daylight_date = daylight_date;
    zone.standard_date = standard_date;
    zone.daylight_bias = -60;
    return zone;
}

void StandalonePlatformUnderTest::LoadSite() {
    const int64_t now_ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    qarplatform::Clock::Get().Configure(kClockScale, now_ms, now_ms);

    qarplatform::Site site;
    site.zones = {FixedZone("east", -480), DaylightZone("west", 300, "3:2:0:2:0", "11:1:0:2:0"),
                  DaylightZone("south", -600, "10:1:0:2:0", "4:1:0:3:0"),
                  DaylightZone("last", -60, "3:5:0:2:0", "10:5:0:3:0"),
                  DaylightZone("off", -540, "3:2:0:2:0", "11:1:0:2:0", false)};
    site.areas = {{1, "Yard", 0}};
    const std::map<int, std::string> zones{{1, "east"}, {2, "west"}, {3, "south"}, {4, "last"},
                                           {5, ""},     {6, "off"},  {9, "east"}};
    for (const auto& [id, zone] : zones) {
        const std::string address = "127.0.0.1:" + std::to_string(listeners_[id].Port());
        qarplatform::DeviceRecord device;
        device.id = id;
        device.type = id == 9 ? 2002 : 2001;
        device.guid = DeviceGuid(id);
        device.name = "device " + std::to_string(id);
        device.probe = "tcp://" + address;
        device.archive = "http://" + address + "/archive";
        device.zone = zone;
        site.devices.push_back(device);
    }
    for (const int id : {101, 102, 201, 301, 401, 501, 601, 901, 109}) {
        qarplatform::ChannelRecord channel;
        channel.id = id;
        channel.type = id == 109 ? 1002 : 1001;
        channel.guid = ChannelGuid(id);
        channel.device = id / 100;
        channel.no = id == 102 ? 2 : 1;
        site.channels.push_back(channel);
        if (id == 109) continue;
        qarplatform::ElementRecord element;
        element.id = id + 1000;
        element.guid = "E" + ChannelGuid(id).substr(1);
        element.name = "camera " + std::to_string(id);
        element.channel = id;
        element.area = 1;
        element.create_time = 1700000000;
        site.elements.push_back(element);
    }
    qarplatform::DeviceLayer::Get().Load(site);
}

}  // namespace

std::unique_ptr<PlatformUnderTest> PlatformUnderTest::Make() { return std::make_unique<StandalonePlatformUnderTest>(); }

}  // namespace platform_tests
