#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "demo_cameras/camera_fleet.h"
#include "demo_cameras/demo_start.h"
#include "demo_cameras/outage_runner.h"
#include "demo_cameras/site_file.h"
#include "demo_cameras/stop_signal.h"
#include "demo_cameras/time_text.h"

namespace {

using namespace std::chrono_literals;

struct Options {
    int cameras = 12;
    unsigned seed = 1;
    int scale = 600;
    std::string folder;
    int for_s = 0;
    bool no_outages = false;
};

/// Tells of outages that began or ended since the last call.
class OutageReport {
public:
    void Print(const std::vector<demo::PastOutage>& outages) {
        for (std::size_t i = 0; i < outages.size(); ++i) {
            if (i == ended_.size()) {
                ended_.push_back(false);
                std::printf("away camera=%d at=%s\n", outages[i].camera, Text(outages[i].begin_ms).c_str());
            }
            if (!ended_[i] && outages[i].end_ms) {
                ended_[i] = true;
                std::printf("back camera=%d at=%s\n", outages[i].camera, Text(*outages[i].end_ms).c_str());
            }
        }
        std::fflush(stdout);
    }

private:
    static std::string Text(std::int64_t scaled_ms) { return demo::FormatUtc(scaled_ms / 1000); }

    std::vector<bool> ended_;
};

int Run(const Options& options) {
    demo::StopSignal stop;
    const demo::ScaledClock clock = demo::DemoClock(options.scale);
    demo::CameraFleet fleet(clock, options.cameras, options.seed);
    const demo::DemoFolder folder{std::filesystem::absolute(options.folder)};
    demo::WriteSiteFile(fleet, folder);
    fleet.AllComeBack();

    for (std::size_t i = 0; i < fleet.Size(); ++i) {
        std::printf("camera=%d probe=%s archive=%s/%d zone=%s clock_ahead_s=%lld\n", fleet.At(i).Id(),
                    fleet.At(i).ProbeUrl().c_str(), fleet.At(i).ArchiveUrl().c_str(), fleet.At(i).Id(),
                    fleet.ZoneOf(i).name.c_str(), static_cast<long long>(fleet.At(i).SkewS()));
    }
    std::printf("site file %s\nready cameras=%zu scale=%d\n", folder.SiteFile().c_str(), fleet.Size(), options.scale);
    std::fflush(stdout);

    // No host is known here, so its checks are taken to be counted from the present on.
    const demo::CheckTicks checks{clock.NowMs()};
    const auto real_end = std::chrono::system_clock::now() + std::chrono::seconds(options.for_s);
    const std::int64_t until = options.for_s > 0 ? clock.MsAt(real_end) : checks.timer_started_ms + 60LL * 86400 * 1000;
    std::vector<demo::Outage> outages;
    if (!options.no_outages) {
        outages =
            demo::OutageSchedule(options.seed, checks, fleet.Scheduled(), checks.timer_started_ms, until).Outages();
    }
    demo::OutageRunner runner(fleet, checks, std::move(outages));
    OutageReport report;
    while (!stop.WaitFor(100ms) && (options.for_s == 0 || std::chrono::system_clock::now() < real_end)) {
        report.Print(runner.Past());
    }
    report.Print(runner.Past());
    std::printf("stopped outages=%zu\n", runner.Past().size());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Simulated cameras on loopback sockets, and a site file for qarhost that names them"};
    app.add_option("--cameras", options.cameras, "number of cameras")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "seed of outages, clocks and recordings")->capture_default_str();
    app.add_option("--scale", options.scale, "simulated seconds per real second")
        ->check(CLI::Range(1, 100000))
        ->capture_default_str();
    app.add_option("--dir", options.folder, "folder for the site file; created where missing")->required();
    app.add_option("--for", options.for_s,
                   "stop after so many real seconds; 0 = when told to (outages then end after 60 simulated days)")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_flag("--no-outages", options.no_outages, "all cameras stay");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    try {
        return Run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "demo_cameras: %s\n", error.what());
        return 1;
    }
}
