#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "bench/benches.h"
#include "bench/site.h"
#include "bench/statements.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"

namespace bench {

namespace {

constexpr int kDay = 86400;

/// @return a moment before all points
std::string OldTime(int n) { return "2026-02-20" + PlainTime(n).substr(10); }

/// All time lines in the order of the sweeps.
std::vector<Line> AllLines(const Options& options) {
    std::vector<Line> lines;
    for (int busi = 1; busi <= kBusiTypes; ++busi) {
        for (int camera = kFirstCamera; camera < kFirstCamera + options.cameras; ++camera) {
            lines.push_back({busi, camera});
        }
    }
    return lines;
}

std::vector<std::string> NewestTimes(RawConnection& raw, const std::vector<Line>& lines) {
    std::vector<std::string> newest;
    for (const Line& line : lines) {
        newest.push_back(raw.Text(std::string("SELECT max(state_time) FROM ") + kTable + " WHERE camera_id = " +
                                  std::to_string(line.camera) + " AND business_type = " + std::to_string(line.busi)));
    }
    return newest;
}

void ExecuteAll(RawConnection& raw, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
        raw.Execute(text);
    }
}

std::vector<Comparison> Check(const Options& options, HistoryTables& tables, qar::CHistoryStateMgr& manager) {
    const std::vector<Line> lines = AllLines(options);
    std::vector<std::string> newest = NewestTimes(tables.Raw(), lines);
    std::vector<std::string> texts;
    int sweeps = 0;
    bool written = false;
    Work check;
    check.raw_name = "sqlite3_exec of the same UPDATEs";
    check.operations = static_cast<int>(lines.size());
    check.rounds = options.rounds;
    check.prepare = [&] {
        texts.clear();
        const std::string to = PlainTime(4 * kDay + sweeps++);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            texts.push_back(MoveText(lines[i], newest[i], to));
            newest[i] = to;
        }
    };
    check.raw = [&] { ExecuteAll(tables.Raw(), texts); };
    check.ours = [&] {
        manager.CheckCameraState();
        if (written) {
            WriteLogLines(options, true);  // the lines are in the file when this returns
        }
    };
    std::vector<Comparison> comparisons;
    for (const bool with_lines : {false, true}) {
        written = with_lines;
        WriteLogLines(options, written);
        check.name = std::string("check: a time line") + (written ? ", lines written" : ", sink filtering");
        check.limit = written ? 0 : 1.2;
        comparisons.push_back(Compare(check));
    }
    const std::string moved = std::string("SELECT count(*) FROM ") + kTable + " WHERE state_time >= '2026-03-05'";
    Require(tables.Raw().Number(moved) == check.operations, "every camera's point was moved, raw");
    Require(tables.Ours().Number(moved) == check.operations, "every camera's point was moved");
    return comparisons;
}

// A run that finds nothing old adds a point to each time line, which the next run removes.
Comparison Expiry(const Options& options, HistoryTables& tables, qar::CHistoryStateMgr& manager) {
    const std::vector<Line> lines = AllLines(options);
    const std::string all = std::string("SELECT count(*) FROM ") + kTable;
    const long long rows = tables.Raw().Number(all);
    long long id = tables.Raw().Number(std::string("SELECT max(") + kKeyColumn + ") FROM " + kTable);
    int runs = 0;
    std::vector<std::string> texts;
    Work expiry;
    expiry.name = "expiry: a time line, two runs, sink filtering";
    expiry.raw_name = "sqlite3_exec of DELETE, INSERT; DELETE";
    expiry.limit = 1.2;
    expiry.operations = static_cast<int>(lines.size());
    expiry.rounds = options.rounds;
    expiry.prepare = [&] {
        texts.clear();
        for (const bool adds : {true, false}) {
            const std::string time = OldTime(runs++);
            for (const Line& line : lines) {
                texts.push_back(ExpireText(line, time));
                if (adds) {
                    texts.push_back(AddText(++id, line, 2, time));
                }
            }
        }
    };
    expiry.raw = [&] { ExecuteAll(tables.Raw(), texts); };
    expiry.ours = [&] {
        manager.CheckExpireState();
        manager.CheckExpireState();
    };
    WriteLogLines(options, false);
    const Comparison comparison = Compare(expiry);
    Require(tables.Raw().Number(all) == rows && tables.Ours().Number(all) == rows, "what expiry added it removed");
    return comparison;
}

struct Latencies {
    std::vector<double> us;

    double At(double part) {
        std::sort(us.begin(), us.end());
        return us[static_cast<std::size_t>(part * static_cast<double>(us.size() - 1))];
    }
};

/// A plug-in adds points of state 1, one after the other, until `enough`.
template <typename Enough>
Latencies CallsOfAPlugin(const Options& options, qar::CHistoryStateMgr& manager, int& done, const Enough& enough) {
    Latencies latencies;
    while (!enough(latencies.us.size())) {
        const Line line = LineAt(options, done);
        const std::string time = IsoTime(2 * kDay + done++);
        const auto begin = std::chrono::steady_clock::now();
        Require(manager.AddCameraState(kPlugin, 1, time, line.busi, line.camera), "add a point");
        const std::chrono::duration<double, std::micro> spent = std::chrono::steady_clock::now() - begin;
        latencies.us.push_back(spent.count());
    }
    return latencies;
}

void ShowLatency(const Options& options, qar::CHistoryStateMgr& manager) {
    int done = 0;
    Latencies idle = CallsOfAPlugin(options, manager, done, [](std::size_t calls) { return calls == 20000; });
    std::atomic<bool> over{false};
    std::thread sweep([&] {
        manager.CheckCameraState();
        over = true;
    });
    Latencies busy = CallsOfAPlugin(options, manager, done, [&](std::size_t calls) { return over && calls > 0; });
    sweep.join();
    for (auto [name, latencies] : {std::pair("idle", &idle), std::pair("during a sweep", &busy)}) {
        std::printf("a plug-in's call (point added), %-15s %6zu calls, p50 %.0f us, p99 %.0f us, longest %.0f us\n",
                    name, latencies->us.size(), latencies->At(0.5), latencies->At(0.99), latencies->At(1));
    }
    std::printf("p99 during a sweep is %.2f x that of idle\n\n", busy.At(0.99) / idle.At(0.99));
}

}  // namespace

std::vector<Comparison> Sweeps(const Options& options, HistoryTables& tables) {
    // the newest points are state 2, as after a night in order
    tables.ExecuteOnBoth(std::string("DELETE FROM ") + kTable + " WHERE camera_state = 1");
    qar::CHistoryStateMgr manager;
    const auto ignore = [](std::map<int, std::vector<qar::SStateRange>>&, int) {};
    Require(manager.Register(ignore, {1, 2, 3, 4}, kPlugin, kTable, kKeyColumn), "register");

    std::vector<Comparison> comparisons = Check(options, tables, manager);
    comparisons.push_back(Expiry(options, tables, manager));
    ShowLatency(options, manager);
    return comparisons;
}

}  // namespace bench
