#include "history_table.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace qar::history_test {

namespace {

bool BeginsWith(const std::string& text, const char* begin) { return text.rfind(begin, 0) == 0; }

/// The cameras of a SELECT; empty when it asks for all.
std::set<int> CamerasOf(const std::string& sql) {
    std::set<int> cameras;
    const std::size_t open = sql.find('(');
    for (std::size_t at = open; at != std::string::npos; at = sql.find(',', at + 1)) {
        cameras.insert(std::atoi(sql.c_str() + at + 1));
    }
    return cameras;
}

}  // namespace

void HistoryTables::Execute(const std::string& sql) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (BeginsWith(sql, "INSERT INTO ")) {
        Insert(sql);
    } else if (BeginsWith(sql, "UPDATE ")) {
        Update(sql);
    } else if (BeginsWith(sql, "DELETE FROM ")) {
        Delete(sql);
    } else {
        ADD_FAILURE() << "unknown statement: " << sql;
    }
}

void HistoryTables::Insert(const std::string& sql) {
    char table[64];
    char key_column[64];
    char moment[20];
    char utc[20];
    long long key = 0;
    int camera = 0;
    int state = 0;
    int busi = 0;
    int bi_type = 0;
    int differ = 0;
    const int read =
        std::sscanf(sql.c_str(),
                    "INSERT INTO %63[^(](%63[^,], camera_id, camera_state, state_time, state_utc_time, business_type, "
                    "bi_type, differ) values(%lld, %d, %d, '%19[^']', '%19[^']', %d, %d, %d)",
                    table, key_column, &key, &camera, &state, moment, utc, &busi, &bi_type, &differ);
    if (read != 10) {
        ADD_FAILURE() << "unknown statement: " << sql;
        return;
    }
    ++inserts_;
    if (key <= last_key_) ++keys_out_of_order_;
    last_key_ = key;
    tables_[table][{busi, camera}].emplace(moment, Row{state, differ});
}

void HistoryTables::Update(const std::string& sql) {
    char table[64];
    char moment[20];
    char old_moment[20];
    int camera = 0;
    int busi = 0;
    int state = 0;
    if (std::sscanf(
            sql.c_str(),
            "UPDATE %63s SET state_time = '%19[^']' WHERE camera_id = %d AND business_type = %d and state_time = "
            "'%19[^']' and camera_state = %d",
            table, moment, &camera, &busi, old_moment, &state) == 6) {
        Rows& rows = tables_[table][{busi, camera}];
        std::vector<Row> moved;
        for (auto row = rows.lower_bound(old_moment); row != rows.end() && row->first == old_moment;) {
            if (row->second.state == state) {
                moved.push_back(row->second);
                row = rows.erase(row);
            } else {
                ++row;
            }
        }
        for (const Row& row : moved) rows.emplace(moment, row);
    } else if (std::sscanf(sql.c_str(),
                           "UPDATE %63s SET camera_state = %d WHERE camera_id = %d AND business_type = %d AND "
                           "state_time = '%19[^']'",
                           table, &state, &camera, &busi, moment) == 5) {
        Rows& rows = tables_[table][{busi, camera}];
        for (auto row = rows.lower_bound(moment); row != rows.end() && row->first == moment; ++row) {
            row->second.state = state;
        }
    } else {
        ADD_FAILURE() << "unknown statement: " << sql;
    }
}

void HistoryTables::Delete(const std::string& sql) {
    char name[64];
    char comparison[3] = "";
    char first[20] = "";
    char second[20] = "";
    int camera = 0;
    int busi = 0;
    const int read = std::sscanf(sql.c_str(),
                                 "DELETE FROM %63s WHERE camera_id = %d AND business_type = %d AND state_time %2s "
                                 "'%19[^']' AND state_time < '%19[^']'",
                                 name, &camera, &busi, comparison, first, second);
    Table& table = tables_[name];
    if (read == 2) {
        std::erase_if(table, [camera](const auto& entry) { return entry.first.second == camera; });
    } else if (read == 3) {
        table.erase({busi, camera});
    } else if (read == 5 && std::string(comparison) == "<") {
        Rows& rows = table[{busi, camera}];
        rows.erase(rows.begin(), rows.lower_bound(first));
    } else if (read == 6 && std::string(comparison) == ">=") {
        Rows& rows = table[{busi, camera}];
        if (std::string(first) < second) rows.erase(rows.lower_bound(first), rows.lower_bound(second));
    } else {
        ADD_FAILURE() << "unknown statement: " << sql;
    }
}

qarmock::FakeRows HistoryTables::Query(const std::string& sql) const {
    qarmock::FakeRows result{{"camera_id", "business_type", "state_time", "differ", "camera_state"}, {}};
    char name[64];
    if (std::sscanf(sql.c_str(), "SELECT * FROM %63s", name) != 1) {
        ADD_FAILURE() << "unknown query: " << sql;
        return result;
    }
    const std::set<int> cameras = CamerasOf(sql);
    std::lock_guard<std::mutex> lock(mutex_);
    const auto table = tables_.find(name);
    if (table == tables_.end()) return result;
    for (const auto& [key, rows] : table->second) {
        const auto& [busi, camera] = key;
        if (!cameras.empty() && cameras.count(camera) == 0) continue;
        for (const auto& [moment, row] : rows) {
            result.rows.push_back({camera, busi, moment, row.differ, row.state});
        }
    }
    return result;
}

std::vector<std::string> HistoryTables::Points(const std::string& table, int busi, int camera) const {
    std::vector<std::string> points;
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = tables_.find(table);
    if (found == tables_.end()) return points;
    const auto rows = found->second.find({busi, camera});
    if (rows == found->second.end()) return points;
    for (const auto& [moment, row] : rows->second) points.push_back(moment + " " + std::to_string(row.state));
    return points;
}

std::set<std::pair<int, int>> HistoryTables::Keys(const std::string& table) const {
    std::set<std::pair<int, int>> keys;
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = tables_.find(table);
    if (found == tables_.end()) return keys;
    for (const auto& [key, rows] : found->second) {
        if (!rows.empty()) keys.insert(key);
    }
    return keys;
}

int HistoryTables::KeysOutOfOrder() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return keys_out_of_order_;
}

std::size_t HistoryTables::Inserts() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return inserts_;
}

}  // namespace qar::history_test
