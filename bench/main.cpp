// Measures what costs most beside the raw engine doing the same work in the same run.

#include <sqlite3.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "bench/benches.h"
#include "bench/site.h"
#include "qar/IDBManager.h"
#include "standalone/bus/BusControl.h"
#include "standalone/database/DatabaseControl.h"
#include "standalone/log/LogControl.h"

namespace {

constexpr char kUsage[] =
    "usage: bench [OPTION...]\n"
    "  --cameras N    cameras (10000)\n"
    "  --rows N       rows of the history table (600000)\n"
    "  --rounds N     rounds of what goes over the whole table, the median counts; others have eight times as many (5)\n"
    "  --changes N    time line changes of a round (1000)\n"
    "  --messages N   messages of a round, each subscriber's counted (20000)\n"
    "  --requests N   HTTP requests of a round (10000)\n"
    "  --only PART    registration, changes, sweeps, ranges, messages, events, notifies, masking or requests (all)\n"
    "  --folder DIR   where the databases lie, on the disk that is to be measured (a new folder in the temporary one)\n"
    "Exit codes: 0 every ratio is within its limit, 1 one is not or something failed, 2 wrong options.\n";

/// What is measured on the history's tables, one after the other in one process, and what needs none.
constexpr std::string_view kHistory[] = {"registration", "changes", "sweeps", "ranges"};
constexpr std::string_view kBus[] = {"messages", "events", "notifies", "masking", "requests"};

bool IsAmong(std::string_view part, std::span<const std::string_view> parts) {
    return std::find(parts.begin(), parts.end(), part) != parts.end();
}

bool ReadNumber(const char* text, int least, int& number) {
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < least || value > 100000000) {
        return false;
    }
    number = static_cast<int>(value);
    return true;
}

bool ReadOptions(int argc, char** argv, bench::Options& options) {
    const struct {
        const char* name;
        int& number;
    } numbers[] = {{"--cameras", options.cameras}, {"--rows", options.rows},         {"--rounds", options.rounds},
                   {"--changes", options.changes}, {"--messages", options.messages}, {"--requests", options.requests}};
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc) {
            return false;
        }
        bool known = false;
        for (const auto& [name, text] : {std::pair("--only", &options.only), std::pair("--folder", &options.folder)}) {
            if (std::strcmp(argv[i], name) == 0) {
                known = true;
                *text = argv[i + 1];
            }
        }
        for (const auto& each : numbers) {
            if (std::strcmp(argv[i], each.name) == 0) {
                known = ReadNumber(argv[i + 1], 1, each.number);
            }
        }
        if (!known) {
            return false;
        }
    }
    return (options.only.empty() || IsAmong(options.only, kHistory) || IsAmong(options.only, kBus)) &&
           options.rows >= options.cameras * bench::kBusiTypes;
}

std::vector<bench::Comparison> MeasureHistory(const bench::Options& options) {
    bench::HistoryTables tables(options);
    bench::LoadSite(options);
    std::vector<bench::Comparison> all;
    const auto take = [&](std::string_view part, const auto& measure) {
        if (!options.only.empty() && options.only != part) return;
        const std::vector<bench::Comparison> comparisons = measure();
        all.insert(all.end(), comparisons.begin(), comparisons.end());
    };
    take("registration", [&] { return bench::Registration(options, tables); });
    take("changes", [&] { return bench::TimelineChange(options, tables); });
    take("sweeps", [&] { return bench::Sweeps(options, tables); });
    take("ranges", [&] { return bench::Ranges(options); });
    return all;
}

std::vector<bench::Comparison> Measure(const bench::Options& options) {
    const std::string& part = options.only;
    if (part == "messages") return bench::ChangeMessage(options);
    if (part == "events") return bench::EventDelivery(options);
    if (part == "notifies") return bench::NotifyDelivery(options);
    if (part == "masking") return bench::Masking(options);
    if (part == "requests") return bench::Requests(options);
    return MeasureHistory(options);
}

/// @return the exit code
int Run(const bench::Options& options) {
    bench::WriteLogLines(options, false);
    const std::vector<bench::Comparison> comparisons = Measure(options);
    bench::PrintRows(comparisons);
    qar::IDBManager::Instance()->Finalize(bench::kPlugin);
    qarplatform::StopBus();
    qarplatform::StopDatabase();
    qarplatform::StopLog();
    return std::any_of(comparisons.begin(), comparisons.end(), [](const auto& one) { return one.IsAboveLimit(); });
}

/// Runs a part, or with "" all on the history's tables, in a process of its own: threads and memory that another one
/// left would count in its times. @return the exit code
int RunInOwnProcess(bench::Options options, std::string_view part) {
    options.only = part;
    options.folder += "/" + options.only;
    std::filesystem::create_directories(options.folder);
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) std::exit(Run(options));
    int status = 0;
    bench::Require(child > 0 && waitpid(child, &status, 0) == child, "run a part in its own process");
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
}

int RunAll(const bench::Options& options) {
    int failed = RunInOwnProcess(options, "");
    for (const std::string_view part : kBus) failed |= RunInOwnProcess(options, part);
    return failed;
}

}  // namespace

int main(int argc, char** argv) {
    bench::Options options;
    if (!ReadOptions(argc, argv, options)) {
        const bool asked = argc == 2 && std::strcmp(argv[1], "--help") == 0;
        std::fputs(kUsage, asked ? stdout : stderr);
        return asked ? 0 : 2;
    }
    const bool own_folder = options.folder.empty();
    std::string pattern = (std::filesystem::temp_directory_path() / "qar_bench_XXXXXX").string();
    if (own_folder) {
        bench::Require(mkdtemp(pattern.data()) != nullptr, "make " + pattern);
        options.folder = pattern;
    }
    std::printf("SQLite %s, %d cameras, %d rows, %d rounds, %u cores, in %s\n\n", sqlite3_libversion(), options.cameras,
                options.rows, options.rounds, std::thread::hardware_concurrency(), options.folder.c_str());
    bench::PrintHead();
    const int failed = options.only.empty() ? RunAll(options) : Run(options);
    if (own_folder) {
        std::filesystem::remove_all(options.folder);
    }
    return failed;
}
