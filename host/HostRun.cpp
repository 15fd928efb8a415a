#include "host/HostRun.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>
#include <ostream>
#include <utility>

#include "ZELPlatform/LocalConfigManager.h"
#include "host/ControlClient.h"
#include "host/ExitCode.h"
#include "host/Report.h"
#include "host/SiteReading.h"
#include "host/StopWatch.h"
#include "host/StoreOpening.h"
#include "standalone/auth/Sessions.h"
#include "standalone/base/Clock.h"
#include "standalone/base/ThreadPoolControl.h"
#include "standalone/base/TimerStatus.h"
#include "standalone/bus/BusControl.h"
#include "standalone/config/LocalConfigControl.h"
#include "standalone/database/DatabaseControl.h"
#include "standalone/device/DeviceLayer.h"
#include "standalone/http/FrontControl.h"
#include "standalone/log/LogControl.h"
#include "standalone/system/SystemControl.h"

namespace qarhost {

namespace {

constexpr const char* kDatabaseLost = "the folder of the database cannot be made: ";

// A host with many devices needs more descriptors than the soft limit of a login gives.
void RaiseFileLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

qarplatform::FrontOptions FrontOptionsOf(const qarplatform::HttpOptions& http, const std::string& data_dir) {
    qarplatform::FrontOptions options;
    options.https = http.IsSecure();
    options.plain = http.plain;
    options.server.address = http.address;
    options.server.port = http.port;
    options.server.certificate_file = http.certificate_file;
    options.server.key_file = http.key_file;
    options.server.connections = http.connections;
    options.server.body_bytes = http.body_bytes;
    options.server.answer_timeout = http.answer_timeout;
    options.server.spool_dir = data_dir;
    return options;
}

void PublishDatabase(const std::string& dir) {
    ZELPlatform::CLocalDBInfo info;
    info.SetValdbType(qarplatform::kDatabaseSqlite);
    info.SetValdbName(dir);
    qarplatform::SetLocationDBInfo(info);
}

}  // namespace

HostRun::HostRun(std::string site_file, std::string plugin_dir, StopSignal& signal, std::ostream& out)
    : site_file_(std::move(site_file)),
      plugin_dir_(std::move(plugin_dir)),
      signal_(signal),
      out_(out),
      control_([this](const std::string& request) { return AnswerControl(*this, request); }) {}

int HostRun::Run() {
    int exit_code = Start();
    if (exit_code == kExitOk) signal_.Wait();
    Stop();
    if (exit_code == kExitOk && !clean_) exit_code = kExitFailure;
    if (exit_code == kExitOk) out_ << "qarhost stopped" << std::endl;
    return exit_code;
}

int HostRun::Start() try {
    RaiseFileLimit();
    constexpr Step kSteps[] = {&HostRun::ReadFile,     &HostRun::TakeDataDir, &HostRun::OpenLog,
                               &HostRun::OpenStore,    &HostRun::SetClock,    &HostRun::StartSessions,
                               &HostRun::OpenDatabase, &HostRun::LoadDevices, &HostRun::StartPlugins,
                               &HostRun::StartFront,   &HostRun::StartProbes, &HostRun::Listen};
    for (const Step step : kSteps) {
        if (signal_.Asked()) return kExitOk;
        const int exit_code = (this->*step)();
        if (exit_code != kExitOk) return exit_code;
    }
    LogNote("ready: site " + file_.name);
    out_ << "qarhost ready pid=" << getpid() << " site=" << file_.name;
    if (const std::string front = FrontUrl(); !front.empty()) out_ << " front=" << front;
    out_ << std::endl;
    return kExitOk;
} catch (const std::exception& e) {
    return Fail(kExitFailure, e.what());
}

void HostRun::Stop() {
    StopWatch watch([this] { return StillRunning(); });
    for (; !ends_.empty(); ends_.pop_back()) {
        watch.Enter(ends_.back().part);
        ends_.back().stop();
    }
}

std::vector<std::string> HostRun::StillRunning() const {
    std::vector<std::string> running = qarplatform::RunningTasks();
    if (plugins_ == nullptr) return running;
    for (const PluginStatus& plugin : plugins_->Status()) {
        if (plugin.state == "stopping") running.push_back("the stop of plug-in " + plugin.id);
    }
    return running;
}

int HostRun::Fail(int exit_code, const std::string& text) {
    TellError(text);
    return exit_code;
}

int HostRun::ReadFile() {
    auto file = ReadSite(site_file_, std::cerr);
    if (!file) return kExitSiteFile;
    file_ = std::move(*file);
    return kExitOk;
}

int HostRun::TakeDataDir() {
    std::string error;
    if (!MakeFolder(file_.data_dir, error)) return Fail(kExitFailure, "cannot make the data folder " + error);
    if (!lock_.Take(file_.data_dir, error)) return Fail(kExitFailure, error);
    return kExitOk;
}

int HostRun::OpenLog() {
    std::string error;
    if (!qarplatform::StartLog(file_.log, error)) return Fail(kExitFailure, error);
    UseLog(true);
    ends_.push_back({"the log", [] {
                         LogNote("stopped");
                         UseLog(false);
                         qarplatform::StopLog();
                     }});
    return kExitOk;
}

int HostRun::OpenStore() {
    std::string error;
    if (!qarhost::OpenStore(file_, store_, error) || !store_.Load(site_, origin_ms_, start_ms_, error)) {
        return Fail(kExitDatabase, error);
    }
    return kExitOk;
}

int HostRun::SetClock() {
    if (file_.clock_origin_ms) start_ms_ = origin_ms_ = *file_.clock_origin_ms;
    if (file_.clock_start_ms) start_ms_ = *file_.clock_start_ms;
    qarplatform::Clock::Get().Configure(file_.clock_scale, origin_ms_, start_ms_);
    return kExitOk;
}

int HostRun::OpenDatabase() {
    std::string error;
    if (!CheckDatabaseDir(site_.database_dir, file_.data_dir, error)) return Fail(kExitDatabase, error);
    if (!MakeFolder(site_.database_dir, error)) return Fail(kExitDatabase, kDatabaseLost + error);
    PublishDatabase(site_.database_dir);
    ends_.push_back({"the database", &qarplatform::StopDatabase});
    // the bus first: it delivers by a pool, and those who get messages may have work for others
    ends_.push_back({"tasks of thread pools", &qarplatform::JoinThreadPools});
    ends_.push_back({"the bus", &qarplatform::StopBus});
    return kExitOk;
}

int HostRun::LoadDevices() {
    qarplatform::DeviceLayer::Get().Load(site_);
    return kExitOk;
}

// Plug-ins may ask for sessions from their start on, and a request that is left behind until the pools have ended.
int HostRun::StartSessions() {
    std::string error;
    if (file_.http && site_.access_type != file_.site.access_type) {
        site_.access_type = file_.site.access_type;
        if (!store_.SetAccessType(site_.access_type, error)) return Fail(kExitDatabase, error);
    }
    qarplatform::SetAccessType(site_.access_type);
    if (!file_.http) return kExitOk;
    if (!qarplatform::Sessions::Get().Start(store_, file_.http->sessions, error)) return Fail(kExitDatabase, error);
    ends_.push_back({"the sessions", [] { qarplatform::Sessions::Get().Stop(); }});
    return kExitOk;
}

int HostRun::StartPlugins() {
    plugins_ = std::make_unique<PluginSet>(site_.plugins, FoldersOf(site_file_, plugin_dir_), file_.data_dir);
    ends_.push_back({"the plug-ins", [this] { clean_ = plugins_->Stop() && clean_; }});
    ends_.push_back({"the timers", &qarplatform::StopTimers});
    std::string error;
    if (!plugins_->Start(error)) return Fail(kExitPlugin, error);
    return kExitOk;
}

// Behind the plug-ins' start, so that a request finds their URLs.
int HostRun::StartFront() {
    if (!file_.http) return kExitOk;
    std::string error;
    if (!qarplatform::StartFront(FrontOptionsOf(*file_.http, file_.data_dir), error)) return Fail(kExitFailure, error);
    ends_.push_back({"the front", &qarplatform::StopFront});
    return kExitOk;
}

int HostRun::StartProbes() {
    std::string error;
    ends_.push_back({"the probes", [] { qarplatform::DeviceLayer::Get().StopProbes(); }});
    if (!qarplatform::DeviceLayer::Get().StartProbes(file_.probe, error)) return Fail(kExitFailure, error);
    return kExitOk;
}

int HostRun::Listen() {
    std::string error;
    if (!control_.Start(ControlSocketPath(file_.data_dir), error)) return Fail(kExitFailure, error);
    ends_.push_back({"the control socket", [this] { control_.Stop(); }});
    return kExitOk;
}

std::string HostRun::FrontUrl() const {
    if (!file_.http) return {};
    const std::string& address = file_.http->address;
    const std::string host = address.find(':') == std::string::npos ? address : "[" + address + "]";
    return (file_.http->IsSecure() ? "https://" : "http://") + host + ":" + std::to_string(qarplatform::FrontPort());
}

HostStatus HostRun::Status() {
    HostStatus status;
    status.site = file_.name;
    status.pid = getpid();
    status.clock_scale = qarplatform::Clock::Get().Scale();
    status.clock_now_ms = qarplatform::Clock::Get().NowMs();
    if (const auto info = ZELPlatform::LocalConfigManager::GetLocationDBInfo()) {
        status.database_dir = info->GetValdbName();
    }
    status.front = FrontUrl();
    status.timers = qarplatform::ListTimers();
    status.devices = qarplatform::DeviceLayer::Get().Status();
    status.plugins = plugins_->Status();
    return status;
}

bool HostRun::SetGuard(int device_id, bool guard, std::string& error) {
    if (!store_.SetGuard(device_id, guard, error)) return false;
    if (!qarplatform::DeviceLayer::Get().SetGuard(device_id, guard)) {
        error = "no device " + std::to_string(device_id);
        return false;
    }
    LogNote("device " + std::to_string(device_id) + ": guard " + (guard ? "on" : "off"));
    return true;
}

bool HostRun::SetDatabaseDir(const std::string& dir, std::string& error) {
    if (!CheckDatabaseDir(dir, file_.data_dir, error)) return false;
    if (!MakeFolder(dir, error)) {
        error = kDatabaseLost + error;
        return false;
    }
    if (access(dir.c_str(), W_OK | X_OK) != 0) {
        error = "the folder of the database cannot be used: " + dir + ": " + std::strerror(errno);
        return false;
    }
    if (!store_.SetDatabaseDir(dir, error)) return false;
    PublishDatabase(dir);
    LogNote("database " + dir);
    return true;
}

}  // namespace qarhost
