#include "integration/support/host_process.h"

#include <rapidjson/document.h>
#include <signal.h>

namespace qartest {

namespace {

constexpr const char* kHistoryTimer = "HistoryStateMgr.timer";
constexpr std::int64_t kTickMs = 60'000;
constexpr std::int64_t kCheckEvery = 30;  // ticks
constexpr std::int64_t kCheckAt = 25;

Launch RunCommand(const TestSite& site, const HostOptions& options) {
    Launch launch = HostCommand({"run", "--site", site.SiteFile().string(), "--plugins",
                                 options.plugin_dir.empty() ? TEST_PLUGIN_DIR : options.plugin_dir});
    launch.environment = options.environment;
    launch.user = options.user;
    return launch;
}

std::optional<HostState> ReadState(const std::string& json) {
    rapidjson::Document document;
    document.Parse(json.c_str());
    if (document.HasParseError() || !document.IsObject() || !document["ok"].GetBool()) return std::nullopt;
    HostState state;
    state.pid = document["pid"].GetInt();
    state.database = document["database"].GetString();
    state.now_ms = document["clock"]["now_ms"].GetInt64();
    for (const auto& timer : document["timers"].GetArray()) {
        if (timer["name"] != kHistoryTimer) continue;
        state.history_timer_started_ms = timer["started_ms"].GetInt64();
        state.history_timer_ticks = timer["ticks"].GetInt64();
    }
    for (const auto& device : document["devices"].GetArray()) {
        state.devices.push_back({device["id"].GetInt(), device["online"].GetBool(), device["guard"].GetBool(),
                                 device["clock_known"].GetBool()});
    }
    for (const auto& plugin : document["plugins"].GetArray()) {
        state.plugins.emplace_back(plugin["id"].GetString(), plugin["state"].GetString());
    }
    return state;
}

}  // namespace

const DeviceState* HostState::Device(int id) const {
    for (const DeviceState& device : devices) {
        if (device.id == id) return &device;
    }
    return nullptr;
}

Launch HostCommand(const std::vector<std::string>& words) {
    Launch launch;
    launch.words = {QARHOST_PATH};
    launch.words.insert(launch.words.end(), words.begin(), words.end());
    return launch;
}

HostProcess::HostProcess(const TestSite& site, const HostOptions& options)
    : site_(site), process_(RunCommand(site, options)) {}

std::optional<int> HostProcess::Stop() {
    process_.Signal(SIGTERM);
    return process_.WaitForEnd();
}

void HostProcess::Kill() {
    process_.Signal(SIGKILL);
    process_.WaitForEnd();
}

Ended HostProcess::Command(const std::string& command, const std::vector<std::string>& words) const {
    std::vector<std::string> all{command, "--site", site_.SiteFile().string()};
    all.insert(all.end(), words.begin(), words.end());
    return RunToEnd(HostCommand(all));
}

std::optional<HostState> HostProcess::State() const {
    const Ended ended = Command("status", {"--json"});
    return ended.exit_code == 0 ? ReadState(ended.out) : std::nullopt;
}

bool HostProcess::WaitForState(const std::function<bool(const HostState&)>& wanted) const {
    return Eventually([&] {
        const auto state = State();
        return state && wanted(*state);
    });
}

bool HostProcess::WaitForOnline(int device, bool online) const {
    return WaitForState([=](const HostState& state) {
        const DeviceState* found = state.Device(device);
        return found != nullptr && found->online == online;
    });
}

bool HostProcess::WaitForQuiet() const {
    const auto state = State();
    if (!state || !state->history_timer_started_ms) return false;
    return Eventually([&] {
        const std::int64_t tick = (site_.Clock().NowMs() - *state->history_timer_started_ms) / kTickMs % kCheckEvery;
        return tick < kCheckAt - 10 || tick > kCheckAt + 2;
    });
}

bool HostProcess::WaitForCheck() const {
    const auto state = State();
    if (!state || !state->history_timer_started_ms) return false;
    const auto checks = [&] {
        return ((site_.Clock().NowMs() - *state->history_timer_started_ms) / kTickMs - kCheckAt + kCheckEvery) /
               kCheckEvery;
    };
    const std::int64_t before = checks();
    return Eventually([&] { return checks() > before; });
}

}  // namespace qartest
