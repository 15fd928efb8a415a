#include "soak/soak_site.h"

#include <algorithm>
#include <filesystem>
#include <random>
#include <stdexcept>

namespace soak {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr std::int64_t kHourMs = 3'600'000;
constexpr std::int64_t kDayMs = 24 * kHourMs;
constexpr std::int64_t kPatienceMs = 2 * kDayMs;  // of the site's clock, for anything awaited
constexpr auto kRealPatience = 60s;               // besides
constexpr auto kReadEvery = 50ms;                 // the journals
constexpr int kLooks = 20;                        // at the host's process, in each stretch
constexpr auto kShortestLook = 10ms;
constexpr std::int64_t kLateMs = 250;  // of real time: how late the machine may be with anything

// Rows live for seven days and an hour or two; after that a table is as full as it gets.
constexpr std::int64_t kFillMs = 8 * kDayMs;

const Consumer kBackfill{"backfill", 1};
const Consumer kRecorder1{"recorder", 1};
const Consumer kRecorder2{"recorder", 2};  // the last one that a check comes to

std::vector<Consumer> Consumers() { return {kBackfill, kRecorder1, kRecorder2}; }

std::vector<int> Ids(int cameras) {
    std::vector<int> ids;
    for (int i = 0; i < cameras; ++i) ids.push_back(101 + i);
    return ids;
}

Tolerance ToleranceOf(const SoakOptions& options) {
    return {options.probe_s, CheckCalendar::kCheckMs / 1000, kLateMs * options.scale / 1000};
}

OutageLengths LengthsOf(const SoakOptions& options) {
    OutageLengths lengths;
    // longer than two probes, so that one finds the camera away
    lengths.shortest_ms = 2 * options.probe_s * 1000 + kLateMs * options.scale;
    lengths.longest_ms = lengths.shortest_ms + std::min(options.DurationMs() / 12, 10 * kHourMs);
    lengths.shortest_pause_ms = kHourMs / 4;
    lengths.longest_pause_ms = std::clamp(options.DurationMs() / 6, kHourMs, 90 * kHourMs);
    return lengths;
}

std::int64_t StretchOf(const SoakOptions& options) { return std::min<std::int64_t>(kDayMs, options.DurationMs() / 12); }

std::int64_t KibOf(const std::filesystem::path& folder) {
    std::uintmax_t bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::error_code gone_meanwhile;
        const std::uintmax_t size = entry.file_size(gone_meanwhile);
        if (!gone_meanwhile) bytes += size;
    }
    return static_cast<std::int64_t>(bytes / 1024);
}

std::string List(const std::vector<int>& numbers) {
    std::string text;
    for (const int number : numbers) text += (text.empty() ? "" : ", ") + std::to_string(number);
    return "[" + text + "]";
}

}  // namespace

SoakSite::SoakSite(const SoakOptions& options, OnSample on_sample)
    : options_(options),
      on_sample_(std::move(on_sample)),
      stretch_ms_(StretchOf(options)),
      site_(options.scale),
      account_(Consumers(), Ids(options.cameras), ToleranceOf(options)),
      recorder_(site_.DataDir() / "recorder.journal"),
      backfill_(site_.DataDir() / "backfill.journal") {
    site_.SetProbePeriod(options.probe_s);
    site_.SetLogLevel("error");
    AddCameras();
    AddPlugins();
    site_.Write();
    // the last camera stays: what it shows of a check tells that the check has come to the end
    driver_.emplace(site_.Clock(), cameras_, LengthsOf(options), options.seed,
                    [this](int camera, std::int64_t since_s) { return ContactEntered(camera, since_s); });
}

// A third of the cameras have clocks of their own, a tenth answer no date and so run on the host's.
void SoakSite::AddCameras() {
    constexpr std::int64_t kMostSkewS = 86'400;
    std::mt19937_64 source(options_.seed);
    for (int i = 0; i < options_.cameras; ++i) {
        demo::CameraOptions camera;
        const auto drawn = static_cast<std::int64_t>(source() % (2 * kMostSkewS + 1)) - kMostSkewS;
        const bool last = i + 1 == options_.cameras;
        if (i % 10 == 7 && !last) {
            camera.date = demo::DateBehaviour::kNone;
        } else if (i % 3 == 1 && !last) {
            camera.skew_s = drawn;
        }
        const bool west = i % 2 == 0 && !last;
        cameras_.push_back(&site_.AddCamera(west ? "west530" : "east8", std::move(camera)));
        offsets_s_.push_back(west ? qartest::TestSite::kWest530S : qartest::TestSite::kEast8S);
    }
    cameras_.back()->ComeBack();
}

// The last one that an event comes to stands for all.
bool SoakSite::ContactEntered(int camera, std::int64_t since_s) const {
    const std::int64_t offset_s = offsets_s_.at(static_cast<std::size_t>(camera - cameras_.front()->Id()));
    return recorder_rows_->HasContact(camera, kRecorder2.busi, since_s + offset_s - options_.probe_s);
}

void SoakSite::AddPlugins() {
    site_.AddPlugin(
        kBackfill.plugin, "backfill.so",
        "fetch = [\"cp\", \"/dev/null\", \"{out}\"]\nout_dir = \"fetched\"\njournal = \"backfill.journal\"");
    site_.AddPlugin(kRecorder1.plugin, std::string(TEST_PLUGIN_DIR) + "/recorder.so",
                    "cameras = " + List(Ids(options_.cameras)) + "\nbusi_types = [1, 2]\ndelete = true\nlook = false");
}

std::size_t SoakSite::Timelines() const { return cameras_.size() * Consumers().size(); }

void SoakSite::Run() {
    began_ms_ = NowMs();
    StartHost();
    Settle();
    const bool long_run = options_.days >= SoakOptions::kLongDays;
    RunUntil(began_ms_ + options_.DurationMs() / (long_run ? 20 : 3));
    RestartHost(false);
    if (long_run) {
        RunUntil(began_ms_ + options_.DurationMs() / 10);
        RestartHost(true);
    }
    RunUntil(began_ms_ + options_.DurationMs());
    Drain();
    if (host_->Stop() != 0) throw std::runtime_error("the host did not stop cleanly: " + host_->Process().Err());
    ReadJournals();
}

void SoakSite::StartHost() {
    qartest::HostOptions options;
    options.plugin_dir = PLUGIN_DIR;
    life_began_ms_ = NowMs();
    host_ = std::make_unique<qartest::HostProcess>(site_, options);
    if (!host_->WaitUntilReady()) throw std::runtime_error("the host does not start: " + host_->Process().Err());
    ready_ms_ = NowMs();
    const auto state = host_->State();
    if (!state || !state->history_timer_started_ms) throw std::runtime_error("the host does not tell its state");
    calendar_.emplace(*state->history_timer_started_ms, options_.probe_s);
    watch_.emplace(host_->Process().Pid(), std::filesystem::canonical(site_.DatabaseDir()).string());
    recorder_rows_ = std::make_unique<HistoryView>(site_.DatabaseDir() / "recorder.db");
    backfill_rows_ = std::make_unique<HistoryView>(site_.DatabaseDir() / "backfill.db");
    checked_ms_ = 0;
    samples_.clear();
    stretch_ends_ms_ = NowMs() + stretch_ms_;
}

void SoakSite::RestartHost(bool kill) {
    driver_->LetBegin(false);
    Await("all cameras in order before a restart", [this] { return driver_->AllInOrder(); });
    const std::int64_t begin_ms = NowMs();
    if (kill) {
        host_->Kill();
    } else if (host_->Stop() != 0) {
        throw std::runtime_error("the host did not stop cleanly: " + host_->Process().Err());
    }
    driver_->HostStopped(begin_ms);
    StartHost();
    driver_->HostReady(ready_ms_);
    Settle();
}

// Until all cameras have been found in order, and what the contacts brought is dealt with.
void SoakSite::Settle() {
    Await("all cameras in order after a start", [this] { return driver_->AllInOrder(); });
    Await("the ranges of the start dealt with", [this] { return account_.Open() == 0; });
    driver_->LetBegin(true);
}

void SoakSite::RunUntil(std::int64_t moment_ms) {
    while (NowMs() < moment_ms) {
        const std::int64_t next_ms = std::min(moment_ms, NowMs() + kDayMs);
        Await("the time to pass", [this, next_ms] { return NowMs() >= next_ms; });
    }
}

void SoakSite::Drain() {
    driver_->LetBegin(false);
    Await("all cameras in order at the end", [this] { return driver_->AllInOrder(); });
    // a notification begins with a copy of all timelines, so what it tells has come in before the next one's is over
    const std::int64_t told_ms = calendar_->NextNotification(NowMs()) + kHourMs + 10 * CheckCalendar::kTickMs;
    Await("the last ranges dealt with", [&] { return NowMs() >= told_ms && account_.Open() == 0; });
}

void SoakSite::Await(const std::string& what, const Condition& condition) {
    const bool came = qartest::Eventually(
        [&] {
            Step();
            return condition();
        },
        kRealPatience + std::chrono::milliseconds(kPatienceMs / options_.scale));
    if (!came) throw std::runtime_error("waited in vain for " + what);
}

void SoakSite::Step() {
    if (!host_->Process().Running()) throw std::runtime_error("the host has ended: " + host_->Process().Err());
    FollowChecks();
    driver_->Step(*calendar_, checked_ms_);
    driver_->TakeMade(account_);
    const auto now = steady_clock::now();
    if (now >= next_read_) {
        next_read_ = now + kReadEvery;
        ReadJournals();
    }
    if (now >= next_look_) {
        next_look_ = now + std::max<steady_clock::duration>(
                               std::chrono::milliseconds(stretch_ms_ / options_.scale / kLooks), kShortestLook);
        WatchHost();
    }
}

// Looks whether the last check has come to its last camera.
void SoakSite::FollowChecks() {
    const std::int64_t check_ms = calendar_->LastCheck(NowMs());
    if (check_ms <= checked_ms_) return;
    const std::int64_t wall_s = recorder_rows_->LastInOrderS(cameras_.back()->Id(), kRecorder2.busi);
    const std::int64_t found_ms = (wall_s - qartest::TestSite::kEast8S) * 1000;
    // the camera's clock is known to the second and to a few of the way of its answer
    if (found_ms >= check_ms - 2 * CheckCalendar::kTickMs) checked_ms_ = check_ms;
}

void SoakSite::ReadJournals() {
    const std::int64_t now_s = NowMs() / 1000;
    const auto enter = [&](const std::string& plugin, const JournalEntry& entry) {
        const Consumer consumer{plugin, entry.busi};
        if (entry.kind == "told") account_.Told(consumer, entry.camera, entry.begin_s, entry.end_s, now_s);
        if (entry.kind == "deleted" || entry.kind == "done") {
            account_.Gone(consumer, entry.camera, entry.begin_s, entry.end_s, now_s);
        }
    };
    for (const JournalEntry& entry : recorder_.Read()) enter(kRecorder1.plugin, entry);
    for (const JournalEntry& entry : backfill_.Read()) enter(kBackfill.plugin, entry);
}

void SoakSite::WatchHost() {
    watch_->Look();
    if (NowMs() < stretch_ends_ms_) return;
    stretch_ends_ms_ += stretch_ms_;
    TakeSample();
}

void SoakSite::TakeSample() {
    const std::int64_t now_ms = NowMs();
    TimedSample timed;
    timed.sample = watch_->EndStretch().value_or(ResourceSample{});
    timed.sample.rows = recorder_rows_->Rows() + backfill_rows_->Rows();
    timed.sample.database_kib = KibOf(site_.DatabaseDir());
    timed.day = static_cast<double>(now_ms - began_ms_) / static_cast<double>(kDayMs);
    timed.outages = driver_->Begun();
    timed.told = account_.Told();
    const std::int64_t fill_ms = std::min(kFillMs, options_.DurationMs() / 4);
    if (now_ms - life_began_ms_ > fill_ms) samples_.push_back(timed.sample);
    if (now_ms - checked_ms_ > 2 * kHourMs) ++times_behind_;
    on_sample_(timed);
}

}  // namespace soak
