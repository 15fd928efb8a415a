#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "standalone/http/http_server_fixture.h"
#include "standalone/http/push_client.h"
#include "standalone/http/test_certificate.h"
#include "standalone/log/temp_log.h"

namespace http_test {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Tls = RawClient::Tls;

class TlsTest : public HttpServerTest {
protected:
    TlsTest() {
        options_.certificate_file = folder_.Path() + "/site.crt";
        options_.key_file = folder_.Path() + "/site.key";
        options_.spool_dir = folder_.Path();
        WriteCertificate(options_.certificate_file, options_.key_file);
    }

    std::string StartError() {
        std::string error;
        EXPECT_FALSE(server_.Start(
            options_, [](const ClientRequest&) {}, error));
        return error;
    }

    TempDir folder_;
};

TEST_F(TlsTest, RequestsAreServedOverBothVersions) {
    StartServer();
    RawClient newest(server_.Port(), Tls::kAny);
    RawClient older(server_.Port(), Tls::kOnly12);
    EXPECT_EQ(newest.TlsVersion(), "TLSv1.3");
    EXPECT_EQ(older.TlsVersion(), "TLSv1.2");
    for (int i = 0; i < 2; ++i) {
        newest.Send("POST /a HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n\r\nhi");
        EXPECT_EQ(newest.ReadAnswer().body, "POST /a hi");
        older.Send("GET /b HTTP/1.1\r\nHost: h\r\n\r\n");
        EXPECT_EQ(older.ReadAnswer().body, "GET /b ");
    }
}

TEST_F(TlsTest, VersionsBefore12AreRefused) {
    StartServer();
    EXPECT_FALSE(RawClient(server_.Port(), Tls::kUpTo11).Connected());
    EXPECT_TRUE(RawClient(server_.Port(), Tls::kAny).Connected());
}

TEST_F(TlsTest, LongBodiesGoBothWays) {
    on_request_ = [this](const ClientRequest& request) { Answer(request, std::string(request.body)); };
    StartServer();
    RawClient client(server_.Port(), Tls::kAny);
    const std::string body(5'000'000, 'x');
    client.Send("POST / HTTP/1.1\r\nHost: h\r\nConnection: close\r\nContent-Length: 5000000\r\n\r\n" + body);
    EXPECT_TRUE(client.ReadAnswer().body == body);
    EXPECT_TRUE(client.Ends());
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kSent));
}

TEST_F(TlsTest, ClientOfATooLongBodyGetsTheAnswer) {
    options_.body_bytes = 1000;
    StartServer();
    RawClient client(server_.Port(), Tls::kAny);
    EXPECT_TRUE(
        client.Send("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 4000000\r\n\r\n" + std::string(4'000'000, 'x')));
    EXPECT_EQ(client.ReadAnswer().status, 413);
    EXPECT_TRUE(client.Ends());
}

TEST_F(TlsTest, ClientWithoutTlsLosesItsConnectionAndNoOtherDoes) {
    TempLog log;
    StartServer();
    RawClient other(server_.Port(), Tls::kAny);
    RawClient client(server_.Port());
    client.Send("GET /secret HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_TRUE(client.Ends());
    other.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(other.ReadAnswer().status, 200);
    server_.Stop();
    EXPECT_THAT(log.Lines(), ElementsAre("W [QARPlatform] http: a TLS handshake failed, client 127.0.0.1"));
}

TEST_F(TlsTest, HandshakeThatDoesNotEndIsEndedByTime) {
    options_.header_timeout = milliseconds(200);
    TempLog log;
    StartServer();
    RawClient client(server_.Port());
    client.Send("\x16\x03\x01");
    EXPECT_TRUE(client.Ends());
    server_.Stop();
    EXPECT_THAT(log.Lines(), ElementsAre("W [QARPlatform] http: a TLS handshake took too long, client 127.0.0.1"));
}

TEST_F(TlsTest, SlowHeadAndBodyAreAnsweredWith408) {
    options_.header_timeout = options_.body_timeout = milliseconds(1000);
    StartServer();
    RawClient head(server_.Port(), Tls::kAny);
    head.Send("GET");
    EXPECT_EQ(head.ReadAnswer().status, 408);
    EXPECT_TRUE(head.Ends());
    RawClient body(server_.Port(), Tls::kAny);
    body.Send("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(body.ReadAnswer().status, 408);
    EXPECT_TRUE(body.Ends());
}

TEST_F(TlsTest, ClientThatTakesItsAnswerTooSlowlyLosesItsConnection) {
    options_.send_timeout = milliseconds(300);
    on_request_ = [this](const ClientRequest& request) { Answer(request, std::string(50'000'000, 'x')); };
    StartServer();
    RawClient client(server_.Port(), Tls::kAny);
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kTimeout));
}

TEST_F(TlsTest, ConnectionBeyondTheLimitIsAnsweredWith503WhereAllAreBusy) {
    options_.connections = 1;
    on_request_ = [](const ClientRequest&) {};
    StartServer();
    RawClient kept(server_.Port(), Tls::kAny);
    kept.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const ClientRequest held = requests_.WaitFor(1)[0];
    RawClient refused(server_.Port(), Tls::kAny);
    EXPECT_EQ(refused.ReadAnswer().status, 503);
    EXPECT_TRUE(refused.Ends());
    Answer(held, "served");
    EXPECT_EQ(kept.ReadAnswer().body, "served");
}

TEST_F(TlsTest, ConnectionWithinItsHandshakeGivesItsPlaceToANewOne) {
    options_.connections = 1;
    options_.header_timeout = std::chrono::hours(1);
    StartServer();
    RawClient silent(server_.Port());
    RawClient client(server_.Port(), Tls::kAny);
    EXPECT_TRUE(client.Connected());
    EXPECT_TRUE(silent.Ends());
    client.Send("GET /here HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().body, "GET /here ");
}

TEST_F(TlsTest, WebSocketsAreServed) {
    class Echo : public qarplatform::PushListener {
    public:
        void Opened(const std::shared_ptr<qarplatform::PushChannel>& channel) override { channel_ = channel; }
        void Received(const std::string& text) override {
            channel_->Send(std::make_shared<const std::string>(text), true);
        }
        void Closed() override { channel_.reset(); }

    private:
        std::shared_ptr<qarplatform::PushChannel> channel_;
    };
    on_request_ = [](const ClientRequest& request) { request.exchange->Accept(std::make_shared<Echo>()); };
    StartServer();
    PushClient client(server_.Port(), Tls::kAny);
    EXPECT_EQ(client.Upgraded().status, 101);
    for (const std::size_t size : {std::size_t{0}, std::size_t{5}, std::size_t{64 * 1024}}) {
        client.SendText(std::string(size, 'x'));
        EXPECT_EQ(client.ReadFrame().data, std::string(size, 'x'));
    }
    client.SendClose(1000);
    EXPECT_EQ(client.ReadClose().CloseCode(), 1000);
    EXPECT_TRUE(client.Ends());
}

TEST_F(TlsTest, WebSocketWhoseClientReadsNothingEndsInTime) {
    class Flood : public qarplatform::PushListener {
    public:
        void Opened(const std::shared_ptr<qarplatform::PushChannel>& channel) override {
            channel->Send(std::make_shared<const std::string>(20'000'000, 'x'), false);
            channel->Close(1001, "the end");
        }
        void Received(const std::string&) override {}
        void Closed() override { closed.Add(std::chrono::steady_clock::now()); }

        Arrivals<std::chrono::steady_clock::time_point> closed;
    };
    const auto flood = std::make_shared<Flood>();
    on_request_ = [flood](const ClientRequest& request) { request.exchange->Accept(flood); };
    options_.push_queue_bytes = 30'000'000;
    options_.push_end_timeout = milliseconds(200);
    StartServer();
    const auto begin = std::chrono::steady_clock::now();
    PushClient client(server_.Port(), Tls::kAny);
    EXPECT_EQ(client.Upgraded().status, 101);
    EXPECT_LT(flood->closed.WaitFor(1)[0] - begin, options_.idle_timeout / 2);
    server_.Stop();
    EXPECT_EQ(flood->closed.Now().size(), 1u);
}

TEST_F(TlsTest, StopCutsWhatIsUnderWay) {
    options_.stop_timeout = milliseconds(200);
    on_request_ = [this](const ClientRequest& request) { Answer(request, std::string(50'000'000, 'x')); };
    StartServer();
    RawClient sending(server_.Port(), Tls::kAny);
    sending.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    RawClient shaking(server_.Port());
    RawClient idle(server_.Port(), Tls::kAny);
    requests_.WaitFor(1);
    server_.Stop();
    EXPECT_THAT(results_.Now(), ElementsAre(SendResult::kStopped));
    EXPECT_TRUE(shaking.Ends());
    EXPECT_TRUE(idle.Ends());
}

TEST_F(TlsTest, FilesThatCannotBeUsedAreNamed) {
    const std::string& certificate = options_.certificate_file;
    const std::string key = options_.key_file;
    for (const mode_t mode : {mode_t{0640}, mode_t{0604}, mode_t{0620}}) {
        ASSERT_EQ(chmod(key.c_str(), mode), 0);
        EXPECT_EQ(StartError(), "the key file " + key + " is open to others than its owner: its mode must be 0600");
    }
    ASSERT_EQ(chmod(key.c_str(), 0600), 0);

    options_.key_file = folder_.Path() + "/other.key";
    EXPECT_EQ(StartError(), "the key file " + options_.key_file + " cannot be opened: No such file or directory");
    WriteEncryptedKey(options_.key_file);
    EXPECT_EQ(StartError(), "the key file " + options_.key_file + " is encrypted");
    std::ofstream(options_.key_file) << "no key\n";
    EXPECT_THAT(StartError(), StartsWith("the key file " + options_.key_file + " holds no private key in PEM: "));
    WriteCertificate(folder_.Path() + "/other.crt", options_.key_file);
    EXPECT_THAT(StartError(), StartsWith("the key file " + options_.key_file + " does not fit the certificate file " +
                                         certificate + ": "));

    options_.key_file.clear();
    EXPECT_EQ(StartError(), "HTTPS needs both a certificate file and a key file");
    options_.key_file = key;
    options_.certificate_file = folder_.Path() + "/none.crt";
    EXPECT_EQ(StartError(),
              "the certificate file " + options_.certificate_file + " cannot be used: No such file or directory");
    std::ofstream(options_.certificate_file) << "no certificate\n";
    EXPECT_THAT(StartError(), StartsWith("the certificate file " + options_.certificate_file + " cannot be used: "));
}

}  // namespace
}  // namespace http_test
