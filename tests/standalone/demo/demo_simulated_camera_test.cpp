#include <gtest/gtest.h>

#include "demo_cameras/simulated_camera.h"
#include "demo_cameras/time_text.h"
#include "tests/standalone/demo/demo_test_client.h"

namespace demo {
namespace {

constexpr const char* kOptions = "OPTIONS rtsp://camera/ RTSP/1.0\r\nCSeq: 7\r\n\r\n";

std::string Get(const std::string& target, const std::string& headers = "") {
    return "GET " + target + " HTTP/1.1\r\nHost: camera\r\n" + headers + "\r\n";
}

std::string HeaderOf(const std::string& head, const std::string& name) {
    const std::size_t at = head.find(name + ": ");
    return at == std::string::npos ? ""
                                   : head.substr(at + name.size() + 2, head.find("\r\n", at) - at - name.size() - 2);
}

class DemoSimulatedCameraTest : public testing::Test {
protected:
    static CameraOptions Options() {
        CameraOptions options;
        options.id = 101;
        options.seed = 5;
        return options;
    }

    static std::int64_t RealSecond() {
        return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    }

    /// The Date of the camera's answer to OPTIONS.
    static std::string ProbedDate(SimulatedCamera& camera) {
        TestClient client(camera.ProbePort());
        client.Send(kOptions);
        return HeaderOf(client.ReadTo("\r\n\r\n"), "Date");
    }

    IoThread io_;
    const ScaledClock clock_{1, RealSecond(), 1793484000};
};

TEST_F(DemoSimulatedCameraTest, OptionsIsAnsweredWithTheCamerasOwnClock) {
    CameraOptions options = Options();
    options.skew_s = -3600;
    SimulatedCamera camera(io_, clock_, options);
    camera.ComeBack();
    TestClient client(camera.ProbePort());
    const std::int64_t before = camera.ClockS();
    client.Send(kOptions);
    const std::string answer = client.ReadTo("\r\n\r\n");
    const std::int64_t after = camera.ClockS();
    const std::string date = HeaderOf(answer, "Date");
    EXPECT_EQ(answer, "RTSP/1.0 200 OK\r\nCSeq: 7\r\nDate: " + date + "\r\nPublic: OPTIONS\r\n\r\n");
    EXPECT_TRUE(date == FormatHttpDate(before) || date == FormatHttpDate(after)) << date;
    EXPECT_EQ(camera.ProbesAnswered(), 1);
}

TEST_F(DemoSimulatedCameraTest, OneConnectionTakesManyRequests) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    TestClient client(camera.ProbePort());
    for (int i = 0; i < 3; ++i) {
        client.Send(kOptions);
        EXPECT_EQ(client.ReadTo("\r\n").substr(0, 15), "RTSP/1.0 200 OK");
        client.ReadTo("\r\n\r\n");
    }
}

TEST_F(DemoSimulatedCameraTest, OtherMethodsAndOtherProtocolsAreRefused) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    TestClient describing(camera.ProbePort());
    describing.Send("DESCRIBE rtsp://camera/ RTSP/1.0\r\nCSeq: 1\r\n\r\n");
    EXPECT_EQ(describing.ReadTo("\r\n"), "RTSP/1.0 501 Not Implemented\r\n");
    TestClient browsing(camera.ProbePort());
    browsing.Send(Get("/"));
    EXPECT_EQ(browsing.ReadTo("\r\n"), "RTSP/1.0 400 Bad Request\r\n");
    EXPECT_TRUE(browsing.Ends());
}

TEST_F(DemoSimulatedCameraTest, BeforeItComesAndAfterItWentNobodyListens) {
    SimulatedCamera camera(io_, clock_, Options());
    EXPECT_TRUE(camera.Away());
    EXPECT_EQ(TestClient(camera.ProbePort()).Error(), ECONNREFUSED);
    camera.ComeBack();
    EXPECT_FALSE(camera.Away());
    EXPECT_TRUE(TestClient(camera.ProbePort()).Connected());
    EXPECT_TRUE(TestClient(camera.ArchivePort()).Connected());
    camera.GoAway();
    EXPECT_TRUE(camera.Away());
    EXPECT_EQ(TestClient(camera.ProbePort()).Error(), ECONNREFUSED);
    EXPECT_EQ(TestClient(camera.ArchivePort()).Error(), ECONNREFUSED);
}

TEST_F(DemoSimulatedCameraTest, GoingAwayCutsLiveConnections) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    TestClient idle(camera.ProbePort());
    idle.Send(kOptions);
    idle.ReadTo("\r\n\r\n");
    TestClient fetching(camera.ArchivePort());
    fetching.Send(Get("/archive/101?begin=1792900000&end=1793480000"));
    fetching.ReadTo("\r\n\r\n");
    camera.GoAway();
    EXPECT_TRUE(idle.Ends());
    EXPECT_TRUE(fetching.Ends());
}

TEST_F(DemoSimulatedCameraTest, ItComesBackOnTheSamePortsAgainAndAgain) {
    SimulatedCamera camera(io_, clock_, Options());
    const std::uint16_t port = camera.ProbePort();
    for (int i = 0; i < 20; ++i) {
        camera.ComeBack();
        TestClient client(port);
        ASSERT_TRUE(client.Connected()) << i;
        client.Send(kOptions);
        ASSERT_EQ(client.ReadTo("\r\n"), "RTSP/1.0 200 OK\r\n") << i;
        camera.GoAway();
        ASSERT_EQ(TestClient(port).Error(), ECONNREFUSED) << i;
    }
    EXPECT_EQ(camera.ProbePort(), port);
}

TEST_F(DemoSimulatedCameraTest, AnOutageLiesBetweenTheMomentsThatGoingAndComingTell) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    const std::int64_t before = clock_.NowMs();
    const std::int64_t begin = camera.GoAway();
    const std::int64_t end = camera.ComeBack();
    EXPECT_LE(before, begin);
    EXPECT_LE(begin, end);
    EXPECT_LE(end, clock_.NowMs());
}

TEST_F(DemoSimulatedCameraTest, TheArchiveHandsOutTheSecondsItRecorded) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    TestClient client(camera.ArchivePort());
    client.Send(Get("/archive/101?begin=1793400000&end=1793480000"));
    const std::string head = client.ReadTo("\r\n\r\n");
    EXPECT_EQ(head.substr(0, 17), "HTTP/1.1 200 OK\r\n");
    EXPECT_EQ(HeaderOf(head, "Content-Type"), "application/octet-stream");
    EXPECT_EQ(HeaderOf(head, "Content-Length"), "320000");
    EXPECT_TRUE(client.ReadBytes(320000) == Recording(5, 101).Bytes(1793400000, 1793480000));
    EXPECT_EQ(camera.ArchiveRequests(), 1);
}

TEST_F(DemoSimulatedCameraTest, SecondsThatAreNotRecordedAreRefused) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    const std::int64_t first = 1793484000 - 8 * 86400;
    TestClient client(camera.ArchivePort());
    const auto status = [&](std::int64_t begin, std::int64_t end) {
        client.Send("HEAD /archive/101?begin=" + std::to_string(begin) + "&end=" + std::to_string(end) +
                    " HTTP/1.1\r\n\r\n");
        return client.ReadTo("\r\n\r\n").substr(9, 3);
    };
    EXPECT_EQ(status(first, first + 10), "200");
    EXPECT_EQ(status(first - 1, first + 10), "416");
    EXPECT_EQ(status(first, camera.ClockS()), "200");
    EXPECT_EQ(status(first, camera.ClockS() + 60), "416");
}

TEST_F(DemoSimulatedCameraTest, QueriesThatAreNoneAreRefused) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    TestClient client(camera.ArchivePort());
    const auto status = [&](const std::string& target) {
        client.Send(Get(target));
        return client.ReadTo("\r\n\r\n").substr(9, 3);
    };
    EXPECT_EQ(status("/"), "200");
    EXPECT_EQ(status("/archive/102?begin=1793400000&end=1793400001"), "404");
    EXPECT_EQ(status("/archive/101"), "400");
    EXPECT_EQ(status("/archive/101?begin=1793400000"), "400");
    EXPECT_EQ(status("/archive/101?begin=1793400000&end=x"), "400");
    EXPECT_EQ(status("/archive/101?begin=1793400000&end=1793400000"), "400");
    EXPECT_EQ(status("/archive/101?begin=1793400000&end=99999999999999999999"), "400");
    client.Send("POST /archive/101 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.ReadTo("\r\n\r\n").substr(9, 3), "405");
}

TEST_F(DemoSimulatedCameraTest, TheArchiveFailsAsOftenAsItWasTold) {
    CameraOptions options = Options();
    options.archive_failures = 2;
    SimulatedCamera camera(io_, clock_, options);
    camera.ComeBack();
    TestClient client(camera.ArchivePort());
    std::string statuses;
    for (int i = 0; i < 3; ++i) {
        client.Send("HEAD /archive/101?begin=1793400000&end=1793400001 HTTP/1.1\r\n\r\n");
        statuses += client.ReadTo("\r\n\r\n").substr(9, 3) + " ";
    }
    EXPECT_EQ(statuses, "500 500 200 ");
}

TEST_F(DemoSimulatedCameraTest, ASilentCameraAcceptsAndNeverAnswers) {
    CameraOptions options = Options();
    options.probe = ProbeBehaviour::kSilent;
    SimulatedCamera camera(io_, clock_, options);
    camera.ComeBack();
    TestClient client(camera.ProbePort());
    ASSERT_TRUE(client.Connected());
    client.Send(kOptions);
    EXPECT_TRUE(client.StaysSilentFor(300));
    EXPECT_EQ(camera.ProbesAnswered(), 0);
}

TEST_F(DemoSimulatedCameraTest, ARubbishCameraAnswersWhatIsNoRtsp) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.SetProbeBehaviour(ProbeBehaviour::kRubbish);
    camera.ComeBack();
    TestClient client(camera.ProbePort());
    client.Send(kOptions);
    const std::string answer = client.ReadBytes(256);
    EXPECT_EQ(answer.size(), 256U);
    EXPECT_EQ(answer.find("RTSP"), std::string::npos);
}

TEST_F(DemoSimulatedCameraTest, ADrippingCameraSendsAByteASecond) {
    CameraOptions options = Options();
    options.probe = ProbeBehaviour::kDrip;
    SimulatedCamera camera(io_, clock_, options);
    camera.ComeBack();
    TestClient client(camera.ProbePort());
    client.Send(kOptions);
    EXPECT_EQ(client.ReadBytes(2), "RT");
    EXPECT_TRUE(client.StaysSilentFor(300));
}

TEST_F(DemoSimulatedCameraTest, TheDateCanBeMissingOrOf1970) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    camera.SetDateBehaviour(DateBehaviour::kNone);
    EXPECT_EQ(ProbedDate(camera), "");
    camera.SetDateBehaviour(DateBehaviour::kYear1970);
    EXPECT_EQ(ProbedDate(camera), "Thu, 01 Jan 1970 00:00:00 GMT");
}

TEST_F(DemoSimulatedCameraTest, AClockThatJumpsShowsInTheDate) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    const std::int64_t before = camera.ClockS();
    camera.JumpClock(86400);
    EXPECT_GE(camera.ClockS(), before + 86400);
    EXPECT_EQ(ProbedDate(camera).substr(0, 16), FormatHttpDate(before + 86400).substr(0, 16));
}

TEST_F(DemoSimulatedCameraTest, ItSpeaksIpv6WhereAsked) {
    CameraOptions options = Options();
    options.address = "::1";
    SimulatedCamera camera(io_, clock_, options);
    camera.ComeBack();
    EXPECT_EQ(camera.ProbeUrl(), "rtsp://[::1]:" + std::to_string(camera.ProbePort()) + "/");
    EXPECT_EQ(camera.ArchiveUrl(), "http://[::1]:" + std::to_string(camera.ArchivePort()) + "/archive");
    TestClient client(camera.ProbePort(), "::1");
    client.Send(kOptions);
    EXPECT_EQ(client.ReadTo("\r\n"), "RTSP/1.0 200 OK\r\n");
}

TEST_F(DemoSimulatedCameraTest, AnEndlessHeadEndsTheConnection) {
    SimulatedCamera camera(io_, clock_, Options());
    camera.ComeBack();
    TestClient client(camera.ProbePort());
    client.Send(std::string(20000, 'x'));
    EXPECT_TRUE(client.Ends());
}

}  // namespace
}  // namespace demo
