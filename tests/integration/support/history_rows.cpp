#include "integration/support/history_rows.h"

#include <sqlite3.h>

#include <stdexcept>

#include "demo_cameras/time_text.h"

namespace qartest {

namespace {

int AddRow(void* rows, int columns, char** values, char**) {
    std::string row;
    for (int i = 0; i < columns; ++i)
        row += (i > 0 ? " " : "") + std::string(values[i] != nullptr ? values[i] : "null");
    static_cast<std::vector<std::string>*>(rows)->push_back(row);
    return 0;
}

std::vector<std::string> Query(sqlite3* database, const std::string& sql) {
    std::vector<std::string> rows;
    if (sqlite3_exec(database, sql.c_str(), &AddRow, &rows, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(database));
    }
    return rows;
}

}  // namespace

HistoryRows::HistoryRows(const std::filesystem::path& file) {
    if (sqlite3_open(file.c_str(), &database_) != SQLITE_OK) {
        const std::string reason = sqlite3_errmsg(database_);
        sqlite3_close(database_);
        throw std::runtime_error(file.string() + ": " + reason);
    }
    sqlite3_busy_timeout(database_, 30000);
}

HistoryRows::~HistoryRows() { sqlite3_close(database_); }

void HistoryRows::Run(const std::string& sql) { Query(database_, sql); }

std::int64_t HistoryRows::LatestWallS() {
    return demo::ParsePlain(Query(database_, "SELECT max(state_time) FROM camera_history").front()).value_or(0);
}

std::int64_t HistoryRows::LatestWallS(int camera) {
    const std::string sql = "SELECT max(state_time) FROM camera_history WHERE camera_id = " + std::to_string(camera);
    return demo::ParsePlain(Query(database_, sql).front()).value_or(0);
}

std::vector<std::string> HistoryRows::All() {
    return Query(database_,
                 "SELECT camera_id, business_type, state_time, camera_state FROM camera_history ORDER BY 1, 2, 3, 4");
}

void HistoryRows::CopyTable(const std::filesystem::path& from, const std::filesystem::path& to) {
    HistoryRows(from).Run("VACUUM INTO '" + to.string() + "'");
}

}  // namespace qartest
