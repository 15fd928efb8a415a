#include "AttemptTable.h"

#include <algorithm>

#include "qar/IDBManager.h"

namespace backfill {
namespace {

constexpr uint32_t kConnType = 1;

// quotes doubled; a NUL would end the statement early
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\0') continue;
        quoted += c;
        if (c == '\'') quoted += c;
    }
    return quoted + "'";
}

long long Milliseconds(std::chrono::system_clock::time_point moment) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(moment.time_since_epoch()).count();
}

std::string OffsetText(long long seconds) {
    const long long minutes = (seconds < 0 ? -seconds : seconds) / 60;
    const auto two = [](long long n) { return (n < 10 ? "0" : "") + std::to_string(n); };
    return (seconds < 0 ? "-" : "+") + two(minutes / 60) + ":" + two(minutes % 60);
}

std::string CameraOf(const CameraKey& key) {
    return "camera_id = " + std::to_string(key.camera) + " AND business_type = " + std::to_string(key.busi);
}

std::string RowOf(const CameraKey& key, const TimeRange& range) {
    return CameraOf(key) + " AND begin_time = " + Quoted(range.begin.iso) + " AND end_time = " + Quoted(range.end.iso);
}

}  // namespace

AttemptTable::AttemptTable(const std::string& plugin, const std::string& schema)
    : plugin_(plugin),
      schema_(schema),
      history_table_(schema + ".camera_history"),
      attempt_table_(schema + ".backfill_attempt") {}

bool AttemptTable::Execute(const std::string& sql) {
    return qar::IDBManager::Instance()->Execute(plugin_, kConnType, sql);
}

bool AttemptTable::Create() {
    return Execute("CREATE TABLE IF NOT EXISTS " + history_table_ +
                   " (id BIGINT PRIMARY KEY, camera_id INTEGER NOT NULL, camera_state INTEGER NOT NULL, "
                   "state_time VARCHAR(19) NOT NULL, state_utc_time VARCHAR(19) NOT NULL, "
                   "business_type INTEGER NOT NULL, bi_type INTEGER NOT NULL, differ INTEGER NOT NULL)") &&
           Execute("CREATE INDEX IF NOT EXISTS " + schema_ +
                   ".camera_history_point ON camera_history (camera_id, business_type, state_time)") &&
           Execute("CREATE TABLE IF NOT EXISTS " + attempt_table_ +
                   " (camera_id INTEGER NOT NULL, business_type INTEGER NOT NULL, begin_time VARCHAR(32) NOT NULL, "
                   "end_time VARCHAR(32) NOT NULL, attempts INTEGER NOT NULL, due_ms BIGINT NOT NULL, "
                   "last_error TEXT NOT NULL, PRIMARY KEY (camera_id, business_type, begin_time, end_time))");
}

bool AttemptTable::Load(std::vector<StoredRange>& ranges) {
    const std::string sql = "SELECT camera_id, business_type, begin_time, end_time, attempts, due_ms FROM " +
                            attempt_table_ + " ORDER BY due_ms, camera_id, business_type, begin_time";
    return qar::IDBManager::Instance()->ExecuteQuery(plugin_, kConnType, sql, [&ranges](db_layer::CConnect* rows) {
        for (; !rows->IsEnd(); rows->MoveNext()) {
            const auto range = ParseRange({rows->GetString("begin_time"), rows->GetString("end_time")});
            if (!range || range->Empty()) continue;
            StoredRange stored;
            stored.key = {static_cast<int>(rows->GetInt("camera_id")), static_cast<int>(rows->GetInt("business_type"))};
            stored.range = *range;
            stored.attempts = static_cast<int>(rows->GetInt("attempts"));
            stored.due = std::chrono::system_clock::time_point(std::chrono::milliseconds(rows->GetInt("due_ms")));
            ranges.push_back(std::move(stored));
        }
    });
}

bool AttemptTable::Insert(const CameraKey& key, const TimeRange& range) {
    return Execute("INSERT INTO " + attempt_table_ +
                   " (camera_id, business_type, begin_time, end_time, attempts, due_ms, last_error) VALUES (" +
                   std::to_string(key.camera) + ", " + std::to_string(key.busi) + ", " + Quoted(range.begin.iso) +
                   ", " + Quoted(range.end.iso) + ", 0, " +
                   std::to_string(Milliseconds(std::chrono::system_clock::now())) + ", '') ON CONFLICT DO NOTHING");
}

bool AttemptTable::Update(const CameraKey& key, const TimeRange& range, int attempts,
                          std::chrono::system_clock::time_point due, const std::string& error) {
    return Execute("UPDATE " + attempt_table_ + " SET attempts = " + std::to_string(attempts) +
                   ", due_ms = " + std::to_string(Milliseconds(due)) + ", last_error = " + Quoted(error) + " WHERE " +
                   RowOf(key, range));
}

bool AttemptTable::CountPoints(std::map<CameraKey, long long>& counts) {
    const std::string sql = "SELECT camera_id, business_type, count(*) AS points FROM " + history_table_ +
                            " GROUP BY camera_id, business_type";
    return qar::IDBManager::Instance()->ExecuteQuery(plugin_, kConnType, sql, [&counts](db_layer::CConnect* rows) {
        for (; !rows->IsEnd(); rows->MoveNext()) {
            const CameraKey key{static_cast<int>(rows->GetInt("camera_id")),
                                static_cast<int>(rows->GetInt("business_type"))};
            counts[key] = rows->GetInt("points");
        }
    });
}

bool AttemptTable::LoadPoints(const CameraKey& key, std::vector<HistoryPoint>& points) {
    const std::string sql = "SELECT camera_state, state_time, differ FROM " + history_table_ + " WHERE " +
                            CameraOf(key) + " ORDER BY state_time";
    return qar::IDBManager::Instance()->ExecuteQuery(plugin_, kConnType, sql, [&points](db_layer::CConnect* rows) {
        for (; !rows->IsEnd(); rows->MoveNext()) {
            std::string time = rows->GetString("state_time");
            std::replace(time.begin(), time.end(), ' ', 'T');
            points.push_back(
                {time + OffsetText(rows->GetInt("differ")), static_cast<int>(rows->GetInt("camera_state"))});
        }
    });
}

bool AttemptTable::LoadErrors(const CameraKey& key,
                              std::map<std::pair<std::string, std::string>, std::string>& errors) {
    const std::string sql = "SELECT begin_time, end_time, last_error FROM " + attempt_table_ + " WHERE " +
                            CameraOf(key) + " AND last_error <> ''";
    return qar::IDBManager::Instance()->ExecuteQuery(plugin_, kConnType, sql, [&errors](db_layer::CConnect* rows) {
        for (; !rows->IsEnd(); rows->MoveNext()) {
            errors[{rows->GetString("begin_time"), rows->GetString("end_time")}] = rows->GetString("last_error");
        }
    });
}

bool AttemptTable::Delete(const CameraKey& key, const TimeRange& range) {
    return Execute("DELETE FROM " + attempt_table_ + " WHERE " + RowOf(key, range));
}

}  // namespace backfill
