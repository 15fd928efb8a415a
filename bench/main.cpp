// Measures what costs most beside the raw engine doing the same work in the same run.

#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
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
    static constexpr std::string_view kParts[] = {"",         "registration", "changes",  "sweeps",  "ranges",
                                                  "messages", "events",       "notifies", "masking", "requests"};
    return std::find(std::begin(kParts), std::end(kParts), options.only) != std::end(kParts) &&
           options.rows >= options.cameras * bench::kBusiTypes;
}

}  // namespace

int main(int argc, char** argv) {
    bench::Options options;
    if (!ReadOptions(argc, argv, options)) {
        std::fputs(kUsage, argc == 2 && std::strcmp(argv[1], "--help") == 0 ? stdout : stderr);
        return argc == 2 && std::strcmp(argv[1], "--help") == 0 ? 0 : 2;
    }
    const bool own_folder = options.folder.empty();
    std::string pattern = (std::filesystem::temp_directory_path() / "qar_bench_XXXXXX").string();
    if (own_folder) {
        bench::Require(mkdtemp(pattern.data()) != nullptr, "make " + pattern);
        options.folder = pattern;
    }
    bench::WriteLogLines(options, false);
    std::printf("SQLite %s, %d cameras, %d rows, %d rounds, %u cores, in %s\n\n", sqlite3_libversion(), options.cameras,
                options.rows, options.rounds, std::thread::hardware_concurrency(), options.folder.c_str());
    std::vector<bench::Comparison> all;
    const auto take = [&](const char* part, const auto& measure) {
        if (options.only.empty() || options.only == part) {
            const std::vector<bench::Comparison> comparisons = measure();
            all.insert(all.end(), comparisons.begin(), comparisons.end());
        }
    };
    static constexpr std::string_view kWithoutTables[] = {"messages", "events", "notifies", "masking", "requests"};
    if (std::find(std::begin(kWithoutTables), std::end(kWithoutTables), options.only) == std::end(kWithoutTables)) {
        bench::HistoryTables tables(options);
        bench::LoadSite(options);
        take("registration", [&] { return bench::Registration(options, tables); });
        take("changes", [&] { return bench::TimelineChange(options, tables); });
        take("sweeps", [&] { return bench::Sweeps(options, tables); });
        take("ranges", [&] { return bench::Ranges(options); });
    }
    take("messages", [&] { return bench::ChangeMessage(options); });
    take("events", [&] { return bench::EventDelivery(options); });
    take("notifies", [&] { return bench::NotifyDelivery(options); });
    take("masking", [&] { return bench::Masking(options); });
    take("requests", [&] { return bench::Requests(options); });
    bench::PrintTable(all);

    qar::IDBManager::Instance()->Finalize(bench::kPlugin);
    qarplatform::StopBus();
    qarplatform::StopDatabase();
    qarplatform::StopLog();
    if (own_folder) {
        std::filesystem::remove_all(options.folder);
    }
    return std::any_of(all.begin(), all.end(), [](const bench::Comparison& one) { return one.IsAboveLimit(); }) ? 1 : 0;
}
