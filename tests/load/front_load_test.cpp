#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

#include "integration/support/child_process.h"
#include "integration/support/eventually.h"
#include "integration/support/web_client.h"
#include "load/front_site.h"
#include "load/process_numbers.h"

namespace qartest {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr int kConnections = 200;
/// What each connection may have at once, its answer and the thread at work on it included, may lie elsewhere in the
/// heap than before: 40 KiB for each. A leak of a hundred bytes a request grows beyond it within 80,000 requests.
constexpr std::int64_t kGrowthKib = 40 * kConnections;

#ifdef QAR_SANITIZED
constexpr bool kSanitized = true;  // the sanitizers keep what was freed
#else
constexpr bool kSanitized = false;
#endif

class FrontLoadTest : public testing::Test {
protected:
    /// @return what wrk says of so many seconds of requests
    std::string Round(int seconds) {
        const Ended wrk = RunToEnd(
            Launch{{"/usr/bin/wrk", "-t", "2", "-c", std::to_string(kConnections), "-d", std::to_string(seconds) + "s",
                    "--timeout", "30s", "-H", front_.Cookie(), front_.Anna().Url() + "/doorbell/rings"},
                   {},
                   0});
        EXPECT_EQ(0, wrk.exit_code) << wrk.err;
        return wrk.out;
    }

    /// @return the number that wrk's output has before a text
    static std::int64_t NumberBefore(const std::string& out, const std::string& text) {
        const std::size_t end = out.find(text);
        if (end == std::string::npos) return 0;
        const std::size_t before = out.find_last_not_of("0123456789", end - 1);
        return std::stoll("0" + out.substr(before + 1, end - before - 1));
    }

    FrontSite front_;
};

TEST_F(FrontLoadTest, EveryRequestIsAnsweredAndNothingGrows) {
    ASSERT_NO_FATAL_FAILURE(front_.Begin());
    const int seconds = std::max(1, NumberFromEnvironment("QAR_LOAD_SECONDS", 3));
    const pid_t pid = front_.Host().Process().Pid();
    const auto socket = OpenWebSocket(front_.Anna());
    ASSERT_TRUE(socket->WaitForOut("open\n")) << socket->Err();
    const std::size_t files_before = OpenDescriptors(pid);
    Round(std::max(1, seconds / 3));  // threads, arenas and buffers are there behind it
    EXPECT_TRUE(Eventually([&] { return OpenDescriptors(pid) == files_before; }));

    const std::int64_t kib_before = ResidentKib(pid);
    const std::string out = Round(seconds);
    const std::int64_t requests = NumberBefore(out, " requests in ");
    EXPECT_GT(requests, 0) << out;
    EXPECT_THAT(out, Not(HasSubstr("Socket errors")));
    EXPECT_THAT(out, Not(HasSubstr("Non-2xx")));
    EXPECT_TRUE(Eventually([&] { return OpenDescriptors(pid) == files_before; }));
    const std::size_t files_after = OpenDescriptors(pid);
    const std::int64_t kib_after = ResidentKib(pid);
    if (!kSanitized) {
        EXPECT_LT(kib_after - kib_before, kGrowthKib);
    }

    EXPECT_EQ(200, front_.Anna().Post("/doorbell/ring?camera=101").status);
    EXPECT_TRUE(socket->WaitForOut("\"camera\":101")) << socket->Out();
    EXPECT_EQ(0, front_.Host().Stop());
    std::cout << requests << " requests of " << kConnections << " clients in " << seconds << " s, "
              << requests / seconds << " requests/s; descriptors " << files_before << " before, " << files_after
              << " after; " << kib_before << " KiB before, " << kib_after << " KiB after\n";
}

}  // namespace
}  // namespace qartest
