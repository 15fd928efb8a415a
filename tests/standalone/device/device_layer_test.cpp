#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "ZELPlatform/MsgBus.h"
#include "ZELPlatform/TimeZone.h"
#include "standalone/base/Clock.h"
#include "standalone/device/DeviceLayer.h"
#include "standalone/device/event_recorder.h"
#include "standalone/device/scripted_server.h"
#include "standalone/log/LogControl.h"
#include "standalone/site/site_folder.h"
#include "tuk/DeviceAccessObserverParam.h"
#include "tuk/DeviceManager.h"

namespace {

using device_test::EventRecorder;
using device_test::ScriptedServer;
using qarplatform::Clock;
using qarplatform::DeviceLayer;
using qarplatform::DeviceStatus;
using qarplatform::ProbeOptions;
using qarplatform::Site;
using testing::ElementsAre;
using testing::IsEmpty;
using Reply = ScriptedServer::Reply;

constexpr int64_t kStart = 1772323200;  // 2026-03-01 00:00:00 UTC
constexpr const char* kOk = "RTSP/1.0 200 OK\r\nCSeq: 1\r\n";

std::string HttpDate(int64_t seconds) {
    const time_t moment = seconds;
    tm utc{};
    gmtime_r(&moment, &utc);
    char text[64];
    strftime(text, sizeof(text), "%a, %d %b %Y %H:%M:%S GMT", &utc);
    return text;
}

/// Answers with the platform's time and something added.
ScriptedServer::Script ClockOf(int64_t added_s) {
    return [added_s](const std::string&) {
        return Reply{kOk + ("Date: " + HttpDate(Clock::Get().NowMs() / 1000 + added_s)) + "\r\n\r\n"};
    };
}

ScriptedServer::Script Always(const Reply& reply) {
    return [reply](const std::string&) { return reply; };
}

/// Waits until a condition holds. @return false after half a minute
bool Eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

class DeviceLayerTest : public testing::Test {
protected:
    void SetUp() override {
        // A device minute in 100 ms.
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        Clock::Get().Configure(600, std::chrono::duration_cast<std::chrono::milliseconds>(now).count(), kStart * 1000);
        qarplatform::LogOptions log;
        log.level = 2;
        log.file = folder_.At("log.txt");
        std::string error;
        ASSERT_TRUE(qarplatform::StartLog(log, error)) << error;
    }

    void TearDown() override { DeviceLayer::Get().StopProbes(); }

    /// A device with the next id and two cameras: 101 and 102, 201 and 202 …
    void AddDevice(const std::string& probe, bool guard = true) {
        const int id = static_cast<int>(site_.devices.size()) + 1;
        site_.devices.push_back(
            {id, 2001, "D-" + std::to_string(id), "Camera " + std::to_string(id), probe, "", "", guard});
        for (int no = 1; no <= 2; ++no) {
            site_.channels.push_back({100 * id + no, 1001, "C-" + std::to_string(100 * id + no), id, no});
        }
    }

    void Start(ProbeOptions options = {60, 5000, 1}) {
        DeviceLayer::Get().Load(site_);
        std::string error;
        ASSERT_TRUE(DeviceLayer::Get().StartProbes(options, error)) << error;
    }

    static DeviceStatus StatusOf(int id) { return DeviceLayer::Get().Status().at(static_cast<std::size_t>(id) - 1); }

    /// Ends the probes and the log. @return the platform's lines, "W text"
    std::vector<std::string> StopAndReadLog() {
        DeviceLayer::Get().StopProbes();
        qarplatform::StopLog();
        std::vector<std::string> lines;
        std::ifstream file(folder_.At("log.txt"));
        for (std::string line; std::getline(file, line);) {
            const std::size_t module = line.find(" [QARPlatform] ");
            if (module != std::string::npos) {
                lines.push_back(line.substr(module - 1, 2) + line.substr(module + 15));
            }
        }
        return lines;
    }

    /// The device's own present, as its time zone tells it. @return -1 while the clock is not known
    static int64_t DeviceNow(int id) {
        ZELPlatform::TimeZone::CTimeZoneDeviceKey key;
        key.SetDeviceId(id);
        key.SetDeviceType(2001);
        std::string local;
        std::string utc;
        int offset = 0;
        if (!ZELPlatform::TimeZone::GetDeviceTimeEx(local, utc, offset, key, -1)) {
            return -1;
        }
        tm moment{};
        strptime(utc.c_str(), "%Y-%m-%d %H:%M:%S", &moment);
        return timegm(&moment);
    }

    /// How far a device's clock lies from the platform's, in seconds.
    static int64_t DistanceOf(int id) { return DeviceNow(id) - Clock::Get().NowMs() / 1000; }

    site_test::SiteFolder folder_;
    Site site_;
    EventRecorder recorder_;
};

/// One fault of a device that never answers as it should, and how it is told.
struct Fault {
    const char* name;
    Reply reply;
    const char* reason;
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

class FaultyDeviceTest : public DeviceLayerTest, public testing::WithParamInterface<Fault> {};

TEST_P(FaultyDeviceTest, IsAwayWithOneLineAndTheOthersGoOn) {
    ScriptedServer faulty;
    faulty.SetScript(Always(GetParam().reply));
    ScriptedServer good;
    good.SetScript(ClockOf(0));
    AddDevice("rtsp://" + faulty.HostAndPort() + "/");
    AddDevice("rtsp://" + good.HostAndPort() + "/");
    Start({60, 300, 1});

    ASSERT_TRUE(faulty.WaitForMoreConnections(4));
    EXPECT_EQ(recorder_.WaitFor(4).size(), 4U);
    EXPECT_FALSE(StatusOf(1).online);
    EXPECT_FALSE(StatusOf(1).clock_known);
    EXPECT_TRUE(StatusOf(2).online);
    EXPECT_THAT(StopAndReadLog(),
                testing::UnorderedElementsAre("W device 1 \"Camera 1\" does not answer at rtsp://" +
                                                  faulty.HostAndPort() + "/: " + GetParam().reason,
                                              "I device 2 \"Camera 2\" answers at rtsp://" + good.HostAndPort() + "/"));
    EXPECT_EQ(recorder_.Events().size(), 4U);
}

const Fault kFaults[] = {
    {"Silent", {""}, "no answer within 300 ms"},
    {"ByteByByte",
     {std::string("RTSP/1.0 200 OK\r\nX: ") + std::string(1000, 'x'), true},
     "no whole answer within 300 ms"},
    {"HeadWithoutEnd", {"RTSP/1.0 200 OK\r\nCSeq: 1\r\n"}, "no whole answer within 300 ms"},
    {"Rubbish", {"SSH-2.0-Server\r\n"}, "the answer is not RTSP"},
    {"Zeros", {std::string(3000, '\0')}, "the answer is not RTSP"},
    {"OtherProtocol", {"HTTP/1.1 400 Bad Request\r\n\r\n"}, "the answer is not RTSP"},
    {"EndlessHead",
     {"RTSP/1.0 200 OK\r\nX: " + std::string(100000, 'x')},
     "the head of the answer is longer than 16 KiB"},
    {"ClosesAtOnce", {"", false, true}, "the connection was closed without an answer"},
    {"ClosesInTheHead", {"RTSP/1.0 200 OK\r\n", false, true}, "the connection was closed before the answer was whole"},
};

INSTANTIATE_TEST_SUITE_P(Faults, FaultyDeviceTest, testing::ValuesIn(kFaults),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(DeviceLayerTest, FirstContactOfAGuardedDeviceRaisesAllItsEvents) {
    ScriptedServer server;
    server.SetScript(ClockOf(0));
    AddDevice("rtsp://" + server.HostAndPort() + "/stream");
    Start();

    EXPECT_THAT(recorder_.WaitFor(4), ElementsAre("265 2001 1 {\"event\":265,\"id\":1,\"device\":1}",
                                                  "261 2001 1 {\"event\":261,\"id\":1,\"device\":1}",
                                                  "517 1001 101 {\"event\":517,\"id\":101,\"device\":1}",
                                                  "517 1001 102 {\"event\":517,\"id\":102,\"device\":1}"));
    ASSERT_TRUE(server.WaitForMoreConnections(3));
    const std::string host = server.HostAndPort();
    EXPECT_EQ(server.Questions().front(),
              "OPTIONS rtsp://" + host + "/stream RTSP/1.0\r\nCSeq: 1\r\nUser-Agent: qarhost\r\n\r\n");
    EXPECT_THAT(StopAndReadLog(), ElementsAre("I device 1 \"Camera 1\" answers at rtsp://" + host + "/stream"));
    EXPECT_EQ(recorder_.Events().size(), 4U);
}

TEST_F(DeviceLayerTest, StateIsSetBeforeItsEventIsRaised) {
    ScriptedServer server;
    server.SetScript(ClockOf(1000000));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();

    ASSERT_GE(recorder_.WaitFor(1).size(), 1U);
    EXPECT_TRUE(StatusOf(1).online);
    EXPECT_TRUE(StatusOf(1).guard);
    EXPECT_TRUE(StatusOf(1).clock_known);
    const auto device = Mox::Base::CSingleton<tuk::CDeviceManager>::Instance()->FindDeviceByID(1, 2001);
    EXPECT_TRUE(device->IsOnline());
    EXPECT_GE(device->GetTimeValue(), kStart);
    EXPECT_LE(device->GetTimeValue(), Clock::Get().NowMs() / 1000);
}

TEST_F(DeviceLayerTest, UnguardedDeviceTellsItsCamerasOnly) {
    ScriptedServer server;
    server.SetScript(ClockOf(0));
    AddDevice("rtsp://" + server.HostAndPort() + "/", false);
    Start();

    EXPECT_THAT(recorder_.WaitFor(2), ElementsAre("517 1001 101 {\"event\":517,\"id\":101,\"device\":1}",
                                                  "517 1001 102 {\"event\":517,\"id\":102,\"device\":1}"));
    ASSERT_TRUE(server.WaitForMoreConnections(3));
    EXPECT_EQ(recorder_.Events().size(), 2U);
    EXPECT_TRUE(StatusOf(1).online);
    EXPECT_FALSE(StatusOf(1).guard);
}

TEST_F(DeviceLayerTest, DeviceThatVanishesAndReturnsIsToldAgainAndKeepsItsClock) {
    ScriptedServer server;
    server.SetScript(ClockOf(1000000));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();
    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);

    server.Vanish();
    ASSERT_TRUE(Eventually([] { return !StatusOf(1).online; }));
    EXPECT_TRUE(StatusOf(1).clock_known);
    EXPECT_NEAR(static_cast<double>(DistanceOf(1)), 1000000.0, 600.0);
    EXPECT_EQ(recorder_.Events().size(), 4U);

    server.Return();
    const std::vector<std::string> events = recorder_.WaitFor(7);
    ASSERT_EQ(events.size(), 7U);
    EXPECT_EQ(events[4].substr(0, 10), "261 2001 1");
    EXPECT_EQ(events[5].substr(0, 12), "517 1001 101");
    EXPECT_EQ(events[6].substr(0, 12), "517 1001 102");
    EXPECT_TRUE(StatusOf(1).online);

    const std::string at = " at rtsp://" + server.HostAndPort() + "/";
    EXPECT_THAT(StopAndReadLog(),
                ElementsAre("I device 1 \"Camera 1\" answers" + at,
                            "W device 1 \"Camera 1\" does not answer" + at + ": no connection: Connection refused",
                            "I device 1 \"Camera 1\" answers again" + at));
}

TEST_F(DeviceLayerTest, OtherReasonIsALineOfItsOwn) {
    ScriptedServer server;
    server.SetScript(Always({"rubbish"}));
    AddDevice("http://" + server.HostAndPort() + "/");
    Start();
    ASSERT_TRUE(server.WaitForMoreConnections(3));
    server.SetScript(Always({"", false, true}));
    ASSERT_TRUE(server.WaitForMoreConnections(3));

    const std::string line = "W device 1 \"Camera 1\" does not answer at http://" + server.HostAndPort() + "/: ";
    EXPECT_THAT(StopAndReadLog(),
                ElementsAre(line + "the answer is not HTTP", line + "the connection was closed without an answer"));
}

TEST_F(DeviceLayerTest, ReasonsThatTakeTurnsAreOneLineEach) {
    ScriptedServer server;
    int asked = 0;  // on the server's thread
    server.SetScript([&asked](const std::string&) {
        return ++asked % 2 == 0 ? Reply{"rubbish"} : Reply{"", false, true};
    });
    AddDevice("http://" + server.HostAndPort() + "/");
    Start();
    ASSERT_TRUE(server.WaitForMoreConnections(8));

    const std::string line = "W device 1 \"Camera 1\" does not answer at http://" + server.HostAndPort() + "/: ";
    EXPECT_THAT(StopAndReadLog(),
                ElementsAre(line + "the connection was closed without an answer", line + "the answer is not HTTP"));
}

TEST_F(DeviceLayerTest, HttpDeviceIsAskedForItsHeadAndAnyStatusIsAnAnswer) {
    ScriptedServer server;
    server.SetScript([](const std::string&) {
        return Reply{"HTTP/1.1 404 Not Found\r\ndate: " + HttpDate(Clock::Get().NowMs() / 1000 - 5000) + "\r\n\r\n"};
    });
    AddDevice("http://" + server.HostAndPort() + "/status?x=1");
    Start();

    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    EXPECT_EQ(server.Questions().front(), "HEAD /status?x=1 HTTP/1.1\r\nHost: " + server.HostAndPort() +
                                              "\r\nUser-Agent: qarhost\r\nConnection: close\r\n\r\n");
    EXPECT_NEAR(static_cast<double>(DistanceOf(1)), -5000.0, 600.0);
}

TEST_F(DeviceLayerTest, TcpDeviceNeedsOnlyToConnectAndRunsOnTheHostsClock) {
    ScriptedServer server;
    AddDevice("tcp://" + server.HostAndPort());
    Start();

    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    EXPECT_TRUE(StatusOf(1).clock_known);
    EXPECT_NEAR(static_cast<double>(DistanceOf(1)), 0.0, 600.0);
    EXPECT_THAT(server.Questions(), IsEmpty());
}

TEST_F(DeviceLayerTest, AnswerWithoutADateRunsOnTheHostsClock) {
    ScriptedServer server;
    server.SetScript(Always({std::string(kOk) + "\r\n"}));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();

    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    EXPECT_NEAR(static_cast<double>(DistanceOf(1)), 0.0, 600.0);
}

TEST_F(DeviceLayerTest, DeviceOnIPv6Answers) {
    if (!ScriptedServer::CanListenOn("::1")) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    ScriptedServer server("::1");
    server.SetScript(ClockOf(0));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();

    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    EXPECT_EQ(server.Questions().front().substr(0, 20), "OPTIONS rtsp://[::1]");
}

TEST_F(DeviceLayerTest, HostNameIsLookedUp) {
    ScriptedServer server;
    server.SetScript(ClockOf(0));
    const std::string address = server.HostAndPort();
    // A name of this machine that is known without a file of hosts.
    AddDevice("rtsp://0x7f.1" + address.substr(address.find(':')) + "/");
    Start();

    EXPECT_EQ(recorder_.WaitFor(4).size(), 4U);
}

TEST_F(DeviceLayerTest, HostNameThatIsNoneIsAwayAndTheOthersGoOn) {
    ScriptedServer server;
    server.SetScript(ClockOf(0));
    AddDevice("rtsp://camera.invalid/");
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start({60, 200, 1});

    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    ASSERT_TRUE(server.WaitForMoreConnections(6));
    EXPECT_FALSE(StatusOf(1).online);
    const std::vector<std::string> lines = StopAndReadLog();
    EXPECT_THAT(lines, testing::Contains(testing::StartsWith(
                           "W device 1 \"Camera 1\" does not answer at rtsp://camera.invalid/: its host name ")));
}

TEST_F(DeviceLayerTest, DeviceWithABadAddressIsToldOnceAndNeverAskedAndTheOthersGoOn) {
    ScriptedServer server;
    server.SetScript(ClockOf(0));
    AddDevice("rtsp://user@camera/");
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();

    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    ASSERT_TRUE(server.WaitForMoreConnections(3));
    EXPECT_FALSE(StatusOf(1).online);
    EXPECT_FALSE(StatusOf(1).clock_known);
    EXPECT_TRUE(StatusOf(2).online);
    EXPECT_THAT(StopAndReadLog(),
                ElementsAre("E device 1 \"Camera 1\" is never asked, \"rtsp://user@camera/\" is no "
                            "address: must not hold a user name or password",
                            "I device 2 \"Camera 2\" answers at rtsp://" + server.HostAndPort() + "/"));
}

TEST_F(DeviceLayerTest, DeviceCountsAsAwayOnlyAfterItsFailuresInARow) {
    int asked = 0;
    ScriptedServer server;
    server.SetScript([&asked](const std::string& question) {
        return ++asked % 3 == 1 ? ClockOf(0)(question) : Reply{"", false, true};
    });
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start({60, 5000, 3});
    ASSERT_TRUE(server.WaitForMoreConnections(10));
    EXPECT_TRUE(StatusOf(1).online);
    server.SetScript(Always({"", false, true}));
    ASSERT_TRUE(Eventually([] { return !StatusOf(1).online; }));

    const std::string at = " at rtsp://" + server.HostAndPort() + "/";
    EXPECT_THAT(StopAndReadLog(), ElementsAre("I device 1 \"Camera 1\" answers" + at,
                                              "W device 1 \"Camera 1\" does not answer" + at +
                                                  ": the connection was closed without an answer"));
}

TEST_F(DeviceLayerTest, JumpOfADevicesClockIsTakenWithOneLine) {
    ScriptedServer server;
    server.SetScript(ClockOf(0));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();
    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    server.SetScript(ClockOf(864000));
    ASSERT_TRUE(Eventually([] { return DistanceOf(1) > 800000; }));
    ASSERT_TRUE(server.WaitForMoreConnections(4));

    EXPECT_TRUE(StatusOf(1).online);
    const std::vector<std::string> lines = StopAndReadLog();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[1],
                testing::MatchesRegex("W device 1 \"Camera 1\": its clock jumped by 86[345][0-9][0-9][0-9] s to "
                                      "2026-03-1[0-9] [0-9:]* UTC; the new time is taken"));
    EXPECT_EQ(recorder_.Events().size(), 4U);
}

TEST_F(DeviceLayerTest, DateOf1970IsNotBelievedAndToldOnce) {
    ScriptedServer server;
    server.SetScript(Always({kOk + std::string("Date: Thu, 01 Jan 1970 00:01:40 GMT\r\n\r\n")}));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();
    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    ASSERT_TRUE(server.WaitForMoreConnections(4));
    EXPECT_TRUE(StatusOf(1).online);
    EXPECT_FALSE(StatusOf(1).clock_known);

    server.SetScript(ClockOf(-7200));
    ASSERT_TRUE(Eventually([] { return StatusOf(1).clock_known; }));
    EXPECT_NEAR(static_cast<double>(DistanceOf(1)), -7200.0, 600.0);

    server.SetScript(Always({kOk + std::string("Date: Thu, 01 Jan 1970 00:02:00 GMT\r\n\r\n")}));
    ASSERT_TRUE(server.WaitForMoreConnections(4));
    EXPECT_NEAR(static_cast<double>(DistanceOf(1)), -7200.0, 600.0);

    EXPECT_THAT(
        StopAndReadLog(),
        ElementsAre("W device 1 \"Camera 1\": its date \"Thu, 01 Jan 1970 00:01:40 GMT\" is not believed: it lies "
                    "before the year 2000",
                    "I device 1 \"Camera 1\" answers at rtsp://" + server.HostAndPort() + "/",
                    "W device 1 \"Camera 1\": its date \"Thu, 01 Jan 1970 00:02:00 GMT\" is not believed: it lies "
                    "before the year 2000"));
}

TEST_F(DeviceLayerTest, ClockThatJumpsAtEachAnswerIsToldOnce) {
    ScriptedServer server;
    server.SetScript([answers = 0](const std::string&) mutable {
        return Reply{kOk + ("Date: " + HttpDate(kStart - 86400 * ++answers)) + "\r\n\r\n"};
    });
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();
    ASSERT_TRUE(server.WaitForMoreConnections(8));

    const auto lines = StopAndReadLog();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.find("jumped") != std::string::npos; }),
              1);
}

TEST_F(DeviceLayerTest, DateBehindTheYear2199IsNotBelieved) {
    ScriptedServer server;
    server.SetScript(Always({kOk + std::string("Date: Fri, 31 Dec 9999 23:59:59 GMT\r\n\r\n")}));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();
    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    EXPECT_FALSE(StatusOf(1).clock_known);

    EXPECT_THAT(StopAndReadLog(),
                ElementsAre("W device 1 \"Camera 1\": its date \"Fri, 31 Dec 9999 23:59:59 GMT\" is not believed: it "
                            "lies behind the year 2199",
                            "I device 1 \"Camera 1\" answers at rtsp://" + server.HostAndPort() + "/"));
}

TEST_F(DeviceLayerTest, DateThatIsNoneIsNotBelievedAndShownHarmlessly) {
    ScriptedServer server;
    server.SetScript(Always({kOk + std::string("Date: 2026\x1b[31m") + std::string(100, 'x') + "\r\n\r\n"}));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();
    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    ASSERT_TRUE(server.WaitForMoreConnections(3));
    EXPECT_FALSE(StatusOf(1).clock_known);

    EXPECT_THAT(StopAndReadLog(),
                ElementsAre("W device 1 \"Camera 1\": its date \"2026?[31m" + std::string(55, 'x') +
                                "\" is not believed: it is no date as the protocol wants it",
                            "I device 1 \"Camera 1\" answers at rtsp://" + server.HostAndPort() + "/"));
}

TEST_F(DeviceLayerTest, GuardThatGoesOnIsToldOnceEvenOfADeviceThatIsAway) {
    AddDevice("tcp://127.0.0.1:1", false);
    DeviceLayer::Get().Load(site_);

    EXPECT_TRUE(DeviceLayer::Get().SetGuard(1, true));
    EXPECT_TRUE(StatusOf(1).guard);
    EXPECT_TRUE(DeviceLayer::Get().SetGuard(1, true));
    EXPECT_TRUE(DeviceLayer::Get().SetGuard(1, false));
    EXPECT_FALSE(StatusOf(1).guard);
    EXPECT_TRUE(DeviceLayer::Get().SetGuard(1, true));
    EXPECT_FALSE(DeviceLayer::Get().SetGuard(2, true));

    const std::string event = "265 2001 1 {\"event\":265,\"id\":1,\"device\":1}";
    EXPECT_THAT(recorder_.WaitFor(2), ElementsAre(event, event));
}

TEST_F(DeviceLayerTest, NoEventIsRaisedOnceTheProbesHaveEnded) {
    ScriptedServer server;
    AddDevice("rtsp://" + server.HostAndPort() + "/", false);
    Start();
    ASSERT_TRUE(server.WaitForMoreConnections(1));
    DeviceLayer::Get().StopProbes();
    EXPECT_TRUE(DeviceLayer::Get().SetGuard(1, true));
    EXPECT_TRUE(StatusOf(1).guard);

    // A message of another type behind it would come after any event.
    ASSERT_TRUE(ZELPlatform::MsgBus::NotifyObserverEventEx(
        "TUK_DeviceAccess", 9, std::make_shared<tuk::CDeviceAccessObserverParam>(), ZELPlatform::kObserverTask0));
    const std::vector<std::string> events = recorder_.WaitFor(1);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].substr(0, 2), "9 ");
}

TEST_F(DeviceLayerTest, ProbesThatWereStoppedStartAfreshWithAFirstContact) {
    ScriptedServer server;
    server.SetScript(ClockOf(0));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
    Start();
    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    DeviceLayer::Get().StopProbes();
    std::string error;
    ASSERT_TRUE(DeviceLayer::Get().StartProbes({60, 5000, 1}, error)) << error;

    const std::vector<std::string> events = recorder_.WaitFor(8);
    ASSERT_EQ(events.size(), 8U);
    EXPECT_EQ(events[4].substr(0, 10), "265 2001 1");
}

// The process has no descriptor left: that says nothing about the device.
TEST_F(DeviceLayerTest, LackOfDescriptorsIsToldOnceAndNoDeviceCountsAsAway) {
    ScriptedServer server;
    server.SetScript(ClockOf(0));
    AddDevice("rtsp://" + server.HostAndPort() + "/");
#if defined(__has_feature)
#if __has_feature(address_sanitizer)  // comes with the check of undefined behaviour
    GTEST_SKIP() << "the sanitizer's check of an object's type needs a descriptor itself";
#endif
#endif
    const int log = open(folder_.At("log.txt").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(log, 0);
    Start({600, 5000, 1});
    ASSERT_EQ(recorder_.WaitFor(4).size(), 4U);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    rlimit none = limit;
    none.rlim_cur = 3;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);

    std::string text;
    char buffer[4096];
    const bool told = Eventually([&] {
        const ssize_t size = read(log, buffer, sizeof(buffer));
        text.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        return text.find("devices cannot be asked: ") != std::string::npos;
    });
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    close(log);
    EXPECT_TRUE(told);
    ASSERT_TRUE(server.WaitForMoreConnections(2));
    EXPECT_TRUE(StatusOf(1).online);
    EXPECT_THAT(StopAndReadLog(), ElementsAre("I device 1 \"Camera 1\" answers at rtsp://" + server.HostAndPort() + "/",
                                              "E devices cannot be asked: no connection: Too many open files"));
}

}  // namespace
