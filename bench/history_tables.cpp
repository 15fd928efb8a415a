#include "bench/history_tables.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "ZELPlatform/LocalConfigManager.h"
#include "qar/IDBManager.h"
#include "standalone/config/LocalConfigControl.h"

namespace bench {

namespace {

constexpr int kMomentsPerDay = 86400;

std::string TableText() {
    return std::string("CREATE TABLE ") + kTable + "(" + kKeyColumn +
           " BIGINT PRIMARY KEY, camera_id INTEGER, camera_state INTEGER, state_time VARCHAR(32), state_utc_time "
           "VARCHAR(32), business_type INTEGER, bi_type INTEGER, differ INTEGER)";
}

constexpr char kIndexText[] =
    "CREATE INDEX bench.camera_history_by_camera ON camera_history(camera_id, business_type, state_time)";

std::string RawFolder(const Options& options) { return options.folder + "/raw"; }
std::string OurFolder(const Options& options) { return options.folder + "/ours"; }

void OpenPlugin(const std::string& folder) {
    ZELPlatform::CLocalDBInfo info;
    info.SetValdbType(qarplatform::kDatabaseSqlite);
    info.SetValdbName(folder);
    qarplatform::SetLocationDBInfo(info);
    Require(qar::IDBManager::Instance()->Initialize(kPlugin, 2, 2), "open " + folder);
    Require(qar::IDBManager::Instance()->Execute(kPlugin, 1, TableText() + ";" + kIndexText), "create the table");
}

const std::string& MadeFolder(const std::string& folder) {
    std::filesystem::create_directories(folder);
    return folder;
}

}  // namespace

void Require(bool done, const std::string& what) {
    if (!done) {
        std::fprintf(stderr, "bench: failed: %s\n", what.c_str());
        std::exit(1);
    }
}

RawConnection::RawConnection(const std::string& folder) {
    Require(sqlite3_open((folder + "/main.db").c_str(), &handle_) == SQLITE_OK, "open " + folder);
    Execute("ATTACH '" + folder + "/bench.db' AS bench");
    Execute("PRAGMA main.journal_mode = WAL; PRAGMA bench.journal_mode = WAL");
    Execute("PRAGMA main.synchronous = NORMAL; PRAGMA bench.synchronous = NORMAL; PRAGMA foreign_keys = ON");
}

RawConnection::~RawConnection() { sqlite3_close(handle_); }

void RawConnection::Execute(const std::string& sql) {
    if (sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        Require(false, sql + ": " + sqlite3_errmsg(handle_));
    }
}

long long RawConnection::Number(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    Require(sqlite3_prepare_v2(handle_, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
                sqlite3_step(statement) == SQLITE_ROW,
            sql + ": " + sqlite3_errmsg(handle_));
    const long long number = sqlite3_column_int64(statement, 0);
    sqlite3_finalize(statement);
    return number;
}

std::string PlainTime(int n) {
    char text[64];
    const int second = n % kMomentsPerDay;
    std::snprintf(text, sizeof(text), "2026-03-%02d %02d:%02d:%02d", 1 + n / kMomentsPerDay, second / 3600,
                  second / 60 % 60, second % 60);
    return text;
}

std::string IsoTime(int n) {
    std::string text = PlainTime(n) + "+00:00";
    text[10] = 'T';
    return text;
}

HistoryTables::HistoryTables(const Options& options)
    : options_(options),
      raw_(MadeFolder(RawFolder(options))),
      ours_((OpenPlugin(OurFolder(options)), OurFolder(options))) {
    raw_.Execute(TableText() + ";" + kIndexText);
    const std::string points = std::to_string(PointsOfCamera());
    const std::string rows = "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < " +
                             std::to_string(options.rows) + ") INSERT INTO " + kTable + " SELECT -1 - i, " +
                             std::to_string(kFirstCamera) + " + i / " + points + ", 2, datetime('" + PlainTime(0) +
                             "', '+' || (i % " + points + ") || ' seconds'), '" + PlainTime(0) + "', " +
                             std::to_string(kBusiType) + ", " + std::to_string(kBusiType) + ", 0 FROM n";
    raw_.Execute(rows);
    Require(qar::IDBManager::Instance()->Execute(kPlugin, 1, rows), "fill the table");
}

void HistoryTables::RequireEqual() {
    const std::string points =
        std::string("SELECT camera_id, camera_state, state_time, business_type, bi_type, differ FROM ");
    raw_.Execute("ATTACH '" + OurFolder(options_) + "/bench.db' AS ours");
    for (const auto& [left, right] : {std::pair("bench", "ours"), std::pair("ours", "bench")}) {
        const std::string more =
            "SELECT count(*) FROM (" + points + left + ".camera_history EXCEPT " + points + right + ".camera_history)";
        Require(raw_.Number(more) == 0, std::string("both sides did the same: ") + more);
    }
    Require(raw_.Number("SELECT count(*) FROM bench.camera_history") ==
                raw_.Number("SELECT count(*) FROM ours.camera_history"),
            "both tables have the same number of rows");
    raw_.Execute("DETACH ours");
}

}  // namespace bench
