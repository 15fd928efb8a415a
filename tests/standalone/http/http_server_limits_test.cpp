#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "standalone/http/http_server_fixture.h"
#include "standalone/http/push_client.h"
#include "standalone/log/temp_log.h"

namespace {

using std::chrono::steady_clock;

std::atomic<bool> no_descriptors{false};
Arrivals<steady_clock::time_point>* vain_accepts = nullptr;

}  // namespace

/// In the place of the system's: fails while a test says that there are no descriptors.
extern "C" int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
    if (no_descriptors) {
        vain_accepts->Add(steady_clock::now());
        errno = EMFILE;
        return -1;
    }
    return static_cast<int>(syscall(SYS_accept4, fd, address, size, flags));
}

namespace http_test {
namespace {

using std::chrono::milliseconds;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class SilentListener : public qarplatform::PushListener {
public:
    void Opened(const std::shared_ptr<qarplatform::PushChannel>&) override {}
    void Received(const std::string&) override {}
    void Closed() override {}
};

class HttpLimitsTest : public HttpServerTest {
protected:
    static std::size_t OpenDescriptors() {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
    }

    /// @return the answer's status
    static int Ask(RawClient& client) {
        client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
        return client.ReadAnswer().status;
    }

    /// @return bytes of which no two parts are the same
    static std::string Pattern(std::size_t size) {
        std::string text;
        for (std::size_t number = 0; text.size() < size; ++number) {
            text += std::to_string(number) + '\n';
        }
        text.resize(size);
        return text;
    }

    /// Asks again until a connection that is busy no more counts as such to the server.
    http_test::Answer GetWhenThereIsRoom(const std::string& target = "/") {
        http_test::Answer answer;
        do {
            answer = Get(target);
        } while (answer.status == 503);
        return answer;
    }
};

TEST_F(HttpLimitsTest, SlowHeadIsAnsweredWith408) {
    options_.header_timeout = milliseconds(1000);
    TempLog log;
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost:");
    EXPECT_EQ(client.ReadAnswer().status, 408);
    EXPECT_TRUE(client.Ends());
    server_.Stop();
    EXPECT_THAT(log.Lines(),
                ElementsAre("W [QARPlatform] http: a request was refused with 408, the request's head took "
                            "too long, client 127.0.0.1"));
}

TEST_F(HttpLimitsTest, HeadThatTricklesDoesNotStretchItsTime) {
    options_.header_timeout = milliseconds(1000);
    StartServer();
    RawClient client(server_.Port());
    const steady_clock::time_point begin = steady_clock::now();
    client.Send("GET / HTTP/1.1\r\nHost: h\r\nX: ");
    std::thread trickle([&] {
        while (client.Send("x")) {
            std::this_thread::yield();
            if (steady_clock::now() - begin > std::chrono::seconds(20)) {
                break;
            }
        }
    });
    const int status = client.ReadAnswer().status;
    EXPECT_TRUE(status == 408 || status == 431) << status;
    shutdown(client.Fd(), SHUT_RDWR);
    trickle.join();
}

TEST_F(HttpLimitsTest, SilentNewConnectionEndsWithoutAnAnswer) {
    options_.header_timeout = milliseconds(200);
    TempLog log;
    StartServer();
    RawClient client(server_.Port());
    EXPECT_EQ(client.ReadToEnd(), "");
    server_.Stop();
    EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(HttpLimitsTest, ConnectionEndsWithoutAnAnswerWhenNoOtherRequestComes) {
    options_.idle_timeout = milliseconds(200);
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().status, 200);
    EXPECT_EQ(client.ReadToEnd(), "");
}

TEST_F(HttpLimitsTest, SecondRequestsHeadHasATimeOfItsOwn) {
    options_.header_timeout = milliseconds(1000);
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\nGET");
    EXPECT_EQ(client.ReadAnswer().status, 200);
    EXPECT_EQ(client.ReadAnswer().status, 408);
}

TEST_F(HttpLimitsTest, SlowBodyIsAnsweredWith408) {
    options_.body_timeout = milliseconds(200);
    StartServer();
    RawClient client(server_.Port());
    client.Send("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 10\r\n\r\nabc");
    EXPECT_EQ(client.ReadAnswer().status, 408);
    EXPECT_TRUE(client.Ends());
}

TEST_F(HttpLimitsTest, BodysTimeCountsThoughTheHeadsWouldLastLonger) {
    options_.body_timeout = milliseconds(1);
    StartServer();
    RawClient silent(server_.Port());  // as long as its head's time lasts
    RawClient client(server_.Port());
    client.Send("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 10\r\n\r\nabc");
    EXPECT_EQ(client.ReadAnswer().status, 408);
    EXPECT_EQ(Ask(silent), 200);
}

TEST_F(HttpLimitsTest, TimeOfASentAnswerDoesNotEndItsConnection) {
    options_.send_timeout = milliseconds(100);
    on_request_ = [this](const ClientRequest& request) {
        Answer(request, request.target == "/long" ? std::string(50'000'000, 'x') : "short");
    };
    StartServer();
    RawClient client(server_.Port());
    EXPECT_EQ(Ask(client), 200);
    RawClient later(server_.Port());
    later.Send("GET /long HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(results_.WaitFor(2), ElementsAre(SendResult::kSent, SendResult::kTimeout));  // the first one's is over
    EXPECT_EQ(Ask(client), 200);
}

TEST_F(HttpLimitsTest, RequestThatNobodyAnswersGets504AndALaterAnswerIsRefused) {
    options_.answer_timeout = milliseconds(200);
    on_request_ = [](const ClientRequest&) {};
    TempLog log;
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.status, 504);
    EXPECT_EQ(answer.body, "{\"status\":504,\"error\":\"Gateway Timeout\",\"reason\":\"no answer came in time\"}");
    EXPECT_TRUE(client.Ends());
    Answer(requests_.WaitFor(1)[0], "late");
    EXPECT_THAT(results_.Now(), ElementsAre(SendResult::kAnswered));
    server_.Stop();
    EXPECT_THAT(log.Lines(), ElementsAre("W [QARPlatform] http: a request got no answer in time, client 127.0.0.1"));
}

TEST_F(HttpLimitsTest, ClientThatTakesItsAnswerTooSlowlyLosesItsConnection) {
    options_.send_timeout = milliseconds(300);
    on_request_ = [this](const ClientRequest& request) { Answer(request, std::string(50'000'000, 'x')); };
    TempLog log;
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kTimeout));
    EXPECT_TRUE(client.Ends());
    server_.Stop();
    EXPECT_THAT(results_.Now(), ElementsAre(SendResult::kTimeout));
    EXPECT_THAT(log.Lines(), ElementsAre("W [QARPlatform] http: an answer was taken too slowly, client 127.0.0.1"));
}

TEST_F(HttpLimitsTest, ClientThatIsSlowButSteadyGetsALongAnswerWhole) {
    options_.send_timeout = milliseconds(1200);
    const std::string body = Pattern(6'000'000);
    on_request_ = [this, body](const ClientRequest& request) { Answer(request, body); };
    StartServer();
    RawClient client(server_.Port());
    const int buffer = 64 * 1024;
    setsockopt(client.Fd(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof(buffer));
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const steady_clock::time_point begin = steady_clock::now();
    EXPECT_THAT(client.ReadTo("\r\n\r\n"), HasSubstr("Content-Length: 6000000\r\n"));
    std::string taken;
    while (taken.size() < body.size()) {  // 256 KiB in a tenth of the time
        const std::string part = client.ReadBytes(std::min<std::size_t>(body.size() - taken.size(), 32 * 1024));
        ASSERT_FALSE(part.empty()) << "after " << taken.size() << " bytes";
        taken += part;
        poll(nullptr, 0, 15);
    }
    EXPECT_TRUE(taken == body);
    EXPECT_GT(steady_clock::now() - begin, 2 * options_.send_timeout);
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kSent));
    EXPECT_EQ(Ask(client), 200) << "the connection serves on";
}

TEST_F(HttpLimitsTest, ClientThatStandsStillWithinALongAnswerLosesItsConnection) {
    options_.send_timeout = milliseconds(300);
    on_request_ = [this](const ClientRequest& request) { Answer(request, std::string(50'000'000, 'x')); };
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadBytes(20'000'000).size(), 20'000'000u);
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kTimeout));
    EXPECT_LT(client.ReadToEnd().size(), 30'000'000u);
}

TEST_F(HttpLimitsTest, ClientThatTakesLessThanAPieceInItsTimeLosesItsConnection) {
    options_.send_timeout = milliseconds(300);
    on_request_ = [this](const ClientRequest& request) { Answer(request, std::string(3'000'000, 'x')); };
    StartServer();
    RawClient client(server_.Port());
    const int buffer = 32 * 1024;
    setsockopt(client.Fd(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof(buffer));
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    while (!client.ReadBytes(16 * 1024).empty() && results_.Now().empty()) {  // 256 KiB in four thirds of the time
        poll(nullptr, 0, 25);
    }
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kTimeout));
}

TEST_F(HttpLimitsTest, AnswersOwnTimeTakesTheServersPlace) {
    options_.send_timeout = std::chrono::hours(1);
    on_request_ = [this](const ClientRequest& request) {
        AnswerHead head;
        head.timeout = milliseconds(200);
        Answer(request, std::string(50'000'000, 'x'), head);
    };
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kTimeout));
}

TEST_F(HttpLimitsTest, LongestTimesAreNoneThatOverflow) {
    options_.header_timeout = options_.body_timeout = options_.idle_timeout = options_.send_timeout =
        options_.answer_timeout = options_.push_end_timeout = options_.stop_timeout = milliseconds::max();
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET /1 HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().status, 200);
    PushClient push(server_.Port());
    EXPECT_EQ(push.Upgraded().status, 200);
}

TEST_F(HttpLimitsTest, NewConnectionTakesThePlaceOfTheOneThatWaitsLongest) {
    options_.connections = 3;
    StartServer();
    RawClient silent(server_.Port());
    RawClient slow(server_.Port());
    slow.Send("GET / HTTP/1.1\r\nHost:");
    RawClient idle(server_.Port());
    EXPECT_EQ(Ask(idle), 200);
    RawClient first(server_.Port());
    EXPECT_EQ(Ask(first), 200);
    EXPECT_EQ(silent.ReadToEnd(), "");
    slow.Send(" h\r\n");
    RawClient second(server_.Port());
    EXPECT_EQ(Ask(second), 200);
    EXPECT_EQ(slow.ReadToEnd(), "") << "what has come of a head makes a client no younger";
    EXPECT_EQ(Ask(idle), 200);
    RawClient third(server_.Port());
    EXPECT_EQ(Ask(third), 200);
    EXPECT_EQ(first.ReadToEnd(), "") << "the others' last requests came later";
    for (RawClient* client : {&idle, &second, &third}) {
        EXPECT_EQ(Ask(*client), 200);
    }
}

TEST_F(HttpLimitsTest, ConnectionBehindItsLastAnswerGivesItsPlaceToo) {
    options_.connections = 1;
    TempLog log;
    StartServer();
    RawClient lingering(server_.Port());
    lingering.Send("nonsense\r\n\r\n");
    EXPECT_EQ(lingering.ReadAnswer().status, 400);
    EXPECT_EQ(GetWhenThereIsRoom().status, 200);
    server_.Stop();
    EXPECT_THAT(log.Lines(), Contains("W [QARPlatform] http: a connection without a request was ended for a new one, "
                                      "there are too many, client 127.0.0.1"));
}

TEST_F(HttpLimitsTest, OnlyWhereAllAreBusyANewConnectionIsAnsweredWith503) {
    options_.connections = 3;
    const auto listener = std::make_shared<SilentListener>();
    on_request_ = [&](const ClientRequest& request) {
        if (request.websocket) {
            request.exchange->Accept(listener);
        } else if (request.target == "/quick") {
            Answer(request, "quick");
        }
    };
    TempLog log;
    StartServer();
    PushClient push(server_.Port());
    EXPECT_EQ(push.Upgraded().status, 101);
    RawClient asking(server_.Port());
    asking.Send("GET /held HTTP/1.1\r\nHost: h\r\n\r\n");
    requests_.WaitFor(2);
    RawClient sending(server_.Port());
    sending.Send("POST /quick HTTP/1.1\r\nHost: h\r\nContent-Length: 3\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_THAT(sending.ReadTo("\r\n\r\n"), HasSubstr("100 Continue"));

    RawClient refused(server_.Port());
    const http_test::Answer answer = refused.ReadAnswer();
    EXPECT_EQ(answer.status, 503);
    EXPECT_THAT(answer.body, HasSubstr("there are too many connections"));
    EXPECT_TRUE(refused.Ends());

    Answer(requests_.Now()[1], "at last");
    EXPECT_EQ(asking.ReadAnswer().body, "at last");
    EXPECT_EQ(GetWhenThereIsRoom("/quick").status, 200);
    EXPECT_EQ(asking.ReadToEnd(), "") << "it waited for its next request";
    sending.Send("abc");
    EXPECT_EQ(sending.ReadAnswer().body, "quick");
    push.SendFrame(0x80 | kPing, "there?");
    EXPECT_EQ(push.ReadFrame().data, "there?");
    push.SendClose(1000);
    EXPECT_TRUE(push.Ends());
    server_.Stop();
    EXPECT_THAT(log.Lines(), Contains("W [QARPlatform] http: a request was refused with 503, there are too many "
                                      "connections, client 127.0.0.1"));
}

TEST_F(HttpLimitsTest, ManyConnectionsWhileAllAreBusyEndAll) {
    options_.connections = 1;
    on_request_ = [](const ClientRequest&) {};
    StartServer();
    RawClient kept(server_.Port());
    kept.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const ClientRequest held = requests_.WaitFor(1)[0];
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 200; ++i) {
        clients.push_back(std::make_unique<RawClient>(server_.Port()));
    }
    for (const auto& client : clients) {
        EXPECT_TRUE(client->Ends());
    }
    Answer(held, "served");
    EXPECT_EQ(kept.ReadAnswer().body, "served");
}

TEST_F(HttpLimitsTest, ConnectionsEndedForNewOnesGetALineAtMostOnceASecond) {
    options_.connections = 2;
    TempLog log;
    StartServer();
    const steady_clock::time_point begin = steady_clock::now();
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 102; ++i) {
        clients.push_back(std::make_unique<RawClient>(server_.Port()));
    }
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(clients[static_cast<std::size_t>(i)]->Ends());
    }
    server_.Stop();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - begin).count();
    const std::vector<std::string> lines = log.Lines();
    EXPECT_THAT(lines, Each(HasSubstr("http: a connection without a request was ended for a new one")));
    EXPECT_LE(lines.size(), static_cast<std::size_t>(seconds) + 2);
    int told = 0;
    for (const std::string& line : lines) {
        const std::size_t number = line.find("; ");
        const int left_out = number == std::string::npos ? 0 : std::stoi(line.substr(number + 2));
        told += left_out + (line.find(" more times") == std::string::npos ? 1 : 0);
    }
    EXPECT_EQ(told, 100);
}

TEST_F(HttpLimitsTest, LackOfDescriptorsMakesClientsWaitWithoutSpinning) {
    Arrivals<steady_clock::time_point> vain;
    vain_accepts = &vain;
    TempLog log;
    StartServer();
    RawClient before(server_.Port());
    before.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(before.ReadAnswer().status, 200);
    no_descriptors = true;
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const std::vector<steady_clock::time_point> times = vain.WaitFor(4);
    EXPECT_GE(times[3] - times[0], milliseconds(250));
    before.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(before.ReadAnswer().status, 200);
    no_descriptors = false;
    EXPECT_EQ(client.ReadAnswer().status, 200);
    server_.Stop();
    EXPECT_THAT(log.Lines()[0], HasSubstr("http: clients cannot be taken in: Too many open files"));
}

TEST_F(HttpLimitsTest, AThousandIdleConnectionsHinderNobodyAndNoDescriptorIsLost) {
    rlimit files{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
    if (files.rlim_cur < 3000) {
        files.rlim_cur = 3000;
        if (files.rlim_max < 3000 || setrlimit(RLIMIT_NOFILE, &files) != 0) {
            GTEST_SKIP() << "the process may not open 3000 files";
        }
    }
    options_.connections = 1100;
    options_.header_timeout = options_.idle_timeout = std::chrono::minutes(10);
    StartServer();
    Get();
    PassServerThread();
    server_.Stop();
    const std::size_t before = OpenDescriptors();
    {
        HttpServer server;
        std::string error;
        ASSERT_TRUE(server.Start(
            options_, [this](const ClientRequest& request) { Answer(request, "served"); }, error))
            << error;
        std::vector<std::unique_ptr<RawClient>> idle;
        for (int i = 0; i < 1000; ++i) {
            idle.push_back(std::make_unique<RawClient>(server.Port()));
            ASSERT_TRUE(idle.back()->Connected());
            if (i % 2 == 0) {
                idle.back()->Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
                ASSERT_EQ(idle.back()->ReadAnswer().status, 200);
            }
        }
        for (int i = 0; i < 100; ++i) {
            RawClient client(server.Port());
            client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
            ASSERT_EQ(client.ReadAnswer().body, "served");
        }
        for (const auto& client : idle) {
            client->Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
            ASSERT_EQ(client->ReadAnswer().body, "served");
        }
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(HttpLimitsTest, DescriptorsOfClientsThatGoAreGivenBackWhileTheServerRuns) {
    options_.connections = 10;
    StartServer();
    for (int i = 0; i < 300; ++i) {
        RawClient client(server_.Port());
        client.Send(i % 2 == 0 ? "GET / HTTP/1.1\r\nHost: h\r\n\r\n" : "GET");
        if (i % 2 == 0) {
            const int status = client.ReadAnswer().status;
            ASSERT_TRUE(status == 200 || status == 503);
        }
    }
    int status = 0;
    while ((status = Get().status) == 503) {
    }
    EXPECT_EQ(status, 200);
}

}  // namespace
}  // namespace http_test
