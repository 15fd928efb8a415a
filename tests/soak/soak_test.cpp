// A short soak by default. The long one, of 1000 cameras and 30 device days in some 22 minutes on two cores:
//
//     QAR_SOAK_CAMERAS=1000 QAR_SOAK_DAYS=30 build/dev/bin/soak_tests --gtest_filter='SoakTest.*'
//
// QAR_SOAK_SEED draws other outages; QAR_SOAK_SCALE makes it slower where the machine is slow or busy.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "soak/soak_site.h"

namespace soak {
namespace {

constexpr double kShownDays = 5;  // between two lines of the table, or a sixth of a short run
constexpr std::size_t kShownFaults = 20;

// Each camera needs two sockets here, and a probe one in the host.
void RaiseOpenFiles() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// Prints a line of the table now and then.
class Table {
public:
    explicit Table(const SoakOptions& options) : step_days_(std::min(kShownDays, options.days / 6)) {
        std::printf("soak of %d cameras for %g device days, scale %d, seed %u, a probe each %d s\n", options.cameras,
                    options.days, options.scale, options.seed, options.probe_s);
        std::printf("%8s %8s %12s %12s %11s %13s %8s %9s %9s\n", "day", "threads", "descriptors", "of database",
                    "memory KiB", "database KiB", "rows", "outages", "told");
        std::fflush(stdout);
    }

    void Add(const TimedSample& timed) {
        if (timed.day < next_day_) return;
        next_day_ = (std::floor(timed.day / step_days_) + 1) * step_days_;
        const ResourceSample& sample = timed.sample;
        std::printf("%8.2f %8zu %12zu %12zu %11lld %13lld %8zu %9zu %9zu\n", timed.day, sample.threads,
                    sample.descriptors, sample.database_descriptors, static_cast<long long>(sample.memory_kib),
                    static_cast<long long>(sample.database_kib), sample.rows, timed.outages, timed.told);
        std::fflush(stdout);
    }

private:
    const double step_days_;
    double next_day_ = 0;
};

// What the second half of a run may hold more than the first. In a long run everything has long been in use by then.
GrowthLimits LimitsOf(const SoakSite& site, const SoakOptions& options, std::size_t told) {
    GrowthLimits limits;
    if (options.days < SoakOptions::kLongDays) limits.threads = 4;  // the history's pool has 3 to 7 workers
    limits.database_descriptors = 54;  // nine connections with six files each, made when they are first needed
#ifdef QAR_SANITIZED
    limits.memory_kib = 1 << 20;  // freed memory is kept for a long time
#else
    limits.memory_kib = 4096;
#endif
    limits.database_kib = 16384;  // write-ahead files grow by megabytes while the machine is busy, and are used again
    limits.rows = site.Timelines();  // as expiry adds a row to each timeline one hour and removes it the next
    if (options.days < SoakOptions::kLongDays) limits.rows += told;  // each range that was told leaves one for a week
    return limits;
}

void Print(const Balance& balance, int times_behind, std::chrono::steady_clock::duration took) {
    std::printf(
        "ranges of outages due %zu, told %zu; due or not, near a check %zu; first contacts %zu, split contacts %zu; "
        "host behind %d times; %lld s\n",
        balance.outages, balance.told, balance.uncounted, balance.first, balance.split, times_behind,
        static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(took).count()));
    std::fflush(stdout);
}

TEST(SoakTest, EveryOutageIsToldOnceNothingElseIsAndTheHostStaysLevel) {
    const SoakOptions options = SoakOptions::FromEnvironment();
    RaiseOpenFiles();
    const auto begin = std::chrono::steady_clock::now();
    Table table(options);
    SoakSite site(options, [&](const TimedSample& timed) { table.Add(timed); });
    site.Run();
    const Balance balance = site.Judge();
    Print(balance, site.TimesBehind(), std::chrono::steady_clock::now() - begin);

    for (std::size_t i = 0; i < std::min(balance.faults.size(), kShownFaults); ++i) {
        ADD_FAILURE() << balance.faults[i];
    }
    EXPECT_EQ(0U, balance.faults.size());
    EXPECT_EQ(balance.outages, balance.told);
    EXPECT_GT(balance.outages, site.Timelines()) << "hardly an outage besides the restart of the host";
    EXPECT_LT(balance.uncounted, balance.outages) << "the machine is too slow for this scale";
    for (const std::string& growth : FindGrowth(site.Samples(), LimitsOf(site, options, balance.told)))
        ADD_FAILURE() << growth;
}

}  // namespace
}  // namespace soak
