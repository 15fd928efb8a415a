// Measures what costs most beside the raw engine doing the same work in the same run.

#include <sqlite3.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench/benches.h"
#include "qar/IDBManager.h"
#include "standalone/bus/BusControl.h"
#include "standalone/database/DatabaseControl.h"
#include "standalone/log/LogControl.h"

namespace {

constexpr char kUsage[] =
    "usage: bench [OPTION...]\n"
    "  --cameras N    cameras (10000)\n"
    "  --rows N       rows of the history table (100000)\n"
    "  --rounds N     rounds, of which the best counts (7)\n"
    "  --changes N    timeline changes of a round (1000)\n"
    "  --messages N   change messages of a round (20000)\n"
    "  --log-level N  2 debug, 3 information, 4 warning, 5 error (3)\n"
    "  --folder DIR   where the databases lie, on the disk that is to be measured (a new folder in the temporary one)\n";

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
    } numbers[] = {{"--cameras", options.cameras},   {"--rows", options.rows},
                   {"--rounds", options.rounds},     {"--changes", options.changes},
                   {"--messages", options.messages}, {"--log-level", options.log_level}};
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc) {
            return false;
        }
        bool known = std::strcmp(argv[i], "--folder") == 0;
        if (known) {
            options.folder = argv[i + 1];
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
    return options.rows >= options.cameras;
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
    qarplatform::LogOptions log;
    log.level = options.log_level;
    log.file = options.folder + "/bench.log";
    std::string error;
    bench::Require(qarplatform::StartLog(log, error), error);

    std::printf("SQLite %s, %d cameras, %d rows, %d rounds, %u cores, log level %d, in %s\n\n", sqlite3_libversion(),
                options.cameras, options.rows, options.rounds, std::thread::hardware_concurrency(), options.log_level,
                options.folder.c_str());
    std::vector<bench::Comparison> all;
    {
        bench::HistoryTables tables(options);
        for (const auto& part :
             {bench::TimelineChange(options, tables), bench::Sweep(options, tables), bench::ChangeMessage(options)}) {
            all.insert(all.end(), part.begin(), part.end());
        }
    }
    bench::PrintTable(all);

    qar::IDBManager::Instance()->Finalize(bench::kPlugin);
    qarplatform::StopBus();
    qarplatform::StopDatabase();
    qarplatform::StopLog();
    if (own_folder) {
        std::filesystem::remove_all(options.folder);
    }
    return 0;
}
