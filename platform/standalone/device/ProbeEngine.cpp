#include "standalone/device/ProbeEngine.h"

#include <sys/resource.h>

#include <algorithm>
#include <exception>

#include "standalone/base/Clock.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kShortestPeriod(1);
constexpr std::chrono::minutes kBetweenLackLines(1);

std::size_t PlacesFor(int connections, std::size_t targets) {
    const auto wanted = static_cast<rlim_t>(std::max(connections, 1));
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) != 0 || files.rlim_cur / 2 >= wanted) {
        return wanted;
    }
    const rlim_t places = std::max<rlim_t>(files.rlim_cur / 2, 1);
    if (targets > places) {
        LogSinkWrite(kLogWarning, kModulePlatform,
                     "at most %llu devices are asked at a time, not %d: the process may open only %llu files",
                     static_cast<unsigned long long>(places), connections,
                     static_cast<unsigned long long>(files.rlim_cur));
    }
    return places;
}

}  // namespace

ProbeEngine::ProbeEngine(const ProbeOptions& options, std::vector<Target> targets)
    : timeout_(options.timeout_ms),
      period_(std::max<std::chrono::nanoseconds>(Clock::Get().RealDuration(std::chrono::seconds(options.period_s)),
                                                 kShortestPeriod)),
      places_(PlacesFor(options.connections, targets.size())),
      places_of_a_kind_(places_ - places_ / 4),
      io_(1) {
    entries_.reserve(targets.size());
    for (Target& target : targets) {
        entries_.push_back(std::make_unique<Entry>(io_, std::move(target)));
    }
}

ProbeEngine::~ProbeEngine() { Stop(); }

bool ProbeEngine::Start(std::string& error) {
    const steady_clock::time_point now = steady_clock::now();
    const auto count = static_cast<std::chrono::nanoseconds::rep>(std::max<std::size_t>(1, entries_.size()));
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        entries_[i]->due = now + period_ / count * static_cast<std::chrono::nanoseconds::rep>(i);
        Schedule(*entries_[i]);
    }
    try {
        resolver_.emplace(io_);
        thread_ = std::thread([this] { Run(); });
    } catch (const std::exception& failure) {
        error = std::string("the probes' threads cannot be made: ") + failure.what();
        return false;
    }
    return true;
}

void ProbeEngine::Stop() {
    io_.stop();
    if (thread_.joinable()) {
        thread_.join();
    }
    resolver_.reset();
}

void ProbeEngine::Run() {
    for (;;) {
        try {
            io_.run();
            return;
        } catch (const std::exception& failure) {
            LogSinkWrite(kLogError, kModulePlatform, "a probe failed within the host: %s", failure.what());
        }
    }
}

void ProbeEngine::Schedule(Entry& entry) {
    entry.timer.expires_at(entry.due);
    entry.timer.async_wait([this, &entry](const boost::system::error_code& error) {
        if (!error) {
            OnDue(entry);
        }
    });
}

void ProbeEngine::OnDue(Entry& entry) {
    KindOf(entry).waiting.push_back(&entry);
    BeginWaiting();
}

void ProbeEngine::BeginWaiting() {
    while (Kind* kind = NextKind()) {
        Entry& entry = *kind->waiting.front();
        kind->waiting.pop_front();
        ++kind->active;
        Begin(entry);
    }
}

ProbeEngine::Kind* ProbeEngine::NextKind() {
    if (quick_.active + slow_.active >= places_) {
        return nullptr;
    }
    for (Kind* kind : {&quick_, &slow_}) {
        if (!kind->waiting.empty() && kind->active < places_of_a_kind_) {
            return kind;
        }
    }
    return nullptr;
}

void ProbeEngine::Begin(Entry& entry) {
    entry.begun = steady_clock::now();
    std::make_shared<Probe>(io_, *resolver_, entry.target.address, timeout_, [this, &entry](const ProbeResult& result) {
        OnResult(entry, result);
    })->Start();
}

// Everything is arranged for the next probe before the result is told: what a handler throws costs no probe.
void ProbeEngine::OnResult(Entry& entry, const ProbeResult& result) {
    --KindOf(entry).active;
    const steady_clock::time_point now = steady_clock::now();
    entry.slow = now - entry.begun >= timeout_ / 2;
    const auto missed = std::max<steady_clock::duration>(now - entry.due, {}) / period_;
    entry.due += period_ * (missed + 1);
    Schedule(entry);
    BeginWaiting();
    if (result.outcome == ProbeResult::Outcome::kNotAsked) {
        TellLack(result.reason);
        return;
    }
    entry.target.on_result(result);
}

void ProbeEngine::TellLack(const std::string& reason) {
    const steady_clock::time_point now = steady_clock::now();
    if (lack_told_ && now - *lack_told_ < kBetweenLackLines) {
        return;
    }
    lack_told_ = now;
    LogSinkWrite(kLogError, kModulePlatform, "devices cannot be asked: %s", reason.c_str());
}

}  // namespace qarplatform
