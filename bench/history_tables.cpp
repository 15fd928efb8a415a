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

std::string RawFolder(const Options& options) { return options.folder + "/raw"; }
std::string OurFolder(const Options& options) { return options.folder + "/ours"; }

void OpenPlugin(const std::string& folder) {
    ZELPlatform::CLocalDBInfo info;
    info.SetValdbType(qarplatform::kDatabaseSqlite);
    info.SetValdbName(folder);
    qarplatform::SetLocationDBInfo(info);
    Require(qar::IDBManager::Instance()->Initialize(kPlugin, 2, 2), "open " + folder);
    Require(qar::IDBManager::Instance()->Execute(kPlugin, 1, TableText(kTable)), "create the table");
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
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    Require(sqlite3_open_v2((folder + "/main.db").c_str(), &handle_, kFlags, nullptr) == SQLITE_OK, "open " + folder);
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

long long RawConnection::Number(const std::string& sql) { return std::stoll(Text(sql)); }

std::string RawConnection::Text(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    Require(sqlite3_prepare_v2(handle_, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
                sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_type(statement, 0) != SQLITE_NULL,
            sql + ": " + sqlite3_errmsg(handle_));
    std::string text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    sqlite3_finalize(statement);
    return text;
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

Line LineAt(const Options& options, int n) {
    constexpr long long kStride = 7919;  // a prime
    const int lines = options.cameras * kBusiTypes;
    const int line = static_cast<int>(n * kStride % lines);
    return {1 + line / options.cameras, kFirstCamera + line % options.cameras};
}

std::string TableText(const std::string& table) {
    const std::size_t dot = table.find('.');
    return "CREATE TABLE " + table + "(" + kKeyColumn +
           " BIGINT PRIMARY KEY, camera_id INTEGER, camera_state INTEGER, state_time VARCHAR(32), state_utc_time "
           "VARCHAR(32), business_type INTEGER, bi_type INTEGER, differ INTEGER); CREATE INDEX " +
           table + "_by_camera ON " + table.substr(dot + 1) + "(camera_id, business_type, state_time)";
}

std::string PointsText(const Options& options, const std::string& table, int points, const std::string& state) {
    const std::string lines = std::to_string(options.cameras * kBusiTypes);
    const std::string cameras = std::to_string(options.cameras);
    const std::string busi = "1 + i % " + lines + " / " + cameras;
    return "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < " + lines + " * " +
           std::to_string(points) + ") INSERT INTO " + table + " SELECT -1 - i, " + std::to_string(kFirstCamera) +
           " + i % " + cameras + ", " + state + ", datetime('" + PlainTime(0) + "', '+' || (i / " + lines +
           ") || ' seconds'), '" + PlainTime(0) + "', " + busi + ", " + busi + ", 0 FROM n";
}

HistoryTables::HistoryTables(const Options& options)
    : options_(options),
      raw_(MadeFolder(RawFolder(options))),
      ours_((OpenPlugin(OurFolder(options)), OurFolder(options))) {
    raw_.Execute(TableText(kTable));
    const std::string rows = PointsText(options, kTable, PointsOfLine(), "2");
    raw_.Execute(rows);
    Require(qar::IDBManager::Instance()->Execute(kPlugin, 1, rows), "fill the table");
}

void HistoryTables::ExecuteOnBoth(const std::string& sql) {
    raw_.Execute(sql);
    ours_.Execute(sql);
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
