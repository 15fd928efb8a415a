#include "bench/statements.h"

#include "bench/history_tables.h"

namespace bench {

namespace {

std::string Where(const Line& line) {
    return " WHERE camera_id = " + std::to_string(line.camera) + " AND business_type = " + std::to_string(line.busi);
}

}  // namespace

std::string MoveText(const Line& line, const std::string& from, const std::string& to) {
    return std::string("UPDATE ") + kTable + " SET state_time = '" + to + "'" + Where(line) + " and state_time = '" +
           from + "' and camera_state = 2";
}

std::string AddText(long long id, const Line& line, int state, const std::string& time) {
    const std::string busi = std::to_string(line.busi);
    return std::string("INSERT INTO ") + kTable + "(" + kKeyColumn +
           ", camera_id, camera_state, state_time, state_utc_time, business_type, bi_type, differ) values(" +
           std::to_string(id) + ", " + std::to_string(line.camera) + ", " + std::to_string(state) + ", '" + time +
           "', '" + time + "', " + busi + ", " + busi + ", 0)";
}

std::string ExpireText(const Line& line, const std::string& time) {
    return std::string("DELETE FROM ") + kTable + Where(line) + " AND state_time < '" + time + "'";
}

}  // namespace bench
