#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace qar::history_test {

/// A table that is kept by reading the statements' texts.
struct StatementTable {
    struct Row {
        int camera;
        int busi;
        std::string time;
        int differ;
        int state;
        long long id = 0;
        std::string utc = {};
    };
    std::vector<Row> rows;

    /// @return false for a text that it does not know
    bool Run(const std::string& sql) {
        int camera = 0;
        int busi = 0;
        int state = 0;
        int bi = 0;
        int differ = 0;
        char date[11] = "", time[9] = "", date2[11] = "", time2[9] = "";
        long long id = 0;
        const char* text = sql.c_str();
        const auto at = [](const char* day, const char* clock) { return std::string(day) + " " + clock; };
        const auto is = [&](const Row& row) { return row.camera == camera && row.busi == busi; };
        if (std::sscanf(text,
                        "INSERT INTO %*[^(](id, camera_id, camera_state, state_time, state_utc_time, business_type, "
                        "bi_type, differ) values(%lld, %d, %d, '%10s %8[^']', '%10s %8[^']', %d, %d, %d)",
                        &id, &camera, &state, date, time, date2, time2, &busi, &bi, &differ) == 10) {
            rows.push_back({camera, busi, at(date, time), differ, state, id, at(date2, time2)});
            return busi == bi;
        }
        if (std::sscanf(text,
                        "UPDATE %*s SET state_time = '%10s %8[^']' WHERE camera_id = %d AND business_type = %d and "
                        "state_time = '%10s %8[^']' and camera_state = %d",
                        date, time, &camera, &busi, date2, time2, &state) == 7) {
            for (Row& row : rows) {
                if (is(row) && row.time == at(date2, time2) && row.state == state) row.time = at(date, time);
            }
            return true;
        }
        if (std::sscanf(text,
                        "UPDATE %*s SET camera_state = %d WHERE camera_id = %d AND business_type = %d AND state_time = "
                        "'%10s %8[^']'",
                        &state, &camera, &busi, date, time) == 5) {
            for (Row& row : rows) {
                if (is(row) && row.time == at(date, time)) row.state = state;
            }
            return true;
        }
        if (sql.find("state_time") == std::string::npos) {
            const bool of_busi =
                std::sscanf(text, "DELETE FROM %*s WHERE camera_id = %d AND business_type = %d", &camera, &busi) == 2;
            if (!of_busi && std::sscanf(text, "DELETE FROM %*s WHERE camera_id = %d", &camera) != 1) return false;
            std::erase_if(rows, [&](const Row& row) { return row.camera == camera && (!of_busi || row.busi == busi); });
            return true;
        }
        const std::string where = "DELETE FROM %*s WHERE camera_id = %d AND business_type = %d AND state_time ";
        if (std::sscanf(text, (where + ">= '%10s %8[^']' AND state_time < '%10s %8[^']';").c_str(), &camera, &busi,
                        date, time, date2, time2) == 6) {
            std::erase_if(rows, [&](const Row& row) {
                return is(row) && row.time >= at(date, time) && row.time < at(date2, time2);
            });
            return true;
        }
        if (std::sscanf(text, (where + "< '%10s %8[^']'").c_str(), &camera, &busi, date, time) == 4) {
            std::erase_if(rows, [&](const Row& row) { return is(row) && row.time < at(date, time); });
            return true;
        }
        return false;
    }
};

}  // namespace qar::history_test
