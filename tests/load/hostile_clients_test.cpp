#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "integration/support/eventually.h"
#include "load/attackers.h"
#include "load/front_site.h"
#include "standalone/http/raw_client.h"

namespace qartest {
namespace {

using http_test::RawClient;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kPlaces = 1024;  // that the front has
constexpr rlim_t kOtherFiles = 500;    // of the test, besides its idle connections
constexpr std::uint64_t kGoodRequests = 500;
constexpr std::uint64_t kRounds = 400;
constexpr std::chrono::minutes kLongest(3);

/// Asks for the same again and again: on one connection, and every second time on one of its own.
class GoodClient {
public:
    GoodClient(std::uint16_t port, const std::string& cookie)
        : port_(port),
          request_("GET /doorbell/rings HTTP/1.1\r\nHost: h\r\n" + cookie + "\r\n\r\n"),
          thread_([this] { Run(); }) {}
    ~GoodClient() { Stop(); }
    GoodClient(const GoodClient&) = delete;
    GoodClient& operator=(const GoodClient&) = delete;

    void Stop() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
    }

    std::uint64_t Answered() const { return answered_; }
    // behind Stop
    const std::map<int, std::uint64_t>& Others() const { return others_; }
    std::uint64_t ConnectedAgain() const { return connected_again_; }
    milliseconds Longest() const { return longest_; }

private:
    static constexpr int kBroken = -1;

    void Run() {
        std::unique_ptr<RawClient> kept;
        while (!stop_) {
            const auto begin = steady_clock::now();
            int status = kept ? Ask(*kept) : 0;
            if (status == 0) {  // a connection may end between two requests, not on the first
                if (kept) ++connected_again_;
                kept = std::make_unique<RawClient>(port_);
                status = Ask(*kept);
            }
            Count(status, begin);
            const auto begin_alone = steady_clock::now();
            RawClient alone(port_);
            Count(Ask(alone), begin_alone);
        }
    }

    /// @return the answer's status; 0 where nothing came, kBroken where less than a whole answer did
    int Ask(RawClient& client) const {
        client.Send(request_);
        const std::string head = client.ReadTo("\r\n\r\n");
        if (head.empty()) return 0;
        const std::string length = "Content-Length: ";
        const std::size_t found = head.find(length);
        if (found == std::string::npos) return kBroken;
        const auto size = static_cast<std::size_t>(std::stoul(head.substr(found + length.size())));
        return client.ReadBytes(size).size() == size ? std::stoi(head.substr(head.find(' '))) : kBroken;
    }

    void Count(int status, steady_clock::time_point begin) {
        longest_ = std::max(longest_, duration_cast<milliseconds>(steady_clock::now() - begin));
        if (status == 200) {
            ++answered_;
        } else {
            ++others_[status];
        }
    }

    const std::uint16_t port_;
    const std::string request_;
    std::atomic<bool> stop_{false};
    std::atomic<std::uint64_t> answered_{0};
    std::map<int, std::uint64_t> others_;
    std::uint64_t connected_again_ = 0;
    milliseconds longest_{0};
    std::thread thread_;
};

class HostileClientsTest : public testing::Test {
protected:
    /// Lines of the log for each kind of client's fault.
    std::map<std::string, std::size_t> FaultLines() const {
        std::map<std::string, std::size_t> kinds;
        for (const std::string& line : front_.Site().LogLines("http: ")) {
            const std::string text = line.substr(line.find("http: "));
            ++kinds[text.substr(0, std::min(text.find(", client "), text.find("; ")))];
        }
        return kinds;
    }

    FrontSite front_;
};

TEST_F(HostileClientsTest, OthersAreServed) {
    const auto idle = static_cast<std::size_t>(std::max(1, NumberFromEnvironment("QAR_IDLE_CONNECTIONS", 500)));
    ASSERT_NO_FATAL_FAILURE(front_.Begin());
    rlimit files{};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &files));
    files.rlim_cur = std::max<rlim_t>(files.rlim_cur, std::min<rlim_t>(files.rlim_max, idle + kOtherFiles));
    ASSERT_GE(files.rlim_cur, idle + kOtherFiles) << "the process may not open so many files";
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &files));

    const auto begin = steady_clock::now();
    Attackers attackers(front_.Port(), front_.Cookie(), idle);
    GoodClient good(front_.Port(), front_.Cookie());
    EXPECT_TRUE(Eventually(
        [&] {
            return good.Answered() >= kGoodRequests && attackers.IdleOpened() >= idle && attackers.HaveDone(kRounds);
        },
        kLongest));
    good.Stop();
    EXPECT_TRUE(front_.Host().Process().Running());
    attackers.Stop();
    EXPECT_THAT(attackers.Wrong(), testing::IsEmpty());
    EXPECT_THAT(good.Others(), testing::IsEmpty()) << "status and number; 0: no answer, -1: a part of one";
    EXPECT_EQ(200, front_.Anna().Get("/doorbell/rings").status);
    EXPECT_EQ(0, front_.Host().Stop());
    const auto elapsed = duration_cast<milliseconds>(steady_clock::now() - begin);

    const std::map<std::string, std::size_t> faults = FaultLines();
    EXPECT_EQ(1U, faults.count("http: a request was refused with 400, the request ends before its end"));
    if (idle > kPlaces) {
        EXPECT_EQ(1U, faults.count("http: a connection without a request was ended for a new one, there are too many"));
    }
    for (const auto& [kind, lines] : faults) {
        EXPECT_LE(lines, static_cast<std::size_t>(elapsed.count()) / 1000 + 2) << kind;
    }
    std::cout << good.Answered() << " good requests in " << elapsed.count() << " ms, longest " << good.Longest().count()
              << " ms, " << good.ConnectedAgain() << " times connected again; " << attackers.IdleOpened()
              << " connections of " << idle << " idle clients";
    for (const Attackers::Kind& kind : attackers.Kinds()) std::cout << "; " << kind.name << " " << kind.rounds;
    std::cout << "; " << faults.size() << " kinds of faults in the log\n";
}

}  // namespace
}  // namespace qartest
