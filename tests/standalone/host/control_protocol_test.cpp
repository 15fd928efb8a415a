#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "host/ControlProtocol.h"

namespace qarhost {
namespace {

using testing::_;
using testing::DoAll;
using testing::Return;
using testing::SetArgReferee;
using testing::StrictMock;

class MockHost : public HostControl {
public:
    MOCK_METHOD(HostStatus, Status, (), (override));
    MOCK_METHOD(bool, SetGuard, (int, bool, std::string&), (override));
    MOCK_METHOD(bool, SetDatabaseDir, (const std::string&, std::string&), (override));
};

HostStatus SomeStatus() {
    HostStatus status;
    status.site = "demo";
    status.pid = 42;
    status.clock_scale = 600;
    status.clock_now_ms = 1793484000123;
    status.database_dir = "/data/db";
    status.front = "http://127.0.0.1:8080";
    status.timers = {{"HistoryStateMgr.timer", 60000, 1793484000000, 7}};
    status.devices = {{1, 2001, true, true, false}, {2, 2001, false, false, true}};
    status.plugins = {{"backfill", "started"}};
    return status;
}

class ControlProtocolTest : public testing::Test {
protected:
    std::string Ask(const std::string& request) { return AnswerControl(host_, request); }

    StrictMock<MockHost> host_;
};

TEST_F(ControlProtocolTest, StatusTellsEverything) {
    EXPECT_CALL(host_, Status).WillOnce(Return(SomeStatus()));
    EXPECT_EQ(R"({"ok":true,"pid":42,"site":"demo","clock":{"scale":600,"now_ms":1793484000123},"database":"/data/db",)"
              R"("front":"http://127.0.0.1:8080",)"
              R"("timers":[{"name":"HistoryStateMgr.timer","interval_ms":60000,"started_ms":1793484000000,"ticks":7}],)"
              R"("devices":[{"id":1,"online":true,"guard":true,"clock_known":false},)"
              R"({"id":2,"online":false,"guard":false,"clock_known":true}],)"
              R"("plugins":[{"id":"backfill","state":"started"}]})",
              Ask(StatusRequest()));
}

TEST_F(ControlProtocolTest, StatusIsReadBackWhole) {
    EXPECT_CALL(host_, Status).WillOnce(Return(SomeStatus()));
    HostStatus status;
    std::string error;
    ASSERT_TRUE(ReadControlAnswer(Ask(StatusRequest()), &status, error)) << error;
    const HostStatus expected = SomeStatus();
    EXPECT_EQ(expected.site, status.site);
    EXPECT_EQ(expected.pid, status.pid);
    EXPECT_EQ(expected.clock_scale, status.clock_scale);
    EXPECT_EQ(expected.clock_now_ms, status.clock_now_ms);
    EXPECT_EQ(expected.database_dir, status.database_dir);
    EXPECT_EQ(expected.front, status.front);
    ASSERT_EQ(1u, status.timers.size());
    EXPECT_EQ(expected.timers[0].name, status.timers[0].name);
    EXPECT_EQ(expected.timers[0].interval_ms, status.timers[0].interval_ms);
    EXPECT_EQ(expected.timers[0].started_ms, status.timers[0].started_ms);
    EXPECT_EQ(expected.timers[0].ticks, status.timers[0].ticks);
    ASSERT_EQ(2u, status.devices.size());
    EXPECT_TRUE(status.devices[0].online && status.devices[0].guard && !status.devices[0].clock_known);
    EXPECT_TRUE(!status.devices[1].online && !status.devices[1].guard && status.devices[1].clock_known);
    ASSERT_EQ(1u, status.plugins.size());
    EXPECT_EQ("backfill", status.plugins[0].id);
    EXPECT_EQ("started", status.plugins[0].state);
}

TEST_F(ControlProtocolTest, BrokenScaleKeepsItsFraction) {
    HostStatus half = SomeStatus();
    half.clock_scale = 0.5;
    EXPECT_CALL(host_, Status).WillOnce(Return(half));
    EXPECT_NE(std::string::npos, Ask(StatusRequest()).find(R"("scale":0.5,)"));
}

TEST_F(ControlProtocolTest, GuardIsSet) {
    EXPECT_CALL(host_, SetGuard(7, true, _)).WillOnce(Return(true));
    EXPECT_EQ(R"({"ok":true})", Ask(GuardRequest(7, true)));
}

TEST_F(ControlProtocolTest, DatabaseIsSet) {
    EXPECT_CALL(host_, SetDatabaseDir("/new \"place\"", _)).WillOnce(Return(true));
    EXPECT_EQ(R"({"ok":true})", Ask(DatabaseRequest("/new \"place\"")));
}

TEST_F(ControlProtocolTest, HostsReasonIsHandedOn) {
    EXPECT_CALL(host_, SetGuard(7, false, _)).WillOnce(DoAll(SetArgReferee<2>("no device 7"), Return(false)));
    const std::string answer = Ask(GuardRequest(7, false));
    EXPECT_EQ(R"({"ok":false,"error":"no device 7"})", answer);
    std::string error;
    EXPECT_FALSE(ReadControlAnswer(answer, nullptr, error));
    EXPECT_EQ("no device 7", error);
}

struct BadRequest {
    const char* name;
    const char* request;
    const char* reason;
};

void PrintTo(const BadRequest& bad, std::ostream* out) { *out << bad.name; }

class BadRequestTest : public testing::TestWithParam<BadRequest> {};

TEST_P(BadRequestTest, IsAnsweredWithItsReasonAndChangesNothing) {
    StrictMock<MockHost> host;
    const std::string answer = AnswerControl(host, GetParam().request);
    std::string error;
    EXPECT_FALSE(ReadControlAnswer(answer, nullptr, error));
    EXPECT_NE(std::string::npos, error.find(GetParam().reason)) << error;
}

const BadRequest kBadRequests[] = {
    {"Empty", "", "no JSON"},
    {"BareWord", "status", "no JSON"},
    {"CutOff", R"({"command":"status")", "at byte"},
    {"List", "[]", "not a JSON object"},
    {"NoCommand", "{}", "needs \"command\""},
    {"CommandIsNumber", R"({"command":1})", "needs \"command\""},
    {"UnknownCommand", R"({"command":"walk"})", "unknown command \"walk\""},
    {"GuardWithoutDevice", R"({"command":"guard","on":true})", "needs \"device\""},
    {"GuardOfBrokenDevice", R"({"command":"guard","device":1.5,"on":true})", "needs \"device\""},
    {"GuardWithoutOn", R"({"command":"guard","device":1})", "needs \"on\""},
    {"GuardOnIsText", R"({"command":"guard","device":1,"on":"yes"})", "needs \"on\""},
    {"DatabaseWithoutDir", R"({"command":"database"})", "needs \"dir\""},
    {"DatabaseRelativeDir", R"({"command":"database","dir":"db"})", "an absolute path"},
    {"DatabaseDirWithNul", R"({"command":"database","dir":"/a\u0000b"})", "control characters"},
    {"DatabaseDirWithEscape", R"({"command":"database","dir":"/a\u001b[31mb"})", "control characters"}};

INSTANTIATE_TEST_SUITE_P(ControlProtocol, BadRequestTest, testing::ValuesIn(kBadRequests),
                         [](const testing::TestParamInfo<BadRequest>& info) { return info.param.name; });

TEST(ControlAnswerTest, AnswerThatIsNoAnswerIsSaidToBeNone) {
    std::string error;
    EXPECT_FALSE(ReadControlAnswer("hello", nullptr, error));
    EXPECT_NE(std::string::npos, error.find("cannot be understood")) << error;
    EXPECT_FALSE(ReadControlAnswer("{}", nullptr, error));
    EXPECT_NE(std::string::npos, error.find("cannot be understood")) << error;
}

TEST(ControlAnswerTest, DeeplyNestedRequestIsOnlyARefusedRequest) {
    StrictMock<MockHost> host;
    const std::string deep = std::string(30000, '[') + std::string(30000, ']');
    EXPECT_NE(std::string::npos, AnswerControl(host, deep).find("not a JSON object"));
}

}  // namespace
}  // namespace qarhost
