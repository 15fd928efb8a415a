#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "integration/support/host_process.h"
#include "integration/support/test_site.h"
#include "soak/check_calendar.h"
#include "soak/history_view.h"
#include "soak/journal_tail.h"
#include "soak/outage_driver.h"
#include "soak/process_watch.h"
#include "soak/range_account.h"
#include "soak/resource_series.h"
#include "soak/soak_options.h"

namespace soak {

/// A sample and when it was taken.
struct TimedSample {
    double day = 0;  ///< of the run
    ResourceSample sample;
    std::size_t outages = 0;  ///< begun so far, restarts of the host not counted
    std::size_t told = 0;     ///< ranges so far, of all consumers together
};

/// A site of simulated cameras with two plug-ins, run by a real host for device days: cameras go away and come back,
/// the host is stopped once and, in a long run, killed once. Every wait throws std::runtime_error when it is in vain.
class SoakSite {
public:
    /// Gets each sample when it is taken.
    using OnSample = std::function<void(const TimedSample&)>;

    SoakSite(const SoakOptions& options, OnSample on_sample);

    /// The whole run, until the last outage is told and dealt with.
    void Run();

    Balance Judge() const { return account_.Judge(); }
    /// Those of the last life of the host, without the time in which its tables fill.
    const std::vector<ResourceSample>& Samples() const { return samples_; }
    /// Samples at whose time no check of the cameras had been done for two hours.
    int TimesBehind() const { return times_behind_; }
    /// Timelines: one for each camera and consumer.
    std::size_t Timelines() const;

private:
    using Condition = std::function<bool()>;

    void AddCameras();
    bool ContactEntered(int camera, std::int64_t since_s) const;
    void AddPlugins();
    void StartHost();
    void RestartHost(bool kill);
    void Settle();
    void RunUntil(std::int64_t moment_ms);
    void Drain();
    void Await(const std::string& what, const Condition& condition);
    void Step();
    void FollowChecks();
    void ReadJournals();
    void WatchHost();
    void TakeSample();
    std::int64_t NowMs() const { return site_.Clock().NowMs(); }

    const SoakOptions options_;
    const OnSample on_sample_;
    const std::int64_t stretch_ms_;  // of the site's clock
    qartest::TestSite site_;
    std::vector<demo::SimulatedCamera*> cameras_;
    std::vector<std::int64_t> offsets_s_;  // of the cameras' zones
    RangeAccount account_;
    std::optional<OutageDriver> driver_;
    JournalTail recorder_;
    JournalTail backfill_;

    // of the host's present life
    std::unique_ptr<qartest::HostProcess> host_;
    std::optional<CheckCalendar> calendar_;
    std::optional<ProcessWatch> watch_;
    std::unique_ptr<HistoryView> recorder_rows_;
    std::unique_ptr<HistoryView> backfill_rows_;
    std::int64_t checked_ms_ = 0;
    std::int64_t life_began_ms_ = 0;
    std::int64_t ready_ms_ = 0;

    std::int64_t began_ms_ = 0;
    std::int64_t stretch_ends_ms_ = 0;
    std::chrono::steady_clock::time_point next_look_{};
    std::chrono::steady_clock::time_point next_read_{};
    std::vector<ResourceSample> samples_;
    int times_behind_ = 0;
};

}  // namespace soak
