#include <malloc.h>
#include <sqlite3.h>
#include <strings.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/benches.h"
#include "bench/site.h"
#include "qar/IDBManager.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"

namespace bench {

namespace {

constexpr char kRangesTable[] = "bench.ranges";
constexpr int kRangesPoints = 3;

void Ignore(std::map<int, std::vector<qar::SStateRange>>&, int) {}

std::unique_ptr<qar::CHistoryStateMgr> Registered(const char* table) {
    auto manager = std::make_unique<qar::CHistoryStateMgr>();
    Require(manager->Register(&Ignore, {1, 2, 3, 4}, kPlugin, table, kKeyColumn), std::string("register ") + table);
    return manager;
}

/// A row, read by the names of its columns.
class RawRow {
public:
    explicit RawRow(sqlite3_stmt* statement) : statement_(statement) {}

    int Int(const char* column) const { return sqlite3_column_int(statement_, Find(column)); }
    std::string Text(const char* column) const {
        return reinterpret_cast<const char*>(sqlite3_column_text(statement_, Find(column)));
    }

private:
    int Find(const char* column) const {
        int i = 0;
        while (strcasecmp(sqlite3_column_name(statement_, i), column) != 0) {
            ++i;
        }
        return i;
    }

    sqlite3_stmt* statement_;
};

struct RawPoint {
    int camera;
    int busi;
    int differ;
    int state;
    std::string time;
};

std::size_t ReadRaw(RawConnection& raw) {
    std::size_t rows = 0;
    RawPoint point;
    sqlite3_stmt* statement = nullptr;
    const std::string sql = std::string("SELECT * FROM ") + kTable + " ORDER BY  business_type, camera_id, state_time";
    Require(sqlite3_prepare_v2(raw.Handle(), sql.c_str(), -1, &statement, nullptr) == SQLITE_OK, sql);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        const RawRow row(statement);
        point = {row.Int("camera_id"), row.Int("business_type"), row.Int("differ"), row.Int("camera_state"),
                 row.Text("state_time")};
        rows += point.time.empty() ? 0 : 1;
    }
    sqlite3_finalize(statement);
    return rows;
}

/// Bytes that malloc has handed out.
double UsedBytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

/// A table whose time lines have three points each, of states 1, 2, 1: two of them make a range.
void MakeRangesTable(const Options& options) {
    Require(qar::IDBManager::Instance()->Execute(kPlugin, 1, TableText(kRangesTable)), "create the table of ranges");
    const std::string state = "1 + i / " + std::to_string(options.cameras * kBusiTypes) + " % 2";
    Require(qar::IDBManager::Instance()->Execute(kPlugin, 1, PointsText(options, kRangesTable, kRangesPoints, state)),
            "fill the table of ranges");
}

std::string FormatRaw(const qar::SHistoryState& point) {
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02d+%02d:%02d", point.year, point.month, point.day,
                  point.hour, point.minute, point.second, point.differ / 3600, point.differ / 60 % 60);
    return text;
}

}  // namespace

std::vector<Comparison> Registration(const Options& options, HistoryTables& tables) {
    WriteLogLines(options, false);
    std::unique_ptr<qar::CHistoryStateMgr> manager;
    const auto rows = static_cast<std::size_t>(tables.Rows());
    Work work;
    work.name = "registration: a row of the table";
    work.raw_name = "the same SELECT, columns read by name";
    work.limit = 1.4;
    work.operations = tables.Rows();
    work.rounds = options.rounds;
    work.prepare = [&] { manager.reset(); };
    work.raw = [&] { Require(ReadRaw(tables.Raw()) == rows, "read all rows"); };
    work.ours = [&] { manager = Registered(kTable); };
    return {Compare(work)};
}

std::vector<Comparison> Ranges(const Options& options) {
    WriteLogLines(options, false);
    MakeRangesTable(options);
    const double before = UsedBytes();
    const auto manager = Registered(kRangesTable);
    const int lines = options.cameras * kBusiTypes;
    Comparison memory;
    memory.name = "memory of a time line of three points";
    memory.raw_name = "1 KiB";
    memory.limit = 1;
    memory.unit = "B";
    memory.raw = 1024;
    memory.ours = (UsedBytes() - before) / lines;
    memory.ratio = memory.low = memory.high = memory.ours / memory.raw;

    // the points that make the range of each time line
    std::vector<qar::SHistoryState> points;
    for (int moment = 1; moment < kRangesPoints; ++moment) {
        points.emplace_back(qar::PlainToTime(PlainTime(moment), 0), moment);
    }
    std::vector<qar::SStateRange> raw_ranges;
    std::vector<std::map<int, std::vector<qar::SStateRange>>> our_ranges;
    Work work;
    work.name = "exception ranges: a time line of three points";
    work.raw_name = "one pass that formats the same texts";
    work.limit = 3;
    work.operations = lines;
    work.rounds = options.rounds * kShortRounds;
    work.prepare = [&] {
        raw_ranges.clear();
        our_ranges.assign(kBusiTypes, {});
    };
    work.raw = [&] {
        for (int i = 0; i < lines; ++i) {
            raw_ranges.push_back({FormatRaw(points[0]), FormatRaw(points[1])});
        }
    };
    work.ours = [&] {
        for (int busi = 1; busi <= kBusiTypes; ++busi) {
            Require(manager->GetExceptionRange(our_ranges[static_cast<std::size_t>(busi - 1)], kPlugin, busi),
                    "ranges");
        }
    };
    const Comparison comparison = Compare(work);
    for (const auto& ranges : our_ranges) {
        Require(ranges.size() == static_cast<std::size_t>(options.cameras), "ranges of all cameras");
        for (const auto& [camera, of_camera] : ranges) {
            Require(of_camera.size() == 1 && of_camera[0].str_begin_time_ == raw_ranges[0].str_begin_time_ &&
                        of_camera[0].str_end_time_ == raw_ranges[0].str_end_time_,
                    "both sides make the same texts");
        }
    }
    return {comparison, memory};
}

}  // namespace bench
