#include "demo_run/demo.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "demo_cameras/demo_start.h"

namespace demo {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto kArchivePause = 500ms;  // as slow as a memory card, so that fetching can be seen
constexpr auto kStepTime = 50ms;
constexpr auto kStartTime = 30s;
constexpr auto kDrainTime = 90s;
constexpr auto kStopTime = 15s;
constexpr auto kStatusTime = 2s;

constexpr std::int64_t kProbePeriodS = 60;
constexpr std::int64_t kMinuteMs = 60'000;
constexpr std::int64_t kFirstOutageMs = 30 * kMinuteMs;  // behind the first check
constexpr std::int64_t kNoticedMs =
    5 * kMinuteMs;  // from a camera's return to its point in the table, with a good margin
constexpr std::int64_t kDrainShownS = 2 * 3600;
constexpr std::int64_t kLongestShownS = 24 * 3600;

/// The first tick of the hourly notification at or after a moment.
std::int64_t NotificationTick(std::int64_t timer_started_ms, std::int64_t moment_ms) {
    const std::int64_t tick = (moment_ms - timer_started_ms + kMinuteMs - 1) / kMinuteMs;
    return tick + ((5 - tick) % 60 + 60) % 60;
}

std::string LastLine(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::string last = "it said nothing";
    for (std::string line; std::getline(in, line);) {
        last = line.empty() ? last : line;
    }
    return last;
}

}  // namespace

Demo::Demo(const DemoOptions& options, const TerminalAbilities& abilities, StopSignal& stop)
    : options_(options),
      abilities_(abilities),
      stop_(stop),
      folder_{options.folder},
      fleet_(DemoClock(kScale), options.cameras, options.seed),
      watch_(fleet_, folder_),
      view_(MakeView(abilities)) {}

int Demo::Run() {
    picture_begin_s_ = fleet_.Clock().NowMs() / 1000;
    if (StartHost()) {
        if (const auto timer = WaitForHistoryTimer()) {
            StartOutages(*timer);
            if (RunOutages()) {
                Drain();
            }
        }
    }
    return Conclude();
}

bool Demo::StartHost() {
    WriteSiteFile(fleet_, folder_);
    for (std::size_t i = 0; i < fleet_.Size(); ++i) {
        fleet_.At(i).SetArchivePause(kArchivePause);
    }
    fleet_.AllComeBack();
    const std::filesystem::path errors = folder_.root / "qarhost.stderr";
    host_ = std::make_unique<HostProcess>(options_.host, folder_.SiteFile(), options_.plugins, errors);
    if (host_->WaitForLine("qarhost ready", kStartTime, stop_)) {
        return true;
    }
    if (!stop_.Came()) {
        Fail("the host did not get ready: " + LastLine(errors));
    }
    return false;
}

std::optional<TimerStatus> Demo::WaitForHistoryTimer() {
    const auto until = steady_clock::now() + kStartTime;
    while (!stop_.Came() && steady_clock::now() < until) {
        const auto status = AskHostStatus(folder_.ControlSocket(), kStatusTime);
        if (status && status->HistoryTimer() != nullptr) {
            return *status->HistoryTimer();
        }
        if (!Step()) {
            return std::nullopt;
        }
    }
    if (!stop_.Came()) {
        Fail("the host runs no timer of the state history");
    }
    return std::nullopt;
}

void Demo::StartOutages(const TimerStatus& timer) {
    timer_started_ms_ = timer.started_ms;
    outages_end_ = std::chrono::system_clock::now() + std::chrono::seconds(options_.for_s);
    const CheckTicks checks{timer.started_ms};
    const OutageSchedule schedule(options_.seed, checks, fleet_.Scheduled(), timer.started_ms + kFirstOutageMs,
                                  fleet_.Clock().MsAt(outages_end_));
    outages_ = std::make_unique<OutageRunner>(fleet_, checks, schedule.Outages());
}

/// @return false where it was stopped before its time was over
bool Demo::RunOutages() {
    while (std::chrono::system_clock::now() < outages_end_) {
        if (!Step()) {
            return false;
        }
    }
    outages_->BeginNoMore();
    draining_ = true;
    return true;
}

void Demo::Drain() {
    const auto until = steady_clock::now() + kDrainTime;
    std::optional<std::int64_t> awaited_tick;
    while (Step()) {
        if (steady_clock::now() > until) {
            Fail("the run did not come to rest in time");
            return;
        }
        if (!outages_->Done()) {
            continue;
        }
        if (!awaited_tick) {
            awaited_tick = NotificationTick(timer_started_ms_, fleet_.Clock().NowMs() + kNoticedMs);
        }
        if (fleet_.Clock().NowMs() < timer_started_ms_ + *awaited_tick * kMinuteMs || !watch_.NothingOpen()) {
            continue;
        }
        const auto status = AskHostStatus(folder_.ControlSocket(), kStatusTime);
        const TimerStatus* timer = status ? status->HistoryTimer() : nullptr;
        if (timer != nullptr && timer->ticks >= *awaited_tick) {
            return;
        }
    }
}

/// Takes in what happened and waits a little. @return false where it is time to stop
bool Demo::Step() {
    if (stop_.WaitFor(kStepTime)) {
        return false;
    }
    const std::int64_t now_s = fleet_.Clock().NowMs() / 1000;
    for (const JournalLine& line : watch_.Poll()) {
        view_->OnJournal(line, now_s);
    }
    ReportOutages();
    if (view_->WantsPicture()) {
        view_->Show(MakePicture());
    }
    if (!host_->Running()) {
        Fail("the host ended by itself; see " + folder_.HostLog().string());
        return false;
    }
    return true;
}

void Demo::ReportOutages() {
    if (!outages_) {
        return;
    }
    const std::int64_t now_s = fleet_.Clock().NowMs() / 1000;
    const std::vector<PastOutage> past = outages_->Past();
    for (std::size_t i = 0; i < past.size(); ++i) {
        const std::string camera = "camera " + std::to_string(past[i].camera);
        if (i == reported_back_.size()) {
            reported_back_.push_back(false);
            view_->OnEvent(camera + " went away", now_s);
        }
        if (!reported_back_[i] && past[i].end_ms) {
            reported_back_[i] = true;
            const std::int64_t minutes = (*past[i].end_ms - past[i].begin_ms) / kMinuteMs;
            view_->OnEvent(camera + " is back after " + std::to_string(minutes) + " min", now_s);
        }
    }
}

Picture Demo::MakePicture() const {
    Picture picture;
    picture.seed = options_.seed;
    picture.scale = kScale;
    picture.now_s = fleet_.Clock().NowMs() / 1000;
    picture.phase = Phase();
    const std::size_t places = TimeLinePlaces(abilities_.style);
    const std::int64_t shown_s =
        std::min<std::int64_t>(static_cast<std::int64_t>(options_.for_s) * kScale + kDrainShownS, kLongestShownS);
    picture.step_s = (shown_s + static_cast<std::int64_t>(places) - 1) / static_cast<std::int64_t>(places);
    picture.begin_s = std::max(picture_begin_s_, picture.now_s - shown_s);
    picture.begin_s -= (picture.begin_s - picture_begin_s_) % picture.step_s;
    for (std::size_t i = 0; i < fleet_.Size(); ++i) {
        const SimulatedCamera& camera = fleet_.At(i);
        const KnownPast past = watch_.PastOf(i);
        picture.cameras.push_back({camera.Id(), fleet_.ZoneOf(i).OffsetAt(past.now), camera.Away(),
                                   watch_.WeekOf(i, past), MarksOf(past, picture.begin_s, picture.step_s, places),
                                   watch_.Ledger().ToldOf(camera.Id()), watch_.Ledger().ClosedOf(camera.Id())});
    }
    picture.told = watch_.Ledger().Told();
    picture.open = watch_.Ledger().Open().size();
    picture.closed = picture.told - picture.open;
    picture.outages = reported_back_.size();
    return picture;
}

std::string Demo::Phase() const {
    if (!outages_) {
        return "host starts";
    }
    if (draining_) {
        return "last gaps";
    }
    const auto left = std::chrono::ceil<std::chrono::seconds>(outages_end_ - std::chrono::system_clock::now());
    return std::to_string(std::max<std::int64_t>(left.count(), 0)) + " s left";
}

int Demo::Conclude() {
    const std::string host_fault = host_ ? host_->Stop(kStopTime) : "";
    if (!host_fault.empty()) {
        Fail(host_fault);
    }
    const std::int64_t now_s = fleet_.Clock().NowMs() / 1000;
    for (const JournalLine& line : watch_.Poll()) {
        view_->OnJournal(line, now_s);
    }
    view_->Finish(MakePicture());
    if (watch_.UnreadableLines() > 0) {
        Fail(std::to_string(watch_.UnreadableLines()) + " lines of the journal could not be read");
    }

    const std::vector<OutageVerdict> verdicts = JudgeOutages();
    const std::vector<JournalLine> open = watch_.Ledger().Open();
    const auto counted =
        std::count_if(verdicts.begin(), verdicts.end(), [](const auto& verdict) { return verdict.counts; });
    const bool unfinished =
        counted == 0 || !open.empty() ||
        std::any_of(verdicts.begin(), verdicts.end(), [](const auto& verdict) { return verdict.Failed(); });
    if (!stop_.Came()) {
        for (const JournalLine& line : open) {
            Fail("open: " + line.text);
        }
        if (counted == 0) {
            Fail("no outage counted");
        }
    }
    view_.reset();
    for (const std::string& failure : failures_) {
        std::fprintf(stderr, "demo_run: %s\n", failure.c_str());
    }
    if (stop_.Came() && unfinished) {
        std::fprintf(stderr, "demo_run: stopped before every outage was told and fetched\n");
    }
    std::printf("summary told=%zu done=%zu open=%zu outages=%zu\n", watch_.Ledger().Told(), watch_.Ledger().Done(),
                open.size(), static_cast<std::size_t>(counted));
    std::fflush(stdout);
    if (!failures_.empty()) {
        return 1;
    }
    return unfinished ? 130 : 0;
}

std::vector<OutageVerdict> Demo::JudgeOutages() {
    std::vector<CameraEvidence> evidence;
    for (std::size_t i = 0; i < fleet_.Size(); ++i) {
        evidence.push_back(watch_.EvidenceOf(i, failures_));
    }
    std::vector<OutageVerdict> verdicts;
    for (const PastOutage& outage : outages_ ? outages_->Past() : std::vector<PastOutage>()) {
        const std::size_t index = fleet_.IndexOf(outage.camera);
        verdicts.push_back(Judge(outage, evidence[index], kProbePeriodS));
        if (verdicts.back().Failed() && !stop_.Came()) {
            const std::int64_t device_s = outage.begin_ms / 1000 + evidence[index].skew_s;
            Fail(FailureText(verdicts.back(), evidence[index], fleet_.ZoneOf(index).OffsetAt(device_s)));
        }
    }
    return verdicts;
}

}  // namespace demo
