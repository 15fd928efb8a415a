#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <future>
#include <stdexcept>
#include <vector>

#include "host/ControlClient.h"
#include "host/ControlServer.h"
#include "host/DataDirLock.h"
#include "integration/support/temp_folder.h"

namespace qarhost {
namespace {

constexpr std::chrono::seconds kLong{20};

// A client that says what a well-behaved one would not.
class RawClient {
public:
    explicit RawClient(const std::string& path) : file_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        const timeval limit{kLong.count(), 0};
        setsockopt(file_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        if (connect(file_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("cannot connect");
        }
    }
    ~RawClient() { close(file_); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void Send(const std::string& text) {
        ASSERT_EQ(static_cast<ssize_t>(text.size()), send(file_, text.data(), text.size(), MSG_NOSIGNAL));
    }

    // The next line; what came before the end where there is none.
    std::string Line() {
        std::string line;
        char c = 0;
        while (recv(file_, &c, 1, 0) == 1 && c != '\n') line += c;
        return line;
    }

    bool HungUp() {
        char c = 0;
        return recv(file_, &c, 1, 0) <= 0;
    }

private:
    const int file_;
};

class ControlServerTest : public testing::Test {
protected:
    ControlServerTest() : server_([](const std::string& request) { return Answer(request); }) {}

    static std::string Answer(const std::string& request) {
        if (request == "throw") throw std::runtime_error("it threw");
        return "<" + request + ">";
    }

    void Start() { ASSERT_TRUE(server_.Start(path_, error_)) << error_; }

    std::string Ask(const std::string& request) {
        std::string answer;
        return AskHost(dir_, request, kLong, answer, error_) ? answer : "";
    }

    qartest::TempFolder folder_;
    const std::string dir_ = folder_.Path().string();
    const std::string path_ = ControlSocketPath(dir_);
    ControlServer server_;
    std::string error_;
};

TEST_F(ControlServerTest, RequestGetsItsAnswer) {
    Start();
    EXPECT_EQ("<hello>", Ask("hello")) << error_;
}

TEST_F(ControlServerTest, SocketIsTheOwnersOnly) {
    Start();
    struct stat status {};
    ASSERT_EQ(0, stat(path_.c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777u);
}

TEST_F(ControlServerTest, OneClientAsksAgainAndAgain) {
    Start();
    RawClient client(path_);
    client.Send("a\nb\r\n");
    EXPECT_EQ("<a>", client.Line());
    EXPECT_EQ("<b>", client.Line());
    client.Send("c\n");
    EXPECT_EQ("<c>", client.Line());
}

TEST_F(ControlServerTest, SilentClientHoldsUpNobody) {
    Start();
    RawClient silent(path_);
    silent.Send("half a line");
    EXPECT_EQ("<hello>", Ask("hello")) << error_;
    silent.Send(", whole now\n");
    EXPECT_EQ("<half a line, whole now>", silent.Line());
}

TEST_F(ControlServerTest, OverlongLineIsRefusedAndTheClientCutOff) {
    Start();
    RawClient client(path_);
    client.Send(std::string(ControlServer::kMaxLine, 'x'));
    EXPECT_NE(std::string::npos, client.Line().find("at most 65536 bytes"));
    EXPECT_TRUE(client.HungUp());
    EXPECT_EQ("<hello>", Ask("hello")) << error_;
}

TEST_F(ControlServerTest, AnswerToARequestThatCannotBeSentWholeIsReadAllTheSame) {
    Start();
    const std::string answer = Ask(std::string(4 << 20, 'x'));
    EXPECT_NE(std::string::npos, answer.find("at most 65536 bytes")) << error_;
}

TEST_F(ControlServerTest, ThrowingHandlerIsAnErrorOfItsRequestOnly) {
    Start();
    RawClient client(path_);
    client.Send("throw\nhello\n");
    EXPECT_EQ(R"({"ok":false,"error":"it threw"})", client.Line());
    EXPECT_EQ("<hello>", client.Line());
}

TEST_F(ControlServerTest, ClientBeyondTheLimitTakesThePlaceOfTheOneThatHasBeenQuietForLongest) {
    Start();
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::size_t i = 0; i < ControlServer::kMaxClients; ++i) {
        clients.push_back(std::make_unique<RawClient>(path_));
        clients.back()->Send("here\n");
        ASSERT_EQ("<here>", clients.back()->Line());
    }
    clients.front()->Send("again\n");
    ASSERT_EQ("<again>", clients.front()->Line());
    EXPECT_EQ("<hello>", Ask("hello")) << error_;
    EXPECT_TRUE(clients[1]->HungUp());
    for (const std::size_t kept : {std::size_t{0}, std::size_t{2}, clients.size() - 1}) {
        clients[kept]->Send("still here\n");
        EXPECT_EQ("<still here>", clients[kept]->Line()) << kept;
    }
}

TEST_F(ControlServerTest, PlaceOfAClientThatLeftIsFreeAgain) {
    Start();
    for (std::size_t i = 0; i < 2 * ControlServer::kMaxClients; ++i) {
        ASSERT_EQ("<hello>", Ask("hello")) << error_;
    }
}

TEST_F(ControlServerTest, SocketOfADeadHostIsReplaced) {
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path_.c_str(), sizeof address.sun_path - 1);
        const int dead = socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_EQ(0, bind(dead, reinterpret_cast<sockaddr*>(&address), sizeof address));
        close(dead);
    }
    EXPECT_EQ("", Ask("hello"));
    Start();
    EXPECT_EQ("<hello>", Ask("hello")) << error_;
}

TEST_F(ControlServerTest, StopCutsClientsOffAndRemovesTheSocket) {
    Start();
    RawClient client(path_);
    client.Send("a\n");
    EXPECT_EQ("<a>", client.Line());
    server_.Stop();
    EXPECT_TRUE(client.HungUp());
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(ControlServerTest, PathThatIsTooLongForASocketIsToldSo) {
    EXPECT_FALSE(server_.Start(dir_ + "/" + std::string(120, 'x'), error_));
    EXPECT_NE(std::string::npos, error_.find("at most 107 bytes")) << error_;
}

TEST_F(ControlServerTest, FolderThatIsNotThereIsToldWithThePath) {
    EXPECT_FALSE(server_.Start(dir_ + "/none/s", error_));
    EXPECT_NE(std::string::npos, error_.find(dir_ + "/none/s")) << error_;
}

TEST_F(ControlServerTest, AskingWhereNoHostRunsIsToldSo) {
    EXPECT_EQ("", Ask("hello"));
    EXPECT_EQ("no host runs on " + dir_, error_);
}

TEST_F(ControlServerTest, AskingAHostThatDoesNotListenYetIsToldSo) {
    DataDirLock lock;
    ASSERT_TRUE(lock.Take(dir_, error_)) << error_;
    EXPECT_EQ("", Ask("hello"));
    EXPECT_EQ(
        "the host (pid " + std::to_string(getpid()) + ") that runs on " + dir_ + " does not listen: it starts or stops",
        error_);
}

TEST(ControlClientTest, HostThatDoesNotAnswerIsGivenUp) {
    const qartest::TempFolder folder;
    std::promise<void> go_on;
    ControlServer server([&](const std::string&) {
        go_on.get_future().wait();
        return std::string("late");
    });
    std::string error;
    ASSERT_TRUE(server.Start(ControlSocketPath(folder.Path().string()), error)) << error;
    std::string answer;
    EXPECT_FALSE(AskHost(folder.Path().string(), "hello", std::chrono::milliseconds(50), answer, error));
    EXPECT_EQ("the host does not answer", error);
    go_on.set_value();
}

}  // namespace
}  // namespace qarhost
