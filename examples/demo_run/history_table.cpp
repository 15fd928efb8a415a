#include "demo_run/history_table.h"

#include <sqlite3.h>

#include "demo_cameras/time_text.h"

namespace demo {

namespace {

constexpr int kBusyMs = 200;

constexpr const char* kQuery =
    "SELECT camera_id, business_type, camera_state, state_time, differ FROM camera_history "
    "ORDER BY camera_id, business_type, state_time";

struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

}  // namespace

std::vector<std::pair<HistoryRow, HistoryRow>> ExceptionPairs(const std::vector<HistoryRow>& points) {
    std::vector<std::pair<HistoryRow, HistoryRow>> pairs;
    for (std::size_t i = 1; i < points.size(); ++i) {
        const bool in_order = points[i].state == 2 && (points[i - 1].state == 1 || points[i - 1].state == 2);
        if (!in_order) {
            pairs.emplace_back(points[i - 1], points[i]);
        }
    }
    return pairs;
}

HistoryTable::HistoryTable(std::filesystem::path database) : file_(std::move(database)) {}

HistoryTable::~HistoryTable() = default;

void HistoryTable::Close::operator()(sqlite3* database) const { sqlite3_close(database); }

bool HistoryTable::Open() {
    if (database_) {
        return true;
    }
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(file_.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
    database_.reset(opened);
    if (result != SQLITE_OK) {
        database_.reset();
        return false;
    }
    sqlite3_busy_timeout(opened, kBusyMs);
    return true;
}

std::optional<std::vector<HistoryRow>> HistoryTable::Read() {
    if (!Open()) {
        return std::nullopt;
    }
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database_.get(), kQuery, -1, &prepared, nullptr) != SQLITE_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<sqlite3_stmt, Finalize> statement(prepared);
    std::vector<HistoryRow> rows;
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(prepared)) == SQLITE_ROW) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(prepared, 3));
        const auto wall = ParsePlain(text == nullptr ? "" : text);
        if (wall) {
            rows.push_back({sqlite3_column_int(prepared, 0), sqlite3_column_int(prepared, 1),
                            sqlite3_column_int(prepared, 2), *wall, sqlite3_column_int64(prepared, 4)});
        }
    }
    return result == SQLITE_DONE ? std::optional(std::move(rows)) : std::nullopt;
}

}  // namespace demo
