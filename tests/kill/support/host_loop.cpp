#include "kill/support/host_loop.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <utility>

#include "integration/support/eventually.h"
#include "integration/support/temp_folder.h"

namespace qartest {

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr int kScale = 20000;  // a tick of the history's timer takes 3 ms, each sweep comes after 90 or 180 ms
constexpr int kProbePeriodS = 300;
constexpr int kCameras = 6;
constexpr int kEarlyEvery = 5;      // rounds
constexpr int kLongestRunMs = 400;  // after the host is busy
constexpr milliseconds kLongestStop{5000};
constexpr std::size_t kMostOpen = 8;

// Two witnesses, each with its own table.
const std::vector<std::string> kWitnesses = {"alpha", "beta"};
constexpr const char* kMark = "SELECT 'ranges are written'";

// Fetches by two processes, the one a child of the other, and keeps little.
constexpr const char* kBackfill =
    R"(busi_types = [1, 2]
retry_first_s = 0.05
retry_max_s = 0.2
fetch = ["sh", "-c", 'curl -fsS --max-time 30 -o /dev/null "$2" && echo fetched > "$1"', "sh", "{out}", )"
    R"("{archive}/{camera}?begin={begin_unix}&end={end_unix}"])";

milliseconds Since(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
}

std::vector<std::string> ReadLines(const fs::path& file) {
    std::vector<std::string> lines;
    std::istringstream text(ReadText(file));
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

std::string LastLines(std::vector<std::string> lines) {
    constexpr std::size_t kMost = 15;
    lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(std::min(lines.size(), kMost)));
    std::string text;
    for (const std::string& line : lines) text += "  " + line + "\n";
    return text;
}

// Whether the history of a plug-in changed before it had written down its ranges.
bool ChangedBeforeMark(const StatementRecord& record, const std::string& id) {
    for (const RecordedStatement& statement : record.done) {
        if (statement.plugin != id) continue;
        if (statement.sql == kMark) return false;
        if (statement.sql.rfind("CREATE", 0) != 0) return true;
    }
    return true;
}

}  // namespace

LoopOptions LoopOptions::FromEnvironment(int signal, const char* rounds) {
    LoopOptions options;
    options.signal = signal;
    if (const char* text = std::getenv(rounds); text != nullptr) options.rounds = std::stoi(text);
    const char* seed = std::getenv("QAR_SEED");
    options.seed = seed != nullptr ? static_cast<unsigned>(std::stoul(seed)) : std::random_device{}();
    return options;
}

std::string LoopReport::Summary() const {
    std::ostringstream out;
    out << rounds << " rounds and " << early_rounds << " early ones, ended " << while_sweeping << " times in a sweep, "
        << while_fetching << " while fetching, " << in_statement << " in a statement, after at most "
        << longest_end.count() << " ms; " << sweeps << " sweeps, " << events << " events; " << statements
        << " statements answered true, " << refused << " answered false, " << open_in_table
        << " in the table without an answer; " << ranges << " exception ranges compared after " << starts_compared
        << " registrations";
    return out.str();
}

HostLoop::HostLoop(LoopOptions options)
    : options_(std::move(options)),
      random_(options_.seed),
      site_(kScale),
      record_(site_.Folder().Path() / "statements"),
      activity_(record_.string() + ".activity"),
      before_(site_.Folder().Path() / "before"),
      after_(site_.Folder().Path() / "after"),
      model_(site_.Folder().Path() / "model") {
    site_.SetProbePeriod(kProbePeriodS);
    site_.SetLogLevel("warning");
    for (int i = 0; i < kCameras; ++i) {
        demo::CameraOptions camera;
        camera.archive_pause = milliseconds(20);
        cameras_.push_back(&site_.AddCamera(i % 2 == 0 ? "east8" : "west530", camera));
    }
    AddPlugins();
    site_.Write();
    host_options_.environment = {{"LD_PRELOAD", TEST_PLUGIN_DIR "/statement_record.so"},
                                 {"STATEMENT_RECORD", record_.string()},
                                 {"STATEMENT_FAULT", options_.fault}};
}

// A file runs once in a host, so each witness gets its own copy.
void HostLoop::AddPlugins() {
    std::string cameras;
    for (const auto* camera : cameras_) cameras += (cameras.empty() ? "" : ", ") + std::to_string(camera->Id());
    for (const std::string& id : kWitnesses) {
        const fs::path copy = site_.Folder().Path() / (id + ".so");
        fs::copy_file(TEST_PLUGIN_DIR "/witness.so", copy);
        site_.AddPlugin(id, copy.string(),
                        "cameras = [" + cameras + "]\nbusi_types = " + (id == "alpha" ? "[1, 2, 7]" : "[1]") +
                            "\nthreads = 2\nseed = " + std::to_string(options_.seed));
    }
    site_.AddPlugin("backfill", PLUGIN_DIR "/backfill.so", kBackfill);
    if (!options_.plugin.empty()) {
        site_.AddPlugin("more", TEST_PLUGIN_DIR "/" + options_.plugin, options_.plugin_config);
    }
}

LoopReport HostLoop::Run() {
    try {
        while (report_.rounds < options_.rounds) {
            ++report_.rounds;
            Round(options_.signal, false);
            if (report_.rounds % kEarlyEvery == 0) {
                ++report_.early_rounds;
                Round(options_.signal, true);
            }
            if (options_.meddle) options_.meddle(site_.DatabaseDir());
        }
        // what the last kill left
        if (options_.signal == SIGKILL) Round(SIGTERM, false);
    } catch (const std::exception& failure) {
        report_.failure = "seed " + std::to_string(options_.seed) + ", round " + std::to_string(report_.rounds) +
                          " of " + std::to_string(options_.rounds) + ", ended " + moment_ + ": " + failure.what();
    }
    return report_;
}

void HostLoop::Round(int signal, bool early) {
    for (const std::string& id : kWitnesses) fs::remove(site_.DataDir() / (id + ".ranges"));
    fs::remove(record_);
    activity_->sweeps_begun = activity_->sweeps_ended = activity_->events = 0;
    HostProcess host(site_, host_options_);
    try {
        WaitForRandomMoment(host, signal, early);
        End(host, signal);
        const StatementRecord record = StatementRecord::Read(record_);
        // a host that stops may refuse what a sweep is still about
        if (signal == SIGKILL && !record.refused.empty()) {
            throw Failure("the database refused: " + record.refused.front().sql);
        }
        CheckRanges(record);
        CheckStatements(record);
    } catch (const Failure& failure) {
        throw Failure(failure.what() + std::string("\nstandard error of the host:\n") + host.Process().Err() +
                      "its log:\n" + LastLines(site_.LogLines("")));
    }
    report_.sweeps += activity_->sweeps_begun;
    report_.events += activity_->events;
}

void HostLoop::WaitForRandomMoment(HostProcess& host, int signal, bool early) {
    const Clock::time_point begin = Clock::now();
    const auto fetching = [&] { return !ChildrenOf(host.Process().Pid()).empty(); };
    int time = 0;
    if (early) {
        // before it takes its signals into its own hands, SIGTERM ends it like any program
        if (signal == SIGTERM) Watch(host, kDeadline, [&] { return Blocks(host.Process().Pid(), SIGTERM); });
        time = Draw(0, static_cast<int>(busy_after_.count()));
        moment_ = std::to_string(time) + " ms after its start";
    } else {
        Watch(host, kDeadline, [&] { return activity_->sweeps_begun > 0 && activity_->events > 0 && fetching(); });
        busy_after_ = Since(begin);
        time = Draw(0, kLongestRunMs);
        moment_ = std::to_string(time) + " ms after it was busy";
    }
    // Not a wait for something: the random moment itself is a stretch of time, in which the host must live.
    Watch(host, milliseconds(time), nullptr);
    if (signal == SIGTERM && !early) Watch(host, kDeadline, [&] { return Sweeping() && fetching() && Sweeping(); });
}

// Lets time pass, until something holds where `until` is given, while cameras come and go.
void HostLoop::Watch(HostProcess& host, milliseconds time, const std::function<bool()>& until) {
    bool ended = false;
    const bool met = Eventually(
        [&] {
            StirCameras();
            ended = !host.Process().Running();
            return ended || (until && until());
        },
        time);
    if (ended) {
        throw Failure("the host ended by itself with code " + std::to_string(host.Process().WaitForEnd().value()));
    }
    if (until && !met) throw Failure("the host did not come so far");
}

void HostLoop::StirCameras() {
    const auto now = Clock::now();
    if (now < next_stir_) return;
    next_stir_ = now + milliseconds(Draw(5, 40));
    demo::SimulatedCamera& camera = *cameras_[static_cast<std::size_t>(Draw(0, kCameras - 1))];
    if (Draw(1, 20) == 1) {
        camera.JumpClock(Draw(-3600, 3600));
    } else if (camera.Away()) {
        camera.ComeBack();
    } else {
        camera.GoAway();
    }
}

void HostLoop::End(HostProcess& host, int signal) {
    report_.while_fetching += ChildrenOf(host.Process().Pid()).empty() ? 0 : 1;
    report_.while_sweeping += Sweeping() ? 1 : 0;
    const Clock::time_point begin = Clock::now();
    host.Process().Signal(signal);
    const auto exit_code = host.Process().WaitForEnd(signal == SIGTERM ? kLongestStop : kDeadline);
    const milliseconds time = Since(begin);
    report_.longest_end = std::max(report_.longest_end, time);
    if (!exit_code) throw Failure("the host still runs after " + std::to_string(time.count()) + " ms");
    if (signal == SIGTERM) {
        CheckStop(host, *exit_code);
    } else if (*exit_code != -SIGKILL) {
        throw Failure("the host ended by itself with code " + std::to_string(*exit_code));
    } else {
        orphanage_.Left();  // what it fetched goes on by itself
    }
}

void HostLoop::CheckStop(HostProcess& host, int exit_code) const {
    const std::string err = host.Process().Err();
    for (const char* report : {"Sanitizer", "runtime error:"}) {
        if (err.find(report) != std::string::npos) throw Failure("a sanitizer has something to say");
    }
    if (exit_code != 0) throw Failure("the host ended with code " + std::to_string(exit_code));
    if (host.Process().Out().find("qarhost stopped\n") == std::string::npos) {
        throw Failure("the host does not say that it has stopped");
    }
    // what has been killed may take a moment to vanish
    std::vector<std::string> left;
    const auto gone = [&] {
        left = orphanage_.Left();
        return left.empty();
    };
    if (!Eventually(gone, kLongestStop)) throw Failure("the host left processes behind:\n" + LastLines(left));
}

// Each file was written by a witness right after its registration, in a process that began with the tables `before_`.
void HostLoop::CheckRanges(const StatementRecord& record) {
    for (const std::string& id : kWitnesses) {
        if (ChangedBeforeMark(record, id)) continue;
        std::vector<std::string> told = ReadLines(site_.DataDir() / (id + ".ranges"));
        std::sort(told.begin(), told.end());
        const auto points = before_.Points(id);
        const auto expected = ExpectedRanges(points);
        if (told != expected) {
            throw Failure("the exception ranges that " + id + " has after its registration are not those of its " +
                          std::to_string(points.size()) + " rows:\n" + Difference({{id, expected}}, {{id, told}}));
        }
        ++report_.starts_compared;
        report_.ranges += static_cast<long>(told.size());
    }
}

void HostLoop::CheckStatements(const StatementRecord& record) {
    report_.statements += static_cast<long>(record.done.size());
    report_.refused += static_cast<long>(record.refused.size());
    report_.in_statement += record.open.empty() ? 0 : 1;
    after_.BecomeCopyOf(site_.DatabaseDir());
    if (record.open.size() > kMostOpen) throw Failure(std::to_string(record.open.size()) + " texts without an answer");

    // Nobody knows which of the texts without an answer took effect, so any selection of them is right.
    const auto found = after_.Dump();
    std::string evidence;
    for (unsigned selection = 0; selection < 1u << record.open.size(); ++selection) {
        std::vector<RecordedStatement> statements = record.done;
        for (std::size_t i = 0; i < record.open.size(); ++i) {
            if ((selection >> i & 1) != 0) statements.push_back(record.open[i]);
        }
        const std::string difference = DifferenceAfter(statements, found);
        if (difference.empty()) {
            report_.open_in_table += static_cast<int>(statements.size() - record.done.size());
            before_.BecomeCopyOf(after_.Path());
            return;
        }
        if (selection == 0) evidence = difference;
    }
    std::string open;
    for (const auto& statement : record.open) open += "  " + statement.sql + "\n";
    throw Failure("the tables do not hold what was answered:\n" + evidence + "not answered were:\n" + open);
}

// @return how the tables that the last host left, and on which statements are then executed, differ from others
std::string HostLoop::DifferenceAfter(const std::vector<RecordedStatement>& statements,
                                      const DatabaseFolder::Tables& found) const {
    try {
        model_.BecomeCopyOf(before_.Path());
        model_.Execute(statements);
        return Difference(model_.Dump(), found);
    } catch (const std::runtime_error& error) {
        return std::string("  cannot be executed again: ") + error.what() + "\n";
    }
}

int HostLoop::Draw(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random_); }

}  // namespace qartest
