#include <chrono>
#include <ctime>
#include <utility>

#include "ZELPlatform/MsgBus.h"
#include "mock/CivilTime.h"
#include "mock/Platform.h"
#include "platform/PlatformUnderTest.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace platform_tests {

namespace {

constexpr std::chrono::seconds kPatience(20);

class MockPlatformUnderTest : public PlatformUnderTest {
public:
    bool WaitUntil(const std::function<bool()>& done) override {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            platform_.bus.fake.DeliverAll();
            platform_.pools.RunAll();
            for (const auto& name : platform_.timers.fake.Running()) platform_.timers.fake.Tick(name);
        }
        return true;
    }

    std::string LogText() override {
        std::string text;
        for (const auto& line : platform_.log.Lines()) text += line.text + "\n";
        return text;
    }
    void StartLog(int level) override {
        platform_.log.Clear();
        platform_.log.SetLevel(level);
    }

    void LoadSite() override;
    void StartDevices() override {
        ZELPlatform::MsgBus::RegistObserver("TUK_DeviceAccess");
        started_ = true;
        for (const int device : answering_) Contact(device);
    }
    void SetAnswers(int device, bool answers) override {
        if (!answers) {
            answering_.erase(device);
            SetOnline(device, false);
        } else if (answering_.insert(device).second && started_) {
            Contact(device);
        }
    }
    void SetGuard(int device, bool guard) override {
        auto live = platform_.site.Device(device);
        const bool before = live->guard.exchange(guard);
        if (started_ && guard && !before) Tell(tuk::DeviceAccessEvent_DeviceGuardOn, device, 2001);
    }

    void SetDatabasePlace(const ZELPlatform::CLocalDBInfo& info) override {
        platform_.local_config.fake.Set(std::make_shared<ZELPlatform::CLocalDBInfo>(info));
        auto content = std::make_shared<ZELPlatform::CObserverParam>();
        content->SetObserverMsgType(1);
        platform_.bus.fake.Deliver("Config_LocalConfigManager", 1, content);
    }

    qar::SDBParam Database(int number) override {
        qar::SDBParam param;
        param.dbType = 1;
        param.dbName = "database " + std::to_string(number);
        return param;
    }
    qar::SDBParam UnreachableDatabase() override {
        const qar::SDBParam param = Database(99);
        platform_.database.fake.FailOpen(param.dbName);
        return param;
    }
    qar::SDBForwardArg& ForwardArg() override { return arg_; }

    void Script(const std::string& fragment, const std::vector<std::string>& columns,
                const std::vector<Row>& rows) override {
        qarmock::FakeRows answer;
        answer.columns = columns;
        for (const auto& row : rows) {
            auto& values = answer.rows.emplace_back();
            for (const auto& value : row) {
                values.push_back(value ? qarmock::FakeValue(*value) : qarmock::FakeValue(nullptr));
            }
        }
        platform_.database.fake.Answer(fragment, std::move(answer));
    }
    void ScriptFailure(const std::string& fragment) override { platform_.database.fake.FailAll(fragment); }

private:
    void Contact(int device) {
        const bool first = contacted_.insert(device).second;
        SetOnline(device, true);
        auto live = platform_.site.Device(device);
        std::string local;
        std::string utc;
        int offset = 0;
        ZELPlatform::TimeZone::CTimeZoneDeviceKey key;
        key.SetDeviceId(device);
        key.SetDeviceType(live->type);
        platform_.time_zone.fake.GetDeviceTime(local, utc, offset, key, std::time(nullptr));
        platform_.time_zone.fake.SetClock(device, local, offset);
        if (first && live->guard) Tell(tuk::DeviceAccessEvent_DeviceGuardOn, device, 2001);
        if (live->guard) Tell(tuk::DeviceAccessEvent_DeviceOnline, device, 2001);
        for (const auto& channel : live->channels) {
            Tell(tuk::DeviceAccessEvent_ChannelOnline, channel->GetID(), channel->GetType());
        }
    }
    void SetOnline(int device, bool online) {
        platform_.site.Device(device)->online = online;
        for (const auto& set : cameras_) {
            if (set.device->id != device) continue;
            set.camera->online = online;
            set.element->online = online;
        }
    }
    static void Tell(int type, int id, int resource_type) {
        auto content = std::make_shared<tuk::CDeviceAccessObserverParam>();
        content->SetObserverMsgType(type);
        content->SetVal_id(id);
        content->SetVal_resource_type(resource_type);
        ZELPlatform::MsgBus::NotifyObserverEventEx("TUK_DeviceAccess", type, content, ZELPlatform::kObserverTask0);
    }

    qarmock::Platform platform_;
    qar::SDBForwardArg arg_;
    std::vector<qarmock::FakeCameraSet> cameras_;
    std::set<int> answering_;
    std::set<int> contacted_;
    bool started_ = false;
};

void MockPlatformUnderTest::LoadSite() {
    using qarmock::FakeTimeZone;
    const auto east = FakeTimeZone::MakeZone("east", -480);
    const auto off = FakeTimeZone::MakeZone("off", -540, "3:2:0:2:0", "11:1:0:2:0", -60);
    off->GetDst()->SetEnable(false);
    auto& zones = platform_.time_zone.fake;
    zones.SetZone(1, east);
    zones.SetZone(2, FakeTimeZone::MakeZone("west", 300, "3:2:0:2:0", "11:1:0:2:0", -60));
    zones.SetZone(3, FakeTimeZone::MakeZone("south", -600, "10:1:0:2:0", "4:1:0:3:0", -60));
    zones.SetZone(4, FakeTimeZone::MakeZone("last", -60, "3:5:0:2:0", "10:5:0:3:0", -60));
    zones.SetZone(6, off);
    zones.SetZone(9, east);

    for (const int camera : {101, 102, 201, 301, 401, 501, 601, 901}) {
        const int id = camera / 100;
        auto set = platform_.site.AddCamera(camera, id);
        set.device->online = false;
        set.device->type = id == 9 ? 2002 : 2001;
        set.device->guid = DeviceGuid(id);
        set.device->text_a = "127.0.0.1";
        set.device->text_b = "device " + std::to_string(id);
        set.device->text_c = "tcp://127.0.0.1:80/";
        set.device->text_d = "http://127.0.0.1/archive";
        set.device->text_e = id == 1 ? "east" : "";
        set.device->port = 80;
        set.device->alternate_port = 80;
        auto video = std::make_shared<qarmock::FakeVideoFeature>();
        video->url_format = "rtsp://%s/";
        set.device->features[tuk::kFeatureVideo] = video;
        set.camera->online = false;
        set.camera->guid = ChannelGuid(camera);
        set.camera->device_guid = DeviceGuid(id);
        set.element->id = static_cast<unsigned int>(camera) + 1000;
        set.element->area_id = 1;
        set.element->area_name = "Yard";
        set.element->online = false;
        set.element->create_time = 1700000000;
        set.element->device_type = set.device->type;
        cameras_.push_back(set);
    }

    auto other = std::make_shared<qarmock::FakeChannel>();
    other->id = 109;
    other->type = 1002;
    other->no = 1;
    other->guid = ChannelGuid(109);
    other->device_id = 1;
    other->device_guid = DeviceGuid(1);
    other->device = platform_.site.Device(1);
    other->online = false;
    platform_.site.Device(1)->channels.push_back(other);
    platform_.site.Add(other);
}

}  // namespace

std::unique_ptr<PlatformUnderTest> PlatformUnderTest::Make() { return std::make_unique<MockPlatformUnderTest>(); }

}  // namespace platform_tests
