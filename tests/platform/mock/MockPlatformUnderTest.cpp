#include <cctype>
#include <chrono>
#include <cstring>
#include <ctime>
#include <map>
#include <set>
#include <utility>

#include "ZELPlatform/MsgBus.h"
#include "mock/CivilTime.h"
#include "mock/FakeEventBus.h"
#include "mock/FakeFront.h"
#include "mock/FakeNotifyBus.h"
#include "mock/Platform.h"
#include "platform/PlatformUnderTest.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace platform_tests {

namespace {

using ZELPlatform::InterfaceCommonData::UserSession::ClientType;

constexpr std::chrono::seconds kPatience(20);

struct User {
    unsigned int id;
    std::set<int> permissions;
};

const std::map<std::string, User> kUsers{
    {"ann", {1, {11, 12}}}, {"bob", {2, {12}}}, {"cid", {3, {}}}, {"pia", {4, {}}}};

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

class MockUserCall : public UserCall {
public:
    MockUserCall(qarmock::FakeFront& front, int32_t connection) : front_(front), connection_(connection) {}

    std::optional<UserAnswer> Answer() override {
        const auto got = front_.Answer(connection_);
        if (!got.sent) return std::nullopt;
        UserAnswer answer;
        answer.status = got.head.n_status;
        answer.body = got.body;
        const auto add = [&](const char* name, const std::string& value) {
            if (!value.empty()) answer.headers[name] = value;
        };
        add("content-type", got.head.str_content_type);
        add("content-disposition", got.head.str_content_disposition);
        add("etag", got.head.str_etag);
        add("cache-control", got.head.str_cache_control);
        for (const auto& [name, value] : got.head.vec_headers) answer.headers[Lower(name)] = value;
        return answer;
    }
    void Leave() override { front_.Leave(connection_); }

private:
    qarmock::FakeFront& front_;
    const int32_t connection_;
};

class MockPlatformUnderTest : public PlatformUnderTest {
public:
    bool WaitUntil(const std::function<bool()>& done) override {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            platform_.bus.fake.DeliverAll();
            platform_.events.fake.DeliverAll();
            platform_.notify.fake.DeliverAll();
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

    void StartFront() override {}
    std::string LogIn(const std::string& user, ClientType client_type) override {
        using namespace ZELPlatform::InterfaceCommonData::UserSession;
        auto& front = platform_.front.fake;
        const std::string session =
            user == "pia" ? front.LogIn(50, client_type, kAccountPerson) : front.LogIn(kUsers.at(user).id, client_type);
        front.SetOpen(session, false);
        user_of_[session] = user;
        return session;
    }
    void LogOut(const std::string& session) override {
        platform_.notify.fake.CloseClient(session);
        platform_.front.fake.LogOut(session);
    }
    std::unique_ptr<UserCall> Send(const UserRequest& request) override {
        static const std::map<std::string, ZELPlatform::Method> verbs{{"GET", ZELPlatform::kMethodGet},
                                                                      {"PUT", ZELPlatform::kMethodPut},
                                                                      {"POST", ZELPlatform::kMethodPost},
                                                                      {"DELETE", ZELPlatform::kMethodDelete}};
        auto& front = platform_.front.fake;
        const auto answer = front.Request(
            {request.target, request.session, verbs.at(request.verb), request.body, request.content_type});
        return std::make_unique<MockUserCall>(front, answer.connection);
    }
    void OpenClient(const std::string& session) override {
        platform_.front.fake.SetOpen(session, true);
        platform_.notify.fake.OpenClient(session, kUsers.at(user_of_.at(session)).permissions);
    }
    std::vector<Frame> Frames(const std::string& session) override {
        std::vector<Frame> frames;
        for (const auto& received : platform_.front.fake.ReceivedBy(session)) {
            frames.push_back({received.text, received.data});
        }
        for (const auto& info : platform_.notify.fake.Received(session)) {
            ZELPlatform::CMsgBusContentBase::Buffer text;
            info->GetMsgContent()->GetTextContent(text);
            frames.push_back({true, std::string(text.data, strnlen(text.data, text.size))});
        }
        return frames;
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
        qar::SDBParam param = Database(99);
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
    std::map<std::string, std::string> user_of_;  // by session
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
